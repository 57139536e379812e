// What the folders of the library share of Velmora_Util: the report gate and the byte order helpers in line.
#ifndef VELMORA_UTIL_INTERNAL_H
#define VELMORA_UTIL_INTERNAL_H

#include <bit>
#include <stdint.h>
#include <string.h>

#include "util/Velmora_Util.h"

extern int report_threshold;

// Makes a report if anybody wants it. One that nobody wants costs this comparison: no argument is evaluated.
#define REPORT(window, level, ...)                          \
    do {                                                    \
        if ((level) <= report_threshold)                    \
            Error_Fct((window), (level), __VA_ARGS__);      \
    } while (0)

enum {
    ORDER_BIG_ENDIAN = 1,
    ORDER_SWAPPED_WORDS = 2,
};

// Byte order is decided here and nowhere else. A number is taken whole and turned where the stream's order is not the
// machine's, which compiles to one or two instructions and lets loops over many numbers work on several at once.
inline uint16_t turned(uint16_t value)
{
    return static_cast<uint16_t>(value << 8 | value >> 8);
}

inline uint32_t turned(uint32_t value)
{
    return value << 24 | (value & 0xFF00) << 8 | (value >> 8 & 0xFF00) | value >> 24;
}

inline uint64_t turned(uint64_t value)
{
    return static_cast<uint64_t>(turned(static_cast<uint32_t>(value))) << 32 | turned(static_cast<uint32_t>(value >> 32));
}

template <class Number>
inline Number load_number(bool big_endian, const char *bytes)
{
    Number value;
    memcpy(&value, bytes, sizeof value);
    return big_endian == (std::endian::native == std::endian::big) ? value : turned(value);
}

inline uint16_t load_16(char order, const char *bytes)
{
    bool big_endian = (order & ORDER_BIG_ENDIAN) != 0, swapped = (order & ORDER_SWAPPED_WORDS) != 0;
    return load_number<uint16_t>(big_endian != swapped, bytes);
}

inline uint32_t load_32(char order, const char *bytes)
{
    bool big_endian = (order & ORDER_BIG_ENDIAN) != 0;
    if ((order & ORDER_SWAPPED_WORDS) == 0)
        return load_number<uint32_t>(big_endian, bytes);
    uint32_t first = load_16(order, bytes), second = load_16(order, bytes + 2);
    return big_endian ? first << 16 | second : second << 16 | first;
}

inline uint64_t load_64(char order, const char *bytes)
{
    bool big_endian = (order & ORDER_BIG_ENDIAN) != 0;
    if ((order & ORDER_SWAPPED_WORDS) == 0)
        return load_number<uint64_t>(big_endian, bytes);
    uint64_t first = load_32(order, bytes), second = load_32(order, bytes + 4);
    return big_endian ? first << 32 | second : second << 32 | first;
}

template <class Number>
inline void store_number(bool big_endian, char *bytes, Number value)
{
    if (big_endian != (std::endian::native == std::endian::big))
        value = turned(value);
    memcpy(bytes, &value, sizeof value);
}

inline void store_16(char order, char *bytes, uint16_t value)
{
    bool big_endian = (order & ORDER_BIG_ENDIAN) != 0, swapped = (order & ORDER_SWAPPED_WORDS) != 0;
    store_number(big_endian != swapped, bytes, value);
}

inline void store_32(char order, char *bytes, uint32_t value)
{
    bool big_endian = (order & ORDER_BIG_ENDIAN) != 0;
    if ((order & ORDER_SWAPPED_WORDS) == 0)
        return store_number(big_endian, bytes, value);
    store_16(order, bytes, static_cast<uint16_t>(big_endian ? value >> 16 : value & 0xFFFF));
    store_16(order, bytes + 2, static_cast<uint16_t>(big_endian ? value & 0xFFFF : value >> 16));
}

inline void store_64(char order, char *bytes, uint64_t value)
{
    bool big_endian = (order & ORDER_BIG_ENDIAN) != 0;
    if ((order & ORDER_SWAPPED_WORDS) == 0)
        return store_number(big_endian, bytes, value);
    store_32(order, bytes, static_cast<uint32_t>(big_endian ? value >> 32 : value & 0xFFFFFFFF));
    store_32(order, bytes + 4, static_cast<uint32_t>(big_endian ? value & 0xFFFFFFFF : value >> 32));
}

/* ---- values -------------------------------------------------------------------------- */

// Two blocks that may overlap: they are all bytes of a value that is no longer than both.
template <class Block>
inline void copy_ends(char *to, const char *from, size_t size)
{
    Block first, last;
    memcpy(&first, from, sizeof first);
    memcpy(&last, from + size - sizeof last, sizeof last);
    memcpy(to, &first, sizeof first);
    memcpy(to + size - sizeof last, &last, sizeof last);
}

struct Two_Words {
    uint64_t word[2];
};

// Copies a value, which may have no bytes. Most are short. The rest by memmove, since compilers put a slow loop in the
// place of memcpy where they know the size to be small.
inline void copy_value(char *to, const char *from, size_t size)
{
    if (size >= sizeof(uint32_t) && size < sizeof(uint64_t))
        copy_ends<uint32_t>(to, from, size);
    else if (size >= sizeof(uint64_t) && size < sizeof(Two_Words))
        copy_ends<uint64_t>(to, from, size);
    else if (size >= sizeof(Two_Words) && size <= 2 * sizeof(Two_Words))
        copy_ends<Two_Words>(to, from, size);
    else if (size > 0)
        memmove(to, from, size);
}

#endif
