// Person names: the record, its comparison, and the parser that guesses the fields of a free text from its separators
// and the shape of its words. Names are turned into texts in name_text.cpp.
#include "values/values_internal.h"

#include <stdio.h>

static const char SOURCE[] = ".\\conv_name_fct";

enum {
    FIELD_ROOM = 65,               // bytes of one field given to Make_Velm_Name
    TEXT_ROOM = 1024,              // bytes of a free text
    SPREAD_ROOM = 2 * TEXT_ROOM,   // the same with a separator behind every character
    PART_COUNT = 5,
    ORDER_FAMILY_FIRST = 1,
    ORDER_GIVEN_FIRST = 3,
};

struct Name_Field {
    char *Velmora_Name::*place;
    const char *in_name, *in_target;   // what reports call it
    bool counts;
};

static const Name_Field name_fields[PART_COUNT] = {
    // place                in_name         in_target         counts
    {&Velmora_Name::family, "name->family", "target->family", true},
    {&Velmora_Name::given,  "name->given",  "target->given",  true},
    {&Velmora_Name::middle, "name->middle", "target->middle", true},
    {&Velmora_Name::prefix, "name->prefix", "target->prefix", false},
    {&Velmora_Name::suffix, "name->suffix", "target->suffix", false},
};

/* ---- the record ---------------------------------------------------------------------- */

// Replaces a field with a copy of a text; the old one goes once the copy is there. An empty text changes nothing.
static bool set_field(char **field, const char *text, const char *what)
{
    if (is_empty(text))
        return true;
    char *copy = ALLOC_STRDUP(hwnd, what, text);
    if (copy == nullptr)
        return false;
    frame_free(*field);
    *field = copy;
    return true;
}

static void count_fields(Velmora_Name *name)
{
    name->count = 0;
    for (const Name_Field &field : name_fields)
        if (field.counts && name->*field.place != nullptr)
            name->count++;
}

// Removes the second of two blanks that stand side by side and goes on behind it: a run of N shrinks to half of it,
// rounded up.
static void thin_spaces(char *text)
{
    char *out = text;
    for (const char *in = text; *in != '\0'; in++) {
        *out++ = *in;
        if (in[0] == ' ' && in[1] == ' ')
            in++;
    }
    *out = '\0';
}

// What is missing comes first.
static int compare_presence(const void *a, const void *b)
{
    return (a != nullptr ? 1 : 0) - (b != nullptr ? 1 : 0);
}

static int compare_ignoring_case(const char *a, const char *b)
{
    for (;; a++, b++) {
        int left = static_cast<unsigned char>(*a), right = static_cast<unsigned char>(*b);
        left += left >= 'A' && left <= 'Z' ? 'a' - 'A' : 0;
        right += right >= 'A' && right <= 'Z' ? 'a' - 'A' : 0;
        if (left != right || left == 0)
            return left - right;
    }
}

/* ---- the parts of a free text --------------------------------------------------------- */

// What the parser has found so far; the texts stand in the buffers of the call.
struct Found_Name {
    char *first, *rest, *middle, *prefix, *suffix;
};

// The separator that splits the text, or 0 if it has none.
static char choose_separator(const char *text)
{
    static const char by_preference[] = {'^', ',', ' '};
    for (char separator : by_preference)
        if (strchr(text, separator) != nullptr)
            return separator;
    return '\0';
}

// Puts a separator behind each point that has none, so that "J.R." falls into two words.
static void copy_spread(char *out, const char *text, char separator)
{
    for (const char *in = text; *in != '\0'; in++) {
        *out++ = *in;
        if (*in == '.' && in[1] != separator)
            *out++ = separator;
    }
    *out = '\0';
}

