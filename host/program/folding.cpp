// Counts the kinds of lines over all files, and the same lines in one.
#include "host/program/folding.h"

#include <string.h>

#include "host/program/output.h"

static const int FILES_OF_A_KIND = 5;       // in which it is told before it is only counted
static const int64_t PLACES_TOLD = 3;       // of the same text in one file
static const size_t KINDS_COUNTED = 1000;   // what comes in more forms is told without counting

struct Kind_Count {
    std::string example;
    bool to_err;
    int files = 0;   // that had it
};

struct Kind_Counts {
    std::vector<Kind_Count> counts;   // in the order of their first line
    std::unordered_map<std::string, size_t> by_mask;
};

static bool folds = true;

// Made when it is first asked for, and left to the end of the process.
static Kind_Counts &kind_counts()
{
    static Kind_Counts *counts = new Kind_Counts;
    return *counts;
}

std::string mask_of(const std::string &text)
{
    std::string mask;
    for (size_t i = 0; i < text.size(); i++) {
        bool is_tag = text[i] == '(' && text.size() > i + 10 && text[i + 5] == ',' && text[i + 10] == ')';
        bool is_digit = text[i] >= '0' && text[i] <= '9';
        if (is_tag)
            i += 10;
        if (!is_tag && !is_digit)
            mask += text[i];
        else if (mask.empty() || mask.back() != '#')
            mask += '#';
    }
    return mask;
}

// ---- in one file ----------------------------------------------------------------------

bool Repeats::is_told(const std::string &text)
{
    if (shows_all || (places.size() == KINDS_COUNTED && by_text.count(text) == 0))
        return true;
    auto [at, is_new] = by_text.emplace(text, places.size());
    if (is_new)
        places.push_back({text, 0});
    return ++places[at->second].second <= PLACES_TOLD;
}

std::vector<std::string> Repeats::counted() const
{
    std::vector<std::string> lines;
    for (const auto &[text, count] : places)
        if (count > PLACES_TOLD)
            lines.push_back(std::to_string(count - PLACES_TOLD) + " more: " + text);
    return lines;
}

// ---- in all files ---------------------------------------------------------------------

static bool is_told(const Folded_Kind &kind, bool to_err)
{
    if (!folds)
        return true;
    Kind_Counts &all = kind_counts();
    if (all.counts.size() == KINDS_COUNTED && all.by_mask.count(kind.mask) == 0)
        return true;
    auto [at, is_new] = all.by_mask.emplace(kind.mask, all.counts.size());
    if (is_new)
        all.counts.push_back({kind.example, to_err, 0});
    return ++all.counts[at->second].files <= FILES_OF_A_KIND;
}

static void write_text(const std::string &text, bool to_err)
{
    if (to_err)
        write_err(text);
    else
        write_out(text);
}

void tell_folded(const Folded_Lines &lines)
{
    if (lines.kinds.empty())
        return;
    if (diversion() != nullptr) {
        flush_out();
        return diversion()->folded(diversion()->user, lines);
    }
    std::vector<bool> told;
    for (const Folded_Kind &kind : lines.kinds) {
        told.push_back(is_told(kind, lines.to_err));
        if (told.back() && !kind.lines.empty())
            write_text(kind.lines, lines.to_err);
    }
    for (const Folded_Lines::Line &line : lines.lines)
        if (told[line.kind])
            write_text(line.text, lines.to_err);
}

void fold_nothing()
{
    folds = false;
}

void finish_folding()
{
    for (const Kind_Count &count : kind_counts().counts) {
        if (count.files <= FILES_OF_A_KIND)
            continue;
        int more = count.files - FILES_OF_A_KIND;
        std::string text = count.example;
        text.replace(text.find("# files"), strlen("# files"), more == 1 ? "1 file" : std::to_string(more) + " files");
        write_text(text, count.to_err);
    }
    kind_counts() = Kind_Counts();
}
