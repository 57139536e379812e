// The files that a command works on: from its arguments, from lists, from folders.
#ifndef VELMORA_PROGRAM_INPUTS_H
#define VELMORA_PROGRAM_INPUTS_H

#include <string>
#include <vector>

struct Input {
    std::string path;
    std::string inside;   // the path below the folder that was walked; its last part where none was
    bool from_folder;     // found on a walk: no error if it is no data set
    std::string output = {};   // where the result goes, as it was planned
};

// Says where the result of a file goes, in the order of the files and before any work. The file is left out unless the
// result is STATUS_DONE.
typedef int (*Plan_Fct)(Input *input, void *user);

struct Input_Choice {
    std::vector<std::string> paths;   // files, folders, "-" for standard input
    std::vector<std::string> lists;   // files that hold paths, "-" for standard input
    bool zero_between = false;        // the paths of a list end with zero bytes instead of line feeds
    std::string skipped;              // a folder that walks leave out, since results go there; empty: none
    Plan_Fct plan = nullptr;          // null: nothing to plan
    void *planner = nullptr;          // its user
};

// Whether there may be more than one file.
bool has_several(const Input_Choice &choice);

// Calls work for each file in turn, those of a folder in the order of their names, links to folders left alone. What
// cannot be opened is told. work returns an exit status; the highest one is the result.
typedef int (*Input_Fct)(const Input &input, void *user);
int for_each_input(const Input_Choice &choice, Input_Fct work, void *user);

#endif
