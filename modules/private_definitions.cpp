// Definitions of private attributes: one file for each private creator, read once and searched for each attribute.
#include "modules/modules_internal.h"

static const char SOURCE[] = ".\\NEMA_Read_IOD";

// The creators that were asked for. One without a file stays here with a null list: its file is looked for once.
static char **Private_Name = nullptr;
static DICOM_List **Private_List = nullptr;
static int Private_Nb = 0;

// The creators by hash, as chains of slots that end with 0; a slot is kept as its number plus one. A data set with a
// creator for each of a hundred thousand blocks would take minutes without them.
static int first_of_hash[1024];
static int *next_of_hash = nullptr;   // one for each creator

/* ---- the table of creators ------------------------------------------------------------ */

static int *hash_chain(const char *creator)
{
    unsigned int hash = 2166136261u;   // FNV-1a
    for (const char *c = creator; *c != '\0'; c++)
        hash = (hash ^ static_cast<unsigned char>(*c)) * 16777619u;
    return &first_of_hash[(hash ^ hash >> 16) % (sizeof first_of_hash / sizeof *first_of_hash)];
}

static int find_creator(const char *creator)
{
    for (int i = *hash_chain(creator) - 1; i >= 0; i = next_of_hash[i] - 1)
        if (strcmp(Private_Name[i], creator) == 0)
            return i;
    return -1;
}

// Gives each array of the table room for one more entry. Returns false when memory ran out.
static bool grow_table(HWND window)
{
    void *lists = ALLOC_REALLOC(window, "Private_List", Private_List, Private_Nb + 1, sizeof *Private_List);
    if (lists == nullptr)
        return false;
    Private_List = static_cast<DICOM_List **>(lists);
    void *names = ALLOC_REALLOC(window, "Private_Name", Private_Name, Private_Nb + 1, sizeof *Private_Name);
    if (names == nullptr)
        return false;
    Private_Name = static_cast<char **>(names);
    void *chains = ALLOC_REALLOC(window, "next_of_hash", next_of_hash, Private_Nb + 1, sizeof *next_of_hash);
    if (chains == nullptr)
        return false;
    next_of_hash = static_cast<int *>(chains);
    return true;
}

// Returns the slot of a new entry, or -1 when memory ran out.
static int enter_creator(HWND window, const char *creator)
{
    char *copy = grow_table(window) ? ALLOC_STRDUP(window, "Private_Name[Private_Nb]", creator) : nullptr;
    if (copy == nullptr)
        return -1;
    Private_List[Private_Nb] = nullptr;
    Private_Name[Private_Nb] = copy;
    int *chain = hash_chain(creator);
    next_of_hash[Private_Nb] = *chain;
    *chain = Private_Nb + 1;
    return Private_Nb++;
}

/* ---- the file of a creator ------------------------------------------------------------- */

static char file_name_character(char c)
{
    if (strchr("/\\:*?\"<>|", c) != nullptr)
        return '_';
    return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
}

// Tries the whole name, then shorter and shorter heads of it, so that one file serves all creators that begin alike.
// A creator that is longer than a file name is cut.
static FILE *open_creator_file(HWND window, const char *creator, char *file)
{
    char name[FILE_NAME_ROOM];
    snprintf(name, sizeof name, "%s", creator);
    Str_Strip_Spaces(name);
    for (char *c = name; *c != '\0'; c++)
        *c = file_name_character(*c);

    for (size_t length = strlen(name); length > 0; length--) {
        name[length] = '\0';
        bool fits = compose_definition_name(file, "DICOM_Private_", name);
        REPORT(window, LEVEL_OPERATION, "Private Attribute file:%s in dir:\x01%s", file,
               DICOM_Module_Dir != nullptr ? DICOM_Module_Dir : "");
        FILE *stream = fits ? open_definition(file) : nullptr;
        if (stream != nullptr)
            return stream;
    }
    return nullptr;
}

static void read_creator_file(HWND window, const char *creator, DICOM_List **list)
{
    char file[FILE_NAME_ROOM];
    FILE *stream = open_creator_file(window, creator, file);
    if (stream != nullptr) {
        DICOM_Module_Read_File(window, stream, file, list);
        fclose(stream);
    } else if (Prog_Name != nullptr && strcmp(Prog_Name, "Orvane") == 0) {
        REPORT(window, Flag_Error_Report, "    Found no private attribute file for creator:\x01%s\x02 in dir:\x01%s",
               creator, DICOM_Module_Dir != nullptr ? DICOM_Module_Dir : "");
    }
}

/* ---- the line of an attribute ----------------------------------------------------------- */

// A line is written with its block's byte, or for any block by the low byte alone.
static DICOM_List *find_line(HWND window, DICOM_List *list, const DICOM_List *node)
{
    DICOM_Root root;
    DICOM_Attribute_Sequence_Reset(window, &root);
    DICOM_List *line = DICOM_Attribute_Get(window, &root, list, node->group, node->element, 0);
    if (line != nullptr)
        return line;
    unsigned short low_byte = static_cast<unsigned short>(node->element & 0x00FF);
    return DICOM_Attribute_Get(window, &root, list, node->group, low_byte, 0);
}

static int complement_node(HWND window, DICOM_List *node, const DICOM_List *line)
{
    if (line->vr != VR_NONE)
        node->vr = line->vr;
    if (line->description != nullptr) {
        frame_free(node->description);
        node->description = nullptr;
        if (line->description[0] != '\0') {
            node->description = ALLOC_STRDUP(window, "tag->description", line->description);
            if (node->description == nullptr)
                return 0;
        }
    }
    if (line->flag & FLAG_TO_DELETE)
        node->flag |= FLAG_DELETED;
    return 1;
}

static int complement_by_creator(HWND window, const char *creator, DICOM_List *node)
{
    int slot = find_creator(creator);
    if (slot < 0) {
        slot = enter_creator(window, creator);
        if (slot < 0)
            return 0;
        read_creator_file(window, creator, &Private_List[slot]);
    }
    if (Private_List[slot] == nullptr)
        return 0;
    DICOM_List *line = find_line(window, Private_List[slot], node);
    return line != nullptr ? complement_node(window, node, line) : 0;
}

/* ---- exported ----------------------------------------------------------------------------- */

int DICOM_Module_Read_Private(HWND window, const char *creator, DICOM_List *node)
{
    REPORT(window, LEVEL_FUNCTION, "in DICOM_Module_Read_Private(%s)", creator != nullptr ? creator : "");
    if (creator == nullptr || creator[0] == '\0' || node == nullptr)
        return 0;
    Mutex_Access_Start();
    int found = complement_by_creator(window, creator, node);
    Mutex_Access_Stop();
    return found;
}

void DICOM_Module_Free_Private()
{
    Mutex_Access_Start();
    for (int i = 0; i < Private_Nb; i++) {
        frame_free(Private_Name[i]);
        delete_list(hwnd, &Private_List[i]);
    }
    frame_free(Private_Name);
    frame_free(Private_List);
    frame_free(next_of_hash);
    Private_Name = nullptr;
    Private_List = nullptr;
    next_of_hash = nullptr;
    memset(first_of_hash, 0, sizeof first_of_hash);
    Private_Nb = 0;
    Mutex_Access_Stop();
}
