// Bytes, numbers, blocks and skips out of files and buffers.
#include <gtest/gtest.h>
#include <errno.h>
#include <fcntl.h>

#include "tests/read_stream.h"
#include "tests/support/reports.h"

class Reading : public testing::TestWithParam<Kind> {};
INSTANTIATE_TEST_SUITE_P(Source, Reading, testing::Values(IN_MEMORY, IN_FILE),
                         [](const auto &kind) { return kind.param == IN_FILE ? "File" : "Memory"; });

TEST_P(Reading, GivesEachNumberInTheOrderOfTheFormat)
{
    Stream in(GetParam(), Bytes("\x01\x02\x03\x04\x05\x06\x07\x08\xFF\xFF\xFE\xFF\xFF\xFF\0\0\x80\x3F", 18) +
                              Bytes("\x3F\xF8\0\0\0\0\0\0", 8));
    short s = 0;
    unsigned short us = 0;
    int i = 0;
    unsigned int ui = 0;
    float f = 0;
    double d = 0;
    EXPECT_EQ(NEMA_Read_Short(nullptr, in.kind, in.handle(), in.name(), 0, 2, &s), 1);
    EXPECT_EQ(s, 0x0201);
    EXPECT_EQ(NEMA_Read_UShort(nullptr, in.kind, in.handle(), in.name(), 9, 2, &us), 1);
    EXPECT_EQ(us, 0x0304);
    EXPECT_EQ(NEMA_Read_Int(nullptr, in.kind, in.handle(), in.name(), 1, 4, &i), 1);
    EXPECT_EQ(i, 0x05060708);
    EXPECT_EQ(NEMA_Read_UShort(nullptr, in.kind, in.handle(), in.name(), 0, 2, &us), 1);
    EXPECT_EQ(us, 65535);
    EXPECT_EQ(NEMA_Read_UInt(nullptr, in.kind, in.handle(), in.name(), 8, 4, &ui), 1);
    EXPECT_EQ(ui, 0xFFFFFFFEu);
    EXPECT_EQ(NEMA_Read_Float(nullptr, in.kind, in.handle(), in.name(), 0, 4, &f), 1);
    EXPECT_EQ(f, 1.0f);
    EXPECT_EQ(NEMA_Read_Double(nullptr, in.kind, in.handle(), in.name(), 9, 8, &d), 1);
    EXPECT_EQ(d, 1.5);
    EXPECT_EQ(in.position(), 26);

    EXPECT_EQ(NEMA_Read_Int(nullptr, in.kind, in.handle(), in.name(), 0, 9, &i), 0) << "wider than any number";
    EXPECT_EQ(NEMA_Read_Int(nullptr, in.kind, in.handle(), in.name(), 0, -1, &i), 0);
    EXPECT_EQ(in.position(), 26);
}

TEST_P(Reading, SwapsPairsOfABlockWhereWordsAreSwapped)
{
    struct { char format; const char *expected; } cases[] = {
        {0, "abcde"}, {1, "abcde"}, {2, "badce"}, {3, "badce"}, {9, "abcde"},
    };
    for (const auto &each : cases) {
        Stream in(GetParam(), "abcdeabcde");
        char *block = NEMA_Read_Buffer(nullptr, in.kind, in.handle(), in.name(), each.format, 5);
        char *text = NEMA_Read_Str(nullptr, in.kind, in.handle(), in.name(), each.format, 5);
        ASSERT_NE(block, nullptr);
        EXPECT_EQ(std::string(block, 5), each.expected) << int(each.format);
        EXPECT_STREQ(text, each.expected) << int(each.format);
        free(block);
        free(text);
    }
}

TEST_P(Reading, OfNothingSucceedsAndMovesNothing)
{
    Stream in(GetParam(), "");
    EXPECT_EQ(NEMA_Read_Byte(nullptr, in.kind, in.handle(), in.name(), 0, 0, nullptr), 1);
    char *block = NEMA_Read_Buffer(nullptr, in.kind, in.handle(), in.name(), 0, 0);
    char *text = NEMA_Read_Str(nullptr, in.kind, in.handle(), in.name(), 2, 0);
    EXPECT_NE(block, nullptr);
    EXPECT_STREQ(text, "");
    free(block);
    free(text);
    EXPECT_EQ(NEMA_Read_Buffer(nullptr, in.kind, in.handle(), in.name(), 0, -1), nullptr);
    EXPECT_EQ(NEMA_Skip(nullptr, in.kind, in.handle(), in.name(), 0), 1);
    EXPECT_EQ(in.position(), 0);
}

TEST_P(Reading, KeepsZeroBytesOfATextAndEndsIt)
{
    Stream in(GetParam(), Bytes("a\0b\0", 4));
    char *text = NEMA_Read_Str(nullptr, in.kind, in.handle(), in.name(), 0, 3);
    EXPECT_EQ(std::string(text, 4), std::string("a\0b\0", 4));
    free(text);
}

