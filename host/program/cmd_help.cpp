// velmora help: the way into all commands.
#include <getopt.h>
#include <string.h>
#include <sys/stat.h>

#include "host/program/commands.h"
#include "host/program/help.h"
#include "host/program/messages.h"
#include "host/program/output.h"

static const char EXAMPLES[] = "velmora help\n"
                               "velmora help dump\n"
                               "velmora help --format json | jq -r '.commands[].name'\n";

static const char TEXT[] =
    "Without a command it names all of them. velmora COMMAND --help is the same as velmora help COMMAND.\n";

// In the order of the help.
static const Command *const LOOKING[] = {&command_dump, &command_get, &command_check, &command_diff, nullptr};
static const Command *const WRITING[] = {&command_repair, &command_convert, &command_conform, &command_edit, nullptr};
static const Command *const KNOWING[] = {
    &command_template, &command_dict, &command_uid, &command_code, &command_help, nullptr,
};
static const Command_Group GROUPS[] = {
    {"Look into data sets",   LOOKING},
    {"Write data sets",       WRITING},
    {"Look up what is known", KNOWING},
    {nullptr,                 nullptr},
};

const Command *find_command(const char *name)
{
    for (const Command_Group *group = GROUPS; group->title != nullptr; group++)
        for (const Command *const *command = group->commands; *command != nullptr; command++)
            if (strcmp((*command)->name, name) == 0)
                return *command;
    return nullptr;
}

std::string usage_text()
{
    return help_text(GROUPS);
}

int refuse_command(const char *name)
{
    std::vector<std::string> names = {"--help", "--version"};
    for (const Command_Group *group = GROUPS; group->title != nullptr; group++)
        for (const Command *const *command = group->commands; *command != nullptr; command++)
            names.push_back((*command)->name);
    std::string text = std::string("there is no ") + (name[0] == '-' ? "option " : "command ") + quoted(name);
    std::string near = nearest_word(name, names, strlen(name) / 3 + 1);
    struct stat state;
    if (!near.empty())
        text += "; perhaps " + near + " is meant";
    else if (stat(name, &state) == 0)
        text += "; velmora dump " + visible(name) + " shows what is in it";
    complain("%s; velmora help names the commands", text.c_str());
    return STATUS_WRONG_USE;
}

// ---- options --------------------------------------------------------------------------

static const Option_Row ROWS[] = {
    {'f', "format", "FORM",  "text json",
     "text: for reading (this is the default)\n"
     "json: all commands with their options and texts, for programs"},
    {0,   nullptr,  nullptr, nullptr,     nullptr                   },
};
static const Option_Table OWN = {"Options", ROWS, true};
static const Option_Table *const TABLES[] = {&OWN, nullptr};

static int take_option(const Option &option, void *user)
{
    *static_cast<bool *>(user) = option.choice == 1;
    return STATUS_DONE;
}

static int run_help(int argc, char **argv)
{
    bool as_json = false;
    int status = STATUS_DONE;
    if (!take_options(command_help, argc, argv, take_option, &as_json, &status))
        return status;
    if (as_json)
        write_help_as_json(GROUPS);
    else if (optind == argc)
        write_out(usage_text());
    for (int i = optind; i < argc && !as_json; i++) {
        const Command *command = find_command(argv[i]);
        if (command == nullptr)
            return refuse_command(argv[i]);
        write_out((i > optind ? "\n" : "") + help_text(*command));
    }
    return STATUS_DONE;
}

extern const Command command_help = {
    "help",
    "help [OPTIONS] [COMMAND...]",
    "Tells how the commands are used",
    EXAMPLES,
    TABLES,
    TEXT,
    "0 done, 2 there is no such command",
    run_help,
};
