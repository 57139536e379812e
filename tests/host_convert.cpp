// Whole runs of velmora convert: where results go, what is said, and many files at once.
#include <gtest/gtest.h>
#include <filesystem>
#include <set>

#include "tests/host_runs.h"
#include "tests/host_saved.h"

using namespace velmora_host;

static Outcome convert(std::vector<std::string> arguments, const std::string &input = "",
                       const std::string &folder = "")
{
    arguments.insert(arguments.begin(), "convert");
    return velmora(arguments, input, folder);
}

static Bytes body(const std::string &id, int syntax = SYNTAX_EXPLICIT)
{
    return element({0x0008, 0x0060}, "CS", "CT", syntax) + element({0x0010, 0x0020}, "LO", id, syntax);
}

static Bytes file_of(const std::string &id) { return part10_head("1.2.840.10008.1.2.1") + body(id); }

static Bytes written(const std::string &path) { return behind_head(bytes_of(path)); }

TEST(HostConvert, WritesFilesPipesAndFolders)
{
    Folder folder;
    std::string in = folder.write("in.dcm", file_of("1234")), out = folder.path + "/out.dcm";
    Outcome run = convert({"--syntax", "implicit", in, out});
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.out + run.err, "");
    EXPECT_EQ(written(out), body("1234", 0));

    run = convert({"-s", "big", "-", "-"}, file_of("1234"));
    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(behind_head(run.out), body("1234", 9));

    run = convert({in, folder.path + "/made/"});
    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(written(folder.path + "/made/in.dcm"), body("1234"));

    run = convert({"--in-place", "-s", "implicit", in});
    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(written(in), body("1234", 0));

    run = convert({"--dry-run", in, folder.path + "/none"});
    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_FALSE(std::filesystem::exists(folder.path + "/none"));

    // What would be refused is.
    std::string jpeg = folder.write("jpeg", part10_head("1.2.840.10008.1.2.4.50") + body("JPEG") +
                                                element({0x7FE0, 0x0010}, "OB", "12", 8));
    run = convert({"--dry-run", "-s", "big", jpeg, folder.path + "/some/folder/"});
    EXPECT_EQ(run.status, 3);
    EXPECT_FALSE(std::filesystem::exists(folder.path + "/some"));
    EXPECT_EQ(convert({"--dry-run", "-s", "big", "-"}, file_of("1234")).status, 0);
    EXPECT_EQ(convert({"--dry-run", "-s", "big", jpeg}).status, 3);
}

TEST(HostConvert, SaysWhatIsWrong)
{
    Folder folder;
    std::string in = folder.write("in.dcm", file_of("1234")), text = folder.write("text", "no data set, but a text");
    Bytes cut = file_of("1234");
    std::string damaged = folder.write("cut.dcm", cut.substr(0, cut.size() - 2));
    const struct { std::vector<std::string> arguments; int status; std::string said; } rows[] = {
        {{}, 2, "velmora: convert: no file is given; see velmora convert --help\n"},
        {{in}, 2, "velmora: convert: it is not said where the result goes; see velmora convert --help\n"},
        {{"-s", "xml", in, "out"}, 2, "velmora: convert: --syntax takes implicit, explicit or big, not 'xml'; see "
         "velmora convert --help\n"},
        {{"-j", "-1", in, "out"}, 2, "velmora: convert: --jobs takes a number from 0 to 256, not '-1'; see velmora "
         "convert --help\n"},
        {{in, in, "-"}, 2, "velmora: convert: several results cannot all go to standard output; see velmora convert "
         "--help\n"},
        {{folder.path + "/none", "out"}, 3, "velmora: " + folder.path + "/none: no such file or folder\n"},
        {{text, "out"}, 3, "velmora: " + text + ": is not a DICOM or ACR-NEMA data set, but a text\n"},
        {{in, in}, 3, "velmora: " + in + ": is the file that is read; it is only replaced with --in-place\n"},
        {{"--in-place", "-"}, 3, "velmora: standard input: cannot be replaced\n"},
    };
    for (const auto &row : rows) {
        Outcome run = convert(row.arguments, "", folder.path);
        EXPECT_EQ(run.status, row.status);
        EXPECT_EQ(run.err, row.said);
        EXPECT_EQ(run.out, "");
    }
    Outcome run = convert({"--in-place", damaged});
    EXPECT_EQ(run.status, 3);
    EXPECT_NE(run.err.find("is not replaced, since it could not be read in full; velmora repair does that"),
              std::string::npos);
    EXPECT_FALSE(std::filesystem::exists(folder.path + "/out"));
}

