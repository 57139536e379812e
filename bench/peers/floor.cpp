#include "bench/peers/floor.h"

#include <fcntl.h>
#include <string.h>
#include <time.h>
#include <unistd.h>
#include <algorithm>
#include <memory>
#include <string>
#include <vector>

static double now()
{
    timespec time = {};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
}

template <class Number> static Number number_at(const char *at)
{
    Number number;
    memcpy(&number, at, sizeof number);
    return number;
}

// Walks into whatever has items. With COPY each value goes to out, which has room for all bytes. Nothing is checked:
// the bytes are known to be sound.
template <bool COPY> static int64_t loop(const char *at, const char *end, char *out, unsigned *mixed)
{
    int64_t elements = 0;
    while (at < end) {
        uint16_t group = number_at<uint16_t>(at), vr = number_at<uint16_t>(at + 4);
        uint32_t length = number_at<uint16_t>(at + 6);
        *mixed += number_at<uint32_t>(at);   // so that no header goes unread
        if (group == 0xFFFE) {
            at += 8;
            continue;
        }
        elements += group != 2;
        bool is_long = vr == ('S' | 'Q' << 8) || vr == ('O' | 'B' << 8) || vr == ('O' | 'W' << 8);
        if (is_long)
            length = number_at<uint32_t>(at + 8);
        at += is_long ? 12 : 8;
        if (vr == ('S' | 'Q' << 8))
            continue;
        if (COPY) {
            memcpy(out, at, length);
            out += length;
        }
        at += length;
    }
    return elements;
}

static double write_text(int64_t bytes, const char *folder)
{
    const int64_t block = 256 * 1024;
    std::vector<char> text(block, 'x');
    std::string path = std::string(folder) + "/text";
    int file = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    double start = now();
    for (int64_t left = bytes; left > 0; left -= block)
        if (write(file, text.data(), static_cast<size_t>(std::min(left, block))) < 0)
            break;
    double seconds = now() - start;
    close(file);
    unlink(path.c_str());
    return seconds;
}

Floor measure_floor(const Input_File &file, int64_t text_bytes, const char *folder)
{
    Floor floor = {};
    const char *first = file.bytes + 132, *end = file.bytes + file.size;
    std::unique_ptr<char[]> room(new char[file.size]);
    unsigned mixed = 0;
    loop<true>(first, end, room.get(), &mixed);   // its pages are there when the clock starts
    double start = now();
    floor.elements = loop<false>(first, end, nullptr, &mixed);
    floor.headers = now() - start;
    start = now();
    loop<true>(first, end, room.get(), &mixed);
    floor.values = now() - start;
    asm volatile("" : : "r"(mixed), "r"(room.get()) : "memory");   // so that the loops are not left out
    floor.text = write_text(text_bytes, folder);
    return floor;
}
