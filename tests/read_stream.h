// One stream of bytes as each of the two kinds of source.
#ifndef VELMORA_TESTS_READ_STREAM_H
#define VELMORA_TESTS_READ_STREAM_H

#include <gtest/gtest.h>
#include <stdlib.h>
#include <unistd.h>
#include <string>
#include <vector>

#include "read/read_internal.h"
#include "tests/support/bytes.h"

enum Kind { IN_MEMORY = 0, IN_FILE = SOURCE_FILE };

struct Stream {
    Stream(Kind source_kind, const Bytes &stream_bytes) : kind(source_kind), bytes(stream_bytes)
    {
        if (kind == IN_MEMORY) {
            memory.assign(bytes.begin(), bytes.end());   // without the terminator of a string, so that no read passes
            memory.shrink_to_fit();
            return;
        }
        descriptor = mkstemp(path);
        if (write(descriptor, bytes.data(), bytes.size()) != static_cast<ssize_t>(bytes.size()))
            abort();
        lseek(descriptor, 0, SEEK_SET);
    }
    ~Stream()
    {
        if (kind == IN_MEMORY)
            return;
        close(descriptor);
        unlink(path);
    }
    Stream(const Stream &) = delete;

    intptr_t handle()
    {
        return kind == IN_FILE ? descriptor : reinterpret_cast<intptr_t>(&cursor);
    }
    const char *name() const
    {
        return kind == IN_FILE ? path : memory.data();
    }
    long position() const
    {
        return kind == IN_FILE ? static_cast<long>(lseek(descriptor, 0, SEEK_CUR)) : cursor;
    }
    int size() const
    {
        return static_cast<int>(bytes.size());
    }

    const Kind kind;
    Bytes bytes;
    std::vector<char> memory;
    int cursor = 0, descriptor = -1;
    char path[32] = "/tmp/velmora_read_XXXXXX";
};

// Tests that run once for each kind.
class OfEachKind : public testing::TestWithParam<Kind> {};
#define EACH_KIND testing::Values(IN_MEMORY, IN_FILE)
inline std::string kind_name(const testing::TestParamInfo<Kind> &kind)
{
    return kind.param == IN_FILE ? "File" : "Memory";
}

#endif
