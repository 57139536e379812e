// Whole runs of the program velmora, and files to run it on.
#ifndef VELMORA_TESTS_HOST_RUNS_H
#define VELMORA_TESTS_HOST_RUNS_H

#include <string>
#include <vector>

// A folder of its own for one test, removed with all that is in it at the end of its life.
struct Folder {
    Folder();
    ~Folder();
    Folder(const Folder &) = delete;

    std::string path;

    // Writes a file in it and gives its path.
    std::string write(const std::string &name, const std::string &bytes) const;
};

struct Outcome {
    int status;   // exit status; 1000 + signal when it was killed; 2000: it did not end in time
    std::string out, err;
};

// Runs a program with arguments, in a folder if one is named, with input on its standard input.
Outcome run_program(const std::string &program, const std::vector<std::string> &arguments,
                    const std::string &input = "", const std::string &folder = "");

#endif
