// Sets attributes from texts: the place in the tree, the VR, the bytes of the value.
#include "host/program/assignment.h"

#include <errno.h>
#include <float.h>
#include <limits.h>
#include <stdlib.h>
#include <string.h>
#include <algorithm>
#include <new>

#include "host/program/element_values.h"
#include "host/program/output.h"
#include "host/velmora_save.h"
#include "tree/DICOM_Constants.h"

using namespace velmora_host;

// ---- values ---------------------------------------------------------------------------

static std::vector<std::string> split(const std::string &text)
{
    std::vector<std::string> parts;
    for (size_t start = 0; start <= text.size();) {
        size_t end = text.find('\\', start);
        end = end == std::string::npos ? text.size() : end;
        parts.push_back(text.substr(start, end - start));
        start = end + 1;
    }
    return parts;
}

static void append_little(std::string *to, uint64_t bits, int size)
{
    for (int i = 0; i < size; i++)
        to->push_back(static_cast<char>(bits >> 8 * i & 0xFF));
}

// Decimal, or "inf" and "nan"; what is too large for its bytes is none.
static bool append_real(const std::string &text, int size, std::string *to)
{
    char *end = nullptr;
    double number = strtod(text.c_str(), &end);
    bool is_whole = !text.empty() && *end == '\0' && text.find_first_of("xX") == std::string::npos;
    bool is_named = text.find_first_of("nN") != std::string::npos;
    double most = size == 8 ? DBL_MAX : static_cast<double>(FLT_MAX);
    if (!is_whole || (!is_named && !(number <= most && number >= -most)))
        return false;
    float single = static_cast<float>(number);
    uint64_t bits = 0;
    uint32_t single_bits = 0;
    memcpy(&bits, &number, sizeof bits);
    memcpy(&single_bits, &single, sizeof single_bits);
    append_little(to, size == 8 ? bits : single_bits, size);
    return true;
}

static bool append_integer(const std::string &text, int size, bool is_signed, std::string *to)
{
    char *end = nullptr;
    errno = 0;
    int bits = 8 * size;
    bool is_held;
    if (is_signed) {
        long long number = strtoll(text.c_str(), &end, 10), most = LLONG_MAX >> (64 - bits);
        is_held = number <= most && number >= -most - 1;
        append_little(to, static_cast<uint64_t>(number), size);
    } else {
        unsigned long long number = strtoull(text.c_str(), &end, 10);
        is_held = number <= ULLONG_MAX >> (64 - bits) && text.find('-') == std::string::npos;
        append_little(to, number, size);
    }
    return is_held && !text.empty() && *end == '\0' && errno == 0;
}

static bool append_tag(const std::string &text, std::string *to)
{
    Tag_Path path;
    std::string error;
    if (!parse_tag_path(text, &path, &error) || path.steps.size() != 1 || !path.steps[0].is_exact)
        return false;
    append_little(to, path.steps[0].group, 2);
    append_little(to, path.steps[0].element, 2);
    return true;
}

// The bytes of a value, little endian. False: it is none of this VR.
static bool make_value(unsigned short vr, const std::string &text, std::string *bytes)
{
    static const struct {
        unsigned short vr;
        int size;
        bool is_signed, is_real;
    } numbers[] = {
        {VR_US, 2, false, false},
        {VR_SS, 2, true,  false},
        {VR_UL, 4, false, false},
        {VR_SL, 4, true,  false},
        {VR_SV, 8, true,  false},
        {VR_UV, 8, false, false},
        {VR_FL, 4, true,  true },
        {VR_FD, 8, true,  true },
        {VR_OB, 1, false, false},
        {VR_OW, 2, false, false},
        {VR_OL, 4, false, false},
        {VR_OV, 8, false, false},
        {VR_OF, 4, true,  true },
        {VR_OD, 8, true,  true },
    };
    if (text.empty())
        return true;
    for (const auto &row : numbers) {
        if (row.vr != vr)
            continue;
        for (const std::string &part : split(text))
            if (!(row.is_real ? append_real(part, row.size, bytes)
                              : append_integer(part, row.size, row.is_signed, bytes)))
                return false;
        return true;
    }
    if (vr == VR_AT) {
        for (const std::string &part : split(text))
            if (!append_tag(part, bytes))
                return false;
        return true;
    }
    Value_Class kind = value_rule(vr).kind;
    *bytes = text;
    return kind == VALUES_OF_TEXT || kind == VALUES_OF_NAMES || kind == VALUES_OF_DECIMALS;
}

// ---- setting --------------------------------------------------------------------------

struct Setting {
    Data_Set *set;
    const Assignment *what;
    DICOM_Root root;
    Character_Set charset;   // that holds at the cursor
    std::string error;
};

static bool fail(Setting *setting, const std::string &error)
{
    setting->error = error;
    return false;
}

static unsigned short working_vr(const DICOM_List *node)
{
    return node->vr_explicit != VR_NONE ? node->vr_explicit : node->vr;
}

