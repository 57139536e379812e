// Real files, where there are any: a sample by default, all of them when VELMORA_LONG is set. Cut copies are loaded
// from memory of exactly their size, so that the address sanitizer sees a read behind it.
#include <gtest/gtest.h>
#include <stdlib.h>
#include <algorithm>
#include <random>

#include "host/velmora_host.h"
#include "tests/host_runs.h"
#include "tests/support/outline.h"
#include "tests/support/reports.h"

using namespace velmora_host;

static const bool IS_LONG_RUN = getenv("VELMORA_LONG") != nullptr;

// So many files of the corpus, or all of them, evenly from its whole length.
static std::vector<std::string> sample(size_t wanted)
{
    std::vector<std::string> all = corpus_files(), some;
    for (size_t i = 0; i < all.size(); i += IS_LONG_RUN ? 1 : all.size() / wanted + 1)
        some.push_back(all[i]);
    return some;
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

class Corpus : public testing::Test
{
  protected:
    void SetUp() override
    {
        if (corpus_files().empty())
            GTEST_SKIP() << "no corpus";
    }
};

TEST_F(Corpus, IsReadWithinTheBytesWhereverTheyEnd)
{
    Reports said;
    std::mt19937 random(20);
    for (const std::string &file : sample(20)) {
        SCOPED_TRACE(file);
        std::string bytes = bytes_of(file);
        size_t cut_step = IS_LONG_RUN ? 1 : 1 + random() % 40, places = IS_LONG_RUN ? 200 : 10;
        for (size_t size = 0; size <= std::min<size_t>(4096, bytes.size()); size += cut_step)
            load_cut(bytes, size);
        for (size_t place = 0; place < places; place++)
            load_cut(bytes, random() % (bytes.size() + 1));
    }
}

TEST_F(Corpus, IsNotChangedByTheCheck)
{
    for (const std::string &file : sample(100)) {
        Reports said;
        Data_Set set;
        std::string error;
        if (load_from_path(file.c_str(), Load_Options(), &set, &error) == LOADED && set.mode != MODE_EXPLICIT_BIG) {
            std::string before = full_outline(set.tree);
            DICOM_Root root = {};
            DICOM_Attribute_Syntax(nullptr, &root, set.tree);
            EXPECT_EQ(full_outline(set.tree), before) << file;
        }
        release_data_set(&set);
    }
}

TEST_F(Corpus, IsShownWithoutACrashAndInTime)
{
    for (const std::string &file : sample(40))
        for (const char *form : {"tree", "tsv"}) {
            Outcome run = velmora({"dump", "--format", form, file});
            EXPECT_TRUE(run.status == 0 || run.status == 3) << file << ": " << run.status << "\n" << run.err;
            EXPECT_EQ(run.status == 3, run.out.empty()) << file;
        }
}

// Needs python3-pydicom and dcmtk.
TEST_F(Corpus, IsListedAsOtherToolkitsListIt)
{
    static const char PYTHON[] = "/usr/bin/python3";
    if (run_program("/bin/sh", {"-c", "command -v dcmdump"}).status != 0 ||
        run_program(PYTHON, {"-c", "import pydicom"}).status != 0)
        GTEST_SKIP() << "not both toolkits";
    std::vector<std::string> arguments = sample(40);
    arguments.insert(arguments.begin(), {source_path("tests/interop/compare_listing.py"), VELMORA_PROGRAM});
    Outcome run = run_program(PYTHON, arguments);
    EXPECT_EQ(run.status, 0) << run.out << run.err;
    EXPECT_NE(run.out.find(" files that both peers read"), std::string::npos) << run.err;
}
