// What is wrong with a stream is reported with its place, and reading goes on behind it where that can be had.
#include "host/reading.h"

#include <stdarg.h>
#include <stdio.h>

namespace velmora_host
{

static const Reading *current_reading = nullptr;   // for place_of_report; null outside a load

Reading_Now::Reading_Now(const Reading *r)
{
    current_reading = r;
}

Reading_Now::~Reading_Now()
{
    current_reading = nullptr;
}

// ---- reports --------------------------------------------------------------------------

static void report(Reading *r, const char *format, va_list values)
{
    char text[512];
    vsnprintf(text, sizeof text, format, values);
    Error_Fct(nullptr, Flag_Error_Warning, "    \xF1\x05WARNING:\x02 (\x01%04x\x02,\x01%04x\x02) %s", r->group,
              r->element, text);
    r->told++;
}

void report_fault(Reading *r, const char *format, ...)
{
    va_list values;
    va_start(values, format);
    report(r, format, values);
    va_end(values);
    r->set->damages++;
}

void report_remark(Reading *r, const char *format, ...)
{
    va_list values;
    va_start(values, format);
    report(r, format, values);
    va_end(values);
}

static const size_t LONGEST_PATH = 300;   // in a report; hostile streams nest without end

static void append_step(std::string *path, const DICOM_List *sequence, int item)
{
    char step[40];
    int length = snprintf(step, sizeof step, "%s%04x,%04x[%d]", path->empty() ? "" : "/", sequence->group,
                          sequence->element, item);
    path->append(step, static_cast<size_t>(length));
    if (path->size() >= LONGEST_PATH)
        path->append("/...");
}

// Of a report that is made while the element goes into the tree; the reading is further then.
static void tell_place_of_node(const DICOM_List *node, int base, Place *place)
{
    place->offset = node->pos >= base ? node->pos - base : node->pos;
    place->pos = node->pos;
    place->group = node->group;
    place->element = node->element;
    place->path.clear();
    place->has_path = false;
}

bool place_of_report(const char *, Place *place)
{
    const Reading *r = current_reading;
    if (r == nullptr)
        return false;
    if (r->chain->settled != nullptr) {
        tell_place_of_node(r->chain->settled, r->set->stream_base, place);
        return true;
    }
    place->offset = r->at >= r->set->stream_base ? r->at - r->set->stream_base : r->at;
    place->pos = r->at;
    place->group = r->group;
    place->element = r->element;
    place->path.clear();
    place->has_path = true;
    for (size_t i = 1; i + 1 < r->levels.size() && place->path.size() < LONGEST_PATH; i++)
        if (r->levels[i + 1].kind == LEVEL_ITEM)
            append_step(&place->path, r->levels[i].node, r->levels[i].items);
    return true;
}

// ---- going on behind a damage ---------------------------------------------------------

// Where the innermost open level of known length ends that has something readable behind it; the end of the source when
// there is none.
static int find_way_on(const Reading *r, int from)
{
    for (size_t i = r->levels.size() - 1; i > 0; i--) {
        const Level &level = r->levels[i], &around = r->levels[i - 1];
        if (level.is_defined && level.bound >= from &&
            is_plausible_at(r->bytes, level.bound, around.bound, around.mode))
            return level.bound;
    }
    return r->size;
}

void skip_damage(Reading *r, int from, const char *fault)
{
    int next = find_way_on(r, from);
    if (next == from)
        report_fault(r, "%s", fault);
    else if (next < r->size)
        report_fault(r, "%s; %d bytes are skipped, reading goes on at offset %d", fault, next - from,
                     next - r->set->stream_base);
    else
        report_fault(r, "%s; the last %d bytes are not read", fault, next - from);
    if (next == r->size)
        r->is_cut_told = true;
    r->at = next;
}

}   // namespace velmora_host
