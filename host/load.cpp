// From the bytes of a source to a formatted tree: the head, the encoding, the flat chain, the tree.
#include "host/host_internal.h"
#include "tree/taking_internal.h"

#include <stdlib.h>
#include <algorithm>
#include <new>
#include <unordered_map>

namespace velmora_host
{

static const int PREAMBLE = 128;   // bytes in front of "DICM" (DICOM PS3.10, 7.1)
static const int64_t SMALLEST_INFLATE_LIMIT = 256 << 20;
static const int64_t INFLATE_FACTOR = 64;

// ---- what else a file may be ----------------------------------------------------------

struct Magic_Row {
    const char *bytes;
    int size;
    const char *name;
};

static const Magic_Row magic_rows[] = {
    {"\xFF\xD8\xFF",     3, "a JPEG image"           },
    {"\x89PNG",          4, "a PNG image"            },
    {"GIF8",             4, "a GIF image"            },
    {"BM",               2, "a BMP image"            },
    {"II*\0",            4, "a TIFF image"           },
    {"MM\0*",            4, "a TIFF image"           },
    {"\0\0\0\x0CjP",     6, "a JPEG 2000 image"      },
    {"%PDF",             4, "a PDF document"         },
    {"\x28\xB5\x2F\xFD", 4, "a zstd-compressed file" },
    {"\x1F\x8B",         2, "a gzip-compressed file" },
    {"BZh",              3, "a bzip2-compressed file"},
    {"\xFD\x37zXZ",      5, "an xz-compressed file"  },
    {"PK\x03\x04",       4, "a zip archive"          },
    {"\177ELF",          4, "a program"              },
    {"<?xml",            5, "an XML text"            },
    {"<!DOCTYPE",        9, "an HTML text"           },
};

static bool is_text(const Source &source)
{
    int looked_at = std::min(source.size, 512);
    for (int i = 0; i < looked_at; i++) {
        unsigned char c = static_cast<unsigned char>(source.bytes[i]);
        if (c < 0x20 && c != '\n' && c != '\r' && c != '\t' && c != '\f')
            return false;
    }
    return true;
}

static std::string what_it_is_not(const Source &source)
{
    std::string text = "is not a DICOM or ACR-NEMA data set";
    for (const Magic_Row &row : magic_rows)
        if (source.size >= row.size && memcmp(source.bytes, row.bytes, static_cast<size_t>(row.size)) == 0)
            return text + ", but " + row.name;
    return is_text(source) ? text + ", but a text" : text;
}

// ---- head and encoding ----------------------------------------------------------------

static void warn(Data_Set *set, const std::string &text)
{
    Error_Fct(nullptr, Flag_Error_Warning, "    \xF1\x05WARNING:\x02 %s", text.c_str());
    set->damages++;
}

static bool has_magic_at(const Source &source, int at)
{
    return source.size >= at + 4 && memcmp(source.bytes + at, "DICM", 4) == 0;
}

static bool is_stream_at(const Source &source, int at)
{
    return source.size > at && guess_mode(source.bytes, at, source.size) != MODE_UNKNOWN;
}

// Where the elements begin: behind a preamble and "DICM", behind one of the two, at once, or behind a "DICM" somewhere
// in the first bytes. -1: nowhere.
static int find_first_element(const Source &source)
{
    static const int behind_magic = PREAMBLE + 4, LONGEST_PREAMBLE = 1024;
    if (has_magic_at(source, PREAMBLE) && (is_stream_at(source, behind_magic) || !is_stream_at(source, 0)))
        return behind_magic;
    if (has_magic_at(source, 0))
        return 4;
    if (is_stream_at(source, 0))
        return 0;
    if (is_stream_at(source, PREAMBLE))
        return PREAMBLE;
    for (int at = 1; at < LONGEST_PREAMBLE; at++)
        if (has_magic_at(source, at) && is_stream_at(source, at + 4))
            return at + 4;
    return -1;
}

// Walks group 0002, whatever its group length says: it ends where the group changes. Takes the transfer syntax from it
// and returns the offset behind it.
static int scan_head(Data_Set *set, int at)
{
    const Source &source = set->source;
    Header h;
    while (peek_header(source.bytes, at, source.size, MODE_EXPLICIT_LITTLE, &h) && h.group == GROUP_FILE_META) {
        int value = at + h.size, left = source.size - value;
        if (h.length > static_cast<unsigned int>(left))
            break;
        set->has_head = true;
        if (h.element == 0x0010) {
            set->transfer_syntax.assign(source.bytes + value, h.length);
            set->transfer_syntax.erase(std::find(set->transfer_syntax.begin(), set->transfer_syntax.end(), '\0'),
                                       set->transfer_syntax.end());
            set->transfer_syntax.erase(set->transfer_syntax.find_last_not_of(' ') + 1);
        }
        at = value + static_cast<int>(h.length);
    }
    return at;
}

// The encoding that the head names, unless the first elements say plainly that it cannot be: they fail under it, and
// under another one they read cleanly, or go on for longer. Tags that nobody knows speak against nothing.
static unsigned char settle_mode(Data_Set *set, unsigned char named, bool is_named)
{
    const Source &source = set->source;
    bool is_whole = false, is_guess_whole = false;
    int count = is_named ? count_plausible(source.bytes, set->start, source.size, named, &is_whole) : 0;
    if (is_whole)
        return named;
    unsigned char guess = guess_mode(source.bytes, set->start, source.size);
    if (!is_named)
        return guess != MODE_UNKNOWN ? guess : named;
    if (guess == MODE_UNKNOWN || guess == (named & 0x0F))
        return named;
    int guessed = count_plausible(source.bytes, set->start, source.size, guess, &is_guess_whole);
    if (guessed <= count || (guessed == count + 1 && !is_guess_whole))
        return named;
    warn(set, std::string("the head names ") + mode_name(named) + " (" + set->transfer_syntax +
                  "), but the data set at offset " + std::to_string(set->start - set->stream_base) + " is " +
                  mode_name(guess) + " and is read as that");
    return guess;
}

static void inflate_data_set(Data_Set *set, const Load_Options &options)
{
    const Source &source = set->source;
    int64_t size = source.size - set->start;
    int64_t limit =
        options.inflate_limit > 0 ? options.inflate_limit : std::max(SMALLEST_INFLATE_LIMIT, size * INFLATE_FACTOR);
    Source inflated;
    std::string fault;
    if (!inflate_source(source.bytes, set->start, source.bytes + set->start, static_cast<int>(size), limit, &inflated,
                        &fault)) {
        if (guess_mode(source.bytes, set->start, source.size) == MODE_UNKNOWN)
            warn(set, fault);
        else
            warn(set, "the head names the deflated transfer syntax, but the data set is not deflated");
        return;
    }
    if (!fault.empty())
        warn(set, fault);
    close_source(&set->source);
    set->source = inflated;
    set->is_deflated = true;
    set->stream_base = set->start;
}

// Settles start and mode. Returns the offset of the first element, or -1.
static int settle_encoding(Data_Set *set, const Load_Options &options)
{
    int first = find_first_element(set->source);
    if (first < 0)
        return -1;
    set->start = scan_head(set, first);
    Encoding encoding = {MODE_EXPLICIT_LITTLE, false};
    bool is_named = !set->transfer_syntax.empty() && find_encoding(set->transfer_syntax, &encoding);
    if (encoding.is_deflated && set->start < set->source.size)
        inflate_data_set(set, options);
    set->mode = settle_mode(set, encoding.mode, is_named);
    return first;
}

// ---- flat chain and tree --------------------------------------------------------------

// One node of each item tag goes through the library; the nodes of the chain take over what it says.
static void complement_item_tags(Flat_Chain *chain)
{
    static const unsigned short elements[] = {ELEMENT_ITEM, ELEMENT_ITEM_END, ELEMENT_SEQUENCE_END};
    for (int i = 0; i < 3; i++) {
        DICOM_Root root = {};
        chain->item_tags[i].group = GROUP_ITEM;
        chain->item_tags[i].element = elements[i];
        DICOM_Attribute_Complement(nullptr, &root, &chain->item_tags[i]);
        const char *description = chain->item_tags[i].description;
        if (description == nullptr)
            continue;
        size_t size = strlen(description) + 1;
        chain->item_tags[i].size = static_cast<int>(size);
        chain->item_texts[i] = taking_text(description, size);
    }
}

// An attribute that got items of another one of its tag.
struct Twins {
    DICOM_List *first;    // which has them
    DICOM_List *opener;   // whose they are in the stream; null: the first one's own
};

static void give_items(DICOM_List *from, DICOM_List *to)
{
    to->item = from->item;
    to->nb_item = from->nb_item;
    from->item = nullptr;
    from->nb_item = 0;
}

// Of two attributes of one tag in a chain the library puts all items into the first, which may be a value. Here the
// items go back to the one that they followed in the stream. At most nine levels deep, as the tree is.
static void part_twins(DICOM_List *list)
{
    std::unordered_map<unsigned int, Twins> by_tag;
    for (DICOM_List *node = list; node != nullptr; node = node->next) {
        unsigned int tag = static_cast<unsigned int>(node->group) << 16 | node->element;
        auto at = by_tag.empty() ? by_tag.end() : by_tag.find(tag);
        if (at != by_tag.end()) {
            Twins &twins = at->second;
            if (node->item == nullptr && node->pos > twins.first->pos && node->pos < twins.first->item[0]->pos)
                twins.opener = node;
        } else if (node->item != nullptr && node->item[0] != nullptr && node->next != nullptr) {
            by_tag.emplace(tag, Twins{node, nullptr});
        }
        for (int i = 0; i < node->nb_item && node->item[i] != nullptr; i++)
            part_twins(node->item[i]);
    }
    for (const auto &each : by_tag)
        if (each.second.opener != nullptr)
            give_items(each.second.first, each.second.opener);
}

static void free_tree(DICOM_List **tree)
{
    taking_free(*tree);
    *tree = nullptr;
}

static Load_Result load_chain(Data_Set *set, int first, const Load_Options &options, const Opaque *as_sequence,
                              Flat_Chain *chain, std::string *error)
{
    chain->taking = taking_begin(nullptr);
    if (chain->taking == nullptr)
        throw std::bad_alloc();
    complement_item_tags(chain);
    read_elements(set, first, options, as_sequence, chain);
    if (set->elements == 0) {
        *error = "has no element that can be read";
        return NOT_A_DATA_SET;
    }
    if (chain->may_have_twins)
        part_twins(taking_tree(chain->taking));
    return LOADED;
}

static Load_Result load_source(Data_Set *set, unsigned char mode, const Load_Options &options,
                               const Opaque *as_sequence, std::string *error)
{
    if (set->source.size == 0 && as_sequence == nullptr) {
        *error = "is empty";
        return NOT_A_DATA_SET;
    }
    int first = 0;
    set->mode = mode;
    if (mode == MODE_UNKNOWN)
        first = settle_encoding(set, options);
    if (first < 0) {
        *error = what_it_is_not(set->source);
        return NOT_A_DATA_SET;
    }

    Load_Result result = UNREADABLE;
    Flat_Chain chain;
    try {
        result = load_chain(set, first, options, as_sequence, &chain, error);
    } catch (const std::bad_alloc &) {
        *error = "not enough memory to load it";
    }
    if (chain.taking != nullptr)
        set->tree = taking_tree(chain.taking);
    if (!options.want_tree)
        free_tree(&set->tree);
    int64_t missing = missing_from(set->source);
    if (missing >= 0)
        warn(set, "the file became shorter while it was read; from offset " + std::to_string(missing) +
                      " on zero bytes stand for what is missing");
    return result;
}

static Load_Result finish(Data_Set *set, Load_Result result)
{
    if (result == LOADED)
        select_data_set(*set);
    else
        release_data_set(set);
    return result;
}

// ---- the calls ------------------------------------------------------------------------

Load_Result load_from_path(const char *path, const Load_Options &options, Data_Set *set, std::string *error)
{
    *set = Data_Set();
    if (!open_source(path, &set->source, error))
        return UNREADABLE;
    return finish(set, load_source(set, MODE_UNKNOWN, options, nullptr, error));
}

static void borrow(Data_Set *set, const char *bytes, int size)
{
    *set = Data_Set();
    set->source.bytes = bytes;
    set->source.size = size;
    set->source.kind = SOURCE_BORROWED;
}

Load_Result load_from_memory(const char *bytes, int size, unsigned char mode, const Load_Options &options,
                             Data_Set *set, std::string *error)
{
    borrow(set, bytes, size);
    return finish(set, load_source(set, mode, options, nullptr, error));
}

Load_Result load_opaque(const Data_Set &whole, const Opaque &which, const Load_Options &options, Data_Set *set,
                        std::string *error)
{
    borrow(set, whole.source.bytes + which.data_pos, which.size);
    return finish(set, load_source(set, which.mode, options, &which, error));
}

const Opaque *find_opaque(const Data_Set &set, const DICOM_List *node)
{
    auto comes_first = [](const Opaque &each, int pos) { return each.pos < pos; };
    auto at = std::lower_bound(set.opaque.begin(), set.opaque.end(), node->pos, comes_first);
    bool is_found = at != set.opaque.end() && at->pos == node->pos && at->group == node->group &&
                    at->element == node->element;
    return is_found ? &*at : nullptr;
}

void select_data_set(const Data_Set &set)
{
    DICOM_Lib_File_Source = 0;
    DICOM_Lib_File_Name = set.source.bytes;
}

void release_data_set(Data_Set *set)
{
    if (DICOM_Lib_File_Name == set->source.bytes)
        DICOM_Lib_File_Name = nullptr;
    free_tree(&set->tree);
    close_source(&set->source);
    *set = Data_Set();
}

}   // namespace velmora_host
