// The listing for programs: what the stream holds, element by element, as it stands there.
#include <charconv>

#include "host/program/dump.h"
#include "host/program/output.h"

using velmora_host::Data_Set;
using velmora_host::Listed;

// A path of more steps than this begins with "...": a stream may nest without end, and each of its lines would carry
// it all.
static const size_t LONGEST_PATH = 256;

// ---- numbers --------------------------------------------------------------------------

static char *put_hex(char *to, unsigned int value, const char *digits)
{
    for (int shift = 12; shift >= 0; shift -= 4)
        *to++ = digits[value >> shift & 15];
    return to;
}

static char *put_number(char *to, int64_t value)
{
    const int longest = 20;
    return std::to_chars(to, to + longest, value).ptr;
}

// ---- paths ----------------------------------------------------------------------------

// The path of the enclosing items, kept from line to line: it changes with the item only.
struct Item_Path {
    int item = -1;
    std::string text = "0\t-\t";   // depth and path, each with a tab behind it
    std::vector<int> items;        // outermost last
};

static void append_step(const Data_Set &set, const Listed &item, std::string *text)
{
    const Listed &sequence = set.listing[static_cast<size_t>(item.parent)];
    char step[40], *to = step;
    to = put_hex(to, sequence.group, "0123456789ABCDEF");
    to = put_hex(to, sequence.element, "0123456789ABCDEF");
    *to++ = '[';
    to = put_number(to, item.item_number);
    *to++ = ']';
    text->append(step, static_cast<size_t>(to - step));
}

static void enter_item(const Data_Set &set, int item, Item_Path *path)
{
    path->item = item;
    path->items.clear();
    for (int i = item; i >= 0 && path->items.size() <= LONGEST_PATH;) {
        path->items.push_back(i);
        i = set.listing[static_cast<size_t>(set.listing[static_cast<size_t>(i)].parent)].parent;
    }
    bool is_cut = path->items.size() > LONGEST_PATH;
    if (is_cut)
        path->items.pop_back();

    char depth[24];
    path->text.assign(
        depth,
        static_cast<size_t>(put_number(depth, item < 0 ? 0 : set.listing[static_cast<size_t>(item)].depth) - depth));
    path->text += item < 0 ? "\t-" : is_cut ? "\t.../" : "\t";
    for (size_t i = path->items.size(); i-- > 0;) {
        append_step(set, set.listing[static_cast<size_t>(path->items[i])], &path->text);
        if (i > 0)
            path->text += '/';
    }
    path->text += '\t';
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
    write_out(path);
    char *line = room_out(), *to = line;
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
    Item_Path path;
    for (size_t i = 0; i < set.listing.size(); i++) {
        const Listed &entry = set.listing[i];
        if (entry.kind != velmora_host::LISTED_ELEMENT || !selected[i])
            continue;
        if (entry.parent != path.item)
            enter_item(set, entry.parent, &path);
        write_entry(set, entry, path.text);
    }
}
