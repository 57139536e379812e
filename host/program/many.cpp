// Work on many files, and what is said at its end.
#include "host/program/many.h"

#include <errno.h>
#include <getopt.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/resource.h>
#include <time.h>
#include <unistd.h>
#include <algorithm>
#include <new>

#include "host/program/journal.h"
#include "host/program/messages.h"
#include "host/program/output.h"
#include "host/program/progress.h"
#include "host/program/workers.h"

using namespace velmora_host;

static const int MOST_JOBS = 256;

static double seconds_now()
{
    timespec now = {};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

// ---- one file -------------------------------------------------------------------------

std::string name_of(const Input &input)
{
    return input.path == "-" ? "standard input" : input.path.empty() ? "''" : input.path;
}

int load_input(const Input &input, const Load_Options &options, Data_Set *set, Tally *tally)
{
    std::string error;
    begin_file(name_of(input));
    Load_Result result = load_from_path(input.path.c_str(), options, set, &error);
    end_file(result == LOADED ? set : nullptr);
    if (result == NOT_A_DATA_SET && input.from_folder)
        return STATUS_SKIPPED;
    if (result != LOADED) {
        complain_about(name_of(input), error);
        return STATUS_UNREADABLE;
    }
    tally->elements += set->elements;
    return STATUS_DONE;
}

int finish_input(const Input &input, const Data_Set &set, int status)
{
    int64_t missing = missing_from(set.source);
    if (missing < 0)
        return status;
    complain_about(name_of(input), "became shorter, or could not be read, while it was in use; from offset " +
                                       std::to_string(missing) + " on zero bytes stood for what is missing");
    return STATUS_UNREADABLE;
}

void work_on_file(const Input &input, File_Fct work, void *user, File_Result *result)
{
    double start = seconds_now();
    int threshold = Error_Get_Threshold();
    take_complaint();
    try {
        if (input.refusal.empty())
            result->status = work(input, &result->tally, user);
    } catch (const std::bad_alloc &) {
        forget_file();
        Error_Set_Threshold(threshold);
        complain_about(name_of(input), "not enough memory");
        result->status = STATUS_UNREADABLE;
    }
    if (!input.refusal.empty()) {
        complain_about(name_of(input), input.refusal);
        result->status = STATUS_UNREADABLE;
    }
    result->seconds = seconds_now() - start;
    std::string message = take_complaint();
    if (result->status != STATUS_UNREADABLE)
        return;
    result->message = message;
    for (int64_t &count : result->tally.own)   // it counts as failed, and as that alone
        count = 0;
}

// ---- all files ------------------------------------------------------------------------

struct Run {
    File_Fct work;
    void *user;
    Journal *journal;   // null: there is none
    Tally *total;
    bool is_printed;   // what is written to standard output is all that comes of a file
    int64_t known;     // files that the journal says are done
    int status;
};

static void take_result(const File_Result &result, void *user)
{
    Run *run = static_cast<Run *>(user);
    Tally *total = run->total;
    total->files++;
    total->failed += result.status == STATUS_UNREADABLE;
    total->skipped += result.status == STATUS_SKIPPED;
    total->elements += result.tally.elements;
    for (size_t i = 0; i < std::size(total->own); i++)
        total->own[i] += result.tally.own[i];
    run->status = worse(run->status, result.status);
    flush_when_due();
    show_progress(total->files, total->failed);
}

static bool is_known(Input *input, void *user)
{
    Run *run = static_cast<Run *>(user);
    File_Result result;
    if (run->journal == nullptr || !input->refusal.empty() || !is_in_journal(run->journal, input, &result))
        return false;
    run->known++;
    take_result(result, run);
    return true;
}

// A journal does not say that a file is done before its result is out, nor where that could not be written.
static void note_result(const Input &input, const File_Result &result, void *user)
{
    Run *run = static_cast<Run *>(user);
    if (run->journal == nullptr)
        return;
    if (run->is_printed)
        flush_out();
    if (!run->is_printed || is_output_whole())
        write_to_journal(run->journal, input, result);
}

static void begin_worker(void *user)
{
    Run *run = static_cast<Run *>(user);
    if (run->journal != nullptr)
        leave_journal(run->journal);
}

static int work_here(Input *input, void *user)
{
    Run *run = static_cast<Run *>(user);
    if (is_known(input, run))
        return STATUS_DONE;
    File_Result result;
    work_on_file(*input, run->work, run->user, &result);
    note_result(*input, result, run);
    take_result(result, run);
    return STATUS_DONE;
}

static double seconds_of(const timeval &time)
{
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) * 1e-6;
}

static void print_stats(const Tally &total, double seconds)
{
    double processor = 0;
    long memory = 0;
    for (int whose : {RUSAGE_SELF, RUSAGE_CHILDREN}) {
        rusage used = {};
        getrusage(whose, &used);
        processor += seconds_of(used.ru_utime) + seconds_of(used.ru_stime);
        memory = std::max(memory, used.ru_maxrss);
    }
    complain("%lld file%s, %lld element%s; %.3f s, %.3f s of the processors; at most %.1f MB in a process",
             static_cast<long long>(total.files), total.files == 1 ? "" : "s", static_cast<long long>(total.elements),
             total.elements == 1 ? "" : "s", seconds, processor, static_cast<double>(memory) / 1024);
}

