// One buffer in front of standard output, the colours of the library's lines, and values made visible.
#include "host/program/output.h"

#include <errno.h>
#include <poll.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <time.h>
#include <unistd.h>
#include <bit>

#include "host/program/command.h"
#include "host/program/messages.h"
#include "host/program/progress.h"

static const size_t BUFFER = 256 * 1024;
static char buffer[BUFFER];   // static: what is in it has to get out at the end, wherever that is
static size_t held = 0;
static int failure = 0;        // errno of the first failed write
static bool goes_on = false;   // without a reader
static const Diversion *diverted = nullptr;

// Bytes of a mapped file that became shorter are no address to write from. To read one puts zero bytes there, and it is
// noted where the file ends now. See host/source.cpp.
static void touch_pages(const char *bytes, size_t count)
{
    static const size_t SMALLEST_PAGE = 4096;
    for (size_t at = 0; at < count; at += SMALLEST_PAGE)
        static_cast<void>(*static_cast<const volatile char *>(bytes + at));
    static_cast<void>(*static_cast<const volatile char *>(bytes + count - 1));
}

// Whoever shares a pipe or a terminal with us may have told it not to block.
static void wait_for_room()
{
    pollfd out = {STDOUT_FILENO, POLLOUT, 0};
    poll(&out, 1, -1);
}

static void write_all(const char *bytes, size_t count)
{
    if (diverted != nullptr) {
        if (count > 0)
            diverted->text(diverted->user, false, bytes, count);
        return;
    }
    if (count > 0)
        clear_progress();
    for (bool is_touched = false; count > 0 && failure == 0;) {
        ssize_t done = write(STDOUT_FILENO, bytes, count);
        if (done < 0 && errno == EPIPE && !goes_on)
            _exit(STATUS_DONE);
        if (done < 0 && errno == EFAULT && !is_touched) {
            is_touched = true;
            touch_pages(bytes, count);
            continue;
        }
        if (done < 0 && errno == EPIPE)
            return;
        if (done < 0 && errno == EAGAIN)
            wait_for_room();
        else if (done < 0 && errno != EINTR)
            failure = errno;
        if (done > 0) {
            bytes += done;
            count -= static_cast<size_t>(done);
        }
    }
}

void go_on_without_output()
{
    goes_on = true;
}

void flush_out()
{
    write_all(buffer, held);
    held = 0;
}

// Writes out the whole lines, so that what others write to the same place does not come in between.
static void flush_lines()
{
    const void *end = memrchr(buffer, '\n', held);
    size_t lines = end != nullptr ? static_cast<size_t>(static_cast<const char *>(end) - buffer) + 1 : held;
    write_all(buffer, lines);
    memmove(buffer, buffer + lines, held - lines);
    held -= lines;
}

void flush_when_due()
{
    static const double A_WHILE = 0.2;   // seconds
    static const bool is_terminal = isatty(STDOUT_FILENO);
    static timespec last = {};
    timespec now = {};
    clock_gettime(CLOCK_MONOTONIC, &now);
    double passed =
        static_cast<double>(now.tv_sec - last.tv_sec) + static_cast<double>(now.tv_nsec - last.tv_nsec) * 1e-9;
    if (held == 0 || (!is_terminal && passed < A_WHILE))
        return;
    flush_lines();
    last = now;
}

void write_out(const char *bytes, size_t count)
{
    if (count > BUFFER - held)
        flush_lines();
    if (count > BUFFER - held)
        flush_out();
    if (count > BUFFER)
        return write_all(bytes, count);
    memcpy(buffer + held, bytes, count);
    held += count;
}

void write_err(const std::string &text)
{
    flush_out();
    if (diverted != nullptr)
        return diverted->text(diverted->user, true, text.data(), text.size());
    clear_progress();
    fwrite(text.data(), 1, text.size(), stderr);
}

void divert(const Diversion *to)
{
    flush_out();
    diverted = to;
}

const Diversion *diversion()
{
    return diverted;
}

char *room_out()
{
    if (BUFFER - held < OUTPUT_ROOM)
        flush_lines();
    if (BUFFER - held < OUTPUT_ROOM)
        flush_out();
    return buffer + held;
}

void took_out(size_t count)
{
    held += count;
}

bool is_output_whole()
{
    return failure == 0;
}

int finish_output()
{
    flush_out();
    if (failure == 0)
        return STATUS_DONE;
    complain("standard output cannot be written: %s", strerror(failure));
    return STATUS_UNREADABLE;
}

// ---- colours --------------------------------------------------------------------------

static bool is_set(const char *name)
{
    const char *value = getenv(name);
    return value != nullptr && value[0] != '\0';
}

