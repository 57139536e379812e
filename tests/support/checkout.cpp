#include "tests/support/checkout.h"

#include <stdlib.h>
#include <algorithm>
#include <filesystem>
#include <fstream>

#ifndef PROGRAM_PATH   // the library alone is built
#define PROGRAM_PATH ""
#define SHIM_PATH ""
#endif

const char *const VELMORA_PROGRAM = PROGRAM_PATH, *const VELMORA_SHIM = SHIM_PATH;

std::string source_path(const std::string &below)
{
    return SOURCE_FOLDER "/" + below;
}

std::vector<std::string> corpus_files()
{
    const char *named = getenv("VELMORA_CORPUS");
    std::vector<std::string> files;
    std::error_code ignored;
    for (const auto &entry : std::filesystem::directory_iterator(
             named != nullptr ? named : source_path("../shared/corpus"), ignored))
        if (entry.is_regular_file() && entry.path().extension() != ".tsv")
            files.push_back(entry.path());
    std::sort(files.begin(), files.end());
    return files;
}

std::string bytes_of(const std::string &path)
{
    std::ifstream file(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(file), {});
}
