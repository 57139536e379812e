#include "tests/support/outline.h"

#include <stdlib.h>
#include <string.h>

#include "tree/tree_internal.h"

void free_tree(DICOM_List *head)
{
    while (head != nullptr) {
        DICOM_List *next = head->next;
        DICOM_Attribute_Free(nullptr, head);
        head = next;
    }
}

DICOM_List *new_node(Tag tag, const char *vr, const Bytes &value)
{
    DICOM_List *node = static_cast<DICOM_List *>(calloc(1, sizeof(DICOM_List)));
    node->group = tag.group;
    node->element = tag.element;
    node->vr_explicit = vr[0] != '\0' ? pack_letters(vr[0], vr[1]) : static_cast<unsigned short>(VR_NONE);
    if (!value.empty()) {
        node->data = static_cast<char *>(malloc(value.size()));
        memcpy(node->data, value.data(), value.size());
        node->size = static_cast<int>(value.size());
    }
    return node;
}

static void set_depth(DICOM_List *node, int depth)
{
    node->depth = static_cast<unsigned char>(depth);
    for (int i = 0; i < node->nb_item; i++)
        for (DICOM_List *each = node->item[i]; each != nullptr; each = each->next)
            set_depth(each, depth + 1);
}

DICOM_List *add_item(DICOM_List *sequence, const std::vector<DICOM_List *> &nodes)
{
    size_t slots = static_cast<size_t>(sequence->nb_item) + 1;
    sequence->item = static_cast<DICOM_List **>(realloc(sequence->item, slots * sizeof(DICOM_List *)));
    DICOM_List **link = &sequence->item[sequence->nb_item++];
    *link = nullptr;
    for (DICOM_List *node : nodes) {
        *link = node;
        link = &node->next;
    }
    set_depth(sequence, sequence->depth);
    return sequence;
}

DICOM_List *Tree::append(Tag tag, const char *vr, const Bytes &value)
{
    DICOM_List **link = &head;
    if (head != nullptr)
        link = head->last != nullptr ? &head->last->next : &head->next;
    while (*link != nullptr)
        link = &(*link)->next;
    *link = new_node(tag, vr, value);
    head->last = *link;
    return *link;
}

static std::string printed(const char *format, unsigned int first, unsigned int second = 0)
{
    char text[64];
    snprintf(text, sizeof text, format, first, second);
    return text;
}

static std::string letters(unsigned short vr)
{
    return vr == VR_NONE ? "--" : std::string{first_letter(vr), second_letter(vr)};
}

static std::string shown_value(const DICOM_List *node)
{
    if (node->size == UNDEFINED_LENGTH)
        return " undefined length";
    if (node->data == nullptr)
        return node->size == 0 ? "" : printed(" %d bytes unread", static_cast<unsigned int>(node->size));
    std::string out = " [";
    for (int i = 0; i < node->size; i++) {
        unsigned char byte = static_cast<unsigned char>(node->data[i]);
        out += byte >= 0x20 && byte < 0x7F ? std::string(1, node->data[i]) : printed("\\x%02X", byte);
    }
    return out + "]";
}

static std::string other_fields(const DICOM_List *node)
{
    std::string out = printed(" flag=%04x depth=%u", node->flag, node->depth);
    out += " vr=" + letters(node->vr_explicit) + "/" + letters(node->vr);
    out += printed(" syntax=%u type=%04x", node->syntax, node->type);
    out += " at " + std::to_string(node->stream_word) + "," + std::to_string(node->pos) + "," +
           std::to_string(node->data_pos);
    if (node->description != nullptr)
        out += std::string(" \"") + node->description + "\"";
    if (node->db != nullptr)
        out += " db";
    return out;
}

static void add_lines(const DICOM_List *chain, const std::string &indent, bool full, std::string &out)
{
    for (const DICOM_List *node = chain; node != nullptr; node = node->next) {
        out += indent + printed("%04x,%04x ", node->group, node->element) + letters(working_vr(node)) +
               shown_value(node) + (full ? other_fields(node) : "") + "\n";
        for (int i = 0; node->item != nullptr && i < node->nb_item; i++) {
            out += indent + (node->item[i] != nullptr ? "  item\n" : "  empty item\n");
            add_lines(node->item[i], indent + "    ", full, out);
        }
    }
}

std::string outline(const DICOM_List *tree)
{
    std::string out;
    add_lines(tree, "", false, out);
    return out;
}

std::string full_outline(const DICOM_List *tree)
{
    std::string out;
    add_lines(tree, "", true, out);
    return out;
}
