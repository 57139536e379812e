// The element reader, from memory and from a file: both read the same headers and the same values from the same bytes.
#include <sys/mman.h>
#include <unistd.h>
#include <vector>

#include "fuzz/data_set_input.h"

static const int SMALLEST_LIMIT = 12;   // a smaller one is no size of a source
static const int MOST_ELEMENTS = 4096;
static const int NOT_SET = -2;   // a delimiter whose length field is not whole: a part of it may have been read

// What one call gave, and where the next byte is.
struct Step {
    int result, length;
    unsigned short group, element, vr;
    long position;
    std::string value;
};

struct Stream {
    int source;
    intptr_t handle;
    const char *name;
    int size;
    unsigned char mode;
};

static long position_of(const Stream &stream)
{
    return stream.source == 1 ? lseek(static_cast<int>(stream.handle), 0, SEEK_CUR)
                              : *reinterpret_cast<int *>(stream.handle);
}

static std::string take(char *block, int size)
{
    std::string value(block != nullptr ? block : "", block != nullptr ? static_cast<size_t>(size) : 0);
    free(block);
    return value;
}

// Reads a value in the manner that its tag's last digit chooses.
static std::string read_value(const Stream &s, int length, int manner)
{
    char format = static_cast<char>(s.mode & 3), number[8] = {};
    switch (manner) {
    case 0:
        NEMA_Skip(nullptr, s.source, s.handle, s.name, length);
        return "";
    case 1:
        return take(NEMA_Read_Str(nullptr, s.source, s.handle, s.name, format, length), length);
    case 2:
        if (length == 2)
            NEMA_Read_UShort(nullptr, s.source, s.handle, s.name, format, 2, reinterpret_cast<unsigned short *>(number));
        else if (length == 4)
            NEMA_Read_UInt(nullptr, s.source, s.handle, s.name, format, 4, reinterpret_cast<unsigned int *>(number));
        else if (length == 8)
            NEMA_Read_Double(nullptr, s.source, s.handle, s.name, format, 8, reinterpret_cast<double *>(number));
        else
            NEMA_Skip(nullptr, s.source, s.handle, s.name, length);
        return std::string(number, sizeof number);
    default:
        return take(NEMA_Read_Buffer(nullptr, s.source, s.handle, s.name, format, length), length);
    }
}

static std::vector<Step> read_all(const Stream &s, int limit)
{
    std::vector<Step> steps;
    while (steps.size() < MOST_ELEMENTS) {
        Step step = {};
        step.length = NOT_SET;
        step.result = NEMA_Get_Data_Element(nullptr, s.source, s.handle, s.name, s.mode, &step.group, &step.element,
                                            &step.vr, &step.length, limit);
        if (step.result == 0) {
            steps.push_back(Step());   // the rest is not defined
            break;
        }
        long before = step.position = position_of(s);
        bool is_open = step.group == GROUP_ITEM || step.vr == VR_SQ || step.length < 0;
        // Memory has no end that a read of a value could know, so both are kept inside it.
        if (!is_open && step.length > s.size - before) {
            steps.push_back(step);
            break;
        }
        if (!is_open)
            step.value = read_value(s, step.length, step.element & 3);
        steps.push_back(step);
        HOLDS(position_of(s) >= before);
    }
    return steps;
}

static bool is_same(const Step &a, const Step &b)
{
    return a.result == b.result && a.length == b.length && a.group == b.group && a.element == b.element &&
           a.vr == b.vr && a.value == b.value && (a.position == b.position || a.length == NOT_SET);
}

static std::string told(const char *where, const Step &step)
{
    char text[200];
    snprintf(text, sizeof text, "%s: result %d, tag %04x,%04x, VR %04x, length %d, then at %ld, value of %zu bytes", where,
             step.result, step.group, step.element, step.vr, step.length, step.position, step.value.size());
    return text;
}

// A file may also be asked for more than it has, and told no size. Blocks are made as large as they are asked for.
static void read_whole_file(int file, unsigned char mode)
{
    static const int LARGEST_BLOCK = 1 << 20;
    lseek(file, 0, SEEK_SET);
    unsigned short group, element, vr;
    int length = 0;
    for (int i = 0; i < MOST_ELEMENTS; i++) {
        int result = NEMA_Get_Data_Element(nullptr, 1, file, "file", mode, &group, &element, &vr, &length, 0);
        if (result == 0)
            return;
        if (group == GROUP_ITEM || vr == VR_SQ || length < 0)
            continue;
        if (length > LARGEST_BLOCK && NEMA_Skip(nullptr, 1, file, "file", length))
            continue;
        char *block = NEMA_Read_Buffer(nullptr, 1, file, "file", static_cast<char>(mode), length);
        free(block);
        if (block == nullptr)
            return;
    }
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *bytes, size_t size)
{
    Input input(bytes, size);
    uint8_t limits = input.byte(), choice = input.byte();
    static const unsigned char modes[] = {8, 0, 9, 1, 0x18, 0x10, 0x38, 0x30, 0x19, 0x39, 3, 2, 11, 10, 0x11, 0x31};
    unsigned char mode = modes[(choice & 7) | (limits & 8)];
    Fresh_Library library(wants_traces(choice));
    Block block(input.rest());
    if (block.size < SMALLEST_LIMIT)
        return 0;
    int limit = (limits & 1) != 0 && limits >= SMALLEST_LIMIT && limits < block.size ? limits : block.size;
    int file = memfd_create("stream", 0), cursor = 0;
    HOLDS(file >= 0 && write(file, block.data, static_cast<size_t>(block.size)) == block.size);

    std::vector<Step> in_memory =
        read_all({0, reinterpret_cast<intptr_t>(&cursor), block.data, limit, mode}, limit);
    lseek(file, 0, SEEK_SET);
    HOLDS(ftruncate(file, limit) == 0);
    std::vector<Step> in_file = read_all({1, file, "file", limit, mode}, limit);
    HOLDS(in_memory.size() == in_file.size());
    for (size_t i = 0; i < in_memory.size(); i++)
        if (!is_same(in_memory[i], in_file[i]))
            fail("%s\n%s", told("memory", in_memory[i]).c_str(), told("file", in_file[i]).c_str());
    read_whole_file(file, mode);
    close(file);
    return 0;
}
