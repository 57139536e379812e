// Streams: which groups are written and where, the head of a file, the image callbacks, and blocks that move.
#include <gtest/gtest.h>

#include "tests/support/reports.h"
#include "tests/write_trees.h"

// What the image callback of a test does.
struct Image {
    Bytes bytes;               // the image
    bool moves = false;        // into a block of its own, exactly as large as needed
    int told = 0;              // the result when there are no bytes
    unsigned int offset = 0;   // as it was called
    char syntax = 0;
};

static int write_image(HWND, char syntax, unsigned int offset, char **buffer, void *user)
{
    Image *image = static_cast<Image *>(user);
    image->offset = offset;
    image->syntax = syntax;
    size_t size = image->bytes.size();
    if (size == 0)
        return image->told;
    if (image->moves) {
        char *moved = static_cast<char *>(malloc(offset + size));
        memcpy(moved, *buffer, offset);
        free(*buffer);
        *buffer = moved;
    } else {
        *buffer = static_cast<char *>(realloc(*buffer, offset + size));
    }
    memcpy(*buffer + offset, image->bytes.data(), size);
    return static_cast<int>(size);
}

using Writer = unsigned int (*)(HWND, char, DICOM_List *, char **, void *);

// What a writer makes of a tree, with the image callback in place.
static Bytes stream(Writer writer, const Tree &tree, char syntax = 8, Image *image = nullptr)
{
    Image none;
    DICOM_Write_Image_Fct(write_image);
    Block block;
    unsigned int size = writer(nullptr, syntax, tree.head, &block.data, image != nullptr ? image : &none);
    DICOM_Write_Image_Fct(nullptr);
    return block.bytes(size);
}

// The writers without a user pointer. What their pointers hold before is not looked at.
static unsigned int write_head(HWND window, char syntax, DICOM_List *list, char **buffer, void *)
{
    static char untouched;
    *buffer = &untouched;
    return DICOM_Write_Part10(window, syntax, list, buffer);
}

static unsigned int write_list(HWND window, char syntax, DICOM_List *list, char **buffer, void *)
{
    static char untouched;
    *buffer = &untouched;
    return static_cast<unsigned int>(DICOM_List2Stream(window, syntax, list, buffer));
}

static Bytes short_one(unsigned short group, int syntax = 8)
{
    return element({group, 0x0010}, "LO", "ab", syntax);
}

static DICOM_List *node(unsigned short group)
{
    return attribute({group, 0x0010}, "LO", "ab");
}

// All group numbers, so that what is selected can be read off the bytes.
static std::vector<int> groups_written(Writer writer, bool odd_too)
{
    With odd(&Flag_DICOM_Propriatery, odd_too);
    Chain nodes;
    for (int group = 0; group <= 0xFFFF; group++)
        nodes.push_back(attribute({static_cast<unsigned short>(group), 0x0010}, "LO", ""));
    Bytes bytes = stream(writer, Made(nodes));
    std::vector<int> groups;
    for (size_t at = 0; at < bytes.size(); at += 8)
        groups.push_back(static_cast<unsigned char>(bytes[at]) | static_cast<unsigned char>(bytes[at + 1]) << 8);
    return groups;
}

TEST(WriteStream, SelectsTheGroupsOfEachPart)
{
    std::vector<int> standard = {
        0x0008, 0x0010, 0x0012, 0x0018, 0x0020, 0x0028, 0x0032, 0x0038, 0x003A, 0x0040, 0x0050, 0x0054, 0x0060, 0x0070,
        0x0088, 0x0100, 0x0400, 0x2000, 0x2010, 0x2020, 0x2030, 0x2040, 0x2050, 0x2100, 0x2110, 0x2120, 0x2130, 0x2200,
        0x3002, 0x3004, 0x3006, 0x3008, 0x300A, 0x300C, 0x300E, 0x4000, 0x4008,
    };
    for (int group = 0x5000; group <= 0x50FE; group += 2)
        standard.push_back(group);
    for (int group : {0x5200, 0x5400, 0x5600})
        standard.push_back(group);
    for (int group = 0x6000; group <= 0x60FE; group += 2)
        standard.push_back(group);
    EXPECT_EQ(groups_written(DICOM_Write_Buffer_A, false), standard);
    for (int group = 0x0009; group < 0x7F00; group += 2)
        standard.push_back(group);
    std::sort(standard.begin(), standard.end());
    EXPECT_EQ(groups_written(DICOM_Write_Buffer_A, true), standard);

    EXPECT_EQ(groups_written(DICOM_Write_Buffer_C, false),
              (std::vector<int>{0x7FF0, 0x7FF2, 0x7FF4, 0x7FF6, 0x7FF8, 0x7FFA, 0x7FFC, 0x7FFE}));
    EXPECT_EQ(groups_written(DICOM_Write_Buffer_C, true).size(), 16u);
}

