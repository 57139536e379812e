#ifndef VELMORA_DICOM_READ_H
#define VELMORA_DICOM_READ_H

#include <stdint.h>

#include "util/Velmora_Util.h"

struct DICOM_List;
struct Velmora_Name;
struct Velmora_Date;
struct Velmora_Time;

DICOM_EXPORT int NEMA_Read_Byte(HWND window, int source, intptr_t handle, const char *name, char format, int size, char *out);
DICOM_EXPORT int NEMA_Read_Short(HWND window, int source, intptr_t handle, const char *name, char format, int size, short *out);
DICOM_EXPORT int NEMA_Read_UShort(HWND window, int source, intptr_t handle, const char *name, char format, int size,
                                  unsigned short *out);
DICOM_EXPORT int NEMA_Read_Int(HWND window, int source, intptr_t handle, const char *name, char format, int size, int *out);
DICOM_EXPORT int NEMA_Read_UInt(HWND window, int source, intptr_t handle, const char *name, char format, int size,
                                unsigned int *out);
DICOM_EXPORT int NEMA_Read_Float(HWND window, int source, intptr_t handle, const char *name, char format, int size, float *out);
DICOM_EXPORT int NEMA_Read_Double(HWND window, int source, intptr_t handle, const char *name, char format, int size,
                                  double *out);
DICOM_EXPORT char *NEMA_Read_Buffer(HWND window, int source, intptr_t handle, const char *name, char format, int size);
DICOM_EXPORT char *NEMA_Read_Str(HWND window, int source, intptr_t handle, const char *name, char format, int size);
DICOM_EXPORT int NEMA_Skip(HWND window, int source, intptr_t handle, const char *name, int size);

DICOM_EXPORT short NEMA_Convert_Short(char format, const char *bytes);
DICOM_EXPORT unsigned short NEMA_Convert_UShort(char format, const char *bytes);
DICOM_EXPORT int NEMA_Convert_Int(char format, const char *bytes);
DICOM_EXPORT float NEMA_Convert_Float(char format, const char *bytes);
DICOM_EXPORT double NEMA_Convert_Double(char format, const char *bytes);

DICOM_EXPORT int NEMA_Get_Data_Element(HWND window, int source, intptr_t handle, const char *name, unsigned char mode,
                                       unsigned short *group, unsigned short *element, unsigned short *vr, int *length,
                                       int limit);

DICOM_EXPORT Velmora_Date *NEMA_Value_Date(HWND window, DICOM_List *tag, unsigned short vr);
DICOM_EXPORT Velmora_Time *NEMA_Value_Time(HWND window, DICOM_List *tag, unsigned short vr);
DICOM_EXPORT Velmora_Name *NEMA_Value_Name(HWND window, DICOM_List *tag, unsigned short vr);
DICOM_EXPORT char **NEMA_Value_Str(HWND window, DICOM_List *tag, unsigned short vr);
DICOM_EXPORT char *NEMA_Value_Hex(HWND window, DICOM_List *tag, unsigned short vr);
DICOM_EXPORT int *NEMA_Value_Int(HWND window, DICOM_List *tag, unsigned short vr);
DICOM_EXPORT float *NEMA_Value_Float(HWND window, DICOM_List *tag, unsigned short vr);
DICOM_EXPORT void NEMA_Value_Cleanup();

DICOM_EXPORT int DICOM_Attribute_Get_Data(DICOM_List *tag, char **values);

#endif
