// The only way to the heap: every allocation of the library passes here, and every failure is reported here.
#include "frame/frame_internal.h"

int (*frame_refuse_allocation)() = nullptr;

static bool is_refused()
{
    return frame_refuse_allocation != nullptr && frame_refuse_allocation();
}

static void report_failure(HWND window, const char *operation, size_t count, size_t size, const char *what,
                           const char *source, int line)
{
    REPORT(window, LEVEL_MEMORY, "line %-4d of %s \nmemory error in %s (var=%s, dim=%dx%d)", line, source, operation,
           what, static_cast<int>(count), static_cast<int>(size));
}

// A block of no bytes still needs an address of its own, so that null always means failure.
static size_t at_least_one(size_t bytes)
{
    return bytes > 0 ? bytes : 1;
}

void *frame_malloc(HWND window, size_t bytes, size_t count, size_t size, const char *what, const char *source, int line)
{
    void *block = is_refused() ? nullptr : malloc(at_least_one(bytes));
    if (block == nullptr)
        report_failure(window, "malloc", count, size, what, source, line);
    return block;
}

void *frame_calloc(HWND window, size_t count, size_t size, const char *what, const char *source, int line)
{
    void *block = is_refused() ? nullptr : calloc(at_least_one(count), at_least_one(size));
    if (block == nullptr)
        report_failure(window, "calloc", count, size, what, source, line);
    return block;
}

void *frame_realloc(HWND window, void *block, size_t bytes, size_t count, size_t size, const char *what,
                    const char *source, int line)
{
    void *grown = is_refused() ? nullptr : realloc(block, at_least_one(bytes));
    if (grown == nullptr)
        report_failure(window, "realloc", count, size, what, source, line);
    return grown;
}

char *frame_strdup(HWND window, const char *text, const char *what, const char *source, int line)
{
    size_t bytes = strlen(text) + 1;
    char *copy = is_refused() ? nullptr : static_cast<char *>(malloc(bytes));
    if (copy == nullptr) {
        REPORT(window, LEVEL_MEMORY, "line %-4d of %s \nmemory error in strdup (var=%s)", line, source, what);
        return nullptr;
    }
    memcpy(copy, text, bytes);
    return copy;
}
