// Repairs one attribute after the other, so that it is known what was done to which.
#include "host/program/repair_tree.h"

#include <string.h>
#include <algorithm>
#include <vector>

#include "host/program/compare_values.h"
#include "host/program/findings.h"
#include "host/program/messages.h"
#include "host/program/output.h"
#include "host/program/shown_value.h"
#include "host/velmora_save.h"
#include "tree/DICOM_Constants.h"

using namespace velmora_host;

static const int LARGEST_FETCHED = 999999;
static const int DEEPEST_READING = 16;   // of sequences below the ninth level, nine levels each

struct Repair {
    Data_Set *set;
    Repair_Report *report;
    bool is_cleaning;                   // else reports are about a value that is shown
    std::vector<std::string> reasons;   // of the library, for the attribute at hand
    bool cut_text;                      // one of them is about the length or the number of values of a text
};

//   path  of the items around what the text is about
static void write_line(Repair_Report *report, const std::string &path, const std::string &text)
{
    if (!report->is_quiet && report->repeats.is_told(text))
        write_out(visible(report->name) + ": " + path + text + "\n");
}

void report_repair(Repair_Report *report, const std::string &text)
{
    report->other++;
    write_line(report, "", text);
}

void finish_repair(const Repair_Report &report)
{
    for (const std::string &text : report.repeats.counted())
        write_out(visible(report.name) + ": " + text + "\n");
}

// ---- one value ------------------------------------------------------------------------

static void take_reason(void *user, int level, const char *text)
{
    Repair *repair = static_cast<Repair *>(user);
    if (level != LEVEL_WARNINGS && level != LEVEL_REMARKS)
        return complain("%s", text_of_report(text).c_str());
    if (!repair->is_cleaning)
        return;
    Finding finding = finding_of(level, text);
    repair->reasons.push_back(finding.text);
    for (const char *kind : {"length", "values", "backslash"})
        repair->cut_text |= strcmp(finding.kind, kind) == 0;
}

static std::string reasons_text(const Repair &repair)
{
    std::string text;
    for (const std::string &reason : repair.reasons)
        text += (text.empty() ? ": " : "; ") + reason;
    return text;
}

// What the node was before, for as long as it is being mended.
struct Before {
    std::string bytes;
    unsigned short flag;
};

static unsigned short working_vr(const DICOM_List *node)
{
    return node->vr_explicit != VR_NONE ? node->vr_explicit : node->vr;
}

static std::string trimmed(const std::string &bytes)
{
    size_t last = bytes.find_last_not_of(std::string(" \0", 2)), first = bytes.find_first_not_of(' ');
    return last == std::string::npos || first > last ? std::string() : bytes.substr(first, last + 1 - first);
}

static void give_value(DICOM_List *node, const std::string &bytes)
{
    if (bytes.empty()) {
        DICOM_Lib_Free(&node->data);
        node->size = 0;
        return;
    }
    char *block = node->data;
    if (!DICOM_Lib_Realloc(&block, static_cast<unsigned int>(bytes.size())))
        throw std::bad_alloc();
    memcpy(block, bytes.data(), bytes.size());
    node->data = block;
    node->size = static_cast<int>(bytes.size());
}

// The library counts bytes, and takes every 5C for a backslash. In a text of more than ASCII these may be parts of
// characters, so that what it finds there is no reason to cut the text.
static bool may_be_wrong(const Repair &repair, const DICOM_List *node, const Before &before)
{
    unsigned short vr = working_vr(node);
    return repair.cut_text && value_rule(vr).is_free && !is_plain_text(before.bytes.data(), before.bytes.size());
}

// No rule looks at what has the VR UN, but the number of its values would be counted; and an image is not taken out for
// its length.
static bool has_rule(const DICOM_List *node)
{
    unsigned short vr = working_vr(node);
    bool is_guess = node->vr_explicit == VR_NONE && (node->flag & FLAG_GUESSED_VR) != 0;
    return vr != VR_UN && !is_guess && node->group != 0x7FE0 && !is_item_mark(node);
}

static bool is_touched(const DICOM_List *node, const Before &before)
{
    return (node->flag & FLAG_INVALID) != 0 || before.bytes.size() != static_cast<size_t>(node->size) ||
           (node->size > 0 && memcmp(node->data, before.bytes.data(), before.bytes.size()) != 0);
}

// Whether nothing was done but that a blank was taken off which is put on again when the value is written.
static bool is_without_its_padding(const DICOM_List *node, const Before &before)
{
    std::string text(node->data != nullptr ? node->data : "", static_cast<size_t>(node->size));
    return (node->flag & FLAG_INVALID) == 0 && text.size() % 2 != 0 && text + padding_of(node) == before.bytes;
}

