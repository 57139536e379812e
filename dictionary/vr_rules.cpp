// The table of VRs, and the rules that its rows name: which stages a value goes through, and the VRs with steps of
// their own. The stages themselves are in vr_rules_stages.cpp, the quick looks in vr_rules_quick.cpp.
#include "dictionary/vr_rules_internal.h"

// Memory failures name the file of the twin at work.
#define SOURCE (pass->twin->source)

enum { SHOWN_OF_TIME = 1024 };   // characters of a time that a message shows

/* ---- rules that several VRs share -------------------------------------------------- */

static int binary_rule(Pass *pass, DICOM_List *tag, const VR_Rule *rule)
{
    if (tag->size % rule->unit != 0) {
        REPORT(pass->window, Flag_Error_Warning, "%s Invalid data! Expecting %s but got %d bytes", warning_prefix(pass),
               rule->expected, tag->size);
        tag->flag |= FLAG_INVALID;
        return 0;
    }
    if (!rule->counts)
        return 1;
    return tag->size > 0 ? tag->size / rule->unit : 0;
}

static int fit_length(Pass *pass, DICOM_List *tag, const VR_Rule *rule)
{
    int count = rule->stage == MULTIPLE ? text_multiple_stage(pass, tag, static_cast<int>(rule->max))
                                        : text_single_stage(pass, tag, rule->max);
    return even_stage(pass, tag, rule->pad) ? count : 0;
}

static int text_rule(Pass *pass, DICOM_List *tag, const VR_Rule *rule)
{
    if (rule->trail != SKIP)
        padding_stage(pass, tag, rule->lead, rule->trail);
    if (char_set_text(rule->set) != nullptr)
        char_set_stage(pass, tag, char_set_text(rule->set));
    return fit_length(pass, tag, rule);
}

/* ---- rules of one VR --------------------------------------------------------------- */

static int entity_rule(Pass *pass, DICOM_List *tag, const VR_Rule *rule)
{
    int invalid = 0;
    for (int i = 0; i < tag->size; i++) {
        if (is_printable(tag->data[i]))
            continue;
        invalid++;
        if (pass->twin->repairs)
            tag->data[i] = '_';
    }
    if (invalid > 0)
        REPORT(pass->window, Flag_Error_Report, "%s %d Invalid character in data", report_prefix(pass), invalid);
    return fit_length(pass, tag, rule);
}

// Fills a short age with zeros at its front; of a long one the end is kept, where the unit stands.
static int repair_age(Pass *pass, DICOM_List *tag)
{
    char age[4] = {'0', '0', '0', '0'};
    int kept = tag->size < 4 ? tag->size : 4;
    memcpy(age + 4 - kept, tag->data + tag->size - kept, static_cast<size_t>(kept));
    return replace_value(pass, tag, age, sizeof age);
}

static int age_rule(Pass *pass, DICOM_List *tag, const VR_Rule *rule)
{
    char_set_stage(pass, tag, char_set_text(rule->set));
    if (tag->size == static_cast<int>(rule->max))
        return 1;
    if (pass->twin->repairs && tag->size >= 2)
        return repair_age(pass, tag);
    REPORT(pass->window, Flag_Error_Warning, "%s Invalid data! Expecting %s but got %d bytes", warning_prefix(pass),
           rule->expected, tag->size);
    return pass->twin->repairs ? 1 : 0;
}

// The number at the start of so many characters.
static int number_in(const char *text, int length)
{
    int number = 0;
    for (int i = 0; i < length && text[i] >= '0' && text[i] <= '9'; i++)
        number = number * 10 + (text[i] - '0');
    return number;
}

enum { DATE_ROOM = 48 };

static void write_date(char *date, int year, int month, int day)
{
    snprintf(date, DATE_ROOM, "%04d%02d%02d", year, month, day);
}

// YYMMDD, between 1960 and 2059.
static void write_short_date(char *date, const char *old)
{
    int year = 1900 + number_in(old, 2);
    write_date(date, year < 1960 ? year + 100 : year, number_in(old + 2, 2), number_in(old + 4, 2));
}

// The year of this writer is counted from 1900 and ran past 1999 into a third digit: 19100.01.2 is a day of January
// 2000. The digit too many has pushed the last one of the day out.
static bool has_lost_day(const char *old)
{
    return old[0] == '1' && old[1] == '9' && old[5] == '.';
}

