// velmora dict: what the data dictionary says of a tag, a name, or of all names with a word in them.
#include <getopt.h>

#include "host/program/command.h"
#include "host/program/dictionary_rows.h"
#include "host/program/messages.h"
#include "host/program/output.h"
#include "host/program/tag_path.h"

static const char EXAMPLES[] = "velmora dict 0010,0010\n"
                               "velmora dict PatientName\n"
                               "velmora dict 'frame of reference'\n"
                               "velmora dict 'fffe,*'\n";

static const char TEXT[] =
    "Prints a line for each attribute found: tag, VR with the number of values, name, keyword, and RET where it is "
    "retired; the columns are split by tabs. A text that is no name is looked for inside the names.\n";

static void write_row(const Dictionary_Row &row)
{
    std::string name = row.row->description;
    std::string line =
        row.group_text + "," + row.element_text + "\t" + vr_text(*row.row) + "\t" + name + "\t" + keyword_of(name);
    write_out(line + (row.row->type < 0 ? "\tRET\n" : "\n"));
}

static int write_rows_by_tag(const Tag_Step &step)
{
    int found = 0;
    // A tag finds its row as the library does it: 6002,3000 is in the row of 60xx,3000.
    const TAG_db_Elems *wanted = step.is_exact ? NEMA_db_Locate(step.group, step.element) : nullptr;
    for (const Dictionary_Row &row : dictionary_rows()) {
        if (step.is_exact ? row.row == wanted : matches(step, row.row->group, row.row->element)) {
            write_row(row);
            found++;
        }
    }
    return found;
}

static int write_rows_by_text(const std::string &text)
{
    std::string wanted = folded_name(text);
    int found = 0;
    for (const Dictionary_Row &row : dictionary_rows()) {
        if (!wanted.empty() && folded_name(row.row->description).find(wanted) != std::string::npos) {
            write_row(row);
            found++;
        }
    }
    return found;
}

static int look_up(const std::string &text)
{
    Tag_Path path;
    bool is_tag = parse_tag_path(text, &path, nullptr) && path.steps.size() == 1;
    int found = is_tag ? write_rows_by_tag(path.steps[0]) : write_rows_by_text(text);
    if (found > 0)
        return STATUS_DONE;
    std::string near = is_tag ? "" : nearest_keyword(text);
    if (near.empty())
        complain("the dictionary has nothing for %s", quoted(text).c_str());
    else
        complain("the dictionary has nothing for %s; perhaps %s is meant", quoted(text).c_str(), near.c_str());
    return STATUS_FOUND;
}

static const Option_Table *const TABLES[] = {nullptr};

static int take_option(const Option &, void *)
{
    return STATUS_DONE;   // there are none but the common ones
}

static int run_dict(int argc, char **argv)
{
    int status = STATUS_DONE;
    if (!take_options(command_dict, argc, argv, take_option, nullptr, &status))
        return status;
    if (optind == argc)
        return wrong_use(command_dict, "no tag and no text is given");
    for (int i = optind; i < argc; i++)
        status = worse(status, look_up(argv[i]));
    return status;
}

extern const Command command_dict = {
    "dict",
    "dict TAG|TEXT...",
    "Looks up the data dictionary",
    EXAMPLES,
    TABLES,
    TEXT,
    "0 found, 1 nothing was found, 2 wrong use",
    run_dict,
};
