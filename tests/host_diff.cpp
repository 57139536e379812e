// Whole runs of velmora diff.
#include <gtest/gtest.h>

#include "tests/host_runs.h"
#include "tests/host_saved.h"

using namespace velmora_host;

static Bytes body(const Bytes &id, const Bytes &code, int syntax = SYNTAX_EXPLICIT)
{
    Bytes inner = item({element({0x0008, 0x0104}, "LO", code, syntax)}, BY_DELIMITER, syntax);
    return element({0x0008, 0x0060}, "CS", "CT", syntax) +
           sequence({0x0008, 0x1140}, BY_DELIMITER, {inner, inner}, syntax) +
           element({0x0010, 0x0020}, "LO", id, syntax) +
           element({0x0020, 0x9157}, "UL", in_order("1234", 4, syntax), syntax) +
           element({0x5400, 0x1010}, "OW", in_order(Bytes(70001, 'p') + "q", 2, syntax), syntax);
}

static Outcome diff(const Bytes &a, const Bytes &b, std::vector<std::string> options = {})
{
    Folder folder;
    folder.write("a", a);
    folder.write("b", b);
    options.insert(options.begin(), "diff");
    options.insert(options.end(), {"a", "b"});
    return velmora(options, "", folder.path);
}

TEST(HostDiff, FindsNoDifferenceInWhatWasConverted)
{
    for (int from : {0, 8, 9}) {
        for (int to : {0, 8, 9}) {
            Outcome run = diff(body("1234", "code", from), body("1234", "code", to));
            EXPECT_EQ(run.status, 0) << from << " " << to << "\n" << run.out;
            EXPECT_EQ(run.out, "");
        }
    }
}

TEST(HostDiff, TellsWhatDiffersByPath)
{
    Bytes a = body("1234", "code") + element({0x7FF0, 0x0010}, "LO", "only"), b = body("5678", "Code");
    Outcome run = diff(a, b);
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.out, "--- a\n+++ b\n"
                       "- 0008,1140[1]/0008,0104 LO Code Meaning: 'code'\n"
                       "+ 0008,1140[1]/0008,0104 LO Code Meaning: 'Code'\n"
                       "- 0008,1140[2]/0008,0104 LO Code Meaning: 'code'\n"
                       "+ 0008,1140[2]/0008,0104 LO Code Meaning: 'Code'\n"
                       "- 0010,0020 LO Patient ID: '1234'\n"
                       "+ 0010,0020 LO Patient ID: '5678'\n"
                       "- 7ff0,0010 LO: 'only'\n");
    EXPECT_EQ(diff(a, b, {"--ignore", "CodeMeaning", "--ignore", "7ff0,*", "--ignore", "0010,0020"}).status, 0);
    EXPECT_EQ(diff(a, b, {"-q"}).out, "");
    run = diff(body("1234", "code"), body("12  ", "code"), {"--format", "jsonl"});
    EXPECT_EQ(run.out, "{\"path\":\"0010,0020\",\"tag\":\"0010,0020\",\"change\":\"changed\","
                       "\"a\":{\"vr\":\"LO\",\"value\":\"'1234'\"},\"b\":{\"vr\":\"LO\",\"value\":\"'12'\"},"
                       "\"differs_at\":2}\n");
    // Of values that begin the same.
    Bytes text = element({0x0010, 0x4000}, "LT", Bytes(300, 't')), other = text;
    other[other.size() - 100] = 'T';
    run = diff(body("1", "code") + text, body("1", "code") + other);
    EXPECT_NE(run.out.find("ttt...', from byte 200 on\n+ "), std::string::npos) << run.out;
}

TEST(HostDiff, TakesPaddingAndVRsIntoAccountAsAsked)
{
    EXPECT_EQ(diff(body("12", "code"), body("12  ", "code")).status, 0);
    EXPECT_EQ(diff(body("12", "code"), body("12  ", "code"), {"--exact"}).status, 1);
    Bytes first = element({0x0008, 0x0060}, "CS", "CT"), secret = element({0x0029, 0x1001}, "LO", "ID ");
    // Implicit VR does not tell what a private attribute is; its padding is none that counts all the same.
    Bytes implicit = element({0x0008, 0x0060}, "CS", "CT", 0) + element({0x0029, 0x1001}, "", "ID", 0);
    EXPECT_EQ(diff(first + secret, implicit).out, "");
    EXPECT_EQ(diff(first + element({0x0010, 0x0020}, "LO", "ID"), first + element({0x0010, 0x0020}, "SH", "ID")).status,
              1);
    EXPECT_EQ(diff(first, "no data set").status, 3);
}

