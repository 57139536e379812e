// The dump of the library: its lines come as reports at LEVEL_LINES and go out with colours or without.
#include "host/program/dump.h"
#include "host/program/messages.h"
#include "host/program/output.h"
#include "tree/DICOM_Constants.h"

using velmora_host::Data_Set;

// A value follows behind the tag, and behind VR, type and size.
static const int COLUMNS = 2;

static void take_line(void *user, const char *line)
{
    write_marked_line(line, COLUMNS, *static_cast<const bool *>(user));
}

// ---- what was asked for ---------------------------------------------------------------

// How far one path has come at a place: the steps that the sequences around it have matched.
struct Progress {
    const Tag_Path *path;
    size_t steps;
};

static bool is_anywhere(const Tag_Path &path)
{
    return path.steps.size() == 1 && path.steps[0].item == 0;
}

struct Selection {
    bool is_whole;                  // the attribute itself is asked for
    std::vector<Progress> inside;   // paths that go on in its items
};

static Selection select_node(const DICOM_List *node, const std::vector<Progress> &here)
{
    Selection selection = {false, {}};
    for (const Progress &progress : here) {
        const Tag_Step &step = progress.path->steps[progress.steps];
        bool matched = matches(step, node->group, node->element);
        bool is_last = progress.steps + 1 == progress.path->steps.size();
        selection.is_whole |= matched && is_last && step.item == 0;
        if (matched && (!is_last || step.item != 0))
            selection.inside.push_back({progress.path, progress.steps + 1});
        if (is_anywhere(*progress.path))
            selection.inside.push_back(progress);
    }
    return selection;
}

// What of the paths reaches into an item; is_whole: the item itself is asked for.
static std::vector<Progress> enter_item(const std::vector<Progress> &inside, int number, bool *is_whole)
{
    std::vector<Progress> entered;
    *is_whole = false;
    for (const Progress &progress : inside) {
        int wanted = progress.steps == 0 ? 0 : progress.path->steps[progress.steps - 1].item;
        if (wanted != 0 && wanted != number)
            continue;
        if (progress.steps == progress.path->steps.size())
            *is_whole = true;
        else
            entered.push_back(progress);
    }
    return entered;
}

static bool holds_selected(const DICOM_List *list, const std::vector<Progress> &here);

static bool has_selected_item(const DICOM_List *node, const std::vector<Progress> &inside)
{
    if (inside.empty())
        return false;
    for (int i = 0; i < node->nb_item && node->item[i] != nullptr; i++) {
        bool is_whole = false;
        std::vector<Progress> entered = enter_item(inside, i + 1, &is_whole);
        if (is_whole || holds_selected(node->item[i], entered))
            return true;
    }
    return false;
}

// At most nine levels deep, as the tree is.
static bool holds_selected(const DICOM_List *list, const std::vector<Progress> &here)
{
    if (here.empty())
        return false;
    for (const DICOM_List *node = list; node != nullptr; node = node->next) {
        Selection selection = select_node(node, here);
        if (selection.is_whole || has_selected_item(node, selection.inside))
            return true;
    }
    return false;
}

static void show_selected(DICOM_Root *root, DICOM_List *list, const std::vector<Progress> &here);

static void show_items(DICOM_Root *root, DICOM_List *node, bool all, const std::vector<Progress> &inside)
{
    DICOM_Attribute_Sequence_Start(nullptr, root, node->group, node->element, node->flag, LEVEL_LINES);
    for (int i = 0; i < node->nb_item && node->item[i] != nullptr; i++) {
        bool is_whole = false;
        std::vector<Progress> entered = enter_item(inside, i + 1, &is_whole);
        bool is_shown = all || is_whole || holds_selected(node->item[i], entered);
        DICOM_Attribute_Item_Start(nullptr, root, is_shown ? LEVEL_LINES : LEVEL_LINES + 8);
        if (all || is_whole)
            DICOM_Attribute_Stool(nullptr, root, node->item[i], LEVEL_LINES);
        else if (is_shown)
            show_selected(root, node->item[i], entered);
        DICOM_Attribute_Item_Stop(nullptr, root, is_shown ? LEVEL_LINES : LEVEL_LINES + 8);
    }
    DICOM_Attribute_Sequence_Stop(nullptr, root, LEVEL_LINES);
}

static void show_selected(DICOM_Root *root, DICOM_List *list, const std::vector<Progress> &here)
{
    for (DICOM_List *node = list; node != nullptr; node = node->next) {
        Selection selection = select_node(node, here);
        if (!selection.is_whole && !has_selected_item(node, selection.inside))
            continue;
        DICOM_Attribute_Stool_Tag(nullptr, root, node, LEVEL_LINES);
        if (node->item != nullptr)
            show_items(root, node, selection.is_whole, selection.inside);
    }
}

// ---- the dump -------------------------------------------------------------------------

// The dump knows no UC and UR and would print their bytes; UT has what they hold.
static void show_as_text(DICOM_List *list)
{
    for (DICOM_List *node = list; node != nullptr; node = node->next) {
        if (node->vr_explicit == VR_NONE && (node->vr == VR_UC || node->vr == VR_UR))
            node->vr = VR_UT;
        for (int i = 0; i < node->nb_item && node->item[i] != nullptr; i++)
            show_as_text(node->item[i]);
    }
}

void dump_tree(Data_Set *set, const std::vector<Tag_Path> &only, bool color)
{
    if (set->has_later_texts)
        show_as_text(set->tree);
    take_lines(take_line, &color);
    DICOM_Root root = {};
    if (only.empty()) {
        DICOM_Attribute_Stool(nullptr, &root, set->tree, LEVEL_LINES);
    } else {
        std::vector<Progress> paths;
        for (const Tag_Path &path : only)
            paths.push_back({&path, 0});
        DICOM_Attribute_Stool(nullptr, &root, nullptr, LEVEL_LINES);   // the legend alone
        show_selected(&root, set->tree, paths);
    }
    take_lines(nullptr, nullptr);
}
