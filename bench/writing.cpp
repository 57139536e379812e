// A tree to bytes, in each syntax and both forms of lengths: by the library's writer, and as a file in memory by the host.
#include <benchmark/benchmark.h>

#include "bench/inputs.h"
#include "host/velmora_save.h"
#include "tree/DICOM_Constants.h"

using namespace velmora_host;

static void write_stream(benchmark::State &state, const Stream &stream, char syntax, char by_length)
{
    Data_Set set;
    std::string error;
    Error_Set_Threshold(-1);
    load_from_memory(stream.data(), static_cast<int>(stream.size()), MODE_EXPLICIT_LITTLE, Load_Options(), &set, &error);
    DICOM_Attribute_Remove(nullptr, &set.tree, REMOVE_DELIMITERS);
    DICOM_Flag_Seq_Size = by_length;
    int64_t bytes = 0;
    for (auto _ : state) {
        char *buffer = nullptr;
        bytes += DICOM_List2Stream(nullptr, syntax, set.tree, &buffer);
        DICOM_Lib_Free(&buffer);
    }
    DICOM_Flag_Seq_Size = 0;
    state.SetBytesProcessed(bytes);
    state.SetItemsProcessed(state.iterations() * count_elements(stream));
    release_data_set(&set);
}

static void save_stream(benchmark::State &state, const Stream &stream, char syntax, char by_length)
{
    Data_Set set;
    std::string error, bytes;
    Error_Set_Threshold(-1);
    load_from_memory(stream.data(), static_cast<int>(stream.size()), MODE_EXPLICIT_LITTLE, Load_Options(), &set, &error);
    Save_Options options;
    options.mode = static_cast<unsigned char>(syntax);
    options.defined_lengths = by_length;
    int64_t written = 0;
    for (auto _ : state) {
        if (!save_to_memory(&set, options, &bytes, &error))
            state.SkipWithError(error.c_str());
        written += static_cast<int64_t>(bytes.size());
    }
    state.SetBytesProcessed(written);
    state.SetItemsProcessed(state.iterations() * count_elements(stream));
    release_data_set(&set);
}

static int register_cases()
{
    struct Input { const char *name; Stream stream; };
    static const Input inputs[] = {
        {"ct_150", ct_like_set()}, {"flat_3000", flat_set(3000)},
        {"items_2000x10", items_of_ten(2000, false)}, {"items_20000x10", items_of_ten(20000, false)},
    };
    struct Form { const char *name; char syntax, by_length; };
    static const Form forms[] = {{"implicit", 0, 0}, {"explicit", 8, 0}, {"big", 9, 0}, {"explicit_by_length", 8, 1}};
    struct Way { const char *name; void (*run)(benchmark::State &, const Stream &, char, char); };
    static const Way ways[] = {{"write/", write_stream}, {"save/", save_stream}};
    for (const Way &way : ways)
        for (const Input &input : inputs)
            for (const Form &form : forms)
                benchmark::RegisterBenchmark((std::string(way.name) + input.name + "/" + form.name).c_str(), way.run,
                                             input.stream, form.syntax, form.by_length);
    return 0;
}
static int registered = register_cases();
