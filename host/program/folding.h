// What is told about several files in the same words is told of the first few and counted for the rest.
#ifndef VELMORA_PROGRAM_FOLDING_H
#define VELMORA_PROGRAM_FOLDING_H

#include <stdint.h>
#include <string>
#include <unordered_map>
#include <utility>
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

// What was done in one file, where the same is done in many places of it: told of the first places and counted for the
// rest.
struct Repeats {
    bool shows_all = false;

    // Whether this is to be told of one more place; the text is without the place.
    bool is_told(const std::string &text);

    // "17 more: TEXT" for each text that was not told of every place, in the order of their first places.
    std::vector<std::string> counted() const;

  private:
    std::unordered_map<std::string, size_t> by_text;       // places in the list
    std::vector<std::pair<std::string, int64_t>> places;   // how many each text has
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
