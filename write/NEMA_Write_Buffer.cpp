// Attributes as bytes: one node with all that it holds, one group of a chain, the length element of a group. Each
// attribute is sized once and then written straight to its place; lengths of sequences and items are put in when their
// end is reached. Which groups go into a stream is left to stream_writers.cpp.
#include "write/write_internal.h"

#include <limits.h>

static const char SOURCE[] = ".\\NEMA_Write_Buffer";

enum {
    SHORT_HEADER = 8,    // tag, VR and 16-bit length; or tag and 32-bit length
    LONG_HEADER = 12,    // tag, VR, two zero bytes and 32-bit length
    ITEM_TAG = 8,        // item tag or delimiter with its length; never with a VR
};

static const uint64_t SMALLEST_ROOM = 256;   // of a block that grows

// How one call writes. Taken when it starts, so that sizing and writing agree.
struct Encoding {
    HWND window;
    char syntax;
    bool by_length;   // sequences and items with their lengths, else with delimiters
};

static Encoding encoding_of(HWND window, char syntax)
{
    return {window, syntax, DICOM_Flag_Seq_Size != 0};
}

// ---- what the standard says of a VR (DICOM PS3.5 7.1.2, 7.3)

static bool has_long_form(unsigned short vr)
{
    return vr == VR_OB || vr == VR_OW || vr == VR_SQ || vr == VR_UN || vr == VR_UT;
}

static int header_size(char syntax, unsigned short vr)
{
    return (syntax & SYNTAX_EXPLICIT) != 0 && has_long_form(vr) ? LONG_HEADER : SHORT_HEADER;
}

struct Unit_Rule {
    unsigned short vr;
    int            unit;
};

// Bytes that are reversed together in big-endian streams. What is not named here is copied as it stands.
static const Unit_Rule UNIT_RULES[] = {
    {VR_FD, 8}, {VR_FL, 4}, {VR_SL, 4}, {VR_UL, 4}, {VR_OW, 2}, {VR_SS, 2}, {VR_US, 2},
};

static int swap_unit(char syntax, unsigned short vr)
{
    if ((syntax & SYNTAX_BIG_ENDIAN) == 0)
        return 1;
    for (const Unit_Rule &rule : UNIT_RULES)
        if (rule.vr == vr)
            return rule.unit;
    return 1;
}

// ---- sizing

// Bytes of a plain value. An undefined length has no form here without items, and no other negative one can be meant.
static int value_size(const DICOM_List *tag)
{
    return tag->size > 0 ? tag->size : 0;
}

// The head of an item's chain, or null behind the last item: the first empty slot ends a sequence.
static const DICOM_List *item_at(const DICOM_List *sequence, int index)
{
    return sequence->item != nullptr && index < sequence->nb_item ? sequence->item[index] : nullptr;
}

static void trace_sizing(HWND window, const DICOM_List *tag)
{
    REPORT(window, LEVEL_FUNCTION, "in DICOM_Attribute_Size(%04x,%04x)", tag->group, tag->element);
}

static uint64_t plain_size(const Encoding &how, const DICOM_List *tag, unsigned short vr)
{
    return static_cast<uint64_t>(header_size(how.syntax, vr)) + static_cast<uint64_t>(value_size(tag));
}

static bool measure(const Encoding &how, const DICOM_List *tag, int depth, uint64_t *bytes)
{
    trace_sizing(how.window, tag);
    fetch_ahead(tag);
    unsigned short vr = working_vr(tag);
    if (vr != VR_SQ) {
        *bytes += plain_size(how, tag, vr);
        return true;
    }
    *bytes += static_cast<uint64_t>(header_size(how.syntax, vr));

    if (depth >= MAX_WRITTEN_DEPTH) {
        REPORT(how.window, LEVEL_MEMORY,
               "\xF1\x04" "ERROR:\x02 (\x01%04x\x02,\x01%04x\x02) is nested deeper than %d sequences: not written",
               tag->group, tag->element, MAX_WRITTEN_DEPTH);
        return false;
    }
    uint64_t ending = how.by_length ? 0 : ITEM_TAG;
    for (int i = 0; const DICOM_List *node = item_at(tag, i); i++) {
        *bytes += ITEM_TAG + ending;
        for (; node != nullptr; node = node->next)
            if (!measure(how, node, depth + 1, bytes))
                return false;
    }
    *bytes += ending;
    return true;
}

