// Value records: person names, dates and times of day, made from numbers, texts or the clock, checked, compared, and
// turned back into texts.
//
//     Velmora_Date date = {};                                   // records are cleared before their first use
//     Make_Velm_Date(&date, "12 Jan 2004", "dd mmm yyyy");
//     if (Velm_Date_Postproc(&date, 0) == nullptr)
//         puts(Time_2_DICOM(&date, nullptr));                   // 20040112
//     Date_Free(&date);
//
// A record belongs to its caller, and the texts in it to the record: the *_Free operations release them. Records are
// never null unless an operation says so. Failures to get memory are reported with the variable hwnd.
#ifndef VELMORA_DICOM_VALUES_H
#define VELMORA_DICOM_VALUES_H

#include <stdint.h>

#include "util/Velmora_Util.h"

// A person name (DICOM PS3.5, 6.2.1), one component group. Only the operations here write to it.
struct Velmora_Name {
    unsigned char count;   // how many of family, given and middle are present; 0: the name is empty
    char *family, *given, *middle, *prefix, *suffix;   // heap texts of the record, never empty; null: absent
};

// A day of the calendar, as numbers or as a text that is still to be parsed.
struct Velmora_Date {
    unsigned char  state;           // 0 empty, 1 the numbers are valid, 2 text and template wait for parsing
    unsigned short year;            // in full, once repaired
    unsigned char  month, day;      // 1 to 12, 1 to 31
    char          *date_str;        // while state is 2: the text, on the heap
    char          *date_template;   // while state is 2: the template, on the heap
};

// A time of day, as numbers or as a text that is still to be parsed.
struct Velmora_Time {
    unsigned char state;            // as in Velmora_Date
    unsigned char hour, minute;     // 0 to 23, 0 to 59 after Velm_Time_Postproc
    float         second;           // with its fraction
    char         *time_str;         // while state is 2: the text, on the heap
    char         *time_template;    // while state is 2: the template, on the heap
};

/* ---- person names ------------------------------------------------------------------- */

// Sets fields. Of each text the first 64 bytes count, without blanks at their ends.
//   family ... suffix  null, empty or blank: the field stays as it was
// Returns 1. Returns 0 when memory ran out: the fields set so far stay, count is not brought up to date.
DICOM_EXPORT int Make_Velm_Name(Velmora_Name *name, const char *family, const char *given, const char *middle,
                                const char *prefix, const char *suffix);

// Guesses the fields of a free text: "Smith^John^Q^Dr^Jr", "Smith, John Q", "Dr. John Smith".
//   name   an empty name; null or one that is set already is left alone, with a trace of level 11
//   text   of which the first 1023 bytes count; null, empty or blank: likewise
//   order  3: the first word is the given name; 1 and all others: it is the family name. Carets overrule it
// Returns 1, also with nothing done. More than five parts are a warning, and the first five are used. Returns 0 when
// memory ran out: the fields set so far stay, count is not brought up to date.
DICOM_EXPORT int Make_Velm_Name_From_Str(Velmora_Name *name, const char *text, int order);

// The same for a text that is first put into a format, cut at 1023 bytes.
//   format  of sprintf, with one %s
// Does nothing, without a trace, if there is no name, no text, or a name that is set already.
DICOM_EXPORT int Make_Velm_Name_From_Buf(Velmora_Name *name, const char *format, const char *text, int order);

// Replaces those fields of target that origin has with copies, and takes over its count.
// Returns 1. Returns 0 when memory ran out: the fields copied so far stay, count stays as it was.
DICOM_EXPORT int Name_Copy(Velmora_Name *target, Velmora_Name *origin);

// Releases the fields; the record is empty then. Null is left alone.
DICOM_EXPORT void Name_Free(Velmora_Name *name);

// Orders two names by family, then by given name; small and capital letters of ASCII are the same. Null comes before
// an empty name, an empty one before others, and a missing field before a present one.
// Returns less than 0, 0, or more than 0.
DICOM_EXPORT int Velm_Name_Cmp(Velmora_Name *a, Velmora_Name *b);

// The form of DICOM, family^given^middle^prefix^suffix, without carets at its end.
//   text  receives it: room for the five fields, four carets and the end, 325 bytes for a name of Make_Velm_Name
// Returns text; null for a null or empty name, and then text is empty.
DICOM_EXPORT char *Name_2_DICOM(Velmora_Name *name, char *text);

// Forms for readers: "Dr Smith, John Q Jr"; the same with the comma always there; "Dr John Q Smith Jr".
// Return a text cut at 323 bytes that stays valid for 127 further calls of the same operation; null for a null or
// empty name.
DICOM_EXPORT char *Name_2_Str(Velmora_Name *name);
DICOM_EXPORT char *Name_2_Str_Comma(Velmora_Name *name);
DICOM_EXPORT char *Name_2_Str_Old(Velmora_Name *name);

/* ---- dates -------------------------------------------------------------------------- */

// Stores numbers, narrowed to the fields, unchecked. Returns 1.
DICOM_EXPORT int Make_Velm_Date(Velmora_Date *date, int year, int month, int day);

// Stores the local date of a clock value, in seconds since 1970. Returns 1; 0 if it has no local time, and then the
// record is as it was.
DICOM_EXPORT int Make_Velm_Date(Velmora_Date *date, int64_t clock);

