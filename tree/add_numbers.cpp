// Builders of binary values: numbers, tags and bytes.
#include "tree/add_internal.h"

// Appends numbers, from an array or from the variable arguments, where they stand promoted.
template <class Number, class Promoted>
static char *add_numbers(HWND window, int *size, int nb_arg, Add_Values *values, char *(*put)(char, Number))
{
    Value_Block block = {window, size, nullptr, 0};
    size_t count = value_count(nb_arg);
    const Number *array = nb_arg < 0 ? va_arg(values->list, const Number *) : nullptr;
    if ((nb_arg < 0 && array == nullptr) || !reserve_value(&block, count * sizeof(Number), true))
        return nullptr;
    for (size_t i = 0; i < count; i++) {
        Number number = array != nullptr ? array[i] : static_cast<Number>(va_arg(values->list, Promoted));
        append_value(&block, put(0, number), sizeof number);
    }
    return block.data;
}

char *DICOM_Tag_Add_AT(HWND window, int *size, int nb_arg, Add_Values *values)
{
    REPORT(window, LEVEL_FUNCTION, "in DICOM_Tag_Add_AT(nb_arg=%d)", nb_arg);
    if (nb_arg < 0) {
        REPORT(window, Flag_Error_Warning, "VR=AT: vector fct not implemented (nb_arg=%d)", nb_arg);
        nb_arg = opposite(nb_arg);
    }
    if (nb_arg % 2 != 0) {
        REPORT(window, Flag_Error_Warning, "VR=AT: only multiple of 2 accepted (nb_arg=%d != 2*n)", nb_arg);
        nb_arg = 2;
    }
    return add_numbers<unsigned short, int>(window, size, nb_arg, values, Put_UShort);
}

char *DICOM_Tag_Add_FD(HWND window, int *size, int nb_arg, Add_Values *values)
{
    REPORT(window, LEVEL_FUNCTION, "in DICOM_Tag_Add_FD(nb_arg=%d)", nb_arg);
    return add_numbers<double, double>(window, size, nb_arg, values, Put_Double);
}

// A float in a variable argument list has become a double.
char *DICOM_Tag_Add_FL(HWND window, int *size, int nb_arg, Add_Values *values)
{
    REPORT(window, LEVEL_FUNCTION, "in DICOM_Tag_Add_FL(nb_arg=%d)", nb_arg);
    return add_numbers<float, double>(window, size, nb_arg, values, Put_Float);
}

char *DICOM_Tag_Add_OB(HWND window, int *size, int nb_arg, Add_Values *values)
{
    REPORT(window, LEVEL_FUNCTION, "in DICOM_Tag_Add_OB(nb_arg=%d)", nb_arg);
    Value_Block block = {window, size, nullptr, 0};
    size_t count = value_count(nb_arg);
    const char *array = nb_arg < 0 ? va_arg(values->list, const char *) : nullptr;
    if ((nb_arg < 0 && array == nullptr) || !allocate_value(&block, count))
        return nullptr;
    if (array != nullptr && !append_value(&block, array, count))
        return nullptr;
    for (size_t i = 0; array == nullptr && i < count; i++) {
        char byte = static_cast<char>(va_arg(values->list, int));
        append_value(&block, &byte, 1);
    }
    return pad_value(&block, '\0');
}

char *DICOM_Tag_Add_OW(HWND window, int *size, int nb_arg, Add_Values *values)
{
    return add_numbers<unsigned short, int>(window, size, nb_arg, values, Put_UShort);
}

char *DICOM_Tag_Add_SL(HWND window, int *size, int nb_arg, Add_Values *values)
{
    return add_numbers<int, int>(window, size, nb_arg, values, Put_Int);
}

char *DICOM_Tag_Add_US(HWND window, int *size, int nb_arg, Add_Values *values)
{
    REPORT(window, LEVEL_FUNCTION, "in DICOM_Tag_Add_US(nb_arg=%d)", nb_arg);
    return add_numbers<unsigned short, int>(window, size, nb_arg, values, Put_UShort);
}

char *DICOM_Tag_Add_VR_SS(HWND window, int *size, int nb_arg, Add_Values *values)
{
    REPORT(window, LEVEL_FUNCTION, "in DICOM_Tag_Add_VR_SS(nb_arg=%d)", nb_arg);
    return add_numbers<short, int>(window, size, nb_arg, values, Put_Short);
}

// The bits of an unsigned int are those of the int in its place.
char *DICOM_Tag_Add_VR_UL(HWND window, int *size, int nb_arg, Add_Values *values)
{
    REPORT(window, LEVEL_FUNCTION, "in DICOM_Tag_Add_VR_UL(nb_arg=%d)", nb_arg);
    return add_numbers<int, int>(window, size, nb_arg, values, Put_Int);
}
