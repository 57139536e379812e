// What a data set was before it was changed, and the differences in the end. The tree itself is compared, so that what
// is told is what will be written, whichever step did it.
#include "host/conform_internal.h"

#include <stdio.h>

namespace velmora_host
{

// ---- values in short ------------------------------------------------------------------

static const size_t LONGEST_SHOWN = 60;

// Bytes of one number, and how it is printed.
struct Number_Form {
    unsigned short vr;
    int size;
};

static const Number_Form number_forms[] = {
    {VR_US, 2},
    {VR_SS, 2},
    {VR_UL, 4},
    {VR_SL, 4},
    {VR_FL, 4},
    {VR_FD, 8},
    {VR_AT, 4},
};

static std::string number_text(unsigned short vr, const char *at)
{
    char text[40];
    if (vr == VR_US)
        snprintf(text, sizeof text, "%u", get_16(0, at));
    else if (vr == VR_SS)
        snprintf(text, sizeof text, "%d", static_cast<short>(get_16(0, at)));
    else if (vr == VR_UL)
        snprintf(text, sizeof text, "%u", get_32(0, at));
    else if (vr == VR_SL)
        snprintf(text, sizeof text, "%d", static_cast<int>(get_32(0, at)));
    else if (vr == VR_AT)
        snprintf(text, sizeof text, "%04x,%04x", get_16(0, at), get_16(0, at + 2));
    else
        snprintf(text, sizeof text, "%.9g", vr == VR_FL ? static_cast<double>(Get_Float(0, at)) : Get_Double(0, at));
    return text;
}

static bool is_bulk(unsigned short vr)
{
    static const unsigned short vrs[] = {VR_OB, VR_OD, VR_OF, VR_OL, VR_OV, VR_OW, VR_SQ, VR_SV, VR_UN, VR_UV, VR_NONE};
    for (unsigned short each : vrs)
        if (each == vr)
            return true;
    return false;
}

static bool is_text(unsigned short vr)
{
    return !is_bulk(vr) && std::none_of(std::begin(number_forms), std::end(number_forms),
                                        [vr](const Number_Form &form) { return form.vr == vr; });
}

static std::string shortened(std::string text)
{
    if (text.size() <= LONGEST_SHOWN)
        return text;
    size_t end = LONGEST_SHOWN - 3;
    while (end > 0 && (static_cast<unsigned char>(text[end]) & 0xC0) == 0x80)   // not inside of a UTF-8 character
        end--;
    return text.substr(0, end) + "...";
}

std::string without_padding(const char *bytes, int size)
{
    return std::string(text_in(bytes, size));
}

std::string short_value(unsigned short vr, const char *bytes, int size)
{
    if (bytes == nullptr || size <= 0)
        return "";
    if (is_bulk(vr))
        return std::to_string(size) + " bytes";
    std::string text;
    for (const Number_Form &form : number_forms)
        if (form.vr == vr) {
            for (int at = 0; size - at >= form.size && text.size() <= LONGEST_SHOWN; at += form.size)
                text += (at > 0 ? "\\" : "") + number_text(vr, bytes + at);
            return shortened(text);
        }
    return shortened(without_padding(bytes, size));
}

std::vector<std::string> split_values(const char *bytes, int size)
{
    std::vector<std::string> values;
    for (int at = 0; at <= size;) {
        const char *end =
            at < size ? static_cast<const char *>(memchr(bytes + at, '\\', static_cast<size_t>(size - at))) : nullptr;
        int length = end != nullptr ? static_cast<int>(end - bytes) - at : size - at;
        values.push_back(without_padding(bytes + at, length));
        at += length + 1;
    }
    return values;
}

static std::string items_text(int items)
{
    return items == 1 ? "1 item" : std::to_string(items) + " items";
}

static int count_items(const DICOM_List *node)
{
    int items = 0;
    while (node->item != nullptr && items < node->nb_item && node->item[items] != nullptr)
        items++;
    return items;
}

// ---- before ---------------------------------------------------------------------------

void take_snapshot(const DICOM_List *tree, Snapshot *snapshot)
{
    for (const DICOM_List *node = tree; node != nullptr; node = node->next) {
        Seen seen = {node->db,       node->group, node->element, true_vr(node), false, count_items(node), node->size,
                     node->data_pos, -1};
        if (node->data != nullptr && node->size > 0) {
            seen.value = static_cast<int64_t>(snapshot->values.size());
            snapshot->values.append(node->data, static_cast<size_t>(node->size));
        }
        snapshot->nodes.push_back(seen);
        for (int i = 0; i < seen.items; i++)
            take_snapshot(node->item[i], snapshot);
    }
    Seen end = {};
    end.is_end = true;
    snapshot->nodes.push_back(end);
}

// ---- reasons --------------------------------------------------------------------------

void append_tag(std::string *path, unsigned short group, unsigned short element)
{
    static const char digits[] = "0123456789abcdef";
    char text[9];
    for (int i = 0; i < 4; i++) {
        text[i] = digits[group >> (12 - 4 * i) & 0xF];
        text[i + 5] = digits[element >> (12 - 4 * i) & 0xF];
    }
    text[4] = ',';
    path->append(text, sizeof text);
}

static std::string key_of(const std::string &path, unsigned short group, unsigned short element)
{
    std::string key = path;
    append_tag(&key, group, element);
    return key;
}

std::string name_of(const DICOM_List *node)
{
    if (node->description != nullptr)
        return node->description;
    return node->db != nullptr ? node->db->description : "";
}

void note_reason(Conforming *run, const std::string &path, const DICOM_List *node, const char *why)
{
    run->reasons[key_of(path, node->group, node->element)] = why;
}

void note_first_reason(Conforming *run, const std::string &path, const DICOM_List *node, const char *why)
{
    run->reasons.emplace(key_of(path, node->group, node->element), why);
}

// ---- differences ----------------------------------------------------------------------

struct Comparison {
    Conforming *run;
    size_t at = 0;   // in the snapshot
    std::string path, charset;

