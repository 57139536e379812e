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
    struct {
        const char *text, *tmplt, *time;
    } cases[] = {
        {"123456.789",   "hhmmss.ffffff", "1 12:34:56.789 (null)"},
        {"12:34:56.789", "hh:mm:ss.ffff", "1 12:34:56.789 (null)"},
        {"123456.789",   "hhmmss.ff",     "1 12:34:56.78 (null)"},
        {"123456789",    "hhmmssfff",     "1 12:34:56.789 (null)"},
        {"123456,789",   "hhmmss.ffffff", "1 12:34:56 (null)"},   // the fraction needs its point
        {"123456.7x9",   "hhmmss.ffffff", "1 12:34:56.7 (null)"},
        {"123456.",      "hhmmss.ffffff", "1 12:34:56 (null)"},
        {"123456",       "hhmmss",        "1 12:34:56 (null)"},
        {"12345",        "hhmmss",        "1 12:34:7 (null)"},   // what the text does not reach stays
        {"1234",         "hhmmss.ffffff", "1 12:34:7 (null)"},
        {"12",           "hhmmss",        "1 12:0:7 (null)"},
        {"1 2 3 ",       "hhmmss",        "1 1:2:3 (null)"},
        {"235960",       "hhmmss",        "1 0:0:0 (null)"},
        {"-15960",       "hhmmss",        "1 16:0:0 (null)"},
        {"1",            "hhmmss.ffffff", "0 0:0:7 Unable to extract time from string (=1)"},
        {"12",           "mmss",          "2 0:0:7 invalid time template (mmss)"},
        {"12",           "hhss",          "2 0:0:7 invalid time template (hhss)"},
        {"12",           "hhmm",          "2 0:0:7 invalid time template (hhmm)"},
    };
    Reports said(15);
    for (const auto &each : cases) {
        Velmora_Time time = waiting(each.text, each.tmplt);
        const char *message = Velm_Time_Postproc(&time);
        EXPECT_EQ(outline(time) + " " + (message != nullptr ? message : "(null)"), each.time)
            << each.text << " by " << each.tmplt;
        EXPECT_EQ(time.time_str == nullptr, time.state != 2);
        EXPECT_EQ(time.time_template == nullptr, time.state != 2);
        Time_Free(&time);
    }
    EXPECT_TRUE(said.all.empty());
}

TEST(Time, ReadsAFractionOfAnyLength)
{
    Velmora_Time time = waiting("000001.123456789012345678901234567890", "hhmmss.ffffffffffffffffffffffffffffff");
    EXPECT_EQ(Velm_Time_Postproc(&time), nullptr);
    EXPECT_EQ(time.second, 1.12345679f);
    std::string text = "hhmmss" + std::string(200, 'f');
    time = waiting(("000001" + std::string(200, '9')).c_str(), text.c_str());
    EXPECT_EQ(strlen(time.time_template), 79u);
    EXPECT_EQ(strlen(time.time_str), 79u);
    EXPECT_EQ(Velm_Time_Postproc(&time), nullptr);
    EXPECT_EQ(time.second, 2.0f);
}

TEST(Time, IsParsedByTheOverridingTemplateIfThereIsOne)
{
    struct {
        const char *overriding, *own, *result;
    } cases[] = {
        {"mmhhss", "hhmmss", "1 10:12:56 (null)"},   // 34 hours
        {"mmhhss", nullptr,  "1 10:12:56 (null)"},
        {"",       "hhmmss", "1 12:34:56 (null)"},
        {nullptr,  "",       "0 0:0:7 Unable to extract time with empty template"},
    };
    for (const auto &each : cases) {
        Velm_Time_Template = each.overriding;
        Velmora_Time time = waiting("123456", "xxxxxx");
        free(time.time_template);
        time.time_template = each.own != nullptr ? strdup(each.own) : nullptr;
        const char *message = Velm_Time_Postproc(&time);
        EXPECT_EQ(outline(time) + " " + (message != nullptr ? message : "(null)"), each.result);
        EXPECT_EQ(time.time_str, nullptr);
        EXPECT_EQ(time.time_template, nullptr);
    }
    std::string endless(300, 'x');
    Velm_Time_Template = endless.c_str();
    Velmora_Time time = waiting("123456", "hhmmss");
    EXPECT_EQ(Velm_Time_Postproc(&time), ("invalid time template (" + endless).substr(0, 79));
    Velm_Time_Template = nullptr;

    free(time.time_str);
    time.time_str = nullptr;
    EXPECT_STREQ(Velm_Time_Postproc(&time), "Unable to extract date from empty string");
    EXPECT_EQ(time.state, 0);
    EXPECT_EQ(time.time_template, nullptr);
}

