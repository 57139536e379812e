// The state of one reading of a stream: the levels that are open, and the chains that the nodes go to. Shared by the
// loop over the elements (reading.cpp) and the keeping of the levels (nesting.cpp).
#ifndef VELMORA_HOST_READING_H
#define VELMORA_HOST_READING_H

#include <new>

#include "host/host_internal.h"
#include "tree/taking_internal.h"

namespace velmora_host
{

enum Level_Kind : unsigned char {
    LEVEL_TOP,         // the data set
    LEVEL_SEQUENCE,    // items are expected
    LEVEL_ITEM,        // elements are expected
    LEVEL_FRAGMENTS,   // of encapsulated pixel data: items that hold plain bytes
};

struct Level {
    DICOM_List *node;        // of the sequence or item; null at the top
    int start;               // offset of what is in it
    int bound;               // nothing of it stands from here on: its end, or that of what is around it
    int items;               // started so far
    int listed;              // place in the listing; -1: at the top, or nothing is listed
    Segment *segment;        // chain that its nodes go to
    int creators;            // those of its private blocks begin here
    int told;                // Reading::told when it was opened
    unsigned int last_tag;   // of an item: to see whether the tags ascend
    Level_Kind kind;
    unsigned char mode;         // encoding of what is in it
    unsigned char tree_depth;   // sequences around its nodes within the segment
    bool is_defined;            // ends by its length
    bool is_opaque;             // a sequence beyond the ninth level
    bool is_unsorted;           // a sequence with an item whose tags do not ascend
    bool item_had_length;       // the sequence's last item ended by its length
};

struct Creator {
    unsigned short group;
    unsigned char block;
    DICOM_List *node;
};

struct Reading {
    Data_Set *set;
    Flat_Chain *chain;
    Segment *data_set;   // the first segment
    const char *bytes;
    int at;       // the next element, or the one that is being read
    int size;     // of the source. Between the two, so that they are not loaded as one before they are stored
    int behind;   // what comes behind the header that is being read
    bool want_listing;
    bool want_traces;                // of what the library does with each element
    bool is_cut;                     // a length reaches beyond the source
    bool is_cut_told;                // and that was reported
    unsigned short group, element;   // of the element that is being read
    int zeros_end;                   // end of the run of zero bytes that was looked at last
    int kept_from;                   // the pages of fragments in front of this were let go
    int told;                        // reports so far
    size_t held;                     // nodes wait for the end of this level before they go into the tree; 0: none
    bool is_astray;                  // the tree may have gone on at another depth than the stream
    int length_ended_at;             // where a sequence last ended by its length: a delimiter there is no surprise
    const DICOM_List *unopened;      // the last element of undefined length that no item follows
    std::vector<Level> levels;
    std::vector<Creator> creators;
    DICOM_Root root;                 // a cursor at the top level, for what is asked about a single node

