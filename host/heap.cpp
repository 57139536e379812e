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

static const int KEPT = 64 << 20, LARGEST_ON_HEAP = 4 << 20, AT_A_TIME = 1 << 20;

void tune_heap()
{
    // Freed nodes join their neighbours at once, which are still in the processor's cache. Joined later, all together,
    // the nodes of a large tree took longer than the writing of it.
    mallopt(M_MXFAST, 0);
    // What one file took is there for the next: given back to the system and taken again, page by page, it was a third
    // of the time of files of some hundred kilobytes.
    mallopt(M_TRIM_THRESHOLD, KEPT);
    mallopt(M_MMAP_THRESHOLD, LARGEST_ON_HEAP);
    mallopt(M_TOP_PAD, AT_A_TIME);
}

void use_huge_pages(char *block, size_t bytes)
{
    if (bytes <= LARGEST_ON_HEAP)
        return;
    uintptr_t page = static_cast<uintptr_t>(sysconf(_SC_PAGESIZE));
    size_t skipped = (page - reinterpret_cast<uintptr_t>(block) % page) % page;
    madvise(block + skipped, bytes - skipped, MADV_HUGEPAGE);
}

#else

void tune_heap()
{
}

void use_huge_pages(char *, size_t)
{
}

#endif

}   // namespace velmora_host
