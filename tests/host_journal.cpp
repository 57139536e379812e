// Journals: what a run writes into one, and how a run that was stopped goes on.
#include <gtest/gtest.h>
#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#include <filesystem>
#include <map>
#include <set>
#include <sstream>
#include <vector>

#include "host/program/name_set.h"
#include "tests/host_runs.h"
#include "tests/support/bytes.h"

static const Bytes GOOD = element({0x0008, 0x0060}, "CS", "CT") + element({0x0010, 0x0010}, "PN", "A^B ") +
                          element({0x0010, 0x0020}, "LO", "A1");
static const Bytes ODD = element({0x0008, 0x0020}, "DA", "2004.01.19") + element({0x0008, 0x0060}, "CS", "CT") +
                         element({0x0010, 0x0020}, "LO", "A1");

// The text with what begins so, and the characters behind it that are among these, taken out for something else.
static std::string replaced(std::string text, const std::string &begin, const char *among, const std::string &with)
{
    for (size_t at = 0; (at = text.find(begin, at)) != std::string::npos; at += with.size())
        text.replace(at, text.find_first_not_of(among, at + begin.size()) - at, with);
    return text;
}

// The files of a journal that came to one of these.
static std::vector<std::string> paths_of(const std::string &text, const std::vector<std::string> &statuses)
{
    static const std::string PATH = "\"path\":\"", STATUS = "\",\"status\":\"";
    std::vector<std::string> paths;
    for (size_t at = 0; (at = text.find(PATH, at)) != std::string::npos;) {
        at += PATH.size();
        size_t end = text.find('"', at);
        for (const std::string &status : statuses)
            if (text.compare(end, STATUS.size() + status.size() + 1, STATUS + status + '"') == 0)
                paths.push_back(text.substr(at, end - at));
    }
    return paths;
}

struct Archive {
    Archive()
    {
        for (const char *name : {"in", "in/deep", "defs"})
            mkdir((folder.path + "/" + name).c_str(), 0777);
        folder.write("in/a", GOOD);
        folder.write("in/b", ODD);
        folder.write("in/deep/c", GOOD);
        folder.write("in/note", "no data set\n");
        folder.write("defs/DICOM_Module_CT_Image.txt", "T\n");
        folder.write("defs/DICOM_Attributes_T.txt", "(0008,0060) type=1\n(0010,0020) type=1\n(0020,000d) type=1\n");
    }
    Outcome operator()(const std::string &line, const std::string &input = "") const
    {
        std::istringstream words(line);
        std::vector<std::string> arguments;
        for (std::string word; words >> word;)
            arguments.push_back(word);
        return velmora(arguments, input, folder.path);
    }
    std::string read(const std::string &name) const
    {
        return folder.read(name);
    }
    // The lines of a journal behind its first, times and sizes left out.
    std::string lines(const std::string &name = "j") const
    {
        std::string text = read(name);
        text.erase(0, text.find('\n') + 1);
        text = replaced(text, ",\"seconds\":", "0123456789.e-", "");
        text = replaced(text, ",\"size\":", "0123456789", "");
        return replaced(text, ",\"mtime\":", "0123456789.\"", " . ");
    }
    Folder folder;
};

static size_t count_lines(const std::string &text)
{
    return static_cast<size_t>(std::count(text.begin(), text.end(), '\n'));
}

