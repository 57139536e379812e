// This library beside others: the same work on the same bytes in one process, in turn, so that a pair of times comes
// from the same moment. See bench/README.md.
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <algorithm>

#include "bench/peers/floor.h"
#include "bench/peers/measures.h"
#include "host/velmora_host.h"

static const Library *const libraries[] = {
    &library_ours,
#ifdef HAS_DCMTK
    &library_dcmtk,
#endif
#ifdef HAS_GDCM
    &library_gdcm,
#endif
};
enum : size_t { MOST_LIBRARIES = sizeof libraries / sizeof libraries[0] };
static size_t compared = MOST_LIBRARIES;   // the first of them

static const char USAGE[] = "Usage: bench_peers [--rounds N] [--only INPUT] [--corpus DIR] [--alone] [--plain-heap] [--files DIR] [--make DIR]\n"
                            "  --rounds N    paired runs of each input, 7 without this\n"
                            "  --only INPUT  this input alone\n"
                            "  --corpus DIR  the files of this folder as one more input\n"
                            "  --alone       this library alone, for profiles\n"
                            "  --plain-heap  malloc as the system sets it up, without tune_heap of the host library\n"
                            "  --files DIR   where the made files are kept, /dev/shm/velmora_peers without this\n"
                            "  --make DIR    only make the files, for the comparison of programs\n";

struct Choice {
    int rounds = 7;
    bool plain_heap = false;
    std::string only, corpus, files = "/dev/shm/velmora_peers", make;
};

// ---- figures --------------------------------------------------------------------------

static double median(std::vector<double> values)
{
    std::sort(values.begin(), values.end());
    size_t middle = values.size() / 2;
    return values.size() % 2 == 1 ? values[middle] : (values[middle - 1] + values[middle]) / 2;
}

// Of each library the times of each round, in nanoseconds an element, both for one kind of work.
typedef std::vector<double> Rounds[MOST_LIBRARIES];

static double least(const std::vector<double> &values)
{
    return *std::min_element(values.begin(), values.end());
}

static double greatest(const std::vector<double> &values)
{
    return *std::max_element(values.begin(), values.end());
}

static double median_ratio(const std::vector<double> &theirs, const std::vector<double> &ours)
{
    std::vector<double> ratios;
    for (size_t i = 0; i < ours.size(); i++)
        ratios.push_back(theirs[i] / ours[i]);
    return median(ratios);
}

static void print_head()
{
    printf("| input | elements | work |");
    for (size_t i = 0; i < compared; i++)
        printf(" %s | least to most |%s", libraries[i]->name, i == 0 ? "" : " times ours |");
    printf("\n|---|---|---|");
    for (size_t i = 0; i < compared; i++)
        printf("---|---|%s", i == 0 ? "" : "---|");
    printf("\n");
}

static void print_row(const Input &input, int64_t elements, const char *work, const Rounds &rounds)
{
    printf("| %s | %lld | %s |", input.name.c_str(), static_cast<long long>(elements), work);
    for (size_t i = 0; i < compared; i++) {
        printf(" %.1f | %.1f to %.1f |", median(rounds[i]), least(rounds[i]), greatest(rounds[i]));
        if (i > 0)
            printf(" %.1f |", median_ratio(rounds[i], rounds[0]));
    }
    printf("\n");
}

// ---- the runs -------------------------------------------------------------------------

// Load and walk are one step to a user: both are shown alone and together.
static void run_times(const Input &input, int count)
{
    std::vector<Times> times[MOST_LIBRARIES];
    for (int round = 0; round <= count; round++) {
        for (size_t i = 0; i < compared; i++) {
            Times taken = measure(*libraries[(i + static_cast<size_t>(round)) % compared], input);
            if (round > 0)   // the first goes uncounted
                times[(i + static_cast<size_t>(round)) % compared].push_back(taken);
        }
    }
    int64_t elements = times[0][0].elements;
    auto add_row = [&](const char *name, std::initializer_list<Work> works) {
        Rounds rounds;
        for (size_t i = 0; i < compared; i++) {
            for (const Times &each : times[i]) {
                double seconds = 0;
                for (Work work : works)
                    seconds += each.seconds[work];
                rounds[i].push_back(seconds * 1e9 / static_cast<double>(elements));
            }
        }
        print_row(input, elements / input.times, name, rounds);
    };
    for (int work = 0; work < WORKS; work++)
        add_row(work_names[work], {static_cast<Work>(work)});
    add_row("load and walk", {WORK_LOAD, WORK_WALK});
    fflush(stdout);
    for (size_t i = 1; i < compared; i++)
        if (times[i][0].elements != elements)
            printf("%s counts %lld elements\n", libraries[i]->name,
                   static_cast<long long>(times[i][0].elements / input.times));
}

