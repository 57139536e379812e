// The VR of an element: what a stream says, what the dictionary says, and what the value looks like.
#include <gtest/gtest.h>

#include "dictionary/DICOM_Dictionary.h"
#include "tests/support/outline.h"
#include "tests/support/reports.h"
#include "tree/tree_internal.h"

static std::string letters(unsigned short vr)
{
    return vr == VR_NONE ? "" : std::string{first_letter(vr), second_letter(vr)};
}

TEST(ExplicitVR, IsKeptOrLeftToTheDictionary)
{
    const std::string kept = " AE AS AT CS DA DS DT FD FL IS LO LT OB OW PN SH SL SQ SS ST TM UH UI UL UN US ";
    for (char first = 'A'; first <= 'Z'; first++)
        for (char second = 'A'; second <= 'Z'; second++) {
            std::string vr = {first, second};
            if (vr == "OX")
                continue;
            Tree tree(new_node({0x0008, 0x0060}, vr.c_str()));
            tree.head->vr = VR_UT;
            EXPECT_EQ(DICOM_Attribute_Format_VR(nullptr, tree.head), 1);
            EXPECT_EQ(letters(tree.head->vr_explicit), kept.find(" " + vr + " ") != std::string::npos ? vr : "") << vr;
            EXPECT_EQ(tree.head->flag, 0);
        }

    Tree tree(new_node({0x0008, 0x0060}, "OX"));
    Reports said;
    EXPECT_EQ(DICOM_Attribute_Format_VR(nullptr, tree.head), 1);
    EXPECT_EQ(tree.head->vr_explicit, VR_OW);
    EXPECT_EQ(tree.head->flag, FLAG_SYNTAX_ERROR);
    EXPECT_EQ(said.warnings(),
              "    \xF1\x05WARNING:\x02 (\x01" "0008\x02,\x01" "0060\x02) Explicit VR=OX is invalid!\n");
}

TEST(ExplicitVR, IsComparedWithTheAlternatesOfTheDictionary)
{
    static const std::string tag = "\x02    (\x01" "0028\x02,\x01" "0106\x02)  "
                                   "Explicit VR (=\x01LO\x02) does not match definition! ";
    struct { int type; const char *remark; } cases[] = {
        {0, nullptr}, {1, "(=\x01US\x02)"}, {-1, "(=\x01US\x02)"}, {2, "(=\x01US\x02 or \x01SS\x02)"},
        {-3, "(=\x01US\x02, \x01SS\x02 or \x01OW\x02)"}, {3, "(=\x01US\x02, \x01SS\x02 or \x01OW\x02)"},
    };
    for (const auto &each : cases) {
        TAG_db_Elems row = {};
        row.type = static_cast<signed char>(each.type);
        row.vr[0] = VR_US;
        row.vr[1] = VR_SS;
        row.vr[2] = VR_OW;
        Tree tree(new_node({0x0028, 0x0106}, "LO"));
        tree.head->db = &row;
        tree.head->vr = VR_RT;
        Reports said;
        EXPECT_EQ(DICOM_Attribute_Format_VR(nullptr, tree.head), each.remark == nullptr);
        EXPECT_EQ(said.remarks(), each.remark != nullptr ? tag + each.remark + "\n" : "");
        EXPECT_EQ(tree.head->vr_explicit, VR_LO) << "the stream's word wins";
        EXPECT_EQ(tree.head->vr, each.remark != nullptr ? VR_RT : VR_OB) << "nothing is done after a mismatch";

        for (int i = 0; i < 3; i++) {
            bool is_known = each.type == 0 || i < abs(each.type);
            EXPECT_EQ(DICOM_Attribute_Format_Check_VR(tree.head, row.vr[i]), is_known);
        }
    }
    Tree tree(new_node({0x0028, 0x0106}, "LO"));
    EXPECT_EQ(DICOM_Attribute_Format_Check_VR(tree.head, VR_LO), 1);
}

TEST(MissingVR, IsTakenFromTheSizeWhereTheDictionaryNamesNone)
{
    struct { int size; unsigned short vr; } cases[] = {{2, VR_US}, {4, VR_UL}, {0, VR_OB}, {3, VR_OB}, {-1, VR_OB}};
    for (const auto &each : cases) {
        Tree tree(new_node({0x0028, 0x1200}));
        tree.head->vr = VR_RT;
        tree.head->size = each.size;
        EXPECT_EQ(DICOM_Attribute_Format_VR(nullptr, tree.head), 1);
        EXPECT_EQ(tree.head->vr, each.vr) << each.size;
        EXPECT_EQ(tree.head->flag, 0);
    }
}

