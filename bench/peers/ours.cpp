// This library, through the host library as the program uses it.
#include <string.h>

#include "bench/peers/library.h"
#include "host/velmora_save.h"
#include "tree/DICOM_Constants.h"

using namespace velmora_host;

static void prepare()
{
    Error_Set_Threshold(-1);
}

static void *load(const Input_File &file)
{
    Data_Set *set = new Data_Set;
    std::string error;
    Load_Result result = file.path != nullptr
                             ? load_from_path(file.path, Load_Options(), set, &error)
                             : load_from_memory(file.bytes, static_cast<int>(file.size), MODE_UNKNOWN, Load_Options(),
                                                set, &error);
    if (result == LOADED)
        return set;
    delete set;
    return nullptr;
}

static int64_t count(const DICOM_List *list)
{
    int64_t found = 0;
    for (const DICOM_List *node = list; node != nullptr; node = node->next) {
        found += node->group != GROUP_ITEM && node->group != GROUP_FILE_META;
        for (int i = 0; i < node->nb_item && node->item[i] != nullptr; i++)
            found += count(node->item[i]);
    }
    return found;
}

static int64_t walk(void *set)
{
    return count(static_cast<Data_Set *>(set)->tree);
}

static void drop(void *user, HWND, int, const char *text)
{
    *static_cast<size_t *>(user) += strlen(text);
}

static int64_t dump(void *set)
{
    Data_Set *data_set = static_cast<Data_Set *>(set);
    size_t characters = 0;
    Error_Set_Sink(drop, &characters);
    Error_Set_Threshold(1);
    DICOM_Attribute_Stool(nullptr, &data_set->root, data_set->tree, 1);
    Error_Set_Threshold(-1);
    Error_Set_Sink(nullptr, nullptr);
    return static_cast<int64_t>(characters);
}

static int64_t write(void *set)
{
    Save_Options options;
    options.mode = MODE_EXPLICIT_LITTLE;
    std::string bytes, error;
    if (!save_to_memory(static_cast<Data_Set *>(set), options, &bytes, &error))
        return -1;
    return static_cast<int64_t>(bytes.size());
}

static void release(void *set)
{
    release_data_set(static_cast<Data_Set *>(set));
    delete static_cast<Data_Set *>(set);
}

const Library library_ours = {"velmora", prepare, load, walk, dump, write, release};
