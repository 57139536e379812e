// Standard output: one large buffer, colours where they are wanted, and values that cannot drive a terminal.
#ifndef VELMORA_PROGRAM_OUTPUT_H
#define VELMORA_PROGRAM_OUTPUT_H

#include <stddef.h>
#include <string.h>
#include <string>

// Bytes for standard output, as they are. A closed pipe ends the run at once and quietly, with status 0.
void write_out(const char *bytes, size_t count);

inline void write_out(const char *text)
{
    write_out(text, strlen(text));
}

inline void write_out(const std::string &text)
{
    write_out(text.data(), text.size());
}

// Room of at least count bytes in the buffer, of at most ROOM; taken says how many of them were filled.
enum : size_t { OUTPUT_ROOM = 8192 };
char *room_out();
void took_out(size_t count);

// Writes out what there is so far, so that a message that follows comes behind it.
void flush_out();

// The same, if somebody may be waiting: on a terminal always, else when the last time was a while ago.
void flush_when_due();

// From now on a closed pipe does not end the run, since its work is not what it prints.
void go_on_without_output();

// A text for standard error, as it is; what waits for standard output goes out first.
void write_err(const std::string &text);

// Where everything goes instead of the two streams: in a worker process, to the one that gives it its work. Null: to
// the streams. What waits goes out first.
struct Folded_Lines;   // folding.h
struct Diversion {
    void (*text)(void *user, bool to_err, const char *bytes, size_t count);
    void (*folded)(void *user, const Folded_Lines &lines);
    void *user;
};
void divert(const Diversion *to);
const Diversion *diversion();

// Whether standard output took all that was written out so far.
bool is_output_whole();

// Writes out what is left. Returns STATUS_UNREADABLE, and says so, when standard output failed; else STATUS_DONE.
int finish_output();

// ---- colours --------------------------------------------------------------------------

// As the choices of --color.
enum Color_Choice { COLOR_AUTO, COLOR_ALWAYS, COLOR_NEVER };

// Whether a stream gets colours: by choice; else on a terminal, unless the terminal is dumb. NO_COLOR with a value says
// no and CLICOLOR_FORCE with another one than 0 says yes where nothing was chosen; of the two NO_COLOR counts.
bool wants_color(Color_Choice choice, int file);

// A line of the library with its control bytes turned into colours or left out, and a line feed.
//   columns  brackets that close in front of a value of a data set; what stands behind them is made visible, so that no
//            byte of it counts as a control byte of ours. 0: there is no value
void write_marked_line(const char *text, int columns, bool color);

// The same with another text, which is visible already, in the place of the value.
void write_marked_line(const char *text, int columns, bool color, const std::string &value);

// The columns in front of the value alone, without a value and without a line feed.
//   value  gets the place in the text where the value begins
//   room   of out, in bytes
// Returns the bytes used, 0 when there is not room enough.
size_t convert_columns(const char *text, int columns, bool color, const char **value, char *out, size_t room);

// A line of columns that were converted before, and a value of a data set of at most LONGEST_VALUE bytes.
enum : size_t { LONGEST_COLUMNS = 400, LONGEST_VALUE = 1024 };
void write_columns(const char *columns, size_t count, bool color, const char *value);

// The same without colours and without the line feed, for messages.
std::string without_marks(const char *text);

// A text of unknown origin in which nothing can drive a terminal: control bytes, and bytes that are no UTF-8, are shown
// as \n, \x1b and the like.
std::string visible(const char *text, size_t length);
std::string visible(const std::string &text);

// The same between single quotes.
std::string quoted(const std::string &text);

#endif
