// The options of a command line, and what is said when it is wrong.
#include <stdarg.h>
#include <stdio.h>
#include <string.h>
#include <string>

#include "host/program/command.h"
#include "host/program/definitions.h"
#include "host/program/messages.h"
#include "host/program/output.h"

void print_help(const Command &command)
{
    std::string text = std::string("Usage: velmora ") + command.usage + "\n" + command.summary + ".\n\n" + command.help;
    write_out(text.data(), text.size());
}

int wrong_use(const Command &command, const char *format, ...)
{
    char text[512];
    va_list values;
    va_start(values, format);
    vsnprintf(text, sizeof text, format, values);
    va_end(values);
    complain("%s: %s; see velmora %s --help", command.name, text, command.name);
    return STATUS_WRONG_USE;
}

int next_option(const Command &command, int argc, char **argv, const char *shorts, const option *longs, int *status)
{
    enum { HELP = 0x7FFF, DEFINITIONS = 0x7FFE };
    option all[32] = {
        {"help",        no_argument,       nullptr, HELP       },
        {"definitions", required_argument, nullptr, DEFINITIONS}
    };
    for (size_t i = 0; longs[i].name != nullptr && i + 3 < sizeof all / sizeof all[0]; i++)
        all[i + 2] = longs[i];
    std::string letters = std::string(":h") + shorts;   // ":" tells a missing value from an unknown option
    opterr = 0;
    int before = optind;
    int found = getopt_long(argc, argv, letters.c_str(), all, nullptr);
    if (found == DEFINITIONS) {
        if (use_definitions(optarg))
            return next_option(command, argc, argv, shorts, longs, status);
        *status = wrong_use(command, "--definitions names %s, which is no folder", quoted(optarg).c_str());
        return OPTION_STOP;
    }
    if (found == 'h' || found == HELP) {
        print_help(command);
        *status = STATUS_DONE;
        return OPTION_STOP;
    }
    if (found != '?' && found != ':')
        return found;

    // A letter may stand in a group that getopt has not left yet.
    int at = optind > before ? optind - 1 : optind;
    std::string name = optopt != 0 && optopt < 0x100 && strncmp(argv[at], "--", 2) != 0
                           ? std::string("-") + static_cast<char>(optopt)
                           : std::string(argv[at]);
    *status = found == ':' ? wrong_use(command, "%s needs a value", quoted(name).c_str())
                           : wrong_use(command, "there is no option %s", quoted(name).c_str());
    return OPTION_STOP;
}
