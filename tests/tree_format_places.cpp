// Formatting remembers the places that its nodes go to. Here the same source is compiled once more with a walk from the
// top of the tree for each node, and both must make the same tree and the same reports, traces included.
#include <gtest/gtest.h>

#include <random>

#include "tests/support/outline.h"
#include "tests/support/reports.h"
#include "tree/taking_internal.h"

static void plain_begin_tree(HWND window, Open_Chains *open)
{
    *open = {};
    DICOM_Attribute_Sequence_Reset(window, &open->root);
}

static void plain_end_tree(Open_Chains *)
{
}

static DICOM_List *plain_insert_open(HWND window, Open_Chains *open, DICOM_List *source)
{
    return DICOM_Attribute_Insert(window, &open->root, &open->head, source, 0);
}

static void plain_start_sequence(HWND window, Open_Chains *open, const DICOM_List *source, DICOM_List *)
{
    DICOM_Attribute_Sequence_Start(window, &open->root, source->group, source->element, source->flag, 15);
}

static void plain_start_item(HWND window, Open_Chains *open)
{
    DICOM_Attribute_Item_Start(window, &open->root, 15);
}

static bool plain_take_open(HWND, Open_Chains *, DICOM_List *, Node_Place *)
{
    return false;
}

#define DICOM_Attribute_Format plain_format
#define begin_tree plain_begin_tree
#define end_tree plain_end_tree
#define insert_open plain_insert_open
#define start_sequence plain_start_sequence
#define start_item plain_start_item
#define take_open plain_take_open
#define taking_begin plain_taking_begin
#define taking_add plain_taking_add
#define taking_add_item_tag plain_taking_add_item_tag
#define taking_text plain_taking_text
#define taking_set_end plain_taking_set_end
#define taking_end plain_taking_end
static DICOM_List *plain_format(HWND window, DICOM_List *list);
#include "tree/format.cpp"
#undef DICOM_Attribute_Format
#undef taking_begin
#undef taking_add
#undef taking_add_item_tag
#undef taking_end

// What a chain is made of, each as often of ten as it says.
struct Kind {
    int delimiters, sequences, lengths;   // lengths that are defined
    int nested;                           // a sequence and its first item, so that some chains go very deep
    unsigned int tags;                    // of how many
};

static DICOM_List *with_nested_items(DICOM_List *node, int levels)
{
    Tag tag = {0x0040, 0x0001};
    return levels == 0 ? node : add_item(node, {with_nested_items(new_node(tag, "SQ"), levels - 1), new_node(tag)});
}

// A chain of elements, items, sequences and delimiters in any order and with any lengths. Few tags, so that sequences
// of one tag meet in one chain.
static Tree random_flat_chain(unsigned int seed)
{
    static const Kind KINDS[] = {{5, 3, 5, 0, 3}, {6, 6, 2, 1, 2}, {3, 2, 9, 1, 4}, {5, 7, 0, 0, 200}, {3, 6, 1, 6, 5}};
    static const unsigned short DELIMITERS[] = {ELEMENT_ITEM, ELEMENT_ITEM, ELEMENT_ITEM, ELEMENT_ITEM_END,
                                                ELEMENT_SEQUENCE_END};
    std::mt19937 random(seed);
    auto below = [&](unsigned int n) { return static_cast<unsigned short>(random() % n); };
    const Kind &kind = KINDS[seed % 5];

    Tree flat;
    auto put = [&](Tag tag, const char *vr, int size) {
        DICOM_List *node = flat.append(tag, vr);
        node->size = size;
        node->flag = below(8) != 0;      // of a data set that was read, or not
        node->pos = flat.head->stream_word;
        node->data_pos = flat.head->stream_word += 8;
        return node;
    };
    int nodes = seed % 20 == 3 ? 400 : 5 + below(60);
    for (int i = 0; i < nodes; i++) {
        Tag tag = {0x0040, below(kind.tags)};
        int size = below(10) < kind.lengths ? below(80) : -1;
        if (below(10) < kind.nested) {
            put(tag, "SQ", size);
            put({GROUP_ITEM, ELEMENT_ITEM}, "", -1)->vr = VR_ITEM;
        } else if (below(10) < kind.delimiters) {
            put({GROUP_ITEM, DELIMITERS[below(5)]}, "", size)->vr = VR_ITEM;
        } else if (below(10) < kind.sequences) {
            put(tag, below(8) == 0 ? "" : "SQ", size);
        } else {
            const char *vr = below(8) == 0 ? "" : below(6) ? "SH" : "UN";
            put(tag, vr, below(2) ? size : 0);
            if (below(100) == 0)
                with_nested_items(flat.head->last, below(12));
        }
    }
    return flat;
}

