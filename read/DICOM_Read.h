// Reading: bytes, numbers and element headers out of a file or a buffer, and the values of nodes as types of C++.
//
//     int cursor = 0, length = 0;                                   // a data set in memory, explicit VR little-endian
//     unsigned short group, element, vr;
//     while (NEMA_Get_Data_Element(nullptr, 0, (intptr_t)&cursor, bytes, 8, &group, &element, &vr, &length, size))
//         if (group != 0xFFFE && vr != 0x5351 /* SQ */ && !NEMA_Skip(nullptr, 0, (intptr_t)&cursor, bytes, length))
//             break;
#ifndef VELMORA_DICOM_READ_H
#define VELMORA_DICOM_READ_H

#include <stdint.h>

#include "util/Velmora_Util.h"

struct DICOM_List;
struct Velmora_Name;
struct Velmora_Date;
struct Velmora_Time;

/* ---- bytes and numbers ------------------------------------------------------------- */

// Every read takes its bytes from one of two kinds of source, which four arguments name:
//   window  handed on to Error_Fct
//   source  1: a file. Any other value: memory
//   handle  file: a descriptor, open for reading in binary mode; its offset is the read position.
//           memory: the address of an int, the offset of the next read from the start of the buffer; moved by each read
//   name    file: its name, for messages only. memory: the start of the buffer
// Offsets and sizes are ints, so that a source has at most 2^31 - 1 bytes. A memory source has no end that a read could
// know: the caller stays inside it. format is a syntax byte, as in DICOM_List.
//
// All of them return 1, or a block, on success. A read of a file fails, with 0 or null, when the file has fewer bytes
// left than asked for, or cannot be read: that is reported, and the descriptor stays open wherever the read left it.

// Reads size bytes as they are. A short read may leave a part of them in out.
DICOM_EXPORT int NEMA_Read_Byte(HWND window, int source, intptr_t handle, const char *name, char format, int size,
                                char *out);

// Read one number and convert it. size is the width of the type: 2, 4 or 8; one of more than 8 is refused. out is
// written on success only.
DICOM_EXPORT int NEMA_Read_Short(HWND window, int source, intptr_t handle, const char *name, char format, int size,
                                 short *out);
DICOM_EXPORT int NEMA_Read_UShort(HWND window, int source, intptr_t handle, const char *name, char format, int size,
                                  unsigned short *out);
DICOM_EXPORT int NEMA_Read_Int(HWND window, int source, intptr_t handle, const char *name, char format, int size,
                               int *out);
DICOM_EXPORT int NEMA_Read_UInt(HWND window, int source, intptr_t handle, const char *name, char format, int size,
                                unsigned int *out);
DICOM_EXPORT int NEMA_Read_Float(HWND window, int source, intptr_t handle, const char *name, char format, int size,
                                 float *out);
DICOM_EXPORT int NEMA_Read_Double(HWND window, int source, intptr_t handle, const char *name, char format, int size,
                                  double *out);

// Reads size bytes into a new block, which the caller frees with free. Bit value 2 of format swaps each pair of bytes;
// the last byte of an odd size stays where it is. Returns null on failure; a size below 0 is one.
DICOM_EXPORT char *NEMA_Read_Buffer(HWND window, int source, intptr_t handle, const char *name, char format, int size);

// The same with a zero byte behind the size bytes.
DICOM_EXPORT char *NEMA_Read_Str(HWND window, int source, intptr_t handle, const char *name, char format, int size);

// Moves the read position forward. A size of -1, the undefined length, moves nothing. A place behind the end is no
// failure; a cursor stops at 2^31 - 1. Returns 0 when a file cannot be positioned: that is reported, and the
// descriptor is closed.
DICOM_EXPORT int NEMA_Skip(HWND window, int source, intptr_t handle, const char *name, int size);

// A number from 2, 4 or 8 bytes in the order of the format: Get_Short and so on by another name.
DICOM_EXPORT short NEMA_Convert_Short(char format, const char *bytes);
DICOM_EXPORT unsigned short NEMA_Convert_UShort(char format, const char *bytes);
DICOM_EXPORT int NEMA_Convert_Int(char format, const char *bytes);
DICOM_EXPORT float NEMA_Convert_Float(char format, const char *bytes);
DICOM_EXPORT double NEMA_Convert_Double(char format, const char *bytes);

/* ---- element headers --------------------------------------------------------------- */

