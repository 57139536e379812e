// The rows of a table by the two letters of their VRs, found in one step: what is asked of each value of a data set
// would else be most of the time of the asking.
#ifndef VELMORA_HOST_LETTER_INDEX_H
#define VELMORA_HOST_LETTER_INDEX_H

#include <stddef.h>

namespace velmora_host
{

// Where the row of each pair of capital letters stands, at the lower five bits of both.
struct Letter_Index {
    unsigned char of[32 * 32];   // the row, from 0
};

constexpr size_t place_by_letters(unsigned short vr)
{
    return static_cast<size_t>((vr >> 3 & 0x3E0) | (vr & 0x1F));
}

// Of a table of at most 256 rows, each with its VR in the field vr.
//   otherwise  the row for all VRs that the table has not
template <class Row, size_t ROWS>
constexpr Letter_Index index_by_letters(const Row (&rows)[ROWS], size_t otherwise)
{
    static_assert(ROWS <= 256);
    Letter_Index index = {};
    for (unsigned char &each : index.of)
        each = static_cast<unsigned char>(otherwise);
    for (size_t i = 0; i < ROWS; i++)
        index.of[place_by_letters(rows[i].vr)] = static_cast<unsigned char>(i);
    return index;
}

//   otherwise  the same as above, for what is not two letters
inline size_t row_by_letters(const Letter_Index &index, unsigned short vr, size_t otherwise)
{
    bool may_be_letters = (vr & 0xE0E0) == 0x4040;   // or one of the six characters around them, which have no row
    return may_be_letters ? index.of[place_by_letters(vr)] : otherwise;
}

}   // namespace velmora_host

#endif
