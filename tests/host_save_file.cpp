// Saving to a file: the target is the old file or the new one, whatever happens on the way.
#include <gtest/gtest.h>
#include <fcntl.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <sys/xattr.h>
#include <unistd.h>
#include <algorithm>
#include <filesystem>

#include "tests/host_runs.h"
#include "tests/host_saved.h"

using namespace velmora_host;

static const Bytes OLD = "what was there before";

static std::vector<std::string> names_in(const Folder &folder)
{
    std::vector<std::string> names;
    for (const auto &entry : std::filesystem::directory_iterator(folder.path))
        names.push_back(entry.path().filename());
    std::sort(names.begin(), names.end());
    return names;
}

static Bytes image(size_t pixels)
{
    return part10_head("1.2.840.10008.1.2.1") + element({0x0008, 0x0060}, "CS", "CT") +
           element({0x7FE0, 0x0010}, "OW", Bytes(pixels, 'p'));
}

// Loads a file and saves it; the error, or nothing.
static std::string save_file(const std::string &from, const std::string &to, Save_Options options = {})
{
    Data_Set set;
    std::string error;
    Reports said;
    options.source = from;
    if (load_from_path(from.c_str(), Load_Options(), &set, &error) != LOADED)
        return "not loaded: " + error;
    bool done = save_to_path(&set, to.c_str(), options, &error);
    EXPECT_EQ(done, error.empty());
    release_data_set(&set);
    return error;
}

TEST(HostSaveFile, MakesAndReplacesFiles)
{
    Folder folder;
    std::string in = folder.write("in", image(400000)), out = folder.write("out", OLD), link = folder.path + "/link";
    ASSERT_EQ(chmod(out.c_str(), 0640), 0);
    ASSERT_EQ(symlink("out", link.c_str()), 0);
    bool has_attributes = setxattr(out.c_str(), "user.origin", "ward 3", 6, 0) == 0;

    EXPECT_EQ(save_file(in, folder.path + "/new"), "");
    EXPECT_EQ(save_file(in, link), "");
    EXPECT_EQ(behind_head(bytes_of(out)), behind_head(image(400000)));
    EXPECT_TRUE(bytes_of(out) == bytes_of(folder.path + "/new"));
    EXPECT_TRUE(std::filesystem::is_symlink(link));
    struct stat state;
    ASSERT_EQ(stat(out.c_str(), &state), 0);
    EXPECT_EQ(state.st_mode & 07777, 0640u);
    char attribute[8] = "";
    if (has_attributes) {
        EXPECT_EQ(getxattr(out.c_str(), "user.origin", attribute, sizeof attribute), 6);
    }
    EXPECT_EQ(names_in(folder), (std::vector<std::string>{"in", "link", "new", "out"}));
}

TEST(HostSaveFile, RefusesTargetsAndLeavesThemAsTheyWere)
{
    Folder folder;
    std::string in = folder.write("in", image(5000)), twin = folder.path + "/twin", pipe = folder.path + "/pipe";
    std::string link = folder.path + "/link";
    ASSERT_EQ(symlink("nowhere", link.c_str()), 0);
    std::filesystem::create_hard_link(in, twin);
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    const struct { const char *name; std::string target, error; } rows[] = {
        {"the file itself", in, "is the file that is read; it is only replaced with --in-place"},
        {"by another name", twin, "is the file that is read; it is only replaced with --in-place"},
        {"a folder", folder.path, "is a folder, not a file"},
        {"a link to nothing", link, "is a link that leads nowhere, and is not replaced by a file"},
        {"a pipe", pipe, "is no regular file, and is not replaced by one"},
        {"a device", "/dev/null", "is no regular file, and is not replaced by one"},
        {"a folder that is absent", folder.path + "/none/file", "cannot be written: No such file or directory"},
        {"no folder", in + "/file", "cannot be written: Not a directory"},
        {"a folder of the system", "/proc/velmora", "cannot be written: No such file or directory"},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(save_file(in, row.target), row.error);
        EXPECT_TRUE(bytes_of(in) == image(5000));
    }
    EXPECT_EQ(names_in(folder), (std::vector<std::string>{"in", "link", "pipe", "twin"}));
    EXPECT_TRUE(std::filesystem::is_character_file("/dev/null"));
}

TEST(HostSaveFile, SavesInPlaceAndKeepsTheOldFile)
{
    Folder folder;
    std::string in = folder.write("in", image(5000));
    Save_Options options;
    options.in_place = true;
    options.mode = MODE_IMPLICIT_LITTLE;
    options.backup = in + ".bak";
    EXPECT_EQ(save_file(in, in, options), "");
    EXPECT_TRUE(bytes_of(options.backup) == image(5000));
    Bytes now = bytes_of(in);
    EXPECT_NE(now.find(Bytes("1.2.840.10008.1.2\0", 18)), Bytes::npos);

    EXPECT_EQ(save_file(in, in, options), "is not replaced: " + options.backup + " exists already, and would be lost");
    EXPECT_TRUE(bytes_of(in) == now);
    EXPECT_EQ(names_in(folder), (std::vector<std::string>{"in", "in.bak"}));
}

