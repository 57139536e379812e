// The rules by VR (DICOM PS3.5 6.2), for the two passes over a tree that go by them: cleanup, which repairs the values,
// and the check, which only judges them. They are twins: one walk, one table of VRs and one set of stages serve both,
// and a Twin holds all that tells them apart.
#ifndef VELMORA_VR_RULES_INTERNAL_H
#define VELMORA_VR_RULES_INTERNAL_H

#include "tree/tree_internal.h"

// Where the twins differ. The texts are formats for Error_Fct, with the arguments that stand beside them.
// clang-format off
struct Twin {
    const char *source;           // the file that reports of memory failures name
    bool repairs;                 // changes the value and its flag; else judges a copy of the value
    const char *swab_trace;       // group, element; so in all traces
    const char *tag_trace;
    const char *multiple_trace;
    const char *single_trace;     // null: none
    const char *int_trace;
    const char *last_backslash;   // prefix
    const char *long_text;        // prefix, length, limit; of a twin that cuts: start and end of what is kept, the rest
    const char *old_syntax;       // prefix, length and start of the old text, length and start of the new one
    const char *lost_day;         // prefix, length and start of the old text, the new one
};
// clang-format on
extern const Twin cleanup_twin, syntax_twin;

// One attribute in the hands of one twin: what a stage needs to make its reports.
struct Pass {
    const Twin *twin;
    HWND window;
    unsigned short group;
    unsigned short element;
    unsigned short vr;
    char prefix[80];   // see report_prefix
};
Pass pass_over(const Twin *twin, HWND window, const DICOM_List *tag);

// The start of a message about the attribute, for Flag_Error_Report and for Flag_Error_Warning. Made when it is asked
// for, since most attributes have nothing to say; valid until the next of the two is asked for.
const char *report_prefix(Pass *pass);
const char *warning_prefix(Pass *pass);

// The sets of characters. A zero byte is in none of them.
// clang-format off
enum Char_Set : unsigned char {
    ANY_CHAR, PRINTABLE, CODES, DECIMALS, INTEGERS, DATE_TIMES, TIMES, UIDS, DATES,
    AGES, CHAR_SETS,
};
// clang-format on

enum Length_Stage : unsigned char { MULTIPLE, SINGLE };

// As lead or trail: the padding stage leaves this end alone, or does not run at all.
enum : unsigned char { NO_LEAD = 0xFF, SKIP = 0xFE };

// What a valid value of a VR looks like, and what is done with one that is not: a row of the table of VRs.
struct VR_Rule {
    unsigned short vr;
    // Number of values if the rule would find nothing to say and nothing to change, else 0. Makes the traces of the
    // stages when it succeeds. Allocates nothing.
    int (*quick)(Pass *pass, const DICOM_List *tag, const VR_Rule *rule);
    // Number of values, or 0 for failure.
    int (*full)(Pass *pass, DICOM_List *tag, const VR_Rule *rule);
    // Texts.
    unsigned char lead;    // stripped from the start
    unsigned char trail;   // stripped from the end
    Char_Set set;
    Length_Stage stage;
    unsigned int max;   // limit of the length stage; the length of an age or a date
    char pad;           // added to an odd length
    // Numbers, and bytes that nobody looks at.
    signed char swap = 0;             // size of what a big-endian stream swaps; 0: nothing
    signed char unit = 0;             // the length must be a multiple of it; 0: a text
    bool counts = false;              // each unit is a value; else all is one
    const char *expected = nullptr;   // what the length should be, as the warning says it
};
const VR_Rule *find_rule(unsigned short vr);   // null: no rule

const char *char_set_text(Char_Set set);   // null for the sets that no message prints
bool is_printable(char c);

// What quick may say of each kind of value.
int quick_text(Pass *pass, const DICOM_List *tag, const VR_Rule *rule);
int quick_integer(Pass *pass, const DICOM_List *tag, const VR_Rule *rule);
int quick_time(Pass *pass, const DICOM_List *tag, const VR_Rule *rule);
int quick_exact(Pass *pass, const DICOM_List *tag, const VR_Rule *rule);
int quick_binary(Pass *pass, const DICOM_List *tag, const VR_Rule *rule);

bool is_old_time(const DICOM_List *tag);        // HH:MM:SS or HH.MM.SS
int find_out_of_range(const DICOM_List *tag);   // offset of the first such integer, or -1

// The stages. Each gives 0 when memory ran out, and leaves the value as far as it got.
int padding_stage(Pass *pass, DICOM_List *tag, unsigned char lead, unsigned char trail);
int char_set_stage(Pass *pass, DICOM_List *tag, const char *set);
int text_multiple_stage(Pass *pass, DICOM_List *tag, int max);          // number of values
int text_single_stage(Pass *pass, DICOM_List *tag, unsigned int max);   // 1
int even_stage(Pass *pass, DICOM_List *tag, char pad);
int valid_int_stage(Pass *pass, DICOM_List *tag);   // 0 for out of range too
int int_from_float_stage(Pass *pass, DICOM_List *tag);

// Puts other text in the place of the value.
int replace_value(Pass *pass, DICOM_List *tag, const char *text, int size);

// The driver.
void walk_attributes(const Twin *twin, HWND window, DICOM_Root *root, DICOM_List *list);
int swap_attribute(const Twin *twin, HWND window, DICOM_List *tag);
int judge_attribute(const Twin *twin, HWND window, DICOM_List *tag);
int judge_count(Pass *pass, DICOM_List *tag, int count);

#endif
