// Brings a data set in line with the template of its kind, step by step: the steps of the library in their order, and
// what a host has to see to between them. docs/host-guide.md walks through this file.
//
//     conform DEFINITIONS IN OUT
//
// The program velmora does the same with more care: host/conform.cpp keeps each step to the places that data set and
// template both have. Here data set and template are copies of the host's own, so that what a lookup leaves behind in
// them is no harm.
#include "host/velmora_host.h"
#include "host/velmora_save.h"
#include "tree/DICOM_Constants.h"

#include <stdio.h>

using namespace velmora_host;

// ---- what a host adds of its own -------------------------------------------------------

// The modality of a CT image follows from its kind. Anything else is left to the library.
static DICOM_List *make_identification(HWND, DICOM_Root *root, DICOM_List **tree, DICOM_List *wanted, void *user)
{
    const char *module = static_cast<const char *>(user);
    bool is_modality = wanted->element == 0x0060 && root->Sequence_Depth == 0;
    if (!is_modality || std::string(module) != "CT_Image")
        return nullptr;
    DICOM_Attribute_Add(nullptr, root, tree, wanted->group, wanted->element, VR_CS, 1, "CT");
    return DICOM_Attribute_Get(nullptr, root, *tree, wanted->group, wanted->element, 0);
}

static void free_tree(DICOM_List *tree)
{
    for (DICOM_List *node = tree, *next; node != nullptr; node = next) {
        next = node->next;
        DICOM_Attribute_Free(nullptr, node);
    }
}

// Attributes of a tag that stands there twice: the first is the one that counts, after a sort.
static void drop_doubles(Data_Set *set)
{
    for (DICOM_List *node = set->tree; node != nullptr && node->next != nullptr; node = node->next)
        if (node->group == node->next->group && node->element == node->next->element)
            node->next->flag |= FLAG_DELETED;
    DICOM_Attribute_Remove(nullptr, &set->tree, REMOVE_DELETED);
}

// Empty offset tables, empty items and private attributes are nothing that may be dropped: of type 1C they stay.
static void protect(DICOM_List *list)
{
    for (DICOM_List *node = list; node != nullptr; node = node->next) {
        if (is_item_mark(node) || (node->group & 1) != 0)
            node->type = TYPE_1C;
        for (int i = 0; i < node->nb_item && node->item[i] != nullptr; i++)
            protect(node->item[i]);
    }
}

// ---- the steps ------------------------------------------------------------------------

static void bring_in_line(Data_Set *set, DICOM_List *tmplt, const char *module)
{
    DICOM_Root root = {};
    DICOM_List **tree = &set->tree;

    DICOM_Attribute_Cleanup(nullptr, &root, *tree);

    DICOM_Module_List_Group_Grow(0x0008, make_identification);
    for (DICOM_List *wanted = tmplt; wanted != nullptr; wanted = wanted->next)
        DICOM_Module_Add(nullptr, &root, tree, wanted, const_cast<char *>(module));

    DICOM_Postproc_Overwrite(nullptr, &root, tree, tmplt, FLAG_FORCED);
    DICOM_Postproc_Step_1(nullptr, &root, tree, tmplt, FLAG_DEFAULT);
    DICOM_Attribute_Sort(nullptr, &root, tree);
    drop_doubles(set);

    DICOM_Attribute_Assign_Info(nullptr, &root, tmplt, *tree);
    protect(*tree);
    DICOM_Postproc_Step_2(nullptr, &root, *tree, TYPE_NONE);
    DICOM_Attribute_Remove(nullptr, tree, REMOVE_DELETED);
    close_gaps(*tree);

    DICOM_Postproc_Step_4(nullptr, &root, tree, tmplt);
    close_gaps(*tree);

    DICOM_Postproc_Step_5(nullptr, &root, *tree);
    DICOM_Postproc_Verification(nullptr, &root, *tree, tmplt, 0);
    DICOM_Attribute_Sort(nullptr, &root, tree);
}

static int conform(const char *in, const char *out)
{
    Data_Set set;
    std::string error;
    if (load_from_path(in, Load_Options(), &set, &error) != LOADED) {
        fprintf(stderr, "%s %s\n", in, error.c_str());
        return 3;
    }
    make_editable(&set);

    const char *module = DICOM_Module_Name(nullptr, set.tree);
    DICOM_Root root = {};
    DICOM_List *tmplt = nullptr;
    DICOM_Attribute_Copy(nullptr, &root, &tmplt, DICOM_Module_Read(nullptr, module));
    if (tmplt == nullptr) {
        fprintf(stderr, "there is no template %s\n", module);
        release_data_set(&set);
        return 3;
    }

    bring_in_line(&set, tmplt, module);
    free_tree(tmplt);

    Save_Options options;
    options.source = in;
    bool is_saved = save_to_path(&set, out, options, &error);
    if (!is_saved)
        fprintf(stderr, "%s %s\n", out, error.c_str());
    release_data_set(&set);
    return is_saved ? 0 : 3;
}

int main(int argc, char **argv)
{
    if (argc != 4) {
        fprintf(stderr, "usage: conform DEFINITIONS IN OUT\n");
        return 2;
    }
    Flag_Error_Warning = 3;   // what is wrong or lacking
    Flag_Error_Report = 8;    // what was put right: not of interest here
    Error_Set_Threshold(3);
    DICOM_Module_Setup(nullptr, (std::string(argv[1]) + "/").c_str());
    int status = conform(argv[2], argv[3]);
    DICOM_Lib_Cleanup();
    return status;
}
