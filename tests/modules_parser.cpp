// Attribute files: lines into flat lists of nodes.
#include <gtest/gtest.h>

#include "tests/modules_folder.h"

TEST(AttributeLine, BecomesANode)
{
    struct { const char *line, *node; } cases[] = {
        {"(0008,0060) type=1 \"OT\"", "0008,0060 CS 1  0004 2 [OT]"},
        {"(0008,0070) type=2 ; a comment", "0008,0070 LO 2  0004 0"},
        {"(0018,0015) type=3 \"SKULL\"", "0018,0015 CS 3  0004 6 [SKULL ]"},
        {"(0008,0016) type=1 \"1.2.840.10008.5.1.4.1.1.7\"",
         "0008,0016 UI 1  0004 26 [1.2.840.10008.5.1.4.1.1.7\\x00]"},
        {"!(0008,0064) type=1 \"WSD\"", "0008,0064 CS 1  1004 4 [WSD ]"},
        {"=(0028,0002) type=1 \"1\"", "0028,0002 US 1  2004 2 [\\x01\\x00]"},
        {"-(0010,1040)", "0010,1040 LO 3  0204 0"}, {"+(0008,0008) \"DERIVED\"", "0008,0008 CS 3  8004 8 [DERIVED ]"},
        {"(0029,1010) VR=LO \"Note\" desc=\"Site remark\"", "0029,1010 LO 3  0004 4 [Note] (Site remark)"},
        {"(7FE0,0010) type=1 VR=OB\\OW", "7fe0,0010 OB 1  0004 0"},
        {"  ! =\t- + ( 10,10) type=1C VN=1-n", "0010,0010 PN 1C b204 0"},
        {"(fffE,E00d)type=2C", "fffe,e00d Ia 2C 0004 0"},
        {"(0010,0010) \"first\" type=1 type=2 \"last\" desc=a desc=", "0010,0010 PN 2  0004 4 [last]"},
        {"(0010,0010) \"A;B\"", "0010,0010 PN 3  0004 2 [A ]"}, {"(0010,0010) \"\"", "0010,0010 PN 3  0004 0"},
        {"(0029,1010)", "0029,1010 -- 3  0004 0"}, {"(0018,1240)", "0018,1240 RT 3  0004 0"}, {"", ""},
        {"   ; only a comment", ""},
    };
    for (const auto &each : cases) {
        Reports said;
        Parsed parsed(std::string(each.line) + "\n(0020,0020)");
        EXPECT_EQ(parsed.list != nullptr ? line_of(parsed.list) : "", each.node) << each.line;
        EXPECT_EQ(said.warnings(), "") << each.line;
        EXPECT_EQ(parsed.result, 1) << each.line;
        EXPECT_TRUE(parsed.list == nullptr || parsed.list->next == nullptr) << each.line;
    }
}

TEST(AttributeLine, IsReportedWhenItIsFaulty)
{
    struct { const char *line; std::string detail, node; } cases[] = {
        {"PatientName", no_tag_in("PatientName"), ""}, {"+!(0010,0010)", no_tag_in("!(0010,0010)"), ""},
        {"! ! (0010,0010)", no_tag_in("! (0010,0010)"), ""}, {"!>>", no_tag_in(""), ""},
        {"(0010;0010)", no_tag_in("(0010"), ""}, {"(00100,010)", no_tag_in("(00100,010)"), ""},
        {"(0010,0010 type=1", no_tag_in("(0010,0010 type=1"), ""},
        {"(0008,0060) type=12C \"OT\"", "Syntax error\"type=xx\" (=\x01type=12C\x02)", "0008,0060 CS 3  0004 0"},
        {"(0008,0060) \"OT\" type= type=1", "Syntax error\"type=xx\" (=\x01type=\x02)", "0008,0060 CS 3  0004 2 [OT]"},
        {"(0010,0010) VR=P", "Syntax error\"VR=xx\" (=\x01VR=P\x02)", "0010,0010 PN 3  0004 0"},
        {"(0010,0010) VR=LO/PN", "Syntax error\"VR=xx\" (=\x01VR=LO/PN\x02)", "0010,0010 PN 3  0004 0"},
        {"(0010,0010) Type=1", "Syntax error (=\x01Type=1\x02)", "0010,0010 PN 3  0004 0"},
        {"(0009,1010) \"a b\"", "Problem with value (=\x01" "a b\x02)", "0009,1010 -- 3  0004 0"},
        {"(7fe0,0010) VR=OB \"1\"", "Problem with value (=\x01" "1\x02)", "7fe0,0010 OB 3  0004 0"},
    };
    for (const auto &each : cases) {
        Reports said;
        Parsed parsed(std::string("\n") + each.line + "\n");
        EXPECT_EQ(said.warnings(), about_line("a.txt", 2, each.detail)) << each.line;
        EXPECT_EQ(parsed.list != nullptr ? line_of(parsed.list) : "", each.node) << each.line;
        EXPECT_EQ(parsed.result, 1) << each.line;
    }
}

