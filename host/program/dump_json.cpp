// The DICOM JSON Model: attributes by VR, sequences with what is in them, binary values written or referred to.
#include "host/program/dump_json.h"

#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>
#include <algorithm>

#include "host/program/selection.h"
#include "tree/DICOM_Constants.h"

using namespace velmora_host;

// What is on the way while a chain is written.
struct Json_Dump {
    Json *json;
    const Json_Form *form;
    Json_Place place;
};

// ---- options --------------------------------------------------------------------------

bool parse_byte_limit(const char *text, size_t *limit)
{
    if (text[0] == '\0' || strspn(text, "0123456789") != strlen(text) || strlen(text) > 10)
        return false;
    *limit = strtoul(text, nullptr, 10);
    if (*limit == 0)
        *limit = SIZE_MAX;
    return true;
}

// ---- references -----------------------------------------------------------------------

std::string file_uri(const std::string &path)
{
    if (path == "-")
        return "";
    char *whole = realpath(path.c_str(), nullptr);
    std::string name = whole != nullptr ? whole : path, uri = "file://";
    free(whole);
    static const char hex[] = "0123456789ABCDEF";
    static const std::string plain = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-._~/+,=@!$&'()*";
    for (char c : name) {
        unsigned char byte = static_cast<unsigned char>(c);
        if (plain.find(c) != std::string::npos)
            uri += c;
        else
            uri += std::string("%") + hex[byte >> 4] + hex[byte & 15];
    }
    return uri;
}

// "file:///a.dcm#offset=1234&length=5678". Of a deflated data set the offset counts in what was inflated.
static std::string bulk_uri(const Json_Dump &d, const DICOM_List *node, size_t size)
{
    const Data_Set &set = *d.place.set;
    int64_t offset = static_cast<int64_t>(node->data_pos) + d.place.base - set.stream_base;
    return d.form->uri + "#" + (set.is_deflated ? "inflated-offset=" : "offset=") + std::to_string(offset) +
           "&length=" + std::to_string(size);
}

// ---- values ---------------------------------------------------------------------------

// Words in little endian, as the model has them whatever the stream's order is.
static std::string in_little_endian(const DICOM_List *node, const Value_Rule &rule, Bytes_View bytes)
{
    std::string turned(bytes.data, bytes.size);
    if ((node->syntax & SYNTAX_BIG_ENDIAN) != 0)
        for (size_t i = 0; i + rule.unit <= turned.size(); i += rule.unit)
            std::reverse(turned.begin() + static_cast<long>(i), turned.begin() + static_cast<long>(i + rule.unit));
    return turned;
}

static void write_bytes(const Json_Dump &d, const DICOM_List *node, const Value_Rule &rule)
{
    Bytes_View bytes = value_bytes(*d.place.set, node);
    if (bytes.size == 0)
        return;
    if (bytes.size > d.form->inline_limit || node->item != nullptr) {
        d.json->key("BulkDataURI");
        d.json->string(bulk_uri(d, node, bytes.size));
    } else {
        std::string turned = in_little_endian(node, rule, bytes);
        d.json->key("InlineBinary");
        d.json->base64(turned.data(), turned.size());
    }
}

// The groups of a name, split by "=" (DICOM PS3.5, 6.2.1). Whatever stands behind a third "=" stays in the last group.
static void write_name(Json *json, const std::string &name)
{
    static const char *const groups[] = {"Alphabetic", "Ideographic", "Phonetic"};
    bool is_open = false;
    size_t start = 0;
    for (size_t i = 0; i < 3 && start <= name.size(); i++) {
        size_t end = i < 2 ? name.find('=', start) : std::string::npos;
        end = end == std::string::npos ? name.size() : end;
        std::string group = name.substr(start, end - start);
        group.erase(group.find_last_not_of(' ') + 1);
        start = end + 1;
        if (group.empty())
            continue;
        if (!is_open)
            json->start_object();
        is_open = true;
        json->key(groups[i]);
        json->string(group);
    }
    if (is_open)
        json->end_object();
    else
        json->null();
}

static void write_text(Json *json, const Value_Rule &rule, const std::string &text)
{
    if (text.empty())
        return json->null();
    if (rule.kind == VALUES_OF_NAMES)
        return write_name(json, text);
    std::string number = rule.kind == VALUES_OF_DECIMALS ? json_number(text) : "";
    if (number.empty())
        json->string(text);
    else
        json->number(number);
}

