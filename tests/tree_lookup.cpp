// Finding, getting, matching and inserting attributes, and the walk from a cursor to its place in the tree.
#include <gtest/gtest.h>

#include "tests/support/dimension.h"
#include "tests/support/outline.h"
#include "tests/support/reports.h"
#include "tree/tree_internal.h"

static const Tag STEPS = {0x0040, 0x0275}, STEP_ID = {0x0040, 0x0009}, CODES = {0x0040, 0x0008};

// Puts a cursor into an item, counted from 1, of a sequence of the chain that it stands in.
static void enter(DICOM_Root *root, Tag sequence, int item)
{
    DICOM_Attribute_Sequence_Start(nullptr, root, sequence.group, sequence.element, 0x0008, 0);
    root->Item_Number[root->Sequence_Depth] = item;
}

static DICOM_List *find(Tree &tree, Tag tag)
{
    return DICOM_Attribute_Find(nullptr, &tree.root, &tree.head, tag.group, tag.element);
}

static DICOM_List *get(Tree &tree, unsigned short group, unsigned short element)
{
    return DICOM_Attribute_Get(nullptr, &tree.root, tree.head, group, element, 0);
}

TEST(Find, KeepsAChainInTheOrderOfTags)
{
    Tree tree;
    DICOM_List *first = find(tree, {0x0010, 0x0020});
    ASSERT_EQ(tree.head, first);
    EXPECT_EQ(first->last, first);
    EXPECT_EQ(first->flag, 0);
    DICOM_List *last = find(tree, {0x0020, 0x0010});
    EXPECT_EQ(tree.head->last, last);
    DICOM_List *between = find(tree, {0x0018, 0xFFFF});
    EXPECT_EQ(tree.head->last, nullptr) << "inserted in the middle: the tail is to be looked for";
    DICOM_List *lowest = find(tree, {0x0008, 0x0060});
    EXPECT_EQ(tree.head, lowest);
    EXPECT_EQ(tree.head->last, nullptr);
    EXPECT_EQ(outline(tree.head), "0008,0060 --\n0010,0020 --\n0018,ffff --\n0020,0010 --\n");
    EXPECT_EQ(tree.root.Sequence_Group[0], 0x0008);
    EXPECT_EQ(tree.root.Sequence_Element[0], 0x0060);

    Refuse count(0);
    EXPECT_EQ(find(tree, {0x0018, 0xFFFF}), between);
    EXPECT_EQ(Refuse::asked(), 0) << "what is there is not made again";
}

TEST(Find, MissesATagBehindAGreaterOne)
{
    Tree tree;
    tree.append({0x0020, 0x0010});
    tree.append({0x0010, 0x0020});
    tree.append({0x0010, 0x0020});
    EXPECT_EQ(find(tree, {0x0010, 0x0020}), tree.head->last) << "the last of those with the tag";
    tree.append({0x0030, 0x0000});
    tree.append({0x0028, 0x0010});
    find(tree, {0x0028, 0x0010});
    EXPECT_EQ(outline(tree.head), "0020,0010 --\n0010,0020 --\n0010,0020 --\n"
                                  "0028,0010 --\n0030,0000 --\n0028,0010 --\n");
}

TEST(Walk, RefusesACursorThatHasNoPlace)
{
    Tree tree;
    add_item(tree.append(STEPS, "SQ"), {new_node(STEP_ID, "SH", "A1")});
    EXPECT_EQ(DICOM_Attribute_Item_Walk(nullptr, &tree.root, tree.head), nullptr) << "the cursor is not deeper";

    enter(&tree.root, STEPS, 0);
    Reports said;
    EXPECT_EQ(DICOM_Attribute_Item_Walk(nullptr, &tree.root, tree.head), nullptr) << "no item has been started";
    EXPECT_EQ(find(tree, STEP_ID), nullptr);
    EXPECT_EQ(get(tree, STEPS.group, STEPS.element), tree.head) << "stays in the chain that was reached";
    Tree source(new_node({0x0040, 0x000A}));
    EXPECT_EQ(DICOM_Attribute_Insert(nullptr, &tree.root, &tree.head, source.head, 0), nullptr);
    EXPECT_EQ(said.warnings(), "\xF1\x05    \x02" "Failed to insert tag(\x01" "0040\x02,\x01" "000A\x02)\n");

    for (int depth : {-3, 10, 1000}) {
        tree.root.Sequence_Depth = depth;
        for (int &number : tree.root.Item_Number)
            number = 1;
        for (int i = 0; i < 10; i++)
            DICOM_Attribute_Sequence_Set(nullptr, &tree.root, i, STEPS.group, STEPS.element, 0);
        EXPECT_EQ(find(tree, STEP_ID), nullptr);
        get(tree, 1, 1);
        Tree empty;
        EXPECT_EQ(DICOM_Attribute_Insert(nullptr, &tree.root, &empty.head, source.head, 0), nullptr);
    }
}

