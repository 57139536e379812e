// The heap of a program that reads large data sets. The nodes and values of a tree are blocks of malloc, so that they
// can be released one by one; a million of them lie on tens of thousands of pages, and to make each page when it is
// first touched takes a third of the time of a whole load. In huge pages it takes a tenth of that.
#include "host/host_internal.h"

#include <limits.h>
#include <stdlib.h>
#include <sys/mman.h>
#include <unistd.h>
#include <algorithm>
#ifdef __GLIBC__
#include <malloc.h>
#endif

namespace velmora_host
{

#ifdef __GLIBC__

static const size_t WORTH_IT = 8 << 20, MOST = 1 << 30;   // bytes
static const int KEPT = 64 << 20, LARGEST_ON_HEAP = 4 << 20, AT_A_TIME = 1 << 20;
static bool heap_is_ours = false;                         // tune_heap was called

void tune_heap()
{
    heap_is_ours = true;
    // Freed nodes join their neighbours at once, which are still in the processor's cache. Joined later, all together,
    // the nodes of a large tree took longer than the writing of it.
    mallopt(M_MXFAST, 0);
    // What one file took is there for the next: given back to the system and taken again, page by page, it was a third
    // of the time of files of some hundred kilobytes.
    mallopt(M_TRIM_THRESHOLD, KEPT);
    mallopt(M_MMAP_THRESHOLD, LARGEST_ON_HEAP);
    mallopt(M_TOP_PAD, AT_A_TIME);
}

// Makes the heap grow once, and returns where it ended before: blocks too small for mappings of their own use up what
// is left of it.
static char *grow_heap()
{
    enum { BLOCK = 100 << 10, MOST_BLOCKS = 512 };
    void *blocks[MOST_BLOCKS];
    int count = 0;
    char *end = static_cast<char *>(sbrk(0));
    while (count < MOST_BLOCKS && sbrk(0) == end)
        blocks[count++] = malloc(BLOCK);
    while (count > 0)
        free(blocks[--count]);
    return end;
}

void expect_tree(size_t bytes)
{
    if (!heap_is_ours || bytes < WORTH_IT)
        return;
    int room = static_cast<int>(std::min(bytes, MOST));
    mallopt(M_TOP_PAD, room);             // what the heap grows by,
    mallopt(M_TRIM_THRESHOLD, INT_MAX);   // and that it keeps it while the tree is made
    char *start = grow_heap(), *end = static_cast<char *>(sbrk(0));
    uintptr_t page = static_cast<uintptr_t>(sysconf(_SC_PAGESIZE));
    start += (page - reinterpret_cast<uintptr_t>(start) % page) % page;
    if (start < end)
        madvise(start, static_cast<size_t>(end - start), MADV_HUGEPAGE);
}

#else

void tune_heap()
{
}

void expect_tree(size_t)
{
}

#endif

}   // namespace velmora_host
