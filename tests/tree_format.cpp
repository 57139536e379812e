// From a flat run of elements to a tree: delimiters, lengths, damage, and what is said about it.
#include <gtest/gtest.h>

#include "dictionary/DICOM_Dictionary.h"
#include "tests/support/outline.h"
#include "tests/support/reports.h"
#include "tree/tree_internal.h"

static const Tag CONTENT = {0x0040, 0xA730}, CODES = {0x0040, 0xA168};
static const Tag VALUE = {0x0008, 0x0100}, LATER = {0x0008, 0x0104};

// A flat chain as a host builds it, with the positions of a stream in which each header takes eight bytes.
struct Flat : Tree {
    int pos = 0;

    DICOM_List *put(Tag tag, const char *vr, int size, const Bytes &value = "")
    {
        DICOM_List *node = append(tag, vr, value);
        node->flag = ORIGIN_DICOM;
        node->pos = pos;
        node->data_pos = pos += 8;
        node->size = size;
        pos += static_cast<int>(value.size());
        return node;
    }
    Flat &add(Tag tag, const char *vr, int size, const Bytes &value = "") { return put(tag, vr, size, value), *this; }
    Flat &text(Tag tag, const Bytes &value) { return add(tag, "SH", static_cast<int>(value.size()), value); }
    Flat &sequence(Tag tag, int size) { return add(tag, "SQ", size); }
    Flat &delimiter(unsigned short element, int size, const Bytes &value = "")
    {
        put({GROUP_ITEM, element}, "", size, value)->vr = VR_ITEM;
        return *this;
    }
    Flat &item(int size) { return delimiter(ELEMENT_ITEM, size); }
    Flat &item_end() { return delimiter(ELEMENT_ITEM_END, 0); }
    Flat &sequence_end() { return delimiter(ELEMENT_SEQUENCE_END, 0); }
};

static Tree format(const Flat &flat) { return Tree(DICOM_Attribute_Format(nullptr, flat.head)); }

// A warning of one attribute; the tag in hexadecimal digits.
static std::string warning(const std::string &group, const std::string &element, const std::string &text)
{
    return "    \xF1\x05WARNING:\x02 (\x01" + group + "\x02,\x01" + element + "\x02) " + text + "\n";
}

// Formats a chain: the tree, and what is said about it.
static void expect_formatted(const Flat &flat, const std::string &tree, const std::string &warnings = "")
{
    Reports said;
    EXPECT_EQ(outline(format(flat).head), tree);
    EXPECT_EQ(said.warnings(), warnings);
}

TEST(Format, EndsSequencesAndItemsByLengthDelimiterOrTheNextNode)
{
    expect_formatted(Flat(), "");
    expect_formatted(Flat().sequence(CONTENT, 56).item(20).text(VALUE, "A1").text(LATER, "A2").item(20)
                         .text(VALUE, "B1").text(LATER, "B2").text({0x0040, 0xB000}, "R7"),
                     "0040,a730 SQ 56 bytes unread\n  item\n    fffe,e000 I- 20 bytes unread\n    0008,0100 SH [A1]\n"
                     "    0008,0104 SH [A2]\n  item\n    fffe,e000 I- 20 bytes unread\n    0008,0100 SH [B1]\n"
                     "    0008,0104 SH [B2]\n0040,b000 SH [R7]\n");
    expect_formatted(Flat().sequence(CONTENT, -1).item(-1).sequence(CODES, 26).item(18).text(VALUE, "inner 1234")
                         .text({0x0040, 0xA200}, "A1").item_end().item(-1).item_end().sequence_end()
                         .text({0x0040, 0xB000}, "R7"),
                     "0040,a730 SQ undefined length\n  item\n    fffe,e000 I- undefined length\n"
                     "    0040,a168 SQ 26 bytes unread\n      item\n        fffe,e000 I- 18 bytes unread\n"
                     "        0008,0100 SH [inner 1234]\n    0040,a200 SH [A1]\n    fffe,e00d I-\n"
                     "  item\n    fffe,e000 I- undefined length\n    fffe,e00d I-\nfffe,e0dd I-\n0040,b000 SH [R7]\n");
    expect_formatted(Flat().sequence(CODES, 0).sequence(CONTENT, 16).item(0).item(0).text({0x0040, 0xB000}, "R7"),
                     "0040,a168 SQ\n0040,a730 SQ 16 bytes unread\n  item\n    fffe,e000 I-\n  item\n    fffe,e000 I-\n"
                     "0040,b000 SH [R7]\n");
}

