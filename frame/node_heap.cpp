// Chunks of equal size in one range of addresses, which is reserved at the first use and filled with memory as it is
// needed. Each counts its blocks that are in use; those that have none wait in a list for their next use.
#include "frame/frame_internal.h"

#if defined(__linux__) && __has_include(<sys/mman.h>)
#include <sys/mman.h>
#include <sys/resource.h>
#endif
#if __has_include(<sys/single_threaded.h>)
#include <sys/single_threaded.h>
#endif

std::atomic<uintptr_t> node_heap_start = 0;
std::atomic<size_t> node_heap_size = 0;

// The sanitizers know the blocks of malloc only, and 32 bits have no addresses to spare.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define IS_WATCHED 1
#elif defined(__has_feature)
#define IS_WATCHED (__has_feature(address_sanitizer) || __has_feature(thread_sanitizer))
#else
#define IS_WATCHED 0
#endif

#if defined(MAP_NORESERVE) && UINTPTR_MAX > 0xFFFFFFFFu && !IS_WATCHED

static const size_t CHUNK = NODE_CHUNK, HUGE_PAGE = 2 << 20, MOST_AT_A_TIME = 4 * HUGE_PAGE;
static const size_t RANGE = size_t{32} << 30;
static const unsigned int KEPT = 2048;        // unused chunks that keep their memory
static const unsigned int OPEN = 1u << 31;    // more than any chunk has blocks

struct Node_Chunk {
    std::atomic<unsigned int> used;   // blocks in use; while a place takes from the chunk, OPEN less those freed
    Node_Chunk *next;                 // in the list of unused chunks
};

// What follows is changed only while the lock is held: for a few instructions, once in hundreds of blocks.
static std::atomic_flag lock = ATOMIC_FLAG_INIT;
static bool is_reserved = false;
static char *next_chunk = nullptr, *filled_end = nullptr;   // nothing behind was used yet; there is memory up to
static Node_Chunk *unused = nullptr;
static unsigned int unused_count = 0;
static Node_Place left_over = {};                           // a place that was closed
static Node_Place texts = {};                               // never closed
static std::atomic<uintptr_t> text_chunk = 0;

static void take_lock()
{
    while (lock.test_and_set(std::memory_order_acquire))
        ;
}

static void leave_lock()
{
    lock.clear(std::memory_order_release);
}

/* ---- memory -------------------------------------------------------------------------- */

// Where a limit is set, other parts of the process may need the addresses.
static bool has_addresses_to_spare()
{
    rlimit limit;
    return getrlimit(RLIMIT_AS, &limit) == 0 && limit.rlim_cur == RLIM_INFINITY;
}

