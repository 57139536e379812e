// TAG=VALUE arguments: attributes that a person sets.
#ifndef VELMORA_PROGRAM_ASSIGNMENT_H
#define VELMORA_PROGRAM_ASSIGNMENT_H

#include <string>

#include "host/program/tag_path.h"
#include "host/velmora_host.h"

struct Assignment {
    Tag_Path path;
    unsigned short vr;   // VR_NONE: that of the attribute or of the dictionary
    std::string value;   // UTF-8; backslashes part the values
};

// Takes TAG=VALUE or TAG:VR=VALUE apart. Returns false with one line in error.
bool parse_assignment(const std::string &text, Assignment *what, std::string *error);

// Gives an attribute its value. What of the path is not there is made: sequences, and the item behind the last one; a
// step without a number means every item.
//   set  sorted, and editable (make_editable)
// Returns false with one line in error that begins with the tag; items that come first may have been set by then.
bool assign(velmora_host::Data_Set *set, const Assignment &what, std::string *error);

#endif
