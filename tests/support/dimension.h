// The sizes that reports of failed allocations name: records and pointers are not of one size on all machines.
#ifndef VELMORA_TESTS_DIMENSION_H
#define VELMORA_TESTS_DIMENSION_H

#include <string>

// "dim=2x8)" of two things of eight bytes.
inline std::string dimension(int count, size_t size)
{
    return "dim=" + std::to_string(count) + "x" + std::to_string(size) + ")";
}

#endif
