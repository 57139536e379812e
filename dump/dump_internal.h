// What the sources of the dump share.
#ifndef VELMORA_DUMP_INTERNAL_H
#define VELMORA_DUMP_INTERNAL_H

#include <charconv>
#include <string.h>

#include "dump/DICOM_Dump.h"

// Room that a caller of DICOM_Attribute_Stool_Data gives for the text of a value.
enum { STOOL_TEXT_ROOM = 1024 };

struct UID_Name {
    const char *uid;
    unsigned long length;   // of uid, so that most rows are passed by without looking at their text
    const char *name;
};

enum { UID_NAMES = 120 };
extern const UID_Name uid_names[UID_NAMES];

// The name of a UID, a constant text; null for one that is not in the table. The whole text has to be equal.
const char *DICOM_Attribute_Stool_UID(const char *uid);

// Parts of a line: each writes at a place that has room, without a terminator, and returns the place behind. In line,
// so that a constant text is a few stores.
inline char *put_text(char *at, const char *text)
{
    size_t length = strlen(text);
    memcpy(at, text, length);   // NOLINT(bugprone-not-null-terminated-result): who puts the last text ends it
    return at + length;
}

inline char *put_hex(char *at, unsigned int number, int digits)
{
    for (int i = digits - 1; i >= 0; i--, number >>= 4)
        at[i] = "0123456789abcdef"[number & 0xF];
    return at + digits;
}

inline char *put_int(char *at, int number)
{
    const int longest = 11;   // "-2147483648"
    return std::to_chars(at, at + longest, number).ptr;
}

#endif
