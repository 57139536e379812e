// Judges a data set. The library judges one element at a time here, so that it is known which one a report is about.
#include "host/program/check_tree.h"

#include <stdio.h>
#include <string.h>
#include <algorithm>
#include <unordered_map>

#include "host/program/check_template.h"
#include "host/program/definitions.h"
#include "host/program/element_values.h"
#include "host/program/messages.h"
#include "host/program/output.h"
#include "host/program/tag_path.h"
#include "tree/DICOM_Constants.h"

using namespace velmora_host;

static const int LEVELS_JUDGED = 100;   // of sequences: each nine of them take a reading of what is in them

struct Step {
    unsigned short group, element;
    int item;
};

// A finding of loading, which is told when the walk comes to its place.
struct Early {
    Finding finding;
    int pos;            // in the source of the data set that it is about; -1: not known
    bool needs_place;   // what the tree knows of the element is still to be filled in
};

// A chain that is being judged, and what its values are read from.
struct Chain {
    const Data_Set *set;
    const DICOM_List *list;
    bool has_context;   // which is made when it is first asked for
    Value_Context context;
};

struct Check {
    const Check_Choice *choice = nullptr;
    Finding_Teller *teller = nullptr;
    std::vector<Step> steps;     // to the items around what is judged
    std::vector<Chain> chains;   // the top level and those items

    // Of the data set that is judged now: the file's, or one below the ninth level.
    const Data_Set *set = nullptr;
    bool is_opaque = false;
    int base = 0;   // offset of its source in that of the file
    std::vector<Early> early;
    size_t next_early = 0;
    const DICOM_List *judged = nullptr;
    unsigned short judged_vr = VR_NONE;
    std::vector<Finding> found;   // in it
};

// ---- findings -------------------------------------------------------------------------

static void tell(const Check &check, const Finding &finding)
{
    const std::vector<std::string> &ignored = check.choice->ignored;
    if (std::find(ignored.begin(), ignored.end(), finding.kind) == ignored.end())
        check.teller->add(finding);
}

static std::string path_of(const std::vector<Step> &steps)
{
    std::string path;
    for (const Step &step : steps) {
        char text[40];
        snprintf(text, sizeof text, "%s%04x,%04x[%d]", path.empty() ? "" : "/", step.group, step.element, step.item);
        path += text;
    }
    return path;
}

static int offset_of(const Check &check, int pos)
{
    int at = pos + check.base;
    return at >= check.set->stream_base ? at - check.set->stream_base : at;
}

// What the tree knows of an element.
static void fill_in(const Check &check, const DICOM_List *node, Finding *finding)
{
    finding->has_tag = true;
    finding->group = node->group;
    finding->element = node->element;
    finding->vr = node->vr_explicit != VR_NONE ? node->vr_explicit : node->vr;
    finding->offset = offset_of(check, node->pos);
    finding->path = path_of(check.steps);
    finding->name = node->description != nullptr && node->element != 0 && node->group != GROUP_ITEM
                        ? without_marks(node->description)
                        : name_of_tag(node->group, node->element);
}

// ---- loading --------------------------------------------------------------------------

// What a reader may want to know of, but no writer did wrong: a VR of UN, which stands for any other (DICOM
// PS3.5, 6.2.2), and sequences that go deep.
static bool is_no_fault(const char *report)
{
    return strstr(report, "Explicit VR (=\x01UN\x02)") != nullptr ||
           strstr(report, "lies below the ninth level") != nullptr;
}

static void take_early(void *user, int level, const char *report)
{
    Check *check = static_cast<Check *>(user);
    if (level != LEVEL_WARNINGS && level != LEVEL_REMARKS)
        return complain("%s", text_of_report(report).c_str());
    Place place;
    bool has_place = place_of_report(report, &place);
    // What is wrong with the bytes below the ninth level was told when the file was read.
    if (check->is_opaque && (!has_place || place.has_path))
        return;
    if (is_no_fault(report))
        return;
    Early early = {finding_of(level, report), -1, has_place && !place.has_path};
    if (has_place) {
        early.pos = place.pos;
        early.finding.offset = place.offset;
        early.finding.path = place.path;
        if (!early.finding.has_tag) {
            early.finding.has_tag = true;
            early.finding.group = place.group;
            early.finding.element = place.element;
        }
    }
    if (early.finding.has_tag)
        early.finding.name = name_of_tag(early.finding.group, early.finding.element);
    check->early.push_back(early);
}

typedef std::unordered_multimap<int, size_t> Early_By_Pos;

// At most nine levels deep, as the tree is.
static void place_chain(Check *check, const Early_By_Pos &by_pos, const DICOM_List *list)
{
    for (const DICOM_List *node = list; node != nullptr; node = node->next) {
        auto range = by_pos.equal_range(node->pos);
        for (auto at = range.first; at != range.second; ++at) {
            Finding *finding = &check->early[at->second].finding;
            if (finding->group == node->group && finding->element == node->element)
                fill_in(*check, node, finding);
        }
        for (int i = 0; i < node->nb_item && node->item[i] != nullptr; i++) {
            check->steps.push_back({node->group, node->element, i + 1});
            place_chain(check, by_pos, node->item[i]);
            check->steps.pop_back();
        }
    }
}

