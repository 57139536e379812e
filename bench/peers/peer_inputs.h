// What the libraries and the programs are compared on: made data sets, each with a head, and real files.
#ifndef VELMORA_PEERS_INPUTS_H
#define VELMORA_PEERS_INPUTS_H

#include <memory>
#include <string>
#include <vector>

#include "bench/peers/library.h"

struct Input {
    std::string name;
    std::vector<Input_File> files;
    int times;     // that a measure goes through the files, so that it is long enough for a clock
    int rounds;    // the most that are made: of a few the spread is seen, too
    std::vector<std::unique_ptr<std::string>> texts;   // paths and bytes of the files
};

// The made inputs, as files in a folder: names of the inputs are names of files there, or of folders of files. What is
// there already stays.
void make_files(const std::string &folder);

// The made inputs: small values in memory, the large value and the small files in a folder where make_files was.
std::vector<Input> made_inputs(const std::string &folder);

// All files of a folder, those in folders within it as well, as one input.
Input files_of(const std::string &name, const std::string &folder);

#endif
