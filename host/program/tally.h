// What a file, or all of them, came to.
#ifndef VELMORA_PROGRAM_TALLY_H
#define VELMORA_PROGRAM_TALLY_H

#include <stdint.h>
#include <string>

struct Tally {
    int64_t files = 0;      // worked on, the next two among them
    int64_t failed = 0;     // the status was STATUS_UNREADABLE
    int64_t skipped = 0;    // files of folders that are no data sets
    int64_t elements = 0;   // as load_input counts them
    int64_t own[4] = {};    // the command's
};

// One file.
struct File_Result {
    int status = 0;
    Tally tally;
    double seconds = 0;
    std::string message;   // the last that was said about it, if it failed
};

#endif
