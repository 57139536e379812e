// velmora template: what a data set of one kind must hold.
#include <getopt.h>
#include <string.h>
#include <strings.h>
#include <sys/stat.h>

#include "host/program/command.h"
#include "host/program/definitions.h"
#include "host/program/many.h"
#include "host/program/messages.h"
#include "host/program/output.h"
#include "host/program/tag_path.h"
#include "tree/DICOM_Constants.h"

using namespace velmora_host;

static const char EXAMPLES[] = "velmora template CT_Image\n"
                               "velmora template --list\n"
                               "velmora template image.dcm | grep '^ *1 '\n";

static const char TEXT[] =
    "Shows the attributes of a template with their types: 1 must be there with a value, 2 must be there, 3 may be; 1C "
    "and 2C: on a condition. NAME is one of --list, or a modality such as CT; FILE shows the template of its SOP "
    "class.\n"
    "A value that a data set of this kind is given stands behind the name: = where it has none, ! in any case, + "
    "beside "
    "those it has; - is an attribute that it must not have.\n";

struct Line {
    std::string type, vr, name, mark, value;
};

// ---- one attribute --------------------------------------------------------------------

static std::string letters(unsigned short word, const char *none)
{
    if (word == 0)
        return none;
    return {static_cast<char>(word >> 8), static_cast<char>(word & 0xFF)};
}

static std::string value_of(DICOM_List *node)
{
    if (node->data == nullptr || node->size <= 0)
        return "";
    std::vector<char *> values(static_cast<size_t>(node->size) + 2, nullptr);
    int count = DICOM_Attribute_Get_Data(node, values.data());
    std::string text;
    for (int i = 0; i < count && values[static_cast<size_t>(i)] != nullptr; i++)
        text += (i > 0 ? "\\" : "") + std::string(values[static_cast<size_t>(i)]);
    text.erase(text.find_last_not_of(' ') + 1);
    return text;
}

static Line line_of(DICOM_List *node)
{
    static const struct {
        unsigned short flag;
        char mark;
    } marks[] = {
        {FLAG_FORCED,    '!'},
        {FLAG_DEFAULT,   '='},
        {FLAG_TO_DELETE, '-'},
        {FLAG_APPEND,    '+'}
    };
    Line line;
    line.type = letters(node->type, "-");
    line.type.erase(line.type.find_last_not_of(' ') + 1);
    line.vr = letters(node->vr_explicit != 0 ? node->vr_explicit : node->vr, "--");
    line.name = node->description != nullptr ? node->description : node->db != nullptr ? node->db->description : "";
    for (const auto &row : marks)
        if ((node->flag & row.flag) != 0)
            line.mark += row.mark;
    line.value = value_of(node);
    return line;
}

// ---- the tree -------------------------------------------------------------------------

static void write_tree(DICOM_List *list, size_t depth)
{
    for (DICOM_List *node = list; node != nullptr; node = node->next) {
        Line line = line_of(node);
        line.type.resize(2, ' ');
        std::string text = std::string(depth * 4, ' ') + line.type + " (" + tag_text(node->group, node->element) +
                           ") " + line.vr + " " + line.name;
        if (!line.mark.empty())
            text += " " + line.mark;
        if (!line.value.empty())
            text += (line.mark.empty() ? " : \"" : " \"") + line.value + "\"";
        write_out(visible(text) + "\n");
        for (int i = 0; i < node->nb_item && node->item[i] != nullptr; i++)
            write_tree(node->item[i], depth + 1);
    }
}

static void write_tsv(DICOM_List *list, int depth, const std::string &path)
{
    for (DICOM_List *node = list; node != nullptr; node = node->next) {
        Line line = line_of(node);
        std::string tag = tag_text(node->group, node->element), text = std::to_string(depth);
        for (const std::string &column :
             {path.empty() ? "-" : path, tag, line.type, line.vr, line.name, line.mark, line.value})
            text += "\t" + visible(column);
        write_out(text + "\n");
        for (int i = 0; i < node->nb_item && node->item[i] != nullptr; i++)
            write_tsv(node->item[i], depth + 1,
                      (path.empty() ? "" : path + "/") + tag + "[" + std::to_string(i + 1) + "]");
    }
}

// ---- which one ------------------------------------------------------------------------

struct Template_Work {
    bool is_list = false;   // of their names
    bool as_tsv = false;
    bool has_titles = false;
    std::vector<std::string> names;   // of all templates
};

