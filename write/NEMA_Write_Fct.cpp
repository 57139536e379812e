// The steps that bring a data set in line with the template of its kind: add, overwrite, mark what is empty, delete,
// fetch what is unread, verify. Each one is a walk over one tree with a cursor that names the matching place in the
// other. The merge of two attributes is left to DICOM_Attribute_Copy_Tag.
#include "write/write_internal.h"

#include <limits.h>

#include "read/read_internal.h"

static const char SOURCE[] = ".\\NEMA_Write_Fct";

// Larger values are image data: they go from the source to the stream by the host's callbacks.
static const int LARGEST_FETCHED_VALUE = 999999;

// ---- the walk

// The cursor cannot name a place below its last level, so that no step goes there.
static bool is_in_reach(HWND window, const DICOM_Root *root, const DICOM_List *sequence)
{
    if (root->Sequence_Depth < MAX_SEQUENCE_DEPTH)
        return true;
    REPORT(window, Flag_Error_Warning,
           "    \xF1\x05WARNING:\x02 (\x01%04x\x02,\x01%04x\x02) Items below %d sequences are left as they are",
           sequence->group, sequence->element, MAX_SEQUENCE_DEPTH);
    return false;
}

// Calls work with the head of each item's chain, if the node has items.
template <class Work>
static void walk(HWND window, DICOM_Root *root, DICOM_List *tag, int level, Work work)
{
    if (tag->item != nullptr && is_in_reach(window, root, tag))
        walk_items(window, root, tag, level, [&](DICOM_List **item) { work(*item); });
}

// ---- the steps

int DICOM_Postproc_Step_1(HWND window, DICOM_Root *root, DICOM_List **target, DICOM_List *tmplt, unsigned short mask)
{
    for (DICOM_List *tag = tmplt; tag != nullptr; tag = tag->next) {
        if ((tag->flag & mask) != 0)
            DICOM_Attribute_Insert(window, root, target, tag, 0);
        walk(window, root, tag, LEVEL_FUNCTION,
             [&](DICOM_List *item) { DICOM_Postproc_Step_1(window, root, target, item, mask); });
    }
    return 1;
}

// Gives the target the template's value, forced or not. Returns false if there is no node to give it to.
static bool overwrite(HWND window, DICOM_Root *root, DICOM_List **target, DICOM_List *tag)
{
    DICOM_List *found = DICOM_Attribute_Find(window, root, target, tag->group, tag->element);
    if (found == nullptr)
        return false;
    frame_free(found->data);
    found->data = nullptr;
    found->size = 0;
    found->flag = static_cast<unsigned short>(found->flag & ~FLAG_FORCED);
    DICOM_Attribute_Copy_Tag(window, root, target, found, tag);
    return true;
}

int DICOM_Postproc_Overwrite(HWND window, DICOM_Root *root, DICOM_List **target, DICOM_List *tmplt, unsigned short mask)
{
    for (DICOM_List *tag = tmplt; tag != nullptr; tag = tag->next) {
        if ((tag->flag & mask) != 0 && !overwrite(window, root, target, tag))
            continue;
        walk(window, root, tag, LEVEL_FUNCTION,
             [&](DICOM_List *item) { DICOM_Postproc_Overwrite(window, root, target, item, mask); });
    }
    return 1;
}

// Byte counts are added up to the largest int and no further.
static int sum(int a, int b)
{
    return a > INT_MAX - b ? INT_MAX : a + b;
}

// Bytes that are kept of one node: those of its items, or its own.
static int kept_bytes(HWND window, DICOM_Root *root, DICOM_List *tag)
{
    if (tag->item == nullptr)
        return tag->size > 0 ? tag->size : 0;
    if (!is_in_reach(window, root, tag))
        return 1;   // not looked into, so not known to be empty
    int kept = 0;
    walk(window, root, tag, LEVEL_FUNCTION,
         [&](DICOM_List *item) { kept = sum(kept, DICOM_Postproc_Step_2(window, root, item, tag->type)); });
    return kept;
}

int DICOM_Postproc_Step_2(HWND window, DICOM_Root *root, DICOM_List *target, unsigned short parent_type)
{
    int kept = 0;
    for (DICOM_List *tag = target; tag != nullptr; tag = tag->next) {
        int bytes = kept_bytes(window, root, tag);
        bool may_be_absent = tag->type == TYPE_NONE || tag->type == TYPE_3 || parent_type == TYPE_2C;
        if (bytes == 0 && may_be_absent)
            tag->flag |= FLAG_DELETED;
        kept = sum(kept, bytes);
        REPORT(window, LEVEL_LOCATION, "++++ (%04x,%04X) -> item:%d flag:%d size:%d (keep=%d)", tag->group,
               tag->element, tag->nb_item, tag->flag, tag->size, kept);
    }
    return kept;
}

