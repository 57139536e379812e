// Nodes and lookup: the walk from a cursor to its place in a tree, finding, getting and matching attributes, and the
// insertion of a node at the end of a chain. What a node takes over from another is decided in NEMA_Tag_Copy.
#include <stddef.h>

#include "tree/tree_internal.h"

static const char SOURCE[] = ".\\NEMA_Tag_Attribute";

// Hosts read and write the two open records directly, so their layout is part of the interface.
#define STANDS_AT(record, field, offset) \
    static_assert(sizeof(void *) != 8 || offsetof(record, field) == (offset), #record "::" #field " has moved")
STANDS_AT(DICOM_List, syntax, 0);
STANDS_AT(DICOM_List, depth, 1);
STANDS_AT(DICOM_List, flag, 2);
STANDS_AT(DICOM_List, group, 4);
STANDS_AT(DICOM_List, element, 6);
STANDS_AT(DICOM_List, vr_explicit, 8);
STANDS_AT(DICOM_List, vr, 10);
STANDS_AT(DICOM_List, type, 12);
STANDS_AT(DICOM_List, vm, 16);
STANDS_AT(DICOM_List, stream_word, 20);
STANDS_AT(DICOM_List, pos, 24);
STANDS_AT(DICOM_List, data_pos, 28);
STANDS_AT(DICOM_List, size, 32);
STANDS_AT(DICOM_List, data, 40);
STANDS_AT(DICOM_List, description, 48);
STANDS_AT(DICOM_List, db, 56);
STANDS_AT(DICOM_List, nb_item, 64);
STANDS_AT(DICOM_List, item, 72);
STANDS_AT(DICOM_List, next, 80);
STANDS_AT(DICOM_List, last, 88);
STANDS_AT(DICOM_Root, Sequence_Depth, 0);
STANDS_AT(DICOM_Root, Item_Number, 4);
STANDS_AT(DICOM_Root, Sequence_Group, 44);
STANDS_AT(DICOM_Root, Sequence_Element, 64);
STANDS_AT(DICOM_Root, Sequence_Flag, 84);
static_assert(sizeof(void *) != 8 || sizeof(DICOM_List) == 96, "DICOM_List has grown");
static_assert(sizeof(void *) != 8 || sizeof(DICOM_Root) == 104, "DICOM_Root has grown");

/* ---- chains and items --------------------------------------------------------------- */

DICOM_List *first_with_tag(DICOM_List *head, unsigned short group, unsigned short element)
{
    while (head != nullptr && !is_tag(head, group, element))
        head = head->next;
    return head;
}

static bool add_item_slot(HWND window, DICOM_List *pt, int *room)
{
    if (room == nullptr || pt->nb_item >= *room) {
        size_t wanted = static_cast<size_t>(pt->nb_item) + 1;
        size_t slots = room == nullptr ? wanted : 2 * wanted;
        void *grown = ALLOC_REALLOC_ROOM(window, "pt->item", pt->item, slots * sizeof *pt->item, wanted,
                                         sizeof *pt->item);
        if (grown == nullptr)
            return false;
        pt->item = static_cast<DICOM_List **>(grown);
        if (room != nullptr)
            *room = static_cast<int>(slots);
    }
    pt->item[pt->nb_item++] = nullptr;
    return true;
}

DICOM_List **item_slot(HWND window, DICOM_List *sequence, int index, int *room)
{
    while (sequence->nb_item <= index)
        if (!add_item_slot(window, sequence, room))
            return nullptr;
    return &sequence->item[index];
}

// Appends the sequence that the cursor names at this depth, with one empty item, and gives the item's slot. Without
// memory for the slot the sequence stays, without items.
static DICOM_List **append_sequence(HWND window, DICOM_Root *root, DICOM_List **chain, int depth)
{
    DICOM_List *insert = static_cast<DICOM_List *>(ALLOC_CALLOC(window, "insert", 1, sizeof(DICOM_List)));
    if (insert == nullptr)
        return nullptr;
    insert->depth = static_cast<unsigned char>(depth);
    DICOM_Attribute_Sequence_Get(window, root, depth, &insert->group, &insert->element, &insert->flag);
    insert->vr_explicit = insert->vr = VR_SQ;
    link_at_end(chain, insert);

    insert->item = static_cast<DICOM_List **>(ALLOC_CALLOC(window, "insert->item", 1, sizeof *insert->item));
    if (insert->item == nullptr)
        return nullptr;
    insert->nb_item = 1;
    return &insert->item[0];
}

DICOM_List **DICOM_Attribute_Item_Walk(HWND window, DICOM_Root *root, DICOM_List *head)
{
    int depth = head->depth;
    if (depth >= root->Sequence_Depth || depth >= MAX_SEQUENCE_DEPTH)
        return nullptr;
    int item_number = root->Item_Number[depth + 1];
    if (item_number < 1)
        return nullptr;                              // no item has been started: there is no place to go to

    DICOM_List *sequence = first_with_tag(head, root->Sequence_Group[depth], root->Sequence_Element[depth]);
    if (sequence == nullptr)
        return append_sequence(window, root, &head, depth);
    return item_slot(window, sequence, item_number - 1, nullptr);
}

DICOM_List **chain_at_cursor(HWND window, DICOM_Root *root, DICOM_List **list)
{
    if (!is_usable_depth(root->Sequence_Depth))
        return nullptr;
    while (*list != nullptr && (*list)->depth < root->Sequence_Depth) {
        list = DICOM_Attribute_Item_Walk(window, root, *list);
        if (list == nullptr)
            return nullptr;
    }
    return list;
}

DICOM_List *find_in_chain(HWND window, DICOM_Root *root, DICOM_List **chain, DICOM_List *from, unsigned short group,
                          unsigned short element)
{
    set_sequence(root, root->Sequence_Depth, group, element, 0);
    unsigned int wanted = tag_number(group, element);
    DICOM_List *before = from;
    while (before != nullptr && before->next != nullptr && tag_number(before->next) <= wanted)
        before = before->next;
    if (before != nullptr && tag_number(before) == wanted)
        return before;

    DICOM_List *insert = static_cast<DICOM_List *>(ALLOC_CALLOC(window, "insert", 1, sizeof(DICOM_List)));
    if (insert == nullptr)
        return nullptr;
    insert->group = group;
    insert->element = element;
    insert->depth = static_cast<unsigned char>(root->Sequence_Depth);

    DICOM_List **link = before == nullptr || tag_number(before) > wanted ? chain : &before->next;
    insert->next = *link;
    *link = insert;
    (*chain)->last = insert->next == nullptr ? insert : nullptr;
    return insert;
}

/* ---- insertion at the end of a chain ------------------------------------------------ */

DICOM_List *refuse_insert(HWND window, const DICOM_List *source)
{
    REPORT(window, Flag_Error_Warning, "\xF1\x05    \x02" "Failed to insert tag(\x01%04X\x02,\x01%04X\x02)",
           source->group, source->element);
    return nullptr;
}

DICOM_List *append_copy(HWND window, DICOM_Root *root, DICOM_List **list, DICOM_List **chain, DICOM_List *source)
{
    DICOM_List *insert = static_cast<DICOM_List *>(ALLOC_CALLOC_UNSET(window, "insert", 1, sizeof(DICOM_List)));
    if (insert == nullptr)
        return nullptr;
    begin_copy(root, insert, source);
    link_at_end(chain, insert);
    if (finish_copy(window, root, list, insert, source))
        return insert;
    REPORT(window, Flag_Error_Warning, "    \xF1\x05WARNING:\x02 Failed in DICOM_Attribute_Copy(%04x,%04x)",
           source->group, source->element);
    return nullptr;
}

/* ---- exported ----------------------------------------------------------------------- */

DICOM_List *DICOM_Attribute_Find(HWND window, DICOM_Root *root, DICOM_List **list, unsigned short group,
                                 unsigned short element)
{
    DICOM_List **chain = chain_at_cursor(window, root, list);
    return chain != nullptr ? find_in_chain(window, root, chain, *chain, group, element) : nullptr;
}

// Descends to the chain that the cursor selects; report is made on entry and after each step. A walk that fails stays
// in the chain that it has reached.
template <class Report>
static DICOM_List *chain_to_read(HWND window, DICOM_Root *root, DICOM_List *list, Report report)
{
    report();
    while (list != nullptr && list->depth < root->Sequence_Depth) {
        DICOM_List **slot = DICOM_Attribute_Item_Walk(window, root, list);
        if (slot == nullptr)
            return list;
        list = *slot;
        report();
    }
    return list;
}

DICOM_List *DICOM_Attribute_Get(HWND window, DICOM_Root *root, DICOM_List *list, unsigned short group,
                                unsigned short element, char)
{
    list = chain_to_read(window, root, list, [=] {
        REPORT(window, LEVEL_FUNCTION, "in DICOM_Attribute_Get(%04x,%04x)", group, element);
    });
    while (list != nullptr && !fits_tag(list, group, element))
        list = list->next;
    return list;
}

DICOM_List *DICOM_Attribute_Get(HWND window, DICOM_Root *root, DICOM_List *list, const char *group,
                                const char *element, char)
{
    list = chain_to_read(window, root, list, [=] {
        REPORT(window, LEVEL_FUNCTION, "in DICOM_Attribute_Get(%s,%s)", group, element);
    });
    while (list != nullptr && !DICOM_Attribute_Match(group, element, list->group, list->element))
        list = list->next;
    return list;
}

static int matches_number(unsigned short number, const char *pattern)
{
    static const char digits[] = "0123456789ABCDEF";
    const char text[] = {digits[number >> 12], digits[number >> 8 & 0xF], digits[number >> 4 & 0xF],
                         digits[number & 0xF], '\0'};
    return Str_Match(text, pattern);
}

int DICOM_Attribute_Match(const char *group_pattern, const char *element_pattern, unsigned short group,
                          unsigned short element)
{
    return matches_number(group, group_pattern) && matches_number(element, element_pattern);
}

static char code_string_character(char c)
{
    if (c >= 'a' && c <= 'z')
        return static_cast<char>(c - 'a' + 'A');
    bool is_allowed = (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == ' ' || c == '_' || c == '\\';
    return is_allowed ? c : '_';
}

int DICOM_Str_To_CS(char *text)
{
    Str_Strip_Spaces(text);
    text[16] = '\0';
    for (char *c = text; *c != '\0'; c++)
        *c = code_string_character(*c);
    return 1;
}

DICOM_List *DICOM_Attribute_Insert(HWND window, DICOM_Root *root, DICOM_List **list, DICOM_List *source, int depth)
{
    // Each round but the last makes one missing sequence, so that there are no more rounds than levels.
    for (;;) {
        trace_insert(window, source);
        if (!is_usable_depth(root->Sequence_Depth) || !is_usable_depth(depth))
            return refuse_insert(window, source);
        DICOM_List **chain = list;
        while (*chain != nullptr && (*chain)->depth < root->Sequence_Depth) {
            chain = DICOM_Attribute_Item_Walk(window, root, *chain);
            if (chain == nullptr)
                return refuse_insert(window, source);
            depth++;
        }
        if (*chain != nullptr || root->Sequence_Depth <= depth)
            return append_copy(window, root, list, chain, source);
        list = append_sequence(window, root, chain, depth);
        if (list == nullptr)
            return nullptr;
        depth++;
    }
}
