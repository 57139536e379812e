// The repair of one data set, and the lines that say what was done.
#ifndef VELMORA_PROGRAM_REPAIR_TREE_H
#define VELMORA_PROGRAM_REPAIR_TREE_H

#include <string>

#include "host/program/folding.h"
#include "host/velmora_save.h"

struct Repair_Report {
    std::string name;        // of the file, in front of each line
    bool is_quiet = false;   // only count
    int64_t changed = 0;     // values that were mended
    int64_t removed = 0;     // attributes that were taken out
    int64_t other = 0;       // what was done beside: an order, a head
    int64_t below = 0;       // of all these, what was done below the ninth level of sequences
    int depth = 0;           // of readings around the one at hand
    Repeats repeats;         // of lines
};

// Cleans the values of a tree that make_editable has seen, takes out what is invalid, and puts it into order.
//   path  of the items around the tree, with "/" at its end
void repair_tree(velmora_host::Data_Set *set, const std::string &path, Repair_Report *report);

// Tells what was done in more places than were told. To be called when all is done.
void finish_repair(const Repair_Report &report);

// A line about the file as a whole, which counts as something that was done.
void report_repair(Repair_Report *report, const std::string &text);

#endif