static void place_early(Check *check)
{
    Early_By_Pos by_pos;
    for (size_t i = 0; i < check->early.size(); i++)
        if (check->early[i].pos >= 0)
            by_pos.emplace(check->early[i].pos, i);
    if (!by_pos.empty())
        place_chain(check, by_pos, check->set->tree);
    std::stable_sort(check->early.begin(), check->early.end(),
                     [](const Early &a, const Early &b) { return a.pos < b.pos; });
}

static void tell_early(Check *check, int up_to)
{
    for (; check->next_early < check->early.size() && check->early[check->next_early].pos <= up_to; check->next_early++)
        tell(*check, check->early[check->next_early].finding);
}

// ---- values ---------------------------------------------------------------------------

static void take_value_report(void *user, int level, const char *report)
{
    Check *check = static_cast<Check *>(user);
    if (level != LEVEL_WARNINGS && level != LEVEL_REMARKS)
        return complain("%s", text_of_report(report).c_str());
    Finding finding = finding_of(level, report);
    fill_in(*check, check->judged, &finding);
    finding.vr = check->judged_vr;
    check->found.push_back(finding);
}

// The VR by which a value is judged: a UN that the dictionary knows better is what it says, in implicit VR little
// endian.
static unsigned short vr_to_judge(const DICOM_List *node)
{
    bool is_known =
        node->vr != VR_NONE && node->vr != VR_RT && node->vr != VR_SQ && (node->flag & FLAG_GUESSED_VR) == 0;
    if (node->vr_explicit == VR_UN && is_known)
        return node->vr;
    return node->vr_explicit != VR_NONE ? node->vr_explicit : node->vr;
}

// Where a value stands in the source that was left unread; null when it does not.
static char *unread_value(const Source &source, const DICOM_List *node)
{
    bool is_held = node->data == nullptr && node->size > 0 && node->data_pos >= 0 && node->data_pos <= source.size &&
                   node->size <= source.size - node->data_pos;
    return is_held ? const_cast<char *>(source.bytes) + node->data_pos : nullptr;
}

static void ignore_report(void *, int, const char *)
{
}

// The context of the values in the chain that is judged.
static Value_Context context_of_chain(Check *check)
{
    Value_Context context = outer_context();
    for (Chain &chain : check->chains) {
        if (!chain.has_context)
            chain.context = context_of(*chain.set, chain.list, context);
        chain.has_context = true;
        context = chain.context;
    }
    return context;
}

// The library counts bytes and takes every 5C for a backslash. What counts are characters (DICOM PS3.5, 6.2), so that a
// text that is more than ASCII is judged a second time, with one byte for each of its characters: what is not found
// again is none. What is told is what was found first, for it shows the bytes that are there.
static void judge_characters(Check *check, DICOM_List *alone)
{
    static const char *const kinds[] = {"length", "values", "backslash"};
    auto is_of_characters = [](const Finding &finding) {
        return std::find_if(std::begin(kinds), std::end(kinds), [&finding](const char *kind) {
                   return strcmp(kind, finding.kind) == 0;
               }) != std::end(kinds);
    };
    const Value_Rule &rule = value_rule(alone->vr_explicit);
    if (!rule.is_free || is_plain_text(alone->data, static_cast<size_t>(alone->size)) ||
        std::none_of(check->found.begin(), check->found.end(), is_of_characters))
        return;

    std::string utf8, characters;
    take_reports(ignore_report, nullptr);
    Value_Context context = context_of_chain(check);
    take_reports(take_value_report, check);
    append_utf8(context.charset, alone->data, static_cast<size_t>(alone->size), text_kind(rule), &utf8);
    for (char c : utf8)
        if ((c & 0xC0) != 0x80)
            characters += (c & 0x80) != 0 ? '?' : c;

    std::vector<Finding> first;
    first.swap(check->found);
    alone->data = &characters[0];
    alone->size = static_cast<int>(characters.size());
    DICOM_Root root = {};
    DICOM_Attribute_Syntax(nullptr, &root, alone);
    auto is_refuted = [&](const Finding &finding) {
        return is_of_characters(finding) &&
               std::none_of(check->found.begin(), check->found.end(),
                            [&finding](const Finding &again) { return strcmp(again.kind, finding.kind) == 0; });
    };
    first.erase(std::remove_if(first.begin(), first.end(), is_refuted), first.end());
    first.swap(check->found);
}

// Judges one element by itself: a copy of its node, without neighbours and items. Its value stays where it is, and
// counts as little endian there: the check would swap it in place, and no rule looks at a binary number.
static void judge_node(Check *check, const DICOM_List *node)
{
    DICOM_List alone = *node;
    alone.next = alone.last = nullptr;
    alone.item = nullptr;
    alone.nb_item = 0;
    alone.syntax &= static_cast<unsigned char>(~SYNTAX_BIG_ENDIAN);
    alone.vr_explicit = vr_to_judge(node);
    if (alone.data == nullptr)
        alone.data = unread_value(check->set->source, node);
    check->judged = node;
    check->judged_vr = alone.vr_explicit;
    DICOM_Root root = {};
    DICOM_Attribute_Syntax(nullptr, &root, &alone);
    if (check->found.empty())
        return;
    judge_characters(check, &alone);
    for (const Finding &finding : check->found)
        tell(*check, finding);
    check->found.clear();
}

