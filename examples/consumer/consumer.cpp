// A host in a project of its own: it reads a file of explicit VR little-endian with the library's own calls, prints the
// tree, and then the patient's ID. C++11 and the installed headers are enough.
//
//     consumer image.dcm
#include "tree/DICOM_Constants.h"
#include "tree/Velmora_DICOM.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

static const int PREAMBLE_AND_PREFIX = 132;   // DICOM PS3.10, 7.1
static const unsigned char EXPLICIT_LITTLE_ENDIAN = 8;

static void print(void *, HWND, int, const char *text)
{
    for (; *text != '\0'; text++)
        if (*text >= ' ' || *text == '\t')    // what remains are colours
            putchar(*text);
    putchar('\n');
}

// The whole file, or null. The caller frees it.
static char *read_file(const char *name, int *size)
{
    FILE *file = fopen(name, "rb");
    if (file == nullptr || fseek(file, 0, SEEK_END) != 0)
        return nullptr;
    long length = ftell(file);
    char *bytes = length > PREAMBLE_AND_PREFIX && length < 0x7FFFFFFF ? static_cast<char *>(malloc(length)) : nullptr;
    rewind(file);
    if (bytes != nullptr && fread(bytes, 1, length, file) != static_cast<size_t>(length)) {
        free(bytes);
        bytes = nullptr;
    }
    fclose(file);
    *size = static_cast<int>(length);
    return bytes;
}

static void free_chain(DICOM_List *node)
{
    while (node != nullptr) {
        DICOM_List *next = node->next;
        DICOM_Attribute_Free(nullptr, node);
        node = next;
    }
}

// One node for each element, in the order of the stream. The values stay where they are, in the file's bytes.
static DICOM_List *read_elements(const char *bytes, int size)
{
    DICOM_Root root = {};
    DICOM_List *flat = nullptr;
    DICOM_List element = {};
    int cursor = PREAMBLE_AND_PREFIX;
    element.syntax = EXPLICIT_LITTLE_ENDIAN;
    element.flag = ORIGIN_DICOM;
    for (;;) {
        element.pos = cursor;
        element.size = 0;
        if (!NEMA_Get_Data_Element(nullptr, 0, reinterpret_cast<intptr_t>(&cursor), bytes, EXPLICIT_LITTLE_ENDIAN,
                                   &element.group, &element.element, &element.vr_explicit, &element.size, size))
            return flat;
        element.data_pos = cursor;
        bool has_value = element.group != GROUP_ITEM && element.vr_explicit != VR_SQ && element.size > 0;
        if (has_value && element.size > size - cursor)
            return flat;                       // the file ends inside this value
        element.data = has_value ? const_cast<char *>(bytes) + cursor : nullptr;
        DICOM_Attribute_Insert(nullptr, &root, &flat, &element, 0);
        if (has_value)
            cursor += element.size;
    }
}

int main(int argc, char **argv)
{
    int size = 0;
    char *bytes = argc == 2 ? read_file(argv[1], &size) : nullptr;
    if (bytes == nullptr || memcmp(bytes + PREAMBLE_AND_PREFIX - 4, "DICM", 4) != 0) {
        fprintf(stderr, "consumer FILE prints a DICOM file of explicit VR little-endian\n");
        return 2;
    }
    printf("%s\n", Get_Version_DICOM(nullptr));
    Error_Set_Sink(print, nullptr);

    DICOM_Root root = {};
    DICOM_List *flat = read_elements(bytes, size);
    free(bytes);
    DICOM_Attribute_Complement(nullptr, &root, flat);      // what the dictionary knows of each element
    DICOM_List *tree = DICOM_Attribute_Format(nullptr, flat);
    free_chain(flat);

    DICOM_Attribute_Stool(nullptr, &root, tree, Flag_Error_Report);
    DICOM_List *id = DICOM_Attribute_Get(nullptr, &root, tree, 0x0010, 0x0020, 0);
    char **texts = id != nullptr ? NEMA_Value_Str(nullptr, id, 0) : nullptr;
    printf("Patient ID: %s\n", texts != nullptr ? texts[0] : "none");

    free_chain(tree);
    DICOM_Lib_Cleanup();
    return texts != nullptr ? 0 : 1;
}
