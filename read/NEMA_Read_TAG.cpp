// The header of one data element: tag, VR and length (DICOM PS3.5, 7.1), with the header faults of several vendors
// repaired on the way. The source is left at the first byte of the value; the loop over the elements is the host's.
#include "read/read_internal.h"

#include <unistd.h>

static const char SOURCE[] = ".\\NEMA_Read_TAG";

// The high nibble of the mode: who wrote the stream, as far as a repair depends on it.
enum : unsigned char { VENDOR_MASK = 0xF0, VENDOR_GE = 0x10, VENDOR_GE_ROGAN = 0x30 };

enum : unsigned char {
    MODE_OF_FILE_META = 0xF8,   // bits that group 0002 keeps: not the byte order
    MODE_OF_ITEMS = 0xC1,       // bits that group FFFE keeps: not the explicit VR, nor the low bits of the vendor
};

enum : unsigned short {
    VR_UNKNOWN_1 = pack_letters('?', '?'),   // written in place of a VR by some; what follows is a 16-bit length
    VR_UNKNOWN_2 = pack_letters('x', 'x'),
};

enum Outcome { FAILED = 0, DONE = 1, GO_ON = 2 };

// One call. The results are the caller's variables, written as they become known.
struct Element_Read {
    Byte_Source from;
    unsigned char mode;   // follows the rules for groups 0002 and FFFE and for a mistaken VR
    const unsigned char told_mode;
    const int limit;
    unsigned short &group, &element, &vr;
    int &length;
};

static char format_of(const Element_Read &read)
{
    return static_cast<char>(read.mode);
}

static bool has_tag(const Element_Read &read, unsigned short group, unsigned short element)
{
    return read.group == group && read.element == element;
}

// The letters of the VR as the messages of this file print them.
static char letter_1(unsigned short vr)
{
    return vr != VR_NONE ? first_letter(vr) : '0';
}

static char letter_2(unsigned short vr)
{
    return vr != VR_NONE ? second_letter(vr) : '0';
}

static bool is_upper_case(char c)
{
    return c >= 'A' && c <= 'Z';
}

/* ---- the place in the source ------------------------------------------------------- */

static long position_of(const Byte_Source &from)
{
    if (from.kind == SOURCE_FILE)
        return file_position(from.window, static_cast<int>(from.handle), from.name, HERE);
    return static_cast<int>(from.position);
}

static int return_to(Byte_Source *from, long position)
{
    if (from->kind == SOURCE_FILE)
        return seek_file(from->window, static_cast<int>(from->handle), from->name, position, HERE);
    from->position = static_cast<uint32_t>(position);
    return 1;
}

/* ---- the tag ----------------------------------------------------------------------- */

static Outcome read_tag(Element_Read &read)
{
    char bytes[2];
    if (!take_bytes(&read.from, 2, bytes)) {
        REPORT(read.from.window, LEVEL_READ_FAILURE, "NEMA_Get_Data_Element() --> failed to read group");
        return FAILED;
    }
    // Group 0002 is explicit VR little endian in every stream (DICOM PS3.10, 7.1).
    read.group = load_16(SYNTAX_IMPLICIT, bytes);
    if (read.group == GROUP_FILE_META)
        read.mode = static_cast<unsigned char>((read.mode & MODE_OF_FILE_META) | SYNTAX_EXPLICIT);
    else
        read.group = load_16(format_of(read), bytes);

    if (!take_16(&read.from, format_of(read), &read.element)) {
        REPORT(read.from.window, LEVEL_READ_FAILURE, "NEMA_Get_Data_Element() --> failed to read element");
        return FAILED;
    }
    REPORT(read.from.window, LEVEL_FUNCTION, "--> reading (%04x,%04x)", read.group, read.element);

    if (has_tag(read, 0x3F3F, 0x003F)) {
        REPORT(read.from.window, Flag_Error_Warning,
               "    \xF1\x05WARNING:\x02 Fix Philips bug: tag (3F3F,003F) replaced by (FFFE,E000)");
        read.group = GROUP_ITEM;
        read.element = ELEMENT_ITEM;
    }
    // Items and delimiters never have a VR (DICOM PS3.5, 7.5).
    if (read.group == GROUP_ITEM)
        read.mode &= MODE_OF_ITEMS;
    return GO_ON;
}

/* ---- VR and length ----------------------------------------------------------------- */

static bool has_long_length(unsigned short vr)
{
    switch (vr) {
    case VR_OB:
    case VR_OW:
    case VR_OX:
    case VR_SQ:
    case VR_UN:
    case VR_UT:
        return true;
    default:
        return false;
    }
}

static void report_failed_size(const Element_Read &read)
{
    REPORT(read.from.window, LEVEL_READ_FAILURE, "NEMA_Get_Data_Element() --> failed to read size (VR:%c%c)",
           letter_1(read.vr), letter_2(read.vr));
}

