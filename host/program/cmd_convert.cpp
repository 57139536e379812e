// velmora convert: the same data set in another encoding.
#include <getopt.h>

#include "host/program/command.h"
#include "host/program/writing.h"

static const char EXAMPLES[] = "velmora convert --syntax explicit old.dcm new.dcm\n"
                               "velmora convert --syntax implicit --no-private --jobs 4 study/ out/\n"
                               "velmora convert --syntax big --group-length - - < image.dcm > big.dcm\n";

static const char TEXT[] = "IN is a file, a folder with all that is in it, or - for standard input. OUT is a file, - "
                           "for standard output, or a "
                           "folder, which several files go to. Without --syntax the encoding stays.\n"
                           "Everything that was read is written, values byte for byte. Deflated files are written "
                           "native. Compressed pixel data "
                           "stays compressed, and needs explicit.\n";

static const Option_Table *const TABLES[] = {&writing_options, &many_options, &journal_options, nullptr};

static int take_option(const Option &option, void *user)
{
    return take_writing_option(option, static_cast<Writing *>(user));
}

static int run_convert(int argc, char **argv)
{
    Writing writing;
    writing.command = &command_convert;
    int status = STATUS_DONE;
    if (!take_options(command_convert, argc, argv, take_option, &writing, &status))
        return status;
    Tally total;
    return run_writing(&writing, argc, argv, &total);
}

extern const Command command_convert = {
    "convert",
    "convert [OPTIONS] IN... OUT",
    "Writes data sets in another encoding",
    EXAMPLES,
    TABLES,
    TEXT,
    "0 done, 2 wrong use, 3 a file could not be read or written",
    run_convert,
};
