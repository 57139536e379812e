// velmora diff: what differs between two data sets.
#include <getopt.h>
#include <string.h>
#include <algorithm>
#include <vector>

#include "host/program/command.h"
#include "host/program/compare_values.h"
#include "host/program/json.h"
#include "host/program/many.h"
#include "host/program/messages.h"
#include "host/program/output.h"
#include "host/program/shown_value.h"
#include "host/program/tag_path.h"
#include "tree/DICOM_Constants.h"

using namespace velmora_host;

static const char EXAMPLES[] = "velmora diff before.dcm after.dcm\n"
                               "velmora diff --ignore SOPInstanceUID --ignore '0008,001*' a.dcm b.dcm\n"
                               "velmora diff --format jsonl a.dcm b.dcm | jq -r .tag\n";

static const char TEXT[] =
    "Attributes are told that stand in only one of the two data sets, or differ in VR or value. How the files are "
    "encoded does not matter; nor do group lengths. Where one of them has no VRs, none are compared.\n"
    "A and B are files, one of them may be - for standard input. TAG is 0010,0010, a name or keyword of the "
    "dictionary, "
    "and may have wildcards.\n";

static const int LEVELS_COMPARED = 100;   // of sequences

struct Diff {
    bool as_json = false, is_quiet = false, has_head = false, exact = false;
    std::vector<Tag_Step> ignored;
    std::string name_a, name_b;
    int64_t found = 0;
};

// A chain of one of the two, with what stands around it.
struct Side {
    const std::string *name;   // of the file
    const Data_Set *set;
    const DICOM_List *list;
    Value_Context context;
};

// ---- telling --------------------------------------------------------------------------

static std::string line_of(const Side &side, const std::string &path, const DICOM_List *node)
{
    if (node == nullptr)
        return "";
    turn_to_file(*side.name);
    unsigned short vr = value_vr(node, side.context);
    return shown_place(path, node, vr) + ": " + shown_value(*side.set, node, side.context);
}

// One line for each side. Of long values the beginning is shown; where that is the same, it is told where they differ.
static void write_lines(const std::string &in_a, const std::string &in_b, int differs_at)
{
    std::string more = in_a == in_b && differs_at >= 0 ? ", from byte " + std::to_string(differs_at) + " on\n" : "\n";
    if (!in_a.empty())
        write_out("- " + in_a + more);
    if (!in_b.empty())
        write_out("+ " + in_b + more);
}

static void write_side(Json *json, const char *key, const Side &side, const DICOM_List *node)
{
    if (node == nullptr)
        return;
    turn_to_file(*side.name);
    unsigned short vr = value_vr(node, side.context);
    json->key(key);
    json->start_object();
    json->key("vr");
    json->string({static_cast<char>(vr >> 8), static_cast<char>(vr & 0xFF)});
    json->key("value");
    json->string(value_in_utf8(*side.set, node, side.context));
    json->end_object();
}

// One difference; a node is null where the attribute is not there.
static void tell(Diff *diff, const std::string &path, const Side &a, const DICOM_List *in_a, const Side &b,
                 const DICOM_List *in_b)
{
    if (diff->found++ == 0 && !diff->is_quiet && !diff->as_json)
        write_out("--- " + visible(diff->name_a) + "\n+++ " + visible(diff->name_b) + "\n");
    if (diff->is_quiet)
        return;
    bool is_in_both = in_a != nullptr && in_b != nullptr;
    int differs_at = is_in_both ? first_difference({a.set, in_a}, {b.set, in_b}, diff->exact) : -1;
    if (!diff->as_json)
        return write_lines(line_of(a, path, in_a), line_of(b, path, in_b), differs_at);
    const DICOM_List *node = in_a != nullptr ? in_a : in_b;
    Json json(false);
    json.start_object();
    json.key("path");
    json.string(path + tag_text(node->group, node->element));
    json.key("tag");
    json.string(tag_text(node->group, node->element));
    json.key("change");
    json.string(in_b == nullptr ? "removed" : in_a == nullptr ? "added" : "changed");
    write_side(&json, "a", a, in_a);
    write_side(&json, "b", b, in_b);
    if (differs_at >= 0) {
        json.key("differs_at");
        json.number(std::to_string(differs_at));
    }
    json.end_object();
    json.end_document();
}

// ---- comparing ------------------------------------------------------------------------

static bool is_left_out(const Diff &diff, const DICOM_List *node)
{
    if (node->element == 0 || node->group == GROUP_ITEM || (node->group == GROUP_FILE_META && !diff.has_head))
        return true;
    return std::any_of(diff.ignored.begin(), diff.ignored.end(),
                       [node](const Tag_Step &step) { return matches(step, node->group, node->element); });
}

