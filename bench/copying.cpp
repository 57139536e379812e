// Pixel data of 100 MiB through convert, beside a plain copy of the same file: one after the other in each round, since
// the disk is not the same from minute to minute. share_of_copy is the time of the copies by that of the conversions:
// 1 is as fast as a copy. Files are made in TMPDIR, or /tmp, and taken away at the end.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <stdlib.h>
#include <unistd.h>
#include <algorithm>
#include <chrono>

#include "host/velmora_save.h"

using namespace velmora_host;

static const int PIXEL_BYTES = 100 << 20, ROUNDS = 9;

// ---- files ----------------------------------------------------------------------------

struct Scratch {
    Scratch()
    {
        const char *top = getenv("TMPDIR");
        folder = std::string(top != nullptr ? top : "/tmp") + "/velmora-bench-XXXXXX";
        is_made = mkdtemp(folder.data()) != nullptr;
        in = folder + "/in", copy = folder + "/copy", out = folder + "/out";
    }
    ~Scratch()
    {
        for (const std::string &path : {in, copy, out})
            unlink(path.c_str());
        rmdir(folder.c_str());
    }
    Scratch(const Scratch &) = delete;

    std::string folder, in, copy, out;
    bool is_made;
};

// A head, a few attributes and the pixel data, explicit VR little endian.
static bool write_image(const std::string &path)
{
    std::string elements("\x08\0\x60\0CS\2\0CT\x28\0\0\1US\2\0\x10\0\xE0\x7F\x10\0OW\0\0", 32);
    std::string pixels(static_cast<size_t>(PIXEL_BYTES), '\0');
    for (size_t i = 0; i < pixels.size(); i++)
        pixels[i] = static_cast<char>(i * 2654435761u >> 13);
    for (int i = 0; i < 4; i++)
        elements += static_cast<char>(PIXEL_BYTES >> 8 * i & 0xFF);
    std::string whole = elements + pixels, error;
    Data_Set set;
    Save_Options options;
    bool done = load_from_memory(whole.data(), static_cast<int>(whole.size()), MODE_EXPLICIT_LITTLE, Load_Options(),
                                 &set, &error) == LOADED &&
                save_to_path(&set, path.c_str(), options, &error);
    release_data_set(&set);
    return done;
}

// What cp does on this system.
static bool copy_file(const std::string &from, const std::string &to, bool is_durable)
{
    int in = open(from.c_str(), O_RDONLY), out = open(to.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0666);
    ssize_t got = 0;
    while (in >= 0 && out >= 0 && (got = copy_file_range(in, nullptr, out, nullptr, SSIZE_MAX, 0)) > 0)
        ;
    bool done = in >= 0 && out >= 0 && got == 0 && (!is_durable || fsync(out) == 0);
    close(in);
    close(out);
    return done;
}

static bool convert_file(const std::string &from, const std::string &to, unsigned char mode, bool is_durable)
{
    Data_Set set;
    Save_Options options;
    options.mode = mode;
    options.is_durable = is_durable;
    std::string error;
    bool done = load_from_path(from.c_str(), Load_Options(), &set, &error) == LOADED &&
                save_to_path(&set, to.c_str(), options, &error);
    release_data_set(&set);
    return done;
}

// ---- the case -------------------------------------------------------------------------

template <class Work> static double seconds_of(Work work, bool *done)
{
    auto start = std::chrono::steady_clock::now();
    *done = work() && *done;
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

static void convert_beside_copy(benchmark::State &state, unsigned char mode, bool is_durable)
{
    Scratch files;
    Error_Set_Threshold(-1);
    bool done = files.is_made && write_image(files.in);
    double copying = 0, converting = 0, best_copy = 1e9, best_convert = 1e9;
    for (auto _ : state) {
        // What either does to the old file is part of it: both find none.
        unlink(files.copy.c_str());
        unlink(files.out.c_str());
        sync();
        double copy = seconds_of([&] { return copy_file(files.in, files.copy, is_durable); }, &done);
        sync();
        double convert = seconds_of([&] { return convert_file(files.in, files.out, mode, is_durable); }, &done);
        copying += copy, converting += convert;
        best_copy = std::min(best_copy, copy), best_convert = std::min(best_convert, convert);
        state.SetIterationTime(convert);
    }
    if (!done)
        state.SkipWithError("a file could not be written");
    state.SetBytesProcessed(state.iterations() * PIXEL_BYTES);
    state.counters["share_of_copy"] = copying / converting;
    state.counters["best_by_best"] = best_copy / best_convert;
    state.counters["copy_ms"] = best_copy * 1e3;
    state.counters["convert_ms"] = best_convert * 1e3;
}

static int register_cases()
{
    struct Form {
        const char *name;
        unsigned char mode;
        bool is_durable;
    };
    static const Form forms[] = {
        {"as_it_is/to_disk", MODE_EXPLICIT_LITTLE, true },
        {"turned/to_disk",   MODE_EXPLICIT_BIG,    true },
        {"as_it_is",         MODE_EXPLICIT_LITTLE, false},
        {"turned",           MODE_EXPLICIT_BIG,    false},
    };
    for (const Form &form : forms)
        benchmark::RegisterBenchmark((std::string("convert_100MiB/") + form.name).c_str(), convert_beside_copy,
                                     form.mode, form.is_durable)
            ->UseManualTime()
            ->Unit(benchmark::kMillisecond)
            ->Iterations(ROUNDS);
    return 0;
}
static int registered = register_cases();
