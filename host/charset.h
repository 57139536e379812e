// Character sets: texts of a data set, as Specific Character Set (0008,0005) says, into UTF-8 (DICOM PS3.5, 6.1; PS3.3,
// C.12.1.1.2).
//
//     Character_Set set;
//     std::string unknown, shown;
//     parse_character_set("\\ISO 2022 IR 87", 15, &set, &unknown);
//     append_utf8(set, value, size, TEXT_NAMES, &shown);
//
// Nothing is lost on the way: what is no character of its set becomes U+FFFD and is counted.
#ifndef VELMORA_HOST_CHARSET_H
#define VELMORA_HOST_CHARSET_H

#include <stddef.h>
#include <string>

namespace velmora_host
{

// How the bytes of a text make characters.
enum Text_Coding : unsigned char {
    CODING_ISO_2022,   // one or two bytes for a character, from graphic sets that escape sequences may exchange
    CODING_UTF_8,
    CODING_GB18030,
    CODING_GBK,
};

// What (0008,0005) says, ready for use. As it is made here it is the default repertoire, ISO IR 6.
struct Character_Set {
    Text_Coding coding = CODING_ISO_2022;   // the graphic sets count for this one only
    unsigned char g0 = 0, g1 = 0;           // graphic sets at the start of a text; of g1, 0 is none
    unsigned char usual_g1 = 0;   // where g1 is none: the one that counts if a text forgets its escape sequence
};

// Takes the value of (0008,0005) apart. Forms that writers use beside the defined terms are understood, such as
// "ISO_IR_100", "ISO 2022 100" or "UTF-8".
//   unknown  gets the terms that are none, or that iconv has no table for
// Returns false when there is one. The set is what the other terms say then.
bool parse_character_set(const char *value, size_t size, Character_Set *set, std::string *unknown);

// Which bytes of a text are delimiters. The sets of the start are active again behind each (DICOM PS3.5, 6.1.2.5.3).
enum Text_Kind : unsigned char {
    TEXT_WHOLE,    // ST, LT, UT: control characters
    TEXT_VALUES,   // SH, LO, UC: the backslash as well
    TEXT_NAMES,    // PN: and ^ and =
};

// Appends a text in UTF-8. A backslash in the result stands for a delimiter, and so may be split at, unless the kind is
// TEXT_WHOLE: where the byte 5C is half of a character, or the yen sign of JIS X 0201, it does not come out as one.
// Where no set for codes above 7F is named, a text that is well-formed UTF-8 is taken as that.
//   is_cut  the text goes on behind its size: what is left of a character at the end is dropped
// Returns how many U+FFFD were put in.
int append_utf8(const Character_Set &set, const char *text, size_t size, Text_Kind kind, std::string *out,
                bool is_cut = false);

// Whether a text is the same in UTF-8 under every set: nothing but characters of ISO IR 6 and no escape sequence.
bool is_plain_text(const char *text, size_t size);

// Appends a character by its code. One that does not exist becomes U+FFFD.
void append_code_point(unsigned int code, std::string *out);

// The length of the UTF-8 character at a place, 0 when there is none.
size_t utf8_character(const char *at, size_t left);

}   // namespace velmora_host

#endif