static void write_texts(const Json_Dump &d, const DICOM_List *node, const Value_Rule &rule,
                        const Value_Context &context)
{
    std::vector<std::string> texts = text_values(*d.place.set, node, rule, context);
    if (texts.empty())
        return;
    d.json->key("Value");
    d.json->start_array();
    for (const std::string &text : texts)
        write_text(d.json, rule, text);
    d.json->end_array();
}

static void write_number(Json *json, const Number &number)
{
    // What a double cannot hold goes as a text: NaN and infinity, and whole numbers from 2 to the 53rd on.
    static const int64_t LARGEST = INT64_C(1) << 53;
    std::string text = number_text(number);
    bool is_exact = number.kind == Number::REAL ? json_number(text) != ""
                                                : number.integer <= LARGEST && number.integer >= -LARGEST &&
                                                      (number.kind == Number::INTEGER || number.integer >= 0);
    if (number.kind == Number::TAG) {
        char digits[16];
        snprintf(digits, sizeof digits, "%08X", static_cast<unsigned int>(number.integer));
        json->string(digits);
    } else if (is_exact) {
        json->number(text);
    } else {
        json->string(text);
    }
}

static void write_numbers(const Json_Dump &d, const DICOM_List *node, const Value_Rule &rule)
{
    Bytes_View bytes = value_bytes(*d.place.set, node);
    size_t count = number_count(node, rule, bytes);
    if (count == 0)
        return;
    d.json->key("Value");
    d.json->start_array();
    for (size_t i = 0; i < count; i++)
        write_number(d.json, number_at(node, rule, bytes, i));
    d.json->end_array();
}

static void write_vr(Json *json, unsigned short vr)
{
    json->key("vr");
    json->string({static_cast<char>(vr >> 8), static_cast<char>(vr & 0xFF)});
}

// ---- sequences ------------------------------------------------------------------------

// Group lengths, item tags and the head are no attributes of the model.
static bool is_written(const Json_Form &form, const DICOM_List *node)
{
    return node->group != GROUP_ITEM && node->element != 0 && (node->group != GROUP_FILE_META || form.has_head);
}

static bool comes_first(const DICOM_List *a, const DICOM_List *b)
{
    return a->group != b->group ? a->group < b->group : a->element < b->element;
}

// The attributes of a chain in the order of their tags. Of several with one tag the first counts.
static std::vector<DICOM_List *> attributes_of(const Json_Form &form, DICOM_List *chain)
{
    std::vector<DICOM_List *> attributes;
    bool is_sorted = true;
    for (DICOM_List *node = chain; node != nullptr; node = node->next) {
        if (!is_written(form, node))
            continue;
        is_sorted &= attributes.empty() || comes_first(attributes.back(), node);
        attributes.push_back(node);
    }
    if (is_sorted)
        return attributes;
    std::stable_sort(attributes.begin(), attributes.end(), comes_first);
    std::vector<DICOM_List *> single;
    for (DICOM_List *node : attributes) {
        if (single.empty() || comes_first(single.back(), node))
            single.push_back(node);
        else
            report_about(node, "stands here more than once; the first is written");
    }
    return single;
}

static void write_node(const Json_Dump &d, DICOM_List *node, const Value_Context &context,
                       const std::vector<Progress> *inside);

static bool is_charset(const DICOM_List *node)
{
    return node->group == 0x0008 && node->element == 0x0005;
}

// The texts are UTF-8 here, and so this is what (0008,0005) has to say (DICOM PS3.18, F.2).
static void write_charset(Json *json, bool has_value)
{
    write_vr(json, VR_CS);
    if (!has_value)
        return;
    json->key("Value");
    json->start_array();
    json->string("ISO_IR 192");
    json->end_array();
}

