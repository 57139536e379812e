// Work on many files: the order of what comes out, worker processes that die, what is counted and folded.
#include <gtest/gtest.h>
#include <signal.h>
#include <stdlib.h>
#include <unistd.h>
#include <new>

#include "host/program/folding.h"
#include "host/program/many.h"
#include "host/program/messages.h"
#include "host/program/output.h"
#include "tests/host_runs.h"
#include "tests/support/bytes.h"

// What the program would write, both streams in their order, each line of standard error with "! " in front.
struct Written {
    std::string text;
    std::vector<Folded_Lines> folded;
    Diversion diversion = {take_text, take_folded, this};

    int old_threshold = Error_Get_Threshold(), old_warning = Flag_Error_Warning, old_report = Flag_Error_Report;

    Written()
    {
        start_messages();
        divert(&diversion);
    }
    ~Written()
    {
        divert(nullptr);
        Error_Set_Sink(nullptr, nullptr);
        Error_Set_Threshold(old_threshold);
        Flag_Error_Warning = old_warning;
        Flag_Error_Report = old_report;
    }
    static void take_text(void *user, bool to_err, const char *bytes, size_t count)
    {
        static_cast<Written *>(user)->text += (to_err ? "! " : "") + std::string(bytes, count);
    }
    static void take_folded(void *user, const Folded_Lines &lines)
    {
        for (const Folded_Kind &kind : lines.kinds)
            static_cast<Written *>(user)->text += "[" + kind.mask + "|" + kind.lines + "|" + kind.example + "]";
        for (const Folded_Lines::Line &line : lines.lines)
            static_cast<Written *>(user)->text += std::to_string(line.kind) + ":" + line.text;
    }
};

struct Result { int status; std::string text; Tally total; };

static const Command ANY_COMMAND = {"any", "any", "", "", nullptr, "", "", nullptr};

static Result work_on(const std::vector<std::string> &paths, int jobs, File_Fct work, void *user = nullptr)
{
    Written written;
    Many_Choice choice;
    choice.inputs.paths = paths;
    choice.jobs = jobs;
    Result result = {};
    result.status = work_on_files(ANY_COMMAND, choice, work, user, &result.total);
    flush_out();
    result.text = written.text;
    return result;
}

// Does what the path says.
static int follow_path(const Input &input, Tally *tally, void *)
{
    const std::string &path = input.path;
    auto has = [&path](const char *word) { return path.find(word) != std::string::npos; };
    tally->elements += 10;
    tally->own[1] += 2;
    write_out(path + " begins\n");
    if (has("slow"))
        usleep(200000);
    if (has("kill"))
        raise(SIGKILL);
    if (has("exit"))
        _exit(7);
    if (has("memory")) {
        begin_file(path);
        take_reports([](void *, int, const char *) { raise(SIGABRT); }, nullptr);   // it would be there no more
        Error_Set_Threshold(0);
        throw std::bad_alloc();
    }
    if (has("report")) {
        begin_file(path);
        Error_Fct(nullptr, Flag_Error_Warning, "told");
        end_file(nullptr);
    }
    if (has("remark"))
        complain_about(path, "a remark");
    if (has("fold")) {
        Folded_Lines lines;
        lines.kinds.push_back({"mask " + path, "", "# more"});
        lines.lines.push_back({0, "line\n"});
        tell_folded(lines);
    }
    if (has("large"))
        write_out(std::string(3 << 20, 'x'));
    write_out(path + " ends\n");
    return has("skip") ? STATUS_SKIPPED : has("found") ? STATUS_FOUND : has("bad") ? STATUS_UNREADABLE : STATUS_DONE;
}

TEST(Many, GivesTheSameWhoeverDoesTheWork)
{
    const std::vector<std::string> paths = {"slow 1", "2 remark", "3 found", "slow 4 remark", "5 fold", "6 skip",
                                            "7 bad", "8 memory", "9 report"};
    for (int jobs : {1, 2, 4, 20}) {
        Result result = work_on(paths, jobs, follow_path);
        EXPECT_EQ(result.text, "slow 1 begins\nslow 1 ends\n"
                               "2 remark begins\n! velmora: 2 remark: a remark\n2 remark ends\n"
                               "3 found begins\n3 found ends\n"
                               "slow 4 remark begins\n! velmora: slow 4 remark: a remark\nslow 4 remark ends\n"
                               "5 fold begins\n[mask 5 fold||# more]0:line\n5 fold ends\n"
                               "6 skip begins\n6 skip ends\n"
                               "7 bad begins\n7 bad ends\n"
                               "8 memory begins\n! velmora: 8 memory: not enough memory\n"
                               "9 report begins\n"
                               "[told|velmora: 9 report: told\n|velmora: # files more: told\n]9 report ends\n"
                               "! velmora: 1 file of the folders is no data set\n"
                               "! velmora: 2 of 8 files failed\n");
        EXPECT_EQ(result.status, STATUS_UNREADABLE);
        EXPECT_EQ(result.total.files, 9);
        EXPECT_EQ(result.total.failed, 2);
        EXPECT_EQ(result.total.skipped, 1);
        EXPECT_EQ(result.total.elements, 90);
        EXPECT_EQ(result.total.own[1], 14);   // of those that did not fail
    }
}

