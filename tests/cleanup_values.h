// One attribute with a value, and what was said about it without the prefix that each message starts with.
#ifndef VELMORA_TESTS_CLEANUP_VALUES_H
#define VELMORA_TESTS_CLEANUP_VALUES_H

#include <gtest/gtest.h>
#include <string>

#include "dictionary/cleanup_internal.h"
#include "tests/support/bytes.h"
#include "tests/support/reports.h"

struct Value {
    // The value's block has exactly its bytes, so that the sanitizers see a step beyond them.
    Value(const std::string &vr, const Bytes &bytes, unsigned short group = 0x0008);
    ~Value();
    Value(const Value &) = delete;

    Bytes bytes() const;           // empty without a value
    bool fits_its_block() const;   // the block has the size of the value, and there is none without bytes
    std::string name() const;      // VR and bytes, for failures

    DICOM_List tag = {};
};

// A row of the dictionary with a number of values.
struct Row : TAG_db_Elems {
    Row(int type_of_row, int minimum, int maximum) : TAG_db_Elems()
    {
        type = static_cast<signed char>(type_of_row);
        vn[0][0] = static_cast<short>(minimum);
        vn[0][1] = static_cast<short>(maximum);
    }
};

// One line for each report: "W" a warning or "R" a remark, then the message behind its prefix. Any other level, and a
// message that does not start with the prefix of the attribute, is shown whole behind its level.
std::string said_of(const Reports &said, const DICOM_List &tag);

std::string readable(const Bytes &bytes);   // control bytes as \x00

// Messages that both twins make, as said_of shows them.
std::string too_long(int length, int max, const std::string &kept, const std::string &tail);
std::string not_from_set(int count, const std::string &text, const std::string &set);
std::string bad_length(const std::string &expected, int length);
std::string out_of_range(const std::string &digits);
std::string pad_instead(const std::string &text, const std::string &pads);   // pads: "NULL instead of SPACE"

#endif
