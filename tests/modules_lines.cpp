// The definition directory and the lines of definition files.
#include <gtest/gtest.h>

#include "tests/modules_folder.h"

TEST(Directory, IsSetToldAndUnset)
{
    EXPECT_EQ(DICOM_Module_Setup(nullptr, nullptr), nullptr);
    EXPECT_STREQ(DICOM_Module_Setup(nullptr, "/one/"), "/one/");
    const char *now = DICOM_Module_Setup(nullptr, nullptr);
    EXPECT_STREQ(now, "/one/");
    EXPECT_STREQ(DICOM_Module_Setup(nullptr, now), "/one/") << "set to its own text";
    EXPECT_EQ(DICOM_Module_Setup(nullptr, ""), nullptr);

    DICOM_Module_Setup(nullptr, "/one/");
    Reports said;
    Refuse refuse(1);
    EXPECT_EQ(DICOM_Module_Setup(nullptr, "/two/"), nullptr);
    EXPECT_EQ(said.failures(), "line N of .\\NEMA_Read_IOD \nmemory error in strdup (var=DICOM_Module_Dir)\n");
    EXPECT_EQ(DICOM_Module_Setup(nullptr, nullptr), nullptr);
}

// Reads lines to the end of the text: "line|line|", and the line that ended it in brackets.
static std::string lines_of(const std::string &text, std::string *comments = nullptr)
{
    FILE *stream = fmemopen(const_cast<char *>(text.data()), text.size(), "rb");
    std::string out;
    char buffer[2048], *comment;
    int line = 1;
    while (DICOM_Module_Read_Line(nullptr, stream, line++, buffer, "a.txt", &comment)) {
        out += std::string(buffer) + "|";
        if (comments != nullptr && comment != nullptr)
            *comments += std::string(comment) + "|";
    }
    fclose(stream);
    return out + "[" + buffer + "]";
}

TEST(Line, IsReadByteByByte)
{
    struct { const char *what, *text, *lines; } cases[] = {
        {"line feeds", "a\nb\n", "a|b|[]"},                   {"carriage returns", "a\r\n\rb\r\n", "a|b|[]"},
        {"an empty line", "\n\na\n", "||a|[]"},               {"no line feed at the end", "a\nb", "a|[b]"},
        {"a form feed", "a\nb\fc\nd\n", "a|[b]"},             {"a tab", "a\t\"b\tc\"\n", "a \"b c\"|[]"},
        {"a curly apostrophe", "it\x92s\n", "it's|[]"},       {"a comment", "a ; b\nc\n", "a |c|[]"},
        {"quotes give no protection", "\"A;B\"\n", "\"A|[]"},
    };
    for (const auto &each : cases) {
        Reports said;
        EXPECT_EQ(lines_of(each.text), each.lines) << each.what;
        EXPECT_EQ(said.warnings(), "") << each.what;
    }
    std::string comments;
    lines_of("a ; b c\nno comment\n;\nd;e;f\n", &comments);
    EXPECT_EQ(comments, " b c||f|");
}

TEST(Line, KeepsWhatIsNotPrintableWithAWarning)
{
    Reports said;
    EXPECT_EQ(lines_of("\r\xE9 ;\x7F\n"), "\xE9 |[]");
    EXPECT_EQ(said.warnings(), "    \xF1\x05WARNING:\x02 reading file:\x01" "a.txt\x02 line:\x01" "1\x02\n"
                               "    \xF1\t\t\x02 Bad charact.\x01 0xe9\x02 (pos:1)\n"
                               "    \xF1\x05WARNING:\x02 reading file:\x01" "a.txt\x02 line:\x01" "1\x02\n"
                               "    \xF1\t\t\x02 Bad charact.\x01 0x7f\x02 (pos:4)\n");
    EXPECT_EQ(lines_of(std::string("a\0b\n", 4)), "a|[]") << "a zero byte ends the text without a word";
    EXPECT_EQ(said.all.size(), 4u);
}

TEST(Line, EndsTheFileWhenItIsTooLong)
{
    std::string longest(2047, 'x');
    Reports said;
    EXPECT_EQ(lines_of(longest + "\r\nb\n"), longest + "|b|[]");
    EXPECT_EQ(said.warnings(), "");
    EXPECT_EQ(lines_of("a\n" + longest + "x\nb\n"), "a|[" + longest + "]");
    EXPECT_EQ(lines_of(std::string(2000, ' ') + ";" + longest + "\nb\n"), "[" + std::string(2000, ' ') + "]");
    EXPECT_EQ(said.warnings(), "    \xF1\x05WARNING:\x02 reading file:\x01" "a.txt\x02 line:\x01" "2\x02\n"
                               "    \xF1\t\t\x02 Line too long (>2048)\n"
                               "    \xF1\x05WARNING:\x02 reading file:\x01" "a.txt\x02 line:\x01" "1\x02\n"
                               "    \xF1\t\t\x02 Line too long (>2048)\n");
}

TEST(Line, ReportsAReadError)
{
    FILE *stream = fopen("/tmp", "r");   // a folder opens, and cannot be read
    char buffer[2048];
    Reports said;
    EXPECT_EQ(DICOM_Module_Read_Line(nullptr, stream, 7, buffer, "a.txt", nullptr), 0);
    EXPECT_EQ(said.warnings(), "    \xF1\x05WARNING:\x02 reading file:\x01" "a.txt\x02 line:\x01" "7\x02\n"
                               "    \xF1\t\t\x02 Is a directory\n");
    fclose(stream);
}
