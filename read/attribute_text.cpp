// Every value of an attribute as a line of text, whatever its VR, for hosts that show or compare attributes without
// knowing their types.
#include "read/read_internal.h"

#include <charconv>

enum { BLOCK_ROOM = 10240, LARGEST_VALUE = 1024, LONGEST_BYTES = 1023 };
enum { NAME_ROOM = 5 * 65 + 1 };   // five fields of a name at 64 characters, with what stands between them

// The texts of the last call, one behind the other; its callers free nothing.
static char text_block[BLOCK_ROOM];

// Writes a text at *place, and moves *place behind its terminator. The text is cut at the end of the block. When the
// block is full, *place stays on its last byte, so that further texts are empty.
static void put_text(char **place, const char *text, size_t length)
{
    char *last = text_block + BLOCK_ROOM - 1;
    size_t room = static_cast<size_t>(last - *place);
    if (length > room)
        length = room;
    memcpy(*place, text, length);
    (*place)[length] = '\0';
    *place += length;
    if (*place < last)
        (*place)++;
}

// The same for a text at values[0], values[1], ..., each of which tells where the next one goes.
static void put_value(char **values, int i, const char *text)
{
    values[i + 1] = values[i];
    put_text(&values[i + 1], text, strlen(text));
}

/* ---- one way for each kind of value ------------------------------------------------- */

static void put_strings(DICOM_List *tag, char **values)
{
    char **texts = NEMA_Value_Str(hwnd, tag, VR_NONE);
    for (int i = 0; texts != nullptr && i < tag->vm; i++)
        put_value(values, i, texts[i]);
}

static void put_names(DICOM_List *tag, char **values)
{
    Velmora_Name *names = NEMA_Value_Name(hwnd, tag, VR_NONE);
    for (int i = 0; names != nullptr && i < tag->vm; i++) {
        char text[NAME_ROOM];
        Name_2_DICOM(&names[i], text);
        put_value(values, i, text);
    }
}

static void put_date_and_time(DICOM_List *tag, char **values, bool has_date, bool has_time)
{
    Velmora_Date *date = has_date ? NEMA_Value_Date(hwnd, tag, VR_NONE) : nullptr;
    Velmora_Time *time = has_time ? NEMA_Value_Time(hwnd, tag, VR_NONE) : nullptr;
    if ((has_date && date == nullptr) || (has_time && time == nullptr))
        tag->vm = 0;
    else
        put_value(values, 0, Time_2_DICOM(date, time));
}

static void put_ints(DICOM_List *tag, char **values)
{
    int *numbers = NEMA_Value_Int(hwnd, tag, VR_NONE);
    for (int i = 0; numbers != nullptr && i < tag->vm; i++) {
        char text[16];
        snprintf(text, sizeof text, "%-d", numbers[i]);
        put_value(values, i, text);
    }
}

static void put_floats(DICOM_List *tag, char **values)
{
    float *numbers = NEMA_Value_Float(hwnd, tag, VR_NONE);
    for (int i = 0; numbers != nullptr && i < tag->vm; i++) {
        // As "%-.3f" has it, but with a point in every locale. The greatest float has 39 digits in front of it.
        char text[64];
        *std::to_chars(text, text + sizeof text - 1, numbers[i], std::chars_format::fixed, 3).ptr = '\0';
        put_value(values, i, text);
    }
}

static void put_bytes(DICOM_List *tag, char **values)
{
    const char *bytes = NEMA_Value_Hex(hwnd, tag, VR_NONE);
    if (bytes == nullptr)
        return;
    size_t most = static_cast<size_t>(tag->size < LONGEST_BYTES ? tag->size : LONGEST_BYTES);
    char *place = values[0];
    put_text(&place, bytes, strnlen(bytes, most));
}

int DICOM_Attribute_Get_Data(DICOM_List *tag, char **values)
{
    if (tag->size > LARGEST_VALUE)
        return 0;
    values[0] = text_block;
    text_block[0] = '\0';
    switch (working_vr(tag)) {
    case VR_AE:
    case VR_AS:
    case VR_CS:
    case VR_LO:
    case VR_LT:
    case VR_SH:
    case VR_ST:
    case VR_UI:
    case VR_UT:
        put_strings(tag, values);
        break;
    case VR_PN:
        put_names(tag, values);
        break;
    case VR_DA:
        put_date_and_time(tag, values, true, false);
        break;
    case VR_TM:
        put_date_and_time(tag, values, false, true);
        break;
    case VR_DT:
        put_date_and_time(tag, values, true, true);
        break;
    case VR_DS:
    case VR_FD:
    case VR_FL:
        put_floats(tag, values);
        break;
    case VR_IS:
    case VR_SL:
    case VR_SS:
    case VR_UL:
    case VR_US:
        put_ints(tag, values);
        break;
    case VR_OB:
    case VR_OW:
        put_bytes(tag, values);
        break;
    }
    return tag->vm;
}
