// Reports are collected while a file is worked on, folded by kind, and told at its end.
#include "host/program/messages.h"

#include <stdarg.h>
#include <stdio.h>
#include <string.h>
#include <algorithm>
#include <vector>

#include "host/program/folding.h"
#include "host/program/output.h"

using velmora_host::Data_Set;
using velmora_host::Place;

static const size_t SHOWN_OF_A_KIND = 3;   // in one file
static const size_t KINDS_OF_A_FILE = 40;

struct Message {
    std::string text;
    Place place;   // offset -1: not known
};

// Messages that differ in tags and numbers only.
struct Kind {
    std::string file, mask;
    std::vector<Message> shown;
    int count = 0;
};

static std::string current_file;
static std::vector<Kind> kinds;      // since begin_file, in the order of their first message
static int other_messages = 0;       // of further kinds
static std::string last_complaint;   // about any file
static Line_Taker line_taker = nullptr;
static void *line_user = nullptr;
static Report_Taker report_taker = nullptr;
static void *report_user = nullptr;

// ---- printing -------------------------------------------------------------------------

// Made visible here as well as where the texts come from: names, values and reports of the system meet in them.
static void print_line(const std::string &text)
{
    write_err("velmora: " + visible(text) + "\n");
}

void complain(const char *format, ...)
{
    va_list values, again;
    va_start(values, format);
    va_copy(again, values);
    std::string text(static_cast<size_t>(std::max(vsnprintf(nullptr, 0, format, values), 0)), '\0');
    vsnprintf(&text[0], text.size() + 1, format, again);
    va_end(again);
    va_end(values);
    print_line(text);
}

void complain_about(const std::string &file, const std::string &text)
{
    last_complaint = text;
    print_line(file + ": " + text);
}

std::string take_complaint()
{
    std::string text;
    text.swap(last_complaint);
    return text;
}

// ---- taking ---------------------------------------------------------------------------

std::string text_of_report(const char *report)
{
    std::string text = without_marks(report + strspn(report, " \t"));
    text.erase(0, std::min(text.find_first_not_of(' '), text.size()));
    for (const char *prefix : {"WARNING: ", "Warning: ", "ERROR: "})
        if (text.compare(0, strlen(prefix), prefix) == 0)
            text.erase(0, strlen(prefix));
    return text;
}

static Kind *find_kind(const std::string &mask)
{
    for (Kind &kind : kinds)
        if (kind.mask == mask && kind.file == current_file)
            return &kind;
    if (kinds.size() == KINDS_OF_A_FILE)
        return nullptr;
    kinds.push_back({current_file, mask, {}});
    return &kinds.back();
}

static void take_report(void *, HWND, int level, const char *report)
{
    if (report_taker != nullptr)
        return report_taker(report_user, level, report);
    if (level == LEVEL_LINES) {
        if (line_taker != nullptr)
            line_taker(line_user, report);
        return;
    }
    Message message;
    message.text = text_of_report(report);
    if (current_file.empty())
        return print_line(message.text);
    velmora_host::place_of_report(report, &message.place);
    Kind *kind = find_kind(mask_of(message.text));
    if (kind == nullptr) {
        other_messages++;
        return;
    }
    if (kind->count++ < static_cast<int>(SHOWN_OF_A_KIND))
        kind->shown.push_back(message);
}

// ---- places ---------------------------------------------------------------------------

static bool parse_tag(const std::string &text, unsigned int *group, unsigned int *element)
{
    size_t at = text.find('(');
    return at != std::string::npos && text.size() > at + 10 && text[at + 10] == ')' &&
           sscanf(text.c_str() + at, "(%4x,%4x)", group, element) == 2;
}

struct Search {
    unsigned int group, element;
    int pos;   // in the source; -1: any
    int found;
    Place place;
    std::vector<std::string> steps;
};

