// What the files of this folder share: the limits of definition files, the way to open them, the parser, and the table
// of macros. All of it is touched under the global mutex only.
#ifndef VELMORA_MODULES_INTERNAL_H
#define VELMORA_MODULES_INTERNAL_H

#include "modules/DICOM_Modules.h"
#include "tree/tree_internal.h"

enum Definition_Limits {
    LINE_ROOM = 2048,         // one line with its comment, terminated
    VALUE_ROOM = 1024,        // a quoted value or a description, terminated; the binary form of a list of numbers
    FILE_NAME_ROOM = 256,     // a file name without its directory, terminated
    PATH_ROOM = 2048,         // directory and file name, terminated
    INCLUDE_ROOM = 10240,     // slots of the macro table; the last one stays without a list
    MODALITY_ROOM = 100,      // slots of the template cache; the last one stays without a template
    MAX_INCLUDE_DEPTH = 16,   // macros that are read one inside the other, 4 KB of stack each; real ones need five
    MAX_DEFINITION_NODES = 50000,   // nodes that one run may make; the largest real template needs under 8,000
};

extern char *DICOM_Module_Dir;   // heap text that ends with its separator; null: not set

extern char *Include_Name[INCLUDE_ROOM];
extern DICOM_List *Include_List[INCLUDE_ROOM];
extern int Include_Nb;

// Composes prefix, name and ".txt". Returns false if the result does not fit; the buffer then holds its beginning,
// which serves for messages and must not be opened.
bool compose_definition_name(char *buffer, const char *prefix, const char *name);

// Opens a file of the definition directory for reading. Returns null if there is no directory, if the path does not
// fit, or if the file cannot be opened.
FILE *open_definition(const char *file);

// The same from a name that is still to be composed; the buffer has FILE_NAME_ROOM bytes and gets the bare file name.
FILE *open_definition_named(char *buffer, const char *prefix, const char *name);

// DICOM_Module_Read_Line, which also adds to consumed the bytes that it took from the stream. Null: nobody counts.
int read_definition_line(HWND window, FILE *stream, int line, char *buffer, const char *file, char **comment,
                         long *consumed);

// The head of the warning pairs about a line of an attribute file.
void report_attribute_line(HWND window, const char *file, int line);

// Around several files that are read for one purpose, so that they share one allowance of nodes: MAX_DEFINITION_NODES.
// Runs nest, the outermost one counts, and each file is a run of its own if nobody has started one.
void start_definition_run();
void stop_definition_run();

// Reads an attribute file to its end and appends its nodes to the list, which may hold nodes already: flat, in stream
// order, with an item or delimiter node wherever an item or a sequence begins or ends. The caller closes the stream.
//   file  name for messages
// Returns 1, or 0 when memory or the allowance of nodes ran out, which is reported; what was read stays.
int DICOM_Module_Read_File(HWND window, FILE *stream, const char *file, DICOM_List **list);

// Wipes the constant item and delimiter nodes of the parser.
void forget_delimiter_nodes();

// Releases all macros, and with them the lists that DICOM_Module_Include_Get has handed out.
void drop_macros(HWND window);

// Releases a whole chain and its address: DICOM_Attribute_Delete with both wildcards, at the top level.
void delete_list(HWND window, DICOM_List **list);

#endif