TEST(Journal, HasALineForEachFile)
{
    const struct { const char *line, *expected; } rows[] = {
        {"check -q --journal j in none", "{\"path\":\"in/a\",\"status\":\"done\" . "
                                         ",\"elements\":3,\"counts\":{\"found\":0,\"warnings\":0,\"remarks\":0}}\n"
                                         "{\"path\":\"in/b\",\"status\":\"found\" . "
                                         ",\"elements\":3,\"counts\":{\"found\":1,\"warnings\":0,\"remarks\":1}}\n"
                                         "{\"path\":\"in/deep/c\",\"status\":\"done\" . "
                                         ",\"elements\":3,\"counts\":{\"found\":0,\"warnings\":0,\"remarks\":0}}\n"
                                         "{\"path\":\"in/note\",\"status\":\"skipped\" . "
                                         ",\"elements\":0,\"counts\":{\"found\":0,\"warnings\":0,\"remarks\":0}}\n"
                                         "{\"path\":\"none\",\"status\":\"failed\",\"elements\":0,\"counts\":{"
                                         "\"found\":0,\"warnings\":0,\"remarks\":0},"
                                         "\"message\":\"no such file or folder\"}\n"},
        {"repair -q --journal j in/b in/deep out",
         "{\"path\":\"in/b\",\"status\":\"done\",\"output\":\"out/b\" . ,\"elements\":3,"
         "\"counts\":{\"repaired\":1,\"changed\":1,\"removed\":0}}\n"
         "{\"path\":\"in/deep/c\",\"status\":\"done\",\"output\":\"out/c\" . ,\"elements\":3,"
         "\"counts\":{\"repaired\":1,\"changed\":0,\"removed\":0}}\n"},
        {"convert --journal j --base in in/deep in/b none out",
         "{\"path\":\"in/deep/c\",\"status\":\"done\",\"output\":\"out/deep/c\" . ,\"elements\":3,\"counts\":{}}\n"
         "{\"path\":\"in/b\",\"status\":\"done\",\"output\":\"out/b\" . ,\"elements\":3,\"counts\":{}}\n"
         "{\"path\":\"none\",\"status\":\"failed\",\"elements\":0,\"counts\":{},"
         "\"message\":\"does not stand below in, which --base names\"}\n"},
        {"conform -q --definitions defs --journal j in/a out",
         "{\"path\":\"in/a\",\"status\":\"done\",\"output\":\"out\" . ,\"elements\":3,"
         "\"counts\":{\"added\":1,\"changed\":0,\"removed\":0,\"lacking\":0}}\n"},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.line);
        Archive archive;
        Outcome run = archive(row.line);
        EXPECT_EQ(archive.lines(), row.expected) << run.err;
        EXPECT_EQ(archive.read("j").rfind("{\"journal\":\"velmora\",\"version\":1,\"command\":\"", 0), 0u);
    }
}

TEST(Journal, SaysWhichFilesAreDoneAgain)
{
    const struct {
        const char *name, *change, *again;   // the files that are done again
    } rows[] = {
        {"nothing changed", "true", ""}, {"the last line torn", "truncate -s -9 j", "in/deep/c "},
        {"a line torn in its middle", "sed -i '/in.a/s|.*|{\"path\":\"in/a\",\"st|' j", "in/a "},
        {"a line of something else", "echo '[1]' >>j; echo x >>j; echo >>j", ""},
        {"a line of brackets", "head -c 4000000 /dev/zero | tr '\\0' '[' >>j; echo >>j", ""},
        {"a result of another place", "sed -i 's|out/b|out/a|' j", "in/b "},
        {"another time of the file", "touch -d '2001-01-01' in/b", "in/b "},
        {"another size of the file", "touch -r in/a ref; echo >>in/a; touch -r ref in/a", "in/a "},
        {"a result taken away", "rm out/deep/c", "in/deep/c "}, {"a file that is new", "cp in/a in/x", "in/x "},
        {"an empty journal", ": >j", "in/a in/b in/deep/c "}, {"no journal", "rm j", "in/a in/b in/deep/c "},
    };
    for (const auto &row : rows) {
        for (const char *jobs : {"1", "3"}) {
            SCOPED_TRACE(row.name);
            Archive archive;
            unlink((archive.folder.path + "/in/note").c_str());
            std::string line = "convert --journal j --resume in out";
            ASSERT_EQ(archive(line).status, 0);
            std::string command = "cd " + archive.folder.path + " && " + row.change;
            ASSERT_EQ(system(command.c_str()), 0);
            // What is known is not read: a file that is not there any more for reading shows it.
            std::string before = archive.read("j");
            Outcome run = archive(line + " --jobs " + jobs);
            EXPECT_EQ(run.status, 0) << run.err;
            std::string after = archive.read("j"), again;
            after.erase(0, before.rfind('\n') + 1);
            std::vector<std::string> names = paths_of(after, {"done"});
            std::set<std::string> done(names.begin(), names.end());   // several processes finish in any order
            for (const std::string &name : done)
                again += name + " ";
            EXPECT_EQ(again, row.again);
            for (const char *name : {"out/a", "out/b", "out/deep/c"})
                EXPECT_NE(archive.read(name), "") << name;
        }
    }
}

