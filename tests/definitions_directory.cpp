#include "tests/definitions_directory.h"

#include <algorithm>
#include <filesystem>
#include <fstream>

#include "tests/support/checkout.h"

static const std::string SUFFIX = ".txt";

Definition_Directory::Definition_Directory(const std::string &directory)
{
    DICOM_Module_Setup(nullptr, directory.c_str());
}

Definition_Directory::~Definition_Directory()
{
    DICOM_Module_Free();
    DICOM_Module_Free_Private();
    DICOM_Module_Cleanup();
}

std::vector<std::string> definition_names(const std::string &prefix)
{
    std::vector<std::string> names;
    for (const auto &entry : std::filesystem::directory_iterator(source_path("definitions"))) {
        std::string name = entry.path().filename().string();
        if (name.starts_with(prefix) && name.ends_with(SUFFIX))
            names.push_back(name.substr(prefix.size(), name.size() - prefix.size() - SUFFIX.size()));
    }
    std::sort(names.begin(), names.end());
    return names;
}

std::vector<std::string> definition_lines(const std::string &file)
{
    std::ifstream stream(source_path("definitions/" + file));
    std::vector<std::string> lines;
    for (std::string line; std::getline(stream, line);) {
        line = line.substr(0, line.find(';'));
        line = line.substr(0, line.find_last_not_of(' ') + 1);
        if (!line.empty())
            lines.push_back(line);
    }
    return lines;
}