// The attributes of a chain that count, in the order of their tags.
static std::vector<const DICOM_List *> counted_nodes(const Diff &diff, const DICOM_List *list)
{
    std::vector<const DICOM_List *> nodes;
    for (const DICOM_List *node = list; node != nullptr; node = node->next)
        if (!is_left_out(diff, node))
            nodes.push_back(node);
    std::stable_sort(nodes.begin(), nodes.end(), [](const DICOM_List *a, const DICOM_List *b) {
        return a->group != b->group ? a->group < b->group : a->element < b->element;
    });
    return nodes;
}

static void compare_chains(Diff *diff, const std::string &path, const Side &a, const Side &b, int level);

static int count_items(const DICOM_List *node)
{
    int count = 0;
    while (count < node->nb_item && node->item[count] != nullptr)
        count++;
    return count;
}

static Side item_of(const Side &around, const DICOM_List *sequence, int i)
{
    turn_to_file(*around.name);
    return {around.name, around.set, sequence->item[i], context_of(*around.set, sequence->item[i], around.context)};
}

// The items that both have are compared one by one; that there are more on one side is told of the sequence.
static void compare_items(Diff *diff, const std::string &path, const Side &a, const DICOM_List *in_a, const Side &b,
                          const DICOM_List *in_b, int level)
{
    int count_a = count_items(in_a), count_b = count_items(in_b);
    if (count_a != count_b || has_other_vr(in_a, in_b))
        tell(diff, path, a, in_a, b, in_b);
    for (int i = 0; i < std::min(count_a, count_b); i++)
        compare_chains(diff, path_into(path, in_a, i + 1), item_of(a, in_a, i), item_of(b, in_b, i), level + 1);
}

// A sequence below the ninth level is a data set of its own; any other one is taken as it stands.
struct Opened {
    Opened(const Side &side, const DICOM_List *of) : node(of)
    {
        const Opaque *opaque = of->item == nullptr ? find_opaque(*side.set, of) : nullptr;
        std::string error;
        is_opened = opaque != nullptr && open_opaque(*side.set, *opaque, &set, &error) == LOADED;
        inner = {side.name, is_opened ? &set : side.set, nullptr, side.context};
        if (is_opened && set.tree != nullptr)
            node = set.tree;
        select_data_set(*side.set);
    }
    ~Opened()
    {
        release_data_set(&set);
    }
    Opened(const Opened &) = delete;

    Data_Set set;
    bool is_opened;
    Side inner = {};
    const DICOM_List *node;
};

// Sequences that were not opened: their trees node by node, and what has no tree by its bytes.
static bool is_same_closed(const Side &a, const DICOM_List *in_a, const Side &b, const DICOM_List *in_b, int level)
{
    bool has_items = in_a->item != nullptr && in_b->item != nullptr;
    if (!has_items && find_opaque(*a.set, in_a) == nullptr && find_opaque(*b.set, in_b) == nullptr)
        return true;
    if (level == LEVELS_COMPARED)
        report_about(in_a, "lies deeper than %d sequences and is compared as it stands", LEVELS_COMPARED);
    return is_same_attribute({a.set, in_a}, {b.set, in_b});
}

static void compare_nodes(Diff *diff, const std::string &path, const Side &a, const DICOM_List *in_a, const Side &b,
                          const DICOM_List *in_b, int level)
{
    bool has_fragments = is_encapsulated(in_a) || is_encapsulated(in_b);
    if (!has_fragments && level < LEVELS_COMPARED) {
        Opened opened_a(a, in_a), opened_b(b, in_b);
        bool has_items_a = opened_a.node->item != nullptr, has_items_b = opened_b.node->item != nullptr;
        if (has_items_a && has_items_b)
            return compare_items(diff, path, opened_a.inner, opened_a.node, opened_b.inner, opened_b.node, level);
        if (has_items_a || has_items_b)
            return tell(diff, path, opened_a.inner, opened_a.node, opened_b.inner, opened_b.node);
    }
    bool is_same = !has_other_vr(in_a, in_b);
    if (has_fragments)
        is_same &= is_encapsulated(in_a) && is_encapsulated(in_b) && has_same_fragments({a.set, in_a}, {b.set, in_b});
    else
        is_same &= count_items(in_a) == count_items(in_b) &&
                   is_same_value({a.set, in_a}, {b.set, in_b}, diff->exact) && is_same_closed(a, in_a, b, in_b, level);
    if (!is_same)
        tell(diff, path, a, in_a, b, in_b);
}

