// Hashes in one long sorted array, and the latest in a small set that is merged into it from time to time.
#include "host/program/name_set.h"

#include <algorithm>
#include <functional>

static const size_t MOST_RECENT = 4096;

static Name_Hash hash_of(const std::string &name)
{
    std::hash<std::string> hash;
    return {hash(name), hash("/" + name + "/")};
}

bool add_name(Name_Set *names, const std::string &name)
{
    Name_Hash hash = hash_of(name);
    if (std::binary_search(names->sorted.begin(), names->sorted.end(), hash) || !names->recent.insert(hash).second)
        return false;
    // The set grows with the array, so that all merging together stays in proportion to the names.
    if (names->recent.size() < std::max(MOST_RECENT, names->sorted.size() / 16))
        return true;
    std::vector<Name_Hash> all(names->sorted.size() + names->recent.size());
    std::merge(names->sorted.begin(), names->sorted.end(), names->recent.begin(), names->recent.end(), all.begin());
    names->sorted.swap(all);
    names->recent.clear();
    return true;
}
