// Dates: stored, parsed by a template, repaired, checked, compared.
#include <gtest/gtest.h>
#include <time.h>

#include "tests/support/reports.h"
#include "values/DICOM_Values.h"

static std::string shown(const char *text)
{
    return text != nullptr ? text : "(null)";
}

// "state year-month-day", or the state alone where there are no numbers.
static std::string outline(const Velmora_Date &date)
{
    if (date.state != 1)
        return std::to_string(date.state);
    return "1 " + std::to_string(date.year) + "-" + std::to_string(date.month) + "-" + std::to_string(date.day);
}

static Velmora_Date waiting(const char *text, const char *tmplt)
{
    Velmora_Date date = {};
    EXPECT_EQ(Make_Velm_Date(&date, text, tmplt), 2);
    return date;
}

TEST(Date, IsParsedByItsTemplate)
{
    struct {
        const char *text, *tmplt;
        char old_dates;
        const char *date, *message;
    } cases[] = {
        {"20040512",        "yyyymmdd",      0, "1 2004-5-12",  "(null)"},
        {"040512",          "yymmdd",        0, "1 2004-5-12",  "(null)"},
        {"751231",          "yymmdd",        0, "0",            "invalid year in date (=1975)"},
        {"751231",          "yymmdd",        1, "1 1975-12-31", "(null)"},
        {"091231",          "yymmdd",        1, "1 2009-12-31", "(null)"},
        {"101231",          "yymmdd",        1, "1 1910-12-31", "(null)"},
        {"991231",          "yymmdd",        0, "1 1999-12-31", "(null)"},
        {"591231",          "yymmdd",        0, "0",            "invalid year in date (=2059)"},
        {"601231",          "yymmdd",        0, "0",            "invalid year in date (=1960)"},
        {"2004.05.12",      "yyyy.mm.dd",    0, "1 2004-5-12",  "(null)"},
        {"2004-05-12",      "yyyy.mm.dd",    0, "1 2004-5-12",  "(null)"},
        {"2004--5--12",     "yyyy.mm.dd",    0, "1 2004-5-12",  "(null)"},
        {"2004.05.12",      "yyyymmdd",      0, "0",
         "Missmatch between date string (2004.05.12) and template (yyyymmdd)"},
        {"20040512",        "yyyy.mm.dd",    0, "0",
         "Missmatch between date string (20040512) and template (yyyy.mm.dd)"},
        {"200405.12",       "yyyymm.dd",     0, "1 2004-5-12",  "(null)"},   // too far behind for a separator
        {"12 Jan 2004",     "dd mmm yyyy",   0, "1 2004-1-12",  "(null)"},
        {"12 fev 2004",     "dd ccc yyyy",   0, "1 2004-2-12",  "(null)"},
        {"12 juin 2004",    "dd mmm yyyy",   0, "0",            "invalid month in date (=0)"},
        {"12/005/2004",     "dd/mm/yyyy",    0, "0",            "invalid month in date (=0)"},   // a name
        {"12DEC2004",       "ddmmmyyyy",     0, "1 2004-12-12", "(null)"},
        {"12/05/2004 10",   "dd/mm/yyyy",    0, "1 2004-5-12",  "(null)"},
        {"12/05/04 10",     "dd/mm/yy",      0, "1 2004-5-12",  "(null)"},
        {"13/12/2004",      "mm/dd/yyyy",    0, "1 2004-12-13", "(null)"},
        {"13/13/2004",      "dd/mm/yyyy",    0, "0",            "invalid month in date (=13)"},
        {"32/12/2004",      "dd/mm/yyyy",    0, "0",            "invalid day in date (=32)"},
        {"20041200",        "yyyymmdd",      0, "0",            "invalid day in date (=0)"},
        {"00000000",        "yyyymmdd",      0, "0",            "(null)"},
        {"19910512",        "yyyymmdd",      0, "1 1991-5-12",  "(null)"},
        {"19801231",        "yyyymmdd",      0, "0",            "invalid year in date (=1980)"},
        {"19801231",        "yyyymmdd",      1, "1 1980-12-31", "(null)"},
        {"18001231",        "yyyymmdd",      1, "0",            "invalid year in date (=1800)"},
        {"20910512",        "yyyymmdd",      0, "1 1991-5-12",
         "fixed a probable Y2K bug. Year in date changed from (2091) to (1991)"},
        {"20800512",        "yyyymmdd",      0, "0",            "invalid year in date (=2080)"},
        {"21000512",        "yyyymmdd",      0, "0",            "invalid year in date (=2100)"},
        {"20910512",        "yyyymmdd",      1, "0",            "invalid year in date (=2091)"},
        {"20500512",        "yyyymmdd",      0, "1 2050-5-12",  "(null)"},
        {"20510512",        "yyyymmdd",      0, "0",            "invalid year in date (=2051)"},
        {"  20040512",      "yyyymmdd",      0, "0",            "(null)"},   // blank
        {" 0040512",        "yyyymmdd",      0, "1 2004-5-12",  "(null)"},
        {"2004051",         "yyyymmdd",      0, "0",            "Unable to extract date from string"},
        {"2004.05",         "yyyy.mm.dd",    0, "0",            "Unable to extract date from string"},
        {"2004.05.12",      "yyyy.mm",       0, "0",            "Unable to extract date from string"},
        {"2004.05.12",      "yyyy.xx.dd",    0, "0",            "Unable to extract date from string"},
        {"2004.05.12",      "dd.dd.yyyy",    0, "0",            "invalid month in date (=0)"},
        {"20040512",        "yyyycccc",      0, "0",            "Unable to extract date from string"},
        {"2004051",         "yyyymmd",       0, "1 2004-5-1",   "(null)"},   // the text ends inside the day
        {"20040512",        "y",             0, "0",            "Unable to extract date from string"},
        {"200405123456789", "yyyymmddxxxxx", 0, "0",            "Unable to extract date from string"},   // 12 are kept
    };
    Reports said(15);
    for (const auto &each : cases) {
        Velmora_Date date = waiting(each.text, each.tmplt);
        std::string message = shown(Velm_Date_Postproc(&date, each.old_dates));
        EXPECT_EQ(outline(date) + " " + message, std::string(each.date) + " " + each.message)
            << each.text << " by " << each.tmplt << ", old dates " << int(each.old_dates);
        EXPECT_EQ(date.date_str, nullptr);
        EXPECT_EQ(date.date_template, nullptr);
    }
    EXPECT_TRUE(said.all.empty());
}

