// What the sources of saving share: the forms of VRs, the pieces that a stream is made of, and the file they go to.
#ifndef VELMORA_SAVE_INTERNAL_H
#define VELMORA_SAVE_INTERNAL_H

#include <stdlib.h>
#include <memory>
#include <new>
#include <string_view>

#include "dictionary/DICOM_Dictionary.h"
#include "host/fetch_ahead.h"
#include "host/host_internal.h"
#include "host/letter_index.h"
#include "host/velmora_save.h"

namespace velmora_host
{

// ---- forms of VRs (value_forms.cpp) ---------------------------------------------------

struct VR_Form {
    unsigned short vr;
    unsigned char unit;         // bytes that are reversed together between byte orders
    bool is_turned_by_writer;   // the library's writers do that for big endian
    bool is_long;               // 32-bit length in explicit VR (DICOM PS3.5, 7.1.2)
    bool is_later;              // a VR that the library's writers take for a short one
};

enum : size_t { OTHER_FORM = 33 };   // the last row, that of UN
extern const VR_Form vr_forms[];
extern const Letter_Index form_index;

// The form of a VR, that of UN for one that is no VR of the standard. In line for what is asked of each attribute.
inline const VR_Form &vr_form(unsigned short vr)
{
    return vr_forms[row_by_letters(form_index, vr, OTHER_FORM)];
}

// Whether the library's writers write values of this VR as they are, in little-endian order.
extern const Letter_Index plain_vrs;   // 1 for those
inline bool is_plain_vr(unsigned short vr)
{
    return row_by_letters(plain_vrs, vr, 0) != 0;
}

// The VR that a value has, whatever it is written as: the stream's own, or the one by definition; UN for a guess.
unsigned short true_vr(const DICOM_List *node);

// Reverses the units of a value. A part of one at the end stays as it is. from and to may be the same.
void reverse_units(const char *from, int size, int unit, char *to);

inline unsigned short working_vr(const DICOM_List *node)
{
    return node->vr_explicit != VR_NONE ? node->vr_explicit : node->vr;
}

inline bool is_big_endian(unsigned char mode)
{
    return (mode & SYNTAX_BIG_ENDIAN) != 0;
}

inline bool is_explicit(unsigned char mode)
{
    return (mode & SYNTAX_EXPLICIT) != 0;
}

// The text of a short value, without the padding around it.
std::string text_of(const DICOM_List *node);

// The text of a value without the padding around it. It stands in those bytes.
std::string_view text_in(const char *bytes, int size);
std::string without_padding(const char *bytes, int size);

// The values between backslashes, without their padding; at least one.
std::vector<std::string> split_values(const char *bytes, int size);

// Puts a value into a node in place of its own. False: not enough memory.
bool set_value(DICOM_List *node, const std::string &value);

// A text of code strings as the library puts it, small letters raised.
std::string code_strings(const std::string &text);

// The first node of a chain with this tag, or null. Never makes one.
DICOM_List *find_in_chain(DICOM_List *list, unsigned short group, unsigned short element);
// The same in a sorted chain: the look ends where it would stand.
DICOM_List *find_in_sorted_chain(DICOM_List *list, unsigned short group, unsigned short element);

// Brings a value into little-endian order.
void turn_value(DICOM_List *node);

// ---- the steps of make_editable (editable.cpp) ----------------------------------------

// What a chain and those around it say about pixels: looked for when the first VR depends on it, which in most data
// sets none does.
struct Pixels {
    DICOM_List **chain;
    Pixels *around;       // null at the top level
    bool is_known;
    int bits_allocated;   // 0: not said
    bool is_signed;
};

inline Pixels pixels_of(DICOM_List **chain, Pixels *around)
{
    return {chain, around, false, 0, false};
}

// Whether the VR of a node that has none of a stream is the one by definition, and stays it. The VR of an explicit one
// may still stand in the source.
inline bool has_one_vr(const DICOM_List *node)
{
    return !is_explicit(node->syntax) && (node->db == nullptr || (node->db->type >= -1 && node->db->type <= 1));
}

// An item without attributes keeps its item node. To be asked before the nodes of an item are edited.
void keep_lone_item(DICOM_List *item);

// Makes one node editable, but for its items. False: it is no part of an editable tree, and has been taken out.
bool edit_node(const Data_Set &set, DICOM_List **link, Pixels *pixels);

// Of a chain that has lost nodes: where it ends is not known any more.
inline void forget_end(DICOM_List *list)
{
    if (list != nullptr && list->last != nullptr)
        list->last = nullptr;
}

// ---- pieces of a stream (pieces.cpp) --------------------------------------------------

// One piece: bytes made here, a block of the library, or a part of the source.
struct Piece {
    std::string text;
    std::unique_ptr<char, void (*)(void *)> block{nullptr, free};
    const char *bytes = nullptr;   // in the source or the tree; null: text or block
    int64_t size = 0;
    int unit = 1;   // of the source's bytes: to be reversed on the way out
};

struct Pieces {
    std::vector<Piece> list;
    int64_t size = 0;
};

// Where a length field stands that is filled in later.
struct Length_Place {
    size_t piece, at;
};

void append_text(Pieces *to, const char *bytes, size_t size);
void append_block(Pieces *to, char *block, unsigned int size);   // takes the library's block over
void append_copy(Pieces *to, const char *bytes, int size, int unit);
void append_range(Pieces *to, const char *bytes, int64_t size, int unit);   // the bytes stay valid

// An element header of the host's own.
//   vr  VR_NONE: none
Length_Place append_header(Pieces *to, unsigned char mode, unsigned short group, unsigned short element,
                           unsigned short vr, unsigned int length);
void set_length(Pieces *to, const Length_Place &place, unsigned char mode, unsigned int length);

// Appends one piece behind another list's.
void move_behind(Pieces *to, Pieces *from);

// ---- a tree ready to be written (preparing.cpp) ---------------------------------------

struct Building {
    const Data_Set *set;
    const Save_Options *options;
    int inside_opaque;               // sequences below the ninth level around this
    std::vector<int64_t> *records;   // not null: gets where each item of the next sequence begins, in the pieces
    std::string error;               // of the first failure
};

// Whether a node holds a sequence below the ninth level.
bool is_opaque(const Building *building, const DICOM_List *node);

// The VR that goes into the stream.
unsigned short written_vr(const Building *building, const DICOM_List *node);

// Whether an item has no attributes: its head is the mark, and nothing follows.
inline bool is_empty_item(const DICOM_List *item)
{
    return item->next == nullptr && is_item_mark(item);
}

// A sorted tree without what is not to be written: group lengths, private attributes if they are not kept. What the
// library's writers would not write in this mode as it is wanted bears FLAG_USED, and so does all that holds such a thing.
struct Prepared {
    const DICOM_List *fragments;   // the first attribute that has some, or null
    bool has_lost_values;          // there is something for tell_of_lost_values
};
Prepared prepare_tree(Data_Set *set, const Save_Options &options, unsigned char mode);

// The marks alone, for another mode or a chain of its own. Returns whether there is one.
bool mark_for_host(const Building *building, DICOM_List *list, unsigned char mode);

// Warns of values that are not written, since their attributes have items as well.
void tell_of_lost_values(const DICOM_List *list);

// ---- attributes as pieces (elements.cpp) ----------------------------------------------

// Appends the attributes of a chain that was marked. Runs of nodes without a mark go through DICOM_List2Stream.
//   first, end  the nodes from one up to another, or to the end of the chain
// Returns false with an error in the building.
bool append_chain(Building *building, DICOM_List *first, DICOM_List *end, unsigned char mode, Pieces *to);

// ---- the file (target_file.cpp) -------------------------------------------------------

// Where the bytes go: a file under a temporary name beside its place, standard output, or memory.
struct Target {
    int file = -1;
    std::string *memory = nullptr;
    std::string path, temporary;   // empty: not a file of ours
    std::string pending;           // small pieces that wait
    int64_t written = 0;           // pending included
    std::vector<char> room;        // for bytes that are read and turned
    int64_t started = 0;           // up to where the disk was told to begin
    int failure = 0;               // errno of the first failed write
    bool is_durable = true;
    bool is_dry = false;   // the bytes are counted, and that is all

