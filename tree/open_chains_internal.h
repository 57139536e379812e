// The chains that a tree being made can still grow in: one at each depth, for the sequence and the item that are open
// there. They take a run of nodes, from the first to the last, to the same places as DICOM_Attribute_Insert, and make
// the same reports, but they remember each place rather than walk to it from the top for each node.
#ifndef VELMORA_OPEN_CHAINS_INTERNAL_H
#define VELMORA_OPEN_CHAINS_INTERNAL_H

#include <stdint.h>

#include "tree/tree_internal.h"

struct Open_Chain {
    DICOM_List **slot;       // where the chain's head is kept; null: not looked for since the last item started
    DICOM_List *sequence;    // the sequence whose item the chain is; null: not known
    int room;                // slots for items that the sequence has space for
    int64_t greatest;        // greatest tag in the chain, delimiters aside; -1: none
    bool newest_is_first;    // is the newest node the first one with its tag?
    bool is_indexed;         // are all nodes of the chain in the index?
};

// The first node of each tag, for chains in which it would take too long to look for it.
struct First_Nodes {
    struct Entry {
        const DICOM_List *head;      // of the chain; null: the entry is free
        DICOM_List *first;
    } *entries;
    size_t room, used;
};

struct Open_Chains {
    DICOM_Root root;         // the cursor; only the operations below may start a sequence or an item of it
    DICOM_List *head;        // the tree
    Open_Chain chain[MAX_SEQUENCE_DEPTH + 1];
    First_Nodes first_nodes;
};

// Begins an empty tree, and releases what is not part of the tree.
void begin_tree(HWND window, Open_Chains *open);
void end_tree(Open_Chains *open);

// DICOM_Attribute_Insert at the cursor.
DICOM_List *insert_open(HWND window, Open_Chains *open, DICOM_List *source);

// The same with the node itself, which has no items. False when there is no way to its chain: the node is not in the
// tree then.
//   place  where room for the first items of a sequence comes from
bool take_open(HWND window, Open_Chains *open, DICOM_List *node, Node_Place *place);

// What a node is in its chain, of one that has its fields.
inline void take_node(DICOM_Root *root, DICOM_List **chain, DICOM_List *node)
{
    node->depth = static_cast<unsigned char>(root->Sequence_Depth);
    node->vr = vr_to_copy(node);
    node->next = node->last = nullptr;
    link_at_end(chain, node);
    set_sequence(root, root->Sequence_Depth, node->group, node->element, 0);
}

// DICOM_Attribute_Sequence_Start with the tag of source.
//   made  the node that was inserted for it, or null if that failed
void start_sequence(HWND window, Open_Chains *open, const DICOM_List *source, DICOM_List *made);

// DICOM_Attribute_Item_Start.
void start_item(HWND window, Open_Chains *open);

#endif
