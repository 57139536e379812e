// velmora uid: the names that the library gives to UIDs.
#include <getopt.h>
#include <string.h>

#include "host/program/command.h"
#include "host/program/dictionary_rows.h"
#include "host/program/messages.h"
#include "host/program/output.h"
#include "tree/DICOM_Constants.h"
#include "tree/Velmora_DICOM.h"

static const char EXAMPLES[] = "velmora uid 1.2.840.10008.1.2.4.50\n"
                               "velmora uid 1.2.840.10008.1.2.\n"
                               "velmora uid 'ct image'\n";

static const char TEXT[] = "Prints a line for each UID found: the UID and its name, split by a tab. A text that is no "
                           "UID is looked for in the "
                           "names, the beginning of a UID in the UIDs.\n";

// The UIDs that have a name, taken from the library's table when the program is built.
static const char *const KEYS[] = {
#include "uid_keys.inc"
};

static void write_name(const std::string &uid, const std::string &name)
{
    write_out(uid + "\t" + name + "\n");
}

static int look_up(const char *text)
{
    std::string name = name_of_uid(text), wanted = folded_name(text);
    if (!name.empty()) {
        write_name(text, name);
        return STATUS_DONE;
    }
    bool is_uid = text[0] != '\0' && strspn(text, "0123456789.") == strlen(text);
    int found = 0;
    for (const char *key : KEYS) {
        name = name_of_uid(key);
        bool matched = is_uid ? strncmp(key, text, strlen(text)) == 0
                              : !wanted.empty() && folded_name(name).find(wanted) != std::string::npos;
        if (matched) {
            write_name(key, name);
            found++;
        }
    }
    if (found > 0)
        return STATUS_DONE;
    complain("no name is known for %s", quoted(text).c_str());
    return STATUS_FOUND;
}

static const Option_Table *const TABLES[] = {nullptr};

static int take_option(const Option &, void *)
{
    return STATUS_DONE;   // there are none but the common ones
}

static int run_uid(int argc, char **argv)
{
    int status = STATUS_DONE;
    if (!take_options(command_uid, argc, argv, take_option, nullptr, &status))
        return status;
    if (optind == argc)
        return wrong_use(command_uid, "no UID and no text is given");
    for (int i = optind; i < argc; i++)
        status = worse(status, look_up(argv[i]));
    return status;
}

extern const Command command_uid = {
    "uid",
    "uid UID|TEXT...",
    "Looks up the names of UIDs",
    EXAMPLES,
    TABLES,
    TEXT,
    "0 found, 1 nothing was found, 2 wrong use",
    run_uid,
};
