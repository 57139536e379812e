// velmora dump: what is in a file.
#include <unistd.h>

#include "host/program/check_tree.h"
#include "host/program/command.h"
#include "host/program/dump.h"
#include "host/program/many.h"
#include "host/program/messages.h"
#include "host/program/output.h"

using namespace velmora_host;

static const char EXAMPLES[] = "velmora dump image.dcm\n"
                               "velmora dump --only PatientName --only 0040,a730[2]/0040,a168[1]/0008,0104 report.dcm\n"
                               "velmora dump --format json image.dcm | jq '.[\"00100010\"]'\n"
                               "velmora dump --format html image.dcm > image.html\n"
                               "find . -name '*.dcm' -print0 | velmora dump --format tsv --files-from - -0\n";

static const char TEXT[] =
    "FILE is a file, a folder with all that is in it, or - for standard input. TAG is 0010,0010, a name or keyword of "
    "the dictionary, may have wildcards (60*,3000) and a path in front, items counted from 1.\n"
    "JSON goes 100 sequences deep, below that they are bytes; group lengths are left out, numbers that JSON has not "
    "are "
    "texts (\"NaN\").\n";

enum Dump_Form { FORM_TREE, FORM_TSV, FORM_JSON, FORM_HTML };   // as the choices of --format

struct Dump_Work {
    Dump_Form form = FORM_TREE;
    std::vector<Tag_Path> only;
    Many_Choice many;
    Color_Choice wanted_color = COLOR_AUTO;
    bool color = false, raw = false, indent = false;
    Json_Form json;
    bool has_names = false;   // a line with the name in front of each file
    bool has_space = false;   // and an empty line in front of that
};

static void write_name(Dump_Work *work, const std::string &path)
{
    if (!work->has_names || work->form == FORM_JSON)
        return;
    if (work->form == FORM_TSV)
        write_out("# " + visible(path) + "\n");
    else
        write_out((work->has_space ? "\n==> " : "==> ") + visible(path) + " <==\n");
    work->has_space = true;
}

static void show(Dump_Work *work, const std::string &path, Data_Set *set)
{
    if (work->form == FORM_TSV)
        return dump_tsv(*set, work->only);
    if (work->form == FORM_TREE)
        return dump_tree(set, work->only, work->color, work->raw);
    Json json(work->indent);
    work->json.uri = file_uri(path);
    dump_json(&json, work->json, *set, work->only);
}

// The check tells what is wrong, on the page and not beside it.
static int dump_page(const Dump_Work &work, const Input &input, Data_Set *set, Tally *tally)
{
    Finding_Teller found;
    found.form = FINDINGS_KEPT;
    std::string error;
    Load_Result result = check_file(input, Check_Choice(), tally, &found, &error, set);
    if (result == NOT_A_DATA_SET && input.from_folder)
        return STATUS_SKIPPED;
    if (result != LOADED) {
        dump_failure(name_of(input), error);
        complain_about(name_of(input), error);
        return STATUS_UNREADABLE;
    }
    dump_html(*set, name_of(input), input.number, !work.has_names, found, work.only);
    return finish_input(input, *set, STATUS_DONE);
}

static int dump_input(const Input &input, Tally *tally, void *user)
{
    Dump_Work *work = static_cast<Dump_Work *>(user);
    Load_Options options;
    options.want_listing = work->form == FORM_TSV;

    // The last one is left to the end of the process, which takes it apart faster than we could.
    static Data_Set set;
    release_data_set(&set);
    if (work->form == FORM_HTML)
        return dump_page(*work, input, &set, tally);
    int status = load_input(input, options, &set, tally);
    if (status != STATUS_DONE)
        return status;
    write_name(work, input.path);
    begin_file(name_of(input));
    show(work, input.path, &set);
    end_file(&set);
    return finish_input(input, set, STATUS_DONE);
}

// ---- options --------------------------------------------------------------------------

enum { OPTION_COLOR = 256, OPTION_RAW, OPTION_CHARSET, OPTION_INDENT, OPTION_INLINE, OPTION_HEAD };

