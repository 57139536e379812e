// The value of an attribute for an HTML page.
#ifndef VELMORA_PROGRAM_HTML_VALUE_H
#define VELMORA_PROGRAM_HTML_VALUE_H

#include <string>

#include "host/program/element_values.h"

// Appends the value: a text decoded and escaped, a UID with its name, numbers, bytes as hexadecimal digits with the
// letters among them. Of a long one the start, with a note of how much there is. What cannot be decoded is reported.
void append_value(const velmora_host::Data_Set &set, const DICOM_List *node, const Value_Context &context,
                  std::string *out);

// Appends bytes as they stand.
void append_bytes(Bytes_View bytes, std::string *out);

// The text of an attribute in a chain, "" when it is not there or no text. Nothing is reported.
std::string plain_text_of(const velmora_host::Data_Set &set, const DICOM_List *node, const Value_Context &context);

#endif
