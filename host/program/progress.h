// One line on the terminal while long work is under way. Nothing at all where standard error is no terminal.
#ifndef VELMORA_PROGRAM_PROGRESS_H
#define VELMORA_PROGRAM_PROGRESS_H

// Shows the numbers, at most ten times a second, and only once the work has taken a second.
void show_progress(long long files, long long failed);

// Takes the line off the terminal: before anything else is written, and at the end.
void clear_progress();

#endif
