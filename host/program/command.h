// What makes a command of the program: one file with its function, its texts and the table of its options, and one row
// in the table of main.cpp. Help, manual pages and completion are all made from these.
#ifndef VELMORA_PROGRAM_COMMAND_H
#define VELMORA_PROGRAM_COMMAND_H

#include <string>
#include <vector>

enum Exit_Status {
    STATUS_SKIPPED = -1,   // of one file among many: it is no data set, and need not be one
    STATUS_DONE = 0,
    STATUS_FOUND = 1,   // check, diff: something found; get, dict, uid, code: not found
    STATUS_WRONG_USE = 2,
    STATUS_UNREADABLE = 3,   // a file could not be read or written
};

// Of several statuses the highest counts.
inline int worse(int a, int b)
{
    return a > b ? a : b;
}

// ---- tables ---------------------------------------------------------------------------

struct Option_Row {
    int letter;            // of the short form; above 255, and each only once in a command: there is no short form
    const char *name;      // of the long form
    const char *value;     // what its value is called, such as FILE, FOLDER, TAG or N; null: it takes none
    const char *choices;   // the values that there are, a blank between two; null: the command looks at the value
    const char *text;      // a line feed begins a new line
};

struct Option_Table {
    const char *title;        // as "Options for many files"
    const Option_Row *rows;   // the last one has no name
    bool shapes_results;      // else it is about how the run goes, and what is made is the same
};

struct Command {
    const char *name;
    const char *usage;                    // behind the program's name
    const char *summary;                  // one line
    const char *examples;                 // command lines, each with its line feed
    const Option_Table *const *options;   // a null behind the last one
    const char *text;                     // paragraphs, a line feed behind each
    const char *statuses;                 // behind "Exit status: "
    int (*run)(int argc, char **argv);    // argv[0] is the command's name; gives the exit status
};

extern const Command command_check;
extern const Command command_code;
extern const Command command_conform;
extern const Command command_convert;
extern const Command command_dict;
extern const Command command_diff;
extern const Command command_dump;
extern const Command command_edit;
extern const Command command_get;
extern const Command command_help;
extern const Command command_repair;
extern const Command command_template;
extern const Command command_uid;

// --help and --definitions, which every command has.
extern const Option_Table common_options;

// ---- options --------------------------------------------------------------------------

// One option of a command line.
struct Option {
    int letter;          // as in its row
    const char *value;   // null: it takes none
    int choice;          // the place of the value among the choices
};

// Given by a function that takes the options of one table only, when the option is of another one.
enum { OPTION_OTHER = -1 };

// Takes one option. Returns STATUS_DONE, or STATUS_WRONG_USE, which was said.
typedef int (*Option_Fct)(const Option &option, void *user);

// Takes all options off a command line; the first argument behind them stands at optind then. False: the command has
// nothing to do, since help was shown or the line was wrong, which was said.
//   status  gets the exit status where the result is false
bool take_options(const Command &command, int argc, char **argv, Option_Fct take, void *user, int *status);

// The options that were taken and that shape the results, as --name or --name=value, in their order.
const std::vector<std::string> &options_taken();

// One line about a wrong command line, with the way to the help. Returns STATUS_WRONG_USE.
int wrong_use(const Command &command, const char *format, ...) __attribute__((format(printf, 2, 3)));

#endif
