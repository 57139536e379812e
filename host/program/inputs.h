// The files that a command works on: from its arguments, from lists, from folders.
#ifndef VELMORA_PROGRAM_INPUTS_H
#define VELMORA_PROGRAM_INPUTS_H

#include <stdint.h>
#include <string>
#include <vector>

struct Input {
    std::string path;
    std::string inside;         // the path below the folder that was walked or named as the base; else its last part
    bool from_folder = false;   // found on a walk: no error if it is no data set
    std::string output = {};    // where the result goes, as it was planned
    std::string refusal = {};   // why it is not worked on, as was found when it was planned
    int64_t size = -1;          // as the journal knows it; -1: there is no journal, or no such file
    std::string mtime = {};
    size_t number = 0;   // in the order of the run, from 1
};

// Looks at a file in the order of the files and before any work: says where its result goes, or why there is none.
typedef void (*Plan_Fct)(Input *input, void *user);

struct Input_Choice {
    std::vector<std::string> paths;   // files, folders, "-" for standard input
    std::vector<std::string> lists;   // files that hold paths, "-" for standard input
    bool zero_between = false;        // the paths of a list end with zero bytes instead of line feeds
    std::string base;                 // files keep their place below this folder; empty: below the one that is walked
    std::string skipped;              // a folder that walks leave out, since results go there; empty: none
    bool leaves_backups = false;      // walks leave out NAME.bak where there is NAME
    Plan_Fct plan = nullptr;          // null: nothing to plan
    void *planner = nullptr;          // its user
};

// Whether there may be more than one file.
bool has_several(const Input_Choice &choice);

// Calls work for each file in turn, those of a folder in the order of their names, links to folders left alone. What
// cannot be opened is told. work returns an exit status; the highest one is the result.
typedef int (*Input_Fct)(Input *input, void *user);
int for_each_input(const Input_Choice &choice, Input_Fct work, void *user);

#endif