    Target() = default;
    Target(const Target &) = delete;
    ~Target();   // takes the temporary file away, if it was not put into its place
};

// False with an error: the file cannot be made there.
bool open_target(const char *path, const Save_Options &options, Target *target, std::string *error);

// Failures are kept in the target until the end.
void put(Target *target, const char *bytes, size_t size);

// Puts bytes of another file without taking them into memory. Returns how many; the rest, if there is one, is to be put
// in another way, which also shows why.
int64_t put_from_file(Target *target, int file, int64_t from, int64_t size);

// Writes out what is pending, waits for the disk, and gives the file its name.
bool finish_target(Target *target, const Save_Options &options, std::string *error);

// ---- pieces on their way out (streaming.cpp) ------------------------------------------

// Puts pieces; those that stand in the tree or the source go through the library's image callback.
//   source  that the pieces stand in, but for those of the tree
// False with an error: the source cannot be read any more.
bool put_pieces(Target *target, const Source &source, const Pieces &pieces, unsigned char mode, std::string *error);

// ---- the head (save_head.cpp) ---------------------------------------------------------

inline constexpr char NO_MEMORY[] = "not enough memory to write it";

// Whether a text can stand as a UID in a head, be its components right or not.
bool looks_like_uid(std::string_view text);

// Brings group 0002 of a sorted tree in line with the file, and writes it.
// False with an error.
bool write_head(Data_Set *set, const Save_Options &options, const std::string &transfer_syntax, Target *target,
                std::string *error);

// ---- media directories (media_directory.cpp) ------------------------------------------

// Whether a data set, sorted, is a media directory with offsets into itself (DICOM PS3.3, F.3).
bool is_media_directory(const Data_Set &set);

// Writes down in each node of a directory record where the record stood, before its item tag goes.
void note_records(DICOM_List *sequence);

// Puts the new places of the records into all that points at them.
//   places  of each item of (0004,1220), in the new file
// Returns false with an error when something points at no record.
bool move_records(DICOM_List *tree, const std::vector<int64_t> &places, std::string *error);

}   // namespace velmora_host

#endif
