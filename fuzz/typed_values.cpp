// A value of any VR, of any bytes, as each type of C++, as texts and as a line of the dump; text as a value of any VR;
// and attributes made from program values.
#include <stdlib.h>
#include <string.h>
#include <vector>

#include "fuzz/support.h"

static const unsigned short vrs[] = {VR_NONE, VR_AE, VR_AS, VR_AT, VR_CS, VR_DA, VR_DS, VR_DT, VR_FD, VR_FL,
                                     VR_IS,   VR_LO, VR_LT, VR_OB, VR_OD, VR_OF, VR_OL, VR_OV, VR_OW, VR_PN,
                                     VR_SH,   VR_SL, VR_SQ, VR_SS, VR_ST, VR_SV, VR_TM, VR_UC, VR_UI, VR_UL,
                                     VR_UN,   VR_UR, VR_US, VR_UT, VR_UV, VR_RT, VR_OX, VR_UH};
static const size_t VR_COUNT = sizeof vrs / sizeof vrs[0];

static volatile size_t seen;

static void see(const void *bytes, size_t size)
{
    size_t sum = 0;
    for (size_t i = 0; i < size; i++)
        sum += static_cast<const unsigned char *>(bytes)[i];
    seen = seen + sum;
}

static void see_text(const char *text)
{
    if (text != nullptr)
        see(text, strlen(text));
}

// ---- values out of a node -------------------------------------------------------------

static void see_records(DICOM_List *node, unsigned short vr)
{
    if (Velmora_Name *names = NEMA_Value_Name(nullptr, node, vr))
        for (int i = 0; i < node->vm; i++)
            see_text(Name_2_Str_Comma(&names[i]));
    Velmora_Date *date = NEMA_Value_Date(nullptr, node, vr);
    Velmora_Time *time = NEMA_Value_Time(nullptr, node, vr);
    if (date != nullptr || time != nullptr) {
        see_text(Time_2_Str(date, time));
        see_text(Time_2_DICOM(date, time));
    }
}

static void see_as(DICOM_List *node, unsigned short vr)
{
    if (int *numbers = NEMA_Value_Int(nullptr, node, vr)) {
        HOLDS(node->vm > 0 && node->vm <= node->size + 1);
        see(numbers, static_cast<size_t>(node->vm) * sizeof *numbers);
    }
    if (float *numbers = NEMA_Value_Float(nullptr, node, vr))
        see(numbers, static_cast<size_t>(node->vm) * sizeof *numbers);
    if (char **texts = NEMA_Value_Str(nullptr, node, vr))
        for (int i = 0; i < node->vm; i++)
            see_text(texts[i]);
    if (char *bytes = NEMA_Value_Hex(nullptr, node, vr))
        see(bytes, static_cast<size_t>(node->size));
    see_records(node, vr);
}

static void see_texts(DICOM_List *node)
{
    std::vector<char *> texts(static_cast<size_t>(node->size > 0 ? node->size : 0) + 3);
    node->vm = 0;
    int count = DICOM_Attribute_Get_Data(node, texts.data());
    HOLDS(count >= 0 && count <= node->size + 1);
    for (int i = 0; i < count; i++)
        see_text(texts[static_cast<size_t>(i)]);
    std::vector<char> buffer(1024);   // of its size, not of a page's
    see_text(DICOM_Attribute_Stool_Data(nullptr, node, buffer.data()));
    DICOM_Root root = {};
    DICOM_Attribute_Stool_Tag(nullptr, &root, node, 3);
}

static void read_node(DICOM_List *node, unsigned short other_vr)
{
    see_as(node, 0);
    see_as(node, other_vr);
    see_texts(node);
}

static void read_value(const DICOM_List &header, unsigned short other_vr, const std::string &value)
{
    DICOM_List node = header;
    Block block(value);
    node.data = value.empty() ? nullptr : block.data;
    node.size = block.size;
    read_node(&node, other_vr);
    if (block.size < SMALLEST_UNREAD_VALUE)
        return;
    node.data = nullptr;   // the same, left in its source
    DICOM_Lib_File_Name = block.data;
    read_node(&node, other_vr);
    free(node.data);
}

// ---- values into a node ---------------------------------------------------------------