// The end of a run that went on says the same as that of one which was never stopped.
TEST(Journal, CountsWhatWasDoneBefore)
{
    Archive archive;
    Outcome whole = archive("check --journal whole in");
    EXPECT_EQ(whole.status, 1);
    EXPECT_EQ(archive("check --journal j in/b in/note").status, 3);   // a note that is named is no data set
    Outcome rest = archive("check --journal j --resume in");
    EXPECT_EQ(rest.out, "3 files: 1 with findings (0 warnings, 1 remark), 2 clean\n");
    EXPECT_EQ(whole.out.substr(whole.out.find("3 files")), rest.out);
    EXPECT_EQ(rest.err, "velmora: 1 of 4 files were done before\nvelmora: 1 file of the folders is no data set\n");
    EXPECT_EQ(rest.status, 1);
}

TEST(Journal, HoldsPathsOfAnyBytes)
{
    Archive archive;
    archive.folder.write("in/\xFF\xFE", GOOD);
    archive.folder.write("in/quote\"\n\xC3\xBC", GOOD);
    EXPECT_EQ(archive("check -q --journal j in").status, 1);
    EXPECT_NE(archive.lines().find("{\"path\":\"in/\\\\xff\\\\xfe\",\"path_bytes\":\"696e2ffffe\",\"status\":\"done\""),
              std::string::npos);
    EXPECT_NE(archive.lines().find("{\"path\":\"in/quote\\\"\\n\xC3\xBC\",\"status\":\"done\""), std::string::npos);
    EXPECT_EQ(archive("check -q --journal j --resume in").err,
              "velmora: 6 of 6 files were done before\nvelmora: 1 file of the folders is no data set\n");
}

TEST(Journal, IsOfOneRunOnly)
{
    const struct { const char *line, *error; } rows[] = {
        {"convert --syntax implicit --journal j in out", "the journal 'j' is there already; --resume goes on with it"},
        {"repair --resume --journal j in out",
         "the journal 'j' is of velmora convert; go on in the same way, or begin with another one"},
        {"convert -s explicit --resume --journal j in out", "the journal 'j' was begun with the options "
         "--syntax=implicit; go on in the same way, or begin with another one"},
        {"convert --resume --journal j in out", "the journal 'j' was begun with the options --syntax=implicit; go on "
                                                "in the same way, or begin with another one"},
        {"convert -s implicit --resume --journal j in other/",
         "the journal 'j' is of results in 'out'; go on in the same way, or begin with another one"},
        {"convert --resume in out",
         "convert: --resume needs the journal to go on with; --journal FILE names it; see velmora convert --help"},
        {"convert --journal in/a in out", "the journal 'in/a' is another kind of file, which is not written to"},
        {"convert --journal j2 in/a -",
         "convert: a journal is kept of files, not of standard output; see velmora convert --help"},
        {"check --journal none/j in", "the journal 'none/j' cannot be opened: No such file or directory"},
        {"check --journal /dev/null in", "the journal '/dev/null' is no regular file"},
    };
    Archive archive;
    ASSERT_EQ(archive("convert -s implicit --journal j in out").status, 0);
    std::string before = archive.read("j"), file = archive.read("in/a");
    for (const auto &row : rows) {
        Outcome run = archive(row.line);
        EXPECT_EQ(run.err, std::string("velmora: ") + row.error + "\n");
        EXPECT_EQ(run.status, strstr(row.error, "cannot be") != nullptr ? 3 : 2) << row.line;
        EXPECT_EQ(run.out, "");
    }
    EXPECT_EQ(archive.read("j"), before);
    EXPECT_EQ(archive.read("in/a"), file);
    // What only says how the run goes may change.
    EXPECT_EQ(archive("convert --jobs 2 --print-stats --syntax implicit --resume --journal j in out").status, 0);
    // A result does not take its place.
    EXPECT_EQ(archive("convert --journal out/new in/a out/new").err,
              "velmora: in/a: is not written: out/new is the journal of this run\n");
    EXPECT_EQ(archive.read("out/new").rfind("{\"journal\"", 0), 0u);
}

