// Streams for hosts: which groups of a sorted chain are written, in which part of a stream, and where the host's image
// goes in between. How a group becomes bytes is left to NEMA_Write_Buffer.cpp.
#include "write/write_internal.h"

#include <limits.h>

static const char SOURCE[] = ".\\NEMA_Write_Buffer";

enum { PREAMBLE_SIZE = 128, PREFIX_END = 132 };

// ---- the groups of a stream

struct Group_Range {
    unsigned short first, last;
};

// The even groups in front of the image that are written, as ranges of even numbers, ascending.
static const Group_Range STANDARD_GROUPS[] = {
    {0x0008, 0x0008}, {0x0010, 0x0012}, {0x0018, 0x0018}, {0x0020, 0x0020}, {0x0028, 0x0028}, {0x0032, 0x0032},
    {0x0038, 0x003A}, {0x0040, 0x0040}, {0x0050, 0x0050}, {0x0054, 0x0054}, {0x0060, 0x0060}, {0x0070, 0x0070},
    {0x0088, 0x0088}, {0x0100, 0x0100}, {0x0400, 0x0400}, {0x2000, 0x2000}, {0x2010, 0x2010}, {0x2020, 0x2020},
    {0x2030, 0x2030}, {0x2040, 0x2040}, {0x2050, 0x2050}, {0x2100, 0x2100}, {0x2110, 0x2110}, {0x2120, 0x2120},
    {0x2130, 0x2130}, {0x2200, 0x2200}, {0x3002, 0x300E}, {0x4000, 0x4000}, {0x4008, 0x4008}, {0x5000, 0x50FE},
    {0x5200, 0x5200}, {0x5400, 0x5400}, {0x5600, 0x5600}, {0x6000, 0x60FE},
};

struct Stream_Part {
    Group_Range groups;
    bool        standard_only;   // of the even groups
};

// The groups between the two parts, 0x7FE0 among them, are the place of the image.
static const Stream_Part BEFORE_IMAGE = {{0x0008, 0x7F00}, true};
static const Stream_Part BEHIND_IMAGE = {{0x7FF0, 0x7FFF}, false};

static bool is_standard(int group)
{
    for (const Group_Range &range : STANDARD_GROUPS)
        if (group <= range.last)
            return group >= range.first;
    return false;
}

static bool is_selected(const Stream_Part &part, int group)
{
    if (group % 2 != 0)
        return Flag_DICOM_Propriatery != 0;
    return !part.standard_only || is_standard(group);
}

// Passes over the lower groups of the chain, and gives the group to go on with: the one asked for, or, as long as no
// trace has to name the groups that are absent, the next one that the chain holds.
static int next_group(int group, const DICOM_List **at)
{
    while (*at != nullptr && (*at)->group < group)
        *at = (*at)->next;
    if (report_threshold >= LEVEL_ATTRIBUTE)
        return group;
    return *at != nullptr ? (*at)->group : INT_MAX;
}

// Appends the selected groups of one part. Groups and chain are gone through in step: a chain gives up its groups in
// ascending order even when it is not sorted, since the first higher group ends the walk for a lower one for good.
static bool append_part(HWND window, char syntax, const Stream_Part &part, const DICOM_List *list, Write_Block *to)
{
    const DICOM_List *at = list;
    int group = next_group(part.groups.first, &at);
    for (; group <= part.groups.last; group = next_group(group + 1, &at)) {
        if (!is_selected(part, group))
            continue;
        unsigned short number = static_cast<unsigned short>(group);
        unsigned int bytes;
        if (!append_group(window, number, syntax, &at, DICOM_Flag_Elem_0000 != 0, to, &bytes))
            return false;
        REPORT(window, LEVEL_ATTRIBUTE, "group (%04x) = %d bytes tot, %d bytes data", group,
               static_cast<int>(to->used), static_cast<int>(bytes));
    }
    return true;
}

// ---- writers

// A block that begins with what the caller handed in, which is overwritten.
static Write_Block callers_block(char **buffer, uint64_t limit)
{
    return {buffer, 0, 0, limit};
}

static unsigned int write_part(HWND window, char syntax, const Stream_Part &part, DICOM_List *list, char **buffer)
{
    Write_Block block = callers_block(buffer, UINT_MAX);
    return append_part(window, syntax, part, list, &block) ? block.used : 0;
}

