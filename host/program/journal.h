// The journal of a run: a file with a line of JSON for each file that was worked on, by which a run that was stopped
// goes on where it was. The first line says what the run is:
//
//     {"journal":"velmora","version":1,"command":"convert","options":["--syntax=implicit"],"output":"out",...}
//     {"path":"in/a.dcm","status":"done","output":"out/a.dcm","size":1504,"mtime":"1700000000.123456789",
//      "elements":21,"counts":{},"seconds":0.0004}
//
// status is done, found (as of the exit status), skipped (no data set, and it need not be one) or failed, with a
// message. A path that is no UTF-8 has its bytes in hexadecimal besides, under path_bytes. Each line is written at once
// when its file is done, that is when its result is on the disk or was printed, in the order in which that happens. Of
// several lines about a file the last one counts.
#ifndef VELMORA_PROGRAM_JOURNAL_H
#define VELMORA_PROGRAM_JOURNAL_H

#include <string>

#include "host/program/inputs.h"
#include "host/program/tally.h"

struct Journal;

// What a run is: a journal of another one is not gone on with.
struct Journal_Head {
    const char *command;
    std::string output;          // where all results go; empty: nowhere, or in place
    const char *const *counts;   // names for Tally::own; ended by a null
    bool writes_files;           // an output that has gone is made again
};

// Opens a journal. Null: that cannot be, which was said.
//   resumed  it may be there already, and was begun by the same command with the same options
//   status   gets the exit status: wrong use where the journal is another one, unreadable where the system refuses it
Journal *open_journal(const std::string &path, bool resumed, const Journal_Head &head, int *status);

// Whether the journal says that a file is done and has not changed since; result gets what it came to. The state of the
// input is noted in it for the line that comes later.
bool is_in_journal(Journal *journal, Input *input, File_Result *result);

// Writes the line of a file.
void write_to_journal(Journal *journal, const Input &input, const File_Result &result);

// In a worker process, which does not write it: the lock goes with the program alone.
void leave_journal(Journal *journal);

// Returns STATUS_UNREADABLE when a line could not be written, which was said.
int close_journal(Journal *journal);

#endif
