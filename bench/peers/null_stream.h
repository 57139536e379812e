// A stream that counts characters and keeps none.
#ifndef VELMORA_PEERS_NULL_STREAM_H
#define VELMORA_PEERS_NULL_STREAM_H

#include <stdint.h>
#include <ostream>

class Null_Buffer : public std::streambuf
{
public:
    int64_t characters = 0;

protected:
    std::streamsize xsputn(const char *, std::streamsize count) override
    {
        characters += count;
        return count;
    }
    int_type overflow(int_type c) override
    {
        characters++;
        return traits_type::not_eof(c);
    }
};

#endif
