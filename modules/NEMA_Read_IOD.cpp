// The parser of definition files: attribute lines and include lines become a flat list of nodes in stream order, with
// item and delimiter nodes wherever the depth of the lines changes. DICOM_Attribute_Format makes the tree from it.
#include "modules/modules_internal.h"

#include <stdio.h>

static const char SOURCE[] = ".\\NEMA_Read_IOD";

// One definition file while it is read.
struct Definition {
    HWND window;
    const char *name;   // for messages
    int line;           // number of the current line, from 1
    DICOM_List **list;
    DICOM_Root top;   // a cursor that stays at the top level: the list is flat
    int level;        // depth that the lines have reached
    int open_items;
    int open_sequences;
};

// One attribute line while it is read. The texts stand in the line.
struct Attribute_Line {
    DICOM_List tag;
    char *value;   // null: the line has none
    char *description;
};

/* ---- warnings and the allowance of nodes -------------------------------------------- */

static int open_runs = 0;    // runs that have been started and not stopped
static int nodes_left = 0;   // nodes that the current run may still make
static bool has_run_dry = false;

void start_definition_run()
{
    if (open_runs++ > 0)
        return;
    nodes_left = MAX_DEFINITION_NODES;
    has_run_dry = false;
}

void stop_definition_run()
{
    open_runs--;
}

void report_attribute_line(HWND window, const char *file, int line)
{
    REPORT(window, Flag_Error_Warning, "    \xF1\x05WARNING:\x02 reading Attribute file:\x01%s\x02 line:\x01%d\x02",
           file, line);
}

// A warning pair about the current line of a file.
#define REPORT_LINE(file, ...)                                                                                         \
    do {                                                                                                               \
        report_attribute_line((file)->window, (file)->name, (file)->line);                                             \
        REPORT((file)->window, Flag_Error_Warning, __VA_ARGS__);                                                       \
    } while (0)

// Macros that include others twice double the list with each step, so that a few short files could fill the memory.
static bool take_from_allowance(Definition *file)
{
    if (nodes_left > 0) {
        nodes_left--;
        return true;
    }
    if (!has_run_dry)
        REPORT_LINE(file, "    \xF1\t\t\x02 Too many attributes (max=\x01%d\x02)", MAX_DEFINITION_NODES);
    has_run_dry = true;
    return false;
}

static bool append(Definition *file, DICOM_List *node)
{
    return take_from_allowance(file) &&
           DICOM_Attribute_Insert(file->window, &file->top, file->list, node, 0) != nullptr;
}

/* ---- items and sequences ------------------------------------------------------------- */

// The nodes that the parser adds by itself. Set up for each file rather than once, so that their db stays good when
// the dictionary has been released in between.
static DICOM_List item_node, item_end_node, sequence_end_node;

static void set_up_delimiter(DICOM_List *node, unsigned short element, unsigned short vr)
{
    *node = {};
    node->syntax = SYNTAX_EXPLICIT;
    node->flag = ORIGIN_MODULE;
    node->group = GROUP_ITEM;
    node->element = element;
    node->vr = vr;
    node->size = UNDEFINED_LENGTH;
    node->db = NEMA_db_Locate(GROUP_ITEM, element);
}

static void set_up_delimiter_nodes()
{
    set_up_delimiter(&item_node, ELEMENT_ITEM, VR_ITEM);
    set_up_delimiter(&item_end_node, ELEMENT_ITEM_END, VR_ITEM);
    set_up_delimiter(&sequence_end_node, ELEMENT_SEQUENCE_END, VR_DELIMITATION);
}

void forget_delimiter_nodes()
{
    item_node = item_end_node = sequence_end_node = DICOM_List{};
}

// Opens an item for a line that is deeper than the level: one level, however much deeper the line is.
static bool open_for(Definition *file, int depth, bool brings_own_item)
{
    if (depth <= file->level)
        return true;
    file->level++;
    if (brings_own_item)
        return true;
    file->open_items++;
    return append(file, &item_node);
}

// Closes what a line of this depth ends.
//   brings_own_end  the line is a sequence delimiter, so that none is made for it
static bool close_for(Definition *file, int depth, bool brings_own_end)
{
    for (;;) {
        bool moved = false;
        if (file->level > depth) {
            file->level--;
            moved = true;
        } else if (file->open_items <= depth && file->open_sequences <= depth) {
            return true;
        }
        if (file->open_items > file->level) {
            if (!append(file, &item_end_node))
                return false;
            file->open_items--;
            moved = true;
        }
        if (file->open_sequences > file->level && !brings_own_end) {
            if (!append(file, &sequence_end_node))
                return false;
            file->open_sequences--;
            moved = true;
        }
        // A sequence delimiter that stands too high leaves sequences open that only the next line can close.
        if (!moved)
            return true;
    }
}

