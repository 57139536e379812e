// The pieces that a stream is put together from: small ones are copied, large values stay where they are until they are
// written.
#include "host/save_internal.h"

namespace velmora_host
{

static const int64_t SMALL = 512;   // bytes that are copied rather than kept apart

static Piece *text_piece(Pieces *to)
{
    if (to->list.empty() || to->list.back().bytes != nullptr || to->list.back().block != nullptr)
        to->list.emplace_back();
    return &to->list.back();
}

void append_text(Pieces *to, const char *bytes, size_t size)
{
    Piece *piece = text_piece(to);
    piece->text.append(bytes, size);
    piece->size += static_cast<int64_t>(size);
    to->size += static_cast<int64_t>(size);
}

void append_block(Pieces *to, char *block, unsigned int size)
{
    std::unique_ptr<char, void (*)(void *)> owned(block, free);
    if (size <= SMALL)
        return append_text(to, block, size);
    Piece piece;
    piece.block = std::move(owned);
    piece.size = size;
    to->list.push_back(std::move(piece));
    to->size += size;
}

void append_copy(Pieces *to, const char *bytes, int size, int unit)
{
    if (size <= 0)
        return;
    Piece *piece = text_piece(to);
    size_t before = piece->text.size();
    piece->text.resize(before + static_cast<size_t>(size));
    reverse_units(bytes, size, unit, &piece->text[before]);
    piece->size += size;
    to->size += size;
}

void append_range(Pieces *to, const char *bytes, int64_t size, int unit)
{
    if (size <= SMALL)
        return append_copy(to, bytes, static_cast<int>(size), unit);
    Piece piece;
    piece.bytes = bytes;
    piece.size = size;
    piece.unit = unit;
    to->list.push_back(std::move(piece));
    to->size += size;
}

// ---- headers --------------------------------------------------------------------------

static char *put_16(char *to, unsigned char mode, unsigned int value)
{
    char low = static_cast<char>(value & 0xFF), high = static_cast<char>(value >> 8 & 0xFF);
    to[0] = is_big_endian(mode) ? high : low;
    to[1] = is_big_endian(mode) ? low : high;
    return to + 2;
}

static char *put_32(char *to, unsigned char mode, unsigned int value)
{
    unsigned int first = is_big_endian(mode) ? value >> 16 : value & 0xFFFF;
    unsigned int second = is_big_endian(mode) ? value & 0xFFFF : value >> 16;
    return put_16(put_16(to, mode, first), mode, second);
}

Length_Place append_header(Pieces *to, unsigned char mode, unsigned short group, unsigned short element,
                           unsigned short vr, unsigned int length)
{
    char header[12], *at = put_16(put_16(header, mode, group), mode, element);
    bool has_vr = is_explicit(mode) && vr != VR_NONE;
    if (has_vr) {
        *at++ = static_cast<char>(vr >> 8);
        *at++ = static_cast<char>(vr & 0xFF);
    }
    if (has_vr && !vr_form(vr).is_long) {
        at = put_16(at, mode, length);
    } else {
        at = has_vr ? put_16(at, mode, 0) : at;
        at = put_32(at, mode, length);
    }
    append_text(to, header, static_cast<size_t>(at - header));
    return {to->list.size() - 1, to->list.back().text.size() - 4};
}

void set_length(Pieces *to, const Length_Place &place, unsigned char mode, unsigned int length)
{
    put_32(&to->list[place.piece].text[place.at], mode, length);
}

void move_behind(Pieces *to, Pieces *from)
{
    for (Piece &piece : from->list)
        to->list.push_back(std::move(piece));
    to->size += from->size;
    *from = Pieces();
}

}   // namespace velmora_host
