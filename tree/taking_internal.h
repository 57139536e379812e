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
    copy_value(value, bytes, size);
    return value;
}

// A text that all nodes with it hold in common, to be freed for each like one of its own; null where there is none such.
char *taking_text(const char *text, size_t size);

/* ---- nodes that do nothing but follow ------------------------------------------------ */

// Whether an attribute opens nothing, and there is nothing to say about it, or nobody who wants to hear it.
//   vr  by definition, or what was found in its stead
inline bool is_usual_attribute(const Taking *taking, unsigned short vr_explicit, unsigned short vr,
                               const TAG_db_Elems *row)
{
    if (row != nullptr && row->type <= 0 && taking->has_remarks)
        return false;
    if (vr_explicit == VR_NONE)
        return vr != VR_NONE && vr != VR_RT && vr != VR_SQ;
    bool is_known = row == nullptr || row->vr[0] == vr_explicit || !taking->has_remarks;
    return is_known && vr_explicit != VR_SQ && is_believed_vr(vr_explicit);
}

// What the flag of such a node says.
inline unsigned short usual_flag(unsigned short group, const TAG_db_Elems *row)
{
    int flag = ORIGIN_DICOM;
    if (is_private_group(group))
        flag |= FLAG_PRIVATE;
    if (row != nullptr && row->type <= 0)
        flag |= FLAG_RETIRED;
    return static_cast<unsigned short>(flag);
}

// Whether the chain at the cursor is one that nodes can follow in, and nobody wants to hear of each.
inline bool can_be_followed(const Taking *taking, const Open_Chain *chain)
{
    return !taking->has_traces && chain->slot != nullptr && *chain->slot != nullptr && !chain->is_indexed;
}

// Puts a node that neither opens nor closes anything, and whose tag ascends, into the tree, with what is left of all the
// steps. False: it is not one.
inline bool taking_add_usual(Taking *taking, DICOM_List *node)
{
    Nesting *nesting = &taking->nesting;
    int depth = depth_of(nesting);
    Open_Chain *chain = &nesting->open.chain[depth];
    if (!can_be_followed(taking, chain) || node->flag != ORIGIN_DICOM || is_delimiter_group(node->group) ||
        static_cast<int64_t>(tag_number(node)) <= chain->greatest || node->size == UNDEFINED_LENGTH ||
        has_ended(nesting->end_of_sequence[depth], node) || has_ended(nesting->end_of_item[depth], node) ||
        !is_usual_attribute(taking, node->vr_explicit, node->vr, node->db))
        return false;
    node->flag = usual_flag(node->group, node->db);
    take_node(&nesting->open.root, chain->slot, node);
    chain->greatest = tag_number(node);
    chain->newest_is_first = true;
    return true;
}

// A run of such nodes that follow each other. What is the same for all of them is looked up once, and what only the last
// decides is stored once.
struct Taking_Run {
    Open_Chain *chain;
    DICOM_List *newest;     // of the chain
    int64_t end;            // position in the stream from which on something has ended
    unsigned char depth;
};

// Begins a run behind a node that was taken. False: there can be none.
inline bool taking_begin_run(Taking *taking, Taking_Run *run)
{
    const Nesting *nesting = &taking->nesting;
    int depth = depth_of(nesting);
    run->chain = &taking->nesting.open.chain[depth];
    if (!can_be_followed(taking, run->chain))
        return false;
    run->newest = tail_of(*run->chain->slot);
    run->depth = static_cast<unsigned char>(depth);
    run->end = INT64_MAX;
    for (int64_t end : {nesting->end_of_sequence[depth], nesting->end_of_item[depth]})
        if (end >= 0 && end < run->end)
            run->end = end;
    return true;
}

// The next one: usual, behind the greatest tag of the chain, in front of the end of the run, with depth and usual_flag
// in its fields.
inline void taking_follow(Taking_Run *run, DICOM_List *node)
{
    run->newest->next = node;
    run->newest = node;
}

// Ends a run that had at least one node.
inline void taking_end_run(Taking *taking, const Taking_Run *run)
{
    (*run->chain->slot)->last = run->newest;
    set_sequence(&taking->nesting.open.root, run->depth, run->newest->group, run->newest->element, 0);
    run->chain->greatest = tag_number(run->newest);
    run->chain->newest_is_first = true;
}

/* ---- all nodes ----------------------------------------------------------------------- */

// Begins an empty tree. Null when memory ran out.
Taking *taking_begin(HWND window);

// Puts a node, whose value and description are its own and which has no items, into the tree.
//   next  what follows it in the stream; null: nothing
// False when memory ran out: then the node is still the caller's.
bool taking_add(HWND window, Taking *taking, DICOM_List *node, const DICOM_List *next);

// The same for the tag of an item or a delimiter, which need not know what follows.
bool taking_add_item_tag(Taking *taking, DICOM_List *node);

// The sequence of undefined length that is open at this depth, counted from 1, ends here in the stream. Without this a
// tag that does not ascend is taken for its end.
void taking_set_end(Taking *taking, int depth, int end);

// The item that was taken last ends here in the stream, before its length says so.
inline void taking_end_item(Taking *taking, int end)
{
    taking->nesting.end_of_item[depth_of(&taking->nesting)] = end;
}

// The tree so far.
inline DICOM_List *taking_tree(const Taking *taking)
{
    return taking->nesting.open.head;
}

// DICOM_Attribute_Free for a chain of nodes, such as a tree. Null is left alone.
void taking_free(DICOM_List *first);

// Releases all but the tree. Null is left alone.
void taking_end(Taking *taking);

#endif
