// The stages of cleanup and of the check under their own names, for tests. Each works on one attribute; the stages of
// the check expect a working copy whose block has one more byte, a zero, behind the value.
#ifndef VELMORA_CLEANUP_INTERNAL_H
#define VELMORA_CLEANUP_INTERNAL_H

#include "tree/tree_internal.h"

// Turns a big-endian value into little-endian order and clears the bit of syntax. Returns 0 when the size does not fit
// the VR: then the bytes stay as they are.
int DICOM_Attribute_Cleanup_Swab(HWND window, DICOM_List *tag);
int DICOM_Attribute_Syntax_Swab(HWND window, DICOM_List *tag);

// The check of one attribute, without its items; DICOM_Attribute_Cleanup_Tag is its twin.
int DICOM_Attribute_Syntax_Tag(HWND window, DICOM_List *tag);

// 1 if so many values are what the dictionary row of the attribute allows; reports and returns 0 if not.
int DICOM_Tag_Cleanup_VN(HWND window, DICOM_List *tag, int count);
int DICOM_Tag_Syntax_VN(HWND window, DICOM_List *tag, int count);

// Strips both ends, or the end alone when lead is 0xFF, and one byte of the wrong pad.
int DICOM_Tag_Cleanup_Padding(HWND window, DICOM_List *tag, unsigned char lead, unsigned char trail);
int DICOM_Tag_Syntax_Padding(HWND window, DICOM_List *tag, unsigned char lead, unsigned char trail);

// Reports the bytes that are not in a set; cleanup removes them.
int DICOM_Tag_Cleanup_Char_Set(HWND window, DICOM_List *tag, const char *set);
int DICOM_Tag_Syntax_Char_Set(HWND window, DICOM_List *tag, const char *set);

// Cuts and strips each value between backslashes. Returns the number of values.
int DICOM_Tag_Cleanup_Text_Multiple(HWND window, DICOM_List *tag, int max);
int DICOM_Tag_Syntax_Text_Multiple(HWND window, DICOM_List *tag, int max);

// Cuts a text in which a backslash is an ordinary character. Returns 1.
int DICOM_Tag_Cleanup_Text_Single(HWND window, DICOM_List *tag, unsigned int max);
int DICOM_Tag_Syntax_Text_Single(HWND window, DICOM_List *tag, unsigned int max);

// 0 if one of the decimal integers is too long for 32 bits.
int DICOM_Tag_Cleanup_Valid_Int(HWND window, DICOM_List *tag);
int DICOM_Tag_Syntax_Valid_Int(HWND window, DICOM_List *tag);

// Turns numbers with a decimal point into integers, towards zero. Beyond 32 bits they become -2147483648.
int DICOM_Tag_Cleanup_Int_From_Float(HWND window, DICOM_List *tag);

#endif
