// Element headers as they stand in the bytes (DICOM PS3.5, 7.1). The library's element reader takes the VRs that came
// to the standard later for short-form ones, and what are no letters for part of a length; here both are looked at
// again, with what follows as the judge. Nothing here moves or reports.
#include "host/host_internal.h"

namespace velmora_host
{

struct Class_Row {
    const char *vrs;
    VR_Class kind;
};

static constexpr Class_Row class_rows[] = {
    {"AEASATCSDADSDTFDFLISLOLTPNSHSLSSSTTMUHUIULUS", VR_SHORT      },
    {"OBOWSQUNUTOX",                                 VR_LONG       },
    {"ODOFOLOVSVUCURUV",                             VR_LONG_UNREAD},
};

static constexpr VR_Class_Table fill_class_table()
{
    VR_Class_Table table = {};   // of what are no letters
    for (char first = 'A'; first <= 'Z'; first++)
        for (char second = 'A'; second <= 'Z'; second++)
            table.of[vr_index(static_cast<unsigned char>(first), static_cast<unsigned char>(second))] = VR_NOT_KNOWN;
    for (const Class_Row &row : class_rows)
        for (const char *vr = row.vrs; *vr != '\0'; vr += 2)
            table.of[vr_index(static_cast<unsigned char>(vr[0]), static_cast<unsigned char>(vr[1]))] = row.kind;
    return table;
}

constinit const VR_Class_Table vr_classes = fill_class_table();

// The tag at an offset, and the encoding that holds for it: group 0002 is explicit little endian wherever it stands,
// item tags have no VR.
static unsigned char read_tag(const char *at, unsigned char mode, Header *header)
{
    if (get_16(MODE_IMPLICIT_LITTLE, at) == GROUP_FILE_META)
        mode = MODE_EXPLICIT_LITTLE;
    header->group = get_16(mode, at);
    header->element = get_16(mode, at + 2);
    if (header->group == 0x3F3F && header->element == 0x003F) {   // what the element reader makes of one vendor's tag
        header->group = GROUP_ITEM;
        header->element = ELEMENT_ITEM;
    }
    if (header->group == GROUP_ITEM)
        mode &= static_cast<unsigned char>(~SYNTAX_EXPLICIT);
    return mode;
}

bool is_plausible_at(const char *bytes, int at, int bound, unsigned char mode)
{
    if (at == bound)
        return true;
    if (at > bound || bound - at < 8)
        return false;
    Header header;
    mode = read_tag(bytes + at, mode, &header);
    if (header.group == GROUP_ITEM)
        return is_any_item_tag(header);
    if (mode & SYNTAX_EXPLICIT) {
        VR_Class kind = vr_class(letters_at(bytes + at + 4));
        return kind != VR_NO_LETTERS && kind != VR_NOT_KNOWN;
    }
    unsigned int length = get_32(mode, bytes + at + 4);
    return length == NO_LENGTH || length <= static_cast<unsigned int>(bound - at - 8);
}

// Whether a value of this length, behind a header of this size, ends where something can stand. A stream without VRs
// may follow an element without one, and another element with the same odd VR.
static bool ends_well(const char *bytes, int at, int bound, unsigned char mode, int header_size, unsigned int length)
{
    int left = bound - at - header_size;
    if (left < 0 || length > static_cast<unsigned int>(left))
        return false;
    int next = at + header_size + static_cast<int>(length);
    if (bound - next >= 8 && memcmp(bytes + next + 4, bytes + at + 4, 2) == 0 &&
        get_16(mode, bytes + next) == get_16(mode, bytes + at) &&
        get_16(mode, bytes + next + 2) >= get_16(mode, bytes + at + 2))
        return true;
    return is_plausible_at(bytes, next, bound, mode) ||
           is_plausible_at(bytes, next, bound, mode & static_cast<unsigned char>(~SYNTAX_EXPLICIT));
}

// Four bytes behind the tag that are no VR. They may be a 32-bit length, which is what the element reader makes of
// them; or a VR that the writer left blank, with a short or a long length behind it.
static void settle_without_letters(const char *bytes, int at, int bound, unsigned char mode, Header *header)
{
    unsigned int whole = get_32(mode, bytes + at + 4), half = get_16(mode, bytes + at + 6);
    set_form(header, VR_NONE, 8, whole, true);
    if (whole == NO_LENGTH || ends_well(bytes, at, bound, mode, 8, whole))
        return;
    if (bound - at >= 12 && half == 0) {
        unsigned int behind = get_32(mode, bytes + at + 8);
        if (behind == NO_LENGTH || ends_well(bytes, at, bound, mode, 12, behind))
            return set_form(header, VR_NONE, 12, behind, false);
    }
    if (ends_well(bytes, at, bound, mode, 8, half))
        set_form(header, VR_NONE, 8, half, false);
    else if (letters_at(bytes + at + 4) == pack_letters(' ', ' ') && is_plausible_at(bytes, at + 6, bound, mode))
        set_form(header, VR_NONE, 6, 0, false);   // the writer left out the length as well
}

// Two letters, but a VR that is unknown or that the reader takes for a short one. The standard gives all new VRs the
// long form (PS3.5, 7.1.2); older programs wrote the short one.
static void settle_later_vr(const char *bytes, int at, int bound, unsigned char mode, bool known, Header *header)
{
    unsigned int half = get_16(mode, bytes + at + 6);
    bool has_long_room = bound - at >= 12 && half == 0;
    unsigned int behind = has_long_room ? get_32(mode, bytes + at + 8) : 0;
    bool long_fits = has_long_room && (behind == NO_LENGTH || ends_well(bytes, at, bound, mode, 12, behind));
    bool short_fits = ends_well(bytes, at, bound, mode, 8, half);
    if (long_fits || (known && has_long_room && !short_fits))
        set_form(header, header->vr, 12, behind, false);
    else
        set_form(header, header->vr, 8, half, true);
}

bool peek_header(const char *bytes, int at, int bound, unsigned char mode, Header *header)
{
    int left = bound - at;
    if (left >= 12 && peek_usual_header(bytes + at, mode, header))
        return true;
    if (left < 4)
        return false;
    mode = read_tag(bytes + at, mode, header);
    if (left < 8) {
        set_form(header, VR_NONE, left, 0, false);
        return left == 4 && header->group == GROUP_ITEM &&
               (header->element == ELEMENT_ITEM_END || header->element == ELEMENT_SEQUENCE_END);
    }
    if ((mode & SYNTAX_EXPLICIT) == 0) {
        set_form(header, VR_NONE, 8, get_32(mode, bytes + at + 4), true);
        return true;
    }

    header->vr = letters_at(bytes + at + 4);
    switch (vr_class(header->vr)) {
    case VR_SHORT:
        set_form(header, header->vr, 8, get_16(mode, bytes + at + 6), true);
        return true;
    case VR_LONG:
        // One vendor's element of this tag: the reader has it skipped by the length in its reserved word.
        if (header->group == 0x0040 && header->element == 0x0275 && get_16(mode, bytes + at + 6) != 0) {
            set_form(header, header->vr, 8, get_16(mode, bytes + at + 6), true);
            return true;
        }
        if (left < 12)
            return false;
        set_form(header, header->vr, 12, get_32(mode, bytes + at + 8), true);
        return true;
    case VR_LONG_UNREAD:
        settle_later_vr(bytes, at, bound, mode, true, header);
        return true;
    case VR_NOT_KNOWN:
        settle_later_vr(bytes, at, bound, mode, false, header);
        return true;
    default:
        settle_without_letters(bytes, at, bound, mode, header);
        return true;
    }
}

}   // namespace velmora_host