// Of "US or SS", the pixels decide (DICOM PS3.5, A.1).
static bool has_signed_pixels(const Data_Set &set)
{
    const DICOM_List *node = set.tree;
    while (node != nullptr && (node->group != 0x0028 || node->element != 0x0103))
        node = node->next;
    return node != nullptr && node->data != nullptr && node->size >= 1 && node->data[0] == 1;
}

static unsigned short vr_for(const Setting &setting, const DICOM_List *node, const Tag_Step &step)
{
    if (setting.what->vr != VR_NONE)
        return setting.what->vr;
    if (node != nullptr)
        return working_vr(node);
    const TAG_db_Elems *row = NEMA_db_Locate(step.group, step.element);
    if (row == nullptr)
        return VR_NONE;
    for (unsigned short each : row->vr)
        if (each == VR_SS && row->vr[0] == VR_US && has_signed_pixels(*setting.set))
            return VR_SS;
    return row->vr[0];
}

// An item may have a character set of its own (DICOM PS3.3, C.12.1.1.2).
static Character_Set charset_in(const DICOM_List *chain, const Character_Set &around)
{
    Character_Set charset = around;
    std::string unknown;
    for (const DICOM_List *node = chain; node != nullptr; node = node->next)
        if (node->group == 0x0008 && node->element == 0x0005 && node->data != nullptr && node->size > 0)
            parse_character_set(node->data, static_cast<size_t>(node->size), &charset, &unknown);
    return charset;
}

// The byte of a set of single bytes for a character, found by trying them all. -1: there is none.
static int byte_of(const Character_Set &charset, const std::string &character)
{
    for (int byte = 0x80; byte <= 0xFF; byte++) {
        char one = static_cast<char>(byte);
        std::string decoded;
        if (append_utf8(charset, &one, 1, TEXT_WHOLE, &decoded) == 0 && decoded == character)
            return byte;
    }
    return -1;
}

// A text in the character set of the data set, which is UTF-8 or one of single bytes if it is more than ASCII.
static bool encode_text(Setting *setting, std::string *text)
{
    const Character_Set &charset = setting->charset;
    if (is_plain_text(text->data(), text->size()) || charset.coding == CODING_UTF_8)
        return true;
    bool has_bytes = charset.coding == CODING_ISO_2022 && charset.g1 != 0;
    std::string encoded;
    for (size_t at = 0, length; at < text->size(); at += length) {
        length = std::max<size_t>(utf8_character(text->data() + at, text->size() - at), 1);
        std::string character = text->substr(at, length);
        int byte = is_plain_text(character.data(), length) ? character[0]
                   : has_bytes                             ? byte_of(charset, character)
                                                           : -1;
        if (byte < 0)
            return fail(setting, "cannot have " + quoted(character) +
                                     ", which is not in the character set that "
                                     "(0008,0005) names");
        encoded += static_cast<char>(byte);
    }
    *text = encoded;
    return true;
}

// The node at the cursor, which is made if it is not there. DICOM_Attribute_Get would take a tag of FFFF for any.
static DICOM_List *find_or_add(Setting *setting, const Tag_Step &step, unsigned short vr)
{
    DICOM_Attribute_Add(nullptr, &setting->root, &setting->set->tree, step.group, step.element, vr, 0);
    return DICOM_Attribute_Find(nullptr, &setting->root, &setting->set->tree, step.group, step.element);
}

static void give_bytes(DICOM_List *node, const std::string &bytes)
{
    DICOM_Lib_Free(&node->data);
    if (!bytes.empty() && !DICOM_Lib_Realloc(&node->data, static_cast<unsigned int>(bytes.size())))
        throw std::bad_alloc();
    if (!bytes.empty())
        memcpy(node->data, bytes.data(), bytes.size());
    node->size = static_cast<int>(bytes.size());
}

// Whether an attribute has items, or may get some.
static bool may_have_items(const DICOM_List *node)
{
    return node->item != nullptr ? !is_encapsulated(node) : working_vr(node) == VR_SQ;
}

static bool refuse_value(Setting *setting, unsigned short vr)
{
    const char letters[] = {static_cast<char>(vr >> 8), static_cast<char>(vr & 0xFF), '\0'};
    return fail(setting,
                "is of VR " + std::string(letters) + " and cannot have the value " + quoted(setting->what->value));
}

