// All commands of the program.
#ifndef VELMORA_PROGRAM_COMMANDS_H
#define VELMORA_PROGRAM_COMMANDS_H

#include <string>

#include "host/program/command.h"

// Null: there is none of that name.
const Command *find_command(const char *name);

// What the program is for, and all commands.
std::string usage_text();

// Says that there is no command or option of that name, and what may have been meant. Returns STATUS_WRONG_USE.
int refuse_command(const char *name);

#endif
