// Velmora_DICOM: reads, holds, repairs, checks and writes DICOM and ACR-NEMA data sets. This one include brings all.
//
//     DICOM_Root root = {};                                              // a cursor at the top level
//     DICOM_List *tree = nullptr;                                        // an empty data set
//     DICOM_Attribute_Add(nullptr, &root, &tree, 0x0010, 0x0020, 0x4C4F /* LO */, 1, "ID 7");
//     DICOM_List *id = DICOM_Attribute_Get(nullptr, &root, tree, 0x0010, 0x0020, 0);
//     printf("%.*s\n", id->size, id->data);
#ifndef VELMORA_DICOM_H
#define VELMORA_DICOM_H

#include <stdint.h>
#include <stdio.h>

#include "util/Velmora_Util.h"

struct TAG_db_Elems;

// One attribute. Siblings form a chain through next; a sequence holds its items in item, each the head of a chain one
// level deeper. A node owns data, description, item and all that hangs on item; db belongs to the dictionary.
// Nodes, arrays and values are heap blocks of the library: see DICOM_Attribute_Free and DICOM_Lib_Realloc.
struct DICOM_List {
    unsigned char  syntax;        // encoding of data: 1 big-endian numbers, 2 swapped 16-bit words, 8 explicit VR
    unsigned char  depth;         // sequence depth of the chain that holds the node; 0 at the top level
    unsigned short flag;          // origin and state, see the FLAG_ values of the documentation; 0: just made
    unsigned short group;
    unsigned short element;
    unsigned short vr_explicit;   // VR of the stream or of the creator, first letter in the high byte; 0: none
    unsigned short vr;            // VR by definition, or guessed; 0: unknown
    unsigned short type;          // what a module asks for: "1 ", "1C", "2 ", "2C", "3 ", packed like a VR; 0: unset
    int            vm;            // number of values that the last typed extraction found
    int            stream_word;   // where the source record begins, in bytes; of use to its maker only
    int            pos;           // offset of the element in the source, in bytes from its start
    int            data_pos;      // offset of the value in the source, in bytes from its start
    int            size;          // length of the value in bytes, as in the stream; -1 is the undefined length
    char          *data;          // heap block of size bytes, not terminated; null: no value, or not read yet
    char          *description;   // heap text; null: the one in db
    TAG_db_Elems  *db;            // row of the dictionary, or null; not owned
    int            nb_item;       // number of slots in item
    DICOM_List   **item;          // heads of the items' chains; not null: a sequence. A null slot ends every walk
    DICOM_List    *next;          // next sibling, null at the end
    DICOM_List    *last;          // on a chain's first node: the chain's last node, or null when that is not known
};

// The place in a tree that the next call works in: which sequence, which item, how deep. It holds tags and numbers
// only, so that one cursor can be used on two trees in turn. All zero is the top level. At most nine levels.
struct DICOM_Root {
    int            Sequence_Depth;         // 0 is the top level, at most 9
    int            Item_Number[10];        // items started at each depth; 1 inside the first item
    unsigned short Sequence_Group[10];     // group of the sequence entered from this depth
    unsigned short Sequence_Element[10];   // element of the sequence entered from this depth
    unsigned short Sequence_Flag[10];      // flag of the sequence entered from this depth
};

/* ---- lookup ------------------------------------------------------------------------ */

DICOM_EXPORT DICOM_List *DICOM_Attribute_Find(HWND window, DICOM_Root *root, DICOM_List **list, unsigned short group,
                                              unsigned short element);
DICOM_EXPORT DICOM_List *DICOM_Attribute_Get(HWND window, DICOM_Root *root, DICOM_List *list, unsigned short group,
                                             unsigned short element, char c);
DICOM_EXPORT DICOM_List *DICOM_Attribute_Get(HWND window, DICOM_Root *root, DICOM_List *list, const char *group,
                                             const char *element, char c);
DICOM_EXPORT int DICOM_Attribute_Match(const char *group_pattern, const char *element_pattern, unsigned short group,
                                       unsigned short element);
DICOM_EXPORT int DICOM_Str_To_CS(char *text);

/* ---- cursor ------------------------------------------------------------------------ */

DICOM_EXPORT int DICOM_Attribute_Sequence_Start(HWND window, DICOM_Root *root, int level);
DICOM_EXPORT int DICOM_Attribute_Sequence_Start(HWND window, DICOM_Root *root, unsigned short group,
                                                unsigned short element, unsigned short flag, int level);
DICOM_EXPORT int DICOM_Attribute_Sequence_Stop(HWND window, DICOM_Root *root, int level);
DICOM_EXPORT int DICOM_Attribute_Sequence_End(HWND window, DICOM_Root *root);
DICOM_EXPORT void DICOM_Attribute_Sequence_Reset(HWND window, DICOM_Root *root);
DICOM_EXPORT int DICOM_Attribute_Sequence_Querry(HWND window, DICOM_Root *root);
DICOM_EXPORT void DICOM_Attribute_Sequence_Get(HWND window, DICOM_Root *root, int depth, unsigned short *group,
                                               unsigned short *element, unsigned short *flag);
DICOM_EXPORT void DICOM_Attribute_Sequence_Set(HWND window, DICOM_Root *root, int depth, unsigned short group,
                                               unsigned short element, unsigned short flag);
