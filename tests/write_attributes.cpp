// One attribute, one group and its length as bytes: layouts, lengths, byte order, and what cannot be written.
#include <gtest/gtest.h>
#include <algorithm>
#include <random>

#include "tests/support/reports.h"
#include "tests/write_trees.h"
#include "write/write_internal.h"

static Bytes written(DICOM_List *node, char syntax)
{
    Made tree({node});
    Block block;
    block.data = DICOM_Attribute_To_Str(nullptr, syntax, tree.head);
    return block.bytes(DICOM_Attribute_Size(nullptr, syntax, tree.head));
}

static Bytes group(const Tree &tree, unsigned short number, char syntax)
{
    Block block;
    unsigned int size = DICOM_Write_Group(nullptr, number, syntax, tree.head, &block.data);
    EXPECT_EQ(block.data == nullptr, size == 0);
    return block.bytes(size);
}

TEST(WriteAttribute, LaysOutEachFormInEachSyntax)
{
    struct { const char *vr; Bytes value; char syntax; const char *expected; } cases[] = {
        {"LO", "ID1 ", 8, "10 00 20 00 4C 4F 04 00 49 44 31 20"},
        {"LO", "ID1 ", 0, "10 00 20 00 04 00 00 00 49 44 31 20"},
        {"LO", "ID1 ", 9, "00 10 00 20 4C 4F 00 04 49 44 31 20"},
        {"OB", "ab", 8, "10 00 20 00 4F 42 00 00 02 00 00 00 61 62"},
        {"UT", "ab", 9, "00 10 00 20 55 54 00 00 00 00 00 02 61 62"},
        {"UN", "abc", 8, "10 00 20 00 55 4E 00 00 03 00 00 00 61 62 63"},
        {"OF", "abcd", 8, "10 00 20 00 4F 46 04 00 61 62 63 64"}, {"", "ab", 8, "10 00 20 00 00 00 02 00 61 62"},
        {"LO", "", 8, "10 00 20 00 4C 4F 00 00"}, {"OW", "", 0, "10 00 20 00 00 00 00 00"},
    };
    for (const auto &each : cases)
        EXPECT_EQ(written(attribute({0x0010, 0x0020}, each.vr, each.value), each.syntax), hex(each.expected))
            << each.vr << " in syntax " << int(each.syntax);

    DICOM_List *unknown = attribute({0x0010, 0x0020}, "LO", "ab");
    unknown->vr_explicit = VR_UN;
    EXPECT_EQ(written(unknown, 8), hex("10 00 20 00 55 4E 00 00 02 00 00 00 61 62")) << "the stream's VR goes first";
    EXPECT_EQ(written(attribute({0x0010, 0x0020}, "LO", "ab", FLAG_DELETED | FLAG_INVALID), 8),
              element({0x0010, 0x0020}, "LO", "ab")) << "flags play no part";
    EXPECT_EQ(written(attribute({0x0008, 0x0070}, "LO", Bytes(65538, 'x')), 8),
              element({0x0008, 0x0070}, "LO", Bytes(65538, 'x'), 8, 2)) << "too long for the short form";
}

TEST(WriteAttribute, ReversesTheUnitsOfItsVrInBigEndian)
{
    struct { const char *vr; Bytes value, expected; } cases[] = {
        {"FD", "12345678abcdefgh", "87654321hgfedcba"}, {"FL", "12345678", "43218765"}, {"SL", "1234", "4321"},
        {"UL", "1234", "4321"},                         {"OW", "123456", "214365"},     {"SS", "12", "21"},
        {"US", "1234", "2143"},                         {"AT", "1234", "1234"},         {"OF", "1234", "1234"},
        {"OB", "1234", "1234"},                         {"UN", "1234", "1234"},         {"LO", "1234", "1234"},
        {"US", "123", "213"},             // a unit that is cut stays as it stands
        {"FL", "123456", "432156"}, {"FD", "1234567", "1234567"},
    };
    for (const auto &each : cases) {
        Bytes all = written(attribute({0x0009, 0x1001}, each.vr, each.value), 1);
        EXPECT_EQ(all.substr(8), each.expected) << each.vr << " " << each.value;
        EXPECT_EQ(written(attribute({0x0009, 0x1001}, each.vr, each.value), 0).substr(8), each.value) << each.vr;
    }
}

