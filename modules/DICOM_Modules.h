// Module definitions: what a data set of one kind must hold, read from text files into templates, definitions of
// private attributes, and coded entries.
//
//     DICOM_Module_Setup(nullptr, "/usr/share/velmora/definitions/");       // ends with its separator
//     const char *kind = DICOM_Module_Name(nullptr, data_set);              // such as "CT_Image"
//     DICOM_List *wanted = DICOM_Module_Read(nullptr, kind);                // the library's: read it, do not change it
//     if (wanted != nullptr)
//         DICOM_Postproc_Verification(nullptr, &root, data_set, wanted, 0); // says what the data set lacks
//
// The files of the definition directory, each with one line for each attribute, as
// `!>(0008,0060) type=1 VR=CS "OT" desc="Modality" ; a comment`:
//
//     DICOM_Module_<name>.txt       the stems of the attribute files that make up a module, one a line
//     DICOM_Attributes_<stem>.txt   attribute lines, and lines that include macros
//     DICOM_Include_<macro>.txt     the same; can be included anywhere
//     DICOM_Private_<creator>.txt   attribute lines for the private attributes of one creator
//
// A line may begin with ! (its value wins), = (its value is a default), - (the attribute goes), + (its value is added
// to what there is), in this order, and then has one > for each sequence that it stands in. A file is read up to a form
// feed or its end; a last line without a line feed does not count.
#ifndef VELMORA_MODULES_H
#define VELMORA_MODULES_H

#include <stdio.h>

#include "util/Velmora_Util.h"

struct DICOM_List;

/* ---- definition files --------------------------------------------------------------- */

// Sets the directory of the definition files, or tells it.
//   directory  its path, put in front of file names as it stands, so that it ends with a separator; it is copied. The
//              empty text unsets it; null leaves it as it is
// Returns the directory that is set now, in the library's memory until the next change, or null if there is none or
// memory ran out, which is reported. Templates that have been read stay: DICOM_Module_Free drops them.
DICOM_EXPORT const char *DICOM_Module_Setup(HWND window, const char *directory);

// Reads one line of a definition file or of a file like it. Carriage returns are dropped, a tab becomes a blank and the
// byte 0x92 an apostrophe. Other bytes that are not printable are reported and kept.
//   stream   open for reading
//   line     the line's number, for messages
//   buffer   gets the text up to the first semicolon, terminated; at least 2048 bytes
//   file     the file's name, for messages
//   comment  null, or gets the address in the buffer of the text behind the line's last semicolon; null if it has none
// Returns 1 when a whole line stands in the buffer. Returns 0 at the end of the file, at a form feed, on a read error
// and on a line of more than 2047 bytes, the latter two of which are reported; a line that the end cuts off counts as
// not there.
DICOM_EXPORT int DICOM_Module_Read_Line(HWND window, FILE *stream, int line, char *buffer, const char *file,
                                        char **comment);

// Gives a node the value that a text stands for: the text itself, made even, for a VR of text; numbers, in the byte
// order of the node's syntax, for a VR of numbers. The numbers of a list stand apart like this: "1\2 3".
//   node   its vr decides; an old value is released first
//   value  null and the empty text leave the node empty; the text is cut up where it holds numbers
// Returns 1. Returns 0, and the node is left empty, for a null node, for a VR that takes no text (OB, SQ, UN, none),
// for numbers of more than 1024 bytes in all, and when memory ran out, which is reported through the variable hwnd.
DICOM_EXPORT int DICOM_Module_Read_Value(DICOM_List *node, char *value);

// Gives the attributes of a macro, read from DICOM_Include_<name>.txt if no macro of this name has been read yet.
//   name  the macro's name; its blanks become underscores, in place
//   file  name of the file that includes it, for messages
//   line  number of the line that includes it, for messages
// Returns a flat list with item and delimiter nodes that the library owns. It stays until the next DICOM_Module_Read
// that reads files, or DICOM_Module_Cleanup. Returns null for an empty macro and, with a report, for one that cannot be
// read: no file, one that is just being read, more than 16 of them one inside the other, more than 10239 in all.
DICOM_EXPORT DICOM_List *DICOM_Module_Include_Get(HWND window, char *name, const char *file, int line);

/* ---- templates ---------------------------------------------------------------------- */

