// Hands the attributes of a chain to the handlers that a host has registered: by group, by private group, or by the
// creator of a private block (DICOM PS3.5, 7.8.1).
#include "tree/tree_internal.h"

#include <algorithm>

static const char SOURCE[] = ".\\NEMA_Tag_Parse";

enum {
    CREATOR_NAME_ROOM = 72,     // bytes of a registered name
    CREATOR_TEXT_LENGTH = 64,   // bytes of a creator's value that count
    FIRST_CREATOR = 0x0010,
    LAST_CREATOR = 0x00FF,
    FIRST_PRIVATE_ELEMENT = 0x1000,
};

struct Private_Record {
    char name[CREATOR_NAME_ROOM];
    DICOM_Parse_Fct parse;
};

struct Group_Record {
    unsigned short group;
    DICOM_Parse_Fct parse;
};

template <class Record> struct Handler_Table {
    Record *records;
    int count;
};

// What a host has registered, until DICOM_Attribute_List_Cleanup.
static Handler_Table<Private_Record> List_Private;
static Handler_Table<Group_Record> List_Group, List_SPI;

// The creator elements of the chain that a walk looks them up in, with the handler of each. They are taken down before
// the first handler runs: a handler may release nodes, so that the chain cannot be searched later.
struct Creator {
    unsigned int tag;        // group in the high half
    int position;            // in the chain: of several with one tag the first counts
    DICOM_Parse_Fct parse;   // null: nobody asks for what this creator made
};

struct Creator_List {
    Creator *creators;
    size_t count, room;
};

/* ---- tables ------------------------------------------------------------------------------- */

// Gives a new record at the end of a table, or null when memory ran out: the table stays as it was.
template <class Record> static Record *append_record(Handler_Table<Record> *table, const char *what)
{
    Record *grown = static_cast<Record *>(ALLOC_REALLOC(hwnd, what, table->records, table->count + 1, sizeof(Record)));
    if (grown == nullptr)
        return nullptr;
    table->records = grown;
    grown[table->count] = {};
    return &grown[table->count++];
}

template <class Record> static void empty_table(Handler_Table<Record> *table)
{
    frame_free(table->records);
    *table = {};
}

static int append_group(Handler_Table<Group_Record> *table, const char *what, unsigned short group,
                        DICOM_Parse_Fct handler)
{
    Group_Record *record = append_record(table, what);
    if (record == nullptr)
        return 0;
    *record = {group, handler};
    return 1;
}

static DICOM_Parse_Fct handler_of_group(const Handler_Table<Group_Record> &table, unsigned short group)
{
    for (int i = 0; i < table.count; i++)
        if (table.records[i].group == group)
            return table.records[i].parse;
    return nullptr;
}

// The handler of the first registered name that the creator's value begins with.
static DICOM_Parse_Fct handler_of_creator(const DICOM_List *creator)
{
    if (creator->data == nullptr || creator->size <= 0)
        return nullptr;
    size_t length = std::min<size_t>(static_cast<size_t>(creator->size), CREATOR_TEXT_LENGTH);
    char text[CREATOR_TEXT_LENGTH + 1];
    memcpy(text, creator->data, length);
    text[length] = '\0';
    Str_Strip_Spaces(text);
    for (int i = 0; i < List_Private.count; i++) {
        const Private_Record &record = List_Private.records[i];
        if (strncmp(text, record.name, strlen(record.name)) == 0)
            return record.parse;
    }
    return nullptr;
}

/* ---- creators of a chain --------------------------------------------------------------------- */

static unsigned int joined_tag(unsigned short group, int element)
{
    return static_cast<unsigned int>(group) << 16 | static_cast<unsigned int>(element);
}

static bool append_creator(HWND window, Creator_List *list, const Creator &creator)
{
    if (list->count == list->room) {
        size_t room = list->room * 2 + 16;
        void *grown = ALLOC_REALLOC(window, "creators", list->creators, room, sizeof(Creator));
        if (grown == nullptr)
            return false;
        list->creators = static_cast<Creator *>(grown);
        list->room = room;
    }
    list->creators[list->count++] = creator;
    return true;
}

