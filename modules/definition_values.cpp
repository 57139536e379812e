// The value of a definition line: a quoted text, turned into the bytes of the node's VR.
#include "modules/modules_internal.h"

#include <charconv>

static const char SOURCE[] = ".\\NEMA_Read_IOD";

/* ---- numbers ----------------------------------------------------------------------- */

// atoi without its undefined range: what does not fit keeps its low bits, so that UL holds 4294967295.
static int integer_of(const char *text)
{
    return static_cast<int>(strtoll(text, nullptr, 10));
}

// atof with a decimal point whatever the locale of the host.
static double decimal_of(const char *text)
{
    while (*text == ' ')
        text++;
    if (*text == '+')
        text++;
    double value = 0;
    std::from_chars_result end = std::from_chars(text, text + strlen(text), value);
    return end.ec == std::errc::result_out_of_range ? strtod(text, nullptr) : value;   // infinity, or next to nothing
}

static const char *put_double(char order, const char *text)
{
    return Put_Double(order, decimal_of(text));
}

static const char *put_float(char order, const char *text)
{
    return Put_Float(order, static_cast<float>(decimal_of(text)));
}

static const char *put_int(char order, const char *text)
{
    return Put_Int(order, integer_of(text));
}

static const char *put_short(char order, const char *text)
{
    return Put_Short(order, static_cast<short>(integer_of(text)));
}

static const char *put_ushort(char order, const char *text)
{
    return Put_UShort(order, static_cast<unsigned short>(integer_of(text)));
}

/* ---- the forms by VR --------------------------------------------------------------- */

struct Value_Form {
    unsigned short vr;
    int width;                                          // bytes of one number; 0: a text
    const char *(*put)(char order, const char *text);   // the bytes of one number
    char pad;                                           // makes a text even
};

// VR, width, number, pad. A VR that is not here takes no value.
static const Value_Form value_forms[] = {
    {VR_AE, 0, nullptr,    ' ' },
    {VR_AS, 0, nullptr,    ' ' },
    {VR_CS, 0, nullptr,    ' ' },
    {VR_DA, 0, nullptr,    ' ' },
    {VR_DS, 0, nullptr,    ' ' },
    {VR_DT, 0, nullptr,    ' ' },
    {VR_IS, 0, nullptr,    ' ' },
    {VR_LO, 0, nullptr,    ' ' },
    {VR_LT, 0, nullptr,    ' ' },
    {VR_PN, 0, nullptr,    ' ' },
    {VR_SH, 0, nullptr,    ' ' },
    {VR_ST, 0, nullptr,    ' ' },
    {VR_TM, 0, nullptr,    ' ' },
    {VR_UT, 0, nullptr,    ' ' },
    {VR_UI, 0, nullptr,    '\0'},
    {VR_FD, 8, put_double, 0   },
    {VR_FL, 4, put_float,  0   },
    {VR_SL, 4, put_int,    0   },
    {VR_UL, 4, put_int,    0   },
    {VR_SS, 2, put_short,  0   },
    {VR_US, 2, put_ushort, 0   },
    {VR_AT, 2, put_ushort, 0   }, // one decimal number for each half of a tag
};

static const Value_Form *find_form(unsigned short vr)
{
    for (const Value_Form &form : value_forms)
        if (form.vr == vr)
            return &form;
    return nullptr;
}

static int store_text(DICOM_List *node, const char *text, char pad)
{
    size_t length = strlen(text), padded = length + length % 2;
    char *block = static_cast<char *>(ALLOC_MALLOC(hwnd, "tag->data", padded, 1));
    if (block == nullptr)
        return 0;
    memcpy(block, text, length);
    if (padded > length)
        block[length] = pad;
    node->data = block;
    node->size = static_cast<int>(padded);
    return 1;
}

static int store_numbers(DICOM_List *node, char *text, const Value_Form *form)
{
    char bytes[VALUE_ROOM];
    int size = 0;
    for (char *number = Str_Strtok(text, "\\"); number != nullptr; number = Str_Strtok(nullptr, " \t\n")) {
        if (form->width > VALUE_ROOM - size)
            return 0;
        memcpy(bytes + size, form->put(static_cast<char>(node->syntax), number), static_cast<size_t>(form->width));
        size += form->width;
    }
    if (size == 0)
        return 1;

    char *block = static_cast<char *>(ALLOC_MALLOC(hwnd, "tag->data", size, 1));
    if (block == nullptr)
        return 0;
    memcpy(block, bytes, static_cast<size_t>(size));
    node->data = block;
    node->size = size;
    return 1;
}

int DICOM_Module_Read_Value(DICOM_List *node, char *value)
{
    if (node == nullptr)
        return 0;
    frame_free(node->data);
    node->data = nullptr;
    node->size = 0;
    if (value == nullptr || value[0] == '\0')
        return 1;

    const Value_Form *form = find_form(node->vr);
    if (form == nullptr)
        return 0;
    return form->width == 0 ? store_text(node, value, form->pad) : store_numbers(node, value, form);
}
