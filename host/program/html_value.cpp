#include "host/program/html_value.h"

#include "host/program/dictionary_rows.h"
#include "host/program/html_text.h"
#include "tree/DICOM_Constants.h"

using namespace velmora_host;

// What is shown of a value.
static const size_t SHOWN_OF_A_TEXT = 2000, SHOWN_NUMBERS = 32, SHOWN_BYTES = 32, SHOWN_OF_A_NAME = 120;

static void append_note(const std::string &shown, size_t all, const char *what, std::string *out)
{
    *out += "<small> \xE2\x80\xA6 the first " + shown + " of ";
    append_grouped(static_cast<long long>(all), out);
    *out += std::string(" ") + what + "</small>";
}

// ---- bytes and numbers ----------------------------------------------------------------

void append_bytes(Bytes_View bytes, std::string *out)
{
    static const char digits[] = "0123456789abcdef";
    size_t shown = bytes.size < SHOWN_BYTES ? bytes.size : SHOWN_BYTES;
    std::string letters;
    for (size_t i = 0; i < shown; i++) {
        char c = bytes.data[i];
        *out += i > 0 ? " " : "";
        *out += digits[static_cast<unsigned char>(c) >> 4];
        *out += digits[c & 15];
        letters += c >= ' ' && c < 0x7F ? c : '.';
    }
    if (shown > 0) {
        *out += " <s>";
        append_html(letters, out);
        *out += "</s>";
    }
    if (bytes.size > shown)
        append_note(std::to_string(shown), bytes.size, "bytes", out);
}

static void append_numbers(const DICOM_List *node, const Value_Rule &rule, Bytes_View bytes, std::string *out)
{
    size_t count = number_count(node, rule, bytes);
    for (size_t i = 0; i < count && i < SHOWN_NUMBERS; i++)
        *out += (i > 0 ? "\\" : "") + number_text(number_at(node, rule, bytes, i));
    if (count > SHOWN_NUMBERS)
        append_note(std::to_string(SHOWN_NUMBERS), count, "values", out);
}

// ---- texts ----------------------------------------------------------------------------

// The first bytes of a text in UTF-8, without the padding at its end.
//   replaced  gets how many characters were none
static std::string decode(const Value_Rule &rule, const Value_Context &context, Bytes_View bytes, size_t limit,
                          int *replaced)
{
    std::string text;
    size_t size = bytes.size < limit ? bytes.size : limit;
    *replaced = 0;
    if (!rule.is_free && is_plain_text(bytes.data, size))
        text.assign(bytes.data, size);
    else
        *replaced = append_utf8(context.charset, bytes.data, size, text_kind(rule), &text, size < bytes.size);
    if (size == bytes.size)
        text.erase(text.find_last_not_of(std::string(" \0", 2)) + 1);
    return text;
}

static void append_text(const DICOM_List *node, const Value_Rule &rule, const Value_Context &context, Bytes_View bytes,
                        std::string *out)
{
    int replaced = 0;
    std::string text = decode(rule, context, bytes, SHOWN_OF_A_TEXT, &replaced);
    if (replaced > 0)
        report_replaced(node, replaced);
    append_html(text.data(), text.size(), rule.is_multiple ? LINES_ESCAPED : LINES_KEPT, out);
    if (bytes.size > SHOWN_OF_A_TEXT)
        append_note("2,000", bytes.size, "bytes", out);
    std::string name = rule.vr == VR_UI && text.find('\0') == std::string::npos ? name_of_uid(text) : "";
    if (!name.empty()) {
        *out += " <small>= ";
        append_html(name, out);
        *out += "</small>";
    }
}

std::string plain_text_of(const Data_Set &set, const DICOM_List *node, const Value_Context &context)
{
    const Value_Rule &rule = value_rule(value_vr(node, context));
    if (rule.kind != VALUES_OF_TEXT && rule.kind != VALUES_OF_NAMES)
        return "";
    int replaced = 0;
    return decode(rule, context, value_bytes(set, node), SHOWN_OF_A_NAME, &replaced);
}

// ---- the call -------------------------------------------------------------------------

void append_value(const Data_Set &set, const DICOM_List *node, const Value_Context &context, std::string *out)
{
    const Value_Rule &rule = value_rule(value_vr(node, context));
    Bytes_View bytes = value_bytes(set, node);
    if (rule.kind == VALUES_OF_ITEMS && bytes.size == 0) {
        *out += "no items";
        return;
    }
    switch (rule.kind) {
    case VALUES_OF_BYTES:
    case VALUES_OF_ITEMS:
        return append_bytes(bytes, out);
    case VALUES_OF_NUMBERS:
    case VALUES_OF_TAGS:
        return append_numbers(node, rule, bytes, out);
    default:
        return append_text(node, rule, context, bytes, out);
    }
}
