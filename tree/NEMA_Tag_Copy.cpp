// Copies attributes into a tree. Copying is also how trees are merged: the flags of the two nodes decide which side
// wins, whether a value is appended, and where items go.
#include <limits.h>

#include "tree/tree_internal.h"

static const char SOURCE[] = ".\\NEMA_Tag_Copy";

/* ---- values ------------------------------------------------------------------------- */

// How a value is put behind one that is there already.
enum Joint : unsigned char {
    JOINT_NEVER,        // a second value makes no sense; a warning says so
    JOINT_BYTES,        // the bytes follow each other
    JOINT_VALUES,       // a backslash in front, a blank behind
    JOINT_LINES,        // a line feed in front, a blank behind
};

struct Append_Rule {
    unsigned short vr;
    Joint joint;
};

static const Append_Rule append_rules[] = {
    {VR_AE, JOINT_VALUES}, {VR_AS, JOINT_VALUES}, {VR_CS, JOINT_VALUES}, {VR_DS, JOINT_VALUES},
    {VR_IS, JOINT_VALUES}, {VR_LO, JOINT_VALUES}, {VR_PN, JOINT_VALUES}, {VR_SH, JOINT_VALUES},
    {VR_LT, JOINT_LINES},  {VR_ST, JOINT_LINES},  {VR_UT, JOINT_LINES},
    {VR_AT, JOINT_BYTES},  {VR_FD, JOINT_BYTES},  {VR_FL, JOINT_BYTES},  {VR_OB, JOINT_BYTES},
    {VR_OF, JOINT_BYTES},  {VR_OW, JOINT_BYTES},  {VR_OX, JOINT_BYTES},  {VR_SL, JOINT_BYTES},
    {VR_SS, JOINT_BYTES},  {VR_UL, JOINT_BYTES},  {VR_UN, JOINT_BYTES},  {VR_US, JOINT_BYTES},
    {VR_DA, JOINT_NEVER},  {VR_DT, JOINT_NEVER},  {VR_SQ, JOINT_NEVER},  {VR_TM, JOINT_NEVER},
    {VR_UI, JOINT_NEVER},
};

static const Append_Rule *append_rule(unsigned short vr)
{
    for (const Append_Rule &rule : append_rules)
        if (rule.vr == vr)
            return &rule;
    return nullptr;
}

static int warn_not_appended(HWND window, const DICOM_List *source)
{
    REPORT(window, Flag_Error_Warning, "\xF1\x05WARNING:\x02 Unable to append to tag (%04x,%04x)", source->group,
           source->element);
    return 1;
}

static int append_value(HWND window, DICOM_List *target, const DICOM_List *source)
{
    const Append_Rule *rule = append_rule(working_vr(source));
    if (rule == nullptr)
        return 1;
    if (rule->joint == JOINT_NEVER)
        return warn_not_appended(window, source);
    if (source->data == nullptr || source->size < 0)
        return 1;

    // An old value that still lies in the source stream has no bytes here that something could follow.
    int added = rule->joint == JOINT_BYTES ? 0 : 2;
    if (target->data == nullptr || target->size < 0 || target->size > INT_MAX - added - source->size)
        return warn_not_appended(window, source);
    int old_size = target->size, source_size = source->size, size = old_size + source_size + added;
    char *data = static_cast<char *>(ALLOC_REALLOC(window, "target->data", target->data, size, 1));
    if (data == nullptr)
        return 0;

    char *end = data + old_size;
    if (rule->joint != JOINT_BYTES)
        *end++ = rule->joint == JOINT_VALUES ? '\\' : '\n';
    memcpy(end, source->data, static_cast<size_t>(source_size));
    if (rule->joint != JOINT_BYTES)
        end[source_size] = ' ';
    target->data = data;
    target->size = size;
    return 1;
}

