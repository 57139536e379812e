// What the standard says of the bytes of each VR (DICOM PS3.5, 6.2, 7.1.2, 7.3), and a tree brought into the form in
// which it can be changed and written.
#include "host/save_internal.h"

#include <limits.h>

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

static void turn_value(DICOM_List *node)
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

std::string text_of(const DICOM_List *node)
{
    std::string text;
    if (node != nullptr && node->data != nullptr && node->size > 0)
        text.assign(node->data, static_cast<size_t>(node->size));
    size_t last = text.find_last_not_of(std::string(" \0", 2)), first = text.find_first_not_of(' ');
    return last == std::string::npos || first > last ? std::string() : text.substr(first, last + 1 - first);
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

// ---- VRs that the tree does not tell --------------------------------------------------

// What the chain and those around it say about pixels.
struct Pixels {
    int bits_allocated;   // 0: not said
    bool is_signed;
};

static int short_of(const DICOM_List *node, int otherwise)
{
    if (node == nullptr || node->data == nullptr || node->size < 2)
        return otherwise;
    return get_16(node->syntax, node->data);
}

static Pixels pixels_of(DICOM_List *list, const Pixels &around)
{
    Pixels pixels = around;
    for (DICOM_List *node = list; node != nullptr; node = node->next) {
        fetch_ahead(node);
        if (node->group == 0x0028 && node->element == 0x0100)
            pixels.bits_allocated = short_of(node, around.bits_allocated);
        if (node->group == 0x0028 && node->element == 0x0103)
            pixels.is_signed = short_of(node, around.is_signed) == 1;
    }
    return pixels;
}

// The library keeps some of the VRs of a stream in no node. They still stand there.
static void restore_vr(const Data_Set &set, DICOM_List *node)
{
    Header h;
    if (node->vr_explicit != VR_NONE || (node->flag & ORIGIN_DICOM) == 0 || !is_explicit(node->syntax) ||
        node->pos < 0 || node->pos >= set.source.size ||
        !peek_header(set.source.bytes, node->pos, set.source.size, node->syntax, &h))
        return;
    bool is_dropped = h.vr == VR_UT || vr_class(h.vr) == VR_LONG_UNREAD;
    if (is_dropped && h.group == node->group && h.element == node->element)
        node->vr_explicit = h.vr;
}

static bool allows(const DICOM_List *node, unsigned short vr)
{
    int alternates = node->db == nullptr ? 0 : node->db->type < 0 ? -node->db->type : node->db->type;
    for (int i = 0; i < alternates && i < 3; i++)
        if (node->db->vr[i] == vr)
            return true;
    return false;
}

// Where a stream has no VR and the dictionary has several (DICOM PS3.5, A.1 and 8).
static void choose_vr(DICOM_List *node, const Pixels &pixels)
{
    if (node->vr_explicit != VR_NONE)
        return;
    if (node->group == 0x7FE0 && node->element == 0x0010)
        node->vr = node->item != nullptr || (pixels.bits_allocated > 0 && pixels.bits_allocated <= 8) ? VR_OB : VR_OW;
    else if (allows(node, VR_OW))
        node->vr = VR_OW;
    else if (allows(node, VR_US) && allows(node, VR_SS))
        node->vr = pixels.is_signed ? VR_SS : VR_US;
}

// ---- items ----------------------------------------------------------------------------

bool is_item_mark(const DICOM_List *node)
{
    return node->group == GROUP_ITEM && node->element == ELEMENT_ITEM;
}

static bool is_item_group(const DICOM_List *node)
{
    return node->group == GROUP_ITEM;
}

// An item without attributes keeps its item node, which loses the VR by which the library would take it out.
static void keep_lone_item(DICOM_List *item)
{
    for (const DICOM_List *node = item; node != nullptr; node = node->next)
        if (!is_item_group(node))
            return;
    for (DICOM_List *node = item; node != nullptr; node = node->next) {
        if (is_item_mark(node)) {
            node->vr = VR_NONE;
            return;
        }
    }
}

bool is_encapsulated(const DICOM_List *node)
{
    if (node->item == nullptr || working_vr(node) == VR_SQ)
        return false;
    bool has_bytes = false, is_pixel_data = node->group == 0x7FE0 && node->element == 0x0010;
    for (int i = 0; i < node->nb_item && node->item[i] != nullptr; i++) {
        if (!is_item_mark(node->item[i]) || node->item[i]->size < 0)
            return false;
        has_bytes |= node->item[i]->size > 0;
    }
    // Under a VR of the short form they are items in which nothing could be read.
    return is_pixel_data || (has_bytes && vr_form(true_vr(node)).is_long);
}

// Takes out of a chain what DICOM_Attribute_Remove would take out of it in a walk of its own: here its nodes are still in
// the processor's cache.
static void drop_delimiters(DICOM_List **list)
{
    for (DICOM_List **link = list; *link != nullptr;) {
        DICOM_List *node = *link;
        if ((node->flag & FLAG_INVALID) != 0 || node->vr == VR_ITEM || node->vr == VR_DELIMITATION) {
            *link = node->next;
            DICOM_Attribute_Free(nullptr, node);
            continue;
        }
        // An item tag with items is no thing of the standard: nobody has looked into those.
        for (int i = 0; is_item_group(node) && i < node->nb_item && node->item[i] != nullptr; i++)
            DICOM_Attribute_Remove(nullptr, &node->item[i], REMOVE_DELIMITERS);
        link = &node->next;
    }
    if (*list != nullptr)
        (*list)->last = nullptr;
}

static const char PRIVATE_GE[] = "1.2.840.113619.5.2";   // implicit little endian, but for the pixel data

// At most nine levels deep, as the tree is.
static void make_chain_editable(Data_Set *set, DICOM_List *list, const Pixels &around)
{
    Pixels pixels = pixels_of(list, around);
    for (DICOM_List *node = list; node != nullptr; node = node->next) {
        fetch_ahead(node);
        if (is_item_group(node))
            continue;
        restore_vr(*set, node);
        choose_vr(node, pixels);
        if (node->group == 0x7FE0 && set->transfer_syntax == PRIVATE_GE && (node->flag & ORIGIN_DICOM) != 0)
            node->syntax |= SYNTAX_BIG_ENDIAN;
        turn_value(node);
        if (node->group == 0x0004 && node->element == 0x1220)
            note_records(node);
        for (int i = 0; i < node->nb_item && node->item[i] != nullptr; i++) {
            make_chain_editable(set, node->item[i], pixels);
            keep_lone_item(node->item[i]);
            drop_delimiters(&node->item[i]);
        }
    }
}

void make_editable(Data_Set *set)
{
    if (set->is_editable)
        return;
    make_chain_editable(set, set->tree, {0, false});
    drop_delimiters(&set->tree);
    set->is_editable = true;
}

Load_Result open_opaque(const Data_Set &whole, const Opaque &which, Data_Set *set, std::string *error)
{
    int warning = Flag_Error_Warning, remark = Flag_Error_Report;
    Flag_Error_Warning = Flag_Error_Report = INT_MAX;   // above any threshold
    Load_Result result = load_opaque(whole, which, Load_Options(), set, error);
    Flag_Error_Warning = warning;
    Flag_Error_Report = remark;
    if (result == LOADED)
        make_editable(set);
    return result;
}

static DICOM_List *make_item_mark(int depth)
{
    char *block = nullptr;
    if (!DICOM_Lib_Realloc(&block, sizeof(DICOM_List)))
        throw std::bad_alloc();
    memset(block, 0, sizeof(DICOM_List));
    DICOM_List *mark = reinterpret_cast<DICOM_List *>(block);
    mark->depth = static_cast<unsigned char>(depth);
    mark->flag = ORIGIN_VELM;
    mark->group = GROUP_ITEM;
    mark->element = ELEMENT_ITEM;
    return mark;
}

static void drop_item_marks(DICOM_List **item)
{
    for (DICOM_List **link = item; *link != nullptr && (*item)->next != nullptr;) {
        DICOM_List *node = *link;
        if (!is_item_mark(node)) {
            link = &node->next;
            continue;
        }
        *link = node->next;
        DICOM_Attribute_Free(nullptr, node);
    }
    (*item)->last = nullptr;
}

void close_gaps(DICOM_List *tree)
{
    for (DICOM_List *node = tree; node != nullptr; node = node->next) {
        for (int i = 0; i < node->nb_item; i++) {
            if (node->item[i] == nullptr)
                node->item[i] = make_item_mark(node->depth + 1);
            else
                drop_item_marks(&node->item[i]);
            close_gaps(node->item[i]);
        }
    }
}

}   // namespace velmora_host
