// What the folders share of the frame: the levels of reports, and the only way to the heap.
#ifndef VELMORA_FRAME_INTERNAL_H
#define VELMORA_FRAME_INTERNAL_H

#include <stddef.h>
#include <stdlib.h>

#include "frame/Velmora_Frame.h"
#include "frame/node_heap_internal.h"
#include "util/util_internal.h"

enum Report_Level {
    LEVEL_MEMORY = 1,       // memory failures, and VRs without a builder
    LEVEL_FILE = 2,         // file failures
    LEVEL_LOCATION = 11,    // where in the source a failure stands; dumps; fetches of unread values
    LEVEL_READ_FAILURE = 12,
    LEVEL_OPERATION = 13,   // entry of large operations
    LEVEL_ATTRIBUTE = 14,   // one line per attribute
    LEVEL_FUNCTION = 15,    // function entries and cursor changes
};

// For tests: when set, asked before each allocation; an answer of 1 refuses it.
extern int (*frame_refuse_allocation)();

inline bool frame_is_refused()
{
    return frame_refuse_allocation != nullptr && frame_refuse_allocation();
}

// Reports a failure. Returns null.
void *frame_fail(HWND window, const char *operation, size_t count, size_t size, const char *what, const char *source,
                 int line);

// Moves a value to a block of malloc's with room for more or fewer bytes. Null when memory ran out: it stays then.
void *frame_move_from_node_heap(void *value, size_t bytes);

// Each allocation says what it is for and where it stands; a failure is reported with that and gives null. The
// dimensions are those that the report names. Use them through the macros below. The two that every attribute of a data
// set goes through stand in line. A block of no bytes gets one, so that null always means failure.
inline void *frame_malloc(HWND window, size_t bytes, size_t count, size_t size, const char *what, const char *source,
                          int line)
{
    void *block = frame_is_refused() ? nullptr : malloc(bytes > 0 ? bytes : 1);
    return block != nullptr ? block : frame_fail(window, "malloc", count, size, what, source, line);
}

inline void *frame_calloc(HWND window, size_t count, size_t size, const char *what, const char *source, int line)
{
    void *block = frame_is_refused() ? nullptr : calloc(count > 0 ? count : 1, size > 0 ? size : 1);
    return block != nullptr ? block : frame_fail(window, "calloc", count, size, what, source, line);
}

// For a block that its caller fills at once: the report is that of a cleared one.
inline void *frame_calloc_unset(HWND window, size_t count, size_t size, const char *what, const char *source, int line)
{
    void *block = frame_is_refused() ? nullptr : malloc(count * size);
    return block != nullptr ? block : frame_fail(window, "calloc", count, size, what, source, line);
}

// Frees what any of these made. Null is left alone.
inline void frame_free(void *block)
{
    if (is_in_node_heap(block))
        node_heap_free(block);
    else
        free(block);
}

// A block that is made larger, without a report: its caller makes one that says more.
inline void *frame_try_realloc(void *block, size_t bytes)
{
    if (frame_is_refused())
        return nullptr;
    return is_in_node_heap(block) ? frame_move_from_node_heap(block, bytes) : realloc(block, bytes > 0 ? bytes : 1);
}

void *frame_realloc(HWND window, void *block, size_t bytes, size_t count, size_t size, const char *what,
                    const char *source, int line);
char *frame_strdup(HWND window, const char *text, const char *what, const char *source, int line);

// SOURCE is the file's name as its reports print it: static const char SOURCE[] = ".\\NEMA_Tag_Copy";
// A failed ALLOC_REALLOC leaves the old block as it was.
#define ALLOC_MALLOC(window, what, count, size) \
    frame_malloc((window), (size_t)(count) * (size_t)(size), (size_t)(count), (size_t)(size), (what), SOURCE, __LINE__)
#define ALLOC_CALLOC(window, what, count, size) \
    frame_calloc((window), (size_t)(count), (size_t)(size), (what), SOURCE, __LINE__)
#define ALLOC_CALLOC_UNSET(window, what, count, size) \
    frame_calloc_unset((window), (size_t)(count), (size_t)(size), (what), SOURCE, __LINE__)
#define ALLOC_REALLOC(window, what, block, count, size) \
    frame_realloc((window), (block), (size_t)(count) * (size_t)(size), (size_t)(count), (size_t)(size), (what), SOURCE, __LINE__)
// The same for a block that is made larger than the report says, so that it need not grow at every step.
#define ALLOC_REALLOC_ROOM(window, what, block, bytes, count, size) \
    frame_realloc((window), (block), (size_t)(bytes), (size_t)(count), (size_t)(size), (what), SOURCE, __LINE__)
#define ALLOC_STRDUP(window, what, text) frame_strdup((window), (text), (what), SOURCE, __LINE__)

#endif
