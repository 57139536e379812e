// A tree brought into the form in which it can be changed and written.
#include "host/save_internal.h"

#include <limits.h>

namespace velmora_host
{

static const unsigned short GROUP_PIXELS = 0x0028;

// ---- VRs that the tree does not tell --------------------------------------------------

static int short_of(const DICOM_List *node, int otherwise)
{
    if (node == nullptr || node->data == nullptr || node->size < 2)
        return otherwise;
    return get_16(node->syntax, node->data);
}

static void learn(Pixels *pixels)
{
    if (pixels->is_known)
        return;
    pixels->is_known = true;
    if (pixels->around != nullptr) {
        learn(pixels->around);
        pixels->bits_allocated = pixels->around->bits_allocated;
        pixels->is_signed = pixels->around->is_signed;
    }
    int bits_around = pixels->bits_allocated, signed_around = pixels->is_signed;
    for (DICOM_List *node = *pixels->chain; node != nullptr; node = node->next) {
        if (node->group == GROUP_PIXELS && node->element == 0x0100)
            pixels->bits_allocated = short_of(node, bits_around);
        if (node->group == GROUP_PIXELS && node->element == 0x0103)
            pixels->is_signed = short_of(node, signed_around) == 1;
    }
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
static void choose_vr(DICOM_List *node, Pixels *pixels)
{
    if (node->vr_explicit != VR_NONE)
        return;
    if (node->group == 0x7FE0 && node->element == 0x0010) {
        learn(pixels);
        bool is_bytes = node->item != nullptr || (pixels->bits_allocated > 0 && pixels->bits_allocated <= 8);
        node->vr = is_bytes ? VR_OB : VR_OW;
    } else if (allows(node, VR_OW)) {
        node->vr = VR_OW;
    } else if (allows(node, VR_US) && allows(node, VR_SS)) {
        learn(pixels);
        node->vr = pixels->is_signed ? VR_SS : VR_US;
    }
}

// ---- items ----------------------------------------------------------------------------

bool is_item_mark(const DICOM_List *node)
{
    return node->group == GROUP_ITEM && node->element == ELEMENT_ITEM;
}

// An item without attributes keeps its item node, which loses the VR by which the library would take it out.
void keep_lone_item(DICOM_List *item)
{
    for (const DICOM_List *node = item; node != nullptr; node = node->next)
        if (node->group != GROUP_ITEM)
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

static const char PRIVATE_GE[] = "1.2.840.113619.5.2";   // implicit little endian, but for the pixel data

static void edit_attribute(const Data_Set &set, DICOM_List *node, Pixels *pixels)
{
    if (node->group == GROUP_PIXELS)
        learn(pixels);   // before its bytes are turned
    restore_vr(set, node);
    choose_vr(node, pixels);
    if (node->group == 0x7FE0 && set.transfer_syntax == PRIVATE_GE && (node->flag & ORIGIN_DICOM) != 0)
        node->syntax |= SYNTAX_BIG_ENDIAN;
    turn_value(node);
    if (node->group == 0x0004 && node->element == 0x1220)
        note_records(node);
}

bool edit_node(const Data_Set &set, DICOM_List **link, Pixels *pixels)
{
    DICOM_List *node = *link;
    if ((node->flag & FLAG_INVALID) != 0 || node->vr == VR_ITEM || node->vr == VR_DELIMITATION) {
        if (node->group == GROUP_PIXELS)
            learn(pixels);
        *link = node->next;
        DICOM_Attribute_Free(nullptr, node);
        return false;
    }
    if (node->group != GROUP_ITEM) {
        edit_attribute(set, node, pixels);
        return true;
    }
    // An item tag with items is no thing of the standard: nobody has looked into those.
    for (int i = 0; i < node->nb_item && node->item[i] != nullptr; i++)
        DICOM_Attribute_Remove(nullptr, &node->item[i], REMOVE_DELIMITERS);
    return true;
}

// At most nine levels deep, as the tree is.
static void edit_chain(const Data_Set &set, DICOM_List **list, Pixels *around)
{
    Pixels pixels = pixels_of(list, around);
    for (DICOM_List **link = list; *link != nullptr;) {
        DICOM_List *node = *link;
        fetch_ahead(node);
        if (!edit_node(set, link, &pixels))
            continue;
        // A walk ends at an item that has lost all that it had; here those behind it are editable as well.
        for (int i = 0; node->group != GROUP_ITEM && i < node->nb_item; i++) {
            keep_lone_item(node->item[i]);
            edit_chain(set, &node->item[i], &pixels);
        }
        link = &node->next;
    }
    forget_end(*list);
}

void make_editable(Data_Set *set)
{
    if (!set->is_editable)
        edit_chain(*set, &set->tree, nullptr);
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
