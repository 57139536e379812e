// The VR of an element of a flat chain: an explicit one is compared with the dictionary, a missing one is guessed from
// the value.
#include "dictionary/DICOM_Dictionary.h"
#include "tree/tree_internal.h"

/* ---- explicit VRs -------------------------------------------------------------------- */

static void settle_explicit_vr(HWND window, DICOM_List *tag)
{
    if (tag->vr_explicit == VR_OX) {
        REPORT(window, Flag_Error_Warning,
               "    \xF1\x05WARNING:\x02 (\x01%04x\x02,\x01%04x\x02) Explicit VR=OX is invalid!", tag->group,
               tag->element);
        tag->flag |= FLAG_SYNTAX_ERROR;
        tag->vr_explicit = VR_OW;
    } else if (!is_believed_vr(tag->vr_explicit)) {
        tag->vr_explicit = VR_NONE;
    }
}

struct Tag_Text {
    char text[40];
};

static Tag_Text tag_text(const DICOM_List *tag)
{
    Tag_Text out;
    snprintf(out.text, sizeof out.text, "\x02    (\x01%04x\x02,\x01%04x\x02) ", tag->group, tag->element);
    return out;
}

int DICOM_Attribute_Format_Check_VR(DICOM_List *tag, unsigned short vr)
{
    if (tag->db == nullptr || tag->db->type == 0)
        return 1;
    int alternates = tag->db->type < 0 ? -tag->db->type : tag->db->type;
    const unsigned short *known = tag->db->vr;
    for (int i = 0; i < alternates && i < 3; i++)
        if (known[i] == vr)
            return 1;

    switch (alternates) {
    case 1:
        REPORT(hwnd, Flag_Error_Report, "%s Explicit VR (=\x01%c%c\x02) does not match definition! (=\x01%c%c\x02)",
               tag_text(tag).text, first_letter(vr), second_letter(vr), first_letter(known[0]),
               second_letter(known[0]));
        break;
    case 2:
        REPORT(hwnd, Flag_Error_Report,
               "%s Explicit VR (=\x01%c%c\x02) does not match definition! (=\x01%c%c\x02 or \x01%c%c\x02)",
               tag_text(tag).text, first_letter(vr), second_letter(vr), first_letter(known[0]),
               second_letter(known[0]), first_letter(known[1]), second_letter(known[1]));
        break;
    default:
        REPORT(hwnd, Flag_Error_Report,
               "%s Explicit VR (=\x01%c%c\x02) does not match definition! "
               "(=\x01%c%c\x02, \x01%c%c\x02 or \x01%c%c\x02)",
               tag_text(tag).text, first_letter(vr), second_letter(vr), first_letter(known[0]),
               second_letter(known[0]), first_letter(known[1]), second_letter(known[1]), first_letter(known[2]),
               second_letter(known[2]));
        break;
    }
    return 0;
}

/* ---- guesses ------------------------------------------------------------------------- */

enum { LONGEST_GUESSED = 1024 };

static bool is_printable(char c)
{
    return c >= 0x20 && c < 0x7F;
}

static bool is_text(const char *data, int size)
{
    for (int i = 0; i < size; i++)
        if (!is_printable(data[i]))
            return false;
    return size >= 0;
}

static unsigned short guess_from_bytes(const DICOM_List *tag)
{
    char order = static_cast<char>(tag->syntax);
    if (tag->size == 4) {
        int integer = Get_Int(order, tag->data);
        if (integer >= -999999 && integer <= 999999)
            return VR_SL;
        float real = Get_Float(order, tag->data);
        if (real > -100000.0f && real < 100000.0f && real != 0.0f)
            return VR_FL;
    }
    return tag->size == 2 ? VR_SS : VR_NONE;
}

static bool is_within(const char *text, const char *end, const char *set)
{
    for (; text < end; text++)
        if (strchr(set, *text) == nullptr)
            return false;
    return true;
}

// The longest of the values between backslashes; a value after the first counts the backslash in front of it.
static int longest_field(const char *text, const char *end)
{
    long longest = 0;
    for (const char *start = text; start < end;) {
        const char *stop = start + 1;
        while (stop < end && *stop != '\\')
            stop++;
        longest = stop - start > longest ? stop - start : longest;
        start = stop;
    }
    return static_cast<int>(longest);
}

static unsigned short guess_from_text(const DICOM_List *tag)
{
    const char *text = tag->data, *end = tag->data + tag->size;
    int longest = longest_field(text, end);
    bool has_values = memchr(text, '\\', static_cast<size_t>(tag->size)) != nullptr;
    if (longest >= 17 && longest <= 64 && is_within(text, end, "0123456789./"))
        return VR_UI;

    while (text < end && *text == ' ')
        text++;
    while (text < end && end[-1] == ' ')
        end--;
    if (longest <= 12 && is_within(text, end, "0123456789+-/"))
        return VR_IS;
    if (longest <= 16 && is_within(text, end, "0123456789.+-eE/"))
        return VR_DS;
    if (longest <= 16 && is_within(text, end, "ABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_ /"))
        return VR_CS;
    return has_values && longest <= 16 ? VR_SH : VR_ST;
}

static unsigned short guess(const DICOM_List *tag)
{
    if (tag->size > LONGEST_GUESSED)
        return VR_OB;
    if (tag->element == 0)
        return VR_UL;
    if (is_private_group(tag->group) && tag->element >= 0x10 && tag->element <= 0xFF)
        return VR_LO;
    return is_text(tag->data, tag->size) ? guess_from_text(tag) : guess_from_bytes(tag);
}

int DICOM_Attribute_Format_VR(HWND window, DICOM_List *tag)
{
    settle_explicit_vr(window, tag);
    if (tag->vr_explicit != VR_NONE && !DICOM_Attribute_Format_Check_VR(tag, tag->vr_explicit))
        return 0;
    if (tag->vr == VR_RT)
        tag->vr = tag->size == 2 ? VR_US : tag->size == 4 ? VR_UL : VR_OB;
    if (working_vr(tag) != VR_NONE)
        return 1;

    tag->flag |= FLAG_GUESSED_VR;
    if (tag->data == nullptr)
        return 1;
    unsigned short guessed = guess(tag);
    if (guessed != VR_NONE)
        tag->vr = guessed;
    return guessed != VR_NONE;
}
