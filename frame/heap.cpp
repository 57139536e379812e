// The only way to the heap: every allocation of the library passes here, and every failure is reported here.
#include "frame/frame_internal.h"

int (*frame_refuse_allocation)() = nullptr;

void *frame_fail(HWND window, const char *operation, size_t count, size_t size, const char *what, const char *source,
                 int line)
{
    REPORT(window, LEVEL_MEMORY, "line %-4d of %s \nmemory error in %s (var=%s, dim=%dx%d)", line, source, operation,
           what, static_cast<int>(count), static_cast<int>(size));
    return nullptr;
}

void *frame_move_from_node_heap(void *value, size_t bytes)
{
    void *moved = malloc(bytes > 0 ? bytes : 1);
    if (moved == nullptr)
        return nullptr;
    size_t old_bytes = node_heap_value_size(value);
    memcpy(moved, value, bytes < old_bytes ? bytes : old_bytes);
    node_heap_free(value);
    return moved;
}

void *frame_realloc(HWND window, void *block, size_t bytes, size_t count, size_t size, const char *what,
                    const char *source, int line)
{
    void *grown = frame_try_realloc(block, bytes);
    return grown != nullptr ? grown : frame_fail(window, "realloc", count, size, what, source, line);
}

char *frame_strdup(HWND window, const char *text, const char *what, const char *source, int line)
{
    size_t bytes = strlen(text) + 1;
    char *copy = frame_is_refused() ? nullptr : static_cast<char *>(malloc(bytes));
    if (copy == nullptr) {
        REPORT(window, LEVEL_MEMORY, "line %-4d of %s \nmemory error in strdup (var=%s)", line, source, what);
        return nullptr;
    }
    memcpy(copy, text, bytes);
    return copy;
}
