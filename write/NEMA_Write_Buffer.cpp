// Attributes as bytes: one node with all that it holds, one group of a chain, the length element of a group. Each
// attribute is written straight to its place; lengths of sequences and items are put in when their end is reached. Which
// groups go into a stream is left to stream_writers.cpp.
#include "write/write_internal.h"

#include <limits.h>

static const char SOURCE[] = ".\\NEMA_Write_Buffer";

enum {
    SHORT_HEADER = 8,    // tag, VR and 16-bit length; or tag and 32-bit length
    LONG_HEADER = 12,    // tag, VR, two zero bytes and 32-bit length
    ITEM_TAG = 8,        // item tag or delimiter with its length; never with a VR
};

static const uint64_t SMALLEST_ROOM = 4096;   // of a block that grows
static const uint64_t SMALL_ROOM = 16 << 10;   // up to here it grows in larger steps
static const int MOST_AT_FIRST = 1 << 20;    // bytes of a value that is written before all is measured

// How one call writes. Taken when it starts, so that sizing and writing agree.
struct Encoding {
    HWND window;
    char syntax;
    bool by_length;   // sequences and items with their lengths, else with delimiters
    bool is_first_attempt;   // what is unusual is left to a second one
    bool is_most_usual;      // the first attempt, in the usual syntax
};

static Encoding encoding_of(HWND window, char syntax)
{
    return {window, syntax, DICOM_Flag_Seq_Size != 0, false, false};
}

// Nothing is said in a first attempt. There is none while the walks are traced.
static Encoding first_attempt(HWND window, char syntax)
{
    bool is_first_attempt = report_threshold < LEVEL_FUNCTION;
    return {window, syntax, DICOM_Flag_Seq_Size != 0, is_first_attempt, is_first_attempt && syntax == SYNTAX_EXPLICIT};
}

// ---- what the standard says of a VR (DICOM PS3.5 7.1.2, 7.3)

