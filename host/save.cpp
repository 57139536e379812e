// A data set as a file: which encoding it gets, its head, and its groups in the order of their tags. The library's
// writers give the bytes of the groups that they select; the others, and what has to be streamed, are put between.
#include "host/save_internal.h"

#include <errno.h>
#include <stdio.h>
#include <new>

namespace velmora_host
{

static const char IMPLICIT_LITTLE_UID[] = "1.2.840.10008.1.2", EXPLICIT_LITTLE_UID[] = "1.2.840.10008.1.2.1",
                  EXPLICIT_BIG_UID[] = "1.2.840.10008.1.2.2";

// ---- the encoding ---------------------------------------------------------------------

struct Target_Encoding {
    unsigned char mode;
    std::string uid;
};

// Syntaxes whose data set is deflated, and what they are called when it is not.
static const char *const inflated_uids[][2] = {
    {"1.2.840.10008.1.2.1.99",  EXPLICIT_LITTLE_UID      },
    {"1.2.840.10008.1.2.4.95",  "1.2.840.10008.1.2.4.94" },
    {"1.2.840.10008.1.2.4.205", "1.2.840.10008.1.2.4.204"},
};

static const char *native_uid(unsigned char mode)
{
    return mode == MODE_IMPLICIT_LITTLE ? IMPLICIT_LITTLE_UID
           : mode == MODE_EXPLICIT_BIG  ? EXPLICIT_BIG_UID
                                        : EXPLICIT_LITTLE_UID;
}

static bool is_native(std::string_view uid)
{
    if (uid.empty() || uid == EXPLICIT_LITTLE_UID)
        return true;
    Encoding encoding;
    find_encoding(std::string(uid), &encoding);
    return encoding.mode != MODE_EXPLICIT_LITTLE;
}

static std::string_view uid_of_input(const Data_Set &set)
{
    for (const auto &row : inflated_uids)
        if (set.transfer_syntax == row[0])
            return row[1];
    return set.transfer_syntax;
}

// A media directory has one encoding (DICOM PS3.10, 8.6), and is nothing without its records.
static bool is_fit_for_directory(const Save_Options &options, std::string *error)
{
    if (options.mode != MODE_UNKNOWN && options.mode != MODE_EXPLICIT_LITTLE)
        *error = "is a media directory, which is only written as explicit VR little endian";
    if (options.standard_groups_only)
        *error = "is a media directory, whose records are in none of the groups that would be written";
    return error->empty();
}

// A tree that was never loaded came as nothing.
static unsigned char mode_of_input(const Data_Set &set)
{
    if (set.mode == MODE_UNKNOWN)
        return MODE_EXPLICIT_LITTLE;
    unsigned char mode = set.mode & (SYNTAX_EXPLICIT | SYNTAX_BIG_ENDIAN);
    return mode == MODE_IMPLICIT_BIG ? static_cast<unsigned char>(MODE_IMPLICIT_LITTLE) : mode;
}

static unsigned char mode_asked_for(const Data_Set &set, const Save_Options &options)
{
    return options.mode == MODE_UNKNOWN ? mode_of_input(set) : options.mode;
}

// Items of an UN whose bytes are no attributes look like fragments. Pixel data, if it is in fragments, is told of first.
static bool are_unread_items(const Data_Set &set, const DICOM_List *fragments)
{
    if (fragments == nullptr || true_vr(fragments) != VR_UN)
        return false;
    const DICOM_List *pixels = find_in_chain(set.tree, 0x7FE0, 0x0010);
    return fragments != pixels && (pixels == nullptr || !is_encapsulated(pixels));
}

// Settles what is written. Compressed pixel data has no form but explicit little endian (DICOM PS3.5, A.4).
static bool choose_encoding(const Data_Set &set, const DICOM_List *fragments, const Save_Options &options,
                            Target_Encoding *encoding, std::string *error)
{
    unsigned char came_as = mode_of_input(set);
    encoding->mode = mode_asked_for(set, options);
    if (is_media_directory(set)) {
        encoding->mode = MODE_EXPLICIT_LITTLE;
        if (!is_fit_for_directory(options, error))
            return false;
    }
    std::string_view uid = uid_of_input(set);
    if (!uid.empty() && !looks_like_uid(uid)) {
        Error_Fct(nullptr, Flag_Error_Warning,
                  "    \xF1\x05WARNING:\x02 the head names a transfer syntax that is no UID: %s",
                  std::string(uid).c_str());
        uid = {};
    }
    bool is_unread = are_unread_items(set, fragments), names_native = is_native(uid);
    if (encoding->mode != came_as && encoding->mode != MODE_EXPLICIT_LITTLE) {
        bool is_compressed = !names_native && find_in_chain(set.tree, 0x7FE0, 0x0010) != nullptr;
        if (is_unread && !is_compressed)
            *error = "it has a UN with items whose bytes are no attributes, which is only written as explicit VR little "
                     "endian";
        else if (fragments != nullptr || is_compressed)
            *error = "its pixel data is compressed" + (uid.empty() ? "" : " (" + std::string(uid) + ")") +
                     ", which is only written as explicit VR little endian";
        if (!error->empty())
            return false;
    }
    bool keeps_uid = encoding->mode == MODE_EXPLICIT_LITTLE && !names_native &&
                     (came_as == encoding->mode || fragments != nullptr);
    encoding->uid = keeps_uid ? uid : native_uid(encoding->mode);
    if (is_unread)
        Error_Fct(nullptr, Flag_Error_Warning,
                  "    \xF1\x05WARNING:\x02 (\x01%04x\x02,\x01%04x\x02) has items whose bytes are no attributes; they "
                  "are written as they are",
                  fragments->group, fragments->element);
    else if (fragments != nullptr && !keeps_uid)
        Error_Fct(nullptr, Flag_Error_Warning,
                  "    \xF1\x05WARNING:\x02 (\x01%04x\x02,\x01%04x\x02) is compressed, but no transfer syntax says how",
                  fragments->group, fragments->element);
    return true;
}

// ---- one saving -----------------------------------------------------------------------

struct Saving {
    Data_Set *set;
    const Save_Options *options;
    Target_Encoding encoding;
    Target *target;
    std::vector<unsigned short> dropped;   // groups
    std::string error;
};

static bool fail(Saving *saving, const std::string &error)
{
    if (saving->error.empty())
        saving->error = error;
    return false;
}

// ---- the library's settings -----------------------------------------------------------

struct Writer_Settings {
    explicit Writer_Settings(const Save_Options &options)
        : elements(DICOM_Flag_Elem_0000), lengths(DICOM_Flag_Seq_Size), propriatery(Flag_DICOM_Propriatery)
    {
        DICOM_Flag_Elem_0000 = options.group_lengths;
        DICOM_Flag_Seq_Size = options.defined_lengths;
        Flag_DICOM_Propriatery = 1;   // what is not wanted is no longer in the tree
    }
    ~Writer_Settings()
    {
        DICOM_Flag_Elem_0000 = elements;
        DICOM_Flag_Seq_Size = lengths;
        Flag_DICOM_Propriatery = propriatery;
    }
    Writer_Settings(const Writer_Settings &) = delete;

