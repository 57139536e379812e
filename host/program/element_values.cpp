// Values by VR. The library's own extraction narrows numbers to int and float and keeps copies of 128 results; here a
// value is looked at where it lies, whole.
#include "host/program/element_values.h"

#include <math.h>
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <charconv>

#include "host/letter_index.h"
#include "host/program/output.h"
#include "tree/DICOM_Constants.h"

using namespace velmora_host;

// ---- reports --------------------------------------------------------------------------

void report_about(const DICOM_List *node, const char *format, ...)
{
    char text[512];
    va_list values;
    va_start(values, format);
    vsnprintf(text, sizeof text, format, values);
    va_end(values);
    Error_Fct(nullptr, Flag_Error_Warning, "    \xF1\x05WARNING:\x02 (\x01%04x\x02,\x01%04x\x02) %s", node->group,
              node->element, text);
}

// ---- VRs ------------------------------------------------------------------------------

static const bool ONE = false, MANY = true;      // values
static const bool FIXED = false, FREE = true;    // character set
static const bool KEPT = false, PADDED = true;   // blanks in front (DICOM PS3.5, 6.2)

static constexpr Value_Rule rules[] = {
  //  VR   kind                 unit values repertoire in front
    {VR_UN, VALUES_OF_BYTES,    1, ONE,  FIXED, KEPT  }, // the first: for all others
    {VR_AE, VALUES_OF_TEXT,     1, MANY, FIXED, PADDED},
    {VR_AS, VALUES_OF_TEXT,     1, MANY, FIXED, KEPT  },
    {VR_AT, VALUES_OF_TAGS,     4, MANY, FIXED, KEPT  },
    {VR_CS, VALUES_OF_TEXT,     1, MANY, FIXED, PADDED},
    {VR_DA, VALUES_OF_TEXT,     1, MANY, FIXED, KEPT  },
    {VR_DS, VALUES_OF_DECIMALS, 1, MANY, FIXED, PADDED},
    {VR_DT, VALUES_OF_TEXT,     1, MANY, FIXED, KEPT  },
    {VR_FD, VALUES_OF_NUMBERS,  8, MANY, FIXED, KEPT  },
    {VR_FL, VALUES_OF_NUMBERS,  4, MANY, FIXED, KEPT  },
    {VR_IS, VALUES_OF_DECIMALS, 1, MANY, FIXED, PADDED},
    {VR_LO, VALUES_OF_TEXT,     1, MANY, FREE,  PADDED},
    {VR_LT, VALUES_OF_TEXT,     1, ONE,  FREE,  KEPT  },
    {VR_OB, VALUES_OF_BYTES,    1, ONE,  FIXED, KEPT  },
    {VR_OD, VALUES_OF_BYTES,    8, ONE,  FIXED, KEPT  },
    {VR_OF, VALUES_OF_BYTES,    4, ONE,  FIXED, KEPT  },
    {VR_OL, VALUES_OF_BYTES,    4, ONE,  FIXED, KEPT  },
    {VR_OV, VALUES_OF_BYTES,    8, ONE,  FIXED, KEPT  },
    {VR_OW, VALUES_OF_BYTES,    2, ONE,  FIXED, KEPT  },
    {VR_PN, VALUES_OF_NAMES,    1, MANY, FREE,  KEPT  },
    {VR_SH, VALUES_OF_TEXT,     1, MANY, FREE,  PADDED},
    {VR_SL, VALUES_OF_NUMBERS,  4, MANY, FIXED, KEPT  },
    {VR_SQ, VALUES_OF_ITEMS,    1, ONE,  FIXED, KEPT  },
    {VR_SS, VALUES_OF_NUMBERS,  2, MANY, FIXED, KEPT  },
    {VR_ST, VALUES_OF_TEXT,     1, ONE,  FREE,  KEPT  },
    {VR_SV, VALUES_OF_NUMBERS,  8, MANY, FIXED, KEPT  },
    {VR_TM, VALUES_OF_TEXT,     1, MANY, FIXED, KEPT  },
    {VR_UC, VALUES_OF_TEXT,     1, MANY, FREE,  KEPT  },
    {VR_UI, VALUES_OF_TEXT,     1, MANY, FIXED, KEPT  },
    {VR_UL, VALUES_OF_NUMBERS,  4, MANY, FIXED, KEPT  },
    {VR_UR, VALUES_OF_TEXT,     1, ONE,  FIXED, KEPT  },
    {VR_US, VALUES_OF_NUMBERS,  2, MANY, FIXED, KEPT  },
    {VR_UT, VALUES_OF_TEXT,     1, ONE,  FREE,  KEPT  },
    {VR_UV, VALUES_OF_NUMBERS,  8, MANY, FIXED, KEPT  },
};

static constexpr Letter_Index rule_index = index_by_letters(rules, 0);

