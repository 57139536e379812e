// Dates and times of day: the records, their copies and comparison, the clock. Texts are parsed in date_parse.cpp and
// time_parse.cpp, and printed in time_text.cpp.
#include "values/values_internal.h"

#include <math.h>
#include <time.h>

static const char SOURCE[] = ".\\conv_time_fct";

enum {
    DATE_TEXT_ROOM = 13,
    TIME_TEMPLATE_ROOM = 80,
};

/* ---- texts that wait for parsing -------------------------------------------------------- */

// Copies of a text and its template, made before anything of a record changes.
struct Text_Pair {
    char *text, *tmplt;
};

// Null gives null.
static bool copy_texts(Text_Pair *copy, const char *text, const char *tmplt, const char *text_name,
                       const char *template_name)
{
    *copy = {};
    if (text != nullptr && (copy->text = ALLOC_STRDUP(hwnd, text_name, text)) == nullptr)
        return false;
    if (tmplt != nullptr && (copy->tmplt = ALLOC_STRDUP(hwnd, template_name, tmplt)) == nullptr) {
        frame_free(copy->text);
        return false;
    }
    return true;
}

static void take_texts(Velmora_Date *date, Text_Pair copy)
{
    release_texts(date);
    date->date_str = copy.text;
    date->date_template = copy.tmplt;
}

static void take_texts(Velmora_Time *time, Text_Pair copy)
{
    release_texts(time);
    time->time_str = copy.text;
    time->time_template = copy.tmplt;
}

void release_texts(Velmora_Date *date)
{
    frame_free(date->date_str);
    frame_free(date->date_template);
    date->date_str = date->date_template = nullptr;
}

void release_texts(Velmora_Time *time)
{
    frame_free(time->time_str);
    frame_free(time->time_template);
    time->time_str = time->time_template = nullptr;
}

char *copy_template(const char *overriding, const char *own, bool *missing)
{
    const char *chosen = !is_empty(overriding) ? overriding : own;
    *missing = is_empty(chosen);
    return *missing ? nullptr : ALLOC_STRDUP(hwnd, "tmplt", chosen);
}

/* ---- numbers ------------------------------------------------------------------------------ */

static bool local_time(int64_t clock, struct tm *parts)
{
    time_t seconds = static_cast<time_t>(clock);
    if (seconds != clock)
        return false;
#if defined(_WIN32)
    return localtime_s(parts, &seconds) == 0;
#else
    return localtime_r(&seconds, parts) != nullptr;
#endif
}

// Numbers take the place of a text that waited: nobody would parse it any more.
static void set_numbers(Velmora_Date *date, int64_t year, int month, int day)
{
    if (date->state == STATE_TEXT)
        release_texts(date);
    date->state = STATE_NUMBERS;
    date->year = static_cast<unsigned short>(year);
    date->month = static_cast<unsigned char>(month);
    date->day = static_cast<unsigned char>(day);
}

static void set_numbers(Velmora_Time *time, int hour, int minute, float second)
{
    if (time->state == STATE_TEXT)
        release_texts(time);
    time->state = STATE_NUMBERS;
    time->hour = static_cast<unsigned char>(hour);
    time->minute = static_cast<unsigned char>(minute);
    time->second = second;
}

// Compares one step of a comparison: weight against its opposite.
template <class Number> static int compare_numbers(Number a, Number b, int weight)
{
    return a < b ? -weight : a > b ? weight : 0;
}

/* ---- dates --------------------------------------------------------------------------------- */

int Make_Velm_Date(Velmora_Date *date, int year, int month, int day)
{
    set_numbers(date, year, month, day);
    return 1;
}

int Make_Velm_Date(Velmora_Date *date, int64_t clock)
{
    struct tm parts;
    if (!local_time(clock, &parts))
        return 0;
    set_numbers(date, static_cast<int64_t>(parts.tm_year) + 1900, parts.tm_mon + 1, parts.tm_mday);
    return 1;
}

int Make_Velm_Date(Velmora_Date *date, const char *text, const char *tmplt)
{
    if (is_empty(text) || is_empty(tmplt))
        return 0;
    char kept[DATE_TEXT_ROOM];
    copy_cut(kept, sizeof kept, text);
    Text_Pair copy;
    if (!copy_texts(&copy, kept, tmplt, "date->date_str", "date->date_template"))
        return 0;
    take_texts(date, copy);
    date->state = STATE_TEXT;
    return 2;
}

int Get_Velm_Date(Velmora_Date *date, int *year, int *month, int *day)
{
    if (date->state != STATE_NUMBERS)
        return 0;
    *year = date->year;
    *month = date->month;
    *day = date->day;
    return 1;
}

int Get_Velm_Date(Velmora_Date *date)
{
    const int first_of_1980 = (1980 * 12 + 1) * 31 + 1;
    if (date->state != STATE_NUMBERS)
        return 0;
    return (date->year * 12 + date->month) * 31 + date->day - first_of_1980;
}

