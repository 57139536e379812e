#include "host/program/html_row.h"

#include <stdint.h>
#include <algorithm>

#include "host/program/html_text.h"
#include "host/program/html_value.h"
#include "host/program/output.h"
#include "host/program/tag_path.h"
#include "tree/DICOM_Constants.h"

using namespace velmora_host;

static const size_t SHOWN_IN_OVERVIEW = 200, LONGEST_FINDING = 400;

// ---- names ----------------------------------------------------------------------------

static unsigned int block_of(unsigned short group, unsigned int block)
{
    return static_cast<unsigned int>(group) << 8 | block;
}

void Html_Creators::note(const Data_Set &set, const DICOM_List *node, const Value_Context &context)
{
    if ((node->group & 1) != 0 && node->element >= 0x10 && node->element <= 0xFF)
        names.emplace(block_of(node->group, node->element), plain_text_of(set, node, context));
}

std::string Html_Creators::name_of(const DICOM_List *node, std::string *creator) const
{
    if ((node->group & 1) != 0 && node->element >= 0x1000) {
        auto found = names.find(block_of(node->group, node->element >> 8));
        if (found != names.end())
            *creator = found->second;
    }
    if (node->description != nullptr && node->element != 0)
        return without_marks(node->description);
    std::string name = name_of_tag(node->group, node->element);
    if (name.empty() && (node->group & 1) != 0 && node->element >= 0x10 && node->element <= 0xFF)
        return "Private Creator";
    return name;
}

// ---- kinds of findings ----------------------------------------------------------------

enum Mark_Kind { MARK_WARNING, MARK_REPAIR, MARK_REMARK, MARK_KINDS };

static const struct {
    const char *letter, *word;   // class and name
} mark_rows[MARK_KINDS] = {
    {"w", "warning"},
    {"p", "repair" },
    {"m", "remark" },
};

static Mark_Kind kind_of(const Finding &finding)
{
    if (std::string(finding.kind) == "repaired")
        return MARK_REPAIR;
    return finding.is_warning ? MARK_WARNING : MARK_REMARK;
}

static std::string words_of(const size_t *counts)
{
    std::string text;
    for (int i = 0; i < MARK_KINDS; i++) {
        if (counts[i] == 0)
            continue;
        text += text.empty() ? "" : ", ";
        append_grouped(static_cast<long long>(counts[i]), &text);
        text += std::string(" ") + mark_rows[i].word + (counts[i] == 1 ? "" : "s");
    }
    return text;
}

// At most so many bytes of a text, and no part of a character.
static std::string shortened(const std::string &text)
{
    if (text.size() <= LONGEST_FINDING)
        return text;
    size_t end = LONGEST_FINDING;
    while (end > 0 && (text[end] & 0xC0) == 0x80)
        end--;
    return text.substr(0, end) + " ...";
}

static void append_words(const Finding &finding, std::string *out)
{
    *out += std::string("<b>") + mark_rows[kind_of(finding)].word + "</b> ";
    append_html(shortened(finding.text), out);
}

// ---- findings -------------------------------------------------------------------------

Html_Marks::Html_Marks(size_t number, const std::vector<Finding> &list, bool in_order)
    : prefix("f" + std::to_string(number) + "-"), findings(list), written(list.size()), is_in_order(in_order)
{
    std::stable_sort(findings.begin(), findings.end(),
                     [](const Finding &a, const Finding &b) { return a.offset < b.offset; });
}

void Html_Marks::say(const Finding &finding)
{
    said.push_back(finding);
}

void Html_Marks::keep_said()
{
    kept.insert(kept.end(), said.begin(), said.end());
    said.clear();
}

void Html_Marks::append_counts(long long more, std::string *out) const
{
    size_t counts[MARK_KINDS] = {};
    for (const Finding &finding : findings)
        counts[kind_of(finding)]++;
    std::string words = words_of(counts);
    *out += words.empty() ? "nothing found" : words;
    if (more > 0) {
        *out += ", and ";
        append_grouped(more, out);
        *out += " more";
    }
}

