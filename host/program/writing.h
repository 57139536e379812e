// What the commands that write data sets share: their options, where the results go, and the way from load to save.
//
//     IN OUT          a file, or "-" for standard input; OUT is a file, a folder, or "-" for standard output
//     IN... OUT       into a folder, which is made; what is found in a folder keeps its place below it
//     --in-place IN   the file itself
#ifndef VELMORA_PROGRAM_WRITING_H
#define VELMORA_PROGRAM_WRITING_H

#include <set>
#include <string>

#include "host/program/many.h"
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
    bool keeps_old = false;        // in place, the old file stays as IN.bak
    bool takes_damaged = false;    // in place, of a file that could not be read in full as well
    Change_Fct change = nullptr;   // null: the data set is only written anew
    void *user = nullptr;

    // Filled in by run_writing.
    std::string out;
    bool into_folder = false;
    std::set<std::string> outputs;   // of this run
};

// The options of all of them, in the manner of those of many.h.
enum {
    OPTION_GROUP_LENGTH = 0x1100,
    OPTION_DEFINED_LENGTH,
    OPTION_NO_PRIVATE,
    OPTION_STANDARD_GROUPS,
    OPTION_IN_PLACE,
    OPTION_DRY_RUN,
    OPTION_AS_UN
};
#define WRITING_SHORTS MANY_SHORTS "s:v"
#define WRITING_LONGS                                                                                                  \
    {"syntax", required_argument, nullptr, 's'}, {"group-length", no_argument, nullptr, OPTION_GROUP_LENGTH},          \
        {"defined-length", no_argument, nullptr, OPTION_DEFINED_LENGTH},                                               \
        {"no-private", no_argument, nullptr, OPTION_NO_PRIVATE},                                                       \
        {"standard-groups", no_argument, nullptr, OPTION_STANDARD_GROUPS},                                             \
        {"in-place", no_argument, nullptr, OPTION_IN_PLACE}, {"dry-run", no_argument, nullptr, OPTION_DRY_RUN},        \
        {"as-un", no_argument, nullptr, OPTION_AS_UN}, {"verbose", no_argument, nullptr, 'v'}, MANY_LONGS
#define WRITING_HELP                                                                                                   \
    "  -s, --syntax FORM   encoding to write: implicit, explicit (both little endian) or big (explicit big endian)\n"  \
    "      --group-length  a length element in front of each group\n"                                                  \
    "      --defined-length  sequences and items with their lengths instead of delimiters\n"                           \
    "      --no-private    leave out private attributes, at all depths\n"                                              \
    "      --standard-groups  only the groups that the standard lists; those left out are named\n"                     \
    "      --as-un         write VRs that old readers do not know (OD OF OL OV SV UC UR UV) as UN\n"                   \
    "      --in-place      replace the file itself\n"                                                                  \
    "      --dry-run       do all but write\n" MANY_HELP "  -v, --verbose       remarks as well as warnings\n"         \
    "  -h, --help          this text\n"

// Takes one of these options. Returns false when the letter is another one.
//   status  gets STATUS_WRONG_USE, which was said, or stays
bool take_writing_option(int letter, Writing *writing, int *status);

// Takes the arguments behind the options, and does the work. Returns the exit status.
int run_writing(Writing *writing, int argc, char **argv, Tally *total);

#endif
