// Times of day, and dates and times as texts.
#include <gtest/gtest.h>
#include <math.h>
#include <time.h>

#include "tests/support/reports.h"
#include "values/values_internal.h"

// "state hour:minute:second"
static std::string outline(const Velmora_Time &time)
{
    char text[80];
    snprintf(text, sizeof text, "%d %d:%d:%g", time.state, time.hour, time.minute, static_cast<double>(time.second));
    return text;
}

// The time and the message that parsing gives; its texts are released unless they wait on.
static std::string parsed(Velmora_Time &time)
{
    const char *message = Velm_Time_Postproc(&time);
    EXPECT_EQ(time.time_str == nullptr, time.state != 2);
    EXPECT_EQ(time.time_template == nullptr, time.state != 2);
    return outline(time) + (message != nullptr ? std::string(" ") + message : "");
}

static Velmora_Time waiting(const char *text, const char *tmplt)
{
    Velmora_Time time = {};
    EXPECT_EQ(Make_Velm_Time(&time, text, tmplt), 0);
    EXPECT_EQ(time.state, 2);
    time.second = 7;
    return time;
}

static Velmora_Time at(int hour, int minute, float second)
{
    Velmora_Time time = {};
    EXPECT_EQ(Make_Velm_Time(&time, hour, minute, second), 1);
    return time;
}

TEST(Time, IsParsedByItsTemplate)
{
    struct { const char *text, *tmplt, *time; } cases[] = {
        {"123456.789", "hhmmss.ffffff", "1 12:34:56.789"}, {"123456.789", "hhmmss.ff", "1 12:34:56.78"},
        {"123456789", "hhmmssfff", "1 12:34:56.789"}, {"123456,789", "hhmmss.ffffff", "1 12:34:56"},
        {"123456.7x9", "hhmmss.ffffff", "1 12:34:56.7"}, {"123456", "hhmmss", "1 12:34:56"},
        {"12345", "hhmmss", "1 12:34:7"}, {"12", "hhmmss", "1 12:0:7"}, {"1 2 3 ", "hhmmss", "1 1:2:3"},
        {"235960", "hhmmss", "1 0:0:0"}, {"-15960", "hhmmss", "1 16:0:0"},
        {"1", "hhmmss.ffffff", "0 0:0:7 Unable to extract time from string (=1)"},
        {"12", "mmss", "2 0:0:7 invalid time template (mmss)"}, {"12", "hhmm", "2 0:0:7 invalid time template (hhmm)"},
    };
    Reports said(15);
    for (const auto &each : cases) {
        Velmora_Time time = waiting(each.text, each.tmplt);
        EXPECT_EQ(parsed(time), each.time) << each.text << " by " << each.tmplt;
        Time_Free(&time);
    }
    EXPECT_TRUE(said.all.empty());
}

TEST(Time, IsParsedByTheOverridingTemplateIfThereIsOne)
{
    struct { const char *overriding, *own, *result; } cases[] = {
        {"mmhhss", "hhmmss", "1 10:12:56"}, {"mmhhss", nullptr, "1 10:12:56"},
        {"", "hhmmss", "1 12:34:56"},       {nullptr, "", "0 0:0:7 Unable to extract time with empty template"},
    };
    for (const auto &each : cases) {
        Velm_Time_Template = each.overriding;
        Velmora_Time time = waiting("123456", "xxxxxx");
        free(time.time_template);
        time.time_template = each.own != nullptr ? strdup(each.own) : nullptr;
        EXPECT_EQ(parsed(time), each.result);
    }
    std::string endless(300, 'x');
    Velm_Time_Template = endless.c_str();
    Velmora_Time time = waiting("123456", "hhmmss");
    EXPECT_EQ(Velm_Time_Postproc(&time), ("invalid time template (" + endless).substr(0, 79));
    Velm_Time_Template = nullptr;

    free(time.time_str);
    time.time_str = nullptr;
    EXPECT_EQ(parsed(time), "0 0:0:7 Unable to extract date from empty string");
}

