// The levels that are open while a stream is read: a plain stack, as deep as the stream wants it. The tree is made from
// the flat chain by DICOM_Attribute_Format, which nests by the same delimiters and lengths; where the chain alone would
// lead it elsewhere, a node is made to look different for that time and restored afterwards (Flat_Chain::restored).
#include "host/reading.h"

#include <algorithm>

namespace velmora_host
{

// ---- nodes ----------------------------------------------------------------------------

// What the library says of an item tag is the same for all of them. The text stays the chain's: Format copies it.
static void describe_item_tag(Reading *r, DICOM_List *node)
{
    for (const DICOM_List &described : r->chain->item_tags) {
        if (described.element == node->element) {
            node->db = described.db;
            node->vr = described.vr;
            node->description = described.description;
        }
    }
}

DICOM_List *make_node(Reading *r, int pos, int data_pos, unsigned short group, unsigned short element,
                      unsigned short vr, int size)
{
    DICOM_List *node = r->chain->nodes.add();
    r->chain->tree_bytes += sizeof *node + 16;   // malloc keeps 16 bytes with it
    // Field by field: to clear the whole node first would take as long as all else that is done here.
    node->depth = 0;
    node->vr = node->type = 0;
    node->vm = node->stream_word = node->nb_item = 0;
    node->data = node->description = nullptr;
    node->db = nullptr;
    node->item = nullptr;
    node->next = node->last = nullptr;
    node->syntax = static_cast<unsigned char>(mode_of(r, pos, group) & 0x0F);
    node->flag = ORIGIN_DICOM;
    node->group = group;
    node->element = element;
    node->vr_explicit = vr;
    node->pos = pos;
    node->data_pos = data_pos;
    node->size = size;
    if (group == GROUP_ITEM)
        describe_item_tag(r, node);
    return node;
}

void link(Reading *r, DICOM_List *node)
{
    Segment &segment = r->chain->segments[static_cast<size_t>(r->top().segment)];
    if (segment.last == nullptr)
        segment.first = node;
    else
        segment.last->next = node;
    segment.last = node;
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
static void remember(Reading *r, DICOM_List *node, int *restored)
{
    if (*restored >= 0)
        return;
    *restored = static_cast<int>(r->chain->restored.size());
    r->chain->restored.push_back(
        {node, node->pos, node->size, node->group, node->element, node->vr_explicit, node->vr});
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
static void keep_apart(Reading *r, const DICOM_List *tag)
{
    DICOM_List *before = r->chain->segments[static_cast<size_t>(r->top().segment)].last;
    if (before == nullptr || before->group == GROUP_ITEM)
        return;
    if (before == r->unopened) {
        int restored = -1;
        remember(r, before, &restored);
        before->size = 0;
    } else if (tag->element == ELEMENT_ITEM && before->size != UNDEFINED_LENGTH && nesting_vr(before) == VR_NONE) {
        link(r, make_node(r, tag->pos, tag->pos, GROUP_ITEM, ELEMENT_ITEM_END, VR_NONE, 0));
    }
}

void link_item_tag(Reading *r, DICOM_List *tag)
{
    keep_apart(r, tag);
    link(r, tag);
}

// ---- opening --------------------------------------------------------------------------

void open_top(Reading *r)
{
    Level top = {};
    top.bound = r->size;
    top.listed = top.restored = -1;
    top.kind = LEVEL_TOP;
    top.mode = r->set->mode;
    r->levels.push_back(top);
    r->chain->segments.emplace_back();
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
    remember(r, level->node, &level->restored);
    level->node->vr_explicit = VR_UN;
    level->node->size = 0;
    level->is_opaque = true;
    level->tree_depth = 0;
    level->segment = static_cast<int>(r->chain->segments.size());
    r->chain->segments.emplace_back();
}

void open_sequence(Reading *r, DICOM_List *node, Level_Kind kind, int length, unsigned char mode, bool starts_with_item)
{
    Level level = {};
    level.node = node;
    level.start = r->at;
    level.is_defined = length != UNDEFINED_LENGTH;
    level.bound = level.is_defined ? bound_by_length(r, "sequence", length) : r->top().bound;
    level.listed = r->want_listing ? static_cast<int>(r->set->listing.size()) - 1 : -1;
    level.segment = r->top().segment;
    level.restored = -1;
    level.creators = static_cast<int>(r->creators.size());
    level.told = r->told;
    level.kind = kind;
    level.mode = mode;
    level.tree_depth = static_cast<unsigned char>(r->top().tree_depth + 1);

    unsigned short vr = nesting_vr(node);
    bool opens_with_item = vr == VR_OB || vr == VR_OW || vr == VR_UN || vr == VR_NONE;
    if (level.tree_depth > MAX_SEQUENCE_DEPTH) {
        make_opaque(r, &level);
    } else if (level.is_defined) {
        node->size = level.bound - level.start;
    } else if (vr != VR_SQ && !(opens_with_item && starts_with_item)) {
        remember(r, node, &level.restored);
        node->vr_explicit = VR_SQ;
    }
    r->levels.push_back(level);
}

void open_item(Reading *r, DICOM_List *node, int length)
{
    Level level = {};
    level.node = node;
    level.start = r->at;
    level.is_defined = length != UNDEFINED_LENGTH;
    level.bound = level.is_defined ? bound_by_length(r, "item", length) : r->top().bound;
    level.listed = r->want_listing ? static_cast<int>(r->set->listing.size()) - 1 : -1;
    level.segment = r->top().segment;
    level.restored = -1;
    level.creators = static_cast<int>(r->creators.size());
    if (level.is_defined)
        node->size = level.bound - level.start;
    level.kind = LEVEL_ITEM;
    level.mode = r->top().mode;
    level.tree_depth = r->top().tree_depth;
    r->levels.push_back(level);
}

// ---- closing --------------------------------------------------------------------------

static void finish_opaque(Reading *r, const Level &level, int end)
{
    DICOM_List *node = level.node;
    node->size = end - level.start;
    if (node->size > 0 && node->size < SMALLEST_UNREAD_VALUE)
        node->data = const_cast<char *>(r->bytes + level.start);
    r->chain->restored[static_cast<size_t>(level.restored)].size = node->size;
    if (r->top().segment != 0)
        return;
    bool is_faulty = r->told > level.told, is_value = level.items == 0 && node->size > 0;   // of bytes that are no items
    if (!is_value)
        r->set->opaque.push_back(
            {node->pos, level.start, node->size, node->group, node->element, level.mode, is_faulty});
    r->group = node->group;
    r->element = node->element;
    report_remark(r, "this sequence lies below the ninth level; it is kept as one value of %d bytes", node->size);
}

// An unsorted item makes the library end a sequence of undefined length early, so that it gets its true length for that
// time, and no delimiter.
static void give_true_length(Reading *r, Level *level)
{
    remember(r, level->node, &level->restored);
    level->node->vr_explicit = VR_SQ;
    level->node->size = r->at - level->start;
}

// Every sequence of undefined length gets a delimiter in its chain, the stream's own or one in its stead: without it
// the tree would go on in there. At the end of the source nothing follows that could.
static void link_delimiter(Reading *r, const Level &level, Closing how)
{
    if (how != BY_DELIMITER && (r->at >= r->size || level.is_unsorted))
        return;
    int data_pos = how == BY_DELIMITER ? r->behind : r->at;
    r->levels.push_back(level);
    link_item_tag(r, make_node(r, r->at, data_pos, GROUP_ITEM, ELEMENT_SEQUENCE_END, VR_NONE, 0));
    r->levels.pop_back();
}

void close_level(Reading *r, Closing how)
{
    Level level = r->top();
    r->levels.pop_back();
    r->creators.resize(static_cast<size_t>(level.creators));
    if (level.kind == LEVEL_ITEM) {
        r->top().item_had_length = level.is_defined;
        return;
    }
    if (level.is_defined && how == BY_LENGTH)
        r->length_ended_at = level.bound;
    if (level.is_opaque)
        finish_opaque(r, level, level.is_defined ? level.bound : r->at);
    else if (!level.is_defined && how == BY_DELIMITER && level.is_unsorted)
        give_true_length(r, &level);
    else if (!level.is_defined)
        link_delimiter(r, level, how);
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