void Html_Marks::append_inside(int from, int end, std::string *out) const
{
    auto comes_before = [](const Finding &finding, int offset) { return finding.offset < offset; };
    size_t counts[MARK_KINDS] = {};
    for (auto at = std::lower_bound(findings.begin(), findings.end(), from, comes_before);
         at != findings.end() && at->offset < end; ++at)
        counts[kind_of(*at)]++;
    std::string words = words_of(counts);
    if (!words.empty())
        *out += std::string(" <mark class=\"") +
                (counts[MARK_WARNING] > 0  ? "w"
                 : counts[MARK_REPAIR] > 0 ? "p"
                                           : "m") +
                "\">" + words + "</mark>";
}

void Html_Marks::write_overview() const
{
    if (findings.empty())
        return;
    write_out("<details class=\"o\"><summary>What was found</summary><ol>\n");
    for (size_t i = 0; i < findings.size() && i < SHOWN_IN_OVERVIEW; i++) {
        const Finding &finding = findings[i];
        std::string text = std::string("<li class=\"") + mark_rows[kind_of(finding)].letter + "\"><a href=\"#" +
                           prefix + std::to_string(i) + "\">";
        std::string place = finding.path.empty() ? "" : finding.path + "/";
        if (finding.has_tag)
            place += tag_text(finding.group, finding.element) + " ";
        append_html(place + finding.name, &text);
        text += finding.has_tag ? "</a> " : "the data set</a> ";
        append_words(finding, &text);
        write_out(text + "</li>\n");
    }
    write_out("</ol>");
    if (findings.size() > SHOWN_IN_OVERVIEW)
        write_out("<p>" + std::to_string(findings.size() - SHOWN_IN_OVERVIEW) + " more stand in the tree.</p>");
    write_out("</details>\n");
}

void Html_Marks::append_finding(size_t index, std::string *out)
{
    const Finding &finding = findings[index];
    written[index] = true;
    *out += "<span id=\"" + prefix + std::to_string(index) + "\" class=\"" + mark_rows[kind_of(finding)].letter + "\">";
    append_words(finding, out);
    *out += "</span>";
}

// ---- rows -----------------------------------------------------------------------------

void write_column_heads()
{
    write_out(
        "<div class=\"h\"><code>Tag</code><b>VR</b><em>Name</em><i>Length</i><i>Offset</i><span>Value</span></div>\n");
}

static void append_letters(unsigned short vr, std::string *out)
{
    if (vr == VR_NONE)
        *out += "--";
    else
        append_html({static_cast<char>(vr >> 8), static_cast<char>(vr & 0xFF)}, out);
}

// What the origin column of a dump tells besides where it comes from.
static const char *state_of(const DICOM_List *node)
{
    static const struct {
        unsigned short flag;
        const char *html;
    } rows[] = {
        {FLAG_INVALID, "<small class=\"x\">invalid</small>"},
        {FLAG_DELETED, "<small class=\"x\">deleted</small>"},
        {FLAG_RETIRED, "<small class=\"y\">retired</small>"},
        {FLAG_PRIVATE, "<small class=\"y\">private</small>"},
    };
    for (const auto &row : rows)
        if ((node->flag & row.flag) != 0)
            return row.html;
    return "";
}