TEST(AttributeLine, HoldsToItsLimits)
{
    std::string longest(1023, 'x'), longer = longest + "x", numbers = "1\\1";
    for (int i = 0; i < 200; i++)
        numbers += " 1";
    struct { const char *what; std::string text, detail; size_t data, description; } cases[] = {
        {"the longest value", "\"" + longest + "\"", "", 1024, 0},
        {"a longer value", "\"" + longer + "\"", "Problem with value (=\x01" + longer + "\x02)", 0, 0},
        {"the longest description", "desc=\"" + longest + "\"", "", 0, 1023},
        {"a longer description", "desc=" + longer, "Problem with description (=\x01" + longer + "\x02)", 0, 0},
        {"too many numbers", "VR=FD \"" + numbers + "\"", "Problem with value (=\x01" + numbers + "\x02)", 0, 0},
    };
    for (const auto &each : cases) {
        Reports said;
        Parsed parsed("(0029,1010) VR=LO " + each.text + "\n");
        EXPECT_EQ(said.warnings(), each.detail.empty() ? "" : about_line("a.txt", 1, each.detail)) << each.what;
        EXPECT_EQ(parsed.list->size, static_cast<int>(each.data)) << each.what;
        const char *description = parsed.list->description != nullptr ? parsed.list->description : "";
        EXPECT_EQ(strlen(description), each.description) << each.what;
    }
}

TEST(Nesting, PutsItemAndDelimiterNodesWhereTheDepthChanges)
{
    struct { const char *what, *text, *tags; } cases[] = {
        {"two items and a macro",
         "(0008,1140) type=3\n>(0008,1150) type=1\n>(0008,1155) type=1\n>(FFFE,E00D)\n>(FFFE,E000)\n>Include \"A B\"\n"
         "(0008,2111) type=3\n",
         "0008,1140 item 0008,1150 0008,1155 /item item 0010,0010 0010,1002 item 0010,0020 /item /sequence /item "
         "/sequence 0008,2111"},
        {"closed by the end of the file", "(0008,1140)\n>(0008,1150)\n", "0008,1140 item 0008,1150 /item /sequence"},
        {"a sequence without an item", "(0008,1140)\n(0008,2111)\n", "0008,1140 /sequence 0008,2111"},
        {"one level at a time", "(0010,0010)\n>>(0008,0100)\n>>(0008,0102)\n",
         "0010,0010 item 0008,0100 item 0008,0102 /item /item"},
        {"a sequence in a sequence", "(0008,1140)\n>(0040,a170)\n>>(0008,0100)\n>(0008,1150)\n(0010,0010)\n",
         "0008,1140 item 0040,a170 item 0008,0100 /item /sequence 0008,1150 /item /sequence 0010,0010"},
        {"two levels closed at once", "(0008,1140)\n> >(0040,a170)\n>>>(0008,0100)\n(0010,0010)\n",
         "0008,1140 item 0040,a170 item 0008,0100 /item /sequence /item /sequence 0010,0010"},
        {"explicit delimiters", "(0008,1140)\n>(FFFE,E000)\n>(0008,1150)\n>(FFFE,E00D)\n>(FFFE,E0DD)\n(0010,0010)\n",
         "0008,1140 item 0008,1150 /item /sequence 0010,0010"},
        {"a macro on its own", "Include A B\n", "0010,0010 0010,1002 item 0010,0020 /item /sequence"},
        {"a macro deeper than the line before", "(0008,1140)\n>>include \x91" "A B\"\n",
         "0008,1140 item 0010,0010 0010,1002 item 0010,0020 /item /sequence /item /sequence"},
        {"a sequence delimiter that stands too high",
         "(0008,1140)\n>(0040,a170)\n>>(0008,0100)\n(FFFE,E0DD)\n(0010,0010)\n",
         "0008,1140 item 0040,a170 item 0008,0100 /item /item /sequence /sequence 0010,0010"},
        {"delimiters of nothing", "(FFFE,E0DD)\n(FFFE,E00D)\n>(FFFE,E0DD)\n(0010,0010)\n",
         "/sequence /item item /sequence 0010,0010"},
        {"an item of nothing", "(FFFE,E000)\n(FFFE,E000)\n(0010,0010)\n", "item /item item /item 0010,0010"},
    };
    Folder folder;
    folder.write("DICOM_Include_A_B.txt", "(0010,0010)\n(0010,1002) \n>(0010,0020)\n");
    for (const auto &each : cases) {
        Reports said;
        Parsed parsed(each.text);
        EXPECT_EQ(tags_of(parsed.list), each.tags) << each.what;
    }
}

