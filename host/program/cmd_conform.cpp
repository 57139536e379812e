// velmora conform: data sets in line with the template of their kind.
#include <getopt.h>
#include <string.h>

#include "host/charset.h"
#include "host/program/assignment.h"
#include "host/program/command.h"
#include "host/program/definitions.h"
#include "host/program/delete_below.h"
#include "host/program/folding.h"
#include "host/program/messages.h"
#include "host/program/output.h"
#include "host/program/tag_path.h"
#include "host/program/writing.h"
#include "host/velmora_conform.h"
#include "tree/DICOM_Constants.h"

using namespace velmora_host;

static const char EXAMPLES[] =
    "velmora conform --dry-run import/ out/\n"
    "velmora conform --jobs 4 import/ out/\n"
    "velmora conform --set ConversionType=WSD --set 'PatientName=Doe^Jane' scan.dcm new.dcm\n";

static const char TEXT[] =
    "What the template demands and the data set lacks is added: empty, where that is allowed, or with a value that "
    "follows from the data set (UIDs, the SOP class, the modality, what the pixel data tells of itself). Values are "
    "brought into the form of their VR, empty attributes that may be absent are taken out, and what a person alone can "
    "know is listed as lacking. Nothing is guessed. A value that is wrong is kept where the template asks for it, and "
    "taken out where it does not. Private attributes, and sequences that the template does not describe, stay as they "
    "are.\n"
    "Each line says the file and what was done: added, changed, removed, or lacking. What is the same in many items of "
    "a file is told three times and counted from then on, unless --verbose asks for each.\n";

struct Conform_Work {
    Writing writing;
    Conform_Options options;
    std::string module = "auto";
    std::vector<Assignment> given;
    Tag_Numbers forbidden;   // by the template of the file at hand
    bool is_quiet = false;
};

// Places in Tally::own.
enum { ADDED, ALTERED, REMOVED, FILES_LACKING };   // the first three as in Change_Kind
static const char *const COUNTS[] = {"added", "changed", "removed", "lacking", nullptr};

// ---- lines ----------------------------------------------------------------------------

// Results go to standard output, unless the data set itself goes there.
static void write_line(const Conform_Work &work, const std::string &text)
{
    if (work.writing.out == "-")
        write_err(text + "\n");
    else
        write_out(text + "\n");
}

static std::string shown(const std::string &charset_term, const std::string &value)
{
    Character_Set charset;
    std::string text, unknown;
    parse_character_set(charset_term.data(), charset_term.size(), &charset, &unknown);
    append_utf8(charset, value.data(), value.size(), TEXT_WHOLE, &text);
    return visible(text);
}

static std::string place_text(const std::string &path, unsigned short group, unsigned short element,
                              const std::string &name)
{
    std::string text = path + tag_text(group, element);
    return name.empty() ? text : text + " " + visible(name);
}

// Whether an attribute is one of those that an assignment names: a step without an item is meant in all of them.
static bool is_given(const Assignment &what, const Conform_Change &change)
{
    const std::string place = change.path + tag_text(change.group, change.element);
    size_t at = 0;
    for (const Tag_Step &step : what.path.steps) {
        std::string tag = tag_text(step.group, step.element);
        if (place.compare(at, tag.size(), tag) != 0)
            return false;
        at += tag.size();
        if (&step == &what.path.steps.back())
            break;
        size_t end = place.find("]/", at);
        if (end == std::string::npos || (step.item > 0 && place.substr(at + 1, end - at - 1) != std::to_string(step.item)))
            return false;
        at = end + 2;
    }
    return at == place.size();
}

// "added 0010,0020 Patient ID", "changed 0008,0020 Study Date: 2004.01.19 -> 20040119".
//   around  the path of the items around it, or nothing
static std::string change_text(const Conform_Work &work, const Conform_Change &change, const std::string &around)
{
    static const char *const words[] = {"added ", "changed ", "removed "};
    std::string text = words[change.kind] + place_text(around, change.group, change.element, change.name);
    std::string before = shown(change.charset, change.before), after = shown(change.charset, change.after);
    if (change.kind == VALUE_CHANGED)
        text += ": " + (before.empty() ? "nothing" : before) + " -> " + (after.empty() ? "nothing" : after);
    else if (!before.empty() || !after.empty())
        text += ": " + before + after;
    std::string why = change.why;
    for (const Assignment &what : work.given)
        if (is_given(what, change))
            why = "given";
    return why.empty() ? text : text + " (" + why + ")";
}

static std::string lack_text(const Conform_Lack &lack)
{
    static const char *const words[] = {"is not there", "is empty", "has a value that is not allowed"};
    std::string text = "lacking " + place_text(lack.path, lack.group, lack.element, lack.name) + ": type ";
    text += static_cast<char>(lack.type >> 8);
    if ((lack.type & 0xFF) != ' ')
        text += static_cast<char>(lack.type & 0xFF);
    text += std::string(", ") + words[lack.kind];
    return lack.items > 1 ? text + ", in " + std::to_string(lack.items) + " items" : text;
}

