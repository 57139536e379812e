// Coded entries: the row of a table that is most like a text.
#include <gtest/gtest.h>

#include "tests/modules_folder.h"
#include "tests/support/dimension.h"

// Looks a text up in a table: "scheme value meaning", or "none".
static std::string look_up(const std::string &text, const char *table)
{
    std::string str = text;
    Code_Seq code = {nullptr, nullptr, nullptr, str.data()};
    int found = DICOM_Macro_CodeSequence_Set(&code, table);
    EXPECT_EQ(DICOM_Macro_Code_Sequence_Get(), found ? &code : nullptr);
    EXPECT_EQ(str, text);
    std::string out = "none";
    if (found)
        out = std::string(code.coding_scheme) + " " + code.code_value + " " + code.code_meaning;
    else
        EXPECT_EQ(code.code_meaning, nullptr);
    DICOM_Lib_Free(&code.coding_scheme);
    DICOM_Lib_Free(&code.code_value);
    DICOM_Lib_Free(&code.code_meaning);
    DICOM_Macro_Code_Sequence_Reset();
    EXPECT_EQ(DICOM_Macro_Code_Sequence_Get(), nullptr);
    return out;
}

static std::string code_for(const std::string &rows, const std::string &text, const char *table = "codes.txt")
{
    Folder folder;
    folder.write("codes.txt", rows);
    return look_up(text, table);
}

TEST(Code, IsTheRowWithMostOfItsWordsInTheText)
{
    struct { const char *what, *rows, *text, *code; } cases[] = {
        {"two words", "S 1 Liver\nS 2 Liver Scan\n", "liver scan", "S 2 Liver Scan"},
        {"a head of a word", "S 1 Abdominal\n", "abdomen", "S 1 Abdominal"},
        {"too short a head", "S 1 Abdicated\n", "abdomen", "none"},
        {"three letters", "S 1 of Hip\n", "hip", "S 1 of Hip"},
        {"two letters at the start", "S 1 of\n", "of", "S 1 of"}, {"one letter never", "S 1 a\n", "a", "none"},
        {"inside a word", "S 1 ver\nS 2 livexx\n", "liver", "S 2 livexx"},
        {"no score inside a word is enough", "S 1 ver\n", "liver", "none"},
        {"the first place of a head counts", "S 1 ver\n", "liver ver", "none"},
        {"heads add up", "S 1 paxx\tpbxx^pcxx\n", "pa pb pc", "S 1 paxx\tpbxx^pcxx"},
        {"blanks of the table", "S  1   Liver ^ Spleen \r\n", "LIVER SPLEEN", "S 1   Liver ^ Spleen "},
        {"comments", "* 1 Liver\n#S 1 Liver\n;S 1 Liver\n", "liver", "none"},
        {"fewer than three fields", "\nLiver\nS Liver\nS Liver \n", "liver", "none"},
        {"no text", "S 1 Liver\n", "", "none"}, {"no line feed at the end", "S 1 Liver", "liver", "S 1 Liver"},
    };
    for (const auto &each : cases) {
        Reports said;
        EXPECT_EQ(code_for(each.rows, each.text), each.code) << each.what;
        std::string none = "Unable to find a match for " + blue(each.text) + "\x02 in table " + blue("codes.txt");
        EXPECT_EQ(said.warnings(), strcmp(each.code, "none") == 0 ? warning(none) : "") << each.what;
    }
}

TEST(Code, AsksForMoreOfALongerText)
{
    // Lengths 1 to 10 against the score that they ask for: a word of n characters at the start has 5 n + 10.
    struct { const char *text, *enough, *short_of; } cases[] = {
        {"ab", "ab", "b"}, {"abc", "abc", "ab"}, {"abcd", "abc", "ab"}, {"abcde", "abcd", "abc"},
        {"abcdef", "abcd", "abc"}, {"abcdefg", "abcde", "abcd"}, {"abcdefgh", "abcde", "abcd"},
        {"abcdefghi", "abcdef", "abcde"}, {"abcdefghij", "abcdef", "abcde"},
    };
    for (const auto &each : cases) {
        EXPECT_EQ(code_for(std::string("S 1 ") + each.enough + "\n", each.text), std::string("S 1 ") + each.enough);
        Reports said;
        EXPECT_EQ(code_for(std::string("S 1 ") + each.short_of + "\n", each.text), "none") << each.text;
    }
}

