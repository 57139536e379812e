// What the system does to the program: calls that are cut short, interrupted or fail, files that shrink while they are
// mapped, disks and files without room, folders that nobody may enter, and names and values made of control bytes.
#include <gtest/gtest.h>
#include <errno.h>
#include <fcntl.h>
#include <pwd.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#include <atomic>
#include <thread>

#include "host/program/command.h"
#include "host/program/definitions.h"
#include "host/velmora_host.h"
#include "host/velmora_save.h"
#include "tests/robust_fixtures.h"
#include "tests/support/reports.h"

using namespace velmora_host;

static const char *const PROGRAM = VELMORA_PROGRAM, *const SHIM = VELMORA_SHIM;

static Bytes large_data_set(size_t values)
{
    Bytes bytes = part10_head("1.2.840.10008.1.2.1");
    for (size_t i = 0; i < values; i++)
        bytes += element({0x0009, static_cast<unsigned short>(0x1000 + i % 0xF000)}, "UN", Bytes(2000, 'v'));
    return bytes;
}

// ---- calls that fail ------------------------------------------------------------------

// The shim stands between the program and the system; what it does is told to it as CALL:WHAT:FROM, from the n-th call
// of that kind on. Interrupted and short calls come in turn with good ones, so that a loop goes on.
static Outcome run_under(const std::string &faults, const std::vector<std::string> &arguments)
{
    std::vector<std::string> all = {"ASAN_OPTIONS=verify_asan_link_order=0", "LD_PRELOAD=" + std::string(SHIM), "VELMORA_FAULTS=" + faults, PROGRAM};
    all.insert(all.end(), arguments.begin(), arguments.end());
    return run_program("/usr/bin/env", all);
}

TEST(Environment, ShortAndInterruptedCallsMakeNoDifference)
{
    Folder folder;
    std::string small = folder.write("small", small_data_sets()[0].bytes), large = folder.write("large", large_data_set(300)),
                out = folder.path + "/out";
    const std::vector<std::string> commands[] = {
        {"dump", small},           {"dump", "--format", "json", large},      {"dump", "--jobs", "2", small, large},
        {"get", "-a", "*,*", large}, {"check", "--jobs", "2", folder.path}, {"convert", large, "-"},
        {"convert", "--syntax", "implicit", large, out},
    };
    for (const std::vector<std::string> &command : commands) {
        SCOPED_TRACE(command[0] + " " + command[1]);
        Outcome plain = run_program(PROGRAM, command);
        unlink(out.c_str());
        for (const char *faults : {"read:short:1,write:short:1", "read:EINTR:1,write:EINTR:1"}) {
            Outcome run = run_under(faults, command);
            unlink(out.c_str());
            EXPECT_EQ(run.status, plain.status) << faults;
            EXPECT_TRUE(run.out == plain.out) << faults;
            EXPECT_EQ(run.err, plain.err) << faults;
        }
    }
}

TEST(Environment, FailuresOfTheSystemAreToldAndLoseNothing)
{
    Folder folder;
    std::string small = folder.write("small", small_data_sets()[0].bytes), out = folder.path + "/out";
    const struct {
        const char *faults;
        std::vector<std::string> arguments;
        const char *message;
    } rows[] = {
        {"read:EIO:1",    {"dump", small},             ": cannot be read: Input/output error"  },
        {"read:EIO:1",    {"get", "0010,0010", small}, ": cannot be read: Input/output error"  },
        {"read:EIO:1",    {"diff", small, small},      ": cannot be read: Input/output error"  },
        {"open:EMFILE:1", {"check", small},            ": cannot be opened: Too many open files"},
        {"open:EACCES:1", {"check", small},            ": cannot be opened: Permission denied"  },
        {"write:EIO:1",   {"convert", small, out},     ": cannot be written: Input/output error"},
        {"write:ENOSPC:1", {"convert", small, out},    ": cannot be written: No space left on device"},
        {"fsync:EIO:1",   {"repair", small, out},      ": cannot be written: Input/output error"},
        {"close:EDQUOT:1", {"edit", "-d", "0010,0010", small, out}, ": cannot be written: Disk quota exceeded"},
        {"rename:EACCES:1", {"conform", small, out},   ": cannot be replaced: Permission denied"},
        {"write:EIO:1",   {"dump", small},             "standard output cannot be written: Input/output error"},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(std::string(row.faults) + ": " + row.arguments[0]);
        folder.write("out", "what was there before");
        Outcome run = run_under(row.faults, row.arguments);
        EXPECT_EQ(run.status, STATUS_UNREADABLE);
        EXPECT_NE(run.err.find(row.message), std::string::npos) << run.err;
        EXPECT_EQ(run_program("/bin/cat", {out}).out, "what was there before");
        EXPECT_EQ(run_program("/bin/ls", {"-A", folder.path}).out, "out\nsmall\n") << "no temporary file stays";
    }
}

