// Memory for the nodes of a flat chain, which live from the first element to the finished tree and go all at once.
#include "host/host_internal.h"

#include <stdlib.h>
#include <sys/mman.h>
#include <new>

namespace velmora_host
{

static const size_t SMALLEST_BLOCK = 128, LARGEST_HEAP_BLOCK = 8192;   // nodes
static const size_t HUGE_PAGE = 2 << 20, MAPPED_BLOCK = 4 * HUGE_PAGE;

// A mapping that begins where a huge page can. Each page that has to be made when it is first touched costs as much as
// the reading of several elements.
static DICOM_List *map_block()
{
    size_t whole = MAPPED_BLOCK + HUGE_PAGE;
    char *start = static_cast<char *>(mmap(nullptr, whole, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
    if (start == MAP_FAILED)
        return nullptr;
    size_t before = (HUGE_PAGE - reinterpret_cast<uintptr_t>(start) % HUGE_PAGE) % HUGE_PAGE;
    if (before > 0)
        munmap(start, before);
    munmap(start + before + MAPPED_BLOCK, whole - before - MAPPED_BLOCK);
    madvise(start + before, MAPPED_BLOCK, MADV_HUGEPAGE);
    return reinterpret_cast<DICOM_List *>(start + before);
}

void Node_Arena::add_block()
{
    size_t before = blocks.empty() ? 0 : static_cast<size_t>(end - blocks.back().nodes);
    bool is_mapped = before >= LARGEST_HEAP_BLOCK;
    size_t room = is_mapped ? MAPPED_BLOCK / sizeof(DICOM_List) : before == 0 ? SMALLEST_BLOCK : before * 4;
    blocks.reserve(blocks.size() + 1);
    DICOM_List *nodes = is_mapped ? map_block() : static_cast<DICOM_List *>(malloc(room * sizeof(DICOM_List)));
    if (nodes == nullptr)
        throw std::bad_alloc();
    blocks.push_back({nodes, is_mapped ? MAPPED_BLOCK : 0});
    next = nodes;
    end = nodes + room;
}

Node_Arena::~Node_Arena()
{
    for (const Node_Block &block : blocks) {
        if (block.mapped > 0)
            munmap(block.nodes, block.mapped);
        else
            free(block.nodes);
    }
}

}   // namespace velmora_host
