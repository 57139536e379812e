// The pieces of a stream on their way out. Values that were left in the source are given by the library's image
// callback, part by part, so that a file of any size needs the memory of one part.
//
// On the way to a file a large value of a mapped file does not go through its mapping: each of its pages would be a
// fault, and count as memory of this process until the end. What needs no turning goes from file to file inside the
// system; the rest is read into a room of one part, and turned there. That is as fast as a plain copy, the wait for the
// disk included. On the way to memory, where all of it ends, the copy from the mapping is the only one.
#include "host/save_internal.h"

#include <errno.h>
#include <unistd.h>
#include <algorithm>
#include <functional>

namespace velmora_host
{

// Parts, in bytes: multiples of all units. What passes through memory should stay in the processor's cache.
static const int PART_BY_SYSTEM = 8 << 20, PART_BY_MEMORY = 512 << 10;
static const int SMALLEST_FROM_FILE = 16 << 10;   // below that a call of the system costs more than the pages

// What the callback works on.
struct Outgoing {
    Target *target;
    const Source *source;
    const Piece *piece;
    std::string *error;
    int passed;   // up to here the pages of the source were let go
};

static char *room_of(Target *target, int size)
{
    target->room.resize(std::max(target->room.size(), static_cast<size_t>(size)));
    return target->room.data();
}

// Where bytes of a piece stand in the source; -1: elsewhere.
static int place_in_source(const Source &source, const char *bytes)
{
    bool is_inside = std::less_equal<const char *>()(source.bytes, bytes) &&
                     std::less<const char *>()(bytes, source.bytes + source.size);
    return is_inside ? static_cast<int>(bytes - source.bytes) : -1;
}

static bool read_into_room(Outgoing *out, int at, int size)
{
    char *room = room_of(out->target, size);
    for (int done = 0; done < size;) {
        ssize_t got = pread(out->source->file, room + done, static_cast<size_t>(size - done), at + done);
        if (got == 0)
            out->target->failure = EFAULT;   // the file became shorter: what a write from its mapping says then
        if (got < 0 && errno != EINTR)
            *out->error = std::string("is not written: the file that is read gives: ") + strerror(errno);
        if (got == 0 || !out->error->empty())
            return false;
        done += got > 0 ? static_cast<int>(got) : 0;
    }
    return true;
}

// The callback.
//   buffer  gets where the bytes are
//   offset  of the part in the piece
//   size    of the part
// Returns the number of bytes: none where the part went to its place without passing through memory.
static int give_part(HWND, char, char **buffer, int offset, int size, void *user)
{
    Outgoing *out = static_cast<Outgoing *>(user);
    const char *bytes = out->piece->bytes + offset;
    bool is_from_file = out->source->file >= 0 && out->target->memory == nullptr &&
                        out->piece->size >= SMALLEST_FROM_FILE;
    int at = is_from_file ? place_in_source(*out->source, bytes) : -1, unit = out->piece->unit, copied = 0;
    if (at >= 0 && unit == 1)
        copied = static_cast<int>(put_from_file(out->target, out->source->file, at, size));
    size -= copied;
    if (at >= 0 && size > 0) {
        if (!read_into_room(out, at + copied, size))
            return 0;
        bytes = out->target->room.data();
    }
    if (unit > 1 && size > 0) {
        char *room = room_of(out->target, size);
        reverse_units(bytes, size, unit, room);
        bytes = room;
    }
    *buffer = const_cast<char *>(bytes);
    return size;
}

// Small pieces do go through the mapping, and a large file may be made of them.
static void let_passed_pages_go(Outgoing *out)
{
    static const int AT_A_TIME = 8 << 20;
    int at = place_in_source(*out->source, out->piece->bytes);
    if (at < 0)
        return;
    if (at < out->passed)
        out->passed = at;
    if (at - out->passed >= AT_A_TIME) {
        let_pages_go(*out->source, out->passed, at);
        out->passed = at;
    }
}

static bool put_ranged(Outgoing *out, unsigned char mode)
{
    const Piece &piece = *out->piece;
    bool goes_by_system = piece.unit == 1 && !out->target->temporary.empty();
    int64_t part = goes_by_system ? PART_BY_SYSTEM : PART_BY_MEMORY;
    for (int64_t at = 0; at < piece.size && out->target->failure == 0; at += part) {
        char *bytes = nullptr;
        int size = DICOM_Write_Buffer_B(nullptr, static_cast<char>(mode), &bytes, static_cast<int>(at),
                                        static_cast<int>(std::min(part, piece.size - at)), out);
        if (!out->error->empty())
            return false;
        put(out->target, bytes, static_cast<size_t>(size));
    }
    let_passed_pages_go(out);
    return true;
}

// The library keeps the callback until it gets another. It must not outlive what it works on, whatever ends the saving.
struct Registration {
    Registration()
    {
        DICOM_Write_Image_B_Fct(give_part);
    }
    ~Registration()
    {
        DICOM_Write_Image_B_Fct(nullptr);
    }
    Registration(const Registration &) = delete;
};

bool put_pieces(Target *target, const Source &source, const Pieces &pieces, unsigned char mode, std::string *error)
{
    Outgoing out = {target, &source, nullptr, error, 0};
    Registration registration;
    error->clear();
    for (const Piece &piece : pieces.list) {
        out.piece = &piece;
        if (piece.bytes == nullptr)
            put(target, piece.block != nullptr ? piece.block.get() : piece.text.data(),
                static_cast<size_t>(piece.size));
        else if (!put_ranged(&out, mode))
            break;
    }
    return error->empty();
}

}   // namespace velmora_host
