// velmora code: the coded entry for a free text.
#include <getopt.h>
#include <stdio.h>
#include <stdlib.h>

#include "host/program/command.h"
#include "host/program/definitions.h"
#include "host/program/messages.h"
#include "host/program/output.h"

static const char EXAMPLES[] = "velmora code Anatomic_Region knee\n"
                               "velmora code Radiopharmaceutical FDG\n"
                               "velmora code --list\n";

static const char TEXT[] =
    "Prints the row of a code table that fits a text best: coding scheme, code value and code meaning, split by tabs. "
    "TABLE is one of --list, or the name of a file in the definition directory.\n";

static const char PREFIX[] = "DICOM_Codes_", ANY_PREFIX[] = "";

// The file of a table: by its name among the tables, or by that of the file. Empty: there is none.
static std::string find_table(const std::string &name)
{
    std::vector<std::string> tables = definition_names(PREFIX), files = definition_names(ANY_PREFIX);
    int at = find_name(tables, name);
    if (at != NAME_NOT_FOUND)
        return PREFIX + tables[static_cast<size_t>(at)] + ".txt";
    for (const std::string &file : files)
        if (file + ".txt" == name)
            return name;
    return "";
}

static int look_up(const std::string &table, std::string text)
{
    Code_Seq code = {};
    code.str = &text[0];
    if (DICOM_Macro_CodeSequence_Set(&code, table.c_str()) == 0)
        return STATUS_FOUND;   // said by the library
    std::string line;
    for (const char *part : {code.coding_scheme, code.code_value, code.code_meaning})
        line += (line.empty() ? "" : "\t") + visible(part != nullptr ? part : "");
    write_out(line + "\n");
    DICOM_Macro_Code_Sequence_Reset();
    free(code.coding_scheme);
    free(code.code_value);
    free(code.code_meaning);
    return STATUS_DONE;
}

static int list_tables()
{
    std::vector<std::string> names = definition_names(PREFIX);
    for (const std::string &name : names)
        write_out(visible(name) + "\n");
    if (!names.empty())
        return STATUS_DONE;
    complain("there are no code tables in %s; --definitions or VELMORA_DEFINITIONS names their folder",
             quoted(definitions_place()).c_str());
    return STATUS_UNREADABLE;
}

static int list_rows(const std::string &table)
{
    FILE *file = fopen((definitions_place() + table).c_str(), "re");
    if (file == nullptr)
        return STATUS_UNREADABLE;
    char line[2048];
    while (fgets(line, sizeof line, file) != nullptr) {
        std::string text = line;
        text.erase(text.find_last_not_of("\r\n") + 1);
        size_t code = text.find(' '), meaning = text.find(' ', code + 1);
        bool is_row = !text.empty() && text.find_first_of("*#;") != 0 && meaning != std::string::npos;
        if (is_row)
            write_out(visible(text.substr(0, code)) + "\t" + visible(text.substr(code + 1, meaning - code - 1)) + "\t" +
                      visible(text.substr(meaning + 1)) + "\n");
    }
    fclose(file);
    return STATUS_DONE;
}

static const Option_Row ROWS[] = {
    {'l', "list",  nullptr, nullptr, "the names of all tables; with a TABLE, its rows"},
    {0,   nullptr, nullptr, nullptr, nullptr                                          },
};
static const Option_Table OWN = {"Options", ROWS, true};
static const Option_Table *const TABLES[] = {&OWN, nullptr};

static int take_option(const Option &, void *user)
{
    *static_cast<bool *>(user) = true;   // --list
    return STATUS_DONE;
}

static int run_code(int argc, char **argv)
{
    bool is_list = false;
    int status = STATUS_DONE;
    if (!take_options(command_code, argc, argv, take_option, &is_list, &status))
        return status;
    if (is_list && optind == argc)
        return list_tables();
    if (argc - optind < (is_list ? 1 : 2))
        return wrong_use(command_code, optind == argc ? "no table is given" : "no text is given");
    std::string table = find_table(argv[optind]), text;
    if (table.empty()) {
        complain("there is no code table %s in %s; velmora code --list names them", quoted(argv[optind]).c_str(),
                 quoted(definitions_place()).c_str());
        return STATUS_UNREADABLE;
    }
    if (is_list)
        return list_rows(table);
    for (int i = optind + 1; i < argc; i++)
        text += (text.empty() ? "" : " ") + std::string(argv[i]);
    return look_up(table, text);
}

extern const Command command_code = {
    "code",
    "code [OPTIONS] TABLE TEXT...",
    "Looks up the code for a text",
    EXAMPLES,
    TABLES,
    TEXT,
    "0 found, 1 no row fits, 2 wrong use, 3 there is no such table",
    run_code,
};