TEST(WriteStream, PutsTheImageBetweenItsParts)
{
    Made tree({node(0x0002), node(0x0008), node(0x0009), node(0x0010), node(0x7F00), node(0x7FE0), node(0x7FF0)});
    for (bool moves : {false, true}) {
        Image image = {.bytes = "pixels", .moves = moves};
        EXPECT_EQ(stream(DICOM_Write_Buffer, tree, 9, &image),
                  short_one(0x0008, 9) + short_one(0x0010, 9) + "pixels" + short_one(0x7FF0, 9));
        EXPECT_EQ(image.offset, 20u);
        EXPECT_EQ(image.syntax, 9);
    }
    EXPECT_EQ(stream(DICOM_Write_Buffer_A, tree), short_one(0x0008) + short_one(0x0010));
    EXPECT_EQ(stream(DICOM_Write_Buffer_C, tree), short_one(0x7FF0));

    EXPECT_EQ(stream(write_list, tree, 0), short_one(2, 0) + short_one(8, 0) + short_one(9, 0) + short_one(0x10, 0) +
                                               short_one(0x7F00, 0) + short_one(0x7FE0, 0) + short_one(0x7FF0, 0));
}

TEST(WriteStream, PutsTheLengthInFrontOfEachGroupThatIsThere)
{
    With lengths(&DICOM_Flag_Elem_0000, 1);
    Made tree({node(0x0008), attribute({0x0008, 0x0020}, "DA", "20040512"), attribute({0x0010, 0x0000}, "UL", "1234"),
               node(0x0010), node(0x7FF2)});
    Bytes first = short_one(8) + element({0x0008, 0x0020}, "DA", "20040512");
    Bytes second = element({0x0010, 0x0000}, "UL", "1234") + short_one(0x10);
    EXPECT_EQ(stream(DICOM_Write_Buffer_A, tree), hex("08 00 00 00 55 4C 04 00 1A 00 00 00") + first +
                                                    hex("10 00 00 00 55 4C 04 00 16 00 00 00") + second);
    EXPECT_EQ(stream(DICOM_Write_Buffer_C, tree, 9), hex("7F F2 00 00 55 4C 00 04 00 00 00 0A") + short_one(0x7FF2, 9));
    EXPECT_EQ(stream(write_list, tree), first + second + short_one(0x7FF2));
}

TEST(WriteStream, WritesTheHeadOfAFile)
{
    EXPECT_EQ(stream(write_head, Made({node(0x0008)})), Bytes(128, '\0') + "DICM");
    Made tree({attribute({0x0002, 0x0001}, "OB", Bytes("\0\1", 2)),
               attribute({0x0002, 0x0010}, "UI", Bytes("1.2.840.10008.1.2.2\0", 20)), node(0x0008)});
    for (char syntax : {char(0), char(8), char(9)})
        EXPECT_EQ(stream(write_head, tree, syntax), part10_head("1.2.840.10008.1.2.2")) << "in syntax " << int(syntax);
}

static int pass_on(HWND, char syntax, char **buffer, int a, int b, void *user)
{
    *static_cast<std::string *>(user) += std::to_string(syntax) + " " + std::to_string(a) + " " + std::to_string(b);
    return *buffer != nullptr ? -7 : 5;
}