// The callbacks of the host live on until others replace them.
static DICOM_Image_Fct image_callback = nullptr;
static DICOM_Image_B_Fct image_b_callback = nullptr;

static void warn_of_missing_callback(HWND window)
{
    REPORT(window, Flag_Error_Warning, "\xF1\x05Warning:\x02 Write Image call back undefined!");
}

// Lets the host put its image behind what is there. What it does with the block is its own affair, so that nothing is
// known of the block's size afterwards.
static bool append_image(HWND window, char syntax, void *user, Write_Block *to)
{
    int64_t total = to->used;
    total += image_callback(window, syntax, to->used, to->buffer, user);
    to->capacity = 0;
    if (total < 0 || static_cast<uint64_t>(total) > to->limit) {
        REPORT(window, LEVEL_MEMORY, "\xF1\x04" "ERROR:\x02 A stream of %lld bytes can not be written",
               static_cast<long long>(total));
        return false;
    }
    to->used = static_cast<unsigned int>(total);
    return true;
}

int DICOM_Write_Image_Fct(DICOM_Image_Fct callback)
{
    image_callback = callback;
    return 1;
}

int DICOM_Write_Image_B_Fct(DICOM_Image_B_Fct callback)
{
    image_b_callback = callback;
    return 1;
}

unsigned int DICOM_Write_Part10(HWND window, char, DICOM_List *list, char **buffer)
{
    REPORT(window, LEVEL_OPERATION, "in DICOM_Write_Part10()");
    *buffer = static_cast<char *>(ALLOC_CALLOC(window, "*buffer", PREFIX_END, 1));
    if (*buffer == nullptr)
        return 0;
    memcpy(*buffer + PREAMBLE_SIZE, "DICM", PREFIX_END - PREAMBLE_SIZE);

    Write_Block block = {buffer, PREFIX_END, PREFIX_END, UINT_MAX};
    const DICOM_List *at = list;
    unsigned int bytes;
    // The head is explicit VR little-endian and has its length element, whatever the rest of the file is and has.
    if (!append_group(window, GROUP_FILE_META, SYNTAX_EXPLICIT, &at, true, &block, &bytes))
        return 0;
    return block.used;
}

unsigned int DICOM_Write_Buffer(HWND window, char syntax, DICOM_List *list, char **buffer, void *user)
{
    REPORT(window, LEVEL_OPERATION, "in DICOM_Write_Buffer()");
    Write_Block block = callers_block(buffer, UINT_MAX);
    if (!append_part(window, syntax, BEFORE_IMAGE, list, &block))
        return 0;
    if (image_callback == nullptr) {
        warn_of_missing_callback(window);
        return 0;
    }
    if (!append_image(window, syntax, user, &block) || !append_part(window, syntax, BEHIND_IMAGE, list, &block))
        return 0;
    return block.used;
}

unsigned int DICOM_Write_Buffer_A(HWND window, char syntax, DICOM_List *list, char **buffer, void *)
{
    REPORT(window, LEVEL_OPERATION, "in DICOM_Write_Buffer_A()");
    return write_part(window, syntax, BEFORE_IMAGE, list, buffer);
}

int DICOM_Write_Buffer_B(HWND window, char syntax, char **buffer, int a, int b, void *user)
{
    REPORT(window, LEVEL_OPERATION, "in DICOM_Write_Buffer_B(%d,%d)", a, b);
    if (image_b_callback != nullptr)
        return image_b_callback(window, syntax, buffer, a, b, user);
    warn_of_missing_callback(window);
    return 0;
}

unsigned int DICOM_Write_Buffer_C(HWND window, char syntax, DICOM_List *list, char **buffer, void *)
{
    REPORT(window, LEVEL_OPERATION, "in DICOM_Write_Buffer_C()");
    return write_part(window, syntax, BEHIND_IMAGE, list, buffer);
}

int DICOM_List2Stream(HWND window, char syntax, DICOM_List *list, char **buffer)
{
    REPORT(window, LEVEL_ATTRIBUTE, "in DICOM_List2Stream()");
    *buffer = nullptr;
    Write_Block block = callers_block(buffer, INT_MAX);
    const DICOM_List *at = list;
    return append_attributes(window, syntax, ANY_GROUP, &at, &block) ? static_cast<int>(block.used) : 0;
}
