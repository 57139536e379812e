// Whether a name came before, among any number of names, at 16 bytes for each.
#ifndef VELMORA_PROGRAM_NAME_SET_H
#define VELMORA_PROGRAM_NAME_SET_H

#include <stdint.h>
#include <set>
#include <string>
#include <utility>
#include <vector>

typedef std::pair<uint64_t, uint64_t> Name_Hash;

struct Name_Set {
    std::vector<Name_Hash> sorted;
    std::set<Name_Hash> recent;   // that are not in there yet
};

// False: it was there. Two names that are taken for one are not to be expected: a hash has twice as
// many bits as a pointer.
bool add_name(Name_Set *names, const std::string &name);

#endif
