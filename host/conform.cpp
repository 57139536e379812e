// A data set through the steps that bring it in line with a template. The steps are the library's; what is done here is
// to keep each of them to the places that data set and template both have. Where a lookup named a sequence that is not
// there, it would leave an empty one behind, in the data set or in the template, which all data sets share.
#include "host/conform_internal.h"

#include <algorithm>
#include <functional>
#include <new>

namespace velmora_host
{

// ---- marks ----------------------------------------------------------------------------

// Notes for each node with one of the flags why it goes.
static void note_marked(Conforming *run, DICOM_List *list, unsigned short flags, const char *why)
{
    for (DICOM_List *node = list; node != nullptr; node = node->next) {
        if ((node->flag & flags) != 0)
            note_first_reason(run, run->path, node, why);
        else
            in_each_item(node, &run->path, [&](DICOM_List *item) { note_marked(run, item, flags, why); });
    }
}

static bool is_sorted(const DICOM_List *list)
{
    for (const DICOM_List *node = list; node != nullptr; node = node->next) {
        if (node->next != nullptr && comes_before(node->next, node->group, node->element))
            return false;
        for (int i = 0; i < node->nb_item && node->item[i] != nullptr; i++)
            if (!is_sorted(node->item[i]))
                return false;
    }
    return true;
}

// The nodes of a long chain that was sorted lie anywhere in memory, and each step walks through all of them. So what is
// in them changes places until they lie in their order; nothing refers to a node but the chain.
static void lay_in_order(DICOM_List **list)
{
    static const size_t FEWEST = 4096;   // what is shorter stays in the processor's cache
    std::vector<DICOM_List *> places;
    for (DICOM_List *node = *list; node != nullptr; node = node->next)
        places.push_back(node);
    if (places.size() < FEWEST)
        return;
    std::vector<DICOM_List> nodes;
    nodes.reserve(places.size());
    for (const DICOM_List *place : places)
        nodes.push_back(*place);
    std::sort(places.begin(), places.end(), std::less<DICOM_List *>());
    for (size_t i = 0; i < places.size(); i++) {
        *places[i] = nodes[i];
        places[i]->next = i + 1 < places.size() ? places[i + 1] : nullptr;
    }
    *list = places[0];
    (*list)->last = nullptr;
}

static void sort(Conforming *run)
{
    DICOM_Root root = {};
    if (is_sorted(run->set->tree))
        return;
    DICOM_Attribute_Sort(nullptr, &root, &run->set->tree);
    lay_in_order(&run->set->tree);
}

static bool says_something(const DICOM_List *node)
{
    if (node->item == nullptr)
        return node->size > 0;
    for (int i = 0; i < node->nb_item && node->item[i] != nullptr; i++)
        for (const DICOM_List *inner = node->item[i]; inner != nullptr; inner = inner->next)
            if (says_something(inner))
                return true;
    return false;
}

// Of attributes with one tag the first in the order of DICOM_Attribute_Sort stays, one that says something rather than
// one that does not.
static void mark_doubles(DICOM_List *list)
{
    for (DICOM_List *node = list, *kept = nullptr; node != nullptr; node = node->next) {
        for (int i = 0; i < node->nb_item && node->item[i] != nullptr; i++)
            mark_doubles(node->item[i]);
        bool is_double = kept != nullptr && has_same_tag(kept, node) && node->group != GROUP_ITEM;
        if (is_double && !says_something(kept) && says_something(node)) {
            kept->flag |= FLAG_DELETED;
            node->flag &= static_cast<unsigned short>(~FLAG_DELETED);
        } else if (is_double) {
            node->flag |= FLAG_DELETED;
            continue;
        }
        kept = node;
    }
}

// ---- lengths --------------------------------------------------------------------------

static bool is_opaque(const Data_Set &set, const DICOM_List *node)
{
    return !set.opaque.empty() && find_opaque(set, node) != nullptr;
}

// Whether bytes stand in the place of a sequence's items.
static bool is_no_sequence(const Data_Set &set, const DICOM_List *node)
{
    int size = 0;
    return true_vr(node) == VR_SQ && !is_opaque(set, node) && value_of(set, node, &size) != nullptr;
}

// The length of a sequence says nothing where no items came of it and there are no other bytes, nor that of an item
// where no attributes did.
static void forget_lengths(const Data_Set &set, DICOM_List *list)
{
    for (DICOM_List *node = list; node != nullptr; node = node->next) {
        if (true_vr(node) != VR_SQ)
            continue;
        if (node->item == nullptr && !is_opaque(set, node) && !is_no_sequence(set, node))
            node->size = 0;
        for (int i = 0; i < node->nb_item && node->item[i] != nullptr; i++) {
            if (is_item_mark(node->item[i]))
                node->item[i]->size = 0;
            forget_lengths(set, node->item[i]);
        }
    }
}

// Bytes that are no items are a value that is not allowed; they are kept or dropped as such a value is.
static void mark_no_sequences(const Data_Set &set, DICOM_List *list)
{
    for (DICOM_List *node = list; node != nullptr; node = node->next) {
        if (is_no_sequence(set, node))
            node->flag |= FLAG_INVALID;
        for (int i = 0; i < node->nb_item && node->item[i] != nullptr; i++)
            mark_no_sequences(set, node->item[i]);
    }
}

// ---- types ----------------------------------------------------------------------------

// What the template says nothing of stays, empty or not: of type 1C nothing is missed, and nothing is dropped.
static void leave_alone(DICOM_List *list)
{
    for (DICOM_List *node = list; node != nullptr; node = node->next) {
        node->type = TYPE_1C;
        node->flag &= static_cast<unsigned short>(~FLAG_INVALID);
        for (int i = 0; i < node->nb_item && node->item[i] != nullptr; i++)
            leave_alone(node->item[i]);
    }
}

// One node takes over what its pair in the template says. Items and siblings stand aside for that time: the library
// would look for all of them in the template.
static void assign(DICOM_List *node, DICOM_List *wanted)
{
    DICOM_Root top = {};
    DICOM_List *next = node->next, **items = node->item;
    node->next = nullptr;
    node->item = nullptr;
    DICOM_Attribute_Assign_Info(nullptr, &top, wanted, node);
    node->next = next;
    node->item = items;
}

static void assign_types_here(Conforming *run, DICOM_List *chain, DICOM_List *tmplt)
{
    DICOM_List *at = tmplt;
    for (DICOM_List *node = chain; node != nullptr; node = node->next) {
        DICOM_List *wanted = find_pair(&at, node);
        node->type = TYPE_NONE;
        if (wanted != nullptr)
            assign(node, wanted);
        bool is_kept = (node->group & 1) != 0 || node->group == GROUP_FILE_META || is_item_mark(node) ||
                       run->result->is_fallback ||
                       is_opaque(*run->set, node);
        if (wanted == nullptr && is_kept)
            node->type = TYPE_1C;
        if (has_items(node) && (wanted == nullptr || !is_governed(node, wanted)))
            for (int i = 0; i < node->nb_item && node->item[i] != nullptr; i++)
                leave_alone(node->item[i]);
    }
}

static void assign_types(Conforming *run)
{
    at_each_place(run, &run->set->tree, run->tmplt, 0, [run](DICOM_List **chain, DICOM_List *tmplt) {
        assign_types_here(run, *chain, tmplt);
        for (const DICOM_List *wanted = tmplt; wanted != nullptr; wanted = wanted->next)
            run->tmplt_flags |= wanted->flag;
    });
}

// Sequences of type 2C that say something are kept whole: DICOM_Postproc_Step_2 would take what is empty out of them,
// though their items may have to hold it.
static void keep_whole_what_speaks(DICOM_List *list)
{
    for (DICOM_List *node = list; node != nullptr; node = node->next) {
        if (node->type == TYPE_2C && has_items(node) && says_something(node))
            node->type = TYPE_1C;
        for (int i = 0; i < node->nb_item && node->item[i] != nullptr; i++)
            keep_whole_what_speaks(node->item[i]);
    }
}

// ---- what cannot stay -----------------------------------------------------------------

// What the instance is stands in the head of the file as well.
static void prefer_head(Conforming *run)
{
    static const struct {
        unsigned short element, in_head;
    } rows[] = {
        {0x0016, 0x0002},
        {0x0018, 0x0003},
    };
    for (const auto &row : rows) {
        DICOM_List *node = find_in_chain(run->set->tree, 0x0008, row.element);
        if (node != nullptr && !is_uid(text_of(node)) &&
            is_uid(text_of(find_in_chain(run->set->tree, GROUP_FILE_META, row.in_head)))) {
            set_value(node, "");
            node->flag &= static_cast<unsigned short>(~FLAG_INVALID);
        }
    }
}

// An attribute that is demanded, or that may be, is not dropped because its value is wrong: that is told instead. Of an
// optional one, a text is made to fit.
static void settle_invalid(Conforming *run, DICOM_List *node)
{
    if (node->type == TYPE_NONE || node->type == TYPE_3) {
        if (!settle_text(node))
            note_first_reason(run, run->path, node, "its value is not allowed");
        return;
    }
    node->flag &= static_cast<unsigned short>(~FLAG_INVALID);
    if (node->size > 0 && node->group != GROUP_FILE_META)
        run->wrong.push_back({LACK_WRONG, node->group, node->element, node->type, 1, run->path, name_of(node)});
}

static void settle_chain(Conforming *run, DICOM_List *list)
{
    for (DICOM_List *node = list; node != nullptr; node = node->next) {
        if ((node->flag & FLAG_INVALID) != 0)
            settle_invalid(run, node);
        in_each_item(node, &run->path, [run](DICOM_List *item) { settle_chain(run, item); });
    }
}

// Drops what could not be read, what belongs to the old stream only, what stands there twice, and optional values that
// are wrong.
static void drop_wrong(Conforming *run)
{
    DICOM_List *tree = run->set->tree;
    note_marked(run, tree, FLAG_DELETED, "it could not be read, or its definition takes it out");
    if (DICOM_List *length = find_in_chain(tree, 0x0008, 0x0001)) {
        length->flag |= FLAG_DELETED;   // of the rest of the stream, retired: of the one to be written it is wrong
        note_first_reason(run, "", length, "retired, and it would be wrong");
    }
    prefer_head(run);
    settle_chain(run, tree);
    mark_doubles(tree);
    note_marked(run, tree, FLAG_DELETED, "it stands there twice");
    DICOM_Attribute_Remove(nullptr, &run->set->tree, REMOVE_DELETED);
    close_gaps(run->set->tree);
}

// ---- adding ---------------------------------------------------------------------------

// The link to the last node in front of a tag, from an earlier link of a sorted chain on.
static DICOM_List **link_before(DICOM_List **link, const DICOM_List *wanted)
{
    while (*link != nullptr && (*link)->next != nullptr && comes_before((*link)->next, wanted->group, wanted->element))
        link = &(*link)->next;
    return link;
}

// The library looks for the place of each attribute from the head on that it is given, so that it is given a later one
// each time: templates and data sets may both be long. The cursor stays at its depth, and so is not followed.
static void add_here(Conforming *run, DICOM_List **chain, DICOM_List *tmplt)
{
    bool is_at_place = *chain != nullptr && (*chain)->depth == run->root.Sequence_Depth;
    DICOM_List **from = is_at_place ? chain : &run->set->tree;
    const DICOM_List *before = nullptr;
    for (DICOM_List *wanted = tmplt; wanted != nullptr; before = wanted, wanted = wanted->next) {
        bool is_wanted = (wanted->flag & FLAG_TO_DELETE) == 0 && wanted->group != GROUP_ITEM &&
                         wanted->type != TYPE_NONE && wanted->type != TYPE_3;
        bool is_fitting = wanted->type != TYPE_2C || !run->result->is_fallback;
        if (is_at_place && before != nullptr && comes_before(wanted, before->group, before->element))
            from = chain;
        if (is_at_place)
            from = link_before(from, wanted);
        if (!is_wanted || !is_fitting)
            continue;
        run->near = is_at_place && run->root.Sequence_Depth == 0 ? from : nullptr;
        DICOM_Module_Add(nullptr, &run->root, from, wanted, run);
        if (*from != nullptr)
            (*from)->last = nullptr;
    }
    run->near = nullptr;
    if (*chain != nullptr)
        (*chain)->last = nullptr;
}

static void add_demanded(Conforming *run)
{
    at_each_place(run, &run->set->tree, run->tmplt, FLAG_TO_DELETE,
                  [run](DICOM_List **chain, DICOM_List *tmplt) { add_here(run, chain, tmplt); });
    close_gaps(run->set->tree);
}

// ---- what the template itself gives ---------------------------------------------------

// Those nodes of a chain of the template that a step is to see, as a chain of their own. The copies share values and
// items with the template, which the steps only read.
struct Orders {
    std::vector<DICOM_List> nodes;