// The tree, and all that was said while it was made.
static std::string made_by(DICOM_List *(*format)(HWND, DICOM_List *), unsigned int seed, std::vector<Report> *said)
{
    Tree flat = random_flat_chain(seed);
    Reports reports(15);
    DICOM_List *head = format(nullptr, flat.head);
    *said = reports.all;
    Error_Set_Threshold(10);
    Tree made(head);
    DICOM_List *tail = head;
    while (tail->next != nullptr)
        tail = tail->next;
    EXPECT_TRUE(head->last == tail || head->last == nullptr);
    return full_outline(head);
}

TEST(FormatPlaces, AreThoseOfAWalkFromTheTop)
{
    for (unsigned int seed = 0; seed < 2500; seed++) {
        std::vector<Report> said, walked;
        std::string made = made_by(DICOM_Attribute_Format, seed, &said);
        ASSERT_EQ(made, made_by(plain_format, seed, &walked)) << "seed " << seed;
        ASSERT_EQ(said, walked) << "seed " << seed;
    }
}

TEST(FormatPlaces, SurviveEachRefusedAllocation)
{
    for (unsigned int seed : {3u, 8u, 11u, 63u}) {
        refuse_each_allocation([&](int) {
            Tree flat = random_flat_chain(seed);
            Reports said;
            Tree made(DICOM_Attribute_Format(nullptr, flat.head));
            DICOM_Root root = {};
            DICOM_Attribute_Sort(nullptr, &root, &made.head);
            EXPECT_EQ(Refuse::happened(), said.failures() != "");
        });
    }
}

static bool has_items(const DICOM_List *list)
{
    while (list != nullptr && list->item == nullptr)
        list = list->next;
    return list != nullptr;
}

// Whether each chain knows its last node, or none.
static bool know_their_tails(const DICOM_List *head)
{
    const DICOM_List *tail = head;
    for (const DICOM_List *node = head; node != nullptr; tail = node, node = node->next)
        for (int i = 0; i < node->nb_item; i++)
            if (!know_their_tails(node->item[i]))
                return false;
    return head == nullptr || head->last == nullptr || head->last == tail;
}

// What may follow in a run, by the words of taking_follow.
static bool can_follow(const Taking *taking, const Taking_Run &run, const DICOM_List *node, int64_t greatest)
{
    return node != nullptr && node->flag == ORIGIN_DICOM && !is_delimiter_group(node->group) &&
           tag_number(node) > greatest && node->size != UNDEFINED_LENGTH && node->pos < run.end &&
           is_usual_attribute(taking, node->vr_explicit, node->vr, node->db);
}

// Returns what stands behind a run; from there on if there is none.
static DICOM_List *take_run(Taking *taking, DICOM_List *from)
{
    Taking_Run run;
    if (!taking_begin_run(taking, &run))
        return from;
    int64_t greatest = run.chain->greatest;
    DICOM_List *node = from;
    while (can_follow(taking, run, node, greatest)) {
        DICOM_List *next = node->next;
        greatest = tag_number(node);
        node->depth = run.depth;
        node->flag = usual_flag(node->group, node->db);
        node->next = nullptr;
        taking_follow(&run, node);
        node = next;
    }
    if (node != from)
        taking_end_run(taking, &run);
    return node;
}

// The chain's nodes go into the tree themselves, without traces mostly by the short ways. Null when one found no way.
static DICOM_List *take_all(DICOM_List *list, bool with_runs)
{
    Taking *taking = taking_begin(nullptr);
    bool is_whole = true;
    for (DICOM_List *node = list, *next; node != nullptr && is_whole; node = next) {
        next = node->next;
        is_whole = node->group == GROUP_ITEM
                       ? taking_add_item_tag(taking, node)
                       : taking_add_usual(taking, node) || taking_add(nullptr, taking, node, next);
        if (!is_whole)
            free_tree(node);
        else if (with_runs)
            next = take_run(taking, next);
    }
    DICOM_List *head = taking_tree(taking);
    taking_end(taking);
    if (is_whole)
        return head;
    free_tree(head);
    return nullptr;
}

