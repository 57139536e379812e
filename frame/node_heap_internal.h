// The heap of the nodes and values of a data set that is read as a whole. They come one after the other, stay for about
// the same time and go together: malloc's search for a block of the right size, and for its neighbours when it is
// freed, is wasted on them, and was a third of the time of a load. Here a block begins where the last one ended, in a
// chunk, and a chunk is used again once all of its blocks have been freed.
//
// Each block can be freed or made larger by itself like any other: frame_free and frame_realloc tell by its address
// where it comes from.
#ifndef VELMORA_NODE_HEAP_INTERNAL_H
#define VELMORA_NODE_HEAP_INTERNAL_H

#include <atomic>
#include <stddef.h>
#include <stdint.h>
#include <stdlib.h>

struct Node_Chunk;

// Where one reader of a data set gets its blocks from. Cleared, it is closed; the first block opens it.
struct Node_Place {
    char *next, *end;     // what is free in the chunk
    Node_Chunk *chunk;    // null: none
    unsigned int taken;   // blocks of the chunk that are out
};

// The range of addresses that all chunks lie in; of no size where there is no such heap. Written once, the size last.
extern std::atomic<uintptr_t> node_heap_start;
extern std::atomic<size_t> node_heap_size;

inline bool is_in_node_heap(const void *block)
{
    size_t size = node_heap_size.load(std::memory_order_acquire);
    return reinterpret_cast<uintptr_t>(block) - node_heap_start.load(std::memory_order_relaxed) < size;
}

// The blocks: a node's, and a value's, which may be made larger, so that its size stands in front of it.
enum Node_Block_Head : size_t { NODE_BLOCK = 0, VALUE_BLOCK = sizeof(size_t) };

// What node_heap_take does when a chunk is full, there is no heap of this kind, or a test may refuse the block.
void *node_heap_take_slowly(Node_Place *place, size_t bytes, Node_Block_Head head);

inline size_t size_of_block(size_t bytes, Node_Block_Head head)
{
    return (head + (bytes > 0 ? bytes : 1) + 7) & ~size_t{7};
}

// A block that is not cleared. Null when memory ran out; its caller knows for what it was, and reports that. One of no
// bytes gets one, so that it never begins where its chunk ends.
inline void *node_heap_take(Node_Place *place, size_t bytes, Node_Block_Head head)
{
    size_t whole = size_of_block(bytes, head);
    if (whole > static_cast<size_t>(place->end - place->next))
        return node_heap_take_slowly(place, bytes, head);
    char *start = place->next;
    place->next += whole;
    place->taken++;
    if (head == VALUE_BLOCK)
        *reinterpret_cast<size_t *>(start) = bytes;
    return start + head;
}

inline size_t node_heap_value_size(const void *value)
{
    return static_cast<const size_t *>(value)[-1];
}

// Ends the use of a place. What is left of its chunk goes to the next place that is opened.
void node_heap_close(Node_Place *place);

// A value block that stays for good and that any number of nodes may hold: to free it does nothing. For the few texts
// that come again and again. Null where there is no room for it, or no such heap.
//   size  of the text, with its end
char *node_heap_text(const char *text, size_t size);

// Frees a block that lies in this heap; some of one chunk.
void node_heap_free(void *block);
void node_heap_free_some(uintptr_t chunk, unsigned int count);

enum : uintptr_t { NODE_CHUNK = 64 << 10 };   // bytes; it begins at a multiple of them

inline uintptr_t node_chunk_of(const void *block)
{
    return reinterpret_cast<uintptr_t>(block) & ~(NODE_CHUNK - 1);
}

// The blocks of a tree that goes, as they come: those that follow each other mostly lie in one chunk, and go as one.
struct Freed_Blocks {
    uintptr_t chunk;      // 0: none
    unsigned int count;   // of its blocks
};

inline void free_counted(Freed_Blocks *freed)
{
    if (freed->count > 0)
        node_heap_free_some(freed->chunk, freed->count);
    *freed = {};
}

// Frees a block of this heap not later than free_counted does, any other at once.
inline void count_freed(Freed_Blocks *freed, void *block)
{
    if (!is_in_node_heap(block)) {
        free(block);
        return;
    }
    uintptr_t chunk = node_chunk_of(block);
    if (chunk != freed->chunk) {
        free_counted(freed);
        freed->chunk = chunk;
    }
    freed->count++;
}

#endif