TEST(Journal, OfFilesReplacedKnowsTheNewOnes)
{
    Archive archive;
    EXPECT_EQ(archive("repair -q --in-place --journal j in").out,
              "3 files: 3 repaired (1 value mended, 0 attributes removed), 0 in order\n");
    Outcome again = archive("repair -q --in-place --journal j --resume in");
    EXPECT_EQ(again.out, "3 files: 3 repaired (1 value mended, 0 attributes removed), 0 in order\n");
    EXPECT_EQ(again.err.substr(0, again.err.find('\n')),
              "velmora: 4 of 4 files were done before"); // the old ones are left alone
}

// ---- stopped --------------------------------------------------------------------------

// Starts a run, and kills it as soon as its journal has so many lines. False: it came to its end before.
static bool kill_at(const Archive &archive, const std::string &jobs, size_t lines)
{
    pid_t child = start_program(VELMORA_PROGRAM, {"convert", "-s", "implicit", "--journal", "j", "--resume", "--jobs",
                                                  jobs, "in", "out"}, archive.folder.path, 1);
    int state = 0;
    while (waitpid(child, &state, WNOHANG) == 0) {
        if (count_lines(archive.read("j")) >= lines) {
            kill(child, SIGKILL);
            waitpid(child, &state, 0);
            break;
        }
        usleep(500);
    }
    return WIFSIGNALED(state);
}

TEST(Journal, LosesNothingWhenARunIsKilled)
{
    static const int FILES = 150;
    for (const char *jobs : {"1", "3"}) {
        Archive archive;
        for (int i = 0; i < FILES; i++)
            archive.folder.write("in/deep/f" + std::to_string(i),
                                 GOOD + element({0x0020, 0x0013}, "IS", std::to_string(i + 100) + " "));
        int killed = 0;
        for (size_t lines : {1u, 20u, 45u, 46u, 100u, 140u})
            killed += kill_at(archive, jobs, lines);
        EXPECT_GE(killed, 1);
        EXPECT_EQ(archive("convert -s implicit --journal j --resume in out").status, 0);
        EXPECT_EQ(archive("convert -s implicit --jobs 2 in whole").status, 0);

        // Each file has one line, and its result is the one that a run at one go gives.
        std::map<std::string, int> seen;
        std::string text = archive.read("j");
        for (const std::string &name : paths_of(text, {"done", "skipped"}))
            seen[name]++;
        EXPECT_EQ(seen.size(), FILES + 4u);
        EXPECT_EQ(count_lines(text), FILES + 5u);
        for (const auto &[name, count] : seen) {
            EXPECT_EQ(count, 1) << name;
            EXPECT_EQ(archive.read("out" + name.substr(2)), archive.read("whole" + name.substr(2))) << name;
        }
        // Only a process that was killed itself leaves the beginning of a file behind, which nobody takes for one.
        EXPECT_EQ(archive("check -q out").status, archive("check -q whole").status);
    }
}