// Saves in a process of its own, whose limits or rights cannot be had back. The error, or nothing.
template <class Prepare> static std::string save_in_process(const std::string &from, const std::string &to,
                                                            Prepare prepare)
{
    int ends[2];
    EXPECT_EQ(pipe(ends), 0);
    pid_t process = fork();
    if (process == 0) {
        prepare();
        std::string error = save_file(from, to);
        _exit(write(ends[1], error.data(), error.size()) < 0);
    }
    close(ends[1]);
    char text[400];
    ssize_t got = read(ends[0], text, sizeof text);
    close(ends[0]);
    int state = 0;
    waitpid(process, &state, 0);
    EXPECT_EQ(state, 0);
    return std::string(text, got > 0 ? static_cast<size_t>(got) : 0);
}

static std::string save_with_limit(const std::string &from, const std::string &to, rlim_t limit)
{
    return save_in_process(from, to, [limit] {
        rlimit bytes = {limit, limit};
        setrlimit(RLIMIT_FSIZE, &bytes);
    });
}

TEST(HostSaveFile, KeepsToTheRightsOfOtherUsers)
{
    static const uid_t NOBODY = 65534;
    if (geteuid() != 0)
        GTEST_SKIP() << "only root can be somebody else";
    Folder folder;
    std::string in = folder.write("in", image(5000)), out = folder.write("out", OLD);
    auto as_nobody = [] { EXPECT_TRUE(setgid(NOBODY) == 0 && setuid(NOBODY) == 0); };
    ASSERT_TRUE(chmod(folder.path.c_str(), 0755) == 0 && chmod(in.c_str(), 0644) == 0 && chmod(out.c_str(), 0660) == 0);
    EXPECT_EQ(save_in_process(in, out, as_nobody), "cannot be written: Permission denied");
    EXPECT_EQ(bytes_of(out), OLD);

    // The new file is that of another group, which must not get what the old one's had.
    ASSERT_EQ(chmod(folder.path.c_str(), 0777), 0);
    EXPECT_EQ(save_in_process(in, out, as_nobody), "");
    struct stat state;
    ASSERT_EQ(stat(out.c_str(), &state), 0);
    EXPECT_EQ(state.st_uid, NOBODY);
    EXPECT_EQ(state.st_mode & 07777, 0600u);
}

TEST(HostSaveFile, LeavesTheTargetWhenThereIsNoRoom)
{
    Folder folder;
    std::string in = folder.write("in", image(3000000)), out = folder.write("out", OLD);
    for (rlim_t limit : {0u, 1u, 200u, 300000u, 2999999u}) {
        EXPECT_EQ(save_with_limit(in, out, limit), "cannot be written: File too large");
        EXPECT_EQ(bytes_of(out), OLD);
        EXPECT_EQ(names_in(folder), (std::vector<std::string>{"in", "out"}));
    }
    EXPECT_EQ(save_with_limit(in, out, 4000000), "");
}

TEST(HostSaveFile, LeavesTheTargetWhenTheSourceBecomesShorter)
{
    Folder folder;
    std::string in = folder.write("in", image(3000000)), out = folder.write("out", OLD), error;
    Data_Set set;
    Reports said;
    ASSERT_EQ(load_from_path(in.c_str(), Load_Options(), &set, &error), LOADED);
    ASSERT_EQ(truncate(in.c_str(), 500000), 0);
    EXPECT_FALSE(save_to_path(&set, out.c_str(), Save_Options(), &error));
    EXPECT_EQ(error, "is not written: the file that is read became shorter");
    release_data_set(&set);
    EXPECT_EQ(bytes_of(out), OLD);
    EXPECT_EQ(names_in(folder), (std::vector<std::string>{"in", "out"}));
}

// Saves again and again until it is killed.
[[noreturn]] static void save_without_end(const std::string &in, const std::string &out)
{
    Save_Options options;
    options.mode = MODE_EXPLICIT_BIG;
    options.is_durable = false;
    for (;;)
        save_file(in, out, options);
}

TEST(HostSaveFile, IsNeverSeenInPartWhenKilled)
{
    static const int KILLS = 200;
    Folder folder;
    std::string in = folder.write("in", image(600000)), out = folder.path + "/out";
    Save_Options options;
    options.mode = MODE_EXPLICIT_BIG;
    ASSERT_EQ(save_file(in, out, options), "");
    Bytes whole = bytes_of(out);
    srand(7);
    int left_behind = 0;
    for (int i = 0; i < KILLS; i++) {
        int how = i % 4 == 0 ? SIGTERM : i % 4 == 1 ? SIGINT : SIGKILL;
        pid_t process = fork();
        if (process == 0)
            save_without_end(in, out);
        usleep(static_cast<useconds_t>(500 + rand() % 8000));
        kill(process, how);
        int state = 0;
        waitpid(process, &state, 0);
        ASSERT_TRUE(WIFSIGNALED(state) && WTERMSIG(state) == how);
        ASSERT_TRUE(bytes_of(out) == whole) << i;
        for (const std::string &name : names_in(folder)) {
            bool is_temporary = name.rfind(".velmora-", 0) == 0;
            ASSERT_TRUE(is_temporary || name == "in" || name == "out") << name;
            left_behind += is_temporary;
            ASSERT_TRUE(!is_temporary || how == SIGKILL);
            if (is_temporary)
                unlink((folder.path + "/" + name).c_str());
        }
    }
    EXPECT_GT(left_behind, 0);   // else no kill came while a file was being written
}
