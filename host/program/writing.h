// What the commands that write data sets share: their options, where the results go, and the way from load to save.
//
//     IN OUT          a file, or "-" for standard input; OUT is a file, a folder, or "-" for standard output
//     IN... OUT       into a folder, which is made; what is found in a folder keeps its place below it
//     --in-place IN   the file itself
#ifndef VELMORA_PROGRAM_WRITING_H
#define VELMORA_PROGRAM_WRITING_H

#include <sys/types.h>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "host/program/many.h"
#include "host/program/name_set.h"
#include "host/velmora_save.h"

// What a change of a data set came to.
enum Change {
    CHANGED,
    NOTHING_CHANGED,   // in place, there is nothing to write
    CHANGE_FAILED,     // was said; counts as STATUS_UNREADABLE
};

// Changes a data set that was loaded and made editable; its own words go to standard output. It shares no variable with
// the program, but the tally.
//   name  of the file, for messages
//   save  how it will be saved; may be changed for this file
typedef Change (*Change_Fct)(velmora_host::Data_Set *set, const std::string &name, velmora_host::Save_Options *save,
                             Tally *tally, void *user);

struct Writing {
    const Command *command;
    Many_Choice many;
    velmora_host::Save_Options save;
    bool dry_run = false;
    bool shows_all = false;        // each line about what was done
    bool keeps_old = false;        // in place, the old file stays as IN.bak
    bool takes_damaged = false;    // in place, of a file that could not be read in full as well
    Change_Fct change = nullptr;   // null: the data set is only written anew
    void *user = nullptr;
    const char *const *counts = nullptr;   // names for Tally::own in the journal, ended by a null

    // Filled in by run_writing.
    std::string out;
    bool into_folder = false;
    bool is_target_open = false;                    // a dry run that was not told where to
    bool has_many_sources = false;                  // else no two results can have one name
    Name_Set outputs;                               // of this run
    std::set<std::pair<dev_t, ino_t>> files_read;   // of the command line
    std::vector<std::string> folders_read;          // that results could fall into; each ends with a slash
};

extern const Option_Table writing_options;

// Takes an option of that table, of many_options or of journal_options. Returns OPTION_OTHER when it is none of these.
int take_writing_option(const Option &option, Writing *writing);

// Takes the arguments behind the options, and does the work. Returns the exit status.
int run_writing(Writing *writing, int argc, char **argv, Tally *total);

#endif
