// What DICOM_Attribute_Add shares with its builders: one builder for each family of VRs turns program values into the
// value field of an explicit VR little-endian stream.
#ifndef VELMORA_ADD_INTERNAL_H
#define VELMORA_ADD_INTERNAL_H

#include <limits.h>
#include <stdarg.h>

#include "tree/tree_internal.h"

// The variable arguments of one call. In a structure, so that they can be handed down and come back moved on.
struct Add_Values {
    va_list list;
};

// Makes a value block.
//   size    of the value in bytes; 0 when the builder is called, and when it fails
//   nb_arg  number of values; less than 0: the values stand in an array, which is the next argument
// Returns a heap block, or null: memory ran out, which is reported, a null stood among the values, or the value is
// empty.
typedef char *Add_Builder(HWND window, int *size, int nb_arg, Add_Values *values);

Add_Builder DICOM_Tag_Add_AT, DICOM_Tag_Add_DA, DICOM_Tag_Add_DS, DICOM_Tag_Add_DT, DICOM_Tag_Add_FD, DICOM_Tag_Add_FL,
    DICOM_Tag_Add_IS, DICOM_Tag_Add_OB, DICOM_Tag_Add_OW, DICOM_Tag_Add_PN, DICOM_Tag_Add_SL, DICOM_Tag_Add_TM,
    DICOM_Tag_Add_US, DICOM_Tag_Add_UT, DICOM_Tag_Add_VR_SH, DICOM_Tag_Add_VR_SS, DICOM_Tag_Add_VR_UI,
    DICOM_Tag_Add_VR_UL;

// A value that grows. size is the builder's argument.
struct Value_Block {
    HWND window;
    int *size;
    char *data;
    size_t room;
};

// Make room for more bytes, and append them. They return false when memory ran out, which is reported, or an int could
// not tell the size; then the block is released and its size is 0.
//   exact  no more room than that: nothing is to follow
bool reserve_value(Value_Block *block, size_t more, bool exact);
bool append_value(Value_Block *block, const void *bytes, size_t count);

// The same for the first block of a value whose size is known.
bool allocate_value(Value_Block *block, size_t count);

// Releases what has been built. Returns null, which a builder that stops returns in its turn.
char *drop_value(Value_Block *block);

// Brings the value to even length. Returns the block, or null when memory ran out or the value is empty.
char *pad_value(Value_Block *block, char padding);

// The number of values, whether they stand in an array or not.
inline size_t value_count(int nb_arg)
{
    return static_cast<size_t>(nb_arg < 0 ? -static_cast<int64_t>(nb_arg) : nb_arg);
}

inline int opposite(int nb_arg)
{
    return nb_arg == INT_MIN ? INT_MAX : -nb_arg;
}

#endif
