// The stages that the rules by VR are made of. Each works on the value in place, and after each the value is a block of
// exactly its size, or null without bytes. The check runs them on a copy that has a zero byte behind its end: there a
// stage strips and cuts, but a block never shrinks.
#include "dictionary/vr_rules_internal.h"

#include <locale.h>

// Memory failures name the file of the twin at work.
#define SOURCE (pass->twin->source)

enum {
    SHOWN_OF_TAIL = 1024,      // characters that a message shows of what was cut off
    SHOWN_OF_LONG_TEXT = 32,   // the same where a long text was cut
    SHOWN_OF_INTEGER = 1024,   // characters of an integer
};

/* ---- the block of the value -------------------------------------------------------- */

static size_t bytes_of(int size)
{
    return static_cast<size_t>(size);
}

// Gives the value so many of its bytes, in a block of that size.
static int fit_block(Pass *pass, DICOM_List *tag, int size)
{
    tag->size = size;
    if (size == 0) {
        frame_free(tag->data);
        tag->data = nullptr;
        return 1;
    }
    char *block = static_cast<char *>(ALLOC_REALLOC(pass->window, "tag->data", tag->data, size, 1));
    if (block == nullptr)
        return 0;
    tag->data = block;
    return 1;
}

// Ends the value after so many of its bytes.
static int shrink_value(Pass *pass, DICOM_List *tag, int size)
{
    if (size == tag->size)
        return 1;
    if (pass->twin->repairs)
        return fit_block(pass, tag, size);
    tag->size = size;
    tag->data[size] = '\0';
    return 1;
}

// Puts one byte behind the value, which keeps its size.
static int append_byte(Pass *pass, DICOM_List *tag, char byte)
{
    char *block = static_cast<char *>(ALLOC_REALLOC(pass->window, "tag->data", tag->data, bytes_of(tag->size) + 1, 1));
    if (block == nullptr)
        return 0;
    block[tag->size] = byte;
    tag->data = block;
    return 1;
}

static int terminate(Pass *pass, DICOM_List *tag)
{
    return pass->twin->repairs ? append_byte(pass, tag, '\0') : 1;
}

static int text_length(const DICOM_List *tag)
{
    const void *end = memchr(tag->data, '\0', bytes_of(tag->size));
    return end == nullptr ? tag->size : static_cast<int>(static_cast<const char *>(end) - tag->data);
}

// A terminated copy for a message.
static char *copy_value(Pass *pass, const DICOM_List *tag)
{
    char *buf = static_cast<char *>(ALLOC_CALLOC(pass->window, "buf", bytes_of(tag->size) + 1, 1));
    if (buf != nullptr)
        memcpy(buf, tag->data, bytes_of(tag->size));
    return buf;
}

int replace_value(Pass *pass, DICOM_List *tag, const char *text, int size)
{
    char *block = static_cast<char *>(ALLOC_REALLOC(pass->window, "tag->data", tag->data, size, 1));
    if (block == nullptr)
        return 0;
    memcpy(block, text, bytes_of(size));
    tag->data = block;
    tag->size = size;
    return 1;
}

/* ---- padding ----------------------------------------------------------------------- */

// Some writers pad texts with zero bytes and identifiers with blanks. One such byte is dropped.
static int drop_wrong_pad(Pass *pass, DICOM_List *tag, unsigned char trail)
{
    char *buf = copy_value(pass, tag);
    if (buf == nullptr)
        return 0;
    if (trail == ' ')
        REPORT(pass->window, Flag_Error_Report,
               "%s invalid padding char used in \"\x01%s\x02\" (NULL instead of SPACE)", report_prefix(pass), buf);
    else
        REPORT(pass->window, Flag_Error_Report,
               "%s invalid padding char used in \"\x01%s\x02\" (SPACE instead of NULL)", report_prefix(pass), buf);
    frame_free(buf);
    return shrink_value(pass, tag, tag->size - 1);
}

static int drop_lead(Pass *pass, DICOM_List *tag, unsigned char lead)
{
    int skipped = 0;
    while (skipped < tag->size && static_cast<unsigned char>(tag->data[skipped]) == lead)
        skipped++;
    if (skipped == 0)
        return 1;
    memmove(tag->data, tag->data + skipped, bytes_of(tag->size - skipped));
    return shrink_value(pass, tag, tag->size - skipped);
}

int padding_stage(Pass *pass, DICOM_List *tag, unsigned char lead, unsigned char trail)
{
    if (tag->size < 1)
        return 1;
    int size = tag->size;
    while (size > 0 && static_cast<unsigned char>(tag->data[size - 1]) == trail)
        size--;
    if (!shrink_value(pass, tag, size))
        return 0;
    if (size == 0)
        return 1;

    char last = tag->data[size - 1];
    if ((trail == ' ' && last == '\0') || (trail == '\0' && last == ' '))
        return drop_wrong_pad(pass, tag, trail);
    return lead == NO_LEAD ? 1 : drop_lead(pass, tag, lead);
}