// Mostly ascending, long enough for the index of first nodes, with sequences of tags that were there before.
static Tree random_long_chain(unsigned int seed)
{
    std::mt19937 random(seed);
    auto below = [&](unsigned int n) { return static_cast<unsigned short>(random() % n); };
    Tree flat;
    auto put = [&](Tag tag, const char *vr, int size) {
        DICOM_List *node = flat.append(tag, vr);
        node->size = size;
        node->flag = ORIGIN_DICOM;
        node->pos = flat.head->stream_word;
        node->data_pos = flat.head->stream_word += 8;
    };
    unsigned short greatest = 0;
    for (int i = 0; i < 100; i++) {
        greatest = static_cast<unsigned short>(greatest + below(2));
        if (below(5) != 0) {
            put({0x0040, greatest}, "SH", 0);
            continue;
        }
        put({0x0040, below(2) ? below(greatest + 1u) : greatest}, "SQ", -1);
        put({GROUP_ITEM, ELEMENT_ITEM}, "", -1);
        put({0x0040, below(9)}, "SH", 0);
        put({GROUP_ITEM, ELEMENT_SEQUENCE_END}, "", 0);
    }
    return flat;
}

// Gives some nodes what else a reader finds: rows of the dictionary, other VRs and other groups.
static void vary_nodes(DICOM_List *list, unsigned int seed)
{
    static const Tag ROWS[] = {{0x0008, 0x0001}, {0x0008, 0x0010}, {0x0008, 0x0060}, {0x0008, 0x1140}, {0x0028, 0x0106},
                               {0x0020, 0x31FF}, {0x0040, 0x0007}};
    static const char *const VRS[] = {"SH", "US", "UT", "OF", "OX", "SQ", "ZZ", "CS", "", "", "", ""};
    std::mt19937 random(seed);
    for (DICOM_List *node = list; node != nullptr; node = node->next) {
        if (node->group == GROUP_ITEM || random() % 2 == 0)
            continue;
        const Tag &row = ROWS[random() % std::size(ROWS)];
        if (random() % 4 != 0)
            node->db = NEMA_db_Locate(row.group, row.element);
        if (node->db != nullptr && random() % 4 != 0)
            node->vr = node->db->vr[0];
        const char *vr = VRS[random() % std::size(VRS)];
        node->vr_explicit = *vr != '\0' ? pack_letters(vr[0], vr[1]) : static_cast<unsigned short>(VR_NONE);
        if (random() % 8 == 0)
            node->group = random() % 3 == 0 ? ANY_TAG_NUMBER : 0x0041;
    }
}

static Tree varied_chain(unsigned int seed)
{
    Tree flat = seed % 4 == 1 ? random_long_chain(seed) : random_flat_chain(seed);
    if (seed % 4 >= 2)
        vary_nodes(flat.head, seed);
    return flat;
}

TEST(Taking, MakesTheTreeAndTheReportsOfFormat)
{
    int compared = 0;
    for (unsigned int seed = 0; seed < 4000; seed++) {
        SCOPED_TRACE(seed);
        Tree flat = varied_chain(seed), same = varied_chain(seed);
        if (has_items(flat.head))
            continue;
        static const int THRESHOLDS[] = {15, 10, -1};
        bool has_traces = seed % 3 == 0;
        Reports reports(THRESHOLDS[seed % 3]);
        Tree taken(take_all(flat.head, seed % 2 == 0));
        flat.head = nullptr;
        std::vector<Report> said = reports.all;
        reports.all.clear();
        if (taken.head == nullptr)
            continue;
        Tree made(DICOM_Attribute_Format(nullptr, same.head));
        if (has_traces)
            reports.all.erase(reports.all.begin());   // the entry of the call itself
        ASSERT_EQ(full_outline(taken.head), full_outline(made.head));
        ASSERT_TRUE(know_their_tails(taken.head));
        ASSERT_EQ(said, reports.all);
        compared++;
    }
    EXPECT_GT(compared, 1000);
}
