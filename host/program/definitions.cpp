// Finds the definition directory and what is in it.
#include "host/program/definitions.h"

#include <dirent.h>
#include <stdlib.h>
#include <string.h>
#include <strings.h>
#include <sys/stat.h>
#include <unistd.h>
#include <algorithm>

#include "host/program/messages.h"
#include "host/program/output.h"

static const char SUFFIX[] = ".txt";

static bool is_folder(const std::string &path)
{
    struct stat state;
    return stat(path.c_str(), &state) == 0 && S_ISDIR(state.st_mode);
}

bool use_definitions(const std::string &directory)
{
    if (!is_folder(directory))
        return false;
    std::string place = directory.back() == '/' ? directory : directory + "/";
    return DICOM_Module_Setup(nullptr, place.c_str()) != nullptr;
}

// The definitions beside this program, empty when there are none.
static std::string place_beside_program()
{
    char path[4096];
    ssize_t length = readlink("/proc/self/exe", path, sizeof path);
    if (length <= 0 || length == sizeof path)
        return "";
    std::string place(path, static_cast<size_t>(length));
    place.replace(place.find_last_of('/') + 1, std::string::npos, VELMORA_DEFINITIONS_BESIDE);
    char *whole = realpath(place.c_str(), nullptr);
    place = whole != nullptr ? whole : "";
    free(whole);
    return place;
}

void find_definitions()
{
    const char *named = getenv("VELMORA_DEFINITIONS");
    if (named != nullptr && named[0] != '\0') {
        if (!use_definitions(named))
            complain("VELMORA_DEFINITIONS names %s, which is no folder; there are no definitions",
                     quoted(named).c_str());
        return;
    }
    std::string beside = place_beside_program();
    use_definitions(beside.empty() ? VELMORA_INSTALLED_DEFINITIONS : beside);
}

std::string definitions_place()
{
    const char *place = DICOM_Module_Setup(nullptr, nullptr);
    return place != nullptr ? place : "";
}

std::vector<std::string> definition_names(const std::string &prefix)
{
    std::vector<std::string> names;
    DIR *folder = opendir(definitions_place().c_str());
    if (folder == nullptr)
        return names;
    while (const dirent *entry = readdir(folder)) {
        std::string name = entry->d_name;
        size_t fixed = prefix.size() + strlen(SUFFIX);
        if (name.size() > fixed && name.compare(0, prefix.size(), prefix) == 0 &&
            name.compare(name.size() - strlen(SUFFIX), strlen(SUFFIX), SUFFIX) == 0)
            names.push_back(name.substr(prefix.size(), name.size() - fixed));
    }
    closedir(folder);
    std::sort(names.begin(), names.end());
    return names;
}

int find_name(const std::vector<std::string> &names, const std::string &wanted)
{
    auto at = std::find(names.begin(), names.end(), wanted);
    if (at == names.end())
        at = std::find_if(names.begin(), names.end(),
                          [&wanted](const std::string &name) { return strcasecmp(name.c_str(), wanted.c_str()) == 0; });
    return at == names.end() ? static_cast<int>(NAME_NOT_FOUND) : static_cast<int>(at - names.begin());
}

bool find_kind(const velmora_host::Data_Set &set, std::string *name)
{
    *name = DICOM_Module_Name(nullptr, set.tree);
    return *name != "OT_Image";   // which no SOP class has
}
