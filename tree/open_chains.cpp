// The places in a tree that is being made. What the walk from the top would find is known at each depth from the last
// sequence and item that were started there; that it is the same tree rests on three facts:
// - nodes are only ever put at the end of a chain, so a chain's slot and the first node of a tag stay what they are;
// - the walk takes the first node with the sequence's tag, so of two sequences of one tag in a chain it is the first
//   one that gets the items of both;
// - a node that has items itself, and a failure, may leave sequences anywhere: then all is forgotten but the top.
#include "tree/open_chains_internal.h"

static const char SOURCE[] = ".\\NEMA_Tag_Attribute";

enum { SHORT_CHAIN = 32 };   // as far as this a chain is searched node by node
static const int64_t NO_TAG = -1, UNKNOWN_TAGS = INT64_MAX;

/* ---- the first node of each tag ------------------------------------------------------ */

static size_t home_of(const First_Nodes *nodes, const DICOM_List *head, unsigned int tag)
{
    uint64_t mixed = (reinterpret_cast<uintptr_t>(head) ^ static_cast<uint64_t>(tag) << 20) * 0x9E3779B97F4A7C15u;
    return static_cast<size_t>(mixed >> 24) & (nodes->room - 1);
}

// The entry for a tag of a chain, or the free entry where it belongs. The room is a power of two and never full.
static First_Nodes::Entry *entry_of(const First_Nodes *nodes, const DICOM_List *head, unsigned int tag)
{
    size_t at = home_of(nodes, head, tag);
    while (nodes->entries[at].head != nullptr &&
           (nodes->entries[at].head != head || tag_number(nodes->entries[at].first) != tag))
        at = (at + 1) & (nodes->room - 1);
    return &nodes->entries[at];
}

static void release_index(First_Nodes *nodes)
{
    frame_free(nodes->entries);
    *nodes = {};
}

static bool grow_index(HWND window, First_Nodes *nodes)
{
    First_Nodes grown = {nullptr, nodes->room > 0 ? 2 * nodes->room : 1024, nodes->used};
    grown.entries = static_cast<First_Nodes::Entry *>(ALLOC_CALLOC(window, "first", grown.room, sizeof *grown.entries));
    if (grown.entries == nullptr)
        return false;
    for (size_t i = 0; i < nodes->room; i++)
        if (nodes->entries[i].head != nullptr)
            *entry_of(&grown, nodes->entries[i].head, tag_number(nodes->entries[i].first)) = nodes->entries[i];
    frame_free(nodes->entries);
    *nodes = grown;
    return true;
}

static bool add_to_index(HWND window, First_Nodes *nodes, const DICOM_List *head, DICOM_List *node)
{
    if (nodes->used >= nodes->room / 2 && !grow_index(window, nodes))
        return false;
    First_Nodes::Entry *entry = entry_of(nodes, head, tag_number(node));
    if (entry->head == nullptr) {
        *entry = {head, node};
        nodes->used++;
    }
    return true;
}

// A chain goes into the index as a whole, its head first.
static bool is_in_index(const First_Nodes *nodes, const DICOM_List *head)
{
    return nodes->room > 0 && entry_of(nodes, head, tag_number(head))->head != nullptr;
}

static bool index_chain(HWND window, First_Nodes *nodes, DICOM_List *head)
{
    for (DICOM_List *node = head; node != nullptr; node = node->next)
        if (!add_to_index(window, nodes, head, node))
            return false;
    return true;
}

/* ---- places -------------------------------------------------------------------------- */

static void forget(Open_Chains *open)
{
    for (Open_Chain &chain : open->chain)
        chain = {};
    open->chain[0].slot = &open->head;
    open->chain[0].greatest = UNKNOWN_TAGS;
    release_index(&open->first_nodes);
}

// Without memory for the index the search goes on from node to node.
static void drop_index(Open_Chains *open)
{
    for (Open_Chain &chain : open->chain)
        chain.is_indexed = false;
    release_index(&open->first_nodes);
}

// The node that the walk would take for the sequence of this tag. Null when the chain has none: a node that brought
// items from below the deepest level has left the cursor further up than it was put itself.
static DICOM_List *first_like(HWND window, Open_Chains *open, Open_Chain *chain, DICOM_List *made)
{
    if (chain->newest_is_first)
        return made;
    DICOM_List *first = *chain->slot;
    for (int i = 0; i < SHORT_CHAIN; i++, first = first->next)
        if (first == nullptr || is_tag(first, made->group, made->element))
            return first;

    if (!chain->is_indexed) {
        chain->is_indexed = index_chain(window, &open->first_nodes, *chain->slot);
        if (!chain->is_indexed) {
            drop_index(open);
            return first_with_tag(first, made->group, made->element);
        }
    }
    return entry_of(&open->first_nodes, *chain->slot, tag_number(made))->first;
}

