// From bytes to a tree and from a tree to text: walk of the headers, load, lookup, dump.
#include <benchmark/benchmark.h>

#include <string.h>

#include "bench/inputs.h"
#include "host/velmora_host.h"

using namespace velmora_host;

// Bytes and elements a second; the time of one element is 1 / items_per_second.
static void tell_rates(benchmark::State &state, const Stream &stream)
{
    state.SetItemsProcessed(state.iterations() * count_elements(stream));
    state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(stream.size()));
}

static void walk_headers(benchmark::State &state, const Stream &stream)
{
    for (auto _ : state)
        benchmark::DoNotOptimize(count_elements(stream));
    tell_rates(state, stream);
}

static void load(benchmark::State &state, const Stream &stream)
{
    Error_Set_Threshold(-1);
    for (auto _ : state) {
        Data_Set set;
        std::string error;
        load_from_memory(stream.data(), static_cast<int>(stream.size()), MODE_EXPLICIT_LITTLE, Load_Options(), &set, &error);
        benchmark::DoNotOptimize(set.tree);
        release_data_set(&set);
    }
    tell_rates(state, stream);
}

static void drop(void *user, HWND, int, const char *text)
{
    *static_cast<size_t *>(user) += strlen(text);
}

static void dump(benchmark::State &state, const Stream &stream)
{
    Data_Set set;
    std::string error;
    Error_Set_Threshold(-1);
    load_from_memory(stream.data(), static_cast<int>(stream.size()), MODE_EXPLICIT_LITTLE, Load_Options(), &set, &error);
    size_t characters = 0;
    Error_Set_Sink(drop, &characters);
    Error_Set_Threshold(1);
    for (auto _ : state)
        DICOM_Attribute_Stool(nullptr, &set.root, set.tree, 1);
    Error_Set_Sink(nullptr, nullptr);
    benchmark::DoNotOptimize(characters);
    tell_rates(state, stream);
    release_data_set(&set);
}

static void lookup(benchmark::State &state)
{
    static const unsigned short tags[][2] = {{0x0008, 0x0008}, {0x0008, 0x0018}, {0x0010, 0x0010}, {0x0018, 0x0050},
                                             {0x0018, 0x9087}, {0x0020, 0x0032}, {0x0028, 0x0010}, {0x300A, 0x00B0}};
    for (auto _ : state)
        for (const auto &tag : tags)
            benchmark::DoNotOptimize(NEMA_db_Locate(tag[0], tag[1]));
    state.SetItemsProcessed(state.iterations() * 8);
}
BENCHMARK(lookup)->Name("dictionary/lookup");

static void build_dictionary(benchmark::State &state)
{
    for (auto _ : state) {
        NEMA_db_Cleanup();
        benchmark::DoNotOptimize(NEMA_db_Locate(0x0010, 0x0010));
    }
}
BENCHMARK(build_dictionary)->Name("dictionary/build");

// Each case also runs at a tenth of its size: the time of an element should be the same.
static int register_cases()
{
    struct Input { const char *name; Stream stream; };
    static const Input inputs[] = {
        {"ct_150", ct_like_set()},           {"flat_3000", flat_set(3000)},
        {"flat_300000", flat_set(300000)},   {"items_2000x10", items_of_ten(2000, false)},
        {"items_20000x10", items_of_ten(20000, false)}, {"items_20000x10_by_length", items_of_ten(20000, true)},
        {"nested_2000x6", items_with_sequences(2000)},  {"nested_20000x6", items_with_sequences(20000)},
    };
    struct Work { const char *name; void (*run)(benchmark::State &, const Stream &); };
    static const Work works[] = {{"walk", walk_headers}, {"load", load}, {"dump", dump}};
    for (const Work &work : works)
        for (const Input &input : inputs)
            benchmark::RegisterBenchmark((std::string(work.name) + "/" + input.name).c_str(), work.run, input.stream);
    return 0;
}
static int registered = register_cases();
