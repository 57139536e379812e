// Lets a tree inherit what a reference tree knows of its attributes.
#include "tree/tree_internal.h"

void DICOM_Attribute_Assign_Info(HWND window, DICOM_Root *root, DICOM_List *reference, DICOM_List *target)
{
    for (; target != nullptr; target = target->next) {
        DICOM_List *known = DICOM_Attribute_Get(window, root, reference, target->group, target->element, 0);
        if (known != nullptr) {
            target->type = known->type;
            if (target->vr == VR_NONE)
                target->vr = known->vr;
        }
        if (target->item == nullptr)
            continue;

        // One start for all items: a reference describes the items of a sequence by its first one.
        DICOM_Attribute_Sequence_Start(window, root, target->group, target->element, target->flag, LEVEL_FUNCTION);
        DICOM_Attribute_Item_Start(window, root, LEVEL_FUNCTION);
        for (int i = 0; i < target->nb_item && target->item[i] != nullptr; i++)
            DICOM_Attribute_Assign_Info(window, root, reference, target->item[i]);
        DICOM_Attribute_Item_Stop(window, root, LEVEL_FUNCTION);
        DICOM_Attribute_Sequence_Stop(window, root, LEVEL_FUNCTION);
    }
}
