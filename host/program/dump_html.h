// A page for reading data sets in a browser: the tree, folded, with what is wrong marked where it stands.
#ifndef VELMORA_PROGRAM_DUMP_HTML_H
#define VELMORA_PROGRAM_DUMP_HTML_H

#include <string>
#include <vector>

#include "host/program/findings.h"
#include "host/program/tag_path.h"
#include "host/velmora_host.h"

// How deep sequences are opened; browsers nest elements 512 deep.
enum { DEEPEST_HTML = 100 };

// The start of a page and its end, around the sections of the data sets.
//   title  of the page
void start_page(const std::string &title);
void end_page();

// A data set as a section that folds, whole or what of it stands under these tags.
//   name     of the file
//   number   of the section, which no other one on the page has
//   is_open  whether the section is unfolded
//   found    what the check of it found
void dump_html(const velmora_host::Data_Set &set, const std::string &name, size_t number, bool is_open,
               const Finding_Teller &found, const std::vector<Tag_Path> &only);

// A section that says why there is none.
void dump_failure(const std::string &name, const std::string &error);

#endif
