// Dates: stored, parsed by a template, repaired, checked, compared.
#include <gtest/gtest.h>
#include <time.h>

#include "tests/support/reports.h"
#include "values/DICOM_Values.h"

// "state year-month-day", or the state alone where there are no numbers.
static std::string outline(const Velmora_Date &date)
{
    std::string numbers =
        " " + std::to_string(date.year) + "-" + std::to_string(date.month) + "-" + std::to_string(date.day);
    return std::to_string(date.state) + (date.state == 1 ? numbers : "");
}

static Velmora_Date waiting(const char *text, const char *tmplt)
{
    Velmora_Date date = {};
    EXPECT_EQ(Make_Velm_Date(&date, text, tmplt), 2);
    return date;
}

// The date and the message that parsing gives, its texts being released.
static std::string parsed(Velmora_Date &date, char old_dates = 0)
{
    const char *message = Velm_Date_Postproc(&date, old_dates);
    EXPECT_TRUE(date.date_str == nullptr && date.date_template == nullptr);
    return outline(date) + (message != nullptr ? std::string(" ") + message : "");
}

TEST(Date, IsParsedByItsTemplate)
{
    struct { const char *text, *tmplt; char old_dates; const char *expected; } cases[] = {
        {"20040512", "yyyymmdd", 0, "1 2004-5-12"}, {"040512", "yymmdd", 0, "1 2004-5-12"},
        {"751231", "yymmdd", 0, "0 invalid year in date (=1975)"}, {"751231", "yymmdd", 1, "1 1975-12-31"},
        {"091231", "yymmdd", 1, "1 2009-12-31"}, {"101231", "yymmdd", 1, "1 1910-12-31"},
        {"591231", "yymmdd", 0, "0 invalid year in date (=2059)"},
        {"601231", "yymmdd", 0, "0 invalid year in date (=1960)"}, {"2004-05-12", "yyyy.mm.dd", 0, "1 2004-5-12"},
        {"2004--5--12", "yyyy.mm.dd", 0, "1 2004-5-12"},
        {"2004.05.12", "yyyymmdd", 0, "0 Missmatch between date string (2004.05.12) and template (yyyymmdd)"},
        {"20040512", "yyyy.mm.dd", 0, "0 Missmatch between date string (20040512) and template (yyyy.mm.dd)"},
        {"200405.12", "yyyymm.dd", 0, "1 2004-5-12"},   // too far behind for a separator
        {"12 Jan 2004", "dd mmm yyyy", 0, "1 2004-1-12"}, {"12 fev 2004", "dd ccc yyyy", 0, "1 2004-2-12"},
        {"12 juin 2004", "dd mmm yyyy", 0, "0 invalid month in date (=0)"},
        {"12/005/2004", "dd/mm/yyyy", 0, "0 invalid month in date (=0)"},   // a name
        {"12DEC2004", "ddmmmyyyy", 0, "1 2004-12-12"}, {"12/05/04 10", "dd/mm/yy", 0, "1 2004-5-12"},
        {"13/13/2004", "dd/mm/yyyy", 0, "0 invalid month in date (=13)"},
        {"32/12/2004", "dd/mm/yyyy", 0, "0 invalid day in date (=32)"},
        {"20041200", "yyyymmdd", 0, "0 invalid day in date (=0)"}, {"00000000", "yyyymmdd", 0, "0"},
        {"  20040512", "yyyymmdd", 0, "0"}, {" 0040512", "yyyymmdd", 0, "1 2004-5-12"},
        {"19801231", "yyyymmdd", 0, "0 invalid year in date (=1980)"}, {"19801231", "yyyymmdd", 1, "1 1980-12-31"},
        {"19810101", "yyyymmdd", 0, "1 1981-1-1"}, {"18001231", "yyyymmdd", 1, "0 invalid year in date (=1800)"},
        {"20910512", "yyyymmdd", 0, "1 1991-5-12 fixed a probable Y2K bug. Year in date changed from (2091) to (1991)"},
        {"20800512", "yyyymmdd", 0, "0 invalid year in date (=2080)"},
        {"21000512", "yyyymmdd", 0, "0 invalid year in date (=2100)"},
        {"20910512", "yyyymmdd", 1, "0 invalid year in date (=2091)"}, {"20500512", "yyyymmdd", 0, "1 2050-5-12"},
        {"20510512", "yyyymmdd", 0, "0 invalid year in date (=2051)"},
        {"2004051", "yyyymmdd", 0, "0 Unable to extract date from string"},
        {"2004.05.12", "yyyy.mm", 0, "0 Unable to extract date from string"},
        {"2004.05.12", "yyyy.xx.dd", 0, "0 Unable to extract date from string"},
        {"2004.05.12", "dd.dd.yyyy", 0, "0 invalid month in date (=0)"},
        {"20040512", "yyyycccc", 0, "0 Unable to extract date from string"},
        {"2004051", "yyyymmd", 0, "1 2004-5-1"},   // the text ends inside the day
        {"20040512", "y", 0, "0 Unable to extract date from string"},
        {"200405123456789", "yyyymmddxxxxx", 0, "0 Unable to extract date from string"},   // 12 are kept
    };
    Reports said(15);
    for (const auto &each : cases) {
        Velmora_Date date = waiting(each.text, each.tmplt);
        EXPECT_EQ(parsed(date, each.old_dates), each.expected)
            << each.text << " by " << each.tmplt << ", old dates " << int(each.old_dates);
    }
    EXPECT_TRUE(said.all.empty());
}