static Outcome read_implicit_length(Element_Read &read)
{
    read.vr = VR_NONE;
    if (take_32(&read.from, format_of(read), &read.length))
        return GO_ON;
    report_failed_size(read);
    // A stream may end directly behind the tag of its last delimiter.
    bool is_delimiter =
        read.group == GROUP_ITEM && (read.element == ELEMENT_ITEM_END || read.element == ELEMENT_SEQUENCE_END);
    return is_delimiter ? DONE : FAILED;
}

static Outcome read_long_length(Element_Read &read)
{
    unsigned short reserved;
    if (!take_16(&read.from, format_of(read), &reserved))
        return FAILED;
    // Written with a short length field all the same: the reserved word is the length.
    if (reserved != 0 && read.vr != VR_OX && has_tag(read, 0x0040, 0x0275)) {
        REPORT(read.from.window, Flag_Error_Warning,
               "    \xF1\x05WARNING:\x02 Fix Siemens bug: tag (0040,0275) is skipped");
        read.group = 0xFFFF;
        read.element = 0xFFFF;
        read.vr = VR_OB;
        read.length = reserved;
        return DONE;
    }
    if (take_32(&read.from, format_of(read), &read.length))
        return GO_ON;
    report_failed_size(read);
    return FAILED;
}

static Outcome read_short_length(Element_Read &read)
{
    char bytes[2];
    read.length = 0;
    if (!take_bytes(&read.from, 2, bytes)) {
        report_failed_size(read);
        return FAILED;
    }
    read.length = load_16(format_of(read), bytes);
    char first = first_letter(read.vr), second = second_letter(read.vr);
    if (is_upper_case(first) && is_upper_case(second))
        return GO_ON;
    if (read.vr == VR_UNKNOWN_1 || read.vr == VR_UNKNOWN_2)
        return GO_ON;

    // No VR: the stream is implicit after all, and its length field was taken for a VR and a short length.
    const char field[4] = {first, second, bytes[0], bytes[1]};
    read.length = static_cast<int>(load_32(static_cast<char>(read.mode & SYNTAX_BIG_ENDIAN), field));
    read.vr = VR_NONE;
    read.mode = static_cast<unsigned char>(~read.mode & (SYNTAX_BIG_ENDIAN | SYNTAX_EXPLICIT));
    return GO_ON;
}

static Outcome read_vr_and_length(Element_Read &read)
{
    char first, second;
    if (!take_bytes(&read.from, 1, &first)) {
        REPORT(read.from.window, LEVEL_READ_FAILURE, "NEMA_Get_Data_Element() --> failed to read VR byte[0]");
        return FAILED;
    }
    if (!take_bytes(&read.from, 1, &second)) {
        REPORT(read.from.window, LEVEL_READ_FAILURE, "NEMA_Get_Data_Element() --> failed to read VR byte[1]");
        return FAILED;
    }
    read.vr = pack_letters(first, second);
    return has_long_length(read.vr) ? read_long_length(read) : read_short_length(read);
}

/* ---- checks and repairs ------------------------------------------------------------ */

static Outcome check_length(Element_Read &read)
{
    HWND window = read.from.window;
    if (read.limit != 0 && read.length >= read.limit) {
        REPORT(window, LEVEL_READ_FAILURE, "NEMA_Get_Data_Element() --> failed size to big (=%08X)",
               static_cast<unsigned int>(read.length));
        return FAILED;
    }
    if ((read.length & 1) == 0 || read.length == UNDEFINED_LENGTH)
        return GO_ON;

    bool is_ge = (read.mode & VENDOR_MASK) == VENDOR_GE;
    if (is_ge && read.length == 13) {
        REPORT(window, Flag_Error_Warning,
               "    \xF1\x05WARNING:\x02 Fix GE bug: lenght from 13 to 10 in tag (%04x,%04x)", read.group,
               read.element);
        read.length = 10;
        return DONE;
    }
    REPORT(window, Flag_Error_Warning, "    \xF1\x05WARNING:\x02 tag lenght is odd in tag (%04x,%04x)", read.group,
           read.element);
    if (is_ge) {
        REPORT(window, Flag_Error_Warning,
               "\x05 Oups! We assumed this was a GE 13/10 bug, it no longer appears that way");
        REPORT(window, Flag_Error_Warning, "\x05 Please contact Velmora for further assistance.");
    }
    return GO_ON;
}

