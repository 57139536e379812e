#ifndef VELMORA_DICOM_MODULES_H
#define VELMORA_DICOM_MODULES_H

#include <stdio.h>

#include "util/Velmora_Util.h"

struct DICOM_List;

DICOM_EXPORT const char *DICOM_Module_Setup(HWND window, const char *directory);
DICOM_EXPORT int DICOM_Module_Read_Line(HWND window, FILE *stream, int line, char *buffer, const char *file, char **comment);
DICOM_EXPORT int DICOM_Module_Read_Value(DICOM_List *node, char *value);
DICOM_EXPORT DICOM_List *DICOM_Module_Include_Get(HWND window, char *name, const char *file, int line);

DICOM_EXPORT DICOM_List *DICOM_Module_Read(HWND window, const char *name);
DICOM_EXPORT const char *DICOM_Module_Name(HWND window, int modality, int frames);
DICOM_EXPORT const char *DICOM_Module_Name(HWND window, DICOM_List *list);
DICOM_EXPORT void DICOM_Module_Free();
DICOM_EXPORT void DICOM_Module_Cleanup();

DICOM_EXPORT int DICOM_Module_Read_Private(HWND window, const char *creator, DICOM_List *node);
DICOM_EXPORT void DICOM_Module_Free_Private();

struct Code_Seq {
    char *code_value;      // out: heap text of the record's owner
    char *coding_scheme;   // out: heap text of the record's owner
    char *code_meaning;    // out: heap text of the record's owner
    char *str;             // in: the text to look up; not changed
};

DICOM_EXPORT int DICOM_Macro_CodeSequence_Set(Code_Seq *code, const char *table);
DICOM_EXPORT Code_Seq *DICOM_Macro_Code_Sequence_Get();
DICOM_EXPORT void DICOM_Macro_Code_Sequence_Reset();

#endif
