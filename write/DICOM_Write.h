// Writing: a tree as the bytes of a DICOM stream, and a data set brought in line with the template of its kind.
//
//     static int no_image(HWND, char, unsigned int, char **, void *) { return 0; }
//     char *head = nullptr, *body = nullptr;
//     DICOM_Write_Image_Fct(no_image);
//     fwrite(head, 1, DICOM_Write_Part10(nullptr, 8, tree, &head), file);         // group 0002
//     fwrite(body, 1, DICOM_Write_Buffer(nullptr, 8, tree, &body, nullptr), file);
#ifndef VELMORA_DICOM_WRITE_H
#define VELMORA_DICOM_WRITE_H

#include "util/Velmora_Util.h"

struct DICOM_List;
struct DICOM_Root;

/* ---- streams ----------------------------------------------------------------------- */

// What all writers share:
//   syntax  encoding to write: 0 implicit VR little-endian, 8 explicit VR little-endian, 9 explicit VR big-endian
//           (DICOM PS3.5 7.1, 7.3). The bytes of the nodes' data are taken to be little-endian
//   list    head of the top chain of a tree, sorted by DICOM_Attribute_Sort; may be null. What is not to be written was
//           taken out by DICOM_Attribute_Remove. What is unread was fetched by DICOM_Postproc_Step_5: a value that is
//           still in its source is written as so many zero bytes
//   buffer  address of the block's pointer. The block begins with the stream's first byte, may be larger than what was
//           written, and belongs to the caller, who frees it with DICOM_Lib_Free
// A plain attribute of undefined length, such as encapsulated pixel data, loses its value, with a warning. A value of
// more than 65,535 bytes has no length in the short form of explicit VR: the host makes it UN before.
// DICOM_Flag_Seq_Size says whether sequences and items get their lengths or delimiters (DICOM PS3.5 7.5).
// The result is the number of bytes written. It is 0 when memory ran out, or for a stream that its lengths can not
// tell; both are reported, and what was written by then stays in the block.

// Adds the image to the block of DICOM_Write_Buffer.
//   offset  bytes that the block holds; the image goes behind them
//   buffer  address of the block's pointer: the callback makes the block larger, by DICOM_Lib_Realloc or realloc, and
//           stores the pointer that it gets
//   user    what the caller of DICOM_Write_Buffer handed in
// Returns the number of bytes added, 0 for none.
typedef int (*DICOM_Image_Fct)(HWND window, char syntax, unsigned int offset, char **buffer, void *user);

// Gives one piece of the image; the arguments and the result are the host's own matter.
typedef int (*DICOM_Image_B_Fct)(HWND window, char syntax, char **buffer, int a, int b, void *user);

// Say who writes the image, for DICOM_Write_Buffer and for DICOM_Write_Buffer_B. The last one registered counts, for
// all later calls; null takes it away. Both return 1.
DICOM_EXPORT int DICOM_Write_Image_Fct(DICOM_Image_Fct callback);
DICOM_EXPORT int DICOM_Write_Image_B_Fct(DICOM_Image_B_Fct callback);

// Writes the head of a file (DICOM PS3.10 7.1): 128 zero bytes, "DICM", and group 0002 with its length. Without
// attributes of group 0002 the head ends behind "DICM".
//   syntax  has no effect: the head is always explicit VR little-endian
//   buffer  gets a new block; what the pointer held is not looked at
DICOM_EXPORT unsigned int DICOM_Write_Part10(HWND window, char syntax, DICOM_List *list, char **buffer);

// Writes a whole data set but for its head: the groups in front of the image, the image by the callback, the groups
// behind it. In front of the image these are the even groups of the standard from 0008 to 60FE, behind it all even
// groups from 7FF0 to 7FFF; odd groups up to 7F00 and from 7FF0 take part when Flag_DICOM_Propriatery is not 0. Group
// 7FE0 is left to the callback. With DICOM_Flag_Elem_0000 not 0, each group begins with its length (gggg,0000).
//   buffer  holds null or a heap block, which is overwritten from its start and made larger as needed; it stays as it
//           is while there is nothing to write
//   user    handed to the callback
// Without a callback the operation warns when the groups in front of the image are written, and returns 0.
DICOM_EXPORT unsigned int DICOM_Write_Buffer(HWND window, char syntax, DICOM_List *list, char **buffer, void *user);

// The same in pieces, for an image that is not to be held in one block: A writes the groups in front of the image, B
// calls the callback of DICOM_Write_Image_B_Fct with its arguments, C writes the groups behind the image. Each block
// starts anew. B returns the callback's result, or warns and returns 0 when there is none.
DICOM_EXPORT unsigned int DICOM_Write_Buffer_A(HWND window, char syntax, DICOM_List *list, char **buffer, void *user);
DICOM_EXPORT int DICOM_Write_Buffer_B(HWND window, char syntax, char **buffer, int a, int b, void *user);
DICOM_EXPORT unsigned int DICOM_Write_Buffer_C(HWND window, char syntax, DICOM_List *list, char **buffer, void *user);

