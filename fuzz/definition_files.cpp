// Module, attribute and include files of any text, and a file that goes before them: read into a template, and the
// steps that bring a data set in line with it.
#include <string.h>

#include "fuzz/definition_folder.h"

static const char *const file_names[] = {"DICOM_Module_CT_Image.txt", "DICOM_Attributes_a.txt",
                                         "DICOM_Attributes_b.txt",    "DICOM_Include_m.txt",
                                         "DICOM_Include_n.txt",       "override.txt"};

// A small data set for the steps to work on.
static DICOM_List *make_data_set()
{
    DICOM_Root root = {};
    DICOM_List *list = nullptr;
    DICOM_Attribute_Add(nullptr, &root, &list, 0x0008, 0x0016, VR_UI, 1, "1.2.840.10008.5.1.4.1.1.2");
    DICOM_Attribute_Add(nullptr, &root, &list, 0x0008, 0x0060, VR_CS, 1, "CT");
    DICOM_Attribute_Add(nullptr, &root, &list, 0x0008, 0x1140, VR_SQ, 1, 0);
    DICOM_Attribute_Sequence_Start(nullptr, &root, 0x0008, 0x1140, 0, 0);
    DICOM_Attribute_Item_Start(nullptr, &root, 0);
    DICOM_Attribute_Add(nullptr, &root, &list, 0x0008, 0x1150, VR_UI, 1, "1.2.3");
    DICOM_Attribute_Item_Stop(nullptr, &root, 0);
    DICOM_Attribute_Sequence_Stop(nullptr, &root, 0);
    DICOM_Attribute_Add(nullptr, &root, &list, 0x0010, 0x0020, VR_LO, 0);
    DICOM_Attribute_Complement(nullptr, &root, list);
    return list;
}

static void conform_to(DICOM_List *tmplt)
{
    DICOM_List *set = make_data_set();
    DICOM_Root root = {};
    for (DICOM_List *wanted = tmplt; wanted != nullptr; wanted = wanted->next)
        DICOM_Module_Add(nullptr, &root, &set, wanted, nullptr);
    DICOM_Postproc_Step_1(nullptr, &root, &set, tmplt, FLAG_FORCED | FLAG_DEFAULT);
    DICOM_Attribute_Sort(nullptr, &root, &set);
    DICOM_Attribute_Assign_Info(nullptr, &root, tmplt, set);
    DICOM_Postproc_Overwrite(nullptr, &root, &set, tmplt, FLAG_FORCED);
    DICOM_Postproc_Step_2(nullptr, &root, set, 0);
    DICOM_Attribute_Remove(nullptr, &set, REMOVE_DELETED);
    DICOM_Postproc_Step_4(nullptr, &root, &set, tmplt);
    DICOM_Postproc_Verification(nullptr, &root, set, tmplt, 0);
    DICOM_Attribute_Copy(nullptr, &root, &set, tmplt);
    DICOM_Attribute_Stool(nullptr, &root, set, 3);
    char *block = nullptr;
    DICOM_List2Stream(nullptr, 8, set, &block);
    DICOM_Lib_Free(&block);
    check_tree(set);
    free_tree(set);
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *bytes, size_t size)
{
    Input input(bytes, size);
    unsigned char choice = input.byte();
    Fresh_Library library((choice & 0x70) == 0x70);
    Flag_Trace = (choice & 2) != 0 ? 5 : 0;
    write_parts(&input, file_names);
    Definition_Run run;
    if ((choice & 1) != 0)
        strcpy(DICOM_Override, (scratch_folder() + "override.txt").c_str());
    DICOM_List *tmplt = DICOM_Module_Read(nullptr, "CT_Image");
    check_tree(tmplt);
    conform_to(tmplt);
    DICOM_List *again = DICOM_Module_Read(nullptr, "CT_Image");
    if (tmplt != nullptr && again != tmplt)   // what could not be read may have left the override's nodes
        fail("the template of %p is %p at the next call", static_cast<void *>(tmplt), static_cast<void *>(again));
    char name[] = "n";
    DICOM_Module_Include_Get(nullptr, name, "a", 1);
    return 0;
}
