// The steps that bring a data set in line with a template.
#include <gtest/gtest.h>

#include "tests/support/reports.h"
#include "tests/write_trees.h"

static const unsigned short FROM_MODULE = 4;

TEST(Step1, InsertsWhatTheMaskSelectsAtEveryDepth)
{
    Made tmplt({attribute(PATIENT, "LO", "new ", FROM_MODULE | FLAG_FORCED), attribute(NUMBER, "IS", "1 ", FROM_MODULE),
                sequence_of(REFERENCED, {{attribute(CLASS, "UI", "1.2", FROM_MODULE | FLAG_DEFAULT)},
                                         {attribute(CLASS, "UI", "1.3", FROM_MODULE | FLAG_DEFAULT)}}, FROM_MODULE)});
    Made target({attribute(PATIENT, "LO", "old "), sequence_of(REFERENCED, {{attribute(INSTANCE, "UI", "9.9")}})});
    std::string before = lines_of(target.head);
    DICOM_Root root = {};
    EXPECT_EQ(DICOM_Postproc_Step_1(nullptr, &root, &target.head, tmplt.head, FLAG_APPEND), 1);
    EXPECT_EQ(lines_of(target.head), before) << "nothing is selected";

    EXPECT_EQ(DICOM_Postproc_Step_1(nullptr, &root, &target.head, tmplt.head, FLAG_FORCED | FLAG_DEFAULT), 1);
    EXPECT_EQ(lines_of(target.head), "0010,0020 LO [old ]\n0008,1140 SQ\n  0008,1155 UI [9.9]\n  0008,1150 UI [1.2]\n"
                                    "  0008,1150 UI [1.3]\n0010,0020 LO [new ]\n");
    EXPECT_EQ(root.Sequence_Depth, 0);

    EXPECT_EQ(DICOM_Postproc_Step_1(nullptr, &root, &target.head, tmplt.head, FLAG_FORCED), 1);
    EXPECT_TRUE(lines_of(target.head).ends_with("0010,0020 LO [new ]\n0010,0020 LO [new ]\n")) << "no test for the tag";

    Made empty({});
    EXPECT_EQ(DICOM_Postproc_Step_1(nullptr, &root, &empty.head, tmplt.head, FLAG_DEFAULT), 1);
    EXPECT_EQ(lines_of(empty.head), "0008,1140 SQ\n  0008,1150 UI [1.2]\n  0008,1150 UI [1.3]\n");
    EXPECT_EQ(DICOM_Postproc_Step_1(nullptr, &root, &empty.head, nullptr, 0xFFFF), 1);
}

TEST(Overwrite, ReplacesValuesAndMakesWhatIsAbsent)
{
    Made tmplt({with_type(TYPE_1, attribute(MODALITY, "CS", "MR", FROM_MODULE | FLAG_FORCED)),
                sequence_of(REFERENCED, {{attribute(CLASS, "UI", "1.2", FROM_MODULE | FLAG_FORCED),
                                          attribute(INSTANCE, "UI", "1.9", FROM_MODULE)}}, FROM_MODULE),
                with_type(TYPE_2, attribute(PATIENT, "LO", "", FROM_MODULE | FLAG_FORCED)),
                attribute(NUMBER, "IS", "4 ", FROM_MODULE | FLAG_APPEND)});
    Made target({attribute(MODALITY, "CS", "CT", 1 | FLAG_FORCED),
                 sequence_of(REFERENCED, {{attribute(CLASS, "UI", "7.7"), attribute(INSTANCE, "UI", "8.8")}}),
                 attribute(PATIENT, "LO", "ID1 ", 1 | FLAG_FORCED)});
    DICOM_Root root = {};
    EXPECT_EQ(DICOM_Postproc_Overwrite(nullptr, &root, &target.head, tmplt.head, FLAG_FORCED | FLAG_APPEND), 1);
    EXPECT_EQ(lines_of(target.head), "0008,0060 CS [MR]\n0008,1140 SQ\n  0008,1150 UI [1.2]\n  0008,1155 UI [8.8]\n"
                                    "0010,0020 LO\n0020,0013 IS [4 ]\n");
    EXPECT_EQ(target.head->type, TYPE_1);
    EXPECT_EQ(target.head->flag, 1 | FROM_MODULE | FLAG_FORCED) << "the template has the bit";
    EXPECT_EQ(root.Sequence_Depth, 0);
}

