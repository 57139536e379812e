// Whole runs of the program velmora, and files to run it on.
#ifndef VELMORA_TESTS_HOST_RUNS_H
#define VELMORA_TESTS_HOST_RUNS_H

#include <sys/types.h>
#include <string>
#include <vector>

#include "tests/support/checkout.h"

// A folder of its own for one test, removed with all that is in it at the end of its life.
struct Folder {
    Folder();
    ~Folder();
    Folder(const Folder &) = delete;

    std::string path;

    std::string write(const std::string &name, const std::string &bytes) const;   // a file in it; gives its path
    std::string read(const std::string &name) const { return bytes_of(path + "/" + name); }
};

struct Outcome {
    int status;   // exit status; 1000 + signal when it was killed; 2000: it did not end in time
    std::string out, err;
};

// Runs a program with arguments, in a folder if one is named, with input on its standard input.
Outcome run_program(const std::string &program, const std::vector<std::string> &arguments,
                    const std::string &input = "", const std::string &folder = "");

// Starts a program in a folder, its standard output being this file, and its messages dropped. Gives its process.
pid_t start_program(const std::string &program, const std::vector<std::string> &arguments, const std::string &folder,
                    int out);

// A run of the program itself.
inline Outcome velmora(const std::vector<std::string> &arguments, const std::string &input = "",
                       const std::string &folder = "")
{
    return run_program(VELMORA_PROGRAM, arguments, input, folder);
}

#endif
