#ifndef VELMORA_DICOM_DUMP_H
#define VELMORA_DICOM_DUMP_H

#include "util/Velmora_Util.h"

struct DICOM_List;
struct DICOM_Root;

DICOM_EXPORT void DICOM_Attribute_Stool(HWND window, DICOM_Root *root, DICOM_List *list, int level);
DICOM_EXPORT void DICOM_Attribute_Stool_Tag(HWND window, DICOM_Root *root, DICOM_List *tag, int level);
DICOM_EXPORT const char *DICOM_Attribute_Stool_Data(HWND window, DICOM_List *tag, char *buffer);

#endif