const Value_Rule &value_rule(unsigned short vr)
{
    return rules[row_by_letters(rule_index, vr, 0)];
}

// Whether the dictionary leaves the VR open between two, and the stream has none.
static bool is_one_or_other(const DICOM_List *node, unsigned short one, unsigned short other)
{
    bool has_one = false, has_other = false;
    if (node->vr_explicit != VR_NONE || node->db == nullptr)
        return false;
    for (int i = 0; i < abs(node->db->type); i++) {
        has_one |= node->db->vr[i] == one;
        has_other |= node->db->vr[i] == other;
    }
    return has_one && has_other;
}

static bool is_pixel_data(const DICOM_List *node)
{
    return node->group == 0x7FE0 && node->element == 0x0010;
}

bool holds_fragments(const DICOM_List *node)
{
    if (node->item == nullptr || node->size != UNDEFINED_LENGTH)
        return false;
    unsigned short vr = node->vr_explicit;
    return is_pixel_data(node) ||
           (vr != VR_UN && vr != VR_NONE && value_rule(vr).kind == VALUES_OF_BYTES && value_rule(vr).vr == vr);
}

unsigned short value_vr(const DICOM_List *node, const Value_Context &context)
{
    unsigned short vr = node->vr_explicit != VR_NONE ? node->vr_explicit : node->vr;
    if (node->item != nullptr && !holds_fragments(node))
        return VR_SQ;
    if (vr == VR_US && context.has_signed_pixels && is_one_or_other(node, VR_US, VR_SS))
        return VR_SS;
    bool is_ob_or_ow = is_one_or_other(node, VR_OB, VR_OW) || (is_pixel_data(node) && node->vr_explicit == VR_NONE);
    if (vr == VR_OX || is_ob_or_ow)
        return VR_OW;
    if (vr == VR_UH)
        return VR_US;
    return value_rule(vr).vr;   // UN for what is no VR of the standard
}

// ---- value fields ---------------------------------------------------------------------

// Behind the last item or fragment of a value of undefined length: the delimiter, or whatever follows in the chain.
static int end_of_items(const Data_Set &set, const DICOM_List *node)
{
    const DICOM_List *next = node->next;
    if (next != nullptr && next->pos > node->data_pos)
        return next->pos;
    int end = node->data_pos;
    for (int i = 0; i < node->nb_item && node->item[i] != nullptr; i++)
        for (const DICOM_List *part = node->item[i]; part != nullptr; part = part->next)
            if (part->size >= 0 && part->data_pos <= set.source.size - part->size && part->data_pos + part->size > end)
                end = part->data_pos + part->size;
    return end;
}

Bytes_View value_bytes(const Data_Set &set, const DICOM_List *node)
{
    int size = node->size;
    if (node->data != nullptr)
        return {node->data, size > 0 ? static_cast<size_t>(size) : 0};
    if (size == UNDEFINED_LENGTH && node->item != nullptr)
        size = end_of_items(set, node) - node->data_pos;
    if (size <= 0 || node->data_pos < 0 || node->data_pos > set.source.size - size)
        return {"", 0};
    return {set.source.bytes + node->data_pos, static_cast<size_t>(size)};
}

// ---- context --------------------------------------------------------------------------

static Character_Set default_charset;   // of data sets that name none; chosen on the command line

bool choose_charset(const std::string &term, std::string *error)
{
    std::string unknown;
    if (parse_character_set(term.data(), term.size(), &default_charset, &unknown) && !term.empty())
        return true;
    *error = quoted(term) + " is no character set; there are ISO_IR 100, ISO_IR 192, GB18030, \\ISO 2022 IR 87 and "
                            "the other terms of Specific Character Set (0008,0005)";
    return false;
}

Value_Context outer_context()
{
    Value_Context context;
    context.charset = default_charset;
    return context;
}

static void take_charset(const DICOM_List *node, Bytes_View bytes, Value_Context *context)
{
    std::string unknown;
    Character_Set named;
    if (parse_character_set(bytes.data, bytes.size, &named, &unknown) || unknown.size() < bytes.size)
        context->charset = named;
    if (!unknown.empty())
        report_about(node, "%s is no character set that is known", quoted(unknown).c_str());
}

Value_Context context_of(const Data_Set &set, const DICOM_List *chain, const Value_Context &around)
{
    Value_Context context = around;
    for (const DICOM_List *node = chain; node != nullptr; node = node->next) {
        bool is_charset = node->group == 0x0008 && node->element == 0x0005;
        bool is_representation = node->group == 0x0028 && node->element == 0x0103;
        if (!is_charset && !is_representation)
            continue;
        Bytes_View bytes = value_bytes(set, node);
        if (is_charset && bytes.size > 0)
            take_charset(node, bytes, &context);
        else if (is_representation && bytes.size >= 2)
            context.has_signed_pixels = Get_UShort(static_cast<char>(node->syntax), bytes.data) == 1;
    }
    return context;
}