TEST(Time, IsBroughtIntoRange)
{
    struct { int hour, minute; float second; const char *time; } cases[] = {
        {12, 34, 56.5f, "1 12:34:56.5"}, {23, 59, 75.5f, "1 0:0:15.5"}, {1, 200, 0, "1 4:20:0"},
        {255, 0, 0, "1 15:0:0"}, {0, 0, 7322, "1 2:2:2"}, {10, 5, -10, "1 10:4:50"},
        {10, 5, -60, "1 10:3:60"}, {10, 5, -70, "1 10:3:50"}, {10, 0, -10, "1 9:59:50"},
        {0, 0, -10, "1 23:59:50"}, {1, 2, NAN, "1 1:2:0"}, {1, 2, INFINITY, "1 1:2:0"}, {1, 2, -INFINITY, "1 1:2:0"},
    };
    for (const auto &each : cases) {
        Velmora_Time time = at(each.hour, each.minute, each.second);
        EXPECT_EQ(parsed(time), each.time);
    }
    for (float second : {1e30f, -1e30f, 3e38f, -3e38f}) {
        Velmora_Time time = at(0, 0, second);
        EXPECT_EQ(Velm_Time_Postproc(&time), nullptr);
        EXPECT_TRUE(time.hour < 24 && time.minute < 60);
    }
}

TEST(Time, TakesNumbersHoursAndTheClock)
{
    Velmora_Time time = {};
    int hour = 9, minute = 9;
    float second = 9, hours = 9;
    EXPECT_EQ(Get_Velm_Time(&time, &hour, &minute, &second) + Get_Velm_Time(&time, &hours) + Get_Velm_Time(&time), 0);
    EXPECT_EQ(hours + second, 18);
    EXPECT_EQ(Make_Velm_Time(&time, 12, 34, 56), 1);
    EXPECT_EQ(Get_Velm_Time(&time), (12 * 60 + 34) * 60 + 56);
    EXPECT_EQ(Get_Velm_Time(&time, &hour, &minute, &second), 1);
    EXPECT_EQ(hour * 10000 + minute * 100 + static_cast<int>(second), 123456);
    EXPECT_EQ(Make_Velm_Time(&time, 10.515625f), 1);
    EXPECT_EQ(outline(time), "1 10:30:56.25");
    EXPECT_EQ(Get_Velm_Time(&time, &hours), 1);
    EXPECT_FLOAT_EQ(hours, 10.515625f);

    setenv("TZ", "EST5", 1);
    tzset();
    for (int64_t clock : {int64_t(1084362345), INT64_MAX}) {   // 11:45:45 UTC, and no local time
        EXPECT_EQ(Make_Velm_Time(&time, clock), 0);
        EXPECT_EQ(outline(time), "1 6:45:45");
    }
    unsetenv("TZ");
    for (float odd : {NAN, INFINITY, -INFINITY, 1e38f, -1e38f}) {
        Make_Velm_Time(&time, odd);
        Make_Velm_Time(&time, 1, 1, odd);
        Get_Velm_Time(&time);
        EXPECT_LT(strlen(Time_2_DICOM(nullptr, &time)), 80u);
    }
}

TEST(Time, ReleasesItsTextsWhicheverWayItTakes)
{
    Velmora_Time time = waiting("123456", "hhmmss"), other = waiting("x", "y"), numbers = at(1, 2, 3);
    Make_Velm_Time(&time, time.time_str, time.time_template);
    Make_Velm_Time(&time, "", "hhmmss");
    Make_Velm_Time(&time, "123456", nullptr);
    EXPECT_EQ(Time_Copy(&other, &time), 1);
    EXPECT_EQ(Time_Copy(&other, &other), 1);
    EXPECT_STREQ(other.time_str, "123456") << "a refused text changes nothing";
    EXPECT_STREQ(other.time_template, "hhmmss");
    Make_Velm_Time(&time, 1.5f);
    EXPECT_EQ(time.time_str, nullptr);
    EXPECT_EQ(Time_Copy(&other, &numbers), 1);
    EXPECT_EQ(outline(other), "1 1:2:3");
    EXPECT_STREQ(other.time_str, "123456") << "a copy of numbers leaves the texts";
    Time_Free(&other);
    EXPECT_EQ(outline(other), "0 0:0:0");
    EXPECT_STREQ(other.time_str, "123456") << "texts that do not wait are not released";
    Make_Velm_Time(&other, "1234", "hhmm");
    for (Velmora_Time *each : {&other, &other, static_cast<Velmora_Time *>(nullptr)})
        Time_Free(each);
    EXPECT_EQ(other.time_str, nullptr);
}