static DICOM_List *example_sequence()
{
    return sequence_of({0x0008, 0x1140}, {{attribute({0x0020, 0x0013}, "IS", "1 ")}});
}

TEST(WriteAttribute, WritesSequencesWithDelimitersOrLengths)
{
    struct { char by_length, syntax; const char *expected; } cases[] = {
        {0, 8, "08 00 40 11 53 51 00 00 FF FF FF FF FE FF 00 E0 FF FF FF FF 20 00 13 00 49 53 02 00 31 20 "
               "FE FF 0D E0 00 00 00 00 FE FF DD E0 00 00 00 00"},
        {1, 8, "08 00 40 11 53 51 00 00 12 00 00 00 FE FF 00 E0 0A 00 00 00 20 00 13 00 49 53 02 00 31 20"},
        {1, 0, "08 00 40 11 12 00 00 00 FE FF 00 E0 0A 00 00 00 20 00 13 00 02 00 00 00 31 20"},
        {1, 9, "00 08 11 40 53 51 00 00 00 00 00 12 FF FE E0 00 00 00 00 0A 00 20 00 13 49 53 00 02 31 20"},
        {0, 9, "00 08 11 40 53 51 00 00 FF FF FF FF FF FE E0 00 FF FF FF FF 00 20 00 13 49 53 00 02 31 20 "
               "FF FE E0 0D 00 00 00 00 FF FE E0 DD 00 00 00 00"},
    };
    for (const auto &each : cases) {
        With lengths(&DICOM_Flag_Seq_Size, each.by_length);
        EXPECT_EQ(written(example_sequence(), each.syntax), hex(each.expected))
            << int(each.by_length) << int(each.syntax);
    }
}

TEST(WriteAttribute, EndsASequenceAtItsFirstEmptySlot)
{
    DICOM_List *bare = attribute(REFERENCED, "SQ", "");
    bare->nb_item = 3;   // without an array
    bare->size = 500;
    EXPECT_EQ(written(bare, 8), sequence(REFERENCED, BY_DELIMITER, {}));
    Chain first = {attribute(CLASS, "UI", "1.2")}, behind = {attribute(CLASS, "UI", "1.3")};
    EXPECT_EQ(written(sequence_of(REFERENCED, {first, {}, behind}), 8),
              sequence(REFERENCED, BY_DELIMITER, {item({element(CLASS, "UI", "1.2")}, BY_DELIMITER)}));

    With lengths(&DICOM_Flag_Seq_Size, 1);
    EXPECT_EQ(written(sequence_of(REFERENCED, {}), 8), sequence(REFERENCED, BY_LENGTH, {}));
}

TEST(WriteAttribute, NeverTrustsASizeThatNoValueBacks)
{
    Reports said;
    EXPECT_EQ(written(unread({0x0028, 0x3006}, "OW", 6), 9), element({0x0028, 0x3006}, "OW", Bytes(6, '\0'), 9));
    EXPECT_TRUE(said.all.empty());

    DICOM_List *encapsulated = sequence_of({0x7FE0, 0x0010}, {{attribute({0xFFFE, 0xE000}, "I-", "")}});
    encapsulated->vr_explicit = VR_OB;
    EXPECT_EQ(written(encapsulated, 8), element({0x7FE0, 0x0010}, "OB", ""));
    EXPECT_EQ(said.warnings(), "    \xF1\x05WARNING:\x02 (\x01" "7fe0\x02,\x01" "0010\x02) Length -1 of VR=OB "
                               "can not be written: left without value\n");

    DICOM_List *negative = attribute({0x0010, 0x0020}, "", "abcd");
    negative->size = INT32_MIN;
    EXPECT_EQ(written(negative, 0), element({0x0010, 0x0020}, "", "", 0));
    EXPECT_EQ(said.all.size(), 2u);

    DICOM_List *with_items = sequence_of({0x0008, 0x1140}, {{attribute({0x0008, 0x0100}, "SH", "A1")}});
    with_items->vr_explicit = VR_LO;
    with_items->size = 0;
    EXPECT_EQ(written(with_items, 8), element({0x0008, 0x1140}, "LO", "")) << "items without VR SQ";
}

