// Small text helpers that work in place, and the pattern match.
#include "util/util_internal.h"

char *Str_Strip_Spaces(char *text)
{
    if (text == nullptr)
        return nullptr;
    char *start = text;
    while (*start == ' ')
        start++;
    size_t length = strlen(start);
    while (length > 0 && start[length - 1] == ' ')
        length--;
    memmove(text, start, length);
    text[length] = '\0';
    return text;
}

char *Str_Strip_Quotes(char *text)
{
    if (text == nullptr)
        return nullptr;
    char *start = text;
    if (*start == '"')
        start++;
    size_t length = strlen(start);
    if (length > 0 && start[length - 1] == '"')
        length--;
    memmove(text, start, length);
    text[length] = '\0';
    return text;
}

char *Str_To_Lower(char *text)
{
    if (text == nullptr)
        return nullptr;
    for (char *c = text; *c != '\0'; c++)
        if (*c >= 'A' && *c <= 'Z')
            *c = static_cast<char>(*c - 'A' + 'a');
    return text;
}

static bool is_one_of(char c, const char *set)
{
    return c != '\0' && strchr(set, c) != nullptr;
}

char *Str_Strtok(char *text, const char *delimiters)
{
    static thread_local char *place = nullptr;   // behind the last token; a null text goes on from here
    char *start = text != nullptr ? text : place;
    if (start == nullptr)
        return nullptr;
    while (is_one_of(*start, delimiters))
        start++;
    if (*start == '\0') {
        place = nullptr;
        return nullptr;
    }

    bool quoted = false;
    char *end = start;
    while (*end != '\0' && (quoted || !is_one_of(*end, delimiters))) {
        if (*end == '"')
            quoted = !quoted;
        end++;
    }
    place = *end != '\0' ? end + 1 : end;
    *end = '\0';
    return start;
}

int Str_Match(const char *text, const char *pattern)
{
    // On a mismatch the last star takes one character more: earlier stars never need another try.
    const char *star = nullptr, *retry = nullptr;
    while (*text != '\0') {
        if (*pattern == '*') {
            star = ++pattern;
            retry = text;
        } else if (*pattern == '?' || *pattern == *text) {
            pattern++;
            text++;
        } else if (star != nullptr) {
            pattern = star;
            text = ++retry;
        } else {
            return 0;
        }
    }
    while (*pattern == '*')
        pattern++;
    return *pattern == '\0';
}