// A look at what the library's rules have made of a value: a number, date or UID that became another one is put back; a
// text that was cut or has lost characters is not. What is invalid by the rules, or of which they leave nothing, goes,
// but for a UID: others may refer to it.
// Returns false when the value is to be left as it was for that.
static bool is_cleaned_well(DICOM_List *node, const Before &before, const Value_Context &context)
{
    bool is_gone = (node->flag & FLAG_INVALID) != 0 || node->size == 0;
    bool is_emptied = node->size == 0;
    bool is_well = review_cleaning(node, trimmed(before.bytes), context.charset) != LEFT_IN_DOUBT || settle_text(node);
    if (is_well || !is_gone || working_vr(node) == VR_UI)
        return is_well;
    if (is_emptied) {
        give_value(node, "");
        node->flag = before.flag;
    }
    return true;
}

// The value that was there, by its VR.
static std::string shown_before(Repair *repair, DICOM_List *node, const Before &before, const Value_Context &context)
{
    std::string now(node->data != nullptr ? node->data : "", static_cast<size_t>(node->size));
    give_value(node, before.bytes);
    std::string shown = shown_value(*repair->set, node, context);
    give_value(node, now);
    return shown;
}

//   what  the attribute and its value before
static void tell_of_value(Repair *repair, const DICOM_List *node, const Before &before, const std::string &path,
                          const std::string &what, const std::string &was, const Value_Context &context)
{
    bool is_invalid = (node->flag & FLAG_INVALID) != 0;
    std::string now = is_invalid ? "removed" : "became " + shown_value(*repair->set, node, context);
    std::string text(node->data != nullptr ? node->data : "", static_cast<size_t>(node->size));
    bool has_same_text = trimmed(before.bytes) == trimmed(text);
    if (!is_invalid && (was == "''" || (has_same_text && now == "became " + was)))
        now = "padding mended";
    (is_invalid ? repair->report->removed : repair->report->changed)++;
    write_line(repair->report, path, what + " " + now + reasons_text(*repair));
}

static void repair_value(Repair *repair, DICOM_List *node, const std::string &path, const Value_Context &context)
{
    Before before = {std::string(node->data, static_cast<size_t>(node->size)), node->flag};
    repair->reasons.clear();
    repair->cut_text = false;
    int threshold = Error_Get_Threshold();
    Error_Set_Threshold(LEVEL_REMARKS);
    take_reports(take_reason, repair);
    repair->is_cleaning = true;
    DICOM_Attribute_Cleanup_Tag(nullptr, node);
    repair->is_cleaning = false;   // settling a text says the same again
    if (is_touched(node, before)) {
        std::string was = shown_before(repair, node, before, context);
        std::string what = shown_place("", node, value_vr(node, context)) + ": " + was;
        std::string would_be = shown_value(*repair->set, node, context);
        bool is_well = is_cleaned_well(node, before, context);
        if (!is_well || may_be_wrong(*repair, node, before) || is_without_its_padding(node, before)) {
            give_value(node, before.bytes);
            node->flag = before.flag;
        }
        if (!is_well)
            write_line(repair->report, path, what + " left as it is: " + would_be + " would say something else");
        else if (is_touched(node, before))
            tell_of_value(repair, node, before, path, what, was, context);
    }
    take_reports(nullptr, nullptr);
    Error_Set_Threshold(threshold);
}

// ---- the tree -------------------------------------------------------------------------

// Values that a rule looks at and that were left in the source.
static bool is_to_be_fetched(const DICOM_List *node)
{
    unsigned short vr = working_vr(node);
    return node->data == nullptr && node->item == nullptr && node->size > 0 && node->size <= LARGEST_FETCHED &&
           value_rule(vr).kind != VALUES_OF_BYTES && value_rule(vr).kind != VALUES_OF_ITEMS;
}

static void repair_length(Repair *repair, const DICOM_List *node, const std::string &path, const Value_Context &context)
{
    int size = 0;
    if (value_of(*repair->set, node, &size) == nullptr || size % 2 == 0)
        return;
    repair->report->changed++;
    write_line(repair->report, path,
               shown_place("", node, value_vr(node, context)) + ": " + std::to_string(size) +
                   (size == 1 ? " byte" : " bytes") + " padded to an even length");
}

static int64_t done_so_far(const Repair_Report &report)
{
    return report.changed + report.removed + report.other;
}