// The files of a folder tree with a few bad ones among them.
static void make_study(const Folder &folder)
{
    std::filesystem::create_directories(folder.path + "/in/a/b");
    for (int i = 0; i < 60; i++) {
        char name[40];
        snprintf(name, sizeof name, "in/%sfile%02d", i % 3 == 0 ? "" : i % 3 == 1 ? "a/" : "a/b/", i);
        folder.write(name, i == 30 ? "no data set" : file_of("ID" + std::to_string(1000 + i)));
    }
    Bytes compressed = part10_head("1.2.840.10008.1.2.4.50") + body("JPEG") + element({0x7FE0, 0x0010}, "OB", "12", 8);
    folder.write("in/jpeg", compressed);
}

TEST(HostConvert, WorksOnManyFilesOneAfterTheOtherOrAtOnce)
{
    std::set<std::string> said;
    for (const char *jobs : {"1", "3"}) {
        Folder folder;
        make_study(folder);
        // The results go below the folder that is walked, and are not walked into.
        Outcome run = convert({"-s", "implicit", "-j", jobs, "in", "in/out"}, "", folder.path);
        EXPECT_EQ(run.status, 3);
        said.insert(run.err);
        EXPECT_EQ(run.err, "velmora: in/out/jpeg: its pixel data is compressed (1.2.840.10008.1.2.4.50), which is only "
                           "written as explicit VR little endian\n"
                           "velmora: 1 file of the folders is no data set\n"
                           "velmora: 1 of 60 files failed\n");
        EXPECT_EQ(written(folder.path + "/in/out/file00"), body("ID1000", 0));
        EXPECT_EQ(written(folder.path + "/in/out/a/file31"), body("ID1031", 0));
        EXPECT_EQ(written(folder.path + "/in/out/a/b/file59"), body("ID1059", 0));
        EXPECT_FALSE(std::filesystem::exists(folder.path + "/in/out/out"));
        EXPECT_FALSE(std::filesystem::exists(folder.path + "/in/out/jpeg"));
    }
    EXPECT_EQ(said.size(), 1u);
}

TEST(HostConvert, TellsApartFilesOfOneName)
{
    Folder folder;
    std::filesystem::create_directories(folder.path + "/a");
    std::filesystem::create_directories(folder.path + "/b");
    folder.write("a/x", file_of("from a"));
    folder.write("b/x", file_of("from b"));
    Outcome run = convert({"--print-stats", "a/x", "b/x", "out"}, "", folder.path);
    EXPECT_EQ(run.status, 3);
    EXPECT_NE(run.err.find("velmora: b/x: is not written: another file of this run went to out/x; --base keeps the folders apart\n"),
              std::string::npos);
    EXPECT_NE(run.err.find("velmora: 2 files, 5 elements; "), std::string::npos) << run.err;
    EXPECT_EQ(written(folder.path + "/out/x"), body("from a"));
}

TEST(HostConvert, TakesNoFileAwayThatIsStillToBeRead)
{
    Folder folder;
    for (const char *name : {"a", "b", "b/sub"})
        std::filesystem::create_directory(folder.path + "/" + name);
    const std::vector<std::vector<std::string>> rows = {{"a/x", "b/x", "b"}, {"a", "b", "b"}, {"a", "b/sub", "b"}};
    for (const auto &paths : rows) {
        SCOPED_TRACE(paths[0] + " " + paths[1]);
        folder.write("a/x", file_of("from a"));
        folder.write("b/x", file_of("from b"));
        folder.write("b/sub/y", file_of("below b"));
        folder.write("a/.velmora-1-0.tmp", "left behind");
        Outcome run = convert(paths, "", folder.path);
        bool is_read = paths[1] != "b/sub";
        EXPECT_EQ(run.status, is_read ? 3 : 0) << run.err;
        EXPECT_EQ(written(folder.path + "/b/x"), body(is_read ? "from b" : "from a"));
        EXPECT_EQ(run.err.find("b/x is to be read by this run as well") != std::string::npos, is_read) << run.err;
        EXPECT_EQ(run.err.find("left behind"), std::string::npos);
    }
}
