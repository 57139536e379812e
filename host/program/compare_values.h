// Whether two attributes hold the same, of trees that make_editable has seen.
#ifndef VELMORA_PROGRAM_COMPARE_VALUES_H
#define VELMORA_PROGRAM_COMPARE_VALUES_H

#include "host/velmora_save.h"

struct Sided_Node {
    const velmora_host::Data_Set *set;
    const DICOM_List *node;
};

// Where two values begin to differ, in bytes of their little-endian form; -1: they are the same.
//   exact  the padding at the end of a text counts
int first_difference(const Sided_Node &a, const Sided_Node &b, bool exact);

// The values, whatever byte order they stand in; items are not looked at.
//   exact  the padding at the end of texts counts
bool is_same_value(const Sided_Node &a, const Sided_Node &b, bool exact);

// The fragments of two attributes.
bool has_same_fragments(const Sided_Node &a, const Sided_Node &b);

// Whether the streams gave them different VRs. A stream without VRs gives none.
bool has_other_vr(const DICOM_List *a, const DICOM_List *b);

// The whole attributes, with their items and VRs.
bool is_same_attribute(const Sided_Node &a, const Sided_Node &b);

#endif