    void add(const DICOM_List *wanted)
    {
        nodes.push_back(*wanted);
        nodes.back().last = nullptr;
        // What is to be appended may by itself have too few values: the target's are counted in the end.
        nodes.back().flag &= static_cast<unsigned short>(~FLAG_INVALID);
    }
    DICOM_List *head()
    {
        for (size_t i = 0; i < nodes.size(); i++)
            nodes[i].next = i + 1 < nodes.size() ? &nodes[i + 1] : nullptr;
        return nodes.empty() ? nullptr : nodes.data();
    }
};

static bool has_value(const DICOM_List *node)
{
    return node != nullptr && (node->size > 0 || has_items(node));
}

// Whether a value ends with what is to be appended, padding aside: it was appended before.
static bool is_appended(const DICOM_List *node, const DICOM_List *wanted)
{
    std::string value = text_of(node), end = text_of(wanted);
    return end.size() <= value.size() && value.compare(value.size() - end.size(), end.size(), end) == 0 &&
           (end.size() == value.size() || value[value.size() - end.size() - 1] == '\\' ||
            value[value.size() - end.size() - 1] == '\n');
}

static const unsigned short GIVING_FLAGS = FLAG_FORCED | FLAG_DEFAULT | FLAG_APPEND;

// A value to which one more cannot be added, since there would be too many, stays as it was.
static void append_values(Conforming *run, DICOM_List *chain, Orders *orders)
{
    std::vector<std::string> before;
    for (const DICOM_List &wanted : orders->nodes) {
        const DICOM_List *node = find_pair(&chain, &wanted);
        bool has_bytes = node != nullptr && node->item == nullptr && node->data != nullptr && node->size > 0;
        before.emplace_back(has_bytes ? std::string(node->data, static_cast<size_t>(node->size)) : "");
    }
    DICOM_Attribute_Copy(nullptr, &run->root, &run->set->tree, orders->head());
    for (size_t i = 0; i < before.size(); i++) {
        const DICOM_List &wanted = orders->nodes[i];
        DICOM_List *node = DICOM_Attribute_Find(nullptr, &run->root, &run->set->tree, wanted.group, wanted.element);
        if (node == nullptr)
            continue;
        DICOM_Attribute_Cleanup_Tag(nullptr, node);   // the pieces were put together with their padding
        if ((node->flag & FLAG_INVALID) == 0 || before[i].empty())
            continue;
        set_value(node, before[i]);
        node->flag &= static_cast<unsigned short>(~FLAG_INVALID);
    }
}

static void note_orders(Conforming *run, const Orders &orders, const char *why)
{
    for (const DICOM_List &wanted : orders.nodes)
        note_reason(run, run->path, &wanted, why);
}

// DICOM_Postproc_Step_1 inserts whether or not the tag is there, so that it gets only those that are not; what is there
// without a value is overwritten. It comes last, for the chain is out of order behind it.
static void give_here(Conforming *run, DICOM_List *chain, DICOM_List *tmplt)
{
    Orders forced, appended, empty, absent;
    DICOM_List *at = chain;
    for (DICOM_List *wanted = tmplt; wanted != nullptr; wanted = wanted->next) {
        if ((wanted->flag & GIVING_FLAGS) == 0 || (wanted->flag & FLAG_TO_DELETE) != 0)
            continue;
        DICOM_List *node = find_pair(&at, wanted);
        if (node != nullptr && (wanted->flag & FLAG_APPEND) != 0 && !fetch_value(*run->set, node))
            throw std::bad_alloc();   // to what is left in the source the library appends nothing
        if ((wanted->flag & FLAG_FORCED) != 0)
            forced.add(wanted);
        else if ((wanted->flag & FLAG_APPEND) != 0 && (node == nullptr || !is_appended(node, wanted)))
            appended.add(wanted);
        else if ((wanted->flag & FLAG_DEFAULT) != 0 && !has_value(node))
            (node != nullptr ? empty : absent).add(wanted);
    }
    note_orders(run, forced, "the template forces it");
    note_orders(run, appended, "the template appends to it");
    note_orders(run, empty, "the template's default");
    note_orders(run, absent, "the template's default");
    DICOM_List **tree = &run->set->tree;
    DICOM_Postproc_Overwrite(nullptr, &run->root, tree, forced.head(), FLAG_FORCED);
    append_values(run, chain, &appended);
    DICOM_Postproc_Overwrite(nullptr, &run->root, tree, empty.head(), FLAG_DEFAULT);
    DICOM_Postproc_Step_1(nullptr, &run->root, tree, absent.head(), FLAG_DEFAULT);
}

static void give_values(Conforming *run)
{
    if ((run->tmplt_flags & GIVING_FLAGS) == 0)
        return;
    at_each_place(run, &run->set->tree, run->tmplt, GIVING_FLAGS | FLAG_TO_DELETE,
                  [run](DICOM_List **chain, DICOM_List *tmplt) { give_here(run, *chain, tmplt); });
    sort(run);
    mark_doubles(run->set->tree);
    DICOM_Attribute_Remove(nullptr, &run->set->tree, REMOVE_DELETED);
    close_gaps(run->set->tree);
}

// ---- dropping -------------------------------------------------------------------------

// A sequence that may be empty has no items when those that it has lost all that was in them.
static void empty_sequences(DICOM_List *list)
{
    for (DICOM_List *node = list; node != nullptr; node = node->next) {
        bool has_item = false;
        for (int i = 0; i < node->nb_item; i++) {
            has_item |= node->item[i] != nullptr;
            if (node->item[i] != nullptr)
                empty_sequences(node->item[i]);
        }
        if (node->item == nullptr || has_item || (node->type != TYPE_2 && node->type != TYPE_2C))
            continue;
        char *block = reinterpret_cast<char *>(node->item);
        DICOM_Lib_Free(&block);
        node->item = nullptr;
        node->nb_item = node->size = 0;
    }
}

static void drop_empty(Conforming *run)
{
    keep_whole_what_speaks(run->set->tree);
    DICOM_Postproc_Step_2(nullptr, &run->root, run->set->tree, TYPE_NONE);
    note_marked(run, run->set->tree, FLAG_DELETED, "empty, and it may be absent");
    DICOM_Attribute_Remove(nullptr, &run->set->tree, REMOVE_DELETED);
    empty_sequences(run->set->tree);
    close_gaps(run->set->tree);
}

static void delete_here(Conforming *run, DICOM_List *tmplt)
{
    Orders orders;
    for (DICOM_List *wanted = tmplt; wanted != nullptr; wanted = wanted->next) {
        if ((wanted->flag & FLAG_TO_DELETE) == 0)
            continue;
        note_reason(run, run->path, wanted, "the template takes it out");
        orders.add(wanted);
    }
    if (!orders.nodes.empty())
        DICOM_Postproc_Step_4(nullptr, &run->root, &run->set->tree, orders.head());
}

static void delete_forbidden(Conforming *run)
{
    if ((run->tmplt_flags & FLAG_TO_DELETE) == 0)
        return;
    at_each_place(run, &run->set->tree, run->tmplt, FLAG_TO_DELETE, [run](DICOM_List **chain, DICOM_List *tmplt) {
        delete_here(run, tmplt);
        close_gaps(*chain);
    });
    close_gaps(run->set->tree);
}

// ---- fetching -------------------------------------------------------------------------

// Values of another byte order are turned as they come in, which DICOM_Postproc_Step_5 leaves to its host.
static bool fetch_turned(const Data_Set &set, DICOM_List *list)
{
    static const int LARGEST_FETCHED = 999999;
    bool done = true;
    for (DICOM_List *node = list; node != nullptr; node = node->next) {
        if ((node->syntax & SYNTAX_BIG_ENDIAN) != 0 && node->size <= LARGEST_FETCHED)
            done &= fetch_value(set, node);
        for (int i = 0; i < node->nb_item && node->item[i] != nullptr; i++)
            done &= fetch_turned(set, node->item[i]);
    }
    return done;
}

static bool fetch_unread(Conforming *run)
{
    select_data_set(*run->set);
    return fetch_turned(*run->set, run->set->tree) && DICOM_Postproc_Step_5(nullptr, &run->root, run->set->tree) != 0;
}

// ---- the whole ------------------------------------------------------------------------

static bool find_template(Conforming *run, std::string *error)
{
    Conform_Result *result = run->result;
    result->module = run->options->module;
    if (result->module.empty())
        result->module = find_module(*run->set, &result->is_fallback);
    run->tmplt = read_template(result->module, error);
    return run->tmplt != nullptr;
}

static bool run_steps(Conforming *run, std::string *error)
{
    DICOM_List **tree = &run->set->tree;
    make_editable(run->set);
    DICOM_Attribute_Remove(nullptr, tree, REMOVE_GROUP_LENGTH);
    close_gaps(*tree);
    sort(run);
    forget_lengths(*run->set, *tree);
    take_snapshot(*tree, &run->before);
    clean_values(run);
    mark_no_sequences(*run->set, *tree);
    if (run->options->give != nullptr && !run->options->give(run->set, run->options->user, error))
        return false;
    sort(run);
    if (!find_template(run, error))
        return false;
    assign_types(run);
    drop_wrong(run);
    add_demanded(run);
    give_values(run);
    assign_types(run);
    if (!run->result->is_fallback)
        drop_empty(run);
    delete_forbidden(run);
    if (!fetch_unread(run)) {
        *error = "not enough memory";
        return false;
    }
    find_lacks(run->set, run->tmplt, run->options->report_lacks, &run->result->lacks);
    run->result->lacks.insert(run->result->lacks.end(), run->wrong.begin(), run->wrong.end());
    DICOM_Attribute_Sort(nullptr, &run->root, tree);
    list_changes(run);
    return true;
}

bool conform(Data_Set *set, const Conform_Options &options, Conform_Result *result, std::string *error)
{
    Conforming run;
    run.set = set;
    run.options = &options;
    run.result = result;
    run.now = time(nullptr);
    Making_For making(&run);
    *result = Conform_Result();
    error->clear();
    try {
        return run_steps(&run, error);
    } catch (const std::bad_alloc &) {
        *error = "not enough memory";
        return false;
    }
}

}   // namespace velmora_host