TEST_P(Reading, SkipsForwardAlsoBehindTheEnd)
{
    Stream in(GetParam(), "abcdef");
    Reports said(15);
    EXPECT_EQ(NEMA_Skip(nullptr, in.kind, in.handle(), in.name(), 4), 1);
    EXPECT_EQ(in.position(), 4);
    EXPECT_EQ(NEMA_Skip(nullptr, in.kind, in.handle(), in.name(), -1), 1);
    EXPECT_EQ(in.position(), 4);
    EXPECT_EQ(NEMA_Skip(nullptr, in.kind, in.handle(), in.name(), 100), 1);
    EXPECT_EQ(in.position(), 104);
    EXPECT_EQ(said.all, (std::vector<Report>{
                            {15, "in NEMA_Skip(size:4)"}, {15, "in NEMA_Skip(size:-1)"}, {15, "in NEMA_Skip(size:100)"}}));
}

TEST(ReadingMemory, KeepsACursorInItsRange)
{
    int cursor = 0x7FFFFFF0;
    EXPECT_EQ(NEMA_Skip(nullptr, 0, reinterpret_cast<intptr_t>(&cursor), "", 0x7FFFFFF0), 1);
    EXPECT_EQ(cursor, 0x7FFFFFFF);
}

TEST(ReadingAFile, TellsWhatIsMissingAtItsEnd)
{
    Stream in(IN_FILE, "abc");
    Reports said(11);
    int number = 7;
    EXPECT_EQ(NEMA_Read_Int(nullptr, IN_FILE, in.handle(), in.name(), 0, 4, &number), 0);
    EXPECT_EQ(number, 7);
    EXPECT_EQ(NEMA_Read_Str(nullptr, IN_FILE, in.handle(), in.name(), 0, 4), nullptr);
    std::string name = in.name();
    EXPECT_EQ(said.texts(2), "End of File while reading: (3 /vs/ 4) (" + name + ")\n"
                             "End of File while reading: (0 /vs/ 4) (" + name + ")\n");
    ASSERT_EQ(said.all.size(), 4u);
    EXPECT_EQ(said.all[0].level, 11);
    EXPECT_EQ(said.all[0].text.rfind("file:.\\NEMA_Read_Data line:", 0), 0u);
}

TEST(ReadingAFile, TellsWhyItCannotBeRead)
{
    Stream in(IN_FILE, "abc");
    int only_written = open(in.name(), O_WRONLY);
    Reports said;
    char byte;
    EXPECT_EQ(NEMA_Read_Byte(nullptr, IN_FILE, only_written, "scan.dcm", 0, 1, &byte), 0);
    EXPECT_EQ(said.texts(2), std::string("Error reading file scan.dcm\n") + Error_Perror(EBADF) + "\n");
    close(only_written);
}

TEST(ReadingAFile, ClosesADescriptorThatCannotBeMoved)
{
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    Reports said(11);
    EXPECT_EQ(NEMA_Skip(nullptr, IN_FILE, ends[0], "a pipe", 10), 0);
    std::string why = Error_Perror(ESPIPE);
    std::vector<Report> expected = {{11, ""}, {11, "using lseek()"}, {11, why}, {11, "file: (a pipe)"},
                                    {11, ""}, {2, "\xF1\x04" "ERROR:\x02 while seeking pos 9"}, {2, why},
                                    {2, "file: (a pipe)"}};
    ASSERT_EQ(said.all.size(), expected.size());
    for (size_t i = 0; i < expected.size(); i++) {
        if (i % 4 == 0)
            expected[i].text = said.all[i].text.substr(0, 27) == "file:.\\NEMA_Read_Data line:" ? said.all[i].text : "";
        EXPECT_EQ(said.all[i], expected[i]) << i;
    }
    EXPECT_EQ(fcntl(ends[0], F_GETFD), -1);
    close(ends[1]);
}

TEST_P(Reading, LeavesNothingBehindWithoutMemory)
{
    refuse_each_allocation([](int refused) {
        Stream in(GetParam(), "abcdef");
        Reports said;
        char *block = NEMA_Read_Buffer(nullptr, in.kind, in.handle(), in.name(), 2, 4);
        char *text = NEMA_Read_Str(nullptr, in.kind, in.handle(), in.name(), 0, 2);
        if (refused == 1) {
            EXPECT_EQ(block, nullptr);
            EXPECT_STREQ(text, "ab");
            EXPECT_EQ(said.failures(),
                      "line N of .\\NEMA_Read_Data \nmemory error in malloc (var=buf, dim=4x1)\n");
        } else if (refused == 2) {
            EXPECT_EQ(text, nullptr);
            EXPECT_EQ(said.failures(),
                      "line N of .\\NEMA_Read_Data \nmemory error in malloc (var=buf, dim=3x1)\n");
        }
        free(block);
        free(text);
    });
}
