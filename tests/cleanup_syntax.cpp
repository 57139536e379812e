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

static void PrintTo(const Check_Case &each, std::ostream *out)
{
    *out << each.vr << " [" << readable(each.value) << "]";
}

class Check : public testing::TestWithParam<Check_Case> {};

TEST_P(Check, Says)
{
    const Check_Case &wanted = GetParam();
    Value value(wanted.vr, wanted.value, wanted.group);
    const char *block = value.tag.data;
    Reports said;
    EXPECT_EQ(DICOM_Attribute_Syntax_Tag(nullptr, &value.tag), wanted.result);
    EXPECT_EQ(said_of(said, value.tag), wanted.said);
    EXPECT_EQ(value.tag.data, block);
    EXPECT_EQ(readable(value.bytes()), readable(wanted.value));
    EXPECT_EQ(value.tag.flag, ORIGIN_DICOM);
}

static std::string old_syntax(const std::string &old, const std::string &now)
{
    return "R Old syntax! \x01" + old + "\x02 should be changed to \x01" + now + "\n";
}

INSTANTIATE_TEST_SUITE_P(Texts, Check, testing::Values(
    Check_Case{"LO", " abc ", 1, ""},
    Check_Case{"LO", "abc" + ZERO, 1, pad_instead("abc", "NULL instead of SPACE")},
    Check_Case{"LO", "abc\\", 1, "R last char is (=\x01\\\x02)!\n"},
    Check_Case{"LO", "abc\\", 1, "", 0x0009},
    Check_Case{"SH", "0123456789ABCDEFG", 1, too_long(17, 16, "0123456789ABCDEF", "G")},
    Check_Case{"ST", Bytes(1025, 's'), 1, "W String too long! (\x01" "1025\x02/vs/\x01" "1024 max\x02) \n"},
    Check_Case{"CS", "Abc", 1, not_from_set(2, "Abc", "ABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_ \\")},
    Check_Case{"AE", "A\tB" + ZERO, 1, "R 2 Invalid character in data\n"}));

INSTANTIATE_TEST_SUITE_P(AgesDatesTimes, Check, testing::Values(
    Check_Case{"AS", "012Y", 1, ""},
    Check_Case{"AS", "12", 0, bad_length("4 bytes", 2)},
    Check_Case{"AS", "0012Y", 0, bad_length("4 bytes", 5)},
    Check_Case{"AS", "12 Y", 1, not_from_set(1, "12 Y", "0123456789DWMY")},
    Check_Case{"DA", "20010203", 1, ""},
    Check_Case{"DA", "991231", 0, old_syntax("991231", "19991231")},
    Check_Case{"DA", "1999.12.31", 0, old_syntax("1999.12.31", "19991231")},
    Check_Case{"DA", "1999-12-31", 0,
               not_from_set(2, "1999-12-31", "0123456789.\\") + old_syntax("1999-12-31", "19991231")},
    Check_Case{"DA", "19100.01.2", 0,
               "W Y2K bug! \x01" "19100.01.2\x02 = \x01" "2000012?\x02 (last digit of day is lost!)\n"},
    Check_Case{"DA", "1999", 0, bad_length("6, 8 or 10 bytes", 4)},
    Check_Case{"TM", "12:30:45", 0, old_syntax("12:30:45", "123045")},
    Check_Case{"TM", "12:3", 1, not_from_set(1, "12:3", "0123456789. \\")},
    Check_Case{"TM", "123045", 1, ""}));

INSTANTIATE_TEST_SUITE_P(Numbers, Check, testing::Values(
    Check_Case{"IS", "12\\13 ", 1, ""},
    Check_Case{"IS", "1.5", 0, "W Invalid data! Expecting VR=IS but got VR=DS\n"},
    Check_Case{"IS", "3000000000", 0, out_of_range("3000000000")},
    Check_Case{"IS", "30000000 A0x", 0,
               not_from_set(2, "30000000 A0x", "0123456789+- \\") + out_of_range("30000000A0x")},
    Check_Case{"US", "123", 0, bad_length("\"Unsigned Short\"", 3)},
    Check_Case{"UN", "123", 1, ""},
    Check_Case{"ZZ", "123", 0, ""},
    Check_Case{"US", "", 0, ""}));

TEST(Check, CountsTheValueThatALastBackslashPromises)
{
    TAG_db_Elems row = {};
    row.type = 1;
    row.vn[0][0] = row.vn[0][1] = 1;
    Value value("LO", "abc\\");
    value.tag.db = &row;
    Reports said;
    EXPECT_EQ(DICOM_Attribute_Syntax_Tag(nullptr, &value.tag), 0);
    EXPECT_EQ(said_of(said, value.tag), "R last char is (=\x01\\\x02)!\n"
                                        "W Invalid number of values in data!, Expecting VN=1 but got 2 values\n");
    EXPECT_EQ(value.tag.flag, ORIGIN_DICOM);
    EXPECT_EQ(DICOM_Attribute_Cleanup_Tag(nullptr, &value.tag), 1);
}

TEST(Check, DoesNotCountTheValuesOfADateThatFailed)
{
    TAG_db_Elems row = {};
    row.type = 1;
    row.vn[0][0] = row.vn[0][1] = 2;
    Value value("DA", "991231");
    value.tag.db = &row;
    Reports said;
    EXPECT_EQ(DICOM_Attribute_Syntax_Tag(nullptr, &value.tag), 0);
    EXPECT_EQ(said_of(said, value.tag), old_syntax("991231", "19991231"));
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

TEST(Check, TracesItsOwnSteps)
{
    Value value("IS", "12"), text("ST", "ab ");
    Reports said(15);
    DICOM_Root root = {};
    value.tag.next = &text.tag;
    DICOM_Attribute_Syntax(nullptr, &root, &value.tag);
    EXPECT_EQ(said_of(said, value.tag), "15 in DICOM_Attribute_Syntax_Swab(0008,1234)\n"
                                        "15 in DICOM_Attribute_Syntax_Tag(0008,1234)\n"
                                        "15 in DICOM_Tag_Syntax_Valid_Int(0008,1234)\n"
                                        "15 in DICOM_Tag_Syntax_Text_Multiple(0008,1234)\n"
                                        "15 in DICOM_Attribute_Syntax_Swab(0008,1234)\n"
                                        "15 in DICOM_Attribute_Syntax_Tag(0008,1234)\n");
}
