// Taking attributes out: one node, those of a tag at every depth, those that a filter names.
#include <gtest/gtest.h>

#include "tests/support/outline.h"
#include "tests/support/reports.h"
#include "tree/tree_internal.h"

static int delete_tag(Tree &tree, unsigned short group, unsigned short element)
{
    return DICOM_Attribute_Delete(nullptr, &tree.root, &tree.head, group, element);
}

// Group lengths at two depths, and a sequence with two items.
static Tree sample()
{
    Tree tree;
    tree.append({0x0008, 0x0000});
    tree.append({0x0008, 0x0060});
    DICOM_List *sequence = tree.append({0x0040, 0xA730}, "SQ");
    add_item(sequence, {new_node({0x0008, 0x0000}), new_node({0x0008, 0x0100})});
    add_item(sequence, {new_node({0x0008, 0x0104})});
    tree.append({0x0040, 0xA731});
    return tree;
}

TEST(Free, ReleasesANodeWithAllThatItOwns)
{
    DICOM_List *sequence = new_node({0x0040, 0xA730}, "SQ", "value");
    sequence->description = strdup("content");
    add_item(sequence, {new_node({0x0008, 0x0100}, "SH", "A"), new_node({0x0008, 0x0102})});
    add_item(sequence, {});
    add_item(sequence, {new_node({0x0008, 0x0104})});      // out of reach of walks, and yet not leaked
    Reports said(15);
    DICOM_Attribute_Free(nullptr, sequence);
    EXPECT_EQ(said.texts(15), "in DICOM_Attribute_Free(0040,a730)\nin DICOM_Attribute_Free(0008,0100)\n"
                              "in DICOM_Attribute_Free(0008,0102)\nin DICOM_Attribute_Free(0008,0104)\n");
}

TEST(Delete, ReachesEveryDepth)
{
    Tree tree = sample();
    EXPECT_EQ(delete_tag(tree, 0xFFFF, 0x0000), 1);
    EXPECT_EQ(outline(tree.head), "0008,0060 --\n0040,a730 SQ\n  item\n    0008,0100 --\n  item\n    0008,0104 --\n"
                                  "0040,a731 --\n");
    EXPECT_EQ(tree.head->last, nullptr);
    EXPECT_EQ(tree.root.Sequence_Depth, 0);
    EXPECT_EQ(delete_tag(tree, 0x1234, 0x5678), 1) << "nothing to delete is no error";
}

TEST(Delete, LeavesAnEmptySlotThatEndsLaterWalks)
{
    Tree tree = sample(), half = sample();
    EXPECT_EQ(delete_tag(tree, 0x0008, 0xFFFF), 1);
    EXPECT_EQ(outline(tree.head), "0040,a730 SQ\n  empty item\n  empty item\n0040,a731 --\n");
    for (const Tag &tag : {Tag{0x0008, 0x0000}, Tag{0x0008, 0x0100}, Tag{0x0008, 0x0104}})
        delete_tag(half, tag.group, tag.element);
    EXPECT_EQ(outline(half.head), "0008,0060 --\n0040,a730 SQ\n  empty item\n  item\n    0008,0104 --\n0040,a731 --\n");
}

TEST(Delete, StartsInTheChainOfTheCursor)
{
    Tree tree = sample();
    DICOM_Attribute_Sequence_Start(nullptr, &tree.root, 0x0040, 0xA730, 0, 0);
    EXPECT_EQ(delete_tag(tree, 0xFFFF, 0x0000), 0) << "no item has been started";
    DICOM_Attribute_Item_Start(nullptr, &tree.root, 0);
    EXPECT_EQ(delete_tag(tree, 0xFFFF, 0x0000), 1);
    EXPECT_EQ(outline(tree.head), "0008,0000 --\n0008,0060 --\n0040,a730 SQ\n  item\n    0008,0100 --\n"
                                  "  item\n    0008,0104 --\n0040,a731 --\n");
    EXPECT_EQ(DICOM_Attribute_Delete(nullptr, &tree.root, &tree.head, "0008", "010?"), 1);
    EXPECT_EQ(DICOM_Attribute_Delete(nullptr, &tree.root, &tree.head, "0008", "010?"), 0);
}

TEST(Remove, GoesByItsFilter)
{
    struct { unsigned char filter; char keep_private; const char *gone; } cases[] = {
        {0, 0, "invalid"},                          {REMOVE_GROUP_LENGTH, 0, "length invalid"},
        {REMOVE_DELETED, 0, "invalid deleted"},     {REMOVE_RETIRED, 0, "invalid retired"},
        {REMOVE_DELIMITERS, 0, "invalid item end"}, {REMOVE_PRIVATE, 0, "invalid private"},
        {REMOVE_PRIVATE, 1, "invalid"},             {0xFF, 0, "length invalid deleted retired private item end"},
    };
    struct { const char *name; unsigned short element, flag, vr; } nodes[] = {
        {"length", 0, 0, VR_UL},           {"invalid", 1, FLAG_INVALID, VR_LO}, {"deleted", 2, FLAG_DELETED, VR_LO},
        {"retired", 3, FLAG_RETIRED, VR_LO}, {"private", 4, FLAG_PRIVATE, VR_LO}, {"item", 5, 0, VR_ITEM},
        {"end", 6, 0, VR_DELIMITATION},    {"kept", 7, FLAG_DEFAULT, VR_LO},
    };
    for (const auto &each : cases) {
        Tree tree;
        std::vector<DICOM_List *> in_item;
        std::string wanted, wanted_in_item;
        for (const auto &node : nodes) {
            DICOM_List *at_top = tree.append({0x0010, node.element}), *below = new_node({0x0010, node.element});
            at_top->flag = below->flag = node.flag;
            at_top->vr = below->vr = node.vr;
            in_item.push_back(below);
            if (std::string(each.gone).find(node.name) == std::string::npos) {
                wanted += outline(tree.head->last);
                wanted_in_item.append("    ").append(outline(below));
            }
        }
        add_item(tree.append({0x0040, 0xA730}, "SQ"), in_item);
        Flag_DICOM_Propriatery = each.keep_private;
        EXPECT_EQ(DICOM_Attribute_Remove(nullptr, &tree.head, each.filter), 0);
        Flag_DICOM_Propriatery = 0;
        EXPECT_EQ(outline(tree.head), wanted + "0040,a730 SQ\n  item\n" + wanted_in_item) << each.gone;
        EXPECT_EQ(tree.head->last, nullptr);
    }
    Tree none;
    EXPECT_EQ(DICOM_Attribute_Remove(nullptr, &none.head, 0xFF) + DICOM_Attribute_Remove(nullptr, nullptr, 0xFF), 0);
}

