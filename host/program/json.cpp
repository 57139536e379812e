#include "host/program/json.h"

#include <ctype.h>
#include <math.h>
#include <stdlib.h>

#include "host/program/output.h"

void Json_Stream::Flush()
{
    write_out(block, count);
    count = 0;
}

void Json::string(const std::string &utf8)
{
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

// ---- numbers --------------------------------------------------------------------------

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
