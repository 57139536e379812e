#include "bench/peers/peer_inputs.h"

#include <stdio.h>
#include <algorithm>
#include <filesystem>
#include <fstream>

#include "bench/inputs.h"

namespace fs = std::filesystem;

static const unsigned int LARGE_VALUE = 512u << 20;
static const int SMALL_FILES = 2000, SMALL_FILE = 1500;
static const int MOST_ROUNDS = 1000, ROUNDS_OF_LARGE = 3;   // a round of the large value takes seconds

struct Made {
    const char *name;
    Stream (*make)();
    int times;
};

static const Made made[] = {
    {"ct_150",         [] { return with_head(ct_like_set()); },                  200},
    {"flat_3000",      [] { return with_head(flat_set(3000)); },                 10 },
    {"items_20000x10", [] { return with_head(items_of_ten(20000, false)); },     1  },
    {"nested_340000",  [] { return with_head(items_with_sequences(20000, 5)); }, 1  },
};

static Stream small_file()
{
    Stream file = with_head(flat_set(45));
    return file + filler(SMALL_FILE - static_cast<int>(file.size()));
}

static void write_file(const fs::path &path, const Stream &bytes)
{
    if (!fs::exists(path))
        std::ofstream(path, std::ios::binary).write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
}

void make_files(const std::string &folder)
{
    fs::path place(folder);
    fs::create_directories(place / "small_2000");
    for (const Made &each : made)
        write_file(place / (std::string(each.name) + ".dcm"), each.make());
    Stream small = small_file();
    for (int i = 0; i < SMALL_FILES; i++) {
        char name[32];
        snprintf(name, sizeof name, "%04d.dcm", i);
        write_file(place / "small_2000" / name, small);
    }
    Stream start = with_head(ct_like_set()) + pixel_header(LARGE_VALUE);
    fs::path large = place / "large_512MiB.dcm";
    write_file(large, start);
    fs::resize_file(large, start.size() + LARGE_VALUE);   // zeros that take no room on the disk
}

static void add_path(Input *input, const std::string &path)
{
    input->texts.push_back(std::make_unique<std::string>(path));
    input->files.push_back({nullptr, 0, input->texts.back()->c_str()});
}

Input files_of(const std::string &name, const std::string &folder)
{
    Input input = {name, {}, 1, MOST_ROUNDS, {}};
    std::vector<std::string> paths;
    for (const fs::directory_entry &entry : fs::recursive_directory_iterator(folder))
        if (entry.is_regular_file())
            paths.push_back(entry.path());
    std::sort(paths.begin(), paths.end());
    for (const std::string &path : paths)
        add_path(&input, path);
    return input;
}

std::vector<Input> made_inputs(const std::string &folder)
{
    std::vector<Input> inputs;
    for (const Made &each : made) {
        Input input = {each.name, {}, each.times, MOST_ROUNDS, {}};
        input.texts.push_back(std::make_unique<std::string>(each.make()));
        const std::string &bytes = *input.texts.back();
        input.files.push_back({bytes.data(), bytes.size(), nullptr});
        inputs.push_back(std::move(input));
    }
    Input large = {"large_512MiB", {}, 1, ROUNDS_OF_LARGE, {}};
    add_path(&large, folder + "/large_512MiB.dcm");
    inputs.push_back(std::move(large));
    inputs.push_back(files_of("small_2000", folder + "/small_2000"));
    return inputs;
}
