// The check of one data set.
#ifndef VELMORA_PROGRAM_CHECK_TREE_H
#define VELMORA_PROGRAM_CHECK_TREE_H

#include <string>
#include <vector>

#include "host/program/findings.h"
#include "host/program/many.h"

struct Check_Choice {
    std::vector<std::string> ignored;   // kinds of findings that do not count
    std::string module;                 // name of the template to verify by; "auto": by the SOP class; empty: none
};

// Loads a data set and judges it: what is wrong with its stream, then each value by its VR, in the order of the stream,
// down to a hundred levels of sequences; last, what its template asks for and is not there.
//   error  gets one line when the result is not LOADED
//   kept   gets the data set, for the caller to release; null: it is released
velmora_host::Load_Result check_file(const Input &input, const Check_Choice &choice, Tally *tally,
                                     Finding_Teller *teller, std::string *error,
                                     velmora_host::Data_Set *kept = nullptr);

#endif
