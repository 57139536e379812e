// A library that data sets are brought to, in the words of the benchmark. Each is used as its own users would use it at
// its best: reads that leave long values in the file where it can do that, no warnings, no second copy.
#ifndef VELMORA_PEERS_LIBRARY_H
#define VELMORA_PEERS_LIBRARY_H

#include <stddef.h>
#include <stdint.h>

// A data set with a head, in memory or, where path is not null, in a file.
struct Input_File {
    const char *bytes;
    size_t size;
    const char *path;
};

struct Library {
    const char *name;
    void (*prepare)();                         // once: warnings off, dictionaries read
    void *(*load)(const Input_File &file);     // a tree with all values below 1 KiB; null: it failed
    int64_t (*walk)(void *set);                // elements in it, group 0002, items and delimiters not counted
    int64_t (*dump)(void *set);                // all of it as text into nothing; the number of characters
    int64_t (*write)(void *set);               // in explicit VR little endian to memory; the number of bytes, -1: failed
    void (*release)(void *set);
};

extern const Library library_ours, library_dcmtk, library_gdcm;

#endif
