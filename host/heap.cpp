// The heap of a program that reads one data set after the other. Nodes and values have chunks of their own
// (frame/node_heap.cpp); what is set here is for all else that grows with a data set.
#include "host/host_internal.h"

#include <sys/mman.h>
#include <unistd.h>
#ifdef __GLIBC__
#include <malloc.h>
#endif

namespace velmora_host
{

#ifdef __GLIBC__

static const int KEPT = 1 << 30, LARGEST_ON_HEAP = 4 << 20, AT_A_TIME = 1 << 20;

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
