#include "fuzz/stream_tokens.h"

#include <string.h>

#include "host/save_internal.h"

using namespace velmora_host;

// ---- taking apart ---------------------------------------------------------------------

static bool is_opened(const Header &h)
{
    return is_item_tag(h, ELEMENT_ITEM) || h.vr == VR_SQ || (h.vr == VR_NONE && h.length == NO_LENGTH) ||
           (h.vr == VR_UN && h.length == NO_LENGTH);
}

static Token token_of(const Header &h)
{
    Token token;
    token.group = h.group;
    token.element = h.element;
    token.vr = h.vr;
    token.length = h.length;
    return token;
}

static int start_of(const std::string &stream)
{
    return stream.size() >= 132 && memcmp(stream.data() + 128, "DICM", 4) == 0 ? 132 : 0;
}

static unsigned char mode_behind_head(const std::string &stream, int at)
{
    Header h;
    int size = static_cast<int>(stream.size());
    while (peek_header(stream.data(), at, size, MODE_EXPLICIT_LITTLE, &h) && h.group == GROUP_FILE_META &&
           h.length <= static_cast<unsigned int>(size - at - h.size))
        at += h.size + static_cast<int>(h.length);
    unsigned char mode = guess_mode(stream.data(), at, size);
    return mode == MODE_UNKNOWN ? static_cast<unsigned char>(MODE_EXPLICIT_LITTLE) : mode;
}

// Closes what ends here; an inner length that passes an outer one ends with it.
static void close_ended(std::vector<int> *ends, int at, Token_Stream *out)
{
    while (!ends->empty() && at >= ends->back()) {
        ends->pop_back();
        out->tokens.emplace_back().kind = TOKEN_CLOSE;
    }
}

Token_Stream take_apart(const std::string &stream, unsigned char mode)
{
    Token_Stream out;
    int at = start_of(stream), size = static_cast<int>(stream.size());
    out.head = stream.substr(0, static_cast<size_t>(at));
    out.mode = mode == MODE_UNKNOWN ? mode_behind_head(stream, at) : mode;
    std::vector<int> ends;
    Header h;
    for (;;) {
        close_ended(&ends, at, &out);
        if (!peek_header(stream.data(), at, size, at >= 132 && stream[static_cast<size_t>(at)] == 2 &&
                                                          stream[static_cast<size_t>(at) + 1] == 0
                                                      ? static_cast<unsigned char>(MODE_EXPLICIT_LITTLE)
                                                      : out.mode,
                         &h))
            break;
        Token token = token_of(h);
        int value = at + h.size;
        uint32_t left = static_cast<uint32_t>(size - value);
        at = value;
        if (is_item_tag(h, ELEMENT_ITEM_END) || is_item_tag(h, ELEMENT_SEQUENCE_END)) {
            token.kind = TOKEN_DELIMITER;
        } else if (h.length == NO_LENGTH) {
            token.kind = TOKEN_OPEN_UNDEFINED;
        } else if (is_opened(h) && h.length <= left) {
            token.kind = TOKEN_OPEN;
            ends.push_back(value + static_cast<int>(h.length));
        } else {
            token.has_false_length = h.length > left;
            token.value = stream.substr(static_cast<size_t>(value), h.length < left ? h.length : left);
            at += static_cast<int>(token.value.size());
        }
        out.tokens.push_back(token);
    }
    if (at < size) {
        out.tokens.emplace_back().kind = TOKEN_BYTES;
        out.tokens.back().value = stream.substr(static_cast<size_t>(at));
    }
    return out;
}

// ---- putting together -----------------------------------------------------------------

static void put_number(std::string *out, uint32_t value, int width, bool big)
{
    for (int i = 0; i < width; i++)
        *out += static_cast<char>(value >> (8 * (big ? width - 1 - i : i)));
}

// The place of the length field; 0 for none that can be filled in later.
static size_t put_header(std::string *out, unsigned char mode, const Token &token, uint32_t length)
{
    bool in_head = token.group == GROUP_FILE_META && token.vr != VR_NONE;
    bool big = !in_head && is_big_endian(mode);
    put_number(out, token.group, 2, big);
    put_number(out, token.element, 2, big);
    if (token.group != GROUP_ITEM && (in_head || is_explicit(mode))) {
        uint16_t vr = token.vr != VR_NONE ? token.vr : static_cast<uint16_t>(VR_UN);
        put_number(out, vr, 2, true);
        VR_Class kind = vr_class(vr);
        if (kind != VR_LONG && kind != VR_LONG_UNREAD) {
            put_number(out, length, 2, big);
            return 0;
        }
        put_number(out, 0, 2, big);
    }
    put_number(out, length, 4, big);
    return out->size() - 4;
}

std::string put_together(const Token_Stream &stream)
{
    std::string out = stream.head;
    std::vector<size_t> lengths;   // places of those that are still open
    bool big = is_big_endian(stream.mode);
    for (const Token &token : stream.tokens) {
        switch (token.kind) {
        case TOKEN_ELEMENT:
            put_header(&out, stream.mode, token,
                       token.has_false_length ? token.length : static_cast<uint32_t>(token.value.size()));
            out += token.value;
            break;
        case TOKEN_OPEN:
            lengths.push_back(put_header(&out, stream.mode, token, token.length));
            if (token.has_false_length)
                lengths.back() = 0;
            break;
        case TOKEN_CLOSE:
            if (lengths.empty())
                break;
            if (lengths.back() != 0) {
                std::string field;
                put_number(&field, static_cast<uint32_t>(out.size() - lengths.back() - 4), 4, big);
                out.replace(lengths.back(), 4, field);
            }
            lengths.pop_back();
            break;
        case TOKEN_OPEN_UNDEFINED:
            put_header(&out, stream.mode, token, NO_LENGTH);
            break;
        case TOKEN_DELIMITER:
            put_header(&out, stream.mode, token, token.length);
            break;
        case TOKEN_BYTES:
            out += token.value;
            break;
        }
    }
    return out;
}
