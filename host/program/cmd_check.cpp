// velmora check: what is wrong in data sets.
#include <string.h>

#include "host/program/check_tree.h"
#include "host/program/command.h"
#include "host/program/definitions.h"
#include "host/program/findings.h"
#include "host/program/many.h"
#include "host/program/messages.h"
#include "host/program/output.h"

using namespace velmora_host;

static const char HELP[] =
    "  -f, --format FORM   lines: one for each finding, for reading (this is the default)\n"
    "                      jsonl: one JSON object for each finding, for programs\n"
    "  -v, --verbose       lines: each finding; normally what repeats is told three times in a file and of five "
    "files,\n"
    "                      and counted from then on\n"
    "  -q, --quiet         no findings and no summary: the exit status tells, and what cannot be read is named\n"
    "  -m, --module NAME   what a template asks for and is not there: NAME as of velmora template; auto, by the SOP\n"
    "                      class of each file, if it has one; none (this is the default)\n"
    "      --ignore KIND   findings of this kind do not count; may be given several times\n" MANY_HELP
    "  -h, --help          this text\n"
    "\n"
    "PATH is a file, a folder with all that is in it, or - for standard input. A finding is a warning (a value or the\n"
    "stream is wrong) or a remark (what can be put right without doubt, or is not wrong for a reader). Its line says "
    "the\n"
    "file, the offset, the path and tag as other commands take them, the VR and the name. Kinds of findings:\n"
    "stream structure order repaired odd-length (the bytes), vr retired (against the dictionary), padding characters\n"
    "length backslash old-form values range size (the value), required (by the template).\n"
    "Exit status: 0 nothing found, 1 findings, 3 a file could not be read.\n"
    "\n"
    "Examples:\n"
    "  velmora check image.dcm\n"
    "  velmora check --jobs 0 --ignore retired archive/\n"
    "  velmora check --format jsonl archive/ | jq -r 'select(.kind == \"values\") | .tag' | sort | uniq -c\n";

struct Check_Work {
    Finding_Form form = FINDINGS_AS_LINES;
    bool shows_all = false;
    Check_Choice choice;
};

// Places in Tally::own.
enum { FILES_WITH_FINDINGS, WARNINGS, REMARKS };

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

static const option LONGS[] = {
    {"format",  required_argument, nullptr, 'f'          },
    {"verbose", no_argument,       nullptr, 'v'          },
    {"quiet",   no_argument,       nullptr, 'q'          },
    {"module",  required_argument, nullptr, 'm'          },
    {"ignore",  required_argument, nullptr, OPTION_IGNORE},
    MANY_LONGS,
    {nullptr,   0,                 nullptr, 0            },
};

static int take_module(const std::string &name, Check_Choice *choice)
{
    std::vector<std::string> names = definition_names(TEMPLATE_PREFIX);
    int at = find_name(names, name);
    choice->module = name == "none" ? "" : at != NAME_NOT_FOUND ? names[static_cast<size_t>(at)] : name;
    if (names.empty() && name != "none")
        return wrong_use(command_check, "there are no templates in %s", quoted(definitions_place()).c_str());
    if (at == NAME_NOT_FOUND && name != "none" && name != "auto")
        return wrong_use(command_check, "there is no template %s; velmora template --list names them",
                         quoted(name).c_str());
    return STATUS_DONE;
}

static int take_option(int letter, Check_Work *work, Many_Choice *choice)
{
    int status = STATUS_DONE;
    if (take_many_option(command_check, letter, choice, &status))
        return status;
    switch (letter) {
    case 'f':
        if (strcmp(optarg, "lines") != 0 && strcmp(optarg, "jsonl") != 0)
            return wrong_use(command_check, "%s is no format; there are lines and jsonl", quoted(optarg).c_str());
        work->form = strcmp(optarg, "jsonl") == 0 ? FINDINGS_AS_JSON : FINDINGS_AS_LINES;
        break;
    case 'v':
        work->shows_all = true;
        break;
    case 'q':
        work->form = FINDINGS_COUNTED;
        break;
    case 'm':
        return take_module(optarg, &work->choice);
    case OPTION_IGNORE:
        if (!is_finding_kind(optarg))
            return wrong_use(command_check, "%s is no kind of finding; there are %s", quoted(optarg).c_str(),
                             finding_kinds().c_str());
        work->choice.ignored.push_back(optarg);
        break;
    default:
        break;
    }
    return STATUS_DONE;
}

static int run_check(int argc, char **argv)
{
    Check_Work work;
    Many_Choice choice;
    int status = STATUS_DONE;
    for (int letter;
         (letter = next_option(command_check, argc, argv, "f:vqm:" MANY_SHORTS, LONGS, &status)) != OPTION_END;) {
        if (letter == OPTION_STOP)
            return status;
        status = take_option(letter, &work, &choice);
        if (status != STATUS_DONE)
            return status;
    }
    status = take_paths(command_check, argc, argv, &choice);
    if (status != STATUS_DONE)
        return status;

    show_remarks();
    if (work.shows_all)
        fold_nothing();
    Tally total;
    status = work_on_files(choice, check_input, &work, &total);
    finish_folding();
    if (work.form == FINDINGS_AS_LINES)
        write_summary(total);
    return status;
}

extern const Command command_check = {
    "check", "check [OPTIONS] PATH...", "Says what is wrong in data sets", HELP, run_check,
};