static void reserve_range()
{
    is_reserved = true;
    if (!has_addresses_to_spare())
        return;
    void *range = mmap(nullptr, RANGE, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    if (range == MAP_FAILED)
        return;
    uintptr_t start = (reinterpret_cast<uintptr_t>(range) + HUGE_PAGE - 1) & ~(HUGE_PAGE - 1);
    next_chunk = filled_end = reinterpret_cast<char *>(start);
    node_heap_start.store(start, std::memory_order_relaxed);
    node_heap_size.store(RANGE - HUGE_PAGE, std::memory_order_release);
}

// Twice as much each time, and in huge pages where it is much: each page that has to be made when it is first touched
// costs as much as the reading of several elements.
static bool fill_range()
{
    size_t filled = reinterpret_cast<uintptr_t>(filled_end) - node_heap_start;
    size_t more = filled < CHUNK ? CHUNK : filled < MOST_AT_A_TIME ? filled : MOST_AT_A_TIME;
    if (more > node_heap_size - filled || mprotect(filled_end, more, PROT_READ | PROT_WRITE) != 0)
        return false;
    if (more >= HUGE_PAGE)
        madvise(filled_end, more, MADV_HUGEPAGE);
    filled_end += more;
    return true;
}

static Node_Chunk *find_chunk()
{
    Node_Chunk *chunk = unused;
    if (chunk != nullptr) {
        unused = chunk->next;
        unused_count--;
        return chunk;
    }
    if (!is_reserved)
        reserve_range();
    if (next_chunk == filled_end && (node_heap_size == 0 || !fill_range()))
        return nullptr;
    chunk = reinterpret_cast<Node_Chunk *>(next_chunk);
    next_chunk += CHUNK;
    return chunk;
}

static void put_away(Node_Chunk *chunk)
{
    static const size_t PAGE = 4096;
    take_lock();
    bool is_kept = unused_count < KEPT;
    leave_lock();
    if (!is_kept)
        madvise(reinterpret_cast<char *>(chunk) + PAGE, CHUNK - PAGE, MADV_DONTNEED);
    take_lock();
    chunk->next = unused;
    unused = chunk;
    unused_count++;
    leave_lock();
}

/* ---- blocks -------------------------------------------------------------------------- */

// What is left of the count when some are taken off it.
static unsigned int count_off(Node_Chunk *chunk, unsigned int count)
{
#if __has_include(<sys/single_threaded.h>)
    if (__libc_single_threaded) {
        unsigned int left = chunk->used.load(std::memory_order_relaxed) - count;
        chunk->used.store(left, std::memory_order_relaxed);
        return left;
    }
#endif
    return chunk->used.fetch_sub(count, std::memory_order_acq_rel) - count;
}

static void retire(const Node_Place *place)
{
    if (place->chunk != nullptr && count_off(place->chunk, OPEN - place->taken) == 0)
        put_away(place->chunk);
}

static void begin_chunk(Node_Place *place, Node_Chunk *chunk)
{
    chunk->used.store(OPEN, std::memory_order_relaxed);
    place->chunk = chunk;
    place->taken = 0;
    place->next = reinterpret_cast<char *>(chunk) + sizeof *chunk;
    place->end = reinterpret_cast<char *>(chunk) + CHUNK;
}

// Opens the next chunk, or what another place left of one.
static bool go_on(Node_Place *place, size_t whole)
{
    take_lock();
    Node_Place found = {};
    if (place->chunk == nullptr) {
        found = left_over;
        left_over = {};
    }
    Node_Chunk *chunk = found.chunk == nullptr ? find_chunk() : nullptr;
    leave_lock();
    if (found.chunk != nullptr) {
        *place = found;
        if (found.chunk->used.load(std::memory_order_acquire) == OPEN - found.taken)
            begin_chunk(place, found.chunk);   // all that it gave has been freed since
        return static_cast<size_t>(place->end - place->next) >= whole || go_on(place, whole);
    }
    if (chunk == nullptr)
        return false;
    retire(place);
    begin_chunk(place, chunk);
    return true;
}

static bool has_room(Node_Place *place, size_t whole)
{
    return whole <= CHUNK - sizeof(Node_Chunk) && go_on(place, whole);
}

void node_heap_close(Node_Place *place)
{
    if (place->chunk == nullptr)
        return;
    take_lock();
    Node_Place older = left_over;
    left_over = *place;
    leave_lock();
    retire(&older);
    *place = {};
}

// The texts follow each other in a chunk of their own. Call it with the lock.
static char *find_text(const char *text, size_t size)
{
    if (texts.chunk == nullptr)
        return nullptr;
    for (char *at = reinterpret_cast<char *>(texts.chunk) + sizeof(Node_Chunk); at != texts.next;) {
        char *value = at + VALUE_BLOCK;
        if (node_heap_value_size(value) == size && memcmp(value, text, size) == 0)
            return value;
        at += size_of_block(node_heap_value_size(value), VALUE_BLOCK);
    }
    return nullptr;
}

static char *add_text(const char *text, size_t size)
{
    if (texts.chunk == nullptr) {
        Node_Chunk *chunk = find_chunk();
        if (chunk == nullptr)
            return nullptr;
        begin_chunk(&texts, chunk);
        text_chunk.store(node_chunk_of(chunk), std::memory_order_relaxed);
    }
    if (size_of_block(size, VALUE_BLOCK) > static_cast<size_t>(texts.end - texts.next))
        return nullptr;
    char *value = static_cast<char *>(node_heap_take(&texts, size, VALUE_BLOCK));
    memcpy(value, text, size);
    return value;
}

char *node_heap_text(const char *text, size_t size)
{
    static const size_t LONGEST = 256;
    if (size == 0 || size > LONGEST)
        return nullptr;
    take_lock();
    char *value = find_text(text, size);
    if (value == nullptr)
        value = add_text(text, size);
    leave_lock();
    return value;
}

void node_heap_free_some(uintptr_t chunk, unsigned int count)
{
    Node_Chunk *start = reinterpret_cast<Node_Chunk *>(chunk);
    if (chunk != text_chunk.load(std::memory_order_relaxed) && count_off(start, count) == 0)
        put_away(start);
}

void node_heap_free(void *block)
{
    node_heap_free_some(node_chunk_of(block), 1);
}

#else

char *node_heap_text(const char *, size_t)
{
    return nullptr;
}

static bool has_room(Node_Place *, size_t)
{
    return false;
}

void node_heap_close(Node_Place *)
{
}

void node_heap_free(void *)
{
}

void node_heap_free_some(uintptr_t, unsigned int)
{
}

#endif

// A place that a test watches is never opened, so that each of its blocks comes by here.
void *node_heap_take_slowly(Node_Place *place, size_t bytes, Node_Block_Head head)
{
    if (frame_is_refused())
        return nullptr;
    if (frame_refuse_allocation == nullptr && has_room(place, head + bytes + 8))
        return node_heap_take(place, bytes, head);
    return malloc(bytes > 0 ? bytes : 1);
}
