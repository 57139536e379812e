// Texts into UTF-8. The designations of ISO 2022 are followed here, byte by byte; iconv has the tables of the sets.
#include "host/charset.h"

#include <ctype.h>
#include <errno.h>
#include <iconv.h>
#include <string.h>

namespace velmora_host
{

static const unsigned int REPLACEMENT = 0xFFFD;
static const char ESCAPE = 0x1B;

// ---- the graphic sets -----------------------------------------------------------------

enum Graphic_Form : unsigned char { FORM_NONE, FORM_ASCII, FORM_ROMAJI, FORM_KATAKANA, FORM_SINGLE, FORM_DOUBLE };

struct Graphic_Set {
    const char *number;     // in the defined terms, "ISO_IR 100" and "ISO 2022 IR 100"
    const char *escape;     // what designates it, behind ESC
    const char *encoding;   // of iconv, with the set in the upper half of its codes
    const char *prefix;     // in front of a character there
    Graphic_Form form;
    bool is_g0;   // bytes 21 to 7E, else A0 to FF
};

// DICOM PS3.3, tables C.12-2 to C.12-4. The first is none for G1, and the default repertoire for G0.
static const Graphic_Set graphic_sets[] = {
  // number escape  encoding       prefix  form           is_g0
    {"6",   "(B",  nullptr,       "",     FORM_ASCII,    true },
    {"14",  "(J",  nullptr,       "",     FORM_ROMAJI,   true },
    {"13",  ")I",  nullptr,       "",     FORM_KATAKANA, false},
    {"100", "-A",  "ISO-8859-1",  "",     FORM_SINGLE,   false},
    {"101", "-B",  "ISO-8859-2",  "",     FORM_SINGLE,   false},
    {"109", "-C",  "ISO-8859-3",  "",     FORM_SINGLE,   false},
    {"110", "-D",  "ISO-8859-4",  "",     FORM_SINGLE,   false},
    {"144", "-L",  "ISO-8859-5",  "",     FORM_SINGLE,   false},
    {"127", "-G",  "ISO-8859-6",  "",     FORM_SINGLE,   false},
    {"126", "-F",  "ISO-8859-7",  "",     FORM_SINGLE,   false},
    {"138", "-H",  "ISO-8859-8",  "",     FORM_SINGLE,   false},
    {"148", "-M",  "ISO-8859-9",  "",     FORM_SINGLE,   false},
    {"203", "-b",  "ISO-8859-15", "",     FORM_SINGLE,   false},
    {"166", "-T",  "TIS-620",     "",     FORM_SINGLE,   false},
    {"87",  "$B",  "EUC-JP",      "",     FORM_DOUBLE,   true },
    {"159", "$(D", "EUC-JP",      "\x8F", FORM_DOUBLE,   true },
    {"149", "$)C", "EUC-KR",      "",     FORM_DOUBLE,   false},
    {"58",  "$)A", "EUC-CN",      "",     FORM_DOUBLE,   false},
};

enum : unsigned char { SET_ASCII = 0, SET_ROMAJI = 1, SET_KATAKANA = 2, NO_G1 = 0 };
enum { SET_COUNT = sizeof graphic_sets / sizeof graphic_sets[0], NO_SET = -1 };

// ---- iconv ----------------------------------------------------------------------------

// One conversion into UTF-8, opened at its first use and kept: to open it costs more than most texts.
struct Converter {
    const char *encoding = nullptr;
    iconv_t handle = reinterpret_cast<iconv_t>(-1);
    ~Converter()
    {
        if (is_open())
            iconv_close(handle);
    }
    bool is_open() const
    {
        return handle != reinterpret_cast<iconv_t>(-1);
    }
};

static iconv_t converter_of(const char *encoding)
{
    static thread_local Converter converters[SET_COUNT + 2];
    for (Converter &each : converters) {
        if (each.encoding == nullptr) {
            each.encoding = encoding;
            each.handle = iconv_open("UTF-8", encoding);
        }
        if (strcmp(each.encoding, encoding) == 0)
            return each.handle;
    }
    return reinterpret_cast<iconv_t>(-1);
}

static bool has_encoding(const char *encoding)
{
    return encoding == nullptr || converter_of(encoding) != reinterpret_cast<iconv_t>(-1);
}

// Appends what iconv makes of some bytes, and U+FFFD for each byte that it cannot take.
static int append_converted(const char *encoding, const char *text, size_t size, bool is_cut, std::string *out)
{
    iconv_t converter = converter_of(encoding);
    bool is_open = converter != reinterpret_cast<iconv_t>(-1);
    char *from = const_cast<char *>(text);
    int replaced = 0;
    if (is_open)
        iconv(converter, nullptr, nullptr, nullptr, nullptr);
    while (size > 0) {
        char block[512], *to = block;
        size_t room = sizeof block;
        errno = is_open ? 0 : EILSEQ;
        if (is_open)
            iconv(converter, &from, &size, &to, &room);
        int error = size > 0 ? errno : 0;
        out->append(block, sizeof block - room);
        if (error == 0 || error == E2BIG)
            continue;
        if (error == EINVAL && is_cut)
            break;
        append_code_point(REPLACEMENT, out);
        replaced++;
        from++;
        size--;
    }
    return replaced;
}

// ---- UTF-8 ----------------------------------------------------------------------------

void append_code_point(unsigned int code, std::string *out)
{
    if (code > 0x10FFFF || (code >= 0xD800 && code <= 0xDFFF))
        code = REPLACEMENT;
    static const struct {
        unsigned int limit, lead;
        int more;
    } rows[] = {
        {0x80,     0,    0},
        {0x800,    0xC0, 1},
        {0x10000,  0xE0, 2},
        {0x110000, 0xF0, 3},
    };
    for (const auto &row : rows) {
        if (code >= row.limit)
            continue;
        *out += static_cast<char>(row.lead | code >> (6 * row.more));
        for (int i = row.more - 1; i >= 0; i--)
            *out += static_cast<char>(0x80 | (code >> (6 * i) & 0x3F));
        return;
    }
}

// The well-formed sequences of Unicode, table 3-7: what the first byte may be, how many follow, and between which
// bounds the second one lies.
struct Utf8_Row {
    unsigned char first, last, more, low, high;
};

static const Utf8_Row utf8_rows[] = {
    {0x00, 0x7F, 0, 0x80, 0xBF},
    {0xC2, 0xDF, 1, 0x80, 0xBF},
    {0xE0, 0xE0, 2, 0xA0, 0xBF},
    {0xE1, 0xEC, 2, 0x80, 0xBF},
    {0xED, 0xED, 2, 0x80, 0x9F},
    {0xEE, 0xEF, 2, 0x80, 0xBF},
    {0xF0, 0xF0, 3, 0x90, 0xBF},
    {0xF1, 0xF3, 3, 0x80, 0xBF},
    {0xF4, 0xF4, 3, 0x80, 0x8F},
};

// How many bytes at a place can be the beginning of a character, and whether they are a whole one.
static size_t measure_utf8(const char *text, size_t left, bool *is_whole)
{
    const unsigned char *at = reinterpret_cast<const unsigned char *>(text);
    *is_whole = false;
    for (const Utf8_Row &row : utf8_rows) {
        if (at[0] < row.first || at[0] > row.last)
            continue;
        size_t good = 1;
        while (good <= row.more && good < left) {
            unsigned char low = good == 1 ? row.low : 0x80, high = good == 1 ? row.high : 0xBF;
            if (at[good] < low || at[good] > high)
                break;
            good++;
        }
        *is_whole = good == row.more + 1u;
        return good;
    }
    return 1;
}

size_t utf8_character(const char *at, size_t left)
{
    bool is_whole = false;
    size_t length = left > 0 ? measure_utf8(at, left, &is_whole) : 0;
    return is_whole ? length : 0;
}

static int append_checked_utf8(const char *text, size_t size, bool is_cut, std::string *out)
{
    int replaced = 0;
    for (size_t i = 0; i < size;) {
        bool is_whole = false;
        size_t length = measure_utf8(text + i, size - i, &is_whole);
        bool is_lead = static_cast<unsigned char>(text[i]) >= 0xC2 && static_cast<unsigned char>(text[i]) <= 0xF4;
        if (is_whole) {
            out->append(text + i, length);
        } else if (!is_cut || !is_lead || i + length < size) {
            append_code_point(REPLACEMENT, out);
            replaced++;
        }
        i += length;
    }
    return replaced;
}

// ---- ISO 2022 -------------------------------------------------------------------------

struct Decoder {
    const Character_Set *set;
    Text_Kind kind;
    bool is_cut;
    std::string *out;
    unsigned char g0, g1;   // designated now
    int replaced;
};

static void replace(Decoder *d)
{
    append_code_point(REPLACEMENT, d->out);
    d->replaced++;
}

// The sets of the start are active again. Where there is no G1 at the start, what the text has designated stays:
// nothing else could be meant by its bytes, and writers forget to repeat the escape sequence.
static void reset_sets(Decoder *d)
{
    d->g0 = d->set->g0;
    if (d->set->g1 != NO_G1)
        d->g1 = d->set->g1;
}

static bool is_delimiter(const Decoder *d, char c)
{
    return (c == '\\' && d->kind != TEXT_WHOLE) || ((c == '^' || c == '=') && d->kind == TEXT_NAMES);
}

// An escape sequence at a place. Returns its size; 1 where it designates nothing that we know.
static size_t take_escape(Decoder *d, const char *at, size_t left)
{
    for (unsigned char i = 0; i < SET_COUNT; i++) {
        size_t length = strlen(graphic_sets[i].escape);
        if (d->is_cut && left <= length && memcmp(at + 1, graphic_sets[i].escape, left - 1) == 0)
            return left;   // the rest of it was cut off
        if (left <= length || memcmp(at + 1, graphic_sets[i].escape, length) != 0)
            continue;
        (graphic_sets[i].is_g0 ? d->g0 : d->g1) = i;
        return length + 1;
    }
    replace(d);
    return 1;
}

// A character of two bytes. Returns the size of what was taken.
static size_t take_double(Decoder *d, const Graphic_Set &graphic, const char *at, size_t left)
{
    unsigned char low = graphic.is_g0 ? 0x21 : 0xA1, first = static_cast<unsigned char>(at[0]);
    unsigned char second = left > 1 ? static_cast<unsigned char>(at[1]) : 0;
    bool is_whole = first >= low && first <= low + 93 && second >= low && second <= low + 93;
    if (!is_whole) {
        if (left > 1 || !d->is_cut)
            replace(d);
        return 1;
    }
    char code[4];
    size_t length = strlen(graphic.prefix);
    memcpy(code, graphic.prefix, length);
    code[length++] = static_cast<char>(first | 0x80);
    code[length++] = static_cast<char>(second | 0x80);
    std::string character;
    if (append_converted(graphic.encoding, code, length, false, &character) > 0)
        replace(d);
    else
        *d->out += character;
    return 2;
}

// A byte of a set in the left half: 21 to 7E.
static size_t take_left(Decoder *d, const char *at, size_t left)
{
    const Graphic_Set &graphic = graphic_sets[d->g0];
    if (graphic.form == FORM_DOUBLE)
        return take_double(d, graphic, at, left);
    if (is_delimiter(d, *at)) {
        *d->out += *at;
        reset_sets(d);
    } else if (graphic.form == FORM_ROMAJI && (*at == '\\' || *at == '~')) {
        append_code_point(*at == '\\' ? 0xA5 : 0x203E, d->out);   // the yen sign and the overline
    } else {
        *d->out += *at;
    }
    return 1;
}

// A byte of a set in the right half.
static size_t take_right(Decoder *d, const char *at, size_t left)
{
    const Graphic_Set &graphic = graphic_sets[d->g1 != NO_G1 ? d->g1 : d->set->usual_g1];
    unsigned char c = static_cast<unsigned char>(*at);
    if (graphic.form == FORM_DOUBLE)
        return take_double(d, graphic, at, left);
    if (graphic.form == FORM_KATAKANA && c >= 0xA1 && c <= 0xDF)
        append_code_point(0xFF61u + c - 0xA1u, d->out);
    else if (graphic.form == FORM_SINGLE && c >= 0xA0)
        d->replaced += append_converted(graphic.encoding, at, 1, false, d->out);
    else
        replace(d);
    return 1;
}

static int append_iso_2022(Decoder *d, const char *text, size_t size)
{
    reset_sets(d);
    for (size_t i = 0; i < size;) {
        unsigned char c = static_cast<unsigned char>(text[i]);
        if (c == ESCAPE) {
            i += take_escape(d, text + i, size - i);
        } else if (c < 0x20 || c == 0x7F) {
            *d->out += text[i++];
            reset_sets(d);
        } else if (c == ' ') {
            *d->out += text[i++];
        } else {
            i += c < 0x80 ? take_left(d, text + i, size - i) : take_right(d, text + i, size - i);
        }
    }
    return d->replaced;
}

// ---- the terms ------------------------------------------------------------------------

// Letters and digits alone, in upper case: what writers mistake is what stands between.
static std::string squeezed(const char *text, size_t size)
{
    std::string term;
    for (size_t i = 0; i < size; i++)
        if (isalnum(static_cast<unsigned char>(text[i])))
            term += static_cast<char>(toupper(static_cast<unsigned char>(text[i])));
    return term;
}

struct Term_Row {
    const char *term;
    Text_Coding coding;
    const char *encoding;
};

static const Term_Row other_terms[] = {
    {"ISOIR192",     CODING_UTF_8,   nullptr  },
    {"ISO2022IR192", CODING_UTF_8,   nullptr  },
    {"UTF8",         CODING_UTF_8,   nullptr  },
    {"GB18030",      CODING_GB18030, "GB18030"},
    {"GBK",          CODING_GBK,     "GBK"    },
};

static int find_graphic_set(const std::string &term)
{
    size_t digits = 0;
    for (const char *head : {"ISO2022IR", "ISOIR", "ISO2022"})
        if (digits == 0 && term.compare(0, strlen(head), head) == 0)
            digits = strlen(head);
    for (int i = 0; i < SET_COUNT; i++)
        if (digits > 0 && term.compare(digits, std::string::npos, graphic_sets[i].number) == 0)
            return has_encoding(graphic_sets[i].encoding) ? i : static_cast<int>(NO_SET);
    return NO_SET;
}

// Enters one term. place: 0 for value 1, which says what a text begins with.
static bool take_term(const std::string &term, int place, Character_Set *set)
{
    if (term.empty())
        return true;
    for (const Term_Row &row : other_terms) {
        if (term == row.term && has_encoding(row.encoding)) {
            // It has to be the only one. As a further one it counts where nothing else has codes above 7F.
            if (place == 0 || (set->coding == CODING_ISO_2022 && set->usual_g1 == NO_G1))
                set->coding = row.coding;
            return place == 0;
        }
    }
    int found = find_graphic_set(term);
    if (found == NO_SET)
        return false;
    unsigned char graphic = static_cast<unsigned char>(found);
    const Graphic_Set &row = graphic_sets[graphic];
    // A set of two bytes is no beginning, though some writers name nothing else.
    if (place == 0 && row.form != FORM_DOUBLE && !row.is_g0)
        set->g1 = graphic;
    if (place == 0 && (graphic == SET_KATAKANA || graphic == SET_ROMAJI))
        set->g0 = SET_ROMAJI;
    if (!row.is_g0 && set->usual_g1 == NO_G1)
        set->usual_g1 = graphic;
    return true;
}

// ---- the calls ------------------------------------------------------------------------

bool parse_character_set(const char *value, size_t size, Character_Set *set, std::string *unknown)
{
    *set = Character_Set();
    unknown->clear();
    int place = 0;
    for (size_t start = 0; start <= size; place++) {
        const void *found = start < size ? memchr(value + start, '\\', size - start) : nullptr;
        size_t end = found != nullptr ? static_cast<size_t>(static_cast<const char *>(found) - value) : size;
        if (!take_term(squeezed(value + start, end - start), place, set))
            *unknown += (unknown->empty() ? "" : "\\") + std::string(value + start, end - start);
        start = end + 1;
    }
    return unknown->empty();
}

static bool names_nothing(const Character_Set &set)
{
    return set.coding == CODING_ISO_2022 && set.g0 == SET_ASCII && set.usual_g1 == NO_G1;
}

bool is_plain_text(const char *text, size_t size)
{
    unsigned char high = 0;   // without a way out of the loop, which so looks at many bytes at once
    bool has_escape = false;
    for (size_t i = 0; i < size; i++) {
        high |= static_cast<unsigned char>(text[i]);
        has_escape |= text[i] == ESCAPE;
    }
    return high < 0x80 && !has_escape;
}

int append_utf8(const Character_Set &set, const char *text, size_t size, Text_Kind kind, std::string *out, bool is_cut)
{
    if (is_plain_text(text, size) && (set.coding != CODING_ISO_2022 || set.g0 == SET_ASCII)) {
        out->append(text, size);
        return 0;
    }
    std::string checked;
    bool has_escape = size > 0 && memchr(text, ESCAPE, size) != nullptr;
    if (names_nothing(set) && !has_escape && append_checked_utf8(text, size, is_cut, &checked) == 0) {
        *out += checked;
        return 0;
    }
    switch (set.coding) {
    case CODING_UTF_8:
        return append_checked_utf8(text, size, is_cut, out);
    case CODING_GB18030:
        return append_converted("GB18030", text, size, is_cut, out);
    case CODING_GBK:
        return append_converted("GBK", text, size, is_cut, out);
    default:
        break;
    }
    Decoder decoder = {&set, kind, is_cut, out, set.g0, set.g1, 0};
    return append_iso_2022(&decoder, text, size);
}

}   // namespace velmora_host
