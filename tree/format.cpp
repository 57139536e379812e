// Turns the flat run of elements that a reader sees into a tree: follows delimiters and declared lengths at once, so
// that it copes with both encodings of a sequence and with streams in which one of the two is damaged.
#include "dictionary/DICOM_Dictionary.h"
#include "tree/taking_internal.h"

static const char SOURCE[] = ".\\NEMA_Tag_Format";

static int64_t &sequence_end(Nesting *nesting)
{
    return nesting->end_of_sequence[depth_of(nesting)];
}

static int64_t &item_end(Nesting *nesting)
{
    return nesting->end_of_item[depth_of(nesting)];
}

static unsigned int shown_end(int64_t end)
{
    return static_cast<unsigned int>(end);
}

// Where a sequence or an item of defined length ends. The sum may lie beyond what an int holds.
static int64_t declared_end(const DICOM_List *tag)
{
    return static_cast<int64_t>(tag->size) + tag->data_pos;
}

static void stop_sequence(HWND window, Nesting *nesting)
{
    DICOM_Attribute_Sequence_Stop(window, &nesting->open.root, LEVEL_FUNCTION);
}

/* ---- before the insertion ------------------------------------------------------------- */

static void mark_retired_and_private(HWND window, DICOM_List *tag)
{
    if (tag->db != nullptr && tag->db->type <= 0) {
        tag->flag |= FLAG_RETIRED;
        REPORT(window, Flag_Error_Report, "\x02    (\x01%04x\x02,\x01%04x\x02) Retired from DICOM (\x01%s\x02)",
               tag->group, tag->element, tag->db->description);
    }
    if (is_private_group(tag->group))
        tag->flag |= FLAG_PRIVATE;
}

static void close_item_by_size(HWND window, Nesting *nesting, const DICOM_List *tag)
{
    if (!has_ended(item_end(nesting), tag))
        return;
    item_end(nesting) = NO_END;
    DICOM_Attribute_Item_Stop(window, &nesting->open.root, LEVEL_FUNCTION);
    REPORT(window, LEVEL_ATTRIBUTE, "\"Stop of Item\" from size");
}

static void close_by_size(HWND window, Nesting *nesting, const DICOM_List *tag)
{
    while (has_ended(sequence_end(nesting), tag)) {
        sequence_end(nesting) = NO_END;
        stop_sequence(window, nesting);
        REPORT(window, LEVEL_ATTRIBUTE, "\"Stop of Sequence\" from size");
    }
    close_item_by_size(window, nesting, tag);
}

static void close_sequence_at_delimiter(HWND window, Nesting *nesting, const DICOM_List *tag)
{
    // A sequence of defined length may have a delimiter all the same; its end must not close the next one.
    sequence_end(nesting) = NO_END;
    stop_sequence(window, nesting);
    REPORT(window, LEVEL_ATTRIBUTE, "\"Stop of Sequence\" tag (%04x,%04x) size=%d (End_Of_Item:%04X)", tag->group,
           tag->element, tag->size, shown_end(item_end(nesting)));
}

static void open_item(HWND window, Nesting *nesting, const DICOM_List *tag)
{
    start_item(window, &nesting->open);
    if (tag->size != UNDEFINED_LENGTH)
        item_end(nesting) = declared_end(tag);
    REPORT(window, LEVEL_ATTRIBUTE, "\"Start of Item\" tag (%04x,%04x) size=%d (End_Of_Item[%d]:%04X)", tag->group,
           tag->element, tag->size, depth_of(nesting), shown_end(item_end(nesting)));
}

// Tags ascend within a data set. Where one does not, a sequence of unknown end has run on into the data set around it.
static void check_order(HWND window, Nesting *nesting, const DICOM_List *tag)
{
    const DICOM_Root &root = nesting->open.root;   // its depth is always one that it has room for
    unsigned short group = root.Sequence_Group[depth_of(nesting)], element = root.Sequence_Element[depth_of(nesting)];
    if ((tag->flag & ORIGIN_DICOM) == 0 || is_delimiter_group(tag->group) || is_delimiter_group(group) ||
        tag_number(tag) >= tag_number(group, element))
        return;

    if (depth_of(nesting) == 0) {
        if (!nesting->has_warned_of_order)
            REPORT(window, Flag_Error_Warning,
                   "    \xF1\x05WARNING:\x02 (\x01%04x\x02,\x01%04x\x02) tags should be sorted!", tag->group,
                   tag->element);
        nesting->has_warned_of_order = true;
    } else if (sequence_end(nesting) <= 0) {
        REPORT(window, Flag_Error_Warning,
               "    \xF1\x05WARNING:\x02 (\x01%04x\x02,\x01%04x\x02) missing end of sequence tag!", tag->group,
               tag->element);
        sequence_end(nesting) = NO_END;
        stop_sequence(window, nesting);
    }
}

