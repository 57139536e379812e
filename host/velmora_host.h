// The host library: what every host needs around Velmora_DICOM, and no data set operation of its own. It brings a file,
// a buffer or standard input to a formatted tree:
//
//     using namespace velmora_host;
//     Data_Set set;
//     if (load_from_path("image.dcm", Load_Options(), &set) == LOADED)
//         DICOM_Attribute_Stool(nullptr, &set.root, set.tree, 1);
//     release_data_set(&set);
//
// It works in one thread, on one data set at a time: the one that is selected. Only sources may be opened and closed by
// several threads.
//
// Everything that is wrong with a stream is reported through Error_Fct at Flag_Error_Warning, as the library does it;
// while it is loading, place_of_report tells a sink where in the stream that is.
#ifndef VELMORA_HOST_H
#define VELMORA_HOST_H

#include <stdint.h>
#include <string>
#include <vector>

#include "tree/Velmora_DICOM.h"

namespace velmora_host
{

// ---- bytes ----------------------------------------------------------------------------

// Who owns the bytes of a source.
enum Source_Kind : unsigned char {
    SOURCE_NONE,
    SOURCE_BORROWED,   // the caller's memory
    SOURCE_HEAP,       // read into a block of its own, guard bytes behind it
    SOURCE_MAPPED,     // a mapped file, guard bytes behind it
};

// The bytes of a stream, all of them in memory. Positions are ints, so there are at most 2^31 - 1 of them.
struct Source {
    const char *bytes = nullptr;      // the first of them; null: none
    int size = 0;                     // how many
    Source_Kind kind = SOURCE_NONE;   // who owns them
    size_t mapped_bytes = 0;          // size of the mapping, with a guard page if it has one
    int map_slot = -1;                // place in the table of mappings that survive a file's shrinking
    int file = -1;                    // of a mapping: the file, byte for byte the same; -1: it is not held open
};

enum : int64_t { LARGEST_SOURCE = INT32_MAX };

// Opens a file whole: a small one is read, a large one mapped.
//   path   "-" is standard input
//   error  gets one line that says what is wrong, without the path
// Returns false when the bytes cannot be had; nothing is held then.
bool open_source(const char *path, Source *source, std::string *error);

// Releases what open_source made. A source of no kind is left alone.
void close_source(Source *source);

// The offset from which on a mapped file was no longer there when its bytes were asked for, because somebody made it
// shorter; zero bytes stand for what is missing. -1: nothing is missing.
int64_t missing_from(const Source &source);

// ---- loading --------------------------------------------------------------------------

enum : unsigned char {
    MODE_IMPLICIT_LITTLE = 0,
    MODE_IMPLICIT_BIG = 1,
    MODE_EXPLICIT_LITTLE = 8,
    MODE_EXPLICIT_BIG = 9,
    MODE_UNKNOWN = 0xFF,   // to be found out from the bytes
};

// What is wanted of loading.
struct Load_Options {
    bool want_listing = false;   // fill Data_Set::listing
    bool want_tree = true;       // false: the tree is released once the VRs are settled
    int64_t inflate_limit = 0;   // most bytes that a deflated data set may grow to; 0: 64 times its size, and at
                                 // least 256 MiB
};

// What an entry of the listing is.
enum Listed_Kind : unsigned char { LISTED_ELEMENT, LISTED_ITEM, LISTED_FRAGMENT };

// One element of the stream in its order, at its true depth. Items and fragments are listed as well, delimiters are
// not.
struct Listed {
    int parent;                      // index of the item that holds it, of an item the sequence; -1: the top level
    int depth;                       // sequences around it
    int item_number;                 // of an item or fragment: counted from 1 in its sequence
    int pos;                         // offset of the element in the source
    int data_pos;                    // offset of its value in the source
    int length;                      // as in the stream; -1: undefined
    unsigned short group, element;   // its tag
    unsigned short vr;               // working VR; 0: none
    Listed_Kind kind;                // what it is
};

// A sequence beyond the ninth level: the tree holds it as one value that is not opened. See load_opaque.
struct Opaque {
    int pos;              // offset of the sequence in the source; pos of its node
    int data_pos, size;   // its bytes in the source: items and, but for the last delimiter, all that is in them
    unsigned short group, element;   // its tag
    unsigned char mode;              // how they are encoded
    bool is_faulty;                  // something was wrong in there, so that they cannot be copied as they are
};

// A data set that was loaded: its bytes, its tree, and how it was encoded. It is not copied.
struct Data_Set {
    Source source;                       // DICOM_Lib_File_Name while the set is selected
    DICOM_List *tree = nullptr;          // the formatted tree, item nodes and delimiters in it
    DICOM_Root root = {};                // a cursor at the top level
    unsigned char mode = MODE_UNKNOWN;   // encoding of the data set, one of the MODE_ values
    bool has_head = false;               // group 0002 was there
    std::string transfer_syntax;         // as (0002,0010) names it; empty: not named
    int start = 0;                       // offset of the first element behind group 0002
    int stream_base = 0;                 // offset in the source that counts as 0 of the data set's stream: not 0 in a
                                         // deflated file, whose inflated bytes stand behind the head
    bool is_deflated = false;            // the source then holds the head and, behind it, the inflated bytes
    int elements = 0;                    // items and delimiters included
    int damages = 0;                     // faults of the stream that were reported
    bool is_editable = false;            // make_editable has seen the tree
    bool has_later_texts = false;        // a UC or UR is among the VRs, which the dump shows as bytes only
    std::vector<Listed> listing;         // of the stream's elements; empty unless it was asked for
    std::vector<Opaque> opaque;          // in the order of their positions
};

// What came of loading.
enum Load_Result {
    LOADED,           // wholly or in part: damages tells
    NOT_A_DATA_SET,   // readable, but no element in it
    UNREADABLE,       // the bytes cannot be had, or memory ran out
};

// For a program whose heap nobody else tunes, before its first load: freed blocks join their neighbours at once, and what
// one data set took is kept for the next, up to a gigabyte. That sets malloc's M_MXFAST, M_TOP_PAD, M_TRIM_THRESHOLD and
// M_MMAP_THRESHOLD.
void tune_heap();

// Load a stream, find out how it is encoded, and make the formatted tree.
//   error  gets one line that says what is wrong when the result is not LOADED, without the path
// Of load_from_memory's bytes nothing is copied but small values: they stay valid as long as the data set is in use.
// mode is the encoding where it is known and no head is expected, else MODE_UNKNOWN.
Load_Result load_from_path(const char *path, const Load_Options &options, Data_Set *set, std::string *error);
Load_Result load_from_memory(const char *bytes, int size, unsigned char mode, const Load_Options &options,
                             Data_Set *set, std::string *error);

// Loads a sequence that the tree of another data set holds unopened, as a data set of its own with that sequence as its
// only element. The other one stays in use as long as this one is.
Load_Result load_opaque(const Data_Set &whole, const Opaque &which, const Load_Options &options, Data_Set *set,
                        std::string *error);

// The opaque sequence of a node, or null.
const Opaque *find_opaque(const Data_Set &set, const DICOM_List *node);

// Says where the library fetches unread values from. Loading a data set selects it.
void select_data_set(const Data_Set &set);

// Releases the tree and the bytes. A data set that was never loaded is left alone.
void release_data_set(Data_Set *set);

// ---- where a report comes from --------------------------------------------------------

// A place in a stream.
struct Place {
    int offset = -1;   // of the element, in the terms of the stream, see Data_Set::stream_base; -1: not known
    int pos = -1;      // the same in the source
    unsigned short group = 0, element = 0;   // of the tag
    std::string path;                        // "0040,a730[1]/0040,a168[2]", empty at the top level
    bool has_path = false;                   // else only the tree can tell it, by the offset
};

// The element that a report is about which comes while a data set is loaded: for the sink that gets it, at that time.
// False outside of a load, and when the load is past the elements or the report is about none.
bool place_of_report(const char *text, Place *place);

}   // namespace velmora_host

#endif
