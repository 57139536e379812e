// The definition directory: templates, private attributes, code tables.
#ifndef VELMORA_PROGRAM_DEFINITIONS_H
#define VELMORA_PROGRAM_DEFINITIONS_H

#include <string>
#include <vector>

#include "host/velmora_host.h"

// Sets the directory up for the library: what VELMORA_DEFINITIONS names; else the one beside this program, so that an
// installed tree can be moved; else the one that was meant to be installed. What VELMORA_DEFINITIONS names has to be
// there; otherwise that is said, and there is none.
void find_definitions();

// Sets this directory up. False: there is none of that name.
bool use_definitions(const std::string &directory);

// The directory that is set up, with a slash at its end; empty: none.
std::string definitions_place();

#define TEMPLATE_PREFIX "DICOM_Module_"

// The names behind a prefix, sorted: "CT_Image" of DICOM_Module_CT_Image.txt for TEMPLATE_PREFIX.
std::vector<std::string> definition_names(const std::string &prefix);

enum : int { NAME_NOT_FOUND = -1 };

// The place of a name in a list: as it is, or by any case of its letters.
int find_name(const std::vector<std::string> &names, const std::string &wanted);

// The kind of a data set, as the name of its template. False: its SOP class is none that has one; the name is then what
// stands in for it.
bool find_kind(const velmora_host::Data_Set &set, std::string *name);

#endif