TEST(Environment, AFullDiskIsToldWhereverItShows)
{
    Folder folder;
    std::string large = folder.write("large", large_data_set(300)), out = folder.path + "/out";
    std::string to_full = "exec \"$0\" \"$@\" > /dev/full";
    for (const std::vector<std::string> &command : std::vector<std::vector<std::string>>{
             {"dump", large}, {"dump", "--format", "json", large}, {"check", large}, {"convert", large, "-"}, {"dict", "Pat"}}) {
        std::vector<std::string> arguments = {"-c", to_full, PROGRAM};
        arguments.insert(arguments.end(), command.begin(), command.end());
        Outcome run = run_program("/bin/sh", arguments);
        EXPECT_EQ(run.status, STATUS_UNREADABLE) << command[0];
        EXPECT_NE(run.err.find("cannot be written: No space left on device"), std::string::npos) << run.err;
    }
    std::string limited = "ulimit -f 100; exec \"$0\" \"$@\"";   // a file of at most 50 or 100 KB
    Outcome run = run_program("/bin/sh", {"-c", limited, PROGRAM, "convert", large, out});
    EXPECT_EQ(run.status, STATUS_UNREADABLE);
    EXPECT_NE(run.err.find(": cannot be written: File too large"), std::string::npos) << run.err;
    EXPECT_NE(access(out.c_str(), F_OK), 0);
}

// As root everything is permitted, so that the program is run as somebody else.
TEST(Environment, WhatNobodyMayReadOrWriteIsTold)
{
    Folder folder;
    std::string closed = folder.write("closed", small_data_sets()[0].bytes), open_one = folder.write("open", small_data_sets()[0].bytes);
    std::string inner = folder.path + "/inner";
    mkdir(inner.c_str(), 0700);
    chmod(closed.c_str(), 0);
    chmod(inner.c_str(), 0);
    chmod(folder.path.c_str(), 0555);
    const struct {
        std::vector<std::string> arguments;
        const char *message;
    } rows[] = {
        {{"dump", closed},                          "/closed: cannot be opened: Permission denied"   },
        {{"check", folder.path},                    "/inner: cannot be opened: Permission denied"    },
        {{"convert", open_one, folder.path + "/x"}, "/x: cannot be written: Permission denied"       },
        {{"dump", "--files-from", closed},          "/closed: cannot be opened: Permission denied"   },
    };
    for (const auto &row : rows) {
        pid_t child = -1;
        int ends[2];
        ASSERT_EQ(pipe(ends), 0);
        if ((child = fork()) == 0) {
            const passwd *nobody = getpwnam("nobody");
            if (geteuid() == 0 && (nobody == nullptr || setgid(nobody->pw_gid) != 0 || setuid(nobody->pw_uid) != 0))
                _exit(77);
            Outcome run = run_here(row.arguments);
            std::string told = std::to_string(run.status) + " " + run.err;
            _exit(write(ends[1], told.data(), told.size()) == static_cast<ssize_t>(told.size()) ? 0 : 1);
        }
        close(ends[1]);
        char told[4096] = "";
        ssize_t got = read(ends[0], told, sizeof told - 1);
        close(ends[0]);
        int state = 0;
        waitpid(child, &state, 0);
        if (WIFEXITED(state) && WEXITSTATUS(state) == 77)
            GTEST_SKIP() << "there is nobody to run as";
        ASSERT_GT(got, 0);
        EXPECT_EQ(told[0], '3');
        EXPECT_NE(std::string(told).find(row.message), std::string::npos) << told;
    }
    chmod(inner.c_str(), 0700);
    chmod(folder.path.c_str(), 0700);
}

// ---- files that shrink ----------------------------------------------------------------

