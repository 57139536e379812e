// What the program tells of itself: help for people, and the same as JSON, from which manual pages and completion are
// made.
#ifndef VELMORA_PROGRAM_HELP_H
#define VELMORA_PROGRAM_HELP_H

#include <string>
#include <vector>

#include "host/program/command.h"

// A group of commands, under a title. The last one has no title, as the last command of a group is null.
struct Command_Group {
    const char *title;
    const Command *const *commands;
};

// The whole text of the program's help.
std::string help_text(const Command_Group *groups);

// That of a command's.
std::string help_text(const Command &command);

// One object with all commands, their options and texts.
void write_help_as_json(const Command_Group *groups);

// The word of a list that was most likely meant; empty: none is near.
//   distance_allowed  letters that may differ; the longer the list, the fewer they should be
std::string nearest_word(const std::string &word, const std::vector<std::string> &words, size_t distance_allowed);

// The words of a list that has a blank between two.
std::vector<std::string> split_words(const char *words);

// "a, b or c".
std::string words_in_a_line(const std::vector<std::string> &words, const char *last);

#endif
