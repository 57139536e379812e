// The built-in dictionary: a list of groups, each with a list of rows, both in ascending order. It is built from the
// lines of dictionary_table.cpp at the first lookup and stays until NEMA_db_Cleanup. NEMA_db_Read.cpp parses the lines.
#include "dictionary/dictionary_internal.h"

#include <atomic>
#include <limits.h>
#include <new>
#include <stdio.h>

#include "tree/tree_internal.h"

static const char SOURCE[] = ".\\NEMA_db";

enum { SPARE_ROWS = 32 };

// A row as it stands in memory.
struct Row {
    TAG_db_Elems seen;     // by callers
    TAG_db_Group *group;   // the node that holds the row
};

// Rows and groups are cut from large blocks, which hang on a list to be released together.
struct Block {
    Block *next;
    size_t used, room;   // in bytes, the block's own head included
};

// The dictionary lives as long as the library: attributes point at its rows.
static TAG_db_Group *groups = nullptr;
static bool is_built = false;
static Block *row_blocks = nullptr, *group_blocks = nullptr;
static unsigned build_number = 0;   // tells a thread that what it remembers is of an older dictionary

// Where the last row of the build was filed: lines of one group stand together.
static struct {
    unsigned short group, mask;
    TAG_db_Group *node;
} filing;

// What was found before, and what was not, each at a place that follows from its tag: the last one of that place. Data
// sets ask for the same tags again and again, and a tag that the dictionary does not know comes as often as others do;
// only a search through its group could tell. Threads share both.
// Only a row that a search found under its own tag is kept, never one found through a wildcard: a row here that bears the
// tag asked for is what a search would find. A tag that is absent stands with the build that it was sought in.
enum { PLACE_BITS = 12 };
static std::atomic<Row *> found_rows[1 << PLACE_BITS];
static std::atomic<uint64_t> absent_tags[1 << PLACE_BITS];

// What this thread found last by a search: mostly the next row stands behind it.
static thread_local struct {
    unsigned build;
    Row *row;
} last_found;

/* ---- memory ------------------------------------------------------------------------ */

static int add_block(Block **blocks, size_t count, size_t size)
{
    size_t room = sizeof(Block) + count * size;
    Block *block = static_cast<Block *>(ALLOC_MALLOC(hwnd, "block", 1, room));
    if (block == nullptr)
        return 0;
    block->next = *blocks;
    block->used = sizeof(Block);
    block->room = room;
    *blocks = block;
    return 1;
}

static void *take(Block **blocks, size_t size)
{
    if (*blocks == nullptr || (*blocks)->room - (*blocks)->used < size)
        if (!add_block(blocks, SPARE_ROWS, size))
            return nullptr;
    Block *block = *blocks;
    void *place = reinterpret_cast<char *>(block) + block->used;
    block->used += size;
    return place;
}

static void release(Block **blocks)
{
    while (*blocks != nullptr) {
        Block *block = *blocks;
        *blocks = block->next;
        frame_free(block);
    }
}

static void release_dictionary()
{
    release(&row_blocks);
    release(&group_blocks);
    groups = filing.node = nullptr;
    is_built = false;
    for (std::atomic<Row *> &row : found_rows)
        row.store(nullptr, std::memory_order_relaxed);
    build_number++;   // here, not at the next build, which may fail: what threads remember is gone
}

/* ---- filing a row ------------------------------------------------------------------ */

static TAG_db_Group *find_or_make_group(unsigned short group, unsigned short mask)
{
    TAG_db_Group **place = &groups;
    while (*place != nullptr && ((*place)->group & mask) < (group & mask))
        place = &(*place)->next;
    if (*place != nullptr && ((*place)->group & mask) == (group & mask))
        return *place;

    void *block = take(&group_blocks, sizeof(TAG_db_Group));
    if (block == nullptr)
        return nullptr;
    *place = new (block) TAG_db_Group{group, mask, *place, nullptr, nullptr};
    return *place;
}

static int number_at(const char *text)
{
    int number = 0;
    for (; *text >= '0' && *text <= '9' && number < SHRT_MAX; text++)
        number = number * 10 + (*text - '0');
    return number < SHRT_MAX ? number : SHRT_MAX;
}

