// Texts of definition lines as values.
#include <gtest/gtest.h>

#include "tests/modules_folder.h"

static std::string value_of(unsigned short vr, std::string text, unsigned char syntax = SYNTAX_EXPLICIT)
{
    DICOM_List node = {};
    node.vr = vr;
    node.syntax = syntax;
    std::string out = DICOM_Module_Read_Value(&node, text.data()) ? shown_bytes(node.data, node.size) : "refused";
    EXPECT_TRUE(node.size > 0 || node.data == nullptr);
    free(node.data);
    return out;
}

TEST(Value, IsStoredInTheFormOfItsVR)
{
    struct { const char *what; unsigned short vr; const char *text, *bytes; } cases[] = {
        {"even text", VR_CS, "OT", "OT"}, {"odd text gets a blank", VR_SH, "WSD", "WSD "},
        {"odd UID gets a zero", VR_UI, "1.2.3", "1.2.3\\x00"}, {"backslashes of a text stay", VR_LO, "a\\b", "a\\b "},
        {"nothing", VR_US, "", ""}, {"no number", VR_US, "\\\\", ""}, {"one number", VR_US, "1", "\\x01\\x00"},
        {"a backslash, then blanks", VR_US, "1\\2 3\t4", "\\x01\\x00\\x02\\x00\\x03\\x00\\x04\\x00"},
        {"a second backslash ends a number", VR_US, "1\\2\\3", "\\x01\\x00\\x02\\x00"},
        {"blanks before the backslash", VR_US, "1 2", "\\x01\\x00"}, {"not a number", VR_US, "x", "\\x00\\x00"},
        {"a tag as two numbers", VR_AT, "16\\32", "\\x10\\x00 \\x00"}, {"negative", VR_SS, "-2", "\\xFE\\xFF"},
        {"long", VR_SL, "-2", "\\xFE\\xFF\\xFF\\xFF"}, {"the largest UL", VR_UL, "4294967295", "\\xFF\\xFF\\xFF\\xFF"},
        {"far too large", VR_UL, "99999999999999999999", "\\xFF\\xFF\\xFF\\xFF"},
        {"float", VR_FL, " +0.5\\-2 x", "\\x00\\x00\\x00?\\x00\\x00\\x00\\xC0\\x00\\x00\\x00\\x00"},
        {"float out of range", VR_FL, "1e999", "\\x00\\x00\\x80\\x7F"},
        {"double", VR_FD, "1.5e0", "\\x00\\x00\\x00\\x00\\x00\\x00\\xF8?"},
        {"bytes take no text", VR_OB, "1", "refused"}, {"nor does a sequence", VR_SQ, "1", "refused"},
        {"nor no VR", VR_NONE, "1", "refused"}, {"nor a VR of a row without one", VR_RT, "1", "refused"},
        {"but they take nothing", VR_OB, "", ""},
    };
    for (const auto &each : cases)
        EXPECT_EQ(value_of(each.vr, each.text), each.bytes) << each.what;

    for (unsigned short vr : {VR_AE, VR_AS, VR_CS, VR_DA, VR_DS, VR_DT, VR_IS, VR_LO, VR_LT, VR_PN, VR_SH, VR_ST,
                              VR_TM, VR_UT})
        EXPECT_EQ(value_of(vr, "1"), "1 ") << letters(vr);
    EXPECT_EQ(value_of(VR_UL, "258", SYNTAX_BIG_ENDIAN), "\\x00\\x00\\x01\\x02");
    EXPECT_EQ(value_of(VR_FD, "1.5", SYNTAX_BIG_ENDIAN), "?\\xF8\\x00\\x00\\x00\\x00\\x00\\x00");
}

TEST(Value, HasRoomForSoManyNumbers)
{
    std::string numbers = "7\\7";
    for (int i = 2; i < 128; i++)
        numbers += " 7";
    EXPECT_NE(value_of(VR_FD, numbers), "refused");
    EXPECT_EQ(value_of(VR_FD, numbers + " 7"), "refused");
    EXPECT_NE(value_of(VR_FL, numbers + " 7"), "refused");
}

TEST(Value, ReplacesTheOldOne)
{
    DICOM_List node = {};
    node.vr = VR_LO;
    char first[] = "first", second[] = "ab", none[] = "";
    EXPECT_EQ(DICOM_Module_Read_Value(&node, first), 1);
    EXPECT_EQ(DICOM_Module_Read_Value(&node, second), 1);
    EXPECT_EQ(shown_bytes(node.data, node.size), "ab");
    EXPECT_EQ(DICOM_Module_Read_Value(&node, none), 1);
    EXPECT_EQ(node.data, nullptr);
    node.size = UNDEFINED_LENGTH;
    EXPECT_EQ(DICOM_Module_Read_Value(&node, nullptr), 1);
    EXPECT_EQ(node.size, 0);
    EXPECT_EQ(DICOM_Module_Read_Value(nullptr, none), 0);
}
