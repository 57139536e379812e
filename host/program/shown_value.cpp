// Attributes in lines for people.
#include "host/program/shown_value.h"

#include "host/program/findings.h"
#include "host/program/output.h"
#include "host/program/tag_path.h"
#include "host/program/terminal.h"
#include "tree/DICOM_Constants.h"

using namespace velmora_host;

static const size_t LONGEST_TEXT = 80, MOST_NUMBERS = 12, MOST_BYTES = 24;

std::string shown_place(const std::string &path, const DICOM_List *node, unsigned short vr)
{
    std::string text = path + tag_text(node->group, node->element);
    if (vr != VR_NONE)
        text += std::string(" ") + static_cast<char>(vr >> 8) + static_cast<char>(vr & 0xFF);
    std::string name = node->description != nullptr && node->element != 0 ? without_marks(node->description)
                                                                          : name_of_tag(node->group, node->element);
    return name.empty() ? text : text + " " + visible(name);
}

std::string path_into(const std::string &path, const DICOM_List *sequence, int item)
{
    return path + tag_text(sequence->group, sequence->element) + "[" + std::to_string(item) + "]/";
}

// ---- values ---------------------------------------------------------------------------

static std::string counted(int count, const char *one, const char *several)
{
    return std::to_string(count) + " " + (count == 1 ? one : several);
}

static std::string shown_items(const DICOM_List *node)
{
    int count = 0;
    while (count < node->nb_item && node->item[count] != nullptr)
        count++;
    return is_encapsulated(node) ? counted(count, "fragment", "fragments") : counted(count, "item", "items");
}

static std::string shown_numbers(const DICOM_List *node, const Value_Rule &rule, Bytes_View bytes)
{
    std::string text;
    size_t count = bytes.size / rule.unit;
    for (size_t i = 0; i < count && i < MOST_NUMBERS; i++)
        text += (i > 0 ? "\\" : "") + number_text(number_at(node, rule, bytes, i));
    return count > MOST_NUMBERS ? text + "\\... (" + std::to_string(count) + " values)" : text;
}

static std::string shown_bytes(Bytes_View bytes)
{
    static const char digits[] = "0123456789abcdef";
    std::string text;
    for (size_t i = 0; i < bytes.size && i < MOST_BYTES; i++) {
        text += digits[static_cast<unsigned char>(bytes.data[i]) >> 4];
        text += digits[bytes.data[i] & 15];
    }
    return bytes.size > MOST_BYTES ? text + "... (" + std::to_string(bytes.size) + " bytes)" : text;
}

// At most so many bytes of a text in UTF-8, and no part of a character.
static std::string shortened(const std::string &text)
{
    if (text.size() <= LONGEST_TEXT)
        return text;
    size_t end = LONGEST_TEXT;
    while (end > 0 && (text[end] & 0xC0) == 0x80)
        end--;
    return text.substr(0, end) + "...";
}

static std::string shown_texts(const Data_Set &set, const DICOM_List *node, const Value_Rule &rule,
                               const Value_Context &context)
{
    std::string text;
    bool is_first = true;
    for (const std::string &value : text_values(set, node, rule, context)) {
        text += (is_first ? "" : "\\") + value;
        is_first = false;
    }
    return "'" + visible(shortened(text)) + "'";
}

std::string value_in_utf8(const Data_Set &set, const DICOM_List *node, const Value_Context &context)
{
    if (node->item != nullptr || find_opaque(set, node) != nullptr)
        return node->item != nullptr ? shown_items(node) : "items";
    const Value_Rule &rule = value_rule(value_vr(node, context));
    Bytes_View bytes = value_bytes(set, node);
    if (bytes.size == 0)
        return "nothing";
    switch (rule.kind) {
    case VALUES_OF_BYTES:
    case VALUES_OF_ITEMS:
        return shown_bytes(bytes);
    case VALUES_OF_NUMBERS:
    case VALUES_OF_TAGS:
        return bytes.size % rule.unit != 0 ? shown_bytes(bytes) : shown_numbers(node, rule, bytes);
    default:
        return shown_texts(set, node, rule, context);
    }
}

std::string shown_value(const Data_Set &set, const DICOM_List *node, const Value_Context &context)
{
    return for_terminal(value_in_utf8(set, node, context));
}