TEST(Step2, MarksWhatIsEmptyAndMayBeAbsent)
{
    struct { const char *what; DICOM_List *node; unsigned short parent; int kept; bool marked; } cases[] = {
        {"no type, empty", attribute(NUMBER, "IS", ""), 0, 0, true},
        {"type 3 with a value", with_type(TYPE_3, attribute(NUMBER, "IS", "1 ")), TYPE_2C, 2, false},
        {"type 1 empty", with_type(TYPE_1, attribute(NUMBER, "IS", "")), 0, 0, false},
        {"type 1C empty", with_type(TYPE_1C, attribute(NUMBER, "IS", "")), TYPE_2, 0, false},
        {"type 2C empty", with_type(TYPE_2C, attribute(NUMBER, "IS", "")), TYPE_1C, 0, false},
        {"type 1 empty in a 2C", with_type(TYPE_1, attribute(NUMBER, "IS", "")), TYPE_2C, 0, true},
        {"undefined length", with_type(TYPE_3, unread(NUMBER, "UN", -1)), 0, 0, true},
        {"unread", with_type(TYPE_3, unread(NUMBER, "UN", 5000)), 0, 5000, false},
        {"sequence with something kept", with_type(TYPE_3, sequence_of(REFERENCED, {
            {attribute(CLASS, "UI", "")}, {attribute(CLASS, "UI", "1.2")}})), TYPE_2C, 3, false},
        {"sequence of type 2 without items", with_type(TYPE_2, sequence_of(REFERENCED, {})), 0, 0, false},
        {"sequence of type 2 in a 2C", with_type(TYPE_2, sequence_of(REFERENCED, {})), TYPE_2C, 0, true},
    };
    for (const auto &each : cases) {
        Made tree({each.node});
        DICOM_Root root = {};
        EXPECT_EQ(DICOM_Postproc_Step_2(nullptr, &root, tree.head, each.parent), each.kept) << each.what;
        EXPECT_EQ((tree.head->flag & FLAG_DELETED) != 0, each.marked) << each.what;
    }
    DICOM_Root root = {};
    EXPECT_EQ(DICOM_Postproc_Step_2(nullptr, &root, nullptr, 0), 0);
    Made huge({unread(CLASS, "OB", INT32_MAX), unread(INSTANCE, "OB", INT32_MAX)});
    EXPECT_EQ(DICOM_Postproc_Step_2(nullptr, &root, huge.head, 0), INT32_MAX);
}

TEST(Step2, AddsUpAndTracesWhatIsKept)
{
    Made tree({with_type(TYPE_2, attribute({0x0008, 0x0050}, "SH", "")),
        with_type(TYPE_3, sequence_of(REFERENCED, {{with_type(TYPE_1C, attribute(CLASS, "UI", ""))}})),
        with_type(TYPE_3, attribute({0x0018, 0x0015}, "CS", "")), with_type(TYPE_1, attribute(NUMBER, "IS", "1 ")),
        with_type(TYPE_2C, sequence_of({0x0040, 0x0275}, {{with_type(TYPE_1, attribute(CLASS, "UI", ""))}}))});
    Reports said(11);
    DICOM_Root root = {};
    EXPECT_EQ(DICOM_Postproc_Step_2(nullptr, &root, tree.head, 0), 2);
    EXPECT_EQ(lines_of(tree.head), "0008,0050 SH\n0008,1140 SQ deleted\n  0008,1150 UI\n0018,0015 CS deleted\n"
                                  "0020,0013 IS [1 ]\n0040,0275 SQ\n  0008,1150 UI deleted\n");
    EXPECT_EQ(said.texts(11), "++++ (0008,0050) -> item:0 flag:1 size:0 (keep=0)\n"
                              "++++ (0008,1150) -> item:0 flag:1 size:0 (keep=0)\n"
                              "++++ (0008,1140) -> item:1 flag:257 size:-1 (keep=0)\n"
                              "++++ (0018,0015) -> item:0 flag:257 size:0 (keep=0)\n"
                              "++++ (0020,0013) -> item:0 flag:1 size:2 (keep=2)\n"
                              "++++ (0008,1150) -> item:0 flag:257 size:0 (keep=0)\n"
                              "++++ (0040,0275) -> item:1 flag:1 size:-1 (keep=2)\n");
}