// Gives the template of a module: a tree, sorted by tag at every depth, of what a data set of this kind holds, with
// types and values. It is read from DICOM_Module_<name>.txt, or DICOM_Module_OT_Image.txt if that is not there, and the
// files that it names, at the first call for a name. The file at DICOM_Override, if one is set, goes before them.
//   name  as from DICOM_Module_Name; upper and lower case differ
// Returns the template, owned by the library until DICOM_Module_Free: the host reads it and changes nothing. Returns
// null if there is none, which is reported at the first call and not again. At most 99 names can be in use, and at
// most 50000 attributes in one template, items and delimiters counted. What memory ran out for is reported and missing;
// it stays so until DICOM_Module_Free.
DICOM_EXPORT DICOM_List *DICOM_Module_Read(HWND window, const char *name);

// Gives the name of the module for a modality.
//   modality  two letters packed like a VR (0x4354 is "CT"); DICOM_Modality goes before it when that is not 0
//   frames    number of frames; more than 1 may give a module of its own
// Returns a name for DICOM_Module_Read: "OT_Image" for no modality. A modality without a module of its own gives its
// two letters, in a static buffer that the next such call overwrites.
DICOM_EXPORT const char *DICOM_Module_Name(HWND window, int modality, int frames);

// Gives the name of the module for a data set, by its SOP Class UID (0008,0016).
//   list  head of the top level, may be null
// Returns a constant: "OT_Image" without a UID that has a module.
DICOM_EXPORT const char *DICOM_Module_Name(HWND window, DICOM_List *list);

// Releases all templates; none may be in use. The next DICOM_Module_Read reads its files anew: a host that changes
// DICOM_Override, the directory or its files calls this first.
DICOM_EXPORT void DICOM_Module_Free();

// Releases the name of the directory, and macros that are left from private definitions or DICOM_Module_Include_Get.
// Templates and private definitions stay.
DICOM_EXPORT void DICOM_Module_Cleanup();

/* ---- private attributes ------------------------------------------------------------- */

// Complements a private attribute from the definition file of its creator: DICOM_Private_<creator>.txt, the creator in
// upper case and with underscores for / \ : * ? " < > |, or the longest head of that name for which there is a file.
// Each creator's file is looked for once.
//   creator  the text of the creator's element, terminated (DICOM PS3.5 7.8.1); from byte 255 on it counts for nothing
//            in the file's name
//   node     gets the VR and description of its line, and FLAG_DELETED if the line says so. A line that names no
//            block, as (0029,0011), holds for (0029,xx11)
// Returns 1 if the attribute was found. Returns 0 if it was not, and when memory ran out, which is reported; lines that
// it ran out for are missing until DICOM_Module_Free_Private.
DICOM_EXPORT int DICOM_Module_Read_Private(HWND window, const char *creator, DICOM_List *node);

// Releases all private definitions. The next DICOM_Module_Read_Private looks for its file anew.
DICOM_EXPORT void DICOM_Module_Free_Private();

/* ---- coded entries ------------------------------------------------------------------ */

// The current record is one for all: one thread at a time looks up codes.

// A coded entry (DICOM PS3.3 8). The record belongs to the host, and so do the texts that a lookup puts into it: they
// are released with free or DICOM_Lib_Free, also before the record is used again.
struct Code_Seq {
    char *code_value;      // out: heap text of the record's owner
    char *coding_scheme;   // out: heap text of the record's owner
    char *code_meaning;    // out: heap text of the record's owner
    char *str;             // in: the text to look up; not changed
};

// Finds the code for a free text in a code table: a file with a row "scheme code meaning" on each line, lines that
// begin with * # or ; being comments. The row wins whose meaning has most words, or heads of words, in the text.
//   code   str is the text, at most 191 bytes
//   table  file name of the table in the definition directory
// Returns 1, with the three texts filled in and the record made the current one. Rows that are equally good are
// reported, and the first one is taken. Returns 0, with the record as it was and none current, for a null text, and
// when there is no table, no row is like the text, or memory ran out, which is reported. Reports go through the
// variable hwnd.
DICOM_EXPORT int DICOM_Macro_CodeSequence_Set(Code_Seq *code, const char *table);

// The record that the last lookup filled, or null if it failed. The record is the host's: reset before it goes.
DICOM_EXPORT Code_Seq *DICOM_Macro_Code_Sequence_Get();

// Makes no record current. Nothing is released.
DICOM_EXPORT void DICOM_Macro_Code_Sequence_Reset();

#endif
