// Builders of values that are texts: several of them stand in one field, joined by backslashes (DICOM PS3.5, 6.4).
#include "tree/add_internal.h"

#include <charconv>
#include <stdio.h>

#include "values/values_internal.h"

enum { NUMBER_ROOM = 32, DATE_ROOM = 64 };   // bytes of one number, and of one date with its time

static bool append_separator(Value_Block *block, size_t values_so_far)
{
    return values_so_far == 0 || append_value(block, "\\", 1);
}

static bool append_text(Value_Block *block, size_t values_so_far, const char *text)
{
    return append_separator(block, values_so_far) && append_value(block, text, strlen(text));
}

/* ---- texts ------------------------------------------------------------------------------------ */

// Joins texts from an array, or from the variable arguments if that is null.
static char *add_texts(HWND window, int *size, size_t count, const char *const *array, Add_Values *values, char padding)
{
    Value_Block block = {window, size, nullptr, 0};
    for (size_t i = 0; i < count; i++) {
        const char *text = array != nullptr ? array[i] : va_arg(values->list, const char *);
        if (text == nullptr)
            return drop_value(&block);
        if (!append_text(&block, i, text))
            return nullptr;
    }
    return pad_value(&block, padding);
}

char *DICOM_Tag_Add_VR_SH(HWND window, int *size, int nb_arg, Add_Values *values)
{
    REPORT(window, LEVEL_FUNCTION, "in DICOM_Tag_Add_VR_SH(nb_arg=%d)", nb_arg);
    const char *const *array = nb_arg < 0 ? va_arg(values->list, const char *const *) : nullptr;
    if (nb_arg < 0 && array == nullptr)
        return nullptr;
    return add_texts(window, size, value_count(nb_arg), array, values, ' ');
}

char *DICOM_Tag_Add_UT(HWND window, int *size, int nb_arg, Add_Values *values)
{
    REPORT(window, LEVEL_FUNCTION, "in DICOM_Tag_Add_UT(nb_arg=%d)", nb_arg);
    if (nb_arg < 0) {
        REPORT(window, Flag_Error_Warning, "VR=Text: vector fct not implemented (nb_arg=%d)", nb_arg);
        nb_arg = opposite(nb_arg);
    }
    if (nb_arg != 1)
        REPORT(window, Flag_Error_Warning, "VR=Text: only 1 value accepted (nb_arg=%d != 1)", nb_arg);
    return add_texts(window, size, 1, nullptr, values, ' ');
}

char *DICOM_Tag_Add_VR_UI(HWND window, int *size, int nb_arg, Add_Values *values)
{
    REPORT(window, LEVEL_FUNCTION, "in DICOM_Tag_Add_VR_UI(nb_arg=%d)", nb_arg);
    if (nb_arg < 0)
        REPORT(window, Flag_Error_Warning, "VR=UI: vector fct not implemented (nb_arg=%d)", nb_arg);
    return add_texts(window, size, value_count(nb_arg), nullptr, values, '\0');
}

static size_t room_for_name(const Velmora_Name &name)
{
    const char *const fields[] = {name.family, name.given, name.middle, name.prefix, name.suffix};
    size_t room = sizeof "^^^^";
    for (const char *field : fields)
        room += field != nullptr ? strlen(field) : 0;
    return room;
}

char *DICOM_Tag_Add_PN(HWND window, int *size, int nb_arg, Add_Values *values)
{
    REPORT(window, LEVEL_FUNCTION, "in DICOM_Tag_Add_PN(nb_arg=%d)", nb_arg);
    if (nb_arg < 0)
        REPORT(window, Flag_Error_Warning, "VR=PN: vector fct not implemented (nb_arg=%d)", nb_arg);
    Value_Block block = {window, size, nullptr, 0};
    for (size_t i = 0, count = value_count(nb_arg); i < count; i++) {
        Velmora_Name name = va_arg(values->list, Velmora_Name);
        if (!append_separator(&block, i) || !reserve_value(&block, room_for_name(name), false))
            return nullptr;
        Name_2_DICOM(&name, block.data + *size);
        *size += static_cast<int>(strlen(block.data + *size));
    }
    return pad_value(&block, ' ');
}

/* ---- numbers ------------------------------------------------------------------------------------ */

// Seven digits, as "%.7g" prints them, but with a point whatever the locale.
static void print_decimal(char text[NUMBER_ROOM], float number)
{
    std::to_chars_result end =
        std::to_chars(text, text + NUMBER_ROOM - 1, static_cast<double>(number), std::chars_format::general, 7);
    *end.ptr = '\0';
    if (strcmp(text, "-0") == 0)
        strcpy(text, "0");
    else if (strcmp(text, "0.9999999") == 0)
        strcpy(text, "1");
}

