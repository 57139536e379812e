// Texts into UTF-8: the examples of DICOM PS3.5, annexes H to K, what writers do wrong, and what is no character at
// all.
#include <gtest/gtest.h>
#include <string.h>
#include <random>

#include "host/charset.h"

using namespace velmora_host;

static std::string decoded(const std::string &charset, const std::string &text, Text_Kind kind, int *replaced = nullptr,
                           bool is_cut = false)
{
    Character_Set set;
    std::string unknown, out;
    parse_character_set(charset.data(), charset.size(), &set, &unknown);
    int count = append_utf8(set, text.data(), text.size(), kind, &out, is_cut);
    if (replaced != nullptr)
        *replaced = count;
    return out;
}

struct Text_Row { const char *what, *charset, *text; Text_Kind kind; const char *expected; };

// clang-format off: one row a line
static const Text_Row text_rows[] = {
    {"default repertoire", "", "Doe^John", TEXT_NAMES, "Doe^John"},
    {"H.3.1", "\\ISO 2022 IR 87",
     "Yamada^Tarou=\033$B;3ED\033(B^\033$BB@O:\033(B=\033$B$d$^$@\033(B^\033$B$?$m$&\033(B", TEXT_NAMES,
     "Yamada^Tarou=山田^太郎=やまだ^たろう"},
    {"H.3.2", "ISO 2022 IR 13\\ISO 2022 IR 87",
     "\xD4\xCF\xC0\xDE^\xC0\xDB\xB3=\033$B;3ED\033(J^\033$BB@O:\033(J=\033$B$d$^$@\033(J^\033$B$?$m$&\033(J",
     TEXT_NAMES, "ﾔﾏﾀﾞ^ﾀﾛｳ=山田^太郎=やまだ^たろう"},
    {"I.2", "\\ISO 2022 IR 149",
     "Hong^Gildong=\033$)C\xFB\xF3^\033$)C\xD1\xCE\xD4\xD7=\033$)C\xC8\xAB^\033$)C\xB1\xE6\xB5\xBF", TEXT_NAMES,
     "Hong^Gildong=洪^吉洞=홍^길동"},
    {"I.3", "\\ISO 2022 IR 149",
     "\033$)CThe first line includes \xC7\xD1\xB1\xDB.\r\n\033$)CThe second \xC7\xD1\xB1\xDB, too.\r\nThe third",
     TEXT_WHOLE, "The first line includes 한글.\r\nThe second 한글, too.\r\nThe third"},
    {"J.1", "ISO_IR 192", "Wang^XiaoDong=\xE7\x8E\x8B^\xE5\xB0\x8F\xE6\x9D\xB1=", TEXT_NAMES, "Wang^XiaoDong=王^小東="},
    {"J.3", "GB18030", "Wang^XiaoDong=\xCD\xF5^\xD0\xA1\xB6\xAB=", TEXT_NAMES, "Wang^XiaoDong=王^小东="},
    {"J.3 as GBK", "GBK", "Wang^XiaoDong=\xCD\xF5^\xD0\xA1\xB6\xAB=", TEXT_NAMES, "Wang^XiaoDong=王^小东="},
    {"J.4", "GB18030", "The first line includes \xD6\xD0\xCE\xC4.\r\nThe second", TEXT_WHOLE,
     "The first line includes 中文.\r\nThe second"},
    {"K.2", "\\ISO 2022 IR 58", "Zhang^XiaoDong=\033$)A\xD5\xC5^\033$)A\xD0\xA1\xB6\xAB= ", TEXT_NAMES,
     "Zhang^XiaoDong=张^小东= "},
    {"K.3", "\\ISO 2022 IR 58", "2.\033$)A\xB5\xDA\xB6\xFE\xD0\xD0\xCE\xC4\xD7\xD6\xA1\xA3\r\n", TEXT_WHOLE,
     "2.第二行文字。\r\n"},

    {"Latin 1", "ISO_IR 100", "\xC4neas^R\xFC" "diger", TEXT_NAMES, "Äneas^Rüdiger"},
    {"Latin 2", "ISO_IR 101", "Wa\xB3\xEAsa", TEXT_VALUES, "Wałęsa"},
    {"Latin 3", "ISO_IR 109", "\xA1", TEXT_VALUES, "Ħ"}, {"Latin 4", "ISO_IR 110", "\xA2", TEXT_VALUES, "ĸ"},
    {"Latin 5", "ISO_IR 148", "\xDD\xFD", TEXT_VALUES, "İı"}, {"Latin 9", "ISO_IR 203", "\xA4", TEXT_VALUES, "€"},
    {"Cyrillic", "ISO_IR 144", "\xBB\xEE\xDA", TEXT_VALUES, "Люк"},
    {"Arabic", "ISO_IR 127", "\xE2\xC8\xC7\xE6\xEA^\xE4\xE6\xD2\xC7\xD1", TEXT_NAMES, "قباني^لنزار"},
    {"Greek", "ISO_IR 126", "\xC4\xE9\xEF\xED\xF5\xF3\xE9\xEF\xF2", TEXT_VALUES, "Διονυσιος"},
    {"Hebrew", "ISO_IR 138", "\xF9\xF8\xE5\xEF^\xE3\xE1\xE5\xF8\xE4", TEXT_NAMES, "שרון^דבורה"},
    {"Thai", "ISO_IR 166", "\xB9\xD2\xC2", TEXT_VALUES, "นาย"},
    {"katakana alone", "ISO_IR 13", "\xD4\xCF\xC0\xDE", TEXT_VALUES, "ﾔﾏﾀﾞ"},
    {"a set behind another one", "ISO 2022 IR 100\\ISO 2022 IR 144", "\xE9 \033-L\xB8 \xE9\\\xE9", TEXT_VALUES,
     "é И щ\\é"},
    {"JIS X 0212", "\\ISO 2022 IR 87\\ISO 2022 IR 159", "\033$(D0!\033(B", TEXT_VALUES, "丂"},

    {"5C as the second half of a character", "GB18030", "\x81\x5C\\\x91\x5C", TEXT_VALUES, "乗\\慭"},
    {"5C in two bytes of G0", "\\ISO 2022 IR 87", "\033$B%\\\\e\033(B\\x", TEXT_VALUES, "ボ槭\\x"},
    {"5C in a text that has no delimiter", "ISO_IR 13", "a\\b~", TEXT_WHOLE, "a¥b‾"},
    {"the yen sign as a delimiter", "ISO_IR 13", "a\\\xB1", TEXT_VALUES, "a\\ｱ"},
    {"5E and 3D in two bytes of G0", "\\ISO 2022 IR 87", "\033$B^=\033(B^A", TEXT_NAMES, "渊^A"},
    {"a delimiter that is none in this VR", "ISO 2022 IR 6\\ISO 2022 IR 144", "\033-L\xB8=\xB8", TEXT_VALUES, "И=И"},

    {"an escape sequence forgotten behind a delimiter", "\\ISO 2022 IR 149", "\033$)C\xFB\xF3^\xD1\xCE", TEXT_NAMES,
     "洪^吉"},
    {"no escape sequence at all", "\\ISO 2022 IR 149", "\xFB\xF3", TEXT_NAMES, "洪"},
    {"a set that is no beginning as the only one", "ISO 2022 IR 149", "A\xFB\xF3", TEXT_NAMES, "A洪"},
    {"a set that is not named", "ISO_IR 100", "\033$B;3\033(B \xE9", TEXT_VALUES, "山 é"},
    {"terms as writers have them", "ISO_IR_100", "\xE9", TEXT_VALUES, "é"},
    {"the same", "iso 2022 101 ", "\xB3", TEXT_VALUES, "ł"}, {"the same", "utf-8", "\xC3\xA9", TEXT_VALUES, "é"},
    {"UTF-8 where nothing is named", "", "\xC3\xA9", TEXT_VALUES, "é"},
    {"UTF-8 as a further value", "\\ISO_IR 192", "\xC3\xA9", TEXT_VALUES, "é"},
};
// clang-format on

