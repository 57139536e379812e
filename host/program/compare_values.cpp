// Compares values where they stand: in their nodes or in the source, in the byte order of either.
#include "host/program/compare_values.h"

#include <string.h>
#include <algorithm>

#include "host/program/element_values.h"
#include "tree/DICOM_Constants.h"

using namespace velmora_host;

static const int PORTION = 1 << 16;   // a multiple of all units

// A part of a value in little-endian order: where it stands, or turned in the room.
static const char *portion(const Sided_Node &side, const char *bytes, int at, int size, char *room)
{
    int unit = turning_unit(side.node);
    if ((side.node->syntax & SYNTAX_BIG_ENDIAN) == 0 || unit == 1)
        return bytes + at;
    int i = 0;
    for (; size - i >= unit; i += unit)
        std::reverse_copy(bytes + at + i, bytes + at + i + unit, room + i);
    memcpy(room + i, bytes + at + i, static_cast<size_t>(size - i));
    return room;
}

static unsigned short known_vr(const DICOM_List *node)
{
    bool is_guess = node->vr_explicit == VR_NONE && (node->flag & FLAG_GUESSED_VR) != 0;
    unsigned short vr = node->vr_explicit != VR_NONE ? node->vr_explicit : node->vr;
    return is_guess || vr == VR_UN ? static_cast<unsigned short>(VR_NONE) : vr;
}

// The size less the padding at the end of a text.
static int without_padding(unsigned short vr, const char *bytes, int size)
{
    Value_Class kind = value_rule(vr).kind;
    if (kind != VALUES_OF_TEXT && kind != VALUES_OF_NAMES && kind != VALUES_OF_DECIMALS)
        return size;
    while (size > 0 && (bytes[size - 1] == ' ' || bytes[size - 1] == '\0'))
        size--;
    return size;
}

int first_difference(const Sided_Node &a, const Sided_Node &b, bool exact)
{
    int size_a = 0, size_b = 0;
    const char *bytes_a = value_of(*a.set, a.node, &size_a), *bytes_b = value_of(*b.set, b.node, &size_b);
    if (!exact) {
        // Where only one side knows what it is, that goes for both.
        unsigned short vr_a = known_vr(a.node), vr_b = known_vr(b.node);
        size_a = without_padding(vr_a != VR_NONE ? vr_a : vr_b, bytes_a, size_a);
        size_b = without_padding(vr_b != VR_NONE ? vr_b : vr_a, bytes_b, size_b);
    }
    static char room_a[PORTION], room_b[PORTION];   // static: too large for the stack
    int common = std::min(size_a, size_b);
    for (int at = 0; at < common; at += PORTION) {
        int size = std::min(PORTION, common - at);
        const char *in_a = portion(a, bytes_a, at, size, room_a), *in_b = portion(b, bytes_b, at, size, room_b);
        if (memcmp(in_a, in_b, static_cast<size_t>(size)) != 0)
            return at + static_cast<int>(std::mismatch(in_a, in_a + size, in_b).first - in_a);
    }
    return size_a == size_b ? -1 : common;
}

bool is_same_value(const Sided_Node &a, const Sided_Node &b, bool exact)
{
    return first_difference(a, b, exact) < 0;
}

static int count_items(const DICOM_List *node)
{
    int count = 0;
    while (count < node->nb_item && node->item[count] != nullptr)
        count++;
    return count;
}

bool has_same_fragments(const Sided_Node &a, const Sided_Node &b)
{
    int count = count_items(a.node);
    if (count != count_items(b.node))
        return false;
    for (int i = 0; i < count; i++)
        if (!is_same_value({a.set, a.node->item[i]}, {b.set, b.node->item[i]}, true))
            return false;
    return true;
}

bool has_other_vr(const DICOM_List *a, const DICOM_List *b)
{
    return a->vr_explicit != VR_NONE && b->vr_explicit != VR_NONE && a->vr_explicit != b->vr_explicit;
}

// Sequences below the ninth level are compared by their bytes.
static bool is_same_opaque(const Sided_Node &a, const Opaque *in_a, const Sided_Node &b, const Opaque *in_b)
{
    if (in_a == nullptr || in_b == nullptr)
        return in_a == in_b;
    return in_a->mode == in_b->mode && in_a->size == in_b->size &&
           memcmp(a.set->source.bytes + in_a->data_pos, b.set->source.bytes + in_b->data_pos,
                  static_cast<size_t>(in_a->size)) == 0;
}

// At most nine levels deep, as trees are.
bool is_same_attribute(const Sided_Node &a, const Sided_Node &b)
{
    if (a.node->group != b.node->group || a.node->element != b.node->element || has_other_vr(a.node, b.node) ||
        !is_same_value(a, b, true) ||
        !is_same_opaque(a, find_opaque(*a.set, a.node), b, find_opaque(*b.set, b.node)))
        return false;
    int count = count_items(a.node);
    if (count != count_items(b.node))
        return false;
    for (int i = 0; i < count; i++) {
        const DICOM_List *in_a = a.node->item[i], *in_b = b.node->item[i];
        for (; in_a != nullptr && in_b != nullptr; in_a = in_a->next, in_b = in_b->next)
            if (!is_same_attribute({a.set, in_a}, {b.set, in_b}))
                return false;
        if (in_a != in_b)
            return false;
    }
    return true;
}
