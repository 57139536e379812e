// velmora check: what it finds, where, and how it tells it.
#include <gtest/gtest.h>
#include <algorithm>

#include "tests/host_runs.h"
#include "tests/support/bytes.h"

static Outcome check(std::vector<std::string> arguments, const std::string &folder)
{
    arguments.insert(arguments.begin(), "check");
    return velmora(arguments, "", folder);
}

static const Bytes CLEAN = element({0x0008, 0x0060}, "CS", "CT") + element({0x0010, 0x0010}, "PN", "Doe^Jane");

// A data set that begins with two good elements of 28 bytes in all.
static std::string found_in(const Bytes &rest, int syntax = SYNTAX_EXPLICIT)
{
    Folder folder;
    Bytes start = element({0x0008, 0x0060}, "CS", "CT", syntax) + element({0x0008, 0x0070}, "LO", "Maker ", syntax);
    folder.write("a", start + rest);
    Outcome run = check({"--verbose", "a"}, folder.path);
    EXPECT_EQ(run.err, "");
    EXPECT_EQ(run.status, run.out == "1 file: 1 clean\n" ? 0 : 1);
    std::string text;
    for (size_t at = 0, end; (end = run.out.find('\n', at)) != std::string::npos; at = end + 1)
        if (run.out.compare(at, 7, "1 file:") != 0)
            text += run.out.substr(at, end + 1 - at);
    return text;
}

TEST(Check, FindsWhatIsWrongWithAValue)
{
    // clang-format off
    const struct { Tag tag; const char *vr; Bytes value; const char *found; } rows[] = {
        {{0x0010, 0x0010}, "PN", "Doe^Jane", ""},
        {{0x0010, 0x0020}, "LO", Bytes("A1\0\0", 4), "at 24: 0010,0020 LO Patient ID: remark: invalid padding char "
                                                     "used in \"A1\" (NULL instead of SPACE)\n"},
        {{0x0010, 0x0030}, "DA", "1999.12.31", "at 24: 0010,0030 DA Patient's Birth Date: remark: Old syntax! "
                                               "1999.12.31 should be changed to 19991231\n"},
        {{0x0010, 0x0032}, "TM", "12:30:45", "at 24: 0010,0032 TM Patient's Birth Time: remark: Old syntax! 12:30:45 "
                                             "should be changed to 123045\n"},
        {{0x0010, 0x0040}, "CS", "m ", "at 24: 0010,0040 CS Patient's Sex: remark: 1 char in \"m\" not from set "
                                       "\"ABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_ \\\"\n"},
        {{0x0010, 0x1010}, "AS", "12", "at 24: 0010,1010 AS Patient's Age: warning: Invalid data! Expecting 4 bytes "
                                       "but got 2 bytes\n"},
        {{0x0010, 0x0020}, "LO", "one\\two ", "at 24: 0010,0020 LO Patient ID: warning: Invalid number of values in "
                                              "data!, Expecting VN=1 but got 2 values\n"},
        {{0x0020, 0x0013}, "IS", "3000000000", "at 24: 0020,0013 IS Instance Number: warning: Value out of range "
                                               "(3000000000 \\vs\\ -2**31 to 2**31 - 1)\n"},
        {{0x0028, 0x0010}, "US", "abcd", "at 24: 0028,0010 US Rows: warning: Invalid number of values in data!, "
                                         "Expecting VN=1 but got 2 values\n"},
        {{0x0010, 0x0020}, "LO", "\033[2J\xE4\\", "at 24: 0010,0020 LO Patient ID: remark: last char is (=\\)!\n"
                                                 "a: at 24: 0010,0020 LO Patient ID: warning: Invalid number of "
                                                 "values in data!, Expecting VN=1 but got 2 values\n"},
        {{0x0040, 0x0241}, "AE", "A\033[2JE\xE4 ", "at 24: 0040,0241 AE Performed Station AE Title: remark: 2 Invalid character in data\n"},
        {{0x0008, 0x1030}, "LO", "x\033[2J\xE4" + Bytes(64, 'y'), "at 24: 0008,1030 LO Study Description: warning: String too "
                                                 "long! (70/vs/64 max) Truncated to \"x\\x1b[2J\\xe4yyyyyyyyyyyyyyyyyyyyyyyyyyyyyyyyyyyyyyyyyyyyyyyyyyyyyyyyyy\"(yyyyyy)\n"},
        {{0x0032, 0x4000}, "LT", "note", "at 24: 0032,4000 LT Study Comments: remark: Retired from DICOM (Study "
                                         "Comments)\n"},
        {{0x0010, 0x0040}, "LO", "M ", "at 24: 0010,0040 LO Patient's Sex: remark: Explicit VR (=LO) does not match "
                                       "definition! (=CS)\n"},
        // A UN is what its attribute is by definition; that it is a UN is no fault.
        {{0x0010, 0x0030}, "UN", "20200102", ""}, {{0x0020, 0x0032}, "UN", "1\\2\\3 ", ""},
        {{0x0020, 0x0032}, "UN", "1\\2 ", "at 24: 0020,0032 DS Image Position (Patient): warning: Invalid number of "
                                          "values in data!, Expecting VN=3 but got 2 values\n"},
        {{0x0011, 0x1001}, "UN", "anything", ""},
        // Values that the library leaves in the source.
        {{0x0020, 0x4000}, "LT", Bytes(2000, 'x'), ""}, {{0x0020, 0x1041}, "DS", Bytes(2000, '1'), nullptr},
        {{0x0010, 0x2154}, "SH", Bytes(1500, '\\'), "at 24: 0010,2154 SH Patient's Telephone Numbers: remark: last "
                                                    "char is (=\\)!\n"},
        {{0x7FE0, 0x0010}, "OW", Bytes(4000, 'x'), ""},
    };
    // clang-format on
    for (const auto &row : rows) {
        SCOPED_TRACE(std::string(row.vr) + " " + row.value.substr(0, 40));
        std::string found = found_in(element(row.tag, row.vr, row.value));
        if (row.found != nullptr)
            EXPECT_EQ(found, row.found[0] == '\0' ? "" : std::string("a: ") + row.found);
        else
            EXPECT_NE(found.find("String too long! (2000/vs/16 max)"), std::string::npos);
    }
}

