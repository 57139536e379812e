// Compares a data set with a template. The library compares single attributes here, and only says what is missing: it
// would look for each from the head of its chain on, and into as many items as the template has.
#include "host/program/check_template.h"

#include <algorithm>
#include <unordered_map>

#include "host/program/messages.h"
#include "host/program/tag_path.h"
#include "host/velmora_save.h"
#include "tree/DICOM_Constants.h"

using namespace velmora_host;

struct Verification {
    DICOM_Root root;   // where the library stands
    void (*take)(void *user, const Finding &finding);
    void *user;
};

static void take_missing(void *user, int level, const char *report)
{
    const Verification *at = static_cast<const Verification *>(user);
    if (level != LEVEL_WARNINGS)
        return;
    Finding finding = finding_of(level, report);
    const DICOM_Root &root = at->root;
    for (int i = 0; i < root.Sequence_Depth; i++)
        finding.path += (i > 0 ? "/" : "") + tag_text(root.Sequence_Group[i], root.Sequence_Element[i]) + "[" +
                        std::to_string(root.Item_Number[i + 1]) + "]";
    finding.name = name_of_tag(finding.group, finding.element);
    at->take(at->user, finding);
}

static bool is_demanded(const DICOM_List *wanted)
{
    return wanted->type == TYPE_1 || wanted->type == TYPE_2;
}

static unsigned int tag_number(const DICOM_List *node)
{
    return static_cast<unsigned int>(node->group) << 16 | node->element;
}

static int count_items(const DICOM_List *node)
{
    int count = 0;
    while (node->item != nullptr && count < node->nb_item && node->item[count] != nullptr)
        count++;
    return count;
}

// Where the attributes of a chain are that a template speaks of: in one walk through it, for hostile data sets have
// long chains; of a short one, of which they have many, no table is made.
struct Met {
    DICOM_List *chain;
    bool is_short;
    std::unordered_map<unsigned int, DICOM_List *> first;   // of each tag; null: there is none
};

static Met meet(DICOM_List *chain, const DICOM_List *tmplt)
{
    static const int MOST_OF_SHORT = 16;
    Met met = {chain, false, {}};
    int length = 0;
    for (const DICOM_List *node = chain; node != nullptr && length <= MOST_OF_SHORT; node = node->next)
        length++;
    met.is_short = length <= MOST_OF_SHORT;
    if (met.is_short)
        return met;
    for (const DICOM_List *wanted = tmplt; wanted != nullptr; wanted = wanted->next)
        met.first.emplace(tag_number(wanted), nullptr);
    for (DICOM_List *node = chain; node != nullptr; node = node->next) {
        auto at = met.first.find(tag_number(node));
        if (at != met.first.end() && at->second == nullptr)
            at->second = node;
    }
    return met;
}

static DICOM_List *find_met(const Met &met, const DICOM_List *wanted)
{
    if (wanted->group == ANY_TAG_NUMBER || wanted->element == ANY_TAG_NUMBER) {
        DICOM_Root here = {};
        return DICOM_Attribute_Get(nullptr, &here, met.chain, wanted->group, wanted->element, 0);
    }
    if (!met.is_short)
        return met.first.at(tag_number(wanted));
    DICOM_List *node = met.chain;
    while (node != nullptr && tag_number(node) != tag_number(wanted))
        node = node->next;
    return node;
}

// DICOM_Postproc_Verification, which would look for each attribute from the head of the chain on: here it gets a single
// node of the template, with what was found for it.
static void verify_node(Verification *at, const DICOM_List *found, const DICOM_List *wanted)
{
    DICOM_List alone = *wanted, only = {};
    alone.next = nullptr;
    if (at->root.Sequence_Depth < MAX_SEQUENCE_DEPTH)
        alone.item = nullptr;   // else the library says that it does not go there
    if (found != nullptr) {
        only = *found;
        only.next = nullptr;
        only.depth = static_cast<unsigned char>(at->root.Sequence_Depth);
    }
    DICOM_Postproc_Verification(nullptr, &at->root, found != nullptr ? &only : nullptr, &alone, 0);
}

// All items that are there are verified, where the library looks at as many as the template has; in a sequence of type
// 1 those that are not there as well.
static void verify_chain(Verification *at, DICOM_List *chain, const DICOM_List *tmplt)
{
    Met met = meet(chain, tmplt);
    for (const DICOM_List *wanted = tmplt; wanted != nullptr; wanted = wanted->next) {
        int described = count_items(wanted);
        if (!is_demanded(wanted) && described == 0)
            continue;
        DICOM_List *found = find_met(met, wanted);
        if (is_demanded(wanted))
            verify_node(at, found, wanted);
        bool is_forbidden = !is_demanded(wanted) && (wanted->flag & FLAG_TO_DELETE) != 0;
        if (described == 0 || is_forbidden || at->root.Sequence_Depth >= MAX_SEQUENCE_DEPTH)
            continue;
        int there = found != nullptr && !is_encapsulated(found) ? count_items(found) : 0;
        int items = wanted->type == TYPE_1 ? std::max(there, described) : there;
        DICOM_Attribute_Sequence_Start(nullptr, &at->root, wanted->group, wanted->element, wanted->flag, 0);
        for (int i = 0; i < items; i++) {
            DICOM_Attribute_Item_Start(nullptr, &at->root, 0);
            verify_chain(at, i < there ? found->item[i] : nullptr, wanted->item[i < described ? i : 0]);
            DICOM_Attribute_Item_Stop(nullptr, &at->root, 0);
        }
        DICOM_Attribute_Sequence_Stop(nullptr, &at->root, 0);
    }
}

void verify_by_template(DICOM_List *tree, const DICOM_List *tmplt, void (*take)(void *user, const Finding &finding),
                        void *user)
{
    Verification at = {{}, take, user};
    take_reports(take_missing, &at);
    verify_chain(&at, tree, tmplt);
    take_reports(nullptr, nullptr);
}