TEST(Format, MakesItemsOfFragments)
{
    Flat flat;
    flat.add({0x7FE0, 0x0010}, "OB", -1).item(0).delimiter(ELEMENT_ITEM, 4, "\xFF\xD8\xFF\xD9").sequence_end();
    flat.add({0x7FE0, 0x0020}, "OW", -1).add({0x7FE0, 0x0021}, "UN", -1);
    Reports said;
    Tree tree = format(flat);
    const std::string no_item = " Variable length tag should be followed by an \"item\" tag";
    EXPECT_EQ(full_outline(tree.head),
              "7fe0,0010 OB undefined length flag=0001 depth=0 vr=OB/-- syntax=0 type=0000 at 0,0,8\n"
              "  item\n    fffe,e000 I- flag=0001 depth=1 vr=--/I- syntax=0 type=0000 at 0,8,16\n"
              "  item\n"
              "    fffe,e000 I- [\\xFF\\xD8\\xFF\\xD9] flag=0001 depth=1 vr=--/I- syntax=0 type=0000 at 0,16,24\n"
              "fffe,e0dd I- flag=0001 depth=0 vr=--/I- syntax=0 type=0000 at 0,28,36\n"
              "7fe0,0020 OW undefined length flag=0101 depth=0 vr=OW/-- syntax=0 type=0000 at 0,36,44\n"
              "7fe0,0021 UN undefined length flag=0101 depth=0 vr=UN/-- syntax=0 type=0000 at 0,44,52\n");
    EXPECT_EQ(said.warnings(), warning("7fe0", "0020", "Syntax Error! VR=OW" + no_item) + warning("7fe0", "0021",
              "Syntax Error! VR=UN" + no_item));
}

TEST(Format, NestsAnUnknownSequenceByTheItemBehindIt)
{
    Flat flat;
    flat.add({0x0009, 0x1001}, "", 18).item(-1).text(VALUE, "A1").add({0x0009, 0x1002}, "", -1).item(-1).item_end();
    flat.sequence_end().add({0x0009, 0x1003}, "", 4);
    Tree tree = format(flat);
    EXPECT_EQ(full_outline(tree.head),
              "0009,1001 UN undefined length flag=0441 depth=0 vr=--/UN syntax=0 type=0000 at 0,0,8\n"
              "  item\n    fffe,e000 I- undefined length flag=0001 depth=1 vr=--/I- syntax=0 type=0000 at 0,8,16\n"
              "    0008,0100 SH [A1] flag=0001 depth=1 vr=SH/-- syntax=0 type=0000 at 0,16,24\n"
              "0009,1002 UN undefined length flag=0441 depth=0 vr=--/UN syntax=0 type=0000 at 0,26,34\n"
              "  item\n    fffe,e000 I- undefined length flag=0001 depth=1 vr=--/I- syntax=0 type=0000 at 0,34,42\n"
              "    fffe,e00d I- flag=0001 depth=1 vr=--/I- syntax=0 type=0000 at 0,42,50\n"
              "fffe,e0dd I- flag=0001 depth=0 vr=--/I- syntax=0 type=0000 at 0,50,58\n"
              "0009,1003 UN 4 bytes unread flag=0441 depth=0 vr=--/UN syntax=0 type=0000 at 0,58,66\n");
    EXPECT_EQ(flat.head->vr, VR_NONE) << "the flat chain holds no more than what was found";
}

TEST(Format, MarksWhatCannotBeNested)
{
    Flat flat;
    flat.put({0x0040, 0xA160}, "", -1)->vr = VR_UT;
    flat.text({0x0040, 0xA161}, "A1").sequence(CONTENT, -1);
    Reports said;
    Tree tree = format(flat);
    EXPECT_EQ(full_outline(tree.head),
              "0040,a160 UT undefined length flag=0101 depth=0 vr=--/UT syntax=0 type=0000 at 0,0,8\n"
              "0040,a161 SH [A1] flag=0001 depth=0 vr=SH/-- syntax=0 type=0000 at 0,8,16\n"
              "0040,a730 SQ undefined length flag=0101 depth=0 vr=SQ/-- syntax=0 type=0000 at 0,18,26\n");
    EXPECT_EQ(said.warnings(), warning("0040", "a160", "Syntax Error! Variable length tag is not allowed for VR=UT") +
              warning("0040", "a730", "Syntax Error! VR=SQ should be followed by an \"item\" tag"));
}

TEST(Format, WarnsOnceOfAStreamOutOfOrderButNotOfOthersNodes)
{
    const Tag high = {0x0010, 4}, low = {0x0010, 2}, lowest = {0x0008, 0x0060};
    expect_formatted(Flat().text(high, "x ").text({0x0010, 3}, "x ").text(low, "x ").text(low, "x ") .text(lowest,
                         "CT"), "0010,0004 SH [x ]\n0010,0003 SH [x ]\n0010,0002 SH [x ]\n0010,0002 SH [x ]\n0008,0060 "
                         "SH [CT]\n", warning("0010", "0003", "tags should be sorted!"));
    Flat flat;
    flat.text(high, "x ").put(lowest, "SH", 2, "CT")->flag = ORIGIN_MODULE;
    expect_formatted(flat.text({ANY_TAG_NUMBER, 0x0001}, "x ").text(lowest, "CT"),
                     "0010,0004 SH [x ]\n0008,0060 SH [CT]\nffff,0001 SH [x ]\n0008,0060 SH [CT]\n");
}

