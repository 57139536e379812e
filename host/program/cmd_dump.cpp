// velmora dump: what is in a file.
#include <string.h>

#include "host/program/command.h"
#include "host/program/dump.h"
#include "host/program/inputs.h"
#include "host/program/messages.h"
#include "host/program/output.h"

using namespace velmora_host;

static const char HELP[] =
    "  -f, --format FORM   tree: the attributes with their values, for reading (this is the default)\n"
    "                      tsv: one line for each element, for programs: depth, path, tag, VR, length, offset\n"
    "  -o, --only TAG      what stands under this tag alone; may be given several times\n"
    "      --color WHEN    auto (on a terminal), always or never\n"
    "      --files-from F  read paths from this file, - is standard input\n"
    "  -0, --null          the paths in there end with a zero byte\n"
    "  -v, --verbose       remarks as well as warnings: retired attributes, VRs that differ from the dictionary\n"
    "  -h, --help          this text\n"
    "\n"
    "FILE is a file, a folder with all that is in it, or - for standard input. TAG is 0010,0010, a name or keyword of\n"
    "the dictionary, may have wildcards (60*,3000) and a path in front, items counted from 1.\n"
    "\n"
    "Examples:\n"
    "  velmora dump image.dcm\n"
    "  velmora dump --only PatientName --only 0040,a730[2]/0040,a168[1]/0008,0104 report.dcm\n"
    "  find . -name '*.dcm' -print0 | velmora dump --format tsv --files-from - -0\n";

enum Dump_Form { FORM_TREE, FORM_TSV };

struct Dump_Work {
    Dump_Form form = FORM_TREE;
    std::vector<Tag_Path> only;
    bool color = false;
    bool has_names = false;   // a line with the name in front of each file
    int shown = 0, not_data_sets = 0;
};

static void write_name(const Dump_Work &work, const std::string &path)
{
    if (!work.has_names)
        return;
    if (work.form == FORM_TSV)
        write_out("# " + visible(path) + "\n");
    else
        write_out((work.shown > 1 ? "\n==> " : "==> ") + visible(path) + " <==\n");
}

static int dump_input(const Input &input, void *user)
{
    Dump_Work *work = static_cast<Dump_Work *>(user);
    std::string name = input.path == "-" ? "standard input" : input.path, error;
    Load_Options options;
    options.want_listing = work->form == FORM_TSV;
    options.want_tree = true;

    // The last one is left to the end of the process, which takes it apart faster than we could.
    static Data_Set set;
    release_data_set(&set);
    begin_file(name);
    Load_Result result = load_from_path(input.path.c_str(), options, &set, &error);
    if (result == NOT_A_DATA_SET && input.from_folder) {
        end_file(nullptr);
        work->not_data_sets++;
        return STATUS_DONE;
    }
    if (result != LOADED) {
        end_file(nullptr);
        complain_about(name, error);
        return STATUS_UNREADABLE;
    }
    end_file(&set);
    work->shown++;
    write_name(*work, input.path);
    if (work->form == FORM_TSV)
        dump_tsv(set, work->only);
    else
        dump_tree(&set, work->only, work->color);
    return STATUS_DONE;
}

// ---- options --------------------------------------------------------------------------

enum { OPTION_COLOR = 256, OPTION_FILES_FROM };

static const option LONGS[] = {
    {"format",     required_argument, nullptr, 'f'              },
    {"only",       required_argument, nullptr, 'o'              },
    {"color",      required_argument, nullptr, OPTION_COLOR     },
    {"files-from", required_argument, nullptr, OPTION_FILES_FROM},
    {"null",       no_argument,       nullptr, '0'              },
    {"verbose",    no_argument,       nullptr, 'v'              },
    {nullptr,      0,                 nullptr, 0                },
};

static bool parse_form(const char *text, Dump_Form *form)
{
    *form = strcmp(text, "tsv") == 0 ? FORM_TSV : FORM_TREE;
    return *form == FORM_TSV || strcmp(text, "tree") == 0;
}

static int take_option(int letter, Dump_Work *work, Input_Choice *choice, Color_Choice *color)
{
    Tag_Path path;
    std::string error;
    switch (letter) {
    case 'f':
        if (!parse_form(optarg, &work->form))
            return wrong_use(command_dump, "%s is no format; there are tree and tsv", quoted(optarg).c_str());
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
    case OPTION_FILES_FROM:
        choice->lists.push_back(optarg);
        break;
    case '0':
        choice->zero_between = true;
        break;
    case 'v':
        show_remarks();
        break;
    default:
        break;
    }
    return STATUS_DONE;
}

static int run_dump(int argc, char **argv)
{
    Dump_Work work;
    Input_Choice choice;
    Color_Choice color = COLOR_AUTO;
    int status = STATUS_DONE;
    for (int letter; (letter = next_option(command_dump, argc, argv, "f:o:0v", LONGS, &status)) != OPTION_END;) {
        if (letter == OPTION_STOP)
            return status;
        status = take_option(letter, &work, &choice, &color);
        if (status != STATUS_DONE)
            return status;
    }
    choice.paths.assign(argv + optind, argv + argc);
    if (choice.paths.empty() && choice.lists.empty())
        return wrong_use(command_dump, "no file is given");

    work.color = wants_color(color, 1);
    work.has_names = has_several(choice);
    status = for_each_input(choice, dump_input, &work);
    if (work.not_data_sets > 0) {
        complain("%d files of folders are no data sets", work.not_data_sets);
        if (work.shown == 0)
            status = STATUS_UNREADABLE;
    }
    return status;
}

extern const Command command_dump = {
    "dump", "dump [OPTIONS] FILE...", "Shows what is in data sets, attribute by attribute", HELP, run_dump,
};
