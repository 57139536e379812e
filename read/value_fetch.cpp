// The fetch of a value that a host left in the source, by its offset, when somebody asks for it.
#include "read/read_internal.h"

#include <errno.h>
#include <fcntl.h>
#include <unistd.h>

#ifndef O_BINARY
#define O_BINARY 0
#endif

static const int RING_SIZE = sizeof File_Work_File_Pos / sizeof File_Work_File_Pos[0];

// The next cursor of the ring for reads that the library makes by itself, set to an offset. It serves one read.
static int *claim_cursor(int position)
{
    int slot = File_Work_File_Count;
    if (slot < 0 || slot >= RING_SIZE)   // an exported variable: a host may have left anything there
        slot = 0;
    File_Work_File_Count = (slot + 1) % RING_SIZE;
    File_Work_File_Pos[slot] = position;
    return &File_Work_File_Pos[slot];
}

static int open_at(HWND window, const char *name, int position, Report_Place place)
{
    int descriptor = open(name, O_RDONLY | O_BINARY | O_CLOEXEC);
    if (descriptor == -1) {
        int error = errno;
        REPORT(window, LEVEL_LOCATION, "file:%s line:%d", place.source, place.line);
        REPORT(window, LEVEL_FILE, "\xF1\004ERROR:\x02 Unable to open file");
        REPORT(window, LEVEL_FILE, "%s", Error_Perror(error));
        REPORT(window, LEVEL_FILE, "file: (%s)", name);
        return -1;
    }
    return seek_file(window, descriptor, name, position, place) ? descriptor : -1;
}

static char *allocate_value(HWND window, const DICOM_List *tag, const char *variable, Report_Place place)
{
    size_t size = static_cast<size_t>(tag->size);
    return static_cast<char *>(frame_malloc(window, size, size, 1, variable, place.source, place.line));
}

static char *fetch_from_file(HWND window, const DICOM_List *tag, const char *variable, Report_Place place)
{
    // A host that never set the name gets the failure of a file that does not exist.
    const char *name = DICOM_Lib_File_Name != nullptr ? DICOM_Lib_File_Name : "";
    int descriptor = open_at(window, name, tag->data_pos, place);
    if (descriptor == -1)
        return nullptr;
    char *data = allocate_value(window, tag, variable, place);
    if (data != nullptr && !read_file(window, descriptor, name, tag->size, data, place)) {
        frame_free(data);
        data = nullptr;
    }
    close(descriptor);
    return data;
}

static char *fetch_from_memory(HWND window, const DICOM_List *tag, const char *variable, Report_Place place)
{
    if (DICOM_Lib_File_Name == nullptr || tag->data_pos < 0)
        return nullptr;
    int *cursor = claim_cursor(tag->data_pos);
    char *data = allocate_value(window, tag, variable, place);
    if (data != nullptr)
        NEMA_Read_Byte(window, DICOM_Lib_File_Source, reinterpret_cast<intptr_t>(cursor), DICOM_Lib_File_Name, 0,
                       tag->size, data);
    return data;
}

int fetch_unread_value(HWND window, DICOM_List *tag, int trace_level, const char *variable, Report_Place place)
{
    REPORT(window, trace_level, "Reading missing: %d bytes at %d", tag->size, tag->data_pos);
    tag->data = DICOM_Lib_File_Source == SOURCE_FILE ? fetch_from_file(window, tag, variable, place)
                                                     : fetch_from_memory(window, tag, variable, place);
    return tag->data != nullptr;
}