TEST(WriteAttribute, RefusesWhatNoLengthCanTell)
{
    Reports said;
    Made huge({sequence_of(REFERENCED, {{unread(CLASS, "OB", INT32_MAX), unread(INSTANCE, "OB", INT32_MAX)}})});
    EXPECT_EQ(DICOM_Attribute_Size(nullptr, 8, huge.head), 0);
    EXPECT_EQ(DICOM_Attribute_To_Str(nullptr, 8, huge.head), nullptr);
    EXPECT_EQ(group(huge, 0x0008, 8), "");
    std::string error = "\xF1\x04" "ERROR:\x02 (\x01" "0008\x02,\x01" "1140\x02) ";
    std::string text = error + "takes 4294967354 bytes, more than can be written\n";
    EXPECT_EQ(said.failures(), text + text + text);

    said.all.clear();
    DICOM_List *node = sequence_of(REFERENCED, {});
    for (int i = 0; i < MAX_WRITTEN_DEPTH; i++) {
        EXPECT_EQ(DICOM_Attribute_Size(nullptr, 8, node), 20 + i * 36);
        node = sequence_of(REFERENCED, {{node}});
    }
    EXPECT_EQ(written(node, 8), "");
    text = error + "is nested deeper than 255 sequences: not written\n";
    EXPECT_EQ(said.failures(), text + text);
}

TEST(WriteGroup, TakesItsNodesUpToTheFirstHigherGroup)
{
    Made tree({attribute({0x0008, 0x0070}, "LO", "a "), attribute({0x0010, 0x0020}, "LO", "b "),
               attribute({0x0008, 0x0080}, "LO", "c "), attribute({0x0010, 0x0030}, "LO", "d "),
               attribute({0x0020, 0x0010}, "SH", "e "), attribute({0x0010, 0x0040}, "LO", "f ")});
    EXPECT_EQ(group(tree, 0x0008, 8), element({0x0008, 0x0070}, "LO", "a "));
    EXPECT_EQ(group(tree, 0x0010, 8), element({0x0010, 0x0020}, "LO", "b ") + element({0x0010, 0x0030}, "LO", "d "));
    EXPECT_EQ(group(tree, 0x0012, 8), "");
    EXPECT_EQ(group(tree, 0x0028, 8), "");
    EXPECT_EQ(group(Made({}), 0x0008, 8), "");
}

TEST(WriteGroup, TellsItsLengthInTheOrderAskedFor)
{
    struct { char syntax; const char *expected; } cases[] = {
        {8, "08 00 00 00 55 4C 04 00 04 03 02 01"}, {0, "08 00 00 00 04 00 00 00 04 03 02 01"},
        {9, "00 08 00 00 55 4C 00 04 01 02 03 04"},
    };
    for (const auto &each : cases) {
        Block block;
        EXPECT_EQ(DICOM_Write_Group_Length(nullptr, 8, each.syntax, 0x01020304, &block.data), 12u);
        EXPECT_EQ(block.bytes(12), hex(each.expected));
    }
}

// A sequence of random items, or a random value; now and then one that cannot be written as it stands.
static DICOM_List *random_node(std::mt19937 *random, int depth)
{
    static const char *const VRS[] = {"LO", "US", "UL", "FD", "OB", "OW", "UN", "UT", "AT"};
    auto below = [random](unsigned int n) { return static_cast<int>((*random)() % n); };
    Tag tag = {0x0010, static_cast<unsigned short>(below(0xFFFF))};
    if (depth < 4 && below(3) == 0) {
        std::vector<Chain> items(static_cast<size_t>(below(4)));
        for (Chain &item : items)
            for (int n = below(8) == 0 ? 0 : 1 + below(4); n > 0; n--)
                item.push_back(random_node(random, depth + 1));
        return sequence_of(tag, items);
    }
    int kind = below(400);
    if (kind < 2)
        return unread(tag, "OB", kind == 0 ? -1 : 1 + below(2000));
    size_t size = kind == 2 ? 1300000 : static_cast<size_t>(kind < 10 ? below(3000) : below(20));
    return attribute(tag, VRS[below(9)], Bytes(size, static_cast<char>('a' + below(26))));
}