static int replace_value(HWND window, DICOM_List *target, const DICOM_List *source)
{
    char *data = nullptr;
    if (source->data != nullptr && source->size > 0) {
        data = static_cast<char *>(ALLOC_MALLOC(window, "target->data", source->size, 1));
        if (data == nullptr)
            return 0;
        memcpy(data, source->data, static_cast<size_t>(source->size));
    }
    frame_free(target->data);
    target->data = data;
    target->size = source->size;
    return 1;
}

static int copy_value(HWND window, DICOM_List *target, const DICOM_List *source)
{
    if (source->size == 0)
        return 1;
    if (target->size == 0 || (source->flag & FLAG_APPEND) == 0)
        return replace_value(window, target, source);
    return append_value(window, target, source);
}

/* ---- fields ------------------------------------------------------------------------- */

// What stands in the target is kept if it was forced, or if it is a value and the source does not append to it.
static bool keeps_its_fields(const DICOM_List *target, const DICOM_List *source)
{
    if ((target->flag & FLAG_FORCED) != 0)
        return true;
    return target->flag != 0 && target->size != 0 && (source->flag & FLAG_APPEND) == 0;
}

template <class Field>
static void take_over(Field &target, Field source)
{
    if (source != 0)
        target = source;
}

static int copy_description(HWND window, DICOM_List *target, const DICOM_List *source)
{
    if (source->description == nullptr)
        return 1;
    char *description = nullptr;
    if (source->description[0] != '\0') {
        description = ALLOC_STRDUP(window, "target->description", source->description);
        if (description == nullptr)
            return 0;
    }
    frame_free(target->description);
    target->description = description;
    return 1;
}

static int copy_fields(HWND window, const DICOM_Root *root, DICOM_List *target, const DICOM_List *source)
{
    target->depth = static_cast<unsigned char>(root->Sequence_Depth);
    target->group = source->group;
    target->element = source->element;
    target->flag |= source->flag;
    take_over(target->syntax, source->syntax);
    take_over(target->type, source->type);
    take_over(target->vr_explicit, source->vr_explicit);
    take_over(target->vr, vr_to_copy(source));
    take_over(target->stream_word, source->stream_word);
    take_over(target->pos, source->pos);
    take_over(target->data_pos, source->data_pos);

    if (!copy_value(window, target, source) || !copy_description(window, target, source))
        return 0;
    if (source->db != nullptr)
        target->db = source->db;
    return 1;
}

/* ---- places in the target ------------------------------------------------------------ */

// A lookup goes from the top of the tree to its chain, and from the head of the chain to its tag. One copy asks for tag
// after tag of the same chain, mostly in ascending order, so it remembers at each depth which chain that is and what it
// found there last; a search for a greater tag comes by there. Nothing else changes the tree while a copy is at work,
// and what it does itself in an item does not move what stands around it. Only a tenth level, which is folded into the
// ninth, leads the cursor astray: from then on every lookup goes all the way.
struct Copy_Place {
    DICOM_List **chain;          // where its head is kept; null: not known
    DICOM_List *from, *found;    // where the last search began, and what it found; null: nothing yet
};

struct Copy_Places {
    Copy_Place at[MAX_SEQUENCE_DEPTH + 1];
    bool is_lost;
};

static void enter_sequence(Copy_Places *places, const DICOM_Root *root)
{
    if (root->Sequence_Depth < 0 || root->Sequence_Depth >= MAX_SEQUENCE_DEPTH)
        places->is_lost = true;
}

static void enter_item(Copy_Places *places, const DICOM_Root *root)
{
    if (!places->is_lost)
        places->at[root->Sequence_Depth] = {};
}

// The sequence that the cursor is in, if the chain around it is known, else null. The walk takes the first node of the
// tag; the last search began at one with a smaller tag, or at the head.
static DICOM_List *sequence_around(const DICOM_Root *root, const Copy_Places *places)
{
    int depth = root->Sequence_Depth - 1;
    if (depth < 0 || places->at[depth].found == nullptr)
        return nullptr;
    unsigned short group = root->Sequence_Group[depth], element = root->Sequence_Element[depth];
    DICOM_List *head = *places->at[depth].chain;
    return is_tag(head, group, element) ? head : first_with_tag(places->at[depth].from, group, element);
}

