// From the command line to files that were written: one data set after the other is loaded, changed and saved.
#include "host/program/writing.h"

#include <errno.h>
#include <limits.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include "host/program/messages.h"
#include "host/program/output.h"

using namespace velmora_host;

// ---- options --------------------------------------------------------------------------

enum {
    OPTION_GROUP_LENGTH = 0x1100,
    OPTION_DEFINED_LENGTH,
    OPTION_NO_PRIVATE,
    OPTION_STANDARD_GROUPS,
    OPTION_IN_PLACE,
    OPTION_DRY_RUN,
    OPTION_AS_UN,
    OPTION_BASE,
};

// clang-format off
static const Option_Row WRITING_ROWS[] = {
    {'s', "syntax", "FORM", "implicit explicit big",
     "encoding to write: implicit, explicit (both little endian) or big (explicit big endian)"},
    {OPTION_GROUP_LENGTH, "group-length", nullptr, nullptr, "a length element in front of each group"},
    {OPTION_DEFINED_LENGTH, "defined-length", nullptr, nullptr,
     "sequences and items with their lengths instead of delimiters"},
    {OPTION_NO_PRIVATE, "no-private", nullptr, nullptr, "leave out private attributes, at all depths"},
    {OPTION_STANDARD_GROUPS, "standard-groups", nullptr, nullptr,
     "only the groups that the standard lists; those left out are named"},
    {OPTION_AS_UN, "as-un", nullptr, nullptr,
     "write VRs that old readers do not know (OD OF OL OV SV UC UR UV) as UN"},
    {OPTION_BASE, "base", "FOLDER", nullptr,
     "files from lists keep their place below this folder, as those of a folder that is walked do"},
    {OPTION_IN_PLACE, "in-place", nullptr, nullptr, "replace the file itself"},
    {OPTION_DRY_RUN, "dry-run", nullptr, nullptr, "do all but write"},
    {'v', "verbose", nullptr, nullptr, "remarks as well as warnings, and each line about what was done"},
    {0, nullptr, nullptr, nullptr, nullptr},
};
// clang-format on

extern const Option_Table writing_options = {"Options for writing", WRITING_ROWS, true};

int take_writing_option(const Option &option, Writing *writing)
{
    static const unsigned char MODES[] = {MODE_IMPLICIT_LITTLE, MODE_EXPLICIT_LITTLE, MODE_EXPLICIT_BIG};
    Save_Options *save = &writing->save;
    switch (option.letter) {
    case 's':
        save->mode = MODES[option.choice];
        break;
    case OPTION_GROUP_LENGTH:
        save->group_lengths = true;
        break;
    case OPTION_DEFINED_LENGTH:
        save->defined_lengths = true;
        break;
    case OPTION_NO_PRIVATE:
        save->keep_private = false;
        break;
    case OPTION_STANDARD_GROUPS:
        save->standard_groups_only = true;
        break;
    case OPTION_BASE:
        if (option.value[0] == '\0')
            return wrong_use(*writing->command, "--base names no folder");
        writing->many.inputs.base = option.value;
        break;
    case OPTION_IN_PLACE:
        save->in_place = true;
        break;
    case OPTION_DRY_RUN:
        writing->dry_run = true;
        break;
    case OPTION_AS_UN:
        save->later_vrs_as_un = true;
        break;
    case 'v':
        writing->shows_all = true;
        show_remarks();
        break;
    default:
        return take_many_option(*writing->command, option, &writing->many);
    }
    return STATUS_DONE;
}

// ---- where results go -----------------------------------------------------------------

static bool is_folder(const std::string &path)
{
    struct stat state;
    return stat(path.c_str(), &state) == 0 && S_ISDIR(state.st_mode);
}

// Makes a folder and those around it. False, with errno: it is not there.
static bool make_folders(const std::string &path)
{
    for (size_t at = 1; at <= path.size(); at++)
        if ((at == path.size() || path[at] == '/') && path[at - 1] != '/')
            mkdir(path.substr(0, at).c_str(), 0777);
    return is_folder(path);
}

static int refuse(const std::string &name, const std::string &why)
{
    complain_about(name, why);
    return STATUS_UNREADABLE;
}

static std::string real_path(const std::string &path)
{
    char resolved[PATH_MAX];
    return realpath(path.c_str(), resolved) != nullptr ? resolved : "";
}

static bool begins_with(const std::string &text, const std::string &with)
{
    return text.compare(0, with.size(), with) == 0;
}

// Notes what the command line names, so that no result takes the place of a file before it was read. A folder around
// that of the results is no danger: the walk leaves that out.
static void note_inputs(Writing *writing)
{
    std::string out = real_path(writing->out) + "/";
    for (const std::string &path : writing->many.inputs.paths) {
        struct stat state;
        if (stat(path.c_str(), &state) != 0)
            continue;
        std::string folder = real_path(path) + "/";
        if (!S_ISDIR(state.st_mode))
            writing->files_read.insert({state.st_dev, state.st_ino});
        else if (out == folder || !begins_with(out, folder))
            writing->folders_read.push_back(folder);
    }
}

static bool is_read_by_run(const Writing &writing, const Input &input)
{
    struct stat state;
    if (stat(input.output.c_str(), &state) != 0 || is_same_file(input.output, input.path))
        return false;
    if (writing.files_read.count({state.st_dev, state.st_ino}) != 0)
        return true;
    std::string output = writing.folders_read.empty() ? "" : real_path(input.output);
    for (const std::string &folder : writing.folders_read)
        if (begins_with(output, folder))
            return true;
    return false;
}

