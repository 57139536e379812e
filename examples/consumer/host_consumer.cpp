// A host that stands on the installed host library as well: a file of any encoding, and its patient's ID.
//
//     host_consumer image.dcm
#include "host/velmora_host.h"

#include <stdio.h>

int main(int argc, char **argv)
{
    velmora_host::Data_Set set;
    std::string error;
    if (argc != 2 ||
        velmora_host::load_from_path(argv[1], velmora_host::Load_Options(), &set, &error) != velmora_host::LOADED) {
        fprintf(stderr, "%s\n", argc != 2 ? "host_consumer FILE" : error.c_str());
        return 2;
    }
    DICOM_Root root = {};
    DICOM_List *id = DICOM_Attribute_Get(nullptr, &root, set.tree, 0x0010, 0x0020, 0);
    char **texts = id != nullptr ? NEMA_Value_Str(nullptr, id, 0) : nullptr;
    printf("Patient ID: %s\n", texts != nullptr ? texts[0] : "none");
    velmora_host::release_data_set(&set);
    DICOM_Lib_Cleanup();
    return texts != nullptr ? 0 : 1;
}