// At most nine levels deep, as the tree is.
static void search_tree(const DICOM_List *list, Search *search)
{
    for (const DICOM_List *node = list; node != nullptr && search->found < 2; node = node->next) {
        bool is_meant = node->group == search->group && node->element == search->element &&
                        (search->pos < 0 || search->pos == node->pos);
        if (is_meant && search->found++ == 0) {
            search->place.offset = node->pos;
            search->place.path.clear();
            for (const std::string &step : search->steps)
                search->place.path += (search->place.path.empty() ? "" : "/") + step;
        }
        for (int i = 0; i < node->nb_item && node->item[i] != nullptr && search->found < 2; i++) {
            char step[32];
            snprintf(step, sizeof step, "%04x,%04x[%d]", node->group, node->element, i + 1);
            search->steps.push_back(step);
            search_tree(node->item[i], search);
            search->steps.pop_back();
        }
    }
}

// A report that came when the elements were read already names a tag. Where that stands once, its place is known. Of a
// report that came when the tree was made the offset is known, and the path is looked for.
static void find_place(const Data_Set &set, Message *message)
{
    Place *place = &message->place;
    Search search = {};
    search.pos = -1;
    if (place->offset >= 0) {
        search.group = place->group;
        search.element = place->element;
        search.pos = place->pos;
    }
    if (place->has_path || (place->offset < 0 && !parse_tag(message->text, &search.group, &search.element)))
        return;
    search_tree(set.tree, &search);
    if (search.found != 1 || search.place.offset == 0)   // 0: it does not come from the source
        return;
    *place = search.place;
    if (place->offset >= set.stream_base)
        place->offset -= set.stream_base;
}

// ---- telling --------------------------------------------------------------------------

static std::string line_of(const std::string &file, const Message &message)
{
    std::string text = "velmora: " + visible(file) + ": ";
    if (message.place.offset >= 0)
        text += "at offset " + std::to_string(message.place.offset);
    if (message.place.offset >= 0 && !message.place.path.empty())
        text += " in " + message.place.path;
    if (message.place.offset >= 0)
        text += ": ";
    return text + message.text + "\n";
}

static Folded_Kind folded_kind(const Data_Set *set, Kind *kind)
{
    Folded_Kind told;
    told.mask = kind->mask;
    told.example = "velmora: # files more: " + kind->shown[0].text + "\n";
    for (Message &message : kind->shown) {
        if (set != nullptr)
            find_place(*set, &message);
        told.lines += line_of(kind->file, message);
    }
    int more = kind->count - static_cast<int>(kind->shown.size());
    if (more > 0)
        told.lines += "velmora: " + visible(kind->file) + ": (" + std::to_string(more) + " more like that)\n";
    return told;
}

void begin_file(const std::string &file)
{
    current_file = file;
    kinds.clear();
    other_messages = 0;
}

void turn_to_file(const std::string &file)
{
    current_file = file;
}

void end_file(const Data_Set *set)
{
    Folded_Lines told;
    told.to_err = true;
    for (Kind &kind : kinds)
        told.kinds.push_back(folded_kind(set, &kind));
    tell_folded(told);
    if (other_messages > 0)
        complain("%s: (%d messages more)", visible(current_file).c_str(), other_messages);
    begin_file("");
}

void start_messages()
{
    Flag_Error_Warning = LEVEL_WARNINGS;
    Flag_Error_Report = LEVEL_REMARKS;
    Error_Set_Threshold(LEVEL_LINES);
    Error_Set_Sink(take_report, nullptr);
}

void show_remarks()
{
    Error_Set_Threshold(LEVEL_REMARKS);
}

void take_lines(Line_Taker taker, void *user)
{
    line_taker = taker;
    line_user = user;
}

void take_reports(Report_Taker taker, void *user)
{
    report_taker = taker;
    report_user = user;
}

void forget_file()
{
    take_lines(nullptr, nullptr);
    take_reports(nullptr, nullptr);
    begin_file("");
}
