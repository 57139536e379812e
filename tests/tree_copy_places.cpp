// A copy remembers the places that it comes by. Here it is made once more with a lookup from the top of the tree for
// each node, and both must make the same tree, leave the same cursor, and warn of the same.
#include <gtest/gtest.h>

#include <random>

#include "tests/support/outline.h"
#include "tests/support/reports.h"
#include "tree/tree_internal.h"

static void make_slots(DICOM_List *node, int wanted)
{
    if (wanted <= node->nb_item)
        return;
    node->item = static_cast<DICOM_List **>(realloc(node->item, static_cast<size_t>(wanted) * sizeof(DICOM_List *)));
    while (node->nb_item < wanted)
        node->item[node->nb_item++] = nullptr;
}

static int plain_copy(DICOM_Root *root, DICOM_List **list, DICOM_List *source);

static void plain_copy_items(DICOM_Root *root, DICOM_List **list, DICOM_List *target, DICOM_List *source)
{
    int nb_item = source->nb_item, before = (source->flag & FLAG_APPEND) != 0 ? target->nb_item : 0;
    make_slots(target, before + nb_item);
    DICOM_Attribute_Sequence_Start(nullptr, root, source->group, source->element, source->flag, 15);
    for (int i = 0; i < before; i++)
        DICOM_Attribute_Item_Start(nullptr, root, 15);
    for (int i = 0; i < nb_item && source->item[i] != nullptr && (source->flag & FLAG_FORCED) == 0; i++) {
        DICOM_Attribute_Item_Start(nullptr, root, 15);
        plain_copy(root, list, source->item[i]);
    }
    DICOM_Attribute_Sequence_Stop(nullptr, root, 15);
}

static int plain_copy(DICOM_Root *root, DICOM_List **list, DICOM_List *source)
{
    for (; source != nullptr; source = source->next) {
        DICOM_List *target = DICOM_Attribute_Find(nullptr, root, list, source->group, source->element);
        if (target == nullptr) {
            REPORT(nullptr, Flag_Error_Warning, "\xF1\x05Warning:\x02 Failed in DICOM_Attribute_Copy(%04x,%04x)",
                   source->group, source->element);
            return 0;
        }
        DICOM_List bare = *source;
        bare.item = nullptr;
        DICOM_Attribute_Copy_Tag(nullptr, root, list, target, &bare);
        if (source->item != nullptr)
            plain_copy_items(root, list, target, source);
    }
    return 1;
}

// How trees are made: few tags meet each other, many make long chains.
struct Kind {
    unsigned int tags, nodes, sequences;   // of how many tags, at most how many, of ten
    int levels;
    bool is_sorted, has_wrong_depths;
};

static const Kind KINDS[] = {
    {6, 12, 4, 3, true, false}, {4, 8, 5, 4, false, false}, {300, 60, 2, 2, true, false},
    {2, 3, 9, 13, true, false}, {3, 4, 6, 5, false, true},
};

static unsigned int below(std::mt19937 &random, unsigned int n) { return static_cast<unsigned int>(random() % n); }

static DICOM_List *random_chain(std::mt19937 &random, const Kind &kind, int level)
{
    static const int FLAGS[] = {0, ORIGIN_DICOM, ORIGIN_MODULE, ORIGIN_MODULE, ORIGIN_MODULE | FLAG_APPEND,
                                ORIGIN_DICOM | FLAG_FORCED, ORIGIN_DICOM | FLAG_DEFAULT, FLAG_GUESSED_VR};
    Tree chain;
    unsigned int nodes = 1 + below(random, level == 0 ? kind.nodes : (kind.nodes + 2) / 3);
    unsigned int tag = below(random, 2);
    for (unsigned int i = 0; i < nodes; i++) {
        tag = kind.is_sorted && below(random, 8) != 0 ? tag + below(random, 3) : below(random, kind.tags);
        const char *vr = below(random, 3) != 0 ? "LO" : "";
        unsigned int bytes = below(random, 5);
        DICOM_List *node =
            chain.append({0x0040, static_cast<unsigned short>(tag % kind.tags)}, vr, Bytes(bytes > 3 ? 0 : bytes, 'a'));
        node->flag = static_cast<unsigned short>(FLAGS[below(random, std::size(FLAGS))]);
        bool is_sequence = level < kind.levels && below(random, 10) < kind.sequences;
        for (unsigned int items = is_sequence ? below(random, 4) : 0; items > 0; items--)
            add_item(node, {});
        for (int item = 0; item < node->nb_item; item++)
            node->item[item] = below(random, 10) != 0 ? random_chain(random, kind, level + 1) : nullptr;
    }
    DICOM_List *head = chain.head;
    chain.head = nullptr;
    return head;
}

static void set_depths(std::mt19937 &random, const Kind &kind, DICOM_List *list, int depth)
{
    for (; list != nullptr; list = list->next) {
        bool is_wrong = kind.has_wrong_depths && below(random, 6) == 0;
        list->depth = static_cast<unsigned char>(is_wrong ? below(random, 4) : static_cast<unsigned int>(depth));
        for (int i = 0; i < list->nb_item; i++)
            set_depths(random, kind, list->item[i], depth + 1);
    }
}

struct Made { std::string tree, said; DICOM_Root cursor; int result; };

static Made made_by(bool is_plain, unsigned int seed)
{
    std::mt19937 random(seed);
    const Kind &kind = KINDS[seed % std::size(KINDS)];
    Tree target(below(random, 5) != 0 ? random_chain(random, kind, 0) : nullptr);
    set_depths(random, kind, target.head, 0);
    Reports said;
    Made made = {};
    DICOM_Root root = {};
    for (int copies = 0; copies < 3; copies++) {
        Tree source(random_chain(random, kind, 0));
        if (below(random, 3) == 0) {   // into an item
            DICOM_Attribute_Sequence_Start(nullptr, &root, 0x0040, static_cast<unsigned short>(below(random, 3)), 0, 0);
            DICOM_Attribute_Item_Start(nullptr, &root, 0);
        }
        made.result += is_plain ? plain_copy(&root, &target.head, source.head)
                                : DICOM_Attribute_Copy(nullptr, &root, &target.head, source.head);
    }
    made.tree = full_outline(target.head);
    made.said = said.warnings();
    made.cursor = root;
    return made;
}

TEST(CopyPlaces, AreThoseOfALookupFromTheTop)
{
    for (unsigned int seed = 0; seed < 4000; seed++) {
        Made made = made_by(false, seed), plain = made_by(true, seed);
        ASSERT_EQ(made.tree, plain.tree) << "seed " << seed;
        ASSERT_EQ(made.said, plain.said) << "seed " << seed;
        ASSERT_EQ(made.result, plain.result) << "seed " << seed;
        ASSERT_EQ(memcmp(&made.cursor, &plain.cursor, sizeof made.cursor), 0) << "seed " << seed;
    }
}