TEST(Check, SaysWhereInASequence)
{
    Bytes bad = element({0x0008, 0x1150}, "UI", "1.2 ");
    Bytes inner =
        sequence({0x0008, 0x1140}, BY_DELIMITER, {item({bad}), item({element({0x0008, 0x1150}, "UI", "1.22"), bad})});
    Bytes around =
        sequence({0x0040, 0x0275}, BY_LENGTH, {item({}), item({inner, element({0x0032, 0x4000}, "LT", "note")})});
    EXPECT_EQ(
        found_in(around),
        "a: at 72: 0040,0275[2]/0008,1140[1]/0008,1150 UI Referenced SOP Class UID: remark: invalid padding char "
        "used in \"1.2 \" (SPACE instead of NULL)\n"
        "a: at 104: 0040,0275[2]/0008,1140[2]/0008,1150 UI Referenced SOP Class UID: remark: invalid padding char "
        "used in \"1.2 \" (SPACE instead of NULL)\n"
        "a: at 124: 0040,0275[2]/0032,4000 LT Study Comments: remark: Retired from DICOM (Study Comments)\n");
}

static Bytes nested(int levels, const Bytes &innermost, Ending ending)
{
    Bytes bytes = innermost;
    for (int i = 0; i < levels; i++)
        bytes = sequence({0x0008, 0x1140}, ending, {item({bytes}, ending)});
    return bytes;
}

TEST(Check, OpensWhatIsBelowTheNinthLevel)
{
    for (int levels : {9, 10, 18, 19, 25, 99})
        for (Ending ending : {BY_LENGTH, BY_DELIMITER}) {
            std::string path, found = found_in(nested(levels, element({0x0010, 0x1010}, "AS", "12"), ending));
            for (int i = 0; i < levels; i++)
                path += "0008,1140[1]/";
            EXPECT_EQ(found, "a: at " + std::to_string(24 + 20 * levels) + ": " + path +
                "0010,1010 AS Patient's Age: warning: Invalid data! Expecting 4 bytes but got 2 bytes\n") << levels;
        }
    std::string deep = found_in(nested(130, element({0x0010, 0x1010}, "AS", "12"), BY_DELIMITER));
    EXPECT_NE(deep.find(": remark: what is deeper than 100 levels of sequences is not judged\n"), std::string::npos);
    EXPECT_EQ(deep.find("AS"), std::string::npos);
}

TEST(Check, FindsWhatIsWrongWithTheStream)
{
    const struct { Bytes rest; const char *found; } rows[] = {
        {element({0x0010, 0x0010}, "PN", "Doe") + element({0x0010, 0x0020}, "LO", "A1"),
         "at 24: 0010,0010 PN Patient's Name: warning: tag lenght is odd in tag (0010,0010)\n"},
        {element({0x0010, 0x0020}, "LO", "A1") + element({0x0010, 0x0010}, "PN", "Doe "),
         "at 34: 0010,0010 PN Patient's Name: warning: tags should be sorted!\n"},
        {sequence({0x0040, 0x0275}, BY_DELIMITER, {item({element({0x0040, 0x0009}, "SH", "A1")}, BY_DELIMITER)})
             .substr(0,                                                                                                                                                                                                           30),
         "at 54: 0040,0275[1]/0040,0009 -- Scheduled Procedure Step ID: warning: the data ends inside a sequence, 1 "
         "deep\n"},
        {element({0x0010, 0x0010}, "XX", "Doe ") + element({0x0010, 0x0020}, "UC", "A1") +
             element({0x0010, 0x0030}, "\xFF ", "20200102"),
         "at 24: 0010,0010 PN Patient's Name: warning: these bytes are no VR: 'XX'\n"
         "a: at 50: 0010,0030 DA Patient's Birth Date: warning: these bytes are no VR: '\\xff '\n"},
    };
    for (const auto &row : rows)
        EXPECT_EQ(found_in(row.rest), std::string("a: ") + row.found);
}

