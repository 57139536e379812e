// What the files of this folder share: attributes as bytes, and the block that they are appended to.
#ifndef VELMORA_WRITE_INTERNAL_H
#define VELMORA_WRITE_INTERNAL_H

#include "tree/tree_internal.h"

// The syntax of all operations here: bit value 8 explicit VR, bit value 1 big-endian; 0, 8 and 9 have a meaning. The
// bytes of a node's data are taken to be little-endian, whatever the node's own syntax says.

// The deepest nesting that is written. A chain's depth is told in one byte, so a valid tree cannot be deeper.
enum { MAX_WRITTEN_DEPTH = 255 };

// Bytes that a node takes when it is written, with all that it holds. Returns 0 for a node that cannot be written,
// which is reported: more bytes than an int can tell, or nested too deep.
int DICOM_Attribute_Size(HWND window, char syntax, const DICOM_List *tag);

// A node as bytes: a heap block of exactly DICOM_Attribute_Size bytes, owned by the caller. Returns null when memory
// ran out or the node cannot be written; both are reported.
char *DICOM_Attribute_To_Str(HWND window, char syntax, const DICOM_List *tag);

// The attributes of one group of a sorted chain as bytes.
//   buffer  gets a heap block, owned by the caller; null if there are no bytes
// Returns the number of bytes; 0 if the group is not in the chain, and on failure, which is reported.
unsigned int DICOM_Write_Group(HWND window, unsigned short group, char syntax, const DICOM_List *list, char **buffer);

// The length element of a group, (gggg,0000), 12 bytes in each syntax.
//   bytes   the value: bytes of the group without this element
//   buffer  gets a heap block, owned by the caller
// Returns the size of the element; 0 when memory ran out, which is reported, and the pointer is null then.
unsigned int DICOM_Write_Group_Length(HWND window, unsigned short group, char syntax, unsigned int bytes,
                                      char **buffer);

// A block that bytes are appended to. It grows in steps of its own size, so that a byte is moved a bounded number of
// times however many attributes come.
struct Write_Block {
    char       **buffer;     // the caller's pointer, kept at the block as it is now
    unsigned int used;       // bytes written, from the block's start
    uint64_t     capacity;   // bytes that the block is known to hold; 0: not known, the next growth reallocates
    uint64_t     limit;      // the most that the result of the operation can tell
};

// Appends the attributes of a chain up to the first one of another group.
//   group  ANY_GROUP: all of the chain
//   at     where in the chain to begin; moves behind what was appended
// Returns false, after a report, when memory ran out or the bytes do not fit the limits; *at is then the attribute that
// could not be appended, and the block ends in front of it.
enum { ANY_GROUP = -1 };
bool append_attributes(HWND window, char syntax, int group, const DICOM_List **at, Write_Block *to);

// Appends the attributes of one group.
//   at  where in the chain to begin; moves to the first attribute of a higher group, which ends the walk, or to null.
//       Attributes of lower groups are passed over.
//   with_length  puts the length element in front, unless the group is not in the chain
//   bytes  gets the bytes of the group, the length element not counted
// Returns false as append_attributes does; what was appended before the failure stays.
bool append_group(HWND window, unsigned short group, char syntax, const DICOM_List **at, bool with_length,
                  Write_Block *to, unsigned int *bytes);

#endif
