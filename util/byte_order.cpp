// Numbers out of bytes and into bytes, in the order that a syntax byte names.
#include "util/util_internal.h"

short Get_Short(char order, const char *bytes)
{
    return static_cast<short>(load_16(order, bytes));
}

unsigned short Get_UShort(char order, const char *bytes)
{
    return load_16(order, bytes);
}

int Get_Int(char order, const char *bytes)
{
    return static_cast<int>(load_32(order, bytes));
}

float Get_Float(char order, const char *bytes)
{
    uint32_t bits = load_32(order, bytes);
    float value;
    memcpy(&value, &bits, sizeof value);
    return value;
}

double Get_Double(char order, const char *bytes)
{
    uint64_t bits = load_64(order, bytes);
    double value;
    memcpy(&value, &bits, sizeof value);
    return value;
}

char *Put_Short(char order, short value)
{
    return Put_UShort(order, static_cast<unsigned short>(value));
}

char *Put_UShort(char order, unsigned short value)
{
    static thread_local char bytes[2];
    store_16(order, bytes, value);
    return bytes;
}

char *Put_Int(char order, int value)
{
    static thread_local char bytes[4];
    store_32(order, bytes, static_cast<uint32_t>(value));
    return bytes;
}

char *Put_Float(char order, float value)
{
    static thread_local char bytes[4];
    uint32_t bits;
    memcpy(&bits, &value, sizeof bits);
    store_32(order, bytes, bits);
    return bytes;
}

char *Put_Double(char order, double value)
{
    static thread_local char bytes[8];
    uint64_t bits;
    memcpy(&bits, &value, sizeof bits);
    store_64(order, bytes, bits);
    return bytes;
}
