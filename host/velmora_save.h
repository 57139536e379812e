// The host library, the way back: a data set that was loaded, and changed perhaps, as a file.
//
//     using namespace velmora_host;
//     Save_Options options;
//     options.mode = MODE_EXPLICIT_LITTLE;
//     std::string error;
//     if (load_from_path("old.dcm", Load_Options(), &set, &error) == LOADED)
//         save_to_path(&set, "new.dcm", options, &error);
//
// What was read is written, unless the options ask for less: groups that the library's writers do not select, empty
// items, sequences below the ninth level, encapsulated pixel data. A value that nobody touched is written byte for
// byte, in the byte order of the new encoding. What cannot be kept is refused.
//
// One file is written at a time: what a signal has to take away is known to the process, not to the data set.
#ifndef VELMORA_SAVE_H
#define VELMORA_SAVE_H

#include "host/velmora_host.h"

namespace velmora_host
{

// ---- a tree to work on ----------------------------------------------------------------

// Makes the tree of a data set that was just loaded one that can be changed and written: values of up to 1024 bytes in
// little-endian order, VRs as the stream has them or as the pixels around them decide ("US or SS"), no nodes of items
// and delimiters but for those that hold a fragment or mark an empty item. The save calls do it if it was not done.
// Done twice, it changes nothing the second time.
void make_editable(Data_Set *set);

// Marks items that have lost all their attributes as empty ones, so that no walk ends there; and takes the mark off
// items that have got some. To be called after removals, before anything else walks the tree.
void close_gaps(DICOM_List *tree);

// Whether a node is the mark of an empty item, or holds a fragment of encapsulated data.
bool is_item_mark(const DICOM_List *node);

// Whether the items of an attribute are fragments of encapsulated data, of a tree that make_editable has seen.
bool is_encapsulated(const DICOM_List *node);

// The bytes of a value: those of the node, or of the source where it was left unread. Null: there are none.
//   size  gets their number
const char *value_of(const Data_Set &set, const DICOM_List *node, int *size);

// Bytes of a value that are reversed together to change its byte order; 1: none.
int turning_unit(const DICOM_List *node);

// What fills a value up to an even length (DICOM PS3.5, 6.2).
char padding_of(const DICOM_List *node);

// Brings an unread value into its node, in little-endian order. False: not enough memory.
bool fetch_value(const Data_Set &set, DICOM_List *node);

// Loads a sequence below the ninth level, as load_opaque does it, and makes its tree editable. What is wrong with its
// bytes was reported when the file was loaded, and is not reported again.
Load_Result open_opaque(const Data_Set &whole, const Opaque &which, Data_Set *set, std::string *error);

// ---- after the library's cleaning -----------------------------------------------------

struct Character_Set;   // host/charset.h

enum Cleaned {
    CLEANED,           // it says what it said, in the form of its VR; or the library found it Invalid
    CLEANED_ANEW,      // it says what it said, put differently: a number in the characters that it may have
    LEFT_AS_ALLOWED,   // put back, and no longer Invalid: it is allowed, though the library's rules do not know that
    LEFT_IN_DOUBT,     // put back, and Invalid: it had become another value
};

// Looks at what DICOM_Attribute_Cleanup or DICOM_Attribute_Cleanup_Tag has made of a value.
//   was  the value before, without the padding around it
Cleaned review_cleaning(DICOM_List *node, const std::string &was, const Character_Set &charset);

// Cuts or cleans a text that was left in doubt after all. False: it is none, or is not allowed still.
bool settle_text(DICOM_List *node);

// ---- saving ---------------------------------------------------------------------------

// How a data set is written.
struct Save_Options {
    unsigned char mode = MODE_UNKNOWN;   // MODE_UNKNOWN: as it came, as far as that can be written
    bool group_lengths = false;          // (gggg,0000) in front of each group
    bool defined_lengths = false;        // sequences and items with their lengths, else with delimiters
    bool keep_private = true;            // attributes of odd groups, at all depths
    bool standard_groups_only = false;   // what DICOM_Write_Buffer selects; the groups left out are reported
    bool even_lengths = false;           // a byte behind each value of an odd length
    bool later_vrs_as_un = false;        // OD, OF, OL, OV, SV, UC, UR and UV as UN, for readers that do not know them
    bool dry_run = false;                // all is done and looked at, but no file is made; the path may be empty
    bool is_durable = true;              // wait until the file is on the disk

    std::string source;      // path that the data set came from: refused as a target, unless it is saved in place
    bool in_place = false;   // the target is the source
    std::string backup;      // name that the old file gets when the target takes its place; must not exist

    // Called with each sequence below the ninth level, loaded as a data set of its own, before it is written. False
    // ends the saving with the error.
    bool (*change)(Data_Set *inner, void *user, std::string *error) = nullptr;
    void *user = nullptr;
};

// Saves a data set with a head (DICOM PS3.10, 7.1). The tree is sorted, made editable, and loses its group lengths and,
// if so asked, its private attributes; its group 0002 becomes that of the file. It stays valid. The library's image B
// callback is the host library's as long as it writes, and nobody's afterwards.
//   path   a file, made or replaced as a whole: it is the old one or the new one at any time. A link is followed. "-"
//          is standard output
//   bytes  gets the file; empty if nothing was written
//   error  gets one line that says what is wrong, without the path
// Returns false when nothing was written; the target is as it was.
bool save_to_path(Data_Set *set, const char *path, const Save_Options &options, std::string *error);
bool save_to_memory(Data_Set *set, const Save_Options &options, std::string *bytes, std::string *error);

// Whether it is the same file under both paths.
bool is_same_file(const std::string &a, const std::string &b);

// Whether a file has a name that only a file on its way to its own name has: left where a run was killed.
bool is_temporary_name(const char *name);

}   // namespace velmora_host

#endif
