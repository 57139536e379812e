// The quick look: one pass over a value that finds, for nearly every value of a sound data set, that the stages would
// neither change it nor say anything. Whatever looks odd is left to the stages, which do each of their steps.
#include "dictionary/vr_rules_internal.h"

/* ---- classes of characters --------------------------------------------------------- */

static constexpr const char *set_texts[CHAR_SETS] = {
    nullptr,                                      // ANY_CHAR: all but zero
    nullptr,                                      // PRINTABLE: 0x20 to 0x7E
    "ABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_ \\",   // CODES
    "0123456789+-Ee. \\",                         // DECIMALS
    "0123456789+- \\",                            // INTEGERS
    "0123456789+-. \\",                           // DATE_TIMES
    "0123456789. \\",                             // TIMES
    "0123456789. \\",                             // UIDS
    "0123456789.\\",                              // DATES
    "0123456789DWMY",                             // AGES
};

enum : unsigned short { BREAK = 1 << CHAR_SETS };   // a backslash or a blank

struct Char_Classes {
    unsigned short of[256];   // a bit for each set that has the character, and BREAK
};

static constexpr Char_Classes make_classes()
{
    Char_Classes classes = {};
    for (int c = 1; c < 256; c++)
        classes.of[c] = static_cast<unsigned short>(1 << ANY_CHAR | (c >= 0x20 && c <= 0x7E ? 1 << PRINTABLE : 0));
    for (int set = 0; set < CHAR_SETS; set++)
        for (const char *c = set_texts[set]; c != nullptr && *c != '\0'; c++)
            classes.of[static_cast<unsigned char>(*c)] |= static_cast<unsigned short>(1 << set);
    classes.of[static_cast<unsigned char>(' ')] |= BREAK;
    classes.of[static_cast<unsigned char>('\\')] |= BREAK;
    return classes;
}

static constexpr Char_Classes classes = make_classes();

static unsigned int class_of(char c)
{
    return classes.of[static_cast<unsigned char>(c)];
}

const char *char_set_text(Char_Set set)
{
    return set_texts[set];
}

bool is_printable(char c)
{
    return (class_of(c) & 1 << PRINTABLE) != 0;
}

/* ---- what stages find without changing anything ------------------------------------- */

bool is_old_time(const DICOM_List *tag)
{
    return tag->size >= 6 && (tag->data[2] == ':' || tag->data[2] == '.');
}

int find_out_of_range(const DICOM_List *tag)
{
    int start = 0, digits = 0;
    unsigned char first = '\0';
    for (int at = 0; at <= tag->size; at++) {
        char c = at < tag->size ? tag->data[at] : '\0';
        if (c == '\\' || c == '\0') {
            // A test of length and first digit, not of the exact range.
            if (digits > 10 || (digits == 10 && first > '2'))
                return start;
            if (c == '\0')
                return -1;
            start = at + 1;
            digits = 0;
        } else if (c != '-' && c != ' ') {
            if (digits == 0)
                first = static_cast<unsigned char>(c);
            digits++;
        }
    }
    return -1;
}

// Number of values of a text whose every value is clean: no longer than the limit, without blanks at its ends, nothing
// but characters of the set. 0 if one is not.
//   length  without a pad byte
//   size    with it
static int count_clean_values(const char *text, int length, int size, const VR_Rule *rule)
{
    const unsigned int wanted = 1u << rule->set;
    const int max = static_cast<int>(rule->max);
    int count = 1, start = 0;
    for (int at = 0; at < length; at++) {
        unsigned int found = class_of(text[at]);
        if ((found & (wanted | BREAK)) == wanted)
            continue;
        if ((found & wanted) == 0)
            return 0;
        if (text[at] == ' ') {
            if (at == start)
                return 0;
            continue;
        }
        if (at - start > max || (at > start && text[at - 1] == ' '))
            return 0;
        start = at + 1;
        count++;
    }
    if (text[length - 1] == ' ')
        return 0;
    // Without a padding stage the pad byte counts towards the length of the last value.
    int last = rule->trail == SKIP ? size - start : length - start;
    return last <= max ? count : 0;
}

// A text that needs nothing has an even size, of which at most one byte is a pad.
static int count_clean_text(const DICOM_List *tag, const VR_Rule *rule)
{
    if (tag->size < 2 || tag->size % 2 != 0)
        return 0;
    int length = tag->size;
    if (tag->data[length - 1] == rule->pad)
        length--;
    if (tag->data[length - 1] == rule->pad)
        return 0;

    if (rule->stage == SINGLE) {
        bool fits = static_cast<unsigned int>(length) <= rule->max;
        return fits && memchr(tag->data, '\0', static_cast<size_t>(length)) == nullptr;
    }
    if (!is_private_group(tag->group) && tag->data[length - 1] == '\\')
        return 0;
    return count_clean_values(tag->data, length, tag->size, rule);
}

static void trace_stage(Pass *pass, const char *trace, int level)
{
    if (trace != nullptr)
        REPORT(pass->window, level, trace, pass->group, pass->element);
}

static void trace_length_stage(Pass *pass, const VR_Rule *rule)
{
    if (rule->stage == MULTIPLE)
        trace_stage(pass, pass->twin->multiple_trace, LEVEL_FUNCTION);
    else
        trace_stage(pass, pass->twin->single_trace, LEVEL_LOCATION);
}

/* ---- the looks --------------------------------------------------------------------- */

int quick_text(Pass *pass, const DICOM_List *tag, const VR_Rule *rule)
{
    int count = count_clean_text(tag, rule);
    if (count > 0)
        trace_length_stage(pass, rule);
    return count;
}

int quick_integer(Pass *pass, const DICOM_List *tag, const VR_Rule *rule)
{
    int count = count_clean_text(tag, rule);
    if (count == 0 || find_out_of_range(tag) >= 0)
        return 0;
    trace_stage(pass, pass->twin->int_trace, LEVEL_FUNCTION);
    trace_length_stage(pass, rule);
    return count;
}

int quick_time(Pass *pass, const DICOM_List *tag, const VR_Rule *rule)
{
    return is_old_time(tag) ? 0 : quick_text(pass, tag, rule);
}

int quick_exact(Pass *, const DICOM_List *tag, const VR_Rule *rule)
{
    if (tag->size != static_cast<int>(rule->max))
        return 0;
    for (int at = 0; at < tag->size; at++)
        if ((class_of(tag->data[at]) & 1u << rule->set) == 0)
            return 0;
    return 1;
}

int quick_binary(Pass *, const DICOM_List *tag, const VR_Rule *rule)
{
    if (tag->size < 0 || tag->size % rule->unit != 0)
        return 0;
    return rule->counts ? tag->size / rule->unit : 1;
}
