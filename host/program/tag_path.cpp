// Takes a TAG argument apart.
#include "host/program/tag_path.h"

#include <ctype.h>
#include <stdio.h>
#include <stdlib.h>

#include "host/program/dictionary_rows.h"
#include "host/program/output.h"
#include "tree/Velmora_DICOM.h"

std::string tag_text(unsigned short group, unsigned short element)
{
    char text[16];
    snprintf(text, sizeof text, "%04x,%04x", group, element);
    return text;
}

bool matches(const Tag_Step &step, unsigned short group, unsigned short element)
{
    if (step.is_exact)
        return step.group == group && step.element == element;
    return DICOM_Attribute_Match(step.group_pattern.c_str(), step.element_pattern.c_str(), group, element) != 0;
}

// One half of a tag: hexadecimal digits, wildcards, and x for any digit. The library's patterns are in upper case.
static bool parse_half(const std::string &text, std::string *pattern)
{
    pattern->clear();
    bool has_star = false;
    for (char c : text) {
        bool is_digit = isxdigit(static_cast<unsigned char>(c)) != 0;
        if (!is_digit && c != '*' && c != '?' && c != 'x' && c != 'X')
            return false;
        has_star |= c == '*';
        *pattern += is_digit ? static_cast<char>(toupper(c)) : c == '*' ? '*' : '?';
    }
    return !pattern->empty() && (pattern->size() == 4 || (has_star && pattern->size() <= 5));
}

static bool parse_numbers(std::string text, Tag_Step *step)
{
    if (text.size() > 2 && text.front() == '(' && text.back() == ')')
        text = text.substr(1, text.size() - 2);
    size_t comma = text.find(',');
    size_t second = comma + 1;
    if (comma == std::string::npos && text.size() == 8)
        comma = second = 4;
    if (comma == std::string::npos || !parse_half(text.substr(0, comma), &step->group_pattern) ||
        !parse_half(text.substr(second), &step->element_pattern))
        return false;
    std::string both = step->group_pattern + step->element_pattern;
    step->is_exact = both.find_first_of("*?") == std::string::npos;
    if (step->is_exact) {
        step->group = static_cast<unsigned short>(strtoul(step->group_pattern.c_str(), nullptr, 16));
        step->element = static_cast<unsigned short>(strtoul(step->element_pattern.c_str(), nullptr, 16));
    }
    return true;
}

// The library names the pixel data by itself; its dictionary has no row for them.
static bool parse_name(const std::string &text, Tag_Step *step)
{
    if (folded_name(text) == "pixeldata")
        return parse_numbers("7fe0,0010", step);
    const Dictionary_Row *row = find_row_by_name(text);
    return row != nullptr && parse_numbers(row->group_text + "," + row->element_text, step);
}

// Takes "[2]" off the end of a step.
static bool take_item(std::string *text, int *item)
{
    *item = 0;
    if (text->empty() || text->back() != ']')
        return true;
    size_t open = text->rfind('[');
    if (open == std::string::npos)
        return false;
    char *end = nullptr;
    long number = strtol(text->c_str() + open + 1, &end, 10);
    bool is_number =
        isdigit(static_cast<unsigned char>((*text)[open + 1])) && *end == ']' && number >= 1 && number <= 0x7FFFFFFF;
    text->erase(open);
    *item = static_cast<int>(number);
    return is_number;
}

static bool parse_step(const std::string &text, Tag_Step *step)
{
    std::string tag = text;
    *step = Tag_Step();
    return take_item(&tag, &step->item) && (parse_numbers(tag, step) || parse_name(tag, step));
}

static void refuse_step(const std::string &text, std::string *error)
{
    std::string near = nearest_keyword(text);
    if (text.size() > 2 && text.compare(text.size() - 3, 3, "[0]") == 0)
        *error = quoted(text) + " is no item; they count from 1";
    else if (near.empty())
        *error = quoted(text) + " is no tag (as 0010,0010), and no name of the dictionary";
    else
        *error = quoted(text) + " is no tag (as 0010,0010), and no name of the dictionary; perhaps " + near + " is meant";
}

bool parse_tag_path(const std::string &text, Tag_Path *path, std::string *error)
{
    path->steps.clear();
    Tag_Step step;
    // A few names of the dictionary have a slash in them.
    if (text.find(',') == std::string::npos && parse_step(text, &step)) {
        path->steps.push_back(step);
        return true;
    }
    for (size_t at = 0; at <= text.size();) {
        size_t end = text.find('/', at);
        end = end == std::string::npos ? text.size() : end;
        std::string part = text.substr(at, end - at);
        if (!parse_step(part, &step)) {
            if (error != nullptr)
                refuse_step(part, error);
            return false;
        }
        path->steps.push_back(step);
        at = end + 1;
    }
    return true;
}
