// The end of a node, with all that it owns.
#include "tree/tree_internal.h"

// The recursion is as deep as the sequences are nested: nine levels in a tree that this library made.
void DICOM_Attribute_Free(HWND window, DICOM_List *node)
{
    REPORT(window, LEVEL_FUNCTION, "in DICOM_Attribute_Free(%04x,%04x)", node->group, node->element);
    // Items behind an empty slot are out of reach of every walk, but they are still the node's.
    for (int i = 0; node->item != nullptr && i < node->nb_item; i++) {
        for (DICOM_List *each = node->item[i]; each != nullptr;) {
            DICOM_List *next = each->next;
            DICOM_Attribute_Free(window, each);
            each = next;
        }
    }
    free(node->item);
    free(node->data);
    free(node->description);
    free(node);
}
