// Reports: the one channel through which the library speaks, its sink and its threshold.
#include "util/util_internal.h"

#include <stdarg.h>
#include <stdio.h>

HWND hwnd = nullptr;
signed char Flag_Trace = 0;
const char *Prog_Name = nullptr;

int report_threshold = 10;

static const int TEXT_ROOM = 8192;

static Error_Sink current_sink = nullptr;
static void *sink_user = nullptr;

// The control bytes are colours and emphasis for a host's window; the rest of them would let a value of a data set
// drive the terminal.
static bool belongs_on_a_terminal(unsigned char c)
{
    if (c == '\n' || c == '\t')
        return true;
    return c >= 0x20 && c != 0x7F && c != 0xF0 && c != 0xF1;
}

static void print_plain(const char *text)
{
    char line[TEXT_ROOM + 1];
    size_t length = 0;
    for (const char *c = text; *c != '\0'; c++)
        if (belongs_on_a_terminal(static_cast<unsigned char>(*c)))
            line[length++] = *c;
    line[length++] = '\n';
    fwrite(line, 1, length, stderr);
}

static void hand_on(HWND window, int level, const char *text)
{
    if (current_sink != nullptr)
        current_sink(sink_user, window, level, text);
    else
        print_plain(text);
}

// The lines of a dump come ready made, one for each attribute: they need no second copy.
static const char *ready_text(const char *format, va_list values)
{
    if (strcmp(format, "%s") != 0)
        return nullptr;
    const char *text = va_arg(values, const char *);
    return text != nullptr && strlen(text) < TEXT_ROOM ? text : nullptr;
}

int Error_Fct(HWND window, int level, const char *format, ...)
{
    if (level > report_threshold)
        return 0;

    va_list values;
    va_start(values, format);
    const char *ready = ready_text(format, values);
    va_end(values);
    if (ready != nullptr) {
        hand_on(window, level, ready);
        return 1;
    }

    char text[TEXT_ROOM];
    va_start(values, format);
    int length = vsnprintf(text, sizeof text, format, values);
    va_end(values);
    if (length < 0)
        text[0] = '\0';
    hand_on(window, level, text);
    return 1;
}

const char *Error_Perror(int code)
{
    static thread_local char text[128];
    snprintf(text, sizeof text, "%s", strerror(code));
    return text;
}

void Error_Set_Sink(Error_Sink sink, void *user)
{
    current_sink = sink;
    sink_user = user;
}

void Error_Set_Threshold(int level)
{
    report_threshold = level;
}

int Error_Get_Threshold()
{
    return report_threshold;
}