// Cuts a text into at most five parts; an empty part is null. Returns false if there was a fifth separator: what stands
// behind it is dropped.
static bool split_parts(char *text, char separator, char *parts[PART_COUNT])
{
    int used = 0;
    bool fits = true;
    parts[used++] = text;
    for (char *c = text; *c != '\0'; c++) {
        if (*c != separator)
            continue;
        *c = '\0';
        fits = used < PART_COUNT;
        if (!fits)
            break;
        while (separator == ' ' && c[1] == ' ')   // a run of blanks is one separator
            c++;
        parts[used++] = c + 1;
    }
    for (int i = 0; i < used; i++)
        if (Str_Strip_Spaces(parts[i])[0] == '\0')
            parts[i] = nullptr;
    return fits;
}

/* ---- words that blanks part ------------------------------------------------------------ */

static bool is_short_title(const char *word)
{
    return strlen(word) <= 3 && (strncmp(word, "Dr", 2) == 0 || strncmp(word, "DR", 2) == 0);
}

static bool is_initial(const char *word)
{
    return word[1] == '\0' || (word[1] == '.' && word[2] == '\0');
}

// Takes a word out; those behind it move down.
static void drop_word(char *words[PART_COUNT], int at)
{
    for (int i = at; i + 1 < PART_COUNT; i++)
        words[i] = words[i + 1];
    words[PART_COUNT - 1] = nullptr;
}

// Among the first three, two words of three or more characters and one shorter.
static bool are_two_names_and_an_initial(char *const words[PART_COUNT])
{
    int long_words = 0, short_words = 0;
    for (int i = 0; i < 3; i++) {
        size_t length = words[i] != nullptr ? strlen(words[i]) : 0;
        long_words += length >= 3;
        short_words += length == 1 || length == 2;
    }
    return long_words == 2 && short_words == 1;
}

// Joins words by single blanks. They stood apart by blanks before, so they fit where the text did.
static char *join_words(char *out, char *const words[], int count)
{
    char *end = out;
    for (int i = 0; i < count; i++) {
        if (words[i] == nullptr)
            continue;
        if (end != out)
            *end++ = ' ';
        size_t length = strlen(words[i]);
        memcpy(end, words[i], length);
        end += length;
    }
    *end = '\0';
    return out;
}

// Guesses the parts from the shape of the words. A fifth word that nothing moves stands in rest and is the suffix too.
static void sort_words(char *words[PART_COUNT], Found_Name *found, char *joined)
{
    *found = {};
    found->suffix = words[PART_COUNT - 1];
    if (words[0] != nullptr && is_short_title(words[0])) {
        found->prefix = words[0];
        drop_word(words, 0);
        found->suffix = nullptr;
    }
    if (are_two_names_and_an_initial(words)) {
        if (is_initial(words[1])) {
            found->middle = words[1];
            drop_word(words, 1);
            found->suffix = nullptr;
        }
        if (is_initial(words[0])) {
            char *initial = words[0];
            words[0] = words[1];
            words[1] = initial;
        }
    }
    found->first = words[0];
    found->rest = join_words(joined, words + 1, PART_COUNT - 1);
}

/* ---- what holds for every separator ---------------------------------------------------- */

// A title in front of the first part, with its point, is the prefix.
//   title  room for two characters and the end
static void take_title(Found_Name *found, char title[3])
{
    char *first = found->first;
    if (first == nullptr)
        return;
    if (strncmp(first, "DR.", 3) != 0 && strncmp(first, "Dr.", 3) != 0 && strncmp(first, "dr.", 3) != 0)
        return;
    copy_cut(title, 3, first);
    found->prefix = title;
    found->first = first + 3;
}

// A single character at the end of the rest is the middle name.
static void take_middle_initial(Found_Name *found)
{
    size_t length = found->rest != nullptr ? strlen(found->rest) : 0;
    if (length < 2 || found->rest[length - 2] != ' ')
        return;
    found->middle = found->rest + length - 1;
    found->rest[length - 2] = '\0';
}

static int store_found(Velmora_Name *name, const Found_Name *found, int order)
{
    bool given_first = order == ORDER_GIVEN_FIRST;
    const char *texts[PART_COUNT] = {
        given_first ? found->rest : found->first,
        given_first ? found->first : found->rest,
        found->middle,
        found->prefix,
        found->suffix,
    };
    for (int i = 0; i < PART_COUNT; i++)
        if (!set_field(&(name->*name_fields[i].place), texts[i], name_fields[i].in_name))
            return 0;
    count_fields(name);
    return 1;
}