TEST(Code, IsTheFirstOfATie)
{
    Reports said;
    EXPECT_EQ(code_for("S 0 Liver\nS 1 Liver Spleen Scan\nS 2 Liver Scan\n", "liver scan"), "S 1 Liver Spleen Scan");
    EXPECT_EQ(said.warnings(),
              warning("Find to many matchs (\x01" "2\x02) for \x01liver scan\x02 in table \x01" "codes.txt") +
              "\t\t\t   We used: \x01" "1\x02 = \x01Liver Spleen Scan\n"
              "\t\t\t   And not:   \x01" "2\x02 = \x01Liver Scan\n");
    std::string rows;
    for (int i = 0; i < 150; i++)
        rows += "S " + std::to_string(i) + " Liver\n";
    EXPECT_EQ(code_for(rows, "liver"), "S 0 Liver") << "more than are listed";
}

TEST(Code, OfTechnetiumNeedsNoTable)
{
    for (const char *text : {"Tc-99m", "TC-99M", "tc-99m"})
        EXPECT_EQ(code_for("", text, "no table"), "99SDM C-163A8 TC-99m");
    Reports said;
    EXPECT_EQ(code_for("", "Tc-99", "no table"), "none");
    EXPECT_NE(said.warnings(), "");
}

TEST(Code, HoldsToItsLimits)
{
    std::string text(191, 'x'), word(79, 'x'), many = "S 1";
    for (int i = 0; i < 18; i++)
        many += " b";
    Reports said;
    EXPECT_EQ(code_for("S 1 xxxxxx\n", text), "S 1 xxxxxx");
    EXPECT_EQ(code_for("S 1 xxxxxx\n", text + "x"), "none");
    EXPECT_EQ(code_for("S 1 " + word + "\n", word), "S 1 " + word);
    EXPECT_EQ(code_for("S 1 " + word + "x\n", word), "none");
    EXPECT_EQ(code_for(many + " liver\n", "liver"), many + " liver") << "the nineteenth word";
    EXPECT_EQ(code_for(many + " b liver\n", "liver"), "none") << "the twentieth word";
    std::string long_row = "S 1 Liver " + std::string(169, '-') + "T 2 Spleen\n";   // 179 bytes, and a row of its own
    EXPECT_EQ(code_for(long_row, "spleen"), "T 2 Spleen");
}

TEST(Code, ReportsATableThatCannotBeOpened)
{
    Folder folder;
    std::string str = "liver", longest(271 - folder.path.size(), 't');
    Code_Seq code = {nullptr, nullptr, nullptr, str.data()};
    auto warnings = [&](const char *table) {
        Reports said;
        EXPECT_EQ(DICOM_Macro_CodeSequence_Set(&code, table), 0);
        return said.warnings();
    };
    const std::string unable = "Unable to open table \x01";
    EXPECT_EQ(warnings("none"), warning(unable + folder.path + "none"));
    EXPECT_EQ(warnings((longest + "t").c_str()), warning(unable + folder.path + longest));
    DICOM_Module_Setup(nullptr, "");
    EXPECT_EQ(warnings("/etc/passwd"), warning(unable + "/etc/passwd")) << "no directory";

    code.str = nullptr;
    EXPECT_EQ(DICOM_Macro_CodeSequence_Set(&code, "codes.txt"), 0);
    EXPECT_EQ(DICOM_Macro_CodeSequence_Set(nullptr, nullptr), 0);
}

TEST(Code, LeavesTheRecordWhenMemoryRunsOut)
{
    Folder folder;
    folder.write("codes.txt", "S 1 Liver\nS 2 Spleen\n");
    std::string failures;
    for (const char *text : {"liver", "Tc-99m"})
        refuse_each_allocation([&](int) {
            Reports said;
            std::string code = look_up(text, "codes.txt");
            EXPECT_EQ(code == "none", Refuse::happened());
            failures += said.failures();
        });
    const std::string here = "line N of .\\NEMA_Work_Macro \nmemory error in ";
    std::string expected;
    for (int rows : {1, 2}) {
        for (const char *column : {"coding_scheme", "code_value", "code_meaning"})
            expected += here + "realloc (var=" + column + ", " + dimension(rows, sizeof(char *)) + "\n";
        for (const char *field : {"coding_scheme", "code_value", "code_meaning"})
            expected += here + "strdup (var=" + field + "[nb_lines])\n";
    }
    for (const char *field : {"coding_scheme", "code_value", "code_meaning"})
        expected += here + "strdup (var=code->" + field + ")\n";
    EXPECT_EQ(failures, expected);
}
