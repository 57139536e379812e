// The definition directory, the files in it, and their lines. What a line means is the parser's business.
#include "modules/modules_internal.h"

#include <errno.h>
#include <stdio.h>

static const char SOURCE[] = ".\\NEMA_Read_IOD";

char *DICOM_Module_Dir = nullptr;

/* ---- files ------------------------------------------------------------------------- */

bool compose_definition_name(char *buffer, const char *prefix, const char *name)
{
    int length = snprintf(buffer, FILE_NAME_ROOM, "%s%s.txt", prefix, name);
    return length >= 0 && length < FILE_NAME_ROOM;
}

FILE *open_definition(const char *file)
{
    if (DICOM_Module_Dir == nullptr)
        return nullptr;
    char path[PATH_ROOM];
    int length = snprintf(path, sizeof path, "%s%s", DICOM_Module_Dir, file);
    return length >= 0 && length < PATH_ROOM ? fopen(path, "r") : nullptr;
}

FILE *open_definition_named(char *buffer, const char *prefix, const char *name)
{
    return compose_definition_name(buffer, prefix, name) ? open_definition(buffer) : nullptr;
}

/* ---- lines ------------------------------------------------------------------------- */

static int next_byte(FILE *stream)
{
#if defined(__unix__) || defined(__APPLE__)
    return getc_unlocked(stream);   // a stream belongs to one reader: the lock at each byte would buy nothing
#else
    return getc(stream);
#endif
}

// What isprint says in the "C" locale, whatever the host has set.
static bool is_printable(int byte)
{
    return byte >= 0x20 && byte <= 0x7E;
}

static void report_place(HWND window, const char *file, int line)
{
    REPORT(window, Flag_Error_Warning, "    \xF1\x05WARNING:\x02 reading file:\x01%s\x02 line:\x01%d\x02", file, line);
}

// The byte to store for one that was read: tabs and curly apostrophes become plain ones.
static int plain_byte(int byte)
{
    switch (byte) {
    case '\t':
        return ' ';
    case 0x92:
        return '\'';
    default:
        return byte;
    }
}

int read_definition_line(HWND window, FILE *stream, int line, char *buffer, const char *file, char **comment,
                         long *consumed)
{
    int stored = 0, position = 0;   // position counts carriage returns as well
    int complete = 0;
    buffer[0] = '\0';
    if (comment != nullptr)
        *comment = nullptr;

    for (;; position++) {
        int byte = next_byte(stream);
        if (byte == EOF && ferror(stream)) {
            int code = errno;
            report_place(window, file, line);
            REPORT(window, Flag_Error_Warning, "    \xF1\t\t\x02 %s", Error_Perror(code));
            break;
        }
        if (byte == EOF || byte == '\n' || byte == '\f') {
            complete = byte == '\n';
            break;
        }
        if (byte == '\r')
            continue;
        byte = plain_byte(byte);
        if (byte != '\0' && byte != ';' && !is_printable(byte)) {
            report_place(window, file, line);
            REPORT(window, Flag_Error_Warning, "    \xF1\t\t\x02 Bad charact.\x01 0x%x\x02 (pos:%d)", byte, position);
        }
        if (stored == LINE_ROOM - 1) {
            report_place(window, file, line);
            REPORT(window, Flag_Error_Warning, "    \xF1\t\t\x02 Line too long (>2048)");
            break;
        }
        // Stored as a zero byte, a semicolon ends the text for its reader; the comment stands behind it.
        if (byte == ';' && comment != nullptr)
            *comment = buffer + stored + 1;
        buffer[stored++] = static_cast<char>(byte == ';' ? '\0' : byte);
    }
    buffer[stored] = '\0';
    if (consumed != nullptr)
        *consumed += position + 1;
    return complete;
}

/* ---- exported ---------------------------------------------------------------------- */

const char *DICOM_Module_Setup(HWND window, const char *directory)
{
    Mutex_Access_Start();
    if (directory != nullptr) {
        // Copied before the old text goes: the argument may be the text that an earlier call returned.
        char *copy = directory[0] != '\0' ? ALLOC_STRDUP(window, "DICOM_Module_Dir", directory) : nullptr;
        frame_free(DICOM_Module_Dir);
        DICOM_Module_Dir = copy;
    }
    const char *now = DICOM_Module_Dir;
    Mutex_Access_Stop();
    return now;
}

int DICOM_Module_Read_Line(HWND window, FILE *stream, int line, char *buffer, const char *file, char **comment)
{
    return read_definition_line(window, stream, line, buffer, file, comment, nullptr);
}
