// Finds attributes in a data set: at the top, along a path, or everywhere; in sequences that the tree does not open,
// too.
#ifndef VELMORA_PROGRAM_FIND_H
#define VELMORA_PROGRAM_FIND_H

#include <string>

#include "host/program/dump_json.h"
#include "host/program/element_values.h"
#include "host/program/tag_path.h"

struct Found {
    Json_Place place;
    DICOM_List *node;
    const Value_Context *context;
    std::string path;   // "0040,a730[2]/0008,0104"
};

// Calls take for each attribute that a path names, in the order of the data set. Sequences are followed DEEPEST_JSON
// deep.
//   everywhere  a path of one step is looked for at any depth, else at the top
// Returns how many there are.
typedef void (*Found_Fct)(const Found &found, void *user);
int find_attributes(const velmora_host::Data_Set &set, const Tag_Path &path, bool everywhere, Found_Fct take,
                    void *user);

#endif
