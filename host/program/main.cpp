// velmora: the program. Finds the command and runs it; all else is the command's.
#include <signal.h>
#include <stdarg.h>
#include <stdio.h>
#include <string.h>
#include <new>
#include <string>

#include "host/program/command.h"
#include "host/program/messages.h"
#include "host/program/output.h"
#include "tree/Velmora_DICOM.h"

static const Command *const commands[] = {&command_dump, &command_dict, &command_uid};

static const Command *find_command(const char *name)
{
    for (const Command *command : commands)
        if (strcmp(command->name, name) == 0)
            return command;
    return nullptr;
}

// ---- help -----------------------------------------------------------------------------

static std::string usage_text()
{
    std::string text = "Usage: velmora COMMAND [OPTIONS] ARGUMENTS\n"
                       "Looks into DICOM and ACR-NEMA data sets.\n"
                       "\n"
                       "    velmora dump image.dcm                    everything that is in a file\n"
                       "    velmora dump --only PatientName *.dcm     one attribute of many files\n"
                       "    velmora dict PatientName                  what the data dictionary says\n"
                       "\n"
                       "Commands:\n";
    for (const Command *command : commands) {
        char line[160];
        snprintf(line, sizeof line, "    %-10s %s\n", command->name, command->summary);
        text += line;
    }
    return text + "\n"
                  "velmora COMMAND --help tells more, velmora --version the version.\n"
                  "Exit status: 0 done, 1 not found, 2 wrong use, 3 a file could not be read.\n";
}

void print_help(const Command &command)
{
    std::string text = std::string("Usage: velmora ") + command.usage + "\n" + command.summary + ".\n\n" + command.help;
    write_out(text.data(), text.size());
}

static int show_help(int argc, char **argv)
{
    if (argc < 2) {
        std::string text = usage_text();
        write_out(text.data(), text.size());
        return STATUS_DONE;
    }
    const Command *command = find_command(argv[1]);
    if (command == nullptr) {
        complain("there is no command %s; velmora --help lists them", quoted(argv[1]).c_str());
        return STATUS_WRONG_USE;
    }
    print_help(*command);
    return STATUS_DONE;
}

static int show_version()
{
    std::string text = std::string("velmora ") + VELMORA_VERSION + ", " + Get_Version_DICOM(nullptr) + "\n";
    write_out(text.data(), text.size());
    return STATUS_DONE;
}

// ---- options --------------------------------------------------------------------------

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
    enum { HELP = 0x7FFF };
    option all[32] = {
        {"help", no_argument, nullptr, HELP}
    };
    for (size_t i = 0; longs[i].name != nullptr && i + 2 < sizeof all / sizeof all[0]; i++)
        all[i + 1] = longs[i];
    std::string letters = std::string(":h") + shorts;   // ":" tells a missing value from an unknown option
    opterr = 0;
    int before = optind;
    int found = getopt_long(argc, argv, letters.c_str(), all, nullptr);
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

// ---- main -----------------------------------------------------------------------------

static int run(int argc, char **argv)
{
    if (argc < 2) {
        std::string text = usage_text();
        fwrite(text.data(), 1, text.size(), stderr);
        return STATUS_WRONG_USE;
    }
    const char *name = argv[1];
    if (strcmp(name, "--version") == 0 || strcmp(name, "-V") == 0)
        return show_version();
    if (strcmp(name, "--help") == 0 || strcmp(name, "-h") == 0 || strcmp(name, "help") == 0)
        return show_help(argc - 1, argv + 1);
    const Command *command = find_command(name);
    if (command == nullptr) {
        complain("there is no %s %s; velmora --help lists the commands", name[0] == '-' ? "option" : "command",
                 quoted(name).c_str());
        return STATUS_WRONG_USE;
    }
    return command->run(argc - 1, argv + 1);
}

int main(int argc, char **argv)
{
    signal(SIGPIPE, SIG_IGN);   // a closed pipe shows as a failed write, which ends the run quietly
    start_messages();
    int status;
    try {
        status = run(argc, argv);
    } catch (const std::bad_alloc &) {
        complain("not enough memory");
        status = STATUS_UNREADABLE;
    }
    status = worse(status, finish_output());
    finish_messages();
    return status;
}