// The size of a whole attribute, which has to fit an int. With it, so do the lengths of all that it holds.
static int attribute_size(const Encoding &how, const DICOM_List *tag)
{
    uint64_t bytes = 0;
    if (!measure(how, tag, 0, &bytes))
        return 0;
    if (bytes > INT_MAX) {
        REPORT(how.window, LEVEL_MEMORY,
               "\xF1\x04" "ERROR:\x02 (\x01%04x\x02,\x01%04x\x02) takes %llu bytes, more than can be written",
               tag->group, tag->element, static_cast<unsigned long long>(bytes));
        return 0;
    }
    return static_cast<int>(bytes);
}

// ---- writing: each step takes the place to write to and returns the place behind

static char *put_tag(char syntax, char *out, unsigned short group, unsigned short element)
{
    store_16(syntax, out, group);
    store_16(syntax, out + 2, element);
    return out + 4;
}

static char *put_item_tag(char syntax, char *out, unsigned short element, int length)
{
    out = put_tag(syntax, out, GROUP_ITEM, element);
    store_32(syntax, out, static_cast<uint32_t>(length));
    return out + 4;
}

static char *put_header(char syntax, char *out, const DICOM_List *tag, int length)
{
    out = put_tag(syntax, out, tag->group, tag->element);
    if ((syntax & SYNTAX_EXPLICIT) != 0) {
        unsigned short vr = working_vr(tag);
        out[0] = first_letter(vr);
        out[1] = second_letter(vr);
        if (!has_long_form(vr)) {
            store_16(syntax, out + 2, static_cast<uint16_t>(length & 0xFFFF));
            return out + 4;
        }
        out[2] = out[3] = 0;
        out += 4;
    }
    store_32(syntax, out, static_cast<uint32_t>(length));
    return out + 4;
}

// A unit that the value does not fill to its end is copied as it stands.
static void put_value(char *out, const char *data, int size, int unit)
{
    int at = 0;
    switch (unit) {
    case 2:
        for (; size - at >= 2; at += 2)
            store_16(SYNTAX_BIG_ENDIAN, out + at, load_16(0, data + at));
        break;
    case 4:
        for (; size - at >= 4; at += 4)
            store_32(SYNTAX_BIG_ENDIAN, out + at, load_32(0, data + at));
        break;
    case 8:
        for (; size - at >= 8; at += 8)
            store_64(SYNTAX_BIG_ENDIAN, out + at, load_64(0, data + at));
        break;
    }
    memcpy(out + at, data + at, static_cast<size_t>(size - at));
}

static char *put_plain(const Encoding &how, char *out, const DICOM_List *tag)
{
    unsigned short vr = working_vr(tag);
    int size = value_size(tag);
    if (size != tag->size)
        REPORT(how.window, Flag_Error_Warning,
               "    \xF1\x05WARNING:\x02 (\x01%04x\x02,\x01%04x\x02) Length %d of VR=%c%c can not be written: "
               "left without value", tag->group, tag->element, tag->size, shown_letter(first_letter(vr)),
               shown_letter(second_letter(vr)));

    out = put_header(how.syntax, out, tag, size);
    if (tag->data == nullptr) {
        memset(out, 0, static_cast<size_t>(size));   // a value that is still in its source
        return out + size;
    }
    put_value(out, tag->data, size, swap_unit(how.syntax, vr));
    REPORT(how.window, LEVEL_FUNCTION, "tag (%04x,%04x) = %d bytes tot, %d bytes data", tag->group, tag->element,
           header_size(how.syntax, vr), tag->size);
    return out + size;
}

// Ends a sequence or an item: puts its length in the four bytes in front of its content, or the delimiter behind it.
static char *put_end(const Encoding &how, char *content, char *out, unsigned short delimiter)
{
    if (!how.by_length)
        return put_item_tag(how.syntax, out, delimiter, 0);
    store_32(how.syntax, content - 4, static_cast<uint32_t>(out - content));
    return out;
}

static void trace_writing(HWND window, const DICOM_List *tag)
{
    REPORT(window, LEVEL_FUNCTION, "in DICOM_Attribute_To_Str(%04x,%04x)", tag->group, tag->element);
}

// Fills exactly the bytes that measure has counted.
static char *put_attribute(const Encoding &how, char *out, const DICOM_List *tag)
{
    fetch_ahead(tag);
    if (working_vr(tag) != VR_SQ)
        return put_plain(how, out, tag);

    out = put_header(how.syntax, out, tag, UNDEFINED_LENGTH);
    char *items = out;
    for (int i = 0; const DICOM_List *node = item_at(tag, i); i++) {
        out = put_item_tag(how.syntax, out, ELEMENT_ITEM, UNDEFINED_LENGTH);
        char *content = out;
        for (; node != nullptr; node = node->next) {
            trace_writing(how.window, node);
            out = put_attribute(how, out, node);
        }
        out = put_end(how, content, out, ELEMENT_ITEM_END);
    }
    return put_end(how, items, out, ELEMENT_SEQUENCE_END);
}