// Takes down the creators of a chain, in the order of their tags. When memory runs out, which is reported, the
// attributes of those that are missing find no handler.
static void collect_creators(HWND window, const DICOM_List *chain, Creator_List *list)
{
    int position = 0;
    for (const DICOM_List *tag = chain; tag != nullptr; tag = tag->next) {
        if (!is_private_group(tag->group) || tag->element < FIRST_CREATOR || tag->element > LAST_CREATOR)
            continue;
        if (!append_creator(window, list, {joined_tag(tag->group, tag->element), position++, handler_of_creator(tag)}))
            break;
    }
    std::sort(list->creators, list->creators + list->count, [](const Creator &a, const Creator &b) {
        return a.tag != b.tag ? a.tag < b.tag : a.position < b.position;
    });
}

static DICOM_Parse_Fct handler_of_private(const Creator_List &list, const DICOM_List *tag)
{
    if (tag->element < FIRST_PRIVATE_ELEMENT)
        return nullptr;
    unsigned int wanted = joined_tag(tag->group, tag->element >> 8);
    const Creator *end = list.creators + list.count;
    const Creator *found = std::lower_bound(list.creators, list.creators + list.count, wanted,
                                            [](const Creator &a, unsigned int b) { return a.tag < b; });
    return found != end && found->tag == wanted ? found->parse : nullptr;
}

static DICOM_Parse_Fct find_handler(const Creator_List &creators, const DICOM_List *tag)
{
    if ((tag->flag & FLAG_PRIVATE) != 0)
        if (DICOM_Parse_Fct handler = handler_of_group(List_SPI, tag->group); handler != nullptr)
            return handler;
    if (!is_private_group(tag->group))
        return handler_of_group(List_Group, tag->group);
    return handler_of_private(creators, tag);
}

/* ---- exported --------------------------------------------------------------------------------- */

int DICOM_Attribute_List_Private_Grow(const char *name, DICOM_Parse_Fct handler)
{
    Private_Record *record = append_record(&List_Private, "List_Private");
    if (record == nullptr)
        return 0;
    memcpy(record->name, name, strnlen(name, sizeof record->name - 1));
    record->parse = handler;
    return 1;
}

int DICOM_Attribute_List_Group_Grow(unsigned short group, DICOM_Parse_Fct handler)
{
    return append_group(&List_Group, "List_Group", group, handler);
}

int DICOM_Attribute_List_SPI_Grow(unsigned short group, DICOM_Parse_Fct handler)
{
    return append_group(&List_SPI, "List_SPI", group, handler);
}

void DICOM_Attribute_List_Cleanup()
{
    empty_table(&List_Private);
    empty_table(&List_Group);
    empty_table(&List_SPI);
}

void *DICOM_Attribute_Parse(HWND window, DICOM_Root *root, DICOM_List *list, void *user)
{
    REPORT(window, LEVEL_ATTRIBUTE, "in DICOM_Attribute_Parse()");
    if (list == nullptr)
        return user;

    Creator_List creators = {};
    if (List_Private.count > 0)
        collect_creators(window, DICOM_Attribute_Get(window, root, list, ANY_TAG_NUMBER, ANY_TAG_NUMBER, 0), &creators);
    DICOM_List *next;
    for (DICOM_List *tag = list; tag != nullptr; tag = next) {
        next = tag->next;   // the handler may release the node
        REPORT(window, LEVEL_ATTRIBUTE, "DICOM_Attribute_Parse (%04x,%04x)", tag->group, tag->element);
        DICOM_Parse_Fct handler = find_handler(creators, tag);
        if (handler == nullptr)
            continue;
        user = handler(window, root, tag, user);
        if (user == nullptr)
            break;
    }
    frame_free(creators.creators);
    return user;
}