// here: what is asked for; null for everything.
static void write_chain(const Json_Dump &d, DICOM_List *chain, const Value_Context &around,
                        const std::vector<Progress> *here)
{
    Value_Context context = context_of(*d.place.set, chain, around);
    d.json->start_object();
    for (DICOM_List *node : attributes_of(*d.form, chain)) {
        Selection selection = {true, {}};
        if (here != nullptr)
            selection = select_node(node, *here);
        if (!selection.is_whole && !has_selected_item(node, selection.inside))
            continue;
        char tag[16];
        snprintf(tag, sizeof tag, "%04X%04X", node->group, node->element);
        d.json->key(tag);
        d.json->start_object();
        if (is_charset(node))
            write_charset(d.json, value_bytes(*d.place.set, node).size > 0);
        else
            write_node(d, node, context, selection.is_whole ? nullptr : &selection.inside);
        d.json->end_object();
    }
    d.json->end_object();
}

static void write_items(const Json_Dump &d, const DICOM_List *node, const Value_Context &context,
                        const std::vector<Progress> *inside)
{
    if (node->item == nullptr || node->nb_item == 0 || node->item[0] == nullptr)
        return;
    Json_Dump below = d;
    below.place.depth++;
    d.json->key("Value");
    d.json->start_array();
    for (int i = 0; i < node->nb_item && node->item[i] != nullptr; i++) {
        bool is_whole = true;
        std::vector<Progress> entered;
        if (inside != nullptr)
            entered = enter_item(*inside, i + 1, &is_whole);
        write_chain(below, node->item[i], context, is_whole ? nullptr : &entered);
    }
    d.json->end_array();
}

// A sequence that the tree does not open: loaded as a data set of its own, whose only attribute it is.
static void write_opened(const Json_Dump &d, const Opaque &opaque, const Value_Context &context)
{
    Data_Set opened;
    std::string error;
    Load_Result result = load_opaque(*d.place.set, opaque, Load_Options(), &opened, &error);
    if (result == LOADED && opened.tree != nullptr) {
        Json_Dump below = d;
        below.place.set = &opened;
        below.place.base += opaque.data_pos;
        write_items(below, opened.tree, context, nullptr);
    }
    release_data_set(&opened);
    select_data_set(*d.place.set);
}

static void write_sequence(const Json_Dump &d, const DICOM_List *node, const Opaque *opaque,
                           const Value_Context &context, const std::vector<Progress> *inside)
{
    if (d.place.depth >= DEEPEST_JSON && (opaque != nullptr || node->item != nullptr)) {
        report_about(node, "lies deeper than %d sequences and is written as bytes", static_cast<int>(DEEPEST_JSON));
        write_vr(d.json, VR_UN);
        return write_bytes(d, node, value_rule(VR_UN));
    }
    if (opaque == nullptr && node->item == nullptr && value_bytes(*d.place.set, node).size > 0) {
        write_vr(d.json, VR_UN);   // no items could be read from it, which was reported
        return write_bytes(d, node, value_rule(VR_UN));
    }
    write_vr(d.json, VR_SQ);
    if (opaque != nullptr)
        write_opened(d, *opaque, context);
    else
        write_items(d, node, context, inside);
}

static void write_node(const Json_Dump &d, DICOM_List *node, const Value_Context &context,
                       const std::vector<Progress> *inside)
{
    const Value_Rule &rule = value_rule(value_vr(node, context));
    const Opaque *opaque = d.place.set->opaque.empty() ? nullptr : find_opaque(*d.place.set, node);
    if (rule.kind == VALUES_OF_ITEMS || opaque != nullptr)
        return write_sequence(d, node, opaque, context, inside);
    write_vr(d.json, rule.vr);
    switch (rule.kind) {
    case VALUES_OF_BYTES:
        return write_bytes(d, node, rule);
    case VALUES_OF_NUMBERS:
    case VALUES_OF_TAGS:
        return write_numbers(d, node, rule);
    default:
        return write_texts(d, node, rule, context);
    }
}

// ---- the calls ------------------------------------------------------------------------

void write_attribute(Json *json, const Json_Form &form, const Json_Place &place, DICOM_List *node,
                     const Value_Context &context)
{
    write_node({json, &form, place}, node, context, nullptr);
}

void dump_json(Json *json, const Json_Form &form, const Data_Set &set, const std::vector<Tag_Path> &only)
{
    std::vector<Progress> paths = start_selection(only, true);
    write_chain(
        {
            json, &form, {&set, 0, 0}
    },
        set.tree, outer_context(), only.empty() ? nullptr : &paths);
    json->end_document();
}
