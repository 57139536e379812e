// Private definition files of any text, for any creator.
#include "fuzz/definition_folder.h"

static const char *const file_names[] = {"DICOM_Private_ACME.txt", "DICOM_Private_ACME CT 1.txt", "DICOM_Include_m.txt"};

static const unsigned short elements[] = {0x0010, 0x0011, 0x1001, 0x1002, 0x1010, 0x1101, 0x10FF, 0xFF01};

static void complement(const std::string &creator, unsigned short group, unsigned short element)
{
    DICOM_List node = {};
    node.group = group;
    node.element = element;
    DICOM_Module_Read_Private(nullptr, creator.c_str(), &node);
    DICOM_Root root = {};
    DICOM_Attribute_Stool_Tag(nullptr, &root, &node, 3);
    DICOM_Lib_Free(&node.description);
}

// A data set with the creator and some elements of its blocks.
static void complement_set(const std::string &creator, unsigned short group)
{
    DICOM_Root root = {};
    DICOM_List *list = nullptr;
    DICOM_Attribute_Add(nullptr, &root, &list, group, 0x0010, VR_LO, 1, creator.c_str());
    for (unsigned short element : elements)
        DICOM_Attribute_Find(nullptr, &root, &list, group, element);
    DICOM_Attribute_Complement(nullptr, &root, list);
    check_tree(list);
    free_tree(list);
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *bytes, size_t size)
{
    Input input(bytes, size);
    unsigned char choice = input.byte();
    unsigned short group = (choice & 8) != 0 ? input.word() : 0x0029;
    Fresh_Library library((choice & 0x70) == 0x70);
    std::string creator = as_text(next_part(&input));
    write_parts(&input, file_names);
    Definition_Run run;
    for (const std::string &each : {creator, std::string("acme ct 1"), std::string("ACME CT 1 B"), std::string("ACME/X")})
        for (unsigned short element : elements)
            complement(each, group, element);
    complement_set("ACME CT 1", static_cast<unsigned short>(group | 1));
    complement_set(creator.substr(0, 64), static_cast<unsigned short>(group | 1));
    return 0;
}
