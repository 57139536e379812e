// What the folders of the library share of the tree: the small questions that are asked everywhere, the walk over the
// items of a sequence, and the operations that hosts do not see.
#ifndef VELMORA_TREE_INTERNAL_H
#define VELMORA_TREE_INTERNAL_H

#include "frame/frame_internal.h"
#include "tree/DICOM_Constants.h"
#include "tree/Velmora_DICOM.h"

inline char first_letter(unsigned short packed)
{
    return static_cast<char>(packed >> 8);
}

inline char second_letter(unsigned short packed)
{
    return static_cast<char>(packed & 0xFF);
}

// A letter as messages print it: a zero byte shows as "-".
inline char shown_letter(char letter)
{
    return letter != '\0' ? letter : '-';
}

// The VR that counts: the stream's own, else the one by definition.
inline unsigned short working_vr(const DICOM_List *tag)
{
    return tag->vr_explicit != 0 ? tag->vr_explicit : tag->vr;
}

inline bool is_tag(const DICOM_List *tag, unsigned short group, unsigned short element)
{
    return tag->group == group && tag->element == element;
}

// The same with ANY_TAG_NUMBER as a wildcard.
inline bool fits_tag(const DICOM_List *tag, unsigned short group, unsigned short element)
{
    return (group == ANY_TAG_NUMBER || tag->group == group) && (element == ANY_TAG_NUMBER || tag->element == element);
}

// A tag as one number, for the order of tags: group first.
inline unsigned int tag_number(unsigned short group, unsigned short element)
{
    return static_cast<unsigned int>(group) << 16 | element;
}

inline unsigned int tag_number(const DICOM_List *tag)
{
    return tag_number(tag->group, tag->element);
}

inline bool is_private_group(unsigned short group)
{
    return (group & 1) != 0;
}

// May this depth be an index of a cursor's arrays? Hosts fill in cursors themselves.
inline bool is_usable_depth(int depth)
{
    return depth >= 0 && depth <= MAX_SEQUENCE_DEPTH;
}

// DICOM_Attribute_Sequence_Set, in line for what is done for each attribute.
inline void set_sequence(DICOM_Root *root, int depth, unsigned short group, unsigned short element, unsigned short flag)
{
    if (!is_usable_depth(depth))
        return;
    root->Sequence_Group[depth] = group;
    root->Sequence_Element[depth] = element;
    root->Sequence_Flag[depth] = flag;
}

// The VRs that a stream's own word is believed for. Others, UT and OF among them, rely on the dictionary. Two letters
// are ten bits, and a bit of the table.
struct Believed_VRs {
    uint64_t bits[16];
};

constexpr unsigned int vr_bits(unsigned int vr)
{
    return (vr >> 3 & 0x3E0) | (vr & 0x1F);
}

constexpr Believed_VRs fill_believed_vrs()
{
    constexpr unsigned short believed[] = {VR_AE, VR_AS, VR_AT, VR_CS, VR_DA, VR_DS, VR_DT, VR_FD, VR_FL,
                                           VR_IS, VR_LO, VR_LT, VR_OB, VR_OW, VR_PN, VR_SH, VR_SL, VR_SQ,
                                           VR_SS, VR_ST, VR_TM, VR_UH, VR_UI, VR_UL, VR_UN, VR_US};
    Believed_VRs table = {};
    for (unsigned short vr : believed)
        table.bits[vr_bits(vr) / 64] |= uint64_t{1} << vr_bits(vr) % 64;
    return table;
}

inline constexpr Believed_VRs believed_vrs = fill_believed_vrs();

inline bool is_believed_vr(unsigned short vr)
{
    bool is_upper_case = (vr & 0xE0E0) == 0x4040;   // but for six characters, which no VR has
    return is_upper_case && (believed_vrs.bits[vr_bits(vr) / 64] >> vr_bits(vr) % 64 & 1) != 0;
}

// A value of this size may have been left in the source, to be fetched when somebody asks for it.
inline bool is_unread(const DICOM_List *tag)
{
    return tag->data == nullptr && tag->size >= SMALLEST_UNREAD_VALUE;
}

// Nodes that were made one after the other mostly lie one after the other, and the next ones can be on their way while
// this one is looked at. The processor sees that by itself in a long chain, but not from item to item: a plain walk of
// a tree that no cache holds takes half the time with this hint. It does no harm where something else lies there. Four
// lines of the cache: the next node may be as far away as its values, arrays and the gaps between them are long.
inline void fetch_ahead(const DICOM_List *node)
{
    uintptr_t ahead = reinterpret_cast<uintptr_t>(node) + 384;
    __builtin_prefetch(reinterpret_cast<const void *>(ahead));
    __builtin_prefetch(reinterpret_cast<const void *>(ahead + 64));
    __builtin_prefetch(reinterpret_cast<const void *>(ahead + 128));
    __builtin_prefetch(reinterpret_cast<const void *>(ahead + 192));
}