TEST(Step4, DeletesWhereTheTemplateNamesItAndBelow)
{
    Made target({attribute(CLASS, "UI", "1"), sequence_of(REFERENCED, {{attribute(CLASS, "UI", "2"),
        sequence_of({0x0040, 0x0275}, {{attribute(CLASS, "UI", "3"), attribute(NUMBER, "IS", "4 ")}})}}),
        attribute(NUMBER, "IS", "5 ")});
    Made inside({attribute(NUMBER, "IS", "", FROM_MODULE),
                 sequence_of(REFERENCED, {{attribute(CLASS, "UI", "", FROM_MODULE | FLAG_TO_DELETE)}}, FROM_MODULE)});
    DICOM_Root root = {};
    EXPECT_EQ(DICOM_Postproc_Step_4(nullptr, &root, &target.head, inside.head), 1);
    EXPECT_EQ(lines_of(target.head), "0008,1150 UI [1]\n0008,1140 SQ\n  0040,0275 SQ\n    0020,0013 IS [4 ]\n"
                                    "0020,0013 IS [5 ]\n");

    Made everywhere({sequence_of({0x0040, 0x0275}, {{attribute(NUMBER, "IS", "", FLAG_TO_DELETE)}}, FLAG_TO_DELETE),
                     attribute(CLASS, "UI", "", FLAG_TO_DELETE)});
    EXPECT_EQ(DICOM_Postproc_Step_4(nullptr, &root, &target.head, everywhere.head), 1);
    EXPECT_EQ(lines_of(target.head), "0008,1140 SQ\n0020,0013 IS [5 ]\n") << "not into the items of a deleted tag";
    EXPECT_EQ(DICOM_Postproc_Step_4(nullptr, &root, &target.head, nullptr), 1);
    EXPECT_EQ(root.Sequence_Depth, 0);
}

// ---- fetching

static Bytes value(const DICOM_List *node)
{
    return node->data != nullptr ? Bytes(node->data, static_cast<size_t>(node->size)) : "";
}

// How a value comes out of a file, and each way in which that fails, is the matter of the tests of reading.
TEST(Step5, FetchesTheValuesOfItsRange)
{
    Bytes source;
    for (int i = 0; i < 1001000; i++)
        source += static_cast<char>(i * 31 + i / 251);
    DICOM_Lib_File_Name = source.data();
    File_Work_File_Count = 9;
    Made tree({unread({0x0009, 0x1001}, "UN", 1024, 10), unread({0x0009, 0x1002}, "UN", 1025, 20),
               sequence_of({0x0009, 0x1003}, {{unread({0xFFFE, 0xE000}, "I-", 2010, 25),
               unread({0x0009, 0x1001}, "UN", 2000, 30)}}), unread({0x0009, 0x1004}, "UN", 999999, 40),
               unread({0x0009, 0x1005}, "UN", 1000000, 50), unread({0x0009, 0x1006}, "UN", -1, 60)});
    DICOM_List *small = tree.head, *first = small->next, *nested = first->next, *large = nested->next;
    nested->size = 2018;
    Reports said(13);
    DICOM_Root root = {};
    EXPECT_EQ(DICOM_Postproc_Step_5(nullptr, &root, tree.head), 1);
    EXPECT_EQ(said.texts(13), "Reading missing: 1025 bytes at 20\nReading missing: 2000 bytes at 30\n"
                              "Reading missing: 999999 bytes at 40\n");
    EXPECT_EQ(value(first), source.substr(20, 1025));
    EXPECT_EQ(value(nested->item[0]->next), source.substr(30, 2000));
    EXPECT_EQ(value(large), source.substr(40, 999999));
    for (const DICOM_List *node : {small, nested, nested->item[0], large->next, large->next->next})
        EXPECT_EQ(node->data, nullptr) << node->size;
    EXPECT_EQ(File_Work_File_Pos[9], 20 + 1025);
    EXPECT_EQ(File_Work_File_Pos[0], 30 + 2000) << "slots are taken in turn";

    said.all.clear();
    EXPECT_EQ(DICOM_Postproc_Step_5(nullptr, &root, tree.head), 1);
    EXPECT_EQ(DICOM_Postproc_Step_5(nullptr, &root, nullptr), 1);
    EXPECT_TRUE(said.all.empty()) << "each value is fetched once";
    DICOM_Lib_File_Name = nullptr;
}