static inline bool has_long_form(unsigned short vr)
{
    switch (vr) {
    case VR_OB:
    case VR_OW:
    case VR_SQ:
    case VR_UN:
    case VR_UT:
        return true;
    }
    return false;
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

// ---- where the bytes go

// What becomes of an attribute.
enum Outcome {
    WRITTEN,
    UNUSUAL,     // given up by a first attempt, which reports nothing
    NO_MEMORY,
};

// A stretch of a block that is being filled. Places in it are told as offsets, since the block moves when it grows.
struct Output {
    Write_Block *block;   // null: the stretch has the exact size already
    char *start, *at, *end;
    Outcome outcome;      // once something had to give up
};

static uint64_t larger_room(const Write_Block *block, uint64_t needed)
{
    uint64_t room = needed < SMALLEST_ROOM ? SMALLEST_ROOM : needed < SMALL_ROOM ? 4 * needed : needed + needed / 2;
    return room < block->limit ? room : block->limit;
}

static void take_over(Write_Block *block, void *grown, uint64_t room)
{
    *block->buffer = static_cast<char *>(grown);
    block->capacity = room;
}

static Output output_to(Write_Block *block)
{
    uint64_t room = block->capacity > block->used ? block->capacity - block->used : 0;
    char *at = *block->buffer + block->used;
    return {block, *block->buffer, at, at + room, WRITTEN};
}

static bool give_up(Output *out, Outcome why)
{
    out->outcome = why;
    return false;
}

// An attribute that cannot be written as it stands is left to attribute_size, which tells why.
static bool grow(Output *out, uint64_t bytes)
{
    Write_Block *block = out->block;
    if (block == nullptr)
        return give_up(out, UNUSUAL);
    uint64_t filled = static_cast<uint64_t>(out->at - out->start), needed = filled + bytes;
    if (needed > block->limit || needed - block->used > INT_MAX)
        return give_up(out, UNUSUAL);
    uint64_t room = larger_room(block, needed);
    void *grown = frame_try_realloc(*block->buffer, static_cast<size_t>(room));
    if (grown == nullptr)
        return give_up(out, NO_MEMORY);
    take_over(block, grown, room);
    out->start = *block->buffer;
    out->at = out->start + filled;
    out->end = out->start + room;
    return true;
}

static inline bool has_room(Output *out, uint64_t bytes)
{
    return (out->at != nullptr && bytes <= static_cast<uint64_t>(out->end - out->at)) || grow(out, bytes);
}

// ---- writing: what goes where there is room

static inline char *put_tag(char syntax, char *out, unsigned short group, unsigned short element)
{
    store_16(syntax, out, group);
    store_16(syntax, out + 2, element);
    return out + 4;
}

static inline char *put_header_in(char syntax, char *out, const DICOM_List *tag, unsigned short vr, int length)
{
    out = put_tag(syntax, out, tag->group, tag->element);
    if ((syntax & SYNTAX_EXPLICIT) != 0) {
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

// The usual syntax stands as a constant, so that nothing is asked about the order of bytes.
static char *put_header(char syntax, char *out, const DICOM_List *tag, unsigned short vr, int length)
{
    return syntax == SYNTAX_EXPLICIT ? put_header_in(SYNTAX_EXPLICIT, out, tag, vr, length)
                                     : put_header_in(syntax, out, tag, vr, length);
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

// ---- writing: each step returns whether it could do it all

static inline bool put_item_tag(const Encoding &how, Output *out, unsigned short element, int length)
{
    if (!has_room(out, ITEM_TAG))
        return false;
    put_tag(how.syntax, out->at, GROUP_ITEM, element);
    store_32(how.syntax, out->at + 4, static_cast<uint32_t>(length));
    out->at += ITEM_TAG;
    return true;
}

static void warn_of_length(const Encoding &how, const DICOM_List *tag, unsigned short vr)
{
    REPORT(how.window, Flag_Error_Warning,
           "    \xF1\x05WARNING:\x02 (\x01%04x\x02,\x01%04x\x02) Length %d of VR=%c%c can not be written: "
           "left without value", tag->group, tag->element, tag->size, shown_letter(first_letter(vr)),
           shown_letter(second_letter(vr)));
}

// Whether a first attempt may write a plain value: nothing is said about it, and its bytes are in memory, so that an
// attribute that proves too long has not been given gigabytes of room by then.
static bool is_usual_value(const DICOM_List *tag)
{
    return tag->size == 0 || (tag->data != nullptr && tag->size > 0 && tag->size <= MOST_AT_FIRST);
}

static bool put_plain(const Encoding &how, Output *out, const DICOM_List *tag, unsigned short vr)
{
    if (how.is_first_attempt && !is_usual_value(tag))
        return give_up(out, UNUSUAL);
    int size = value_size(tag);
    if (size != tag->size)
        warn_of_length(how, tag, vr);

    if (!has_room(out, plain_size(how, tag, vr)))
        return false;
    char *value = put_header(how.syntax, out->at, tag, vr, size);
    out->at = value + size;
    if (tag->data == nullptr) {
        memset(value, 0, static_cast<size_t>(size));   // a value that is still in its source
        return true;
    }
    int unit = swap_unit(how.syntax, vr);
    if (unit == 1)
        memcpy(value, tag->data, static_cast<size_t>(size));
    else
        put_value(value, tag->data, size, unit);
    REPORT(how.window, LEVEL_FUNCTION, "tag (%04x,%04x) = %d bytes tot, %d bytes data", tag->group, tag->element,
           header_size(how.syntax, vr), tag->size);
    return true;
}

// Ends a sequence or an item: puts its length in the four bytes in front of its content, or the delimiter behind it.
//   content  offset from the output's start
static inline bool put_end(const Encoding &how, Output *out, int64_t content, unsigned short delimiter)
{
    if (!how.by_length)
        return put_item_tag(how, out, delimiter, 0);
    char *start = out->start + content;
    store_32(how.syntax, start - 4, static_cast<uint32_t>(out->at - start));
    return true;
}

static void trace_writing(HWND window, const DICOM_List *tag)
{
    REPORT(window, LEVEL_FUNCTION, "in DICOM_Attribute_To_Str(%04x,%04x)", tag->group, tag->element);
}

// Most values: in memory or empty, in the usual syntax, with a VR of the short form, and there is room. Returns whether
// it was one of those; any other is left as it is.
static inline bool put_most_usual(const Encoding &how, Output *out, const DICOM_List *tag)
{
    unsigned short vr = working_vr(tag);
    size_t size = static_cast<unsigned int>(tag->size);
    if (!how.is_most_usual || (tag->data == nullptr && size > 0) || size > MOST_AT_FIRST || has_long_form(vr) ||
        out->at == nullptr || out->end - out->at < static_cast<ptrdiff_t>(SHORT_HEADER + size))
        return false;
    char *value = put_header_in(SYNTAX_EXPLICIT, out->at, tag, vr, tag->size);
    copy_value(value, tag->data, size);
    out->at = value + size;
    return true;
}

static bool put_less_usual(const Encoding &how, Output *out, const DICOM_List *tag, int depth);

static inline bool put_attribute(const Encoding &how, Output *out, const DICOM_List *tag, int depth)
{
    fetch_ahead(tag);
    return put_most_usual(how, out, tag) || put_less_usual(how, out, tag, depth);
}

static bool put_sequence(const Encoding &how, Output *out, const DICOM_List *tag, int depth)
{
    if (depth >= MAX_WRITTEN_DEPTH)
        return give_up(out, UNUSUAL);
    if (!has_room(out, static_cast<uint64_t>(header_size(how.syntax, VR_SQ))))
        return false;
    out->at = put_header(how.syntax, out->at, tag, VR_SQ, UNDEFINED_LENGTH);
    int64_t items = out->at - out->start;
    for (int i = 0; const DICOM_List *node = item_at(tag, i); i++) {
        if (!put_item_tag(how, out, ELEMENT_ITEM, UNDEFINED_LENGTH))
            return false;
        int64_t content = out->at - out->start;
        for (; node != nullptr; node = node->next) {
            trace_writing(how.window, node);
            if (!put_attribute(how, out, node, depth + 1))
                return false;
        }
        if (!put_end(how, out, content, ELEMENT_ITEM_END))
            return false;
    }
    return put_end(how, out, items, ELEMENT_SEQUENCE_END);
}

static bool put_less_usual(const Encoding &how, Output *out, const DICOM_List *tag, int depth)
{
    unsigned short vr = working_vr(tag);
    return vr == VR_SQ ? put_sequence(how, out, tag, depth) : put_plain(how, out, tag, vr);
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

    uint64_t room = larger_room(to, needed);
    void *grown = ALLOC_REALLOC_ROOM(window, "*buffer", *to->buffer, room, needed, 1);
    if (grown == nullptr)
        return false;
    take_over(to, grown, room);
    return true;
}

static void report_no_room(const Encoding &how, const DICOM_List *tag, const Write_Block *to)
{
    int size = attribute_size(how, tag);
    if (size > 0)
        frame_fail(how.window, "realloc", static_cast<size_t>(to->used) + static_cast<size_t>(size), 1, "*buffer",
                   SOURCE, __LINE__);
}

static bool append_output(const Output &out, Write_Block *to)
{
    to->used = static_cast<unsigned int>(out.at - out.start);
    return true;
}

// One that a first attempt has given up: what needs a report, or has to be looked at whole first.
static bool append_unusual(HWND window, char syntax, const DICOM_List *tag, Outcome outcome, Write_Block *to)
{
    Encoding how = encoding_of(window, syntax);
    if (outcome == NO_MEMORY) {
        report_no_room(how, tag, to);
        return false;
    }
    int size = attribute_size(how, tag);
    if (size == 0 || !reserve(window, to, size))
        return false;
    trace_writing(window, tag);
    Output out = output_to(to);
    return put_attribute(how, &out, tag, 0) && append_output(out, to);
}

static inline bool is_next(const DICOM_List *tag, int group)
{
    return tag != nullptr && (tag->group == group || group == ANY_GROUP);
}

// Most attributes are written in one walk, without a look at how long they become: a walk through items that no cache
// holds waits for its memory each time. What gives up on that is measured before anything is said; so is everything
// while the walks are traced.
static Outcome append_usual(HWND window, char syntax, int group, const DICOM_List **at, Write_Block *to)
{
    Encoding how = first_attempt(window, syntax);
    Output out = output_to(to);
    if (!how.is_first_attempt)
        return UNUSUAL;
    for (; is_next(*at, group) && put_attribute(how, &out, *at, 0); *at = (*at)->next)
        append_output(out, to);
    return out.outcome;
}

bool append_attributes(HWND window, char syntax, int group, const DICOM_List **at, Write_Block *to)
{
    for (; is_next(*at, group); *at = (*at)->next) {
        Outcome outcome = append_usual(window, syntax, group, at, to);
        if (!is_next(*at, group))
            break;
        if (!append_unusual(window, syntax, *at, outcome, to))
            return false;
    }
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
    const DICOM_List *at = &node;
    return append_attributes(window, syntax, group, &at, to);
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
    while (*at != nullptr && (*at)->group <= group) {
        if ((*at)->group < group)
            *at = (*at)->next;
        else if (!append_attributes(window, syntax, group, at, to))
            return false;
    }
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
    if (buffer != nullptr) {
        Output out = {nullptr, buffer, buffer, buffer + size, WRITTEN};
        put_attribute(how, &out, tag, 0);
    }
    return buffer;
}

unsigned int DICOM_Write_Group(HWND window, unsigned short group, char syntax, const DICOM_List *list, char **buffer)
{
    *buffer = nullptr;
    Write_Block block = {buffer, 0, 0, UINT_MAX};
    unsigned int bytes = 0;
    if (append_group(window, group, syntax, &list, false, &block, &bytes))
        return bytes;
    frame_free(*buffer);
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
