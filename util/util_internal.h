// What the folders of the library share of Velmora_Util: the report gate and the byte order helpers in line.
#ifndef VELMORA_UTIL_INTERNAL_H
#define VELMORA_UTIL_INTERNAL_H

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

// Byte order is decided here and nowhere else, from single bytes, so that the machine's own order plays no part.
inline uint16_t load_16(char order, const char *bytes)
{
    const unsigned char *b = reinterpret_cast<const unsigned char *>(bytes);
    bool high_first = ((order & ORDER_BIG_ENDIAN) != 0) != ((order & ORDER_SWAPPED_WORDS) != 0);
    return static_cast<uint16_t>(high_first ? (b[0] << 8 | b[1]) : (b[1] << 8 | b[0]));
}

inline uint32_t load_32(char order, const char *bytes)
{
    uint32_t first = load_16(order, bytes), second = load_16(order, bytes + 2);
    return (order & ORDER_BIG_ENDIAN) ? first << 16 | second : second << 16 | first;
}

inline uint64_t load_64(char order, const char *bytes)
{
    uint64_t first = load_32(order, bytes), second = load_32(order, bytes + 4);
    return (order & ORDER_BIG_ENDIAN) ? first << 32 | second : second << 32 | first;
}

inline void store_16(char order, char *bytes, uint16_t value)
{
    bool high_first = ((order & ORDER_BIG_ENDIAN) != 0) != ((order & ORDER_SWAPPED_WORDS) != 0);
    char high = static_cast<char>(value >> 8), low = static_cast<char>(value & 0xFF);
    bytes[0] = high_first ? high : low;
    bytes[1] = high_first ? low : high;
}

inline void store_32(char order, char *bytes, uint32_t value)
{
    bool big = (order & ORDER_BIG_ENDIAN) != 0;
    store_16(order, bytes, static_cast<uint16_t>(big ? value >> 16 : value & 0xFFFF));
    store_16(order, bytes + 2, static_cast<uint16_t>(big ? value & 0xFFFF : value >> 16));
}

inline void store_64(char order, char *bytes, uint64_t value)
{
    bool big = (order & ORDER_BIG_ENDIAN) != 0;
    store_32(order, bytes, static_cast<uint32_t>(big ? value >> 32 : value & 0xFFFFFFFF));
    store_32(order, bytes + 4, static_cast<uint32_t>(big ? value & 0xFFFFFFFF : value >> 32));
}

#endif
