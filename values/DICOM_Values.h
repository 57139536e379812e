#ifndef VELMORA_DICOM_VALUES_H
#define VELMORA_DICOM_VALUES_H

#include <stdint.h>

#include "util/Velmora_Util.h"

struct Velmora_Name {
    unsigned char count;   // how many of family, given and middle are present; 0: the name is empty
    char *family, *given, *middle, *prefix, *suffix;   // heap texts of the record, never empty; null: absent
};

struct Velmora_Date {
    unsigned char  state;           // 0 empty, 1 the numbers are valid, 2 text and template wait for parsing
    unsigned short year;
    unsigned char  month, day;      // 1 to 12, 1 to 31
    char          *date_str;        // while state is 2: the text, on the heap
    char          *date_template;   // while state is 2: the template, on the heap
};

struct Velmora_Time {
    unsigned char state;            // as in Velmora_Date
    unsigned char hour, minute;
    float         second;           // with its fraction
    char         *time_str;         // while state is 2: the text, on the heap
    char         *time_template;    // while state is 2: the template, on the heap
};

DICOM_EXPORT int Make_Velm_Name(Velmora_Name *name, const char *family, const char *given, const char *middle,
                                const char *prefix, const char *suffix);
DICOM_EXPORT int Make_Velm_Name_From_Str(Velmora_Name *name, const char *text, int order);
DICOM_EXPORT int Make_Velm_Name_From_Buf(Velmora_Name *name, const char *format, const char *text, int order);
DICOM_EXPORT int Name_Copy(Velmora_Name *target, Velmora_Name *origin);
DICOM_EXPORT void Name_Free(Velmora_Name *name);
DICOM_EXPORT int Velm_Name_Cmp(Velmora_Name *a, Velmora_Name *b);
DICOM_EXPORT char *Name_2_DICOM(Velmora_Name *name, char *text);
DICOM_EXPORT char *Name_2_Str(Velmora_Name *name);
DICOM_EXPORT char *Name_2_Str_Comma(Velmora_Name *name);
DICOM_EXPORT char *Name_2_Str_Old(Velmora_Name *name);

DICOM_EXPORT int Make_Velm_Date(Velmora_Date *date, int year, int month, int day);
DICOM_EXPORT int Make_Velm_Date(Velmora_Date *date, int64_t clock);
DICOM_EXPORT int Make_Velm_Date(Velmora_Date *date, const char *text, const char *tmplt);
DICOM_EXPORT int Get_Velm_Date(Velmora_Date *date, int *year, int *month, int *day);
DICOM_EXPORT int Get_Velm_Date(Velmora_Date *date);
DICOM_EXPORT int Date_Copy(Velmora_Date *dest, Velmora_Date *origin);
DICOM_EXPORT void Date_Free(Velmora_Date *date);
DICOM_EXPORT int Velm_Date_Cmp(Velmora_Date *a, Velmora_Date *b);

DICOM_EXPORT int Make_Velm_Time(Velmora_Time *time, int hour, int minute, float second);
DICOM_EXPORT int Make_Velm_Time(Velmora_Time *time, int hour, int minute, int second);
DICOM_EXPORT int Make_Velm_Time(Velmora_Time *time, float hours);
DICOM_EXPORT int Make_Velm_Time(Velmora_Time *time, int64_t clock);
DICOM_EXPORT int Make_Velm_Time(Velmora_Time *time, int clock);
DICOM_EXPORT int Make_Velm_Time(Velmora_Time *time, const char *text, const char *tmplt);
DICOM_EXPORT int Get_Velm_Time(Velmora_Time *time, int *hour, int *minute, float *second);
DICOM_EXPORT int Get_Velm_Time(Velmora_Time *time, float *hours);
DICOM_EXPORT int Get_Velm_Time(Velmora_Time *time);
DICOM_EXPORT int Time_Copy(Velmora_Time *dest, Velmora_Time *origin);
DICOM_EXPORT void Time_Free(Velmora_Time *time);
DICOM_EXPORT int Velm_Time_Cmp(Velmora_Time *a, Velmora_Time *b);

DICOM_EXPORT unsigned char Get_Month_From_Str(char *text);
DICOM_EXPORT const char *Get_Month_From_Int(unsigned char month);
DICOM_EXPORT char *Velm_Date_Postproc(Velmora_Date *date, char old_dates);
DICOM_EXPORT char *Velm_Time_Postproc(Velmora_Time *time);
DICOM_EXPORT char *Time_2_DICOM(Velmora_Date *date, Velmora_Time *time);
DICOM_EXPORT char *Time_2_Str(Velmora_Date *date, Velmora_Time *time);

#endif
