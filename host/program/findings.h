// What the check finds: where it is, what it is, and how it is told.
#ifndef VELMORA_PROGRAM_FINDINGS_H
#define VELMORA_PROGRAM_FINDINGS_H

#include <string>
#include <unordered_map>
#include <vector>

#include "host/program/folding.h"

struct Finding {
    bool is_warning = false;   // else a remark
    const char *kind = "";     // one word, from a small set
    int offset = -1;           // of the element, in the terms of the stream; -1: not known
    bool has_tag = false;      // else it is about the whole data set
    unsigned short group = 0, element = 0, vr = 0;
    std::string path;   // of the enclosing items, as 0040,a730[1]/0040,a168[2]
    std::string name;
    std::string text;   // what the library says, without the tag and the VR that stand above
    std::string mask;   // the same with values and numbers as #
};

// Makes a finding of a report: kind, tag, text and mask. The VR is left for the caller, who knows the element.
Finding finding_of(int level, const char *report);

// The name of an attribute by the dictionary; empty: it has none.
std::string name_of_tag(unsigned short group, unsigned short element);

// The words for kinds of findings, one blank between two.
extern const char finding_kinds[];

// ---- telling --------------------------------------------------------------------------

enum Finding_Form { FINDINGS_AS_LINES, FINDINGS_AS_JSON, FINDINGS_COUNTED, FINDINGS_KEPT };

// Tells the findings of one file as they come; add them in the order of the stream.
struct Finding_Teller {
    Finding_Form form;
    bool shows_all;     // else what repeats is counted
    std::string file;   // its name
    bool is_whole = true;   // false: the file became shorter meanwhile, which was said
    int64_t warnings = 0, remarks = 0;
    std::vector<Finding> kept;   // the first of them, of the form FINDINGS_KEPT

    void add(const Finding &finding);
    void finish();

  private:
    Folded_Lines folded;
    std::unordered_map<std::string, size_t> by_mask;   // numbers of the kinds in folded
    std::vector<int64_t> counts;                       // of each of them
    int64_t others = 0;                                // of further kinds
};

// One line for a file that could not be looked at.
void tell_unreadable_as_json(const std::string &file, const std::string &error);

#endif
