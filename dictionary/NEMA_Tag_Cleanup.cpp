// Cleanup: brings the values of a tree into the form that their VR asks for, in place, and says what it did. What it
// shares with its twin, the check, is in vr_rules_driver.cpp and beside it.
#include "dictionary/DICOM_Dictionary.h"

#include "dictionary/cleanup_internal.h"
#include "dictionary/vr_rules_internal.h"

const Twin cleanup_twin = {
    .source = ".\\NEMA_Tag_Cleanup",
    .repairs = true,
    .swab_trace = "in DICOM_Attribute_Cleanup_Swab(%04x,%04x)",
    .tag_trace = "in DICOM_Attribute_Cleanup_Tag(%04x,%04x)",
    .multiple_trace = "in DICOM_Tag_Cleanup_Text_Multiple(%04x,%04x)",
    .single_trace = "in DICOM_Tag_Cleanup_Text_Single(%04x,%04x)",
    .int_trace = "in DICOM_Tag_Cleanup_Valid_Int(%04x,%04x)",
    .last_backslash = "%s Removed last char (=\x01\\\x02) from string!",
    .long_text = "%s String too long! (\x01%d\x02/vs/\x01%d max\x02) "
                 "Truncated to \"\x01%20.20s \x02...\x01 %20.20s\x02\"(\x04%s\x02) ",
    .old_syntax = "%s Old syntax! \x01%.*s\x02 changed to \x01%.*s",
    .lost_day = "%s Y2K bug! \x01%.*s\x02 = \x01%7.7s?\x02 (Rejected since last digit of day is lost!)",
};

int DICOM_Attribute_Cleanup_Swab(HWND window, DICOM_List *tag)
{
    return swap_attribute(&cleanup_twin, window, tag);
}

int DICOM_Tag_Cleanup_VN(HWND window, DICOM_List *tag, int count)
{
    Pass pass = pass_over(&cleanup_twin, window, tag);
    return judge_count(&pass, tag, count);
}

int DICOM_Tag_Cleanup_Padding(HWND window, DICOM_List *tag, unsigned char lead, unsigned char trail)
{
    Pass pass = pass_over(&cleanup_twin, window, tag);
    return padding_stage(&pass, tag, lead, trail);
}

int DICOM_Tag_Cleanup_Char_Set(HWND window, DICOM_List *tag, const char *set)
{
    Pass pass = pass_over(&cleanup_twin, window, tag);
    return char_set_stage(&pass, tag, set);
}

int DICOM_Tag_Cleanup_Text_Multiple(HWND window, DICOM_List *tag, int max)
{
    Pass pass = pass_over(&cleanup_twin, window, tag);
    return text_multiple_stage(&pass, tag, max);
}

int DICOM_Tag_Cleanup_Text_Single(HWND window, DICOM_List *tag, unsigned int max)
{
    Pass pass = pass_over(&cleanup_twin, window, tag);
    return text_single_stage(&pass, tag, max);
}

int DICOM_Tag_Cleanup_Valid_Int(HWND window, DICOM_List *tag)
{
    Pass pass = pass_over(&cleanup_twin, window, tag);
    return valid_int_stage(&pass, tag);
}

int DICOM_Tag_Cleanup_Int_From_Float(HWND window, DICOM_List *tag)
{
    Pass pass = pass_over(&cleanup_twin, window, tag);
    return int_from_float_stage(&pass, tag);
}

int DICOM_Attribute_Cleanup(HWND window, DICOM_Root *root, DICOM_List *list)
{
    walk_attributes(&cleanup_twin, window, root, list);
    return 1;
}

int DICOM_Attribute_Cleanup_Tag(HWND window, DICOM_List *tag)
{
    return judge_attribute(&cleanup_twin, window, tag);
}
