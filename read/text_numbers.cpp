// Numbers written as text, whatever the locale of the process says about the decimal point.
#include "read/read_internal.h"

#include <charconv>
#include <limits>

static bool is_digit(char c)
{
    return c >= '0' && c <= '9';
}

static const char *skip_blanks(const char *text, const char *end)
{
    while (text != end && (*text == ' ' || (*text >= '\t' && *text <= '\r')))
        text++;
    return text;
}

// The power of ten that the first digit other than zero stands for, plus one: above 0 for numbers from 1 up.
static int64_t magnitude_of(const char *text, const char *end)
{
    int64_t magnitude = 0;
    bool is_fraction = false, is_significant = false;
    for (; text != end && (is_digit(*text) || *text == '.'); text++) {
        if (*text == '.')
            is_fraction = true;
        else if (*text != '0')
            is_significant = true;
        if (*text != '.' && is_significant != is_fraction)
            magnitude += is_significant ? 1 : -1;
    }
    if (text != end && (*text == 'e' || *text == 'E'))
        magnitude += whole_number(text + 1, end);
    return magnitude;
}

int whole_number(const char *text, const char *end)
{
    text = skip_blanks(text, end);
    bool is_negative = text != end && *text == '-';
    if (text != end && (*text == '-' || *text == '+'))
        text++;
    int64_t value = 0;
    for (; text != end && is_digit(*text) && value <= INT_MAX; text++)
        value = value * 10 + (*text - '0');
    if (is_negative)
        return value > INT_MAX ? INT_MIN : static_cast<int>(-value);
    return value > INT_MAX ? INT_MAX : static_cast<int>(value);
}

double real_number(const char *text, const char *end)
{
    text = skip_blanks(text, end);
    bool is_negative = text != end && *text == '-';
    if (text != end && (*text == '-' || *text == '+'))
        text++;
    if (text == end || *text == '-')   // the conversion takes a sign of its own
        return 0;

    double value = 0;
    std::errc fault = std::from_chars(text, end, value).ec;
    if (fault == std::errc::result_out_of_range)
        value = magnitude_of(text, end) > 0 ? std::numeric_limits<double>::infinity() : 0;
    return is_negative ? -value : value;
}

int cut_to_int(double value)
{
    if (value >= INT_MAX)
        return INT_MAX;
    if (value <= INT_MIN)
        return INT_MIN;
    return value == value ? static_cast<int>(value) : 0;   // not a number is not equal to itself
}
