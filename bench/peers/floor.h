// What no program can do without: the least that an input takes.
#ifndef VELMORA_PEERS_FLOOR_H
#define VELMORA_PEERS_FLOOR_H

#include "bench/peers/library.h"

struct Floor {
    double headers;   // seconds of a bare loop over the element headers
    double values;    // the same, with each value copied behind the one before it
    double text;      // as many bytes as the dump has, written to a file in memory from one buffer
    int64_t elements;
};

// Of bytes in explicit VR little endian with a head of preamble and group 0002.
//   text_bytes  of the dump
//   folder      for the file
Floor measure_floor(const Input_File &file, int64_t text_bytes, const char *folder);

#endif
