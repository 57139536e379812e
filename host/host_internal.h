// What the sources of the host library share: element headers, the encodings, and the reading loop.
#ifndef VELMORA_HOST_INTERNAL_H
#define VELMORA_HOST_INTERNAL_H

#include <string.h>
#include <deque>

#include "host/velmora_host.h"
#include "tree/DICOM_Constants.h"

struct Taking;   // tree/taking_internal.h

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
    VR_Class of[32 * 32];   // by five bits of each letter
};
extern const VR_Class_Table vr_classes;

constexpr unsigned int vr_index(unsigned int first, unsigned int second)
{
    return (first & 0x1F) << 5 | (second & 0x1F);
}

inline VR_Class vr_class(unsigned short vr)
{
    // The other three bits tell upper case from all but six characters, which have no class in the table.
    bool is_near = (vr & 0xE0E0) == 0x4040;
    return is_near ? vr_classes.of[vr_index(vr >> 8, vr)] : VR_NO_LETTERS;
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

// The letters stand in their order whatever the byte order of numbers.
inline unsigned short letters_at(const char *at)
{
    return pack_letters(at[0], at[1]);
}

inline void set_form(Header *header, unsigned short vr, int size, unsigned int length, bool reader_agrees)
{
    header->vr = vr;
    header->size = size;
    header->length = length;
    header->reader_agrees = reader_agrees;
}

// Most headers by far, in little endian with a VR that the element reader knows: they are told at one glance.
//   at  with room for the longest header
inline bool peek_usual_header(const char *at, unsigned char mode, Header *header)
{
    unsigned short group = get_16(MODE_IMPLICIT_LITTLE, at), element = get_16(MODE_IMPLICIT_LITTLE, at + 2);
    if ((mode & ~SYNTAX_EXPLICIT) != 0 || group == 0x3F3F)
        return false;
    header->group = group;
    header->element = element;
    if (group == GROUP_ITEM || (mode == MODE_IMPLICIT_LITTLE && group != GROUP_FILE_META)) {
        set_form(header, VR_NONE, 8, get_32(MODE_IMPLICIT_LITTLE, at + 4), true);
        return true;
    }
    unsigned short vr = letters_at(at + 4);
    VR_Class kind = vr_class(vr);
    if (kind == VR_SHORT)
        set_form(header, vr, 8, get_16(MODE_EXPLICIT_LITTLE, at + 6), true);
    else if (kind == VR_LONG && (group != 0x0040 || element != 0x0275))
        set_form(header, vr, 12, get_32(MODE_EXPLICIT_LITTLE, at + 8), true);
    else
        return false;
    return true;
}

// Elements that the reader may have to repair, by their tag.
inline bool is_looked_at(const Header &header)
{
    switch (header.group) {
    case 0x0009:
        return header.vr == VR_UL;
    case 0x7FE0:
        return header.element == 0x0010;
    case 0xFEFF:
        return true;
    default:
        return false;
    }
}

// The same for most headers by far: little endian, whole, with a VR that the element reader knows and a length that the
// place holds or that is undefined, and of no element that the reader looks at in particular. False: not one of them.
// NEMA_Get_Data_Element reads the same of such a header and has nothing to say to it.
inline bool peek_plain_header(const char *bytes, int at, int bound, unsigned char mode, Header *header)
{
    if (bound - at < 12 || !peek_usual_header(bytes + at, mode, header) || (header->group | header->element) == 0)
        return false;
    bool is_held = header->length <= static_cast<unsigned int>(bound - at - header->size) && header->length % 2 == 0;
    return (is_held || header->length == NO_LENGTH) && !is_looked_at(*header);
}

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

// Huge pages, where the system has them, for a large block that is about to be filled.
void use_huge_pages(char *block, size_t bytes);

// What a node has to be in the tree, where it had to look different for the nesting to come out right. Its number,
// counted from 1, stands in the node's stream_word until then.
struct Restored {
    int size;
    unsigned short vr_explicit, vr;
};

// Nodes that are not in a tree yet, in the order of the stream. The tree takes a node over when the one behind it is
// known; those of a sequence beyond the ninth level, which is not opened there, wait for the end.
struct Segment {
    DICOM_List *first = nullptr, *last = nullptr;
    std::vector<Restored> restored;
};

struct Flat_Chain {
    Taking *taking = nullptr;         // makes the tree of the data set
    Taking *aside = nullptr;          // makes that of another segment, one after the other
    std::vector<DICOM_List *> aside_trees;
    std::deque<Segment> segments;     // the first is the data set
    DICOM_List *loose = nullptr;      // a node that was made and is in no segment yet
    const DICOM_List *settled = nullptr;   // the node that goes into the tree now
    DICOM_List item_tags[3] = {};          // item, item delimiter, sequence delimiter, as the library complements them;
                                           // size is that of the description, with its end
    char *item_texts[3] = {};              // the same descriptions, to be shared; null: each node gets a copy
    std::vector<DICOM_List *> listed;      // node of each entry of the listing
    bool may_have_twins = false;           // somewhere a tag is not greater than the one in front of it

    Flat_Chain() = default;
    ~Flat_Chain();
    Flat_Chain(const Flat_Chain &) = delete;
};

// Puts the nodes of a segment in front of one of them (null: all) into a tree. Throws bad_alloc: those that are not in
// the tree stay in the segment.
void settle_nodes(Flat_Chain *chain, Segment *segment, Taking *taking, const DICOM_List *end);

// The same for a delimiter or the tag of an item that has all its fields: it need not know what follows.
void settle_item_tag(Flat_Chain *chain, Segment *segment, Taking *taking);

// Gives the entries of the listing their VRs, those of all segments.
void settle_vrs(Data_Set *set, Flat_Chain *chain);

// Reads the elements from an offset on into the tree that is taken there, and fills the listing if it is wanted.
//   as_sequence  not null: the bytes are the value of this sequence, and its node comes first
void read_elements(Data_Set *set, int at, const Load_Options &options, const Opaque *as_sequence, Flat_Chain *chain);

}   // namespace velmora_host

#endif
