// Times of day: a text is parsed by the template that tells where its digits stand, then seconds, minutes and hours
// are brought into their ranges.
#include "values/values_internal.h"

#include <math.h>
#include <stdio.h>

enum {
    FRACTION_DIGITS = 17,   // digits of a fraction that are read
    MINUTES_OF_DAY = 24 * 60,
};

/* ---- parsing ------------------------------------------------------------------------------- */

// The number at the start of a text, as atof reads it, without exponents and with a point whatever the locale.
static double read_decimal(const char *text)
{
    while (*text == ' ' || (*text >= '\t' && *text <= '\r'))
        text++;
    bool negative = *text == '-';
    if (*text == '-' || *text == '+')
        text++;
    double value = 0, unit = 1;
    bool behind_point = false;
    for (; (*text >= '0' && *text <= '9') || (*text == '.' && !behind_point); text++) {
        if (*text == '.') {
            behind_point = true;
            continue;
        }
        value = value * 10 + (*text - '0');
        if (behind_point)
            unit *= 10;
    }
    return negative ? -value / unit : value / unit;
}

// Copies the two characters of a text that stand where the template has its letter. The place is known to the caller.
static bool take_two(const char *text, size_t at, char two[3])
{
    if (strnlen(text, at + 2) < at + 2)
        return false;
    copy_cut(two, 3, text + at);
    return true;
}

// The fraction of a second: as many digits as the template has letters in a row. Where the template has a point in
// front of them the text needs it too.
static double read_fraction(const char *text, const char *tmplt)
{
    const char *letter = strchr(tmplt, 'f');
    if (letter == nullptr)
        return 0;
    size_t at = static_cast<size_t>(letter - tmplt);
    if (at >= strlen(text) || (at > 0 && tmplt[at - 1] == '.' && text[at - 1] != '.'))
        return 0;
    size_t count = strspn(letter, "f");
    if (count > FRACTION_DIGITS)
        count = FRACTION_DIGITS;
    char digits[2 + FRACTION_DIGITS + 1] = "0.";
    copy_cut(digits + 2, count + 1, text + at);
    digits[2 + strspn(digits + 2, "0123456789")] = '\0';
    return read_decimal(digits);
}

static char *give_up(Velmora_Time *time, char *message)
{
    release_texts(time);
    time->state = STATE_EMPTY;
    return message;
}

// Nothing of the record changes until all letters of the template are found.
static char *parse_by_template(Velmora_Time *time, const char *tmplt, char *message)
{
    const char *text = time->time_str;
    const char *hour = strchr(tmplt, 'h'), *minute = strchr(tmplt, 'm'), *second = strchr(tmplt, 's');
    char two[3];
    if (hour != nullptr && !take_two(text, static_cast<size_t>(hour - tmplt), two)) {
        snprintf(message, MESSAGE_ROOM, "Unable to extract time from string (=%s)", text);
        return give_up(time, message);
    }
    if (hour == nullptr || minute == nullptr || second == nullptr) {
        snprintf(message, MESSAGE_ROOM, "invalid time template (%s)", tmplt);
        return message;
    }

    time->hour = static_cast<unsigned char>(atoi(two));
    if (take_two(text, static_cast<size_t>(minute - tmplt), two))
        time->minute = static_cast<unsigned char>(atoi(two));
    if (take_two(text, static_cast<size_t>(second - tmplt), two))
        time->second = static_cast<float>(read_decimal(two));
    time->second = static_cast<float>(time->second + read_fraction(text, tmplt));
    release_texts(time);
    time->state = STATE_NUMBERS;
    return nullptr;
}

static char *parse(Velmora_Time *time)
{
    static char message[MESSAGE_ROOM];   // given to hosts until the next parse
    message[0] = '\0';

    if (time->time_str == nullptr) {
        copy_cut(message, sizeof message, "Unable to extract date from empty string");
        return give_up(time, message);
    }
    bool missing;
    char *tmplt = copy_template(Velm_Time_Template, time->time_template, &missing);
    if (missing) {
        copy_cut(message, sizeof message, "Unable to extract time with empty template");
        return give_up(time, message);
    }
    if (tmplt == nullptr)
        return nullptr;
    char *result = parse_by_template(time, tmplt, message);
    frame_free(tmplt);
    return result;
}

/* ---- ranges --------------------------------------------------------------------------------- */

// Takes whole minutes out of the seconds and gives their number, modulo a day: nothing keeps the days.
static int carry_seconds(float *second)
{
    if (!isfinite(*second))
        *second = 0;
    if (*second >= 0 && *second < 60)
        return 0;
    double minutes = trunc(static_cast<double>(*second) / 60);
    if (*second < 0)
        minutes -= 1;
    *second = static_cast<float>(*second - minutes * 60);
    return static_cast<int>(fmod(minutes, MINUTES_OF_DAY));
}

char *Velm_Time_Postproc(Velmora_Time *time)
{
    if (time->state == STATE_TEXT) {
        char *complaint = parse(time);
        if (complaint != nullptr || time->state == STATE_TEXT)
            return complaint;
    }
    if (time->state == STATE_EMPTY)
        return nullptr;

    // Minutes that cannot pay for negative seconds borrow from the hours, and these from the day before.
    int total = time->hour * 60 + time->minute + carry_seconds(&time->second);
    total = (total % MINUTES_OF_DAY + MINUTES_OF_DAY) % MINUTES_OF_DAY;
    time->hour = static_cast<unsigned char>(total / 60);
    time->minute = static_cast<unsigned char>(total % 60);
    return nullptr;
}
