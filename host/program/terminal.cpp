#include "host/program/terminal.h"

#include <iconv.h>
#include <langinfo.h>
#include <locale.h>
#include <stdint.h>
#include <stdio.h>
#include <string.h>

#include "host/charset.h"
#include "host/program/output.h"

// The character set of the locale. Asked for without setting the locale: the library's tests of characters and its
// numbers are those of the C locale.
static std::string terminal_charset()
{
    locale_t locale = newlocale(LC_CTYPE_MASK, "", static_cast<locale_t>(nullptr));
    if (locale == static_cast<locale_t>(nullptr))
        return "UTF-8";
    std::string name = nl_langinfo_l(CODESET, locale);
    freelocale(locale);
    bool says_nothing = name.empty() || name == "ANSI_X3.4-1968" || name == "US-ASCII";   // the C locale
    return says_nothing ? "UTF-8" : name;
}

static unsigned int code_point(const char *at, size_t length)
{
    static const unsigned char masks[] = {0, 0x7F, 0x1F, 0x0F, 0x07};
    unsigned int code = static_cast<unsigned char>(at[0]) & masks[length];
    for (size_t i = 1; i < length; i++)
        code = code << 6 | (static_cast<unsigned char>(at[i]) & 0x3F);
    return code;
}

static void append_converted(iconv_t converter, const char *at, size_t length, std::string *out)
{
    char block[32], *from = const_cast<char *>(at), *to = block;
    size_t left = length, room = sizeof block;
    bool done =
        iconv(converter, &from, &left, &to, &room) == 0 && left == 0;   // above 0: something was put in its place
    if (!done) {
        iconv(converter, nullptr, nullptr, nullptr, nullptr);
        to = block + snprintf(block, sizeof block, "\\u%04x", code_point(at, length));
    }
    out->append(block, static_cast<size_t>(to - block));
}

std::string for_terminal(const std::string &utf8)
{
    static const std::string charset = terminal_charset();
    static const bool is_utf8 = charset == "UTF-8" || charset == "utf8" || charset == "UTF8";
    static iconv_t converter = is_utf8 ? reinterpret_cast<iconv_t>(-1) : iconv_open(charset.c_str(), "UTF-8");
    std::string shown = visible(utf8);
    if (is_utf8 || converter == reinterpret_cast<iconv_t>(-1))
        return shown;
    std::string out;
    for (size_t i = 0; i < shown.size();) {
        size_t length = velmora_host::utf8_character(shown.data() + i, shown.size() - i);
        if (length <= 1)
            out += shown[i];
        else
            append_converted(converter, shown.data() + i, length, &out);
        i += length > 0 ? length : 1;
    }
    return out;
}