DICOM_EXPORT int DICOM_Attribute_Item_Start(HWND window, DICOM_Root *root, int level);
DICOM_EXPORT int DICOM_Attribute_Item_Stop(HWND window, DICOM_Root *root, int level);
DICOM_EXPORT int DICOM_Attribute_Item_Querry(HWND window, DICOM_Root *root, int depth);

/* ---- building and changing --------------------------------------------------------- */

// Makes an attribute with a value from the program's own values, and cleans it. One that has a value already stays as
// it is: the first value counts.
//   root, list      the place in the tree; the head changes when the new node sorts in front of it
//   VR              packed, first letter in the high byte
//   nb_arg          number of values that follow, one argument each. 0: none, the attribute stays without a value.
//                   Less than 0: the opposite number of values, in an array that one pointer gives
//   ...             each value, or what the array holds, by VR:
//                     AE CS LO SH            const char *
//                     AS LT ST UT            const char *, one, no array
//                     UI                     const char *, no array
//                     PN                     Velmora_Name, no array
//                     AT                     unsigned short: group and element, two arguments a tag; no array
//                     DS                     const float *; an array holds floats
//                     IS SL                  int
//                     UL                     unsigned int
//                     SS                     short
//                     US OW                  unsigned short
//                     OB                     a byte
//                     FL, FD                 float, double
//                     DA, TM                 Velmora_Date, Velmora_Time
//                     DT                     Velmora_Date and Velmora_Time, two arguments a value; two arrays
//                     SQ                     unsigned short that is or-ed into the flag; one, whatever nb_arg says
//                   The value copies what it needs. A date, time or name without numbers or fields gives an empty value
// Returns the head of the tree in every case. What goes wrong is reported: without memory, with a null among the values
// or a VR that is not listed, the attribute is there without a value.
DICOM_EXPORT DICOM_List *DICOM_Attribute_Add(HWND window, DICOM_Root *root, DICOM_List **list, unsigned short group,
                                             unsigned short element, unsigned short VR, int nb_arg, ...);
DICOM_EXPORT int DICOM_Attribute_Copy(HWND window, DICOM_Root *root, DICOM_List **list, DICOM_List *source);
DICOM_EXPORT DICOM_List *DICOM_Attribute_Insert(HWND window, DICOM_Root *root, DICOM_List **list, DICOM_List *source,
                                                int depth);
DICOM_EXPORT void DICOM_Attribute_Free(HWND window, DICOM_List *node);
DICOM_EXPORT int DICOM_Attribute_Delete(HWND window, DICOM_Root *root, DICOM_List **list, unsigned short group,
                                        unsigned short element);
DICOM_EXPORT int DICOM_Attribute_Delete(HWND window, DICOM_Root *root, DICOM_List **list, const char *group,
                                        const char *element);
DICOM_EXPORT int DICOM_Attribute_Remove(HWND window, DICOM_List **list, unsigned char filter);
DICOM_EXPORT int DICOM_Attribute_Sort(HWND window, DICOM_Root *root, DICOM_List **list);
DICOM_EXPORT void DICOM_Attribute_Assign_Info(HWND window, DICOM_Root *root, DICOM_List *reference, DICOM_List *target);
DICOM_EXPORT DICOM_List *DICOM_Attribute_Format(HWND window, DICOM_List *list);

/* ---- handlers for reading a data set ------------------------------------------------ */

// Gets an attribute of a data set; it may release the node. root and user are those of DICOM_Attribute_Parse.
// Returns the user pointer for the next call; null ends the walk.
typedef void *(*DICOM_Parse_Fct)(HWND window, DICOM_Root *root, DICOM_List *node, void *user);

// Register a handler: for the private attributes whose creator's value begins with a name (at most 71 bytes), for an
// even group, and for a private group whole, creators or not, where the nodes carry the private flag. The handler
// registered first counts. Handlers do not register others. The tables are not guarded by a lock.
// Return 1; 0 when memory ran out, and then the table is as it was.
DICOM_EXPORT int DICOM_Attribute_List_Private_Grow(const char *name, DICOM_Parse_Fct handler);
DICOM_EXPORT int DICOM_Attribute_List_Group_Grow(unsigned short group, DICOM_Parse_Fct handler);
DICOM_EXPORT int DICOM_Attribute_List_SPI_Grow(unsigned short group, DICOM_Parse_Fct handler);

// Forgets all handlers.
DICOM_EXPORT void DICOM_Attribute_List_Cleanup();

// Hands each attribute of one chain to the handler registered for it; items of sequences are the handlers' business.
// Creators of private blocks (DICOM PS3.5, 7.8.1) are looked up before the first handler runs.
//   root  where the chain stands; handed on
//   list  head of the chain, may be null
//   user  handed to the first handler
// Returns what the last handler returned; user when none ran.
DICOM_EXPORT void *DICOM_Attribute_Parse(HWND window, DICOM_Root *root, DICOM_List *list, void *user);

#include "frame/Velmora_Frame.h"
#include "read/DICOM_Read.h"
#include "values/DICOM_Values.h"
#include "dictionary/DICOM_Dictionary.h"
#include "modules/DICOM_Modules.h"
#include "write/DICOM_Write.h"
#include "dump/DICOM_Dump.h"

#endif
