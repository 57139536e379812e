// What the harnesses share: an input that is taken apart from its front, reports that are formatted but not shown, and
// a library that is put back to how a process finds it.
#ifndef VELMORA_FUZZ_SUPPORT_H
#define VELMORA_FUZZ_SUPPORT_H

#include <stddef.h>
#include <stdint.h>
#include <string>

#include "tree/DICOM_Constants.h"
#include "tree/Velmora_DICOM.h"

// ---- the input ------------------------------------------------------------------------

// The bytes of one run. What is taken from an empty input is zero or empty.
struct Input {
    Input(const uint8_t *bytes, size_t size) : at(bytes), left(size) {}

    uint8_t byte()
    {
        if (left == 0)
            return 0;
        left--;
        return *at++;
    }
    uint16_t word()
    {
        uint16_t high = byte();
        return static_cast<uint16_t>(high << 8 | byte());
    }
    uint32_t number()
    {
        uint32_t high = word();
        return high << 16 | word();
    }
    unsigned int below(unsigned int limit) { return byte() % limit; }

    std::string bytes(size_t most)
    {
        size_t count = most < left ? most : left;
        std::string taken(reinterpret_cast<const char *>(at), count);
        at += count;
        left -= count;
        return taken;
    }
    std::string piece() { return bytes(byte()); }   // its length comes first
    std::string rest() { return bytes(left); }

    const uint8_t *at;
    size_t left;
};

// Bytes in a heap block of just their size, so that a read past their end is found out.
struct Block {
    explicit Block(const std::string &bytes);
    ~Block();
    Block(const Block &) = delete;
    char *release();   // the block is the caller's from now on

    char *data;   // never null
    int size;
};

// A text is cut at its first zero byte, as an argument of a program is.
inline std::string as_text(const std::string &bytes)
{
    return bytes.substr(0, bytes.find('\0'));
}

// ---- the library ----------------------------------------------------------------------

// The library during one run. Every report is formatted and read to its end; with VELMORA_FUZZ_SHOW in the environment
// it is shown as well.
//   traces  those of the levels above 10 as well
struct Fresh_Library {
    explicit Fresh_Library(bool traces);
    ~Fresh_Library();
    Fresh_Library(const Fresh_Library &) = delete;
};

// A finding that no sanitizer sees: says what is wrong and ends the process as a crash does.
[[noreturn]] void fail(const char *format, ...) __attribute__((format(printf, 1, 2)));

#define HOLDS(condition)                                                   \
    do {                                                                   \
        if (!(condition))                                                  \
            fail("%s:%d: does not hold: %s", __FILE__, __LINE__, #condition); \
    } while (0)

// ---- files ----------------------------------------------------------------------------

// A folder of this process in memory where the system has that. It goes away with the process.
const std::string &scratch_folder();   // ends with its separator
void write_scratch(const std::string &name, const std::string &text);
void drop_scratch(const std::string &name);

// ---- trees ----------------------------------------------------------------------------

void free_tree(DICOM_List *head);

// Ends the process if a tree is not what the library promises: chains whose heads know their last node or none, depths
// that count up, values of as many bytes as they say.
void check_tree(const DICOM_List *head);

#endif