// Finds the slot of the item that the cursor has started; makes it if need be.
static bool open_item(HWND window, Open_Chains *open, Open_Chain *chain, int item_number)
{
    chain->slot = item_slot(window, chain->sequence, item_number - 1, &chain->room);
    if (chain->slot == nullptr)
        return false;
    DICOM_List *head = *chain->slot;
    chain->greatest = head == nullptr ? NO_TAG : UNKNOWN_TAGS;
    chain->is_indexed = head != nullptr && is_in_index(&open->first_nodes, head);
    return true;
}

static void remember(HWND window, Open_Chains *open, Open_Chain *chain, DICOM_List *made)
{
    int64_t tag = tag_number(made);
    bool is_delimiter = made->group == GROUP_ITEM;
    chain->newest_is_first = !is_delimiter && tag > chain->greatest;
    if (chain->newest_is_first)
        chain->greatest = tag;
    if (chain->is_indexed && !add_to_index(window, &open->first_nodes, *chain->slot, made))
        drop_index(open);
}

// The walk, from the deepest chain that is known.
static DICOM_List *insert_by_walk(HWND window, Open_Chains *open, DICOM_List *source)
{
    int depth = open->root.Sequence_Depth;
    while (open->chain[depth].slot == nullptr || (source->item != nullptr && depth > 0))
        depth--;
    DICOM_List **slot = open->chain[depth].slot;
    // Where no item has been started the walk is refused before it can change anything.
    bool is_refused = depth < open->root.Sequence_Depth && *slot != nullptr && open->root.Item_Number[depth + 1] < 1;
    DICOM_List *made = DICOM_Attribute_Insert(window, &open->root, slot, source, depth);
    if (!is_refused)
        forget(open);
    return made;
}

void begin_tree(HWND window, Open_Chains *open)
{
    *open = {};
    DICOM_Attribute_Sequence_Reset(window, &open->root);
    open->chain[0].slot = &open->head;
    open->chain[0].greatest = NO_TAG;
}

void end_tree(Open_Chains *open)
{
    release_index(&open->first_nodes);
}

DICOM_List *insert_open(HWND window, Open_Chains *open, DICOM_List *source)
{
    int depth = open->root.Sequence_Depth, item_number = open->root.Item_Number[depth];
    Open_Chain *chain = &open->chain[depth];
    bool is_known = chain->slot != nullptr || (chain->sequence != nullptr && item_number > 0);
    if (!is_known || source->item != nullptr)
        return insert_by_walk(window, open, source);

    trace_insert(window, source);
    if (chain->slot == nullptr && !open_item(window, open, chain, item_number))
        return refuse_insert(window, source);
    DICOM_List *made = append_copy(window, &open->root, &open->head, chain->slot, source);
    if (made != nullptr)
        remember(window, open, chain, made);
    else
        forget(open);
    return made;
}

// Most sequences have one item or two: the slots for them come with the nodes.
static void take_first_slots(DICOM_List *sequence, Node_Place *place, int *room)
{
    enum { FIRST_SLOTS = 2 };
    if (sequence->item != nullptr)
        return;
    sequence->item = static_cast<DICOM_List **>(node_heap_take(place, FIRST_SLOTS * sizeof *sequence->item, VALUE_BLOCK));
    *room = sequence->item != nullptr ? FIRST_SLOTS : 0;
}

bool take_open(HWND window, Open_Chains *open, DICOM_List *node, Node_Place *place)
{
    int depth = open->root.Sequence_Depth, item_number = open->root.Item_Number[depth];
    Open_Chain *chain = &open->chain[depth];
    bool is_known = chain->slot != nullptr || (chain->sequence != nullptr && item_number > 0);
    trace_insert(window, node);
    if (is_known && chain->slot == nullptr)
        take_first_slots(chain->sequence, place, &chain->room);
    if (!is_known || (chain->slot == nullptr && !open_item(window, open, chain, item_number))) {
        refuse_insert(window, node);
        return false;
    }
    REPORT(window, LEVEL_ATTRIBUTE, "in DICOM_Attribute_Copy_Tag(%04x,%04x)", node->group, node->element);
    take_node(&open->root, chain->slot, node);
    remember(window, open, chain, node);
    return true;
}

void start_sequence(HWND window, Open_Chains *open, const DICOM_List *source, DICOM_List *made)
{
    int outer_depth = open->root.Sequence_Depth;
    Open_Chain *outer = &open->chain[outer_depth];
    int depth = DICOM_Attribute_Sequence_Start(window, &open->root, source->group, source->element, source->flag,
                                               LEVEL_FUNCTION);
    Open_Chain *inner = &open->chain[depth];
    inner->slot = nullptr;
    if (depth == outer_depth)
        return;                    // one level too many: the items of the open sequence are counted anew
    inner->sequence = made != nullptr && outer->slot != nullptr ? first_like(window, open, outer, made) : nullptr;
    inner->room = 0;
}

void start_item(HWND window, Open_Chains *open)
{
    DICOM_Attribute_Item_Start(window, &open->root, LEVEL_FUNCTION);
    if (open->root.Sequence_Depth > 0)
        open->chain[open->root.Sequence_Depth].slot = nullptr;
}