    Level &top()
    {
        return levels.back();
    }
    const Level &top() const
    {
        return levels.back();
    }
};

// The encoding of an element: that of the place, but for group 0002 as the head of a file has it, which is explicit little
// endian wherever it stands.
inline unsigned char mode_of(const Reading *r, int pos, unsigned short group)
{
    bool is_head = group == GROUP_FILE_META && r->size - pos >= 2 &&
                   get_16(MODE_IMPLICIT_LITTLE, r->bytes + pos) == GROUP_FILE_META;
    return is_head ? static_cast<unsigned char>(MODE_EXPLICIT_LITTLE) : r->top().mode;
}

// Whether DICOM_Attribute_Complement does more for an element than to look its tag up.
inline bool is_looked_up_alone(unsigned short group, unsigned short element)
{
    bool is_creator = (group & 1) != 0 && element <= 0xFF;
    return !is_creator && element != 0 && group != 0x7FE0;
}

// ---- nodes ----------------------------------------------------------------------------

// In line, as they are called for each element. What needs memory throws bad_alloc.
inline char *copy_bytes(Reading *r, const char *bytes, size_t size)
{
    char *copy = taking_value(r->chain->taking, bytes, size);
    if (copy == nullptr)
        throw std::bad_alloc();
    return copy;
}

// What the library says of item tags.
void describe_item_tag(Reading *r, DICOM_List *node);

// A node with nothing but where it stands and what its header says. Field by field: to clear the whole node first would
// take as long as all else that is done here.
inline void begin_node(DICOM_List *node, unsigned char mode, int pos, int data_pos, unsigned short group,
                       unsigned short element, unsigned short vr, int size)
{
    node->depth = 0;
    node->vr = node->type = 0;
    node->vm = node->stream_word = node->nb_item = 0;
    node->data = node->description = nullptr;
    node->db = nullptr;
    node->item = nullptr;
    node->next = node->last = nullptr;
    node->syntax = static_cast<unsigned char>(mode & 0x0F);
    node->flag = ORIGIN_DICOM;
    node->group = group;
    node->element = element;
    node->vr_explicit = vr;
    node->pos = pos;
    node->data_pos = data_pos;
    node->size = size;
}

inline DICOM_List *take_block_of_node(Reading *r)
{
    DICOM_List *node = taking_node(r->chain->taking);
    if (node == nullptr)
        throw std::bad_alloc();
    return node;
}

// Makes the node of an element, item or delimiter. link puts it at the end of its chain, drop_node takes it back.
inline DICOM_List *make_node(Reading *r, int pos, int data_pos, unsigned short group, unsigned short element,
                             unsigned short vr, int size)
{
    DICOM_List *node = take_block_of_node(r);
    r->chain->loose = node;
    begin_node(node, mode_of(r, pos, group), pos, data_pos, group, element, vr, size);
    if (group == GROUP_ITEM)
        describe_item_tag(r, node);
    return node;
}

// False: the node waits for one behind it, or for the end of a level.
inline bool link_to_segment(Reading *r, DICOM_List *node)
{
    Segment *segment = r->top().segment;
    if (segment->first == nullptr)
        segment->first = node;
    else
        segment->last->next = node;
    segment->last = node;
    r->chain->loose = nullptr;
    if (segment != r->data_set || r->held != 0)
        return false;
    if (segment->first != node)
        settle_nodes(r->chain, segment, r->chain->taking, node);
    return true;
}

inline void link(Reading *r, DICOM_List *node)
{
    if (link_to_segment(r, node) && taking_add_usual(r->chain->taking, node))
        r->data_set->first = nullptr;
}

void drop_node(Reading *r);

// Copies a value from the source, unless it is so large that it stays there.
inline void attach_value(Reading *r, DICOM_List *node, int pos)
{
    if (node->size > 0 && node->size < SMALLEST_UNREAD_VALUE)
        node->data = copy_bytes(r, r->bytes + pos, static_cast<size_t>(node->size));
}

// ---- plain_run.cpp --------------------------------------------------------------------

// Takes the elements from the place of reading on that need nothing but to be read and to follow. None is as good.
void take_plain_run(Reading *r);

// ---- nesting.cpp ----------------------------------------------------------------------

enum Closing { BY_LENGTH, BY_DELIMITER, BY_FAULT };

void open_top(Reading *r);

// Opens the sequence of a node that is linked already. length is as in the stream; one that reaches too far is cut to
// the level around it. next is what stands at its start.
void open_sequence(Reading *r, DICOM_List *node, Level_Kind kind, int length, unsigned char mode,
                   bool starts_with_item);
void open_item(Reading *r, DICOM_List *node, int length);

// Leaves an element of undefined length, which is linked already, without items.
void leave_unopened(Reading *r, DICOM_List *node);

// Closes the innermost level.
void close_level(Reading *r, Closing how);

// Closes what ends at the place of reading by its length, and what was open in there.
void close_ended_levels(Reading *r);

// open_sequence and open_item expect the last that was listed to be theirs.
void list(Reading *r, DICOM_List *node, int length, Listed_Kind kind, int item_number);

// Makes and links the tag of an item, which open_item expects behind it, or a delimiter at the place of reading.
DICOM_List *add_item_tag(Reading *r, int pos, int data_pos, unsigned short element, int size);
void add_delimiter(Reading *r, int data_pos, unsigned short element);

// The item that is open ends at the place of reading, before its length says so.
void end_item_early(Reading *r);

// Says that the tags of the item that is being read do not ascend.
void note_disorder(Reading *r);

// ---- damage.cpp -----------------------------------------------------------------------

// While it lives, place_of_report tells where this reading stands.
struct Reading_Now {
    explicit Reading_Now(const Reading *r);
    ~Reading_Now();
    Reading_Now(const Reading_Now &) = delete;
};

// Report at Flag_Error_Warning what is wrong with the element that is being read, or what has become of it. Faults are
// counted in the data set.
void report_fault(Reading *r, const char *format, ...) DICOM_PRINTF(2, 3);
void report_remark(Reading *r, const char *format, ...) DICOM_PRINTF(2, 3);

// Reports a damage behind which the elements of this place cannot be told apart, and goes on where that can be had.
//   from  offset of the first byte that no element holds
void skip_damage(Reading *r, int from, const char *fault);

}   // namespace velmora_host

#endif