TEST(Many, GivesTheHighestStatus)
{
    const struct { std::vector<std::string> paths; int status; } rows[] = {
        {{"a", "b"}, STATUS_DONE}, {{"a found", "b"}, STATUS_FOUND}, {{"a bad", "b found"}, STATUS_UNREADABLE},
        {{"a skip", "b"}, STATUS_DONE}, {{"a skip", "b found"}, STATUS_FOUND},
        {{"a skip", "b skip"}, STATUS_UNREADABLE}, {{"/no/such/folder/"}, STATUS_DONE},
    };
    for (const auto &row : rows)
        for (int jobs : {1, 3})
            EXPECT_EQ(work_on(row.paths, jobs, follow_path).status, row.status) << row.paths[0];
}

TEST(Many, GoesOnWhenAWorkerDies)
{
    Result result = work_on({"1", "2 kill", "3", "4 exit", "slow 5", "6 kill", "7"}, 2, follow_path);
    EXPECT_EQ(result.text, "1 begins\n1 ends\n"
                           "! velmora: 2 kill: the process that worked on it was killed by signal 9 (Killed)\n"
                           "3 begins\n3 ends\n"
                           "! velmora: 4 exit: the process that worked on it ended with status 7\n"
                           "slow 5 begins\nslow 5 ends\n"
                           "! velmora: 6 kill: the process that worked on it was killed by signal 9 (Killed)\n"
                           "7 begins\n7 ends\n"
                           "! velmora: 3 of 7 files failed\n");
    EXPECT_EQ(result.status, STATUS_UNREADABLE);
    EXPECT_EQ(result.total.failed, 3);
    EXPECT_EQ(result.total.elements, 40);
}

TEST(Many, KeepsTheOrderOfMoreThanItHolds)
{
    std::vector<std::string> paths = {"slow large"};
    std::string expected;
    for (int i = 0; i < 15; i++)
        paths.push_back(std::to_string(i) + " large");
    for (const std::string &path : paths)
        expected += path + " begins\n" + std::string(3 << 20, 'x') + path + " ends\n";
    EXPECT_TRUE(work_on(paths, 4, follow_path).text == expected);
}

// ---- what the walk finds --------------------------------------------------------------

static int name_input(const Input &input, Tally *, void *)
{
    write_out(input.path + " = " + input.inside + (input.from_folder ? " of a folder\n" : "\n"));
    return STATUS_DONE;
}

TEST(Many, SaysWhereInAFolderAFileStands)
{
    Folder folder;
    ASSERT_EQ(system(("mkdir -p " + folder.path + "/top/b/c " + folder.path + "/empty").c_str()), 0);
    for (const char *name : {"top/b/c/3", "top/b/2", "top/1", "other"})
        folder.write(name, "x");
    const std::string &at = folder.path;
    const std::string top =
        at + "/top/1 = 1 of a folder\n" + at + "/top/b/2 = b/2 of a folder\n" + at + "/top/b/c/3 = b/c/3 of a folder\n";
    for (int jobs : {1, 3}) {
        Result result = work_on({at + "/top", at + "/empty", at + "/other", "-", at + "/none/x"}, jobs, name_input);
        EXPECT_EQ(result.text, top + "! velmora: " + at + "/empty: holds no file\n" + at + "/other = other\n- = -\n" +
                                   at + "/none/x = x\n");
        EXPECT_EQ(result.status, STATUS_UNREADABLE);
        EXPECT_EQ(work_on({at + "/top/"}, jobs, name_input).text.find("/top/1 = 1 of"), at.size());
    }
}

// ---- folding --------------------------------------------------------------------------

TEST(Folding, SeesTheSameInOtherTagsAndNumbers)
{
    EXPECT_EQ(mask_of("(0010,0020) 17 bytes at 0x1f"), mask_of("(0008,0005) 3 bytes at 99x1f"));
    EXPECT_EQ(mask_of("12"), "#");
    EXPECT_EQ(mask_of("(0010)"), "(#)");
    EXPECT_NE(mask_of("(0010,0020) too long"), mask_of("(0010,0020) too short"));
}