// Where findings are the result, a file is not done before they are out: the reader stops reading, and the run is
// killed; or the disk is full.
TEST(Journal, OfACheckIsNotAheadOfWhatIsPrinted)
{
    for (const char *jobs : {"1", "3"}) {
        Archive archive;
        for (int i = 0; i < 200; i++)
            archive.folder.write("in/deep/f" + std::to_string(i), ODD);
        std::vector<std::string> line = {"check", "-v", "--jobs", jobs, "--journal", "j", "in"};
        int ends[2];
        ASSERT_EQ(pipe(ends), 0);
        fcntl(ends[1], F_SETPIPE_SZ, 4096);
        pid_t child = start_program(VELMORA_PROGRAM, line, archive.folder.path, ends[1]);
        close(ends[1]);
        size_t noted = 0;
        for (int i = 0, still = 0; i < 1500 && still < 10; i++) {   // until nothing moves any more
            usleep(20000);
            size_t now = paths_of(archive.read("j"), {"found"}).size();
            still = now == noted && now > 5 ? still + 1 : 0;
            noted = now;
        }
        kill(child, SIGKILL);
        waitpid(child, nullptr, 0);
        std::string printed;
        char block[4096];
        for (ssize_t got; (got = read(ends[0], block, sizeof block)) > 0;)
            printed.append(block, static_cast<size_t>(got));
        close(ends[0]);
        std::vector<std::string> found = paths_of(archive.read("j"), {"found"});
        EXPECT_GT(found.size(), 5u);
        EXPECT_LT(found.size(), 150u);
        for (const std::string &path : found)
            EXPECT_NE(printed.find(path + ": "), std::string::npos) << path;

        int full = open("/dev/full", O_WRONLY);
        line.insert(line.end() - 1, "--resume");
        waitpid(start_program(VELMORA_PROGRAM, line, archive.folder.path, full), nullptr, 0);
        close(full);
        EXPECT_EQ(paths_of(archive.read("j"), {"found"}), found);
        Outcome rest = velmora(line, "", archive.folder.path);
        EXPECT_EQ(count_lines(rest.out) - 1 + found.size(), 201u) << rest.out;
    }
}

TEST(Journal, IsWrittenByOneRunAtATime)
{
    Archive archive;
    ASSERT_EQ(archive("check -q --journal j in").status, 1);
    int held = open((archive.folder.path + "/j").c_str(), O_RDONLY);
    pid_t child = fork();
    if (child == 0) {
        execlp("flock", "flock", "-x", (archive.folder.path + "/j").c_str(), "sleep", "30", nullptr);
        _exit(127);
    }
    Outcome run = {0, "", ""};
    for (int i = 0; i < 100 && run.err.find("another run") == std::string::npos; i++) {
        usleep(20000);
        run = archive("check -q --journal j --resume in");
    }
    kill(child, SIGKILL);
    waitpid(child, nullptr, 0);
    close(held);
    EXPECT_EQ(run.err, "velmora: the journal 'j' is written by another run\n");
}

// ---- names ----------------------------------------------------------------------------

TEST(NameSet, KnowsEveryNameOnce)
{
    Name_Set names;
    for (int round = 0; round < 2; round++)
        for (int i = 0; i < 30000; i++)
            EXPECT_EQ(add_name(&names, "out/" + std::to_string(i)), round == 0) << i;
}

TEST(Base, KeepsFilesApart)
{
    const struct {
        const char *base, *path, *output;   // empty: it is refused
    } rows[] = {
        {"in", "in/deep/c", "out/deep/c"}, {"in/", "./in//deep/c", "out/deep/c"}, {"./in", "in/a", "out/a"},
        {".", "in/deep/c", "out/in/deep/c"}, {"in", "in/../in/a", ""}, {"in/de", "in/deep/c", ""}, {".", "../x", ""},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.path);
        Archive archive;
        Outcome run =
            archive(std::string("convert --files-from - --base ") + row.base + " out", std::string(row.path) + "\n");
        EXPECT_EQ(run.status, row.output[0] == '\0' ? 3 : 0);
        if (row.output[0] != '\0') {
            EXPECT_NE(archive.read(row.output), "");
        } else {
            EXPECT_FALSE(std::filesystem::exists(archive.folder.path + "/out"));
        }
    }
}