// Finds where the head of the chain is kept that the cursor selects, or null.
//   is_lasting  will every later walk find the same? So it is when each chain on the way says that it stands one level
//               below the one around it: a copy corrects what its nodes say, and leads later walks elsewhere by that
static DICOM_List **find_chain(HWND window, DICOM_Root *root, DICOM_List **list, const Copy_Places *places,
                               bool *is_lasting)
{
    int depth = root->Sequence_Depth;
    DICOM_List *sequence = sequence_around(root, places);
    DICOM_List **chain = list;
    if (sequence != nullptr)
        chain = item_slot(window, sequence, root->Item_Number[depth] - 1, nullptr);
    int level = sequence != nullptr ? depth - 1 : -1;
    *is_lasting = true;
    while (chain != nullptr && *chain != nullptr && (*chain)->depth < depth) {
        *is_lasting &= level < 0 || (*chain)->depth == level + 1;
        level = (*chain)->depth;
        chain = DICOM_Attribute_Item_Walk(window, root, *chain);
    }
    if (chain != nullptr && *chain != nullptr)
        *is_lasting &= (*chain)->depth == depth;
    return chain;
}

// DICOM_Attribute_Find for the tag of source.
static DICOM_List *find_target(HWND window, DICOM_Root *root, DICOM_List **list, const DICOM_List *source,
                               Copy_Places *places)
{
    if (places->is_lost || !is_usable_depth(root->Sequence_Depth))
        return DICOM_Attribute_Find(window, root, list, source->group, source->element);
    Copy_Place *place = &places->at[root->Sequence_Depth];
    if (place->chain == nullptr) {
        bool is_lasting;
        DICOM_List **chain = find_chain(window, root, list, places, &is_lasting);
        if (chain == nullptr)
            return nullptr;
        if (!is_lasting)
            return find_in_chain(window, root, chain, *chain, source->group, source->element);
        place->chain = chain;
    }
    bool is_ahead = place->found != nullptr && tag_number(place->found) < tag_number(source);
    place->from = is_ahead ? place->found : *place->chain;
    place->found = find_in_chain(window, root, place->chain, place->from, source->group, source->element);
    return place->found;
}

/* ---- items -------------------------------------------------------------------------- */

static int make_room_for_items(HWND window, DICOM_List *target, const DICOM_List *source)
{
    int wanted = source->nb_item;
    if ((source->flag & FLAG_APPEND) != 0)
        wanted += target->nb_item;
    if (wanted <= target->nb_item)
        return 1;
    void *grown = ALLOC_REALLOC(window, "target->item", target->item, wanted, sizeof *target->item);
    if (grown == nullptr)
        return 0;
    target->item = static_cast<DICOM_List **>(grown);
    while (target->nb_item < wanted)
        target->item[target->nb_item++] = nullptr;
    return 1;
}

static int copy_chain(HWND window, DICOM_Root *root, DICOM_List **list, DICOM_List *source, Copy_Places *places);

static int copy_items(HWND window, DICOM_Root *root, DICOM_List **list, DICOM_List *target, DICOM_List *source,
                      Copy_Places *places)
{
    int nb_item = source->nb_item;
    if (!make_room_for_items(window, target, source))
        return 0;
    int items_before = (source->flag & FLAG_APPEND) != 0 ? target->nb_item - nb_item : 0;

    enter_sequence(places, root);
    DICOM_Attribute_Sequence_Start(window, root, source->group, source->element, source->flag, LEVEL_FUNCTION);
    for (int i = 0; i < items_before; i++)
        DICOM_Attribute_Item_Start(window, root, LEVEL_FUNCTION);
    for (int i = 0; i < nb_item && source->item[i] != nullptr && (source->flag & FLAG_FORCED) == 0; i++) {
        DICOM_Attribute_Item_Start(window, root, LEVEL_FUNCTION);
        enter_item(places, root);
        copy_chain(window, root, list, source->item[i], places);
        DICOM_Attribute_Item_Stop(window, root, LEVEL_FUNCTION);
    }
    for (int i = 0; i < items_before; i++)
        DICOM_Attribute_Item_Stop(window, root, LEVEL_FUNCTION);
    DICOM_Attribute_Sequence_Stop(window, root, LEVEL_FUNCTION);
    return 1;
}

