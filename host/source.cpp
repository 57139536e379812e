// Bytes of a stream: a file that is read or mapped, or standard input. A mapped file may be made shorter by somebody
// else at any time; touching what is gone raises SIGBUS. The handler here puts zero pages there and remembers it.
#include "host/host_internal.h"

#include <errno.h>
#include <fcntl.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>
#include <atomic>
#include <new>

namespace velmora_host
{

static const int64_t MAP_FROM = 256 * 1024;   // a smaller file is read faster than it is mapped
static const size_t FIRST_READ = 64 * 1024;   // of a stream that does not tell its size

// ---- mappings that survive ------------------------------------------------------------

struct Mapping {
    std::atomic<uintptr_t> start;   // 0: the slot is free
    size_t bytes;
    std::atomic<int64_t> missing;   // offset of the first page that was not there; -1: all were
};

static const int MAPPINGS = 64;
static Mapping mappings[MAPPINGS];   // static: a signal handler reaches nothing else
static struct sigaction older_action;

static uintptr_t page_size()
{
    static const uintptr_t size = static_cast<uintptr_t>(sysconf(_SC_PAGESIZE));
    return size;
}

// Zero pages from the missing one to the end of the mapping. Whatever else is on the bus goes to the older handler.
static void mend_mapping(int, siginfo_t *info, void *)
{
    int error = errno;
    uintptr_t address = reinterpret_cast<uintptr_t>(info->si_addr);
    for (Mapping &mapping : mappings) {
        uintptr_t start = mapping.start.load();
        if (start == 0 || address < start || address - start >= mapping.bytes)
            continue;
        uintptr_t page = address & ~(page_size() - 1);
        size_t left = mapping.bytes - (page - start);
        if (mmap(reinterpret_cast<void *>(page), left, PROT_READ, MAP_PRIVATE | MAP_ANONYMOUS | MAP_FIXED, -1, 0) ==
            MAP_FAILED)
            break;
        int64_t offset = static_cast<int64_t>(page - start), known = mapping.missing.load();
        while ((known < 0 || offset < known) && !mapping.missing.compare_exchange_weak(known, offset))
            continue;
        errno = error;
        return;
    }
    sigaction(SIGBUS, &older_action, nullptr);
    errno = error;
}

static bool set_handler()
{
    struct sigaction action = {};
    action.sa_sigaction = mend_mapping;
    action.sa_flags = SA_SIGINFO | SA_NODEFER;
    sigemptyset(&action.sa_mask);
    return sigaction(SIGBUS, &action, &older_action) == 0;
}

// Once, and before any of several threads goes on.
static void stand_by()
{
    static const bool stands = set_handler();
    static_cast<void>(stands);
}

static int take_slot(const void *start, size_t bytes)
{
    stand_by();
    for (int i = 0; i < MAPPINGS; i++) {
        uintptr_t free_slot = 0;
        // The size is written before anybody can touch the pages, so the handler never sees an old one.
        if (mappings[i].start.compare_exchange_strong(free_slot, 1)) {
            mappings[i].bytes = bytes;
            mappings[i].missing.store(-1);
            mappings[i].start.store(reinterpret_cast<uintptr_t>(start));
            return i;
        }
    }
    return -1;
}

// ---- ways to the bytes ----------------------------------------------------------------

char *make_heap_source(Source *source, int size)
{
    char *block = static_cast<char *>(malloc(static_cast<size_t>(size) + GUARD_BYTES));
    if (block == nullptr)
        throw std::bad_alloc();
    memset(block + size, 0, GUARD_BYTES);
    source->bytes = block;
    source->size = size;
    source->kind = SOURCE_HEAP;
    return block;
}

// The rest of a file's last page is zero: mostly it has room for the guard bytes. Where it has not, the mapping becomes
// one page longer.
static void *map_pages(int file, size_t size, size_t *mapped)
{
    size_t page = page_size(), last = size % page;
    bool has_guard = last != 0 && page - last >= GUARD_BYTES;
    *mapped = (size + page - 1) / page * page + (has_guard ? 0 : page);
    if (has_guard)
        return mmap(nullptr, size, PROT_READ, MAP_PRIVATE, file, 0);
    void *room = mmap(nullptr, *mapped, PROT_READ, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (room != MAP_FAILED && mmap(room, size, PROT_READ, MAP_PRIVATE | MAP_FIXED, file, 0) == MAP_FAILED) {
        munmap(room, *mapped);
        return MAP_FAILED;
    }
    return room;
}

static bool map_file(int file, int size, Source *source)
{
    size_t mapped = 0;
    void *room = map_pages(file, static_cast<size_t>(size), &mapped);
    if (room == MAP_FAILED)
        return false;
    int slot = take_slot(room, mapped);
    if (slot < 0) {
        munmap(room, mapped);
        return false;
    }
    source->bytes = static_cast<const char *>(room);
    source->size = size;
    source->kind = SOURCE_MAPPED;
    source->mapped_bytes = mapped;
    source->map_slot = slot;
    source->file = file > STDERR_FILENO ? file : fcntl(file, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
    return true;
}

static const char TOO_LARGE[] = "is larger than 2147483647 bytes (2 GiB - 1), the most that can be read";

// Reads to the end, whatever size was told: a pipe tells none, and a file may grow or shrink meanwhile.
static bool read_file(int file, int64_t told, Source *source, std::string *error)
{
    size_t room = told > 0 ? static_cast<size_t>(told) + 1 : FIRST_READ, held = 0;
    char *block = static_cast<char *>(malloc(room + GUARD_BYTES));
    while (block != nullptr) {
        ssize_t got = read(file, block + held, room - held);
        if (got < 0 && errno == EINTR)
            continue;
        if (got < 0) {
            *error = std::string("cannot be read: ") + strerror(errno);
            free(block);
            return false;
        }
        held += static_cast<size_t>(got);
        // Room for one byte more was left empty: that was the end of a file that has the size it told.
        if (got == 0 || (told > 0 && held == static_cast<size_t>(told)))
            break;
        if (held > static_cast<size_t>(LARGEST_SOURCE)) {
            *error = TOO_LARGE;
            free(block);
            return false;
        }
        if (held == room) {
            room *= 2;
            char *larger = static_cast<char *>(realloc(block, room + GUARD_BYTES));
            if (larger == nullptr)
                free(block);
            block = larger;
        }
    }
    if (block == nullptr) {
        *error = "not enough memory to read it";
        return false;
    }
    memset(block + held, 0, GUARD_BYTES);
    source->bytes = block;
    source->size = static_cast<int>(held);
    source->kind = SOURCE_HEAP;
    return true;
}

static bool take_file(int file, Source *source, std::string *error)
{
    struct stat state;
    if (fstat(file, &state) != 0) {
        *error = std::string("cannot be read: ") + strerror(errno);
        return false;
    }
    if (S_ISDIR(state.st_mode)) {
        *error = "is a folder, not a file";
        return false;
    }
    if (!S_ISREG(state.st_mode))
        return read_file(file, 0, source, error);
    if (state.st_size > LARGEST_SOURCE) {
        *error = std::string(TOO_LARGE) + ": " + std::to_string(state.st_size) + " bytes";
        return false;
    }
    // Standard input may stand anywhere in its file, which a mapping does not know.
    if (state.st_size >= MAP_FROM && lseek(file, 0, SEEK_CUR) == 0 &&
        map_file(file, static_cast<int>(state.st_size), source))
        return true;
    return read_file(file, state.st_size, source, error);
}

bool open_source(const char *path, Source *source, std::string *error)
{
    *source = Source();
    if (strcmp(path, "-") == 0)
        return take_file(STDIN_FILENO, source, error);
    int file = open(path, O_RDONLY | O_CLOEXEC);
    if (file < 0) {
        *error = errno == ENOENT ? "no such file or folder" : std::string("cannot be opened: ") + strerror(errno);
        return false;
    }
    bool taken = take_file(file, source, error);
    if (source->file != file)
        close(file);
    return taken;
}

void close_source(Source *source)
{
    if (source->kind == SOURCE_HEAP)
        free(const_cast<char *>(source->bytes));
    if (source->kind == SOURCE_MAPPED) {
        mappings[source->map_slot].start.store(0);
        munmap(const_cast<char *>(source->bytes), source->mapped_bytes);
        if (source->file >= 0)
            close(source->file);
    }
    *source = Source();
}

void let_pages_go(const Source &source, int from, int to)
{
    uintptr_t start = reinterpret_cast<uintptr_t>(source.bytes) + static_cast<uintptr_t>(from);
    uintptr_t first = (start + page_size() - 1) & ~(page_size() - 1);
    uintptr_t last = (start + static_cast<uintptr_t>(to - from)) & ~(page_size() - 1);
    if (source.kind == SOURCE_MAPPED && first < last)
        madvise(reinterpret_cast<void *>(first), last - first, MADV_DONTNEED);
}

int64_t missing_from(const Source &source)
{
    return source.kind == SOURCE_MAPPED ? mappings[source.map_slot].missing.load() : -1;
}

}   // namespace velmora_host
