// Builds streams byte by byte, in calls that look like the data set.
#ifndef VELMORA_TESTS_BYTES_H
#define VELMORA_TESTS_BYTES_H

#include <stdint.h>
#include <initializer_list>
#include <string>
#include <vector>

#include "tree/DICOM_Constants.h"

using Bytes = std::string;   // bytes in memory, zero bytes included

struct Tag { unsigned short group, element; };

enum Ending {
    BY_LENGTH,      // the length field says it
    BY_DELIMITER,   // undefined length and a delimiter
};

// An encoding as a syntax byte: 0, 8 or 9.
Bytes number_16(uint16_t value, int syntax = SYNTAX_EXPLICIT);
Bytes number_32(uint32_t value, int syntax = SYNTAX_EXPLICIT);

// One element, as its VR and the syntax ask for it. length replaces the true one when it is not -2.
Bytes element(Tag tag, const char *vr, const Bytes &value, int syntax = SYNTAX_EXPLICIT, int64_t length = -2);

Bytes item(const std::vector<Bytes> &elements, Ending ending = BY_LENGTH, int syntax = SYNTAX_EXPLICIT);
Bytes sequence(Tag tag, Ending ending, const std::vector<Bytes> &items, int syntax = SYNTAX_EXPLICIT);
Bytes delimiter(unsigned short element, int syntax = SYNTAX_EXPLICIT);

// 128 zero bytes, "DICM", and a group 0002 that names the transfer syntax.
Bytes part10_head(const char *transfer_syntax_uid);

#endif
