// The walk that finds attributes. It goes into those items alone that a path leads to.
#include "host/program/find.h"

#include <memory>

#include "host/program/selection.h"
#include "tree/DICOM_Constants.h"

using namespace velmora_host;

struct Search {
    Found_Fct take;
    void *user;
    int found = 0;
};

// A chain, with what has to be known of it only where something is found in it.
struct Level {
    const Level *around;
    Json_Place place;
    DICOM_List *chain;
    std::string path;   // of the item, with "/" behind it
    mutable std::unique_ptr<Value_Context> context;
};

static const Value_Context &context_at(const Level &level)
{
    if (level.context == nullptr) {
        const Value_Context &around = level.around != nullptr ? context_at(*level.around) : outer_context();
        level.context.reset(new Value_Context(context_of(*level.place.set, level.chain, around)));
    }
    return *level.context;
}

static void search_chain(Search *search, const Level &level, const std::vector<Progress> &here);

static void search_items(Search *search, const Level &level, const Json_Place &place, const DICOM_List *node,
                         const std::vector<Progress> &inside)
{
    for (int i = 0; i < node->nb_item && node->item[i] != nullptr; i++) {
        bool is_whole = false;
        std::vector<Progress> entered = enter_item(inside, i + 1, &is_whole);
        if (entered.empty())
            continue;
        Level below = {&level, place, node->item[i], "", nullptr};
        below.place.depth++;
        below.path = level.path + tag_text(node->group, node->element) + "[" + std::to_string(i + 1) + "]/";
        search_chain(search, below, entered);
    }
}

static void search_opened(Search *search, const Level &level, const Opaque &opaque, const std::vector<Progress> &inside)
{
    Data_Set opened;
    std::string error;
    Json_Place place = level.place;
    place.set = &opened;
    place.base += opaque.data_pos;
    Load_Result result = load_opaque(*level.place.set, opaque, Load_Options(), &opened, &error);
    if (result == LOADED && opened.tree != nullptr)
        search_items(search, level, place, opened.tree, inside);
    release_data_set(&opened);
    select_data_set(*level.place.set);
}

static void search_chain(Search *search, const Level &level, const std::vector<Progress> &here)
{
    for (DICOM_List *node = level.chain; node != nullptr; node = node->next) {
        if (node->group == GROUP_ITEM)
            continue;
        Selection selection = select_node(node, here);
        if (selection.is_whole) {
            search->found++;
            search->take({level.place, node, &context_at(level), level.path + tag_text(node->group, node->element)},
                         search->user);
        }
        if (selection.inside.empty())
            continue;
        const Data_Set &set = *level.place.set;
        const Opaque *opaque = set.opaque.empty() ? nullptr : find_opaque(set, node);
        bool is_too_deep = level.place.depth >= DEEPEST_JSON;
        if (is_too_deep && (opaque != nullptr || node->item != nullptr))
            report_about(node, "lies deeper than %d sequences and is not looked into", static_cast<int>(DEEPEST_JSON));
        else if (opaque != nullptr)
            search_opened(search, level, *opaque, selection.inside);
        else if (node->item != nullptr && !holds_fragments(node))
            search_items(search, level, level.place, node, selection.inside);
    }
}

int find_attributes(const Data_Set &set, const Tag_Path &path, bool everywhere, Found_Fct take, void *user)
{
    Search search = {take, user};
    Level top = {
        nullptr, {&set, 0, 0},
         set.tree, "", nullptr
    };
    std::vector<Tag_Path> paths = {path};
    search_chain(&search, top, start_selection(paths, everywhere));
    return search.found;
}
