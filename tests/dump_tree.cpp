// The dump of a tree, line by line.
#include <gtest/gtest.h>

#include "tests/support/reports.h"
#include "tree/tree_internal.h"

enum { LEVEL = 3 };

static DICOM_List node(unsigned short group, unsigned short element, unsigned short vr, const char *value = nullptr)
{
    DICOM_List tag = {};
    tag.flag = ORIGIN_DICOM;
    tag.syntax = SYNTAX_EXPLICIT;
    tag.group = group;
    tag.element = element;
    tag.vr_explicit = vr;
    tag.db = NEMA_db_Locate(group, element);
    tag.data = const_cast<char *>(value);
    tag.size = value != nullptr ? static_cast<int>(strlen(value)) : 0;
    return tag;
}

static std::string line_of(DICOM_List tag, int depth = 0)
{
    Reports said;
    DICOM_Root root = {};
    root.Sequence_Depth = depth;
    DICOM_Attribute_Stool_Tag(nullptr, &root, &tag, LEVEL);
    EXPECT_EQ(said.all.size(), 1u);
    EXPECT_EQ(said.all.at(0).level, LEVEL);
    return said.all.at(0).text;
}

TEST(Dump_Line, PrintsOneLineForAnAttribute)
{
    DICOM_List name = node(0x0010, 0x0010, VR_PN, "Doe^John");
    name.type = TYPE_2;
    EXPECT_EQ(line_of(name), "(\x01" "0010\x02,\x01" "0010\x02) \xF1\x01(DICOM)  \xF0 \x05  Patient's Name             "
                             "             \x02\xF0 (\x01PN\x02,\xF0\x01" "2 \x02,\x01" "8   \x02) Doe^John");

    DICOM_List rows = node(0x0028, 0x0010, VR_US, "\x01\x02");
    EXPECT_EQ(line_of(rows), "(\x01" "0028\x02,\x01" "0010\x02) \xF1\x01(DICOM)  \xF0 \x02  Rows                       "
                             "             \x02\xF0 (\x01US\x02,\xF0\x01--\x02,\x01" "2   \x02) 513");

    DICOM_List unknown = node(0x00AB, 0xCDEF, VR_NONE);
    unknown.size = -1;
    EXPECT_EQ(line_of(unknown, 2), "        (\x01" "00ab\x02,\x01" "cdef\x02) \xF1\x01(DICOM)  \xF0 \x02  "
                                   "Unknown tag                             \x02\xF0 (\xF1\x06--\x02,\xF0\x01--\x02,\x01"
                                   "-1  \x02) (no data)");

    DICOM_List sequence = node(0x0008, 0x1140, VR_SQ);
    sequence.type = TYPE_1C;
    sequence.size = 123456;
    EXPECT_EQ(line_of(sequence), "(\x01" "0008\x02,\x01" "1140\x02) \xF1\x01(DICOM)  \xF0 \x04  "
                                 "Referenced Image Sequence               \x02\xF0 (\x01SQ\x02,\xF0\x01" "1C\x02,\x01"
                                 "123456\x02) ---- Sequence in ---------------");
}

// What stands between two places of the line.
static std::string between(const std::string &line, const std::string &start, const std::string &end)
{
    size_t from = line.find(start) + start.size();
    return line.substr(from, line.find(end, from) - from);
}

TEST(Dump_Line, LabelsTheOriginAndMarksTheDescription)
{
    struct { int flag; const char *label; char mark; } cases[] = {
        {0x0000, "          ",       ' '}, {0x0001, "\x01(DICOM)  ", ' '}, {0x0002, "\x01(Velm)   ", ' '},
        {0x0004, "\x01(Module) ",    ' '}, {0x0003, "          ",    ' '}, {0x0021, "\x05(Retired)", ' '},
        {0x0061, "\x05(Private)",    ' '}, {0x0161, "\x04(Deleted)", ' '}, {0x0961, "\x04(Invalid)", ' '},
        {0x2961, "\x05(Default)",    '='}, {0x1800, "\x05(Forced) ", '!'}, {0x3000, "\x05(Forced) ", '='},
        {0x8001, "\x05(Append) ",    '+'}, {0xB080, "\x05(Append) ", '='}, {0x9080, "\x05(Append) ", '!'},
        {0x8080, "\x05(Append) ",    'o'}, {0x0081, "\x01(DICOM)  ", 'o'}, {0x0201, "\x01(DICOM)  ", ' '},
    };
    for (const auto &each : cases) {
        DICOM_List tag = node(0x0010, 0x0010, VR_PN);
        tag.flag = static_cast<unsigned short>(each.flag);
        std::string line = line_of(tag);
        EXPECT_EQ(between(line, " \xF1", "\xF0 "), each.label) << std::hex << each.flag;
        EXPECT_EQ(between(line, "\xF0 \x02", " Patient's"), std::string(1, each.mark)) << std::hex << each.flag;
    }
}

