// Memory for the nodes of a flat chain, which live from the first element to the finished tree and go all at once.
#include "host/host_internal.h"

#include <stdlib.h>
#include <sys/mman.h>
#include <new>

namespace velmora_host
{

static const int SMALLEST_BLOCK = 128, LARGEST_HEAP_BLOCK = 8192;   // nodes
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

static void add_block(Node_Arena *arena)
{
    arena->blocks.push_back({nullptr, 0});
    Node_Block &block = arena->blocks.back();
    if (arena->room < LARGEST_HEAP_BLOCK) {
        arena->room = arena->room == 0 ? SMALLEST_BLOCK : arena->room * 4;
        block.nodes = static_cast<DICOM_List *>(calloc(static_cast<size_t>(arena->room), sizeof(DICOM_List)));
    } else {
        arena->room = MAPPED_BLOCK / sizeof(DICOM_List);
        block.nodes = map_block();
        block.mapped = block.nodes != nullptr ? MAPPED_BLOCK : 0;
    }
    arena->used = 0;
    if (block.nodes == nullptr) {
        arena->room = 0;
        throw std::bad_alloc();
    }
}

DICOM_List *Node_Arena::add()
{
    if (used == room)
        add_block(this);
    return &blocks.back().nodes[used++];
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