// A name, whatever the case of its letters, or a modality.
static bool find_template(const Template_Work &work, const std::string &argument, std::string *name)
{
    int at = find_name(work.names, argument);
    if (at == NAME_NOT_FOUND && argument.size() == 2)
        at = find_name(work.names, DICOM_Module_Name(nullptr, pack_letters(argument[0], argument[1]), 1));
    if (at != NAME_NOT_FOUND)
        *name = work.names[static_cast<size_t>(at)];
    return at != NAME_NOT_FOUND;
}

static std::string similar_names(const Template_Work &work, const std::string &argument)
{
    static const int MOST = 5;
    std::string similar;
    int count = 0;
    for (const std::string &name : work.names)
        if (!argument.empty() && strcasestr(name.c_str(), argument.c_str()) != nullptr && count++ < MOST)
            similar += (similar.empty() ? "; there is " : ", ") + name;
    return count == 0 || count > MOST ? "; velmora template --list names them" : similar;
}

static int find_by_file(const std::string &path, std::string *name)
{
    Input input = {};
    input.path = path;
    Data_Set set;
    Tally tally;
    int status = load_input(input, Load_Options(), &set, &tally);
    if (status == STATUS_DONE && !find_kind(set, name))
        complain_about(path, "its SOP class has no template; this is that of any other image");
    status = finish_input(input, set, status);
    release_data_set(&set);
    return status;
}

static int show(const Template_Work &work, const std::string &argument, bool is_first)
{
    struct stat state;
    std::string name;
    bool is_file = !find_template(work, argument, &name);
    if (is_file && argument != "-" && stat(argument.c_str(), &state) != 0) {
        complain("there is no template and no file %s%s", quoted(argument).c_str(),
                 similar_names(work, argument).c_str());
        return STATUS_FOUND;
    }
    int status = is_file ? find_by_file(argument, &name) : STATUS_DONE;
    if (status != STATUS_DONE)
        return status;
    DICOM_List *list = DICOM_Module_Read(nullptr, name.c_str());
    if (list == nullptr) {
        complain("the template %s cannot be read", quoted(name).c_str());
        return STATUS_UNREADABLE;
    }
    if (work.as_tsv)
        write_out(work.has_titles || is_file ? "# " + visible(name) + "\n" : "");
    else if (work.has_titles || is_file)
        write_out(std::string(is_first ? "" : "\n") + "==> " + visible(name) + " <==\n");
    if (work.as_tsv)
        write_tsv(list, 0, "");
    else
        write_tree(list, 0);
    return STATUS_DONE;
}

static int show_list(const Template_Work &work)
{
    for (const std::string &name : work.names)
        write_out(visible(name) + "\n");
    return STATUS_DONE;
}

// ---- options --------------------------------------------------------------------------

// clang-format off
static const Option_Row ROWS[] = {
    {'l', "list", nullptr, nullptr, "the names of all templates"},
    {'f', "format", "FORM", "tree tsv",
     "tree (this is the default), or tsv: depth, path, tag, type, VR, name, mark, value"},
    {0, nullptr, nullptr, nullptr, nullptr},
};
// clang-format on
static const Option_Table OWN = {"Options", ROWS, true};
static const Option_Table *const TABLES[] = {&OWN, nullptr};

static int take_option(const Option &option, void *user)
{
    Template_Work *work = static_cast<Template_Work *>(user);
    if (option.letter == 'l')
        work->is_list = true;
    else
        work->as_tsv = option.choice == 1;
    return STATUS_DONE;
}

static int run_template(int argc, char **argv)
{
    Template_Work work;
    int status = STATUS_DONE;
    if (!take_options(command_template, argc, argv, take_option, &work, &status))
        return status;
    if (!work.is_list && optind == argc)
        return wrong_use(command_template, "no template and no file is given");
    work.names = definition_names(TEMPLATE_PREFIX);
    if (work.names.empty()) {
        complain("there are no templates in %s; --definitions or VELMORA_DEFINITIONS names their folder",
                 quoted(definitions_place()).c_str());
        return STATUS_UNREADABLE;
    }
    if (work.is_list)
        return show_list(work);
    work.has_titles = argc - optind > 1;
    for (int i = optind; i < argc; i++)
        status = worse(status, show(work, argv[i], i == optind));
    return status;
}

extern const Command command_template = {
    "template",
    "template [OPTIONS] NAME|FILE...",
    "Shows what a data set of one kind must hold",
    EXAMPLES,
    TABLES,
    TEXT,
    "0 done, 1 there is no such template, 2 wrong use, 3 a file could not be read",
    run_template,
};