// ---- the block

// Makes room for so many bytes more.
static bool reserve(HWND window, Write_Block *to, int bytes)
{
    uint64_t needed = static_cast<uint64_t>(to->used) + static_cast<uint64_t>(bytes);
    if (needed > to->limit) {
        REPORT(window, LEVEL_MEMORY, "\xF1\x04" "ERROR:\x02 A stream of %llu bytes is more than can be written",
               static_cast<unsigned long long>(needed));
        return false;
    }
    if (needed <= to->capacity)
        return true;

    uint64_t room = needed < SMALLEST_ROOM ? SMALLEST_ROOM : needed + needed / 2;
    if (room > to->limit)
        room = to->limit;
    void *grown = ALLOC_REALLOC_ROOM(window, "*buffer", *to->buffer, room, needed, 1);
    if (grown == nullptr)
        return false;
    *to->buffer = static_cast<char *>(grown);
    to->capacity = room;
    return true;
}

bool append_attribute(HWND window, char syntax, const DICOM_List *tag, Write_Block *to)
{
    Encoding how = encoding_of(window, syntax);
    int size = attribute_size(how, tag);
    if (size == 0 || !reserve(window, to, size))
        return false;
    trace_writing(window, tag);
    put_attribute(how, *to->buffer + to->used, tag);
    to->used += static_cast<unsigned int>(size);
    return true;
}

// A node for the length element of a group, over four bytes of the caller.
static DICOM_List length_node(unsigned short group, unsigned int bytes, char *value)
{
    DICOM_List node = {};
    node.group = group;
    node.vr_explicit = VR_UL;
    node.size = 4;
    node.data = value;
    store_32(0, value, bytes);
    return node;
}

// The length element goes in with zero; its value, its last four bytes, follows when the group's end is reached.
static bool append_length(HWND window, unsigned short group, char syntax, Write_Block *to)
{
    char value[4];
    DICOM_List node = length_node(group, 0, value);
    return append_attribute(window, syntax, &node, to);
}

bool append_group(HWND window, unsigned short group, char syntax, const DICOM_List **at, bool with_length,
                  Write_Block *to, unsigned int *bytes)
{
    REPORT(window, LEVEL_ATTRIBUTE, "in DICOM_Write_Group(%04x)", group);
    *bytes = 0;
    while (*at != nullptr && (*at)->group < group)
        *at = (*at)->next;
    if (*at == nullptr || (*at)->group > group)
        return true;

    if (with_length && !append_length(window, group, syntax, to))
        return false;
    unsigned int first = to->used;
    for (; *at != nullptr && (*at)->group <= group; *at = (*at)->next)
        if ((*at)->group == group && !append_attribute(window, syntax, *at, to))
            return false;
    *bytes = to->used - first;
    if (with_length)
        store_32(syntax, *to->buffer + first - 4, *bytes);
    return true;
}

// ---- the operations

int DICOM_Attribute_Size(HWND window, char syntax, const DICOM_List *tag)
{
    return attribute_size(encoding_of(window, syntax), tag);
}

char *DICOM_Attribute_To_Str(HWND window, char syntax, const DICOM_List *tag)
{
    Encoding how = encoding_of(window, syntax);
    trace_writing(window, tag);
    int size = attribute_size(how, tag);
    if (size == 0)
        return nullptr;
    char *buffer = static_cast<char *>(ALLOC_MALLOC(window, "buffer", size, 1));
    if (buffer != nullptr)
        put_attribute(how, buffer, tag);
    return buffer;
}

unsigned int DICOM_Write_Group(HWND window, unsigned short group, char syntax, const DICOM_List *list, char **buffer)
{
    *buffer = nullptr;
    Write_Block block = {buffer, 0, 0, UINT_MAX};
    unsigned int bytes = 0;
    if (append_group(window, group, syntax, &list, false, &block, &bytes))
        return bytes;
    free(*buffer);
    *buffer = nullptr;
    return 0;
}

unsigned int DICOM_Write_Group_Length(HWND window, unsigned short group, char syntax, unsigned int bytes,
                                      char **buffer)
{
    char value[4];
    DICOM_List node = length_node(group, bytes, value);
    *buffer = DICOM_Attribute_To_Str(window, syntax, &node);
    return *buffer != nullptr ? SHORT_HEADER + sizeof value : 0;
}
