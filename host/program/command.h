// What makes a command of the program: one file with its function and its texts, and one row in the table of main.cpp.
#ifndef VELMORA_PROGRAM_COMMAND_H
#define VELMORA_PROGRAM_COMMAND_H

#include <getopt.h>

enum Exit_Status {
    STATUS_SKIPPED = -1,   // of one file among many: it is no data set, and need not be one
    STATUS_DONE = 0,
    STATUS_FOUND = 1,   // check, diff: something found; get, dict, uid, code: not found
    STATUS_WRONG_USE = 2,
    STATUS_UNREADABLE = 3,   // a file could not be read or written
};

struct Command {
    const char *name;
    const char *usage;                   // behind the program's name
    const char *summary;                 // one line
    const char *help;                    // options and examples
    int (*run)(int argc, char **argv);   // argv[0] is the command's name; gives the exit status
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
extern const Command command_repair;
extern const Command command_template;
extern const Command command_uid;

// Of several statuses the highest counts.
inline int worse(int a, int b)
{
    return a > b ? a : b;
}

void print_help(const Command &command);

// ---- options --------------------------------------------------------------------------

// What next_option gives besides the letters of the options.
enum { OPTION_END = -1, OPTION_STOP = -2 };

// The next option in the manner of getopt_long, which leaves the first argument behind the options in optind.
//   shorts  one letter each, with ":" behind it where a value follows
//   longs   the same by their long names, ended by zeros; every command has --help besides
//   status  the exit status when the result is OPTION_STOP: help was shown, or the line was wrong, which was said
int next_option(const Command &command, int argc, char **argv, const char *shorts, const option *longs, int *status);

// One line about a wrong command line, with the way to the help. Returns STATUS_WRONG_USE.
int wrong_use(const Command &command, const char *format, ...) __attribute__((format(printf, 2, 3)));

#endif
