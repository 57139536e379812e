// Reads a DICOM file with the library alone, from its bytes to a tree, and prints what is in it: the steps that every
// host takes. docs/host-guide.md walks through this file.
//
//     read_file FILE
//
// The host library does the same with more care: host/load.cpp finds out how a file is encoded whatever its head says,
// and goes on behind damage.
#include "tree/DICOM_Constants.h"
#include "tree/Velmora_DICOM.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <string>

static const int HEAD = 132;   // preamble and "DICM" (DICOM PS3.10, 7.1)

// ---- reports ---------------------------------------------------------------------------

static void to_stderr(void *, HWND, int level, const char *text)
{
    fprintf(stderr, "%d: ", level);
    for (const char *c = text; *c != '\0'; c++)
        if (*c >= ' ' && *c < 0x7F)   // the control bytes stand for colours
            fputc(*c, stderr);
    fputc('\n', stderr);
}

// ---- bytes -----------------------------------------------------------------------------

static bool read_bytes(const char *path, std::string *bytes)
{
    FILE *file = fopen(path, "rb");
    if (file == nullptr)
        return false;
    char block[65536];
    size_t count;
    while ((count = fread(block, 1, sizeof block, file)) > 0)
        bytes->append(block, count);
    fclose(file);
    return bytes->size() >= HEAD && bytes->size() < 0x7FFFFFFF && bytes->compare(128, 4, "DICM") == 0;
}

// The encoding that a transfer syntax stands for. What is not listed has compressed pixels, in explicit little endian.
static unsigned char mode_of(const char *uid, int size)
{
    std::string text(uid, strnlen(uid, static_cast<size_t>(size)));
    if (text == "1.2.840.10008.1.2")
        return SYNTAX_IMPLICIT;
    if (text == "1.2.840.10008.1.2.2")
        return SYNTAX_EXPLICIT | SYNTAX_BIG_ENDIAN;
    return SYNTAX_EXPLICIT;
}

// ---- elements --------------------------------------------------------------------------

// A flat chain: one node for each element, in the order of the stream.
struct Chain {
    DICOM_List *first, *last;
};

static bool append(Chain *chain, const DICOM_List &element)
{
    DICOM_List *node = static_cast<DICOM_List *>(malloc(sizeof *node));
    if (node == nullptr)
        return false;
    *node = element;
    (chain->last != nullptr ? chain->last->next : chain->first) = node;
    chain->last = node;
    return true;
}

// Whether the next header follows at once, since the value is made of elements.
static bool holds_elements(const DICOM_List &element)
{
    if (element.group == GROUP_ITEM || element.size == UNDEFINED_LENGTH)
        return true;
    if (element.vr_explicit != VR_NONE)
        return element.vr_explicit == VR_SQ;
    const TAG_db_Elems *row = NEMA_db_Locate(element.group, element.element);
    return row != nullptr && row->vr[0] == VR_SQ;
}

static Chain read_elements(const char *bytes, int size)
{
    Chain chain = {nullptr, nullptr};
    unsigned char mode = SYNTAX_EXPLICIT;
    int at = HEAD;
    while (at < size) {
        DICOM_List element = {};
        element.pos = at;
        element.flag = ORIGIN_DICOM;
        element.syntax = mode;
        if (!NEMA_Get_Data_Element(nullptr, 0, reinterpret_cast<intptr_t>(&at), bytes, mode, &element.group,
                                   &element.element, &element.vr_explicit, &element.size, size))
            break;
        element.data_pos = at;
        bool is_value = !holds_elements(element);
        if (is_value && (element.size < 0 || element.size > size - at))
            break;   // the file is cut here
        if (is_value && element.size < SMALLEST_UNREAD_VALUE)
            element.data = const_cast<char *>(bytes) + at;
        if (!append(&chain, element))
            break;
        if (element.group == GROUP_FILE_META && element.element == 0x0010)
            mode = mode_of(bytes + at, element.size);
        if (is_value)
            at += element.size;
    }
    return chain;
}

// The values stand in the file's bytes: only the nodes and what complementing gave them are ours.
static void free_flat(DICOM_List *list)
{
    for (DICOM_List *next; list != nullptr; list = next) {
        next = list->next;
        free(list->description);
        free(list);
    }
}

// ---- the tree --------------------------------------------------------------------------

static void print_values(DICOM_List *tree)
{
    DICOM_Root root = {};
    DICOM_List *node = DICOM_Attribute_Get(nullptr, &root, tree, 0x0008, 0x0060, 0);
    char **texts = node != nullptr ? NEMA_Value_Str(nullptr, node, 0) : nullptr;
    for (int i = 0; texts != nullptr && i < node->vm; i++)
        printf("%s: %s\n", node->db->description, texts[i]);
    node = DICOM_Attribute_Get(nullptr, &root, tree, 0x0010, 0x0010, 0);
    Velmora_Name *names = node != nullptr ? NEMA_Value_Name(nullptr, node, 0) : nullptr;
    for (int i = 0; names != nullptr && i < node->vm; i++)
        if (const char *name = Name_2_Str(&names[i]))
            printf("%s: %s\n", node->db->description, name);
}

static int count_attributes(const DICOM_List *list)
{
    int count = 0;
    for (const DICOM_List *node = list; node != nullptr; node = node->next) {
        count += node->group != GROUP_ITEM;
        for (int i = 0; i < node->nb_item && node->item[i] != nullptr; i++)
            count += count_attributes(node->item[i]);
    }
    return count;
}

static void free_tree(DICOM_List *tree)
{
    for (DICOM_List *next; tree != nullptr; tree = next) {
        next = tree->next;
        DICOM_Attribute_Free(nullptr, tree);
    }
}

int main(int argc, char **argv)
{
    std::string bytes;
    if (argc != 2 || !read_bytes(argv[1], &bytes)) {
        fprintf(stderr, "usage: read_file FILE, a DICOM file with a head\n");
        return 2;
    }
    Error_Set_Sink(to_stderr, nullptr);
    Flag_Error_Warning = 3;
    Flag_Error_Report = 8;
    Error_Set_Threshold(3);

    DICOM_Lib_File_Source = 0;
    DICOM_Lib_File_Name = bytes.data();
    Chain flat = read_elements(bytes.data(), static_cast<int>(bytes.size()));

    DICOM_Root root = {};
    DICOM_Attribute_Complement(nullptr, &root, flat.first);
    DICOM_List *tree = DICOM_Attribute_Format(nullptr, flat.first);
    free_flat(flat.first);

    print_values(tree);
    DICOM_Attribute_Syntax(nullptr, &root, tree);
    printf("%d attributes\n", count_attributes(tree));

    free_tree(tree);
    DICOM_Lib_Cleanup();
    return 0;
}
