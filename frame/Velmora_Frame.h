// The frame of the library: its settings, its version, its tear-down, and heap helpers for blocks that it hands out.
//
//     DICOM_Lib_File_Source = 0;                   // values left unread come from memory
//     DICOM_Lib_File_Name = bytes_of_the_file;
//     ... read, change, write ...
//     DICOM_Lib_Cleanup();                         // last call, after the host has released its trees
#ifndef VELMORA_FRAME_H
#define VELMORA_FRAME_H

#include "util/Velmora_Util.h"

// Settings. The host writes them before the calls that read them; none of them is guarded by a lock.
extern DICOM_EXPORT int Flag_Error_Error;     // level for errors of the host; 2; the library does not read it
extern DICOM_EXPORT int Flag_Error_Warning;   // level of every warning; 0
extern DICOM_EXPORT int Flag_Error_Report;    // level of every remark on a data set; 0

extern DICOM_EXPORT char DICOM_Flag_Contibuting_Equip;   // for the host; 1
extern DICOM_EXPORT char DICOM_Tranfer_Syntax;           // for the host: the syntax that it writes; 8, explicit VR little-endian
extern DICOM_EXPORT char DICOM_Keep_UID;                 // for the host; 1
extern DICOM_EXPORT char DICOM_Keep_Overlay;             // for the host; 1
extern DICOM_EXPORT char Flag_Split_Multiframe;          // for the host; 0
extern DICOM_EXPORT char Flag_UNIX_Filename;             // for the host; 0

extern DICOM_EXPORT const char *Velmora_UID;             // the root of the library's own UIDs

// The tags that a host deletes when it makes a new image of an old one, as (group, element) of DICOM_Attribute_Delete;
// 0xFFFF is its wildcard. Ends with two pairs of (0000,0000).
extern DICOM_EXPORT unsigned short DICOM_Delete_Tags[36][2];

extern DICOM_EXPORT char DICOM_Override[256];            // path of a definition file that goes before all others; empty: none
extern DICOM_EXPORT unsigned short DICOM_Modality;       // replaces the modality asked for; packed like a VR; 0: does not
extern DICOM_EXPORT char Flag_DICOM_Propriatery;         // 0: writers and DICOM_Attribute_Remove drop odd groups
extern DICOM_EXPORT char DICOM_Flag_Elem_0000;           // not 0: writers put a group length in front of each group
extern DICOM_EXPORT char DICOM_Flag_Seq_Size;            // not 0: sequences and items are written with their lengths

// Where values come from that were left unread: a file's path when the source is 1, else the start of a buffer in
// memory that holds the stream. Valid as long as a tree has unread values; not released by the library.
extern DICOM_EXPORT const char *DICOM_Lib_File_Name;
extern DICOM_EXPORT int DICOM_Lib_File_Source;
extern DICOM_EXPORT int File_Work_File_Pos[10];          // ring of read positions for fetches from memory; the library's
extern DICOM_EXPORT int File_Work_File_Count;            // the ring's next slot, 0 to 9; the library's

extern DICOM_EXPORT const char *Velm_Date_Template;      // when not empty, replaces the template of every date
extern DICOM_EXPORT const char *Velm_Time_Template;      // when not empty, replaces the template of every time

// The library's name, version and revision as one text.
//   version  the version that the host was made for, or null for any
// Returns a static text, or null if the library has another version than the one asked for.
DICOM_EXPORT const char *Get_Version_DICOM(const char *version);

// Releases all tables that the library has built: value rings, templates, private definitions, the dictionary, the
// dispatch tables. The last call of a run; the host releases its trees before it, since their nodes point into the
// dictionary. The library can be used again afterwards; the settings keep their values.
DICOM_EXPORT void DICOM_Lib_Cleanup();

// Changes the size of a block that the library or the host allocated.
//   buffer  address of the block's pointer; a null pointer there gets a new block
//   size    wanted size in bytes; 0 releases the block and stores null
// Returns 1. Returns 0 when memory ran out: that is reported, the old block is released and the pointer is null.
DICOM_EXPORT int DICOM_Lib_Realloc(char **buffer, unsigned int size);

// Releases a block and stores null. A null pointer is left alone.
DICOM_EXPORT void DICOM_Lib_Free(char **buffer);

#endif
