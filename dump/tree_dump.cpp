// The dump of a tree, called Stool: one line for each attribute, in fixed columns, with colours for a host's window.
#include "dump/dump_internal.h"

#include "tree/tree_internal.h"

enum {
    DESCRIPTION_WIDTH = 40,
    INDENT = 4,
    INDENT_ROOM = 1024,
    // Indent and value, and the columns between them with a description of control bytes only.
    LINE_ROOM = INDENT_ROOM + STOOL_TEXT_ROOM + 256,
};

static const char *const legend[] = {
    "Stool syntax: group & element color:\xF1\x04 red\xF0\x02 =syntax error,\xF1\x01 blue\xF0\x02 =normal",
    // Octal, since a D or an F behind \x04 would count as its next digit.
    "Stool syntax: possible origin: \001DICOM, \001Velm, \001Module, \005Private, \005Retired, \004Deleted, "
    "\005Default, \005Forced",
    "Stool syntax: description prefix:\xF1\x01 !\xF0\x02 forced, \xF1\x01=\xF0\x02 default, \xF1\x01+\xF0\x02 append, "
    "\xF1\x01o\xF0\x02 used by converter",
    "Stool syntax: description color:\xF1\x04 red\xF0\x02 type=1,1C,\xF1\x05 yellow\xF0\x02 type=2,2C,\xF1\x06 green"
    "\xF0\x02 type=3,\xF1\x02 black\xF0\x02 type unknown",
    "Stool syntax: VR color:\xF1\x04 red\xF0\x02 VR=UN,\x01 blue\xF0\x02 Explicit VR,\x06 green\xF0\x02 Implicit VR",
    "\xF1(grp, elem) Origin            description                        (VR,Tp,size) data",
};

/* ---- the columns ------------------------------------------------------------------- */

struct Flag_Label {
    unsigned short mask, value;   // the row applies when the flag has this value under the mask
    const char *label;            // ten bytes, a colour in front
};

// The first that applies counts.
static const Flag_Label origin_labels[] = {
    {FLAG_APPEND,  FLAG_APPEND,   "\x05(Append) "},
    {FLAG_FORCED,  FLAG_FORCED,   "\x05(Forced) "},
    {FLAG_DEFAULT, FLAG_DEFAULT,  "\x05(Default)"},
    {FLAG_INVALID, FLAG_INVALID,  "\x04(Invalid)"},
    {FLAG_DELETED, FLAG_DELETED,  "\x04(Deleted)"},
    {FLAG_PRIVATE, FLAG_PRIVATE,  "\x05(Private)"},
    {FLAG_RETIRED, FLAG_RETIRED,  "\x05(Retired)"},
    {ORIGIN_MASK,  ORIGIN_DICOM,  "\x01(DICOM)  "},
    {ORIGIN_MASK,  ORIGIN_VELM,   "\x01(Velm)   "},
    {ORIGIN_MASK,  ORIGIN_MODULE, "\x01(Module) "},
    {0,            0,             "          "   },
};

static const char *origin_label(unsigned short flag)
{
    const Flag_Label *row = origin_labels;
    while ((flag & row->mask) != row->value)
        row++;
    return row->label;
}

static char mark(unsigned short flag)
{
    if (flag & FLAG_DEFAULT)
        return '=';
    if (flag & FLAG_FORCED)
        return '!';
    if (flag & FLAG_USED)
        return 'o';
    return flag & FLAG_APPEND ? '+' : ' ';
}

static char type_color(unsigned short type)
{
    switch (type) {
    case TYPE_1:
    case TYPE_1C:
        return '\x04';
    case TYPE_2:
    case TYPE_2C:
        return '\x05';
    case TYPE_3:
        return '\x06';
    default:
        return '\x02';
    }
}

static const char *vr_color(const DICOM_List *tag)
{
    if (tag->flag & FLAG_GUESSED_VR)
        return "\xF1\x04";
    return tag->vr_explicit != 0 ? "\x01" : "\xF1\x06";
}

// Control bytes take no room on the screen: blanks at the end make up for them.
static char *put_description(char *at, const char *text)
{
    int length = 0, unseen = 0;
    for (; length < DESCRIPTION_WIDTH && text[length] != '\0'; length++) {
        unsigned char c = static_cast<unsigned char>(text[length]);
        unseen += c <= 9 || c >= 0xF0;
        at[length] = text[length];
    }
    // NOLINTNEXTLINE(bugprone-misplaced-widening-cast): a few hundred at most
    memset(at + length, ' ', static_cast<size_t>(DESCRIPTION_WIDTH - length + unseen));
    return at + DESCRIPTION_WIDTH + unseen;
}

