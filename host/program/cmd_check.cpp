// velmora check: what is wrong in data sets.
#include <getopt.h>

#include "host/program/check_tree.h"
#include "host/program/command.h"
#include "host/program/definitions.h"
#include "host/program/findings.h"
#include "host/program/many.h"
#include "host/program/messages.h"
#include "host/program/output.h"

using namespace velmora_host;

static const char EXAMPLES[] =
    "velmora check image.dcm\n"
    "velmora check --jobs 0 --ignore retired archive/\n"
    "velmora check --format jsonl archive/ | jq -r 'select(.kind == \"values\") | .tag' | sort | uniq -c\n";

static const char TEXT[] =
    "PATH is a file, a folder with all that is in it, or - for standard input. A finding is a warning (a value or the "
    "stream is wrong) or a remark (what can be put right without doubt, or is not wrong for a reader). Its line says "
    "the "
    "file, the offset, the path and tag as other commands take them, the VR and the name.\n"
    "Kinds of findings: stream structure order repaired odd-length (the bytes), vr retired (against the dictionary), "
    "padding characters length backslash old-form values range size (the value), required (by the template).\n";

struct Check_Work {
    Finding_Form form = FINDINGS_AS_LINES;
    bool shows_all = false, is_quiet = false;
    Check_Choice choice;
    bool names_module = false;
    Many_Choice many;
};

// Places in Tally::own.
enum { FILES_WITH_FINDINGS, WARNINGS, REMARKS };
static const char *const COUNTS[] = {"found", "warnings", "remarks", nullptr};

static int check_input(const Input &input, Tally *tally, void *user)
{
    const Check_Work *work = static_cast<const Check_Work *>(user);
    Finding_Teller teller;
    teller.form = work->form;
    teller.shows_all = work->shows_all;
    teller.file = name_of(input);
    std::string error;
    Load_Result result = check_file(input, work->choice, tally, &teller, &error);
    if (result == NOT_A_DATA_SET && input.from_folder)
        return STATUS_SKIPPED;
    if (result != LOADED) {
        if (work->form == FINDINGS_AS_JSON)
            tell_unreadable_as_json(teller.file, error);
        complain_about(teller.file, error);
        return STATUS_UNREADABLE;
    }
    tally->own[WARNINGS] += teller.warnings;
    tally->own[REMARKS] += teller.remarks;
    bool is_clean = teller.warnings == 0 && teller.remarks == 0;
    tally->own[FILES_WITH_FINDINGS] += !is_clean;
    if (!teller.is_whole)
        return STATUS_UNREADABLE;
    return is_clean ? STATUS_DONE : STATUS_FOUND;
}

static std::string counted(int64_t count, const char *word)
{
    return std::to_string(count) + " " + word + (count == 1 ? "" : "s");
}

// "12 files: 8 with findings (25 warnings, 310 remarks), 3 clean, 1 failed"
static void write_summary(const Tally &tally)
{
    int64_t files = tally.files - tally.skipped, found = tally.own[FILES_WITH_FINDINGS];
    int64_t clean = files - found - tally.failed;
    std::string text = counted(files, "file") + ":";
    if (found > 0)
        text += " " + std::to_string(found) + " with findings (" + counted(tally.own[WARNINGS], "warning") + ", " +
                counted(tally.own[REMARKS], "remark") + "),";
    if (clean > 0)
        text += " " + std::to_string(clean) + " clean,";
    if (tally.failed > 0)
        text += " " + std::to_string(tally.failed) + " failed,";
    text.back() = '\n';
    write_out(text);
}

// ---- options --------------------------------------------------------------------------

enum { OPTION_IGNORE = 256 };

// clang-format off
static const Option_Row ROWS[] = {
    {'f', "format", "FORM", "lines jsonl",
     "lines: one for each finding, for reading (this is the default)\n"
     "jsonl: one JSON object for each finding, for programs"},
    {'v', "verbose", nullptr, nullptr,
     "lines: each finding; normally what repeats is told three times in a file and of five files, and counted from then "
     "on"},
    {'q', "quiet", nullptr, nullptr,
     "no findings and no summary: the exit status tells, and what cannot be read is named"},
    {'m', "module", "NAME", nullptr,
     "what a template asks for and is not there: NAME as of velmora template; auto, by the SOP class of each file, if it "
     "has one; none (this is the default)"},
    {OPTION_IGNORE, "ignore", "KIND", finding_kinds, "findings of this kind do not count; may be given several times"},
    {0, nullptr, nullptr, nullptr, nullptr},
};
// clang-format on
static const Option_Table OWN = {"Options", ROWS, true};
static const Option_Table *const TABLES[] = {&OWN, &many_options, &journal_options, nullptr};

// What --module says, once it is known where the templates are.
static int settle_module(Check_Choice *choice)
{
    const std::string name = choice->module;
    if (name == "none") {
        choice->module.clear();
        return STATUS_DONE;
    }
    std::vector<std::string> names = definition_names(TEMPLATE_PREFIX);
    int at = find_name(names, name);
    if (at != NAME_NOT_FOUND)
        choice->module = names[static_cast<size_t>(at)];
    if (names.empty())
        return wrong_use(command_check, "there are no templates in %s", quoted(definitions_place()).c_str());
    if (at == NAME_NOT_FOUND && name != "auto")
        return wrong_use(command_check, "there is no template %s; velmora template --list names them",
                         quoted(name).c_str());
    return STATUS_DONE;
}

static int take_option(const Option &option, void *user)
{
    Check_Work *work = static_cast<Check_Work *>(user);
    switch (option.letter) {
    case 'f':
        work->form = option.choice == 1 ? FINDINGS_AS_JSON : FINDINGS_AS_LINES;
        break;
    case 'v':
        work->shows_all = true;
        break;
    case 'q':
        work->is_quiet = true;
        break;
    case 'm':
        work->choice.module = option.value;
        work->names_module = true;
        break;
    case OPTION_IGNORE:
        work->choice.ignored.push_back(option.value);
        break;
    default:
        return take_many_option(command_check, option, &work->many);
    }
    return STATUS_DONE;
}

static int run_check(int argc, char **argv)
{
    Check_Work work;
    int status = STATUS_DONE;
    if (!take_options(command_check, argc, argv, take_option, &work, &status))
        return status;
    status = work.names_module ? settle_module(&work.choice) : STATUS_DONE;
    if (status == STATUS_DONE)
        status = take_paths(command_check, argc, argv, &work.many);
    if (status != STATUS_DONE)
        return status;

    if (work.is_quiet)
        work.form = FINDINGS_COUNTED;
    work.many.journal.counts = COUNTS;
    show_remarks();
    if (work.shows_all)
        fold_nothing();
    Tally total;
    status = work_on_files(command_check, work.many, check_input, &work, &total);
    finish_folding();
    if (work.form == FINDINGS_AS_LINES && (total.files > 0 || status == STATUS_DONE))
        write_summary(total);
    return status;
}

extern const Command command_check = {
    "check",
    "check [OPTIONS] PATH...",
    "Says what is wrong in data sets",
    EXAMPLES,
    TABLES,
    TEXT,
    "0 nothing found, 1 findings, 2 wrong use, 3 a file could not be read",
    run_check,
};