// Stores a text for Velm_Date_Postproc to parse.
//   text    of which the first 12 bytes count
//   tmplt   where the fields stand: "yyyymmdd", "dd.mm.yy", "dd mmm yyyy"; y year, m or c month, d day
// Returns 2. Returns 0 if one of them is null or empty, or memory ran out; then the record is as it was.
DICOM_EXPORT int Make_Velm_Date(Velmora_Date *date, const char *text, const char *tmplt);

// Gives the numbers. Returns 1; 0 if state is not 1, and then the arguments are as they were.
DICOM_EXPORT int Get_Velm_Date(Velmora_Date *date, int *year, int *month, int *day);

// A count of days for ordering, 0 on 1 January 1980, all months with 31 days. 0 if state is not 1.
DICOM_EXPORT int Get_Velm_Date(Velmora_Date *date);

// Copies state and numbers, and the texts if they wait for parsing. Otherwise the texts of dest stay where they are: the
// next text takes their place, or the host frees them.
// Returns 1; 0 when memory ran out, and then dest is as it was.
DICOM_EXPORT int Date_Copy(Velmora_Date *dest, Velmora_Date *origin);

// Releases the texts if they wait for parsing (state 2), and clears state and numbers. Null is left alone.
DICOM_EXPORT void Date_Free(Velmora_Date *date);

// Orders two dates: -100, -10 or -1 if a has the smaller year, month or day, the opposite if the larger, 0 if they are
// equal. A null date comes before one whose state is not 1, and that before others: -1000 or 1000.
DICOM_EXPORT int Velm_Date_Cmp(Velmora_Date *a, Velmora_Date *b);

/* ---- times of day ------------------------------------------------------------------- */

// Store numbers, narrowed to the fields, unchecked. Return 1.
DICOM_EXPORT int Make_Velm_Time(Velmora_Time *time, int hour, int minute, float second);
DICOM_EXPORT int Make_Velm_Time(Velmora_Time *time, int hour, int minute, int second);

// Stores hours with their fraction as hour, minute and second. Returns 1.
DICOM_EXPORT int Make_Velm_Time(Velmora_Time *time, float hours);

// Store the local time of a clock value, in seconds since 1970; one without a local time changes nothing. Return 0.
DICOM_EXPORT int Make_Velm_Time(Velmora_Time *time, int64_t clock);
DICOM_EXPORT int Make_Velm_Time(Velmora_Time *time, int clock);

// Stores a text for Velm_Time_Postproc to parse.
//   text    of which as many bytes count as the template has
//   tmplt   where the digits stand: "hhmmss.ffffff"; cut at 79 bytes
// If one of them is null or empty, or memory ran out, the record is as it was. Returns 0 in any case: see state.
DICOM_EXPORT int Make_Velm_Time(Velmora_Time *time, const char *text, const char *tmplt);

// Gives the numbers. Returns 1; 0 if state is not 1, and then the arguments are as they were.
DICOM_EXPORT int Get_Velm_Time(Velmora_Time *time, int *hour, int *minute, float *second);

// Gives the time in hours. Returns as above.
DICOM_EXPORT int Get_Velm_Time(Velmora_Time *time, float *hours);

// The time in whole seconds; 0 if state is not 1.
DICOM_EXPORT int Get_Velm_Time(Velmora_Time *time);

// As Date_Copy and Date_Free.
DICOM_EXPORT int Time_Copy(Velmora_Time *dest, Velmora_Time *origin);
DICOM_EXPORT void Time_Free(Velmora_Time *time);

// As Velm_Date_Cmp, with hour, minute and second.
DICOM_EXPORT int Velm_Time_Cmp(Velmora_Time *a, Velmora_Time *b);

/* ---- parsing and printing ------------------------------------------------------------ */

// The number of a month by its English or French name, by its first three or four letters; 0 if it is unknown.
//   text  comes back in small letters; may be null
DICOM_EXPORT unsigned char Get_Month_From_Str(char *text);

// "Jan" to "Dec"; "???" for what is no month.
DICOM_EXPORT const char *Get_Month_From_Int(unsigned char month);

// Parses a text that waits, completes a two-digit year, exchanges day and month where only that makes sense, and
// checks the numbers. Velm_Date_Template, when not empty, stands in for the record's template.
//   old_dates  0: years 1981 to 2050, as of studies, two digits from 1960 on; otherwise 1801 to 2050, as of births,
//              two digits from 1910 on
// Returns null, or a message: state tells whether the date is lost (0) or repaired (1). A message stays valid for 127
// further calls. When memory ran out the text still waits, without a message.
DICOM_EXPORT char *Velm_Date_Postproc(Velmora_Date *date, char old_dates);

// Parses a text that waits, and carries seconds and minutes that are out of range over; days are dropped.
// Velm_Time_Template, when not empty, stands in for the record's template.
// Returns null, or a message that the next call overwrites: the text could not be read, and state is 0; or the template
// is wrong, and the text still waits. When memory ran out it still waits too, without a message.
DICOM_EXPORT char *Velm_Time_Postproc(Velmora_Time *time);

// The forms of DICOM (PS3.5, 6.2): DA of a date, TM of a time, DT of both. Texts that wait are parsed first; numbers
// print unchecked. Either argument may be null; an empty record prints as nothing.
// Returns a static text that the next call overwrites, from whatever thread.
DICOM_EXPORT char *Time_2_DICOM(Velmora_Date *date, Velmora_Time *time);

// The same for readers: "01 Feb 2004  09:05:07.250". Null if both arguments are null.
DICOM_EXPORT char *Time_2_Str(Velmora_Date *date, Velmora_Time *time);

#endif
