// The dump of the library: its lines come as reports at LEVEL_LINES and go out with colours or without. The walk is
// made here, so that the texts among the values can be shown in the character set of the terminal.
#include <string.h>

#include "host/program/dump.h"
#include "host/program/dump_lines.h"
#include "host/program/element_values.h"
#include "host/program/messages.h"
#include "host/program/output.h"
#include "host/program/selection.h"
#include "host/program/terminal.h"
#include "tree/DICOM_Constants.h"

using namespace velmora_host;

// Bytes of a text that the library shows.
static const size_t SHOWN_OF_A_TEXT = 250;

struct Tree_Dump {
    bool color, raw;
    DICOM_Root root;
    std::string text;           // room for the value of a line
    const DICOM_List *node;     // that the line to come is about; null: about none
    const std::string *value;   // of that line, see write_new_line
};

static void take_line(void *user, const char *line)
{
    const Tree_Dump *d = static_cast<const Tree_Dump *>(user);
    if (d->node != nullptr)
        write_new_line(line, d->root, d->node, d->color, d->value);
    else
        write_marked_line(line, 0, d->color);   // of the legend, or around sequences and items
}

// ---- texts ----------------------------------------------------------------------------

static bool is_shown_as_text(const Value_Rule &rule)
{
    bool is_text = rule.kind == VALUES_OF_TEXT || rule.kind == VALUES_OF_NAMES || rule.kind == VALUES_OF_DECIMALS;
    return is_text && rule.vr != VR_UI;
}

// Decodes as much of a value as the library shows of it: what stands in front of a zero byte, not more than a limit.
// Null for what is shown as the library does it: a text that is the same in every set, or not of its set.
static const std::string *decode_shown_text(Tree_Dump *d, const DICOM_List *node, const Value_Context &context)
{
    if (d->raw || node->data == nullptr || node->size <= 0)
        return nullptr;
    const Value_Rule &rule = value_rule(node->vr_explicit != VR_NONE ? node->vr_explicit : node->vr);
    if (!is_shown_as_text(rule))
        return nullptr;
    size_t size = static_cast<size_t>(node->size), limit = size < SHOWN_OF_A_TEXT ? size : SHOWN_OF_A_TEXT;
    size_t length = strnlen(node->data, limit);
    bool is_plain = is_plain_text(node->data, length), is_cut = length == limit && limit < size;
    if (is_plain && (!rule.is_free || context.charset.g0 == 0))
        return nullptr;
    d->text.clear();
    if (append_utf8(context.charset, node->data, length, text_kind(rule), &d->text, is_cut) > 0)
        return nullptr;   // its bytes tell more
    d->text = for_terminal(d->text) + (size > SHOWN_OF_A_TEXT ? "..." : "");
    return &d->text;
}

static void show_node(Tree_Dump *d, DICOM_List *node, const std::string *value)
{
    if (write_kept_line(d->root, node, d->color, value))
        return;
    d->node = node;
    d->value = value;
    DICOM_Attribute_Stool_Tag(nullptr, &d->root, node, LEVEL_LINES);
    d->node = nullptr;
}

// ---- the walk, at most nine levels deep -----------------------------------------------

// here: what is asked for; null for everything.
static void show_chain(Tree_Dump *d, const Data_Set &set, DICOM_List *list, const Value_Context &around,
                       const std::vector<Progress> *here);

static void show_items(Tree_Dump *d, const Data_Set &set, DICOM_List *node, const Value_Context &context,
                       const std::vector<Progress> *inside)
{
    DICOM_Attribute_Sequence_Start(nullptr, &d->root, node->group, node->element, node->flag, LEVEL_LINES);
    for (int i = 0; i < node->nb_item && node->item[i] != nullptr; i++) {
        bool is_whole = inside == nullptr;
        std::vector<Progress> entered;
        if (inside != nullptr)
            entered = enter_item(*inside, i + 1, &is_whole);
        bool is_shown = is_whole || holds_selected(node->item[i], entered);
        DICOM_Attribute_Item_Start(nullptr, &d->root, is_shown ? LEVEL_LINES : LEVEL_LINES + 8);
        if (is_shown)
            show_chain(d, set, node->item[i], context, is_whole ? nullptr : &entered);
        DICOM_Attribute_Item_Stop(nullptr, &d->root, is_shown ? LEVEL_LINES : LEVEL_LINES + 8);
    }
    DICOM_Attribute_Sequence_Stop(nullptr, &d->root, LEVEL_LINES);
}

static void show_chain(Tree_Dump *d, const Data_Set &set, DICOM_List *list, const Value_Context &around,
                       const std::vector<Progress> *here)
{
    Value_Context context = d->raw ? around : context_of(set, list, around);
    for (DICOM_List *node = list; node != nullptr; node = node->next) {
        Selection selection = {true, {}};
        if (here != nullptr)
            selection = select_node(node, *here);
        if (!selection.is_whole && !has_selected_item(node, selection.inside))
            continue;
        show_node(d, node, decode_shown_text(d, node, context));
        if (node->item != nullptr)
            show_items(d, set, node, context, selection.is_whole ? nullptr : &selection.inside);
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

void dump_tree(Data_Set *set, const std::vector<Tag_Path> &only, bool color, bool raw)
{
    if (set->has_later_texts)
        show_as_text(set->tree);
    Tree_Dump dump = {color, raw, {}, "", nullptr, nullptr};
    std::vector<Progress> paths = start_selection(only, true);
    take_lines(take_line, &dump);
    DICOM_Attribute_Stool(nullptr, &dump.root, nullptr, LEVEL_LINES);   // the legend alone
    show_chain(&dump, *set, set->tree, outer_context(), only.empty() ? nullptr : &paths);
    take_lines(nullptr, nullptr);
}
