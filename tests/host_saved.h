// Data sets that are loaded and saved again, as bytes to compare.
#ifndef VELMORA_TESTS_HOST_SAVED_H
#define VELMORA_TESTS_HOST_SAVED_H

#include <string>

#include "host/velmora_save.h"
#include "tests/host_listing.h"

struct Saved {
    bool done;
    Bytes bytes;   // the whole file
    Bytes body;    // behind its head
    std::string error;
    std::string warnings;
};

// Loads bytes and saves them to memory.
//   from  how they are encoded, MODE_UNKNOWN for a file with a head
Saved save(const Bytes &bytes, unsigned char from, const velmora_host::Save_Options &options);
Saved save_as(const Bytes &bytes, unsigned char from, unsigned char to);

// What stands behind the head of a file.
Bytes behind_head(const Bytes &file);

// A little-endian value in the byte order of a syntax.
Bytes in_order(const Bytes &value, int unit, int syntax);

#endif