// "3" gives 3 to 3, "1-8" 1 to 8. What ends in "n" has no upper limit, and a step as in "2-2n" is not kept.
static void read_vn(const char *text, short vn[2])
{
    const char *dash = strchr(text, '-');
    vn[0] = static_cast<short>(number_at(text));
    if (dash == nullptr || dash[1] == '\0')
        vn[1] = vn[0];
    else if (dash[1] == 'n' || dash[2] == 'n')
        vn[1] = -1;
    else
        vn[1] = static_cast<short>(number_at(dash + 1));
}

static Row *make_row(TAG_db_Group *group)
{
    void *block = take(&row_blocks, sizeof(Row));
    if (block == nullptr)
        return nullptr;
    Row *row = new (block) Row{};
    row->group = group;
    row->seen.vr[0] = VR_RT;
    row->seen.vn[0][0] = -1;
    return row;
}

int NEMA_db_Add_Elem(unsigned short group, unsigned short element, unsigned short group_mask,
                     unsigned short element_mask, const char *description, int type, const unsigned short *vr,
                     const char (*vn)[VN_ROOM])
{
    if (filing.node == nullptr || filing.group != group || filing.mask != group_mask)
        filing = {group, group_mask, find_or_make_group(group, group_mask)};
    TAG_db_Group *node = filing.node;
    if (node == nullptr)
        return 0;

    TAG_db_Elems **place = &node->first;
    if (node->tail != nullptr && node->tail->element < element)
        place = &node->tail->next;
    while (*place != nullptr && (*place)->element < element)
        place = &(*place)->next;
    if (*place != nullptr && (*place)->element == element) {
        REPORT(hwnd, Flag_Error_Warning, "    \xF1\x05WARNING:\x02 duplicate tag (%04x,%04x) in definition file", group,
               element);
        return 0;
    }

    Row *row = make_row(node);
    if (row == nullptr)
        return 0;
    TAG_db_Elems *seen = &row->seen;
    seen->group = group;
    seen->element = element;
    seen->element_mask = element_mask;
    seen->type = static_cast<signed char>(type);
    strncpy(seen->description, description, sizeof seen->description - 1);
    int count = type < 0 ? -type : type;
    for (int i = 0; i < count; i++) {
        seen->vr[i] = vr[count - 1 - i];
        read_vn(vn[count - 1 - i], seen->vn[i]);
    }

    seen->next = *place;
    *place = seen;
    if (seen->next == nullptr)
        node->tail = seen;
    build_number++;   // a tag that was absent may be there now
    return 1;
}

/* ---- building ---------------------------------------------------------------------- */

// All memory of the build is taken before the first row is filed, so that it cannot run out half-way.
static int reserve()
{
    int rows = 0;
    for (int size : dictionary_sizes)
        rows += size;
    return add_block(&group_blocks, DICTIONARY_GROUPS, sizeof(TAG_db_Group)) &&
           add_block(&row_blocks, static_cast<size_t>(rows), sizeof(Row));
}

int NEMA_db_Load()
{
    if (is_built)
        return 0;
    if (!reserve()) {
        release_dictionary();
        return 0;
    }
    int filed = 0;
    for (int i = 0; i < DICTIONARY_GROUPS; i++)
        filed += NEMA_db_Read_Table(dictionary_lines[i], dictionary_sizes[i]);
    is_built = true;
    return filed;
}

const TAG_db_Group *NEMA_db_Groups()
{
    return groups;
}

/* ---- printing ---------------------------------------------------------------------- */

char *NEMA_db_VN_Text(const short vn[2], char *text)
{
    if (vn[1] == vn[0])
        snprintf(text, VN_TEXT_ROOM, "%d", vn[0]);
    else if (vn[1] > 0)
        snprintf(text, VN_TEXT_ROOM, "%d-%d", vn[0], vn[1]);
    else
        snprintf(text, VN_TEXT_ROOM, "%d-n", vn[0]);
    return text;
}

// "60xx" for 0x6000 with the mask 0xFF00.
static const char *number_text(unsigned short number, unsigned short mask, char text[5])
{
    snprintf(text, 5, "%04x", number);
    for (int i = 0; i < 4; i++)
        if ((mask >> (12 - 4 * i) & 0xF) == 0)
            text[i] = 'x';
    return text;
}

