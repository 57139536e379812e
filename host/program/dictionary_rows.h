// The rows of the library's dictionary as a list, with the keywords that the standard makes of their names.
#ifndef VELMORA_PROGRAM_DICTIONARY_ROWS_H
#define VELMORA_PROGRAM_DICTIONARY_ROWS_H

#include <string>
#include <vector>

#include "tree/Velmora_DICOM.h"

struct Dictionary_Row {
    std::string group_text, element_text;   // in lower case, "x" for a digit that does not count
    unsigned short group, element;          // 0 for such a digit
    const TAG_db_Elems *row;                // the library's, until its dictionary is released
};

// All rows in the order of their tags; they are taken from the library at the first call, and looked
// up again at each.
const std::vector<Dictionary_Row> &dictionary_rows();

// The row with this name or keyword, whatever the case of its letters; null when there is none.
const Dictionary_Row *find_row_by_name(const std::string &name);

// The keyword that may have been meant by a name that is none; empty: none comes near.
std::string nearest_keyword(const std::string &name);

// "Patient's Name" gives PatientName, "Exposure in uAs" ExposureInuAs.
std::string keyword_of(const std::string &name);

// The same with small letters and without what a writer may leave out: for comparing.
std::string folded_name(const std::string &name);

// "OB 1 or OW 1" of a row; "--" where it names no VR.
std::string vr_text(const TAG_db_Elems &row);

// The name that the library gives to a UID; empty: none.
std::string name_of_uid(const std::string &uid);

#endif