TEST(Charset, DecodesByTheCharacterSet)
{
    for (const Text_Row &row : text_rows) {
        int replaced = 0;
        EXPECT_EQ(decoded(row.charset, row.text, row.kind, &replaced), row.expected) << row.what << " " << row.charset;
        EXPECT_EQ(replaced, 0) << row.what;
    }
}

// clang-format off
static const Text_Row broken_rows[] = {
    {"a byte of no set", "", "a\xE9z", TEXT_VALUES, "a\uFFFDz"},
    {"a control code of the right half", "ISO_IR 100", "\x85", TEXT_VALUES, "\uFFFD"},
    {"a place that is not taken", "ISO_IR 127", "\xA1\xC7", TEXT_VALUES, "\uFFFDا"},
    {"behind the katakana", "ISO_IR 13", "\xE0\xA0", TEXT_VALUES, "\uFFFD\uFFFD"},
    {"UTF-8: cut short", "ISO_IR 192", "\xE7\x8E", TEXT_VALUES, "\uFFFD"},
    {"UTF-8: a lead in front of a letter", "ISO_IR 192", "\xE7\x8Ez", TEXT_VALUES, "\uFFFDz"},
    {"UTF-8: too long a form, a surrogate", "ISO_IR 192", "\xC0\x80\xED\xA0\x80", TEXT_VALUES,
     "\uFFFD\uFFFD\uFFFD\uFFFD\uFFFD"},
    {"UTF-8: beyond the last code", "ISO_IR 192", "\xF4\x90\x80\x80", TEXT_VALUES, "\uFFFD\uFFFD\uFFFD\uFFFD"},
    {"GB18030: half a character", "GB18030", "\xCD\xF5\xCD", TEXT_VALUES, "王\uFFFD"},
    {"two bytes: one is missing", "\\ISO 2022 IR 149", "\033$)C\xFB", TEXT_VALUES, "\uFFFD"},
    {"two bytes: a delimiter instead of the second", "\\ISO 2022 IR 149", "\xFB^\xFB\xF3", TEXT_NAMES, "\uFFFD^洪"},
    {"two bytes: not in the table", "\\ISO 2022 IR 87", "\033$B\x7E\x7E\033(Bz", TEXT_VALUES, "\uFFFDz"},
    {"an escape sequence that is none", "\\ISO 2022 IR 87", "\033[1mz", TEXT_VALUES, "\uFFFD[1mz"},
    {"an escape sequence at the end", "\\ISO 2022 IR 87", "a\033$", TEXT_VALUES, "a\uFFFD$"},
};
// clang-format on

