// A tree made ready to be written in one encoding, and editable if it was not: what is not to be written taken out,
// gaps closed, tags in order, and marked what is left to the host. The library's writers make the bytes of all that they
// can write as it is wanted; theirs are not: values that stay in the source, VRs that the writers do not know,
// fragments, sequences of VR UN, empty items, sequences below the ninth level, and all that holds such a thing.
#include "host/save_internal.h"

namespace velmora_host
{

static const int MOST_IN_SHORT_FORM = 65535;

// ---- what is left to the host ---------------------------------------------------------

bool is_opaque(const Building *building, const DICOM_List *node)
{
    return node->item == nullptr && !building->set->opaque.empty() && find_opaque(*building->set, node) != nullptr;
}

unsigned short written_vr(const Building *building, const DICOM_List *node)
{
    unsigned short vr = true_vr(node);
    if (node->item != nullptr && vr != VR_UN && !is_encapsulated(node))
        return VR_SQ;
    if (is_opaque(building, node))
        return vr == VR_UN ? VR_UN : VR_SQ;
    int size = 0;
    if (vr == VR_SQ && node->item == nullptr && value_of(*building->set, node, &size) != nullptr)
        return VR_UN;   // bytes that are no items
    const VR_Form &form = vr_form(vr);
    if (form.is_later && building->options->later_vrs_as_un)
        return VR_UN;
    // The short form cannot tell a greater length (DICOM PS3.5, 6.2.2).
    int most = building->options->even_lengths ? MOST_IN_SHORT_FORM - 1 : MOST_IN_SHORT_FORM;
    return !form.is_long && node->size > most ? static_cast<unsigned short>(VR_UN) : vr;
}

// Whether the value of an attribute without items is the host's to write.
static bool is_hosts_value(const Building *building, const DICOM_List *node, unsigned char mode)
{
    int size = 0;
    bool has_bytes = value_of(*building->set, node, &size) != nullptr;
    if (is_opaque(building, node) || (is_explicit(mode) && written_vr(building, node) != working_vr(node)))
        return true;
    const VR_Form &form = vr_form(true_vr(node));
    if (!has_bytes)
        return is_explicit(mode) && form.is_later;
    bool is_turned_here = is_big_endian(mode) && form.unit > 1 && !form.is_turned_by_writer;
    // A large one goes from the tree to its place: a block of the library would be a second copy, and has an end.
    bool is_elsewhere = node->data == nullptr || node->size > MOST_IN_SHORT_FORM;
    bool is_padded = building->options->even_lengths && node->size % 2 != 0;
    return is_elsewhere || is_padded || is_big_endian(node->syntax) || is_turned_here || form.vr == VR_SQ ||
           (is_explicit(mode) && form.is_later);
}

// Whether an attribute with items is the host's to write whatever is in them.
static bool is_hosts_sequence(const DICOM_List *node)
{
    return working_vr(node) != VR_SQ;
}

static unsigned char mode_in_items(const DICOM_List *node, unsigned char mode)
{
    if (node->vr_explicit == VR_SQ)
        return mode;
    bool is_unknown = is_explicit(mode) && true_vr(node) == VR_UN;
    return is_unknown ? static_cast<unsigned char>(MODE_IMPLICIT_LITTLE) : mode;
}

// A node that bears its mark already is not written to: each line of memory that changes has to be stored again.
static void mark(DICOM_List *node, bool is_hosts)
{
    unsigned short flag = static_cast<unsigned short>(is_hosts ? node->flag | FLAG_USED : node->flag & ~FLAG_USED);
    if (node->flag != flag)
        node->flag = flag;
}

bool mark_for_host(const Building *building, DICOM_List *list, unsigned char mode)
{
    bool has_mark = false;
    for (DICOM_List *node = list; node != nullptr; node = node->next) {
        bool is_hosts = node->item == nullptr ? is_hosts_value(building, node, mode) : is_hosts_sequence(node);
        for (int i = 0; node->item != nullptr && i < node->nb_item && node->item[i] != nullptr; i++) {
            is_hosts |= is_empty_item(node->item[i]);
            is_hosts |= mark_for_host(building, node->item[i], mode_in_items(node, mode));
        }
        mark(node, is_hosts);
        has_mark |= is_hosts;
    }
    return has_mark;
}

// ---- what is lost ---------------------------------------------------------------------

// A stream has no form for an attribute with both: that of items, which hold more than one attribute, is taken.
static bool has_lost_value(const DICOM_List *node)
{
    return node->item != nullptr && node->data != nullptr && node->size > 0;
}

void tell_of_lost_values(const DICOM_List *list)
{
    for (const DICOM_List *node = list; node != nullptr; node = node->next) {
        if (has_lost_value(node))
            Error_Fct(nullptr, Flag_Error_Warning,
                      "    \xF1\x05WARNING:\x02 (\x01%04x\x02,\x01%04x\x02) has items and a value, and the %d bytes "
                      "of its value are not written",
                      node->group, node->element, node->size);
        for (int i = 0; i < node->nb_item && node->item[i] != nullptr; i++)
            tell_of_lost_values(node->item[i]);
    }
}

// ---- what goes, and what is out of order ----------------------------------------------

// What the walk through a tree has to know, and what it finds.
struct Preparing {
    Building building;
    unsigned short odd_flags, odd_groups;   // bits that tell a node to be looked at closely
    unsigned int odd_sizes;
    bool has_opaque;
    Prepared found;
    bool has_gap;       // there is work for close_gaps
    bool is_unsorted;
};

static Preparing preparing_of(Data_Set *set, const Save_Options &options)
{
    Preparing preparing = {{set, &options, 0, nullptr, {}}, FLAG_INVALID | FLAG_GUESSED_VR | FLAG_USED, 0, 0,
                           !set->opaque.empty(), {nullptr, false}, false, false};
    preparing.odd_sizes = ~static_cast<unsigned int>(MOST_IN_SHORT_FORM);
    if (!options.keep_private) {
        preparing.odd_flags |= FLAG_PRIVATE;
        preparing.odd_groups |= 1;
    }
    if (options.even_lengths)
        preparing.odd_sizes |= 1;
    return preparing;
}

// Most attributes are ready as they are: they stay, are editable, and are the library's to write. A few questions tell;
// the steps below have their own answer to each. First those that are asked of sequences and of values;
static inline bool is_plain_node(const Preparing &preparing, const DICOM_List *node)
{
    static const unsigned int RECORDS = 0x00041220, PIXELS = 0x7FE00000;
    unsigned int tag = static_cast<unsigned int>(node->group) << 16 | node->element;
    return (node->flag & preparing.odd_flags) == 0 && tag != RECORDS && tag < PIXELS &&
           (node->group & preparing.odd_groups) == 0 && node->element != 0 && !is_big_endian(node->syntax);
}

// then those that are asked of values alone.
//   vr  that the value has in an editable tree
static inline bool is_plain_value(const Preparing &preparing, const DICOM_List *node, unsigned short vr)
{
    return is_plain_vr(vr) && (static_cast<unsigned int>(node->size) & preparing.odd_sizes) == 0 &&
           (node->data != nullptr || node->size == 0);
}

// The VR that a node has in an editable tree, where nothing has to be done for that; else VR_NONE.
static inline unsigned short settled_vr(const DICOM_List *node, bool is_editable)
{
    if (is_editable || node->vr_explicit != VR_NONE)
        return working_vr(node);
    return has_one_vr(node) ? node->vr : static_cast<unsigned short>(VR_NONE);
}

static bool is_unwanted(const Save_Options &options, const DICOM_List *node)
{
    bool is_private = (node->group & 1) != 0 || (node->flag & FLAG_PRIVATE) != 0;
    return node->element == 0 || (node->flag & FLAG_INVALID) != 0 || (is_private && !options.keep_private);
}

static void drop(DICOM_List **list, DICOM_List **link)
{
    DICOM_List *node = *link;
    *link = node->next;
    DICOM_Attribute_Free(nullptr, node);
    forget_end(*list);
}

static bool prepare_chain(Preparing *preparing, DICOM_List **list, bool is_item, unsigned char mode, Pixels *pixels);

// Returns whether the items hold what is the host's to write.
static bool prepare_items(Preparing *preparing, DICOM_List *node, unsigned char mode, Pixels *around)
{
    bool has_mark = false;
    unsigned char inside = node->nb_item > 0 ? mode_in_items(node, mode) : mode;
    for (int i = 0; i < node->nb_item; i++) {
        DICOM_List **item = &node->item[i];
        if (around != nullptr) {
            Pixels pixels = pixels_of(item, around);
            keep_lone_item(*item);
            has_mark |= prepare_chain(preparing, item, true, inside, &pixels);
        } else {
            has_mark |= prepare_chain(preparing, item, true, inside, nullptr);
        }
        if (*item == nullptr)
            preparing->has_gap = true;
        else
            has_mark |= is_empty_item(*item);
    }
    if (preparing->found.fragments == nullptr && is_encapsulated(node))
        preparing->found.fragments = node;
    preparing->found.has_lost_values |= has_lost_value(node);
    return has_mark;
}

// Returns whether an attribute is the host's to write.
static bool prepare_node(Preparing *preparing, DICOM_List *node, unsigned char mode, Pixels *pixels)
{
    if (node->item == nullptr)
        return is_hosts_value(&preparing->building, node, mode);
    Pixels *around = node->group != GROUP_ITEM ? pixels : nullptr;
    return prepare_items(preparing, node, mode, around) || is_hosts_sequence(node);
}

// At most nine levels deep, as the tree is. All in one walk, since a large tree is in no cache of the processor.
//   is_item  the chain is that of an item, where marks of empty items are not to stand beside attributes
//   pixels   of this chain, which has to be made editable; null: it is
static bool prepare_chain(Preparing *preparing, DICOM_List **list, bool is_item, unsigned char mode, Pixels *pixels)
{
    bool has_mark = false, has_item_mark = false, may_be_plain = !preparing->has_opaque && !is_big_endian(mode);
    bool is_unsorted = false;
    unsigned int last_tag = 0;
    for (DICOM_List **link = list; *link != nullptr;) {
        DICOM_List *node = *link;
        fetch_ahead(node);
        bool is_plain = may_be_plain && is_plain_node(*preparing, node), is_hosts = false;
        unsigned short vr = is_plain ? settled_vr(node, pixels == nullptr) : static_cast<unsigned short>(VR_NONE);
        if (vr == VR_SQ && node->item != nullptr) {
            is_hosts = prepare_items(preparing, node, mode, pixels);
            mark(node, is_hosts);
        } else if (node->item != nullptr || !is_plain_value(*preparing, node, vr)) {
            if (pixels != nullptr && !edit_node(*preparing->building.set, link, pixels))
                continue;
            if (is_unwanted(*preparing->building.options, node)) {
                drop(list, link);
                continue;
            }
            is_hosts = prepare_node(preparing, node, mode, pixels);
            has_item_mark |= is_item_mark(node);
            mark(node, is_hosts);
        }
        unsigned int tag = static_cast<unsigned int>(node->group) << 16 | node->element;
        is_unsorted |= tag < last_tag;
        last_tag = tag;
        has_mark |= is_hosts;
        link = &node->next;
    }
    preparing->is_unsorted |= is_unsorted;
    if (pixels != nullptr)
        forget_end(*list);
    if (has_item_mark)
        preparing->has_gap |= is_item && (*list)->next != nullptr;
    return has_mark;
}

static const DICOM_List *find_fragments(const DICOM_List *list)
{
    for (const DICOM_List *node = list; node != nullptr; node = node->next) {
        if (is_encapsulated(node))
            return node;
        for (int i = 0; i < node->nb_item && node->item[i] != nullptr; i++)
            if (const DICOM_List *found = find_fragments(node->item[i]))
                return found;
    }
    return nullptr;
}

Prepared prepare_tree(Data_Set *set, const Save_Options &options, unsigned char mode)
{
    Preparing preparing = preparing_of(set, options);
    Pixels pixels = pixels_of(&set->tree, nullptr);
    Pixels *to_be_edited = set->is_editable ? nullptr : &pixels;
    prepare_chain(&preparing, &set->tree, false, mode, to_be_edited);
    set->is_editable = true;
    if (!preparing.has_gap && !preparing.is_unsorted)
        return preparing.found;

    if (preparing.has_gap)
        close_gaps(set->tree);
    DICOM_Root root = {};
    if (preparing.is_unsorted)
        DICOM_Attribute_Sort(nullptr, &root, &set->tree);
    mark_for_host(&preparing.building, set->tree, mode);
    preparing.found.fragments = find_fragments(set->tree);
    return preparing.found;
}

}   // namespace velmora_host
