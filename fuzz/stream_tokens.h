// A data set's stream as a row of tokens: elements with their values, and the beginnings and ends of sequences and
// items. Any bytes can be taken apart, and tokens in any order put together again.
#ifndef VELMORA_FUZZ_STREAM_TOKENS_H
#define VELMORA_FUZZ_STREAM_TOKENS_H

#include <stdint.h>
#include <string>
#include <vector>

enum Token_Kind : unsigned char {
    TOKEN_ELEMENT,   // header and value
    TOKEN_OPEN,      // header of a sequence or item; its length is that of what comes up to its end
    TOKEN_CLOSE,     // where such a length ends: no bytes
    TOKEN_OPEN_UNDEFINED,   // header of undefined length
    TOKEN_DELIMITER,        // an item or sequence delimiter
    TOKEN_BYTES,            // what could not be taken apart
};

struct Token {
    Token_Kind kind = TOKEN_ELEMENT;
    uint16_t group = 0, element = 0, vr = 0;
    bool has_false_length = false;   // length stands in the header whatever the value is
    uint32_t length = 0;
    std::string value;
};

struct Token_Stream {
    std::string head;     // preamble and what comes before the first token
    unsigned char mode;   // syntax byte, of all tokens behind group 0002
    std::vector<Token> tokens;
};

// Takes a stream apart. mode is MODE_UNKNOWN where the bytes shall tell.
Token_Stream take_apart(const std::string &stream, unsigned char mode);

std::string put_together(const Token_Stream &stream);

#endif