static void count_open(Definition *file, const DICOM_List *tag)
{
    if (tag->vr == VR_SQ)
        file->open_sequences++;
    if (is_tag(tag, GROUP_ITEM, ELEMENT_ITEM))
        file->open_items++;
    if (is_tag(tag, GROUP_ITEM, ELEMENT_ITEM_END))
        file->open_items--;
    if (is_tag(tag, GROUP_ITEM, ELEMENT_SEQUENCE_END))
        file->open_sequences--;
}

/* ---- the tokens of an attribute line ------------------------------------------------- */

static bool take_value(Attribute_Line *line, char *token)
{
    line->value = Str_Strip_Quotes(token);
    return true;
}

static bool take_type(Attribute_Line *line, char *token)
{
    char *type = token + strlen("type=");
    size_t length = strlen(type);
    if (length != 1 && length != 2)
        return false;
    line->tag.type = pack_letters(type[0], length == 2 ? type[1] : ' ');
    return true;
}

static bool take_description(Attribute_Line *line, char *token)
{
    line->description = Str_Strip_Quotes(token + strlen("desc="));
    return true;
}

// Of alternates, as in "VR=OB\OW", the first one counts.
static bool take_vr(Attribute_Line *line, char *token)
{
    const char *vr = token + strlen("VR=");
    if (strlen(vr) < 2 || (vr[2] != '\0' && vr[2] != '\\'))
        return false;
    line->tag.vr = pack_letters(vr[0], vr[1]);
    return true;
}

static bool take_nothing(Attribute_Line *, char *)
{
    return true;
}

struct Token_Rule {
    const char *head;                                  // how the token begins
    bool (*take)(Attribute_Line *line, char *token);   // false: the token is bad
    const char *shown;                                 // what the warning about a bad one asks for
};

static const Token_Rule token_rules[] = {
    {"\"",    take_value,       ""           },
    {"type=", take_type,        "\"type=xx\""},
    {"desc=", take_description, ""           },
    {"VR=",   take_vr,          "\"VR=xx\""  },
    {"VN=",   take_nothing,     ""           },
};

static const Token_Rule *find_rule(const char *token)
{
    for (const Token_Rule &rule : token_rules)
        if (strncmp(token, rule.head, strlen(rule.head)) == 0)
            return &rule;
    return nullptr;
}

// Reads the tokens up to the first bad one: the line keeps what came before it.
static void read_tokens(Definition *file, Attribute_Line *line, char *text)
{
    for (char *token = Str_Strtok(text, " \t\n"); token != nullptr; token = Str_Strtok(nullptr, " \t\n")) {
        const Token_Rule *rule = find_rule(token);
        if (rule != nullptr && rule->take(line, token))
            continue;
        REPORT_LINE(file, "    \xF1\t\t\x02 Syntax error%s (=\x01%s\x02)", rule != nullptr ? rule->shown : "", token);
        return;
    }
}

/* ---- attribute lines ------------------------------------------------------------------ */

// Returns what follows the tag, or null if the line does not begin with one.
static char *read_tag(char *text, DICOM_List *tag)
{
    unsigned int group, element;
    if (text[0] != '(' || sscanf(text, "(%4x,%4x)", &group, &element) != 2)
        return nullptr;
    char *end = strchr(text, ')');
    if (end == nullptr)
        return nullptr;
    tag->group = static_cast<unsigned short>(group);
    tag->element = static_cast<unsigned short>(element);
    return end + 1;
}

// The conversion cuts the text up, so that it gets a copy: the warning shows the text whole.
static void convert_value(Definition *file, Attribute_Line *line)
{
    if (line->value == nullptr)
        return;
    char text[VALUE_ROOM];
    int length = snprintf(text, sizeof text, "%s", line->value);
    if (length < VALUE_ROOM && DICOM_Module_Read_Value(&line->tag, text))
        return;
    REPORT_LINE(file, "    \xF1\t\t\x02 Problem with value (=\x01%s\x02)", line->value);
}

// Returns false when memory ran out.
static bool copy_description(Definition *file, Attribute_Line *line)
{
    if (line->description == nullptr)
        return true;
    if (strlen(line->description) >= VALUE_ROOM) {
        REPORT_LINE(file, "    \xF1\t\t\x02 Problem with description (=\x01%s\x02)", line->description);
        return true;
    }
    line->tag.description = ALLOC_STRDUP(file->window, "tag.description", line->description);
    return line->tag.description != nullptr;
}

static bool insert_attribute(Definition *file, DICOM_List *tag, int depth)
{
    if (!open_for(file, depth, is_tag(tag, GROUP_ITEM, ELEMENT_ITEM)) ||
        !close_for(file, depth, is_tag(tag, GROUP_ITEM, ELEMENT_SEQUENCE_END)))
        return false;
    if (tag->vr == VR_SQ || is_tag(tag, GROUP_ITEM, ELEMENT_ITEM)) {
        // A value goes first: the insertion copies as many bytes as the size says.
        frame_free(tag->data);
        tag->data = nullptr;
        tag->size = UNDEFINED_LENGTH;
    }
    if (!append(file, tag))
        return false;
    count_open(file, tag);
    return true;
}

