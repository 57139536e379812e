// Complement: rows, VRs and descriptions for each kind of tag; private attributes and their creators.
#include <gtest/gtest.h>

#include "dictionary/dictionary_internal.h"
#include "tests/support/outline.h"
#include "tests/support/reports.h"
#include "tree/tree_internal.h"

// A chain of nodes with a value, or the size that stands for one.
struct Chain : Tree {
    DICOM_List &add(int group, int element, const Bytes &value = "", int size = 0)
    {
        DICOM_List *tag = append({static_cast<unsigned short>(group), static_cast<unsigned short>(element)}, "", value);
        if (size != 0)
            tag->size = size;
        return *tag;
    }

    void complement()
    {
        EXPECT_EQ(DICOM_Attribute_Complement(nullptr, &root, head), 0);
    }
};

// "VR [description]", with "-" for what is not there.
static std::string told(const DICOM_List &tag)
{
    std::string out = {shown_letter(first_letter(tag.vr)), shown_letter(second_letter(tag.vr)), ' '};
    if (tag.description == nullptr)
        return out + "-";
    return out + "[" + tag.description + "]";
}

TEST(Complement, GivesEachKindOfTagItsDue)
{
    const char banner_0008[] = "UL [\xF1\x02===== Group 0008 (Identifying) =======]";
    const char banner_0018[] = "UL [\xF1\x02===== Group 0018 (Acquisition) =======]";
    const char compression[] = "LT [\xF1\x02---- ---- Group 1000: Compression Info ---- ----\xF0\x01]";
    struct { int group, element, size, flag; const char *told; } cases[] = {
        {0x0002, 0x0000, 4, 0, "UL [\xF1\x02===== Group 0002 (File) ==============]"},
        {0x0008, 0x0000, 4, 0, banner_0008}, {0x0008, 0x0000, 0, 0, banner_0008}, {0x0018, 0x0000, 2, 0, banner_0018},
        {0x7FE0, 0x0000, 9, 0, "UL [\xF1\x02===== Group 7FE0 (Image Data) ========]"},
        {0x0009, 0x0000, 4, 0, "UL [\xF1\x02===== Group 0009 =====================]"}, {0x0009, 0x0000, 2, 0, "-- -"},
        {0x0004, 0x0000, 4, 0, "UL [\xF1\x02===== Group 0004 =====================]"}, {0x0004, 0x0000, 2, 0, "UL -"},
        {0xABCC, 0x0000, 4, 0, "UL [\xF1\x02===== Group abcc =====================]"}, {0x0018, 0x0010, 0, 0, "LO -"},
        {0x0028, 0x0106, 2, 0, "US -"}, {0x0018, 0x1240, 2, 0, "RT -"},
        {0x6002, 0x3000, 2, 0, "OB -"}, {0x0008, 0x9999, 2, 0, "-- -"}, {0x7FE0, 0x0010, 2, 0, "OB [Pixel Data]"},
        {0x7FE0, 0x0010, 2, FLAG_PRIVATE, "OB [Pixel Data]"},
        {0xFFFE, 0xE000, 0, 0, "I- [\x01Item]"}, {0xFFFE, 0xE00D, 0, 0, "Ia [\x01Item Delimitation Item]"},
        {0xFFFE, 0xE0DD, 0, 0, "Ia [\x01Sequence Delimitation Item]"}, {0xFFFE, 0xE0FF, 0, 0, "-- -"},
        {0x1000, 0x0000, 4, FLAG_PRIVATE, compression}, {0x1000, 0x0000, 2, FLAG_PRIVATE, compression},
        {0x1000, 0x0000, 4, 0, "UL [\xF1\x02===== Group 1000 =====================]"},
        {0x1000, 0x0010, 2, FLAG_PRIVATE, "US [Huffman:]"}, {0x1000, 0x0010, 2, 0, "-- -"},
        {0x1000, 0x0012, 2, FLAG_PRIVATE, "US [Nb. Huffman Values:]"},
        {0x1000, 0x0013, 2, FLAG_PRIVATE, "SS [Huffman Values:]"}, {0x1000, 0x0011, 2, FLAG_PRIVATE, "-- -"},
        {0x7F00, 0x0000, 4, FLAG_PRIVATE, "UL [Siemens Compression: Group Name]"},
        {0x7F00, 0x0010, 2, FLAG_PRIVATE, "OB [Siemens Compression: Data]"},
        {0x7FDE, 0x0011, 2, FLAG_PRIVATE, "OW [Siemens Compression: Next Group]"}, {0x7FDE, 0x0011, 2, 0, "-- -"},
        {0x7EFE, 0x0010, 2, FLAG_PRIVATE, "-- -"}, {0x0029, 0x0010, 2, 0, "LO [Private Creator Data Element]"},
        {0x0029, 0x00FF, 2, 0, "LO [Private Creator Data Element]"}, {0x0029, 0x000F, 2, 0, "-- -"},
        {0x0029, 0x0100, 2, 0, "-- -"}, {0x0029, 0x0FFF, 2, 0, "-- -"}, {0x0029, 0x1010, 2, 0, "-- -"},
    };
    for (const auto &each : cases) {
        Chain chain;
        DICOM_List &tag = chain.add(each.group, each.element, "", each.size);
        tag.flag = static_cast<unsigned short>(each.flag);
        chain.complement();
        EXPECT_EQ(told(tag), each.told) << std::hex << each.group << ',' << each.element << ' ' << each.size;
        EXPECT_EQ(tag.db, NEMA_db_Locate(tag.group, tag.element));
        EXPECT_EQ(tag.flag, each.flag);
        if (tag.description != nullptr && strstr(tag.description, "=====") != nullptr) {
            EXPECT_EQ(strlen(tag.description), 40u);
        }
    }
}