// Attributes that stand in a sequence without an item in front of them would have no place in the tree: they get an
// item of their own, so that nothing is lost.
static void open_missing_item(HWND window, Nesting *nesting, const DICOM_List *tag)
{
    int depth = depth_of(nesting);
    if (depth == 0 || tag->group == GROUP_ITEM || nesting->open.root.Item_Number[depth] > 0)
        return;
    REPORT(window, Flag_Error_Warning,
           "    \xF1\x05WARNING:\x02 (\x01%04x\x02,\x01%04x\x02) missing item tag!", tag->group, tag->element);
    start_item(window, &nesting->open);
}

/* ---- after the insertion -------------------------------------------------------------- */

static bool is_item(const DICOM_List *tag)
{
    return tag != nullptr && is_tag(tag, GROUP_ITEM, ELEMENT_ITEM);
}

// made is null where the insertion failed: then there is nothing to be marked.
static void mark_deleted(DICOM_List *made)
{
    if (made != nullptr)
        made->flag |= FLAG_DELETED;
}

static void open_sequence(HWND window, Nesting *nesting, const DICOM_List *tag, DICOM_List *made,
                          const DICOM_List *next)
{
    start_sequence(window, &nesting->open, tag, made);
    if (tag->size != UNDEFINED_LENGTH) {
        sequence_end(nesting) = declared_end(tag);
    } else if (next == nullptr || next->group != GROUP_ITEM) {
        REPORT(window, Flag_Error_Warning,
               "    \xF1\x05WARNING:\x02 (\x01%04x\x02,\x01%04x\x02) Syntax Error! "
               "VR=SQ should be followed by an \"item\" tag", tag->group, tag->element);
        stop_sequence(window, nesting);
        mark_deleted(made);
    }
    REPORT(window, LEVEL_ATTRIBUTE, "\"Start of Sequence\" tag (%04x,%04x) size=%d (End_Of_Sequence[%d]:%04X)",
           tag->group, tag->element, tag->size, depth_of(nesting), shown_end(sequence_end(nesting)));
}

// A value in fragments, as compressed pixel data has it, becomes a sequence of items.
static void open_fragments(HWND window, Nesting *nesting, const DICOM_List *tag, DICOM_List *made, unsigned short vr,
                           const DICOM_List *next)
{
    start_sequence(window, &nesting->open, tag, made);
    if (!is_item(next)) {
        REPORT(window, Flag_Error_Warning,
               "    \xF1\x05WARNING:\x02 (\x01%04x\x02,\x01%04x\x02) Syntax Error! "
               "VR=%c%c Variable length tag should be followed by an \"item\" tag", tag->group, tag->element,
               first_letter(vr), second_letter(vr));
        stop_sequence(window, nesting);
        mark_deleted(made);
    }
    REPORT(window, LEVEL_ATTRIBUTE, "\"Start of Sequence\" tag (%04x,%04x) size=%d (End_Of_Sequence:%04X)",
           tag->group, tag->element, tag->size, shown_end(sequence_end(nesting)));
}

// An implicit sequence of an unknown tag: only the item behind it tells what it is.
static void open_unknown_sequence(HWND window, Nesting *nesting, const DICOM_List *tag, DICOM_List *made)
{
    start_sequence(window, &nesting->open, tag, made);
    if (tag->size == UNDEFINED_LENGTH)
        return;
    sequence_end(nesting) = declared_end(tag);
    if (made != nullptr)
        made->size = UNDEFINED_LENGTH;
}

static void refuse_undefined_text(HWND window, const DICOM_List *tag, DICOM_List *made)
{
    REPORT(window, Flag_Error_Warning,
           "    \xF1\x05WARNING:\x02 (\x01%04x\x02,\x01%04x\x02) Syntax Error! "
           "Variable length tag is not allowed for VR=%c%c", tag->group, tag->element, 'U', 'T');
    mark_deleted(made);
}

// Opens what an element opens. False for a sequence that only its item gives away: no more is done about it.
//   vr    what counts for it, guessed or not
//   next  the element behind it, or null
static bool open_by_vr(HWND window, Nesting *nesting, const DICOM_List *tag, DICOM_List *made, unsigned short vr,
                       const DICOM_List *next)
{
    bool is_undefined = tag->size == UNDEFINED_LENGTH;
    switch (vr) {
    case VR_SQ:
        open_sequence(window, nesting, tag, made, next);
        return true;
    case VR_UT:
        if (is_undefined)
            refuse_undefined_text(window, tag, made);
        return true;
    case VR_OB:
    case VR_OW:
    case VR_UN:
        if (is_undefined)
            open_fragments(window, nesting, tag, made, vr, next);
        return true;
    case VR_NONE:
        if (!is_item(next))
            return true;
        open_unknown_sequence(window, nesting, tag, made);
        return false;
    default:
        return true;
    }
}

