// Texts in the character set of the terminal.
#ifndef VELMORA_PROGRAM_TERMINAL_H
#define VELMORA_PROGRAM_TERMINAL_H

#include <string>

// A text of UTF-8 for people to see: what could drive a terminal is made visible, and the rest is in the character set
// of the locale. What that set does not have is shown as \u65e5. UTF-8 counts where the locale names no set.
std::string for_terminal(const std::string &utf8);

#endif
