// Attributes in lines for people: where one stands, and what its value is.
#ifndef VELMORA_PROGRAM_SHOWN_VALUE_H
#define VELMORA_PROGRAM_SHOWN_VALUE_H

#include <string>

#include "host/program/element_values.h"
#include "host/velmora_save.h"

// "0010,0010 PN Patient's Name" of an attribute, with the path of the items around it in front.
//   path  "0040,a730[2]/", or empty
std::string shown_place(const std::string &path, const DICOM_List *node, unsigned short vr);

// The path of an item of a sequence, with "/" at its end.
std::string path_into(const std::string &path, const DICOM_List *sequence, int item);

// The value in one line that can drive no terminal, cut at a length: texts between single quotes, numbers, bytes in
// hexadecimal, "2 items". "nothing" for an empty value. In the character set of the terminal, or for programs.
std::string shown_value(const velmora_host::Data_Set &set, const DICOM_List *node, const Value_Context &context);
std::string value_in_utf8(const velmora_host::Data_Set &set, const DICOM_List *node, const Value_Context &context);

#endif
