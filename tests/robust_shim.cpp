// Stands between a program and the system, as LD_PRELOAD, and makes some calls fail. VELMORA_FAULTS tells which, as
// CALL:WHAT:FROM, split by commas: from the n-th call of that kind on, WHAT happens. WHAT is "short" (a part of the bytes
// is moved), EINTR (every second time), or another error. "shrink:PATH:FROM" makes a file shorter, once, as soon as n
// mappings of files have been made; for n of 0, as soon as something is written to standard output. Only calls on files
// of /tmp, on standard output and on sockets are touched.
// The calls stand here under both of their names, for files of less than 2 GiB and of any size.
#undef _FILE_OFFSET_BITS
#include <dlfcn.h>
#include <errno.h>
#include <fcntl.h>
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/mman.h>
#include <sys/types.h>
#include <unistd.h>

static const struct {
    const char *name;
    int code;
} ERRORS[] = {
    {"EINTR",  EINTR }, {"EIO",    EIO   }, {"ENOSPC", ENOSPC}, {"EACCES", EACCES},
    {"EMFILE", EMFILE}, {"EDQUOT", EDQUOT}, {"short",  0     },
};

template <class Function> static Function *real(const char *name)
{
    return reinterpret_cast<Function *>(dlsym(RTLD_NEXT, name));
}

static bool is_of_the_test(int file)
{
    char link[32], path[512];
    snprintf(link, sizeof link, "/proc/self/fd/%d", file);
    ssize_t length = readlink(link, path, sizeof path - 1);
    path[length > 0 ? length : 0] = '\0';
    return file == STDOUT_FILENO || strncmp(path, "/tmp/", 5) == 0 || strncmp(path, "socket:", 7) == 0;
}

// What is told for a call: -1 nothing, 0 a short one, else an error.
static int fault_of(const char *call, int *calls)
{
    const char *told = getenv("VELMORA_FAULTS");
    char name[32], what[32];
    int from = 0;
    for (const char *at = told; at != nullptr; at = strchr(at, ',') != nullptr ? strchr(at, ',') + 1 : nullptr) {
        if (sscanf(at, "%31[^:]:%31[^:]:%d", name, what, &from) != 3 || strcmp(name, call) != 0)
            continue;
        int number = ++*calls;
        for (const auto &error : ERRORS)
            if (strcmp(error.name, what) == 0 && number >= from && (error.code != EINTR || number % 2 == 1))
                return error.code;
    }
    return -1;
}

extern "C" ssize_t read(int file, void *bytes, size_t count)
{
    static int calls = 0;
    int fault = is_of_the_test(file) ? fault_of("read", &calls) : -1;
    if (fault > 0) {
        errno = fault;
        return -1;
    }
    return real<ssize_t(int, void *, size_t)>("read")(file, bytes, fault == 0 && count > 7 ? count / 2 : count);
}

// The file that is to be made shorter, or null.
static const char *file_to_shrink(int *from)
{
    static char path[300];
    const char *told = getenv("VELMORA_FAULTS");
    return told != nullptr && sscanf(told, "shrink:%299[^:]:%d", path, from) == 2 ? path : nullptr;
}

extern "C" ssize_t write(int file, const void *bytes, size_t count)
{
    static int calls = 0, from = 0;
    const char *shrinks = file == STDOUT_FILENO ? file_to_shrink(&from) : nullptr;
    if (shrinks != nullptr && from == 0 && truncate(shrinks, 8192) != 0)
        abort();
    int fault = is_of_the_test(file) ? fault_of("write", &calls) : -1;
    if (fault > 0) {
        errno = fault;
        return -1;
    }
    return real<ssize_t(int, const void *, size_t)>("write")(file, bytes, fault == 0 && count > 7 ? count / 2 : count);
}

static int open_as(const char *name, const char *path, int flags, unsigned int mode)
{
    static int calls = 0;
    int fault = strncmp(path, "/tmp/", 5) == 0 ? fault_of("open", &calls) : -1;
    if (fault > 0) {
        errno = fault;
        return -1;
    }
    return real<int(const char *, int, ...)>(name)(path, flags, mode);
}

extern "C" int open(const char *path, int flags, ...)
{
    va_list more;
    va_start(more, flags);
    unsigned int mode = va_arg(more, unsigned int);
    va_end(more);
    return open_as("open", path, flags, mode);
}

extern "C" int open64(const char *path, int flags, ...)
{
    va_list more;
    va_start(more, flags);
    unsigned int mode = va_arg(more, unsigned int);
    va_end(more);
    return open_as("open64", path, flags, mode);
}

extern "C" int fsync(int file)
{
    static int calls = 0;
    int fault = fault_of("fsync", &calls);
    errno = fault;
    return fault > 0 ? -1 : real<int(int)>("fsync")(file);
}

// The descriptor is gone even where the call fails.
extern "C" int close(int file)
{
    static int calls = 0;
    bool is_written = (fcntl(file, F_GETFL) & O_ACCMODE) == O_WRONLY && is_of_the_test(file);
    int fault = is_written ? fault_of("close", &calls) : -1;
    int result = real<int(int)>("close")(file);
    if (fault <= 0)
        return result;
    errno = fault;
    return -1;
}

extern "C" int rename(const char *from, const char *to)
{
    static int calls = 0;
    int fault = fault_of("rename", &calls);
    errno = fault;
    return fault > 0 ? -1 : real<int(const char *, const char *)>("rename")(from, to);
}

static void shrink_behind_mapping(int file)
{
    static int calls = 0;
    int from = 0;
    const char *shrinks = file >= 0 ? file_to_shrink(&from) : nullptr;
    if (shrinks != nullptr && ++calls == from && truncate(shrinks, 8192) != 0)
        abort();
}

extern "C" void *mmap(void *at, size_t size, int rights, int flags, int file, off_t offset)
{
    void *room = real<void *(void *, size_t, int, int, int, off_t)>("mmap")(at, size, rights, flags, file, offset);
    shrink_behind_mapping(file);
    return room;
}

extern "C" void *mmap64(void *at, size_t size, int rights, int flags, int file, off64_t offset)
{
    void *room = real<void *(void *, size_t, int, int, int, off64_t)>("mmap64")(at, size, rights, flags, file, offset);
    shrink_behind_mapping(file);
    return room;
}
