// Lines of attributes. What the library says in front of a value depends on a few fields of the node only, and data
// sets have the same attributes over and over: in each item of a sequence, in each file of a series. So the columns of
// a line are kept with those fields, and the library is asked for the value alone when they come again.
#include "host/program/dump_lines.h"

#include <string.h>

#include "host/program/output.h"
#include "tree/DICOM_Constants.h"

// A value follows behind the tag, and behind VR, type and size.
static const int COLUMNS = 2;

enum { FRONTS = 512, PLACES = 4, DESCRIPTION_ROOM = 64 };   // a line may be kept in one of four places

// All that the columns depend on.
struct Front_Key {
    int depth, size;
    unsigned short group, element, flag, vr_explicit, vr, type;
    const TAG_db_Elems *row;
    bool has_description;   // of its own, in description
    bool has_data;
    bool color;
};

struct Front {
    Front_Key key;
    char description[DESCRIPTION_ROOM];
    size_t length;   // of text; 0: nothing is kept here
    bool is_whole;   // the value does not differ either, and is in the text
    char text[LONGEST_COLUMNS];
};

static Front fronts[FRONTS + PLACES - 1];   // static: kept from file to file

static Front_Key key_of(const DICOM_Root &root, const DICOM_List *node, bool color)
{
    return {root.Sequence_Depth, node->size,        node->group, node->element,
            node->flag,          node->vr_explicit, node->vr,    node->type,
            node->db,            node->description != nullptr,   node->data != nullptr, color};
}

static bool is_same(const Front &front, const Front_Key &key, const DICOM_List *node)
{
    const Front_Key &kept = front.key;
    bool has_same_numbers = front.length > 0 && kept.group == key.group && kept.element == key.element &&
                            kept.size == key.size && kept.depth == key.depth && kept.flag == key.flag &&
                            kept.vr_explicit == key.vr_explicit && kept.vr == key.vr && kept.type == key.type &&
                            kept.row == key.row && kept.has_description == key.has_description &&
                            kept.has_data == key.has_data && kept.color == key.color;
    return has_same_numbers && (!key.has_description || strcmp(front.description, node->description) == 0);
}

static Front *first_place(const Front_Key &key)
{
    unsigned int number = static_cast<unsigned int>(key.group) << 16 | key.element;
    number = (number + static_cast<unsigned int>(key.size) * 31 + static_cast<unsigned int>(key.depth) * 7) * 0x9E3779B1;
    return &fronts[number / (0xFFFFFFFF / FRONTS + 1)];
}

static const Front *find_front(const Front_Key &key, const DICOM_List *node)
{
    const Front *first = first_place(key);
    for (int i = 0; i < PLACES; i++)
        if (is_same(first[i], key, node))
            return &first[i];
    return nullptr;
}

// A free place, else the first: what is there has to go.
static Front *place_for(const Front_Key &key)
{
    Front *first = first_place(key);
    for (int i = 0; i < PLACES; i++)
        if (first[i].length == 0)
            return &first[i];
    return first;
}

// ---- the calls ------------------------------------------------------------------------

bool write_kept_line(const DICOM_Root &root, DICOM_List *node, bool color, const std::string *value)
{
    Front_Key key = key_of(root, node, color);
    const Front *front = find_front(key, node);
    if (front == nullptr)
        return false;
    if (value != nullptr) {
        write_out(front->text, front->length);
        write_out(*value);
        write_out(color ? "\033[0m\n" : "\n");
        return true;
    }
    char room[LONGEST_VALUE];
    const char *shown = front->is_whole ? front->text + front->length : DICOM_Attribute_Stool_Data(nullptr, node, room);
    write_columns(front->text, front->length, color, shown != nullptr ? shown : "");
    return true;
}

static void keep_line(const char *line, const Front_Key &key, const DICOM_List *node, bool color, Front *front)
{
    front->length = 0;
    if (node->description != nullptr && strlen(node->description) >= DESCRIPTION_ROOM)
        return;
    const char *value = line;
    size_t length = convert_columns(line, COLUMNS, color, &value, front->text, sizeof front->text);
    unsigned short vr = node->vr_explicit != VR_NONE ? node->vr_explicit : node->vr;
    front->is_whole = vr == VR_SQ || (node->data == nullptr && node->size <= 0);
    if (length == 0 || (front->is_whole && strlen(value) >= sizeof front->text - length))
        return;
    if (front->is_whole)
        strcpy(front->text + length, value);
    if (node->description != nullptr)
        strcpy(front->description, node->description);
    front->key = key;
    front->length = length;
}

void write_new_line(const char *line, const DICOM_Root &root, const DICOM_List *node, bool color,
                    const std::string *value)
{
    if (value != nullptr)
        write_marked_line(line, COLUMNS, color, *value);
    else
        write_marked_line(line, COLUMNS, color);
    Front_Key key = key_of(root, node, color);
    keep_line(line, key, node, color, place_for(key));
}