TEST(Format, EndsASequenceOfUnknownEndAtALesserTagByOneLevelForEachNode)
{
    const std::string missing = warning("0008", "0100", "missing end of sequence tag!");
    const std::string inside = "\n  item\n    fffe,e000 I- undefined length\n    0040,a168 SQ undefined length\n"
                               "      item\n        fffe,e000 I- undefined length\n        0008,0104 SH [A1]\n"
                               "    0008,0100 SH [B1]\n    0008,0100 SH [C1]\n";
    for (int size : {-1, 100})
        expect_formatted(Flat().sequence(CONTENT, size).item(-1).sequence(CODES, -1).item(-1).text(LATER, "A1")
                             .text(VALUE, "B1").text(VALUE, "C1"), (size == -1 ? "0040,a730 SQ undefined length" :
                             "0040,a730 SQ 100 bytes unread") + inside, missing);
    expect_formatted(Flat().sequence(CONTENT, -1).item(-1).text(LATER, "A1").text(VALUE, "B1"),
                     "0040,a730 SQ undefined length\n  item\n    fffe,e000 I- undefined length\n"
                     "    0008,0104 SH [A1]\n0008,0100 SH [B1]\n", missing);
}

// The length of the first sequence ends behind its delimiter.
TEST(Format, ForgetsTheLengthOfASequenceThatADelimiterHasClosed)
{
    expect_formatted(Flat().sequence(CODES, 18).item(-1).item_end().sequence_end().sequence(CONTENT, -1).item(-1)
                         .text(VALUE, "A1").sequence_end(),
                     "0040,a168 SQ 18 bytes unread\n  item\n    fffe,e000 I- undefined length\n    fffe,e00d I-\n"
                     "fffe,e0dd I-\n0040,a730 SQ undefined length\n  item\n    fffe,e000 I- undefined length\n"
                     "    0008,0100 SH [A1]\nfffe,e0dd I-\n");
}

TEST(Format, GivesAnItemToWhatStandsBetweenASequenceAndItsFirstItem)
{
    expect_formatted(Flat().sequence(CONTENT, 100).text(VALUE, "A1").text(LATER, "A2").item(-1).text(LATER, "B1"),
                     "0040,a730 SQ 100 bytes unread\n  item\n    0008,0100 SH [A1]\n    0008,0104 SH [A2]\n"
                     "  item\n    fffe,e000 I- undefined length\n    0008,0104 SH [B1]\n",
                     warning("0008", "0100", "missing item tag!"));
}

TEST(Format, MarksRetiredAndPrivateAttributes)
{
    TAG_db_Elems retired = {}, current = {};
    retired.type = -1;
    retired.vr[0] = current.vr[0] = VR_SH;
    current.type = 1;
    snprintf(retired.description, sizeof retired.description, "Code Set");
    Flat flat;
    flat.put({0x0008, 0x0040}, "SH", 2, "A1")->db = &retired;
    flat.put({0x0008, 0x0060}, "SH", 2, "A2")->db = &current;
    flat.text({0x0009, 0x0010}, "A3");
    Reports said;
    Tree tree = format(flat);
    EXPECT_EQ(tree.head->flag, ORIGIN_DICOM | FLAG_RETIRED);
    EXPECT_EQ(tree.head->next->flag, ORIGIN_DICOM);
    EXPECT_EQ(tree.head->next->next->flag, ORIGIN_DICOM | FLAG_PRIVATE);
    EXPECT_EQ(said.remarks(), "\x02    (\x01" "0008\x02,\x01" "0040\x02) Retired from DICOM (\x01" "Code Set\x02)\n");
}

TEST(Format, StaysLinearWhateverTheOrder)
{
    // Sequences in falling order of tags, each with an item of its own, and then items that merge into old ones.
    Flat flat;
    const int count = 60000;
    for (int i = 0; i < 2 * count; i++) {
        unsigned short element = static_cast<unsigned short>(i < count ? count - i : count + i % 2);
        flat.sequence({0x0041, element}, -1).item(-1);
        flat.sequence({0x0043, static_cast<unsigned short>(count - i % count)}, -1).item(-1).sequence_end();
        flat.sequence_end();
    }
    Reports said(0);
    Tree tree = format(flat);
    int nodes = 0, nested = 0;
    for (DICOM_List *node = tree.head; node != nullptr; node = node->next) {
        nodes++;
        nested += node->nb_item;
    }
    EXPECT_EQ(nodes, 4 * count);
    EXPECT_EQ(nested, count + 1) << "two tags, one of them there already, take the items of the second half";
}