TEST(Step5, ReportsAFailureAndLeavesTheNodeUnread)
{
    Made tree({sequence_of({0x0009, 0x1000}, {{unread({0x0009, 0x1001}, "UN", 1025)}}),
               unread({0x0009, 0x1001}, "UN", 1025), unread({0x0009, 0x1002}, "UN", 1026)});
    DICOM_Lib_File_Source = 1;
    DICOM_Lib_File_Name = "/nowhere";
    Reports said(11);
    DICOM_Root root = {};
    EXPECT_EQ(DICOM_Postproc_Step_5(nullptr, &root, tree.head), 0);
    std::string text = "\xF1\x04" "ERROR:\x02 Unable to open file\nNo such file or directory\nfile: (/nowhere)\n";
    EXPECT_EQ(said.failures(), text + text) << "in an item, then in the chain itself";
    EXPECT_EQ(without_line_number(said.all.at(0).text), "file:.\\NEMA_Write_Fct line N of");
    EXPECT_EQ(root.Sequence_Depth, 0);

    Bytes source(2000, 'x');
    DICOM_Lib_File_Source = 0;
    DICOM_Lib_File_Name = source.data();
    said.all.clear();
    {
        Refuse second(2);
        EXPECT_EQ(DICOM_Postproc_Step_5(nullptr, &root, tree.head), 0);
    }
    EXPECT_EQ(said.failures(), "line N of .\\NEMA_Write_Fct \nmemory error in malloc (var=pt->data, dim=1025x1)\n");
    EXPECT_EQ(tree.head->next->data, nullptr);
    EXPECT_EQ(DICOM_Postproc_Step_5(nullptr, &root, tree.head), 1) << "what failed can be tried again";
    EXPECT_EQ(value(tree.head->next), Bytes(1025, 'x'));
    DICOM_Lib_File_Name = nullptr;
}

// ---- verification

static std::string warning(const char *what, const char *group, const char *element, const char *name = "")
{
    return std::string("    \xF1\x05WARNING:\x02 ") + what + ": (\x01" + group + "\x02,\x01" + element + "\x02) \x01" +
           name + "\n";
}

static std::string missing(const char *group, const char *element)
{
    return warning("Missing required value for type 1 tag", group, element);
}

TEST(Verification, WarnsOfWhatIsAbsentOrEmpty)
{
    TAG_db_Elems row = {};
    strcpy(row.description, "Modality");
    Made tmplt({with_type(TYPE_1, attribute(MODALITY, "CS", "")), with_type(TYPE_1, attribute(CLASS, "UI", "")),
                with_type(TYPE_2, attribute(INSTANCE, "UI", "")), with_type(TYPE_2, attribute(PATIENT, "LO", "")),
                with_type(TYPE_1C, attribute({0x0018, 0x0010}, "LO", "")),
                with_type(TYPE_2C, attribute({0x0018, 0x0011}, "LO", "")),
                with_type(TYPE_3, attribute({0x0018, 0x0012}, "LO", "")), attribute({0x0018, 0x0013}, "LO", ""),
                with_type(TYPE_1, attribute(NUMBER, "IS", ""))});
    tmplt.head->db = &row;
    Made target({attribute(CLASS, "UI", ""), attribute(INSTANCE, "UI", ""), attribute(NUMBER, "IS", "1 ")});
    Reports said;
    DICOM_Root root = {};
    DICOM_Postproc_Verification(nullptr, &root, target.head, tmplt.head, 3);
    EXPECT_EQ(said.warnings(), warning("Missing required value for type 1 tag", "0008", "0060", "\"Modality\"") +
                                   warning("Empty required value for type 1 tag", "0008", "1150") +
                                   warning("Missing required value for type 2 tag", "0010", "0020"));
    EXPECT_EQ(said.all.size(), 3u);

    said.all.clear();
    DICOM_Postproc_Verification(nullptr, &root, target.head, nullptr, 0);
    EXPECT_TRUE(said.all.empty());
    tmplt.head->db = nullptr;
}

