// The check: what it says where it differs from cleanup, and that it leaves values and flags alone.
#include "tests/cleanup_values.h"

static const Bytes ZERO(1, '\0');

struct Check_Case {
    const char *vr;
    Bytes value;
    int result;
    std::string said;
    unsigned short group = 0x0008;
};

static std::string old_syntax(const std::string &old, const std::string &now)
{
    return "R Old syntax! \x01" + old + "\x02 should be changed to \x01" + now + "\n";
}

static const Check_Case CASES[] = {
    {"LO", "abc" + ZERO, 1, pad_instead("abc", "NULL instead of SPACE")},
    {"LO", "abc\\", 1, "R last char is (=\x01\\\x02)!\n"}, {"LO", "abc\\", 1, "", 0x0009},
    {"SH", "0123456789ABCDEFG", 1, too_long(17, 16, "0123456789ABCDEF", "G")},
    {"ST", Bytes(1025, 's'), 1, "W String too long! (\x01" "1025\x02/vs/\x01" "1024 max\x02) \n"},
    {"CS", "Abc", 1, not_from_set(2, "Abc", "ABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_ \\")},
    {"AE", "A\tB" + ZERO, 1, "R 2 Invalid character in data\n"}, {"AS", "12", 0, bad_length("4 bytes", 2)},
    {"AS", "12 Y", 1, not_from_set(1, "12 Y", "0123456789DWMY")}, {"DA", "991231", 0, old_syntax("991231", "19991231")},
    {"DA", "1999-12-31", 0, not_from_set(2, "1999-12-31", "0123456789.\\") + old_syntax("1999-12-31", "19991231")},
    {"DA", "19100.01.2", 0,
               "W Y2K bug! \x01" "19100.01.2\x02 = \x01" "2000012?\x02 (last digit of day is lost!)\n"},
    {"DA", "1999", 0, bad_length("6, 8 or 10 bytes", 4)}, {"TM", "12:30:45", 0, old_syntax("12:30:45", "123045")},
    {"TM", "12:3", 1, not_from_set(1, "12:3", "0123456789. \\")},
    {"IS", "1.5", 0, "W Invalid data! Expecting VR=IS but got VR=DS\n"},
    {"IS", "3000000000", 0, out_of_range("3000000000")},
    {"IS", "30000000 A0x", 0, not_from_set(2, "30000000 A0x", "0123456789+- \\") + out_of_range("30000000A0x")},
    {"US", "123", 0, bad_length("\"Unsigned Short\"", 3)}, {"ZZ", "123", 0, ""}, {"US", "", 0, ""},
};

TEST(Check, SaysWhereAValueIsWrongAndLeavesIt)
{
    for (const Check_Case &wanted : CASES) {
        Value value(wanted.vr, wanted.value, wanted.group);
        SCOPED_TRACE(value.name());
        const char *block = value.tag.data;
        Reports said;
        EXPECT_EQ(DICOM_Attribute_Syntax_Tag(nullptr, &value.tag), wanted.result);
        EXPECT_EQ(said_of(said, value.tag), wanted.said);
        EXPECT_EQ(value.tag.data, block);
        EXPECT_EQ(readable(value.bytes()), readable(wanted.value));
        EXPECT_EQ(value.tag.flag, ORIGIN_DICOM);
    }
}

TEST(Check, SwapsABigEndianValueAndChangesNothingElse)
{
    Value value("US", "\x01\x02\x03\x04");
    value.tag.syntax = SYNTAX_EXPLICIT | SYNTAX_BIG_ENDIAN;
    DICOM_Root root = {};
    EXPECT_EQ(DICOM_Attribute_Syntax(nullptr, &root, &value.tag), 1);
    EXPECT_EQ(value.tag.syntax, SYNTAX_EXPLICIT);
    EXPECT_EQ(value.bytes(), "\x02\x01\x04\x03");
    EXPECT_EQ(value.tag.flag, ORIGIN_DICOM);
}