static void print_row(HWND window, int level, const TAG_db_Group *group, const TAG_db_Elems *row)
{
    char group_text[5], element_text[5], vn[MAX_ALTERNATES][VN_TEXT_ROOM], letters[MAX_ALTERNATES][2];
    number_text(group->group, group->group_mask, group_text);
    number_text(row->element, row->element_mask, element_text);
    for (int i = 0; i < MAX_ALTERNATES; i++) {
        letters[i][0] = first_letter(row->vr[i]);
        letters[i][1] = second_letter(row->vr[i]);
        NEMA_db_VN_Text(row->vn[i], vn[i]);
    }
    switch (row->type < 0 ? -row->type : row->type) {
    case 0:
        REPORT(window, level, " (%s,%s) \x01%-40.40s \x02type:%d", group_text, element_text, row->description,
               row->type);
        break;
    case 1:
        REPORT(window, level, " (%s,%s) \x01%-40.40s \x02type:%d VR:%c%c VN:%s", group_text, element_text,
               row->description, row->type, letters[0][0], letters[0][1], vn[0]);
        break;
    case 2:
        REPORT(window, level, " (%s,%s) \x01%-40.40s \x02type:%d (VR:%c%c VN:%s) or (VR:%c%c VN:%s)", group_text,
               element_text, row->description, row->type, letters[0][0], letters[0][1], vn[0], letters[1][0],
               letters[1][1], vn[1]);
        break;
    default:
        REPORT(window, level, " (%s,%s) \x01%-40.40s \x02type:%d (VR:%c%c VN:%s) or (VR:%c%c VN:%s) or (VR:%c%c VN:%s)",
               group_text, element_text, row->description, row->type, letters[0][0], letters[0][1], vn[0],
               letters[1][0], letters[1][1], vn[1], letters[2][0], letters[2][1], vn[2]);
    }
}

/* ---- the exported operations ------------------------------------------------------- */

static bool has_tag(const Row *row, unsigned short group, unsigned short element)
{
    return row->seen.group == group && row->seen.element == element;
}

// Walks both lists from their heads, but goes on from the row that was found last when the one asked for stands behind
// it in the same group.
static Row *search(unsigned short group, unsigned short element, Row *last)
{
    for (TAG_db_Group *node = groups; node != nullptr; node = node->next) {
        int order = (node->group & node->group_mask) - (group & node->group_mask);
        if (order > 0)
            return nullptr;
        if (order < 0)
            continue;
        bool is_ahead = last != nullptr && last->group == node && last->seen.element <= element;
        TAG_db_Elems *row = is_ahead ? &last->seen : node->first;
        while (row != nullptr && row->element < element)
            row = row->next;
        if (row != nullptr && row->element == element)
            return reinterpret_cast<Row *>(row);
    }
    return nullptr;
}

TAG_db_Elems *NEMA_db_Locate(unsigned short group, unsigned short element)
{
    if (!is_built)
        NEMA_db_Load();
    if (is_private_group(group))
        return nullptr;
    uint32_t tag = tag_number(group, element), place = tag * 0x9E3779B1u >> (32 - PLACE_BITS);
    Row *found = found_rows[place].load(std::memory_order_acquire);
    if (found != nullptr && has_tag(found, group, element))
        return &found->seen;
    uint64_t absent = (static_cast<uint64_t>(build_number) + 1) << 32 | tag;
    if (absent_tags[place].load(std::memory_order_relaxed) == absent)
        return nullptr;

    if (last_found.build != build_number)
        last_found = {build_number, nullptr};
    found = search(group, element, last_found.row);
    if (found == nullptr) {
        absent_tags[place].store(absent, std::memory_order_relaxed);
        return nullptr;
    }
    if (found->seen.group == group) {
        last_found.row = found;
        found_rows[place].store(found, std::memory_order_release);
    }
    return &found->seen;
}

void NEMA_db_Stool(HWND window, int level)
{
    REPORT(window, LEVEL_LOCATION, "--- in NEMA_db_Stool(%d) ---", level);
    for (const TAG_db_Group *group = groups; group != nullptr; group = group->next) {
        char text[5];
        REPORT(window, level, "--- Group %s ---", number_text(group->group, group->group_mask, text));
        for (const TAG_db_Elems *row = group->first; row != nullptr; row = row->next)
            print_row(window, level, group, row);
    }
}

void NEMA_db_Cleanup()
{
    REPORT(hwnd, LEVEL_LOCATION, "--- in NEMA_db_Cleanup() ---");
    release_dictionary();
}
