// The levels that are open while a stream is read: a plain stack, as deep as the stream wants it. The library makes the
// tree from the nodes as DICOM_Attribute_Format does, and nests by the same delimiters and lengths; where the nodes alone
// would lead it elsewhere, one is made to look different for that time and restored afterwards (Segment::restored).
#include "host/reading.h"

#include <algorithm>
#include <new>

namespace velmora_host
{

// ---- nodes ----------------------------------------------------------------------------

// What the library says of an item tag is the same for all of them.
void describe_item_tag(Reading *r, DICOM_List *node)
{
    int i = node->element == ELEMENT_ITEM ? 0 : node->element == ELEMENT_ITEM_END ? 1 : 2;
    const DICOM_List &described = r->chain->item_tags[i];
    if (described.element != node->element)
        return;
    node->db = described.db;
    node->vr = described.vr;
    node->description = r->chain->item_texts[i];
    if (node->description == nullptr && described.description != nullptr)
        node->description = copy_bytes(r, described.description, static_cast<size_t>(described.size));
}

void drop_node(Reading *r)
{
    DICOM_Attribute_Free(nullptr, r->chain->loose);
    r->chain->loose = nullptr;
}

// As many more as the rest of the source will have if it goes on like this, so that a long listing is not moved often.
static void make_room_for_listing(Reading *r)
{
    size_t count = r->set->listing.size(), at = static_cast<size_t>(r->at) + 1;
    size_t expected = static_cast<size_t>(static_cast<double>(count) * r->size / static_cast<double>(at)) + 64;
    size_t room = std::min(std::max(expected, count * 2), count * 16 + 64);
    r->set->listing.reserve(room);
    r->chain->listed.reserve(room);
}

void list(Reading *r, DICOM_List *node, int length, Listed_Kind kind, int item_number)
{
    if (!r->want_listing)
        return;
    const Level &top = r->top();
    Listed entry = {};
    entry.parent = top.listed;
    entry.depth =
        top.listed < 0 ? 0 : r->set->listing[static_cast<size_t>(top.listed)].depth + (top.kind != LEVEL_ITEM);
    entry.item_number = item_number;
    entry.pos = node->pos;
    entry.data_pos = node->data_pos;
    entry.length = length;
    entry.group = node->group;
    entry.element = node->element;
    entry.kind = kind;
    if (r->set->listing.size() == r->set->listing.capacity())
        make_room_for_listing(r);
    r->set->listing.push_back(entry);
    r->chain->listed.push_back(node);
}

// Notes how a node really is, once, before it is made to look different.
static void remember(Reading *r, DICOM_List *node)
{
    if (node->stream_word != 0)
        return;
    Segment *segment = r->top().segment;
    segment->restored.push_back({node->size, node->vr_explicit, node->vr});
    node->stream_word = static_cast<int>(segment->restored.size());
}

// The VR by which the tree is nested. The library drops the VRs that it does not keep, and goes by the definition then.
static unsigned short nesting_vr(const DICOM_List *node)
{
    VR_Class kind = vr_class(node->vr_explicit);
    bool is_kept = kind == VR_SHORT || (kind == VR_LONG && node->vr_explicit != VR_UT);
    if (node->vr_explicit == VR_OX)
        return VR_OW;
    return is_kept ? node->vr_explicit : node->vr;
}

// Keeps the library from taking the element in front of an item tag for the sequence that the tag belongs to: one of
// undefined length that nothing follows; and one without a VR of its own or by definition, in front of an item.
static void keep_apart(Reading *r, int pos, unsigned short element)
{
    DICOM_List *before = r->top().segment->last;
    if (before == nullptr || before->group == GROUP_ITEM)
        return;
    if (before == r->unopened) {
        remember(r, before);
        before->size = 0;
    } else if (element == ELEMENT_ITEM && before->size != UNDEFINED_LENGTH && nesting_vr(before) == VR_NONE) {
        link(r, make_node(r, pos, pos, GROUP_ITEM, ELEMENT_ITEM_END, VR_NONE, 0));
    }
}

DICOM_List *add_item_tag(Reading *r, int pos, int data_pos, unsigned short element, int size)
{
    keep_apart(r, pos, element);
    DICOM_List *tag = make_node(r, pos, data_pos, GROUP_ITEM, element, VR_NONE, size);
    link_to_segment(r, tag);
    return tag;
}

// An item tag that will not change any more goes into the tree, unless it has to wait with others.
static void finish_item_tag(Reading *r, const DICOM_List *tag)
{
    bool waits = r->top().segment != r->data_set || r->held != 0;
    if (!waits && r->data_set->first == tag && tag->vr != VR_NONE)
        settle_item_tag(r->chain, r->data_set, r->chain->taking);
}

void add_delimiter(Reading *r, int data_pos, unsigned short element)
{
    finish_item_tag(r, add_item_tag(r, r->at, data_pos, element, 0));
}

// ---- opening --------------------------------------------------------------------------

void open_top(Reading *r)
{
    Level top = {};
    top.bound = r->size;
    top.listed = -1;
    top.kind = LEVEL_TOP;
    top.mode = r->set->mode;
    r->levels.push_back(top);
    r->data_set = &r->chain->segments.emplace_back();
    r->levels.back().segment = r->data_set;
}

// The end of a level by its length: as told, but not beyond what is around it. Reaching beyond the source is told once,
// where it ends.
static int bound_by_length(Reading *r, const char *what, int length)
{
    const Level &around = r->top();
    if (length <= around.bound - r->at)
        return r->at + length;
    if (around.bound == r->size)
        r->is_cut = true;
    else
        report_fault(r, "the length of this %s (%u bytes) reaches beyond what it stands in, which has %d bytes more",
                     what, static_cast<unsigned int>(length), around.bound - r->at);
    return around.bound;
}

// A tenth level: its node holds all of it as one value, and what is in it gets a chain of its own.
static void make_opaque(Reading *r, Level *level)
{
    remember(r, level->node);
    level->node->vr_explicit = VR_UN;
    level->node->size = 0;
    level->is_opaque = true;
    level->tree_depth = 0;
    level->segment = &r->chain->segments.emplace_back();
}

// Puts a level on top, in its place from the start: a copy would wait for its fields to be written.
static Level &add_level(Reading *r, DICOM_List *node, Level_Kind kind, unsigned char mode, int bound, bool is_defined)
{
    Level &level = r->levels.emplace_back();
    const Level &around = r->levels[r->levels.size() - 2];
    level.node = node;
    level.start = r->at;
    level.bound = bound;
    level.listed = r->want_listing ? static_cast<int>(r->set->listing.size()) - 1 : -1;
    level.segment = around.segment;
    level.creators = static_cast<int>(r->creators.size());
    level.kind = kind;
    level.mode = mode;
    level.tree_depth = around.tree_depth;
    level.is_defined = is_defined;
    return level;
}

void open_sequence(Reading *r, DICOM_List *node, Level_Kind kind, int length, unsigned char mode, bool starts_with_item)
{
    bool is_defined = length != UNDEFINED_LENGTH;
    int bound = is_defined ? bound_by_length(r, "sequence", length) : r->top().bound;
    Level &level = add_level(r, node, kind, mode, bound, is_defined);
    level.told = r->told;
    level.tree_depth++;

    unsigned short vr = nesting_vr(node);
    bool opens_with_item = vr == VR_OB || vr == VR_OW || vr == VR_UN || vr == VR_NONE;
    if (level.tree_depth > MAX_SEQUENCE_DEPTH) {
        make_opaque(r, &level);
    } else if (is_defined) {
        node->size = bound - level.start;
    } else if (vr != VR_SQ && !(opens_with_item && starts_with_item)) {
        remember(r, node);
        node->vr_explicit = VR_SQ;
    }
    // Should an item of this turn out to be unsorted, its node has to look different from the start.
    bool is_sequence = node->vr_explicit == VR_SQ || (node->vr_explicit == VR_NONE && node->vr == VR_SQ);
    bool may_be_held = r->held == 0 && kind == LEVEL_SEQUENCE && !is_defined && level.segment == r->data_set;
    if (may_be_held && (!is_sequence || r->is_astray))
        r->held = r->levels.size() - 1;
}

void leave_unopened(Reading *r, DICOM_List *node)
{
    r->unopened = node;
    if (r->top().tree_depth < MAX_SEQUENCE_DEPTH)
        return;
    // What the library cannot open it would close all the same, and with it the ninth level.
    remember(r, node);
    node->vr_explicit = VR_UN;
    node->size = 0;
    node->flag |= FLAG_DELETED;   // as it does further up
}

void open_item(Reading *r, DICOM_List *node, int length)
{
    bool is_defined = length != UNDEFINED_LENGTH;
    int bound = is_defined ? bound_by_length(r, "item", length) : r->top().bound;
    add_level(r, node, LEVEL_ITEM, r->top().mode, bound, is_defined);
    if (is_defined)
        node->size = bound - r->at;
    finish_item_tag(r, node);
}

void end_item_early(Reading *r)
{
    DICOM_List *node = r->top().node;
    node->size = r->at - r->top().start;
    bool was_finished = r->top().segment == r->data_set && r->held == 0 && r->data_set->first == nullptr;
    if (was_finished && r->data_set->last == node)
        taking_end_item(r->chain->taking, r->at);
}

// ---- closing --------------------------------------------------------------------------

static void finish_opaque(Reading *r, const Level &level, int end)
{
    DICOM_List *node = level.node;
    node->size = end - level.start;
    attach_value(r, node, level.start);
    r->top().segment->restored[static_cast<size_t>(node->stream_word) - 1].size = node->size;
    if (r->top().segment != r->data_set)
        return;
    bool is_faulty = r->told > level.told, is_value = level.items == 0 && node->size > 0;   // of bytes that are no items
    if (!is_value)
        r->set->opaque.push_back(
            {node->pos, level.start, node->size, node->group, node->element, level.mode, is_faulty});
    r->group = node->group;
    r->element = node->element;
    report_remark(r, "this sequence lies below the ninth level; it is kept as one value of %d bytes", node->size);
}

// An unsorted item makes the library end a sequence of undefined length early, unless it knows its end: the nodes from
// there on wait for that. A sequence that waits itself gets its true length for that time. Neither gets a delimiter.
void note_disorder(Reading *r)
{
    size_t at = r->levels.size() - 2;
    Level &sequence = r->levels[at];
    sequence.is_unsorted = true;
    if (r->held == 0 && !sequence.is_defined && sequence.segment == r->data_set)
        r->held = at;
}

static void give_true_length(Reading *r, Level *level)
{
    remember(r, level->node);
    level->node->vr_explicit = VR_SQ;
    level->node->size = r->at - level->start;
}

static bool is_waiting(const Reading *r, const Level &level)
{
    const DICOM_List *first = r->data_set->first;
    return level.segment != r->data_set || (first != nullptr && first->pos <= level.node->pos);
}

// What follows an unsorted sequence without a delimiter may go into the tree anywhere, up to the outermost sequence
// whose end is not known yet. From there on the tree's depth need not be that of the stream.
static void go_astray(Reading *r)
{
    r->is_astray = true;
    size_t end = r->held > 0 ? r->held : r->levels.size();   // few, as they are levels of the tree
    for (size_t i = 1; i < end; i++) {
        if (r->levels[i].kind != LEVEL_ITEM && !r->levels[i].is_defined) {
            r->held = i;
            return;
        }
    }
}

static void end_unsorted(Reading *r, Level *level, Closing how)
{
    if (how == BY_DELIMITER && is_waiting(r, *level))
        give_true_length(r, level);
    else if (how == BY_DELIMITER)
        taking_set_end(r->chain->taking, level->tree_depth, r->at);
    else if (level->segment == r->data_set)
        go_astray(r);
}

// Every sequence of undefined length gets a delimiter in its chain, the stream's own or one in its stead: without it
// the tree would go on in there. At the end of the source nothing follows that could.
static void link_delimiter(Reading *r, Closing how)
{
    if (how != BY_DELIMITER && r->at >= r->size)
        return;
    add_delimiter(r, how == BY_DELIMITER ? r->behind : r->at, ELEMENT_SEQUENCE_END);
}

static void close_item(Reading *r)
{
    bool is_defined = r->top().is_defined;
    r->levels.pop_back();
    r->top().item_had_length = is_defined;
}

static void close_odd_sequence(Reading *r, Closing how)
{
    Level level = r->top();
    r->levels.pop_back();
    if (level.is_opaque)
        finish_opaque(r, level, level.is_defined ? level.bound : r->at);
    else if (!level.is_defined)
        end_unsorted(r, &level, how);
}

void close_level(Reading *r, Closing how)
{
    const Level &level = r->top();
    r->creators.resize(static_cast<size_t>(level.creators));
    if (level.kind == LEVEL_ITEM)
        return close_item(r);
    if (level.is_defined && how == BY_LENGTH)
        r->length_ended_at = level.bound;
    if (r->held == r->levels.size() - 1)
        r->held = 0;
    if (level.is_opaque || level.is_unsorted)
        return close_odd_sequence(r, how);
    if (!level.is_defined)
        link_delimiter(r, how);
    r->levels.pop_back();
}

void close_ended_levels(Reading *r)
{
    while (r->levels.size() > 1) {
        const Level &top = r->top();
        if (r->at < top.bound)
            return;
        if (!top.is_defined && top.kind != LEVEL_ITEM && r->at < r->size) {
            r->group = top.node->group;
            r->element = top.node->element;
            report_fault(r, "this sequence has no delimiter; it ends with what it stands in");
        }
        close_level(r, BY_LENGTH);
    }
}

}   // namespace velmora_host
