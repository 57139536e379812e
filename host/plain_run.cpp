// Most elements of most streams: a header that is plain, a value, a tag behind that of the element in front. They need
// none of the questions that reading.cpp asks of any element, and come one behind the other. What they become is what
// it makes of them; a run ends in front of the first for which that is not certain.
#include "host/reading.h"

namespace velmora_host
{

// Whether the place is one that elements can run on in: nobody wants to hear of each, and none waits.
static bool can_run(const Reading *r)
{
    const Level &top = r->top();
    bool has_creators = static_cast<size_t>(top.creators) < r->creators.size();   // private elements may mean something
    return r->at < top.bound && !r->want_traces && !r->want_listing && r->held == 0 && top.segment == r->data_set &&
           top.segment->first == nullptr && !has_creators && (top.kind == LEVEL_ITEM || top.kind == LEVEL_TOP);
}

static bool is_special(const Header &h)
{
    return h.group == GROUP_ITEM || h.group == GROUP_FILE_META || h.group == ANY_TAG_NUMBER || h.length == NO_LENGTH ||
           !is_looked_up_alone(h.group, h.element);
}

void take_plain_run(Reading *r)
{
    Taking *taking = r->chain->taking;
    Taking_Run run;
    if (!can_run(r) || !taking_begin_run(taking, &run))
        return;
    Level &top = r->top();
    const char *bytes = r->bytes;
    const int bound = top.bound, first = r->at;
    const unsigned char mode = top.mode;
    const int64_t end = run.end < bound ? run.end : bound;
    int64_t greatest = run.chain->greatest > top.last_tag ? run.chain->greatest : top.last_tag;
    int at = first, count = 0;
    Header h;
    while (at < end && peek_plain_header(bytes, at, bound, mode, &h) && !is_special(h)) {
        unsigned int tag = static_cast<unsigned int>(h.group) << 16 | h.element;
        TAG_db_Elems *row = NEMA_db_Locate(h.group, h.element);
        unsigned short vr = row != nullptr ? row->vr[0] : static_cast<unsigned short>(VR_NONE);
        if (vr == VR_NONE)
            vr = h.vr;
        if (tag <= greatest || !is_usual_attribute(taking, h.vr, vr, row))
            break;
        DICOM_List *node = take_block_of_node(r);
        int behind = at + h.size;
        begin_node(node, mode, at, behind, h.group, h.element, h.vr, static_cast<int>(h.length));
        node->depth = run.depth;
        node->vr = vr;
        node->db = row;
        node->flag = usual_flag(h.group, row);
        r->chain->loose = node;
        attach_value(r, node, behind);
        r->chain->loose = nullptr;
        taking_follow(&run, node);
        greatest = tag;
        at = behind + static_cast<int>(h.length);
        count++;
    }
    if (count == 0)
        return;
    taking_end_run(taking, &run);
    top.last_tag = static_cast<unsigned int>(greatest);
    top.segment->last = run.newest;
    r->set->elements += count;
    r->group = run.newest->group;
    r->element = run.newest->element;
    r->at = at;
}

}   // namespace velmora_host