// clang-format off
static const Option_Row ROWS[] = {
    {'f', "format", "FORM", "tree tsv json html",
     "tree: the attributes with their values, for reading (this is the default)\n"
     "tsv: one line for each element, for programs: depth, path, tag, VR, length, offset\n"
     "json: the DICOM JSON model (DICOM PS3.18, annex F), in UTF-8, which (0008,0005) then says: an object for each "
     "file, a line each\n"
     "html: one page for a browser, a section for each file: a tree that folds, with search, and what velmora check "
     "finds marked where it stands; it loads nothing from elsewhere"},
    {'o', "only", "TAG", nullptr, "what stands under this tag alone; may be given several times"},
    {OPTION_RAW, "raw", nullptr, nullptr, "tree: texts as their bytes, not in the character set of the terminal"},
    {OPTION_CHARSET, "charset", "TERM", nullptr, "the character set of data sets that name none, as ISO_IR 100"},
    {OPTION_INDENT, "indent", nullptr, nullptr, "json: each object in lines, set in by depth"},
    {OPTION_INLINE, "inline", "BYTES", nullptr,
     "json: longer binary values are not written, but referred to by offset and length in the file; 0: no limit but for "
     "encapsulated pixel data. Normally 1024"},
    {OPTION_HEAD, "with-head", nullptr, nullptr, "json: group 0002 as well, which is no part of the data set"},
    {OPTION_COLOR, "color", "WHEN", "auto always never",
     "auto (on a terminal, unless NO_COLOR is set; this is the default), always or never"},
    {'v', "verbose", nullptr, nullptr,
     "remarks as well as warnings: retired attributes, VRs that differ from the dictionary"},
    {0, nullptr, nullptr, nullptr, nullptr},
};
// clang-format on
static const Option_Table OWN = {"Options", ROWS, true};
static const Option_Table *const TABLES[] = {&OWN, &many_options, nullptr};

static int take_option(const Option &option, void *user)
{
    Dump_Work *work = static_cast<Dump_Work *>(user);
    Tag_Path path;
    std::string error;
    switch (option.letter) {
    case 'f':
        work->form = static_cast<Dump_Form>(option.choice);
        break;
    case 'o':
        if (!parse_tag_path(option.value, &path, &error))
            return wrong_use(command_dump, "%s", error.c_str());
        work->only.push_back(path);
        break;
    case OPTION_COLOR:
        work->wanted_color = static_cast<Color_Choice>(option.choice);
        break;
    case OPTION_RAW:
        work->raw = true;
        break;
    case OPTION_CHARSET:
        if (!choose_charset(option.value, &error))
            return wrong_use(command_dump, "%s", error.c_str());
        break;
    case OPTION_INDENT:
        work->indent = true;
        break;
    case OPTION_INLINE:
        if (!parse_byte_limit(option.value, &work->json.inline_limit))
            return wrong_use(command_dump, "--inline takes a number of bytes, not %s", quoted(option.value).c_str());
        break;
    case OPTION_HEAD:
        work->json.has_head = true;
        break;
    case 'v':
        show_remarks();
        break;
    default:
        return take_many_option(command_dump, option, &work->many);
    }
    return STATUS_DONE;
}

static int run_dump(int argc, char **argv)
{
    Dump_Work work;
    int status = STATUS_DONE;
    if (!take_options(command_dump, argc, argv, take_option, &work, &status))
        return status;
    status = take_paths(command_dump, argc, argv, &work.many);
    if (status != STATUS_DONE)
        return status;

    work.color = wants_color(work.wanted_color, STDOUT_FILENO);
    work.has_names = has_several(work.many.inputs);
    work.has_space = work.many.jobs > 1;   // no worker knows which file came first
    Tally total;
    if (work.form != FORM_HTML)
        return work_on_files(command_dump, work.many, dump_input, &work, &total);
    show_remarks();
    start_page(work.has_names ? "velmora dump" : name_of({work.many.inputs.paths[0], ""}));
    status = work_on_files(command_dump, work.many, dump_input, &work, &total);
    end_page();
    return status;
}

extern const Command command_dump = {
    "dump",
    "dump [OPTIONS] FILE...",
    "Shows what is in data sets, attribute by attribute",
    EXAMPLES,
    TABLES,
    TEXT,
    "0 done, 2 wrong use, 3 a file could not be read",
    run_dump,
};
