// Data sets loaded by the host library, as texts to compare.
#ifndef VELMORA_TESTS_HOST_LISTING_H
#define VELMORA_TESTS_HOST_LISTING_H

#include <string>
#include <vector>

#include "host/velmora_host.h"
#include "tests/support/bytes.h"
#include "tests/support/reports.h"

// A load from memory of exactly the size of the bytes, with what was reported.
struct Loaded {
    explicit Loaded(const Bytes &bytes, unsigned char mode = velmora_host::MODE_UNKNOWN,
                    velmora_host::Load_Options options = {});
    ~Loaded();
    Loaded(const Loaded &) = delete;

    velmora_host::Load_Result result;
    std::string error;
    velmora_host::Data_Set set;
    std::vector<std::string> said;   // warnings without their colours: "offset path: text"

    // One line for each element that is listed: "2 0008,0005 LO 10 @24", indented by two blanks for each depth; items
    // as "item 1".
    std::string listing() const;

    // The tree: "0008,0005 LO [value]" and so on, items and delimiters left out, indented by two blanks for each depth.
    std::string tree() const;

    std::string warnings() const;   // a line each

  private:
    char *block;
};

#endif
