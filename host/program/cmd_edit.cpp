// velmora edit: attributes set and deleted.
#include <getopt.h>

#include "host/program/assignment.h"
#include "host/program/messages.h"
#include "host/program/output.h"
#include "host/program/selection.h"
#include "host/program/tag_path.h"
#include "host/program/writing.h"
#include "tree/DICOM_Constants.h"

using namespace velmora_host;

static const char EXAMPLES[] = "velmora edit --set 'PatientName=Doe^Jane' --delete 0010,1040 old.dcm new.dcm\n"
                               "velmora edit --in-place --all --delete '0009,*' image.dcm\n"
                               "velmora edit --set '0040,a730[1]/0008,0104=Finding' report.dcm out.dcm\n";

static const char TEXT[] =
    "--set and --delete may be given several times; deletions are made first. TAG is 0010,0010, a name or keyword of "
    "the "
    "dictionary, and may have a path in front: 0040,a730[2]/0008,0104; what is to be deleted may have wildcards. In a "
    "VALUE, backslashes part the values; numbers are decimal, tags are 0010,0010. What is no value of the VR is "
    "refused.\n"
    "IN is a file, a folder with all that is in it, or - for standard input. OUT is a file, - for standard output, or "
    "a "
    "folder, which several files go to.\n";

struct Edit {
    Writing writing;
    std::vector<Assignment> sets;
    std::vector<Tag_Path> deletions;
    bool everywhere = false;
};

// ---- deleting -------------------------------------------------------------------------

// At most nine levels deep, as the tree is.
static void mark_deleted(DICOM_List *list, const std::vector<Progress> &here)
{
    for (DICOM_List *node = list; node != nullptr && !here.empty(); node = node->next) {
        Selection selection = select_node(node, here);
        if (selection.is_whole)
            node->flag |= FLAG_INVALID;
        for (int i = 0; i < node->nb_item && node->item[i] != nullptr && !selection.is_whole; i++) {
            bool is_whole = false;
            mark_deleted(node->item[i], enter_item(selection.inside, i + 1, &is_whole));
        }
    }
}

static bool delete_attributes(Data_Set *set, void *user, std::string *)
{
    const Edit *edit = static_cast<const Edit *>(user);
    mark_deleted(set->tree, start_selection(edit->deletions, edit->everywhere));
    DICOM_Attribute_Remove(nullptr, &set->tree, 0);
    close_gaps(set->tree);
    return true;
}

// ---- the command ----------------------------------------------------------------------

static Change edit_set(Data_Set *set, const std::string &name, Save_Options *save, Tally *, void *user)
{
    Edit *edit = static_cast<Edit *>(user);
    if (!edit->deletions.empty()) {
        delete_attributes(set, edit, nullptr);
        if (edit->everywhere) {
            save->change = delete_attributes;
            save->user = edit;
        }
    }
    for (const Assignment &what : edit->sets) {
        std::string error;
        if (!assign(set, what, &error)) {
            complain_about(name, "is not changed: " + error);
            return CHANGE_FAILED;
        }
    }
    return CHANGED;
}

static int take_set(const char *text, Edit *edit)
{
    Assignment what;
    std::string error;
    if (!parse_assignment(text, &what, &error))
        return wrong_use(command_edit, "%s", error.c_str());
    edit->sets.push_back(what);
    return STATUS_DONE;
}

static int take_deletion(const char *text, Edit *edit)
{
    Tag_Path path;
    std::string error;
    if (!parse_tag_path(text, &path, &error))
        return wrong_use(command_edit, "%s", error.c_str());
    if (path.steps.back().item != 0)
        return wrong_use(command_edit, "%s is an item, which cannot be deleted", quoted(text).c_str());
    if (path.steps.size() > MAX_SEQUENCE_DEPTH + 1)
        return wrong_use(command_edit, "%s lies below the ninth level of sequences, where only --all reaches",
                         quoted(text).c_str());
    edit->deletions.push_back(path);
    return STATUS_DONE;
}

// clang-format off
static const Option_Row ROWS[] = {
    {'t', "set", "TAG=VALUE", nullptr,
     "give this attribute a value; it is made if it is not there. TAG:VR=VALUE says its VR"},
    {'d', "delete", "TAG", nullptr, "take this attribute out"},
    {'a', "all", nullptr, nullptr, "a TAG to delete that has no path is meant at any depth, else at the top"},
    {0, nullptr, nullptr, nullptr, nullptr},
};
// clang-format on
static const Option_Table OWN = {"Options", ROWS, true};
static const Option_Table *const TABLES[] = {&OWN, &writing_options, &many_options, &journal_options, nullptr};

static int take_option(const Option &option, void *user)
{
    Edit *edit = static_cast<Edit *>(user);
    switch (option.letter) {
    case 't':
        return take_set(option.value, edit);
    case 'd':
        return take_deletion(option.value, edit);
    case 'a':
        edit->everywhere = true;
        return STATUS_DONE;
    default:
        return take_writing_option(option, &edit->writing);
    }
}

static int run_edit(int argc, char **argv)
{
    Edit edit;
    edit.writing.command = &command_edit;
    edit.writing.change = edit_set;
    edit.writing.user = &edit;
    int status = STATUS_DONE;
    if (!take_options(command_edit, argc, argv, take_option, &edit, &status))
        return status;
    if (edit.sets.empty() && edit.deletions.empty())
        return wrong_use(command_edit, "nothing is said to be set or deleted");
    Tally total;
    return run_writing(&edit.writing, argc, argv, &total);
}

extern const Command command_edit = {
    "edit",
    "edit [OPTIONS] IN... OUT",
    "Sets and deletes attributes",
    EXAMPLES,
    TABLES,
    TEXT,
    "0 done, 2 wrong use, 3 a file could not be read or written",
    run_edit,
};
