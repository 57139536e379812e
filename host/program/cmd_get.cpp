// velmora get: the values of attributes.
#include <getopt.h>

#include "host/program/command.h"
#include "host/program/find.h"
#include "host/program/many.h"
#include "host/program/messages.h"
#include "host/program/output.h"
#include "host/program/terminal.h"
#include "tree/DICOM_Constants.h"

using namespace velmora_host;

static const char EXAMPLES[] = "velmora get PatientName image.dcm\n"
                               "velmora get --all 0008,1155 report.dcm\n"
                               "velmora get -t StudyDate -t Modality --json folder\n"
                               "velmora get --raw EncapsulatedDocument report.dcm > report.pdf\n";

static const char TEXT[] =
    "Prints a line for each value. TAG is the first argument; with --tag, all arguments are files. It is 0010,0010, a "
    "name of the dictionary (\"Patient's Name\") or its keyword (PatientName), may have wildcards (60*,3000), and in "
    "front a path (0040,a730[2]/0040,a168/0008,0104): items count from 1, without a number all are meant.\n"
    "FILE is a file, a folder with all that is in it, or - for standard input.\n";

struct Get_Work {
    std::vector<Tag_Path> tags;
    bool everywhere = false, raw = false, json = false;
    bool has_names = false, has_paths = false;
    Json_Form form;
    std::string name;   // of the file
};

// ---- one attribute --------------------------------------------------------------------

static std::string hexadecimal(Bytes_View bytes, size_t limit)
{
    static const char digits[] = "0123456789abcdef";
    std::string text;
    size_t shown = bytes.size <= limit ? bytes.size : limit;
    for (size_t i = 0; i < shown; i++) {
        text += digits[static_cast<unsigned char>(bytes.data[i]) >> 4];
        text += digits[bytes.data[i] & 15];
    }
    return shown < bytes.size ? text + "... (" + std::to_string(bytes.size) + " bytes)" : text;
}

static int count_items(const DICOM_List *node)
{
    int count = 0;
    while (count < node->nb_item && node->item[count] != nullptr)
        count++;
    return count;
}

static std::string items_text(const Found &found, const Opaque *opaque)
{
    int count = count_items(found.node);
    Data_Set opened;
    std::string error;
    if (opaque != nullptr && load_opaque(*found.place.set, *opaque, Load_Options(), &opened, &error) == LOADED)
        count = opened.tree != nullptr ? count_items(opened.tree) : 0;
    release_data_set(&opened);
    select_data_set(*found.place.set);
    return std::to_string(count) + (count == 1 ? " item" : " items");
}

// Its values as they are printed; one empty text for an empty value.
static std::vector<std::string> printed_values(const Found &found, size_t limit)
{
    const Data_Set &set = *found.place.set;
    const Value_Rule &rule = value_rule(value_vr(found.node, *found.context));
    const Opaque *opaque = set.opaque.empty() ? nullptr : find_opaque(set, found.node);
    std::vector<std::string> values;
    Bytes_View bytes = value_bytes(set, found.node);
    bool has_items = opaque != nullptr || found.node->item != nullptr || bytes.size == 0;
    if ((rule.kind == VALUES_OF_ITEMS && has_items) || opaque != nullptr) {
        values.push_back(items_text(found, opaque));
    } else if (rule.kind == VALUES_OF_BYTES && found.node->item != nullptr) {
        values.push_back(std::to_string(count_items(found.node)) + " fragments, " + std::to_string(bytes.size) +
                         " bytes");
    } else if (rule.kind == VALUES_OF_BYTES || rule.kind == VALUES_OF_ITEMS) {   // or no items could be read from it
        values.push_back(hexadecimal(bytes, limit));
    } else if (rule.kind == VALUES_OF_NUMBERS || rule.kind == VALUES_OF_TAGS) {
        size_t count = number_count(found.node, rule, bytes);
        for (size_t i = 0; i < count; i++)
            values.push_back(number_text(number_at(found.node, rule, bytes, i)));
    } else {
        values = text_values(set, found.node, rule, *found.context);
    }
    if (values.empty())
        values.push_back("");
    return values;
}

static void write_json(const Get_Work &work, const Found &found)
{
    Json json(false);
    json.start_object();
    json.key("file");
    json.string(utf8_of(work.name));
    json.key("path");
    json.string(found.path);
    write_attribute(&json, work.form, found.place, found.node, *found.context);
    json.end_object();
    json.end_document();
}

static void take_found(const Found &found, void *user)
{
    const Get_Work &work = *static_cast<Get_Work *>(user);
    if (work.json)
        return write_json(work, found);
    if (work.raw) {
        Bytes_View bytes = value_bytes(*found.place.set, found.node);
        return write_out(bytes.data, bytes.size);
    }
    std::string front = work.has_names ? visible(work.name) + ":" : "";
    if (work.has_paths)
        front += found.path + "\t";
    for (const std::string &value : printed_values(found, work.form.inline_limit))
        write_out(front + for_terminal(value) + "\n");
}

// ---- one file -------------------------------------------------------------------------

