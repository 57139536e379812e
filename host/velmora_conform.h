// The host library: a data set in line with the template of its kind.
//
//     using namespace velmora_host;
//     register_makers();                                    // once, and after DICOM_Module_List_Cleanup again
//     DICOM_Module_Setup(nullptr, "definitions/");
//     Conform_Result result;
//     if (conform(&set, Conform_Options(), &result, &error))
//         save_to_path(&set, "new.dcm", Save_Options(), &error);
//
// It takes a data set that was loaded through the steps of the library in their order: clean the values, add what the
// template wants, overwrite what it forces, drop what is empty and optional, delete what it forbids, fetch what is
// unread, verify, sort. Nothing is made up: what is added is empty, stands in the template, or follows from the data
// set; what only a person can know is listed as lacking. Places of which the template says nothing stay as they are,
// and so does what lies below the ninth level of sequences.
#ifndef VELMORA_CONFORM_H
#define VELMORA_CONFORM_H

#include "host/velmora_host.h"

namespace velmora_host
{

// ---- what came of it ------------------------------------------------------------------

// What became of an attribute.
enum Change_Kind : unsigned char { VALUE_ADDED, VALUE_CHANGED, VALUE_REMOVED };

// One difference between what was read and what came of it. An attribute that is added or removed with items is told
// as one.
struct Conform_Change {
    Change_Kind kind;                // what became of it
    unsigned short group, element;   // its tag
    std::string path;                // what stands around it: "0040,a730[2]/0040,a168[1]/", empty at the top level
    std::string name;                // as the dictionary calls it; may be empty
    std::string before, after;       // the values in short, their bytes as they are; empty: none
    std::string charset;             // Specific Character Set (0008,0005) that holds there in the end; may be empty
    std::string why;                 // may be empty: the value broke the rules of its VR
};

// What is wrong with an attribute that a template demands.
enum Lack_Kind : unsigned char {
    LACK_ABSENT,
    LACK_EMPTY,   // of type 1, without a value
    LACK_WRONG,   // with a value that the rules do not allow
};

// What the template demands and the data set does not have. Items of one sequence that lack the same count as one.
struct Conform_Lack {
    Lack_Kind kind;                  // what is wrong
    unsigned short group, element;   // its tag
    unsigned short type;             // TYPE_1 or TYPE_2
    int items;                       // with this lack; 1 at the top level
    std::string path;                // of the first of them
    std::string name;                // as the dictionary calls it; may be empty
};

// What conform did and could not do.
struct Conform_Result {
    std::string module;                    // name of the template
    bool is_fallback = false;              // which is that of every data set without a kind of its own
    int padded = 0;                        // values of which only the padding changed; not among the changes
    std::vector<Conform_Change> changes;   // in the order of the data set
    std::vector<Conform_Lack> lacks;       // in the order of the template
};

// ---- templates ------------------------------------------------------------------------

// The name of the template for a data set: by its SOP class, or that in the head; without one by its modality.
//   is_fallback  gets whether nothing more than a composite object is known of it
std::string find_module(const Data_Set &set, bool *is_fallback);

// The template of a name, as DICOM_Module_Read gives it. Null with a line in error when there is no such definition;
// no other template stands in for it.
DICOM_List *read_template(const std::string &module, std::string *error);

// Compares a data set with a template, in all items that both have. The data set must be sorted and without item nodes
// (make_editable); neither is changed.
//   report  each lack is also reported, in the words of DICOM_Postproc_Verification
void find_lacks(Data_Set *set, DICOM_List *tmplt, bool report, std::vector<Conform_Lack> *lacks);

// ---- the whole ------------------------------------------------------------------------

// How conform works.
struct Conform_Options {
    std::string module;         // name of the template; empty: that of find_module
    bool report_lacks = true;   // report them through Error_Fct as well
    std::string uid_root;       // new UIDs stand below it; empty: below 2.25, made from a UUID (DICOM PS3.5, B.2)

    // Called when the values are clean and before anything is added: the place to set values that a person gives.
    // False ends it all with the error.
    bool (*give)(Data_Set *set, void *user, std::string *error) = nullptr;
    void *user = nullptr;
};

// Registers handlers with DICOM_Module_List_Group_Grow for the values that follow from a data set. They answer to
// conform alone. Those of a host that were registered before come first, and may replace them. False: no memory.
bool register_makers();

// Returns false, with a line in error, when there is no template or give refuses. The data set can be written and
// released in any case.
bool conform(Data_Set *set, const Conform_Options &options, Conform_Result *result, std::string *error);

// A UID that nobody else makes. root as in Conform_Options; see is_uid_root.
std::string make_uid(const std::string &root);

// Whether it is a UID that leaves room for 20 digits and more.
bool is_uid_root(const std::string &text);

}   // namespace velmora_host

#endif
