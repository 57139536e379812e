// Templates: the attribute files that a module file names, put together into one sorted tree, and kept by name.
#include "modules/modules_internal.h"

static const char SOURCE[] = ".\\NEMA_Read_IOD";

// The templates by name. A name stays here when its reading failed, so that the files are looked for once.
static char *Modality_Name[MODALITY_ROOM];   // null: the empty name
static DICOM_List *Modality_List[MODALITY_ROOM];
static int Modality_Nb = 0;

/* ---- traces of a run ----------------------------------------------------------------- */

enum Trace_Depth { TRACE_STEPS = 4, TRACE_LISTS = 5 };   // from this Flag_Trace on

static const char DASHES[] = "-------------------------------------------------------------------------------";
static_assert(sizeof DASHES == 80);

static void trace_banner(HWND window, const char *title)
{
    if (Flag_Trace < TRACE_STEPS)
        return;
    REPORT(window, LEVEL_LOCATION, "\n\n\n");
    REPORT(window, LEVEL_LOCATION, "%s", DASHES);
    REPORT(window, LEVEL_LOCATION, "%s", title);
    REPORT(window, LEVEL_LOCATION, "%s", DASHES);
}

static void trace_list(HWND window, DICOM_List *list, Trace_Depth from)
{
    if (Flag_Trace < from)
        return;
    DICOM_Root root;
    DICOM_Attribute_Sequence_Reset(window, &root);
    DICOM_Attribute_Stool(window, &root, list, LEVEL_LOCATION);
}

static void trace_end(HWND window, DICOM_List *list)
{
    trace_list(window, list, TRACE_LISTS);
    if (Flag_Trace < TRACE_STEPS)
        return;
    REPORT(window, LEVEL_LOCATION, "\n\n\n");
    for (int i = 0; i < 3; i++)
        REPORT(window, LEVEL_LOCATION, "%s", DASHES);
}

/* ---- the cache ----------------------------------------------------------------------- */

static int find_template(const char *name)
{
    for (int i = 0; i < Modality_Nb; i++)
        if (Modality_Name[i] != nullptr && strcmp(Modality_Name[i], name) == 0)
            return i;
    return -1;
}

// Takes the next slot for a name. Returns -1 when the cache is full or memory ran out, both of which it reports.
static int enter_template(HWND window, const char *name)
{
    if (Modality_Nb < MODALITY_ROOM) {
        char *copy = nullptr;
        if (name[0] != '\0') {
            copy = ALLOC_STRDUP(window, "Modality_Name[Modality_Nb]", name);
            if (copy == nullptr)
                return -1;
        }
        Modality_Name[Modality_Nb] = copy;
        Modality_List[Modality_Nb] = nullptr;
        Modality_Nb++;
    }
    if (Modality_Nb < MODALITY_ROOM)
        return Modality_Nb - 1;
    // In octal where the next letter could be a hexadecimal digit.
    REPORT(window, Flag_Error_Warning, "    \xF1\004ERROR:\x02 DICOM_Module_Read \002Exceeding %d modalities!",
           MODALITY_ROOM);
    return -1;
}

void delete_list(HWND window, DICOM_List **list)
{
    DICOM_Root root;
    DICOM_Attribute_Sequence_Reset(window, &root);
    DICOM_Attribute_Delete(window, &root, list, ANY_TAG_NUMBER, ANY_TAG_NUMBER);
}

/* ---- reading the files ---------------------------------------------------------------- */

static void read_override(HWND window, DICOM_List **list)
{
    if (DICOM_Override[0] == '\0')
        return;
    char path[sizeof DICOM_Override];   // terminated, whatever the host has written there
    snprintf(path, sizeof path, "%.*s", static_cast<int>(sizeof path) - 1, DICOM_Override);
    FILE *stream = fopen(path, "r");
    if (stream == nullptr) {
        REPORT(window, Flag_Error_Warning, "    \xF1\x05WARNING:\x02 reading command line override");
        REPORT(window, Flag_Error_Warning, "    \xF1\t\t\x02 Unable to open attributes file:\x01%s\x02", path);
        return;
    }
    DICOM_Module_Read_File(window, stream, "Command line override", list);
    fclose(stream);
}

// Opens the module file of that name, or the one of other images in its place. The buffer gets the file's name.
static FILE *open_module(HWND window, const char *name, char *file)
{
    bool fits = compose_definition_name(file, "DICOM_Module_", name);
    REPORT(window, LEVEL_OPERATION, "module IOD file:%s in dir:\x01%s", file, DICOM_Module_Dir);
    FILE *stream = fits ? open_definition(file) : nullptr;
    if (stream != nullptr)
        return stream;
    REPORT(window, Flag_Error_Warning,
           "    \xF1\x05WARNING:\x02 Unable to open module IOD file:\x01%s\x02 in dir:\x01%s", file, DICOM_Module_Dir);
    return open_definition_named(file, "DICOM_Module_", "OT_Image");
}

static void read_attributes(HWND window, const char *stem, const char *module_file, int line, DICOM_List **flat)
{
    char file[FILE_NAME_ROOM];
    FILE *stream = open_definition_named(file, "DICOM_Attributes_", stem);
    if (stream == nullptr) {
        REPORT(window, Flag_Error_Warning, "    \xF1\x05WARNING:\x02 reading IOD file:\x01%s\x02 line:\x01%d\x02",
               module_file, line);
        REPORT(window, Flag_Error_Warning, "    \xF1\t\t\x02 Unable to open attributes file:\x01%s\x02", file);
        return;
    }
    DICOM_Module_Read_File(window, stream, file, flat);
    fclose(stream);
}