/* ---- exported -------------------------------------------------------------------------- */

int Make_Velm_Name(Velmora_Name *name, const char *family, const char *given, const char *middle, const char *prefix,
                   const char *suffix)
{
    const char *texts[PART_COUNT] = {family, given, middle, prefix, suffix};
    for (int i = 0; i < PART_COUNT; i++) {
        if (is_empty(texts[i]))
            continue;
        char field[FIELD_ROOM];
        copy_cut(field, sizeof field, texts[i]);
        Str_Strip_Spaces(field);
        thin_spaces(field);
        if (!set_field(&(name->*name_fields[i].place), field, name_fields[i].in_name))
            return 0;
    }
    count_fields(name);
    return 1;
}

int Make_Velm_Name_From_Str(Velmora_Name *name, const char *text, int order)
{
    if (name == nullptr || name->count != 0) {
        REPORT(hwnd, LEVEL_LOCATION, "in Make_Velm_Name_From_Str() Name already defined");
        return 1;
    }
    if (is_empty(text)) {
        REPORT(hwnd, LEVEL_LOCATION, "in Make_Velm_Name_From_Str() input string is empty");
        return 1;
    }
    char line[TEXT_ROOM];
    copy_cut(line, sizeof line, text);
    Str_Strip_Spaces(line);
    if (line[0] == '\0') {
        REPORT(hwnd, LEVEL_LOCATION, "in Make_Velm_Name_From_Str() input string is only spaces");
        return 1;
    }
    thin_spaces(line);

    char spread[SPREAD_ROOM];
    char separator = choose_separator(line);
    if (separator == ',' || separator == ' ')
        copy_spread(spread, line, separator);
    else
        copy_cut(spread, sizeof spread, line);
    if (separator == '^')
        order = ORDER_FAMILY_FIRST;

    char *parts[PART_COUNT] = {spread};
    if (separator != '\0' && !split_parts(spread, separator, parts))
        REPORT(hwnd, Flag_Error_Warning, "\xF1\x05WARING:\x02 Invalid name string (\x01%s\x02)", text);

    char joined[SPREAD_ROOM], title[3];
    Found_Name found = {parts[0], parts[1], parts[2], parts[3], parts[4]};
    if (separator == ' ')
        sort_words(parts, &found, joined);
    take_title(&found, title);
    take_middle_initial(&found);
    return store_found(name, &found, order);
}

int Make_Velm_Name_From_Buf(Velmora_Name *name, const char *format, const char *text, int order)
{
    if (name == nullptr || name->count != 0 || is_empty(text) || format == nullptr)
        return 1;
    char line[TEXT_ROOM] = "";
    snprintf(line, sizeof line, format, text);
    return Make_Velm_Name_From_Str(name, line, order);
}

int Name_Copy(Velmora_Name *target, Velmora_Name *origin)
{
    for (const Name_Field &field : name_fields)
        if (!set_field(&(target->*field.place), origin->*field.place, field.in_target))
            return 0;
    target->count = origin->count;
    return 1;
}

void Name_Free(Velmora_Name *name)
{
    if (name == nullptr)
        return;
    for (const Name_Field &field : name_fields)
        frame_free(name->*field.place);
    *name = {};
}

int Velm_Name_Cmp(Velmora_Name *a, Velmora_Name *b)
{
    if (a == nullptr || b == nullptr)
        return compare_presence(a, b) * 1000;
    if (a->count == 0 || b->count == 0)
        return (a->count != 0 ? 1000 : 0) - (b->count != 0 ? 1000 : 0);

    if (int order = compare_presence(a->family, b->family); order != 0)
        return order * 100;
    if (a->family != nullptr)
        if (int order = compare_ignoring_case(a->family, b->family); order != 0)
            return order;
    if (int order = compare_presence(a->given, b->given); order != 0)
        return order * 10;
    return a->given != nullptr ? compare_ignoring_case(a->given, b->given) : 0;
}