// A sequence below the ninth level. The repair is made on a data set of its own, to see what it comes to; it is made
// again on the one that is written.
static void repair_opaque(Repair *repair, const DICOM_List *node, const Opaque &which, const std::string &path)
{
    if (repair->report->depth == DEEPEST_READING)
        return report_about(node, "lies too deep in sequences to be mended, and stays as it is");
    Data_Set inner;
    std::string error;
    int64_t before = done_so_far(*repair->report);
    repair->report->depth++;
    if (open_opaque(*repair->set, which, &inner, &error) == LOADED)
        repair_tree(&inner, path, repair->report);
    repair->report->depth--;
    if (repair->report->depth == 0)
        repair->report->below += done_so_far(*repair->report) - before;
    release_data_set(&inner);
    select_data_set(*repair->set);
}

// At most nine levels deep, as the tree is.
static void repair_chain(Repair *repair, DICOM_List *list, const std::string &path, const Value_Context &around)
{
    Value_Context context = context_of(*repair->set, list, around);
    for (DICOM_List *node = list; node != nullptr; node = node->next) {
        if (const Opaque *opaque = node->item == nullptr ? find_opaque(*repair->set, node) : nullptr) {
            repair_opaque(repair, node, *opaque, path);
            continue;
        }
        if (is_to_be_fetched(node) && !fetch_value(*repair->set, node))
            throw std::bad_alloc();
        if (node->data != nullptr && node->size > 0 && node->item == nullptr && has_rule(node))
            repair_value(repair, node, path, context);
        if ((node->flag & FLAG_DELETED) != 0) {
            repair->report->removed++;
            write_line(repair->report, path,
                       shown_place("", node, value_vr(node, context)) + ": removed, it has no value");
        }
        repair_length(repair, node, path, context);
        for (int i = 0; i < node->nb_item && node->item[i] != nullptr; i++)
            repair_chain(repair, node->item[i], path_into(path, node, i + 1), context);
    }
}

// ---- order and duplicates -------------------------------------------------------------

static unsigned int tag_number(const DICOM_List *node)
{
    return static_cast<unsigned int>(node->group) << 16 | node->element;
}

static bool is_sorted(const DICOM_List *list)
{
    for (const DICOM_List *node = list; node != nullptr; node = node->next) {
        const DICOM_List *next = node->next;   // group 0002 stands in front, whatever follows
        if (next != nullptr && node->group != GROUP_FILE_META && tag_number(next) < tag_number(node))
            return false;
        for (int i = 0; i < node->nb_item && node->item[i] != nullptr; i++)
            if (!is_sorted(node->item[i]))
                return false;
    }
    return true;
}

static bool is_empty(const Data_Set &set, const DICOM_List *node)
{
    int size = 0;
    return node->item == nullptr && value_of(set, node, &size) == nullptr && find_opaque(set, node) == nullptr;
}

// Which of two attributes of one tag says nothing that the other does not say; null: both are needed.
static DICOM_List *spare_one(const Data_Set &set, DICOM_List *first, DICOM_List *second)
{
    if (is_empty(set, second) || is_same_attribute({&set, first}, {&set, second}))
        return second;
    return is_empty(set, first) ? first : nullptr;
}

// A tag stands once in a data set (DICOM PS3.5, 7.1).
static void mark_duplicates(Repair *repair, DICOM_List *list, const std::string &path)
{
    for (DICOM_List *node = list, *kept = nullptr; node != nullptr; node = node->next) {
        for (int i = 0; i < node->nb_item && node->item[i] != nullptr; i++)
            mark_duplicates(repair, node->item[i], path_into(path, node, i + 1));
        DICOM_List *first = kept;
        kept = node;
        if (first == nullptr || tag_number(first) != tag_number(node))
            continue;
        if (DICOM_List *spare = spare_one(*repair->set, first, node)) {
            kept = spare == node ? first : node;
            spare->flag |= FLAG_INVALID;
            repair->report->removed++;
            write_line(repair->report, path, shown_place("", spare, VR_NONE) + ": removed, it stands there twice");
        } else {
            Error_Fct(nullptr, Flag_Error_Warning,
                      "    \xF1\x05WARNING:\x02 (\x01%04x\x02,\x01%04x\x02) stands there twice with different values, "
                      "and both are kept",
                      node->group, node->element);
        }
    }
}

void repair_tree(Data_Set *set, const std::string &path, Repair_Report *report)
{
    Repair repair = {set, report, false, {}, false};
    repair_chain(&repair, set->tree, path, outer_context());
    DICOM_Attribute_Remove(nullptr, &set->tree, REMOVE_DELETED);   // and what is invalid
    close_gaps(set->tree);
    if (!is_sorted(set->tree)) {
        DICOM_Root root = {};
        DICOM_Attribute_Sort(nullptr, &root, &set->tree);
        report_repair(report, (path.empty() ? "" : path + " ") + "attributes put into the order of their tags");
    }
    mark_duplicates(&repair, set->tree, path);
    DICOM_Attribute_Remove(nullptr, &set->tree, 0);
    close_gaps(set->tree);
}
