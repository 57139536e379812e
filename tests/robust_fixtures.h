// What the tests of robustness share: small data sets and definition files, their damaged forms, and the program run in
// this process.
#ifndef VELMORA_TESTS_ROBUST_FIXTURES_H
#define VELMORA_TESTS_ROBUST_FIXTURES_H

#include <stdio.h>
#include <string>
#include <vector>

#include "tests/host_runs.h"
#include "tests/support/bytes.h"
#include "tree/Velmora_DICOM.h"

struct Fixture {
    const char *name;
    Bytes bytes;
    int mode;        // the syntax byte of what stands behind the head
    size_t start;    // where that begins; the bytes in front are the head
};

// One data set of each kind: encodings, heads, nestings, pixel data.
std::vector<Fixture> small_data_sets();

// Sequences one in the other, in explicit VR little-endian, without a head.
Bytes nested(int levels, Ending ending);

// Calls work with the bytes cut after 0, 1, 2, ... of them, and with each byte from first on replaced by 0x00, 0x7F,
// 0x80 and 0xFF in turn. label tells which.
template <class Work>
void for_each_damage(const Bytes &bytes, size_t first, Work work)
{
    char label[64];
    for (size_t cut = 0; cut < bytes.size(); cut++) {
        snprintf(label, sizeof label, "cut after %zu", cut);
        work(bytes.substr(0, cut), label);
    }
    for (size_t at = first; at < bytes.size(); at++)
        for (int value : {0x00, 0x7F, 0x80, 0xFF}) {
            Bytes damaged = bytes;
            damaged[at] = static_cast<char>(value);
            snprintf(label, sizeof label, "%02x at %zu", static_cast<unsigned int>(value), at);
            if (damaged != bytes)
                work(damaged, label);
        }
}

// A folder for files that come and go by the thousand: in memory where the system has such a place.
struct Fast_Folder {
    Fast_Folder();
    ~Fast_Folder();
    Fast_Folder(const Fast_Folder &) = delete;
    std::string write(const std::string &name, const std::string &bytes) const;
    std::string path;
};

// Runs the program in this process: arguments behind its name. What would go to the two streams is taken.
Outcome run_here(const std::vector<std::string> &arguments);

// Whether a text holds nothing that could drive a terminal: printable characters, well-formed UTF-8, line feeds, tabs.
bool is_harmless(const std::string &text);

#endif