int even_stage(Pass *pass, DICOM_List *tag, char pad)
{
    if (!pass->twin->repairs || tag->size < 1 || tag->size % 2 == 0 || tag->size == INT32_MAX)
        return 1;
    if (!append_byte(pass, tag, pad))
        return 0;
    tag->size++;
    return 1;
}

/* ---- characters -------------------------------------------------------------------- */

int char_set_stage(Pass *pass, DICOM_List *tag, const char *set)
{
    bool allowed[256] = {};
    for (const char *c = set; *c != '\0'; c++)
        allowed[static_cast<unsigned char>(*c)] = true;

    int strange = 0;
    for (int at = 0; at < tag->size; at++)
        if (!allowed[static_cast<unsigned char>(tag->data[at])])
            strange++;
    if (strange == 0)
        return 1;

    char *buf = copy_value(pass, tag);
    if (buf == nullptr)
        return 0;
    REPORT(pass->window, Flag_Error_Report, "%s %d char in \"\x01%s\x02\" not from set \"\x01%s\x02\"",
           report_prefix(pass), strange, buf, set);
    frame_free(buf);
    if (!pass->twin->repairs)
        return 1;

    int kept = 0;
    for (int at = 0; at < tag->size; at++)
        if (allowed[static_cast<unsigned char>(tag->data[at])])
            tag->data[kept++] = tag->data[at];
    tag->flag |= FLAG_SYNTAX_ERROR;
    return shrink_value(pass, tag, kept);
}

/* ---- length ------------------------------------------------------------------------ */

// A backslash at the end promises a value that is not there. Private groups may mean it.
static void judge_last_backslash(Pass *pass, DICOM_List *tag, int *length)
{
    if (is_private_group(tag->group) || *length == 0 || tag->data[*length - 1] != '\\')
        return;
    REPORT(pass->window, Flag_Error_Report, pass->twin->last_backslash, report_prefix(pass));
    if (!pass->twin->repairs)
        return;
    tag->data[--*length] = '\0';
    tag->flag |= FLAG_SYNTAX_ERROR;
}

// Copies one value to the end of out: cut to the limit, then without blanks at its ends. Returns the bytes written.
static int append_value(Pass *pass, DICOM_List *tag, const char *value, int length, int max, char *out)
{
    if (length > max) {
        int tail = length - max < SHOWN_OF_TAIL ? length - max : SHOWN_OF_TAIL;
        REPORT(pass->window, Flag_Error_Warning,
               "%s String too long! (\x01%d\x02/vs/\x01%d max\x02) Truncated to \"\x01%.*s\x02\"(\x04%.*s\x02)",
               warning_prefix(pass), length, max, max, value, tail, value + max);
        tag->flag |= FLAG_SYNTAX_ERROR;
        length = max;
    }
    while (length > 0 && *value == ' ') {
        value++;
        length--;
    }
    while (length > 0 && value[length - 1] == ' ')
        length--;
    memcpy(out, value, bytes_of(length));
    return length;
}

// Puts the new text into the place of the value, in a block of its size.
static int adopt_text(Pass *pass, DICOM_List *tag, char *new_data, int size)
{
    if (size > 0 && pass->twin->repairs) {
        char *block = static_cast<char *>(ALLOC_REALLOC(pass->window, "new_data", new_data, size, 1));
        if (block == nullptr) {
            frame_free(new_data);
            return 0;
        }
        new_data = block;
    }
    frame_free(tag->data);
    tag->data = new_data;
    tag->size = size;
    if (size > 0)
        return 1;
    frame_free(new_data);
    tag->data = nullptr;
    return 1;
}

int text_multiple_stage(Pass *pass, DICOM_List *tag, int max)
{
    REPORT(pass->window, LEVEL_FUNCTION, pass->twin->multiple_trace, tag->group, tag->element);
    if (tag->size < 1)
        return 1;
    if (!terminate(pass, tag))
        return 0;
    int length = text_length(tag);
    judge_last_backslash(pass, tag, &length);

    char *new_data = static_cast<char *>(ALLOC_CALLOC(pass->window, "new_data", bytes_of(tag->size) + 5, 1));
    if (new_data == nullptr)
        return 0;
    int size = 0, count = 1, start = 0;
    for (int at = 0; at <= length; at++) {
        if (at < length && tag->data[at] != '\\')
            continue;
        size += append_value(pass, tag, tag->data + start, at - start, max, new_data + size);
        if (at == length)
            break;
        new_data[size++] = '\\';
        start = at + 1;
        count++;
    }
    return adopt_text(pass, tag, new_data, size) ? count : 0;
}