TEST(Complement, SetsADescriptionAndAVR)
{
    Chain chain;
    DICOM_List &tag = chain.add(0x0008, 0x0060);
    EXPECT_EQ(DICOM_Attribute_Complement_Tag(nullptr, &tag, VR_CS, "%s %d", "number", 7), 1);
    EXPECT_EQ(told(tag), "CS [number 7]");
    EXPECT_EQ(DICOM_Attribute_Complement_Tag(nullptr, &tag, 0, "%s again", tag.description), 1);
    EXPECT_EQ(told(tag), "CS [number 7 again]");
    EXPECT_EQ(DICOM_Attribute_Complement_Tag(nullptr, &tag, 0, "%s", std::string(500, 'x').c_str()), 1);
    EXPECT_EQ(told(tag), "CS [" + std::string(287, 'x') + "]");
    EXPECT_EQ(DICOM_Attribute_Complement_Tag(nullptr, &tag, 0, "%s", ""), 1);
    EXPECT_EQ(told(tag), "CS -");
}

TEST(Complement, WalksItemsWithTheCursor)
{
    Chain chain;
    chain.add(0x0029, 0x0010, "OUTSIDE");
    DICOM_List *creator = new_node({0x0029, 0x0010}, "", "IN THE ITEM"), *element = new_node({0x0029, 0x1010});
    DICOM_List *orphan = new_node({0x0029, 0x1010}), *hidden = new_node({0x7FE0, 0x0010});
    DICOM_List *sequence = add_item(&chain.add(0x0008, 0x1140), {creator, element});
    add_item(add_item(add_item(sequence, {orphan}), {}), {hidden});
    chain.complement();
    EXPECT_EQ(told(*creator), "LO [Private Creator Data Element]");
    EXPECT_EQ(told(*element), "-- [IN THE ITEM]");
    EXPECT_EQ(told(*orphan), "-- -") << "the creator has to stand in the same item";
    EXPECT_EQ(hidden->description, nullptr) << "behind an empty slot";
}

/* ---- private creators ---------------------------------------------------------------- */

TEST(Complement_Private, TakesTheCreatorAsDescription)
{
    struct { Bytes value; int size; const char *described; } cases[] = {
        {"CREATOR 1  ", 0, "-- [CREATOR 1]"}, {"100%s %d", 0, "-- [100%s %d]"}, {Bytes("AB\0CD", 5), 0, "-- [AB]"},
        {"  " + Bytes(60, 'c') + "    xxxxxxxxx", 0,
         "-- [cccccccccccccccccccccccccccccccccccccccccccccccccccccccccccc]"},   // cut, then stripped
        {"", 0, "-- -"}, {"   ", 0, "-- -"}, {"any", -1, "-- -"},
        {"", 2000, "-- -"},   // left in the source
    };
    for (const auto &each : cases) {
        Chain chain;
        chain.add(0x0029, 0x0010, each.value, each.size);
        DICOM_List &tag = chain.add(0x0029, 0x1010);
        chain.complement();
        EXPECT_EQ(told(tag), each.described);
    }
}

