// Puts a tree into the order of its tags, and settles what several definitions of one attribute mean together.
//
// The order, and what nodes of one tag take over from each other, are those of a bubble sort: pass after pass over the
// chain until one makes no exchange. Its comparison also changes two nodes of one tag, so that what they have in common
// in the end depends on how many passes there were. But only the comparisons of equal tags matter. The passes over
// the rest are not made, they are counted: a node moves one place to the front in each pass as long as a greater one
// stands before it. So the nodes are merged into the order of their tags, each with its number of greater tags before
// it; and it is in the pass of that number, not earlier, that a node meets the nodes of its own tag.
#include <stdint.h>

#include "tree/tree_internal.h"

/* ---- what a node needs while its chain is sorted ------------------------------------- */

// The number of nodes with a greater tag that stood before this one. It is kept in last, which says nothing on nodes
// other than a chain's first, and is null on all of them when the chain is sorted: sorting needs no memory.
static intptr_t greater_before(const DICOM_List *node)
{
    return reinterpret_cast<intptr_t>(node->last);
}

static void set_greater_before(DICOM_List *node, intptr_t count)
{
    node->last = reinterpret_cast<DICOM_List *>(count);
}

static bool has_equal_tags(const DICOM_List *a, const DICOM_List *b)
{
    return tag_number(a) == tag_number(b);
}

static const unsigned short MERGED_FLAGS = FLAG_TO_DELETE | FLAG_DELETED | FLAG_INVALID;

// The place of a node among those of its tag: forced before all others, then with a value, not a default, described.
enum { RANKS = 9 };
static int rank_of(const DICOM_List *node)
{
    if ((node->flag & FLAG_FORCED) != 0)
        return 0;
    return 1 + (node->data == nullptr ? 4 : 0) + ((node->flag & FLAG_DEFAULT) != 0 ? 2 : 0) +
           (node->description == nullptr ? 1 : 0);
}

// A chain that is being made. It must not be moved: its end may lie in itself.
struct Chain {
    DICOM_List *head = nullptr;
    DICOM_List **end = &head;
};

static void append(Chain *chain, DICOM_List *node)
{
    *chain->end = node;
    chain->end = &node->next;
}

/* ---- the order of tags --------------------------------------------------------------- */

static bool is_ascending(const DICOM_List *node)
{
    while (node->next != nullptr && tag_number(node) < tag_number(node->next))
        node = node->next;
    return node->next == nullptr;
}

struct Run {
    DICOM_List *head;
    intptr_t count;
};

// Merges two runs, the nodes of the first of which stood before those of the second.
static Run merge(Run first, Run second)
{
    Run merged = {nullptr, first.count + second.count};
    DICOM_List **link = &merged.head;
    intptr_t first_left = first.count;
    while (first.head != nullptr && second.head != nullptr) {
        bool takes_first = tag_number(first.head) <= tag_number(second.head);
        DICOM_List *&from = takes_first ? first.head : second.head;
        if (takes_first)
            first_left--;
        else
            set_greater_before(from, greater_before(from) + first_left);
        *link = from;
        link = &from->next;
        from = from->next;
    }
    *link = first.head != nullptr ? first.head : second.head;
    return merged;
}

// Takes nodes off the front of a list as long as they are in order.
static Run cut_run(DICOM_List **list)
{
    Run run = {*list, 0};
    for (;;) {
        DICOM_List *node = *list;
        set_greater_before(node, 0);
        run.count++;
        *list = node->next;
        if (*list == nullptr || tag_number(*list) < tag_number(node)) {
            node->next = nullptr;
            return run;
        }
    }
}

// A stable merge sort, bottom-up, of what is in order already: waiting[i] is empty or merged from 2 to the power of i
// runs.
static DICOM_List *ordered_by_tag(DICOM_List *list)
{
    Run waiting[64] = {};
    while (list != nullptr) {
        Run run = cut_run(&list);
        int i = 0;
        for (; waiting[i].head != nullptr; i++) {
            run = merge(waiting[i], run);
            waiting[i] = {};
        }
        waiting[i] = run;
    }
    Run all = {};
    for (const Run &run : waiting)
        all = merge(run, all);
    return all.head;
}

// The number of passes of a bubble sort. Each but the last brings each node one place to the front that has greater
// ones before it, be they of a greater tag or of its own.
static intptr_t count_passes(const DICOM_List *list)
{
    intptr_t most = 0;
    intptr_t of_rank[RANKS] = {};
    for (const DICOM_List *node = list, *before = nullptr; node != nullptr; before = node, node = node->next) {
        if (before != nullptr && !has_equal_tags(before, node))
            for (intptr_t &count : of_rank)
                count = 0;
        intptr_t greater = greater_before(node);
        for (int rank = rank_of(node) + 1; rank < RANKS; rank++)
            greater += of_rank[rank];
        of_rank[rank_of(node)]++;
        if (greater > most)
            most = greater;
    }
    return most + 1;
}

/* ---- equal tags, pass by pass -------------------------------------------------------- */

static void give_vr_to_each_other(DICOM_List *a, DICOM_List *b)
{
    if (a->vr == VR_NONE)
        a->vr = b->vr;
    else if (b->vr == VR_NONE)
        b->vr = a->vr;
}

