// The library as a whole: its version, its tear-down, and the heap helpers for hosts.
#include "tree/Velmora_DICOM.h"

#include "frame/frame_internal.h"

static const char SOURCE[] = ".\\Velmora_DICOM";
static const char VERSION[] = "21.6";
static const char REVISION[] = "b";

const char *Get_Version_DICOM(const char *version)
{
    static char text[64];
    // The terminator takes part, so that neither "21.60" nor "21.6.1" passes.
    if (version != nullptr && strncmp(version, VERSION, sizeof VERSION) != 0)
        return nullptr;
    snprintf(text, sizeof text, "Velmora_DICOM.dll %s (rev-%s)", VERSION, REVISION);
    return text;
}

void DICOM_Lib_Cleanup()
{
    NEMA_Value_Cleanup();
    DICOM_Module_Free();
    DICOM_Module_Free_Private();
    NEMA_db_Cleanup();
    DICOM_Attribute_List_Cleanup();
    DICOM_Module_List_Cleanup();
    DICOM_Module_Cleanup();
}

int DICOM_Lib_Realloc(char **buffer, unsigned int size)
{
    if (size == 0) {
        DICOM_Lib_Free(buffer);
        return 1;
    }
    char *block = static_cast<char *>(ALLOC_REALLOC(hwnd, "*buffer", *buffer, size, 1));
    if (block == nullptr)
        DICOM_Lib_Free(buffer);
    else
        *buffer = block;
    return block != nullptr;
}

void DICOM_Lib_Free(char **buffer)
{
    frame_free(*buffer);
    *buffer = nullptr;
}
