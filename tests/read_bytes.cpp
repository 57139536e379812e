// Bytes, numbers, blocks and skips out of files and buffers.
#include <gtest/gtest.h>
#include <errno.h>
#include <fcntl.h>

#include "tests/read_stream.h"
#include "tests/support/reports.h"

class Reading : public OfEachKind {};
INSTANTIATE_TEST_SUITE_P(Source, Reading, EACH_KIND, kind_name);

TEST_P(Reading, GivesEachNumberInTheOrderOfTheFormat)
{
    Stream in(GetParam(), Bytes("\x01\x02\x03\x04\x05\x06\x07\x08\xFF\xFF\xFE\xFF\xFF\xFF\0\0\x80\x3F", 18) +
                              Bytes("\x3F\xF8\0\0\0\0\0\0", 8));
    short s = 0;
    unsigned short us[2] = {};
    int i = 0;
    unsigned int ui = 0;
    float f = 0;
    double d = 0;
    EXPECT_EQ(NEMA_Read_Short(nullptr, in.kind, in.handle(), in.name(), 0, 2, &s), 1);
    EXPECT_EQ(NEMA_Read_UShort(nullptr, in.kind, in.handle(), in.name(), 9, 2, &us[0]), 1);
    EXPECT_EQ(NEMA_Read_Int(nullptr, in.kind, in.handle(), in.name(), 1, 4, &i), 1);
    EXPECT_EQ(NEMA_Read_UShort(nullptr, in.kind, in.handle(), in.name(), 0, 2, &us[1]), 1);
    EXPECT_EQ(NEMA_Read_UInt(nullptr, in.kind, in.handle(), in.name(), 8, 4, &ui), 1);
    EXPECT_EQ(NEMA_Read_Float(nullptr, in.kind, in.handle(), in.name(), 0, 4, &f), 1);
    EXPECT_EQ(NEMA_Read_Double(nullptr, in.kind, in.handle(), in.name(), 9, 8, &d), 1);
    char got[99];
    snprintf(got, sizeof got, "%x %x %x %x %x %g %g", s, us[0], i, us[1], ui, static_cast<double>(f), d);
    EXPECT_STREQ(got, "201 304 5060708 ffff fffffffe 1 1.5");

    EXPECT_EQ(NEMA_Read_Int(nullptr, in.kind, in.handle(), in.name(), 0, 9, &i), 0) << "wider than any number";
    EXPECT_EQ(NEMA_Read_Int(nullptr, in.kind, in.handle(), in.name(), 0, -1, &i), 0);
    EXPECT_EQ(in.position(), 26);
}

TEST_P(Reading, GivesBlocksAndTextsAndSwapsTheirPairsWhereWordsAreSwapped)
{
    struct { char format; Bytes value, expected; } cases[] = {
        {0, "abcde", "abcde"}, {1, "abcde", "abcde"}, {2, "abcde", "badce"}, {3, "abcde", "badce"},
        {9, "abcde", "abcde"}, {2, "", ""}, {0, Bytes("a\0b", 3), Bytes("a\0b", 3)},
    };
    for (const auto &each : cases) {
        Stream in(GetParam(), each.value + each.value);
        int size = static_cast<int>(each.value.size());
        char *block = NEMA_Read_Buffer(nullptr, in.kind, in.handle(), in.name(), each.format, size);
        char *text = NEMA_Read_Str(nullptr, in.kind, in.handle(), in.name(), each.format, size);
        ASSERT_TRUE(block != nullptr && text != nullptr);
        EXPECT_EQ(Bytes(block, each.value.size()), each.expected) << int(each.format);
        EXPECT_EQ(Bytes(text, each.value.size() + 1), each.expected + '\0') << int(each.format);
        EXPECT_EQ(NEMA_Read_Buffer(nullptr, in.kind, in.handle(), in.name(), 0, -1), nullptr);
        EXPECT_EQ(NEMA_Read_Byte(nullptr, in.kind, in.handle(), in.name(), 0, 0, nullptr), 1);
        EXPECT_EQ(in.position(), 2 * size);
        free(block);
        free(text);
    }
}

TEST_P(Reading, SkipsForwardAlsoBehindTheEnd)
{
    Stream in(GetParam(), "abcdef");
    long position = 0;
    for (int size : {4, 0, -1, 100}) {
        EXPECT_EQ(NEMA_Skip(nullptr, in.kind, in.handle(), in.name(), size), 1);
        EXPECT_EQ(in.position(), position += size > 0 ? size : 0);
    }
    int cursor = 0x7FFFFFF0;
    EXPECT_EQ(NEMA_Skip(nullptr, 0, reinterpret_cast<intptr_t>(&cursor), "", 0x7FFFFFF0), 1);
    EXPECT_EQ(cursor, 0x7FFFFFFF) << "stays in its range";
}

TEST(ReadingAFile, TellsWhatIsMissingAtItsEndAndWhyItCannotBeRead)
{
    Stream in(IN_FILE, "abc");
    Reports said(11);
    int number = 7, only_written = open(in.name(), O_WRONLY);
    EXPECT_EQ(NEMA_Read_Int(nullptr, IN_FILE, in.handle(), in.name(), 0, 4, &number), 0);
    EXPECT_EQ(number, 7);
    EXPECT_EQ(NEMA_Read_Str(nullptr, IN_FILE, in.handle(), in.name(), 0, 4), nullptr);
    EXPECT_EQ(NEMA_Read_Byte(nullptr, IN_FILE, only_written, "scan.dcm", 0, 1, reinterpret_cast<char *>(&number)), 0);
    std::string name = in.name();
    EXPECT_EQ(said.texts(2), "End of File while reading: (3 /vs/ 4) (" + name + ")\n"
                             "End of File while reading: (0 /vs/ 4) (" + name + ")\n"
                             "Error reading file scan.dcm\n" + Error_Perror(EBADF) + "\n");
    EXPECT_EQ(said.all[0].text.rfind("file:.\\NEMA_Read_Data line:", 0), 0u);
    close(only_written);
}

TEST(ReadingAFile, ClosesADescriptorThatCannotBeMoved)
{
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    Reports said(11);
    EXPECT_EQ(NEMA_Skip(nullptr, IN_FILE, ends[0], "a pipe", 10), 0);
    std::string why = Error_Perror(ESPIPE), all;
    for (const Report &each : said.all) {
        bool tells_place = each.text.starts_with("file:.\\NEMA_Read_Data line:");
        all += std::to_string(each.level) + (tells_place ? "" : each.text) + "\n";
    }
    EXPECT_EQ(all, "11\n11using lseek()\n11" + why + "\n11file: (a pipe)\n"
                   "11\n2\xF1\x04" "ERROR:\x02 while seeking pos 9\n2" + why + "\n2file: (a pipe)\n");
    EXPECT_EQ(fcntl(ends[0], F_GETFD), -1);
    close(ends[1]);
}
