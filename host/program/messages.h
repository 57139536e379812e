// Messages: what the library reports and what the program has to say, on standard error. Each names the file and, where
// it is known, the offset and the path; what repeats is counted and told once.
#ifndef VELMORA_PROGRAM_MESSAGES_H
#define VELMORA_PROGRAM_MESSAGES_H

#include <string>

#include "host/velmora_host.h"

// The levels that the program gives to the library. The lines of a dump come as reports, too.
enum {
    LEVEL_WARNINGS = 3,
    LEVEL_LINES = 7,
    LEVEL_REMARKS = 8,
};

// Takes the library's reports from now on.
void start_messages();

// Remarks are dropped unless they are asked for.
void show_remarks();

// "velmora: " and the text, made visible, as one line.
void complain(const char *format, ...) __attribute__((format(printf, 1, 2)));

// The same about a file: complain_about("a.dcm", "is empty").
void complain_about(const std::string &file, const std::string &text);

// The text of the last complaint about a file, once.
std::string take_complaint();

// The text of a report without its control bytes, its blanks in front and the word WARNING.
std::string text_of_report(const char *report);

// Reports between the two are about this file. At the end they are told; the data set, which may be null, shows where
// in it a tag stands that was reported without a place.
void begin_file(const std::string &file);
void end_file(const velmora_host::Data_Set *set);

// Between the two, where there is more than one file: what follows is about this one.
void turn_to_file(const std::string &file);

// All reports go to this function instead; null ends that.
typedef void (*Report_Taker)(void *user, int level, const char *report);
void take_reports(Report_Taker taker, void *user);

// After an exception: nobody takes reports any more, and what was collected about a file is dropped.
void forget_file();

// Reports at LEVEL_LINES go to this function; null drops them.
typedef void (*Line_Taker)(void *user, const char *text);
void take_lines(Line_Taker taker, void *user);

#endif