// ---- texts ----------------------------------------------------------------------------

static std::string without_padding(const std::string &text, bool in_front)
{
    size_t start = in_front ? text.find_first_not_of(' ') : 0;
    size_t end = text.find_last_not_of(std::string(" \0", 2));
    if (start == std::string::npos || end == std::string::npos)
        return "";
    return text.substr(start, end + 1 - start);
}

Text_Kind text_kind(const Value_Rule &rule)
{
    return !rule.is_multiple ? TEXT_WHOLE : rule.kind == VALUES_OF_NAMES ? TEXT_NAMES : TEXT_VALUES;
}

void report_replaced(const DICOM_List *node, int replaced)
{
    report_about(node, "what is no character of its set is shown as U+FFFD (%d times)", replaced);
}

std::vector<std::string> text_values(const Data_Set &set, const DICOM_List *node, const Value_Rule &rule,
                                     const Value_Context &context)
{
    Bytes_View bytes = value_bytes(set, node);
    std::string text;
    // The other VRs are of the default repertoire. Where one is not, the set of the data set is what was meant.
    bool is_ascii = !rule.is_free && is_plain_text(bytes.data, bytes.size);
    int replaced = is_ascii ? 0 : append_utf8(context.charset, bytes.data, bytes.size, text_kind(rule), &text);
    if (is_ascii)
        text.assign(bytes.data, bytes.size);
    if (replaced > 0)
        report_replaced(node, replaced);

    std::vector<std::string> values;
    if (without_padding(text, false).empty())
        return values;
    for (size_t start = 0; start <= text.size();) {
        size_t end = rule.is_multiple ? text.find('\\', start) : std::string::npos;
        end = end == std::string::npos ? text.size() : end;
        values.push_back(without_padding(text.substr(start, end - start), rule.has_leading_padding));
        start = end + 1;
    }
    return values;
}

// ---- numbers --------------------------------------------------------------------------

size_t number_count(const DICOM_List *node, const Value_Rule &rule, Bytes_View bytes)
{
    if (bytes.size % rule.unit != 0)
        report_about(node, "a value of %zu bytes, but its numbers have %d bytes each; the last %zu are left out",
                     bytes.size, rule.unit, bytes.size % rule.unit);
    return bytes.size / rule.unit;
}

static int64_t get_64(char syntax, const char *at)
{
    bool is_big = (syntax & SYNTAX_BIG_ENDIAN) != 0;
    uint64_t first = static_cast<uint32_t>(Get_Int(syntax, at)),
             second = static_cast<uint32_t>(Get_Int(syntax, at + 4));
    return static_cast<int64_t>(is_big ? first << 32 | second : second << 32 | first);
}

Number number_at(const DICOM_List *node, const Value_Rule &rule, Bytes_View bytes, size_t index)
{
    const char *at = bytes.data + index * rule.unit;
    char syntax = static_cast<char>(node->syntax);
    switch (rule.vr) {
    case VR_AT:
        return {Number::TAG, Get_UShort(syntax, at) << 16 | Get_UShort(syntax, at + 2), 0, false};
    case VR_FL:
        return {Number::REAL, 0, static_cast<double>(Get_Float(syntax, at)), true};
    case VR_FD:
        return {Number::REAL, 0, Get_Double(syntax, at), false};
    case VR_SS:
        return {Number::INTEGER, Get_Short(syntax, at), 0, false};
    case VR_SL:
        return {Number::INTEGER, Get_Int(syntax, at), 0, false};
    case VR_SV:
        return {Number::INTEGER, get_64(syntax, at), 0, false};
    case VR_UL:
        return {Number::UNSIGNED, static_cast<uint32_t>(Get_Int(syntax, at)), 0, false};
    case VR_UV:
        return {Number::UNSIGNED, get_64(syntax, at), 0, false};
    default:
        return {Number::UNSIGNED, Get_UShort(syntax, at), 0, false};
    }
}

static std::string real_text(double real, bool is_float)
{
    if (isnan(real))
        return "NaN";
    if (isinf(real))
        return real < 0 ? "-inf" : "inf";
    char text[40];
    std::to_chars_result end = is_float ? std::to_chars(text, text + sizeof text, static_cast<float>(real))
                                        : std::to_chars(text, text + sizeof text, real);
    return std::string(text, end.ptr);
}

std::string number_text(const Number &number)
{
    char text[24];
    switch (number.kind) {
    case Number::REAL:
        return real_text(number.real, number.is_float);
    case Number::TAG:
        snprintf(text, sizeof text, "%04x,%04x", static_cast<unsigned int>(number.integer >> 16 & 0xFFFF),
                 static_cast<unsigned int>(number.integer & 0xFFFF));
        return text;
    case Number::UNSIGNED:
        return std::to_string(static_cast<uint64_t>(number.integer));
    default:
        return std::to_string(number.integer);
    }
}