TEST(Charset, LosesNothingOfABrokenText)
{
    for (const Text_Row &row : broken_rows) {
        int replaced = 0, expected = 0;
        EXPECT_EQ(decoded(row.charset, row.text, row.kind, &replaced), row.expected) << row.what;
        for (const char *at = row.expected; (at = strstr(at, "\uFFFD")) != nullptr; at++)
            expected++;
        EXPECT_EQ(replaced, expected) << row.what;
    }
}

TEST(Charset, DropsWhatIsCutOffATextThatGoesOn)
{
    static const Text_Row rows[] = {
        {"UTF-8", "ISO_IR 192", "\xE7\x8E\x8B\xE5\xB0", TEXT_VALUES, "王"},
        {"GB18030", "GB18030", "\xCD\xF5\xD0", TEXT_VALUES, "王"},
        {"two bytes", "\\ISO 2022 IR 149", "\xFB\xF3\xFB", TEXT_VALUES, "洪"},
        {"an escape sequence", "\\ISO 2022 IR 149", "a\033$", TEXT_VALUES, "a"},
        {"a long one", "\\ISO 2022 IR 159", "a\033$(", TEXT_VALUES, "a"},
    };
    for (const Text_Row &row : rows) {
        int replaced = 0;
        EXPECT_EQ(decoded(row.charset, row.text, row.kind, &replaced, true), row.expected) << row.what;
        EXPECT_EQ(replaced, 0) << row.what;
    }
}

