// Data sets that are brought in line with templates of the tests' own.
#ifndef VELMORA_TESTS_HOST_CONFORMED_H
#define VELMORA_TESTS_HOST_CONFORMED_H

#include <string>

#include "host/velmora_conform.h"
#include "tests/host_runs.h"
#include "tests/support/bytes.h"
#include "tests/support/reports.h"

// A definition directory with one template, "T", and a data set in line with it.
struct Conformed {
    Conformed();
    ~Conformed();
    Conformed(const Conformed &) = delete;

    // The lines of the template's only attributes file.
    void define(const std::string &lines);

    // Loads a data set, explicit little endian without a head or a file with one, and conforms it. What it was before
    // is released.
    void conform(const Bytes &bytes);

    // One line for each change and lack: "+ 0010,0020 []", "~ 0008,0020 [2004.01.19] [20040119]", "- 0018,0015 []"
    // with the reason behind, "? 0020,0052 1" for what is not there, "?e" empty, "?w" wrong, with the number of items.
    std::string told() const;

    // The tree that came of it, as tests/support/outline.h shows it, without the lengths of sequences.
    std::string tree() const;

    Reports said;
    Folder folder;
    velmora_host::Conform_Options options;
    velmora_host::Data_Set set;
    velmora_host::Conform_Result result;
    std::string error;

  private:
    Bytes source;
};

#endif