    const Seen &seen() const
    {
        return run->before.nodes[at];
    }
};

static const char *value_before(const Comparison &c, const Seen &seen)
{
    if (seen.value >= 0)
        return c.run->before.values.data() + seen.value;
    const Source &source = c.run->set->source;
    bool is_in_source = seen.size > 0 && seen.items == 0 && seen.data_pos >= 0 && seen.data_pos <= source.size &&
                        seen.size <= source.size - seen.data_pos;
    return is_in_source ? source.bytes + seen.data_pos : nullptr;
}

static void skip_chain(Comparison *c);

static void skip_node(Comparison *c)
{
    int items = c->seen().items;
    c->at++;
    for (int i = 0; i < items; i++)
        skip_chain(c);
}

static void skip_chain(Comparison *c)
{
    while (!c->seen().is_end)
        skip_node(c);
    c->at++;
}

static void tell(Comparison *c, Change_Kind kind, const Seen &tag, const std::string &name, const std::string &before,
                 const std::string &after)
{
    auto why = c->run->reasons.find(key_of(c->path, tag.group, tag.element));
    c->run->result->changes.push_back(
        {kind, tag.group, tag.element, c->path, name, before, after, c->charset,
         why != c->run->reasons.end() ? why->second : ""});
}

static void tell_removed(Comparison *c)
{
    const Seen &seen = c->seen();
    const char *bytes = value_before(*c, seen);
    std::string text = seen.items > 0 ? items_text(seen.items) : short_value(seen.vr, bytes, seen.size);
    tell(c, VALUE_REMOVED, seen, seen.db != nullptr ? seen.db->description : "", text, "");
    skip_node(c);
}

static std::string value_after(const Conforming *run, const DICOM_List *node)
{
    if (has_items(node))
        return items_text(count_items(node));
    int size = 0;
    const char *bytes = value_of(*run->set, node, &size);
    return short_value(true_vr(node), bytes, size);
}

static Seen tag_of(const DICOM_List *node)
{
    Seen tag = {};
    tag.group = node->group;
    tag.element = node->element;
    return tag;
}

static void tell_added(Comparison *c, const DICOM_List *node)
{
    tell(c, VALUE_ADDED, tag_of(node), name_of(node), "", value_after(c->run, node));
}

static void compare_values(Comparison *c, const DICOM_List *node)
{
    const Seen &seen = c->seen();
    bool was_left = seen.value < 0 && (node->flag & ORIGIN_DICOM) != 0 && node->data_pos == seen.data_pos &&
                    node->size == seen.size;
    if (was_left)
        return;   // fetched or not, it is the same
    int size = 0;
    const char *after = value_of(*c->run->set, node, &size), *before = value_before(*c, seen);
    if (after == nullptr && node->data != nullptr && node->size == seen.size) {   // a sequence that is not opened
        after = node->data;
        size = node->size;
    }
    int old_size = before != nullptr ? seen.size : 0;
    if (old_size == size && (size == 0 || memcmp(before, after, static_cast<size_t>(size)) == 0))
        return;
    std::string was = short_value(seen.vr, before, old_size), is = value_after(c->run, node);
    bool is_padding = is_text(seen.vr) && split_values(before, old_size) == split_values(after, size);
    if (is_padding)
        c->run->result->padded++;
    else
        tell(c, VALUE_CHANGED, tag_of(node), name_of(node), was, is);
}

static void compare_chains(Comparison *c, DICOM_List *list);

// A sequence with other items than before is told as one; else what is in the items is compared.
static void compare_nodes(Comparison *c, const DICOM_List *node)
{
    int before = c->seen().items, after = count_items(node);
    if (before == 0 && after == 0)
        compare_values(c, node);
    if (before != after)
        tell(c, VALUE_CHANGED, tag_of(node), name_of(node), before > 0 ? items_text(before) : "",
             after > 0 ? items_text(after) : "");
    if (before != after || after == 0) {
        skip_node(c);
        return;
    }
    c->at++;
    size_t length = c->path.size();
    for (int i = 0; i < after; i++) {
        append_item(&c->path, node, i);
        compare_chains(c, node->item[i]);
        c->path.resize(length);
    }
}

// Marks of empty items come and go with what is in the item.
static bool is_mark(const Seen &seen)
{
    return seen.group == GROUP_ITEM && seen.element == ELEMENT_ITEM;
}

// Of attributes that stood there more than once the one that stayed is that with the same value, or else the last.
static bool is_other_of_same_tag(const Comparison &c, const DICOM_List *node)
{
    const Seen &seen = c.seen(), &next = c.run->before.nodes[c.at + 1];
    if (seen.items > 0 || next.is_end || next.group != seen.group || next.element != seen.element)
        return false;
    int size = 0;
    const char *after = value_of(*c.run->set, node, &size), *before = value_before(c, seen);
    int old_size = before != nullptr ? seen.size : 0;
    return old_size != size || (size > 0 && memcmp(before, after, static_cast<size_t>(size)) != 0);
}

static void compare_chains(Comparison *c, DICOM_List *list)
{
    const DICOM_List *node = list;
    std::string around = c->charset, charset = text_of(find_in_sorted_chain(list, 0x0008, 0x0005));
    if (!charset.empty())
        c->charset = charset;
    while (node != nullptr || !c->seen().is_end) {
        const Seen &seen = c->seen();
        bool is_new = node != nullptr && (seen.is_end || comes_before(node, seen.group, seen.element));
        bool is_gone = !is_new && (node == nullptr || node->group != seen.group || node->element != seen.element ||
                                   is_other_of_same_tag(*c, node));
        if (is_gone && is_mark(seen))
            skip_node(c);
        else if (is_gone)
            tell_removed(c);
        else if (is_new && !is_item_mark(node))
            tell_added(c, node);
        else if (!is_new)
            compare_nodes(c, node);
        if (!is_gone)
            node = node->next;
    }
    c->at++;
    c->charset = around;
}

void list_changes(Conforming *run)
{
    Comparison comparison = {run, 0, "", ""};
    compare_chains(&comparison, run->set->tree);
}

}   // namespace velmora_host