// In a stream with VRs: what stands in the place of one. The library leaves it out where it is none that it keeps.
static void judge_vr(Check *check, const DICOM_List *node)
{
    const Source &source = check->set->source;
    bool is_made_up = check->is_opaque && node == check->set->tree;
    bool has_place = !is_made_up && (node->syntax & SYNTAX_EXPLICIT) != 0 && node->vr_explicit == VR_NONE &&
                     node->pos >= 0 && node->pos <= source.size - 6;
    if (!has_place)
        return;
    const char *letters = source.bytes + node->pos + 4;
    unsigned short vr = pack_letters(letters[0], letters[1]);
    if (value_rule(vr).vr == vr)
        return;
    Finding finding = finding_of(LEVEL_WARNINGS, ("these bytes are no VR: " + quoted({letters, 2})).c_str());
    finding.kind = "vr";
    fill_in(*check, node, &finding);
    tell(*check, finding);
}

static void judge_opaque(Check *check, const DICOM_List *node);

// At most nine levels deep, as the tree is.
static void judge_chain(Check *check, const DICOM_List *list)
{
    check->chains.push_back({check->set, list, false, {}});
    for (const DICOM_List *node = list; node != nullptr; node = node->next) {
        if (node->group == GROUP_ITEM)
            continue;
        tell_early(check, node->pos);
        if (node->item == nullptr && !check->set->opaque.empty() && find_opaque(*check->set, node) != nullptr) {
            judge_opaque(check, node);
            continue;
        }
        judge_vr(check, node);
        if (node->item == nullptr)
            judge_node(check, node);
        for (int i = 0; i < node->nb_item && node->item[i] != nullptr; i++) {
            check->steps.push_back({node->group, node->element, i + 1});
            judge_chain(check, node->item[i]);
            check->steps.pop_back();
        }
    }
    check->chains.pop_back();
}

static void judge_set(Check *check, const Data_Set *set)
{
    check->set = set;
    place_early(check);
    take_reports(take_value_report, check);
    judge_chain(check, set->tree);
    tell_early(check, INT32_MAX);
}

// What stands below the ninth level is a data set of its own, with its sequence as the only element.
static void judge_opaque(Check *check, const DICOM_List *node)
{
    const Opaque *which = find_opaque(*check->set, node);
    if (check->steps.size() >= LEVELS_JUDGED) {
        Finding finding = finding_of(LEVEL_REMARKS, "what is deeper than 100 levels of sequences is not judged");
        fill_in(*check, node, &finding);
        return tell(*check, finding);
    }
    Check inner;
    inner.choice = check->choice;
    inner.teller = check->teller;
    inner.steps = check->steps;
    inner.chains = check->chains;
    inner.is_opaque = true;
    inner.base = check->base + which->data_pos;
    Data_Set set;
    std::string error;
    take_reports(take_early, &inner);
    if (load_opaque(*check->set, *which, Load_Options(), &set, &error) == LOADED)
        judge_set(&inner, &set);
    release_data_set(&set);
    select_data_set(*check->set);
    take_reports(take_value_report, check);
}

// ---- templates ------------------------------------------------------------------------

// The template that a data set is to be verified by, or null. The library reads each once.
static DICOM_List *template_of(const Check &check, const Data_Set &set)
{
    std::string name = check.choice->module;
    if (name.empty() || (name == "auto" && !find_kind(set, &name)))
        return nullptr;
    take_reports(nullptr, nullptr);
    return DICOM_Module_Read(nullptr, name.c_str());
}

static void take_missing(void *user, const Finding &finding)
{
    tell(*static_cast<const Check *>(user), finding);
}

static void verify(Check *check, const Data_Set &set)
{
    DICOM_List *wanted = template_of(*check, set);
    if (wanted != nullptr)
        verify_by_template(set.tree, wanted, take_missing, check);
}

Load_Result check_file(const Input &input, const Check_Choice &choice, Tally *tally, Finding_Teller *teller,
                       std::string *error, Data_Set *kept)
{
    Check check;
    check.choice = &choice;
    check.teller = teller;
    Data_Set own, *set = kept != nullptr ? kept : &own;
    take_reports(take_early, &check);
    Load_Result result = load_from_path(input.path.c_str(), Load_Options(), set, error);
    if (result == LOADED) {
        tally->elements += set->elements;
        judge_set(&check, set);
        verify(&check, *set);
        teller->finish();
    }
    take_reports(nullptr, nullptr);
    if (result == LOADED && kept == nullptr)
        teller->is_whole = finish_input(input, own, STATUS_DONE) == STATUS_DONE;
    release_data_set(&own);
    return result;
}