TEST(Charset, TellsTermsThatAreNone)
{
    static const struct { const char *value, *unknown; } rows[] = {
        {"", ""}, {"\\ISO 2022 IR 87\\ISO 2022 IR 159", ""}, {"ISO_IR 100 ", ""}, {"ISO_IR 99", "ISO_IR 99"},
        {"ISO 2022 IR 6\\LATIN\\ISO 2022 IR 144\\X", "LATIN\\X"}, {"ISO 2022 IR 6\\GBK", "GBK"},
    };
    for (const auto &row : rows) {
        Character_Set set;
        std::string unknown;
        EXPECT_EQ(parse_character_set(row.value, strlen(row.value), &set, &unknown), *row.unknown == '\0') << row.value;
        EXPECT_EQ(unknown, row.unknown);
    }
}

static bool is_valid_utf8(const std::string &text)
{
    for (size_t i = 0, length; i < text.size(); i += length)
        if ((length = utf8_character(text.data() + i, text.size() - i)) == 0)
            return false;
    return true;
}

// A backslash of the result may be split at, so no character of two bytes may come out as one.
TEST(Charset, MakesNoDelimiterOfACharacter)
{
    static const char *const charsets[] = {"\\ISO 2022 IR 87", "\\ISO 2022 IR 159", "\\ISO 2022 IR 149",
                                           "\\ISO 2022 IR 58", "GB18030", "GBK"};
    for (const char *charset : charsets) {
        std::string escape = strstr(charset, "87") ? "\033$B" : strstr(charset, "159") ? "\033$(D" : "";
        int high = escape.empty() ? 0x80 : 0, characters = 0;
        for (int first = 0x21; first < 0x7F; first++) {
            for (int second = 0x21; second < 0x7F; second++) {
                std::string pair = {static_cast<char>(first | high), static_cast<char>(second | high)};
                int replaced = 0;
                std::string shown = decoded(charset, escape + pair, TEXT_NAMES, &replaced);
                EXPECT_TRUE(is_valid_utf8(shown));
                EXPECT_EQ(shown.find_first_of("\\^="), std::string::npos) << charset << " " << first << " " << second;
                characters += replaced == 0;
            }
        }
        EXPECT_GT(characters, 5000) << charset;
    }
}

TEST(Charset, GivesValidUtf8ForAnyBytes)
{
    static const char *const charsets[] = {"",           "ISO_IR 100", "ISO_IR 13", "\\ISO 2022 IR 87\\ISO 2022 IR 149",
                                           "ISO_IR 192", "GB18030", "GBK"};
    static const char bytes[] = "\033$B(DAC)-\\^=\r\0\xC4\x8F\xE7\x8E\xA1\xFE";
    static const std::string likely(bytes, sizeof bytes - 1);
    std::mt19937 random(1);
    for (int round = 0; round < 20000; round++) {
        std::string text;
        for (size_t length = random() % 12; text.size() < length;)
            text += random() % 2 == 0 ? likely[random() % likely.size()] : static_cast<char>(random());
        const char *charset = charsets[random() % 7];
        Text_Kind kind = static_cast<Text_Kind>(random() % 3);
        EXPECT_TRUE(is_valid_utf8(decoded(charset, text, kind)));
        EXPECT_TRUE(is_valid_utf8(decoded(charset, text, kind, nullptr, true)));
    }
}
