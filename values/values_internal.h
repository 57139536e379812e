// What the value records share among themselves and with the folders that build and print attributes.
#ifndef VELMORA_VALUES_INTERNAL_H
#define VELMORA_VALUES_INTERNAL_H

#include <stddef.h>

#include "frame/frame_internal.h"
#include "values/DICOM_Values.h"

enum Record_State : unsigned char {
    STATE_EMPTY = 0,
    STATE_NUMBERS = 1,   // the numbers are valid
    STATE_TEXT = 2,      // text and template wait for parsing
};

enum {
    RING_SLOTS = 128,    // texts given to a host live in rings of this many slots
    MESSAGE_ROOM = 80,   // bytes of one message or one rendered time
};

inline bool is_empty(const char *text)
{
    return text == nullptr || text[0] == '\0';
}

// Copies as much of a text as the target holds, always terminated.
inline void copy_cut(char *target, size_t room, const char *text)
{
    size_t length = strnlen(text, room - 1);
    memcpy(target, text, length);
    target[length] = '\0';
}

// The whole part of hours or seconds, towards zero. Bounded, so that sums of it fit an int; what is no number gives 0.
inline int whole_part(float value)
{
    const int limit = 1000000000;
    if (!(value > static_cast<float>(-limit)))
        return value <= static_cast<float>(-limit) ? -limit : 0;
    return value < static_cast<float>(limit) ? static_cast<int>(value) : limit;
}

// Moves a ring on, under the global mutex, and gives the number of the slot to use.
inline int next_in_ring(int *counter)
{
    Mutex_Access_Start();
    int slot = (*counter + 1) % RING_SLOTS;
    *counter = slot;
    Mutex_Access_Stop();
    return slot;
}

// Prints seconds as DICOM does: two digits, and the fraction behind a point where there is one worth printing. The
// point is a point whatever the locale. Seconds that are no number print as 00.
//   decimals  3 or 6
void print_seconds(char *text, size_t room, float second, int decimals);

// Release the text and the template of a record; its state and numbers stay.
void release_texts(Velmora_Date *date);
void release_texts(Velmora_Time *time);

// The copy of a template that one parse works on: of the one that overrides all others if that is set, else of the
// record's own. Released by free().
//   missing  tells, when the result is null, that there is no template; otherwise memory ran out, which is reported
char *copy_template(const char *overriding, const char *own, bool *missing);

#endif
