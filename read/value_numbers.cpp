// Values as arrays of int or float, out of binary numbers and out of text.
#include "read/read_internal.h"

#include <bit>

static const char SOURCE[] = ".\\NEMA_Read_Value";

// An array of int or float; it only grows.
struct Number_Array {
    void *numbers;
    int room;
};

static const size_t NUMBER_SIZE = 4;
static_assert(sizeof(int) == NUMBER_SIZE && sizeof(float) == NUMBER_SIZE);

static Number_Array int_arrays[RING_SLOTS], float_arrays[RING_SLOTS];
static int int_counter, float_counter;

// count  numbers wanted, of which a memory failure tells
// room   numbers to make room for, at least as many
static int grow_numbers(HWND window, Number_Array *array, int count, int room, const char *what)
{
    if (count <= array->room)
        return 1;
    void *numbers =
        ALLOC_REALLOC_ROOM(window, what, array->numbers, static_cast<size_t>(room) * NUMBER_SIZE, count, NUMBER_SIZE);
    if (numbers == nullptr)
        return 0;
    array->numbers = numbers;
    array->room = room;
    return 1;
}

// Calls convert(i, order) for i from 0 to count - 1. The order is settled outside of the loop: inside it is a constant,
// which makes the conversion a plain load.
template <int ORDER, class Convert> static void convert_in_order(int count, Convert convert)
{
    for (int i = 0; i < count; i++)
        convert(i, static_cast<char>(ORDER));
}

template <class Convert> static void convert_each(int order, int count, Convert convert)
{
    switch (order & (ORDER_BIG_ENDIAN | ORDER_SWAPPED_WORDS)) {
    case 0:
        return convert_in_order<0>(count, convert);
    case ORDER_BIG_ENDIAN:
        return convert_in_order<ORDER_BIG_ENDIAN>(count, convert);
    case ORDER_SWAPPED_WORDS:
        return convert_in_order<ORDER_SWAPPED_WORDS>(count, convert);
    default:
        return convert_in_order<ORDER_BIG_ENDIAN | ORDER_SWAPPED_WORDS>(count, convert);
    }
}

// Splits the node's text and calls convert(i, start, end) for each value, with room for it in the array. Returns how
// many they are, or 0 when memory ran out.
template <class Convert>
static int convert_text(const Value_Call &call, Number_Array *array, const char *what, Convert convert)
{
    char *str = copy_value(call);
    if (str == nullptr)
        return 0;
    int count = 0;
    for (const char *start = str; start != nullptr;) {
        if (!grow_numbers(call.window, array, count + 1, larger_room(array->room), what)) {
            count = 0;
            break;
        }
        const char *end = end_of_value(start);
        convert(count, start, end);
        count++;
        start = *end == '\\' ? end + 1 : nullptr;
    }
    frame_free(str);
    return count;
}

/* ---- int --------------------------------------------------------------------------- */

// A dictionary row that names no VR says nothing of the layout; the length does.
static unsigned short vr_by_size(int size)
{
    if (size == 2)
        return VR_US;
    return size == 4 ? VR_UL : VR_OB;
}

static int ints_of_text(const Value_Call &call, Number_Array *array, bool is_decimal)
{
    return convert_text(call, array, "V_Int[cc]", [=](int i, const char *start, const char *end) {
        static_cast<int *>(array->numbers)[i] =
            is_decimal ? cut_to_int(real_number(start, end)) : whole_number(start, end);
    });
}

static int ints_of_words(const Value_Call &call, Number_Array *array, int width, bool is_signed)
{
    int count = call.tag->size / width;
    if (!grow_numbers(call.window, array, count, count, "V_Int[cc]"))
        return 0;
    int *out = static_cast<int *>(array->numbers);
    const char *bytes = call.tag->data;
    int order = call.tag->syntax;
    if (width == 4)
        convert_each(order, count, [=](long i, char o) { out[i] = static_cast<int>(load_32(o, bytes + i * 4)); });
    else if (is_signed)
        convert_each(order, count, [=](long i, char o) { out[i] = static_cast<short>(load_16(o, bytes + i * 2)); });
    else
        convert_each(order, count, [=](long i, char o) { out[i] = load_16(o, bytes + i * 2); });
    return count;
}

int *NEMA_Value_Int(HWND window, DICOM_List *tag, unsigned short vr)
{
    Value_Call call;
    if (!begin_value(&call, window, tag, vr, &int_counter, FETCH_UNREAD))
        return nullptr;
    if (call.vr == VR_RT)
        call.vr = vr_by_size(tag->size);
    Number_Array *array = &int_arrays[call.slot];
    switch (call.vr) {
    case VR_SS:
    case VR_OW:
        tag->vm = ints_of_words(call, array, 2, true);
        break;
    case VR_US:
    case VR_UH:
        tag->vm = ints_of_words(call, array, 2, false);
        break;
    case VR_SL:
    case VR_UL:
    case VR_AT:
        tag->vm = ints_of_words(call, array, 4, true);
        break;
    case VR_IS:
    case VR_DS:
        tag->vm = ints_of_text(call, array, call.vr == VR_DS);
        break;
    default:
        report_bad_vr(call, call.vr, "DS,IS,US,UH,UL,SS,SL", HERE);
    }
    return tag->vm > 0 ? static_cast<int *>(array->numbers) : nullptr;
}

/* ---- float ------------------------------------------------------------------------- */

static int floats_of_text(const Value_Call &call, Number_Array *array, bool is_decimal)
{
    return convert_text(call, array, "V_Float[cc]", [=](int i, const char *start, const char *end) {
        static_cast<float *>(array->numbers)[i] =
            is_decimal ? static_cast<float>(real_number(start, end)) : static_cast<float>(whole_number(start, end));
    });
}

static int floats_of_bits(const Value_Call &call, Number_Array *array, int width)
{
    if (call.tag->size % width != 0)
        return 0;
    int count = call.tag->size / width;
    if (!grow_numbers(call.window, array, count, count, "V_Float[cc]"))
        return 0;
    float *out = static_cast<float *>(array->numbers);
    const char *bytes = call.tag->data;
    int order = call.tag->syntax;
    if (width == 4)
        convert_each(order, count, [=](long i, char o) { out[i] = std::bit_cast<float>(load_32(o, bytes + i * 4)); });
    else
        convert_each(order, count, [=](long i, char o) {
            out[i] = static_cast<float>(std::bit_cast<double>(load_64(o, bytes + i * 8)));
        });
    return count;
}

float *NEMA_Value_Float(HWND window, DICOM_List *tag, unsigned short vr)
{
    Value_Call call;
    if (!begin_value(&call, window, tag, vr, &float_counter, FETCH_UNREAD))
        return nullptr;
    Number_Array *array = &float_arrays[call.slot];
    switch (call.vr) {
    case VR_FL:
        tag->vm = floats_of_bits(call, array, 4);
        break;
    case VR_FD:
        tag->vm = floats_of_bits(call, array, 8);
        break;
    case VR_DS:
    case VR_IS:
        tag->vm = floats_of_text(call, array, call.vr == VR_DS);
        break;
    default:
        report_bad_vr(call, call.vr, "IS,DS,FL,FD", HERE);
    }
    return tag->vm > 0 ? static_cast<float *>(array->numbers) : nullptr;
}

/* ---- tear-down --------------------------------------------------------------------- */

static void free_numbers(Number_Array *array)
{
    frame_free(array->numbers);
    *array = {};
}

void release_numbers()
{
    for (Number_Array &array : int_arrays)
        free_numbers(&array);
    for (Number_Array &array : float_arrays)
        free_numbers(&array);
}