TEST(Time, IsOrdered)
{
    Velmora_Time empty = {}, noon = at(12, 0, 0), times[] = {at(1, 2, 3), at(1, 9, 9), at(2, 2, 3), at(1, 2, 2.5f)};
    struct { Velmora_Time *a, *b; int result; } cases[] = {
        {&times[0], &times[0], 0}, {&times[1], &times[2], -100}, {&times[2], &times[1], 100},
        {&times[0], &times[1], -10}, {&times[1], &times[0], 10}, {&times[3], &times[0], -1}, {&times[0], &times[3], 1},
        {nullptr, nullptr, 0}, {nullptr, &empty, -1000}, {&noon, nullptr, 1000}, {&empty, &noon, -1000},
        {&noon, &empty, 1000}, {&empty, &empty, 0},
    };
    for (const auto &each : cases)
        EXPECT_EQ(Velm_Time_Cmp(each.a, each.b), each.result);
}

TEST(Time, IsPrintedWithAFractionOnlyWhereThereIsOne)
{
    struct { float second; const char *dicom, *readable; } cases[] = {
        {7, "070507", "07:05:07"},                  {7.25f, "070507.250000", "07:05:07.250"},
        {7.0005f, "070507", "07:05:07"},            {7.002f, "070507.002000", "07:05:07.002"},
        {7.9985f, "070507.998500", "07:05:07.998"}, {0.123456f, "070500.123456", "07:05:00.123"},
        {59.9995f, "070560", "07:05:60"},           {0, "070500", "07:05:00"},
        {-5.5f, "0705-5", "07:05:-5"},              {NAN, "070500", "07:05:00"},
        {INFINITY, "070500", "07:05:00"},           {3e38f, "07051000000000", "07:05:1000000000"},
    };
    for (const auto &each : cases) {
        Velmora_Time time = at(7, 5, each.second);
        EXPECT_STREQ(Time_2_DICOM(nullptr, &time), each.dicom);
        EXPECT_STREQ(Time_2_Str(nullptr, &time), each.readable);
    }
}

// The one place where a fraction is rounded agrees with printf on every kind of tie.
TEST(Time, RoundsAsPrintfDoes)
{
    for (int i = 0; i < 100000; i++) {
        float second = static_cast<float>(i) * 0.00061035156f;
        float fraction = second - truncf(second);
        if (fraction < 0.001 || fraction > 0.999)
            continue;
        for (int decimals : {3, 6}) {
            char expected[32], got[32];
            snprintf(expected, sizeof expected, "%0*.*f", decimals + 3, decimals, static_cast<double>(second));
            print_seconds(got, sizeof got, second, decimals);
            ASSERT_STREQ(got, expected);
        }
    }
}

TEST(Time, IsPrintedWithItsDate)
{
    Velmora_Time time = at(9, 5, 7), no_time = {}, rounded = {}, short_time = {};
    Velmora_Date date = {}, no_date = {}, odd = {}, text = {}, bad = {};
    Make_Velm_Date(&date, 2004, 2, 1);
    Make_Velm_Date(&odd, 70, 13, 99);   // numbers print unchecked
    Make_Velm_Date(&text, "2004.02.01", "yyyy.mm.dd");
    Make_Velm_Time(&rounded, "09:05:67", "hh:mm:ss");
    Make_Velm_Date(&bad, "2004.02.32", "yyyy.mm.dd");
    Make_Velm_Time(&short_time, "9", "hh:mm:ss");
    struct { Velmora_Date *date; Velmora_Time *time; const char *dicom, *readable; } cases[] = {
        {nullptr, &time, "090507", "09:05:07"}, {&date, nullptr, "20040201", "01 Feb 2004"},
        {&date, &time, "20040201090507", "01 Feb 2004  09:05:07"}, {nullptr, nullptr, "", nullptr},
        {&no_date, &no_time, "", ""}, {&odd, nullptr, "  701399", "99 ???   70"},
        {&text, &rounded, "20040201090607", "01 Feb 2004  09:06:07"}, {&bad, &short_time, "", ""},
    };
    for (const auto &each : cases) {
        EXPECT_STREQ(Time_2_DICOM(each.date, each.time), each.dicom);
        EXPECT_STREQ(Time_2_Str(each.date, each.time), each.readable);
    }
}
