// velmora repair: what can be mended in data sets is mended, and what is invalid is taken out.
#include <getopt.h>
#include <string.h>

#include "host/program/command.h"
#include "host/program/messages.h"
#include "host/program/output.h"
#include "host/program/repair_tree.h"
#include "host/program/writing.h"

using namespace velmora_host;

static const char EXAMPLES[] = "velmora repair --dry-run old.dcm\n"
                               "velmora repair old.dcm new.dcm\n"
                               "velmora repair --in-place --jobs 4 archive/\n";

static const char TEXT[] =
    "Values are brought into the form that their VR asks for: padding, stray characters, dates of old forms, lengths. "
    "What cannot be mended is removed, and the rest sorted and written with a right head. Each line says what was done "
    "to which attribute, with what was there before. What is the same in many items of a file is told three times and "
    "counted from then on, unless --verbose asks for each.\n"
    "With --in-place the original stays as IN.bak, and a file in which there is nothing to mend is not touched; "
    "--dry-run only says what would be done.\n"
    "IN is a file, a folder with all that is in it, or - for standard input. OUT is a file, - for standard output, or "
    "a "
    "folder, which several files go to.\n";

// Places in Tally::own.
enum { FILES_REPAIRED, VALUES_CHANGED, ATTRIBUTES_REMOVED };
static const char *const COUNTS[] = {"repaired", "changed", "removed", nullptr};

struct Repair_Work {
    Writing writing;
    bool is_quiet = false;
};

// What the streams' faults and the head call for: they are mended by the writing itself.
static void report_stream(const Data_Set &set, Repair_Report *report)
{
    if (!set.has_head)
        report_repair(report, "a head (group 0002) made");
    if (set.damages > 0)
        report_repair(report, "what could be read of a damaged stream is written");
}

static bool repair_inner(Data_Set *inner, void *, std::string *)
{
    Repair_Report report;   // what was done there was told when the tree around it was repaired
    report.is_quiet = true;
    repair_tree(inner, "", &report);
    return true;
}

static Change repair_set(Data_Set *set, const std::string &name, Save_Options *save, Tally *tally, void *user)
{
    const Repair_Work *work = static_cast<const Repair_Work *>(user);
    Repair_Report report;
    report.name = name;
    report.is_quiet = work->is_quiet;
    report.repeats.shows_all = work->writing.shows_all;
    repair_tree(set, "", &report);
    report_stream(*set, &report);
    finish_repair(report);
    if (report.below > 0)
        save->change = repair_inner;
    bool is_changed = report.changed + report.removed + report.other > 0;
    tally->own[FILES_REPAIRED] += is_changed;
    tally->own[VALUES_CHANGED] += report.changed;
    tally->own[ATTRIBUTES_REMOVED] += report.removed;
    return is_changed ? CHANGED : NOTHING_CHANGED;
}

static std::string counted(int64_t count, const char *word)
{
    return std::to_string(count) + " " + word + (count == 1 ? "" : "s");
}

// "12 files: 8 repaired (25 values mended, 3 attributes removed), 4 in order"
static void write_summary(const Tally &tally)
{
    int64_t repaired = tally.own[FILES_REPAIRED], files = tally.files - tally.skipped;
    std::string text = counted(files, "file") + ": " + std::to_string(repaired) + " repaired (" +
                       counted(tally.own[VALUES_CHANGED], "value") + " mended, " +
                       counted(tally.own[ATTRIBUTES_REMOVED], "attribute") + " removed), " +
                       std::to_string(files - repaired - tally.failed) + " in order";
    if (tally.failed > 0)
        text += ", " + std::to_string(tally.failed) + " failed";
    write_out(text + "\n");
}

static const Option_Row ROWS[] = {
    {'q', "quiet", nullptr, nullptr, "no lines about what was done"},
    {0,   nullptr, nullptr, nullptr, nullptr                       },
};
static const Option_Table OWN = {"Options", ROWS, false};
static const Option_Table *const TABLES[] = {&OWN, &writing_options, &many_options, &journal_options, nullptr};

static int take_option(const Option &option, void *user)
{
    Repair_Work *work = static_cast<Repair_Work *>(user);
    if (option.letter != 'q')
        return take_writing_option(option, &work->writing);
    work->is_quiet = true;
    return STATUS_DONE;
}

static int run_repair(int argc, char **argv)
{
    Repair_Work work;
    work.writing.command = &command_repair;
    work.writing.change = repair_set;
    work.writing.user = &work;
    work.writing.counts = COUNTS;
    work.writing.keeps_old = work.writing.takes_damaged = work.writing.save.even_lengths = true;
    int status = STATUS_DONE;
    if (!take_options(command_repair, argc, argv, take_option, &work, &status))
        return status;
    bool to_stdout = argc > optind && strcmp(argv[argc - 1], "-") == 0 && argc > optind + 1;
    work.is_quiet |= to_stdout;
    Tally total;
    status = run_writing(&work.writing, argc, argv, &total);
    if (!to_stdout && (total.files > 0 || status == STATUS_DONE))
        write_summary(total);
    return status;
}

extern const Command command_repair = {
    "repair",
    "repair [OPTIONS] IN... OUT",
    "Mends what can be mended in data sets",
    EXAMPLES,
    TABLES,
    TEXT,
    "0 done, 2 wrong use, 3 a file could not be read or written",
    run_repair,
};