static void append_row(const Html_Row &row, bool has_fault, std::string *out)
{
    const DICOM_List *node = row.node;
    bool is_guessed = (node->flag & FLAG_GUESSED_VR) != 0, is_explicit = node->vr_explicit != VR_NONE;
    *out += has_fault || (node->flag & FLAG_SYNTAX_ERROR) != 0 ? "<code class=\"x\">" : "<code>";
    *out += tag_text(node->group, node->element) + "</code>";
    *out += is_guessed ? "<b class=\"x\">" : is_explicit ? "<b>" : "<b class=\"g\">";
    append_letters(is_explicit ? node->vr_explicit : node->vr, out);
    *out += "</b><em>";
    if (row.name.empty())
        *out += "<small class=\"q\">unknown</small>";
    else
        append_html(row.name, out);
    *out += state_of(node);
    if (!row.creator.empty() && row.creator != row.name) {
        *out += "<small class=\"c\">";
        append_html(row.creator, out);
        *out += "</small>";
    }
    *out += "</em><i>";
    if (node->size == UNDEFINED_LENGTH)
        *out += "undef.";
    else
        append_grouped(static_cast<uint32_t>(node->size), out);
    *out += "</i><i>";
    append_grouped(row.offset, out);
    *out += "</i><span>" + row.value + "</span>";
}

void Html_Marks::write_row(const char *element, Html_Row *row)
{
    if (is_in_order)
        write_between(row->offset);
    const DICOM_List *node = row->node;
    auto is_about = [node](const Finding &finding) {
        return finding.has_tag && finding.group == node->group && finding.element == node->element;
    };
    std::string marks;
    bool has_fault = false;
    auto comes_before = [](const Finding &finding, int offset) { return finding.offset < offset; };
    auto at = std::lower_bound(findings.begin(), findings.end(), row->offset, comes_before);
    for (; at != findings.end() && at->offset == row->offset; ++at) {
        size_t index = static_cast<size_t>(at - findings.begin());
        if (written[index] || !is_about(*at))
            continue;
        has_fault |= kind_of(*at) == MARK_WARNING;
        append_finding(index, &marks);
    }
    auto of_others = std::stable_partition(kept.begin(), kept.end(), [&](const Finding &f) { return !is_about(f); });
    said.insert(said.end(), of_others, kept.end());
    kept.erase(of_others, kept.end());
    for (const Finding &finding : said) {
        has_fault = true;
        marks += "<span class=\"w\">";
        append_words(finding, &marks);
        marks += "</span>";
    }
    said.clear();

    std::string text = std::string("<") + element + (marks.empty() ? " class=\"r\">" : " class=\"r f\">");
    append_row(*row, has_fault, &text);
    write_out(text + marks);
}

void Html_Marks::write_item(int number, bool is_open, int offset, int end, const std::string &hint)
{
    std::string text =
        is_open ? "<details class=\"i\" open=\"\"><summary>Item " : "<details class=\"i\"><summary>Item ";
    text += std::to_string(number) + " <i>at ";
    append_grouped(offset, &text);
    text += "</i> <span>";
    append_html(hint, &text);
    text += "</span>";
    append_inside(offset, end, &text);
    write_out(text + "</summary>\n");
}

// A finding about an element that the tree does not hold.
void Html_Marks::write_alone(size_t index)
{
    const Finding &finding = findings[index];
    std::string text = "<div class=\"r f\"><code class=\"x\">";
    text += finding.has_tag ? tag_text(finding.group, finding.element) : "";
    text += "</code><b>";
    text += finding.vr != VR_NONE ? "" : "--";
    if (finding.vr != VR_NONE)
        append_letters(finding.vr, &text);
    text += "</b><em>";
    append_html(finding.name, &text);
    text += "</em><i></i><i>";
    if (finding.offset >= 0)
        append_grouped(finding.offset, &text);
    text += finding.group == GROUP_ITEM ? "</i><span></span>" : "</i><span><small>not in the tree</small></span>";
    append_finding(index, &text);
    write_out(text + "</div>\n");
}

void Html_Marks::write_between(int offset)
{
    for (; next < findings.size() && findings[next].offset < offset; next++)
        if (!written[next] && findings[next].offset >= 0)
            write_alone(next);
}

void Html_Marks::write_rest()
{
    for (size_t i = 0; i < findings.size(); i++)
        if (!written[i])
            write_alone(i);
}