static int get_input(const Input &input, Tally *tally, void *user)
{
    Get_Work *work = static_cast<Get_Work *>(user);
    static Data_Set set;   // the last one is left to the end of the process
    release_data_set(&set);
    int status = load_input(input, Load_Options(), &set, tally);
    if (status != STATUS_DONE)
        return status;
    work->name = input.path;
    work->form.uri = file_uri(input.path);
    begin_file(name_of(input));
    for (const Tag_Path &path : work->tags)
        if (find_attributes(set, path, work->everywhere, take_found, work) == 0)
            status = STATUS_FOUND;
    end_file(&set);
    return finish_input(input, set, status);
}

// ---- options --------------------------------------------------------------------------

enum { OPTION_NO_FILENAME = 256, OPTION_JSON, OPTION_LIMIT, OPTION_CHARSET };

// clang-format off
static const Option_Row ROWS[] = {
    {'t', "tag", "TAG", nullptr, "this attribute; may be given several times"},
    {'a', "all", nullptr, nullptr, "wherever it stands, in sequences up to a hundred deep"},
    {'p', "path", nullptr, nullptr,
     "the path in front of each value, with a tab; so it is with several TAGs, with --all, and where TAG can mean "
     "several places"},
    {'H', "with-filename", nullptr, nullptr, "the file in front; so it is with several files"},
    {OPTION_NO_FILENAME, "no-filename", nullptr, nullptr, "no file and no path in front"},
    {OPTION_JSON, "json", nullptr, nullptr,
     "an object for each attribute, a line each: file, path, and the members of the DICOM JSON model"},
    {'r', "raw", nullptr, nullptr, "the bytes of the value field as they are, and nothing else"},
    {OPTION_LIMIT, "limit", "BYTES", nullptr,
     "of a binary value (in hexadecimal) not more than this; 0: all. Normally 256"},
    {OPTION_CHARSET, "charset", "TERM", nullptr, "the character set of data sets that name none, as ISO_IR 100"},
    {0, nullptr, nullptr, nullptr, nullptr},
};
// clang-format on
static const Option_Table OWN = {"Options", ROWS, true};
static const Option_Table *const TABLES[] = {&OWN, &many_options, nullptr};

struct Get_Options {
    Get_Work work;
    bool wants_name = false, wants_path = false, wants_bare = false;
    Many_Choice choice;
};

static int add_tag(Get_Work *work, const char *text)
{
    Tag_Path path;
    std::string error;
    if (!parse_tag_path(text, &path, &error))
        return wrong_use(command_get, "%s", error.c_str());
    if (path.steps.back().item != 0)
        return wrong_use(command_get, "%s names an item; name an attribute in it", quoted(text).c_str());
    work->tags.push_back(path);
    return STATUS_DONE;
}

static int take_option(const Option &option, void *user)
{
    Get_Options *options = static_cast<Get_Options *>(user);
    Get_Work *work = &options->work;
    std::string error;
    switch (option.letter) {
    case 't':
        return add_tag(work, option.value);
    case 'a':
        work->everywhere = true;
        break;
    case 'p':
        options->wants_path = true;
        break;
    case 'H':
        options->wants_name = true;
        break;
    case OPTION_NO_FILENAME:
        options->wants_bare = true;
        break;
    case OPTION_JSON:
        work->json = true;
        break;
    case 'r':
        work->raw = true;
        break;
    case OPTION_LIMIT:
        if (!parse_byte_limit(option.value, &work->form.inline_limit))
            return wrong_use(command_get, "--limit takes a number of bytes, not %s", quoted(option.value).c_str());
        break;
    case OPTION_CHARSET:
        if (!choose_charset(option.value, &error))
            return wrong_use(command_get, "%s", error.c_str());
        break;
    default:
        return take_many_option(command_get, option, &options->choice);
    }
    return STATUS_DONE;
}

// Whether a path names one place.
static bool is_single(const Tag_Path &path)
{
    for (size_t i = 0; i < path.steps.size(); i++)
        if (!path.steps[i].is_exact || (i + 1 < path.steps.size() && path.steps[i].item == 0))
            return false;
    return true;
}

static int run_get(int argc, char **argv)
{
    Get_Options options;
    Get_Work &work = options.work;
    work.form.inline_limit = 256;
    int status = STATUS_DONE;
    if (!take_options(command_get, argc, argv, take_option, &options, &status))
        return status;
    if (work.tags.empty() && optind == argc)
        return wrong_use(command_get, "no tag is given");
    if (work.tags.empty() && (status = add_tag(&work, argv[optind++])) != STATUS_DONE)
        return status;
    status = take_paths(command_get, argc, argv, &options.choice);
    if (status != STATUS_DONE)
        return status;
    if (options.wants_bare && (options.wants_name || options.wants_path))
        return wrong_use(command_get, "--no-filename leaves out what --with-filename and --path ask for; choose one");
    if (work.raw && work.json)
        return wrong_use(command_get, "--raw and --json are two forms; choose one");

    work.has_names = !options.wants_bare && (options.wants_name || has_several(options.choice.inputs));
    work.has_paths = !options.wants_bare &&
                     (options.wants_path || work.everywhere || work.tags.size() > 1 || !is_single(work.tags[0]));
    Tally total;
    return work_on_files(command_get, options.choice, get_input, &work, &total);
}

extern const Command command_get = {
    "get",
    "get [OPTIONS] TAG FILE...",
    "Prints the values of attributes",
    EXAMPLES,
    TABLES,
    TEXT,
    "0 done, 1 a TAG was not found in a file, 2 wrong use, 3 a file could not be read",
    run_get,
};
