// Deletes below the ninth level of sequences, where each nine levels are a data set of their own.
#include "host/program/delete_below.h"

#include <algorithm>

#include "host/velmora_save.h"
#include "tree/DICOM_Constants.h"

using namespace velmora_host;

static const int DEEPEST_READING = 16;   // nine levels each

static unsigned int tag_number(const DICOM_List *node)
{
    return static_cast<unsigned int>(node->group) << 16 | node->element;
}

Tag_Numbers forbidden_tags(const DICOM_List *tmplt)
{
    Tag_Numbers tags;
    for (const DICOM_List *node = tmplt; node != nullptr; node = node->next)
        if ((node->flag & FLAG_TO_DELETE) != 0)
            tags.push_back(tag_number(node));
    std::sort(tags.begin(), tags.end());
    return tags;
}

// Marks what is to go, and counts it; what is in a marked sequence goes with it. At most nine levels deep, as the tree
// is.
static int64_t mark_chain(DICOM_List *list, const Tag_Numbers &tags)
{
    int64_t count = 0;
    for (DICOM_List *node = list; node != nullptr; node = node->next) {
        if (std::binary_search(tags.begin(), tags.end(), tag_number(node))) {
            node->flag |= FLAG_INVALID;
            count++;
            continue;
        }
        for (int i = 0; i < node->nb_item && node->item[i] != nullptr; i++)
            count += mark_chain(node->item[i], tags);
    }
    return count;
}

bool delete_inside(Data_Set *inner, void *user, std::string *)
{
    mark_chain(inner->tree, *static_cast<const Tag_Numbers *>(user));
    DICOM_Attribute_Remove(nullptr, &inner->tree, 0);
    close_gaps(inner->tree);
    return true;
}

static int64_t count_in_tree(const Data_Set &set, const DICOM_List *list, const Tag_Numbers &tags, int depth);

static int64_t count_in_opaque(const Data_Set &set, const Opaque &which, const Tag_Numbers &tags, int depth)
{
    Data_Set inner;
    std::string error;
    int64_t count = 0;
    if (depth < DEEPEST_READING && open_opaque(set, which, &inner, &error) == LOADED) {
        count = mark_chain(inner.tree, tags);
        count += count_in_tree(inner, inner.tree, tags, depth + 1);
    }
    release_data_set(&inner);
    select_data_set(set);
    return count;
}

// Those in the sequences that are not opened, but for what goes anyway.
static int64_t count_in_tree(const Data_Set &set, const DICOM_List *list, const Tag_Numbers &tags, int depth)
{
    int64_t count = 0;
    for (const DICOM_List *node = list; node != nullptr && !set.opaque.empty(); node = node->next) {
        if ((node->flag & FLAG_INVALID) != 0)
            continue;
        if (const Opaque *which = node->item == nullptr ? find_opaque(set, node) : nullptr)
            count += count_in_opaque(set, *which, tags, depth);
        for (int i = 0; i < node->nb_item && node->item[i] != nullptr; i++)
            count += count_in_tree(set, node->item[i], tags, depth);
    }
    return count;
}

int64_t count_below(const Data_Set &set, const Tag_Numbers &tags)
{
    return tags.empty() ? 0 : count_in_tree(set, set.tree, tags, 0);
}