static void say_the_end(const Tally &total, int64_t known)
{
    if (known > 0)
        complain("%lld of %lld files were done before", static_cast<long long>(known),
                 static_cast<long long>(total.files));
    if (total.skipped == 1)
        complain("1 file of the folders is no data set");
    else if (total.skipped > 0)
        complain("%lld files of the folders are no data sets", static_cast<long long>(total.skipped));
    if (total.failed > 0 && total.files > 1)
        complain("%lld of %lld files failed", static_cast<long long>(total.failed),
                 static_cast<long long>(total.files - total.skipped));
}

static Journal *open_journal_of(const Command &command, const Journal_Choice &choice, int *status)
{
    static const char *const NO_COUNTS[] = {nullptr};
    Journal_Head head = {command.name, choice.output, choice.counts != nullptr ? choice.counts : NO_COUNTS,
                         choice.writes_files};
    return open_journal(choice.path, choice.is_resumed, head, status);
}

int work_on_files(const Command &command, const Many_Choice &choice, File_Fct work, void *user, Tally *total)
{
    static const Pool_Calls CALLS = {begin_worker, is_known, note_result, take_result};
    double start = seconds_now();
    Run run = {work, user, nullptr, total, !choice.journal.writes_files, 0, STATUS_DONE};
    if (choice.journal.is_resumed && choice.journal.path.empty())
        return wrong_use(command, "--resume needs the journal to go on with; --journal FILE names it");
    int status = STATUS_DONE;
    if (!choice.journal.path.empty() && (run.journal = open_journal_of(command, choice.journal, &status)) == nullptr)
        return status;
    status = choice.jobs > 1 ? for_each_input_in_workers(choice, work, user, CALLS, &run)
                             : for_each_input(choice.inputs, work_here, &run);
    clear_progress();
    say_the_end(*total, run.known);
    if (choice.print_stats)
        print_stats(*total, seconds_now() - start);
    if (run.journal != nullptr)
        status = worse(status, close_journal(run.journal));
    if (total->skipped > 0 && total->skipped == total->files)
        status = STATUS_UNREADABLE;
    return worse(status, run.status);
}

// ---- options --------------------------------------------------------------------------

enum { OPTION_FILES_FROM = 0x4000, OPTION_STATS, OPTION_JOURNAL, OPTION_RESUME };

static const Option_Row MANY_ROWS[] = {
    {OPTION_FILES_FROM, "files-from",  "LIST",  nullptr, "read paths from this file, a line each; - is standard input"       },
    {'0',               "null",        nullptr, nullptr, "the paths of lists end with zero bytes, as find -print0 gives them"},
    {'j',               "jobs",        "N",     nullptr, "work on N files at a time; 0: as many as there are processors"     },
    {OPTION_STATS,      "print-stats", nullptr, nullptr, "tell time, elements and memory at the end"                         },
    {0,                 nullptr,       nullptr, nullptr, nullptr                                                             },
};

extern const Option_Table many_options = {"Options for many files", MANY_ROWS, false};

// clang-format off
static const Option_Row JOURNAL_ROWS[] = {
    {OPTION_JOURNAL, "journal", "FILE", nullptr, "write a line of JSON for each file that is done to this file"},
    {OPTION_RESUME, "resume", nullptr, nullptr,
     "go on with the journal where there is one: what it says is done, and has not changed, is not done again"},
    {0, nullptr, nullptr, nullptr, nullptr},
};
// clang-format on

extern const Option_Table journal_options = {"Options for large archives", JOURNAL_ROWS, false};

static bool parse_jobs(const char *text, int *jobs)
{
    char *end = nullptr;
    errno = 0;
    long number = strtol(text, &end, 10);
    if (end == text || *end != '\0' || errno != 0 || number < 0 || number > MOST_JOBS)
        return false;
    if (number == 0)
        number = std::clamp(sysconf(_SC_NPROCESSORS_ONLN), 1L, static_cast<long>(MOST_JOBS));
    *jobs = static_cast<int>(number);
    return true;
}

int take_many_option(const Command &command, const Option &option, Many_Choice *choice)
{
    switch (option.letter) {
    case OPTION_FILES_FROM:
        choice->inputs.lists.push_back(option.value);
        return STATUS_DONE;
    case '0':
        choice->inputs.zero_between = true;
        return STATUS_DONE;
    case 'j':
        if (parse_jobs(option.value, &choice->jobs))
            return STATUS_DONE;
        return wrong_use(command, "--jobs takes a number from 0 to %d, not %s", MOST_JOBS,
                         quoted(option.value).c_str());
    case OPTION_STATS:
        choice->print_stats = true;
        return STATUS_DONE;
    case OPTION_JOURNAL:
        if (option.value[0] == '\0')
            return wrong_use(command, "--journal names no file");
        choice->journal.path = option.value;
        return STATUS_DONE;
    case OPTION_RESUME:
        choice->journal.is_resumed = true;
        return STATUS_DONE;
    default:
        return OPTION_OTHER;
    }
}

int take_paths(const Command &command, int argc, char **argv, Many_Choice *choice)
{
    choice->inputs.paths.assign(argv + optind, argv + argc);
    if (choice->inputs.paths.empty() && choice->inputs.lists.empty())
        return wrong_use(command, "no file is given");
    if (choice->inputs.zero_between && choice->inputs.lists.empty())
        return wrong_use(command, "-0 is about lists; --files-from LIST names one");
    return STATUS_DONE;
}
