// Load, repair, conform, save, and load again: what was written reads back the same, and is written the same.
#include "fuzz/data_set_input.h"
#include "host/program/repair_tree.h"
#include "host/velmora_conform.h"

using namespace velmora_host;

extern "C" int LLVMFuzzerInitialize(int *, char ***)
{
    register_makers();
    return 0;
}

static bool repair_inner(Data_Set *inner, void *, std::string *)
{
    Repair_Report report;
    report.is_quiet = true;
    repair_tree(inner, "", &report);
    return true;
}

static void conform_set(Data_Set *set)
{
    DICOM_Module_Setup(nullptr, VELMORA_SOURCE_DIR "/definitions/");
    Conform_Options options;
    options.uid_root = "1.2.3";
    Conform_Result result;
    std::string error;
    HOLDS(conform(set, options, &result, &error) == error.empty());
}

static Save_Options options_of(unsigned char steps, unsigned char encodings)
{
    Save_Options options;
    options.mode = chosen_target_mode(encodings);
    options.group_lengths = (steps & CHOOSE_GROUP_LENGTHS) != 0;
    options.defined_lengths = (steps & CHOOSE_DEFINED_LENGTHS) != 0;
    options.even_lengths = (steps & CHOOSE_EVEN_LENGTHS) != 0;
    options.later_vrs_as_un = (steps & CHOOSE_LATER_AS_UN) != 0;
    options.standard_groups_only = (steps & CHOOSE_STANDARD_GROUPS) != 0;
    options.keep_private = (steps & CHOOSE_NO_PRIVATE) == 0;
    if ((steps & CHOOSE_REPAIR) != 0)
        options.change = repair_inner;
    return options;
}

// Attributes of one tag in one chain, which the library orders by what they hold, and that may differ by how lengths
// are written; and a tag that is that of an item in the other byte order.
static bool is_ambiguous(const DICOM_List *list, bool is_item)
{
    for (const DICOM_List *node = list; node != nullptr; node = node->next) {
        if (node->next != nullptr && node->group == node->next->group && node->element == node->next->element)
            return true;
        if (node->group == 0xFEFF || node->group == 0x0200 || (is_item && node->group == GROUP_FILE_META))
            return true;
        for (int i = 0; i < node->nb_item && node->item[i] != nullptr; i++)
            if (is_ambiguous(node->item[i], true))
                return true;
    }
    return false;
}

// Both sides have been saved: sorted, and without group lengths.
static void compare(const Data_Set &set, const Data_Set &back, const Save_Options &options,
                    const std::string &written, const std::string &again)
{
    bool has_lost_vr = false;
    std::string difference = first_difference(set, back, options, &has_lost_vr);
    if (has_lost_vr)
        return;
    if (!difference.empty() || back.damages > 0 || again != written) {
        DICOM_Root root = {};
        DICOM_Attribute_Stool(nullptr, &root, set.tree, 3);
        DICOM_Attribute_Stool(nullptr, &root, back.tree, 3);
    }
    if (!difference.empty())
        fail("what was written reads back as something else: %s", difference.c_str());
    if (back.damages > 0 && set.damages == 0)   // bytes that nobody could read are written as they were
        fail("what was written is damaged");
    size_t at = 0;
    while (at < written.size() && at < again.size() && written[at] == again[at])
        at++;
    if (again != written)
        fail("what was read back is written in another way, from offset %zu on: %zu and %zu bytes", at, written.size(),
             again.size());
}

static void save_and_load_again(Data_Set *set, Save_Options options)
{
    std::string written, again, error;
    if (!save_to_memory(set, options, &written, &error)) {
        HOLDS(!error.empty());
        return;
    }
    check_tree(set->tree);
    Loaded_Input back(written, MODE_UNKNOWN, false);
    if (back.result != LOADED)
        fail("what was written does not load: %s", back.error.c_str());
    make_editable(&back.set);
    bool changed_inside = options.change != nullptr && !set->opaque.empty();   // where the tree does not show it
    options.change = nullptr;
    if (!save_to_memory(&back.set, options, &again, &error))
        fail("what was read back is not written: %s", error.c_str());
    if (!options.standard_groups_only && !changed_inside && !is_ambiguous(set->tree, false))
        compare(*set, back.set, options, written, again);
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *bytes, size_t size)
{
    Input input(bytes, size);
    unsigned char steps = input.byte(), encodings = input.byte();
    Fresh_Library library(wants_traces(encodings));
    Loaded_Input loaded(input.rest(), chosen_source_mode(encodings), false);
    if (loaded.result != LOADED)
        return 0;
    check_tree(loaded.set.tree);
    if ((steps & CHOOSE_REPAIR) != 0) {
        make_editable(&loaded.set);
        Repair_Report report;
        report.is_quiet = true;
        repair_tree(&loaded.set, "", &report);
    }
    if ((steps & CHOOSE_CONFORM) != 0)
        conform_set(&loaded.set);
    save_and_load_again(&loaded.set, options_of(steps, encodings));
    return 0;
}