    char elements, lengths, propriatery;
};

// ---- groups ---------------------------------------------------------------------------

static bool put(Saving *saving, const Pieces &pieces)
{
    std::string error;
    return put_pieces(saving->target, saving->set->source, pieces, saving->encoding.mode, &error) ||
           fail(saving, error);
}

// The bytes of some nodes, which make up a chain, by the writer that selects their group. 0: neither does.
static unsigned int write_selected(const Saving *saving, DICOM_List *chain, char **block)
{
    char mode = static_cast<char>(saving->encoding.mode);
    unsigned int size = DICOM_Write_Buffer_A(nullptr, mode, chain, block, nullptr);
    return size > 0 ? size : DICOM_Write_Buffer_C(nullptr, mode, chain, block, nullptr);
}

static const unsigned short GROUP_DIRECTORY = 0x0004, GROUP_IMAGE = 0x7FE0;

// Whether a group is one of those that the writers select, the place of the image among them.
static bool is_selected(const Saving *saving, unsigned short group)
{
    DICOM_List probe = {};
    probe.group = group;
    probe.element = 1;
    probe.vr_explicit = VR_LO;
    char *block = nullptr;
    unsigned int size = write_selected(saving, &probe, &block);
    DICOM_Lib_Free(&block);
    return size > 0 || group == GROUP_IMAGE;
}

// A group piece by piece, its length in front if it is wanted.
static bool write_in_pieces(Saving *saving, DICOM_List *first, DICOM_List *end)
{
    unsigned char mode = saving->encoding.mode;
    Pieces pieces, length;
    Building building = {saving->set, saving->options, 0, nullptr, {}};
    if (!append_chain(&building, first, end, mode, &pieces))
        return fail(saving, building.error);
    if (saving->options->group_lengths) {
        if (pieces.size > INT64_C(0xFFFFFFFF))
            return fail(saving, "a group becomes too long for a group length");
        unsigned int size = static_cast<unsigned int>(pieces.size);
        append_header(&length, mode, first->group, 0x0000, VR_UL, 4);
        Length_Place value = {length.list.size() - 1, length.list.back().text.size()};
        append_text(&length, "\0\0\0\0", 4);
        set_length(&length, value, mode, size);
    }
    return put(saving, length) && put(saving, pieces);
}

// Groups whose nodes are all the library's to write.
static bool write_whole(Saving *saving, DICOM_List *first, DICOM_List *last)
{
    DICOM_List *end = last->next;
    char *block = nullptr;
    last->next = nullptr;
    unsigned int size = write_selected(saving, first, &block);
    last->next = end;
    if (size > 0)
        put(saving->target, block, size);
    DICOM_Lib_Free(&block);
    return size > 0 || write_in_pieces(saving, first, end);
}

// Where the records of a media directory will stand: its group is built once to see, and then for good.
static bool place_records(Saving *saving, DICOM_List *first)
{
    static const int LENGTH_ELEMENT = 12;
    DICOM_List *sequence = find_in_chain(first, 0x0004, 0x1220);
    unsigned char mode = saving->encoding.mode;
    std::vector<int64_t> records;
    Pieces pieces;
    Building building = {saving->set, saving->options, 0, nullptr, {}};
    unsigned short flag = sequence->flag;
    bool built = append_chain(&building, first, sequence, mode, &pieces);
    building.records = &records;
    sequence->flag |= FLAG_USED;   // only so can the items be seen to begin
    built = built && append_chain(&building, sequence, sequence->next, mode, &pieces);
    sequence->flag = flag;
    if (!built)
        return fail(saving, building.error);
    int64_t start = saving->target->written + (saving->options->group_lengths ? LENGTH_ELEMENT : 0);
    for (int64_t &place : records)
        place += start;
    std::string error;
    return move_records(saving->set->tree, records, &error) || fail(saving, error);
}

//   has_mark  some of its nodes bear the mark of prepare_tree
static bool write_group(Saving *saving, DICOM_List *first, DICOM_List *last, bool has_mark)
{
    if (saving->options->standard_groups_only && !is_selected(saving, first->group)) {
        saving->dropped.push_back(first->group);
        return true;
    }
    if (first->group == GROUP_DIRECTORY && is_media_directory(*saving->set) && !place_records(saving, first))
        return false;
    return has_mark ? write_in_pieces(saving, first, last->next) : write_whole(saving, first, last);
}

// Nodes that are all the library's to write, through a block of its own. False: it could not write them, and nothing was
// written.
//   skipped, cut  bytes at both ends that are left away
static bool write_nodes(Saving *saving, DICOM_List *first, DICOM_List *last, int skipped, int cut)
{
    DICOM_List *end = last->next;
    char *block = nullptr;
    last->next = nullptr;
    int size = DICOM_List2Stream(nullptr, static_cast<char>(saving->encoding.mode), first, &block);
    last->next = end;
    if (size > 0)
        put(saving->target, block + skipped, static_cast<size_t>(size - skipped - cut));
    DICOM_Lib_Free(&block);
    return size > 0;
}

// A block that is filled and passed on should not leave the processor's cache, and need no new memory.
static const int MOST_NODES = 256, MOST_ITEMS = 64;

static bool is_long_sequence(const Saving *saving, const DICOM_List *node)
{
    return node->nb_item > MOST_ITEMS && !saving->options->defined_lengths;
}

// Some items at a time, as sequences of their own of which the inner ends are left away.
static bool write_long_sequence(Saving *saving, const DICOM_List *node)
{
    static const int DELIMITER = 8;
    int header = is_explicit(saving->encoding.mode) ? 12 : 8;
    for (int at = 0; at < node->nb_item; at += MOST_ITEMS) {
        int left = node->nb_item - at;
        DICOM_List part = *node;
        part.item = node->item + at;
        part.nb_item = left < MOST_ITEMS ? left : MOST_ITEMS;
        if (!write_nodes(saving, &part, &part, at > 0 ? header : 0, left > MOST_ITEMS ? DELIMITER : 0)) {
            char text[100];
            snprintf(text, sizeof text, "(%04x,%04x) cannot be written: not enough memory, or too long", node->group,
                     node->element);
            return fail(saving, text);
        }
    }
    return true;
}

// What becomes of a node where no group needs to be looked at as a whole.
enum Manner {
    BY_LIBRARY,
    IN_PARTS,    // by the library, its items some at a time
    IN_PIECES,   // it bears the mark of prepare_tree
};

static Manner manner_of(const Saving *saving, const DICOM_List *node)
{
    return (node->flag & FLAG_USED) != 0 ? IN_PIECES : is_long_sequence(saving, node) ? IN_PARTS : BY_LIBRARY;
}

// Nodes of any groups, with no group lengths.
static bool write_runs(Saving *saving, DICOM_List *first)
{
    while (first != nullptr && saving->target->failure == 0) {
        Manner manner = manner_of(saving, first);
        DICOM_List *last = first, *next = first->next;
        int most = manner == IN_PARTS ? 1 : MOST_NODES;
        for (int n = 1; n < most && next != nullptr && manner_of(saving, next) == manner; n++) {
            last = next;
            next = next->next;
        }
        bool is_written = manner == IN_PARTS     ? write_long_sequence(saving, first)
                          : manner == BY_LIBRARY ? write_nodes(saving, first, last, 0, 0)
                                                 : false;
        if (!is_written && (manner == IN_PARTS || !write_in_pieces(saving, first, next)))
            return false;
        first = next;
    }
    return true;
}

// Whether what follows has nothing between its groups.
static bool is_in_runs(const Saving *saving, const DICOM_List *first)
{
    const Save_Options &options = *saving->options;
    return !options.group_lengths && !options.standard_groups_only && first->group > GROUP_DIRECTORY;
}

static bool write_groups(Saving *saving)
{
    for (DICOM_List *first = saving->set->tree; first != nullptr && saving->target->failure == 0;) {
        if (is_in_runs(saving, first))
            return write_runs(saving, first);
        DICOM_List *last = first, *next = first->next;
        bool has_mark = (first->flag & FLAG_USED) != 0;
        for (; next != nullptr && next->group == first->group; last = next, next = next->next)
            has_mark |= (next->flag & FLAG_USED) != 0;
        if (first->group != GROUP_FILE_META && !write_group(saving, first, last, has_mark))
            return false;
        first = next;
    }
    return true;
}

static void report_dropped(const Saving &saving)
{
    std::string groups;
    for (unsigned short group : saving.dropped) {
        char text[8];
        snprintf(text, sizeof text, " %04x", group);
        groups += text;
    }
    if (!groups.empty())
        Error_Fct(nullptr, Flag_Error_Warning, "    \xF1\x05WARNING:\x02 groups that are not written:%s",
                  groups.c_str());
}

// ---- the calls ------------------------------------------------------------------------

static bool write_data_set(Saving *saving)
{
    Writer_Settings settings(*saving->options);
    if (!write_head(saving->set, *saving->options, saving->encoding.uid, saving->target, &saving->error) ||
        !write_groups(saving))
        return false;
    if (missing_from(saving->set->source) >= 0 || saving->target->failure == EFAULT)
        return fail(saving, "is not written: the file that is read became shorter");
    report_dropped(*saving);
    return true;
}

static bool save(Data_Set *set, const char *path, std::string *bytes, const Save_Options &options, std::string *error)
{
    Saving saving = {set, &options, {}, nullptr, {}, {}};
    error->clear();
    try {
        unsigned char mode = mode_asked_for(*set, options);
        Prepared prepared = prepare_tree(set, options, mode);
        if (!choose_encoding(*set, prepared.fragments, options, &saving.encoding, error))
            return false;
        if (saving.encoding.mode != mode) {   // of a media directory
            Building building = {set, &options, 0, nullptr, {}};
            mark_for_host(&building, set->tree, saving.encoding.mode);
        }
        Target target;
        target.memory = bytes;
        if (bytes != nullptr) {   // about as many as were read: a large value need not move while its stream grows
            bytes->reserve(static_cast<size_t>(set->source.size) + static_cast<size_t>(set->source.size) / 8);
            use_huge_pages(bytes->data(), bytes->capacity());
        }
        if (bytes == nullptr && !open_target(path, options, &target, error))
            return false;
        saving.target = &target;
        if (prepared.has_lost_values)
            tell_of_lost_values(set->tree);
        if (!write_data_set(&saving)) {
            *error = saving.error;
            return false;
        }
        return finish_target(&target, options, error);
    } catch (const std::bad_alloc &) {
        *error = NO_MEMORY;
        return false;
    }
}

bool save_to_path(Data_Set *set, const char *path, const Save_Options &options, std::string *error)
{
    return save(set, path, nullptr, options, error);
}

bool save_to_memory(Data_Set *set, const Save_Options &options, std::string *bytes, std::string *error)
{
    bytes->clear();
    bool done = save(set, nullptr, bytes, options, error);
    if (!done)
        bytes->clear();
    return done;
}

}   // namespace velmora_host
