// A data set through the whole way of conforming to its template, beside the time of loading it.
#include <benchmark/benchmark.h>

#include <stdlib.h>

#include "bench/inputs.h"
#include "host/velmora_conform.h"
#include "host/velmora_save.h"

using namespace velmora_host;

static bool load_ct(const Stream &stream, Data_Set *set)
{
    std::string error;
    return load_from_memory(stream.data(), static_cast<int>(stream.size()), MODE_EXPLICIT_LITTLE, Load_Options(), set,
                            &error) == LOADED;
}

// The definitions are read before the clock starts, as they are once in a process.
static bool prepare(benchmark::State &state)
{
    Error_Set_Threshold(-1);
    std::string error;
    DICOM_Module_Setup(nullptr, VELMORA_DEFINITIONS_OF_TREE);
    static bool registered = register_makers();
    if (registered && read_template("CT_Image", &error) != nullptr)
        return true;
    state.SkipWithError("the template cannot be read");
    return false;
}

// Load, clean, add, overwrite, drop, delete, fetch, verify, sort: what the command does with one file, but for the
// file.
static void conform_ct(benchmark::State &state)
{
    Stream stream = ct_like_set();
    if (!prepare(state))
        return;
    for (auto _ : state) {
        Data_Set set;
        Conform_Options options;
        Conform_Result result;
        std::string error;
        options.module = "CT_Image";
        if (!load_ct(stream, &set) || !conform(&set, options, &result, &error))
            state.SkipWithError("the set does not conform");
        benchmark::DoNotOptimize(set.tree);
        release_data_set(&set);
    }
    state.SetItemsProcessed(state.iterations() * count_elements(stream));
}
BENCHMARK(conform_ct)->Name("conform/ct_150");

// The same, written to memory in the end.
static void conform_and_save_ct(benchmark::State &state)
{
    Stream stream = ct_like_set();
    if (!prepare(state))
        return;
    for (auto _ : state) {
        Data_Set set;
        Conform_Options options;
        Conform_Result result;
        std::string error, bytes;
        options.module = "CT_Image";
        if (!load_ct(stream, &set) || !conform(&set, options, &result, &error) ||
            !save_to_memory(&set, Save_Options(), &bytes, &error))
            state.SkipWithError("the set cannot be written");
        release_data_set(&set);
    }
    state.SetItemsProcessed(state.iterations() * count_elements(stream));
}
BENCHMARK(conform_and_save_ct)->Name("conform/ct_150_saved");

// The first reading of a template.
static void read_ct_template(benchmark::State &state)
{
    if (!prepare(state))
        return;
    std::string error;
    for (auto _ : state) {
        DICOM_Module_Free();
        benchmark::DoNotOptimize(read_template("CT_Image", &error));
    }
}
BENCHMARK(read_ct_template)->Name("conform/template_CT_Image");