// ---- character sets -------------------------------------------------------------------

TEST(Check, CountsCharactersWhereTheyHaveSeveralBytes)
{
    auto of = [](const char *charset, const Bytes &text) {
        Folder folder;
        Bytes even = text + Bytes(text.size() % 2, ' ');
        folder.write("a", element({0x0008, 0x0005}, "CS", charset) + element({0x0008, 0x1030}, "LO", even));
        return check({"--verbose", "a"}, folder.path).out;
    };
    Bytes forty, long_name(65, 'x');
    for (int i = 0; i < 40; i++)
        forty += "\xC3\xA4";   // 40 characters, 80 bytes of UTF-8
    EXPECT_EQ(of("ISO_IR 192", forty), "1 file: 1 clean\n");
    EXPECT_NE(of("ISO_IR 100", forty), "1 file: 1 clean\n");
    EXPECT_NE(of("ISO_IR 192", forty + forty), "1 file: 1 clean\n");
    EXPECT_NE(of("ISO_IR 192", "\xC3\xA4\\" + long_name), "1 file: 1 clean\n");
    // The second byte of a character of GB 18030 may be that of a backslash.
    EXPECT_EQ(of("GB18030 ", "\x81\\\x81\\x"), "1 file: 1 clean\n");
    EXPECT_NE(of("GB18030 ", "\x81\\\\x"), "1 file: 1 clean\n");
}

TEST(Check, JudgesEveryEncoding)
{
    EXPECT_EQ(found_in(element({0x0010, 0x1010}, "AS", "12", SYNTAX_IMPLICIT), SYNTAX_IMPLICIT),
              "a: at 24: 0010,1010 AS Patient's Age: warning: Invalid data! Expecting 4 bytes but got 2 bytes\n");
    const int big = SYNTAX_EXPLICIT | SYNTAX_BIG_ENDIAN;
    EXPECT_EQ(found_in(element({0x0028, 0x0010}, "US", number_16(512, big), big) +
                           element({0x0028, 0x0011}, "US", "abcd", big) +
                           element({0x0028, 0x3006}, "OW", Bytes(3000, 'x'), big),
                       big),
              "a: at 34: 0028,0011 US Columns: warning: Invalid number of values in data!, Expecting VN=1 but got 2 "
              "values\n");
}

// ---- how it is told -------------------------------------------------------------------

static const Bytes TWO_AGES = element({0x0010, 0x1010}, "AS", "12");

TEST(Check, WritesALineOfJsonForEachFinding)
{
    Folder folder;
    folder.write("good", CLEAN);
    folder.write("b\"d\xFF", CLEAN + sequence({0x0010, 0x1100}, BY_LENGTH, {item({TWO_AGES})}) +
                                 element({0x0032, 0x4000}, "LT", "note"));
    folder.write("no\nte", "a text");
    Outcome run = check({"--format", "jsonl", "good", "b\"d\xFF", "no\nte"}, folder.path);
    EXPECT_EQ(
        run.out,
        "{\"file\":\"b\\\"d\\\\xff\",\"offset\":46,\"path\":\"0010,1100[1]\",\"tag\":\"0010,1010\",\"vr\":\"AS\","
        "\"name\":\"Patient's Age\",\"level\":\"warning\",\"kind\":\"size\",\"text\":\"Invalid data! Expecting 4 "
        "bytes but got 2 bytes\"}\n"
        "{\"file\":\"b\\\"d\\\\xff\",\"offset\":56,\"path\":\"\",\"tag\":\"0032,4000\",\"vr\":\"LT\",\"name\":\"Study "
        "Comments\",\"level\":\"remark\",\"kind\":\"retired\",\"text\":\"Retired from DICOM (Study Comments)\"}\n"
        "{\"file\":\"no\\nte\",\"level\":\"error\",\"kind\":\"unreadable\",\"text\":\"is not a DICOM or ACR-NEMA data "
        "set, but a text\"}\n");
    EXPECT_EQ(run.err, "velmora: no\\nte: is not a DICOM or ACR-NEMA data set, but a text\n"
                       "velmora: 1 of 3 files failed\n");
    EXPECT_EQ(run.status, 3);
}

