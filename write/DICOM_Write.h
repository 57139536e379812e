#ifndef VELMORA_DICOM_WRITE_H
#define VELMORA_DICOM_WRITE_H

#include "util/Velmora_Util.h"

struct DICOM_List;
struct DICOM_Root;

typedef int (*DICOM_Image_Fct)(HWND window, char syntax, unsigned int offset, char **buffer, void *user);
typedef int (*DICOM_Image_B_Fct)(HWND window, char syntax, char **buffer, int a, int b, void *user);
DICOM_EXPORT int DICOM_Write_Image_Fct(DICOM_Image_Fct callback);
DICOM_EXPORT int DICOM_Write_Image_B_Fct(DICOM_Image_B_Fct callback);

DICOM_EXPORT unsigned int DICOM_Write_Part10(HWND window, char syntax, DICOM_List *list, char **buffer);
DICOM_EXPORT unsigned int DICOM_Write_Buffer(HWND window, char syntax, DICOM_List *list, char **buffer, void *user);
DICOM_EXPORT unsigned int DICOM_Write_Buffer_A(HWND window, char syntax, DICOM_List *list, char **buffer, void *user);
DICOM_EXPORT int DICOM_Write_Buffer_B(HWND window, char syntax, char **buffer, int a, int b, void *user);
DICOM_EXPORT unsigned int DICOM_Write_Buffer_C(HWND window, char syntax, DICOM_List *list, char **buffer, void *user);
DICOM_EXPORT int DICOM_List2Stream(HWND window, char syntax, DICOM_List *list, char **buffer);

DICOM_EXPORT int DICOM_Postproc_Step_1(HWND window, DICOM_Root *root, DICOM_List **target, DICOM_List *tmplt,
                                       unsigned short mask);
DICOM_EXPORT int DICOM_Postproc_Overwrite(HWND window, DICOM_Root *root, DICOM_List **target, DICOM_List *tmplt,
                                          unsigned short mask);
DICOM_EXPORT int DICOM_Postproc_Step_2(HWND window, DICOM_Root *root, DICOM_List *target, unsigned short parent_type);
DICOM_EXPORT int DICOM_Postproc_Step_4(HWND window, DICOM_Root *root, DICOM_List **target, DICOM_List *tmplt);
DICOM_EXPORT int DICOM_Postproc_Step_5(HWND window, DICOM_Root *root, DICOM_List *target);
DICOM_EXPORT void DICOM_Postproc_Verification(HWND window, DICOM_Root *root, DICOM_List *target, DICOM_List *tmplt,
                                              int unused);

typedef DICOM_List *(*DICOM_Module_Fct)(HWND window, DICOM_Root *root, DICOM_List **target, DICOM_List *tmplt, void *user);
DICOM_EXPORT int DICOM_Module_Add(HWND window, DICOM_Root *root, DICOM_List **target, DICOM_List *tmplt, void *user);
DICOM_EXPORT int DICOM_Module_List_Group_Grow(unsigned short group, DICOM_Module_Fct callback);
DICOM_EXPORT int DICOM_Module_List_Private_Grow(unsigned short group, DICOM_Module_Fct callback);
DICOM_EXPORT void DICOM_Module_List_Cleanup();

#endif
