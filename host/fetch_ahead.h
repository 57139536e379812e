// A hint for walks through trees that no cache holds.
#ifndef VELMORA_HOST_FETCH_AHEAD_H
#define VELMORA_HOST_FETCH_AHEAD_H

#include <stdint.h>

#include "tree/Velmora_DICOM.h"

namespace velmora_host
{

// Nodes that were made one after the other mostly lie one after the other: the next ones can be on their way while this
// one is looked at. The processor does not see that by itself where items end. It does no harm where something else
// lies there, or nothing. Four lines of the cache: the next node may be as far away as its values, arrays and the gaps
// between them are long.
inline void fetch_ahead(const DICOM_List *node)
{
    uintptr_t ahead = reinterpret_cast<uintptr_t>(node) + 384;
    __builtin_prefetch(reinterpret_cast<const void *>(ahead));
    __builtin_prefetch(reinterpret_cast<const void *>(ahead + 64));
    __builtin_prefetch(reinterpret_cast<const void *>(ahead + 128));
    __builtin_prefetch(reinterpret_cast<const void *>(ahead + 192));
}

}   // namespace velmora_host

#endif
