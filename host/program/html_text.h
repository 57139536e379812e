// Texts for an HTML page: nothing in them can end an element or an attribute, drive the reader's eye astray or be taken
// for something else.
#ifndef VELMORA_PROGRAM_HTML_TEXT_H
#define VELMORA_PROGRAM_HTML_TEXT_H

#include <string>

enum Html_Lines { LINES_ESCAPED, LINES_KEPT };

// Appends a text for the inside of an element. The text need not be UTF-8. What has no shape of its own is shown by its
// code between <u> and </u>, so that it differs from a text that spells the same: control characters and bytes that are
// no UTF-8 as \x1b, marks of direction, of no width and of noncharacters as U+202E.
//   lines  LINES_KEPT: line ends and tabs stay what they are
void append_html(const char *text, size_t size, Html_Lines lines, std::string *out);
void append_html(const std::string &text, std::string *out);

// Appends a number in groups of three digits: 1,234,567.
void append_grouped(long long number, std::string *out);

#endif