static int reject_lost_day(Pass *pass, const DICOM_List *tag)
{
    char date[DATE_ROOM];
    write_date(date, 1900 + number_in(tag->data + 2, 3), number_in(tag->data + 6, 2), 10 * number_in(tag->data + 9, 1));
    REPORT(pass->window, Flag_Error_Warning, pass->twin->lost_day, warning_prefix(pass), tag->size, tag->data, date);
    return 0;
}

static int date_rule(Pass *pass, DICOM_List *tag, const VR_Rule *rule)
{
    enum { SHORT = 6, PLAIN = 8, POINTED = 10 };
    if (tag->size != SHORT && tag->size != PLAIN && tag->size != POINTED)
        REPORT(pass->window, Flag_Error_Warning, "%s Invalid data! Expecting %s but got %d bytes", warning_prefix(pass),
               rule->expected, tag->size);
    char_set_stage(pass, tag, char_set_text(rule->set));

    if (tag->size == PLAIN)
        return 1;
    if (tag->size != SHORT && tag->size != POINTED)
        return 0;
    if (tag->size == POINTED && has_lost_day(tag->data))
        return reject_lost_day(pass, tag);

    char old[POINTED], date[DATE_ROOM];
    int old_size = tag->size;
    memcpy(old, tag->data, static_cast<size_t>(old_size));
    if (old_size == SHORT)
        write_short_date(date, old);
    else
        write_date(date, number_in(old, 4), number_in(old + 5, 2), number_in(old + 8, 2));
    if (pass->twin->repairs && !replace_value(pass, tag, date, PLAIN))
        return 0;
    REPORT(pass->window, Flag_Error_Report, pass->twin->old_syntax, report_prefix(pass), old_size, old, PLAIN, date);
    return pass->twin->repairs ? 1 : 0;
}

static int integer_rule(Pass *pass, DICOM_List *tag, const VR_Rule *rule)
{
    bool decimal = tag->size > 0 && memchr(tag->data, '.', static_cast<size_t>(tag->size)) != nullptr;
    if (decimal && !pass->twin->repairs) {
        REPORT(pass->window, Flag_Error_Warning, "%s Invalid data! Expecting VR=IS but got VR=DS",
               warning_prefix(pass));
        return 0;
    }
    if (decimal && !int_from_float_stage(pass, tag))
        return 0;
    padding_stage(pass, tag, rule->lead, rule->trail);
    char_set_stage(pass, tag, char_set_text(rule->set));
    if (!valid_int_stage(pass, tag))
        return 0;
    return fit_length(pass, tag, rule);
}

// HH:MM:SS loses its two separators.
static int modernise_time(Pass *pass, DICOM_List *tag)
{
    int size = tag->size - 2;
    char *new_time = static_cast<char *>(ALLOC_CALLOC(pass->window, "new_time", tag->size - 1, 1));
    if (new_time == nullptr)
        return 0;
    memcpy(new_time, tag->data, 2);
    memcpy(new_time + 2, tag->data + 3, 2);
    memcpy(new_time + 4, tag->data + 6, static_cast<size_t>(size - 4));
    REPORT(pass->window, Flag_Error_Report, pass->twin->old_syntax, report_prefix(pass),
           tag->size < SHOWN_OF_TIME ? tag->size : SHOWN_OF_TIME, tag->data,
           size < SHOWN_OF_TIME ? size : SHOWN_OF_TIME, new_time);
    frame_free(tag->data);
    tag->data = new_time;
    tag->size = size;
    tag->flag |= FLAG_SYNTAX_ERROR;
    return 1;
}

static int time_rule(Pass *pass, DICOM_List *tag, const VR_Rule *rule)
{
    if (is_old_time(tag)) {
        int done = modernise_time(pass, tag);
        if (!done || !pass->twin->repairs)
            return 0;
    }
    return text_rule(pass, tag, rule);
}

/* ---- the table --------------------------------------------------------------------- */

static const bool ONE = false, EACH = true;   // how many values the units are
static const unsigned int UT_MAX = 4294967293U;

// clang-format off
#define NO_TEXT SKIP, SKIP, ANY_CHAR, SINGLE, 0, '\0'
#define NO_UNIT 0, 0, ONE

