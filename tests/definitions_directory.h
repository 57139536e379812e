// The definition directory of the source tree, as the library finds it.
#ifndef VELMORA_TESTS_DEFINITIONS_DIRECTORY_H
#define VELMORA_TESTS_DEFINITIONS_DIRECTORY_H

#include <string>
#include <vector>

#include "modules/DICOM_Modules.h"
#include "tests/support/checkout.h"

// Sets the directory while it lives, and forgets what was read from it at the end.
struct Definition_Directory {
    explicit Definition_Directory(const std::string &directory = source_path("definitions/"));
    ~Definition_Directory();
    Definition_Directory(const Definition_Directory &) = delete;
};

// What stands between a prefix and ".txt" in the names of the directory's files, in alphabetical order.
std::vector<std::string> definition_names(const std::string &prefix);

// The lines of a file of the directory, without comments, blanks at the ends and empty lines.
std::vector<std::string> definition_lines(const std::string &file);

#endif