int DICOM_Postproc_Step_4(HWND window, DICOM_Root *root, DICOM_List **target, DICOM_List *tmplt)
{
    for (DICOM_List *tag = tmplt; tag != nullptr; tag = tag->next) {
        if ((tag->flag & FLAG_TO_DELETE) != 0)
            DICOM_Attribute_Delete(window, root, target, tag->group, tag->element);
        else
            walk(window, root, tag, LEVEL_FUNCTION,
                 [&](DICOM_List *item) { DICOM_Postproc_Step_4(window, root, target, item); });
    }
    return 1;
}

// A sequence, and an item tag in front of its attributes, tell the length of what the tree holds below and behind them:
// there is no value of their own in the source. The item tag of a fragment stands alone, and has one.
static bool is_structure(const DICOM_List *tag)
{
    if (tag->item != nullptr || working_vr(tag) == VR_SQ)
        return true;
    return is_tag(tag, GROUP_ITEM, ELEMENT_ITEM) && tag->next != nullptr;
}

static bool is_to_be_fetched(const DICOM_List *tag)
{
    return is_unread(tag) && tag->size <= LARGEST_FETCHED_VALUE && !is_structure(tag);
}

int DICOM_Postproc_Step_5(HWND window, DICOM_Root *root, DICOM_List *target)
{
    for (DICOM_List *tag = target; tag != nullptr; tag = tag->next) {
        if (is_to_be_fetched(tag) && !fetch_unread_value(window, tag, LEVEL_OPERATION, "pt->data", HERE))
            return 0;
        walk(window, root, tag, LEVEL_FUNCTION, [&](DICOM_List *item) { DICOM_Postproc_Step_5(window, root, item); });
    }
    return 1;
}

// ---- verification

static void warn(HWND window, const char *format, const DICOM_List *tag)
{
    const char *quote = tag->db != nullptr ? "\"" : "";
    const char *name = tag->db != nullptr ? tag->db->description : "";
    REPORT(window, Flag_Error_Warning, format, tag->group, tag->element, quote, name, quote);
}

// Says what is wrong with the attribute that was found for one node of the template, or that none was.
static void verify(HWND window, const DICOM_List *found, const DICOM_List *tag)
{
    if (tag->type == TYPE_1 && found == nullptr)
        warn(window, "    \xF1\x05WARNING:\x02 Missing required value for type 1 tag: "
                     "(\x01%04x\x02,\x01%04x\x02) \x01%s%s%s", tag);
    else if (tag->type == TYPE_1 && working_vr(tag) != VR_SQ && found->size == 0)
        warn(window, "    \xF1\x05WARNING:\x02 Empty required value for type 1 tag: "
                     "(\x01%04x\x02,\x01%04x\x02) \x01%s%s%s", tag);
    else if (tag->type == TYPE_2 && found == nullptr)
        warn(window, "    \xF1\x05WARNING:\x02 Missing required value for type 2 tag: "
                     "(\x01%04x\x02,\x01%04x\x02) \x01%s%s%s", tag);
}

static bool is_conditional_or_optional(const DICOM_List *tag)
{
    return tag->type == TYPE_1C || tag->type == TYPE_2C || tag->type == TYPE_3;
}

static bool has_item(const DICOM_List *sequence, int index)
{
    return sequence != nullptr && sequence->item != nullptr && index < sequence->nb_item &&
           sequence->item[index] != nullptr;
}

void DICOM_Postproc_Verification(HWND window, DICOM_Root *root, DICOM_List *target, DICOM_List *tmplt, int unused)
{
    for (DICOM_List *tag = tmplt; tag != nullptr; tag = tag->next) {
        if (is_conditional_or_optional(tag))
            continue;
        DICOM_List *found = DICOM_Attribute_Get(window, root, target, tag->group, tag->element, 0);
        verify(window, found, tag);
        if (tag->type != TYPE_1)
            continue;
        walk(window, root, tag, 0, [&](DICOM_List *item) {
            // A lookup in an item that the target lacks would make it; nothing holds none of the attributes either.
            bool is_there = has_item(found, DICOM_Attribute_Item_Querry(window, root, root->Sequence_Depth));
            DICOM_Postproc_Verification(window, root, is_there ? target : nullptr, item, unused);
        });
    }
}
