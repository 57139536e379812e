// The loop over the elements of a stream. Each header is looked at first, so that no read leaves the source and no
// length is believed that the source does not hold; then the library's element reader takes it, with its repairs.
// Damage never ends the reading as long as something readable stands behind it.
#include "host/reading.h"

#include <stdio.h>

namespace velmora_host
{

static const int LAST_WITHOUT_TRACES = 10;   // level of reports

// ---- values ---------------------------------------------------------------------------

// Private elements get their meaning from the creator in their own item, which only the loop knows.
static void complement_private(Reading *r, DICOM_List *node)
{
    static const int SEARCHED = 256;   // an honest item has a few creators; a hostile one must not cost more
    int first = r->top().creators, count = static_cast<int>(r->creators.size());
    if (count - first > SEARCHED)
        first = count - SEARCHED;
    for (int i = count - 1; i >= first; i--) {
        const Creator &creator = r->creators[static_cast<size_t>(i)];
        if (creator.group != node->group || creator.block != node->element >> 8)
            continue;
        DICOM_List alone = *creator.node;
        alone.next = nullptr;
        DICOM_Attribute_Complement_Private(nullptr, &r->root, &alone, node);
        return;
    }
}

// What the dictionary and the creators say of an element. A VR of today's standard that the library does not keep
// counts as the VR by definition where there is no other.
static void complement(Reading *r, DICOM_List *node)
{
    if (r->want_traces || !is_looked_up_alone(node->group, node->element)) {
        DICOM_Attribute_Complement(nullptr, &r->root, node);
    } else {
        node->db = NEMA_db_Locate(node->group, node->element);
        if (node->db != nullptr)
            node->vr = node->db->vr[0];
    }
    if ((node->group & 1) != 0 && node->element >= 0x1000)
        complement_private(r, node);
    if (node->vr == VR_NONE && node->vr_explicit != VR_NONE && vr_class(node->vr_explicit) >= VR_SHORT) {
        node->vr = node->vr_explicit;
        if (node->vr == VR_UC || node->vr == VR_UR)
            r->set->has_later_texts = true;
    }
}

static void note_order(Reading *r, const DICOM_List *node)
{
    Level &top = r->top();
    unsigned int tag = static_cast<unsigned int>(node->group) << 16 | node->element;
    if (tag < top.last_tag && top.kind == LEVEL_ITEM)
        note_disorder(r);
    r->chain->may_have_twins |= tag <= top.last_tag;
    top.last_tag = tag;
}

static DICOM_List *make_element(Reading *r, const Header &h, int size)
{
    DICOM_List *node = make_node(r, r->at, r->behind, h.group, h.element, h.vr, size);
    complement(r, node);
    return node;
}

//   length  as in the stream
static void add_element(Reading *r, DICOM_List *node, unsigned int length)
{
    link(r, node);
    if ((node->group & 1) != 0 && node->element >= 0x10 && node->element <= 0xFF)
        r->creators.push_back({node->group, static_cast<unsigned char>(node->element), node});
    if (r->want_listing)
        list(r, node, static_cast<int>(length), LISTED_ELEMENT, 0);
    note_order(r, node);
    r->set->elements++;
}

// ---- sequences ------------------------------------------------------------------------

// Whether a value is nothing but items, by their lengths. The first of undefined length ends the look.
static bool is_made_of_items(const Reading *r, int at, int length, unsigned char mode)
{
    int end = at + length;
    while (end - at >= 8) {
        unsigned int item = get_32(mode, r->bytes + at + 4);
        if (get_16(mode, r->bytes + at) != GROUP_ITEM || get_16(mode, r->bytes + at + 2) != ELEMENT_ITEM)
            return false;
        if (item == NO_LENGTH)
            return true;
        if (item > static_cast<unsigned int>(end - at - 8))
            return false;
        at += 8 + static_cast<int>(item);
    }
    return at == end && length > 0;
}

static bool begins_with_item(const Reading *r, int at, int bound, unsigned char mode)
{
    return bound - at >= 8 && get_16(mode, r->bytes + at) == GROUP_ITEM &&
           get_16(mode, r->bytes + at + 2) == ELEMENT_ITEM;
}

// Whether an element with a length is a sequence: by its own VR; by definition where it has none that counts; and by
// its bytes where a stream without VRs holds a tag of the standard that is newer than the dictionary. A private tag may
// mean something else to another version of its maker's software, so that its bytes have to say so too.
static bool is_sequence(const Reading *r, DICOM_List *node, bool is_held)
{
    if (vr_class(node->vr_explicit) >= VR_SHORT)
        return node->vr_explicit == VR_SQ;
    if (node->vr == VR_SQ && (node->group & 1) != 0 && node->size != 0 &&
        !begins_with_item(r, node->data_pos, r->top().bound, r->top().mode))
        node->vr = VR_NONE;
    if (node->vr == VR_NONE && (node->group & 1) == 0 && is_held &&
        is_made_of_items(r, node->data_pos, node->size, r->top().mode))
        node->vr = VR_SQ;
    return node->vr == VR_SQ;
}

enum What_Follows { FOLLOWS_NOTHING, FOLLOWS_ITEM, FOLLOWS_DELIMITER };

static What_Follows what_follows(const Reading *r, int at, int bound, unsigned char *mode)
{
    if (bound - at < 4)
        return FOLLOWS_NOTHING;
    unsigned short group = get_16(*mode, r->bytes + at), element = get_16(*mode, r->bytes + at + 2);
    if ((group == GROUP_ITEM && element == ELEMENT_ITEM) || (group == 0x3F3F && element == 0x003F))
        return FOLLOWS_ITEM;
    if (group == GROUP_ITEM && element == ELEMENT_SEQUENCE_END)
        return FOLLOWS_DELIMITER;
    if (group == 0xFEFF && element == 0x00E0) {   // an item tag in the other byte order
        *mode ^= SYNTAX_BIG_ENDIAN;
        return FOLLOWS_ITEM;
    }
    return FOLLOWS_NOTHING;
}

// The encoding inside a sequence: that of its element, but for a UN of undefined length, which holds implicit VR little
// endian whatever the stream says (PS3.5, 6.2.2), and for a sequence without VR in an explicit stream, which its writer
// may have taken from an implicit one. Writers have both wrong, so the first element is looked at.
static unsigned char mode_inside(const Reading *r, const Header &h, int at, int bound)
{
    unsigned char mode = mode_of(r, r->at, h.group);
    if ((mode & SYNTAX_EXPLICIT) == 0 || (h.vr != VR_UN && h.vr != VR_NONE))
        return mode;
    unsigned char implicit = h.vr == VR_UN ? static_cast<unsigned char>(MODE_IMPLICIT_LITTLE)
                                           : static_cast<unsigned char>(mode & SYNTAX_BIG_ENDIAN);
    if (bound - at < 16)
        return implicit;
    bool whole = false;
    int as_implicit = count_plausible(r->bytes, at + 8, bound, implicit, &whole);
    return count_plausible(r->bytes, at + 8, bound, mode, &whole) > as_implicit ? mode : implicit;
}

// The encoding inside a private sequence of a stream without VRs: who wrote that may have taken the value over, unread,
// from a stream that had them.
static unsigned char mode_inside_private(const Reading *r, const DICOM_List *node, unsigned char mode)
{
    int first = node->data_pos + 8;
    int end = node->size < r->top().bound - node->data_pos ? node->data_pos + node->size : r->top().bound;
    unsigned char explicit_mode = mode | SYNTAX_EXPLICIT;
    bool whole = false;
    if ((node->group & 1) == 0 || mode == explicit_mode || first >= end ||
        count_plausible(r->bytes, first, end, mode, &whole) > 0)
        return mode;
    return count_plausible(r->bytes, first, end, explicit_mode, &whole) > 0 ? explicit_mode : mode;
}

// Of what is known to be bytes or numbers, with items: encapsulated (PS3.5, A.4).
static bool holds_fragments(const DICOM_List *node)
{
    bool is_pixel_data = node->group == 0x7FE0 && node->element == 0x0010;
    unsigned short vr = node->vr_explicit != VR_NONE ? node->vr_explicit : node->vr;
    return is_pixel_data || vr == VR_OB || vr == VR_OW || vr == VR_OX || vr == VR_OD || vr == VR_OF || vr == VR_OL ||
           vr == VR_OV;
}

// An element of undefined length: a sequence, or encapsulated pixel data.
static void take_undefined(Reading *r, const Header &h)
{
    int bound = r->top().bound;
    unsigned char mode = mode_inside(r, h, r->behind, bound);
    What_Follows next = what_follows(r, r->behind, bound, &mode);
    DICOM_List *node = make_element(r, h, UNDEFINED_LENGTH);
    if (node->vr == VR_NONE && node->vr_explicit == VR_NONE)
        node->vr = VR_SQ;   // nothing else may have no length
    add_element(r, node, h.length);
    r->unopened = nullptr;
    if (next == FOLLOWS_NOTHING) {
        leave_unopened(r, node);
        report_fault(r, "no item follows this element of undefined length; it has no value");
    }
    r->at = r->behind;
    if (next != FOLLOWS_NOTHING)
        open_sequence(r, node, holds_fragments(node) ? LEVEL_FRAGMENTS : LEVEL_SEQUENCE, UNDEFINED_LENGTH, mode,
                      next == FOLLOWS_ITEM);
}

// ---- elements with a length -----------------------------------------------------------

static const char *name_of_place(const Reading *r)
{
    return r->levels.back().bound == r->size ? "the data" : "what it stands in";
}

// A value that is not there in full: what is there is kept, unless the header looks like bytes that are none.
static void take_cut_value(Reading *r, const Header &h, DICOM_List *node)
{
    unsigned int tag = static_cast<unsigned int>(h.group) << 16 | h.element;
    bool is_credible =
        tag > r->top().last_tag && ((r->top().mode & SYNTAX_EXPLICIT) == 0 ? node->db != nullptr || (h.group & 1) != 0
                                                                           : vr_class(h.vr) >= VR_SHORT);
    int bound = r->top().bound;
    char fault[160];
    if (!is_credible) {
        drop_node(r);
        snprintf(fault, sizeof fault, "no element can be read here: %u bytes of value would reach beyond the end of %s",
                 h.length, name_of_place(r));
        return skip_damage(r, r->at, fault);
    }
    node->size = bound - r->behind;
    attach_value(r, node, r->behind);
    add_element(r, node, h.length);
    snprintf(fault, sizeof fault,
             "the value of %u bytes reaches beyond the end of %s; the %d bytes that are there are kept", h.length,
             name_of_place(r), node->size);
    skip_damage(r, bound, fault);
}

static void take_element(Reading *r, const Header &h)
{
    int length = static_cast<int>(h.length), bound = r->top().bound;
    bool is_held = h.length <= static_cast<unsigned int>(bound - r->behind);
    DICOM_List *node = make_element(r, h, length);
    if (is_sequence(r, node, is_held)) {
        unsigned char mode = mode_of(r, r->at, h.group);
        What_Follows next = what_follows(r, r->behind, bound, &mode);
        if (is_held || next == FOLLOWS_ITEM) {
            mode = mode_inside_private(r, node, mode);
            add_element(r, node, h.length);
            r->at = r->behind;
            open_sequence(r, node, LEVEL_SEQUENCE, h.length < 0x80000000u ? length : INT32_MAX, mode,
                          next == FOLLOWS_ITEM);
            return;
        }
    }
    if (!is_held)
        return take_cut_value(r, h, node);
    attach_value(r, node, r->behind);
    add_element(r, node, h.length);
    r->at = r->behind + length;
    take_plain_run(r);
}

// ---- items and delimiters -------------------------------------------------------------

// Pixel data in many fragments should not come into memory for the headers between them.
static void let_fragments_go(Reading *r)
{
    static const int AT_A_TIME = 8 << 20;
    if (r->at - r->kept_from < AT_A_TIME)
        return;
    let_pages_go(r->set->source, r->kept_from, r->behind);
    r->kept_from = r->behind;
}

static void take_fragment(Reading *r, const Header &h)
{
    int left = r->top().bound - r->behind;
    bool is_held = h.length <= static_cast<unsigned int>(left);
    DICOM_List *node =
        make_node(r, r->at, r->behind, h.group, h.element, VR_NONE, is_held ? static_cast<int>(h.length) : left);
    attach_value(r, node, r->behind);
    link(r, node);
    list(r, node, static_cast<int>(h.length), LISTED_FRAGMENT, ++r->top().items);
    r->set->elements++;
    if (is_held) {
        r->at = r->behind + node->size;
        let_fragments_go(r);
        return;
    }
    char fault[120];
    snprintf(fault, sizeof fault,
             "a fragment of %u bytes reaches beyond the end of %s; the %d bytes that are there are kept", h.length,
             name_of_place(r), left);
    skip_damage(r, r->behind + left, fault);
}

static void take_item(Reading *r, const Header &h)
{
    if (r->top().kind == LEVEL_FRAGMENTS)
        return take_fragment(r, h);
    if (r->top().kind == LEVEL_TOP) {
        report_fault(r, "an item outside of any sequence; its elements are taken as they come");
        r->at = r->behind;
        return;
    }
    if (r->top().kind == LEVEL_ITEM) {
        report_fault(r, "an item begins inside an item, which ends here");
        if (r->top().is_defined)
            end_item_early(r);
        close_level(r, BY_FAULT);
    }
    int length = static_cast<int>(h.length);
    if (length < UNDEFINED_LENGTH)
        length = INT32_MAX;
    DICOM_List *node = add_item_tag(r, r->at, r->behind, ELEMENT_ITEM, length);
    list(r, node, static_cast<int>(h.length), LISTED_ITEM, ++r->top().items);
    r->set->elements++;
    r->at = r->behind;
    open_item(r, node, length);
    take_plain_run(r);
}

static void leave_out_delimiter(Reading *r)
{
    report_remark(r, "a delimiter that ends nothing is left out");
    r->at = r->behind;
}

static void take_item_end(Reading *r)
{
    // Behind an item that ended by its delimiter, a second one ends the item around this sequence.
    size_t around = r->levels.size() - 2;
    if (r->top().kind == LEVEL_SEQUENCE && !r->top().is_defined && !r->top().item_had_length && r->top().items > 0 &&
        r->levels[around].kind == LEVEL_ITEM && !r->levels[around].is_defined) {
        report_fault(r, "a sequence without its delimiter ends here");
        close_level(r, BY_FAULT);
    }
    if (r->top().kind != LEVEL_ITEM || r->top().is_defined)
        return leave_out_delimiter(r);
    add_delimiter(r, r->behind, ELEMENT_ITEM_END);
    r->set->elements++;
    close_level(r, BY_DELIMITER);
    r->at = r->behind;
}

static void take_sequence_end(Reading *r)
{
    const Level &around = r->levels[r->levels.size() - (r->levels.size() > 1 ? 2 : 1)];
    bool ends_item = r->top().kind == LEVEL_ITEM && !around.is_defined && r->length_ended_at != r->at;
    if (ends_item) {
        report_fault(r, "an item without its delimiter ends here, with its sequence");
        close_level(r, BY_FAULT);
    }
    bool is_sequence = r->top().kind == LEVEL_SEQUENCE || r->top().kind == LEVEL_FRAGMENTS;
    if (!is_sequence || r->top().is_defined)
        return leave_out_delimiter(r);
    r->set->elements++;
    close_level(r, BY_DELIMITER);
    r->at = r->behind;
}

static void take_item_tag(Reading *r, const Header &h)
{
    if (h.element == ELEMENT_ITEM)
        return take_item(r, h);
    if (h.element == ELEMENT_ITEM_END)
        return take_item_end(r);
    if (h.element == ELEMENT_SEQUENCE_END)
        return take_sequence_end(r);
    skip_damage(r, r->at, "no item tag, but of their group");
}

// An element where an item was expected.
static void miss_item(Reading *r)
{
    if (r->top().is_defined || !is_plausible_at(r->bytes, r->at, r->top().bound, r->top().mode))
        return skip_damage(r, r->at, "an item was expected here");
    report_fault(r, "an item was expected here; the sequence ends without its delimiter");
    close_level(r, BY_FAULT);
}

// ---- the element reader ---------------------------------------------------------------

// Hands a header to the library's reader where both see the same in it, and takes over what it repaired.
// Returns false when there is no element to take: the place of reading has moved on.
static bool read_header(Reading *r, Header *h)
{
    unsigned int left = static_cast<unsigned int>(r->size - r->behind);
    bool looks_ahead = h->length == NO_LENGTH && h->group == 0x7FE0;   // at the first four bytes, for a JPEG stream
    bool is_held = h->length == NO_LENGTH ? !looks_ahead || left >= 4 : h->length <= left;
    if (!h->reader_agrees || !is_held)
        return true;

    int cursor = r->at, length = static_cast<int>(h->length);
    unsigned short group = 0, element = 0, vr = 0;
    // The limit is the end of what the element stands in: the look for the end of a JPEG stream would else go on to the
    // end of the source, from each item anew.
    int done = NEMA_Get_Data_Element(nullptr, 0, reinterpret_cast<intptr_t>(&cursor), r->bytes, r->top().mode, &group,
                                     &element, &vr, &length, r->top().bound);
    if (!done && h->length == NO_LENGTH && h->group == 0x7FE0) {
        // A JPEG stream whose end was not found: all that is left of it.
        h->length = static_cast<unsigned int>(r->top().bound - r->behind);
        report_fault(r, "JPEG data without a length and without an end; all %u bytes behind are taken as its value",
                     h->length);
        return true;
    }
    if (!done) {
        skip_damage(r, r->at, "no element can be read here");
        return false;
    }
    if (group == 0xFFFF && element == 0xFFFF && h->group != 0xFFFF) {
        if (length > r->top().bound - cursor)
            skip_damage(r, r->at, "an element that is to be skipped reaches beyond the end");
        else
            r->at = cursor + length;
        return false;
    }
    h->group = group;
    h->element = element;
    h->vr = vr;
    h->length = static_cast<unsigned int>(length);
    r->behind = cursor;
    return true;
}

// ---- the loop -------------------------------------------------------------------------

static bool is_padding(Reading *r)
{
    // Looked at once for each run of zero bytes, however many headers of zero bytes are read from it.
    if (r->at >= r->zeros_end) {
        r->zeros_end = r->at;
        while (r->zeros_end < r->size && r->bytes[r->zeros_end] == 0)
            r->zeros_end++;
    }
    return r->zeros_end >= r->size;
}

// Looks at a header that is not plain. Returns false when there is no element to take.
static bool look_at_header(Reading *r, Header *h)
{
    *h = {};
    r->group = r->element = 0;
    bool is_whole = peek_header(r->bytes, r->at, r->top().bound, r->top().mode, h);
    if ((!is_whole || (h->group | h->element) == 0) && r->levels.size() == 1 && is_padding(r)) {
        report_remark(r, "the last %d bytes are zero, and no elements", r->size - r->at);
        r->at = r->size;
        return false;
    }
    r->group = h->group;
    r->element = h->element;
    if (!is_whole) {
        char fault[80];
        snprintf(fault, sizeof fault, "%d bytes that hold no whole element header", r->top().bound - r->at);
        skip_damage(r, r->at, fault);
        return false;
    }
    r->behind = r->at + h->size;
    return read_header(r, h);
}

static void take_next(Reading *r)
{
    Header h;
    if (!r->want_traces && peek_plain_header(r->bytes, r->at, r->top().bound, r->top().mode, &h))
        r->behind = r->at + h.size;
    else if (!look_at_header(r, &h))
        return;
    r->group = h.group;
    r->element = h.element;
    if (h.group == GROUP_ITEM)
        take_item_tag(r, h);
    else if (r->top().kind == LEVEL_SEQUENCE || r->top().kind == LEVEL_FRAGMENTS)
        miss_item(r);
    else if (h.length == NO_LENGTH)
        take_undefined(r, h);
    else
        take_element(r, h);
}

static void report_end(Reading *r)
{
    bool is_open = r->is_cut;
    for (size_t i = 1; i < r->levels.size() && !is_open; i++)
        is_open = !r->levels[i].is_defined;
    if (is_open && !r->is_cut_told)
        report_fault(r, "the data ends inside a sequence, %d deep", static_cast<int>(r->levels.size()) / 2);
}

static void open_value(Reading *r, const Opaque &sequence)
{
    DICOM_List *node = make_node(r, 0, 0, sequence.group, sequence.element, VR_SQ, r->size);
    complement(r, node);
    add_element(r, node, static_cast<unsigned int>(r->size));
    open_sequence(r, node, LEVEL_SEQUENCE, r->size, sequence.mode, true);
}

void read_elements(Data_Set *set, int at, const Load_Options &options, const Opaque *as_sequence, Flat_Chain *chain)
{
    Reading r = {};
    r.set = set;
    r.chain = chain;
    r.bytes = set->source.bytes;
    r.size = set->source.size;
    r.at = at;
    r.want_listing = options.want_listing;
    r.want_traces = Error_Get_Threshold() > LAST_WITHOUT_TRACES;
    r.length_ended_at = -1;
    Reading_Now now(&r);
    open_top(&r);
    if (as_sequence != nullptr)
        open_value(&r, *as_sequence);
    for (;;) {
        if (r.at >= r.size)
            report_end(&r);
        if (r.at >= r.top().bound)
            close_ended_levels(&r);
        if (r.at >= r.size)
            break;
        take_next(&r);
    }
    settle_nodes(chain, &chain->segments[0], chain->taking, nullptr);
    if (r.want_listing)
        settle_vrs(set, chain);
}

}   // namespace velmora_host