static void read_text(const DICOM_List &header, unsigned short other_vr, const std::string &value)
{
    DICOM_List node = header;
    node.vr = node.vr_explicit;
    std::string text = as_text(value);
    if (DICOM_Module_Read_Value(&node, text.data()))
        HOLDS(node.data != nullptr || node.size == 0);
    read_node(&node, other_vr);
    DICOM_Lib_Free(&node.data);
}

static void add_texts(Input *input, DICOM_Root *root, DICOM_List **list)
{
    static const unsigned short plain[] = {VR_AE, VR_CS, VR_LO, VR_SH, VR_AS, VR_LT, VR_ST, VR_UT, VR_UI};
    std::string first = as_text(input->piece()), second = as_text(input->piece());
    unsigned short group = 0x0008;
    for (unsigned short vr : plain)
        DICOM_Attribute_Add(nullptr, root, list, group++, 0x0001, vr, 1, first.c_str());
    const char *several[] = {first.c_str(), second.c_str()};
    for (unsigned short vr : {VR_AE, VR_CS, VR_LO, VR_SH})
        DICOM_Attribute_Add(nullptr, root, list, group++, 0x0002, vr, -2, several);
    Velmora_Name name = {};
    Make_Velm_Name_From_Str(&name, first.c_str(), input->byte());
    DICOM_Attribute_Add(nullptr, root, list, 0x0010, 0x0010, VR_PN, 1, name);
    Name_Free(&name);
}

static void add_numbers(Input *input, DICOM_Root *root, DICOM_List **list)
{
    uint32_t bits = input->number(), more = input->number();
    float real;
    memcpy(&real, &bits, sizeof real);
    float reals[] = {real, -real, static_cast<float>(more)};
    double wide = static_cast<double>(real) * more;
    unsigned short group = 0x0028;
    DICOM_Attribute_Add(nullptr, root, list, group, 0x0001, VR_DS, 1, &real);
    DICOM_Attribute_Add(nullptr, root, list, group, 0x0002, VR_DS, -3, reals);
    for (unsigned short vr : {VR_IS, VR_SL, VR_UL, VR_SS, VR_US, VR_OW, VR_OB})
        DICOM_Attribute_Add(nullptr, root, list, group++, 0x0003, vr, 2, static_cast<int>(bits), static_cast<int>(more));
    DICOM_Attribute_Add(nullptr, root, list, group, 0x0004, VR_FL, 1, static_cast<double>(real));
    DICOM_Attribute_Add(nullptr, root, list, group, 0x0005, VR_FD, 1, wide);
    DICOM_Attribute_Add(nullptr, root, list, group, 0x0006, VR_AT, 1, static_cast<int>(bits & 0xFFFF),
                        static_cast<int>(more & 0xFFFF));
    Velmora_Date date = {};
    Velmora_Time time = {};
    Make_Velm_Date(&date, static_cast<int>(bits >> 16), static_cast<int>(bits & 0xFF), static_cast<int>(more & 0xFF));
    Make_Velm_Time(&time, real);
    DICOM_Attribute_Add(nullptr, root, list, group, 0x0007, VR_DA, 1, date);
    DICOM_Attribute_Add(nullptr, root, list, group, 0x0008, VR_TM, 1, time);
    DICOM_Attribute_Add(nullptr, root, list, group, 0x0009, VR_DT, 1, date, time);
    DICOM_Attribute_Add(nullptr, root, list, group, 0x000A, input->word(), 0);
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *bytes, size_t size)
{
    Input input(bytes, size);
    unsigned char what = input.byte(), how = input.byte();
    Fresh_Library library((how & 0xE0) == 0xE0);
    DICOM_List header = {};
    header.group = 0x0008;
    header.element = 0x0018;
    header.vr_explicit = what < VR_COUNT * 6 ? vrs[what % VR_COUNT] : input.word();
    header.syntax = how & (SYNTAX_BIG_ENDIAN | SYNTAX_SWAPPED_WORDS | SYNTAX_EXPLICIT);
    unsigned short other_vr = vrs[input.byte() % VR_COUNT];
    if ((how & 4) != 0) {
        DICOM_Root root = {};
        DICOM_List *list = nullptr;
        add_numbers(&input, &root, &list);
        add_texts(&input, &root, &list);
        check_tree(list);
        free_tree(list);
    }
    std::string value = input.rest();
    read_value(header, other_vr, value);
    read_text(header, other_vr, value);
    return 0;
}
