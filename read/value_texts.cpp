// Values as texts: the split at the backslash, and the arrays of texts that serve it.
#include "read/read_internal.h"

static const char SOURCE[] = ".\\NEMA_Read_Value";

static Text_Array text_arrays[RING_SLOTS];
static int text_counter;

/* ---- arrays of texts --------------------------------------------------------------- */

static int grow_texts(HWND window, Text_Array *array, int count)
{
    if (count <= array->room)
        return 1;
    int room = larger_room(array->room);
    char **texts = static_cast<char **>(ALLOC_REALLOC_ROOM(
        window, "V_Str[cc]", array->texts, static_cast<size_t>(room) * sizeof(char *), count, sizeof(char *)));
    if (texts == nullptr)
        return 0;
    for (int i = array->room; i < room; i++)
        texts[i] = nullptr;
    array->texts = texts;
    array->room = room;
    return 1;
}

// what: the name that a memory failure gives the text
static int set_text(HWND window, Text_Array *array, int index, const char *start, size_t length, const char *what)
{
    if (!grow_texts(window, array, index + 1))
        return 0;
    char *text = static_cast<char *>(ALLOC_REALLOC(window, what, array->texts[index], length + 1, 1));
    if (text == nullptr)
        return 0;
    memcpy(text, start, length);
    text[length] = '\0';
    array->texts[index] = text;
    return 1;
}

int split_into(HWND window, Text_Array *array, const char *text)
{
    for (int count = 0;; count++) {
        const char *end = end_of_value(text);
        bool is_last = *end == '\0';
        if (!set_text(window, array, count, text, static_cast<size_t>(end - text),
                      is_last ? "(V_Str[cc][tag->vm])" : "V_Str[cc][tag->vm]"))
            return 0;
        if (is_last)
            return count + 1;
        text = end + 1;
    }
}

void free_texts(Text_Array *array)
{
    for (int i = 0; i < array->room; i++)
        frame_free(array->texts[i]);
    frame_free(array->texts);
    *array = {};
}

char *copy_value(const Value_Call &call)
{
    size_t size = static_cast<size_t>(call.tag->size);
    char *str = static_cast<char *>(ALLOC_MALLOC(call.window, "str", size + 1, 1));
    if (str == nullptr)
        return nullptr;
    memcpy(str, call.tag->data, size);
    str[size] = '\0';
    return str;
}

/* ---- the operation ----------------------------------------------------------------- */

static int take_whole(const Value_Call &call, Text_Array *array)
{
    return set_text(call.window, array, 0, call.tag->data, static_cast<size_t>(call.tag->size), "(V_Str[cc][tag->vm])");
}

static int take_split(const Value_Call &call, Text_Array *array)
{
    char *str = copy_value(call);
    if (str == nullptr)
        return 0;
    int count = split_into(call.window, array, str);
    frame_free(str);
    return count;
}

char **NEMA_Value_Str(HWND window, DICOM_List *tag, unsigned short vr)
{
    Value_Call call;
    if (!begin_value(&call, window, tag, vr, &text_counter, FETCH_UNREAD))
        return nullptr;
    Text_Array *array = &text_arrays[call.slot];
    switch (call.vr) {
    case VR_AE:
    case VR_CS:
    case VR_LO:
    case VR_SH:
    case VR_UI:
        tag->vm = take_split(call, array);
        break;
    case VR_AS:
    case VR_LT:
    case VR_OB:
    case VR_ST:
    case VR_UN:
    case VR_UT:
        tag->vm = take_whole(call, array);
        break;
    default:
        report_bad_vr(call, call.vr, "AE,AS,CS,LO,LT,SH,ST,UI,UT", HERE);
    }
    return tag->vm > 0 ? array->texts : nullptr;
}

void release_texts()
{
    for (Text_Array &array : text_arrays)
        free_texts(&array);
}
