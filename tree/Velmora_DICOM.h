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
    unsigned short group;         // of the tag
    unsigned short element;       // of the tag
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

/* What the operations on trees have in common:
   window   handed on to Error_Fct, never looked at; may be null
   root     the cursor, never null; on entry it names the chain to work in: all zero for the top level, else a path
            whose items have been started. One cursor and one tree belong to one thread at a time
   list     the head of the top-level chain, or its address where the head may change; an empty tree is a null head
   Tags are a group and an element. Memory failures are reported at level 1, damage at the level of Flag_Error_Warning;
   nothing is rolled back, and the tree stays valid. */

/* ---- lookup ------------------------------------------------------------------------ */

// Finds the attribute with this tag in the chain that the cursor selects, and makes it if it is not there. Sequences
// and items on the way are made as well. The chain is taken to be in ascending order of tags; in one that is not, a
// tag behind a greater one may be missed and made a second time.
//   root   read for the place to work in; takes the tag at its depth, depth and item numbers come back as they were
//   list   address of the head, not null; the head changes when the new node sorts in front of it
// Returns the node, owned by the tree; it is new when its flag is 0: then it has a tag and a depth, and nothing else.
// Returns null when memory ran out, or when the cursor stands in a sequence without an item.
DICOM_EXPORT DICOM_List *DICOM_Attribute_Find(HWND window, DICOM_Root *root, DICOM_List **list, unsigned short group,
                                              unsigned short element);

// Returns the first attribute of the chain that the cursor selects which has this tag, or null. The order of the chain
// does not matter. Makes no attribute, but where the cursor names a sequence that is not there an empty one is left.
//   list            head of the top-level chain; may be null
//   group, element  0xFFFF stands for any number
//   c               without effect
DICOM_EXPORT DICOM_List *DICOM_Attribute_Get(HWND window, DICOM_Root *root, DICOM_List *list, unsigned short group,
                                             unsigned short element, char c);

// The same with patterns, as DICOM_Attribute_Match takes them.
DICOM_EXPORT DICOM_List *DICOM_Attribute_Get(HWND window, DICOM_Root *root, DICOM_List *list, const char *group,
                                             const char *element, char c);

// 1 if both numbers, written as four upper-case hexadecimal digits, match their patterns, else 0. In a pattern "*"
// stands for any run of digits and "?" for one: "60*" with "3000" is the overlay data of all planes.
DICOM_EXPORT int DICOM_Attribute_Match(const char *group_pattern, const char *element_pattern, unsigned short group,
                                       unsigned short element);

// Makes a code string of a text, in place (DICOM PS3.5, 6.2): blanks at both ends go, 16 characters stay, letters
// become upper case, and what is neither letter, digit, blank, "_" nor a backslash becomes "_".
//   text  terminated, in a buffer of at least 17 bytes
// Returns 1.
DICOM_EXPORT int DICOM_Str_To_CS(char *text);

/* ---- cursor ------------------------------------------------------------------------ */

/* A walk over a sequence starts it with the tag and the flag of its node; starts an item, works, and stops the item,
   for each slot up to nb_item or the first empty one; and stops the sequence. The cursor is then where it was.
     level  level of a line that shows the step, set in by four blanks for each depth; 0 for no line. Traces at level
            15 are made in any case */

// Enters the sequence whose tag stands in the cursor at its depth, or whose tag and flag are given. No item of it has
// been started then. A tenth level is warned of and folded into the ninth.
// Returns the new depth, 1 to 9.
DICOM_EXPORT int DICOM_Attribute_Sequence_Start(HWND window, DICOM_Root *root, int level);
DICOM_EXPORT int DICOM_Attribute_Sequence_Start(HWND window, DICOM_Root *root, unsigned short group,
                                                unsigned short element, unsigned short flag, int level);

// Leaves the current sequence. Returns the new depth; at the top level that is 0, with a warning.
DICOM_EXPORT int DICOM_Attribute_Sequence_Stop(HWND window, DICOM_Root *root, int level);

// Goes to the top level at once, with a warning when sequences were open. Their tags stay. Returns 0.
DICOM_EXPORT int DICOM_Attribute_Sequence_End(HWND window, DICOM_Root *root);

// Clears the whole cursor.
DICOM_EXPORT void DICOM_Attribute_Sequence_Reset(HWND window, DICOM_Root *root);

// Returns the current depth; 0 is the top level.
DICOM_EXPORT int DICOM_Attribute_Sequence_Querry(HWND window, DICOM_Root *root);

// Reads and writes the tag and the flag of the sequence entered from a depth of 0 to 9; while none has been entered
// from there, the tag is that of the last attribute looked up. Outside of that range _Get gives zeros and _Set does
// nothing.
//   flag  may be null in _Get
DICOM_EXPORT void DICOM_Attribute_Sequence_Get(HWND window, DICOM_Root *root, int depth, unsigned short *group,
                                               unsigned short *element, unsigned short *flag);
DICOM_EXPORT void DICOM_Attribute_Sequence_Set(HWND window, DICOM_Root *root, int depth, unsigned short group,
                                               unsigned short element, unsigned short flag);

