#include "host/program/html_text.h"

#include <stdio.h>

#include "host/charset.h"

// ---- characters -----------------------------------------------------------------------

static const char *entity_of(char c)
{
    switch (c) {
    case '<':
        return "&lt;";
    case '>':
        return "&gt;";
    case '&':
        return "&amp;";
    case '"':
        return "&quot;";
    case '\'':
        return "&#39;";
    default:
        return nullptr;
    }
}

struct Code_Range {
    unsigned int first, last;
};

// Characters that are not seen, or that turn or hide what stands around them. Joiners (200C, 200D) are not among them:
// the scripts that have them cannot do without.
static const Code_Range unseen[] = {
    {0x80,    0x9F   }, // controls
    {0xAD,    0xAD   }, // a hyphen that may not show
    {0x61C,   0x61C  }, // marks, embeddings, overrides and isolates of direction
    {0x180E,  0x180E },
    {0x200B,  0x200B },
    {0x200E,  0x200F },
    {0x2028,  0x202E },
    {0x2060,  0x206F },
    {0xD800,  0xDFFF },
    {0xFDD0,  0xFDEF },
    {0xFEFF,  0xFEFF },
    {0xFFF0,  0xFFFB },
    {0xFFFE,  0xFFFF },
    {0xE0000, 0xE0FFF}, // tags: text that
  // nobody sees
};

static bool is_unseen(unsigned int code)
{
    for (const Code_Range &range : unseen)
        if (code >= range.first && code <= range.last)
            return true;
    return (code & 0xFFFE) == 0xFFFE;
}

static unsigned int code_of(const char *at, size_t length)
{
    static const unsigned char masks[] = {0, 0x7F, 0x1F, 0x0F, 0x07};
    unsigned int code = static_cast<unsigned char>(at[0]) & masks[length];
    for (size_t i = 1; i < length; i++)
        code = code << 6 | (static_cast<unsigned char>(at[i]) & 0x3F);
    return code;
}

static void append_shown(const char *format, unsigned int code, std::string *out)
{
    char text[32];
    snprintf(text, sizeof text, format, code);
    *out += text;
}

static void append_ascii(char c, Html_Lines lines, std::string *out)
{
    bool is_line = c == '\n' || c == '\r' || c == '\t';
    const char *entity = entity_of(c);
    if (entity != nullptr)
        *out += entity;
    else if (is_line && lines == LINES_KEPT)
        *out += c == '\r' ? "" : c == '\n' ? "\n" : "\t";
    else if (is_line)
        *out += c == '\n' ? "<u>\\n</u>" : c == '\r' ? "<u>\\r</u>" : "<u>\\t</u>";
    else if (c < ' ' || c == 0x7F)
        append_shown("<u>\\x%02x</u>", static_cast<unsigned char>(c), out);
    else
        *out += c;
}

// ---- texts ----------------------------------------------------------------------------

void append_html(const char *text, size_t size, Html_Lines lines, std::string *out)
{
    for (size_t i = 0; i < size;) {
        if (static_cast<unsigned char>(text[i]) < 0x80) {
            // Of CR LF the LF is the end of the line; a CR alone is one, too.
            bool is_lone_return = text[i] == '\r' && (i + 1 == size || text[i + 1] != '\n');
            append_ascii(is_lone_return && lines == LINES_KEPT ? '\n' : text[i], lines, out);
            i++;
            continue;
        }
        size_t length = velmora_host::utf8_character(text + i, size - i);
        if (length == 0) {
            append_shown("<u>\\x%02x</u>", static_cast<unsigned char>(text[i++]), out);
            continue;
        }
        unsigned int code = code_of(text + i, length);
        if (is_unseen(code))
            append_shown("<u>U+%04X</u>", code, out);
        else
            out->append(text + i, length);
        i += length;
    }
}

void append_html(const std::string &text, std::string *out)
{
    append_html(text.data(), text.size(), LINES_ESCAPED, out);
}

void append_grouped(long long number, std::string *out)
{
    std::string digits = std::to_string(number);
    size_t first = digits[0] == '-' ? 1 : 0;
    for (size_t at = digits.size(); at > first + 3;)
        digits.insert(at -= 3, ",");
    *out += digits;
}