TEST(File, IsAppendedToAListAndStopsAtAFormFeed)
{
    Parsed parsed("(0010,0010)\n(0010,0020)\f\n(0010,0030)\n");
    EXPECT_EQ(tags_of(parsed.list), "0010,0010");
    FILE *stream = tmpfile();
    fputs("skipped (0020,0020)\n(0020,0010)\n", stream);
    fseek(stream, 8, SEEK_SET);
    EXPECT_EQ(DICOM_Module_Read_File(nullptr, stream, "b.txt", &parsed.list), 1);
    fclose(stream);
    EXPECT_EQ(tags_of(parsed.list), "0010,0010 0020,0020 0020,0010");
    EXPECT_EQ(parsed.list->next->stream_word, 8);
    EXPECT_EQ(parsed.list->next->next->stream_word, 20);
}

TEST(Macro, IsReadOnceAndKept)
{
    Folder folder;
    std::string path = folder.write("DICOM_Include_Code_Macro.txt", "(0008,0100)\n(0008,0102)\n");
    char name[] = "Code Macro", same[] = "Code_Macro", other_case[] = "code macro";
    Reports said;
    DICOM_List *list = DICOM_Module_Include_Get(nullptr, name, "b.txt", 3);
    EXPECT_STREQ(name, "Code_Macro");
    EXPECT_EQ(tags_of(list), "0008,0100 0008,0102");
    std::filesystem::remove(path);
    EXPECT_EQ(DICOM_Module_Include_Get(nullptr, same, "b.txt", 4), list);
    EXPECT_EQ(DICOM_Module_Include_Get(nullptr, other_case, "b.txt", 5), nullptr);
    EXPECT_EQ(said.warnings(),
              about_line("b.txt", 5, "Unable to open included file:\x01\"DICOM_Include_code_macro.txt\"\x02"));
}

// Includes a macro that cannot be read, and gives the warnings and what was read beside it.
static std::string include_of(const std::string &name)
{
    Reports said;
    Parsed parsed("(0010,0010)\nInclude " + name + "\n(0010,0020)\n");
    EXPECT_EQ(parsed.result, 1);
    return said.warnings() + tags_of(parsed.list);
}

TEST(Macro, ThatCannotBeOpenedAddsNothing)
{
    auto unable = [](const std::string &file) {
        return about_line("a.txt", 2, "Unable to open included file:" + blue("\"" + file + "\"\x02")) +
               "0010,0010 0010,0020";
    };
    Folder folder;
    std::string longest(237, 'x'), longer = longest + "x";
    folder.write("DICOM_Include_" + longest + ".txt", "(0010,0015)\n");
    EXPECT_EQ(include_of("A"), unable("DICOM_Include_A.txt"));
    EXPECT_EQ(include_of("\"\""), unable("DICOM_Include_.txt"));
    EXPECT_EQ(include_of(longest), "0010,0010 0010,0015 0010,0020");
    EXPECT_EQ(include_of(longer), unable("DICOM_Include_" + longer + ".tx"));

    DICOM_Module_Setup(nullptr, (folder.path + std::string(2047, '/')).c_str());
    EXPECT_EQ(include_of("A"), unable("DICOM_Include_A.txt")) << "a path that does not fit";
    DICOM_Module_Setup(nullptr, "");
    std::string here = std::filesystem::current_path();
    std::filesystem::current_path(folder.path);
    folder.write("DICOM_Include_A.txt", "(0010,0015)\n");
    EXPECT_EQ(include_of("A"), unable("DICOM_Include_A.txt")) << "no directory";
    std::filesystem::current_path(here);
}

