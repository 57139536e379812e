// The driver of cleanup and of the check: the walk over a tree, the byte swap that comes first, the choice of the rule,
// what happens with its result, and the number of values.
#include "dictionary/vr_rules_internal.h"

// Memory failures name the file of the twin at work.
#define SOURCE (pass->twin->source)

// Levels of items that a walk goes down. What the library builds has nine at most; a host can link nodes deeper.
enum { DEEPEST_WALK = 256 };

Pass pass_over(const Twin *twin, HWND window, const DICOM_List *tag)
{
    Pass pass;
    pass.twin = twin;
    pass.window = window;
    pass.group = tag->group;
    pass.element = tag->element;
    pass.vr = working_vr(tag);
    pass.prefix[0] = '\0';
    return pass;
}

static const char *make_prefix(Pass *pass, const char *format)
{
    snprintf(pass->prefix, sizeof pass->prefix, format, pass->group, pass->element, first_letter(pass->vr),
             second_letter(pass->vr));
    return pass->prefix;
}

const char *report_prefix(Pass *pass)
{
    return make_prefix(pass, "\x02    (\x01%04x\x02,\x01%04x\x02) VR=\x01%c%c\x02");
}

const char *warning_prefix(Pass *pass)
{
    return make_prefix(pass, "    \xF1\x05WARNING:\x02 (\x01%04x\x02,\x01%04x\x02) VR=\x01%c%c\x02");
}

/* ---- byte swap --------------------------------------------------------------------- */

static void reverse_units(DICOM_List *tag, int unit)
{
    for (int at = 0; tag->size - at >= unit; at += unit) {
        char *bytes = tag->data + at;
        if (unit == 2)
            store_16(SYNTAX_IMPLICIT, bytes, load_16(SYNTAX_BIG_ENDIAN, bytes));
        else if (unit == 4)
            store_32(SYNTAX_IMPLICIT, bytes, load_32(SYNTAX_BIG_ENDIAN, bytes));
        else
            store_64(SYNTAX_IMPLICIT, bytes, load_64(SYNTAX_BIG_ENDIAN, bytes));
    }
}

int swap_attribute(const Twin *twin, HWND window, DICOM_List *tag)
{
    REPORT(window, LEVEL_FUNCTION, twin->swab_trace, tag->group, tag->element);
    if (tag->data == nullptr || (tag->syntax & SYNTAX_BIG_ENDIAN) == 0)
        return 1;
    tag->syntax &= static_cast<unsigned char>(~SYNTAX_BIG_ENDIAN);   // little-endian from here on, swapped or not

    const VR_Rule *rule = find_rule(working_vr(tag));
    int unit = rule != nullptr ? rule->swap : 0;
    if (unit == 0)
        return 1;
    // A last odd byte of 16-bit words stays where it is; longer numbers are swapped only when all are whole.
    if (unit > 2 && tag->size % unit != 0)
        return 0;
    reverse_units(tag, unit);
    return 1;
}

/* ---- number of values --------------------------------------------------------------- */

static void report_count(Pass *pass, int minimum, int maximum, int count)
{
    const char *prefix = warning_prefix(pass);
    if (minimum == maximum)
        REPORT(pass->window, Flag_Error_Warning,
               "%s Invalid number of values in data!, Expecting VN=%d but got %d values", prefix, minimum, count);
    else if (count < minimum && maximum > 0)
        REPORT(pass->window, Flag_Error_Warning, "%s Not enough values in data! Expecting VN=%d-%d but got %d values",
               prefix, minimum, maximum, count);
    else if (count < minimum)
        REPORT(pass->window, Flag_Error_Warning, "%s Not enough values in data! Expecting VN=%d-n but got %d values",
               prefix, minimum, count);
    else
        REPORT(pass->window, Flag_Error_Warning, "%s To many values in data! Expecting VN=%d-%d but got %d values",
               prefix, minimum, maximum, count);
}

int judge_count(Pass *pass, DICOM_List *tag, int count)
{
    if (tag->db == nullptr || tag->db->type < 1)
        return 1;
    int minimum = tag->db->vn[0][0], maximum = tag->db->vn[0][1];
    bool fits = minimum == maximum ? count == minimum : count >= minimum && (maximum <= 0 || count <= maximum);
    if (fits)
        return 1;
    report_count(pass, minimum, maximum, count);
    if (pass->twin->repairs)
        tag->flag |= FLAG_INVALID;
    return 0;
}

/* ---- one attribute ------------------------------------------------------------------ */

// Runs a rule on a copy of the value. The byte behind it stays zero through all stages.
static int judge_copy(Pass *pass, const DICOM_List *tag, const VR_Rule *rule)
{
    DICOM_List mom_tag = {};
    mom_tag.group = tag->group;
    mom_tag.element = tag->element;
    mom_tag.size = tag->size;
    if (rule->unit != 0) {
        mom_tag.data = tag->data;   // nobody looks at the bytes, however many they are
        return rule->full(pass, &mom_tag, rule);
    }
    size_t bytes = tag->size > 0 ? static_cast<size_t>(tag->size) : 0;
    mom_tag.data = static_cast<char *>(ALLOC_CALLOC(pass->window, "mom_tag.data", bytes + 1, 1));
    if (mom_tag.data == nullptr)
        return 0;
    memcpy(mom_tag.data, tag->data, bytes);
    int count = rule->full(pass, &mom_tag, rule);
    frame_free(mom_tag.data);
    return count;
}

static void drop_value(DICOM_List *tag)
{
    frame_free(tag->data);
    tag->data = nullptr;
    tag->size = 0;
}

int judge_attribute(const Twin *twin, HWND window, DICOM_List *tag)
{
    REPORT(window, LEVEL_FUNCTION, twin->tag_trace, tag->group, tag->element);
    if (tag->data == nullptr)
        return 1;
    const VR_Rule *rule = find_rule(working_vr(tag));
    if (rule == nullptr)
        return 0;

    Pass pass = pass_over(twin, window, tag);
    int count = rule->quick(&pass, tag, rule);
    if (count == 0)
        count = twin->repairs ? rule->full(&pass, tag, rule) : judge_copy(&pass, tag, rule);
    if (count != 0)
        return judge_count(&pass, tag, count);
    if (twin->repairs)
        drop_value(tag);
    return 0;
}

/* ---- the tree ----------------------------------------------------------------------- */

static void walk_chain(const Twin *twin, HWND window, DICOM_Root *root, DICOM_List *list, int levels_left)
{
    for (DICOM_List *tag = list; tag != nullptr; tag = tag->next) {
        swap_attribute(twin, window, tag);
        judge_attribute(twin, window, tag);
        if (tag->item == nullptr || levels_left == 0)
            continue;
        walk_items(window, root, tag, LEVEL_FUNCTION,
                   [&](DICOM_List **item) { walk_chain(twin, window, root, *item, levels_left - 1); });
    }
}

void walk_attributes(const Twin *twin, HWND window, DICOM_Root *root, DICOM_List *list)
{
    walk_chain(twin, window, root, list, DEEPEST_WALK);
}
