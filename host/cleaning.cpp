// What the library's cleaning has made of a value. Its rules take out what a VR does not allow, and what is left may be
// another number, date or UID than the one that was meant: such a value is put back. They also know one date in a value
// and one byte in a character, and take small letters out of code strings.
#include <ctype.h>
#include <math.h>
#include <stdio.h>
#include <stdlib.h>
#include <algorithm>

#include "host/charset.h"
#include "host/save_internal.h"

namespace velmora_host
{

// ---- values in parts ------------------------------------------------------------------

bool set_value(DICOM_List *node, const std::string &value)
{
    if (value.empty()) {
        DICOM_Lib_Free(&node->data);
        node->data = nullptr;
    } else {
        if (!DICOM_Lib_Realloc(&node->data, static_cast<unsigned int>(value.size())))
            return false;
        memcpy(node->data, value.data(), value.size());
    }
    node->size = static_cast<int>(value.size());
    return true;
}

static std::vector<std::string> split(const std::string &text)
{
    return split_values(text.data(), static_cast<int>(text.size()));
}

// Values that are empty at the end say nothing, nor do the backslashes in front of them.
static std::vector<std::string> split_without_end(const std::string &text)
{
    std::vector<std::string> values = split(text);
    while (!values.empty() && values.back().empty())
        values.pop_back();
    return values;
}

std::string code_strings(const std::string &text)
{
    std::string result;
    for (std::string &value : split(text)) {
        value.resize(std::max<size_t>(value.size() + 1, 17));
        DICOM_Str_To_CS(value.data());
        result += (result.empty() ? "" : "\\") + std::string(value.c_str());
    }
    return result;
}

// ---- texts whose characters have several bytes ----------------------------------------

static size_t count_characters(const std::string &utf8)
{
    return static_cast<size_t>(
        std::count_if(utf8.begin(), utf8.end(), [](char c) { return (static_cast<unsigned char>(c) & 0xC0) != 0x80; }));
}

// Most characters of one value (DICOM PS3.5, 6.2). A person name has three groups of 64 with "=" between them.
struct Text_Limit {
    unsigned short vr;
    Text_Kind kind;
    size_t characters;
};

static const Text_Limit text_limits[] = {
    {VR_LO, TEXT_VALUES, 64   },
    {VR_LT, TEXT_WHOLE,  10240},
    {VR_PN, TEXT_NAMES,  194  },
    {VR_SH, TEXT_VALUES, 16   },
    {VR_ST, TEXT_WHOLE,  1024 },
};

// Whether a text of more than the default repertoire is one that its VR allows. What counts are characters, and half of
// one may look like a backslash.
static bool is_allowed_text(unsigned short vr, const std::string &text, const Character_Set &charset)
{
    if (is_plain_text(text.data(), text.size()))
        return false;
    for (const Text_Limit &limit : text_limits) {
        if (limit.vr != vr)
            continue;
        std::string utf8;
        if (append_utf8(charset, text.data(), text.size(), limit.kind, &utf8) > 0)
            return false;
        std::vector<std::string> values = limit.kind == TEXT_WHOLE ? std::vector<std::string>{utf8} : split(utf8);
        return std::all_of(values.begin(), values.end(),
                           [&limit](const std::string &value) { return count_characters(value) <= limit.characters; });
    }
    return false;
}

// ---- numbers, dates, times, UIDs ------------------------------------------------------

// What has become of a value.
enum Verdict {
    FAITHFUL,    // it says what it said
    IN_DOUBT,    // it says something else now
    REWRITTEN,   // it is put differently, see the text
};

static bool are_digits(const std::string &text)
{
    return !text.empty() && text.find_first_not_of("0123456789") == std::string::npos;
}

static int number_in(const std::string &text, size_t at, size_t digits)
{
    return atoi(text.substr(at, digits).c_str());
}

static bool is_date(const std::string &text)
{
    if (text.size() != 8 || !are_digits(text))
        return false;
    int year = number_in(text, 0, 4), month = number_in(text, 4, 2), day = number_in(text, 6, 2);
    return year >= 1000 && month >= 1 && month <= 12 && day >= 1 && day <= 31;
}

// The year comes first, in four digits or in two.
static bool is_date_of_old(const std::string &text)
{
    if (text.size() == 6)
        return are_digits(text);
    bool has_marks = text.size() == 10 && (text[4] == '.' || text[4] == '-' || text[4] == '/') && text[7] == text[4];
    return has_marks && are_digits(text.substr(0, 4) + text.substr(5, 2) + text.substr(8, 2));
}

static Verdict judge_date(const std::string &was, const std::string &is, std::string *)
{
    return is_date_of_old(was) && is_date(is) ? FAITHFUL : IN_DOUBT;
}

static Verdict judge_time(const std::string &was, const std::string &is, std::string *)
{
    bool has_marks = was.size() >= 8 && (was[2] == ':' || was[2] == '.') && was[5] == was[2];
    if (!has_marks || was.substr(0, 2) + was.substr(3, 2) + was.substr(6) != is || !are_digits(is.substr(0, 6)))
        return IN_DOUBT;
    bool is_valid = number_in(is, 0, 2) < 24 && number_in(is, 2, 2) < 60 && number_in(is, 4, 2) <= 60;
    return is_valid ? FAITHFUL : IN_DOUBT;
}

// "7Y" for "007Y".
static Verdict judge_age(const std::string &was, const std::string &is, std::string *)
{
    std::string padded = std::string(4 - std::min<size_t>(was.size(), 4), '0') + was;
    bool is_age = is.size() == 4 && are_digits(is.substr(0, 3)) && strchr("DWMY", is[3]) != nullptr;
    return is_age && padded == is ? FAITHFUL : IN_DOUBT;
}

// The whole of a text as a number.
static bool parse_number(const std::string &text, double *number)
{
    char *end = nullptr;
    *number = strtod(text.c_str(), &end);
    return end != text.c_str() && *end == '\0' && text.find_first_not_of("0123456789+-Ee.") == std::string::npos;
}

static bool is_about(double a, double b)
{
    static const double PRECISION = 1e-9;   // what a cut behind the sixteenth character may take away
    double difference = a > b ? a - b : b - a, size = a < 0 ? -a : a;
    return difference <= size * PRECISION;
}

// A number in 16 characters, as exact as they can be.
static std::string decimal_string(double number)
{
    char text[40] = "";
    for (int digits = 17; digits > 0; digits--) {
        snprintf(text, sizeof text, "%.*g", digits, number);
        if (strlen(text) <= 16)
            break;
    }
    return text;
}

// A cut may take the exponent away, and a decimal comma is no part of a decimal string.
static Verdict judge_decimals(const std::string &was, const std::string &is, std::string *rewritten)
{
    std::vector<std::string> before = split_without_end(was), after = split_without_end(is);
    bool is_same = before.size() == after.size(), has_form = true;
    rewritten->clear();
    for (size_t i = 0; i < before.size(); i++) {
        double a = 0, b = 0;
        if (!before[i].empty() && (!parse_number(before[i], &a) || !isfinite(a)))
            return IN_DOUBT;
        is_same = is_same && before[i].empty() == after[i].empty() &&
                  (before[i].empty() || (parse_number(after[i], &b) && is_about(a, b)));
        std::string anew = before[i].empty() ? "" : decimal_string(a);
        has_form &= anew.empty() || (parse_number(anew, &b) && isfinite(b));   // not rounded up beyond any number
        *rewritten += (i > 0 ? "\\" : "") + anew;
    }
    return is_same ? FAITHFUL : has_form ? REWRITTEN : IN_DOUBT;
}

// "12.0" is an integer, 12.7 is none.
static Verdict judge_integers(const std::string &was, const std::string &is, std::string *)
{
    std::vector<std::string> before = split_without_end(was), after = split_without_end(is);
    for (size_t i = 0; i < before.size(); i++) {
        double a = 0, b = 0;
        bool is_same = before.size() == after.size() &&
                       ((before[i].empty() && after[i].empty()) ||
                        (parse_number(before[i], &a) && parse_number(after[i], &b) && !(a < b) && !(a > b)));
        if (!is_same)
            return IN_DOUBT;
    }
    return FAITHFUL;
}

// A UID less some characters is another UID; so is a date and time.
static Verdict judge_as_whole(const std::string &, const std::string &, std::string *)
{
    return IN_DOUBT;
}

// Blanks around the values and a backslash at the end mean nothing; a cut text or a code less some characters is
// another one.
static Verdict judge_text(const std::string &was, const std::string &is, std::string *)
{
    return split_without_end(was) == split_without_end(is) ? FAITHFUL : IN_DOUBT;
}

// A title of which nothing was allowed is none; another one is not what was meant.
static Verdict judge_title(const std::string &was, const std::string &is, std::string *rewritten)
{
    return is.empty() ? FAITHFUL : judge_text(was, is, rewritten);
}

struct Judge {
    unsigned short vr;
    Verdict (*judge)(const std::string &was, const std::string &is, std::string *rewritten);
};

static const Judge judges[] = {
    {VR_AE, judge_title   },
    {VR_AS, judge_age     },
    {VR_CS, judge_text    },
    {VR_DA, judge_date    },
    {VR_DS, judge_decimals},
    {VR_DT, judge_as_whole},
    {VR_IS, judge_integers},
    {VR_LO, judge_text    },
    {VR_LT, judge_text    },
    {VR_PN, judge_text    },
    {VR_SH, judge_text    },
    {VR_ST, judge_text    },
    {VR_TM, judge_time    },
    {VR_UI, judge_as_whole},
};

// Several dates, as a few attributes have them.
static bool are_dates(const std::string &text)
{
    std::vector<std::string> values = split(text);
    return values.size() > 1 && std::all_of(values.begin(), values.end(), is_date);
}

// ---- review ---------------------------------------------------------------------------

static void put_back(DICOM_List *node, const std::string &was)
{
    set_value(node, was.size() % 2 != 0 ? was + (working_vr(node) == VR_UI ? '\0' : ' ') : was);
    node->flag &= static_cast<unsigned short>(~FLAG_INVALID);
}

// Whether a code string differs in nothing but small letters.
static bool is_raised(const std::string &was, const std::string &is)
{
    std::string raised = was;
    for (char &c : raised)
        c = static_cast<char>(toupper(static_cast<unsigned char>(c)));
    return split_without_end(raised) == split_without_end(is);
}

// Whether a value of a known attribute has as many values as its definition asks for.
static bool has_right_count(const DICOM_List *node, const std::string &value)
{
    int least = node->db->vn[0][0], most = node->db->vn[0][1], count = static_cast<int>(split(value).size());
    return count >= least && (most <= 0 || count <= most);
}

static Verdict judge(unsigned short vr, const std::string &was, const std::string &is, std::string *rewritten)
{
    if (was == is)
        return FAITHFUL;
    for (const Judge &each : judges)
        if (each.vr == vr)
            return each.judge(was, is, rewritten);
    return FAITHFUL;
}

Cleaned review_cleaning(DICOM_List *node, const std::string &was, const Character_Set &charset)
{
    unsigned short vr = working_vr(node);
    std::string is = text_of(node), rewritten;
    if (vr == VR_CS && is_raised(was, is))
        return CLEANED;
    bool is_marked = (node->flag & FLAG_INVALID) != 0, is_less = node->size < static_cast<int>(was.size()) || is_marked;
    // A backslash at the end, which the library takes off, may stand for a value that the number of them calls for.
    bool has_end = is_marked && !was.empty() && was.back() == '\\' && node->db != nullptr && has_right_count(node, was);
    if ((vr == VR_DA && are_dates(was)) || (is_less && is_allowed_text(vr, was, charset)) || has_end) {
        put_back(node, was);
        return LEFT_AS_ALLOWED;
    }
    Verdict verdict = judge(vr, was, is, &rewritten);
    if (verdict == FAITHFUL)
        return CLEANED;
    if (verdict == REWRITTEN && is_marked && node->db != nullptr && !has_right_count(node, rewritten))
        verdict = IN_DOUBT;   // well put, but too many or too few
    put_back(node, verdict == REWRITTEN ? rewritten : was);
    if (verdict == REWRITTEN)
        return CLEANED_ANEW;
    node->flag |= FLAG_INVALID;
    return LEFT_IN_DOUBT;
}

bool settle_text(DICOM_List *node)
{
    unsigned short vr = working_vr(node);
    bool is_text = std::any_of(std::begin(judges), std::end(judges), [vr](const Judge &each) {
        return each.vr == vr && (each.judge == judge_text || each.judge == judge_title);
    });
    if (!is_text || node->data == nullptr)
        return false;
    if (vr == VR_CS)
        set_value(node, code_strings(text_of(node)));
    node->flag &= static_cast<unsigned short>(~FLAG_INVALID);
    DICOM_Attribute_Cleanup_Tag(nullptr, node);
    return (node->flag & FLAG_INVALID) == 0;
}

}   // namespace velmora_host
