// The rules by VR: what cleanup makes of a value, what it says, and what flags it leaves.
#include "tests/cleanup_values.h"

static const Bytes ZERO(1, '\0');
static const int CHANGED = FLAG_SYNTAX_ERROR, INVALID = FLAG_INVALID;
static const char GONE[] = "";   // the value has no bytes and no block

struct Case {
    const char *vr;
    Bytes value;
    Bytes cleaned;
    int result;
    int flag;                // beside the origin
    std::string said = "";   // as said_of gives it
    unsigned short group = 0x0008;
};

static Bytes of(int length, char c) { return Bytes(static_cast<size_t>(length), c); }

static const char CODES[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_ \\", DIGITS_OF_AGES[] = "0123456789DWMY";
static const char DIGITS_OF_DATES[] = "0123456789.\\", DIGITS_OF_TIMES[] = "0123456789. \\";
static const char LAST_BACKSLASH[] = "R Removed last char (=\x01\\\x02) from string!\n";
static const char LONG_ST[] = "W String too long! (\x01" "1060\x02/vs/\x01" "1024 max\x02) Truncated to \"\x01"
    "start............... \x02...\x01 ..........the end!!!\x02\"(\x04################################\x02) \n";
static const char LONG_ST_WITH_SHORT_TAIL[] = "W String too long! (\x01" "1027\x02/vs/\x01" "1024 max\x02) "
    "Truncated to \"\x01kkkkkkkkkkkkkkkkkkkk \x02...\x01 kkkkkkkkkkkkkkkkkkkk\x02\"(\x04" "end\x02) \n";

static std::string old_syntax(const std::string &old, const std::string &now)
{
    return "R Old syntax! \x01" + old + "\x02 changed to \x01" + now + "\n";
}

static std::string converted(const std::string &old, const std::string &now)
{
    return "W Invalid data! Converted from \"\x01" + old + "\x02\" to \"\x01" + now + "\x02\"\n";
}

static const Case CASES[] = {
    {"LO", "  abc  \\ def ", "abc\\def ", 1, 0}, {"LO", "   ", GONE, 1, 0}, {"FD", "", GONE, 0, 0},
    {"LO", "abc" + ZERO, "abc ", 1, 0, pad_instead("abc", "NULL instead of SPACE")},
    {"LO", "ab " + ZERO + " ", "ab", 1, 0, pad_instead("ab ", "NULL instead of SPACE")},
    {"LO", " ab" + ZERO + "c", "ab", 1, 0}, {"LO", ZERO, GONE, 1, 0, pad_instead("", "NULL instead of SPACE")},
    {"UI", "1.2.840" + ZERO, "1.2.840" + ZERO, 1, 0}, {"UI", "1.2.840" + ZERO + ZERO + ZERO, "1.2.840" + ZERO, 1, 0},
    {"UI", "1.2.840 ", "1.2.840" + ZERO, 1, 0, pad_instead("1.2.840 ", "SPACE instead of NULL")},
    {"LT", "  indented  ", "  indented", 1, 0}, {"ST", " " + ZERO + "hidden", "  ", 1, 0},
    {"PN", "Doe^John   ", "Doe^John", 1, 0}, {"PN", " Doe^J" + ZERO, "Doe^J ", 1, 0},

    {"CS", "abc", GONE, 1, CHANGED, not_from_set(3, "abc", CODES)},
    {"CS", "xyAB", "AB", 1, CHANGED, not_from_set(2, "xyAB", CODES)},
    {"CS", "A" + ZERO + "B\\C", "AB\\C", 1, CHANGED, not_from_set(1, "A", CODES)},
    {"DS", "1.5, 2.5", "1.5 2.5 ", 1, CHANGED, not_from_set(1, "1.5, 2.5", "0123456789+-Ee. \\")},
    {"DT", "20010101120000.000000+0100", "20010101120000.000000+0100", 1, 0},
    {"DT", " 2001T", "2001", 1, CHANGED, not_from_set(1, " 2001T", "0123456789+-. \\")},
    {"UI", "1.2.x", "1.2.", 1, CHANGED, not_from_set(1, "1.2.x", "0123456789. \\")},
    {"AE", "ABC" + ZERO, "ABC_", 1, 0, "R 1 Invalid character in data\n"},
    {"AE", "\x7F" "A\tB\xE4", "_A_B_ ", 1, 0, "R 3 Invalid character in data\n"},

    {"LO", of(64, 'a') + "-tail ", of(64, 'a'), 1, CHANGED, too_long(69, 64, of(64, 'a'), "-tail")},
    {"SH", "first\\   0123456789ABCDEF", "first\\0123456789ABC ", 1, CHANGED,
         too_long(19, 16, "   0123456789ABC", "DEF")},
    {"AE", "0123456789ABCDE  ", "0123456789ABCDE ", 1, CHANGED, too_long(17, 16, "0123456789ABCDE ", " ")},
    {"PN", of(320, 'x'), of(320, 'x'), 1, 0}, {"LO", "abc\\", "abc ", 1, CHANGED, LAST_BACKSLASH},
    {"LO", "abc\\\\", "abc\\", 1, CHANGED, LAST_BACKSLASH}, {"LO", "\\", GONE, 1, CHANGED, LAST_BACKSLASH},
    {"LO", "abc\\", "abc\\", 1, 0, "", 0x0009}, {"LT", "line\\\\", "line\\\\", 1, 0},
    {"ST", of(1024, 'k') + " ", of(1024, 'k'), 1, 0},
    {"ST", of(1024, 'k') + "end", of(1024, 'k'), 1, CHANGED, LONG_ST_WITH_SHORT_TAIL},
    {"ST", "start" + of(1009, '.') + "the end" + of(3, '!') + of(32, '#') + "more",
         "start" + of(1009, '.') + "the end" + of(3, '!'), 1, CHANGED, LONG_ST},
    {"LO", of(64, 'a') + of(3000, 'b'), of(64, 'a'), 1, CHANGED, too_long(3064, 64, of(64, 'a'), of(1024, 'b'))},
    {"UT", of(20001, 'u'), of(20001, 'u') + " ", 1, 0},

    {"AS", "7Y", "007Y", 1, 0}, {"AS", "12", "0012", 1, 0},
    {"AS", " 7Y ", "007Y", 1, CHANGED, not_from_set(2, " 7Y ", DIGITS_OF_AGES)}, {"AS", "00012Y", "012Y", 1, 0},
    {"AS", "7", "7", 1, 0, bad_length("4 bytes", 1)},
    {"AS", "?", GONE, 1, CHANGED, not_from_set(1, "?", DIGITS_OF_AGES) + bad_length("4 bytes", 0)},

    {"DA", "1999.12.31", "19991231", 1, 0, old_syntax("1999.12.31", "19991231")},
    {"DA", "991231", "19991231", 1, 0, old_syntax("991231", "19991231")},
    {"DA", "600101", "19600101", 1, 0, old_syntax("600101", "19600101")},
    {"DA", "1.\\345", "20010045", 1, 0, old_syntax("1.\\345", "20010045")},
    {"DA", "1999-12-31", "19991231", 1, CHANGED, not_from_set(2, "1999-12-31", DIGITS_OF_DATES)},
    {"DA", "19100.01.2", GONE, 0, 0,
         "W Y2K bug! \x01" "19100.01.2\x02 = \x01" "2000012?\x02 (Rejected since last digit of day is lost!)\n"},
    {"DA", "19991231\\20000101", GONE, 0, 0, bad_length("6, 8 or 10 bytes", 17)},
    {"DA", "1999 ", GONE, 0, CHANGED, bad_length("6, 8 or 10 bytes", 5) + not_from_set(1, "1999 ", DIGITS_OF_DATES)},
    {"DA", "1999123 ", GONE, 0, CHANGED, not_from_set(1, "1999123 ", DIGITS_OF_DATES)},

    {"TM", "123045.123", "123045.123", 1, 0},
    {"TM", "12:30:45", "123045", 1, CHANGED, old_syntax("12:30:45", "123045")},
    {"TM", "12.30.45", "123045", 1, CHANGED, old_syntax("12.30.45", "123045")},
    {"TM", "12:30:45.5 ", "123045.5", 1, CHANGED, old_syntax("12:30:45.5 ", "123045.5 ")},
    {"TM", "12.30 ", "1230", 1, CHANGED, old_syntax("12.30 ", "1230")},
    {"TM", "12:30", "1230", 1, CHANGED, not_from_set(1, "12:30", DIGITS_OF_TIMES)}, {"TM", "12", "12", 1, 0},
    {"TM", " 10\\11", "10\\11 ", 1, 0},

    {"IS", " 12\\-3 ", "12\\-3 ", 1, 0},
    {"IS", "\\1.5e3\\+0.9\\-0.9\\x.", "0\\1500\\0\\0\\0", 1, 0,
         converted("\\1.5e3\\+0.9\\-0.9\\x.", "0\\1500\\0\\0\\0")},
    {"IS", "2147483647.9\\2147483648.", "2147483647\\-2147483648", 1, 0,
         converted("2147483647.9\\2147483648.", "2147483647\\-2147483648")},
    {"IS", "1.e999\\nan.\\-1.e99", "-2147483648\\-2147483648\\-2147483648 ", 1, 0,
         converted("1.e999\\nan.\\-1.e99", "-2147483648\\-2147483648\\-2147483648")},
    {"IS", "2147483648", "2147483648", 1, 0}, {"IS", "-2147483648 ", "-2147483648 ", 1, 0},
    {"IS", "2999999999", "2999999999", 1, 0},
    {"IS", "1\\-3000000000", GONE, 0, INVALID, out_of_range("3000000000")},
    {"IS", "3000000000", GONE, 0, INVALID, out_of_range("3000000000")},
    {"IS", "+1234567890\\4000000000", GONE, 0, INVALID, out_of_range("+1234567890")},
    {"IS", "1234567890123", GONE, 0, INVALID, out_of_range("1234567890123")},
    {"IS", "1 2 3 4 5 6 7", "1 2 3 4 5 6 ", 1, CHANGED, too_long(13, 12, "1 2 3 4 5 6 ", "7")},
    {"IS", "x12y", "12", 1, CHANGED, not_from_set(2, "x12y", "0123456789+- \\")},
};

TEST(Cleanup, MakesOfAValueWhatItsRuleSays)
{
    for (const Case &wanted : CASES) {
        Value value(wanted.vr, wanted.value, wanted.group);
        SCOPED_TRACE(value.name());
        Reports said;
        EXPECT_EQ(DICOM_Attribute_Cleanup_Tag(nullptr, &value.tag), wanted.result);
        EXPECT_EQ(readable(value.bytes()), readable(wanted.cleaned));
        EXPECT_EQ(value.tag.flag, ORIGIN_DICOM | wanted.flag);
        EXPECT_EQ(said_of(said, value.tag), wanted.said);
        EXPECT_TRUE(value.fits_its_block());
    }
}

TEST(CleanupOfNumbers, AsksForWholeUnits)
{
    struct { const char *vr; int unit; const char *expected; } rows[] = {
        {"AT", 4, "multiple 2*\"Unigned Short\""}, {"FD", 8, "\"Floation Point Double\""},
        {"FL", 4, "\"Floation Point\""}, {"OF", 4, "\"Other Float\""}, {"OW", 2, "\"Other Word\""},
        {"SL", 4, "\"Signed Long\""}, {"UL", 4, "\"Signed Long\""}, {"SS", 2, "\"Signed Short\""},
        {"US", 2, "\"Unsigned Short\""},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.vr);
        Reports said;
        Value whole(row.vr, of(3 * row.unit, '\0'));
        EXPECT_EQ(DICOM_Attribute_Cleanup_Tag(nullptr, &whole.tag), 1);
        EXPECT_EQ(whole.bytes(), of(3 * row.unit, '\0'));
        EXPECT_EQ(said_of(said, whole.tag), "");

        Value odd(row.vr, of(3 * row.unit + 1, 'x'));
        EXPECT_EQ(DICOM_Attribute_Cleanup_Tag(nullptr, &odd.tag), 0);
        EXPECT_TRUE(odd.tag.data == nullptr && odd.tag.size == 0);
        EXPECT_EQ(odd.tag.flag, ORIGIN_DICOM | FLAG_INVALID);
        EXPECT_EQ(said_of(said, odd.tag), bad_length(row.expected, 3 * row.unit + 1));
    }
    for (const char *vr : {"OB", "SQ", "UN"}) {
        Value any(vr, "odd");
        EXPECT_EQ(DICOM_Attribute_Cleanup_Tag(nullptr, &any.tag), 1) << vr;
        EXPECT_EQ(any.bytes(), "odd") << vr;
    }
}
