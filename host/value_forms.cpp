// What the standard says of the bytes of each VR (DICOM PS3.5, 6.2, 7.1.2, 7.3), and the values of nodes.
#include "host/save_internal.h"

namespace velmora_host
{

// ---- forms of VRs ---------------------------------------------------------------------

constexpr VR_Form vr_forms[] = {
  //       unit  by writer  long   later
    {VR_AE, 1, false, false, false},
    {VR_AS, 1, false, false, false},
    {VR_AT, 2, false, false, false},
    {VR_CS, 1, false, false, false},
    {VR_DA, 1, false, false, false},
    {VR_DS, 1, false, false, false},
    {VR_DT, 1, false, false, false},
    {VR_FD, 8, true,  false, false},
    {VR_FL, 4, true,  false, false},
    {VR_IS, 1, false, false, false},
    {VR_LO, 1, false, false, false},
    {VR_LT, 1, false, false, false},
    {VR_OB, 1, false, true,  false},
    {VR_OD, 8, false, true,  true },
    {VR_OF, 4, false, true,  true },
    {VR_OL, 4, false, true,  true },
    {VR_OV, 8, false, true,  true },
    {VR_OW, 2, true,  true,  false},
    {VR_PN, 1, false, false, false},
    {VR_SH, 1, false, false, false},
    {VR_SL, 4, true,  false, false},
    {VR_SQ, 1, false, true,  false},
    {VR_SS, 2, true,  false, false},
    {VR_ST, 1, false, false, false},
    {VR_SV, 8, false, true,  true },
    {VR_TM, 1, false, false, false},
    {VR_UC, 1, false, true,  true },
    {VR_UI, 1, false, false, false},
    {VR_UL, 4, true,  false, false},
    {VR_UR, 1, false, true,  true },
    {VR_US, 2, true,  false, false},
    {VR_UT, 1, false, true,  false},
    {VR_UV, 8, false, true,  true },
    {VR_UN, 1, false, true,  false}, // the last row is that of any other
};

constexpr Letter_Index index_of_plain_vrs()
{
    Letter_Index plain = index_by_letters(vr_forms, OTHER_FORM);
    for (unsigned char &each : plain.of)
        each = each != OTHER_FORM && !vr_forms[each].is_later && vr_forms[each].vr != VR_SQ;
    plain.of[place_by_letters(VR_UN)] = 1;
    return plain;
}

constexpr Letter_Index plain_vrs = index_of_plain_vrs();
constexpr Letter_Index form_index = index_by_letters(vr_forms, OTHER_FORM);
static_assert(sizeof vr_forms / sizeof vr_forms[0] == OTHER_FORM + 1);

unsigned short true_vr(const DICOM_List *node)
{
    unsigned short vr = working_vr(node);
    if (node->vr_explicit == VR_NONE && (node->flag & FLAG_GUESSED_VR) != 0)
        return VR_UN;
    if (vr == VR_OX)
        return VR_OW;
    return vr == VR_UH ? static_cast<unsigned short>(VR_US) : vr_form(vr).vr;
}

int turning_unit(const DICOM_List *node)
{
    return vr_form(true_vr(node)).unit;
}

char padding_of(const DICOM_List *node)
{
    static const unsigned short zero_padded[] = {VR_OB, VR_SQ, VR_UI, VR_UN};
    const VR_Form &form = vr_form(true_vr(node));
    for (unsigned short vr : zero_padded)
        if (form.vr == vr)
            return '\0';
    return form.unit == 1 ? ' ' : '\0';
}

// By the instructions for it: a value may be of hundreds of megabytes.
template <class Unit, Unit (*reversed)(Unit)> static int reverse_each(const char *from, int size, char *to)
{
    int whole = size - size % static_cast<int>(sizeof(Unit));
    for (int at = 0; at < whole; at += static_cast<int>(sizeof(Unit))) {
        Unit unit;
        memcpy(&unit, from + at, sizeof unit);
        unit = reversed(unit);
        memcpy(to + at, &unit, sizeof unit);
    }
    return whole;
}

static uint16_t reversed_2(uint16_t unit)
{
    return __builtin_bswap16(unit);
}

static uint32_t reversed_4(uint32_t unit)
{
    return __builtin_bswap32(unit);
}

static uint64_t reversed_8(uint64_t unit)
{
    return __builtin_bswap64(unit);
}

void reverse_units(const char *from, int size, int unit, char *to)
{
    int done = unit == 2   ? reverse_each<uint16_t, reversed_2>(from, size, to)
               : unit == 4 ? reverse_each<uint32_t, reversed_4>(from, size, to)
               : unit == 8 ? reverse_each<uint64_t, reversed_8>(from, size, to)
                           : 0;
    memmove(to + done, from + done, static_cast<size_t>(size - done));
}

// ---- values ---------------------------------------------------------------------------

// Whether the bytes of a sequence begin with an item or a delimiter, in either byte order: then what could be read of
// them is in its items.
static bool begins_with_item_tag(const char *bytes, int size)
{
    return size >= 2 && (memcmp(bytes, "\xFE\xFF", 2) == 0 || memcmp(bytes, "\xFF\xFE", 2) == 0);
}

const char *value_of(const Data_Set &set, const DICOM_List *node, int *size)
{
    *size = 0;
    if (node->size <= 0 || node->item != nullptr)
        return nullptr;
    bool is_in_source = (node->flag & ORIGIN_DICOM) != 0 && node->data_pos >= 0 && node->data_pos <= set.source.size &&
                        node->size <= set.source.size - node->data_pos;
    const char *bytes = node->data;
    if (bytes == nullptr && is_in_source)
        bytes = set.source.bytes + node->data_pos;
    if (bytes != nullptr && true_vr(node) == VR_SQ && begins_with_item_tag(bytes, node->size))
        bytes = nullptr;
    if (bytes != nullptr)
        *size = node->size;
    return bytes;
}

void turn_value(DICOM_List *node)
{
    if (node->data == nullptr || node->size <= 0 || !is_big_endian(node->syntax))
        return;
    int unit = turning_unit(node);
    if (unit > 1)
        reverse_units(node->data, node->size, unit, node->data);
    node->syntax &= static_cast<unsigned char>(~SYNTAX_BIG_ENDIAN);
}

bool fetch_value(const Data_Set &set, DICOM_List *node)
{
    int size = 0;
    const char *bytes = value_of(set, node, &size);
    if (node->data != nullptr || bytes == nullptr)
        return true;
    char *block = nullptr;
    if (!DICOM_Lib_Realloc(&block, static_cast<unsigned int>(size)))
        return false;
    memcpy(block, bytes, static_cast<size_t>(size));
    node->data = block;
    turn_value(node);
    return true;
}

std::string_view text_in(const char *bytes, int size)
{
    const char *first = bytes, *end = first + size;
    while (end > first && (end[-1] == ' ' || end[-1] == '\0'))
        end--;
    while (first < end && *first == ' ')
        first++;
    return std::string_view(first, static_cast<size_t>(end - first));
}

std::string text_of(const DICOM_List *node)
{
    if (node == nullptr || node->data == nullptr || node->size <= 0)
        return std::string();
    return std::string(text_in(node->data, node->size));
}

DICOM_List *find_in_chain(DICOM_List *list, unsigned short group, unsigned short element)
{
    while (list != nullptr && (list->group != group || list->element != element))
        list = list->next;
    return list;
}

DICOM_List *find_in_sorted_chain(DICOM_List *list, unsigned short group, unsigned short element)
{
    unsigned int wanted = static_cast<unsigned int>(group) << 16 | element, tag = 0;
    for (; list != nullptr; list = list->next) {
        tag = static_cast<unsigned int>(list->group) << 16 | list->element;
        if (tag >= wanted)
            break;
    }
    return tag == wanted ? list : nullptr;
}

}   // namespace velmora_host