TEST(Macro, CannotIncludeItself)
{
    Folder folder;
    folder.write("DICOM_Include_Self.txt", "(0008,0100)\nInclude Self\n(0008,0102)\n");
    folder.write("DICOM_Include_One.txt", "(0008,1140)\n>Include Two\n(0008,2111)\n");
    folder.write("DICOM_Include_Two.txt", "(0008,1150)\nInclude One\n");
    Reports said;
    Parsed direct("Include Self\n"), through("Include One\nInclude Two\n");
    EXPECT_EQ(tags_of(direct.list), "0008,0100 0008,0102");
    EXPECT_EQ(tags_of(through.list), "0008,1140 item 0008,1150 /item /sequence 0008,2111 0008,1150");
    EXPECT_EQ(said.warnings(),
              about_line("DICOM_Include_Self.txt", 2, "Included file includes itself:\x01\"Self\"\x02") +
              about_line("DICOM_Include_Two.txt", 2, "Included file includes itself:\x01\"One\"\x02"));
}

TEST(Macro, NestsSoDeepAndNoDeeper)
{
    Folder folder;
    for (int i = 1; i <= 20; i++)
        folder.write("DICOM_Include_" + std::to_string(i) + ".txt",
                     "(0029,10" + std::to_string(10 + i) + ")\nInclude " + std::to_string(i + 1) + "\n");
    Reports said;
    Parsed parsed("Include 1\n");
    EXPECT_EQ(said.warnings(), about_line("DICOM_Include_16.txt", 2, "Included files too deep (max=\x01" "16\x02)"));
    EXPECT_EQ(tags_of(parsed.list).size(), 16 * 10 - 1u);
}

TEST(Macro, CannotFillTheMemory)
{
    Folder folder;
    folder.write("DICOM_Include_8.txt", "(0010,0010)\n");
    for (int i = 7; i > 0; i--) {
        std::string ten_times;
        for (int j = 0; j < 10; j++)
            ten_times += "Include " + std::to_string(i + 1) + "\n";
        folder.write("DICOM_Include_" + std::to_string(i) + ".txt", ten_times);
    }
    Reports said;
    Parsed parsed("Include 1\n(0010,0010)\n");
    EXPECT_EQ(parsed.result, 0);
    EXPECT_EQ(said.warnings(), about_line("DICOM_Include_3.txt", 4, "Too many attributes (max=\x01" "50000\x02)"));
}

TEST(Macro, HasATableOfSoManySlots)
{
    Folder folder;
    folder.write("DICOM_Include_.txt", "(0010,0010)\n");   // a nameless one takes a slot each time
    char name[] = "";
    for (int i = 0; i < 10239; i++)
        ASSERT_NE(DICOM_Module_Include_Get(nullptr, name, "a.txt", 1), nullptr) << i;
    for (int i = 0; i < 3; i++) {
        Reports said;
        EXPECT_EQ(DICOM_Module_Include_Get(nullptr, name, "a.txt", 1), nullptr);
        EXPECT_EQ(said.warnings(), warning("To many include in DICOM tables! (max=\x01" "10240\x02)"));
    }
    folder.forget();
    EXPECT_NE(DICOM_Module_Include_Get(nullptr, name, "a.txt", 1), nullptr);
}

static const char SAMPLE[] = "(0008,1140) type=3 desc=\"Refs\"\n>Include \"M\" ; twice\n>(FFFE,E00D)\n"
                             ">(FFFE,E000)\n!>(0028,0009) VR=AT \"40\\99\"\n=(0010,0010) type=1C \"A\"\n";

TEST(File, EndsWhenMemoryRunsOut)
{
    Folder folder;
    folder.write("DICOM_Include_M.txt", "(0008,1150)\n");
    refuse_each_allocation([&](int n) {
        Reports said;
        {
            Parsed parsed(SAMPLE);
            if (Refuse::happened())
                EXPECT_NE(said.failures(), "") << n;
            else
                EXPECT_EQ(parsed.result, 1);
        }
        folder.forget();
    });
    Reports said;
    Refuse refuse(1);
    Parsed parsed("(0010,0010) desc=x\n(0010,0020)\n");
    EXPECT_EQ(parsed.result, 0);
    EXPECT_EQ(parsed.list, nullptr);
    EXPECT_EQ(said.failures(), "line N of .\\NEMA_Read_IOD \nmemory error in strdup (var=tag.description)\n");
}