struct Guess {
    Bytes value;
    const char *vr;
    Tag tag = {0x0009, 0x1001};
    unsigned char syntax = SYNTAX_IMPLICIT;
};

TEST(MissingVR, IsGuessedFromTheValue)
{
    const Guess cases[] = {
        {Bytes(1025, 'x'), "OB"},       {Bytes(1025, 'x'), "OB", {0x0009, 0x0000}}, {"ABCD", "UL", {0x0009, 0x0000}},
        {"12", "LO", {0x0009, 0x0010}}, {"12", "LO", {0x0009, 0x00FF}},             {"12", "IS", {0x0009, 0x0100}},
        {"12", "IS", {0x0009, 0x000F}}, {"12", "IS", {0x0008, 0x0010}},
        // not printable
        {number_32(999999), "SL"}, {number_32(static_cast<uint32_t>(-999999)), "SL"}, {number_32(0), "SL"},
        {number_32(1000000), "FL"}, {number_32(999999, SYNTAX_BIG_ENDIAN), "SL", {0x0009, 0x1001}, SYNTAX_BIG_ENDIAN},
        {Bytes("\0\0\x80\x7F", 4), "", {0x0009, 0x1001}},                       // infinite
        {Bytes("\0\0\xC0\x7F", 4), "", {0x0009, 0x1001}},                       // not a number
        {Bytes("\0\0\0\x80", 4), "", {0x0009, 0x1001}},                         // minus zero
        {Bytes("\0\x50\xC3\x47", 4), "", {0x0009, 0x1001}},                     // 100000
        {Bytes("\xFF\x4F\xC3\x47", 4), "FL", {0x0009, 0x1001}},                 // the float below it
        {Bytes("\0\x50\xC3\xC7", 4), "", {0x0009, 0x1001}},                     // -100000
        {Bytes("1\0", 2), "SS"}, {Bytes("123\0\0\0", 6), ""}, {"Caf\xE9 au lait", ""}, {"a\x7F", "SS"},
        {"tab\there", ""},
        // printable
        {"1.2.840.10008.1.2.11", "UI"}, {"12345678901234567", "UI"}, {Bytes(64, '1'), "UI"}, {Bytes(65, '1'), "ST"},
        {"1.2.840.10008.1.2\\1.2", "ST"}, {"12", "IS"}, {"  -1/+2 ", "IS"}, {"123456789012", "IS"},
        {"1234567890123", "DS"}, {"    ", "IS"}, {"1.5", "DS"}, {"-1.5E+3", "DS"}, {"HEAD_FIRST", "CS"}, {"E1", "DS"},
        {"ABCDEFGHIJKLMNOP", "CS"}, {"ABCDEFGHIJKLMNOPQ", "ST"},
        {"ABCDEFGHIJKLMNO  ", "ST"},                    // measured before it is stripped
        {"Abc", "ST"}, {"Abc\\Def", "SH"}, {"1\\2", "SH"}, {"1/2", "IS"}, {"1234567890123456\\123456789012345", "SH"},
        {"1234567890123456\\1234567890123456", "ST"},   // a later value counts its backslash
    };
    for (const Guess &each : cases) {
        Tree tree(new_node(each.tag, "", each.value));
        tree.head->syntax = each.syntax;
        int result = DICOM_Attribute_Format_VR(nullptr, tree.head);
        EXPECT_EQ(letters(tree.head->vr), each.vr) << outline(tree.head);
        EXPECT_EQ(result, each.vr[0] != '\0') << outline(tree.head);
        EXPECT_EQ(tree.head->flag, FLAG_GUESSED_VR);
    }
}

TEST(MissingVR, IsNotGuessedWithoutBytes)
{
    for (int size : {0, 5, 5000, -1}) {
        Tree tree(new_node({0x0009, 0x1001}));
        tree.head->size = size;
        EXPECT_EQ(DICOM_Attribute_Format_VR(nullptr, tree.head), 1);
        EXPECT_EQ(tree.head->vr, VR_NONE);
        EXPECT_EQ(tree.head->flag, FLAG_GUESSED_VR);
    }
    Tree tree(new_node({0x0009, 0x1001}, "", "x"));
    tree.head->size = 0;
    EXPECT_EQ(DICOM_Attribute_Format_VR(nullptr, tree.head), 1);
    EXPECT_EQ(tree.head->vr, VR_IS) << "an empty text is within every set";
    tree.head->size = -1;
    tree.head->vr = VR_NONE;
    EXPECT_EQ(DICOM_Attribute_Format_VR(nullptr, tree.head), 0);
}