// Below a hundred levels no sequence is opened, and so none passes for the same unseen.
TEST(HostDiff, ComparesAtAnyDepth)
{
    for (int depth : {1, 9, 10, 25, 99, 100, 101, 109, 120}) {
        Bytes a = element({0x0008, 0x0104}, "LO", "one "), b = element({0x0008, 0x0104}, "LO", "two ");
        for (Bytes *bytes : {&a, &b}) {
            for (int i = 0; i < depth; i++)
                *bytes = sequence({0x0040, 0xA730}, BY_DELIMITER, {item({*bytes}, BY_DELIMITER)});
            *bytes = element({0x0008, 0x0060}, "CS", "SR") + *bytes;
        }
        Outcome run = diff(a, b);
        EXPECT_EQ(run.status, 1) << depth;
        EXPECT_EQ(run.err.find("is compared as it stands") != std::string::npos, depth > 100) << depth;
        EXPECT_EQ(run.out.find("'two'") != std::string::npos, depth <= 100) << depth;
        EXPECT_EQ(diff(a, a).status, 0) << depth;
        Bytes none = sequence({0x0040, 0xA730}, BY_DELIMITER, {}), one = a.substr(10);   // the innermost without items
        for (int i = 0; i < depth; i++)
            none = sequence({0x0040, 0xA730}, BY_DELIMITER, {item({none}, BY_DELIMITER)});
        one = sequence({0x0040, 0xA730}, BY_DELIMITER, {item({one}, BY_DELIMITER)});
        EXPECT_EQ(diff(a.substr(0, 10) + one, a.substr(0, 10) + none).status, 1) << depth;
    }
}

// JSON is UTF-8 whatever the terminal is; and what cannot be decoded is said of the file that has it.
TEST(HostDiff, TellsOfTextsInTheirCharacterSets)
{
    Folder folder;
    Bytes latin = element({0x0008, 0x0005}, "CS", "ISO_IR 100"), plain = element({0x0008, 0x0060}, "CS", "CT");
    folder.write("a", latin + element({0x0010, 0x0010}, "PN", "M\xFCller"));
    folder.write("b", plain + element({0x0010, 0x0010}, "PN", "M\xFCll"));
    std::string make = "localedef -i de_DE -f ISO-8859-1 --no-archive " + folder.path + "/de_DE >/dev/null 2>&1";
    // Without localedef, or where the program is of another byte order than it, the terminal is one of UTF-8, too.
    bool is_made = system(make.c_str()) == 0;
    for (bool as_json : {false, true}) {
        Outcome run = run_program("/usr/bin/env",
                                  {"LOCPATH=" + folder.path, "LC_ALL=de_DE",
                                   "ASAN_OPTIONS=detect_leaks=0",   // the C library keeps what it makes of LOCPATH
                                   VELMORA_PROGRAM, "diff", "--format", as_json ? "jsonl" : "lines", "a", "b"},
                                  "", folder.path);
        EXPECT_EQ(run.status, 1);
        bool is_utf_8 = run.out.find(as_json ? "\"'M\xC3\xBCller'\"" : "'M\xC3\xBCller'") != std::string::npos;
        bool is_latin = !as_json && is_made && run.out.find("'M\xFCller'") != std::string::npos;
        EXPECT_TRUE(is_utf_8 || is_latin) << run.out;
        EXPECT_EQ(run.err, "velmora: b: (0010,0010) what is no character of its set is shown as U+FFFD (1 times)\n");
    }
    EXPECT_EQ(velmora({"diff", "-", "-"}).err,
              "velmora: diff: only one of the two can come from standard input; see velmora diff --help\n");
}
