// Code tables of any text, and any text that is looked up in them.
#include "fuzz/definition_folder.h"

static void look_up(const std::string &text, const char *table)
{
    std::string searched = text;
    Code_Seq code = {};
    code.str = searched.data();
    int found = DICOM_Macro_CodeSequence_Set(&code, table);
    HOLDS((found == 1) == (DICOM_Macro_Code_Sequence_Get() == &code));
    HOLDS(searched == text);
    if (found) {
        HOLDS(code.code_value != nullptr && code.coding_scheme != nullptr && code.code_meaning != nullptr);
    } else {
        HOLDS(code.code_value == nullptr && code.coding_scheme == nullptr && code.code_meaning == nullptr);
    }
    DICOM_Macro_Code_Sequence_Reset();
    DICOM_Lib_Free(&code.code_value);
    DICOM_Lib_Free(&code.coding_scheme);
    DICOM_Lib_Free(&code.code_meaning);
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *bytes, size_t size)
{
    Input input(bytes, size);
    unsigned char choice = input.byte();
    Fresh_Library library((choice & 0x70) == 0x70);
    Definition_Run run;
    std::string first = as_text(next_part(&input)), second = as_text(next_part(&input));
    write_scratch("table.txt", input.rest());
    look_up(first, "table.txt");
    look_up(second, "table.txt");
    look_up(first, (choice & 1) != 0 ? second.c_str() : "missing.txt");
    return 0;
}
