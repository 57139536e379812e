// Makes an attribute from program values: finds or makes its node, lets the builder of its VR make the value, and has
// it cleaned. The builders stand in add_texts.cpp and add_numbers.cpp.
#include "tree/add_internal.h"

static const char SOURCE[] = ".\\NEMA_Tag_Add";

struct Builder_Row {
    unsigned short vr;
    Add_Builder *build;
};

static const Builder_Row builders[] = {
    {VR_AE, DICOM_Tag_Add_VR_SH},
    {VR_CS, DICOM_Tag_Add_VR_SH},
    {VR_LO, DICOM_Tag_Add_VR_SH},
    {VR_SH, DICOM_Tag_Add_VR_SH},
    {VR_AS, DICOM_Tag_Add_UT},
    {VR_LT, DICOM_Tag_Add_UT},
    {VR_ST, DICOM_Tag_Add_UT},
    {VR_UT, DICOM_Tag_Add_UT},
    {VR_AT, DICOM_Tag_Add_AT},
    {VR_DA, DICOM_Tag_Add_DA},
    {VR_DS, DICOM_Tag_Add_DS},
    {VR_DT, DICOM_Tag_Add_DT},
    {VR_FD, DICOM_Tag_Add_FD},
    {VR_FL, DICOM_Tag_Add_FL},
    {VR_IS, DICOM_Tag_Add_IS},
    {VR_OB, DICOM_Tag_Add_OB},
    {VR_OW, DICOM_Tag_Add_OW},
    {VR_PN, DICOM_Tag_Add_PN},
    {VR_SL, DICOM_Tag_Add_SL},
    {VR_SS, DICOM_Tag_Add_VR_SS},
    {VR_TM, DICOM_Tag_Add_TM},
    {VR_UI, DICOM_Tag_Add_VR_UI},
    {VR_UL, DICOM_Tag_Add_VR_UL},
    {VR_US, DICOM_Tag_Add_US},
};

/* ---- the growing value ---------------------------------------------------------------------- */

bool reserve_value(Value_Block *block, size_t more, bool exact)
{
    size_t used = static_cast<size_t>(*block->size);
    if (more > INT_MAX - used) {
        // No node could tell this size, so the allocation is not tried.
        REPORT(block->window, LEVEL_MEMORY, "line %-4d of %s \nmemory error in realloc (var=%s, dim=%dx%d)", __LINE__,
               SOURCE, "data", INT_MAX, 1);
        drop_value(block);
        return false;
    }
    size_t needed = used + more;
    if (needed <= block->room)
        return true;
    size_t room = exact ? needed : needed + block->room;
    void *grown = ALLOC_REALLOC_ROOM(block->window, "data", block->data, room, needed, 1);
    if (grown == nullptr) {
        drop_value(block);
        return false;
    }
    block->data = static_cast<char *>(grown);
    block->room = room;
    return true;
}

bool append_value(Value_Block *block, const void *bytes, size_t count)
{
    if (count == 0)
        return true;
    if (!reserve_value(block, count, false))
        return false;
    memcpy(block->data + *block->size, bytes, count);
    *block->size += static_cast<int>(count);
    return true;
}

bool allocate_value(Value_Block *block, size_t count)
{
    block->data = static_cast<char *>(ALLOC_MALLOC(block->window, "data", count, 1));
    block->room = block->data != nullptr ? count : 0;
    return block->data != nullptr;
}

char *drop_value(Value_Block *block)
{
    frame_free(block->data);
    block->data = nullptr;
    block->room = 0;
    *block->size = 0;
    return nullptr;
}

char *pad_value(Value_Block *block, char padding)
{
    if (*block->size % 2 != 0 && (!reserve_value(block, 1, true) || !append_value(block, &padding, 1)))
        return nullptr;
    return *block->size > 0 ? block->data : drop_value(block);
}

/* ---- exported ---------------------------------------------------------------------------------- */

static Add_Builder *builder_of(unsigned short vr)
{
    for (const Builder_Row &row : builders)
        if (row.vr == vr)
            return row.build;
    return nullptr;
}

static void build_value(HWND window, DICOM_List *tag, int nb_arg, Add_Values *values)
{
    unsigned short vr = tag->vr_explicit;
    if (vr == VR_SQ) {
        tag->flag = static_cast<unsigned short>(tag->flag | va_arg(values->list, int));
        return;
    }
    Add_Builder *build = builder_of(vr);
    if (build == nullptr) {
        REPORT(window, LEVEL_MEMORY, "Error: file:%s line:%d", SOURCE, __LINE__);
        REPORT(window, LEVEL_MEMORY, "tag (%04x,%04x) VR=%c%c not implemented", tag->group, tag->element,
               shown_letter(first_letter(vr)), shown_letter(second_letter(vr)));
        return;
    }
    tag->data = build(window, &tag->size, nb_arg, values);
}

DICOM_List *DICOM_Attribute_Add(HWND window, DICOM_Root *root, DICOM_List **list, unsigned short group,
                                unsigned short element, unsigned short VR, int nb_arg, ...)
{
    REPORT(window, LEVEL_FUNCTION, "in DICOM_Attribute_Add(%04x,%04x) nb_arg=%d", group, element, nb_arg);
    DICOM_List *tag = DICOM_Attribute_Find(window, root, list, group, element);
    if (tag == nullptr || (tag->flag != 0 && tag->size != 0))
        return *list;

    // A node without value may still hold an empty block, or have come from elsewhere without a flag.
    frame_free(tag->data);
    tag->data = nullptr;
    tag->size = 0;
    tag->syntax = SYNTAX_EXPLICIT;
    tag->vr_explicit = VR;
    tag->flag = ORIGIN_VELM;
    tag->db = NEMA_db_Locate(group, element);
    if (nb_arg != 0) {
        Add_Values values;
        va_start(values.list, nb_arg);
        build_value(window, tag, nb_arg, &values);
        va_end(values.list);
    }
    if (!DICOM_Attribute_Cleanup_Tag(window, tag))
        REPORT(window, Flag_Error_Warning, "    \xF1\x05WARNING:\x02 problem creating tag (\x01%04x\x02,\x01%04x\x02)",
               group, element);
    return *list;
}