TEST(Get, ReturnsTheFirstThatMatches)
{
    Tree tree;
    DICOM_List *a = tree.append({0x0020, 0x0010}), *b = tree.append({0x0010, 0x0020});
    tree.append({0x0010, 0x0020});
    EXPECT_EQ(get(tree, 0x0010, 0x0020), b);
    EXPECT_EQ(get(tree, 0xFFFF, 0xFFFF), a);
    EXPECT_EQ(get(tree, 0xFFFF, 0x0020), b);
    EXPECT_EQ(get(tree, 0x0010, 0xFFFF), b);
    EXPECT_EQ(get(tree, 0x0010, 0x0021), nullptr);
    EXPECT_EQ(DICOM_Attribute_Get(nullptr, &tree.root, tree.head, "001?", "*", 0), b);
    EXPECT_EQ(DICOM_Attribute_Get(nullptr, &tree.root, tree.head, "0010", "0021", 0), nullptr);
}

TEST(CodeString, IsMadeOfAnyText)
{
    struct { const char *text, *wanted; } cases[] = {
        {"  ab-c d  ", "AB_C D"}, {"", ""}, {"    ", ""}, {"ORIGINAL\\primary", "ORIGINAL\\PRIMARY"},
        {"abcdefghijklmnopqrstuvwxyz", "ABCDEFGHIJKLMNOP"}, {" abcdefghijklmno   z", "ABCDEFGHIJKLMNO "},
        {"a_9\xE9\x01z", "A_9__Z"},
    };
    for (const auto &each : cases) {
        char text[64] = {};
        snprintf(text, sizeof text, "%s", each.text);
        EXPECT_EQ(DICOM_Str_To_CS(text), 1);
        EXPECT_STREQ(text, each.wanted);
    }
}

TEST(Insert, MakesTheSequencesOfTheCursorInAnEmptyTree)
{
    Tree tree, source;
    enter(&tree.root, STEPS, 2);
    enter(&tree.root, CODES, 1);
    source.append({0x0008, 0x0100}, "SH", "T-04");
    DICOM_List *node = DICOM_Attribute_Insert(nullptr, &tree.root, &tree.head, source.head, 0);
    ASSERT_NE(node, nullptr);
    EXPECT_EQ(node->depth, 2);
    EXPECT_EQ(full_outline(tree.head), "0040,0275 SQ flag=0008 depth=0 vr=SQ/SQ syntax=0 type=0000 at 0,0,0\n"
              "  item\n    0040,0008 SQ flag=0008 depth=1 vr=SQ/SQ syntax=0 type=0000 at 0,0,0\n"
              "      item\n        0008,0100 SH [T-04] flag=0000 depth=2 vr=SH/-- syntax=0 type=0000 at 0,0,0\n");
    EXPECT_EQ(tree.head->last, tree.head);
}

TEST(Lookup, ReportsEachRefusedAllocationAndKeepsAValidTree)
{
    static const std::string at = "line N of .\\NEMA_Tag_Attribute \nmemory error in ";
    std::vector<std::string> failures;
    refuse_each_allocation([&](int) {
        Tree tree, empty, source;
        Reports said;
        source.append({0x0008, 0x0100}, "SH", "T-04");
        add_item(tree.append(STEPS, "SQ"), {new_node(STEP_ID, "SH", "A1")});
        enter(&tree.root, STEPS, 2);
        bool failed = find(tree, STEP_ID) == nullptr;
        enter(&tree.root, CODES, 1);
        failed = find(tree, STEP_ID) == nullptr || failed;
        empty.root = tree.root;
        failed = DICOM_Attribute_Insert(nullptr, &empty.root, &empty.head, source.head, 0) == nullptr || failed;
        EXPECT_EQ(failed, Refuse::happened());
        if (failed)
            failures.push_back(said.failures());
    });
    const std::string node = at + "calloc (var=insert, " + dimension(1, sizeof(DICOM_List)) + "\n";
    const std::string slot = at + "calloc (var=insert->item, " + dimension(1, sizeof(DICOM_List *)) + "\n";
    EXPECT_EQ(failures, (std::vector<std::string>{
        at + "realloc (var=pt->item, " + dimension(2, sizeof(DICOM_List *)) + "\n", node, node, slot, node, node, slot, node, slot, node,
        "line N of .\\NEMA_Tag_Copy \nmemory error in malloc (var=target->data, dim=4x1)\n"}));
}