// The twin that cuts shows both ends of what it keeps, and the start of what it drops; the other one's message ends
// before them.
static void cut_long_text(Pass *pass, DICOM_List *tag, int length, int max)
{
    char *text = tag->data, tail[SHOWN_OF_LONG_TEXT + 1] = "";
    memcpy(tail, text + max, bytes_of(length - max < SHOWN_OF_LONG_TEXT ? length - max : SHOWN_OF_LONG_TEXT));
    if (pass->twin->repairs)
        text[max] = '\0';
    REPORT(pass->window, Flag_Error_Warning, pass->twin->long_text, warning_prefix(pass), length, max, text,
           text + (max < 20 ? 0 : max - 20), tail);
    tag->flag |= FLAG_SYNTAX_ERROR;
}

int text_single_stage(Pass *pass, DICOM_List *tag, unsigned int max)
{
    if (pass->twin->single_trace != nullptr)
        REPORT(pass->window, LEVEL_LOCATION, pass->twin->single_trace, tag->group, tag->element);
    if (tag->size < 1)
        return 1;
    if (!terminate(pass, tag))
        return 0;
    int length = text_length(tag);
    if (static_cast<unsigned int>(length) > max) {
        cut_long_text(pass, tag, length, static_cast<int>(max));
        length = static_cast<int>(max);
    }
    return pass->twin->repairs ? fit_block(pass, tag, length) : 1;
}

/* ---- decimal integers --------------------------------------------------------------- */

int valid_int_stage(Pass *pass, DICOM_List *tag)
{
    REPORT(pass->window, LEVEL_FUNCTION, pass->twin->int_trace, tag->group, tag->element);
    int at = find_out_of_range(tag);
    if (at < 0)
        return 1;

    char digits[SHOWN_OF_INTEGER + 1];
    int count = 0;
    for (; at < tag->size && count < SHOWN_OF_INTEGER; at++) {
        char c = tag->data[at];
        if (c == '\\' || c == '\0')
            break;
        if (c != '-' && c != ' ')
            digits[count++] = c;
    }
    digits[count] = '\0';
    REPORT(pass->window, Flag_Error_Warning, "%s Value out of range (\x01%s\x02 \\vs\\ -2**31 to 2**31 - 1)",
           warning_prefix(pass), digits);
    tag->flag |= FLAG_INVALID;
    return 0;
}

// The work text ends in a zero byte; atof stops at the backslash. It reads the decimal point of the locale that the
// host has set, so that one is put in.
static void use_decimal_point(char *text)
{
    const char point = *localeconv()->decimal_point;
    if (point == '.')
        return;
    for (char *c = text; *c != '\0'; c++)
        *c = *c == '.' ? point : *c == point ? '?' : *c;
}

static int truncated(double number)
{
    // The comparison fails for NaN too.
    if (number > -2147483649.0 && number < 2147483648.0)
        return static_cast<int>(number);
    return INT32_MIN;
}

// Writes the integers that stand in a work text between backslashes. Returns their length; without out it only
// measures.
static size_t write_integers(const char *float_str, char *out)
{
    size_t size = 0;
    for (const char *value = float_str; value != nullptr;) {
        char number[16];
        int length = snprintf(number, sizeof number, "%-d", truncated(atof(value)));
        if (size > 0 && out != nullptr)
            out[size] = '\\';
        size += size > 0;
        if (out != nullptr)
            memcpy(out + size, number, bytes_of(length));
        size += bytes_of(length);
        value = strchr(value, '\\');
        value += value != nullptr;
    }
    return size;
}

int int_from_float_stage(Pass *pass, DICOM_List *tag)
{
    if (tag->size < 1)
        return 1;
    char *float_str = static_cast<char *>(ALLOC_MALLOC(pass->window, "float_str", bytes_of(tag->size) + 1, 1));
    if (float_str == nullptr)
        return 0;
    memcpy(float_str, tag->data, bytes_of(tag->size));
    float_str[tag->size] = '\0';
    use_decimal_point(float_str);

    size_t size = write_integers(float_str, nullptr);
    char *int_str = nullptr;
    if (size <= INT32_MAX)   // no value can be longer
        int_str = static_cast<char *>(ALLOC_CALLOC(pass->window, "int_str", size, 1));
    if (int_str != nullptr)
        write_integers(float_str, int_str);
    frame_free(float_str);
    if (int_str == nullptr)
        return 0;

    REPORT(pass->window, Flag_Error_Warning, "%s Invalid data! Converted from \"\x01%.*s\x02\" to \"\x01%.*s\x02\"",
           warning_prefix(pass), tag->size, tag->data, static_cast<int>(size), int_str);
    frame_free(tag->data);
    tag->data = int_str;
    tag->size = static_cast<int>(size);
    return 1;
}
