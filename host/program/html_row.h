// Rows of an HTML page, with the marks on them: what the check of the data set found, and what decoding its values
// says.
#ifndef VELMORA_PROGRAM_HTML_ROW_H
#define VELMORA_PROGRAM_HTML_ROW_H

#include <string>
#include <unordered_map>
#include <vector>

#include "host/program/element_values.h"
#include "host/program/findings.h"
#include "host/velmora_host.h"

// ---- names ----------------------------------------------------------------------------

// The creators of private blocks in one chain (DICOM PS3.5, 7.8.1).
struct Html_Creators {
    // Takes the creator that a node names, if it does.
    void note(const velmora_host::Data_Set &set, const DICOM_List *node, const Value_Context &context);

    // The name of an attribute, and the creator of its block; both may be empty.
    std::string name_of(const DICOM_List *node, std::string *creator) const;

  private:
    std::unordered_map<unsigned int, std::string> names;   // by group and block
};

// ---- rows -----------------------------------------------------------------------------

struct Html_Row {
    const DICOM_List *node = nullptr;
    std::string name;      // empty: it has none
    std::string creator;   // of a private attribute
    int offset = 0;        // of the element, in the terms of the stream
    std::string value;     // HTML
};

void write_column_heads();

// Findings on their way to the rows that they are about.
struct Html_Marks {
    //   number       of the section: two must not give the same names to their marks
    //   is_in_order  whether offsets ascend through the tree, so that a finding whose element the tree does not hold
    //                can stand between the two around it
    Html_Marks(size_t number, const std::vector<Finding> &findings, bool is_in_order);

    // A finding about the row that is written next.
    void say(const Finding &finding);

    // What was said is about a row further on with the tag that it names.
    void keep_said();

    // The start tag and the inside of a row of this element, and the marks that belong on it; the caller writes the
    // end tag.
    void write_row(const char *element, Html_Row *row);

    // The start of a block for an item.
    void write_item(int number, bool is_open, int offset, int end, const std::string &hint);

    // "2 warnings" of what is found from one offset to another; nothing when there is none.
    void append_inside(int from, int end, std::string *out) const;

    // "3 warnings, 1 repair", and how many more there are that are only counted.
    void append_counts(long long more, std::string *out) const;

    // A list of the first findings with links to them.
    void write_overview() const;

    // Rows for what has found no place.
    void write_rest();

  private:
    std::string prefix;              // of the names of marks
    std::vector<Finding> findings;   // by offset
    std::vector<bool> written;
    size_t next = 0;   // none in front of this one waits
    bool is_in_order;
    std::vector<Finding> said, kept;

    void append_finding(size_t index, std::string *out);
    void write_between(int offset);
    void write_alone(size_t index);
};

#endif
