// Times and memory of one library's work on one input.
#ifndef VELMORA_PEERS_MEASURES_H
#define VELMORA_PEERS_MEASURES_H

#include <vector>

#include "bench/peers/peer_inputs.h"

// A tree that was just loaded is first brought into the form for writing, where a library has one.
enum Work { WORK_LOAD, WORK_WALK, WORK_DUMP, WORK_WRITE, WORK_WRITE_AGAIN, WORK_RELEASE, WORKS };
extern const char *const work_names[WORKS];

struct Times {
    double seconds[WORKS];   // of the processor
    int64_t elements;
};

// Goes through an input once, as many times as it says, all the work on a file before the next.
Times measure(const Library &library, const Input &input);

struct Memory {
    double live;   // bytes of a loaded set that the process holds, beside what it held before
    double peak;   // the most while it was loaded
    double elements;
};

// Loads the first file of an input in a process of its own and looks at its pages. Both are -1 where the system does
// not tell them.
Memory measure_memory(const Library &library, const Input &input);

// Whether a library gets through all the work on a file, in a process of its own and in a few seconds.
bool can_work_on(const Library &library, const Input_File &file);

#endif