static void compare_chains(Diff *diff, const std::string &path, const Side &a, const Side &b, int level)
{
    std::vector<const DICOM_List *> in_a = counted_nodes(*diff, a.list), in_b = counted_nodes(*diff, b.list);
    size_t i = 0, j = 0;
    while (i < in_a.size() || j < in_b.size()) {
        unsigned int tag_a = i < in_a.size() ? static_cast<unsigned int>(in_a[i]->group) << 16 | in_a[i]->element : 0;
        unsigned int tag_b = j < in_b.size() ? static_cast<unsigned int>(in_b[j]->group) << 16 | in_b[j]->element : 0;
        if (i < in_a.size() && (j == in_b.size() || tag_a < tag_b)) {
            tell(diff, path, a, in_a[i++], b, nullptr);
        } else if (i == in_a.size() || tag_b < tag_a) {
            tell(diff, path, a, nullptr, b, in_b[j++]);
        } else {
            compare_nodes(diff, path, a, in_a[i], b, in_b[j], level);
            i++;
            j++;
        }
    }
}

// ---- the command ----------------------------------------------------------------------

static int compare_files(Diff *diff, const std::string &path_a, const std::string &path_b)
{
    Data_Set sets[2];
    Input inputs[2] = {{path_a, path_a, false, ""}, {path_b, path_b, false, ""}};
    diff->name_a = name_of(inputs[0]);
    diff->name_b = name_of(inputs[1]);
    int status = STATUS_DONE;
    for (int i = 0; i < 2; i++) {
        Tally tally;
        status = worse(status, load_input(inputs[i], Load_Options(), &sets[i], &tally));
        if (sets[i].tree != nullptr)
            make_editable(&sets[i]);
    }
    if (status == STATUS_DONE) {
        begin_file(diff->name_a);
        Side a = {&diff->name_a, &sets[0], sets[0].tree, context_of(sets[0], sets[0].tree, outer_context())};
        turn_to_file(diff->name_b);
        Side b = {&diff->name_b, &sets[1], sets[1].tree, context_of(sets[1], sets[1].tree, outer_context())};
        compare_chains(diff, "", a, b, 0);
        end_file(nullptr);
        status = diff->found > 0 ? STATUS_FOUND : STATUS_DONE;
    }
    for (int i = 0; i < 2; i++) {
        status = finish_input(inputs[i], sets[i], status);
        release_data_set(&sets[i]);
    }
    return status;
}

enum { OPTION_IGNORE = 256, OPTION_HEAD, OPTION_EXACT };

// clang-format off
static const Option_Row ROWS[] = {
    {'f', "format", "FORM", "lines jsonl",
     "lines: for reading (this is the default)\n"
     "jsonl: an object for each difference, for programs: path, tag, change (removed, added or changed), VR and value "
     "on either side, and differs_at, the byte from which on two values differ"},
    {OPTION_IGNORE, "ignore", "TAG", nullptr,
     "what has this tag does not count, at any depth; may be given several times"},
    {OPTION_HEAD, "head", nullptr, nullptr, "group 0002 counts as well"},
    {OPTION_EXACT, "exact", nullptr, nullptr, "the padding at the end of texts counts"},
    {'q', "quiet", nullptr, nullptr, "nothing is printed: the exit status tells"},
    {0, nullptr, nullptr, nullptr, nullptr},
};
// clang-format on
static const Option_Table OWN = {"Options", ROWS, true};
static const Option_Table *const TABLES[] = {&OWN, nullptr};

static int take_option(const Option &option, void *user)
{
    Diff *diff = static_cast<Diff *>(user);
    Tag_Path path;
    std::string error;
    switch (option.letter) {
    case 'f':
        diff->as_json = option.choice == 1;
        break;
    case OPTION_IGNORE:
        if (!parse_tag_path(option.value, &path, &error))
            return wrong_use(command_diff, "%s", error.c_str());
        if (path.steps.size() != 1 || path.steps[0].item != 0)
            return wrong_use(command_diff, "--ignore takes a tag without a path, not %s", quoted(option.value).c_str());
        diff->ignored.push_back(path.steps[0]);
        break;
    case OPTION_HEAD:
        diff->has_head = true;
        break;
    case OPTION_EXACT:
        diff->exact = true;
        break;
    case 'q':
        diff->is_quiet = true;
        break;
    default:
        break;
    }
    return STATUS_DONE;
}

static int run_diff(int argc, char **argv)
{
    Diff diff;
    int status = STATUS_DONE;
    if (!take_options(command_diff, argc, argv, take_option, &diff, &status))
        return status;
    if (argc - optind != 2)
        return wrong_use(command_diff, "two files are compared, not %d", argc - optind);
    if (strcmp(argv[optind], "-") == 0 && strcmp(argv[optind + 1], "-") == 0)
        return wrong_use(command_diff, "only one of the two can come from standard input");
    return compare_files(&diff, argv[optind], argv[optind + 1]);
}

extern const Command command_diff = {
    "diff",
    "diff [OPTIONS] A B",
    "Says what differs between two data sets",
    EXAMPLES,
    TABLES,
    TEXT,
    "0 nothing differs, 1 something does, 2 wrong use, 3 a file could not be read",
    run_diff,
};