// Returns false when memory ran out; a faulty line is reported, and what is good of it is kept.
static bool read_attribute(Definition *file, char *text, unsigned short flag, int depth, long offset)
{
    Attribute_Line line = {};
    DICOM_List *tag = &line.tag;
    char *rest = read_tag(text, tag);
    if (rest == nullptr) {
        REPORT_LINE(file,
                    "    \xF1\t\t\x02 Syntax error: expecting \"\x01(xxxx,yyyy) ...\x02\" instead of \"\x01%s\x02\"",
                    text);
        return true;
    }
    tag->syntax = SYNTAX_EXPLICIT;
    tag->flag = flag;
    tag->type = TYPE_3;
    tag->stream_word = static_cast<int>(offset);
    read_tokens(file, &line, rest);

    tag->db = NEMA_db_Locate(tag->group, tag->element);
    if (tag->vr == VR_NONE && tag->db != nullptr)
        tag->vr = tag->db->vr[0];
    convert_value(file, &line);
    bool done = copy_description(file, &line) && insert_attribute(file, tag, depth);
    frame_free(tag->data);
    frame_free(tag->description);
    return done;
}

/* ---- include lines --------------------------------------------------------------------- */

static const size_t INCLUDE_WORD = strlen("Include");

// The first letter may be any.
static bool is_include_line(const char *text)
{
    return text[0] != '\0' && strncmp(text + 1, "nclude", INCLUDE_WORD - 1) == 0;
}

static void clean_macro_name(char *name)
{
    for (char *c = name; *c != '\0'; c++)
        if (static_cast<unsigned char>(*c) == 0x91)   // a curly quote of a word processor
            *c = '"';
    Str_Strip_Spaces(name);
    Str_Strip_Quotes(name);
}

// A macro's list is flat and balanced, so that it can stand at any depth.
static bool read_include(Definition *file, char *name, int depth)
{
    clean_macro_name(name);
    if (!open_for(file, depth, false) || !close_for(file, depth, false))
        return false;
    DICOM_List *macro = DICOM_Module_Include_Get(file->window, name, file->name, file->line);
    for (; macro != nullptr; macro = macro->next) {
        REPORT(file->window, LEVEL_OPERATION, "-> insert new macro(%08x) in list %08x",
               static_cast<unsigned int>(reinterpret_cast<uintptr_t>(macro)),
               static_cast<unsigned int>(reinterpret_cast<uintptr_t>(*file->list)));
        if (!append(file, macro))
            return false;
    }
    return true;
}

/* ---- files ------------------------------------------------------------------------------ */

static char *skip_blanks(char *text)
{
    while (*text == ' ')
        text++;
    return text;
}

// The prefixes of a line, each at most once and in this order.
static const struct Prefix {
    char mark;
    unsigned short flag;
} prefixes[] = {
    {'!', FLAG_FORCED   },
    {'=', FLAG_DEFAULT  },
    {'-', FLAG_TO_DELETE},
    {'+', FLAG_APPEND   },
};

static bool read_text(Definition *file, char *text, long offset)
{
    Str_Strip_Spaces(text);
    if (*text == '\0')
        return true;

    unsigned short flag = ORIGIN_MODULE;
    for (const Prefix &prefix : prefixes) {
        if (*text != prefix.mark)
            continue;
        flag = static_cast<unsigned short>(flag | prefix.flag);
        text = skip_blanks(text + 1);
    }
    int depth = 0;
    for (; *text == '>'; text = skip_blanks(text + 1))
        depth++;
    return is_include_line(text) ? read_include(file, text + INCLUDE_WORD, depth)
                                 : read_attribute(file, text, flag, depth, offset);
}

int DICOM_Module_Read_File(HWND window, FILE *stream, const char *file, DICOM_List **list)
{
    start_definition_run();
    set_up_delimiter_nodes();
    Definition definition = {};
    definition.window = window;
    definition.name = file;
    definition.list = list;

    char text[LINE_ROOM];
    bool done = true;
    long offset = ftell(stream), consumed = offset > 0 ? offset : 0;
    while (done) {
        offset = consumed;
        definition.line++;
        if (!read_definition_line(window, stream, definition.line, text, file, nullptr, &consumed))
            break;
        REPORT(window, LEVEL_FUNCTION, "%s[%d] -> %s", file, definition.line, text);
        done = read_text(&definition, text, offset);
    }
    // Also behind a failure: the files that come after this one must not end up in its items.
    bool closed = close_for(&definition, 0, false);
    stop_definition_run();
    return done && closed;
}
