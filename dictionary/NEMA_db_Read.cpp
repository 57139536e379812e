// Parses the lines of the dictionary table. A line is cut up from its end, because a description may hold anything:
// "RET", then the alternates of VR and number of values, then what is left behind the tag.
#include "dictionary/dictionary_internal.h"

#include "tree/tree_internal.h"

// Where things stand in a line such as "(0010,0010) Patient's Name PN 1".
enum { GROUP_COLUMN = 1, ELEMENT_COLUMN = 6, DESCRIPTION_COLUMN = 12, DESCRIPTION_LENGTH = 79 };

struct Alternates {
    int count;
    unsigned short vr[MAX_ALTERNATES];   // in the order of parsing
    char vn[MAX_ALTERNATES][VN_ROOM];
};

static bool is_digit(char c)
{
    return c >= '0' && c <= '9';
}

static int hex_value(char c)
{
    if (is_digit(c))
        return c - '0';
    if (c >= 'a' && c <= 'f')
        return c - 'a' + 10;
    if (c >= 'A' && c <= 'F')
        return c - 'A' + 10;
    return -1;
}

// Four digits; any other character is a wildcard and counts as 0.
static unsigned short read_number(const char *digits, unsigned short *mask)
{
    unsigned value = 0, bits = 0;
    for (int i = 0; i < 4; i++) {
        int digit = hex_value(digits[i]);
        value = value << 4 | static_cast<unsigned>(digit >= 0 ? digit : 0);
        bits = bits << 4 | (digit >= 0 ? 0xFu : 0u);
    }
    *mask = static_cast<unsigned short>(bits);
    return static_cast<unsigned short>(value);
}

static void take_line(Dictionary_Text *line, const char *text)
{
    size_t length = strnlen(text, LINE_ROOM - 1);
    memset(line->text, 0, DESCRIPTION_COLUMN);   // the columns of the tag can be looked at in a short line too
    memcpy(line->text, text, length);
    line->text[length] = '\0';
    line->length = static_cast<int>(length);
}

static void cut_at(Dictionary_Text *line, int length)
{
    line->length = length;
    line->text[length] = '\0';
}

static void strip_end(Dictionary_Text *line)
{
    int length = line->length;
    while (length > 0 && line->text[length - 1] == ' ')
        length--;
    cut_at(line, length);
}

static char last_character(const Dictionary_Text *line)
{
    return line->length > 0 ? line->text[line->length - 1] : '\0';
}

static bool ends_in(const Dictionary_Text *line, const char *ending)
{
    int length = static_cast<int>(strlen(ending));
    return line->length >= length &&
           memcmp(line->text + line->length - length, ending, static_cast<size_t>(length)) == 0;
}

// The number of values of a line without brackets: "1", "1-8", "1-n", "2-2n".
static bool ends_in_vn(const Dictionary_Text *line)
{
    int length = line->length;
    if (is_digit(last_character(line)))
        return true;
    if (last_character(line) != 'n')
        return false;
    return (length >= 2 && line->text[length - 2] == '-') || (length >= 3 && line->text[length - 3] == '-');
}

void NEMA_db_Split_VR(Dictionary_Text *line, unsigned short *vr, char *vn)
{
    int start = line->length;
    while (start > 0 && line->text[start - 1] != ' ')
        start--;
    int length = line->length - start;
    if (length > VN_ROOM - 1)
        length = VN_ROOM - 1;
    memcpy(vn, line->text + start, static_cast<size_t>(length));
    vn[length] = '\0';
    cut_at(line, start);
    strip_end(line);

    *vr = VR_NONE;
    if (line->length < 2)
        return;
    *vr = pack_letters(line->text[line->length - 2], line->text[line->length - 1]);
    cut_at(line, line->length - 2);
    strip_end(line);
}

// Reads "(OB 1) or (OW 1)" from the end. Returns 0 for a line that is not of this form.
static int read_bracketed(Dictionary_Text *line, Alternates *found)
{
    while (last_character(line) == ')') {
        if (found->count == MAX_ALTERNATES)
            return 0;
        cut_at(line, line->length - 1);
        strip_end(line);
        NEMA_db_Split_VR(line, &found->vr[found->count], found->vn[found->count]);
        found->count++;
        if (last_character(line) != '(')
            return 0;
        cut_at(line, line->length - 1);
        strip_end(line);
        if (ends_in(line, " or")) {
            cut_at(line, line->length - 3);
            strip_end(line);
        }
    }
    return 1;
}

// What is left behind the tag, in place.
static const char *read_description(Dictionary_Text *line)
{
    if (line->length <= DESCRIPTION_COLUMN)
        return "";
    if (line->length > DESCRIPTION_COLUMN + DESCRIPTION_LENGTH)
        cut_at(line, DESCRIPTION_COLUMN + DESCRIPTION_LENGTH);
    strip_end(line);
    const char *description = line->text + DESCRIPTION_COLUMN;
    while (*description == ' ')
        description++;
    return description;
}

// Returns 1 if the row was filed, 0 if not, -1 for a line that cannot be parsed.
static int read_line(Dictionary_Text *line)
{
    unsigned short group_mask, element_mask;
    unsigned short group = read_number(line->text + GROUP_COLUMN, &group_mask);
    unsigned short element = read_number(line->text + ELEMENT_COLUMN, &element_mask);

    bool is_retired = ends_in(line, "RET");
    if (is_retired) {
        cut_at(line, line->length - 3);
        strip_end(line);
    }

    Alternates found;
    found.count = 0;
    if (last_character(line) == ')') {
        if (!read_bracketed(line, &found))
            return -1;
    } else if (ends_in_vn(line)) {
        NEMA_db_Split_VR(line, &found.vr[0], found.vn[0]);
        found.count = 1;
    }
    return NEMA_db_Add_Elem(group, element, group_mask, element_mask, read_description(line),
                            is_retired ? -found.count : found.count, found.vr, found.vn);
}

int NEMA_db_Read_Table(const char *const *lines, int count)
{
    int filed = 0;
    for (int i = 0; i < count; i++) {
        Dictionary_Text line;
        take_line(&line, lines[i]);
        int result = read_line(&line);
        if (result < 0) {
            REPORT(hwnd, Flag_Error_Warning, "    \xF1\x05WARNING:\x02 Syntax error in definition file for %12.12s",
                   line.text);
            break;
        }
        filed += result;
    }
    return filed;
}
