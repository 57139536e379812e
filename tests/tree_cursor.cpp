// The cursor: in and out of sequences and items, its visible lines and traces, and its clamps.
#include <gtest/gtest.h>

#include "tests/support/reports.h"

static const std::string WARNING = "    \xF1\x05WARNING:\x02 ";

TEST(Cursor, EntersAndLeavesASequenceWithATraceOfEachStep)
{
    DICOM_Root root = {};
    Reports said(15);
    EXPECT_EQ(DICOM_Attribute_Sequence_Start(nullptr, &root, 0x0040, 0x0275, 0x0101, 0), 1);
    EXPECT_EQ(DICOM_Attribute_Item_Querry(nullptr, &root, 1), -1);
    EXPECT_EQ(DICOM_Attribute_Item_Start(nullptr, &root, 0), 1);
    EXPECT_EQ(DICOM_Attribute_Item_Querry(nullptr, &root, 1), 0);
    EXPECT_EQ(DICOM_Attribute_Item_Stop(nullptr, &root, 0), 1);
    EXPECT_EQ(DICOM_Attribute_Item_Querry(nullptr, &root, 1), 0);
    EXPECT_EQ(DICOM_Attribute_Item_Start(nullptr, &root, 0), 1);
    EXPECT_EQ(DICOM_Attribute_Item_Querry(nullptr, &root, 1), 1);
    EXPECT_EQ(DICOM_Attribute_Sequence_Querry(nullptr, &root), 1);
    EXPECT_EQ(DICOM_Attribute_Sequence_Stop(nullptr, &root, 0), 0);
    EXPECT_EQ(root.Item_Number[1], 0);

    unsigned short group = 0, element = 0, flag = 0;
    DICOM_Attribute_Sequence_Get(nullptr, &root, 0, &group, &element, &flag);
    EXPECT_EQ(group, 0x0040);
    EXPECT_EQ(element, 0x0275);
    EXPECT_EQ(flag, 0x0101);
    EXPECT_EQ(said.texts(15), "in DICOM_Attribute_Sequence_Start(0040,0275)\n-> Item_Number[1] = 0\n"
                              "in DICOM_Attribute_Item_Start()\n-> root->Item_Number[1] = 1\n"
                              "in DICOM_Attribute_Item_Stop()\n-> Item_Number[1] = 1\nin DICOM_Attribute_Item_Start()\n"
                              "-> root->Item_Number[1] = 2\nin DICOM_Attribute_Sequence_Stop()\n"
                              "-> Item_Number[0] = 0\n");
}

TEST(Cursor, PrintsAVisibleLineSetInByFourBlanksForEachDepth)
{
    DICOM_Root root = {};
    Reports said(10);
    DICOM_Attribute_Sequence_Start(nullptr, &root, 0x0008, 0x1140, 0, 7);
    DICOM_Attribute_Item_Start(nullptr, &root, 7);
    DICOM_Attribute_Sequence_Set(nullptr, &root, 1, 0x0040, 0xA170, 3);
    DICOM_Attribute_Sequence_Start(nullptr, &root, 7);
    DICOM_Attribute_Item_Start(nullptr, &root, 7);
    DICOM_Attribute_Item_Stop(nullptr, &root, 7);
    DICOM_Attribute_Sequence_Stop(nullptr, &root, 7);
    DICOM_Attribute_Sequence_Stop(nullptr, &root, 7);
    DICOM_Attribute_Sequence_Stop(nullptr, &root, 7);
    EXPECT_EQ(said.texts(7), "------------------------ ---- Sequence in ----(depth=0)-----\n"
                             "    ------------------------ ---- Item[1] in ---------------\n"
                             "    ------------------------ ---- Sequence in ---------------\n"
                             "        ------------------------ ---- Item[1] in ---------------\n"
                             "        ------------------------ ---- Item[1] out --------------\n"
                             "    ------------------------ ---- Sequence out --------------\n"
                             "------------------------ ---- Sequence out --------------\n"
                             "------------------------ ---- Sequence out --------------\n");
}