TEST(Time, IsBroughtIntoRange)
{
    struct {
        int hour, minute;
        float second;
        const char *time;
    } cases[] = {
        {12,  34,  56.5f,     "1 12:34:56.5"},
        {23,  59,  75.5f,     "1 0:0:15.5"},
        {1,   200, 0,         "1 4:20:0"},
        {255, 0,   0,         "1 15:0:0"},
        {0,   0,   7322,      "1 2:2:2"},
        {10,  5,   -10,       "1 10:4:50"},
        {10,  5,   -60,       "1 10:3:60"},
        {10,  5,   -70,       "1 10:3:50"},
        {10,  0,   -10,       "1 9:59:50"},   // minutes borrow from the hours
        {0,   0,   -10,       "1 23:59:50"},   // and hours from the day before
        {1,   2,   NAN,       "1 1:2:0"},
        {1,   2,   INFINITY,  "1 1:2:0"},
        {1,   2,   -INFINITY, "1 1:2:0"},
    };
    for (const auto &each : cases) {
        Velmora_Time time = at(each.hour, each.minute, each.second);
        EXPECT_EQ(Velm_Time_Postproc(&time), nullptr);
        EXPECT_EQ(outline(time), each.time);
    }
    for (float second : {1e30f, -1e30f, 3e38f, -3e38f}) {
        Velmora_Time time = at(0, 0, second);
        EXPECT_EQ(Velm_Time_Postproc(&time), nullptr);
        EXPECT_LT(time.hour, 24);
        EXPECT_LT(time.minute, 60);
    }
}

TEST(Time, TakesNumbersHoursAndTheClock)
{
    Velmora_Time time = {};
    int hour = 9, minute = 9;
    float second = 9, hours = 9;
    EXPECT_EQ(Get_Velm_Time(&time, &hour, &minute, &second), 0);
    EXPECT_EQ(Get_Velm_Time(&time, &hours), 0);
    EXPECT_EQ(Get_Velm_Time(&time), 0);
    EXPECT_EQ(hours + second, 18);

    EXPECT_EQ(Make_Velm_Time(&time, 12, 34, 56), 1);
    EXPECT_EQ(outline(time), "1 12:34:56");
    EXPECT_EQ(Get_Velm_Time(&time), (12 * 60 + 34) * 60 + 56);
    EXPECT_EQ(Get_Velm_Time(&time, &hour, &minute, &second), 1);
    EXPECT_EQ(hour * 10000 + minute * 100 + static_cast<int>(second), 123456);
    EXPECT_EQ(Make_Velm_Time(&time, 10.515625f), 1);
    EXPECT_EQ(outline(time), "1 10:30:56.25");
    EXPECT_EQ(Get_Velm_Time(&time, &hours), 1);
    EXPECT_FLOAT_EQ(hours, 10.515625f);
    Make_Velm_Time(&time, -1.5f);
    EXPECT_EQ(outline(time), "1 255:226:0");

    setenv("TZ", "EST5", 1);
    tzset();
    EXPECT_EQ(Make_Velm_Time(&time, int64_t(1084362345)), 0);   // 11:45:45 UTC
    EXPECT_EQ(outline(time), "1 6:45:45");
    EXPECT_EQ(Make_Velm_Time(&time, INT64_MAX), 0);
    EXPECT_EQ(outline(time), "1 6:45:45") << "no local time";
    EXPECT_EQ(Make_Velm_Time(&time, 1084362346), 0);
    EXPECT_EQ(outline(time), "1 6:45:46");
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
    EXPECT_STREQ(time.time_str, "123456") << "a refused text changes nothing";
    EXPECT_EQ(Time_Copy(&other, &time), 1);
    EXPECT_EQ(Time_Copy(&other, &other), 1);
    EXPECT_STREQ(other.time_str, "123456");
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
    Time_Free(&other);
    Time_Free(&other);
    Time_Free(nullptr);
    EXPECT_EQ(other.time_str, nullptr);
    time = waiting("123456", "hhmmss");
    Make_Velm_Time(&time, 0);
    EXPECT_EQ(time.time_str, nullptr);
}

