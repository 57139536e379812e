// Load to a tree through the host, from memory and from a file; then everything that only looks: the listing, typed
// values and texts, the check, the dump, sequences below the ninth level.
#include <string.h>
#include <vector>

#include "fuzz/data_set_input.h"

using namespace velmora_host;

static const size_t MOST_OPENED = 64;   // of the sequences below the ninth level
static const int MOST_READINGS = 3;
static const int LONGEST_LOOKED_AT = 1 << 16;

// ---- values ---------------------------------------------------------------------------

static volatile size_t seen;   // what is looked at goes here

static void see(const void *bytes, size_t size)
{
    size_t sum = 0;
    for (size_t i = 0; i < size; i++)
        sum += static_cast<const unsigned char *>(bytes)[i];
    seen = seen + sum;
}

static void see_typed(DICOM_List *node)
{
    if (int *numbers = NEMA_Value_Int(nullptr, node, 0))
        see(numbers, static_cast<size_t>(node->vm) * sizeof *numbers);
    if (float *numbers = NEMA_Value_Float(nullptr, node, 0))
        see(numbers, static_cast<size_t>(node->vm) * sizeof *numbers);
    if (char **texts = NEMA_Value_Str(nullptr, node, 0))
        for (int i = 0; i < node->vm; i++)
            see(texts[i], strlen(texts[i]));
    if (char *bytes = NEMA_Value_Hex(nullptr, node, 0))
        see(bytes, static_cast<size_t>(node->size));
    if (Velmora_Name *names = NEMA_Value_Name(nullptr, node, 0))
        for (int i = 0; i < node->vm; i++)
            Name_2_Str(&names[i]);
    if (Velmora_Date *date = NEMA_Value_Date(nullptr, node, 0))
        Velm_Date_Postproc(date, 0);
    if (Velmora_Time *time = NEMA_Value_Time(nullptr, node, 0))
        Velm_Time_Postproc(time);
}

static void see_texts(DICOM_List *node)
{
    std::vector<char *> texts(SMALLEST_UNREAD_VALUE + 2);
    int count = DICOM_Attribute_Get_Data(node, texts.data());
    HOLDS(count <= SMALLEST_UNREAD_VALUE || count == node->vm);
    char buffer[1024];
    const char *text = DICOM_Attribute_Stool_Data(nullptr, node, buffer);
    if (text != nullptr)
        see(text, strlen(text));
}

// At most nine levels deep.
static void see_chain(DICOM_List *list)
{
    for (DICOM_List *node = list; node != nullptr; node = node->next) {
        HOLDS(node->data == nullptr || node->size >= 0);   // a value is never lost for a length
        if (node->size <= LONGEST_LOOKED_AT && node->item == nullptr) {
            see_typed(node);
            see_texts(node);
        }
        for (int i = 0; i < node->nb_item && node->item[i] != nullptr; i++)
            see_chain(node->item[i]);
    }
}

// ---- data sets ------------------------------------------------------------------------

static void check_listing(const Data_Set &set)
{
    for (size_t i = 0; i < set.listing.size(); i++) {
        const Listed &row = set.listing[i];
        HOLDS(row.parent >= -1 && row.parent < static_cast<int>(i));
        HOLDS(row.pos >= 0 && row.pos <= row.data_pos && row.data_pos <= set.source.size);
        HOLDS(row.depth >= 0 && (row.parent >= 0) == (row.depth > 0 || row.kind != LISTED_ELEMENT));
    }
}

static void see_opaque(const Data_Set &whole, int reading)
{
    size_t count = whole.opaque.size() < MOST_OPENED ? whole.opaque.size() : MOST_OPENED;
    for (size_t i = 0; i < count; i++) {
        Data_Set inner;
        std::string error;
        if (load_opaque(whole, whole.opaque[i], Load_Options(), &inner, &error) == LOADED) {
            check_tree(inner.tree);
            see_chain(inner.tree);
            if (reading < MOST_READINGS)
                see_opaque(inner, reading + 1);
        }
        release_data_set(&inner);
    }
    select_data_set(whole);
}

static void see_all(Data_Set *set)
{
    check_tree(set->tree);
    see_chain(set->tree);
    DICOM_Attribute_Stool(nullptr, &set->root, set->tree, 3);
    DICOM_Attribute_Syntax(nullptr, &set->root, set->tree);
    see_opaque(*set, 0);
}

// The same bytes as a file give the same tree.
static void load_file(const std::string &stream, const Data_Set &from_memory)
{
    write_scratch("stream", stream);
    Data_Set set;
    std::string error;
    Load_Options options;
    options.inflate_limit = 1 << 20;
    HOLDS(load_from_path((scratch_folder() + "stream").c_str(), options, &set, &error) == LOADED);
    HOLDS(set.elements == from_memory.elements && set.damages == from_memory.damages);
    release_data_set(&set);
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *bytes, size_t size)
{
    Input input(bytes, size);
    unsigned char steps = input.byte(), encodings = input.byte();
    Fresh_Library library(wants_traces(encodings));
    std::string stream = input.rest();
    unsigned char mode = chosen_source_mode(encodings);
    Loaded_Input loaded(stream, mode, (steps & 1) != 0);
    if (loaded.result != LOADED)
        return 0;
    check_listing(loaded.set);
    see_all(&loaded.set);
    if ((steps & 6) == 6 && mode == MODE_UNKNOWN)
        load_file(stream, loaded.set);
    return 0;
}
