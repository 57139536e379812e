// The cursor: moves a DICOM_Root into a sequence, from item to item, and back. Damaged streams open and close sequences
// at will, so too many of either are warned of and clamped, never refused.
#include <charconv>
#include <limits.h>

#include "tree/tree_internal.h"

// The depth as an index of the cursor's arrays, whatever a host has written there.
static int clamp_depth(DICOM_Root *root)
{
    if (!is_usable_depth(root->Sequence_Depth))
        root->Sequence_Depth = root->Sequence_Depth < 0 ? 0 : MAX_SEQUENCE_DEPTH;
    return root->Sequence_Depth;
}

// A visible line: "%*s------------------------ ---- %s%d%s", or without the number. It is put together by hand, since a
// dump prints two for each item.
//   number  null: none
static void report_step(HWND window, int level, int depth, const char *what, const int *number, const char *behind)
{
    if (level == 0 || level > report_threshold)
        return;
    static const char rule[] = "------------------------ ---- ";
    char line[4 * MAX_SEQUENCE_DEPTH + 128], *at = line;
    for (int i = 0; i < depth; i++, at += 4)
        memset(at, ' ', 4);
    memcpy(at, rule, sizeof rule - 1);
    at += sizeof rule - 1;
    memcpy(at, what, strlen(what));
    at += strlen(what);
    if (number != nullptr)
        at = std::to_chars(at, at + 12, *number).ptr;
    strcpy(at, behind);
    REPORT(window, level, "%s", line);
}

static int begin_items(HWND window, DICOM_Root *root)
{
    int depth = root->Sequence_Depth;
    root->Item_Number[depth] = 0;
    REPORT(window, LEVEL_FUNCTION, "-> Item_Number[%d] = %d", depth, root->Item_Number[depth]);
    return depth;
}

int DICOM_Attribute_Sequence_Start(HWND window, DICOM_Root *root, int level)
{
    REPORT(window, LEVEL_FUNCTION, "in DICOM_Attribute_Sequence_Start()");
    int depth = clamp_depth(root);
    report_step(window, level, depth, "Sequence in ", nullptr, "---------------");

    if (depth == MAX_SEQUENCE_DEPTH)
        REPORT(window, Flag_Error_Warning,
               "    \xF1\x05WARNING:\x02 To many \"sequences\" in DICOM stream (%04x,%04x)",
               root->Sequence_Group[MAX_SEQUENCE_DEPTH], root->Sequence_Element[MAX_SEQUENCE_DEPTH]);
    else
        root->Sequence_Depth++;
    return begin_items(window, root);
}

int DICOM_Attribute_Sequence_Start(HWND window, DICOM_Root *root, unsigned short group, unsigned short element,
                                   unsigned short flag, int level)
{
    REPORT(window, LEVEL_FUNCTION, "in DICOM_Attribute_Sequence_Start(%04x,%04x)", group, element);
    int depth = clamp_depth(root);
    report_step(window, level, depth, "Sequence in ----(depth=", &depth, ")-----");
    DICOM_Attribute_Sequence_Set(window, root, depth, group, element, flag);

    if (depth == MAX_SEQUENCE_DEPTH)
        REPORT(window, Flag_Error_Warning, "    \xF1\x05WARNING:\x02 To many \"sequences\" in DICOM stream");
    else
        root->Sequence_Depth++;
    return begin_items(window, root);
}

int DICOM_Attribute_Sequence_Stop(HWND window, DICOM_Root *root, int level)
{
    REPORT(window, LEVEL_FUNCTION, "in DICOM_Attribute_Sequence_Stop()");
    int depth = clamp_depth(root);
    report_step(window, level, depth - 1, "Sequence out ", nullptr, "--------------");

    if (depth == 0) {
        REPORT(window, Flag_Error_Warning,
               "    \xF1\x05WARNING:\x02 To many \"out of sequences\" in DICOM stream (%04x,%04x)",
               root->Sequence_Group[0], root->Sequence_Element[0]);
        return 0;
    }
    root->Item_Number[depth] = 0;
    root->Sequence_Depth = --depth;
    REPORT(window, LEVEL_FUNCTION, "-> Item_Number[%d] = %d", depth, root->Item_Number[depth]);
    return depth;
}

int DICOM_Attribute_Sequence_End(HWND window, DICOM_Root *root)
{
    REPORT(window, LEVEL_FUNCTION, "in DICOM_Attribute_Sequence_End()");
    int depth = clamp_depth(root);
    if (depth != 0)
        REPORT(window, Flag_Error_Warning,
               "    \xF1\x05WARNING:\x02 Missing at least %d \"out of sequences\" in DICOM stream (%04x,%04x)", depth,
               root->Sequence_Group[depth], root->Sequence_Element[depth]);
    root->Sequence_Depth = 0;
    REPORT(window, LEVEL_FUNCTION, "-> root->Sequence_Depth = %d", root->Sequence_Depth);
    return 0;
}

void DICOM_Attribute_Sequence_Reset(HWND window, DICOM_Root *root)
{
    REPORT(window, LEVEL_FUNCTION, "in DICOM_Attribute_Sequence_Reset()");
    *root = {};
    REPORT(window, LEVEL_FUNCTION, "-> Item_Number[%d] = %d", root->Sequence_Depth, root->Item_Number[0]);
}

int DICOM_Attribute_Sequence_Querry(HWND, DICOM_Root *root)
{
    return root->Sequence_Depth;
}

void DICOM_Attribute_Sequence_Get(HWND, DICOM_Root *root, int depth, unsigned short *group, unsigned short *element,
                                  unsigned short *flag)
{
    bool usable = is_usable_depth(depth);
    *group = usable ? root->Sequence_Group[depth] : 0;
    *element = usable ? root->Sequence_Element[depth] : 0;
    if (flag != nullptr)
        *flag = usable ? root->Sequence_Flag[depth] : 0;
}

void DICOM_Attribute_Sequence_Set(HWND, DICOM_Root *root, int depth, unsigned short group, unsigned short element,
                                  unsigned short flag)
{
    set_sequence(root, depth, group, element, flag);
}

int DICOM_Attribute_Item_Start(HWND window, DICOM_Root *root, int level)
{
    REPORT(window, LEVEL_FUNCTION, "in DICOM_Attribute_Item_Start()");
    int depth = clamp_depth(root);
    if (root->Item_Number[depth] < INT_MAX)
        root->Item_Number[depth]++;
    REPORT(window, LEVEL_FUNCTION, "-> root->Item_Number[%d] = %d", depth, root->Item_Number[depth]);
    report_step(window, level, depth, "Item[", &root->Item_Number[depth], "] in ---------------");
    return 1;
}

int DICOM_Attribute_Item_Stop(HWND window, DICOM_Root *root, int level)
{
    REPORT(window, LEVEL_FUNCTION, "in DICOM_Attribute_Item_Stop()");
    int depth = clamp_depth(root);
    report_step(window, level, depth, "Item[", &root->Item_Number[depth], "] out --------------");
    REPORT(window, LEVEL_FUNCTION, "-> Item_Number[%d] = %d", depth, root->Item_Number[depth]);
    return 1;
}

int DICOM_Attribute_Item_Querry(HWND, DICOM_Root *root, int depth)
{
    return is_usable_depth(depth) ? root->Item_Number[depth] - 1 : -1;
}