TEST(Dump_Line, ColorsTagTypeAndVR)
{
    DICOM_List tag = node(0x0010, 0x0010, VR_PN);
    tag.flag |= FLAG_SYNTAX_ERROR;
    EXPECT_EQ(line_of(tag).substr(0, 15), "(\x04" "0010\x02,\x04" "0010\x02)");

    struct { unsigned short type; const char *color_and_mark, *letters; } types[] = {
        {TYPE_1, "\x04 ", "1 "}, {TYPE_1C, "\x04 ", "1C"}, {TYPE_2, "\x05 ", "2 "}, {TYPE_2C, "\x05 ", "2C"},
        {TYPE_3, "\x06 ", "3 "}, {0x3343, "\x02 ", "3C"},  {0, "\x02 ", "--"},
    };
    for (const auto &each : types) {
        tag.type = each.type;
        EXPECT_EQ(between(line_of(tag), "\xF0 ", " Patient's"), each.color_and_mark);
        EXPECT_EQ(between(line_of(tag), ",\xF0\x01", "\x02,"), each.letters);
    }

    struct { int flag; unsigned short vr_explicit, vr; const char *shown; } vrs[] = {
        {1, VR_PN, 0, "\x01PN"},       {1, 0, VR_LO, "\xF1\x06LO"},         {1, VR_PN, VR_LO, "\x01PN"},
        {1, 0, 0, "\xF1\x06--"},       {0x0401, 0, VR_UI, "\xF1\x04UI"},    {0x0401, VR_UN, VR_UI, "\xF1\x04UN"},
        {1, 0x4100, 0, "\x01" "A-"},
    };
    for (const auto &each : vrs) {
        tag.flag = static_cast<unsigned short>(each.flag);
        tag.vr_explicit = each.vr_explicit;
        tag.vr = each.vr;
        EXPECT_EQ(between(line_of(tag), "\x02\xF0 (", "\x02,"), each.shown);
    }
}

TEST(Dump_Line, KeepsTheColumnsBehindEachDescription)
{
    const std::string banner = "\xF1\x02===== Group 0008 (Identifying) =======", long_one(60, 'x');
    const std::string controls = std::string(50, '\x01');
    struct { std::string text, shown; } cases[] = {
        {"", std::string(40, ' ')}, {banner, banner + "  "}, {"\x01Item", "\x01Item" + std::string(36, ' ')},
        {long_one, long_one.substr(0, 40)}, {long_one.substr(0, 39) + "\x02\x02", long_one.substr(0, 39) + "\x02 "},
        {controls, controls.substr(0, 40) + std::string(40, ' ')},
        {"\x09\x0A\xEF\xF0", "\x09\x0A\xEF\xF0" + std::string(38, ' ')}, {"50% %s", "50% %s" + std::string(34, ' ')},
    };
    for (const auto &each : cases) {
        DICOM_List tag = node(0x0008, 0x0060, VR_CS);
        tag.description = const_cast<char *>(each.text.c_str());
        EXPECT_EQ(between(line_of(tag), "\xF0 \x02  ", "\x02\xF0 ("), each.shown);
    }
}

// The legend in front of a tree, of which the first and the last line are shown here.
static std::string legend()
{
    DICOM_Root root = {};
    Reports said(11);
    DICOM_Attribute_Stool(nullptr, &root, nullptr, LEVEL);
    EXPECT_EQ(said.all.size(), 6u);
    root.Sequence_Depth = 1;
    DICOM_Attribute_Stool(nullptr, &root, nullptr, LEVEL);
    EXPECT_EQ(said.all.size(), 6u) << "at the top only";
    EXPECT_EQ(said.all.front().text, "Stool syntax: group & element color:\xF1\x04 red\xF0\x02 =syntax error,\xF1\x01 "
                                     "blue\xF0\x02 =normal");
    EXPECT_EQ(said.all.back().text, "\xF1(grp, elem) Origin            description                        "
                                    "(VR,Tp,size) data");
    return said.texts(LEVEL);
}

TEST(Dump_Tree, WalksSequencesAndItems)
{
    DICOM_List id = node(0x0008, 0x1155, VR_UI, "1.2.840.10008.1.2");
    DICOM_List other = node(0x0008, 0x1155, VR_UI, "1.2.3"), hidden = id;
    DICOM_List *items[] = {&id, &other, nullptr, &hidden};
    DICOM_List modality = node(0x0008, 0x0060, VR_CS, "CT"), sequence = node(0x0008, 0x1140, VR_SQ);
    sequence.item = items;
    sequence.nb_item = 4;
    modality.next = &sequence;

    const std::string head = legend();
    DICOM_Root root = {};
    Reports said(11);
    DICOM_Attribute_Stool(nullptr, &root, &modality, LEVEL);
    const std::string dash = "------------------------ ---- ";
    EXPECT_EQ(said.texts(LEVEL), head + line_of(modality) + "\n" + line_of(sequence) + "\n" + dash +
              "Sequence in ----(depth=0)-----\n    " + dash + "Item[1] in ---------------\n" + line_of(id, 1) + "\n    "
              + dash + "Item[1] out --------------\n    " + dash + "Item[2] in ---------------\n" + line_of(other, 1) +
              "\n    " + dash + "Item[2] out --------------\n" + dash + "Sequence out --------------\n");
    EXPECT_EQ(said.texts(11), "-> Item for tag(0008,1140)\n-> DICOM_Attribute_Stool Item[0]\n"
                              "-> DICOM_Attribute_Stool Item[1]\n");
    EXPECT_EQ(root.Sequence_Depth, 0);
}

TEST(Dump_Tree, ChangesNothingAndPrintsNothingAboveTheThreshold)
{
    DICOM_List inner = node(0x0008, 0x1155, VR_UI, "1.2.3"), sequence = node(0x0008, 0x1140, VR_SQ), before = sequence;
    DICOM_List *items[] = {&inner};
    before.item = sequence.item = items;
    before.nb_item = sequence.nb_item = 1;
    DICOM_Root root = {};
    Reports said(5);
    DICOM_Attribute_Stool(nullptr, &root, &sequence, 6);
    EXPECT_TRUE(said.all.empty());
    DICOM_Attribute_Stool(nullptr, &root, &sequence, 4);
    EXPECT_EQ(memcmp(&before, &sequence, sizeof before), 0);
}
