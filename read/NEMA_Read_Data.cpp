// Bytes, numbers, blocks and texts out of a file or a buffer. Nothing here parses: what the bytes mean, and whether a
// memory source holds them, is the caller's business.
#include "read/read_internal.h"

#include <errno.h>
#include <unistd.h>

static const char SOURCE[] = ".\\NEMA_Read_Data";

static const int SCRATCH = 8;   // room for the widest number

/* ---- files ------------------------------------------------------------------------- */

int read_once(int descriptor, int size, void *out)
{
    ssize_t obtained;
    do
        obtained = read(descriptor, out, static_cast<size_t>(size));
    while (obtained == -1 && errno == EINTR);
    return static_cast<int>(obtained);
}

int read_file(HWND window, int descriptor, const char *name, int size, void *out, Report_Place place)
{
    int obtained = read_once(descriptor, size, out);
    if (obtained == size)
        return 1;

    int error = errno;
    REPORT(window, LEVEL_LOCATION, "file:%s line:%d", place.source, place.line);
    if (obtained == -1) {
        REPORT(window, LEVEL_FILE, "Error reading file %s", name);
        REPORT(window, LEVEL_FILE, "%s", Error_Perror(error));
    } else {
        REPORT(window, LEVEL_FILE, "End of File while reading: (%d /vs/ %d) (%s)", obtained, size, name);
    }
    return 0;
}

long file_position(HWND window, int descriptor, const char *name, Report_Place place)
{
    long position = lseek(descriptor, 0, SEEK_CUR);
    if (position == -1) {
        int error = errno;
        REPORT(window, LEVEL_LOCATION, "file:%s line:%d", place.source, place.line);
        REPORT(window, LEVEL_LOCATION, "using lseek()");
        REPORT(window, LEVEL_LOCATION, "%s", Error_Perror(error));
        REPORT(window, LEVEL_LOCATION, "file: (%s)", name);
    }
    return position;
}

int seek_file(HWND window, int descriptor, const char *name, long position, Report_Place place)
{
    if (lseek(descriptor, position, SEEK_SET) != -1)
        return 1;
    int error = errno;
    close(descriptor);
    REPORT(window, LEVEL_LOCATION, "file:%s line:%d", place.source, place.line);
    REPORT(window, LEVEL_FILE, "\xF1\004ERROR:\x02 while seeking pos %ld", position);
    REPORT(window, LEVEL_FILE, "%s", Error_Perror(error));
    REPORT(window, LEVEL_FILE, "file: (%s)", name);
    return 0;
}

int take_from_file(HWND window, intptr_t handle, const char *name, int size, void *out)
{
    return read_file(window, static_cast<int>(handle), name, size, out, HERE);
}

/* ---- helpers of the reads ---------------------------------------------------------- */

static int take(Byte_Source from, int size, void *out)
{
    int taken = size >= 0 && take_bytes(&from, size, out);
    leave_source(from);
    return taken;
}

// Takes the bytes of one number into a scratch area of SCRATCH bytes, zeroed behind what was taken. A size that the
// area cannot hold is refused.
static int take_number(const Byte_Source &from, int size, char *scratch)
{
    memset(scratch, 0, SCRATCH);
    return size <= SCRATCH && take(from, size, scratch);
}

// A position in memory after a skip, kept inside the range of an int, so that a length out of a hostile stream can
// neither overflow it nor turn it negative.
static int moved_position(int position, int size)
{
    int64_t target = static_cast<int64_t>(position) + size;
    if (target > INT_MAX)
        return INT_MAX;
    return target < 0 ? 0 : static_cast<int>(target);
}

// In data of 16-bit words the last byte of an odd size has no partner, and stays where it is.
static void swap_pairs(char *bytes, int size)
{
    for (int at = 0; at + 1 < size; at += 2) {
        char first = bytes[at];
        bytes[at] = bytes[at + 1];
        bytes[at + 1] = first;
    }
}

