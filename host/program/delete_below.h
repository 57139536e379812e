// What a template takes out at every depth, taken out of what lies below the ninth level of sequences as well: the tree
// of a data set does not show that.
#ifndef VELMORA_PROGRAM_DELETE_BELOW_H
#define VELMORA_PROGRAM_DELETE_BELOW_H

#include <stdint.h>
#include <string>
#include <vector>

#include "host/velmora_host.h"

typedef std::vector<unsigned int> Tag_Numbers;   // group and element, ascending

// The tags that a template takes out at every depth.
Tag_Numbers forbidden_tags(const DICOM_List *tmplt);

// How many attributes with these tags lie below the ninth level.
int64_t count_below(const velmora_host::Data_Set &set, const Tag_Numbers &tags);

// For Save_Options::change, with the tags as user: deletes them.
bool delete_inside(velmora_host::Data_Set *inner, void *user, std::string *error);

#endif