// Reads every attribute file that the module file names into one flat list. Returns 0 if there is no module file.
static int read_module(HWND window, const char *name, DICOM_List **flat)
{
    char file[FILE_NAME_ROOM];
    FILE *stream = open_module(window, name, file);
    if (stream == nullptr)
        return 0;
    char stem[LINE_ROOM];
    for (int line = 1; DICOM_Module_Read_Line(window, stream, line, stem, file, nullptr); line++) {
        REPORT(window, LEVEL_ATTRIBUTE, "%s[%d] -> %s", file, line, stem);
        Str_Strip_Spaces(stem);
        if (stem[0] != '\0')
            read_attributes(window, stem, file, line, flat);
    }
    fclose(stream);
    return 1;
}

/* ---- from the flat list to the template ------------------------------------------------- */

static DICOM_List *format_list(HWND window, DICOM_List *flat)
{
    trace_banner(window, "-----                        Format of sequences                             ------");
    DICOM_List *tree = DICOM_Attribute_Format(window, flat);
    if (tree == nullptr)
        REPORT(window, LEVEL_LOCATION, "Failed in DICOM_Attribute_Format()");
    return tree;
}

// Repairs the values, drops the item and delimiter nodes, sorts, and merges the tree into what the override file gave.
// Returns 0 if the merge failed.
static int merge_tree(HWND window, DICOM_List **tree, DICOM_List **list)
{
    DICOM_Root root;
    DICOM_Attribute_Sequence_Reset(window, &root);
    DICOM_Attribute_Cleanup(window, &root, *tree);
    trace_list(window, *tree, TRACE_LISTS);

    trace_banner(window, "-----                         Deleting DICOM tags                        ------");
    DICOM_Attribute_Sequence_Reset(window, &root);
    DICOM_Attribute_Delete(window, &root, tree, GROUP_ITEM, ANY_TAG_NUMBER);
    trace_list(window, *tree, TRACE_STEPS);

    trace_banner(window, "-----                         Sorting DICOM tags                         ------");
    DICOM_Attribute_Sequence_Reset(window, &root);
    DICOM_Attribute_Sort(window, &root, tree);
    trace_list(window, *tree, TRACE_STEPS);

    trace_banner(window, "-----                         copying DICOM tags                         ------");
    DICOM_Attribute_Sequence_Reset(window, &root);
    int done = DICOM_Attribute_Copy(window, &root, list, *tree);
    if (!done)
        REPORT(window, LEVEL_LOCATION, "Failed in DICOM_Attribute_Copy()");
    return done;
}

// Makes the template of a new entry of the cache. Returns 0 if there is none; what the entry holds then stays there.
static int build_template(HWND window, const char *name, DICOM_List **list)
{
    read_override(window, list);
    if (DICOM_Module_Dir == nullptr) {
        REPORT(window, Flag_Error_Warning, "    \xF1\x05WARNING:\x02 DICOM_Module_Dir \x02is undefined!");
        return 0;
    }
    DICOM_List *flat = nullptr;
    if (!read_module(window, name, &flat))
        return 0;
    drop_macros(window);
    trace_banner(window, "-----                        From Module files                           ------");
    trace_list(window, flat, TRACE_LISTS);

    DICOM_List *tree = format_list(window, flat);
    delete_list(window, &flat);
    if (tree == nullptr)
        return 0;
    int done = merge_tree(window, &tree, list);
    delete_list(window, &tree);
    return done;
}

/* ---- exported ---------------------------------------------------------------------------- */

DICOM_List *DICOM_Module_Read(HWND window, const char *name)
{
    REPORT(window, LEVEL_ATTRIBUTE, "in Orvane_Module_Read()");
    if (name == nullptr) {
        REPORT(window, Flag_Error_Warning, "    \xF1\x05WARNING:\x02 DICOM_Module_Read \x02no modality name!");
        return nullptr;
    }
    Mutex_Access_Start();
    int slot = find_template(name);
    if (slot >= 0) {
        DICOM_List *cached = Modality_List[slot];
        Mutex_Access_Stop();
        return cached;
    }
    slot = enter_template(window, name);
    int built = 0;
    if (slot >= 0) {
        start_definition_run();
        built = build_template(window, name, &Modality_List[slot]);
        drop_macros(window);   // those of a run that ended early
        stop_definition_run();
    }
    DICOM_List *list = built ? Modality_List[slot] : nullptr;
    Mutex_Access_Stop();
    if (built)
        trace_end(window, list);
    return list;
}

void DICOM_Module_Free()
{
    Mutex_Access_Start();
    for (int i = 0; i < Modality_Nb; i++) {
        frame_free(Modality_Name[i]);
        Modality_Name[i] = nullptr;
        delete_list(hwnd, &Modality_List[i]);
    }
    Modality_Nb = 0;
    Mutex_Access_Stop();
}

void DICOM_Module_Cleanup()
{
    Mutex_Access_Start();
    drop_macros(hwnd);   // those that no DICOM_Module_Read has come to drop
    frame_free(DICOM_Module_Dir);
    DICOM_Module_Dir = nullptr;
    forget_delimiter_nodes();
    Mutex_Access_Stop();
}