TEST(WriteStream, HandsPiecesOfTheImageToItsCallback)
{
    std::string called;
    char *buffer = nullptr;
    Reports said(13);
    EXPECT_EQ(DICOM_Write_Image_B_Fct(pass_on), 1);
    EXPECT_EQ(DICOM_Write_Buffer_B(nullptr, 9, &buffer, 2, -3, &called), 5);
    buffer = called.data();
    EXPECT_EQ(DICOM_Write_Buffer_B(nullptr, 8, &buffer, 0, 1, &called), -7) << "the result is not looked at";
    EXPECT_EQ(called, "9 2 -38 0 1");
    DICOM_Write_Image_B_Fct(nullptr);
    EXPECT_EQ(DICOM_Write_Buffer_B(nullptr, 8, &buffer, 0, 0, &called), 0);
    EXPECT_EQ(said.texts(13), "in DICOM_Write_Buffer_B(2,-3)\n"
                              "in DICOM_Write_Buffer_B(0,1)\nin DICOM_Write_Buffer_B(0,0)\n");
    EXPECT_EQ(said.warnings(), "\xF1\x05Warning:\x02 Write Image call back undefined!\n");
}

TEST(WriteStream, KeepsTheFirstPartWithoutAnImageCallback)
{
    Made tree({node(0x0008), node(0x7FF0)});
    Block block;
    Reports said;
    EXPECT_EQ(DICOM_Write_Buffer(nullptr, 8, tree.head, &block.data, nullptr), 0u);
    EXPECT_EQ(block.bytes(10), short_one(8));
    EXPECT_EQ(said.warnings(), "\xF1\x05Warning:\x02 Write Image call back undefined!\n");
}

TEST(WriteStream, RefusesAStreamThatNoResultCanTell)
{
    Reports said;
    Made chain({node(0x0008), unread({0x0008, 0x0020}, "OB", INT32_MAX - 12)});
    Block block;
    EXPECT_EQ(DICOM_List2Stream(nullptr, 8, chain.head, &block.data), 0);
    EXPECT_EQ(block.bytes(10), short_one(8)) << "what was written stays";
    EXPECT_EQ(said.failures(), "\xF1\x04" "ERROR:\x02 A stream of 2147483657 bytes is more than can be written\n");

    said.all.clear();
    Made parts({node(0x0008), node(0x0010), unread({0x7FF0, 0x0010}, "OB", INT32_MAX - 12)});
    Image large = {.bytes = "", .told = INT32_MAX}, negative = {.bytes = "", .told = -21};
    EXPECT_EQ(stream(DICOM_Write_Buffer, parts, 8, &large), "");
    EXPECT_EQ(stream(DICOM_Write_Buffer, parts, 8, &negative), "");
    EXPECT_EQ(said.failures(), "\xF1\x04" "ERROR:\x02 A stream of 4294967314 bytes is more than can be written\n"
                               "\xF1\x04" "ERROR:\x02 A stream of -1 bytes can not be written\n");
}

TEST(WriteStream, EndsWithZeroWhenABlockIsRefused)
{
    With lengths(&DICOM_Flag_Elem_0000, 1);
    Chain nodes;
    for (int group : {0x0002, 0x0008, 0x0010, 0x7FF0})
        for (unsigned short i = 0; i < 4; i++)
            nodes.push_back(attribute({static_cast<unsigned short>(group), i}, "OB", Bytes(100, 'x')));
    Made tree(nodes);
    struct { Writer writer; size_t size; } cases[] = {
        {write_head, 144 + 448}, {DICOM_Write_Buffer, 3 * 460 + 6}, {DICOM_Write_Buffer_A, 2 * 460},
        {DICOM_Write_Buffer_C, 460}, {write_list, 16 * 112},
    };
    Reports said;
    for (const auto &each : cases)
        refuse_each_allocation([&](int) {
            Image image = {.bytes = "pixels"};
            size_t size = stream(each.writer, tree, 8, &image).size();
            EXPECT_EQ(size, Refuse::happened() ? 0u : each.size);
        });
    EXPECT_EQ(without_line_number(said.all.at(0).text),
              "line N of .\\NEMA_Write_Buffer \nmemory error in calloc (var=*buffer, dim=132x1)");
    EXPECT_EQ(without_line_number(said.all.at(1).text),
              "line N of .\\NEMA_Write_Buffer \nmemory error in realloc (var=*buffer, dim=144x1)");
}
