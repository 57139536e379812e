// Dates: a text is parsed by the template that tells where its fields stand, then the numbers are checked, and the
// usual faults repaired: two-digit years, day and month exchanged, years that a clock of 1900 carried past 2000.
#include "values/values_internal.h"

#include <stdio.h>

// The fields of a text before they are numbers.
struct Date_Fields {
    char day[3], month[4], year[5];
};

struct Month_Prefix {
    unsigned char month;
    const char *prefix;
};

// In English and French, in small letters. The first that fits counts.
static const Month_Prefix month_prefixes[] = {
    {1,  "jan"},
    {2,  "fev"},
    {2,  "feb"},
    {3,  "mar"},
    {4,  "avr"},
    {4,  "apr"},
    {5,  "may"},
    {6,  "juin"},
    {6,  "jun"},
    {7,  "juil"},
    {7,  "jul"},
    {8,  "aou"},
    {8,  "aug"},
    {9,  "sep"},
    {10, "oct"},
    {11, "nov"},
    {12, "dec"},
};

static const char month_names[][4] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                      "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};

unsigned char Get_Month_From_Str(char *text)
{
    if (text == nullptr)
        return 0;
    Str_To_Lower(text);
    for (const Month_Prefix &each : month_prefixes)
        if (strncmp(text, each.prefix, strlen(each.prefix)) == 0)
            return each.month;
    return 0;
}

const char *Get_Month_From_Int(unsigned char month)
{
    return month >= 1 && month <= 12 ? month_names[month - 1] : "???";
}

/* ---- parsing ------------------------------------------------------------------------------ */

static bool is_digit(char c)
{
    return c >= '0' && c <= '9';
}

