// Worker processes: each takes one file at a time and sends back what came out of it. The library's cleanup and check
// work in static buffers, so that two of them cannot run in one process.
#ifndef VELMORA_PROGRAM_WORKERS_H
#define VELMORA_PROGRAM_WORKERS_H

#include "host/program/many.h"

// Called in the program itself for each file that is done, in the order of the files.
typedef void (*Done_Fct)(int status, const Tally &tally, void *user);

// Like for_each_input, the work being done by other processes. What they write comes out in the order of the files.
// A file whose process dies has failed; it is named, and the others go on.
int for_each_input_in_workers(const Many_Choice &choice, File_Fct work, void *user, Done_Fct done, void *done_user);

// Work on one file, its exceptions included.
int work_on_file(const Input &input, File_Fct work, void *user, Tally *tally);

#endif
