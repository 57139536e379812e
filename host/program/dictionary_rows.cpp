// The library gives a row for a tag, and prints them all: the list here is read from that print.
#include "host/program/dictionary_rows.h"

#include <ctype.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <utility>

#include "host/program/help.h"
#include "host/program/messages.h"
#include "tree/DICOM_Constants.h"

static std::vector<Dictionary_Row> rows;   // kept: a run may ask for many names

// " (0010,0010) ...": a line of a row.
static void take_row(void *, const char *line)
{
    if (strncmp(line, " (", 2) != 0 || strlen(line) < 13 || line[6] != ',' || line[11] != ')')
        return;
    Dictionary_Row row = {std::string(line + 2, 4), std::string(line + 7, 4), 0, 0, nullptr};
    std::string group = row.group_text, element = row.element_text;
    for (std::string *half : {&group, &element})
        for (char &c : *half)
            c = c == 'x' ? '0' : c;
    row.group = static_cast<unsigned short>(strtoul(group.c_str(), nullptr, 16));
    row.element = static_cast<unsigned short>(strtoul(element.c_str(), nullptr, 16));
    rows.push_back(row);
}

// The rows are the library's, which may have let go of them and built them anew since the last time.
static void look_rows_up()
{
    size_t kept = 0;
    for (Dictionary_Row &row : rows) {
        row.row = NEMA_db_Locate(row.group, row.element);
        if (row.row != nullptr)
            std::swap(rows[kept++], row);
    }
    rows.resize(kept);
}

const std::vector<Dictionary_Row> &dictionary_rows()
{
    if (rows.empty()) {
        NEMA_db_Locate(0x0008, 0x0005);   // the first lookup builds the dictionary
        take_lines(take_row, nullptr);
        NEMA_db_Stool(nullptr, LEVEL_LINES);
        take_lines(nullptr, nullptr);
    }
    look_rows_up();
    return rows;
}

// ---- keywords -------------------------------------------------------------------------

static bool is_letter_or_digit(char c)
{
    return isalnum(static_cast<unsigned char>(c)) != 0;
}

// Units keep their small letter: uAs, mGy, dB.
static bool starts_as_unit(const std::string &text, size_t at)
{
    return islower(static_cast<unsigned char>(text[at])) && at + 1 < text.size() &&
           isupper(static_cast<unsigned char>(text[at + 1]));
}

static std::string without_retired(const std::string &name)
{
    static const std::string RETIRED = "(Retired)";
    size_t at = name.rfind(RETIRED);
    return at != std::string::npos && at + RETIRED.size() == name.size() ? name.substr(0, at) : name;
}

std::string keyword_of(const std::string &full_name)
{
    std::string name = without_retired(full_name), keyword;
    bool begins_word = true;
    for (size_t i = 0; i < name.size(); i++) {
        if (name[i] == '\'') {
            // "Patient's" loses the s, too; "Physicians'" has none behind it.
            if (i + 1 < name.size() && name[i + 1] == 's' && (i + 2 == name.size() || !is_letter_or_digit(name[i + 2])))
                i++;
            continue;
        }
        if (!is_letter_or_digit(name[i])) {
            begins_word = true;
            continue;
        }
        bool is_raised = begins_word && !starts_as_unit(name, i);
        keyword += is_raised ? static_cast<char>(toupper(static_cast<unsigned char>(name[i]))) : name[i];
        begins_word = false;
    }
    return keyword;
}

std::string folded_name(const std::string &name)
{
    std::string folded = keyword_of(name);
    for (char &c : folded)
        c = static_cast<char>(tolower(static_cast<unsigned char>(c)));
    return folded;
}

const Dictionary_Row *find_row_by_name(const std::string &name)
{
    std::string wanted = folded_name(name);
    if (wanted.empty())
        return nullptr;
    for (const Dictionary_Row &row : dictionary_rows())
        if (folded_name(row.row->description) == wanted)
            return &row;
    return nullptr;
}

std::string nearest_keyword(const std::string &name)
{
    std::vector<std::string> keywords;
    for (const Dictionary_Row &row : dictionary_rows())
        keywords.push_back(keyword_of(row.row->description));
    return nearest_word(keyword_of(name), keywords, name.size() / 5);
}

std::string vr_text(const TAG_db_Elems &row)
{
    int count = abs(row.type);
    std::string text;
    for (int i = 0; i < count; i++) {
        char part[64];
        int minimum = row.vn[i][0], maximum = row.vn[i][1];
        const char *between = i == 0 ? "" : " or ";
        if (maximum == minimum)
            snprintf(part, sizeof part, "%s%c%c %d", between, row.vr[i] >> 8, row.vr[i] & 0xFF, minimum);
        else if (maximum > 0)
            snprintf(part, sizeof part, "%s%c%c %d-%d", between, row.vr[i] >> 8, row.vr[i] & 0xFF, minimum, maximum);
        else
            snprintf(part, sizeof part, "%s%c%c %d-n", between, row.vr[i] >> 8, row.vr[i] & 0xFF, minimum);
        text += part;
    }
    return count == 0 ? "--" : text;
}

// The dump of an attribute with this UID shows "= " and the name.
std::string name_of_uid(const std::string &uid)
{
    std::string value = uid;
    char text[1024];
    DICOM_List node = {};
    node.vr_explicit = VR_UI;
    node.size = static_cast<int>(value.size());
    node.data = &value[0];
    const char *shown = value.size() < 250 ? DICOM_Attribute_Stool_Data(nullptr, &node, text) : nullptr;
    return shown != nullptr && strncmp(shown, "= ", 2) == 0 ? shown + 2 : "";
}
