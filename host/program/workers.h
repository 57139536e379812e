// Worker processes: each takes one file at a time and sends back what came out of it. The library's cleanup and check
// work in static buffers, so that two of them cannot run in one process.
#ifndef VELMORA_PROGRAM_WORKERS_H
#define VELMORA_PROGRAM_WORKERS_H

#include "host/program/many.h"

// What the program does around the work of the others. All but the first are called in the program itself.
struct Pool_Calls {
    void (*begin_worker)(void *user);                                          // in each worker, at its start
    bool (*is_known)(Input *input, void *user);                                // it need not be worked on
    void (*note)(const Input &input, const File_Result &result, void *user);   // as soon as its result is there
    void (*take)(const File_Result &result, void *user);                       // in the order of the files
};

// Like for_each_input, the work being done by other processes. What they write comes out in the order of the files.
// A file whose process dies has failed; it is named, and the others go on.
int for_each_input_in_workers(const Many_Choice &choice, File_Fct work, void *user, const Pool_Calls &calls,
                              void *calls_user);

// Work on one file, its exceptions included.
void work_on_file(const Input &input, File_Fct work, void *user, File_Result *result);

#endif
