// Real files, where there are any: the folder that VELMORA_CORPUS names, or ../shared/corpus beside the repository. Cut
// copies of them are loaded from memory of exactly their size, so that the address sanitizer sees a read behind it. A
// sample of files and cuts by default; all of them when VELMORA_LONG is set.
#include <gtest/gtest.h>
#include <stdlib.h>
#include <algorithm>
#include <filesystem>
#include <fstream>
#include <random>

#include "host/velmora_host.h"
#include "tests/host_runs.h"

using namespace velmora_host;

static std::vector<std::string> corpus_files()
{
    const char *named = getenv("VELMORA_CORPUS");
    std::filesystem::path folder = named != nullptr ? named : VELMORA_SOURCE_DIR "/../shared/corpus";
    std::vector<std::string> files;
    std::error_code ignored;
    for (const auto &entry : std::filesystem::directory_iterator(folder, ignored))
        if (entry.is_regular_file() && entry.path().extension() != ".tsv")
            files.push_back(entry.path());
    std::sort(files.begin(), files.end());
    return files;
}

static bool is_long_run()
{
    return getenv("VELMORA_LONG") != nullptr;
}

static void ignore_report(void *, HWND, int, const char *report)
{
    Place place;
    place_of_report(report, &place);
}

static std::string bytes_of(const std::string &path)
{
    std::ifstream file(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(file), {});
}

static void load_cut(const std::string &bytes, size_t size)
{
    char *block = static_cast<char *>(malloc(size > 0 ? size : 1));
    memcpy(block, bytes.data(), size);
    Load_Options options;
    options.want_listing = true;
    Data_Set set;
    std::string error;
    Load_Result result = load_from_memory(block, static_cast<int>(size), MODE_UNKNOWN, options, &set, &error);
    EXPECT_EQ(result == LOADED, set.tree != nullptr);
    EXPECT_EQ(result == LOADED, error.empty());
    release_data_set(&set);
    free(block);
}

TEST(Corpus, IsReadWithinTheBytesWhereverTheyEnd)
{
    std::vector<std::string> files = corpus_files();
    if (files.empty())
        GTEST_SKIP() << "no corpus";
    Error_Set_Sink(ignore_report, nullptr);
    std::mt19937 random(20);
    size_t file_step = is_long_run() ? 1 : files.size() / 20 + 1;
    for (size_t i = 0; i < files.size(); i += file_step) {
        SCOPED_TRACE(files[i]);
        std::string bytes = bytes_of(files[i]);
        size_t cut_step = is_long_run() ? 1 : 1 + random() % 40, places = is_long_run() ? 200 : 10;
        for (size_t size = 0; size <= std::min<size_t>(4096, bytes.size()); size += cut_step)
            load_cut(bytes, size);
        for (size_t place = 0; place < places; place++)
            load_cut(bytes, random() % (bytes.size() + 1));
    }
    Error_Set_Sink(nullptr, nullptr);
}

TEST(Corpus, IsShownWithoutACrashAndInTime)
{
    std::vector<std::string> files = corpus_files();
    if (files.empty())
        GTEST_SKIP() << "no corpus";
    size_t step = is_long_run() ? 1 : files.size() / 40 + 1;
    for (size_t i = 0; i < files.size(); i += step)
        for (const char *form : {"tree", "tsv"}) {
            Outcome run = run_program(VELMORA_PROGRAM, {"dump", "--format", form, files[i]});
            EXPECT_TRUE(run.status == 0 || run.status == 3) << files[i] << ": " << run.status << "\n" << run.err;
            EXPECT_EQ(run.status == 3, run.out.empty()) << files[i];
        }
}

// Needs python3-pydicom and dcmtk.
TEST(Corpus, IsListedAsOtherToolkitsListIt)
{
    std::vector<std::string> files = corpus_files(), arguments = {VELMORA_SOURCE_DIR "/tests/interop/compare_listing.py",
                                                                  VELMORA_PROGRAM};
    static const char PYTHON[] = "/usr/bin/python3";
    if (files.empty() || run_program("/bin/sh", {"-c", "command -v dcmdump"}).status != 0 ||
        run_program(PYTHON, {"-c", "import pydicom"}).status != 0)
        GTEST_SKIP() << "no corpus, or not both toolkits";
    size_t step = is_long_run() ? 1 : files.size() / 40 + 1;
    for (size_t i = 0; i < files.size(); i += step)
        arguments.push_back(files[i]);
    Outcome run = run_program(PYTHON, arguments);
    EXPECT_EQ(run.status, 0) << run.out << run.err;
    EXPECT_NE(run.out.find(" files that both peers read"), std::string::npos) << run.err;
}
