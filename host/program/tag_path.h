// TAG, as all commands take it: 0010,0010 or (0010,0010), a name of the dictionary or its keyword, with wildcards
// (60*,3000 or 60xx,3000) and with a path in front: 0040,a730[2]/0040,a168[1]/0008,0104. Items count from 1; a step
// without a number means every item.
#ifndef VELMORA_PROGRAM_TAG_PATH_H
#define VELMORA_PROGRAM_TAG_PATH_H

#include <string>
#include <vector>

struct Tag_Step {
    bool is_exact;   // group and element, else the patterns
    unsigned short group, element;
    std::string group_pattern, element_pattern;   // as DICOM_Attribute_Match takes them
    int item;                                     // 0: every one
};

// With one step and no item it means the attribute wherever it stands; with more, that place and no other.
struct Tag_Path {
    std::vector<Tag_Step> steps;
};

// Returns false with one line in error, which may be null, that says what is wrong.
bool parse_tag_path(const std::string &text, Tag_Path *path, std::string *error);

bool matches(const Tag_Step &step, unsigned short group, unsigned short element);

// "0040,a730" of the numbers.
std::string tag_text(unsigned short group, unsigned short element);

#endif
