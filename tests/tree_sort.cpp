// The order of tags, what nodes of one tag take over from each other, and what a tree inherits from a reference.
#include <gtest/gtest.h>

#include <algorithm>
#include <random>

#include "tests/support/outline.h"
#include "tests/support/reports.h"
#include "tree/tree_internal.h"

static int sort(Tree &tree) { return DICOM_Attribute_Sort(nullptr, &tree.root, &tree.head); }

// What the order of a chain is by definition: neighbours are compared and exchanged, pass after pass.
static bool plain_must_exchange(DICOM_List *a, DICOM_List *b)
{
    if (a->group != b->group)
        return a->group > b->group;
    if (a->element != b->element)
        return a->element > b->element;
    a->type = b->type = std::min(a->type, b->type);
    if ((a->flag & 0x1000) && (b->flag & 0x1000)) {
        Error_Fct(nullptr, Flag_Error_Warning,
                  "    \xF1\x05WARNING:\x02 (\x01%04x\x02,\x01%04x\x02) Tag is defined as OVERRIDE twice!", a->group,
                  a->element);
        return false;
    }
    for (int bit : {0x0200, 0x0100, 0x0800})
        if ((a->flag | b->flag) & bit) {
            a->flag = static_cast<unsigned short>(a->flag | bit);
            b->flag = static_cast<unsigned short>(b->flag | bit);
        }
    if (a->vr == 0)
        a->vr = b->vr;
    if (b->vr == 0)
        b->vr = a->vr;
    if ((a->flag ^ b->flag) & 0x1000)
        return b->flag & 0x1000;
    if ((a->data != nullptr) != (b->data != nullptr))
        return b->data != nullptr;
    if ((a->flag ^ b->flag) & 0x2000)
        return a->flag & 0x2000;
    return a->description == nullptr && b->description != nullptr;
}

static void plain_sort(std::vector<DICOM_List *> &nodes)
{
    for (bool exchanged = true; exchanged;) {
        exchanged = false;
        for (size_t i = 1; i < nodes.size(); i++)
            if (plain_must_exchange(nodes[i - 1], nodes[i])) {
                std::swap(nodes[i - 1], nodes[i]);
                exchanged = true;
            }
    }
}

// A chain of few tags, so that many are equal. The numbers are drawn in the same order for the same seed.
static Tree random_chain(unsigned int seed)
{
    std::mt19937 random(seed);
    auto below = [&](unsigned int n) { return static_cast<unsigned short>(random() % n); };
    static const unsigned short TYPES[] = {0, TYPE_1, TYPE_1C, TYPE_2, TYPE_2C, TYPE_3};
    static const unsigned short VRS[] = {VR_NONE, VR_NONE, VR_LO, VR_SH};

    Tree tree;
    int nodes = 1 + below(seed % 16 == 0 ? 60 : 9), tags = 1 + below(4), forced = below(4), types = below(6);
    for (int i = 0; i < nodes; i++) {
        DICOM_List *node = tree.append({below(2), below(static_cast<unsigned int>(tags))}, "", below(2) ? "v" : "");
        node->stream_word = i + 1;
        node->type = TYPES[below(6)];
        if (types < 2)
            node->type = types == 0 ? below(0x10000) : static_cast<unsigned short>(0xFFFF - i);
        node->vr = VRS[below(4)];
        if (below(6) < forced)
            node->flag |= FLAG_FORCED;
        for (unsigned short bit : {FLAG_DEFAULT, FLAG_DELETED, FLAG_TO_DELETE, FLAG_INVALID})
            if (below(4) == 0)
                node->flag |= bit;
        if (below(2))
            node->description = strdup("d");
    }
    return tree;
}

TEST(Sort, GivesWhatPassesOverNeighboursGive)
{
    for (unsigned int seed = 0; seed < 20000; seed++) {
        Tree fast = random_chain(seed), plain = random_chain(seed);
        std::string wanted, warned;
        {
            Reports said;
            std::vector<DICOM_List *> nodes;
            for (DICOM_List *node = plain.head; node != nullptr; node = node->next)
                nodes.push_back(node);
            plain_sort(nodes);
            for (size_t i = 0; i < nodes.size(); i++)
                nodes[i]->next = i + 1 < nodes.size() ? nodes[i + 1] : nullptr;
            plain.head = nodes[0];
            warned = said.warnings();
        }
        Reports said;
        ASSERT_EQ(sort(fast), 1);
        ASSERT_EQ(full_outline(fast.head), full_outline(plain.head)) << "seed " << seed;
        ASSERT_EQ(said.warnings(), warned) << "seed " << seed;
        for (DICOM_List *node = fast.head; node != nullptr; node = node->next)
            ASSERT_EQ(node->last, nullptr);
    }
}