TEST(Complement_Private, TakesTheFirstCreatorOfTheChainWhereverItStands)
{
    Chain chain;
    struct { int group, element; const char *described; } cases[] = {
        {0x0029, 0x1010, "-- [A]"}, {0x0029, 0x1110, "-- [B]"}, {0x0029, 0xFF10, "-- [FF]"},
        {0x002B, 0x1010, "-- [OTHER]"}, {0x0029, 0x1210, "-- -"},
        {0xFFFF, 0x1010, "-- [A]"}, {0xFFFF, 0x1610, "-- [EVEN]"},   // FFFF is a wildcard of the lookup
    };
    std::vector<DICOM_List *> nodes;
    for (const auto &each : cases)
        nodes.push_back(&chain.add(each.group, each.element));
    chain.add(0x0008, 0x0016, "EVEN");
    chain.add(0x0029, 0x0011, "B");
    chain.add(0x0029, 0x0010, "A");
    chain.add(0x0029, 0x00FF, "FF");
    chain.add(0x0029, 0x0010, "LATE");
    chain.add(0x002B, 0x0010, "OTHER");
    for (int i = 0x20; i < 0x60; i++)
        chain.add(0x0029, i, "MORE THAN A FEW");
    chain.complement();
    for (size_t i = 0; i < nodes.size(); i++)
        EXPECT_EQ(told(*nodes[i]), cases[i].described) << i;

    Chain again;
    again.add(0x0029, 0x0010, "A");
    DICOM_List &single = again.add(0x0029, 0x1010), &alone = again.add(0x0029, 0x1110);
    DICOM_Root root = {};
    EXPECT_EQ(DICOM_Attribute_Complement_Private(nullptr, &root, again.head, &single), 1);
    EXPECT_EQ(DICOM_Attribute_Complement_Private(nullptr, &root, again.head, &alone), 1);
    EXPECT_EQ(DICOM_Attribute_Complement_Private(nullptr, &root, nullptr, &alone), 1);
    EXPECT_EQ(told(single), "-- [A]");
    EXPECT_EQ(told(alone), "-- -");
}

// A chain of private elements whose creator stands at the end, or nowhere: a scan for each would take hours.
TEST(Complement_Private, TakesTimeInProportionToTheChain)
{
    Chain chain;
    std::vector<DICOM_List *> nodes;
    for (int i = 0; i < 200000; i++)
        nodes.push_back(&chain.add(i % 3 == 0 ? 0xFFFF : 0x0029, 0x1000 + i % 0xEFFF));
    chain.add(0x0029, 0x0020, "LAST");
    chain.complement();
    EXPECT_EQ(told(*nodes[0x1001]), "-- [LAST]");
    EXPECT_EQ(told(*nodes[1]), "-- -");
}

TEST(Complement, GoesOnWithoutMemory)
{
    NEMA_db_Load();
    DICOM_Module_Free_Private();
    int refused = 0;
    refuse_each_allocation([&](int) {
        Chain chain;
        chain.add(0x0008, 0x0000);
        for (int i = 0x10; i < 0x30; i++)
            chain.add(0x0029, i, "CREATOR");
        DICOM_List &element = chain.add(0x0029, 0x1010), &pixels = chain.add(0x7FE0, 0x0010);
        pixels.description = strdup("old");
        Reports said;
        chain.complement();
        EXPECT_EQ(pixels.vr, VR_OB);
        if (pixels.description == nullptr) {
            EXPECT_EQ(said.failures(),
                      "line N of .\\NEMA_Tag_Complement \nmemory error in strdup (var=tag->description)\n");
            EXPECT_EQ(DICOM_Attribute_Complement_Tag(nullptr, &pixels, VR_OW, "again"), 1);
        } else {
            EXPECT_EQ(told(pixels), "OB [Pixel Data]");
            if (said.failures().find("var=creators") != std::string::npos) {
                EXPECT_EQ(told(element), "-- [CREATOR]") << "found by a scan instead";
            }
        }
        refused += said.failures().empty() ? 0 : 1;
        DICOM_Module_Free_Private();
    });
    EXPECT_GE(refused, 36);

    Chain chain;
    DICOM_List &tag = chain.add(0x0008, 0x0060);
    Reports said;
    Refuse refuse(1);
    EXPECT_EQ(DICOM_Attribute_Complement_Tag(nullptr, &tag, VR_CS, "%s", "text"), 0);
    EXPECT_EQ(told(tag), "CS -");
}
