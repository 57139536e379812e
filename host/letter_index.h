// The rows of a table by the two letters of their VRs, found in one step: what is asked of each value of a data set
// would else be most of the time of the asking.
#ifndef VELMORA_HOST_LETTER_INDEX_H
#define VELMORA_HOST_LETTER_INDEX_H

#include <stddef.h>

namespace velmora_host
{

// Where the row of each pair of capital letters stands.
struct Letter_Index {
    unsigned char of[26 * 26];   // the row, from 0, at 26 times the first letter and the second, both from 0
};

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
        index.of[((rows[i].vr >> 8) - 'A') * 26 + (rows[i].vr & 0xFF) - 'A'] = static_cast<unsigned char>(i);
    return index;
}

//   otherwise  the same as above, for what is not two letters
inline size_t row_by_letters(const Letter_Index &index, unsigned short vr, size_t otherwise)
{
    unsigned int first = static_cast<unsigned int>(vr >> 8) - 'A', second = static_cast<unsigned int>(vr & 0xFF) - 'A';
    return first < 26 && second < 26 ? index.of[first * 26 + second] : otherwise;
}

}   // namespace velmora_host

#endif
