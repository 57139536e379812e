// Velmora_Util: what every folder of the library stands on. Reports, byte order, small text helpers and one global
// mutex. A host needs it to say where reports go:
//
//     static void to_log(void *user, HWND, int level, const char *text) { fprintf((FILE *)user, "%d %s\n", level, text); }
//     Error_Set_Sink(to_log, log_file);
//     Error_Set_Threshold(10);              // no traces
#ifndef VELMORA_UTIL_H
#define VELMORA_UTIL_H

// What is seen from outside of the library, and what is checked like printf: the numbers of the format and of the first
// value among the arguments.
#if defined(_WIN32)
#define DICOM_EXPORT __declspec(dllexport)
#define DICOM_PRINTF(text, first)
#else
#define DICOM_EXPORT __attribute__((visibility("default")))
#define DICOM_PRINTF(text, first) __attribute__((format(printf, text, first)))
#endif

// The handle of a host's window. The library never looks at it: it only hands it on to Error_Fct.
#ifndef _WINDEF_
typedef void *HWND;
#endif

// The handle that operations report with which take none themselves. Null at the start.
extern DICOM_EXPORT HWND hwnd;

// From 4 on DICOM_Module_Read traces the tree of a template as it works, from 5 on more of it. 0 at the start.
extern DICOM_EXPORT signed char Flag_Trace;

// The name of the host program. Null at the start. "Orvane" asks for a report on each missing private definition file.
extern DICOM_EXPORT const char *Prog_Name;

// The only way out for reports, in the manner of printf.
//   window  handed on to the sink
//   level   1 memory failures, 2 file failures, 11 to 15 traces; warnings and remarks have the level of
//           Flag_Error_Warning and Flag_Error_Report
// A report whose level lies above the threshold is dropped unformatted. A text is cut at 8191 bytes.
// Returns 1 if the report was made, 0 if it was dropped.
DICOM_EXPORT int Error_Fct(HWND window, int level, const char *format, ...) DICOM_PRINTF(3, 4);

// Text for an errno value, in a static buffer of the calling thread that the next call overwrites.
DICOM_EXPORT const char *Error_Perror(int code);

// Receives each report that passes the threshold: the formatted text, without a line feed, valid during the call.
typedef void (*Error_Sink)(void *user, HWND window, int level, const char *text);

// Says where reports go. A null sink sends them to stderr, a line each, with the control bytes taken out.
//   user  handed to each call of the sink
DICOM_EXPORT void Error_Set_Sink(Error_Sink sink, void *user);

// Reports whose level is greater than this are not made at all. 10 at the start: everything but traces.
DICOM_EXPORT void Error_Set_Threshold(int level);
DICOM_EXPORT int Error_Get_Threshold();

// Reads a number from bytes that need no alignment.
//   order  a syntax byte: bit value 1 means big-endian numbers, bit value 2 that the two bytes of each 16-bit word
//          stand swapped; the other bits do not matter
//   bytes  2, 4 or 8 readable bytes
DICOM_EXPORT short Get_Short(char order, const char *bytes);
DICOM_EXPORT unsigned short Get_UShort(char order, const char *bytes);
DICOM_EXPORT int Get_Int(char order, const char *bytes);
DICOM_EXPORT float Get_Float(char order, const char *bytes);
DICOM_EXPORT double Get_Double(char order, const char *bytes);

// Gives the 2, 4 or 8 bytes of a number in the order asked for (see Get_Short). The bytes stand in storage of the
// calling thread: copy them before the next call of the same operation.
DICOM_EXPORT char *Put_Short(char order, short value);
DICOM_EXPORT char *Put_UShort(char order, unsigned short value);
DICOM_EXPORT char *Put_Int(char order, int value);
DICOM_EXPORT char *Put_Float(char order, float value);
DICOM_EXPORT char *Put_Double(char order, double value);

// Work on a text in place; the text goes on starting at the same address, which is the result. Null gives null.
DICOM_EXPORT char *Str_Strip_Spaces(char *text);   // takes blanks off both ends
DICOM_EXPORT char *Str_Strip_Quotes(char *text);   // takes a double quote off each end
DICOM_EXPORT char *Str_To_Lower(char *text);       // A to Z become a to z, whatever the locale

// The next token, as strtok gives it: pass the text once, then null. The delimiters may change from call to call, and
// delimiters between double quotes do not split. Each thread has a place of its own. Returns null at the end.
DICOM_EXPORT char *Str_Strtok(char *text, const char *delimiters);

// 1 if the whole text matches the pattern, else 0. "*" stands for any run of characters, "?" for any one character;
// letters match in their own case only.
DICOM_EXPORT int Str_Match(const char *text, const char *pattern);

// One global mutex, re-entrant for the thread that holds it. Each start needs its stop.
DICOM_EXPORT void Mutex_Access_Start();
DICOM_EXPORT void Mutex_Access_Stop();

#endif
