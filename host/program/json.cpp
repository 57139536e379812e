#include "host/program/json.h"

#include <ctype.h>
#include <math.h>
#include <stdio.h>
#include <stdlib.h>

#include "host/charset.h"
#include "host/program/output.h"

void Json_Stream::Flush()
{
    write_out(block, count);
    count = 0;
}

// The writer escapes what JSON demands. Of what it lets through, a terminal may obey the controls of C1 and those that
// turn the direction of a text.
static bool may_hide_controls(const std::string &utf8)
{
    return utf8.find_first_of("\x7F\xC2\xE2") != std::string::npos;
}

// The bytes of a character here that is better escaped; 0: none. They are well-formed UTF-8.
static size_t hidden_control(const std::string &utf8, size_t at, unsigned int *code)
{
    unsigned char bytes[3] = {};
    for (size_t i = 0; i < sizeof bytes && at + i < utf8.size(); i++)
        bytes[i] = static_cast<unsigned char>(utf8[at + i]);
    *code = bytes[0] < 0x80 ? bytes[0] : bytes[0] == 0xC2 ? bytes[1] : 0x2000u | (bytes[1] & 63u) << 6 | (bytes[2] & 63u);
    if (bytes[0] == 0x7F)
        return 1;
    if (bytes[0] == 0xC2 && bytes[1] < 0xA0)
        return 2;
    bool turns_text = (*code >= 0x202A && *code <= 0x202E) || (*code >= 0x2066 && *code <= 0x2069);
    return bytes[0] == 0xE2 && turns_text ? 3 : 0;
}

static std::string with_escapes(const std::string &utf8)
{
    std::string out = "\"";
    for (size_t at = 0; at < utf8.size();) {
        unsigned int code = 0;
        size_t hidden = hidden_control(utf8, at, &code);
        char c = utf8[at], escape[8] = {c, '\0'};
        if (c == '"' || c == '\\')
            snprintf(escape, sizeof escape, "\\%c", c);
        else if (hidden > 0 || static_cast<unsigned char>(c) < 0x20)
            snprintf(escape, sizeof escape, "\\u%04X", code);
        out += escape;
        at += hidden > 0 ? hidden : 1;
    }
    return out + "\"";
}

void Json::string(const std::string &utf8)
{
    if (may_hide_controls(utf8)) {
        std::string escaped = with_escapes(utf8);
        breaks_lines ? indented.RawValue(escaped.data(), escaped.size(), rapidjson::kStringType)
                     : plain.RawValue(escaped.data(), escaped.size(), rapidjson::kStringType);
        return;
    }
    rapidjson::SizeType size = static_cast<rapidjson::SizeType>(utf8.size());
    breaks_lines ? indented.String(utf8.data(), size) : plain.String(utf8.data(), size);
}

void Json::number(const std::string &digits)
{
    breaks_lines ? indented.RawValue(digits.data(), digits.size(), rapidjson::kNumberType)
                 : plain.RawValue(digits.data(), digits.size(), rapidjson::kNumberType);
}

void Json::base64(const char *bytes, size_t size)
{
    static const char letters[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    const unsigned char *at = reinterpret_cast<const unsigned char *>(bytes);
    std::string text;
    text.reserve((size + 2) / 3 * 4);
    for (size_t i = 0; i < size; i += 3) {
        size_t left = size - i;
        unsigned int three =
            static_cast<unsigned int>(at[i]) << 16 | (left > 1 ? at[i + 1] : 0u) << 8 | (left > 2 ? at[i + 2] : 0u);
        text += letters[three >> 18];
        text += letters[three >> 12 & 63];
        text += left > 1 ? letters[three >> 6 & 63] : '=';
        text += left > 2 ? letters[three & 63] : '=';
    }
    string(text);
}

void Json::end_document()
{
    stream.Put('\n');
    stream.Flush();
    plain.Reset(stream);
    indented.Reset(stream);
}

// ---- texts and numbers ----------------------------------------------------------------

bool is_utf8(const std::string &text)
{
    for (size_t i = 0; i < text.size();) {
        size_t length = static_cast<unsigned char>(text[i]) < 0x80
                            ? 1
                            : velmora_host::utf8_character(text.data() + i, text.size() - i);
        if (length == 0)
            return false;
        i += length;
    }
    return true;
}

std::string utf8_of(const std::string &bytes)
{
    return is_utf8(bytes) ? bytes : visible(bytes);
}

static size_t take_digits(const std::string &text, size_t at, std::string *digits)
{
    while (at < text.size() && isdigit(static_cast<unsigned char>(text[at])))
        *digits += text[at++];
    return at;
}

// "e+05" at a place. Returns the place behind it; text.size() + 1 where it has no digits.
static size_t take_exponent(const std::string &text, size_t at, std::string *number)
{
    std::string digits;
    *number += 'e';
    at++;
    if (at < text.size() && (text[at] == '+' || text[at] == '-'))
        *number += text[at++];
    at = take_digits(text, at, &digits);
    *number += digits;
    return digits.empty() ? text.size() + 1 : at;
}

std::string json_number(const std::string &text)
{
    std::string whole, fraction, number;
    size_t at = 0;
    if (at < text.size() && (text[at] == '+' || text[at] == '-'))
        number = text[at++] == '-' ? "-" : "";
    at = take_digits(text, at, &whole);
    if (at < text.size() && text[at] == '.')
        at = take_digits(text, at + 1, &fraction);
    if (whole.empty() && fraction.empty())
        return "";
    size_t start = whole.find_first_not_of('0');
    number += start == std::string::npos ? "0" : whole.substr(start);
    if (!fraction.empty())
        number += "." + fraction;
    if (at < text.size() && (text[at] == 'e' || text[at] == 'E'))
        at = take_exponent(text, at, &number);
    return at == text.size() && isfinite(strtod(number.c_str(), nullptr)) ? number : "";
}