static std::string counted(size_t count, const char *word)
{
    return std::to_string(count) + " " + word;
}

static void write_result(const Conform_Work &work, const std::string &name, const Conform_Result &result,
                         const int64_t counts[3], int64_t below)
{
    std::string file = visible(name) + ": ";
    write_line(work, file + result.module + ": " + std::to_string(counts[ADDED]) + " added, " +
                         std::to_string(counts[ALTERED]) + " changed, " + std::to_string(counts[REMOVED]) +
                         " removed, " + counted(result.lacks.size(), "lacking"));
    if (work.is_quiet)
        return;
    Repeats repeats;
    repeats.shows_all = work.writing.shows_all;
    for (const Conform_Change &change : result.changes)
        if (repeats.is_told(change_text(work, change, "")))
            write_line(work, file + change_text(work, change, change.path));
    for (const std::string &text : repeats.counted())
        write_line(work, file + text);
    if (below > 0)
        write_line(work, file + "removed " + counted(static_cast<size_t>(below), "below the ninth level of sequences") +
                             " (the template takes it out)");
    if (result.padded == 1)
        write_line(work, file + "changed the padding of 1 value");
    else if (result.padded > 0)
        write_line(work, file + "changed the padding of " + counted(static_cast<size_t>(result.padded), "values"));
    for (const Conform_Lack &lack : result.lacks)
        write_line(work, file + lack_text(lack));
}

// ---- one file -------------------------------------------------------------------------

static bool give(Data_Set *set, void *user, std::string *error)
{
    for (const Assignment &what : static_cast<const Conform_Work *>(user)->given)
        if (!assign(set, what, error))
            return false;
    return true;
}

// What the steps find and change is told in lines of ours; failures are still reported.
struct Silence {
    Silence() : threshold(Error_Get_Threshold())
    {
        Error_Set_Threshold(2);
    }
    ~Silence()
    {
        Error_Set_Threshold(threshold);
    }
    Silence(const Silence &) = delete;
    int threshold;
};

// What the template takes out below the ninth level goes when the data set is written.
static int64_t forbid_below(Conform_Work *work, const Data_Set &set, const std::string &module, Save_Options *save)
{
    std::string error;
    work->forbidden = forbidden_tags(read_template(module, &error));
    int64_t below = count_below(set, work->forbidden);
    if (below > 0) {
        save->change = delete_inside;
        save->user = &work->forbidden;
    }
    return below;
}

static Change conform_set(Data_Set *set, const std::string &name, Save_Options *save, Tally *tally, void *user)
{
    Conform_Work *work = static_cast<Conform_Work *>(user);
    Conform_Result result;
    std::string error;
    bool is_done, is_fallback;
    if (work->options.module.empty())
        read_template(find_module(*set, &is_fallback), &error);   // what is wrong in it is told
    {
        Silence silence;
        is_done = conform(set, work->options, &result, &error);
    }
    if (!is_done) {
        complain_about(name, "is not changed: " + error);
        return CHANGE_FAILED;
    }
    int64_t below = set->opaque.empty() ? 0 : forbid_below(work, *set, result.module, save);
    int64_t counts[3] = {0, 0, below};
    for (const Conform_Change &change : result.changes)
        counts[change.kind]++;
    for (int kind : {ADDED, ALTERED, REMOVED})
        tally->own[kind] += counts[kind];
    tally->own[FILES_LACKING] += !result.lacks.empty();
    write_result(*work, name, result, counts, below);
    return result.changes.empty() && result.padded == 0 && below == 0 ? NOTHING_CHANGED : CHANGED;
}

static void write_summary(const Conform_Work &work, const Tally &total)
{
    int64_t done = total.files - total.skipped - total.failed;
    if (total.files < 2)
        return;
    write_line(work, std::to_string(done) + " files: " + std::to_string(total.own[ADDED]) + " added, " +
                         std::to_string(total.own[ALTERED]) + " changed, " + std::to_string(total.own[REMOVED]) +
                         " removed; " + std::to_string(total.own[FILES_LACKING]) + " of them lack something");
}

// ---- options --------------------------------------------------------------------------

enum { OPTION_UID_ROOT = 256, OPTION_OVERRIDE };

