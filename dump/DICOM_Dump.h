// The readable dump of a tree, called Stool: a line for each attribute, with its origin, tag, description, VR, type,
// size and the start of its value, through Error_Fct.
//
//     DICOM_Root root = {};                                       // a cursor at the top level
//     DICOM_Attribute_Complement(nullptr, &root, tree);           // so that there are descriptions
//     DICOM_Attribute_Stool(nullptr, &root, tree, 3);             // level 3 passes the threshold at the start
//     char text[1024];
//     const char *value = DICOM_Attribute_Stool_Data(nullptr, tree, text);
#ifndef VELMORA_DICOM_DUMP_H
#define VELMORA_DICOM_DUMP_H

#include "util/Velmora_Util.h"

struct DICOM_List;
struct DICOM_Root;

// Prints a chain and all items below it. At the top level six lines come first that explain the colours.
//   root   cursor at the depth of list; it comes back as it went
//   list   head of the chain, may be null
//   level  level of all lines; with 0 the lines of the cursor, around sequences and items, are left out
DICOM_EXPORT void DICOM_Attribute_Stool(HWND window, DICOM_Root *root, DICOM_List *list, int level);

// Prints one attribute, without its items, indented by the depth of the cursor.
DICOM_EXPORT void DICOM_Attribute_Stool_Tag(HWND window, DICOM_Root *root, DICOM_List *tag, int level);

// The start of a value as a text: numbers by their VR, texts as they stand, UIDs by their names.
//   tag     null gives null
//   buffer  room for 1024 characters, of the caller; not always used
// Returns the buffer, a constant text, or null for an attribute without a value. A value that was left in the source is
// not fetched: the text says where it stands.
DICOM_EXPORT const char *DICOM_Attribute_Stool_Data(HWND window, DICOM_List *tag, char *buffer);

#endif
