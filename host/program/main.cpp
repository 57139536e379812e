// velmora: the program. Finds the command and runs it; all else is the command's.
#include <signal.h>
#include <stdio.h>
#include <string.h>
#include <new>
#include <string>

#include "host/program/command.h"
#include "host/program/definitions.h"
#include "host/program/folding.h"
#include "host/program/messages.h"
#include "host/program/output.h"
#include "tree/Velmora_DICOM.h"

// In the order of the help.
// clang-format off
static const Command *const commands[] = {
    &command_dump,
    &command_get,
    &command_check,
    &command_template,
    &command_repair,
    &command_convert,
    &command_conform,
    &command_edit,
    &command_diff,
    &command_dict,
    &command_code,
    &command_uid,
};
// clang-format on

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
                       "    velmora get PatientName *.dcm             one attribute of many files\n"
                       "    velmora dict PatientName                  what the data dictionary says\n"
                       "\n"
                       "Commands:\n";
    for (const Command *command : commands) {
        char line[160];
        snprintf(line, sizeof line, "    %-10s %s\n", command->name, command->summary);
        text += line;
    }
    return text + "\n"
                  "velmora COMMAND --help tells more, velmora --version the version. Every command takes\n"
                  "--definitions DIR, the folder of templates, private attributes and code tables; else it is the one\n"
                  "that VELMORA_DEFINITIONS names, or the installed one.\n"
                  "Exit status: 0 done, 1 something found (check) or not found, 2 wrong use, 3 a file could not be\n"
                  "read or written.\n";
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
    find_definitions();
    int status;
    try {
        status = run(argc, argv);
    } catch (const std::bad_alloc &) {
        complain("not enough memory");
        status = STATUS_UNREADABLE;
    }
    finish_folding();
    status = worse(status, finish_output());
    return status;
}