static const char *description_of(const DICOM_List *tag)
{
    if (tag->description != nullptr)
        return tag->description;
    return tag->db != nullptr ? tag->db->description : "Unknown tag";
}

static const char *value_of(HWND window, DICOM_List *tag, char *buffer)
{
    if (working_vr(tag) == VR_SQ)
        return "---- Sequence in ---------------";
    const char *value = DICOM_Attribute_Stool_Data(window, tag, buffer);
    return value != nullptr ? value : "(no data)";
}

static char *put_letters(char *at, unsigned short packed)
{
    *at++ = shown_letter(first_letter(packed));
    *at++ = shown_letter(second_letter(packed));
    return at;
}

static char *put_indent(char *at, int depth)
{
    const int deepest = INDENT_ROOM / INDENT;
    int levels = depth < 0 ? 0 : depth < deepest ? depth : deepest;
    size_t blanks = static_cast<size_t>(levels) * INDENT;
    memset(at, ' ', blanks);
    return at + blanks;
}

static char *put_size(char *at, int size)
{
    char *end = put_int(at, size);
    while (end - at < 4)
        *end++ = ' ';
    return end;
}

static char *put_tag_number(char *at, const DICOM_List *tag, unsigned short number)
{
    *at++ = tag->flag & FLAG_SYNTAX_ERROR ? '\x04' : '\x01';
    return put_text(put_hex(at, number, 4), "\x02");
}

/* ---- the operations ---------------------------------------------------------------- */

// The line is put together by hand, since a dump prints one for each attribute of a large tree. Its form is
// "%s(%c%04x\x02,%c%04x\x02) \xF1%-10.10s\xF0 %c%c %s\x02\xF0 (%s%c%c\x02,\xF0\x01%c%c\x02,\x01%-4d\x02) %s".
void DICOM_Attribute_Stool_Tag(HWND window, DICOM_Root *root, DICOM_List *tag, int level)
{
    if (level > report_threshold)
        return;
    char line[LINE_ROOM], value[STOOL_TEXT_ROOM];
    char *at = put_indent(line, DICOM_Attribute_Sequence_Querry(window, root));
    *at++ = '(';
    at = put_tag_number(at, tag, tag->group);
    *at++ = ',';
    at = put_tag_number(at, tag, tag->element);
    at = put_text(at, ") \xF1");
    at = put_text(at, origin_label(tag->flag));
    at = put_text(at, "\xF0 ");
    *at++ = type_color(tag->type);
    *at++ = mark(tag->flag);
    *at++ = ' ';
    at = put_description(at, description_of(tag));
    at = put_text(at, "\x02\xF0 (");
    at = put_text(at, vr_color(tag));
    at = put_letters(at, working_vr(tag));
    at = put_text(at, "\x02,\xF0\x01");
    at = put_letters(at, tag->type);
    at = put_text(at, "\x02,\x01");
    at = put_size(at, tag->size);
    at = put_text(at, "\x02) ");
    strcpy(at, value_of(window, tag, value));
    REPORT(window, level, "%s", line);
}

static void dump_items(HWND window, DICOM_Root *root, DICOM_List *sequence, int level)
{
    REPORT(window, LEVEL_LOCATION, "-> Item for tag(%04x,%04x)", sequence->group, sequence->element);
    DICOM_Attribute_Sequence_Start(window, root, sequence->group, sequence->element, sequence->flag, level);
    for (int i = 0; i < sequence->nb_item && sequence->item[i] != nullptr; i++) {
        REPORT(window, LEVEL_LOCATION, "-> DICOM_Attribute_Stool Item[%d]", i);
        DICOM_Attribute_Item_Start(window, root, level);
        DICOM_Attribute_Stool(window, root, sequence->item[i], level);
        DICOM_Attribute_Item_Stop(window, root, level);
    }
    DICOM_Attribute_Sequence_Stop(window, root, level);
}

void DICOM_Attribute_Stool(HWND window, DICOM_Root *root, DICOM_List *list, int level)
{
    if (DICOM_Attribute_Sequence_Querry(window, root) == 0)
        for (const char *line : legend)
            REPORT(window, level, "%s", line);
    for (DICOM_List *tag = list; tag != nullptr; tag = tag->next) {
        DICOM_Attribute_Stool_Tag(window, root, tag, level);
        if (tag->item != nullptr)
            dump_items(window, root, tag, level);
    }
}
