// The sibling helpers: texts in place, patterns, byte order, the report gate, the mutex.
#include <gtest/gtest.h>
#include <thread>

#include "tests/support/reports.h"
#include "util/util_internal.h"

static std::string changed(char *(*operation)(char *), std::string text)
{
    char *start = text.data();
    EXPECT_EQ(operation(start), start);
    return start;
}

TEST(Text, IsStrippedInPlace)
{
    EXPECT_EQ(changed(Str_Strip_Spaces, "  a b  "), "a b");
    EXPECT_EQ(changed(Str_Strip_Spaces, "    "), "");
    EXPECT_EQ(changed(Str_Strip_Quotes, "\"a b\""), "a b");
    EXPECT_EQ(changed(Str_Strip_Quotes, "\"cut at its en"), "cut at its en");
    EXPECT_EQ(changed(Str_Strip_Quotes, "\"\""), "");
    EXPECT_EQ(changed(Str_Strip_Quotes, "\""), "");
    EXPECT_EQ(changed(Str_To_Lower, "Tc-99M \xC9"), "tc-99m \xC9");
}

TEST(Text, SplitsIntoTokensButNotBetweenQuotes)
{
    char line[] = "  type=1C desc=\"two words\"  \"a value\" \"open end";
    EXPECT_STREQ(Str_Strtok(line, " "), "type=1C");
    EXPECT_STREQ(Str_Strtok(nullptr, " \t"), "desc=\"two words\"");
    EXPECT_STREQ(Str_Strtok(nullptr, " "), "\"a value\"");
    EXPECT_STREQ(Str_Strtok(nullptr, " "), "\"open end");
    EXPECT_EQ(Str_Strtok(nullptr, " "), nullptr);
    EXPECT_EQ(Str_Strtok(nullptr, " "), nullptr);

    char numbers[] = "1\\2 3";
    EXPECT_STREQ(Str_Strtok(numbers, "\\"), "1");
    EXPECT_STREQ(Str_Strtok(nullptr, " "), "2");
    EXPECT_STREQ(Str_Strtok(nullptr, " "), "3");
}

TEST(Text, MatchesPatterns)
{
    struct { const char *text, *pattern; int matches; } cases[] = {
        {"6002", "60*", 1}, {"6002", "60??", 1}, {"6002", "60?", 0}, {"6002", "*2", 1}, {"6002", "*", 1},
        {"", "*", 1}, {"", "", 1}, {"", "?", 0}, {"7FE0", "7fe0", 0}, {"abcabd", "*abd", 1}, {"abc", "abcd", 0},
        {"aaaa", "a*a*b", 0},
    };
    for (const auto &each : cases)
        EXPECT_EQ(Str_Match(each.text, each.pattern), each.matches) << each.text << " / " << each.pattern;
}

TEST(ByteOrder, ReadsAndWritesEachWidthInEachOrder)
{
    const char bytes[] = "\x01\x02\x03\x04\x05\x06\x07\x08";
    EXPECT_EQ(Get_UShort(0, bytes), 0x0201);
    EXPECT_EQ(Get_UShort(9, bytes), 0x0102);
    EXPECT_EQ(Get_UShort(2, bytes), 0x0102) << "swapped words";
    EXPECT_EQ(Get_UShort(3, bytes), 0x0201) << "swapped big-endian words";
    EXPECT_EQ(Get_Int(8, bytes), 0x04030201);
    EXPECT_EQ(Get_Int(1, bytes), 0x01020304);
    EXPECT_EQ(Get_Int(2, bytes), 0x03040102);
    EXPECT_EQ(Get_Short(0, "\xFF\xFF"), -1);

    EXPECT_EQ(std::string(Put_Double(1, 1.0), 8), std::string("\x3F\xF0\0\0\0\0\0\0", 8));
    EXPECT_EQ(std::string(Put_Float(0, 1.0f), 4), std::string("\0\0\x80\x3F", 4));
    for (char order : {char(0), char(1), char(2), char(3), char(8), char(9)}) {
        EXPECT_EQ(Get_Int(order, Put_Int(order, -123456789)), -123456789);
        EXPECT_EQ(Get_Short(order, Put_Short(order, -12345)), -12345);
        EXPECT_EQ(Get_Double(order, Put_Double(order, -0.1)), -0.1);
        EXPECT_EQ(Get_Float(order, Put_Float(order, 2.5f)), 2.5f);
    }
}

TEST(Reporting, DropsWhatLiesAboveTheThresholdUnformatted)
{
    Reports said(11);
    int evaluated = 0;
    REPORT(nullptr, 12, "%d", ++evaluated);
    EXPECT_EQ(evaluated, 0);
    EXPECT_EQ(Error_Fct(nullptr, 12, "dropped"), 0);
    EXPECT_EQ(Error_Fct(nullptr, 11, "kept %s", "\xF1\x05"), 1);
    EXPECT_EQ(said.all, (std::vector<Report>{{11, "kept \xF1\x05"}}));
}

TEST(Reporting, HandsOnAReadyTextAsItIs)
{
    Reports said;
    Error_Fct(nullptr, 1, "%s", "100%s %d");
    Error_Fct(nullptr, 1, "%s", "");
    Error_Fct(nullptr, 1, "%s", std::string(8191, 'x').c_str());
    EXPECT_EQ(said.texts(1), "100%s %d\n\n" + std::string(8191, 'x') + "\n");
}

TEST(Reporting, CutsATextThatIsTooLong)
{
    Reports said;
    Error_Fct(nullptr, 1, "%s", std::string(20000, 'x').c_str());
    EXPECT_EQ(said.all.at(0).text, std::string(8191, 'x'));
}

TEST(Reporting, KeepsControlBytesOffTheTerminal)
{
    testing::internal::CaptureStderr();
    Error_Fct(nullptr, 1, "    \xF1\x05WARNING:\x02 %s", "\x1B[31mred\x7F");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "    WARNING: [31mred\n");
}

TEST(Mutex, IsReEntrantAndExcludesOtherThreads)
{
    int count = 0;
    auto work = [&count] {
        for (int i = 0; i < 10000; i++) {
            Mutex_Access_Start();
            Mutex_Access_Start();
            count++;
            Mutex_Access_Stop();
            count++;
            Mutex_Access_Stop();
        }
    };
    std::thread other(work);
    work();
    other.join();
    EXPECT_EQ(count, 40000);
}