bool wants_color(Color_Choice choice, int file)
{
    if (choice != COLOR_AUTO)
        return choice == COLOR_ALWAYS;
    if (is_set("NO_COLOR"))
        return false;
    if (is_set("CLICOLOR_FORCE") && strcmp(getenv("CLICOLOR_FORCE"), "0") != 0)
        return true;
    return isatty(file) && is_set("TERM") && strcmp(getenv("TERM"), "dumb") != 0;
}

// What becomes of each byte of the library's lines.
enum Byte_Action : unsigned char { DROP_BYTE = 0, COPY_BYTE = 1, SHOW_BYTE, COLOR_BYTE };

struct Action_Table {
    unsigned char of[256];
};

static constexpr Action_Table fill_actions(Byte_Action mark)
{
    Action_Table table = {};
    for (int c = 0; c < 256; c++)
        table.of[c] = c >= 0x20 && c < 0x7F ? COPY_BYTE : SHOW_BYTE;
    for (int c : {0x01, 0x02, 0x04, 0x05, 0x06, 0xF0, 0xF1})
        table.of[c] = mark;
    return table;
}

static constexpr Action_Table plain_actions = fill_actions(DROP_BYTE), color_actions = fill_actions(COLOR_BYTE);

static const char *escape_of(unsigned char mark)
{
    switch (mark) {
    case 0x01:
        return "\033[34m";
    case 0x02:
        return "\033[39m";
    case 0x04:
        return "\033[31m";
    case 0x05:
        return "\033[33m";
    case 0x06:
        return "\033[32m";
    case 0xF0:
        return "\033[22m";
    default:
        return "\033[1m";
    }
}

// ---- values made visible --------------------------------------------------------------

// Length of the UTF-8 sequence here, 0 when there is none that a terminal may see: the controls of C1 are sequences
// too.
static size_t utf8_length(const unsigned char *at, size_t left)
{
    static const struct {
        unsigned char mask, lead;
        uint32_t smallest;
    } rows[] = {
        {0xE0, 0xC0, 0xA0   },
        {0xF0, 0xE0, 0x800  },
        {0xF8, 0xF0, 0x10000},
    };
    for (size_t more = 1; more <= 3; more++) {
        if ((at[0] & rows[more - 1].mask) != rows[more - 1].lead)
            continue;
        if (left <= more)
            return 0;
        uint32_t code = at[0] & static_cast<uint32_t>(~rows[more - 1].mask & 0xFF);
        for (size_t i = 1; i <= more; i++) {
            if ((at[i] & 0xC0) != 0x80)
                return 0;
            code = code << 6 | (at[i] & 0x3F);
        }
        bool is_surrogate = code >= 0xD800 && code <= 0xDFFF;
        bool turns_text = (code >= 0x202A && code <= 0x202E) || (code >= 0x2066 && code <= 0x2069);
        return code < rows[more - 1].smallest || code > 0x10FFFF || is_surrogate || turns_text ? 0 : more + 1;
    }
    return 0;
}

static bool is_plain(unsigned char c)
{
    return c >= 0x20 && c < 0x7F;
}

// Appends one byte that is not plain. out has room for four.
static size_t show_byte(char *out, unsigned char c)
{
    static const char digits[] = "0123456789abcdef";
    out[0] = '\\';
    if (c == '\n' || c == '\r' || c == '\t') {
        out[1] = c == '\n' ? 'n' : c == '\r' ? 'r' : 't';
        return 2;
    }
    out[1] = 'x';
    out[2] = digits[c >> 4];
    out[3] = digits[c & 15];
    return 4;
}

// How many of the eight bytes at a place are plain, counted up to the first that is not. The last bits of a byte tell
// it in one step for all eight; what a byte carries over reaches later bytes only, which the count leaves out.
static size_t plain_bytes(const char *at, uint64_t *eight)
{
    memcpy(eight, at, sizeof *eight);
    if constexpr (std::endian::native != std::endian::little)
        return 0;
    const uint64_t ones = 0x0101010101010101, high = ones * 0x80;
    uint64_t odd = (*eight | (*eight + ones) | (*eight - ones * 0x20)) & high;
    return odd == 0 ? 8 : static_cast<size_t>(std::countr_zero(odd)) / 8;
}

// Copies the plain bytes at the start of a text, eight at a time. Returns their number.
static size_t copy_plain(const char *text, size_t length, char *out)
{
    size_t run = 0;
    for (uint64_t eight; length - run >= 8; run += 8) {
        if (plain_bytes(text + run, &eight) < 8)
            break;
        memcpy(out + run, &eight, sizeof eight);
    }
    for (; run < length && is_plain(static_cast<unsigned char>(text[run])); run++)
        out[run] = text[run];
    return run;
}

