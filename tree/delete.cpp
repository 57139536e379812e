// The end of nodes: one with all that it owns, those of a tag at every depth, and those that a filter names.
#include "tree/taking_internal.h"

static void report_free(HWND window, const DICOM_List *node)
{
    REPORT(window, LEVEL_FUNCTION, "in DICOM_Attribute_Free(%04x,%04x)", node->group, node->element);
}

// A node whose items have gone, with what else it owns. Most have neither of these, and each call takes its time.
static inline void free_fields(DICOM_List *node, Freed_Blocks *freed)
{
    if (node->description != nullptr)
        frame_free(node->description);   // which others may hold as well
    if (node->data != nullptr)
        count_freed(freed, node->data);
    count_freed(freed, node);
}

static void free_chain(HWND window, DICOM_List *first, Freed_Blocks *freed);

// The recursion is as deep as the sequences are nested: nine levels in a tree that this library made.
static void free_with_items(HWND window, DICOM_List *node, Freed_Blocks *freed)
{
    report_free(window, node);
    // Items behind an empty slot are out of reach of every walk, but they are still the node's.
    for (int i = 0; i < node->nb_item; i++)
        free_chain(window, node->item[i], freed);
    count_freed(freed, node->item);
    free_fields(node, freed);
}

static void free_one(HWND window, DICOM_List *node, Freed_Blocks *freed)
{
    if (node->item != nullptr) {
        free_with_items(window, node, freed);
    } else {
        report_free(window, node);
        free_fields(node, freed);
    }
}

static void free_chain(HWND window, DICOM_List *first, Freed_Blocks *freed)
{
    for (DICOM_List *node = first, *next; node != nullptr; node = next) {
        next = node->next;
        free_one(window, node, freed);
    }
}

void DICOM_Attribute_Free(HWND window, DICOM_List *node)
{
    Freed_Blocks freed = {};
    free_one(window, node, &freed);
    free_counted(&freed);
}

void taking_free(DICOM_List *first)
{
    Freed_Blocks freed = {};
    free_chain(nullptr, first, &freed);
    free_counted(&freed);
}

static void free_linked(HWND window, DICOM_List **link)
{
    DICOM_List *node = *link;
    *link = node->next;
    DICOM_Attribute_Free(window, node);
}

/* ---- by tag ------------------------------------------------------------------------- */

// Deletes what matches in the chain that the cursor selects, and in all below it.
//   trace    called for each chain looked at
//   matches  asked for each node
template <class Trace, class Matches>
static int delete_matching(HWND window, DICOM_Root *root, DICOM_List **list, Trace trace, Matches matches)
{
    trace();
    while (list != nullptr && *list != nullptr && (*list)->depth < root->Sequence_Depth) {
        list = DICOM_Attribute_Item_Walk(window, root, *list);
        if (list != nullptr)
            trace();
    }
    if (list == nullptr || *list == nullptr)
        return 0;

    for (DICOM_List **link = list; *link != nullptr;) {
        if (matches(*link))
            free_linked(window, link);
        else
            link = &(*link)->next;
    }
    if (*list == nullptr)
        return 1;
    (*list)->last = nullptr;
    for (DICOM_List *node = *list; node != nullptr; node = node->next)
        if (node->item != nullptr)
            walk_items(window, root, node, LEVEL_FUNCTION, [&](DICOM_List **item) {
                delete_matching(window, root, item, trace, matches);
            });
    return 1;
}

int DICOM_Attribute_Delete(HWND window, DICOM_Root *root, DICOM_List **list, unsigned short group,
                           unsigned short element)
{
    return delete_matching(
        window, root, list,
        [=] { REPORT(window, LEVEL_FUNCTION, "in DICOM_Attribute_Delete(%04x,%04x)", group, element); },
        [=](const DICOM_List *node) { return fits_tag(node, group, element); });
}

int DICOM_Attribute_Delete(HWND window, DICOM_Root *root, DICOM_List **list, const char *group, const char *element)
{
    return delete_matching(
        window, root, list,
        [=] { REPORT(window, LEVEL_FUNCTION, "in DICOM_Attribute_Delete(%s,%s)", group, element); },
        [=](const DICOM_List *node) {
            return DICOM_Attribute_Match(group, element, node->group, node->element) != 0;
        });
}

/* ---- by filter ---------------------------------------------------------------------- */

static bool takes(unsigned char filter, const DICOM_List *node)
{
    if ((node->flag & FLAG_INVALID) != 0)
        return true;
    if ((filter & REMOVE_GROUP_LENGTH) != 0 && node->element == 0)
        return true;
    if ((filter & REMOVE_DELETED) != 0 && (node->flag & FLAG_DELETED) != 0)
        return true;
    if ((filter & REMOVE_RETIRED) != 0 && (node->flag & FLAG_RETIRED) != 0)
        return true;
    if ((filter & REMOVE_DELIMITERS) != 0 && (node->vr == VR_ITEM || node->vr == VR_DELIMITATION))
        return true;
    return (filter & REMOVE_PRIVATE) != 0 && (node->flag & FLAG_PRIVATE) != 0 && Flag_DICOM_Propriatery == 0;
}

int DICOM_Attribute_Remove(HWND window, DICOM_List **list, unsigned char filter)
{
    REPORT(window, LEVEL_FUNCTION, "in DICOM_Attribute_Remove()");
    if (list == nullptr || *list == nullptr)
        return 0;

    for (DICOM_List **link = list; *link != nullptr;) {
        DICOM_List *node = *link;
        if (takes(filter, node)) {
            REPORT(window, LEVEL_OPERATION, "DICOM_Attribute_Remove(%04x,%04x) Removing tag", node->group,
                   node->element);
            free_linked(window, link);
            continue;
        }
        for (int i = 0; node->item != nullptr && i < node->nb_item && node->item[i] != nullptr; i++)
            DICOM_Attribute_Remove(window, &node->item[i], filter);
        link = &node->next;
    }
    if (*list != nullptr)
        (*list)->last = nullptr;
    return 0;
}
