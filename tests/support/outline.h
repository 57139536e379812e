// Trees in tests: owned, made node by node, and shown as text.
#ifndef VELMORA_TESTS_OUTLINE_H
#define VELMORA_TESTS_OUTLINE_H

#include <string>
#include <vector>

#include "tests/support/bytes.h"
#include "tree/Velmora_DICOM.h"

// Releases a whole chain, as a host does.
void free_tree(DICOM_List *head);

// A tree, or a flat chain, that is released at the end of its life.
struct Tree {
    DICOM_List *head;
    DICOM_Root root;      // a cursor for it, at the top level

    explicit Tree(DICOM_List *list = nullptr) : head(list), root() {}
    Tree(Tree &&other) noexcept : head(other.head), root(other.root) { other.head = nullptr; }
    Tree(const Tree &) = delete;
    ~Tree() { free_tree(head); }

    // Appends a node without any check of tags and gives it; "" as vr is none. The chain is the top level.
    DICOM_List *append(Tag tag, const char *vr = "", const Bytes &value = "");
};

// A node on its own, of depth 0 and flag 0, its VR as the stream's own. An empty value gives no data.
DICOM_List *new_node(Tag tag, const char *vr = "", const Bytes &value = "");

// Gives a node one more item, whose chain are these nodes in this order, and returns the node.
DICOM_List *add_item(DICOM_List *sequence, const std::vector<DICOM_List *> &nodes);

// One line for each node: tag, working VR ("--": none), the value in brackets with other than printable bytes as \x00,
// or the length of what has no bytes here. Under a sequence stands each item, its nodes set in:
//     0040,0275 SQ
//       item
//         0040,0009 SH [A1]
//     7fe0,0010 OW 131072 bytes unread
// An empty slot is shown as "  empty item", an undefined length as "undefined length".
std::string outline(const DICOM_List *tree);

// The same with every other field of the nodes that a copy keeps, for tests that compare two trees in full.
std::string full_outline(const DICOM_List *tree);

#endif