// Makes a text visible in room for four times its length. Returns the bytes used.
static size_t make_visible(const char *text, size_t length, char *out)
{
    const unsigned char *at = reinterpret_cast<const unsigned char *>(text);
    char *to = out;
    for (size_t i = 0; i < length;) {
        size_t run = copy_plain(text + i, length - i, to);
        to += run;
        i += run;
        if (i == length)
            break;
        size_t sequence = at[i] >= 0x80 ? utf8_length(at + i, length - i) : 0;
        if (sequence > 0) {
            memcpy(to, text + i, sequence);
            to += sequence;
            i += sequence;
        } else {
            to += show_byte(to, at[i++]);
        }
    }
    return static_cast<size_t>(to - out);
}

std::string visible(const char *text, size_t length)
{
    std::string shown(length * 4, '\0');
    shown.resize(make_visible(text, length, &shown[0]));
    return shown;
}

std::string visible(const std::string &text)
{
    return visible(text.data(), text.size());
}

std::string quoted(const std::string &text)
{
    std::string shown = visible(text);
    shown.insert(shown.begin(), '\'');
    shown.push_back('\'');
    return shown;
}

// ---- lines of the library -------------------------------------------------------------

// Converts a text with marks in room for five times its length, up to its end or up to a place. That place lies behind
// the n-th bracket that closes a column: "\x02) ".
//   closings  n; 0: to the end
// Returns the place reached, and moves out behind what it wrote.
static const char *convert_marks(const char *at, const char *end, int closings, const Action_Table &actions, char **out)
{
    char *to = *out;
    while (at < end) {
        uint64_t eight;
        size_t plain = end - at >= 8 ? plain_bytes(at, &eight) : 0;
        if (plain > 0) {
            memcpy(to, &eight, sizeof eight);
            to += plain;
            at += plain;
            if (plain == 8)
                continue;
        }
        unsigned char c = static_cast<unsigned char>(*at++), action = actions.of[c];
        if (action == SHOW_BYTE) {
            to += show_byte(to, c);
        } else if (action == COLOR_BYTE) {
            const char *escape = escape_of(c);
            size_t length = strlen(escape);
            memcpy(to, escape, length);
            to += length;
        } else if (action == COPY_BYTE) {
            *to++ = static_cast<char>(c);
        }
        if (c == 0x02 && closings > 0 && end - at >= 2 && at[0] == ')' && at[1] == ' ' && --closings == 0) {
            memcpy(to, ") ", 2);
            to += 2;
            at += 2;
            break;
        }
    }
    *out = to;
    return at;
}

static const Action_Table &actions_for(bool color)
{
    return color ? color_actions : plain_actions;
}

static char *put_end(char *out, bool color)
{
    if (color) {
        memcpy(out, "\033[0m", 4);
        out += 4;
    }
    *out++ = '\n';
    return out;
}

void write_marked_line(const char *text, int columns, bool color)
{
    static const size_t LONGEST = (OUTPUT_ROOM - 16) / 5;   // of the library's lines; a longer one goes the slow way
    size_t length = strlen(text);
    std::string slow;
    if (length > LONGEST)
        slow.resize(length * 5 + 16);
    char *start = length > LONGEST ? &slow[0] : room_out(), *out = start;
    const char *value = convert_marks(text, text + length, columns, actions_for(color), &out);
    out += make_visible(value, length - static_cast<size_t>(value - text), out);
    out = put_end(out, color);
    if (length > LONGEST)
        write_out(start, static_cast<size_t>(out - start));
    else
        took_out(static_cast<size_t>(out - start));
}

size_t convert_columns(const char *text, int columns, bool color, const char **value, char *out, size_t room)
{
    size_t length = strlen(text);
    std::string line(length * 5 + 16, '\0');
    char *end = &line[0];
    *value = convert_marks(text, text + length, columns, actions_for(color), &end);
    size_t used = static_cast<size_t>(end - &line[0]);
    if (used > room)
        return 0;
    memcpy(out, line.data(), used);
    return used;
}

void write_columns(const char *columns, size_t count, bool color, const char *value)
{
    static_assert(LONGEST_COLUMNS + 4 * LONGEST_VALUE + 16 <= OUTPUT_ROOM);
    char *start = room_out(), *out = start;
    memcpy(out, columns, count);
    out += count;
    out += make_visible(value, strlen(value), out);
    took_out(static_cast<size_t>(put_end(out, color) - start));
}

void write_marked_line(const char *text, int columns, bool color, const std::string &value)
{
    size_t length = strlen(text);
    std::string line(length * 5 + 16, '\0');
    char *out = &line[0];
    convert_marks(text, text + length, columns, actions_for(color), &out);
    line.resize(static_cast<size_t>(out - &line[0]));
    write_out(line + value + (color ? "\033[0m\n" : "\n"));
}

std::string without_marks(const char *text)
{
    size_t length = strlen(text);
    std::string plain(length * 4 + 8, '\0');
    char *out = &plain[0];
    convert_marks(text, text + length, 0, plain_actions, &out);
    plain.resize(static_cast<size_t>(out - &plain[0]));
    return plain;
}
