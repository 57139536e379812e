// The DICOM JSON Model (DICOM PS3.18, annex F).
#ifndef VELMORA_PROGRAM_DUMP_JSON_H
#define VELMORA_PROGRAM_DUMP_JSON_H

#include <vector>

#include "host/program/element_values.h"
#include "host/program/json.h"
#include "host/program/tag_path.h"

// How deep sequences are written. What lies deeper is written as the bytes that it is: readers of JSON have their
// limits as well.
enum { DEEPEST_JSON = 100 };

struct Json_Form {
    size_t inline_limit = 1024;   // bytes of a binary value that are written; longer ones are referred to
    bool has_head = false;        // group 0002 as well
    std::string uri;              // of the file, for references
};

// A number of bytes, 0 for no limit. False: it is none.
bool parse_byte_limit(const char *text, size_t *limit);

// The URI of a file, "file:///tmp/a%20b.dcm"; empty for standard input.
std::string file_uri(const std::string &path);

// Where a piece of a data set is: the set that holds its tree, and how far that set's bytes stand behind the start of
// the stream. A sequence that the tree does not open is a data set of its own.
struct Json_Place {
    const velmora_host::Data_Set *set;
    int base;
    int depth;   // sequences around it
};

// An attribute as members of an object that is open: "vr" and its value.
void write_attribute(Json *json, const Json_Form &form, const Json_Place &place, DICOM_List *node,
                     const Value_Context &context);

// A data set as an object and a line feed, or what of it stands under these tags. Items without anything of it are empty objects, so
// that the others keep their places.
void dump_json(Json *json, const Json_Form &form, const velmora_host::Data_Set &set, const std::vector<Tag_Path> &only);

#endif