// The items of this library say eight bytes too many, which shows where they pass the end of the source.
static Outcome repair_rogan_item(Element_Read &read)
{
    if (static_cast<int64_t>(position_of(read.from)) + read.length <= read.limit)
        return GO_ON;
    REPORT(read.from.window, Flag_Error_Warning,
           "    \xF1\x05WARNING:\x02 Fix GE ROGAN LIB bug: lenght from 0x%08x to 0x%08x in tag (%04x,%04x)",
           static_cast<unsigned int>(read.length), static_cast<unsigned int>(read.length - 8), read.group,
           read.element);
    read.length -= 8;
    return GO_ON;
}

// Reads the first four bytes of the value and goes back to them. A value that is not there reads as 0. The result is 0
// when there is no way back.
static int look_ahead(Element_Read &read, int *value)
{
    long position = position_of(read.from);
    *value = 0;
    if (read.from.kind != SOURCE_FILE && read.limit != 0 && position > read.limit - 4)
        return 1;
    take_32(&read.from, format_of(read), value);
    return return_to(&read.from, position);
}

static Outcome repair_false_ul(Element_Read &read)
{
    int value;
    if (!look_ahead(read, &value))
        return FAILED;
    if (value != 0x20202020)
        return GO_ON;
    REPORT(read.from.window, Flag_Error_Warning,
           "    \xF1\x05WARNING:\x02 Fix Siemens bug: lenght changed from 6 to 4 in tag (%04x,%04x)", read.group,
           read.element);
    read.length = 4;
    read.vr = VR_CS;
    return DONE;
}

/* ---- the search for the end of a JPEG stream --------------------------------------- */

// The offset of a 16-bit word in a run of such words, or -1.
static int find_word(const char *words, int size, const char *word)
{
    for (int at = 0; at + 1 < size; at += 2)
        if (words[at] == word[0] && words[at + 1] == word[1])
            return at;
    return -1;
}

// Reads in blocks as long as the file fills them, then word by word: reads that fail do not end the search.
static int find_in_file(HWND window, intptr_t handle, const char *name, int limit, const char *word)
{
    static const int BLOCK = 8192;
    char block[BLOCK];
    int descriptor = static_cast<int>(handle);
    if (limit > INT_MAX - 2)
        limit = INT_MAX - 2;   // two more than this is still a length
    int counter = 0, obtained;
    do {
        int left = (limit - counter + 1) & ~1;
        obtained = read_once(descriptor, left < BLOCK ? left : BLOCK, block);
        int found = find_word(block, obtained, word);
        if (found >= 0)
            return counter + found;
        counter += obtained > 0 ? obtained & ~1 : 0;
    } while (obtained == BLOCK);

    if (obtained > 0 && obtained % 2 != 0)
        lseek(descriptor, -1, SEEK_CUR);
    for (; counter < limit; counter += 2)
        if (take_from_file(window, handle, name, 2, block) && find_word(block, 2, word) == 0)
            return counter;
    return -1;
}

static int find_in_source(const Byte_Source &from, int limit, const char *word)
{
    if (from.kind == SOURCE_FILE)
        return find_in_file(from.window, from.handle, from.name, limit, word);
    int position = static_cast<int>(from.position);
    return find_word(from.name + position, limit - position, word);
}

// Pixel data that are a JPEG stream of their own, without a length and without the items of DICOM PS3.5, A.4: the
// length follows from the end marker.
static Outcome repair_bare_jpeg(Element_Read &read)
{
    int value;
    if (!look_ahead(read, &value))
        return FAILED;
    unsigned short end_marker;
    if (static_cast<unsigned int>(value) == 0xE0FFD8FF)
        end_marker = 0xD9FF;
    else if (static_cast<unsigned int>(value) == 0xFFD8FFE0)
        end_marker = 0xFFD9;
    else
        return GO_ON;
    if (read.limit == 0)
        return FAILED;

    char word[2];
    store_16(format_of(read), word, end_marker);
    long position = position_of(read.from);
    int counter = find_in_source(read.from, read.limit, word);
    if (counter >= 0) {
        read.length = counter + 2;
        REPORT(read.from.window, Flag_Error_Warning,
               "    \xF1\x05WARNING:\x02 Fix Siemens bug: lenght changed from -1 to %d in tag (%04x,%04x)", read.length,
               read.group, read.element);
    }
    if (!return_to(&read.from, position))
        return FAILED;
    return counter >= 0 ? GO_ON : FAILED;
}

/* ---- the usual header -------------------------------------------------------------- */

enum { LONGEST_HEADER = 12 };

// Groups with an element that the steps look at in particular.
static bool may_need_repair(unsigned short group)
{
    return group == 0x0009 || group == 0x0040 || group == 0x3F3F || group == 0x7FE0 || group == 0xFEFF;
}

