// velmora dump: what is in a file.
#include <string.h>

#include "host/program/command.h"
#include "host/program/dump.h"
#include "host/program/many.h"
#include "host/program/messages.h"
#include "host/program/output.h"

using namespace velmora_host;

static const char HELP[] =
    "  -f, --format FORM   tree: the attributes with their values, for reading (this is the default)\n"
    "                      tsv: one line for each element, for programs: depth, path, tag, VR, length, offset\n"
    "                      json: the DICOM JSON model (DICOM PS3.18, annex F), in UTF-8, which (0008,0005) then\n"
    "                      says: an object for each file, a line each\n"
    "  -o, --only TAG      what stands under this tag alone; may be given several times\n"
    "      --raw           tree: texts as their bytes, not in the character set of the terminal\n"
    "      --charset TERM  the character set of data sets that name none, as ISO_IR 100\n"
    "      --indent        json: each object in lines, set in by depth\n"
    "      --inline BYTES  json: longer binary values are not written, but referred to by offset and length in the\n"
    "                      file; 0: no limit but for encapsulated pixel data. Normally 1024\n"
    "      --with-head     json: group 0002 as well, which is no part of the data set\n"
    "      --color WHEN    auto (on a terminal), always or never\n"
    "  -v, --verbose       remarks as well as warnings: retired attributes, VRs that differ from the dictionary\n"
    MANY_HELP
    "  -h, --help          this text\n"
    "\n"
    "FILE is a file, a folder with all that is in it, or - for standard input. TAG is 0010,0010, a name or keyword of\n"
    "the dictionary, may have wildcards (60*,3000) and a path in front, items counted from 1. JSON goes 100 sequences\n"
    "deep, below that they are bytes; group lengths are left out, numbers that JSON has not are texts (\"NaN\").\n"
    "\n"
    "Examples:\n"
    "  velmora dump image.dcm\n"
    "  velmora dump --only PatientName --only 0040,a730[2]/0040,a168[1]/0008,0104 report.dcm\n"
    "  velmora dump --format json image.dcm | jq '.[\"00100010\"]'\n"
    "  find . -name '*.dcm' -print0 | velmora dump --format tsv --files-from - -0\n";

enum Dump_Form { FORM_TREE, FORM_TSV, FORM_JSON };

struct Dump_Work {
    Dump_Form form = FORM_TREE;
    std::vector<Tag_Path> only;
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

static int dump_input(const Input &input, Tally *tally, void *user)
{
    Dump_Work *work = static_cast<Dump_Work *>(user);
    Load_Options options;
    options.want_listing = work->form == FORM_TSV;

    // The last one is left to the end of the process, which takes it apart faster than we could.
    static Data_Set set;
    release_data_set(&set);
    int status = load_input(input, options, &set, tally);
    if (status != STATUS_DONE)
        return status;
    write_name(work, input.path);
    begin_file(name_of(input));
    show(work, input.path, &set);
    end_file(&set);
    return STATUS_DONE;
}

// ---- options --------------------------------------------------------------------------

enum { OPTION_COLOR = 256, OPTION_RAW, OPTION_CHARSET, OPTION_INDENT, OPTION_INLINE, OPTION_HEAD };

static const option LONGS[] = {
    {"format",     required_argument, nullptr, 'f'              },
    {"only",       required_argument, nullptr, 'o'              },
    {"color",      required_argument, nullptr, OPTION_COLOR     },
    {"raw",        no_argument,       nullptr, OPTION_RAW       },
    {"charset",    required_argument, nullptr, OPTION_CHARSET   },
    {"indent",     no_argument,       nullptr, OPTION_INDENT    },
    {"inline",     required_argument, nullptr, OPTION_INLINE    },
    {"with-head",  no_argument,       nullptr, OPTION_HEAD      },
    {"verbose",    no_argument,       nullptr, 'v'              },
    MANY_LONGS,
    {nullptr,      0,                 nullptr, 0                },
};

static bool parse_form(const char *text, Dump_Form *form)
{
    static const struct {
        const char *name;
        Dump_Form form;
    } rows[] = {
        {"tree", FORM_TREE},
        {"tsv",  FORM_TSV },
        {"json", FORM_JSON},
    };
    for (const auto &row : rows) {
        if (strcmp(text, row.name) == 0) {
            *form = row.form;
            return true;
        }
    }
    return false;
}

static int take_option(int letter, Dump_Work *work, Many_Choice *choice, Color_Choice *color)
{
    int status = STATUS_DONE;
    Tag_Path path;
    std::string error;
    switch (letter) {
    case 'f':
        if (!parse_form(optarg, &work->form))
            return wrong_use(command_dump, "%s is no format; there are tree, tsv and json", quoted(optarg).c_str());
        break;
    case 'o':
        if (!parse_tag_path(optarg, &path, &error))
            return wrong_use(command_dump, "%s", error.c_str());
        work->only.push_back(path);
        break;
    case OPTION_COLOR:
        if (!parse_color_choice(optarg, color))
            return wrong_use(command_dump, "--color takes auto, always or never, not %s", quoted(optarg).c_str());
        break;
    case OPTION_RAW:
        work->raw = true;
        break;
    case OPTION_CHARSET:
        if (!choose_charset(optarg, &error))
            return wrong_use(command_dump, "%s", error.c_str());
        break;
    case OPTION_INDENT:
        work->indent = true;
        break;
    case OPTION_INLINE:
        if (!parse_byte_limit(optarg, &work->json.inline_limit))
            return wrong_use(command_dump, "--inline takes a number of bytes, not %s", quoted(optarg).c_str());
        break;
    case OPTION_HEAD:
        work->json.has_head = true;
        break;
    case 'v':
        show_remarks();
        break;
    default:
        take_many_option(command_dump, letter, choice, &status);
        break;
    }
    return status;
}

static int run_dump(int argc, char **argv)
{
    Dump_Work work;
    Many_Choice choice;
    Color_Choice color = COLOR_AUTO;
    int status = STATUS_DONE;
    for (int letter;
         (letter = next_option(command_dump, argc, argv, "f:o:v" MANY_SHORTS, LONGS, &status)) != OPTION_END;) {
        if (letter == OPTION_STOP)
            return status;
        status = take_option(letter, &work, &choice, &color);
        if (status != STATUS_DONE)
            return status;
    }
    status = take_paths(command_dump, argc, argv, &choice);
    if (status != STATUS_DONE)
        return status;

    work.color = wants_color(color, 1);
    work.has_names = has_several(choice.inputs);
    work.has_space = choice.jobs > 1;   // no worker knows which file came first
    Tally total;
    return work_on_files(choice, dump_input, &work, &total);
}

extern const Command command_dump = {
    "dump", "dump [OPTIONS] FILE...", "Shows what is in data sets, attribute by attribute", HELP, run_dump,
};