// A new block with the next size bytes of the source, and room for extra bytes behind them.
static char *take_block(const Byte_Source &from, char format, int size, size_t extra)
{
    if (size < 0)
        return nullptr;
    char *buf = static_cast<char *>(ALLOC_MALLOC(from.window, "buf", static_cast<size_t>(size) + extra, 1));
    if (buf == nullptr)
        return nullptr;
    if (!take(from, size, buf)) {
        frame_free(buf);
        return nullptr;
    }
    if (format & SYNTAX_SWAPPED_WORDS)
        swap_pairs(buf, size);
    return buf;
}

/* ---- reads ------------------------------------------------------------------------- */

int NEMA_Read_Byte(HWND window, int source, intptr_t handle, const char *name, char, int size, char *out)
{
    return take(enter_source(window, source, handle, name), size, out);
}

int NEMA_Read_Short(HWND window, int source, intptr_t handle, const char *name, char format, int size, short *out)
{
    char scratch[SCRATCH];
    if (!take_number(enter_source(window, source, handle, name), size, scratch))
        return 0;
    *out = NEMA_Convert_Short(format, scratch);
    return 1;
}

int NEMA_Read_UShort(HWND window, int source, intptr_t handle, const char *name, char format, int size,
                     unsigned short *out)
{
    char scratch[SCRATCH];
    if (!take_number(enter_source(window, source, handle, name), size, scratch))
        return 0;
    *out = NEMA_Convert_UShort(format, scratch);
    return 1;
}

int NEMA_Read_Int(HWND window, int source, intptr_t handle, const char *name, char format, int size, int *out)
{
    char scratch[SCRATCH];
    if (!take_number(enter_source(window, source, handle, name), size, scratch))
        return 0;
    *out = NEMA_Convert_Int(format, scratch);
    return 1;
}

int NEMA_Read_UInt(HWND window, int source, intptr_t handle, const char *name, char format, int size, unsigned int *out)
{
    char scratch[SCRATCH];
    if (!take_number(enter_source(window, source, handle, name), size, scratch))
        return 0;
    *out = static_cast<unsigned int>(NEMA_Convert_Int(format, scratch));
    return 1;
}

int NEMA_Read_Float(HWND window, int source, intptr_t handle, const char *name, char format, int size, float *out)
{
    char scratch[SCRATCH];
    if (!take_number(enter_source(window, source, handle, name), size, scratch))
        return 0;
    *out = NEMA_Convert_Float(format, scratch);
    return 1;
}

int NEMA_Read_Double(HWND window, int source, intptr_t handle, const char *name, char format, int size, double *out)
{
    char scratch[SCRATCH];
    if (!take_number(enter_source(window, source, handle, name), size, scratch))
        return 0;
    *out = NEMA_Convert_Double(format, scratch);
    return 1;
}

char *NEMA_Read_Buffer(HWND window, int source, intptr_t handle, const char *name, char format, int size)
{
    return take_block(enter_source(window, source, handle, name), format, size, 0);
}

char *NEMA_Read_Str(HWND window, int source, intptr_t handle, const char *name, char format, int size)
{
    char *text = take_block(enter_source(window, source, handle, name), format, size, 1);
    if (text != nullptr)
        text[size] = '\0';
    return text;
}

int NEMA_Skip(HWND window, int source, intptr_t handle, const char *name, int size)
{
    REPORT(window, LEVEL_FUNCTION, "in NEMA_Skip(size:%d)", size);
    if (size == UNDEFINED_LENGTH)
        return 1;
    if (source != SOURCE_FILE) {
        int *cursor = cursor_of(handle);
        *cursor = moved_position(*cursor, size);
        return 1;
    }
    int descriptor = static_cast<int>(handle);
    long position = file_position(window, descriptor, name, HERE);
    return seek_file(window, descriptor, name, position + size, HERE);
}

/* ---- conversions ------------------------------------------------------------------- */

short NEMA_Convert_Short(char format, const char *bytes)
{
    return Get_Short(format, bytes);
}

unsigned short NEMA_Convert_UShort(char format, const char *bytes)
{
    return Get_UShort(format, bytes);
}

int NEMA_Convert_Int(char format, const char *bytes)
{
    return Get_Int(format, bytes);
}

float NEMA_Convert_Float(char format, const char *bytes)
{
    return Get_Float(format, bytes);
}

double NEMA_Convert_Double(char format, const char *bytes)
{
    return Get_Double(format, bytes);
}
