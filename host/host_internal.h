// What the sources of the host library share: element headers, the encodings, and the reading loop.
#ifndef VELMORA_HOST_INTERNAL_H
#define VELMORA_HOST_INTERNAL_H

#include <string.h>

#include "host/velmora_host.h"
#include "tree/DICOM_Constants.h"

namespace velmora_host
{

enum { GUARD_BYTES = 16 };   // behind every source that we make; the element reader looks at most 12 bytes ahead

// ---- numbers --------------------------------------------------------------------------

inline unsigned short get_16(unsigned char mode, const char *at)
{
    const unsigned char *b = reinterpret_cast<const unsigned char *>(at);
    return static_cast<unsigned short>((mode & SYNTAX_BIG_ENDIAN) ? b[0] << 8 | b[1] : b[1] << 8 | b[0]);
}

inline unsigned int get_32(unsigned char mode, const char *at)
{
    unsigned int first = get_16(mode, at), second = get_16(mode, at + 2);
    return (mode & SYNTAX_BIG_ENDIAN) ? first << 16 | second : second << 16 | first;
}

// ---- element headers ------------------------------------------------------------------

enum VR_Class : unsigned char {
    VR_NO_LETTERS,    // not two upper-case letters
    VR_NOT_KNOWN,     // two letters that are no VR of the standard
    VR_SHORT,         // 16-bit length
    VR_LONG,          // reserved word, 32-bit length
    VR_LONG_UNREAD,   // the same, but the element reader takes it for a short one
};
struct VR_Class_Table {
    VR_Class of[26 * 26];   // by the two letters
};
extern const VR_Class_Table vr_classes;

inline VR_Class vr_class(unsigned short vr)
{
    unsigned int first = static_cast<unsigned int>(vr >> 8) - 'A', second = static_cast<unsigned int>(vr & 0xFF) - 'A';
    return first < 26 && second < 26 ? vr_classes.of[first * 26 + second] : VR_NO_LETTERS;
}

struct Header {
    unsigned short group, element;
    unsigned short vr;     // 0: none
    unsigned int length;   // as it stands; 0xFFFFFFFF is undefined
    int size;              // bytes of the header
    bool reader_agrees;    // NEMA_Get_Data_Element reads the same from these bytes
};

enum : unsigned int { NO_LENGTH = 0xFFFFFFFF };

// Reads the header at an offset without moving anything.
//   bound  end of what may be read, as an offset
//   mode   encoding of the place
// Returns false when the header is not whole. A delimiter's tag at the very end counts as whole, its length as 0.
bool peek_header(const char *bytes, int at, int bound, unsigned char mode, Header *header);

inline bool is_item_tag(const Header &h, unsigned short element)
{
    return h.group == GROUP_ITEM && h.element == element;
}

inline bool is_any_item_tag(const Header &h)
{
    return h.group == GROUP_ITEM &&
           (h.element == ELEMENT_ITEM || h.element == ELEMENT_ITEM_END || h.element == ELEMENT_SEQUENCE_END);
}

// ---- encodings ------------------------------------------------------------------------

// How many elements in a row, of at most four, make sense at an offset under an encoding. whole: nothing that was
// looked at spoke against it; there are no more, or they need not be looked at.
int count_plausible(const char *bytes, int at, int bound, unsigned char mode, bool *whole);

// Whether an element or an item tag can stand here: for the place behind a damage.
bool is_plausible_at(const char *bytes, int at, int bound, unsigned char mode);

// The encoding under which the elements here make most sense, MODE_UNKNOWN when under none.
unsigned char guess_mode(const char *bytes, int at, int bound);

struct Encoding {
    unsigned char mode;
    bool is_deflated;
};

// The encoding that a transfer syntax UID names. False: not a UID that is known to differ from explicit little endian.
bool find_encoding(const std::string &uid, Encoding *encoding);

const char *mode_name(unsigned char mode);

// Inflates raw deflated bytes (or such with a zlib or gzip head) behind a copy of the head, into a source of its own.
//   head, head_size  bytes that come first, unchanged
//   fault            gets a text when the stream was damaged; what could be inflated is there
// Returns false, with a text in fault, when nothing could be had.
bool inflate_source(const char *head, int head_size, const char *deflated, int size, int64_t limit, Source *out,
                    std::string *fault);

// Tells that some bytes of a mapped source will hardly be looked at again, so that they need not stay in memory. They
// come back from the file when they are.
void let_pages_go(const Source &source, int from, int to);

// A source of heap memory with room for size bytes and guard bytes; throws bad_alloc.
char *make_heap_source(Source *source, int size);

// ---- nodes ----------------------------------------------------------------------------

// The nodes of the flat chain, in blocks that are released at once. Blocks grow, so that a small file costs little; the
// large ones are mapped, in huge pages where the system has them.
struct Node_Block {
    DICOM_List *nodes;
    size_t mapped;   // bytes of the mapping; 0: a heap block
};

struct Node_Arena {
    std::vector<Node_Block> blocks;
    DICOM_List *next = nullptr, *end = nullptr;   // what is free in the last block

    Node_Arena() = default;
    ~Node_Arena();
    Node_Arena(const Node_Arena &) = delete;
    void add_block();

    DICOM_List *add()   // its fields hold nothing yet: whoever asks for a node fills them all
    {
        if (next == end)
            add_block();
        return next++;
    }
};

// Prepares the heap for a tree of about so many bytes, if tune_heap was called.
void expect_tree(size_t bytes);

// What a node has to be when the tree is made, where it had to look different for the nesting to come out right.
struct Restored {
    DICOM_List *node;   // in the flat chain
    int pos, size;
    unsigned short group, element, vr_explicit, vr;
};

// Part of the flat chain that is formatted by itself: the data set, or a sequence beyond the ninth level.
struct Segment {
    DICOM_List *first = nullptr, *last = nullptr;
};

struct Flat_Chain {
    Node_Arena nodes;
    size_t tree_bytes = 0;           // of the heap that the tree will take, about
    std::vector<Segment> segments;   // the first is the data set
    std::vector<Restored> restored;
    DICOM_List item_tags[3] = {};          // item, item delimiter, sequence delimiter, as the library complements them
    std::vector<DICOM_List *> listed;      // node of each entry of the listing
    std::vector<DICOM_List *> described;   // nodes with a description of their own
    bool may_have_twins = false;           // somewhere a tag is not greater than the one in front of it
};

// While DICOM_Attribute_Format works on the chain that begins here.
void begin_formatting(const Data_Set *set, const DICOM_List *first);
void end_formatting();

// The element that a report made in that time is about. False: not in that time, or it is not known.
bool place_of_formatting(const char *report, Place *place);

// Reads the elements from an offset on into the chain, and fills the listing if it is wanted.
//   as_sequence  not null: the bytes are the value of this sequence, and its node comes first
void read_elements(Data_Set *set, int at, const Load_Options &options, const Opaque *as_sequence, Flat_Chain *chain);

}   // namespace velmora_host

#endif
