// Who builds an attribute that a template asks for: the host's handlers by group, or nobody, which leaves an empty one.
#include "write/write_internal.h"

static const char SOURCE[] = ".\\NEMA_Write_Module";

struct Module_Entry {
    unsigned short   group;
    DICOM_Module_Fct callback;
};

// Filled by the host before it starts its walks. The first entry of a group counts.
static Module_Entry *List_Group = nullptr;
static int List_Group_Nb = 0;
static Module_Entry *List_Private = nullptr;
static int List_Private_Nb = 0;

static int grow(const char *what, Module_Entry **list, int *count, unsigned short group, DICOM_Module_Fct callback)
{
    void *grown = ALLOC_REALLOC(hwnd, what, *list, *count + 1, sizeof(Module_Entry));
    if (grown == nullptr)
        return 0;
    *list = static_cast<Module_Entry *>(grown);
    (*list)[(*count)++] = {group, callback};
    return 1;
}

static DICOM_Module_Fct handler_of(const Module_Entry *list, int count, unsigned short group)
{
    for (int i = 0; i < count; i++)
        if (list[i].group == group)
            return list[i].callback;
    return nullptr;
}

int DICOM_Module_Add(HWND window, DICOM_Root *root, DICOM_List **target, DICOM_List *tmplt, void *user)
{
    DICOM_List *made = nullptr;
    if (DICOM_Module_Fct handler = handler_of(List_Group, List_Group_Nb, tmplt->group))
        made = handler(window, root, target, tmplt, user);
    // With a handler in both tables this one decides whether the node is dealt with.
    if (DICOM_Module_Fct handler = handler_of(List_Private, List_Private_Nb, tmplt->group))
        made = handler(window, root, target, tmplt, user);
    if (made != nullptr)
        return 0;

    if (tmplt->type == TYPE_NONE) {
        REPORT(window, LEVEL_LOCATION, "\xF1\x04" "ERROR: \x02Unknown tag type (\x01%04x\x02,\x01%04x\x02)",
               tmplt->group, tmplt->element);
        return 0;
    }
    if (tmplt->type == TYPE_2 || tmplt->type == TYPE_2C)
        DICOM_Attribute_Add(window, root, target, tmplt->group, tmplt->element, tmplt->vr, 0);
    return 1;
}

int DICOM_Module_List_Group_Grow(unsigned short group, DICOM_Module_Fct callback)
{
    return grow("List_Group", &List_Group, &List_Group_Nb, group, callback);
}

int DICOM_Module_List_Private_Grow(unsigned short group, DICOM_Module_Fct callback)
{
    return grow("List_Private", &List_Private, &List_Private_Nb, group, callback);
}

void DICOM_Module_List_Cleanup()
{
    frame_free(List_Group);
    frame_free(List_Private);
    List_Group = List_Private = nullptr;
    List_Group_Nb = List_Private_Nb = 0;
}