// clang-format off
static const Option_Row ROWS[] = {
    {'m', "module", "NAME", nullptr,
     "the template, as velmora template lists them; auto: that of the SOP class, or of the modality where there is none "
     "(this is the default)"},
    {'t', "set", "TAG=VALUE", nullptr,
     "give an attribute a value, as velmora edit does; may be given several times"},
    {OPTION_UID_ROOT, "uid-root", "ROOT", nullptr, "new UIDs stand below this one; else below 2.25, made at random"},
    {OPTION_OVERRIDE, "override", "FILE", nullptr,
     "lines of a definition file that go before those of the template, to force or to forbid"},
    {'q', "quiet", nullptr, nullptr, "one line for each file"},
    {0, nullptr, nullptr, nullptr, nullptr},
};
// clang-format on
static const Option_Table OWN = {"Options", ROWS, true};
static const Option_Table *const TABLES[] = {&OWN, &writing_options, &many_options, &journal_options, nullptr};

// The library merges the lines of an override as they stand, so that a line for an item would be one for the top level,
// and one out of order would be missed.
static int judge_override(FILE *file, const char *path)
{
    char line[2048];
    unsigned int last = 0;
    for (int number = 1; fgets(line, sizeof line, file) != nullptr; number++) {
        const char *at = line + strspn(line, " \t!=-+");
        unsigned int group = 0, element = 0;
        if (*at == '>')
            return wrong_use(command_conform, "line %d of %s is about an item, which an override cannot change", number,
                             quoted(path).c_str());
        if (sscanf(at, "(%4x,%4x)", &group, &element) != 2)
            continue;
        unsigned int tag = group << 16 | element;
        if (tag < last)
            return wrong_use(command_conform, "line %d of %s stands behind a greater tag; they must be in order", number,
                             quoted(path).c_str());
        last = tag;
    }
    return STATUS_DONE;
}

static int take_override(const char *path)
{
    FILE *file = strlen(path) < sizeof DICOM_Override ? fopen(path, "re") : nullptr;
    if (file == nullptr)
        return wrong_use(command_conform, "--override names %s, which cannot be read", quoted(path).c_str());
    int status = judge_override(file, path);
    fclose(file);
    strcpy(DICOM_Override, path);
    return status;
}

static int take_option(const Option &option, void *user)
{
    Conform_Work *work = static_cast<Conform_Work *>(user);
    const char *value = option.value;
    std::string error;
    switch (option.letter) {
    case 'm':
        work->module = value;
        break;
    case 'q':
        work->is_quiet = true;
        break;
    case 't':
        work->given.emplace_back();
        if (!parse_assignment(value, &work->given.back(), &error))
            return wrong_use(command_conform, "%s", error.c_str());
        break;
    case OPTION_UID_ROOT:
        if (!is_uid_root(value))
            return wrong_use(command_conform, "%s is no UID that leaves room for another part", quoted(value).c_str());
        work->options.uid_root = value;
        break;
    case OPTION_OVERRIDE:
        return take_override(value);
    default:
        return take_writing_option(option, &work->writing);
    }
    return STATUS_DONE;
}

// The definitions are read once, and what is wrong in them is told before the first file.
static int settle_module(Conform_Work *work)
{
    std::string error;
    if (definitions_place().empty()) {
        complain("there are no definitions of templates; --definitions or VELMORA_DEFINITIONS names their folder");
        return STATUS_UNREADABLE;
    }
    if (work->module == "auto")
        return STATUS_DONE;
    std::vector<std::string> names = definition_names(TEMPLATE_PREFIX);
    int at = find_name(names, work->module);
    if (at == NAME_NOT_FOUND)
        return wrong_use(command_conform, "there is no template %s; velmora template lists them",
                         quoted(work->module).c_str());
    work->options.module = names[static_cast<size_t>(at)];
    if (read_template(work->options.module, &error) != nullptr)
        return STATUS_DONE;
    complain("%s", error.c_str());
    return STATUS_UNREADABLE;
}

static int run_conform(int argc, char **argv)
{
    Conform_Work work;
    work.writing.command = &command_conform;
    work.writing.change = conform_set;
    work.writing.user = &work;
    work.writing.counts = COUNTS;
    work.options.report_lacks = false;
    work.options.give = give;
    work.options.user = &work;
    int status = STATUS_DONE;
    if (!take_options(command_conform, argc, argv, take_option, &work, &status))
        return status;
    status = settle_module(&work);
    if (status != STATUS_DONE)
        return status;
    if (!register_makers()) {
        complain("not enough memory");
        return STATUS_UNREADABLE;
    }
    Tally total;
    status = run_writing(&work.writing, argc, argv, &total);
    write_summary(work, total);
    return total.own[FILES_LACKING] > 0 ? worse(status, STATUS_FOUND) : status;
}

extern const Command command_conform = {
    "conform",
    "conform [OPTIONS] IN... OUT",
    "Brings data sets in line with the template of their kind",
    EXAMPLES,
    TABLES,
    TEXT,
    "0 done, 1 something is lacking still, 2 wrong use, 3 a file could not be read or written",
    run_conform,
};
