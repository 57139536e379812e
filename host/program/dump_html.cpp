// The sections of an HTML page: rows for attributes, folding blocks for sequences and items, and the findings of the
// check as rows get written. Each row goes out at once.
#include "host/program/dump_html.h"

#include <stdint.h>

#include "host/program/html_page.h"
#include "host/program/html_row.h"
#include "host/program/html_text.h"
#include "host/program/html_value.h"
#include "host/program/messages.h"
#include "host/program/output.h"
#include "host/program/selection.h"
#include "tree/DICOM_Constants.h"

using namespace velmora_host;

// Where a piece of a data set is: the set that holds its tree, how far that set's bytes stand behind the start of the
// stream, the offset at which the piece ends, and the sequences around it.
struct Html_Place {
    const Data_Set *set;
    int base;
    int end;
    int depth;
};

static int offset_of(const Html_Place &place, const DICOM_List *node)
{
    int at = node->pos + place.base;
    return at >= place.set->stream_base ? at - place.set->stream_base : at;
}

// Where what stands behind a node begins.
static int end_of(const Html_Place &place, const DICOM_List *node)
{
    return node->next != nullptr ? offset_of(place, node->next) : place.end;
}

static void take_said(void *user, int level, const char *report)
{
    static_cast<Html_Marks *>(user)->say(finding_of(level, report));
}

static void ignore_report(void *, int, const char *)
{
}

// ---- rows -----------------------------------------------------------------------------

static void show_chain(Html_Marks *marks, const Html_Place &place, DICOM_List *chain, const Value_Context &around,
                       const std::vector<Progress> *here);

static std::string counted(int count, const char *word)
{
    return std::to_string(count) + " " + word + (count == 1 ? "" : "s");
}

static int count_items(const DICOM_List *node)
{
    int count = 0;
    while (count < node->nb_item && node->item[count] != nullptr)
        count++;
    return count;
}

static const DICOM_List *find(const DICOM_List *chain, unsigned short group, unsigned short element)
{
    const DICOM_List *node = chain;
    while (node != nullptr && (node->group != group || node->element != element))
        node = node->next;
    return node;
}

// The meaning of a coded item, or of the concept that names a content item, to know it by while it is folded.
static std::string hint_of(const Data_Set &set, const DICOM_List *chain, const Value_Context &context)
{
    const DICOM_List *meaning = find(chain, 0x0008, 0x0104), *concept_name = find(chain, 0x0040, 0xA043);
    if (meaning == nullptr && concept_name != nullptr && concept_name->nb_item > 0)
        meaning = find(concept_name->item[0], 0x0008, 0x0104);
    return meaning != nullptr ? plain_text_of(set, meaning, context) : "";
}

static void show_fragments(Html_Marks *marks, const Html_Place &place, const DICOM_List *node)
{
    int number = 0;
    for (int i = 0; i < node->nb_item && node->item[i] != nullptr; i++) {
        for (const DICOM_List *part = node->item[i]; part != nullptr; part = part->next) {
            if (part->element != ELEMENT_ITEM)
                continue;
            Html_Row row;
            row.node = part;
            row.name = "Fragment " + std::to_string(++number);
            row.offset = offset_of(place, part);
            append_bytes(value_bytes(*place.set, part), &row.value);
            marks->write_row("div", &row);
            write_out("</div>\n");
        }
    }
}

static void show_items(Html_Marks *marks, const Html_Place &place, DICOM_List *node, const Value_Context &context,
                       const std::vector<Progress> *inside)
{
    int count = count_items(node);
    for (int i = 0; i < count; i++) {
        bool is_whole = true;
        std::vector<Progress> entered;
        if (inside != nullptr)
            entered = enter_item(*inside, i + 1, &is_whole);
        if (!is_whole && !holds_selected(node->item[i], entered))
            continue;
        Html_Place below = place;
        below.depth++;
        below.end = i + 1 < count ? offset_of(place, node->item[i + 1]) : place.end;
        marks->write_item(i + 1, count == 1, offset_of(place, node->item[i]), below.end,
                          hint_of(*place.set, node->item[i], context));
        show_chain(marks, below, node->item[i], context, is_whole ? nullptr : &entered);
        write_out("</details>\n");
    }
}

static bool is_empty_item(const DICOM_List *chain)
{
    return chain->group == GROUP_ITEM && chain->next == nullptr;
}

// "3 items", "2 fragments", "1 item, empty".
static std::string content_of(const DICOM_List *node)
{
    int count = count_items(node);
    bool is_empty = count > 0 && !holds_fragments(node);
    for (int i = 0; i < count && is_empty; i++)
        is_empty = is_empty_item(node->item[i]);
    return counted(count, holds_fragments(node) ? "fragment" : "item") + (is_empty ? ", empty" : "");
}

static void show_sequence(Html_Marks *marks, const Html_Place &place, DICOM_List *node, Html_Row *row,
                          const Value_Context &context, const std::vector<Progress> *inside)
{
    Html_Place below = place;
    below.end = end_of(place, node);
    row->value = content_of(node);
    marks->append_inside(row->offset + 1, below.end, &row->value);
    write_out("<details class=\"s\">");
    marks->write_row("summary", row);
    write_out("</summary>\n");
    if (holds_fragments(node))
        show_fragments(marks, below, node);
    else
        show_items(marks, below, node, context, inside);
    write_out("</details>\n");
}