// The program stops behind its loading, where the shim makes the file shorter.
TEST(Environment, AFileThatShrinksInUseIsTold)
{
    Folder folder;
    std::string large = folder.path + "/large", out = folder.path + "/out";
    Bytes bytes = large_data_set(300);
    const std::vector<std::string> commands[] = {
        {"dump", large}, {"dump", "--format", "json", "--inline", "0", large}, {"dump", "--jobs", "2", large, large},
        {"get", "--all", "*,*", large}, {"check", large}, {"diff", large, large}, {"convert", large, out},
        {"repair", "--in-place", large}, {"conform", "--dry-run", large, out},
    };
    for (const std::vector<std::string> &command : commands) {
        SCOPED_TRACE(command[0] + " " + command[1]);
        folder.write("large", bytes);
        Outcome run = run_under("shrink:" + large + ":1", command);
        EXPECT_EQ(run.status, STATUS_UNREADABLE) << run.err;
        EXPECT_NE(run.err.find("became shorter"), std::string::npos) << run.err;
        EXPECT_NE(access(out.c_str(), F_OK), 0) << "nothing is written of what is not whole";
    }
    Bytes one_value = part10_head("1.2.840.10008.1.2.1") + element({0x0042, 0x0011}, "OB", Bytes(1000000, 'v'));
    const struct {
        const Bytes &bytes;
        std::vector<std::string> command;
    } late[] = {   // long after it was loaded, and in the middle of the writing
        {bytes,     {"dump", "--format", "json", "--inline", "0", large}},
        {one_value, {"get", "--raw", "0042,0011", large}                },
    };
    for (const auto &row : late) {
        folder.write("large", row.bytes);
        Outcome run = run_under("shrink:" + large + ":0", row.command);
        EXPECT_EQ(run.status, STATUS_UNREADABLE);
        EXPECT_NE(run.err.find("large: became shorter"), std::string::npos) << run.err;
        EXPECT_EQ(run.err.find("address"), std::string::npos) << run.err;
    }
}

TEST(Environment, AFileThatShrinksUnderSeveralThreadsStopsNone)
{
    Folder folder;
    for (int round = 0; round < 10; round++) {
        std::string path = folder.write("large", Bytes(2 << 20, 'x'));
        Source source;
        std::string error;
        ASSERT_TRUE(open_source(path.c_str(), &source, &error));
        std::atomic<int> waiting = 4;
        std::atomic<long> sum = 0;
        std::vector<std::thread> threads;
        for (int i = 0; i < 4; i++)
            threads.emplace_back([&] {
                for (waiting--; waiting > 0;)
                    std::this_thread::yield();
                long own = 0;
                for (int at = source.size - 1; at >= 0; at -= 512)
                    own += source.bytes[at];
                sum += own;
            });
        EXPECT_EQ(truncate(path.c_str(), 4096), 0);
        for (std::thread &thread : threads)
            thread.join();
        EXPECT_LT(sum, 4L * (2 << 20) / 512 * 'x' + 1);
        EXPECT_GE(missing_from(source), 4096);
        close_source(&source);
    }
}

// ---- names and values -----------------------------------------------------------------

// Escapes of terminals, line feeds, bytes that are no UTF-8, C1 controls, marks that turn the direction of a text.
static const Bytes HOSTILE = "a\033[2J\nb\r\x07\x9B" "c\xC2\x9B" "d\xE2\x80\xAE" "e\x7F\xFF'\\";

TEST(Environment, NamesOfAnyBytesAreTakenAndShown)
{
    ASSERT_TRUE(use_definitions(source_path("definitions")));
    Folder folder;
    Bytes good = small_data_sets()[0].bytes;
    std::string names[] = {HOSTILE, "-", "--help", std::string(250, 'n'), std::string(200, '\xE4'), " ", "*"};
    for (const std::string &name : names) {
        SCOPED_TRACE(name);
        std::string path = folder.write(name, good), out = folder.path + "/out-" + name.substr(0, 100), bad = path + "?";
        for (const std::vector<std::string> &command : std::vector<std::vector<std::string>>{
                 {"dump", "--format", "tsv", path, path}, {"get", "-H", "PatientName", path}, {"get", "--json", "PatientName", path},
                 {"check", "-v", path}, {"check", "--format", "jsonl", path}, {"diff", path, path}, {"repair", path, out},
                 {"convert", path, out}, {"conform", path, out}, {"edit", "-d", "0010,0010", path, out}, {"template", path},
                 {"dump", "--format", "json", "--inline", "1", path}, {"dump", "--format", "html", path}}) {
            Outcome run = run_here(command);
            EXPECT_NE(run.status, STATUS_UNREADABLE) << command[0] << run.err;
            EXPECT_TRUE(is_harmless(run.out) && is_harmless(run.err)) << command[0] << run.out << run.err;
        }
        for (const char *command : {"dump", "get", "check", "repair", "template", "diff", "convert", "edit", "conform"}) {
            std::vector<std::string> arguments = {command, bad, bad, bad};
            EXPECT_TRUE(is_harmless(run_here(arguments).err)) << command;
        }
    }
}

