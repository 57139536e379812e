// The input of the harnesses that take data sets: two bytes that choose how it is read and written, then the stream.
// The mutator keeps them apart, and so any file can become a seed.
#ifndef VELMORA_FUZZ_DATA_SET_INPUT_H
#define VELMORA_FUZZ_DATA_SET_INPUT_H

#include "fuzz/support.h"
#include "host/velmora_save.h"

enum : size_t { CHOICE_BYTES = 2 };

// Steps on the way, of the first byte.
enum : unsigned char {
    CHOOSE_REPAIR = 0x01,
    CHOOSE_CONFORM = 0x02,
    CHOOSE_GROUP_LENGTHS = 0x04,
    CHOOSE_DEFINED_LENGTHS = 0x08,
    CHOOSE_EVEN_LENGTHS = 0x10,
    CHOOSE_LATER_AS_UN = 0x20,
    CHOOSE_STANDARD_GROUPS = 0x40,
    CHOOSE_NO_PRIVATE = 0x80,
};

// Encodings, of the second byte.
inline unsigned char chosen_source_mode(unsigned char choice)
{
    using namespace velmora_host;
    static const unsigned char modes[8] = {MODE_UNKNOWN,         MODE_UNKNOWN,      MODE_UNKNOWN,         MODE_UNKNOWN,
                                           MODE_IMPLICIT_LITTLE, MODE_IMPLICIT_BIG, MODE_EXPLICIT_LITTLE, MODE_EXPLICIT_BIG};
    return modes[choice & 7];
}

inline unsigned char chosen_target_mode(unsigned char choice)
{
    using namespace velmora_host;
    static const unsigned char modes[4] = {MODE_UNKNOWN, MODE_IMPLICIT_LITTLE, MODE_EXPLICIT_LITTLE, MODE_EXPLICIT_BIG};
    return modes[choice >> 3 & 3];
}

inline bool wants_traces(unsigned char choice)
{
    return choice >> 5 == 7;
}

// A data set loaded from a block of just its size.
struct Loaded_Input {
    Loaded_Input(const std::string &stream, unsigned char mode, bool want_listing);
    ~Loaded_Input();
    Loaded_Input(const Loaded_Input &) = delete;

    Block block;
    velmora_host::Data_Set set;
    velmora_host::Load_Result result;
    std::string error;
};

// The first difference of two data sets that make_editable has seen, empty when there is none. Padding up to an even
// length is no difference when it was asked for, nor are VRs that one side does not have.
//   has_lost_vr  gets whether a stream without VRs told less: what held items may have become a value then; or whether a
//                tag below the ninth level stands twice or looks like another in the other byte order
std::string first_difference(const velmora_host::Data_Set &a, const velmora_host::Data_Set &b,
                             const velmora_host::Save_Options &options, bool *has_lost_vr);

#endif
