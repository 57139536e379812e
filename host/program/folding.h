// What is told about several files in the same words is told of the first few and counted for the rest.
#ifndef VELMORA_PROGRAM_FOLDING_H
#define VELMORA_PROGRAM_FOLDING_H

#include <string>
#include <vector>

// The same thing, said once or several times about one file.
struct Folded_Kind {
    std::string mask;      // what it has in common in all files
    std::string lines;     // about this file, each with its line feed; empty: the kind's lines stand elsewhere
    std::string example;   // told at the end when not all files were, with "# files" for how many
};

// What is told about one file. The kinds come first, each with its lines; then the lines that have an order of their
// own, each with the number of its kind.
struct Folded_Lines {
    bool to_err = false;
    std::vector<Folded_Kind> kinds;
    struct Line {
        size_t kind;
        std::string text;
    };
    std::vector<Line> lines;
};

// A text with tags and numbers as #: what it has in common with others.
std::string mask_of(const std::string &text);

// Tells what is new enough, and counts the rest.
void tell_folded(const Folded_Lines &lines);

// Everything is told from now on.
void fold_nothing();

// Tells how many files had what was only counted.
void finish_folding();

#endif
