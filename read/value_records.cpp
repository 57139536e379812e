// Values as records: person names, dates and times (DICOM PS3.5, 6.2: PN, DA, TM, DT).
#include "read/read_internal.h"

static const char SOURCE[] = ".\\NEMA_Read_Value";

struct Name_Array {
    Velmora_Name *names;
    int count;         // records of the last call, each of which may own texts
    Text_Array work;   // the values as texts, of which the names are made
};

static Velmora_Date dates[RING_SLOTS];
static Velmora_Time times[RING_SLOTS];
static Name_Array name_arrays[RING_SLOTS];
static int date_counter, time_counter, name_counter;

/* ---- names ------------------------------------------------------------------------- */

// Split like the others, but from a zeroed block, as its memory failure tells.
static int split_names(const Value_Call &call, Text_Array *work)
{
    size_t size = static_cast<size_t>(call.tag->size);
    char *str = static_cast<char *>(ALLOC_CALLOC(call.window, "str", size + 1, 1));
    if (str == nullptr)
        return 0;
    memcpy(str, call.tag->data, size);
    int count = split_into(call.window, work, str);
    frame_free(str);
    return count;
}

static int resize_names(HWND window, Name_Array *array, int count)
{
    for (int i = 0; i < array->count; i++)
        Name_Free(&array->names[i]);
    array->count = 0;
    Velmora_Name *names =
        static_cast<Velmora_Name *>(ALLOC_REALLOC(window, "Velm_Name[cc]", array->names, count, sizeof(Velmora_Name)));
    if (names == nullptr)
        return 0;
    for (int i = 0; i < count; i++)
        names[i] = {};
    array->names = names;
    array->count = count;
    return 1;
}

// Cuts the text at its carets into family, given, middle, prefix and suffix. Further parts are dropped.
static int set_name(Velmora_Name *name, char *text)
{
    char *parts[5] = {};
    for (char *&part : parts) {
        part = text;
        char *caret = strchr(text, '^');
        if (caret == nullptr)
            break;
        *caret = '\0';
        text = caret + 1;
    }
    return Make_Velm_Name(name, parts[0], parts[1], parts[2], parts[3], parts[4]);
}

static int set_names(const Value_Call &call, Name_Array *array, int count)
{
    if (!resize_names(call.window, array, count))
        return 0;
    for (int i = 0; i < count; i++)
        if (!set_name(&array->names[i], array->work.texts[i]))
            return 0;
    return count;
}

Velmora_Name *NEMA_Value_Name(HWND window, DICOM_List *tag, unsigned short vr)
{
    Value_Call call;
    if (!begin_value(&call, window, tag, vr, &name_counter, AS_IT_IS))
        return nullptr;
    Name_Array *array = &name_arrays[call.slot];
    tag->vm = split_names(call, &array->work);
    if (tag->vm == 0)
        return nullptr;
    if (call.vr != VR_PN) {
        report_bad_vr(call, call.vr, "PN", HERE);
        return nullptr;
    }
    tag->vm = set_names(call, array, tag->vm);
    return tag->vm > 0 ? array->names : nullptr;
}

/* ---- dates and times --------------------------------------------------------------- */

enum { TEXT_ROOM = 11 };   // the first ten bytes of a value, terminated

static void copy_start(const DICOM_List *tag, int from, char *text, int room)
{
    memset(text, 0, static_cast<size_t>(room));
    int length = tag->size - from < room - 1 ? tag->size - from : room - 1;
    if (length > 0)
        memcpy(text, tag->data + from, static_cast<size_t>(length));
}

static const char *template_of_date(int size)
{
    switch (size) {
    case 6:
        return "yymmdd";
    case 8:
        return "yyyymmdd";
    case 10:
        return "yyyy.mm.dd";
    default:
        return nullptr;
    }
}

Velmora_Date *NEMA_Value_Date(HWND window, DICOM_List *tag, unsigned short vr)
{
    Value_Call call;
    if (!begin_value(&call, window, tag, vr, &date_counter, AS_IT_IS))
        return nullptr;
    char text[TEXT_ROOM];
    copy_start(tag, 0, text, TEXT_ROOM);
    const char *tmplt = nullptr;
    if (call.vr == VR_DA) {
        tmplt = template_of_date(tag->size);
    } else if (call.vr == VR_DT) {
        tmplt = text[4] == '.' ? "yyyy.mm.dd" : "yyyymmdd";
        if (text[4] != '.')
            text[8] = '\0';
    } else {
        report_bad_vr(call, call.vr, "DA,DT", HERE);
    }
    if (tmplt == nullptr)
        return nullptr;

    Velmora_Date *date = &dates[call.slot];
    Date_Free(date);
    if (!Make_Velm_Date(date, text, tmplt) && text[0] != '\0')
        return nullptr;
    tag->vm = 1;
    return date;
}

// HHMMSS.FFFFFF and an offset, behind the eight digits of the date.
static void set_time_of_dt(Velmora_Time *time, const DICOM_List *tag)
{
    char text[24];
    copy_start(tag, 8, text, sizeof text);
    const char *end = text + sizeof text - 1;
    int hour = whole_number(text, text + 2);
    int minute = whole_number(text + 2, text + 4);
    float second = static_cast<float>(real_number(text + 4, end));
    if (tag->size > 21 && (text[13] == '+' || text[13] == '-')) {
        int sign = text[13] == '-' ? -1 : 1;
        hour += sign * whole_number(text + 14, text + 16);
        minute += sign * whole_number(text + 16, end);
    }
    Make_Velm_Time(time, hour, minute, second);
}

Velmora_Time *NEMA_Value_Time(HWND window, DICOM_List *tag, unsigned short vr)
{
    Value_Call call;
    if (!begin_value(&call, window, tag, vr, &time_counter, AS_IT_IS))
        return nullptr;
    if (call.vr != VR_TM && call.vr != VR_DT) {
        report_bad_vr(call, call.vr, "DT,TM", HERE);
        return nullptr;
    }
    char text[TEXT_ROOM];
    copy_start(tag, 0, text, TEXT_ROOM);
    Velmora_Time *time = &times[call.slot];
    Time_Free(time);   // else a text that tells no seconds would take over those of an earlier node
    if (call.vr == VR_TM) {
        bool is_separated = text[2] == ':' || text[2] == '.';
        Make_Velm_Time(time, text, is_separated ? "hh:mm:ss.ffff" : "hhmmss.ffffff");
        if (time->state == 0 && text[0] != '\0')   // its result does not tell that memory ran out
            return nullptr;
    } else if (text[4] != '.' && tag->size >= 8) {
        set_time_of_dt(time, tag);
    }
    tag->vm = 1;
    return time;
}

/* ---- tear-down --------------------------------------------------------------------- */

void release_records()
{
    for (int i = 0; i < RING_SLOTS; i++) {
        Name_Array *array = &name_arrays[i];
        for (int k = 0; k < array->count; k++)
            Name_Free(&array->names[k]);
        frame_free(array->names);
        free_texts(&array->work);
        *array = {};
        Date_Free(&dates[i]);
        Time_Free(&times[i]);
    }
}
