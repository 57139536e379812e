// The data dictionary of DICOM PS3.6, and what the library does with it: it complements attributes from it, repairs
// them by the rules of their VR, or only checks them.
//
//     DICOM_Root root = {};                                  // a cursor at the top level
//     DICOM_Attribute_Complement(nullptr, &root, tree);      // rows, VRs, descriptions
//     DICOM_Attribute_Syntax(nullptr, &root, tree);          // reports what breaks the rules
//     DICOM_Attribute_Cleanup(nullptr, &root, tree);         // mends it
//     printf("%s\n", NEMA_db_Locate(0x0010, 0x0010)->description);
#ifndef VELMORA_DICOM_DICTIONARY_H
#define VELMORA_DICOM_DICTIONARY_H

#include "util/Velmora_Util.h"

struct DICOM_List;
struct DICOM_Root;

/* ---- the dictionary ---------------------------------------------------------------- */

// One row of the dictionary. Rows are owned by the library, and stay where they are until NEMA_db_Cleanup.
struct TAG_db_Elems {
    unsigned short group;             // a wildcard digit counts as 0
    unsigned short element;           // a wildcard digit counts as 0
    unsigned short element_mask;      // four bits for each digit of the element: 0xF a digit, 0 a wildcard
    signed char    type;              // number of VR alternates, 0 to 3, negated when the row is retired
    char           description[80];   // terminated
    unsigned short vr[3];             // alternates in the order of the standard; "RT" where the row names none
    short          vn[3][2];          // minimum and maximum number of values of each alternate; -1: no limit
    TAG_db_Elems  *next;              // next row of the group, in ascending order of element
};

// Finds the row of a tag. The groups 50xx and 60xx stand for all their even groups; elements are compared as they are,
// so that (0028,0804) finds the row of (0028,08x4) and (0028,0814) finds none.
// The first call builds the dictionary: it, and NEMA_db_Cleanup, are made while no other call of the library is under
// way. Lookups after it may run in any number of threads.
// Returns the row, owned by the library. Returns null for private tags (odd groups), for tags that are not there, and
// when memory for the dictionary ran out: that is reported, and the next call tries again.
DICOM_EXPORT TAG_db_Elems *NEMA_db_Locate(unsigned short group, unsigned short element);

// Prints the dictionary, a line for each group and each row. Prints no row when the dictionary has not been built.
//   level  level of the lines; those above the threshold of Error_Set_Threshold are not made
DICOM_EXPORT void NEMA_db_Stool(HWND window, int level);

// Releases the dictionary; the next lookup builds it again. All rows go: the host releases its trees before, since
// their nodes point at rows. Harmless when there is no dictionary.
DICOM_EXPORT void NEMA_db_Cleanup();

/* ---- cleanup and check --------------------------------------------------------------- */

// All of these work in static buffers: one thread at a time may call one of them, whatever trees there are.

// Repairs the values of a chain, and of all items below it, by the rules of their VR (DICOM PS3.5 6.2): padding, stray
// characters, values that are too long, dates and times of ACR-NEMA, decimal points in integers. What it changes, and
// what it cannot mend, is reported: at Flag_Error_Report what was repaired without doubt, at Flag_Error_Warning the
// rest. Big-endian values are turned into little-endian order first. One bad attribute does not stop the walk.
//   root  cursor at the depth of list; it comes back as it went
//   list  head of the chain, may be null. Items nested deeper than 256 levels are not walked
// Returns 1, always. Flags tell more: FLAG_SYNTAX_ERROR (0x0010) characters were taken from the value, FLAG_INVALID
// (0x0800) it failed its rule or has a wrong number of values. A value that failed its rule is gone.
DICOM_EXPORT int DICOM_Attribute_Cleanup(HWND window, DICOM_Root *root, DICOM_List *list);

// The same for the value of one attribute, without its items and without a change of byte order.
// Returns 1 if the value passed, after repairs perhaps, or if there is none (also none yet: see DICOM_Lib_File_Source).
// Returns 0 if
//   - there is no rule for the VR: the value stays, nothing is reported;
//   - the value failed its rule, or memory ran out, which is reported: data is null and size 0 then;
//   - the number of values is not what the dictionary row (db) asks for: the value stays, with FLAG_INVALID.
DICOM_EXPORT int DICOM_Attribute_Cleanup_Tag(HWND window, DICOM_List *tag);

// Judges the values of a chain, and of all items below it, as DICOM_Attribute_Cleanup would, and only reports: values,
// sizes and flags stay. Dates and times in old syntax, short ages and decimal points in integers are failures here.
// Only big-endian values are turned into little-endian order, as cleanup does it.
//   root  cursor at the depth of list; it comes back as it went
//   list  head of the chain, may be null. Items nested deeper than 256 levels are not walked
// Returns 1, always: the findings are the reports.
DICOM_EXPORT int DICOM_Attribute_Syntax(HWND window, DICOM_Root *root, DICOM_List *list);

/* ---- complement -------------------------------------------------------------------- */

// Adds to the nodes of a chain, and of all items below it, what the library knows of their tags: the row of the
// dictionary (db), the VR by definition (vr), and a description where the dictionary has none: group lengths, private
// attributes by their creators and definition files, item tags, pixel data. Values and flags are not touched.
//   root  cursor at the depth of list; it comes back as it went
//   list  head of the chain, may be null
// Returns 0, always. Failures of memory are reported, and leave nodes without a description.
DICOM_EXPORT int DICOM_Attribute_Complement(HWND window, DICOM_Root *root, DICOM_List *list);

// Gives a node a description and a VR by definition.
//   vr      stored in tag->vr; 0 leaves that as it is
//   format  of the description, in the manner of printf; a text is cut at 287 bytes; "" takes the description away
// Returns 1, or 0 when memory ran out: that is reported, and the node has no description then.
DICOM_EXPORT int DICOM_Attribute_Complement_Tag(HWND window, DICOM_List *tag, unsigned short vr, const char *format, ...)
    DICOM_PRINTF(4, 5);

// Complements one node of an odd group, as DICOM PS3.5, 7.8.1 lays such groups out: a creator (gggg,0010 to 00FF) gets
// LO and a description; an element of a block (gggg,1000 and up) gets what the definition file of its creator says,
// else the creator's name as its description.
//   root  cursor at the depth of list
//   list  head of the chain in which the creator is looked for; the first node with the creator's tag counts
// Returns 1, always.
DICOM_EXPORT int DICOM_Attribute_Complement_Private(HWND window, DICOM_Root *root, DICOM_List *list, DICOM_List *tag);

#endif