TEST(Time, IsOrdered)
{
    struct {
        Velmora_Time a, b;
        int result;
    } cases[] = {
        {at(1, 2, 3),    at(1, 2, 3), 0},
        {at(1, 9, 9),    at(2, 2, 3), -100},
        {at(3, 0, 0),    at(2, 2, 3), 100},
        {at(1, 1, 9),    at(1, 2, 3), -10},
        {at(1, 3, 0),    at(1, 2, 3), 10},
        {at(1, 2, 2.5f), at(1, 2, 3), -1},
        {at(1, 2, 3.5f), at(1, 2, 3), 1},
    };
    for (auto &each : cases)
        EXPECT_EQ(Velm_Time_Cmp(&each.a, &each.b), each.result) << outline(each.a) << " / " << outline(each.b);
    Velmora_Time empty = {}, noon = at(12, 0, 0);
    EXPECT_EQ(Velm_Time_Cmp(nullptr, nullptr), 0);
    EXPECT_EQ(Velm_Time_Cmp(nullptr, &empty), -1000);
    EXPECT_EQ(Velm_Time_Cmp(&noon, nullptr), 1000);
    EXPECT_EQ(Velm_Time_Cmp(&empty, &noon), -1000);
    EXPECT_EQ(Velm_Time_Cmp(&noon, &empty), 1000);
    EXPECT_EQ(Velm_Time_Cmp(&empty, &empty), 0);
}

TEST(Time, IsPrintedWithAFractionOnlyWhereThereIsOne)
{
    struct {
        float second;
        const char *dicom, *readable;
    } cases[] = {
        {7,         "070507",         "07:05:07"},
        {7.25f,     "070507.250000",  "07:05:07.250"},
        {7.0005f,   "070507",         "07:05:07"},
        {7.002f,    "070507.002000",  "07:05:07.002"},
        {7.9985f,   "070507.998500",  "07:05:07.998"},
        {0.123456f, "070500.123456",  "07:05:00.123"},
        {59.9995f,  "070560",         "07:05:60"},
        {0,         "070500",         "07:05:00"},
        {-5.5f,     "0705-5",         "07:05:-5"},
        {NAN,       "070500",         "07:05:00"},
        {INFINITY,  "070500",         "07:05:00"},
        {3e38f,     "07051000000000", "07:05:1000000000"},
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
    Velmora_Time time = at(9, 5, 7), no_time = {};
    Velmora_Date date = {}, no_date = {};
    Make_Velm_Date(&date, 2004, 2, 1);
    EXPECT_STREQ(Time_2_DICOM(nullptr, &time), "090507");
    EXPECT_STREQ(Time_2_DICOM(&date, nullptr), "20040201");
    EXPECT_STREQ(Time_2_DICOM(&date, &time), "20040201090507");
    EXPECT_STREQ(Time_2_DICOM(nullptr, nullptr), "");
    EXPECT_STREQ(Time_2_DICOM(&no_date, &no_time), "");
    EXPECT_STREQ(Time_2_Str(&date, &time), "01 Feb 2004  09:05:07");
    EXPECT_STREQ(Time_2_Str(&date, &no_time), "01 Feb 2004");
    EXPECT_STREQ(Time_2_Str(&no_date, &no_time), "");
    EXPECT_EQ(Time_2_Str(nullptr, nullptr), nullptr);

    Make_Velm_Date(&date, 70, 13, 99);
    EXPECT_STREQ(Time_2_DICOM(&date, nullptr), "  701399") << "numbers print unchecked";
    EXPECT_STREQ(Time_2_Str(&date, nullptr), "99 ???   70");
    Make_Velm_Date(&date, "2004.02.01", "yyyy.mm.dd");
    Make_Velm_Time(&time, "09:05:67", "hh:mm:ss");
    EXPECT_STREQ(Time_2_DICOM(&date, &time), "20040201090607") << "texts are parsed first";
    Make_Velm_Date(&date, "2004.02.32", "yyyy.mm.dd");
    Make_Velm_Time(&time, "9", "hh:mm:ss");
    EXPECT_STREQ(Time_2_Str(&date, &time), "") << "what is wrong prints as nothing";
}

TEST(Time, SurvivesEachRefusedAllocation)
{
    auto failure = [](const std::string &what) {
        return "line N of .\\conv_time_fct \nmemory error in strdup (var=" + what + ")\n";
    };
    const char *const fields[] = {"time_str", "time_template"};
    refuse_each_allocation([&](int n) {
        Reports said;
        Velmora_Time time = {};
        Make_Velm_Time(&time, "123456", "hhmmss");
        EXPECT_EQ(said.failures(), time.state == 0 ? failure(std::string("time->") + fields[n - 1]) : "");
        Time_Free(&time);
    });
    Velmora_Time origin = waiting("123456", "hhmmss");
    refuse_each_allocation([&](int n) {
        Reports said;
        Velmora_Time time = {};
        bool refused = Time_Copy(&time, &origin) == 0;
        EXPECT_EQ(said.failures(), refused ? failure(std::string("dest->") + fields[n - 1]) : "");
        Time_Free(&time);
    });
    {
        Reports said;
        Refuse refuse(1);
        EXPECT_EQ(Velm_Time_Postproc(&origin), nullptr);
        EXPECT_EQ(said.failures(), failure("tmplt"));
        EXPECT_EQ(origin.state, 2);
    }
    Time_Free(&origin);
}
