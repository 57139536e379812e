// What the sources of conforming share: the state of one run, walks over data set and template side by side, values in
// short, and what was there before.
#ifndef VELMORA_CONFORM_INTERNAL_H
#define VELMORA_CONFORM_INTERNAL_H

#include <stdio.h>
#include <stdlib.h>
#include <time.h>
#include <algorithm>
#include <map>

#include "host/save_internal.h"
#include "host/velmora_conform.h"

namespace velmora_host
{

// ---- what was there before (conform_changes.cpp) --------------------------------------

// The nodes of a tree in their order, each chain ended by a mark, with copies of the values.
struct Seen {
    TAG_db_Elems *db;
    unsigned short group, element, vr;
    bool is_end;
    int items;   // chains that follow
    int size;
    int data_pos;    // of a value that was left in the source
    int64_t value;   // where its copy stands; -1: none, or left in the source
};

struct Snapshot {
    std::vector<Seen> nodes;
    std::string values;
};

void take_snapshot(const DICOM_List *tree, Snapshot *snapshot);

// ---- one run --------------------------------------------------------------------------

// What the pixel data tells (conform_pixels.cpp); -1: it does not.
struct Pixel_Facts {
    int rows = -1, columns = -1, samples = -1, frames = -1;
    int bits_allocated = -1, bits_stored = -1, is_signed = -1;
    bool is_interleaved = false;   // compressed in a way that keeps the samples of a pixel together
};

struct Conforming {
    Data_Set *set;
    const Conform_Options *options;
    Conform_Result *result;
    DICOM_List *tmplt = nullptr;
    unsigned short tmplt_flags = 0;   // those of all template nodes at places of the data set
    Snapshot before;
    DICOM_Root root = {};                          // the place in the data set
    DICOM_List **near = nullptr;                   // while values are added: a link in front of the place of the next
    std::string path;                              // the same as text
    std::map<std::string, const char *> reasons;   // of changes, by path and tag
    std::vector<Conform_Lack> wrong;               // demanded attributes with values that are not allowed
    time_t now = 0;                                // one time for all that the run makes
    bool has_pixel_facts = false;
    Pixel_Facts pixel_facts;
};

// As the node itself or the dictionary calls it; empty: it has no name.
std::string name_of(const DICOM_List *node);

// What is noted last counts; or what was noted first.
void note_reason(Conforming *run, const std::string &path, const DICOM_List *node, const char *why);
void note_first_reason(Conforming *run, const std::string &path, const DICOM_List *node, const char *why);

// The differences between before and the tree.
void list_changes(Conforming *run);

// A value in at most some 60 characters.
std::string short_value(unsigned short vr, const char *bytes, int size);

// While it lives, the handlers make values for this run.
struct Making_For {
    explicit Making_For(Conforming *run);
    ~Making_For();
    Making_For(const Making_For &) = delete;
};

bool is_uid(const std::string &text);

// The value of an attribute of one unsigned number; -1: it has none.
int short_number(const DICOM_List *node);

// The facts, looked up once.
const Pixel_Facts &pixel_facts(Conforming *run);

// ---- cleaning (conform_clean.cpp) -----------------------------------------------------

// Cleans the values with DICOM_Attribute_Cleanup, and keeps what is allowed but not known to it. The tree must be as
// the snapshot of the run has it. A value that says something else then is put back as it was and gets FLAG_INVALID.
void clean_values(Conforming *run);

// ---- walks ----------------------------------------------------------------------------

inline bool comes_before(const DICOM_List *a, unsigned short group, unsigned short element)
{
    return a->group < group || (a->group == group && a->element < element);
}

inline bool has_same_tag(const DICOM_List *a, const DICOM_List *b)
{
    return a->group == b->group && a->element == b->element;
}

// The node of a sorted chain, from one of its nodes on, that has the tag of another; else null. at moves on.
inline DICOM_List *find_pair(DICOM_List **at, const DICOM_List *other)
{
    while (*at != nullptr && comes_before(*at, other->group, other->element))
        *at = (*at)->next;
    return *at != nullptr && has_same_tag(*at, other) ? *at : nullptr;
}

inline bool has_items(const DICOM_List *node)
{
    return node->item != nullptr && node->nb_item > 0 && node->item[0] != nullptr;
}

// Appends "0040,a730", and "0040,a730[2]/" for the second item.
void append_tag(std::string *path, unsigned short group, unsigned short element);
inline void append_item(std::string *path, const DICOM_List *node, int item)
{
    append_tag(path, node->group, node->element);
    *path += "[" + std::to_string(item + 1) + "]/";
}

// Calls work for each item's chain of a node, path in there.
template <class Work> void in_each_item(DICOM_List *node, std::string *path, Work work)
{
    size_t length = path->size();
    for (int i = 0; i < node->nb_item && node->item[i] != nullptr; i++) {
        append_item(path, node, i);
        work(node->item[i]);
        path->resize(length);
    }
}

// Calls work with each item's chain of a sequence, the cursor and the path of the run in there.
template <class Work> void for_each_item(Conforming *run, DICOM_List *node, Work work)
{
    size_t length = run->path.size();
    DICOM_Attribute_Sequence_Start(nullptr, &run->root, node->group, node->element, node->flag, 15);
    for (int i = 0; i < node->nb_item && node->item[i] != nullptr; i++) {
        DICOM_Attribute_Item_Start(nullptr, &run->root, 15);
        append_item(&run->path, node, i);
        work(&node->item[i], i);
        run->path.resize(length);
        DICOM_Attribute_Item_Stop(nullptr, &run->root, 15);
    }
    DICOM_Attribute_Sequence_Stop(nullptr, &run->root, 15);
}

// Whether the items of a data set's sequence are those that a template's one speaks of.
inline bool is_governed(const DICOM_List *node, const DICOM_List *tmplt)
{
    return has_items(tmplt) && has_items(node) && !is_encapsulated(node) && node->depth < MAX_SEQUENCE_DEPTH;
}

// The template's chain for one item: each item has its own, or the first one is for all.
inline DICOM_List *item_template(const DICOM_List *tmplt, int item)
{
    return item < tmplt->nb_item && tmplt->item[item] != nullptr ? tmplt->item[item] : tmplt->item[0];
}

// Calls work with the chain at the place of the run and the template's chain for it, and then with those of all items
// that both have. work may change the chain. skips: template sequences with one of these flags are not gone into.
template <class Work>
void at_each_place(Conforming *run, DICOM_List **chain, DICOM_List *tmplt, unsigned short skips, Work work)
{
    work(chain, tmplt);
    DICOM_List *at = *chain;
    for (DICOM_List *wanted = tmplt; wanted != nullptr; wanted = wanted->next) {
        if (!has_items(wanted) || (wanted->flag & skips) != 0)
            continue;
        DICOM_List *node = find_pair(&at, wanted);
        if (node != nullptr && is_governed(node, wanted))
            for_each_item(run, node, [&](DICOM_List **item, int i) {
                at_each_place(run, item, item_template(wanted, i), skips, work);
            });
    }
}

}   // namespace velmora_host

#endif