// Reads the header of the data element at the read position (DICOM PS3.5, 7.1) and stops at the first byte of its
// value. Known header faults of several vendors are repaired on the way, each with a warning.
//   mode    syntax byte of the stream: 1 big-endian numbers, 2 swapped 16-bit words, 8 explicit VR; 0x10 in the high
//           nibble asks for the repair of wrong lengths of GE streams, 0x30 of those of the GE ROGAN library. Group
//           0002 is read as explicit VR little-endian whatever mode says, and items without a VR
//   vr      the stream's VR, first letter in the high byte; 0: it has none
//   length  the value's length in bytes; -1 is the undefined length
//   limit   size of the source in bytes; 0: not known. An element of this length or more is refused. Nothing behind
//           it is read from memory: a header that it cuts fails as at the end of a file. A limit below 12, or one in
//           front of the read position, is no size of a source and bounds the lengths alone
// Returns 1 when a header was read. A stream may end behind the tag of an item or sequence delimiter: length then
// stays as it was. With the tag (FFFF,FFFF) the caller skips length bytes and goes on: a broken element was left out.
// Behind an element of group FFFE, of VR "SQ" or of undefined length the next header follows at once; behind any other
// one, length bytes of value.
// Returns 0 at the end of the source and on failure, which is reported; the read position is then not defined, and a
// descriptor that cannot be positioned is closed.
DICOM_EXPORT int NEMA_Get_Data_Element(HWND window, int source, intptr_t handle, const char *name, unsigned char mode,
                                       unsigned short *group, unsigned short *element, unsigned short *vr, int *length,
                                       int limit);

/* ---- values ------------------------------------------------------------------------ */

// The value of a node as a type of C++. vr is the VR to go by; 0: the node's own, vr_explicit or else vr. The result
// belongs to the library and stays for the next 127 calls of the same operation, from whatever thread; copy what is to
// stay longer. tag->vm becomes the number of values, 0 on failure. Several threads may call at once, but not for one
// node. All return null when the node has no value, when the VR is none of those that the operation takes (told at
// level 14), and when memory ran out (reported).
//
// Where it says so, a value of 1025 bytes or more that was left unread (data is null) is brought into the node first,
// from DICOM_Lib_File_Name at data_pos; a failure of that is reported, gives null and leaves the node unread.

// One date, of DA or DT. As a rule its state is 2: Velm_Date_Postproc makes numbers of it. Null for a DA that has none
// of the sizes 6, 8 and 10.
DICOM_EXPORT Velmora_Date *NEMA_Value_Date(HWND window, DICOM_List *tag, unsigned short vr);

// One time, of TM or DT. A TM has state 2: Velm_Time_Postproc makes numbers of it; digits behind the tenth character
// are lost. A DT has numbers, to which its offset from UTC has been added as it stands, without a carry; state is 0
// for a DT without a time. Nothing of an earlier result is left in the record.
DICOM_EXPORT Velmora_Time *NEMA_Value_Time(HWND window, DICOM_List *tag, unsigned short vr);

// An array of tag->vm names, of PN. For any other VR the result is null, but tag->vm tells the number of values.
DICOM_EXPORT Velmora_Name *NEMA_Value_Name(HWND window, DICOM_List *tag, unsigned short vr);

// An array of tag->vm terminated texts, one for each value of AE, CS, LO, SH and UI: backslashes split, the first zero
// byte ends, blanks stay. AS, LT, OB, ST, UN and UT give one text, the whole value. Fetches.
DICOM_EXPORT char **NEMA_Value_Str(HWND window, DICOM_List *tag, unsigned short vr);

// A copy of the tag->size bytes of an OB, OW, OX or UN, in the byte order of the stream. Fetches.
DICOM_EXPORT char *NEMA_Value_Hex(HWND window, DICOM_List *tag, unsigned short vr);

// An array of tag->vm ints, of SS, OW (signed), US, UH, SL, UL, AT, IS and DS, or of RT when it has 2 or 4 bytes. A
// part of a number at the end does not count. Text that is no number gives 0, one out of range the nearest int; the
// fraction of a DS is dropped. Fetches.
DICOM_EXPORT int *NEMA_Value_Int(HWND window, DICOM_List *tag, unsigned short vr);

// An array of tag->vm floats, of FL, FD, DS and IS. Null when an FL or FD ends inside a number. Fetches.
DICOM_EXPORT float *NEMA_Value_Float(HWND window, DICOM_List *tag, unsigned short vr);

// Releases the results of all of these operations; part of DICOM_Lib_Cleanup.
DICOM_EXPORT void NEMA_Value_Cleanup();

// Every value of an attribute as text, whatever its VR, for showing and comparing. The texts lie in one static block
// of 10,240 bytes that the next call overwrites, from whatever thread; what does not fit is cut.
//   values  gets the texts; it has room for one pointer more than there are values
// Returns the number of texts. OB and OW give one text, the bytes up to the first zero byte, at most 1023 characters.
// A VR that has no form as text, such as SQ or UN, gives none: the result is then tag->vm as it was. Returns 0 for a
// value above 1024 bytes, which leaves values untouched, and for one that cannot be had.
DICOM_EXPORT int DICOM_Attribute_Get_Data(DICOM_List *tag, char **values);

#endif
