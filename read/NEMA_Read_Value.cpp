// What the typed values have in common: the rings of results, the settling of VR and value, and the copy of the bytes.
// The results themselves are made in value_texts, value_numbers and value_records.
#include "read/read_internal.h"

static const char SOURCE[] = ".\\NEMA_Read_Value";

// Results belong to the library, so that a caller has nothing to free; a ring of them lets it keep some at a time.
static char *byte_blocks[RING_SLOTS];
static int byte_counter;

static int next_slot(int *counter)
{
    Mutex_Access_Start();
    int slot = (*counter + 1) % RING_SLOTS;
    *counter = slot;
    Mutex_Access_Stop();
    return slot;
}

int begin_value(Value_Call *call, HWND window, DICOM_List *tag, unsigned short vr, int *counter, Value_Source source)
{
    call->window = window;
    call->tag = tag;
    call->slot = next_slot(counter);
    tag->vm = 0;
    if (tag->size <= 0)
        return 0;
    if (source == FETCH_UNREAD && is_unread(tag) && !fetch_unread_value(window, tag, LEVEL_LOCATION, "tag->data", HERE))
        return 0;
    if (tag->data == nullptr)
        return 0;
    call->vr = vr != VR_NONE ? vr : working_vr(tag);
    return 1;
}

void report_bad_vr(const Value_Call &call, unsigned short vr, const char *list, Report_Place place)
{
    REPORT(call.window, LEVEL_ATTRIBUTE, "File:%s, Line:%d", place.source, place.line);
    REPORT(call.window, LEVEL_ATTRIBUTE, "(%04x,%04x): bad VR value (%c%c) != %s)", call.tag->group, call.tag->element,
           shown_letter(first_letter(vr)), shown_letter(second_letter(vr)), list);
}

char *NEMA_Value_Hex(HWND window, DICOM_List *tag, unsigned short vr)
{
    Value_Call call;
    if (!begin_value(&call, window, tag, vr, &byte_counter, FETCH_UNREAD))
        return nullptr;
    if (call.vr != VR_OB && call.vr != VR_OW && call.vr != VR_OX && call.vr != VR_UN) {
        report_bad_vr(call, call.vr, "OB or OW", HERE);
        return nullptr;
    }
    char *block = static_cast<char *>(ALLOC_REALLOC(window, "Buffer[cc]", byte_blocks[call.slot], tag->size, 1));
    if (block == nullptr)
        return nullptr;
    byte_blocks[call.slot] = block;
    memcpy(block, tag->data, static_cast<size_t>(tag->size));
    tag->vm = 1;
    return block;
}

void NEMA_Value_Cleanup()
{
    for (char *&block : byte_blocks) {
        frame_free(block);
        block = nullptr;
    }
    release_texts();
    release_numbers();
    release_records();
}
