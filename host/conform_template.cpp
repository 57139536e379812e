// Which template a data set has to be in line with, and what it lacks of it.
#include "host/conform_internal.h"

#include <stdio.h>
#include <stdlib.h>

namespace velmora_host
{

// ---- names ----------------------------------------------------------------------------

static const char FALLBACK[] = "OT_Image";

// The library's name for a SOP class; it looks for nothing else in a data set.
static std::string module_of_class(const std::string &uid)
{
    DICOM_Root root = {};
    DICOM_List *list = nullptr;
    DICOM_Attribute_Add(nullptr, &root, &list, 0x0008, 0x0016, VR_UI, 1, uid.c_str());
    std::string name = DICOM_Module_Name(nullptr, list);
    if (list != nullptr)
        DICOM_Attribute_Free(nullptr, list);
    return name;
}

static std::string module_of_modality(const Data_Set &set)
{
    std::string modality = text_of(find_in_chain(set.tree, 0x0008, 0x0060));
    if (modality.size() != 2)
        return FALLBACK;
    int frames = atoi(text_of(find_in_chain(set.tree, 0x0028, 0x0008)).c_str());
    return DICOM_Module_Name(nullptr, pack_letters(modality[0], modality[1]), frames);
}

// Whether there are definitions of that name.
static bool has_definition(const std::string &module)
{
    const char *directory = DICOM_Module_Setup(nullptr, nullptr);
    if (directory == nullptr || module.empty() || module.find('/') != std::string::npos)
        return false;
    FILE *file = fopen((directory + ("DICOM_Module_" + module) + ".txt").c_str(), "r");
    if (file != nullptr)
        fclose(file);
    return file != nullptr;
}

std::string find_module(const Data_Set &set, bool *is_fallback)
{
    std::string uid = text_of(find_in_chain(set.tree, 0x0008, 0x0016));
    if (!is_uid(uid))
        uid = text_of(find_in_chain(set.tree, GROUP_FILE_META, 0x0002));
    std::string module = !is_uid(uid) ? module_of_modality(set) : module_of_class(uid);
    if (!has_definition(module))
        module = FALLBACK;
    *is_fallback = module == FALLBACK;
    return module;
}

DICOM_List *read_template(const std::string &module, std::string *error)
{
    const char *directory = DICOM_Module_Setup(nullptr, nullptr);
    DICOM_List *tmplt = has_definition(module) ? DICOM_Module_Read(nullptr, module.c_str()) : nullptr;
    if (tmplt == nullptr)
        *error = directory == nullptr ? "there are no definitions of templates"
                                      : "there is no template " + module + " in " + directory;
    return tmplt;
}

// ---- lacks ----------------------------------------------------------------------------

struct Search {
    Conforming run = {};
    bool report = false;
    std::vector<Conform_Lack> *lacks = nullptr;
    std::map<std::string, size_t> known;   // by the path without the numbers of items
};

static std::string without_numbers(const std::string &path)
{
    std::string text;
    bool is_number = false;
    for (char c : path) {
        is_number = c == '[' || (is_number && c != ']');
        if (!is_number)
            text += c;
    }
    return text;
}

// The library's own words, for this node alone: below it, it would look into first items only. Nor does it look for the
// node, which was found, or not.
static void report_lack(Search *search, const DICOM_List *wanted, const DICOM_List *node)
{
    DICOM_List alone = *wanted, found = {};
    alone.next = nullptr;
    alone.item = nullptr;
    if (node != nullptr) {
        found = *node;
        found.next = nullptr;
        found.depth = static_cast<unsigned char>(search->run.root.Sequence_Depth);
    }
    DICOM_Postproc_Verification(nullptr, &search->run.root, node != nullptr ? &found : nullptr, &alone, 0);
}

//   node  null: none was found
static void add_lack(Search *search, Lack_Kind kind, const DICOM_List *wanted, const DICOM_List *node)
{
    if (search->report)
        report_lack(search, wanted, node);
    const std::string &path = search->run.path;
    if (!path.empty()) {
        std::string key = without_numbers(path);
        append_tag(&key, wanted->group, wanted->element);
        key += static_cast<char>('0' + kind);
        auto place = search->known.emplace(key, search->lacks->size());
        if (!place.second) {
            (*search->lacks)[place.first->second].items++;
            return;
        }
    }
    search->lacks->push_back({kind, wanted->group, wanted->element, wanted->type, 1, path, name_of(wanted)});
}

static void find_here(Search *search, DICOM_List *chain, const DICOM_List *tmplt)
{
    DICOM_List *at = chain;
    for (const DICOM_List *wanted = tmplt; wanted != nullptr; wanted = wanted->next) {
        if ((wanted->type != TYPE_1 && wanted->type != TYPE_2) || (wanted->flag & FLAG_TO_DELETE) != 0)
            continue;
        const DICOM_List *node = find_pair(&at, wanted);
        if (node == nullptr)
            add_lack(search, LACK_ABSENT, wanted, nullptr);
        else if (wanted->type == TYPE_1 && node->size <= 0 && !has_items(node))
            add_lack(search, LACK_EMPTY, wanted, node);
    }
}

void find_lacks(Data_Set *set, DICOM_List *tmplt, bool report, std::vector<Conform_Lack> *lacks)
{
    Search search;
    search.run.set = set;
    search.report = report;
    search.lacks = lacks;
    at_each_place(&search.run, &set->tree, tmplt, FLAG_TO_DELETE,
                  [&search](DICOM_List **chain, DICOM_List *wanted) { find_here(&search, *chain, wanted); });
}

}   // namespace velmora_host
