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

enum { SOURCE_FILE = 1 };                            // the one value of a source argument that means a file
static const uint64_t NO_END = UINT64_MAX;           // the end of a memory source whose size nobody told

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

#endif
