// velmora: the program. Finds the command and runs it; all else is the command's.
#include <fcntl.h>
#include <signal.h>
#include <string.h>
#include <new>
#include <string>

#include "host/program/commands.h"
#include "host/program/definitions.h"
#include "host/program/folding.h"
#include "host/program/messages.h"
#include "host/program/output.h"
#include "host/velmora_host.h"
#include "tree/Velmora_DICOM.h"

static int show_version()
{
    std::string text = std::string("velmora ") + VELMORA_VERSION + ", " + Get_Version_DICOM(nullptr) + "\n";
    write_out(text.data(), text.size());
    return STATUS_DONE;
}

// ---- main -----------------------------------------------------------------------------

// Where a standard stream is closed, the next file to be opened would take its number, and results or messages would be
// written into that file. Each stays closed to its own use: reading or writing there fails.
static void hold_standard_streams()
{
    static const int CLOSED_MODES[] = {O_WRONLY, O_RDONLY, O_RDONLY};
    for (int stream = 0; stream < 3; stream++)
        if (fcntl(stream, F_GETFD) < 0)
            open("/dev/null", CLOSED_MODES[stream]);   // takes the lowest number that is free
}

static int run(int argc, char **argv)
{
    if (argc < 2) {
        write_err(usage_text());
        return STATUS_WRONG_USE;
    }
    const char *name = argv[1];
    if (strcmp(name, "--version") == 0 || strcmp(name, "-V") == 0)
        return show_version();
    if (strcmp(name, "--help") == 0 || strcmp(name, "-h") == 0)
        name = command_help.name;
    const Command *command = find_command(name);
    return command != nullptr ? command->run(argc - 1, argv + 1) : refuse_command(name);
}

int main(int argc, char **argv)
{
    hold_standard_streams();
    signal(SIGPIPE, SIG_IGN);   // a closed pipe shows as a failed write, which ends the run quietly
    velmora_host::tune_heap();
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