static bool is_letter_or_digit(char c)
{
    return is_digit(c) || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

static bool is_field_letter(char c)
{
    return c == 'y' || c == 'm' || c == 'c' || c == 'd';
}

// The separators show early: the first field has four characters at most. 0 means that there is none.
static char separator_of_text(const char *text)
{
    for (int i = 0; i <= 5 && text[i] != '\0'; i++)
        if (i > 0 && !is_letter_or_digit(text[i]))
            return text[i];
    return '\0';
}

static char separator_of_template(const char *tmplt)
{
    for (int i = 0; i <= 5 && tmplt[i] != '\0'; i++)
        if (!is_field_letter(tmplt[i]))
            return tmplt[i];
    return '\0';
}

// The next token of a text, cut out in place; separators side by side count as one. Null at the end.
static char *next_token(char **place, char separator)
{
    char *start = *place;
    while (*start == separator)
        start++;
    if (*start == '\0')
        return nullptr;
    char *end = start;
    while (*end != separator && *end != '\0')
        end++;
    *place = *end != '\0' ? end + 1 : end;
    *end = '\0';
    return start;
}

// A third field may have a time behind it: it ends at the first character that is no digit, but for its first two.
static void cut_behind_digits(char *token)
{
    if (strlen(token) < 2)
        return;
    char *end = token + 2;
    while (is_digit(*end))
        end++;
    *end = '\0';
}

// Splits both text and template into three tokens; the first letter of a template's token tells what the text's is.
static bool take_delimited(char *text, char text_separator, char *tmplt, char template_separator, Date_Fields *fields)
{
    for (int i = 0; i < 3; i++) {
        char *token = next_token(&text, text_separator);
        char *meaning = next_token(&tmplt, template_separator);
        if (token == nullptr || meaning == nullptr)
            return false;
        if (i == 2)
            cut_behind_digits(token);
        switch (meaning[0]) {
        case 'd':
            copy_cut(fields->day, sizeof fields->day, token);
            break;
        case 'm':
        case 'c':
            copy_cut(fields->month, sizeof fields->month, token);
            break;
        case 'y':
            copy_cut(fields->year, sizeof fields->year, token);
            break;
        default:
            return false;
        }
    }
    return true;
}

// Takes a field from the place where the template has its letter: it is as long as the template's longest form of it
// when the letter stands there again at the last place of that form, else two characters long.
static bool take_at_letter(const char *text, const char *tmplt, char letter, size_t longest, char *field)
{
    const char *found = strchr(tmplt, letter);
    if (found == nullptr)
        return false;
    bool is_long = strnlen(found, longest) == longest && found[longest - 1] == letter;
    copy_cut(field, (is_long ? longest : 2) + 1, text + (found - tmplt));
    return true;
}

static bool take_fixed(const char *text, const char *tmplt, Date_Fields *fields)
{
    return strlen(text) >= strlen(tmplt) && take_at_letter(text, tmplt, 'd', sizeof fields->day - 1, fields->day) &&
           take_at_letter(text, tmplt, 'm', sizeof fields->month - 1, fields->month) &&
           take_at_letter(text, tmplt, 'y', sizeof fields->year - 1, fields->year);
}

static void clear(Velmora_Date *date)
{
    release_texts(date);
    date->state = STATE_EMPTY;
}

static char *give_up(Velmora_Date *date, char *message, const char *why)
{
    clear(date);
    copy_cut(message, MESSAGE_ROOM, why);
    return message;
}

// Parses by a copy of the template, which it cuts to pieces like the record's text.
static char *parse_by_template(Velmora_Date *date, char *tmplt, char *message)
{
    char *text = date->date_str;
    char text_separator = separator_of_text(text), template_separator = separator_of_template(tmplt);
    if ((text_separator == '\0') != (template_separator == '\0')) {
        snprintf(message, MESSAGE_ROOM, "Missmatch between date string (%s) and template (%s)", text, tmplt);
        clear(date);
        return message;
    }

    Date_Fields fields = {};
    bool found = text_separator != '\0' ? take_delimited(text, text_separator, tmplt, template_separator, &fields)
                                        : take_fixed(text, tmplt, &fields);
    if (!found)
        return give_up(date, message, "Unable to extract date from string");

    date->day = static_cast<unsigned char>(atoi(fields.day));
    date->year = static_cast<unsigned short>(atoi(fields.year));
    date->month =
        strlen(fields.month) == 3 ? Get_Month_From_Str(fields.month) : static_cast<unsigned char>(atoi(fields.month));
    release_texts(date);
    date->state = STATE_NUMBERS;
    return nullptr;
}

static char *parse(Velmora_Date *date)
{
    static char messages[RING_SLOTS][MESSAGE_ROOM];   // given to hosts, each valid for 127 further parses
    static int counter = 0;
    char *message = messages[next_in_ring(&counter)];

    if (date->date_str == nullptr)
        return give_up(date, message, "Unable to extract date from empty string");
    if (strncmp(date->date_str, "  ", 2) == 0) {
        clear(date);
        return nullptr;
    }
    bool missing;
    char *tmplt = copy_template(Velm_Date_Template, date->date_template, &missing);
    if (missing)
        return give_up(date, message, "Unable to extract date with empty template");
    if (tmplt == nullptr)
        return nullptr;
    char *result = parse_by_template(date, tmplt, message);
    frame_free(tmplt);
    return result;
}

/* ---- checks and repairs -------------------------------------------------------------------- */

static int full_year(int two_digits, bool old_dates)
{
    int first_of_1900 = old_dates ? 10 : 60;
    return two_digits + (two_digits < first_of_1900 ? 2000 : 1900);
}

static char *reject(Velmora_Date *date, char *message, const char *what, int value)
{
    date->state = STATE_EMPTY;
    snprintf(message, MESSAGE_ROOM, "invalid %s in date (=%d)", what, value);
    return message;
}

static char *check_year(Velmora_Date *date, bool old_dates, char *message)
{
    int year = date->year;
    if (year > (old_dates ? 1800 : 1980) && year <= 2050)
        return nullptr;
    if (old_dates || year < 2081 || year > 2099)
        return reject(date, message, "year", year);
    date->year = static_cast<unsigned short>(year - 100);
    snprintf(message, MESSAGE_ROOM, "fixed a probable Y2K bug. Year in date changed from (%d) to (%d)", year,
             date->year);
    return message;
}

char *Velm_Date_Postproc(Velmora_Date *date, char old_dates)
{
    static char messages[RING_SLOTS][MESSAGE_ROOM];   // given to hosts, each valid for 127 further calls
    static int counter = 0;
    char *message = messages[next_in_ring(&counter)];

    if (date->state == STATE_TEXT) {
        char *complaint = parse(date);
        if (complaint != nullptr || date->state == STATE_TEXT)
            return complaint;
    }
    if (date->state == STATE_EMPTY)
        return nullptr;
    if (date->year == 0 && date->month == 0 && date->day == 0) {
        date->state = STATE_EMPTY;
        return nullptr;
    }
    if (date->year < 100)
        date->year = static_cast<unsigned short>(full_year(date->year, old_dates != 0));
    if (date->month > 12 && date->day <= 12) {
        unsigned char day = date->month;
        date->month = date->day;
        date->day = day;
    }
    if (date->day == 0 || date->day > 31)
        return reject(date, message, "day", date->day);
    if (date->month == 0 || date->month > 12)
        return reject(date, message, "month", date->month);
    return check_year(date, old_dates != 0, message);
}