// Puts a node at the end of a chain. The head mostly knows the chain's last node.
inline DICOM_List *tail_of(DICOM_List *head)
{
    DICOM_List *tail = head->last != nullptr ? head->last : head;
    while (tail->next != nullptr)
        tail = tail->next;
    return tail;
}

inline void link_at_end(DICOM_List **chain, DICOM_List *node)
{
    if (*chain == nullptr)
        *chain = node;
    else
        tail_of(*chain)->next = node;
    (*chain)->last = node;
}

// Takes the cursor through the items of a sequence and calls work with the address of each item's head, up to the
// first empty slot. The cursor comes back as it went.
//   level  level of the visible lines of the cursor; 15 inside the library
template <class Work>
inline void walk_items(HWND window, DICOM_Root *root, DICOM_List *sequence, int level, Work work)
{
    DICOM_Attribute_Sequence_Start(window, root, sequence->group, sequence->element, sequence->flag, level);
    for (int i = 0; i < sequence->nb_item && sequence->item[i] != nullptr; i++) {
        DICOM_Attribute_Item_Start(window, root, level);
        work(&sequence->item[i]);
        DICOM_Attribute_Item_Stop(window, root, level);
    }
    DICOM_Attribute_Sequence_Stop(window, root, level);
}

// The first node of a chain with this tag, or null.
DICOM_List *first_with_tag(DICOM_List *head, unsigned short group, unsigned short element);

// The steps of DICOM_Attribute_Find: where the head of the chain is kept that the cursor selects, or null; and the
// search in that chain, which makes the node that is not there.
//   from  *chain, or a node that the search comes by anyway: one that was found under a smaller tag
DICOM_List **chain_at_cursor(HWND window, DICOM_Root *root, DICOM_List **list);
DICOM_List *find_in_chain(HWND window, DICOM_Root *root, DICOM_List **chain, DICOM_List *from, unsigned short group,
                          unsigned short element);

// The slot of an item, counted from 0; makes the slots that are missing, one by one, all empty.
//   room  null, or the number of slots that the array has space for: it is then made larger than it has to be
// Returns null when memory ran out (reported); the slots so far stay.
DICOM_List **item_slot(HWND window, DICOM_List *sequence, int index, int *room);

// The steps of DICOM_Attribute_Insert, for a caller who knows the chain: its trace, the warning that there is no way
// to the chain (always null), and the copy that is put at the chain's end.
inline void trace_insert(HWND window, const DICOM_List *source)
{
    REPORT(window, LEVEL_FUNCTION, "in DICOM_Attribute_Insert(%04x,%04x) %c%c %d bytes", source->group,
           source->element, shown_letter(first_letter(source->vr_explicit)),
           shown_letter(second_letter(source->vr_explicit)), source->size);
}
DICOM_List *refuse_insert(HWND window, const DICOM_List *source);
DICOM_List *append_copy(HWND window, DICOM_Root *root, DICOM_List **list, DICOM_List **chain, DICOM_List *source);

// Steps one level down from the head of a chain whose depth is less than the cursor's: gives the address of the item
// slot that the cursor selects, makes the sequence or the slot that is missing, and returns null when memory ran out
// (which it reports), the cursor is not deeper than the chain, or it has started no item there.
DICOM_List **DICOM_Attribute_Item_Walk(HWND window, DICOM_Root *root, DICOM_List *head);

// A guess is good enough to show a value, but not to pass it on as a fact.
inline unsigned short vr_to_copy(const DICOM_List *source)
{
    return (source->flag & FLAG_GUESSED_VR) != 0 ? static_cast<unsigned short>(VR_UN) : source->vr;
}

// What the merge makes of a node that has nothing yet, without a question about each field: nearly all nodes of a tree
// come to be in this way. The fields first, which cannot fail; then the rest, of which 0 tells that memory ran out.
void begin_copy(const DICOM_Root *root, DICOM_List *target, const DICOM_List *source);
int finish_copy(HWND window, DICOM_Root *root, DICOM_List **list, DICOM_List *target, DICOM_List *source);

// Merges one node into another under the rules of their flags. Returns 0 when memory ran out; what was copied stays.
int DICOM_Attribute_Copy_Tag(HWND window, DICOM_Root *root, DICOM_List **list, DICOM_List *target, DICOM_List *source);

// Settles the VR of one node of a flat chain: checks an explicit one, guesses where there is none.
int DICOM_Attribute_Format_VR(HWND window, DICOM_List *tag);

// 1 if the VR is one of the node's dictionary row; reports and returns 0 if not.
int DICOM_Attribute_Format_Check_VR(DICOM_List *tag, unsigned short vr);

#endif