TEST(Verification, LooksIntoSequencesOfType1Only)
{
    auto wanted = [](unsigned short type, Tag tag) {
        return with_type(type, sequence_of(tag, {{with_type(TYPE_1, attribute(CLASS, "UI", "")),
                                                  with_type(TYPE_1, attribute(INSTANCE, "UI", ""))}}));
    };
    Made tmplt({wanted(TYPE_1, REFERENCED), wanted(TYPE_1, {0x0040, 0x0275}), wanted(TYPE_1, {0x0040, 0x0555}),
                wanted(TYPE_2, {0x0054, 0x0016}), wanted(TYPE_1C, {0x0054, 0x0220}), wanted(0, {0x0054, 0x0222})});
    Made target({sequence_of(REFERENCED, {{attribute(CLASS, "UI", "1.2")}}), sequence_of({0x0040, 0x0275}, {}),
                 sequence_of({0x0054, 0x0016}, {{attribute(NUMBER, "IS", "")}}),
                 sequence_of({0x0054, 0x0222}, {{attribute(NUMBER, "IS", "")}})});
    std::string before = lines_of(target.head);
    Reports said;
    DICOM_Root root = {};
    DICOM_Postproc_Verification(nullptr, &root, target.head, tmplt.head, 0);
    EXPECT_EQ(said.warnings(), missing("0008", "1155") + missing("0008", "1150") + missing("0008", "1155") +
                                   missing("0040", "0555") + missing("0008", "1150") + missing("0008", "1155"));
    EXPECT_EQ(lines_of(target.head), before);
    EXPECT_EQ(target.head->next->nb_item, 0) << "not even an empty slot is made";
    EXPECT_EQ(root.Sequence_Depth, 0);
}

// ---- what all steps share

TEST(Steps, LeaveAloneWhatTheCursorCanNotReach)
{
    auto nested = [](int depth, unsigned short flag) {
        DICOM_List *node = attribute(NUMBER, "IS", "1 ", flag);
        for (int i = 0; i < depth; i++)
            node = sequence_of(REFERENCED, {{node}}, FROM_MODULE);
        return node;
    };
    Made reachable({nested(9, FROM_MODULE | FLAG_FORCED)}), deeper({nested(40, FROM_MODULE | FLAG_FORCED)});
    Made target({});
    DICOM_Root root = {};
    Reports said;
    DICOM_Postproc_Step_1(nullptr, &root, &target.head, reachable.head, FLAG_FORCED);
    EXPECT_EQ(said.warnings(), "");
    EXPECT_EQ(lines_of(target.head), lines_of(reachable.head));
    std::string text = "    \xF1\x05WARNING:\x02 (\x01" "0008\x02,\x01" "1140\x02) Items below 9 sequences are left as "
                       "they are\n";
    DICOM_Postproc_Step_1(nullptr, &root, &target.head, deeper.head, FLAG_FORCED);
    DICOM_Postproc_Overwrite(nullptr, &root, &target.head, deeper.head, FLAG_FORCED);
    DICOM_Postproc_Step_4(nullptr, &root, &target.head, deeper.head);
    DICOM_Postproc_Step_5(nullptr, &root, deeper.head);
    DICOM_Postproc_Step_2(nullptr, &root, deeper.head, 0);
    EXPECT_EQ(said.warnings(), text + text + text + text + text);
    EXPECT_EQ(root.Sequence_Depth, 0);
    EXPECT_EQ(deeper.head->flag, FROM_MODULE) << "what was not looked into is not known to be empty";
}

