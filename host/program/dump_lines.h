// The lines of the library's dump, one for each attribute:
//
//     if (!write_kept_line(root, node, color, value))
//         DICOM_Attribute_Stool_Tag(nullptr, &root, node, LEVEL_LINES);   // and write_new_line with what comes
#ifndef VELMORA_PROGRAM_DUMP_LINES_H
#define VELMORA_PROGRAM_DUMP_LINES_H

#include <string>

#include "tree/Velmora_DICOM.h"

// Writes the line of a node as the library would say it, from what is kept of an earlier one.
//   root   at the depth of the node
//   value  stands in the place of the value and is visible already; null: the value as the library shows it
// Returns false when no line like it is kept; nothing is written then.
bool write_kept_line(const DICOM_Root &root, DICOM_List *node, bool color, const std::string *value);

// Writes the line that the library said of a node, and keeps what is in front of the value.
void write_new_line(const char *line, const DICOM_Root &root, const DICOM_List *node, bool color,
                    const std::string *value);

#endif