TEST(Date, IsParsedByTheOverridingTemplateIfThereIsOne)
{
    struct {
        const char *overriding, *own, *result;
    } cases[] = {
        {"ddmmyyyy", "yyyymmdd", "1 2004-5-12 (null)"},
        {"ddmmyyyy", nullptr,    "1 2004-5-12 (null)"},
        {"",         "ddmmyyyy", "1 2004-5-12 (null)"},
        {"",         "",         "0 Unable to extract date with empty template"},
        {nullptr,    nullptr,    "0 Unable to extract date with empty template"},
    };
    for (const auto &each : cases) {
        Velm_Date_Template = each.overriding;
        Velmora_Date date = waiting("12052004", "x");
        free(date.date_template);
        date.date_template = each.own != nullptr ? strdup(each.own) : nullptr;
        std::string message = shown(Velm_Date_Postproc(&date, 0));
        EXPECT_EQ(outline(date) + " " + message, each.result);
        EXPECT_EQ(date.date_str, nullptr);
        EXPECT_EQ(date.date_template, nullptr);
    }
    Velm_Date_Template = nullptr;

    Velmora_Date date = waiting("x", "y");
    free(date.date_str);
    date.date_str = nullptr;
    EXPECT_STREQ(Velm_Date_Postproc(&date, 0), "Unable to extract date from empty string");
    EXPECT_EQ(outline(date), "0");
    EXPECT_EQ(date.date_template, nullptr);
}

TEST(Date, MessagesAreCutAndStayValidFor127FurtherCalls)
{
    std::string tmplt = "dd/" + std::string(300, 'x');
    Velmora_Date date = waiting("12052004", tmplt.c_str());
    char *mismatch = Velm_Date_Postproc(&date, 0);
    EXPECT_EQ(mismatch, ("Missmatch between date string (12052004) and template (" + tmplt).substr(0, 79));
    std::string text = mismatch;

    Make_Velm_Date(&date, 2004, 5, 32);
    char *first = Velm_Date_Postproc(&date, 0);
    for (int i = 0; i < 127; i++) {
        date = waiting("12052004", "ddmmyyyy");
        Velm_Date_Postproc(&date, 0);
    }
    EXPECT_EQ(mismatch, text);
    EXPECT_STREQ(first, "invalid day in date (=32)");
    Make_Velm_Date(&date, 2004, 13, 13);
    EXPECT_EQ(Velm_Date_Postproc(&date, 0), first);
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
    EXPECT_EQ(std::to_string(year) + " " + std::to_string(month) + " " + std::to_string(day), "2004 2 29");
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
    EXPECT_STREQ(date.date_str, "20040512") << "a refused text changes nothing";
    EXPECT_EQ(Date_Copy(&other, &date), 1);
    EXPECT_EQ(Date_Copy(&other, &other), 1);
    EXPECT_STREQ(other.date_str, "20040512");
    EXPECT_STREQ(other.date_template, "yyyymmdd");
    EXPECT_EQ(other.state, 2);

    EXPECT_EQ(Make_Velm_Date(&date, 2004, 5, 13), 1) << "numbers over a text";
    EXPECT_EQ(date.date_str, nullptr);
    EXPECT_EQ(Date_Copy(&other, &date), 1);
    EXPECT_EQ(outline(other), "1 2004-5-13");
    EXPECT_STREQ(other.date_str, "20040512") << "a copy of numbers leaves the texts";
    EXPECT_EQ(Date_Copy(&last, &other), 1);
    EXPECT_EQ(last.date_str, nullptr);
    Date_Free(&other);
    EXPECT_EQ(outline(other), "0");
    EXPECT_STREQ(other.date_str, "20040512") << "texts that do not wait are not released";
    EXPECT_EQ(Make_Velm_Date(&other, "20040513", "yyyymmdd"), 2) << "the next text takes their place";
    Date_Free(&other);
    Date_Free(&other);
    Date_Free(nullptr);
    EXPECT_EQ(other.date_str, nullptr);
}

