// The same work on 1,000 to 1,000,000 elements, at the top level and in items of ten: the time of an element should
// stay the same. What it grows by is the memory: a large tree does not fit the processor's caches.
#include <benchmark/benchmark.h>

#include <string.h>

#include "bench/inputs.h"
#include "host/velmora_host.h"
#include "tree/DICOM_Constants.h"

using namespace velmora_host;

static void load(const Stream &stream, Data_Set *set)
{
    std::string error;
    Error_Set_Threshold(-1);
    load_from_memory(stream.data(), static_cast<int>(stream.size()), MODE_EXPLICIT_LITTLE, Load_Options(), set, &error);
}

static void load_and_release(benchmark::State &state, const Stream &stream)
{
    for (auto _ : state) {
        Data_Set set;
        load(stream, &set);
        benchmark::DoNotOptimize(set.tree);
        release_data_set(&set);
    }
}

// The flat chain as a host makes it, its values still in the stream.
static std::vector<DICOM_List> flat_chain(const Stream &stream)
{
    std::vector<DICOM_List> nodes;
    DICOM_List node = {};
    int at = 0, size = static_cast<int>(stream.size());
    node.syntax = SYNTAX_EXPLICIT;
    node.flag = ORIGIN_DICOM;
    while (node.pos = at, at < size && NEMA_Get_Data_Element(nullptr, 0, reinterpret_cast<intptr_t>(&at), stream.data(),
                                                             SYNTAX_EXPLICIT, &node.group, &node.element,
                                                             &node.vr_explicit, &node.size, size)) {
        bool opens = node.group == GROUP_ITEM || node.vr_explicit == VR_SQ;
        node.data_pos = at;
        node.data = opens ? nullptr : const_cast<char *>(stream.data()) + at;
        at += opens ? 0 : node.size;
        nodes.push_back(node);
    }
    DICOM_Root root = {};
    for (size_t i = 0; i < nodes.size(); i++) {
        nodes[i].next = nullptr;
        DICOM_Attribute_Complement(nullptr, &root, &nodes[i]);
        if (i > 0)
            nodes[i - 1].next = &nodes[i];
    }
    return nodes;
}

static void format(benchmark::State &state, const Stream &stream)
{
    Error_Set_Threshold(-1);
    std::vector<DICOM_List> nodes = flat_chain(stream);
    for (auto _ : state) {
        Data_Set set;
        set.tree = DICOM_Attribute_Format(nullptr, nodes.data());
        benchmark::DoNotOptimize(set.tree);
        state.PauseTiming();
        release_data_set(&set);
        state.ResumeTiming();
    }
    for (DICOM_List &node : nodes)
        DICOM_Lib_Free(&node.description);
}

// Every node, and the first byte of every value.
static unsigned int walk(const DICOM_List *list)
{
    unsigned int sum = 0;
    for (; list != nullptr; list = list->next) {
        sum += list->element + (list->data != nullptr ? static_cast<unsigned char>(*list->data) : 0u);
        for (int i = 0; i < list->nb_item && list->item[i] != nullptr; i++)
            sum += walk(list->item[i]);
    }
    return sum;
}

static void walk_tree(Data_Set *set)
{
    benchmark::DoNotOptimize(walk(set->tree));
}

static void clean_tree(Data_Set *set)
{
    DICOM_Attribute_Cleanup(nullptr, &set->root, set->tree);
}

static void drop(void *user, HWND, int, const char *text)
{
    *static_cast<size_t *>(user) += strlen(text);
}

static void dump_tree(Data_Set *set)
{
    size_t characters = 0;
    Error_Set_Sink(drop, &characters);
    Error_Set_Threshold(1);
    DICOM_Attribute_Stool(nullptr, &set->root, set->tree, 1);
    Error_Set_Sink(nullptr, nullptr);
    Error_Set_Threshold(-1);
    benchmark::DoNotOptimize(characters);
}

static void write_tree(Data_Set *set)
{
    char *buffer = nullptr;
    benchmark::DoNotOptimize(DICOM_List2Stream(nullptr, SYNTAX_EXPLICIT, set->tree, &buffer));
    DICOM_Lib_Free(&buffer);
}

template <void (*Work)(Data_Set *)> static void with_tree(benchmark::State &state, const Stream &stream)
{
    Data_Set set;
    load(stream, &set);
    DICOM_Attribute_Remove(nullptr, &set.tree, REMOVE_DELIMITERS);
    for (auto _ : state)
        Work(&set);
    release_data_set(&set);
}

static Stream items_of(int elements)
{
    return items_of_ten(elements / 12, false);   // with the item and its delimiter
}

static int register_cases()
{
    struct Work { const char *name; void (*run)(benchmark::State &, const Stream &); };
    static const Work works[] = {
        {"load", load_and_release},       {"format", format},
        {"walk", with_tree<walk_tree>},   {"cleanup", with_tree<clean_tree>},
        {"dump", with_tree<dump_tree>},   {"write", with_tree<write_tree>},
    };
    struct Shape { const char *name; Stream (*make)(int); };
    static const Shape shapes[] = {{"flat", flat_set}, {"items", items_of}};
    for (const Work &work : works)
        for (const Shape &shape : shapes)
            for (int elements : {1000, 10000, 100000, 1000000}) {
                std::string place = std::string(shape.name) + "/" + std::to_string(elements);
                std::string name = std::string("growth/") + work.name + "/" + place;
                benchmark::RegisterBenchmark(name.c_str(), [=](benchmark::State &state) {
                    Stream stream = shape.make(elements);   // made when its turn comes: all of them take much room
                    work.run(state, stream);
                    state.SetItemsProcessed(state.iterations() * elements);
                });
            }
    return 0;
}
static int registered = register_cases();