TEST(Date, TakesNumbersUncheckedAndTheClock)
{
    Velmora_Date date = {};
    int year = 7, month = 7, day = 7;
    EXPECT_EQ(Get_Velm_Date(&date, &year, &month, &day), 0);
    EXPECT_EQ(Get_Velm_Date(&date), 0);
    EXPECT_EQ(year, 7);
    EXPECT_EQ(Make_Velm_Date(&date, 65536 + 1980, 257, -255), 1);
    EXPECT_EQ(outline(date), "1 1980-1-1");
    EXPECT_EQ(Get_Velm_Date(&date), 0);
    EXPECT_EQ(Make_Velm_Date(&date, 2004, 2, 29), 1);
    EXPECT_EQ(Get_Velm_Date(&date, &year, &month, &day), 1);
    EXPECT_EQ(year * 10000 + month * 100 + day, 20040229);
    EXPECT_EQ(Get_Velm_Date(&date), (24 * 12 + 1) * 31 + 28);

    setenv("TZ", "EST5", 1);
    tzset();
    EXPECT_EQ(Make_Velm_Date(&date, int64_t(1084320000)), 1);   // 12 May 2004, 00:00 UTC
    EXPECT_EQ(outline(date), "1 2004-5-11");
    EXPECT_EQ(Make_Velm_Date(&date, INT64_MAX), 0) << "no local time";
    EXPECT_EQ(outline(date), "1 2004-5-11");
    unsetenv("TZ");
}

TEST(Date, ReleasesItsTextsWhicheverWayItTakes)
{
    Velmora_Date date = waiting("20040512", "yyyymmdd"), other = waiting("x", "y"), last = {};
    EXPECT_EQ(Make_Velm_Date(&date, date.date_str, date.date_template), 2) << "its own texts";
    EXPECT_EQ(Make_Velm_Date(&date, "", "yyyymmdd"), 0);
    EXPECT_EQ(Make_Velm_Date(&date, "20040512", nullptr), 0);
    EXPECT_EQ(Date_Copy(&other, &date), 1);
    EXPECT_EQ(Date_Copy(&other, &other), 1);
    EXPECT_STREQ(other.date_str, "20040512") << "a refused text changes nothing";
    EXPECT_STREQ(other.date_template, "yyyymmdd");

    EXPECT_EQ(Make_Velm_Date(&date, 2004, 5, 13), 1);
    EXPECT_EQ(date.date_str, nullptr) << "numbers over a text";
    EXPECT_EQ(Date_Copy(&other, &date), 1);
    EXPECT_EQ(outline(other), "1 2004-5-13");
    EXPECT_STREQ(other.date_str, "20040512") << "a copy of numbers leaves the texts";
    EXPECT_EQ(Date_Copy(&last, &other), 1);
    EXPECT_EQ(last.date_str, nullptr);
    Date_Free(&other);
    EXPECT_EQ(outline(other), "0");
    EXPECT_STREQ(other.date_str, "20040512") << "texts that do not wait are not released";
    EXPECT_EQ(Make_Velm_Date(&other, "20040513", "yyyymmdd"), 2) << "the next text takes their place";
    for (Velmora_Date *each : {&other, &other, static_cast<Velmora_Date *>(nullptr)})
        Date_Free(each);
    EXPECT_EQ(other.date_str, nullptr);
}

TEST(Date, IsOrdered)
{
    Velmora_Date a = {}, b = {}, empty = {}, text = waiting("x", "y");
    struct { int a[3], b[3], result; } cases[] = {
        {{2004, 5, 12}, {2004, 5, 12}, 0},   {{2003, 6, 13}, {2004, 5, 12}, -100}, {{2004, 5, 12}, {2003, 6, 13}, 100},
        {{2004, 4, 13}, {2004, 5, 12}, -10}, {{2004, 6, 11}, {2004, 5, 12}, 10},   {{2004, 5, 11}, {2004, 5, 12}, -1},
        {{2004, 5, 13}, {2004, 5, 12}, 1},
    };
    for (const auto &each : cases) {
        Make_Velm_Date(&a, each.a[0], each.a[1], each.a[2]);
        Make_Velm_Date(&b, each.b[0], each.b[1], each.b[2]);
        EXPECT_EQ(Velm_Date_Cmp(&a, &b), each.result) << outline(a) << " / " << outline(b);
    }
    struct { Velmora_Date *a, *b; int result; } incomplete[] = {
        {nullptr, nullptr, 0}, {nullptr, &empty, -1000}, {&empty, nullptr, 1000}, {&empty, &text, 0},
        {&text, &a, -1000},    {&a, &text, 1000},
    };
    for (const auto &each : incomplete)
        EXPECT_EQ(Velm_Date_Cmp(each.a, each.b), each.result);
    Date_Free(&text);
}

TEST(Date, KnowsMonthsInEnglishAndFrench)
{
    struct { const char *text; int month; } cases[] = {
        {"JANVIER", 1}, {"fevrier", 2}, {"Feb", 2}, {"mars", 3}, {"Avril", 4}, {"april", 4}, {"May", 5}, {"juin", 6},
        {"June", 6}, {"juillet", 7}, {"jul", 7}, {"Aout", 8}, {"aug", 8}, {"sept", 9}, {"octo", 10}, {"nov", 11},
        {"DECEMBRE", 12}, {"jui", 0}, {"ja", 0}, {"", 0}, {"mai", 0},
    };
    for (const auto &each : cases) {
        std::string text = each.text;
        EXPECT_EQ(Get_Month_From_Str(text.data()), each.month) << each.text;
    }
    EXPECT_EQ(Get_Month_From_Str(nullptr), 0);
    EXPECT_EQ(std::string(Get_Month_From_Int(0)) + Get_Month_From_Int(1) + Get_Month_From_Int(12) +
                  Get_Month_From_Int(13), "???JanDec???");
}