TEST(Date, IsOrdered)
{
    struct {
        int a[3], b[3], result;
    } cases[] = {
        {{2004, 5, 12}, {2004, 5, 12}, 0},
        {{2003, 6, 13}, {2004, 5, 12}, -100},
        {{2004, 5, 12}, {2003, 6, 13}, 100},
        {{2004, 4, 13}, {2004, 5, 12}, -10},
        {{2004, 6, 11}, {2004, 5, 12}, 10},
        {{2004, 5, 11}, {2004, 5, 12}, -1},
        {{2004, 5, 13}, {2004, 5, 12}, 1},
    };
    Velmora_Date a = {}, b = {}, empty = {}, text = waiting("x", "y");
    for (const auto &each : cases) {
        Make_Velm_Date(&a, each.a[0], each.a[1], each.a[2]);
        Make_Velm_Date(&b, each.b[0], each.b[1], each.b[2]);
        EXPECT_EQ(Velm_Date_Cmp(&a, &b), each.result) << outline(a) << " / " << outline(b);
    }
    EXPECT_EQ(Velm_Date_Cmp(nullptr, nullptr), 0);
    EXPECT_EQ(Velm_Date_Cmp(nullptr, &empty), -1000);
    EXPECT_EQ(Velm_Date_Cmp(&empty, nullptr), 1000);
    EXPECT_EQ(Velm_Date_Cmp(&empty, &text), 0);
    EXPECT_EQ(Velm_Date_Cmp(&text, &a), -1000);
    EXPECT_EQ(Velm_Date_Cmp(&a, &text), 1000);
    Date_Free(&text);
}

TEST(Date, KnowsMonthsInEnglishAndFrench)
{
    struct {
        const char *text;
        int month;
    } cases[] = {
        {"JANVIER",  1},
        {"fevrier",  2},
        {"Feb",      2},
        {"mars",     3},
        {"Avril",    4},
        {"april",    4},
        {"May",      5},
        {"juin",     6},
        {"June",     6},
        {"juillet",  7},
        {"jul",      7},
        {"Aout",     8},
        {"aug",      8},
        {"sept",     9},
        {"octo",     10},
        {"nov",      11},
        {"DECEMBRE", 12},
        {"jui",      0},
        {"ja",       0},
        {"",         0},
        {"mai",      0},
    };
    for (const auto &each : cases) {
        std::string text = each.text;
        EXPECT_EQ(Get_Month_From_Str(text.data()), each.month) << each.text;
    }
    char text[] = "MARS";
    Get_Month_From_Str(text);
    EXPECT_STREQ(text, "mars");
    EXPECT_EQ(Get_Month_From_Str(nullptr), 0);
    EXPECT_STREQ(Get_Month_From_Int(1), "Jan");
    EXPECT_STREQ(Get_Month_From_Int(12), "Dec");
    EXPECT_STREQ(Get_Month_From_Int(0), "???");
    EXPECT_STREQ(Get_Month_From_Int(13), "???");
}

static std::string failure(const std::string &what)
{
    return "line N of .\\conv_time_fct \nmemory error in strdup (var=" + what + ")\n";
}

TEST(Date, SurvivesEachRefusedAllocation)
{
    const char *const fields[] = {"date_str", "date_template"};
    refuse_each_allocation([&](int n) {
        Reports said;
        Velmora_Date date = {};
        bool refused = Make_Velm_Date(&date, "20040512", "yyyymmdd") == 0;
        EXPECT_EQ(said.failures(), refused ? failure(std::string("date->") + fields[n - 1]) : "");
        EXPECT_EQ(outline(date), refused ? "0" : "2");
        Date_Free(&date);
    });
    Velmora_Date origin = waiting("20040512", "yyyymmdd");
    refuse_each_allocation([&](int n) {
        Velmora_Date date = {};
        Make_Velm_Date(&date, 2004, 5, 12);
        Reports said;
        bool refused = Date_Copy(&date, &origin) == 0;
        EXPECT_EQ(said.failures(), refused ? failure(std::string("dest->") + fields[n - 1]) : "");
        EXPECT_EQ(outline(date), refused ? "1 2004-5-12" : "2");
        Date_Free(&date);
    });
    {
        Reports said;
        Refuse refuse(1);
        EXPECT_EQ(Velm_Date_Postproc(&origin, 0), nullptr);
        EXPECT_EQ(said.failures(), failure("tmplt"));
    }
    EXPECT_EQ(outline(origin), "2") << "a parse without memory can be tried again";
    EXPECT_EQ(Velm_Date_Postproc(&origin, 0), nullptr);
    EXPECT_EQ(outline(origin), "1 2004-5-12");
}
