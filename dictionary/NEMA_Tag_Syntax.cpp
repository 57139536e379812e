// The check: judges the values of a tree as cleanup would, says what it finds, and leaves them as they are. What it
// shares with its twin is in vr_rules_driver.cpp and beside it.
#include "dictionary/DICOM_Dictionary.h"

#include "dictionary/cleanup_internal.h"
#include "dictionary/vr_rules_internal.h"

const Twin syntax_twin = {
    .source = ".\\NEMA_Tag_Syntax",
    .repairs = false,
    .swab_trace = "in DICOM_Attribute_Syntax_Swab(%04x,%04x)",
    .tag_trace = "in DICOM_Attribute_Syntax_Tag(%04x,%04x)",
    .multiple_trace = "in DICOM_Tag_Syntax_Text_Multiple(%04x,%04x)",
    .single_trace = nullptr,
    .int_trace = "in DICOM_Tag_Syntax_Valid_Int(%04x,%04x)",
    .last_backslash = "%s last char is (=\x01\\\x02)!",
    .long_text = "%s String too long! (\x01%d\x02/vs/\x01%d max\x02) ",
    .old_syntax = "%s Old syntax! \x01%.*s\x02 should be changed to \x01%.*s",
    .lost_day = "%s Y2K bug! \x01%.*s\x02 = \x01%7.7s?\x02 (last digit of day is lost!)",
};

int DICOM_Attribute_Syntax_Swab(HWND window, DICOM_List *tag)
{
    return swap_attribute(&syntax_twin, window, tag);
}

int DICOM_Tag_Syntax_VN(HWND window, DICOM_List *tag, int count)
{
    Pass pass = pass_over(&syntax_twin, window, tag);
    return judge_count(&pass, tag, count);
}

int DICOM_Tag_Syntax_Padding(HWND window, DICOM_List *tag, unsigned char lead, unsigned char trail)
{
    Pass pass = pass_over(&syntax_twin, window, tag);
    return padding_stage(&pass, tag, lead, trail);
}

int DICOM_Tag_Syntax_Char_Set(HWND window, DICOM_List *tag, const char *set)
{
    Pass pass = pass_over(&syntax_twin, window, tag);
    return char_set_stage(&pass, tag, set);
}

int DICOM_Tag_Syntax_Text_Multiple(HWND window, DICOM_List *tag, int max)
{
    Pass pass = pass_over(&syntax_twin, window, tag);
    return text_multiple_stage(&pass, tag, max);
}

int DICOM_Tag_Syntax_Text_Single(HWND window, DICOM_List *tag, unsigned int max)
{
    Pass pass = pass_over(&syntax_twin, window, tag);
    return text_single_stage(&pass, tag, max);
}

int DICOM_Tag_Syntax_Valid_Int(HWND window, DICOM_List *tag)
{
    Pass pass = pass_over(&syntax_twin, window, tag);
    return valid_int_stage(&pass, tag);
}

int DICOM_Attribute_Syntax_Tag(HWND window, DICOM_List *tag)
{
    return judge_attribute(&syntax_twin, window, tag);
}

int DICOM_Attribute_Syntax(HWND window, DICOM_Root *root, DICOM_List *list)
{
    walk_attributes(&syntax_twin, window, root, list);
    return 1;
}
