// DICOM_Attribute_Format for a reader of streams that has no use for a chain of its own: the nodes that it makes become
// the nodes of the tree, one after the other, each when the one behind it is known. Trees and reports are those that
// the same nodes make as a chain. The host library loads with it. What most nodes need stands in line: they come by the
// hundred thousand, and need little.
#ifndef VELMORA_TAKING_INTERNAL_H
#define VELMORA_TAKING_INTERNAL_H

#include "dictionary/DICOM_Dictionary.h"
#include "tree/open_chains_internal.h"

static const int64_t NO_END = -1;

// Where a call stands in the stream.
struct Nesting {
    Open_Chains open;                                      // the tree, with a cursor whose depth is that of the stream
    int64_t end_of_sequence[MAX_SEQUENCE_DEPTH + 1];       // position in the stream, or NO_END
    int64_t end_of_item[MAX_SEQUENCE_DEPTH + 1];
    bool has_warned_of_order;
};

struct Taking {
    Nesting nesting;
    Node_Place place;
    bool has_traces;    // somebody wants to hear of each step,
    bool has_remarks;   // or at least of what is odd about an attribute
};

inline int depth_of(const Nesting *nesting)
{
    return nesting->open.root.Sequence_Depth;
}

inline bool has_ended(int64_t end, const DICOM_List *tag)
{
    return end >= 0 && end <= tag->pos;
}

inline bool is_delimiter_group(unsigned short group)
{
    return group == GROUP_ITEM || group == ANY_TAG_NUMBER;
}

/* ---- blocks -------------------------------------------------------------------------- */

// A node with no field set, and a copy of a value; null when memory ran out. Both can be freed like any other, with
// DICOM_Attribute_Free and DICOM_Lib_Free.
inline DICOM_List *taking_node(Taking *taking)
{
    return static_cast<DICOM_List *>(node_heap_take(&taking->place, sizeof(DICOM_List), NODE_BLOCK));
}

inline char *taking_value(Taking *taking, const char *bytes, size_t size)
{
    char *value = static_cast<char *>(node_heap_take(&taking->place, size, VALUE_BLOCK));
    if (value == nullptr)
        return nullptr;
    // Most values are short: two words that overlap are theirs. The rest by memmove, since compilers put a slow loop in
    // the place of memcpy where they know the size to be small.
    uint64_t first, last;
    if (size >= sizeof first && size <= 2 * sizeof first) {
        memcpy(&first, bytes, sizeof first);
        memcpy(&last, bytes + size - sizeof last, sizeof last);
        memcpy(value, &first, sizeof first);
        memcpy(value + size - sizeof last, &last, sizeof last);
    } else {
        memmove(value, bytes, size);
    }
    return value;
}

/* ---- nodes that do nothing but follow ------------------------------------------------ */

// Whether a node neither opens nor closes anything, its tag ascends, and there is nothing to say about it, or nobody
// who wants to hear it.
inline bool is_usual(const Taking *taking, const Open_Chain *chain, const DICOM_List *node)
{
    const Nesting *nesting = &taking->nesting;
    int depth = depth_of(nesting);
    if (node->flag != ORIGIN_DICOM || chain->slot == nullptr || *chain->slot == nullptr || chain->is_indexed ||
        is_delimiter_group(node->group) || static_cast<int64_t>(tag_number(node)) <= chain->greatest ||
        node->size == UNDEFINED_LENGTH ||
        has_ended(nesting->end_of_sequence[depth], node) || has_ended(nesting->end_of_item[depth], node))
        return false;
    const TAG_db_Elems *row = node->db;
    if (row != nullptr && row->type <= 0 && taking->has_remarks)
        return false;
    if (node->vr_explicit == VR_NONE)
        return node->vr != VR_NONE && node->vr != VR_RT && node->vr != VR_SQ;
    bool is_known = row == nullptr || row->vr[0] == node->vr_explicit || !taking->has_remarks;
    return is_known && node->vr_explicit != VR_SQ && is_believed_vr(node->vr_explicit);
}

// Puts such a node into the tree, with what is left of all the steps. False: it is not one.
inline bool taking_add_usual(Taking *taking, DICOM_List *node)
{
    Nesting *nesting = &taking->nesting;
    int depth = depth_of(nesting);
    Open_Chain *chain = &nesting->open.chain[depth];
    if (taking->has_traces || !is_usual(taking, chain, node))
        return false;
    if (is_private_group(node->group))
        node->flag |= FLAG_PRIVATE;
    if (node->db != nullptr && node->db->type <= 0)
        node->flag |= FLAG_RETIRED;
    take_node(&nesting->open.root, chain->slot, node);
    chain->greatest = tag_number(node);
    chain->newest_is_first = true;
    return true;
}

/* ---- all nodes ----------------------------------------------------------------------- */

// Begins an empty tree. Null when memory ran out.
Taking *taking_begin(HWND window);

// Puts a node, whose value and description are its own and which has no items, into the tree.
//   next  what follows it in the stream; null: nothing
// False when memory ran out: then the node is still the caller's.
bool taking_add(HWND window, Taking *taking, DICOM_List *node, const DICOM_List *next);

// The sequence of undefined length that is open at this depth, counted from 1, ends here in the stream. Without this a
// tag that does not ascend is taken for its end.
void taking_set_end(Taking *taking, int depth, int end);

// The tree so far.
inline DICOM_List *taking_tree(const Taking *taking)
{
    return taking->nesting.open.head;
}

// Releases all but the tree. Null is left alone.
void taking_end(Taking *taking);

#endif