// Compares two nodes of one tag, a standing before b: they take over from each other, and may have to be exchanged.
static bool must_exchange(HWND window, DICOM_List *a, DICOM_List *b)
{
    a->type = b->type = a->type < b->type ? a->type : b->type;
    if ((a->flag & b->flag & FLAG_FORCED) != 0) {
        REPORT(window, Flag_Error_Warning,
               "    \xF1\x05WARNING:\x02 (\x01%04x\x02,\x01%04x\x02) Tag is defined as OVERRIDE twice!", a->group,
               a->element);
        return false;
    }
    unsigned short merged = (a->flag | b->flag) & MERGED_FLAGS;
    a->flag |= merged;
    b->flag |= merged;
    give_vr_to_each_other(a, b);
    return rank_of(a) > rank_of(b);
}

// Makes the passes over nodes of equal tags that have to be made one by one.
static void make_passes(HWND window, DICOM_List **list, intptr_t passes)
{
    for (intptr_t pass = 0; pass < passes; pass++) {
        for (DICOM_List **link = list; *link != nullptr && (*link)->next != nullptr; link = &(*link)->next) {
            DICOM_List *a = *link, *b = a->next;
            if (!has_equal_tags(a, b) || greater_before(b) > pass || !must_exchange(window, a, b))
                continue;
            a->next = b->next;
            b->next = a;
            *link = b;
        }
    }
}

/* ---- equal tags, all passes at once -------------------------------------------------- */

enum { MOST_TYPES = 12 };

// Two forced nodes take over nothing but the type, and warn each time that they meet: such tags go pass by pass.
static bool needs_each_pass(const DICOM_List *first, const DICOM_List *end)
{
    int forced = 0, types = 0;
    unsigned short type = 0xFFFF;
    for (; first != end; first = first->next) {
        if ((first->flag & FLAG_FORCED) != 0)
            forced++;
        if (first->type < type) {
            type = first->type;
            types++;
        }
    }
    return forced > 1 || types > MOST_TYPES;
}

// What all nodes have in common from a place on, counted from 1.
struct Common {
    intptr_t from;
    unsigned short type, flags;
};

// Settles the nodes of one tag, given in their old order, and appends them to the chain in their new one. In each pass,
// the smallest type and the flags that stand at a place or before it reach the place before it as well, whatever nodes
// are exchanged: they always pass from one to the other. So what entered at a place, in the pass in which the node
// there met the others, is as many places further to the front in the end as there were passes since.
static void settle_equals(Chain *chain, DICOM_List *node, const DICOM_List *end, intptr_t passes)
{
    Common commons[1 + MOST_TYPES + 3];
    int count = 0;
    Common common = {0, 0xFFFF, 0}, vr = {0, VR_NONE, 0};
    DICOM_List *greatest = nullptr;                          // the one that meets the next node
    Chain of_rank[RANKS];

    for (intptr_t place = 1; node != end; place++) {
        DICOM_List *next = node->next;
        common.from = place - (passes - greater_before(node));
        if (place == 1 || node->type < common.type || (node->flag & MERGED_FLAGS & ~common.flags) != 0) {
            common.type = node->type < common.type ? node->type : common.type;
            common.flags |= node->flag & MERGED_FLAGS;
            commons[count++] = common;
        }
        if (vr.type == VR_NONE)
            vr = {common.from, node->vr, 0};
        if (greatest != nullptr)
            give_vr_to_each_other(greatest, node);
        if (greatest == nullptr || rank_of(greatest) <= rank_of(node))
            greatest = node;
        append(&of_rank[rank_of(node)], node);
        node = next;
    }

    intptr_t place = 1;
    int reached = 0;
    for (Chain &each : of_rank) {
        *each.end = nullptr;
        for (DICOM_List *settled = each.head; settled != nullptr; place++) {
            DICOM_List *next = settled->next;
            while (reached + 1 < count && commons[reached + 1].from <= place)
                reached++;
            settled->type = commons[reached].type;
            settled->flag |= commons[reached].flags;
            if (settled->vr == VR_NONE && place >= vr.from)
                settled->vr = vr.type;
            append(chain, settled);
            settled = next;
        }
    }
}

/* ---- the whole chain ----------------------------------------------------------------- */

static void sort_chain(HWND window, DICOM_List **list)
{
    if (is_ascending(*list))
        return;
    DICOM_List *node = ordered_by_tag(*list);
    intptr_t passes = count_passes(node);

    Chain sorted, aside;
    while (node != nullptr) {
        DICOM_List *end = node->next;
        while (end != nullptr && has_equal_tags(node, end))
            end = end->next;
        if (end == node->next)
            append(&sorted, node);
        else if (!needs_each_pass(node, end))
            settle_equals(&sorted, node, end, passes);
        else
            for (DICOM_List *each = node; each != end; each = each->next)
                append(&aside, each);
        node = end;
    }
    *sorted.end = nullptr;
    *aside.end = nullptr;
    make_passes(window, &aside.head, passes);
    *list = merge({sorted.head, 0}, {aside.head, 0}).head;
    for (node = *list; node != nullptr; node = node->next)
        node->last = nullptr;
}

int DICOM_Attribute_Sort(HWND window, DICOM_Root *root, DICOM_List **list)
{
    for (;;) {
        if (list == nullptr || *list == nullptr)
            return 0;
        REPORT(window, LEVEL_FUNCTION, "in DICOM_Attribute_Sort(level=%d)", (*list)->depth);
        if ((*list)->depth >= root->Sequence_Depth)
            break;
        list = DICOM_Attribute_Item_Walk(window, root, *list);
    }

    sort_chain(window, list);
    for (DICOM_List *node = *list; node != nullptr; node = node->next)
        if (node->item != nullptr)
            walk_items(window, root, node, LEVEL_FUNCTION, [&](DICOM_List **item) {
                DICOM_Attribute_Sort(window, root, item);
            });
    (*list)->last = nullptr;   // NOLINT(clang-analyzer-core.NullDereference): sorting takes no node away
    return 1;
}