// Writes a chain as it stands: all its attributes in its order, whatever their groups, such as the content of an item.
//   buffer  gets a new block, null for an empty chain; what the pointer held is not looked at
DICOM_EXPORT int DICOM_List2Stream(HWND window, char syntax, DICOM_List *list, char **buffer);

/* ---- in line with a template -------------------------------------------------------- */

// What the steps share:
//   root    a cursor, reset, or placed where target and template are to be matched; comes back as it went
//   target  the data set, or the address of its head where the head may change; may be empty
//   tmplt   a template of DICOM_Module_Read, which is only read; null is a template that asks for nothing
// The steps go into all items. Their usual order is the one below, with DICOM_Attribute_Sort after step 1 and
// DICOM_Attribute_Remove with REMOVE_DELETED after step 2. A host may leave out any of them.

// Inserts each attribute of the template that has one of the flag bits of the mask (FLAG_FORCED, FLAG_DEFAULT, ...) at
// the end of the matching chain of the target, whether or not the target has it. Returns 1.
DICOM_EXPORT int DICOM_Postproc_Step_1(HWND window, DICOM_Root *root, DICOM_List **target, DICOM_List *tmplt,
                                       unsigned short mask);

// Gives the target, for each attribute of the template that has one of the flag bits of the mask, the value of the
// template in place of its own; makes the attribute if it is not there. Returns 1.
DICOM_EXPORT int DICOM_Postproc_Overwrite(HWND window, DICOM_Root *root, DICOM_List **target, DICOM_List *tmplt,
                                          unsigned short mask);

// Marks with FLAG_DELETED what is empty and may be absent: attributes of type 3 or of no type, and all that is empty in
// a sequence of type 2C. A sequence is empty when nothing in it is kept.
//   parent_type  type of the sequence that holds the chain; 0 at the top
// Returns the number of bytes in values that are kept.
DICOM_EXPORT int DICOM_Postproc_Step_2(HWND window, DICOM_Root *root, DICOM_List *target, unsigned short parent_type);

// Deletes from the target what the template has with FLAG_TO_DELETE, at the place that the template names and in all
// sequences below it. Returns 1.
DICOM_EXPORT int DICOM_Postproc_Step_4(HWND window, DICOM_Root *root, DICOM_List **target, DICOM_List *tmplt);

// Fetches the values of 1025 to 999,999 bytes that were left in the source, which DICOM_Lib_File_Source and
// DICOM_Lib_File_Name name. Larger ones stay there for the host's image callbacks. Sequences have no value to fetch.
// Returns 1. Returns 0 at the first value of this chain that can not be fetched, which is reported; its node stays
// unread. A failure inside an item is reported too, but does not end the walk.
DICOM_EXPORT int DICOM_Postproc_Step_5(HWND window, DICOM_Root *root, DICOM_List *target);

// Warns of each attribute of type 1 that is absent or empty, and of each of type 2 that is absent (DICOM PS3.5 7.4).
// Only sequences of type 1 are looked into. Changes no value.
//   unused  has no effect
DICOM_EXPORT void DICOM_Postproc_Verification(HWND window, DICOM_Root *root, DICOM_List *target, DICOM_List *tmplt,
                                              int unused);

/* ---- handlers for building a data set ------------------------------------------------ */

// Builds in the target what one node of a template asks for.
//   user  what the caller of DICOM_Module_Add handed in
// Returns a node if it has dealt with the template's node, null to leave it to DICOM_Module_Add.
typedef DICOM_List *(*DICOM_Module_Fct)(HWND window, DICOM_Root *root, DICOM_List **target, DICOM_List *tmplt,
                                        void *user);

// Lets the registered handlers build what one node of a template asks for. Both the group's handler and its private
// handler are called; if there are two, the private one decides. What no handler dealt with comes into being empty when
// its type is 2 or 2C.
//   tmplt  one node of a template; its siblings and items are not looked at
// Returns 0 if a handler dealt with the node, or if its type is 0, which is reported; else 1.
DICOM_EXPORT int DICOM_Module_Add(HWND window, DICOM_Root *root, DICOM_List **target, DICOM_List *tmplt, void *user);

// Register a handler for a group, in the first and in the second table that DICOM_Module_Add looks into. The first one
// registered for a group counts. Return 1; 0 when memory ran out, which is reported, and the table is as it was.
DICOM_EXPORT int DICOM_Module_List_Group_Grow(unsigned short group, DICOM_Module_Fct callback);
DICOM_EXPORT int DICOM_Module_List_Private_Grow(unsigned short group, DICOM_Module_Fct callback);

// Empties both tables. DICOM_Lib_Cleanup calls it.
DICOM_EXPORT void DICOM_Module_List_Cleanup();

#endif
