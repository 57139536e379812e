// Work on many files: one after the other or in worker processes, past bad files, with a word at the end.
//
// A command gives a function that works on one file. It writes its results with write_out and its messages with
// complain and the like; both come out in the order of the files, whoever did the work. What it counts, it counts in
// the tally: a worker process shares no variable with the program.
#ifndef VELMORA_PROGRAM_MANY_H
#define VELMORA_PROGRAM_MANY_H

#include <string>

#include "host/program/command.h"
#include "host/program/inputs.h"
#include "host/program/tally.h"
#include "host/velmora_host.h"

// What a command asks the journal to keep of its own.
struct Journal_Choice {
    std::string path;                      // empty: there is none
    bool is_resumed = false;               // it may be there already
    std::string output;                    // where all results go; empty: nowhere, or in place
    const char *const *counts = nullptr;   // names for Tally::own; ended by a null
    bool writes_files = false;             // what has gone since is made again
};

struct Many_Choice {
    Input_Choice inputs;
    int jobs = 1;   // processes that work
    Journal_Choice journal;
    bool print_stats = false;   // tell time, elements and memory at the end
};

// Gives an exit status, STATUS_SKIPPED among them.
typedef int (*File_Fct)(const Input &input, Tally *tally, void *user);

// Calls work for each file and sums up the tallies, and those of files that the journal says are done. At the end it
// says how many files failed or are no data sets.
// Returns the highest exit status.
int work_on_files(const Command &command, const Many_Choice &choice, File_Fct work, void *user, Tally *total);

// "standard input" for "-", and quotes for nothing.
std::string name_of(const Input &input);

// Loads a file, with its messages. Unless the result is STATUS_DONE there is nothing to work on, and that was said.
int load_input(const Input &input, const velmora_host::Load_Options &options, velmora_host::Data_Set *set,
               Tally *tally);

// To be called when the work on a loaded file is done. Returns the status; STATUS_UNREADABLE, which was said, when the
// file was made shorter meanwhile.
int finish_input(const Input &input, const velmora_host::Data_Set &set, int status);

// ---- options --------------------------------------------------------------------------

extern const Option_Table many_options;
extern const Option_Table journal_options;   // besides, of commands that keep a journal

// Takes an option of these tables. Returns OPTION_OTHER when it is none of these.
int take_many_option(const Command &command, const Option &option, Many_Choice *choice);

// Takes the arguments behind the options as paths. Returns STATUS_WRONG_USE, which was said, when there are none.
int take_paths(const Command &command, int argc, char **argv, Many_Choice *choice);

#endif