// Most headers stand in memory, in little endian, and need neither a repair nor a report: such a one is read at one
// glance, in a quarter of the time of the steps. The results are written and the cursor moves only if it is such a one;
// if not, the result is 0, and the steps have to read it.
//   end  of the source; NO_END is not known
static int read_usual_header(const char *name, int *cursor, uint64_t end, unsigned char mode, unsigned short *group,
                             unsigned short *element, unsigned short *vr, int *length, int limit)
{
    if ((mode & ~SYNTAX_EXPLICIT) != 0 || report_threshold >= LEVEL_LOCATION || end == NO_END || *cursor < 0 ||
        end - static_cast<uint64_t>(*cursor) < LONGEST_HEADER)
        return 0;
    const char *at = name + *cursor;
    unsigned short tag_group = load_16(SYNTAX_IMPLICIT, at);
    if (may_need_repair(tag_group))
        return 0;

    bool is_explicit = (mode != SYNTAX_IMPLICIT || tag_group == GROUP_FILE_META) && tag_group != GROUP_ITEM;
    unsigned short letters = is_explicit ? pack_letters(at[4], at[5]) : static_cast<unsigned short>(VR_NONE);
    if (is_explicit && (!is_upper_case(at[4]) || !is_upper_case(at[5])))
        return 0;
    bool is_long = has_long_length(letters);
    int bytes = is_explicit && !is_long ? load_16(SYNTAX_IMPLICIT, at + 6)
                                        : static_cast<int>(load_32(SYNTAX_IMPLICIT, is_long ? at + 8 : at + 4));
    if (bytes != UNDEFINED_LENGTH && (bytes < 0 || bytes % 2 != 0 || bytes >= limit))
        return 0;

    *group = tag_group;
    *element = load_16(SYNTAX_IMPLICIT, at + 2);
    *vr = letters;
    *length = bytes;
    *cursor += is_long ? 12 : 8;
    return 1;
}

/* ---- the whole header -------------------------------------------------------------- */

static Outcome repair_element(Element_Read &read)
{
    // The item tag of the other byte order.
    if (has_tag(read, 0xFEFF, 0x00E0))
        return FAILED;
    if (has_tag(read, GROUP_ITEM, ELEMENT_ITEM) && (read.told_mode & VENDOR_MASK) == VENDOR_GE_ROGAN &&
        read.length > 0 && read.limit != 0)
        return repair_rogan_item(read);
    if (read.group == 0x0009 && read.vr == VR_UL && read.length == 6)
        return repair_false_ul(read);
    if (has_tag(read, 0x7FE0, 0x0010) && read.length == UNDEFINED_LENGTH)
        return repair_bare_jpeg(read);
    return GO_ON;
}

static Outcome read_header(Element_Read &read)
{
    Outcome outcome = read_tag(read);
    if (outcome == GO_ON)
        outcome = (read.mode & SYNTAX_EXPLICIT) ? read_vr_and_length(read) : read_implicit_length(read);
    if (outcome == GO_ON)
        outcome = check_length(read);
    if (outcome == GO_ON)
        outcome = repair_element(read);
    if (outcome == GO_ON && read.length < UNDEFINED_LENGTH)
        outcome = FAILED;
    return outcome;
}

// What the limit tells of the end of a memory source. A limit that is smaller than any header, or that lies behind the
// read position, cannot be the size of what is being read: it then bounds the lengths alone.
static uint64_t end_of_source(int source, intptr_t handle, int limit)
{
    if (source == SOURCE_FILE)
        return NO_END;
    int position = *cursor_of(handle);
    if (position < 0)
        return 0;
    return limit >= LONGEST_HEADER && position <= limit ? static_cast<uint64_t>(limit) : NO_END;
}

int NEMA_Get_Data_Element(HWND window, int source, intptr_t handle, const char *name, unsigned char mode,
                          unsigned short *group, unsigned short *element, unsigned short *vr, int *length, int limit)
{
    REPORT(window, LEVEL_ATTRIBUTE, "in NEMA_Get_Data_Element(mode:%04X)", mode);
    uint64_t end = end_of_source(source, handle, limit);
    if (source != SOURCE_FILE &&
        read_usual_header(name, cursor_of(handle), end, mode, group, element, vr, length, limit))
        return 1;
    Element_Read read = {
        enter_source(window, source, handle, name, end), mode, mode, limit, *group, *element, *vr, *length};

    // Only the trace needs it, and so does the report of a failure to get it: a file is not asked for nothing.
    long start = LEVEL_LOCATION <= report_threshold ? position_of(read.from) : 0;

    Outcome outcome = read_header(read);
    leave_source(read.from);
    if (outcome == GO_ON)
        REPORT(window, LEVEL_LOCATION, "[%06X] --> (%04x,%04x) VR:%c%c lenght:%08X (%d)",
               static_cast<unsigned int>(start), *group, *element, letter_1(*vr), letter_2(*vr),
               static_cast<unsigned int>(*length), *length);
    return outcome != FAILED;
}