// Starts the next item at the current depth, and ends it; the number stays, so that the next start counts on.
// Return 1.
DICOM_EXPORT int DICOM_Attribute_Item_Start(HWND window, DICOM_Root *root, int level);
DICOM_EXPORT int DICOM_Attribute_Item_Stop(HWND window, DICOM_Root *root, int level);

// Returns the index of the item that was started last at a depth of 0 to 9, counted from 0; -1 before the first one.
DICOM_EXPORT int DICOM_Attribute_Item_Querry(HWND window, DICOM_Root *root, int depth);

/* ---- building and changing --------------------------------------------------------- */

// Makes an attribute with a value from the program's own values, and cleans it. One that has a value already stays as
// it is: the first value counts. As it cleans, one thread at a time may call it, see DICOM_Attribute_Cleanup.
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

// Brings a chain, with its sequences, into the chain that the cursor selects: a merge. New attributes are made where
// their tags belong. One that has a value keeps it, unless the source has the flag Append (0x8000): then the value and
// the items are put behind those that are there; one with the flag Forced (0x1000) keeps it in any case. Items are
// merged with those of the same place. Values and descriptions are copied; db is shared.
//   source  may be null; not changed
// Returns 1; 0 when memory ran out, with what was copied so far in place. Inside an item that is only reported.
DICOM_EXPORT int DICOM_Attribute_Copy(HWND window, DICOM_Root *root, DICOM_List **list, DICOM_List *source);

// Puts a copy of a node at the end of the chain that the cursor selects, whatever its tag; missing sequences and items
// of the cursor's path are made.
//   source  not changed; stays the caller's
//   depth   0
// Returns the new node, owned by the tree; null, with a report, when memory ran out or no item has been started.
DICOM_EXPORT DICOM_List *DICOM_Attribute_Insert(HWND window, DICOM_Root *root, DICOM_List **list, DICOM_List *source,
                                                int depth);

// Releases a node with its value, its description and its items. Neither follows next nor unlinks: a host takes next
// before the call, and walks the top-level chain in this way to release a tree.
DICOM_EXPORT void DICOM_Attribute_Free(HWND window, DICOM_List *node);

// Deletes all attributes with this tag from the chain that the cursor selects, and from all items below it. An item
// that loses its last attribute becomes an empty slot, which hides the items behind it from every walk.
//   group, element  0xFFFF stands for any number; or patterns, as DICOM_Attribute_Match takes them
// Returns 1, whether anything was deleted or not; 0 if there is no such chain or it is empty.
DICOM_EXPORT int DICOM_Attribute_Delete(HWND window, DICOM_Root *root, DICOM_List **list, unsigned short group,
                                        unsigned short element);
DICOM_EXPORT int DICOM_Attribute_Delete(HWND window, DICOM_Root *root, DICOM_List **list, const char *group,
                                        const char *element);

// Drops from a whole tree what has the flag Invalid (0x0800), and by the bits of filter: 1 group lengths, 2 what has
// the flag Deleted, 4 retired attributes, 8 item and delimiter nodes (by their vr), 16 private attributes unless
// Flag_DICOM_Propriatery is set. Returns 0.
DICOM_EXPORT int DICOM_Attribute_Remove(HWND window, DICOM_List **list, unsigned char filter);

// Orders the chain that the cursor selects, and all items below it, by tag. Attributes of one tag all stay; they come
// in the order forced, with a value, not a default, described, and take over from each other the smallest type, a
// missing vr, and the flags 0x0100, 0x0200 and 0x0800. Two that are both forced are warned of.
// Returns 1; 0 if there is no such chain or it is empty.
DICOM_EXPORT int DICOM_Attribute_Sort(HWND window, DICOM_Root *root, DICOM_List **list);

// Gives each attribute of target, and of its items, the type of the same attribute of reference, and its vr where there
// is none. All items of a sequence are compared with the first one of the reference.
//   root       the place in reference
//   reference  may be null; gets an empty sequence where it lacks one of target's
//   target     head of a chain; may be null
DICOM_EXPORT void DICOM_Attribute_Assign_Info(HWND window, DICOM_Root *root, DICOM_List *reference, DICOM_List *target);

// Nests a flat chain, one node for each element of a stream in the stream's order, into a tree: by item and delimiter
// elements, and by lengths (DICOM PS3.5, 7.5). Each VR is settled on the way: an explicit one is compared with the
// dictionary, a missing one is guessed from the value. Damage is warned of, and what cannot be nested gets the flag
// Deleted (0x0100). Items and delimiters stay, as nodes, until DICOM_Attribute_Remove takes them.
//   list  may be null; each node has tag, pos, data_pos, size and syntax, vr_explicit in explicit streams, flag 1 where
//         the order of tags is to be checked, and db and vr, as DICOM_Attribute_Complement gives them. The chain stays
//         the caller's; flag, vr_explicit and vr are changed in it
// Returns the head of the new tree, which shares nothing but db with the flat chain; null for an empty chain. Nodes for
// which memory ran out are missing.
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
