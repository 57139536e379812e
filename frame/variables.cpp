// The settings of the library, with the values that they have when it is loaded.
#include "frame/Velmora_Frame.h"

int Flag_Error_Error = 2;
int Flag_Error_Warning = 0;
int Flag_Error_Report = 0;

char DICOM_Flag_Contibuting_Equip = 1;
char DICOM_Tranfer_Syntax = 8;
char DICOM_Keep_UID = 1;
char DICOM_Keep_Overlay = 1;
char Flag_Split_Multiframe = 0;
char Flag_UNIX_Filename = 0;

const char *Velmora_UID = "1.2.999.0.1.7204516.2.813";

unsigned short DICOM_Delete_Tags[36][2] = {
    {0x0002, 0x0001}, {0x0002, 0x0010}, {0x0002, 0x0013}, {0x0002, 0x0016}, {0xFFFF, 0x0000}, {0x0008, 0x0020},
    {0x0008, 0x0021}, {0x0008, 0x0022}, {0x0008, 0x0023}, {0x0008, 0x0030}, {0x0008, 0x0031}, {0x0008, 0x0032},
    {0x0008, 0x0033}, {0x0008, 0x0060}, {0x0020, 0x0010}, {0x0020, 0x0011}, {0x0020, 0x0012}, {0x0020, 0x0013},
    {0x0020, 0x0020}, {0x0020, 0x0032}, {0x0020, 0x0037}, {0x0028, 0x1052}, {0x0028, 0x1053}, {0x0028, 0x1199},
    {0x0028, 0x0002}, {0x0028, 0x0004}, {0x0028, 0x0006}, {0x0028, 0x0010}, {0x0028, 0x0011}, {0x0028, 0x0034},
    {0x0028, 0x0100}, {0x0028, 0x0101}, {0x0028, 0x0102}, {0x0028, 0x0103}, {0x0000, 0x0000}, {0x0000, 0x0000},
};

char DICOM_Override[256] = "";
unsigned short DICOM_Modality = 0;
char Flag_DICOM_Propriatery = 0;
char DICOM_Flag_Elem_0000 = 0;
char DICOM_Flag_Seq_Size = 0;

const char *DICOM_Lib_File_Name = nullptr;
int DICOM_Lib_File_Source = 0;
int File_Work_File_Pos[10] = {};
int File_Work_File_Count = 0;

const char *Velm_Date_Template = nullptr;
const char *Velm_Time_Template = nullptr;
