// The options of a command line, by the tables of its command, and what is said when it is wrong.
#include <getopt.h>
#include <stdarg.h>
#include <stdio.h>
#include <string.h>

#include "host/program/command.h"
#include "host/program/definitions.h"
#include "host/program/help.h"
#include "host/program/messages.h"
#include "host/program/output.h"

enum { OPTION_DEFINITIONS = 0x7FFE };

static const Option_Row COMMON_ROWS[] = {
    {OPTION_DEFINITIONS, "definitions", "FOLDER", nullptr,
     "the folder of templates, private attributes and code tables; else it is the one that VELMORA_DEFINITIONS names, "
     "or "
     "the installed one"                                              },
    {'h',                "help",        nullptr,  nullptr, "this text"},
    {0,                  nullptr,       nullptr,  nullptr, nullptr    },
};

extern const Option_Table common_options = {"Options of all commands", COMMON_ROWS, true};

int wrong_use(const Command &command, const char *format, ...)
{
    char text[2048];
    va_list values;
    va_start(values, format);
    vsnprintf(text, sizeof text, format, values);
    va_end(values);
    complain("%s: %s; see velmora %s --help", command.name, text, command.name);
    return STATUS_WRONG_USE;
}

// ---- the tables as getopt_long takes them ---------------------------------------------

struct Row {
    const Option_Row *row;
    bool shapes_results;
};

struct Rows {
    std::vector<Row> rows;
    std::vector<option> longs;   // one for each row, and the last one
    std::string shorts = ":";    // tells a missing value from an unknown option
};

static void add_table(Rows *rows, const Option_Table &table)
{
    for (const Option_Row *row = table.rows; row->name != nullptr; row++) {
        rows->rows.push_back({row, table.shapes_results});
        rows->longs.push_back(
            {row->name, row->value != nullptr ? required_argument : no_argument, nullptr, row->letter});
        if (row->letter < 256)
            rows->shorts += static_cast<char>(row->letter) + std::string(row->value != nullptr ? ":" : "");
    }
}

static Rows rows_of(const Command &command)
{
    Rows rows;
    for (const Option_Table *const *table = command.options; *table != nullptr; table++)
        add_table(&rows, **table);
    add_table(&rows, common_options);
    rows.longs.push_back({nullptr, 0, nullptr, 0});
    return rows;
}

// ---- what is wrong --------------------------------------------------------------------

// An option that is not there, may be several, or takes no value.
//   word  as it stands in the command line
static int refuse_option(const Command &command, const Rows &rows, const std::string &word)
{
    if (word.compare(0, 2, "--") != 0) {
        std::vector<std::string> letters;
        for (const Row &row : rows.rows)
            if (row.row->letter < 256)
                letters.push_back(std::string("-") + static_cast<char>(row.row->letter));
        return wrong_use(command, "there is no option %s, but %s", quoted(word).c_str(),
                         words_in_a_line(letters, " and ").c_str());
    }
    std::string name = word.substr(0, word.find('='));
    std::vector<std::string> names, begun;
    for (const Row &row : rows.rows) {
        names.push_back(std::string("--") + row.row->name);
        if (names.back().compare(0, name.size(), name) == 0)
            begun.push_back(names.back());
        if (names.back() == name)
            return wrong_use(command, "%s takes no value", names.back().c_str());
    }
    if (begun.size() > 1)
        return wrong_use(command, "%s may be %s", quoted(name).c_str(), words_in_a_line(begun, " or ").c_str());
    std::string near = begun.empty() ? nearest_word(name, names, name.size() / 3 + 1) : begun[0];
    if (!near.empty())
        return wrong_use(command, "there is no option %s; perhaps %s is meant", quoted(name).c_str(), near.c_str());
    return wrong_use(command, "there is no option %s, but %s", quoted(name).c_str(),
                     words_in_a_line(names, " and ").c_str());
}

static int find_choice(const char *choices, const char *value)
{
    std::vector<std::string> words = split_words(choices);
    for (size_t i = 0; i < words.size(); i++)
        if (words[i] == value)
            return static_cast<int>(i);
    return -1;
}

// ---- taking ---------------------------------------------------------------------------

static std::vector<std::string> &taken()
{
    static std::vector<std::string> *options = new std::vector<std::string>;   // left to the end of the process
    return *options;
}

const std::vector<std::string> &options_taken()
{
    return taken();
}

static int take_row(const Command &command, const Row &row, Option_Fct take, void *user)
{
    Option option = {row.row->letter, row.row->value != nullptr ? optarg : nullptr, -1};
    if (row.row->choices != nullptr && (option.choice = find_choice(row.row->choices, optarg)) < 0)
        return wrong_use(command, "--%s takes %s, not %s", row.row->name,
                         words_in_a_line(split_words(row.row->choices), " or ").c_str(), quoted(optarg).c_str());
    if (row.shapes_results)
        taken().push_back(std::string("--") + row.row->name + (option.value != nullptr ? "=" : "") +
                          (option.value != nullptr ? option.value : ""));
    if (option.letter != OPTION_DEFINITIONS)
        return take(option, user);
    if (use_definitions(optarg))
        return STATUS_DONE;
    return wrong_use(command, "--definitions names %s, which is no folder", quoted(optarg).c_str());
}

static int show_help(const Command &command)
{
    write_out(help_text(command));
    return STATUS_DONE;
}

bool take_options(const Command &command, int argc, char **argv, Option_Fct take, void *user, int *status)
{
    const Rows rows = rows_of(command);
    opterr = 0;
    for (;;) {
        int before = optind;
        int found = getopt_long(argc, argv, rows.shorts.c_str(), rows.longs.data(), nullptr);
        if (found == -1)
            return true;
        if (found == 'h') {
            *status = show_help(command);
            return false;
        }
        if (found == '?' || found == ':') {
            // A letter may stand in a group that getopt has not left yet.
            std::string word = argv[optind > before ? optind - 1 : optind];
            if (optopt > 0 && optopt < 256 && word.compare(0, 2, "--") != 0)
                word = std::string("-") + static_cast<char>(optopt);
            *status = found == ':' ? wrong_use(command, "%s needs a value", quoted(word).c_str())
                                   : refuse_option(command, rows, word);
            return false;
        }
        for (const Row &row : rows.rows)
            if (row.row->letter == found)
                *status = take_row(command, row, take, user);
        if (*status != STATUS_DONE)
            return false;
    }
}
