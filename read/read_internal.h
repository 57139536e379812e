// What the sources of this folder share, and the fetch of unread values, which the writers use as well.
#ifndef VELMORA_READ_INTERNAL_H
#define VELMORA_READ_INTERNAL_H

#include <limits.h>

#include "tree/tree_internal.h"

/* ---- where a report stands --------------------------------------------------------- */

// The place that a failure report names: the source file as its reports print it, and a line.
struct Report_Place {
    const char *source;
    int line;
};
#define HERE (Report_Place{SOURCE, __LINE__})

/* ---- bytes from a source ----------------------------------------------------------- */

enum { SOURCE_FILE = 1 };                    // the one value of a source argument that means a file
static const uint64_t NO_END = UINT64_MAX;   // the end of a memory source whose size nobody told

// The four leading arguments of every read, and the end of a memory source. The position in memory is held here while
// an operation reads, where it can stay in a register; leave_source hands it back to the caller's cursor.
struct Byte_Source {
    HWND window;
    int kind;            // SOURCE_FILE; anything else is memory
    intptr_t handle;     // a descriptor, or the address of an int, the offset of the next read
    const char *name;    // the file's name for messages, or the start of the buffer
    uint64_t end;        // memory: no byte at this offset or behind it is touched
    uint32_t position;   // memory: as unsigned, so that a negative cursor lies behind every known end
};

inline int *cursor_of(intptr_t handle)
{
    return reinterpret_cast<int *>(handle);
}

inline Byte_Source enter_source(HWND window, int source, intptr_t handle, const char *name, uint64_t end = NO_END)
{
    uint32_t position = source == SOURCE_FILE ? 0 : static_cast<uint32_t>(*cursor_of(handle));
    return {window, source, handle, name, end, position};
}

inline void leave_source(const Byte_Source &from)
{
    if (from.kind != SOURCE_FILE)
        *cursor_of(from.handle) = static_cast<int>(from.position);
}

// One read call, repeated when a signal interrupts it. Returns the bytes obtained, or -1.
int read_once(int descriptor, int size, void *out);

// Reads exactly size bytes of a file with one read call. A failure, and fewer bytes than asked for, are reported under
// the place given; the result is then 0.
int read_file(HWND window, int descriptor, const char *name, int size, void *out, Report_Place place);

// The descriptor's offset; -1, which is reported, when the descriptor has none.
long file_position(HWND window, int descriptor, const char *name, Report_Place place);

// Moves a descriptor to an offset from the file's start. A failure closes the descriptor, is reported and gives 0.
int seek_file(HWND window, int descriptor, const char *name, long position, Report_Place place);

// read_file for the reads of a stream, under the place that all of those reports name.
int take_from_file(HWND window, intptr_t handle, const char *name, int size, void *out);

// Takes the next size bytes of a source; size must not be negative. Reads of constant size from memory compile to a
// comparison and a load. Memory that has not so many bytes left gives 0, without a report and without a move.
inline int take_bytes(Byte_Source *from, int size, void *out)
{
    if (from->kind == SOURCE_FILE)
        return take_from_file(from->window, from->handle, from->name, size, out);
    if (static_cast<uint64_t>(from->position) + static_cast<uint64_t>(size) > from->end)
        return 0;
    if (size > 0)
        memcpy(out, from->name + static_cast<int>(from->position), static_cast<size_t>(size));
    from->position += static_cast<uint32_t>(size);
    return 1;
}

inline int take_16(Byte_Source *from, char format, unsigned short *out)
{
    char bytes[2];
    if (!take_bytes(from, 2, bytes))
        return 0;
    *out = load_16(format, bytes);
    return 1;
}

inline int take_32(Byte_Source *from, char format, int *out)
{
    char bytes[4];
    if (!take_bytes(from, 4, bytes))
        return 0;
    *out = static_cast<int>(load_32(format, bytes));
    return 1;
}

/* ---- values left in the source ----------------------------------------------------- */

// Brings a value that was left unread from DICOM_Lib_File_Name into tag->data, which the node owns from then on. The
// caller decides whether the value is to be fetched; tag->data is null and tag->size positive.
//   trace_level  level of "Reading missing: ..."
//   variable     the name of tag->data in the report of a memory failure
//   place        the source file and line of all reports: HERE
// Returns 1. Returns 0 after a failure, which is reported; tag->data is null then, so that a later call tries again.
int fetch_unread_value(HWND window, DICOM_List *tag, int trace_level, const char *variable, Report_Place place);

/* ---- typed values ------------------------------------------------------------------ */

enum { RING_SLOTS = 128 };   // a result stays for 127 further calls of its operation

// One call of a value operation.
struct Value_Call {
    HWND window;
    DICOM_List *tag;
    unsigned short vr;   // the one that counts
    int slot;            // of the operation's ring
};

enum Value_Source { AS_IT_IS, FETCH_UNREAD };

// What every operation starts with: moves its counter to the slot of this call, clears the node's vm, fetches a value
// that was left unread if the operation does that, and settles the VR: the one asked for, or the node's own for 0.
// Returns 0 when there is no value to work on.
int begin_value(Value_Call *call, HWND window, DICOM_List *tag, unsigned short vr, int *counter, Value_Source source);

// Reports a VR that an operation does not take. list names those that it takes.
void report_bad_vr(const Value_Call &call, unsigned short vr, const char *list, Report_Place place);

// The end of the value that begins here: a backslash, or the zero byte behind the last one.
inline const char *end_of_value(const char *start)
{
    while (*start != '\0' && *start != '\\')
        start++;
    return start;
}

// Copies the node's value to a new block, terminated, which the caller frees. Null when memory ran out.
char *copy_value(const Value_Call &call);

// Room for an array that is full, so that one which grows value by value does not grow at every value.
inline int larger_room(int room)
{
    const int smallest = 8;
    if (room < smallest)
        return smallest;
    return room < INT_MAX / 2 ? room * 2 : INT_MAX;
}

// Texts of a slot. Every entry is null or a block of its own; the blocks stay for the next use of the slot.
struct Text_Array {
    char **texts;
    int room;
};

// Makes each value of a text, split at the backslashes, a text of the array. Returns how many they are, at least one,
// or 0 when memory ran out.
int split_into(HWND window, Text_Array *array, const char *text);

void free_texts(Text_Array *array);

// Numbers of a text up to end, in the manner of atoi and atof: blanks in front are skipped, what follows the number
// does not matter, no number is 0. The decimal point is always a point. A whole number too great for an int, and a
// real one when it is cut to an int, become the nearest int; what is not a number at all becomes 0.
int whole_number(const char *text, const char *end);
double real_number(const char *text, const char *end);
int cut_to_int(double value);

// The parts of NEMA_Value_Cleanup.
void release_texts();
void release_numbers();
void release_records();

#endif
