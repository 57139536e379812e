// What of a tree is asked for by tags and paths.
#ifndef VELMORA_PROGRAM_SELECTION_H
#define VELMORA_PROGRAM_SELECTION_H

#include <vector>

#include "host/program/tag_path.h"
#include "tree/Velmora_DICOM.h"

// How far one path has come at a place: the steps that the sequences around it have matched.
struct Progress {
    const Tag_Path *path;
    size_t steps;
    bool is_anywhere;   // its one step may match at any depth
};

// The paths at the top level. anywhere: a path of one step without an item means the attribute at any depth.
std::vector<Progress> start_selection(const std::vector<Tag_Path> &paths, bool anywhere);

struct Selection {
    bool is_whole;                  // the attribute itself is asked for
    std::vector<Progress> inside;   // paths that go on in its items
};
Selection select_node(const DICOM_List *node, const std::vector<Progress> &here);

// What of the paths reaches into an item, counted from 1; is_whole: the item itself is asked for.
std::vector<Progress> enter_item(const std::vector<Progress> &inside, int number, bool *is_whole);

// Whether there is something asked for in a chain, or in an item of a sequence.
bool holds_selected(const DICOM_List *list, const std::vector<Progress> &here);
bool has_selected_item(const DICOM_List *node, const std::vector<Progress> &inside);

#endif