/* ---- whole nodes and chains --------------------------------------------------------- */

static int copy_node(HWND window, DICOM_Root *root, DICOM_List *target, const DICOM_List *source)
{
    REPORT(window, LEVEL_ATTRIBUTE, "in DICOM_Attribute_Copy_Tag(%04x,%04x)", source->group, source->element);
    set_sequence(root, root->Sequence_Depth, source->group, source->element, 0);
    return keeps_its_fields(target, source) || copy_fields(window, root, target, source);
}

static int copy_chain(HWND window, DICOM_Root *root, DICOM_List **list, DICOM_List *source, Copy_Places *places)
{
    REPORT(window, LEVEL_FUNCTION, "in DICOM_Attribute_Copy()");
    for (; source != nullptr; source = source->next) {
        REPORT(window, LEVEL_ATTRIBUTE, "DICOM_Attribute_Copy (%04x,%04x)", source->group, source->element);
        DICOM_List *target = find_target(window, root, list, source, places);
        if (target == nullptr || !copy_node(window, root, target, source) ||
            (source->item != nullptr && !copy_items(window, root, list, target, source, places))) {
            REPORT(window, Flag_Error_Warning, "\xF1\x05Warning:\x02 Failed in DICOM_Attribute_Copy(%04x,%04x)",
                   source->group, source->element);
            return 0;
        }
    }
    return 1;
}

void begin_copy(const DICOM_Root *root, DICOM_List *target, const DICOM_List *source)
{
    target->syntax = source->syntax;
    target->depth = static_cast<unsigned char>(root->Sequence_Depth);
    target->flag = source->flag;
    target->group = source->group;
    target->element = source->element;
    target->vr_explicit = source->vr_explicit;
    target->vr = vr_to_copy(source);
    target->type = source->type;
    target->vm = 0;
    target->stream_word = source->stream_word;
    target->pos = source->pos;
    target->data_pos = source->data_pos;
    target->size = target->nb_item = 0;
    target->data = target->description = nullptr;
    target->db = nullptr;
    target->item = nullptr;
    target->next = target->last = nullptr;
}

int finish_copy(HWND window, DICOM_Root *root, DICOM_List **list, DICOM_List *target, DICOM_List *source)
{
    REPORT(window, LEVEL_ATTRIBUTE, "in DICOM_Attribute_Copy_Tag(%04x,%04x)", source->group, source->element);
    set_sequence(root, root->Sequence_Depth, source->group, source->element, 0);
    if (source->data != nullptr && source->size > 0) {
        target->data = static_cast<char *>(ALLOC_MALLOC(window, "target->data", source->size, 1));
        if (target->data == nullptr)
            return 0;
        memcpy(target->data, source->data, static_cast<size_t>(source->size));
    }
    target->size = source->size;
    if (source->description != nullptr && !copy_description(window, target, source))
        return 0;
    target->db = source->db;
    if (source->item == nullptr)
        return 1;
    Copy_Places places = {};
    return copy_items(window, root, list, target, source, &places);
}

int DICOM_Attribute_Copy_Tag(HWND window, DICOM_Root *root, DICOM_List **list, DICOM_List *target, DICOM_List *source)
{
    if (!copy_node(window, root, target, source))
        return 0;
    if (source->item == nullptr)
        return 1;
    Copy_Places places = {};
    return copy_items(window, root, list, target, source, &places);
}

int DICOM_Attribute_Copy(HWND window, DICOM_Root *root, DICOM_List **list, DICOM_List *source)
{
    Copy_Places places = {};
    return copy_chain(window, root, list, source, &places);
}
