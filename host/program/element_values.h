// The values of an attribute by its VR: texts in UTF-8, numbers in all their digits, bytes.
#ifndef VELMORA_PROGRAM_ELEMENT_VALUES_H
#define VELMORA_PROGRAM_ELEMENT_VALUES_H

#include <stdint.h>
#include <string>
#include <vector>

#include "host/charset.h"
#include "host/velmora_host.h"

// ---- what stands around a value -------------------------------------------------------

// What a data set says of the values in it. An item takes it over from what it stands in, but for what it says itself.
struct Value_Context {
    velmora_host::Character_Set charset;
    bool has_signed_pixels = false;   // (0028,0103), for attributes whose VR is "US or SS"
};

// The context of the attributes in a chain. A character set that is not known is reported.
Value_Context context_of(const velmora_host::Data_Set &set, const DICOM_List *chain, const Value_Context &around);

// The character set of data sets that name none. False, with a text in error: no such set.
bool choose_charset(const std::string &term, std::string *error);
Value_Context outer_context();

// ---- VRs ------------------------------------------------------------------------------

enum Value_Class : unsigned char {
    VALUES_OF_TEXT,
    VALUES_OF_NAMES,      // PN
    VALUES_OF_DECIMALS,   // DS, IS: numbers as texts
    VALUES_OF_NUMBERS,    // binary
    VALUES_OF_TAGS,       // AT
    VALUES_OF_BYTES,
    VALUES_OF_ITEMS,
};

struct Value_Rule {
    unsigned short vr;
    Value_Class kind;
    unsigned char unit;         // bytes of a number, or of a word among bytes
    bool is_multiple;           // a text has several values between backslashes
    bool is_free;               // a text is of the data set's character set, not of the default repertoire
    bool has_leading_padding;   // blanks in front of a value do not count
};

// The rule of a VR, that of UN for any other.
const Value_Rule &value_rule(unsigned short vr);

// The VR that counts: the stream's own, or by definition. Where the stream has none, the pixel representation decides
// of "US or SS", and "OB or OW" is OW (DICOM PS3.5, A.1). What holds items is SQ unless they are fragments.
unsigned short value_vr(const DICOM_List *node, const Value_Context &context);

// Whether the items of an attribute are fragments of encapsulated data.
bool holds_fragments(const DICOM_List *node);

// ---- values ---------------------------------------------------------------------------

struct Bytes_View {
    const char *data;
    size_t size;
};

// The value field: the node's bytes, or those of the source where the library left the value unread. Of a value of
// undefined length it is what stands in the source, without the delimiter at its end.
Bytes_View value_bytes(const velmora_host::Data_Set &set, const DICOM_List *node);

// The texts of a value in UTF-8, without their padding; none for an empty value. Characters that are none are reported.
std::vector<std::string> text_values(const velmora_host::Data_Set &set, const DICOM_List *node, const Value_Rule &rule,
                                     const Value_Context &context);

// How the texts of a VR are split, and a report of what was replaced in one.
velmora_host::Text_Kind text_kind(const Value_Rule &rule);
void report_replaced(const DICOM_List *node, int replaced);

// How many numbers or tags a value has. A part of one at the end does not count, and is reported.
size_t number_count(const DICOM_List *node, const Value_Rule &rule, Bytes_View bytes);

struct Number {
    enum { INTEGER, UNSIGNED, REAL, TAG } kind;
    int64_t integer;   // the bits of an UNSIGNED, group and element of a TAG
    double real;
    bool is_float;   // the real is of 32 bits
};
Number number_at(const DICOM_List *node, const Value_Rule &rule, Bytes_View bytes, size_t index);

// All digits that tell a number from any other; "NaN", "inf" and "-inf"; a tag as 0010,0010.
std::string number_text(const Number &number);

// A report about an attribute at Flag_Error_Warning.
void report_about(const DICOM_List *node, const char *format, ...) __attribute__((format(printf, 2, 3)));

#endif