// A sequence that the tree does not open: loaded as a data set of its own, whose only attribute it is. What is wrong
// with it was found by the check.
static bool show_opened(Html_Marks *marks, const Html_Place &place, const Opaque &opaque, Html_Row *row, int end,
                        const Value_Context &context)
{
    Data_Set opened;
    std::string error;
    take_reports(ignore_report, nullptr);
    bool is_loaded = load_opaque(*place.set, opaque, Load_Options(), &opened, &error) == LOADED &&
                     opened.tree != nullptr && opened.tree->item != nullptr;
    take_reports(take_said, marks);
    if (is_loaded) {
        Html_Place below = {&opened, place.base + opaque.data_pos, end, place.depth};
        row->node = opened.tree;
        show_sequence(marks, below, opened.tree, row, context, nullptr);
    }
    release_data_set(&opened);
    select_data_set(*place.set);
    return is_loaded;
}

static void show_node(Html_Marks *marks, const Html_Place &place, DICOM_List *node, const Html_Creators &creators,
                      const Value_Context &context, const std::vector<Progress> *inside)
{
    Html_Row row;
    row.node = node;
    row.name = creators.name_of(node, &row.creator);
    row.offset = offset_of(place, node);
    const Opaque *opaque = place.set->opaque.empty() ? nullptr : find_opaque(*place.set, node);
    bool is_too_deep = place.depth >= DEEPEST_HTML;
    if (!is_too_deep && opaque != nullptr && show_opened(marks, place, *opaque, &row, end_of(place, node), context))
        return;
    if (!is_too_deep && node->item != nullptr && node->item[0] != nullptr)
        return show_sequence(marks, place, node, &row, context, inside);
    append_value(*place.set, node, context, &row.value);
    if (is_too_deep && (opaque != nullptr || node->item != nullptr))
        row.value += "<small>deeper than 100 sequences: not opened</small>";
    marks->write_row("div", &row);
    write_out("</div>\n");
}

// Items stand as what folds, and delimiters not at all, unless one stands where none belongs.
static bool is_shown(const DICOM_List *node)
{
    return node->group != GROUP_ITEM || (node->flag & (FLAG_DELETED | FLAG_INVALID)) != 0;
}

// A long chain is split into parts: a browser lays out those in view only, and finds that out part by part.
static const int ROWS_OF_A_PART = 100;

static bool is_long(const DICOM_List *chain)
{
    int count = 0;
    for (const DICOM_List *node = chain; node != nullptr && count <= 2 * ROWS_OF_A_PART; node = node->next)
        count++;
    return count > 2 * ROWS_OF_A_PART;
}

// here: what is asked for; null for everything.
static void show_chain(Html_Marks *marks, const Html_Place &place, DICOM_List *chain, const Value_Context &around,
                       const std::vector<Progress> *here)
{
    Value_Context context = context_of(*place.set, chain, around);
    marks->keep_said();   // it is about (0008,0005), further on in the chain
    Html_Creators creators;
    bool has_parts = is_long(chain);
    int rows = 0;
    for (DICOM_List *node = chain; node != nullptr; node = node->next) {
        creators.note(*place.set, node, context);
        Selection selection = {true, {}};
        if (here != nullptr)
            selection = select_node(node, *here);
        bool is_wanted = selection.is_whole || has_selected_item(node, selection.inside);
        if (!is_wanted || !is_shown(node))
            continue;
        if (has_parts && rows++ % ROWS_OF_A_PART == 0)
            write_out(rows > 1 ? "</div><div class=\"c\">\n" : "<div class=\"c\">\n");
        show_node(marks, place, node, creators, context, selection.is_whole ? nullptr : &selection.inside);
    }
    if (rows > 0)
        write_out("</div>\n");
}

// ---- sections -------------------------------------------------------------------------

static const char *mode_text(unsigned char mode)
{
    switch (mode) {
    case MODE_IMPLICIT_LITTLE:
        return "implicit VR, little endian";
    case MODE_IMPLICIT_BIG:
        return "implicit VR, big endian";
    case MODE_EXPLICIT_BIG:
        return "explicit VR, big endian";
    default:
        return "explicit VR, little endian";
    }
}

static void append_facts(const Data_Set &set, std::string *out)
{
    if (!set.is_deflated) {
        append_grouped(set.source.size, out);
        *out += " bytes, ";
    }
    append_grouped(set.elements, out);
    *out += std::string(" elements, ") + mode_text(set.mode) + (set.is_deflated ? ", deflated" : "");
    if (!set.transfer_syntax.empty()) {
        *out += " (";
        append_html(set.transfer_syntax, out);
        *out += ")";
    }
    if (!set.has_head)
        *out += ", no file head";
}

static void start_section(const std::string &name, bool is_open, const std::string &facts)
{
    std::string text =
        is_open ? "<details class=\"file\" open=\"\"><summary><h1>" : "<details class=\"file\"><summary><h1>";
    append_html(name, &text);
    write_out(text + "</h1><p>" + facts + "</p></summary>\n");
}

void dump_html(const Data_Set &set, const std::string &name, size_t number, bool is_open, const Finding_Teller &found,
               const std::vector<Tag_Path> &only)
{
    Html_Marks marks(number, found.kept, only.empty() && !set.is_deflated);
    std::string facts;
    append_facts(set, &facts);
    facts += "; ";
    marks.append_counts(found.warnings + found.remarks - static_cast<int64_t>(found.kept.size()), &facts);
    start_section(name, is_open, facts);
    if (only.empty())
        marks.write_overview();
    write_column_heads();

    std::vector<Progress> paths = start_selection(only, true);
    take_reports(take_said, &marks);
    show_chain(&marks, {&set, 0, INT32_MAX, 0}, set.tree, outer_context(), only.empty() ? nullptr : &paths);
    take_reports(nullptr, nullptr);
    if (only.empty())
        marks.write_rest();
    write_out("</details>\n");
}

void dump_failure(const std::string &name, const std::string &error)
{
    std::string facts = "<strong>";
    append_html(error, &facts);
    start_section(name, true, facts + "</strong>");
    write_out("</details>\n");
}
