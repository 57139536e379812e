// Repair and check: a sound value of each kind of VR, a whole data set, and the order of 3,000 attributes.
#include <benchmark/benchmark.h>

#include <stdlib.h>
#include <string.h>
#include <string>

#include "bench/inputs.h"
#include "host/velmora_host.h"
#include "tree/DICOM_Constants.h"

using namespace velmora_host;

struct Sound_Value {
    const char *name;
    unsigned short vr;
    const char *text;
};

static const Sound_Value SOUND_VALUES[] = {
    {"AE", VR_AE, "ARCHIVE "},     {"AS", VR_AS, "052Y"},
    {"CS", VR_CS, "ORIGINAL\\PRIMARY\\AXIAL"},
    {"DA", VR_DA, "20240229"},     {"DS", VR_DS, "-80.5\\-80.5\\12.5"},
    {"DT", VR_DT, "20240229134530"}, {"IS", VR_IS, "12\\7 "},
    {"LO", VR_LO, "Quality assurance "}, {"LT", VR_LT, "A remark of some length."},
    {"PN", VR_PN, "Phantom^Water "}, {"TM", VR_TM, "134530"},
    {"UI", VR_UI, "1.2.999.0.1.7204516.2.813.9.1.23"},
    {"US", VR_US, "\1\2"},         {"FD", VR_FD, "\1\2\3\4\5\6\7\1"},
};

static void clean_value(benchmark::State &state, const Sound_Value &value)
{
    DICOM_List tag = {};
    tag.group = 0x0009;
    tag.element = 0x1001;
    tag.vr_explicit = value.vr;
    tag.size = static_cast<int>(strlen(value.text));
    tag.data = static_cast<char *>(malloc(strlen(value.text)));
    memcpy(tag.data, value.text, strlen(value.text));
    for (auto _ : state)
        benchmark::DoNotOptimize(DICOM_Attribute_Cleanup_Tag(nullptr, &tag));
    free(tag.data);
}

static void load_quietly(const Stream &stream, Data_Set *set)
{
    std::string error;
    Error_Set_Threshold(-1);
    load_from_memory(stream.data(), static_cast<int>(stream.size()), MODE_EXPLICIT_LITTLE, Load_Options(), set, &error);
    DICOM_Attribute_Remove(nullptr, &set->tree, REMOVE_DELIMITERS);
}

typedef int (*Walk)(HWND, DICOM_Root *, DICOM_List *);

static void walk_set(benchmark::State &state, Walk walk, const Stream &stream)
{
    Data_Set set;
    load_quietly(stream, &set);
    for (auto _ : state)
        walk(nullptr, &set.root, set.tree);
    state.SetItemsProcessed(state.iterations() * count_elements(stream));
    release_data_set(&set);
}

// A chain in the given order: 0 ascending, 1 descending, 2 each tag twice.
static DICOM_List *chain_in_order(int order)
{
    DICOM_List *head = nullptr, *last = nullptr;
    for (int i = 0; i < 3000; i++) {
        DICOM_List *node = static_cast<DICOM_List *>(calloc(1, sizeof(DICOM_List)));
        node->group = 0x0009;
        node->element = static_cast<unsigned short>(order == 0 ? i : order == 1 ? 3000 - i : i % 1500);
        (last != nullptr ? last->next : head) = node;
        last = node;
    }
    return head;
}

static void sort(benchmark::State &state)
{
    for (auto _ : state) {
        state.PauseTiming();
        DICOM_List *chain = chain_in_order(static_cast<int>(state.range(0)));
        DICOM_Root root = {};
        state.ResumeTiming();
        DICOM_Attribute_Sort(nullptr, &root, &chain);
        state.PauseTiming();
        DICOM_Attribute_Delete(nullptr, &root, &chain, ANY_TAG_NUMBER, ANY_TAG_NUMBER);
        state.ResumeTiming();
    }
    state.SetItemsProcessed(state.iterations() * 3000);
}
BENCHMARK(sort)->Name("sort/ascending_descending_twice")->Arg(0)->Arg(1)->Arg(2);

static int register_cases()
{
    for (const Sound_Value &value : SOUND_VALUES)
        benchmark::RegisterBenchmark((std::string("cleanup/") + value.name).c_str(), clean_value, value);
    static const Stream ct = ct_like_set(), nested = items_with_sequences(20000);
    benchmark::RegisterBenchmark("cleanup/ct_150", walk_set, DICOM_Attribute_Cleanup, ct);
    benchmark::RegisterBenchmark("cleanup/nested_20000x6", walk_set, DICOM_Attribute_Cleanup, nested);
    benchmark::RegisterBenchmark("check/ct_150", walk_set, DICOM_Attribute_Syntax, ct);
    benchmark::RegisterBenchmark("check/nested_20000x6", walk_set, DICOM_Attribute_Syntax, nested);
    return 0;
}
static int registered = register_cases();