int Date_Copy(Velmora_Date *dest, Velmora_Date *origin)
{
    if (origin->state == STATE_TEXT) {
        Text_Pair copy;
        if (!copy_texts(&copy, origin->date_str, origin->date_template, "dest->date_str", "dest->date_template"))
            return 0;
        take_texts(dest, copy);
    }
    dest->state = origin->state;
    dest->year = origin->year;
    dest->month = origin->month;
    dest->day = origin->day;
    return 1;
}

void Date_Free(Velmora_Date *date)
{
    if (date == nullptr)
        return;
    if (date->state == STATE_TEXT)
        release_texts(date);
    date->state = STATE_EMPTY;
    date->year = 0;
    date->month = date->day = 0;
}

int Velm_Date_Cmp(Velmora_Date *a, Velmora_Date *b)
{
    if (a == nullptr || b == nullptr)
        return compare_numbers(a != nullptr, b != nullptr, 1000);
    if (a->state != STATE_NUMBERS || b->state != STATE_NUMBERS)
        return compare_numbers(a->state == STATE_NUMBERS, b->state == STATE_NUMBERS, 1000);
    if (a->year != b->year)
        return compare_numbers(a->year, b->year, 100);
    if (a->month != b->month)
        return compare_numbers(a->month, b->month, 10);
    return compare_numbers(a->day, b->day, 1);
}

/* ---- times ---------------------------------------------------------------------------------- */

int Make_Velm_Time(Velmora_Time *time, int hour, int minute, float second)
{
    set_numbers(time, hour, minute, second);
    return 1;
}

int Make_Velm_Time(Velmora_Time *time, int hour, int minute, int second)
{
    set_numbers(time, hour, minute, static_cast<float>(second));
    return 1;
}

int Make_Velm_Time(Velmora_Time *time, float hours)
{
    float minutes = (hours - truncf(hours)) * 60;
    float seconds = (minutes - truncf(minutes)) * 60;
    set_numbers(time, whole_part(hours), whole_part(minutes), seconds);
    return 1;
}

int Make_Velm_Time(Velmora_Time *time, int64_t clock)
{
    struct tm parts;
    if (local_time(clock, &parts))
        set_numbers(time, parts.tm_hour, parts.tm_min, static_cast<float>(parts.tm_sec));
    return 0;
}

int Make_Velm_Time(Velmora_Time *time, int clock)
{
    return Make_Velm_Time(time, static_cast<int64_t>(clock));
}

int Make_Velm_Time(Velmora_Time *time, const char *text, const char *tmplt)
{
    if (is_empty(text) || is_empty(tmplt))
        return 0;
    char kept_template[TIME_TEMPLATE_ROOM], kept[TIME_TEMPLATE_ROOM];
    copy_cut(kept_template, sizeof kept_template, tmplt);
    copy_cut(kept, strlen(kept_template) + 1, text);
    Text_Pair copy;
    if (!copy_texts(&copy, kept, kept_template, "time->time_str", "time->time_template"))
        return 0;
    take_texts(time, copy);
    time->state = STATE_TEXT;
    return 0;
}

int Get_Velm_Time(Velmora_Time *time, int *hour, int *minute, float *second)
{
    if (time->state != STATE_NUMBERS)
        return 0;
    *hour = time->hour;
    *minute = time->minute;
    *second = time->second;
    return 1;
}

int Get_Velm_Time(Velmora_Time *time, float *hours)
{
    if (time->state != STATE_NUMBERS)
        return 0;
    *hours = static_cast<float>(time->hour) + static_cast<float>(time->minute) / 60 + time->second / 3600;
    return 1;
}

int Get_Velm_Time(Velmora_Time *time)
{
    if (time->state != STATE_NUMBERS)
        return 0;
    return (time->hour * 60 + time->minute) * 60 + whole_part(time->second);
}

int Time_Copy(Velmora_Time *dest, Velmora_Time *origin)
{
    if (origin->state == STATE_TEXT) {
        Text_Pair copy;
        if (!copy_texts(&copy, origin->time_str, origin->time_template, "dest->time_str", "dest->time_template"))
            return 0;
        take_texts(dest, copy);
    }
    dest->state = origin->state;
    dest->hour = origin->hour;
    dest->minute = origin->minute;
    dest->second = origin->second;
    return 1;
}

void Time_Free(Velmora_Time *time)
{
    if (time == nullptr)
        return;
    if (time->state == STATE_TEXT)
        release_texts(time);
    time->state = STATE_EMPTY;
    time->hour = time->minute = 0;
    time->second = 0;
}

int Velm_Time_Cmp(Velmora_Time *a, Velmora_Time *b)
{
    if (a == nullptr || b == nullptr)
        return compare_numbers(a != nullptr, b != nullptr, 1000);
    if (a->state != STATE_NUMBERS || b->state != STATE_NUMBERS)
        return compare_numbers(a->state == STATE_NUMBERS, b->state == STATE_NUMBERS, 1000);
    if (a->hour != b->hour)
        return compare_numbers(a->hour, b->hour, 100);
    if (a->minute != b->minute)
        return compare_numbers(a->minute, b->minute, 10);
    return compare_numbers(a->second, b->second, 1);
}