// Whether a result of this run goes to this path already. Where one folder is walked, none does.
static bool is_taken(Writing *writing, const std::string &output)
{
    return writing->has_many_sources && !add_name(&writing->outputs, output);
}

static void plan_in_folder(Writing *writing, Input *input)
{
    if (input->path == "-") {
        input->refusal = "has no name for a file in " + visible(writing->out);
        return;
    }
    input->output += (writing->out.back() == '/' ? "" : "/") + input->inside;
    if (is_taken(writing, input->output))
        input->refusal = "is not written: another file of this run went to " + visible(input->output) +
                         "; --base keeps the folders apart";
    else if (is_read_by_run(*writing, *input))
        input->refusal = "is not written: " + visible(input->output) + " is to be read by this run as well";
}

static void plan_output(Input *input, void *user)
{
    Writing *writing = static_cast<Writing *>(user);
    if (writing->save.in_place) {
        input->output = input->path;
        if (input->path == "-" && !writing->is_target_open)
            input->refusal = "cannot be replaced";
        return;
    }
    input->output = writing->out;
    if (writing->into_folder)
        plan_in_folder(writing, input);
    const std::string &journal = writing->many.journal.path;
    if (!journal.empty() && is_same_file(input->output, journal))
        input->refusal = "is not written: " + visible(input->output) + " is the journal of this run";
}

// ---- one file -------------------------------------------------------------------------

static Save_Options options_for(const Writing &writing, const Input &input)
{
    Save_Options options = writing.save;
    options.source = input.path == "-" ? "" : input.path;
    options.dry_run = writing.dry_run;
    if (options.in_place && writing.keeps_old && !writing.is_target_open)
        options.backup = input.output + ".bak";
    return options;
}

static bool save_changed(const Writing &writing, const Input &input, const Save_Options &options, Data_Set *set,
                         std::string *error)
{
    if (writing.into_folder && !writing.dry_run && !make_folders(input.output.substr(0, input.output.rfind('/')))) {
        *error = std::string("its folder cannot be made: ") + strerror(errno);
        return false;
    }
    return save_to_path(set, writing.is_target_open ? "" : input.output.c_str(), options, error);
}

static int write_loaded(const Writing &writing, const Input &input, Data_Set *set, Tally *tally)
{
    std::string name = name_of(input), error;
    if (writing.save.in_place && set->damages > 0 && !writing.takes_damaged && !writing.is_target_open)
        return refuse(name, "is not replaced, since it could not be read in full; velmora repair does that");
    begin_file(name);
    make_editable(set);
    Save_Options options = options_for(writing, input);
    Change change = CHANGED;
    if (writing.change != nullptr)
        change = writing.change(set, name, &options, tally, writing.user);
    bool is_left = change == NOTHING_CHANGED && writing.save.in_place;
    bool done = change != CHANGE_FAILED && (is_left || save_changed(writing, input, options, set, &error));
    end_file(set);
    if (!done && !error.empty())
        complain_about(writing.is_target_open ? name : input.output == "-" ? "standard output" : input.output, error);
    return done ? finish_input(input, *set, STATUS_DONE) : static_cast<int>(STATUS_UNREADABLE);
}

static int write_one(const Input &input, Tally *tally, void *user)
{
    Data_Set set;
    int status = load_input(input, Load_Options(), &set, tally);
    if (status != STATUS_DONE)
        return status;
    status = write_loaded(*static_cast<const Writing *>(user), input, &set, tally);
    release_data_set(&set);
    return status;
}

// ---- the run --------------------------------------------------------------------------

int run_writing(Writing *writing, int argc, char **argv, Tally *total)
{
    const Command &command = *writing->command;
    int status = take_paths(command, argc, argv, &writing->many);
    if (status != STATUS_DONE)
        return status;
    Input_Choice *inputs = &writing->many.inputs;
    if (writing->dry_run && !writing->save.in_place && inputs->paths.size() == 1)
        writing->save.in_place = writing->is_target_open = true;   // nothing is written: it need not be said where to
    if (!writing->save.in_place) {
        if (inputs->paths.empty() || (inputs->paths.size() == 1 && inputs->lists.empty()))
            return wrong_use(command, "it is not said where the result goes");
        writing->out = inputs->paths.back();
        inputs->paths.pop_back();
        if (writing->out.empty())
            return wrong_use(command, "the name of where the result goes is empty");
    }
    bool several = has_several(*inputs);
    writing->into_folder = !writing->out.empty() && (several || is_folder(writing->out) || writing->out.back() == '/');
    if (writing->into_folder && writing->out == "-")
        return wrong_use(command, "several results cannot all go to standard output");
    if (writing->into_folder && access(writing->out.c_str(), F_OK) == 0 && !is_folder(writing->out))
        return wrong_use(command, "%s is no folder, and that is where several results go", quoted(writing->out).c_str());
    if (writing->into_folder) {
        inputs->skipped = writing->out;
        note_inputs(writing);
    }
    inputs->leaves_backups = writing->save.in_place && writing->keeps_old;
    inputs->plan = plan_output;
    inputs->planner = writing;
    writing->has_many_sources = several && (inputs->paths.size() != 1 || !inputs->lists.empty());
    Journal_Choice *journal = &writing->many.journal;
    if (!journal->path.empty() && writing->out == "-")
        return wrong_use(command, "a journal is kept of files, not of standard output");
    journal->output = writing->out;
    journal->counts = writing->counts;
    journal->writes_files = !writing->dry_run;
    if (!writing->dry_run && writing->out != "-")
        go_on_without_output();   // a reader that goes does not leave half of the files undone
    return work_on_files(command, writing->many, write_one, writing, total);
}
