// What the sources of the dictionary share, and the steps of its build that tests reach.
#ifndef VELMORA_DICTIONARY_INTERNAL_H
#define VELMORA_DICTIONARY_INTERNAL_H

#include "dictionary/DICOM_Dictionary.h"

// The table as it is compiled in: the lines of each group, and how many they are.
enum { DICTIONARY_GROUPS = 53 };
extern const char *const *const dictionary_lines[DICTIONARY_GROUPS];
extern const int dictionary_sizes[DICTIONARY_GROUPS];

// One group of the dictionary. The groups form a list in ascending order of group AND group_mask.
struct TAG_db_Group {
    unsigned short group;        // of the first row that made the node
    unsigned short group_mask;   // four bits for each digit: 0xF a digit, 0 a wildcard
    TAG_db_Group *next;
    TAG_db_Elems *first;   // rows in ascending order of element
    TAG_db_Elems *tail;    // last of the rows; the build appends here
};

enum { MAX_ALTERNATES = 3, LINE_ROOM = 160, VN_ROOM = 11, VN_TEXT_ROOM = 16 };

// A dictionary line while it is cut up from its end.
struct Dictionary_Text {
    char text[LINE_ROOM];   // terminated at length
    int length;
};

// The dictionary's groups, or null as long as it is not built.
const TAG_db_Group *NEMA_db_Groups();

// Builds the dictionary if it is not there yet. Returns the number of rows filed; 0 when it stood already or when
// memory ran out, which is reported: nothing is built then, and the next call tries again.
int NEMA_db_Load();

// Parses one array of lines. Returns the number of rows filed.
int NEMA_db_Read_Table(const char *const *lines, int count);

// Cuts the last VR and number of values from the text; a text without them gives 0 and "".
//   vn  room for VN_ROOM characters
void NEMA_db_Split_VR(Dictionary_Text *line, unsigned short *vr, char *vn);

// Files one row. VRs and numbers of values stand in the order of parsing: the last one of the line first.
// Returns 1, or 0 for a tag that is there already and when memory ran out; both are reported.
int NEMA_db_Add_Elem(unsigned short group, unsigned short element, unsigned short group_mask,
                     unsigned short element_mask, const char *description, int type, const unsigned short *vr,
                     const char (*vn)[VN_ROOM]);

// The text of a pair of minimum and maximum, in a buffer of VN_TEXT_ROOM characters, which is the result.
char *NEMA_db_VN_Text(const short vn[2], char *text);

// Complement a node of group 1000, or of the groups 7F00 to 7FDF, by the layout of a vendor's compression. Return 1.
int SPI_Complement_1000(HWND window, DICOM_List *tag);
int SPI_Complement_7Fxx(HWND window, DICOM_List *tag);

#endif