static constexpr VR_Rule rules[] = {
    // VR   quick look     rule          lead     trail  characters  length      max  pad
    //                                   NO_TEXT, swap, unit, values, expected length
    {VR_AE, quick_text,    entity_rule,  SKIP,    SKIP,  PRINTABLE,  MULTIPLE,    16, ' '},
    {VR_AS, quick_exact,   age_rule,     SKIP,    SKIP,  AGES,       SINGLE,       4, ' ', NO_UNIT, "4 bytes"},
    {VR_AT, quick_binary,  binary_rule,  NO_TEXT, 0, 4, ONE,  "multiple 2*\"Unigned Short\""},
    {VR_CS, quick_text,    text_rule,    ' ',     ' ',   CODES,      MULTIPLE,    16, ' '},
    {VR_DA, quick_exact,   date_rule,    SKIP,    SKIP,  DATES,      SINGLE,       8, ' ', NO_UNIT, "6, 8 or 10 bytes"},
    {VR_DS, quick_text,    text_rule,    ' ',     ' ',   DECIMALS,   MULTIPLE,    16, ' '},
    {VR_DT, quick_text,    text_rule,    NO_LEAD, ' ',   DATE_TIMES, MULTIPLE,    26, ' '},
    {VR_FD, quick_binary,  binary_rule,  NO_TEXT, 8, 8, EACH, "\"Floation Point Double\""},
    {VR_FL, quick_binary,  binary_rule,  NO_TEXT, 4, 4, EACH, "\"Floation Point\""},
    {VR_IS, quick_integer, integer_rule, ' ',     ' ',   INTEGERS,   MULTIPLE,    12, ' '},
    {VR_LO, quick_text,    text_rule,    ' ',     ' ',   ANY_CHAR,   MULTIPLE,    64, ' '},
    {VR_LT, quick_text,    text_rule,    NO_LEAD, ' ',   ANY_CHAR,   SINGLE,   10240, ' '},
    {VR_OB, quick_binary,  binary_rule,  NO_TEXT, 0, 1, ONE,  nullptr},
    {VR_OF, quick_binary,  binary_rule,  NO_TEXT, 4, 4, ONE,  "\"Other Float\""},
    {VR_OW, quick_binary,  binary_rule,  NO_TEXT, 2, 2, ONE,  "\"Other Word\""},
    {VR_PN, quick_text,    text_rule,    SKIP,    SKIP,  ANY_CHAR,   MULTIPLE,   320, ' '},
    {VR_SH, quick_text,    text_rule,    ' ',     ' ',   ANY_CHAR,   MULTIPLE,    16, ' '},
    {VR_SL, quick_binary,  binary_rule,  NO_TEXT, 4, 4, EACH, "\"Signed Long\""},
    {VR_SQ, quick_binary,  binary_rule,  NO_TEXT, 0, 1, ONE,  nullptr},
    {VR_SS, quick_binary,  binary_rule,  NO_TEXT, 2, 2, EACH, "\"Signed Short\""},
    {VR_ST, quick_text,    text_rule,    NO_LEAD, ' ',   ANY_CHAR,   SINGLE,    1024, ' '},
    {VR_TM, quick_time,    time_rule,    NO_LEAD, ' ',   TIMES,      MULTIPLE,    16, ' '},
    {VR_UI, quick_text,    text_rule,    NO_LEAD, '\0',  UIDS,       MULTIPLE,    64, '\0'},
    {VR_UL, quick_binary,  binary_rule,  NO_TEXT, 4, 4, EACH, "\"Signed Long\""},
    {VR_UN, quick_binary,  binary_rule,  NO_TEXT, 0, 1, ONE,  nullptr},
    {VR_US, quick_binary,  binary_rule,  NO_TEXT, 2, 2, EACH, "\"Unsigned Short\""},
    {VR_UT, quick_text,    text_rule,    NO_LEAD, ' ',   ANY_CHAR,   SINGLE,   UT_MAX, ' '},
};
// clang-format on

static const int LETTERS = 'Z' - 'A' + 1, RULES = sizeof rules / sizeof rules[0];

struct Rule_Index {
    signed char row[LETTERS][LETTERS];   // by the letters of the VR; -1: no rule
};

static constexpr Rule_Index make_index()
{
    Rule_Index index = {};
    for (auto &letter : index.row)
        for (signed char &row : letter)
            row = -1;
    for (int i = 0; i < RULES; i++)
        index.row[(rules[i].vr >> 8) - 'A'][(rules[i].vr & 0xFF) - 'A'] = static_cast<signed char>(i);
    return index;
}

static constexpr Rule_Index rule_index = make_index();

const VR_Rule *find_rule(unsigned short vr)
{
    int first = (vr >> 8) - 'A', second = (vr & 0xFF) - 'A';
    if (first < 0 || first >= LETTERS || second < 0 || second >= LETTERS || rule_index.row[first][second] < 0)
        return nullptr;
    return &rules[rule_index.row[first][second]];
}