static void close_item_at_delimiter(HWND window, Nesting *nesting, const DICOM_List *tag)
{
    DICOM_Attribute_Item_Stop(window, &nesting->open.root, LEVEL_FUNCTION);
    REPORT(window, LEVEL_ATTRIBUTE, "\"Stop of Item\" tag (%04x,%04x) size=%d (End_Of_Item:%04X)", tag->group,
           tag->element, tag->size, shown_end(item_end(nesting)));
}

/* ---- node by node ----------------------------------------------------------------------- */

static void before_insertion(HWND window, Nesting *nesting, DICOM_List *tag)
{
    REPORT(window, LEVEL_FUNCTION, "DICOM_Attribute_Format (%04x,%04x) (pos:%04X)", tag->group, tag->element,
           static_cast<unsigned int>(tag->pos));
    mark_retired_and_private(window, tag);
    close_by_size(window, nesting, tag);
    if (is_tag(tag, GROUP_ITEM, ELEMENT_SEQUENCE_END))
        close_sequence_at_delimiter(window, nesting, tag);
    if (is_tag(tag, GROUP_ITEM, ELEMENT_ITEM))
        open_item(window, nesting, tag);
    check_order(window, nesting, tag);
    open_missing_item(window, nesting, tag);
    bool is_settled = tag->group == GROUP_ITEM && tag->vr_explicit == VR_NONE && tag->vr != VR_NONE;
    if (!is_settled)
        DICOM_Attribute_Format_VR(window, tag);
}

static void after_insertion(HWND window, Nesting *nesting, const DICOM_List *tag, DICOM_List *made, unsigned short vr,
                            const DICOM_List *next)
{
    if (!open_by_vr(window, nesting, tag, made, vr, next))
        return;
    if (is_tag(tag, GROUP_ITEM, ELEMENT_ITEM_END))
        close_item_at_delimiter(window, nesting, tag);
    close_item_by_size(window, nesting, tag);
}

static void begin_nesting(HWND window, Nesting *nesting)
{
    begin_tree(window, &nesting->open);
    nesting->has_warned_of_order = false;
    for (int depth = 0; depth <= MAX_SEQUENCE_DEPTH; depth++)
        nesting->end_of_sequence[depth] = nesting->end_of_item[depth] = NO_END;
}

DICOM_List *DICOM_Attribute_Format(HWND window, DICOM_List *list)
{
    REPORT(window, LEVEL_FUNCTION, "in DICOM_Attribute_Format()");
    Nesting nesting;
    begin_nesting(window, &nesting);
    for (DICOM_List *tag = list; tag != nullptr; tag = tag->next) {
        before_insertion(window, &nesting, tag);
        DICOM_List *made = insert_open(window, &nesting.open, tag);
        after_insertion(window, &nesting, tag, made, working_vr(tag), tag->next);
    }
    end_tree(&nesting.open);
    return nesting.open.head;
}

/* ---- nodes that the tree takes over ----------------------------------------------------- */

Taking *taking_begin(HWND window)
{
    Taking *taking = static_cast<Taking *>(ALLOC_CALLOC(window, "taking", 1, sizeof(Taking)));
    if (taking == nullptr)
        return nullptr;
    begin_nesting(window, &taking->nesting);
    taking->has_traces = report_threshold >= LEVEL_ATTRIBUTE;
    taking->has_remarks = report_threshold >= Flag_Error_Report;
    return taking;
}

char *taking_text(const char *text, size_t size)
{
    return node_heap_text(text, size);
}

bool taking_add(HWND window, Taking *taking, DICOM_List *node, const DICOM_List *next)
{
    before_insertion(window, &taking->nesting, node);
    unsigned short vr = working_vr(node);
    bool is_taken = take_open(window, &taking->nesting.open, node, &taking->place);
    if (is_taken)
        after_insertion(window, &taking->nesting, node, node, vr, next);
    return is_taken;
}

// Most of the steps are about attributes.
bool taking_add_item_tag(Taking *taking, DICOM_List *node)
{
    Nesting *nesting = &taking->nesting;
    bool is_settled = node->vr_explicit == VR_NONE && node->vr != VR_NONE;
    if (taking->has_traces || !is_settled || (node->db != nullptr && node->db->type <= 0))
        return taking_add(nullptr, taking, node, nullptr);
    close_by_size(nullptr, nesting, node);
    if (node->element == ELEMENT_SEQUENCE_END)
        close_sequence_at_delimiter(nullptr, nesting, node);
    else if (node->element == ELEMENT_ITEM)
        open_item(nullptr, nesting, node);
    if (!take_open(nullptr, &nesting->open, node, &taking->place))
        return false;
    close_item_by_size(nullptr, nesting, node);
    return true;
}

void taking_set_end(Taking *taking, int depth, int end)
{
    if (is_usable_depth(depth))
        taking->nesting.end_of_sequence[depth] = end;
}

void taking_end(Taking *taking)
{
    if (taking == nullptr)
        return;
    end_tree(&taking->nesting.open);
    node_heap_close(&taking->place);
    frame_free(taking);
}
