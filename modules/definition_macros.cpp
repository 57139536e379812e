// Macros: the files that include lines name. Each is read once in a run and kept in a table, and its list serves every
// line that includes it.
#include "modules/modules_internal.h"

static const char SOURCE[] = ".\\NEMA_Read_IOD";

char *Include_Name[INCLUDE_ROOM];
DICOM_List *Include_List[INCLUDE_ROOM];
int Include_Nb = 0;

// Slots of the macros that are being read, the outermost first. Their lists still grow, so that nobody may walk them.
static int open_slots[MAX_INCLUDE_DEPTH];
static int open_depth = 0;

static int find_macro(const char *name)
{
    for (int i = 0; i < Include_Nb; i++)
        if (Include_Name[i] != nullptr && strcmp(Include_Name[i], name) == 0)
            return i;
    return -1;
}

static bool is_being_read(int slot)
{
    for (int i = 0; i < open_depth; i++)
        if (open_slots[i] == slot)
            return true;
    return false;
}

static DICOM_List *recall_macro(HWND window, int slot, const char *file, int line)
{
    REPORT(window, LEVEL_OPERATION, "-> macro already in memory");
    if (!is_being_read(slot))
        return Include_List[slot];
    report_attribute_line(window, file, line);
    REPORT(window, Flag_Error_Warning, "    \xF1\t\t\x02 Included file includes itself:\x01\"%s\"\x02",
           Include_Name[slot]);
    return nullptr;
}

// Takes the next slot for a name. Returns -1 when the table is full or memory ran out, both of which it reports.
static int enter_macro(HWND window, const char *name)
{
    if (Include_Nb < INCLUDE_ROOM) {
        char *copy = nullptr;
        if (name[0] != '\0') {
            copy = ALLOC_STRDUP(window, "Include_Name[Include_Nb]", name);
            if (copy == nullptr)
                return -1;
        }
        Include_Name[Include_Nb] = copy;
        Include_List[Include_Nb] = nullptr;
        Include_Nb++;
    }
    if (Include_Nb < INCLUDE_ROOM)
        return Include_Nb - 1;
    REPORT(window, Flag_Error_Warning, "    \xF1\x05WARNING:\x02 To many include in DICOM tables! (max=\x01%d\x02)",
           INCLUDE_ROOM);
    return -1;
}

static DICOM_List *read_macro(HWND window, FILE *stream, const char *name, const char *file)
{
    int slot = enter_macro(window, name);
    if (slot < 0)
        return nullptr;
    open_slots[open_depth++] = slot;
    DICOM_Module_Read_File(window, stream, file, &Include_List[slot]);
    open_depth--;
    return Include_List[slot];
}

static DICOM_List *open_macro(HWND window, const char *name, const char *file, int line)
{
    if (open_depth == MAX_INCLUDE_DEPTH) {
        report_attribute_line(window, file, line);
        REPORT(window, Flag_Error_Warning, "    \xF1\t\t\x02 Included files too deep (max=\x01%d\x02)",
               MAX_INCLUDE_DEPTH);
        return nullptr;
    }
    char macro_file[FILE_NAME_ROOM];
    FILE *stream = open_definition_named(macro_file, "DICOM_Include_", name);
    if (stream == nullptr) {
        report_attribute_line(window, file, line);
        REPORT(window, Flag_Error_Warning, "    \xF1\t\t\x02 Unable to open included file:\x01\"%s\"\x02", macro_file);
        return nullptr;
    }
    DICOM_List *list = read_macro(window, stream, name, macro_file);
    fclose(stream);
    return list;
}

void drop_macros(HWND window)
{
    for (int i = 0; i < Include_Nb; i++) {
        frame_free(Include_Name[i]);
        Include_Name[i] = nullptr;
        delete_list(window, &Include_List[i]);
    }
    Include_Nb = 0;
}

DICOM_List *DICOM_Module_Include_Get(HWND window, char *name, const char *file, int line)
{
    if (name == nullptr)
        return nullptr;
    REPORT(window, LEVEL_OPERATION, "DICOM_Module_Include_Get(%s)", name);
    for (char *c = name; *c != '\0'; c++)
        if (*c == ' ')
            *c = '_';

    Mutex_Access_Start();
    int slot = find_macro(name);
    DICOM_List *list = slot >= 0 ? recall_macro(window, slot, file, line) : open_macro(window, name, file, line);
    Mutex_Access_Stop();
    return list;
}
