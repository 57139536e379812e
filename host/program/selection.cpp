// Paths are followed while a tree is walked; none of this goes deeper than the tree, nine levels.
#include "host/program/selection.h"

std::vector<Progress> start_selection(const std::vector<Tag_Path> &paths, bool anywhere)
{
    std::vector<Progress> started;
    for (const Tag_Path &path : paths)
        started.push_back({&path, 0, anywhere && path.steps.size() == 1 && path.steps[0].item == 0});
    return started;
}

Selection select_node(const DICOM_List *node, const std::vector<Progress> &here)
{
    Selection selection = {false, {}};
    for (const Progress &progress : here) {
        const Tag_Step &step = progress.path->steps[progress.steps];
        bool matched = matches(step, node->group, node->element);
        bool is_last = progress.steps + 1 == progress.path->steps.size();
        selection.is_whole |= matched && is_last && step.item == 0;
        if (matched && (!is_last || step.item != 0))
            selection.inside.push_back({progress.path, progress.steps + 1, false});
        if (progress.is_anywhere)
            selection.inside.push_back(progress);
    }
    return selection;
}

std::vector<Progress> enter_item(const std::vector<Progress> &inside, int number, bool *is_whole)
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

bool has_selected_item(const DICOM_List *node, const std::vector<Progress> &inside)
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

bool holds_selected(const DICOM_List *list, const std::vector<Progress> &here)
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