TEST(Sort, GoesThroughAllItemsBelowTheCursor)
{
    Tree tree;
    DICOM_List *outer = new_node({0x0040, 0xA730}, "SQ");
    add_item(outer, {new_node({0x0008, 0x0102}), new_node({0x0008, 0x0100})});
    add_item(outer, {});
    add_item(outer, {new_node({0x0008, 0x0102}), new_node({0x0008, 0x0100})});
    add_item(tree.append({0x0040, 0xA730}, "SQ"), {new_node({0x0040, 0xA040}), outer, new_node({0x0040, 0xA010})});
    tree.append({0x0008, 0x0060});
    EXPECT_EQ(sort(tree), 1);
    EXPECT_EQ(outline(tree.head), "0008,0060 --\n0040,a730 SQ\n  item\n    0040,a010 --\n    0040,a040 --\n"
                                  "    0040,a730 SQ\n      item\n        0008,0100 --\n        0008,0102 --\n"
                                  "      empty item\n      item\n        0008,0102 --\n        0008,0100 --\n");
    EXPECT_EQ(tree.root.Sequence_Depth, 0);
}

TEST(Sort, StartsInTheChainOfTheCursor)
{
    Tree tree, none;
    EXPECT_EQ(sort(none), 0);
    EXPECT_EQ(DICOM_Attribute_Sort(nullptr, &none.root, nullptr), 0);

    tree.append({0x0040, 0xA731});
    add_item(tree.append({0x0040, 0xA730}, "SQ"), {new_node({0x0008, 0x0102}), new_node({0x0008, 0x0100})});
    DICOM_Attribute_Sequence_Start(nullptr, &tree.root, 0x0040, 0xA730, 0, 0);
    EXPECT_EQ(sort(tree), 0) << "no item has been started";
    DICOM_Attribute_Item_Start(nullptr, &tree.root, 0);
    EXPECT_EQ(sort(tree), 1);
    EXPECT_EQ(outline(tree.head), "0040,a731 --\n0040,a730 SQ\n  item\n    0008,0100 --\n    0008,0102 --\n");
}

TEST(Inherit, TakesTypeAndMissingVRFromTheFirstItemOfTheReference)
{
    Tree reference, target;
    reference.append({0x0008, 0x0060})->type = TYPE_1;
    reference.head->vr = VR_CS;
    DICOM_List *known = new_node({0x0008, 0x0100}), *in_second_item = new_node({0x0008, 0x0102});
    known->type = in_second_item->type = TYPE_2;
    known->vr = VR_SH;
    DICOM_List *sequence = add_item(reference.append({0x0040, 0xA730}, "SQ"), {known});
    add_item(sequence, {in_second_item});

    target.append({0x0008, 0x0060})->vr = VR_LO;
    target.append({0x0010, 0x0010})->type = TYPE_3;
    DICOM_List *items = add_item(target.append({0x0040, 0xA730}, "SQ"), {new_node({0x0008, 0x0100})});
    items->type = TYPE_3;
    add_item(items, {new_node({0x0008, 0x0100}), new_node({0x0008, 0x0102})});
    DICOM_Attribute_Assign_Info(nullptr, &target.root, reference.head, target.head);
    EXPECT_EQ(full_outline(target.head), "0008,0060 LO flag=0000 depth=0 vr=--/LO syntax=0 type=3120 at 0,0,0\n"
              "0010,0010 -- flag=0000 depth=0 vr=--/-- syntax=0 type=3320 at 0,0,0\n"
              "0040,a730 SQ flag=0000 depth=0 vr=SQ/-- syntax=0 type=0000 at 0,0,0\n"
              "  item\n    0008,0100 SH flag=0000 depth=1 vr=--/SH syntax=0 type=3220 at 0,0,0\n"
              "  item\n    0008,0100 SH flag=0000 depth=1 vr=--/SH syntax=0 type=3220 at 0,0,0\n"
              "    0008,0102 -- flag=0000 depth=1 vr=--/-- syntax=0 type=0000 at 0,0,0\n");
    EXPECT_EQ(target.root.Sequence_Depth, 0);
    DICOM_Attribute_Assign_Info(nullptr, &target.root, reference.head, nullptr);
}
