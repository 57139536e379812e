// How a stream is encoded: by its transfer syntax UID (DICOM PS3.5, 10), or by a look at its first elements. Deflated
// streams (PS3.5, A.5) are inflated here.
#include "host/host_internal.h"

#include <zlib.h>
#include <stdlib.h>

namespace velmora_host
{

struct Encoding_Row {
    const char *uid;
    Encoding encoding;
};

static const unsigned char MODE_GE_SIZE_FAULT = 0x10;   // vendor code of the element reader

// Every other transfer syntax is explicit little endian, since its pixel data is encapsulated.
static const Encoding_Row encoding_rows[] = {
    {"1.2.840.10008.1.2",       {MODE_IMPLICIT_LITTLE, false}                     },
    {"1.2.840.10008.1.2.1",     {MODE_EXPLICIT_LITTLE, false}                     },
    {"1.2.840.10008.1.2.2",     {MODE_EXPLICIT_BIG, false}                        },
    {"1.2.840.10008.1.2.1.99",  {MODE_EXPLICIT_LITTLE, true}                      },
    {"1.2.840.10008.1.2.4.95",  {MODE_EXPLICIT_LITTLE, true}                      },
    {"1.2.840.10008.1.2.4.205", {MODE_EXPLICIT_LITTLE, true}                      },
    {"1.2.840.113619.5.2",      {MODE_IMPLICIT_LITTLE | MODE_GE_SIZE_FAULT, false}},
};

bool find_encoding(const std::string &uid, Encoding *encoding)
{
    for (const Encoding_Row &row : encoding_rows) {
        if (uid == row.uid) {
            *encoding = row.encoding;
            return true;
        }
    }
    *encoding = {MODE_EXPLICIT_LITTLE, false};
    return uid.rfind("1.2.840.10008.1.2.", 0) == 0;
}

const char *mode_name(unsigned char mode)
{
    switch (mode & (SYNTAX_EXPLICIT | SYNTAX_BIG_ENDIAN)) {
    case MODE_IMPLICIT_LITTLE:
        return "implicit VR little endian";
    case MODE_IMPLICIT_BIG:
        return "implicit VR big endian";
    case MODE_EXPLICIT_LITTLE:
        return "explicit VR little endian";
    default:
        return "explicit VR big endian";
    }
}

// ---- a look at the bytes --------------------------------------------------------------

static bool may_be_undefined(const Header &h)
{
    return h.vr == VR_NONE || h.vr == VR_SQ || h.vr == VR_UN || h.vr == VR_OB || h.vr == VR_OW;
}

// Without VRs a length can be right by chance, so the tag has to be one that is known.
static bool is_known_tag(const Header &h)
{
    if (h.element == 0)
        return h.length == 4;
    if ((h.group & 1) != 0)
        return h.group > 8 && h.element >= 0x10;
    return NEMA_db_Locate(h.group, h.element) != nullptr || (h.group == 0x7FE0 && h.element == 0x0010);
}

static bool has_vr(const Header &h)
{
    VR_Class kind = vr_class(h.vr);
    return kind != VR_NO_LETTERS && kind != VR_NOT_KNOWN;
}

int count_plausible(const char *bytes, int at, int bound, unsigned char mode, bool *whole)
{
    static const int ENOUGH = 4, LOOKED_AT = 8;
    unsigned int last_tag = 0;
    int count = 0;
    *whole = false;
    for (int i = 0; i < LOOKED_AT && count < ENOUGH && at < bound; i++) {
        Header h;
        if (!peek_header(bytes, at, bound, mode, &h) || is_any_item_tag(h))
            return count;
        bool is_explicit = (mode & SYNTAX_EXPLICIT) != 0 || h.group == GROUP_FILE_META;
        unsigned int tag = static_cast<unsigned int>(h.group) << 16 | h.element;
        if ((is_explicit && !has_vr(h)) || (i > 0 && tag <= last_tag))
            return count;
        last_tag = tag;
        // A tag that is not known speaks neither for an encoding without VRs nor against it.
        bool counts = is_explicit || is_known_tag(h);
        if (h.length == NO_LENGTH) {
            *whole = may_be_undefined(h);
            return count + (*whole && counts);
        }
        if (h.length > static_cast<unsigned int>(bound - at - h.size))
            return count;
        count += counts;
        at += h.size + static_cast<int>(h.length);
    }
    *whole = true;
    return count;
}

unsigned char guess_mode(const char *bytes, int at, int bound)
{
    static const unsigned char modes[] = {MODE_EXPLICIT_LITTLE, MODE_IMPLICIT_LITTLE, MODE_EXPLICIT_BIG,
                                          MODE_IMPLICIT_BIG};
    unsigned char best = MODE_UNKNOWN;
    int most = 0;
    for (unsigned char mode : modes) {
        bool whole = false;
        int count = count_plausible(bytes, at, bound, mode, &whole);
        if (count > most && (count > 1 || whole)) {
            most = count;
            best = mode;
        }
    }
    return best;
}

// ---- deflated streams -----------------------------------------------------------------

// Room for the inflated bytes, which grows as they come and never past the limit.
struct Inflated {
    char *block;
    size_t room, held, limit;
};

static const char NO_MEMORY[] = "not enough memory to inflate the data set";

static bool make_room(Inflated *out)
{
    size_t room = out->block == nullptr ? out->held + 64 * 1024 : out->room * 2;
    if (room > out->limit)
        room = out->limit;
    char *larger = static_cast<char *>(realloc(out->block, room + GUARD_BYTES));
    if (larger == nullptr)
        return false;
    out->block = larger;
    out->room = room;
    return true;
}

// Inflates until the end, the limit or a damage; a text says which of the latter two.
static std::string inflate_all(z_stream *stream, Inflated *out, size_t head_size)
{
    for (;;) {
        if (out->block == nullptr || out->held == out->room) {
            if (out->held == out->limit)
                return "the deflated data set grows past the limit of " + std::to_string(out->limit - head_size) +
                       " bytes; what is behind that is not read";
            if (!make_room(out))
                return NO_MEMORY;
        }
        stream->next_out = reinterpret_cast<Bytef *>(out->block + out->held);
        stream->avail_out = static_cast<uInt>(out->room - out->held);
        int state = inflate(stream, Z_NO_FLUSH);
        out->held = out->room - stream->avail_out;
        if (state == Z_STREAM_END)
            return "";
        if (state == Z_MEM_ERROR)
            return NO_MEMORY;
        if (state != Z_OK) {
            const char *why = stream->msg != nullptr ? stream->msg : "it ends early";
            return "the deflated stream is damaged (" + std::string(why) + ") after " +
                   std::to_string(stream->total_in) + " of its bytes";
        }
    }
}

// Raw deflated bytes are the rule; some programs put a zlib or gzip head in front.
static const int WINDOWS[] = {-MAX_WBITS, MAX_WBITS + 32};

bool inflate_source(const char *head, int head_size, const char *deflated, int size, int64_t limit, Source *out,
                    std::string *fault)
{
    size_t head_bytes = static_cast<size_t>(head_size);
    size_t most = static_cast<size_t>(limit < LARGEST_SOURCE - head_size ? limit : LARGEST_SOURCE - head_size);
    Inflated inflated = {nullptr, 0, head_bytes, head_bytes + most};
    for (int window : WINDOWS) {
        z_stream stream = {};
        stream.next_in = reinterpret_cast<Bytef *>(const_cast<char *>(deflated));
        stream.avail_in = static_cast<uInt>(size);
        if (inflateInit2(&stream, window) != Z_OK) {
            *fault = NO_MEMORY;
            break;
        }
        *fault = inflate_all(&stream, &inflated, head_bytes);
        inflateEnd(&stream);
        if (inflated.held > head_bytes)
            break;
    }
    if (inflated.held == head_bytes) {
        free(inflated.block);
        if (fault->empty())
            *fault = "the deflated stream is empty";
        return false;
    }
    if (head_bytes > 0)
        memcpy(inflated.block, head, head_bytes);
    memset(inflated.block + inflated.held, 0, GUARD_BYTES);
    *out = Source();
    out->bytes = inflated.block;
    out->size = static_cast<int>(inflated.held);
    out->kind = SOURCE_HEAP;
    return true;
}

}   // namespace velmora_host