static bool set_value(Setting *setting, DICOM_List *chain, const Tag_Step &step)
{
    DICOM_List *node = chain;
    while (node != nullptr && (node->group != step.group || node->element != step.element))
        node = node->next;
    unsigned short vr = vr_for(*setting, node, step);
    std::string bytes;
    if (vr == VR_NONE || vr == VR_RT)
        return fail(setting, "has no VR that is known; TAG:VR=VALUE says it");
    if (node != nullptr && (node->item != nullptr || working_vr(node) == VR_SQ))
        return fail(setting, is_encapsulated(node) ? "is compressed pixel data" : "is a sequence");
    if (!make_value(vr, setting->what->value, &bytes))
        return refuse_value(setting, vr);
    if (value_rule(vr).is_free && !encode_text(setting, &bytes))
        return false;
    if (node == nullptr)
        node = find_or_add(setting, step, vr);
    if (node == nullptr)
        return fail(setting, "cannot be made: not enough memory");
    give_bytes(node, bytes);
    node->vr_explicit = vr;
    node->flag = ORIGIN_VELM;
    node->syntax = SYNTAX_EXPLICIT;
    DICOM_Attribute_Cleanup_Tag(nullptr, node);
    bool is_allowed = review_cleaning(node, bytes, setting->charset) == LEFT_AS_ALLOWED;
    bool is_marked = (node->flag & (FLAG_INVALID | FLAG_SYNTAX_ERROR)) != 0;
    if (!is_allowed && (is_marked || (!bytes.empty() && node->size == 0)))
        return refuse_value(setting, vr);
    node->flag = ORIGIN_VELM;
    if (node->size % 2 != 0)
        give_bytes(node, std::string(node->data, static_cast<size_t>(node->size)) + padding_of(node));
    return true;
}

//   around  the character set outside of the chain
static bool set_along(Setting *setting, DICOM_List *chain, size_t at, const Character_Set &around)
{
    const std::vector<Tag_Step> &steps = setting->what->path.steps;
    const Tag_Step &step = steps[at];
    const Character_Set here = setting->charset = charset_in(chain, around);
    if (at + 1 == steps.size())
        return set_value(setting, chain, step);
    DICOM_List *node = chain;
    while (node != nullptr && (node->group != step.group || node->element != step.element))
        node = node->next;
    if (node != nullptr && !may_have_items(node))
        return fail(setting, "cannot be set: " + tag_text(step.group, step.element) + " is no sequence");
    if (node == nullptr)
        node = find_or_add(setting, step, VR_SQ);
    int count = 0;
    while (node != nullptr && count < node->nb_item && node->item[count] != nullptr)
        count++;
    int first = step.item > 0 ? step.item : 1, last = step.item > 0 ? step.item : count > 0 ? count : 1;
    bool is_deep = setting->root.Sequence_Depth >= MAX_SEQUENCE_DEPTH;
    if (node == nullptr || is_deep || last > count + 1)
        return fail(setting, is_deep ? "lies below the ninth level of sequences"
                                     : "cannot be set: the next item of the sequence is " + std::to_string(count + 1));
    DICOM_Attribute_Sequence_Start(nullptr, &setting->root, step.group, step.element, node->flag, 15);
    bool done = true;
    for (int i = 1; i <= last && done; i++) {
        DICOM_Attribute_Item_Start(nullptr, &setting->root, 15);
        if (i >= first)
            done = set_along(setting, i <= count ? node->item[i - 1] : nullptr, at + 1, here);
        DICOM_Attribute_Item_Stop(nullptr, &setting->root, 15);
    }
    DICOM_Attribute_Sequence_Stop(nullptr, &setting->root, 15);
    return done;
}

// ---- the whole ------------------------------------------------------------------------

bool parse_assignment(const std::string &text, Assignment *what, std::string *error)
{
    size_t equals = text.find('=');
    if (equals == std::string::npos) {
        *error = "--set takes TAG=VALUE, not " + quoted(text);
        return false;
    }
    *what = {{}, VR_NONE, text.substr(equals + 1)};
    std::string tag = text.substr(0, equals);
    if (tag.size() > 3 && tag[tag.size() - 3] == ':') {
        what->vr = pack_letters(tag[tag.size() - 2], tag[tag.size() - 1]);
        tag.erase(tag.size() - 3);
        if (value_rule(what->vr).vr != what->vr) {
            *error = quoted(text.substr(0, equals)) + " names no VR of the standard";
            return false;
        }
    }
    if (!parse_tag_path(tag, &what->path, error))
        return false;
    error->clear();
    if (what->path.steps.back().item != 0)
        *error = quoted(tag) + " cannot be set: it names an item, not an attribute";
    for (const Tag_Step &step : what->path.steps) {
        if (!step.is_exact)
            *error = quoted(tag) + " cannot be set: it may name several attributes";
        else if (step.group == GROUP_FILE_META)
            *error = quoted(tag) + " cannot be set: group 0002 is made anew when a file is written";
        else if (step.group == GROUP_ITEM)
            *error = quoted(tag) + " cannot be set: items come into being with what is in them";
        else if (step.element == 0)
            *error = quoted(tag) + " cannot be set: --group-length writes the lengths of groups";
    }
    return error->empty();
}

bool assign(Data_Set *set, const Assignment &what, std::string *error)
{
    const Tag_Step &last = what.path.steps.back();
    Setting setting = {set, &what, {}, {}, ""};
    bool done = set_along(&setting, set->tree, 0, Character_Set());
    close_gaps(set->tree);
    if (!done)
        *error = tag_text(last.group, last.element) + " " + setting.error;
    return done;
}
