// Trees for the tests of this area, written as they look, and blocks that free themselves.
#ifndef VELMORA_TESTS_WRITE_TREES_H
#define VELMORA_TESTS_WRITE_TREES_H

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "tests/support/outline.h"

// Tags of the examples.
inline constexpr Tag MODALITY = {0x0008, 0x0060}, REFERENCED = {0x0008, 0x1140}, CLASS = {0x0008, 0x1150},
                 INSTANCE = {0x0008, 0x1155}, PATIENT = {0x0010, 0x0020}, NUMBER = {0x0020, 0x0013};

using Chain = std::vector<DICOM_List *>;

inline DICOM_List *linked(const Chain &nodes)
{
    for (size_t i = 0; i + 1 < nodes.size(); i++)
        nodes[i]->next = nodes[i + 1];
    return nodes.empty() ? nullptr : nodes[0];
}

// A node with its VR from a definition.
inline DICOM_List *attribute(Tag tag, const char *vr, const Bytes &value, unsigned short flag = 1)
{
    DICOM_List *node = new_node(tag, vr, value);
    node->syntax = SYNTAX_EXPLICIT;
    node->flag = flag;
    node->vr = node->vr_explicit;
    node->vr_explicit = VR_NONE;
    return node;
}

// A value that was left in the source.
inline DICOM_List *unread(Tag tag, const char *vr, int size, int data_pos = 0)
{
    DICOM_List *node = attribute(tag, vr, "");
    node->size = size;
    node->data_pos = data_pos;
    return node;
}

inline DICOM_List *sequence_of(Tag tag, const std::vector<Chain> &items, unsigned short flag = 1)
{
    DICOM_List *node = attribute(tag, "SQ", "", flag);
    node->size = -1;
    node->nb_item = static_cast<int>(items.size());
    node->item = static_cast<DICOM_List **>(calloc(items.size() + 1, sizeof(DICOM_List *)));
    for (size_t i = 0; i < items.size(); i++)
        node->item[i] = linked(items[i]);
    return node;
}

inline DICOM_List *with_type(unsigned short type, DICOM_List *node)
{
    node->type = type;
    return node;
}

// A tree of these nodes, each at its depth.
struct Made : Tree {
    explicit Made(const Chain &nodes) : Tree(linked(nodes)) { settle(head, 0); }

private:
    static void settle(DICOM_List *node, int depth)
    {
        for (; node != nullptr; node = node->next) {
            node->depth = static_cast<unsigned char>(depth);
            for (int i = 0; node->item != nullptr && i < node->nb_item; i++)
                settle(node->item[i], depth + 1);
        }
    }
};

// A tree as lines such as "0010,0020 LO [ID1 ] deleted", items indented below their sequence.
inline std::string lines_of(const DICOM_List *node, int depth = 0)
{
    std::string out;
    for (; node != nullptr; node = node->next) {
        unsigned short vr = node->vr_explicit != 0 ? node->vr_explicit : node->vr;
        char tag[40];
        snprintf(tag, sizeof tag, "%*s%04x,%04x %c%c", depth * 2, "", node->group, node->element, vr >> 8, vr & 0xFF);
        out += tag;
        if (node->data != nullptr)
            out += " [" + Bytes(node->data, static_cast<size_t>(node->size)) + "]";
        out += (node->flag & FLAG_DELETED) != 0 ? " deleted\n" : "\n";
        for (int i = 0; i < node->nb_item && node->item[i] != nullptr; i++)
            out += lines_of(node->item[i], depth + 1);
    }
    return out;
}

struct Block {
    Block() = default;
    ~Block() { free(data); }
    Block(const Block &) = delete;
    Bytes bytes(int64_t size) const { return data != nullptr ? Bytes(data, static_cast<size_t>(size)) : ""; }

    char *data = nullptr;
};

// Sets a flag of the library and puts it back.
struct With {
    With(char *setting, char value) : flag(setting), old(*setting) { *flag = value; }
    ~With() { *flag = old; }
    With(const With &) = delete;

private:
    char *flag, old;
};

// "08 00" as two bytes.
inline Bytes hex(const char *text)
{
    Bytes out;
    for (char *end; *text != '\0'; text = end)
        out += static_cast<char>(strtol(text, &end, 16));
    return out;
}

#endif
