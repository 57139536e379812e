#ifndef VELMORA_DICOM_DICTIONARY_H
#define VELMORA_DICOM_DICTIONARY_H

#include "util/Velmora_Util.h"

struct DICOM_List;
struct DICOM_Root;

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

DICOM_EXPORT TAG_db_Elems *NEMA_db_Locate(unsigned short group, unsigned short element);
DICOM_EXPORT void NEMA_db_Stool(HWND window, int level);
DICOM_EXPORT void NEMA_db_Cleanup();

DICOM_EXPORT int DICOM_Attribute_Cleanup(HWND window, DICOM_Root *root, DICOM_List *list);
DICOM_EXPORT int DICOM_Attribute_Cleanup_Tag(HWND window, DICOM_List *tag);
DICOM_EXPORT int DICOM_Attribute_Syntax(HWND window, DICOM_Root *root, DICOM_List *list);

DICOM_EXPORT int DICOM_Attribute_Complement(HWND window, DICOM_Root *root, DICOM_List *list);
DICOM_EXPORT int DICOM_Attribute_Complement_Tag(HWND window, DICOM_List *tag, unsigned short vr, const char *format, ...)
    DICOM_PRINTF(4, 5);
DICOM_EXPORT int DICOM_Attribute_Complement_Private(HWND window, DICOM_Root *root, DICOM_List *list, DICOM_List *tag);

#endif