char *DICOM_Tag_Add_DS(HWND window, int *size, int nb_arg, Add_Values *values)
{
    REPORT(window, LEVEL_FUNCTION, "in DICOM_Tag_Add_DS(nb_arg=%d)", nb_arg);
    const float *array = nb_arg < 0 ? va_arg(values->list, const float *) : nullptr;
    if (nb_arg < 0 && array == nullptr)
        return nullptr;
    Value_Block block = {window, size, nullptr, 0};
    for (size_t i = 0, count = value_count(nb_arg); i < count; i++) {
        const float *number = array != nullptr ? &array[i] : va_arg(values->list, const float *);
        if (number == nullptr)
            return drop_value(&block);
        char text[NUMBER_ROOM];
        print_decimal(text, *number);
        if (!append_text(&block, i, text))
            return nullptr;
    }
    return pad_value(&block, ' ');
}

char *DICOM_Tag_Add_IS(HWND window, int *size, int nb_arg, Add_Values *values)
{
    REPORT(window, LEVEL_FUNCTION, "in DICOM_Tag_Add_IS(nb_arg=%d)", nb_arg);
    const int *array = nb_arg < 0 ? va_arg(values->list, const int *) : nullptr;
    if (nb_arg < 0 && array == nullptr)
        return nullptr;
    Value_Block block = {window, size, nullptr, 0};
    for (size_t i = 0, count = value_count(nb_arg); i < count; i++) {
        char text[NUMBER_ROOM];
        snprintf(text, sizeof text, "%d", array != nullptr ? array[i] : va_arg(values->list, int));
        if (!append_text(&block, i, text))
            return nullptr;
    }
    return pad_value(&block, ' ');
}

/* ---- dates and times ------------------------------------------------------------------------------ */

// A record without numbers prints as nothing: an empty value stands for what is not known.
static void print_date(char text[DATE_ROOM], Velmora_Date date)
{
    int year, month, day;
    text[0] = '\0';
    if (Get_Velm_Date(&date, &year, &month, &day))
        snprintf(text, DATE_ROOM, "%04d%02d%02d", year, month, day);
}

static void print_time(char text[DATE_ROOM], Velmora_Time time)
{
    int hour, minute;
    float second;
    text[0] = '\0';
    if (!Get_Velm_Time(&time, &hour, &minute, &second))
        return;
    int length = snprintf(text, DATE_ROOM, "%02d%02d", hour, minute);
    print_seconds(text + length, static_cast<size_t>(DATE_ROOM - length), second, 3);
}

char *DICOM_Tag_Add_DA(HWND window, int *size, int nb_arg, Add_Values *values)
{
    REPORT(window, LEVEL_FUNCTION, "in DICOM_Tag_Add_DA(nb_arg=%d)", nb_arg);
    const Velmora_Date *array = nb_arg < 0 ? va_arg(values->list, const Velmora_Date *) : nullptr;
    if (nb_arg < 0 && array == nullptr)
        return nullptr;
    Value_Block block = {window, size, nullptr, 0};
    for (size_t i = 0, count = value_count(nb_arg); i < count; i++) {
        char text[DATE_ROOM];
        print_date(text, array != nullptr ? array[i] : va_arg(values->list, Velmora_Date));
        if (!append_text(&block, i, text))
            return nullptr;
    }
    return block.data;
}

char *DICOM_Tag_Add_TM(HWND window, int *size, int nb_arg, Add_Values *values)
{
    REPORT(window, LEVEL_FUNCTION, "in DICOM_Tag_Add_TM(nb_arg=%d)", nb_arg);
    const Velmora_Time *array = nb_arg < 0 ? va_arg(values->list, const Velmora_Time *) : nullptr;
    if (nb_arg < 0 && array == nullptr)
        return nullptr;
    Value_Block block = {window, size, nullptr, 0};
    for (size_t i = 0, count = value_count(nb_arg); i < count; i++) {
        char text[DATE_ROOM];
        print_time(text, array != nullptr ? array[i] : va_arg(values->list, Velmora_Time));
        if (!append_text(&block, i, text))
            return nullptr;
    }
    return block.data;
}

char *DICOM_Tag_Add_DT(HWND window, int *size, int nb_arg, Add_Values *values)
{
    REPORT(window, LEVEL_FUNCTION, "in DICOM_Tag_Add_DT(nb_arg=%d)", nb_arg);
    const Velmora_Date *dates = nb_arg < 0 ? va_arg(values->list, const Velmora_Date *) : nullptr;
    const Velmora_Time *times = nb_arg < 0 ? va_arg(values->list, const Velmora_Time *) : nullptr;
    if (nb_arg < 0 && (dates == nullptr || times == nullptr))
        return nullptr;
    Value_Block block = {window, size, nullptr, 0};
    for (size_t i = 0, count = value_count(nb_arg); i < count; i++) {
        char date[DATE_ROOM], time[DATE_ROOM];
        print_date(date, dates != nullptr ? dates[i] : va_arg(values->list, Velmora_Date));
        print_time(time, times != nullptr ? times[i] : va_arg(values->list, Velmora_Time));
        if (date[0] == '\0')   // a time alone is no value of this kind
            time[0] = '\0';
        if (!append_text(&block, i, date) || !append_value(&block, time, strlen(time)))
            return nullptr;
    }
    return block.data;
}