TEST(WriteGroup, IsWrittenInOneWalkAsItIsMeasuredFirst)
{
    std::mt19937 random(5);
    for (int round = 0; round < 400; round++) {
        With lengths(&DICOM_Flag_Seq_Size, round % 2 == 1);
        char syntax = "\0\x08\x09"[round % 3];
        Made tree({random_node(&random, 0), random_node(&random, 0), random_node(&random, 0)});
        Bytes expected;
        std::vector<std::string> failures;   // each attribute is the last that the block has to have room for
        std::string warnings;
        {
            Reports said;
            for (DICOM_List *node = tree.head; node != nullptr; node = node->next) {
                Block block;
                block.data = DICOM_Attribute_To_Str(nullptr, syntax, node);
                expected += block.bytes(DICOM_Attribute_Size(nullptr, syntax, node));
                failures.push_back("line N of .\\NEMA_Write_Buffer \nmemory error in realloc (var=*buffer, dim=" +
                                   std::to_string(expected.size()) + "x1)\n");
            }
            warnings = said.warnings();
        }
        for (int threshold : {10, 15}) {   // at the second one the walks are traced, and it is measured first
            Reports said(threshold);
            ASSERT_EQ(group(tree, 0x0010, syntax), expected) << round;
            EXPECT_EQ(said.warnings(), warnings) << round;
        }
        Reports said;
        refuse_each_allocation([&](int) {
            said.all.clear();
            bool done = group(tree, 0x0010, syntax) == expected, refused = Refuse::happened();
            EXPECT_EQ(done, !refused) << round;
            EXPECT_EQ(std::count(failures.begin(), failures.end(), said.failures()) > 0, refused)
                << round << ": " << said.failures();
        });
    }
}

TEST(WriteGroup, ReportsEachRefusedBlock)
{
    Made tree({attribute(PATIENT, "LO", "b "), attribute({0x0010, 0x0030}, "LO", "d ")});
    Reports said;
    Block block;
    auto refused = [](auto operation) {
        Refuse first(1);
        return operation();
    };
    EXPECT_EQ(refused([&] { return DICOM_Attribute_To_Str(nullptr, 8, tree.head); }), nullptr);
    EXPECT_EQ(refused([&] { return DICOM_Write_Group(nullptr, 0x0010, 8, tree.head, &block.data); }), 0u);
    EXPECT_EQ(refused([&] { return DICOM_Write_Group_Length(nullptr, 0x0010, 8, 10, &block.data); }), 0u);
    EXPECT_EQ(block.data, nullptr);
    EXPECT_EQ(said.failures(), "line N of .\\NEMA_Write_Buffer \nmemory error in malloc (var=buffer, dim=10x1)\n"
                               "line N of .\\NEMA_Write_Buffer \nmemory error in realloc (var=*buffer, dim=10x1)\n"
                               "line N of .\\NEMA_Write_Buffer \nmemory error in malloc (var=buffer, dim=12x1)\n");

    Chain large;
    for (unsigned short i = 0; i < 40; i++)
        large.push_back(attribute({0x0010, i}, "OB", Bytes(1000, 'x')));
    Made growing(large);
    int blocks = 0;
    refuse_each_allocation([&](int n) {
        size_t size = group(growing, 0x0010, 8).size();
        EXPECT_EQ(size, Refuse::happened() ? 0u : 40u * 1012u);
        blocks = n - 1;
    });
    EXPECT_GT(blocks, 2) << "the block has grown in steps";
    EXPECT_LT(blocks, 20) << "and not at every attribute";
}