// Loaded alone, before anything else was: huge pages and free blocks that others leave behind would hide what is taken.
static void run_memory(const Input &input)
{
    printf("| %s |", input.name.c_str());
    for (size_t i = 0; i < compared; i++) {
        Memory memory = measure_memory(*libraries[i], input);
        printf(" %.0f | %.0f |", memory.live / memory.elements, memory.peak / memory.elements);
    }
    printf("\n");
}

static void run_floor(const Input &input, int count, const std::string &folder)
{
    void *set = library_ours.load(input.files[0]);
    int64_t text_bytes = library_ours.dump(set), elements = 1;
    library_ours.release(set);
    std::vector<double> headers, values, text;
    for (int i = 0; i < count; i++) {
        Floor floor = measure_floor(input.files[0], text_bytes, folder.c_str());
        headers.push_back(floor.headers);
        values.push_back(floor.values);
        text.push_back(floor.text);
        elements = floor.elements;
    }
    double each = 1e9 / static_cast<double>(elements);
    printf("| %s | %.1f | %.1f | %.1f |\n", input.name.c_str(), median(headers) * each, median(values) * each,
           median(text) * each);
}

static void keep_common_files(Input *input)
{
    std::vector<Input_File> common;
    size_t refused[MOST_LIBRARIES] = {};
    for (const Input_File &file : input->files) {
        bool by_all = true;
        for (size_t i = 0; i < compared; i++) {
            bool can = can_work_on(*libraries[i], file);
            refused[i] += !can;
            by_all = by_all && can;
        }
        if (by_all)
            common.push_back(file);
    }
    printf("Of %zu files of the corpus all of them work on %zu.", input->files.size(), common.size());
    for (size_t i = 0; i < compared; i++)
        printf(" %s fails on %zu.", libraries[i]->name, refused[i]);
    printf("\n\n");
    input->files = common;
}

static int run(const Choice &choice)
{
    make_files(choice.files);
    if (!choice.plain_heap)   // as a program around this library has it; it is the heap of the others, too
        velmora_host::tune_heap();
    for (size_t i = 0; i < compared; i++)
        libraries[i]->prepare();
    std::vector<Input> inputs = made_inputs(choice.files);
    if (!choice.corpus.empty()) {
        inputs.push_back(files_of("corpus", choice.corpus));
        keep_common_files(&inputs.back());
    }
    auto is_chosen = [&](const Input &input) { return choice.only.empty() || input.name == choice.only; };

    printf("Memory in bytes an element: what the loaded set holds, and the most while it was loaded\n\n| input |");
    for (size_t i = 0; i < compared; i++)
        printf(" %s, held | most |", libraries[i]->name);
    printf("\n|---|");
    for (size_t i = 0; i < compared; i++)
        printf("---|---|");
    printf("\n");
    for (const Input &input : inputs)
        if (is_chosen(input) && input.times == 1 && input.files.size() == 1)
            run_memory(input);

    printf("\nThe floor, in nanoseconds an element\n\n| input | headers | and values copied | text of the dump to a file |"
           "\n|---|---|---|---|\n");
    for (const Input &input : inputs)
        if (is_chosen(input) && input.files[0].bytes != nullptr)
            run_floor(input, choice.rounds, choice.files);

    printf("\nTime of the processor in nanoseconds an element, median of %d paired runs\n\n", choice.rounds);
    print_head();
    for (const Input &input : inputs)
        if (is_chosen(input))
            run_times(input, std::min(choice.rounds, input.rounds));
    return 0;
}

int main(int argc, char **argv)
{
    Choice choice;
    for (int i = 1; i < argc; i += 2) {
        const char *value = i + 1 < argc ? argv[i + 1] : nullptr;
        if (strcmp(argv[i], "--alone") == 0) {
            compared = 1;
            i--;
        } else if (strcmp(argv[i], "--plain-heap") == 0) {
            choice.plain_heap = true;
            i--;
        } else if (value != nullptr && strcmp(argv[i], "--rounds") == 0 && atoi(value) > 0) {
            choice.rounds = atoi(value);
        } else if (value != nullptr && strcmp(argv[i], "--only") == 0) {
            choice.only = value;
        } else if (value != nullptr && strcmp(argv[i], "--corpus") == 0) {
            choice.corpus = value;
        } else if (value != nullptr && strcmp(argv[i], "--files") == 0) {
            choice.files = value;
        } else if (value != nullptr && strcmp(argv[i], "--make") == 0) {
            choice.make = value;
        } else {
            fputs(USAGE, stderr);
            return 2;
        }
    }
    if (choice.make.empty())
        return run(choice);
    make_files(choice.make);
    return 0;
}