TEST(Environment, ArgumentsOfAnyBytesAreShownHarmlessly)
{
    for (const std::vector<std::string> &command : std::vector<std::vector<std::string>>{
             {"dump", "--" + HOSTILE}, {"dump", "--only", HOSTILE, "x"}, {"dump", "--format", HOSTILE, "x"},
             {"dump", "--charset", HOSTILE, "x"}, {"get", HOSTILE, "x"}, {"get", "--limit", HOSTILE, "x"},
             {"check", "--module", HOSTILE, "x"}, {"check", "--ignore", HOSTILE, "x"}, {"check", "--jobs", HOSTILE, "x"},
             {"edit", "--set", HOSTILE, "x", "y"}, {"edit", "--set", "PatientName:" + HOSTILE, "x", "y"},
             {"edit", "--set", "StudyDate=" + HOSTILE, "x", "y"}, {"edit", "--delete", HOSTILE, "x", "y"},
             {"conform", "--module", HOSTILE, "x", "y"}, {"conform", "--uid-root", HOSTILE, "x", "y"},
             {"conform", "--override", HOSTILE, "x", "y"}, {"convert", "--syntax", HOSTILE, "x", "y"},
             {"diff", "--ignore", HOSTILE, "x", "y"}, {"template", HOSTILE}, {"dict", HOSTILE}, {"uid", HOSTILE},
             {"code", HOSTILE, "x"}, {"code", "Anatomic_Region", HOSTILE}, {"dump", "--definitions", HOSTILE, "x"},
             {"dump", "--files-from", HOSTILE}, {"dump", std::string(5000, '/')}}) {
        Outcome run = run_here(command);
        EXPECT_TRUE(is_harmless(run.out) && is_harmless(run.err)) << command[0] << " " << command[1] << run.out << run.err;
        EXPECT_NE(run.status, STATUS_DONE) << command[0] << " " << command[1];
    }
}

// In every kind of place that a text can come from.
TEST(Environment, ValuesOfAnyBytesAreShownHarmlessly)
{
    Folder folder;
    Bytes step = element({0x0040, 0x0007}, "LO", HOSTILE);
    Bytes bytes = part10_head("1.2.3\033[2J\x9B") + element({0x0008, 0x0005}, "CS", HOSTILE) +
                  element({0x0008, 0x0016}, "UI", "1.2.840.10008.5.1.4.1.1.7") + element({0x0008, 0x0020}, "DA", HOSTILE) +
                  element({0x0008, 0x0030}, "TM", HOSTILE) + element({0x0008, 0x0060}, "CS", HOSTILE) +
                  element({0x0008, 0x1010}, "\033[", HOSTILE) + element({0x0009, 0x0010}, "LO", HOSTILE) +
                  element({0x0009, 0x1001}, "UN", HOSTILE) + element({0x0010, 0x0010}, "PN", HOSTILE) +
                  element({0x0010, 0x1010}, "AS", HOSTILE) + element({0x0018, 0x0050}, "DS", HOSTILE) +
                  element({0x0020, 0x000D}, "UI", HOSTILE) + element({0x0020, 0x0013}, "IS", HOSTILE) +
                  element({0x0020, 0x4000}, "LT", HOSTILE) +
                  sequence({0x0040, 0x0275}, BY_DELIMITER, {item({step, step}, BY_DELIMITER)}) +
                  element({0x0042, 0x0011}, "OB", HOSTILE);
    std::string path = folder.write("in", bytes), other = folder.write("other", small_data_sets()[0].bytes),
                out = folder.path + "/out";
    for (const std::vector<std::string> &command : std::vector<std::vector<std::string>>{
             {"dump", "-v", path}, {"dump", "--raw", path}, {"dump", "--format", "tsv", path}, {"dump", "--format", "json", "--with-head", path},
             {"dump", "--format", "html", path}, {"get", "--all", "*,*", path}, {"get", "--json", "--all", "*,*", path},
             {"check", "-v", path}, {"check", "--format", "jsonl", path}, {"check", "--module", "SC_Image", path},
             {"diff", path, other}, {"diff", "--format", "jsonl", other, path}, {"repair", path, out},
             {"conform", path, out}, {"convert", path, out}, {"edit", "--set", "PatientName=x", path, out},
             {"template", path}, {"dump", path, path, path, path, path, path, path}}) {
        Outcome run = run_here(command);
        EXPECT_TRUE(is_harmless(run.out)) << command[0] << " " << command[1] << run.out;
        EXPECT_TRUE(is_harmless(run.err)) << command[0] << " " << command[1] << run.err;
    }
}
