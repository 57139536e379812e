// Text inputs that stand for several files of a definition directory: the parts lie between record separators (0x1E).
#ifndef VELMORA_FUZZ_DEFINITION_FOLDER_H
#define VELMORA_FUZZ_DEFINITION_FOLDER_H

#include "fuzz/support.h"

// The next part, without the separator behind it.
inline std::string next_part(Input *input)
{
    std::string part;
    while (input->left > 0) {
        char c = static_cast<char>(input->byte());
        if (c == '\x1E')
            break;
        part += c;
    }
    return part;
}

// Writes each part to the file of its row. What has no part is not there.
template <size_t COUNT>
inline void write_parts(Input *input, const char *const (&names)[COUNT])
{
    for (const char *name : names) {
        if (input->left > 0)
            write_scratch(name, next_part(input));
        else
            drop_scratch(name);
    }
}

// The scratch folder as the definition directory of one run, and nothing left of what was read from it.
struct Definition_Run {
    Definition_Run() { DICOM_Module_Setup(nullptr, scratch_folder().c_str()); }
    ~Definition_Run()
    {
        DICOM_Module_Free();
        DICOM_Module_Free_Private();
        DICOM_Module_Cleanup();
        DICOM_Module_Setup(nullptr, "");
    }
    Definition_Run(const Definition_Run &) = delete;
};

#endif
