// Dates and times as texts: the form of DICOM (PS3.5, 6.2: DA, TM, DT) and one for readers.
#include "values/values_internal.h"

#include <math.h>
#include <stdio.h>

void print_seconds(char *text, size_t room, float second, int decimals)
{
    if (!isfinite(second))
        second = 0;
    int whole = whole_part(second);
    float fraction = second - truncf(second);
    if (fraction < 0.001) {
        snprintf(text, room, "%02d", whole);
        return;
    }
    if (fraction > 0.999) {
        snprintf(text, room, "%02d", whole + 1);
        return;
    }
    // Seconds with a fraction have 24 bits, so this product is exact, and llrint rounds it as printf would.
    int scale = decimals == 6 ? 1000000 : 1000;
    long long units = llrint(static_cast<double>(second) * scale);
    snprintf(text, room, "%02d.%0*d", static_cast<int>(units / scale), decimals, static_cast<int>(units % scale));
}

// Texts that wait are parsed first; what is wrong with them is not passed on, their records are empty then.
static void settle(Velmora_Date *date, Velmora_Time *time)
{
    if (date != nullptr && date->state == STATE_TEXT)
        Velm_Date_Postproc(date, 0);
    if (time != nullptr && time->state == STATE_TEXT)
        Velm_Time_Postproc(time);
}

static bool is_set(const Velmora_Date *date)
{
    return date != nullptr && date->state != STATE_EMPTY;
}

static bool is_set(const Velmora_Time *time)
{
    return time != nullptr && time->state != STATE_EMPTY;
}

char *Time_2_DICOM(Velmora_Date *date, Velmora_Time *time)
{
    static char text[MESSAGE_ROOM];
    text[0] = '\0';
    settle(date, time);
    int length = 0;
    if (is_set(date))
        length += snprintf(text, sizeof text, "%4d%02d%02d", date->year, date->month, date->day);
    if (is_set(time)) {
        char seconds[MESSAGE_ROOM / 2];
        print_seconds(seconds, sizeof seconds, time->second, 6);
        snprintf(text + length, sizeof text - static_cast<size_t>(length), "%02d%02d%s", time->hour, time->minute,
                 seconds);
    }
    return text;
}

char *Time_2_Str(Velmora_Date *date, Velmora_Time *time)
{
    static char text[MESSAGE_ROOM];
    if (date == nullptr && time == nullptr)
        return nullptr;
    text[0] = '\0';
    settle(date, time);
    int length = 0;
    if (is_set(date))
        length += snprintf(text, sizeof text, "%02d %s %4d", date->day, Get_Month_From_Int(date->month), date->year);
    if (is_set(time)) {
        char seconds[MESSAGE_ROOM / 2];
        print_seconds(seconds, sizeof seconds, time->second, 3);
        snprintf(text + length, sizeof text - static_cast<size_t>(length), "%s%02d:%02d:%s", length > 0 ? "  " : "",
                 time->hour, time->minute, seconds);
    }
    return text;
}
