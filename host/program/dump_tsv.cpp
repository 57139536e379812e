// The listing for programs: what the stream holds, element by element, as it stands there.
#include <string.h>

#include "host/program/dump.h"
#include "host/program/output.h"

using velmora_host::Data_Set;
using velmora_host::Listed;

// A path of more steps than this begins with "...": a stream may nest without end, and each of its lines would carry
// it all.
static const int LONGEST_PATH = 256;

// ---- numbers --------------------------------------------------------------------------

static char *put_hex(char *to, unsigned int value, const char *digits)
{
    for (int shift = 12; shift >= 0; shift -= 4)
        *to++ = digits[value >> shift & 15];
    return to;
}

static char *put_number(char *to, int64_t value)
{
    char digits[24];
    int count = 0;
    uint64_t rest = value < 0 ? static_cast<uint64_t>(-value) : static_cast<uint64_t>(value);
    do {
        digits[count++] = static_cast<char>('0' + rest % 10);
        rest /= 10;
    } while (rest > 0);
    if (value < 0)
        *to++ = '-';
    while (count > 0)
        *to++ = digits[--count];
    return to;
}

// ---- paths ----------------------------------------------------------------------------

// "0040A730[1]/0040A730[2]" of an item, "-" of none.
static std::string path_of(const Data_Set &set, int item)
{
    if (item < 0)
        return "-";
    std::vector<int> items;
    for (int i = item; i >= 0 && items.size() <= LONGEST_PATH;) {
        items.push_back(i);
        i = set.listing[static_cast<size_t>(set.listing[static_cast<size_t>(i)].parent)].parent;
    }
    std::string path;
    if (items.size() > LONGEST_PATH) {
        items.pop_back();
        path = "...";
    }
    for (size_t i = items.size(); i-- > 0;) {
        const Listed &step = set.listing[static_cast<size_t>(items[i])];
        const Listed &sequence = set.listing[static_cast<size_t>(step.parent)];
        char text[40], *to = text;
        if (!path.empty())
            *to++ = '/';
        to = put_hex(to, sequence.group, "0123456789ABCDEF");
        to = put_hex(to, sequence.element, "0123456789ABCDEF");
        *to++ = '[';
        to = put_number(to, step.item_number);
        *to++ = ']';
        path.append(text, static_cast<size_t>(to - text));
    }
    return path;
}

// ---- what was asked for ---------------------------------------------------------------

// For each entry of the listing: the steps of one path that it and what is around it have matched, or ALL when it is
// asked for, or NONE.
enum : int { NONE = -1, ALL = INT32_MAX };

static int follow(const Tag_Path &path, const Listed &entry, int around)
{
    int count = static_cast<int>(path.steps.size());
    if (around == ALL)
        return ALL;
    if (entry.kind != velmora_host::LISTED_ELEMENT) {
        if (around <= 0)
            return around;
        int wanted = path.steps[static_cast<size_t>(around - 1)].item;
        if (wanted != 0 && wanted != entry.item_number)
            return NONE;
        return around == count ? static_cast<int>(ALL) : around;
    }
    bool is_anywhere = count == 1 && path.steps[0].item == 0;
    if (around == NONE || around == count)
        return NONE;
    const Tag_Step &step = path.steps[static_cast<size_t>(around)];
    if (!matches(step, entry.group, entry.element))
        return is_anywhere ? 0 : static_cast<int>(NONE);
    return around + 1 == count && step.item == 0 ? static_cast<int>(ALL) : around + 1;
}

static std::vector<char> select_entries(const Data_Set &set, const std::vector<Tag_Path> &only)
{
    std::vector<char> selected(set.listing.size(), only.empty());
    std::vector<int> progress(set.listing.size());
    for (const Tag_Path &path : only) {
        for (size_t i = 0; i < set.listing.size(); i++) {
            const Listed &entry = set.listing[i];
            progress[i] = follow(path, entry, entry.parent < 0 ? 0 : progress[static_cast<size_t>(entry.parent)]);
            selected[i] |= progress[i] == ALL;
        }
    }
    return selected;
}

// ---- lines ----------------------------------------------------------------------------

static void write_entry(const Data_Set &set, const Listed &entry, const std::string &path)
{
    char head[16];
    write_out(head, static_cast<size_t>(put_number(head, entry.depth) - head));
    write_out("\t", 1);
    write_out(path);
    char *line = room_out(), *to = line;
    *to++ = '\t';
    to = put_hex(to, entry.group, "0123456789abcdef");
    *to++ = ',';
    to = put_hex(to, entry.element, "0123456789abcdef");
    *to++ = '\t';
    *to++ = entry.vr != 0 ? static_cast<char>(entry.vr >> 8) : '-';
    *to++ = entry.vr != 0 ? static_cast<char>(entry.vr & 0xFF) : '-';
    *to++ = '\t';
    to = put_number(to, entry.length < -1 ? static_cast<int64_t>(static_cast<uint32_t>(entry.length)) : entry.length);
    *to++ = '\t';
    int base = entry.data_pos >= set.stream_base ? set.stream_base : 0;
    to = put_number(to, entry.data_pos - base);
    *to++ = '\n';
    took_out(static_cast<size_t>(to - line));
}

void dump_tsv(const Data_Set &set, const std::vector<Tag_Path> &only)
{
    std::vector<char> selected = select_entries(set, only);
    std::string path = "-";
    int path_item = -1;
    for (size_t i = 0; i < set.listing.size(); i++) {
        const Listed &entry = set.listing[i];
        if (entry.kind != velmora_host::LISTED_ELEMENT || !selected[i])
            continue;
        if (entry.parent != path_item) {
            path = path_of(set, entry.parent);
            path_item = entry.parent;
        }
        write_entry(set, entry, path);
    }
}
