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
    free(target->data);
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
    free(target->description);
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
    // A guess is good enough to show a value, but not to pass it on as a fact.
    take_over(target->vr, (source->flag & FLAG_GUESSED_VR) != 0 ? static_cast<unsigned short>(VR_UN) : source->vr);
    take_over(target->stream_word, source->stream_word);
    take_over(target->pos, source->pos);
    take_over(target->data_pos, source->data_pos);

    if (!copy_value(window, target, source) || !copy_description(window, target, source))
        return 0;
    if (source->db != nullptr)
        target->db = source->db;
    return 1;
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

static int copy_items(HWND window, DICOM_Root *root, DICOM_List **list, DICOM_List *target, DICOM_List *source)
{
    int nb_item = source->nb_item;
    if (!make_room_for_items(window, target, source))
        return 0;
    int items_before = (source->flag & FLAG_APPEND) != 0 ? target->nb_item - nb_item : 0;

    DICOM_Attribute_Sequence_Start(window, root, source->group, source->element, source->flag, LEVEL_FUNCTION);
    for (int i = 0; i < items_before; i++)
        DICOM_Attribute_Item_Start(window, root, LEVEL_FUNCTION);
    for (int i = 0; i < nb_item && source->item[i] != nullptr && (source->flag & FLAG_FORCED) == 0; i++) {
        DICOM_Attribute_Item_Start(window, root, LEVEL_FUNCTION);
        DICOM_Attribute_Copy(window, root, list, source->item[i]);
        DICOM_Attribute_Item_Stop(window, root, LEVEL_FUNCTION);
    }
    for (int i = 0; i < items_before; i++)
        DICOM_Attribute_Item_Stop(window, root, LEVEL_FUNCTION);
    DICOM_Attribute_Sequence_Stop(window, root, LEVEL_FUNCTION);
    return 1;
}

/* ---- whole nodes and chains --------------------------------------------------------- */

int DICOM_Attribute_Copy_Tag(HWND window, DICOM_Root *root, DICOM_List **list, DICOM_List *target, DICOM_List *source)
{
    REPORT(window, LEVEL_ATTRIBUTE, "in DICOM_Attribute_Copy_Tag(%04x,%04x)", source->group, source->element);
    set_sequence(root, root->Sequence_Depth, source->group, source->element, 0);

    if (!keeps_its_fields(target, source) && !copy_fields(window, root, target, source))
        return 0;
    if (source->item == nullptr)
        return 1;
    return copy_items(window, root, list, target, source);
}

int DICOM_Attribute_Copy(HWND window, DICOM_Root *root, DICOM_List **list, DICOM_List *source)
{
    REPORT(window, LEVEL_FUNCTION, "in DICOM_Attribute_Copy()");
    for (; source != nullptr; source = source->next) {
        REPORT(window, LEVEL_ATTRIBUTE, "DICOM_Attribute_Copy (%04x,%04x)", source->group, source->element);
        DICOM_List *target = DICOM_Attribute_Find(window, root, list, source->group, source->element);
        if (target == nullptr || !DICOM_Attribute_Copy_Tag(window, root, list, target, source)) {
            REPORT(window, Flag_Error_Warning, "\xF1\x05Warning:\x02 Failed in DICOM_Attribute_Copy(%04x,%04x)",
                   source->group, source->element);
            return 0;
        }
    }
    return 1;
}