TEST(Check, TellsByItsStatus)
{
    Folder folder;
    folder.write("good", CLEAN);
    folder.write("bad", CLEAN + TWO_AGES);
    folder.write("old", CLEAN + element({0x0032, 0x4000}, "LT", "note"));
    folder.write("false", element({0x0010, 0x0020}, "LO", "\x02 Retired from DICOM" + Bytes(64, 'x')));
    ASSERT_EQ(system(("mkdir " + folder.path + "/top; cp " + folder.path + "/good " + folder.path + "/top").c_str()),
              0);
    folder.write("top/note.txt", "a text");
    // clang-format off
    const struct { std::vector<std::string> arguments; int status; const char *summary; } rows[] = {
        {{"good"}, 0, "1 file: 1 clean\n"},
        {{"bad"}, 1, "1 file: 1 with findings (1 warning, 0 remarks)\n"},
        {{"good", "bad", "old"}, 1, "3 files: 2 with findings (1 warning, 1 remark), 1 clean\n"},
        {{"none", "bad"}, 3, "2 files: 1 with findings (1 warning, 0 remarks), 1 failed\n"},
        {{"top"}, 0, "1 file: 1 clean\n"},
        {{"--ignore", "retired", "old", "bad"}, 1, "2 files: 1 with findings (1 warning, 0 remarks), 1 clean\n"},
        {{"--ignore", "retired", "false"}, 1, "1 file: 1 with findings (1 warning, 0 remarks)\n"},
        {{"--ignore", "retired", "--ignore", "size", "old", "bad"}, 0, "2 files: 2 clean\n"},
        {{"--quiet", "good"}, 0, ""}, {{"--quiet", "bad", "old"}, 1, ""}, {{"--quiet", "bad", "none"}, 3, ""},
        {{"--ignore", "everything", "bad"}, 2, ""}, {{"--format", "xml", "bad"}, 2, ""}, {{}, 2, ""},
    };
    // clang-format on
    for (const auto &row : rows) {
        SCOPED_TRACE(row.arguments.empty() ? "" : row.arguments[0]);
        Outcome run = check(row.arguments, folder.path);
        EXPECT_EQ(run.status, row.status);
        size_t last = run.out.size() < 2 ? std::string::npos : run.out.rfind('\n', run.out.size() - 2);
        EXPECT_EQ(last == std::string::npos ? run.out : run.out.substr(last + 1), row.summary);
    }
}

TEST(Check, CountsWhatRepeats)
{
    Folder folder;
    std::vector<Bytes> items(6, item({TWO_AGES}));
    for (int i = 0; i < 7; i++)
        folder.write(std::to_string(i), CLEAN + TWO_AGES + sequence({0x0010, 0x1100}, BY_LENGTH, items));
    std::vector<std::string> files = {"0", "1", "2", "3", "4", "5", "6"};
    const std::string text = " AS Patient's Age: warning: Invalid data! Expecting 4 bytes but got 2 bytes\n";
    std::string expected;
    for (int i = 0; i < 5; i++) {
        std::string file = std::to_string(i) + ": ";
        expected += file + "at 26: 0010,1010" + text + file + "at 56: 0010,1100[1]/0010,1010" + text + file +
                    "at 74: 0010,1100[2]/0010,1010" + text + file + "4 more: 0010,1010" + text;
    }
    expected += "2 files more: 0010,1010" + text + "7 files: 7 with findings (49 warnings, 0 remarks)\n";
    for (const char *jobs : {"1", "3"}) {
        std::vector<std::string> arguments = {"--jobs", jobs};
        arguments.insert(arguments.end(), files.begin(), files.end());
        EXPECT_EQ(check(arguments, folder.path).out, expected) << jobs;
        arguments.push_back("--verbose");
        std::string all = check(arguments, folder.path).out;
        EXPECT_EQ(std::count(all.begin(), all.end(), '\n'), 50) << jobs;
    }
}

TEST(Check, TellsOfAThousandKindsInAFile)
{
    Folder folder;
    Bytes bytes = CLEAN;
    for (int i = 0; i < 1100; i++)
        bytes += element({0x0011, static_cast<unsigned short>(0x1000 + i)}, "AS", "12");
    folder.write("a", bytes);
    std::string out = check({"a"}, folder.path).out;
    EXPECT_EQ(std::count(out.begin(), out.end(), '\n'), 1002);
    EXPECT_NE(out.find("\na: 100 findings more; --verbose tells each\n1 file: 1 with findings (1100 warnings, 0 "
                       "remarks)\n"), std::string::npos);
}
