// The forms in which a data set is shown. Each writes to standard output.
#ifndef VELMORA_PROGRAM_DUMP_H
#define VELMORA_PROGRAM_DUMP_H

#include <vector>

#include "host/program/dump_html.h"
#include "host/program/dump_json.h"
#include "host/program/tag_path.h"
#include "host/velmora_host.h"

// The library's dump, whole or of the attributes asked for with what is in and around them.
//   raw  texts as the bytes that they are, else in the terminal's character set
void dump_tree(velmora_host::Data_Set *set, const std::vector<Tag_Path> &only, bool color, bool raw);

// One line for each element: depth, path, tag, VR, length, offset. The data set needs its listing.
void dump_tsv(const velmora_host::Data_Set &set, const std::vector<Tag_Path> &only);

#endif