TEST(Cursor, FoldsTheTenthLevelIntoTheNinth)
{
    DICOM_Root root = {};
    Reports said;
    for (unsigned short i = 1; i <= 10; i++) {
        DICOM_Attribute_Sequence_Start(nullptr, &root, 0x0040, i, 0, 0);
        DICOM_Attribute_Item_Start(nullptr, &root, 0);
    }
    EXPECT_EQ(root.Sequence_Depth, 9);
    EXPECT_EQ(root.Sequence_Element[8], 9);
    EXPECT_EQ(root.Sequence_Element[9], 10);
    EXPECT_EQ(root.Item_Number[9], 1);
    EXPECT_EQ(said.warnings(), WARNING + "To many \"sequences\" in DICOM stream\n");

    EXPECT_EQ(DICOM_Attribute_Sequence_Start(nullptr, &root, 0), 9);
    EXPECT_EQ(DICOM_Attribute_Item_Querry(nullptr, &root, 9), -1);
    EXPECT_EQ(said.all.back().text, WARNING + "To many \"sequences\" in DICOM stream (0040,000a)");
    EXPECT_EQ(DICOM_Attribute_Sequence_Stop(nullptr, &root, 0), 8);
}

TEST(Cursor, WarnsOfMoreEndsThanStartsAndOfLevelsLeftOpen)
{
    DICOM_Root root = {}, zero = {};
    DICOM_Attribute_Sequence_Set(nullptr, &root, 0, 0x0010, 0x0020, 0);
    Reports said;
    EXPECT_EQ(DICOM_Attribute_Sequence_End(nullptr, &root), 0);
    EXPECT_EQ(said.warnings(), "");
    EXPECT_EQ(DICOM_Attribute_Sequence_Stop(nullptr, &root, 0), 0);
    for (unsigned short i = 1; i <= 3; i++)
        DICOM_Attribute_Sequence_Start(nullptr, &root, 0x0040, i, 0, 0);
    DICOM_Attribute_Sequence_Set(nullptr, &root, 3, 0x0008, 0x0100, 0);
    EXPECT_EQ(DICOM_Attribute_Sequence_End(nullptr, &root), 0);
    EXPECT_EQ(root.Sequence_Depth, 0);
    EXPECT_EQ(root.Sequence_Element[2], 3) << "the tags stay";
    EXPECT_EQ(said.warnings(), WARNING + "To many \"out of sequences\" in DICOM stream (0010,0020)\n" +
                                   WARNING + "Missing at least 3 \"out of sequences\" in DICOM stream (0008,0100)\n");
    DICOM_Attribute_Sequence_Reset(nullptr, &root);
    EXPECT_EQ(memcmp(&root, &zero, sizeof root), 0);
}

TEST(Cursor, StaysInsideItsArraysWhateverAHostHasFilledIn)
{
    for (int depth : {-1000, -1, 10, 1000}) {
        DICOM_Root root = {};
        Reports said;
        unsigned short group = 1, element = 2, flag = 3;
        DICOM_Attribute_Sequence_Set(nullptr, &root, depth, 1, 1, 1);
        DICOM_Attribute_Sequence_Get(nullptr, &root, depth, &group, &element, nullptr);
        DICOM_Attribute_Sequence_Get(nullptr, &root, depth, &group, &element, &flag);
        EXPECT_EQ(group + element + flag, 0);
        EXPECT_EQ(DICOM_Attribute_Item_Querry(nullptr, &root, depth), -1);

        root.Sequence_Depth = depth;
        EXPECT_EQ(DICOM_Attribute_Item_Start(nullptr, &root, 0), 1);
        EXPECT_EQ(root.Sequence_Depth, depth < 0 ? 0 : 9);
        root.Sequence_Depth = depth;
        EXPECT_EQ(DICOM_Attribute_Sequence_Start(nullptr, &root, 1, 1, 1, 0), depth < 0 ? 1 : 9);
        root.Sequence_Depth = depth;
        EXPECT_EQ(DICOM_Attribute_Sequence_Stop(nullptr, &root, 0), depth < 0 ? 0 : 8);
    }
}
