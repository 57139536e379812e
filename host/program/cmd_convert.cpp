// velmora convert: the same data set in another encoding.
#include "host/program/command.h"
#include "host/program/writing.h"

static const char HELP[] = WRITING_HELP
    "\n"
    "IN is a file, a folder with all that is in it, or - for standard input. OUT is a file, - for standard output, or "
    "a\n"
    "folder, which several files go to. Without --syntax the encoding stays. Everything that was read is written, "
    "values\n"
    "byte for byte. Deflated files are written native. Compressed pixel data stays compressed, and needs explicit.\n"
    "\n"
    "Examples:\n"
    "  velmora convert --syntax explicit old.dcm new.dcm\n"
    "  velmora convert --syntax implicit --no-private --jobs 4 study/ out/\n"
    "  velmora convert --syntax big --group-length - - < image.dcm > big.dcm\n";

static const option LONGS[] = {
    WRITING_LONGS,
    {nullptr, 0, nullptr, 0},
};

static int run_convert(int argc, char **argv)
{
    Writing writing;
    writing.command = &command_convert;
    int status = STATUS_DONE;
    for (int letter;
         (letter = next_option(command_convert, argc, argv, WRITING_SHORTS, LONGS, &status)) != OPTION_END;) {
        if (letter == OPTION_STOP)
            return status;
        take_writing_option(letter, &writing, &status);
        if (status != STATUS_DONE)
            return status;
    }
    Tally total;
    return run_writing(&writing, argc, argv, &total);
}

extern const Command command_convert = {
    "convert", "convert [OPTIONS] IN... OUT", "Writes data sets in another encoding", HELP, run_convert,
};
