// From a flat run of elements to a tree: delimiters, lengths, damage, and what is said about it.
#include <gtest/gtest.h>

#include <limits.h>

#include "dictionary/DICOM_Dictionary.h"
#include "tests/support/outline.h"
#include "tests/support/reports.h"
#include "tree/tree_internal.h"

static const Tag CONTENT = {0x0040, 0xA730}, CODES = {0x0040, 0xA168};
static const Tag VALUE = {0x0008, 0x0100}, LATER = {0x0008, 0x0104};
static const std::string WARNING = "    \xF1\x05WARNING:\x02 ";

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
    DICOM_List *text(Tag tag, const Bytes &value) { return put(tag, "SH", static_cast<int>(value.size()), value); }
    void sequence(Tag tag, int size) { put(tag, "SQ", size); }
    void delimiter(unsigned short element, int size) { put({GROUP_ITEM, element}, "", size)->vr = VR_ITEM; }
    void item(int size) { delimiter(ELEMENT_ITEM, size); }
    void item_end() { delimiter(ELEMENT_ITEM_END, 0); }
    void sequence_end() { delimiter(ELEMENT_SEQUENCE_END, 0); }
};

static Tree format(const Flat &flat)
{
    return Tree(DICOM_Attribute_Format(nullptr, flat.head));
}

TEST(Format, OfNothingIsNothing)
{
    EXPECT_EQ(DICOM_Attribute_Format(nullptr, nullptr), nullptr);
}

TEST(Format, EndsSequencesAndItemsByTheirLengths)
{
    Flat flat;
    flat.sequence(CONTENT, 56);
    flat.item(20);
    flat.text(VALUE, "A1");
    flat.text(LATER, "A2");
    flat.item(20);
    flat.text(VALUE, "B1");
    flat.text(LATER, "B2");
    flat.text({0x0040, 0xB000}, "R7");
    Reports said(14);
    Tree tree = format(flat);
    EXPECT_EQ(outline(tree.head), "0040,a730 SQ 56 bytes unread\n"
                                  "  item\n"
                                  "    fffe,e000 I- 20 bytes unread\n"
                                  "    0008,0100 SH [A1]\n"
                                  "    0008,0104 SH [A2]\n"
                                  "  item\n"
                                  "    fffe,e000 I- 20 bytes unread\n"
                                  "    0008,0100 SH [B1]\n"
                                  "    0008,0104 SH [B2]\n"
                                  "0040,b000 SH [R7]\n");
    EXPECT_EQ(said.warnings(), "");
    std::string steps;
    for (const Report &each : said.all)
        if (each.text[0] == '"')
            steps += each.text + "\n";
    EXPECT_EQ(steps, "\"Start of Sequence\" tag (0040,a730) size=56 (End_Of_Sequence[1]:0040)\n"
                     "\"Start of Item\" tag (fffe,e000) size=20 (End_Of_Item[1]:0024)\n"
                     "\"Stop of Item\" from size\n"
                     "\"Start of Item\" tag (fffe,e000) size=20 (End_Of_Item[1]:0040)\n"
                     "\"Stop of Sequence\" from size\n");
}

TEST(Format, EndsSequencesAndItemsAtTheirDelimiters)
{
    Flat flat;
    flat.sequence(CONTENT, -1);
    flat.item(-1);
    flat.sequence(CODES, 26);          // of defined length inside one of undefined length
    flat.item(18);
    flat.text(VALUE, "inner 1234");
    flat.text({0x0040, 0xA200}, "A1");
    flat.item_end();
    flat.item(-1);
    flat.item_end();
    flat.sequence_end();
    flat.text({0x0040, 0xB000}, "R7");
    Reports said(14);
    Tree tree = format(flat);
    EXPECT_EQ(outline(tree.head), "0040,a730 SQ undefined length\n"
                                  "  item\n"
                                  "    fffe,e000 I- undefined length\n"
                                  "    0040,a168 SQ 26 bytes unread\n"
                                  "      item\n"
                                  "        fffe,e000 I- 18 bytes unread\n"
                                  "        0008,0100 SH [inner 1234]\n"
                                  "    0040,a200 SH [A1]\n"
                                  "    fffe,e00d I-\n"
                                  "  item\n"
                                  "    fffe,e000 I- undefined length\n"
                                  "    fffe,e00d I-\n"
                                  "fffe,e0dd I-\n"
                                  "0040,b000 SH [R7]\n");
    EXPECT_EQ(said.warnings(), "");
    std::string steps;
    for (const Report &each : said.all)
        if (each.text.starts_with("\"Stop"))
            steps += each.text + "\n";
    EXPECT_EQ(steps, "\"Stop of Sequence\" from size\n"
                     "\"Stop of Item\" tag (fffe,e00d) size=0 (End_Of_Item:FFFFFFFF)\n"
                     "\"Stop of Item\" tag (fffe,e00d) size=0 (End_Of_Item:FFFFFFFF)\n"
                     "\"Stop of Sequence\" tag (fffe,e0dd) size=0 (End_Of_Item:FFFFFFFF)\n");
}

TEST(Format, ClosesEmptySequencesAndItemsAtTheNextNode)
{
    Flat flat;
    flat.sequence(CODES, 0);
    flat.sequence(CONTENT, 16);
    flat.item(0);
    flat.item(0);
    flat.text({0x0040, 0xB000}, "R7");
    Tree tree = format(flat);
    EXPECT_EQ(outline(tree.head), "0040,a168 SQ\n"
                                  "0040,a730 SQ 16 bytes unread\n"
                                  "  item\n    fffe,e000 I-\n"
                                  "  item\n    fffe,e000 I-\n"
                                  "0040,b000 SH [R7]\n");
}

TEST(Format, MakesItemsOfFragments)
{
    Flat flat;
    flat.put({0x7FE0, 0x0010}, "OB", -1);
    flat.item(0);
    flat.put({GROUP_ITEM, ELEMENT_ITEM}, "", 4, "\xFF\xD8\xFF\xD9")->vr = VR_ITEM;
    flat.sequence_end();
    flat.put({0x7FE0, 0x0020}, "OW", -1);
    flat.put({0x7FE0, 0x0021}, "UN", -1);
    Reports said(14);
    Tree tree = format(flat);
    EXPECT_EQ(full_outline(tree.head),
              "7fe0,0010 OB undefined length flag=0001 depth=0 vr=OB/-- syntax=0 type=0000 at 0,0,8\n"
              "  item\n"
              "    fffe,e000 I- flag=0001 depth=1 vr=--/I- syntax=0 type=0000 at 0,8,16\n"
              "  item\n"
              "    fffe,e000 I- [\\xFF\\xD8\\xFF\\xD9] flag=0001 depth=1 vr=--/I- syntax=0 type=0000 at 0,16,24\n"
              "fffe,e0dd I- flag=0001 depth=0 vr=--/I- syntax=0 type=0000 at 0,28,36\n"
              "7fe0,0020 OW undefined length flag=0101 depth=0 vr=OW/-- syntax=0 type=0000 at 0,36,44\n"
              "7fe0,0021 UN undefined length flag=0101 depth=0 vr=UN/-- syntax=0 type=0000 at 0,44,52\n");
    EXPECT_EQ(said.warnings(),
              WARNING + "(\x01" "7fe0\x02,\x01" "0020\x02) Syntax Error! VR=OW Variable length tag should be followed "
                        "by an \"item\" tag\n" +
              WARNING + "(\x01" "7fe0\x02,\x01" "0021\x02) Syntax Error! VR=UN Variable length tag should be followed "
                        "by an \"item\" tag\n");
    EXPECT_NE(said.texts(14).find("\"Start of Sequence\" tag (7fe0,0010) size=-1 (End_Of_Sequence:FFFFFFFF)\n"),
              std::string::npos);
}

TEST(Format, NestsAnUnknownSequenceByTheItemBehindIt)
{
    Flat flat;
    flat.put({0x0009, 0x1001}, "", 18);
    flat.item(-1);
    flat.text(VALUE, "A1");
    flat.put({0x0009, 0x1002}, "", -1);
    flat.item(-1);
    flat.item_end();
    flat.sequence_end();
    flat.put({0x0009, 0x1003}, "", 4);
    Tree tree = format(flat);
    EXPECT_EQ(full_outline(tree.head),
              "0009,1001 UN undefined length flag=0441 depth=0 vr=--/UN syntax=0 type=0000 at 0,0,8\n"
              "  item\n"
              "    fffe,e000 I- undefined length flag=0001 depth=1 vr=--/I- syntax=0 type=0000 at 0,8,16\n"
              "    0008,0100 SH [A1] flag=0001 depth=1 vr=SH/-- syntax=0 type=0000 at 0,16,24\n"
              "0009,1002 UN undefined length flag=0441 depth=0 vr=--/UN syntax=0 type=0000 at 0,26,34\n"
              "  item\n"
              "    fffe,e000 I- undefined length flag=0001 depth=1 vr=--/I- syntax=0 type=0000 at 0,34,42\n"
              "    fffe,e00d I- flag=0001 depth=1 vr=--/I- syntax=0 type=0000 at 0,42,50\n"
              "fffe,e0dd I- flag=0001 depth=0 vr=--/I- syntax=0 type=0000 at 0,50,58\n"
              "0009,1003 UN 4 bytes unread flag=0441 depth=0 vr=--/UN syntax=0 type=0000 at 0,58,66\n");
    EXPECT_EQ(flat.head->vr, VR_NONE) << "the flat chain holds no more than what was found";
}

TEST(Format, MarksWhatCannotBeNested)
{
    Flat flat;
    flat.put({0x0040, 0xA160}, "", -1)->vr = VR_UT;
    flat.text({0x0040, 0xA161}, "A1");
    flat.sequence(CONTENT, -1);
    Reports said;
    Tree tree = format(flat);
    EXPECT_EQ(full_outline(tree.head),
              "0040,a160 UT undefined length flag=0101 depth=0 vr=--/UT syntax=0 type=0000 at 0,0,8\n"
              "0040,a161 SH [A1] flag=0001 depth=0 vr=SH/-- syntax=0 type=0000 at 0,8,16\n"
              "0040,a730 SQ undefined length flag=0101 depth=0 vr=SQ/-- syntax=0 type=0000 at 0,18,26\n");
    EXPECT_EQ(said.warnings(), WARNING + "(\x01" "0040\x02,\x01" "a160\x02) Syntax Error! "
                                         "Variable length tag is not allowed for VR=UT\n" +
                               WARNING + "(\x01" "0040\x02,\x01" "a730\x02) Syntax Error! "
                                         "VR=SQ should be followed by an \"item\" tag\n");
}

TEST(Format, WarnsOnceOfAStreamOutOfOrder)
{
    Flat flat;
    for (const Tag &tag : {Tag{0x0010, 4}, Tag{0x0010, 3}, Tag{0x0010, 2}, Tag{0x0010, 2}})
        flat.text(tag, "x ");
    flat.text({0x0008, 0x0060}, "CT");
    Reports said;
    Tree tree = format(flat);
    EXPECT_EQ(outline(tree.head), outline(flat.head)) << "the stream's order stays";
    EXPECT_EQ(said.warnings(), WARNING + "(\x01" "0010\x02,\x01" "0003\x02) tags should be sorted!\n");
}

TEST(Format, LeavesTheOrderOfOthersNodesAlone)
{
    Flat flat;
    flat.text({0x0010, 0x0010}, "x ");
    flat.text({0x0008, 0x0060}, "CT")->flag = ORIGIN_MODULE;
    flat.text({ANY_TAG_NUMBER, 0x0001}, "x ");
    flat.text({0x0008, 0x0060}, "CT");
    Reports said;
    Tree tree = format(flat);
    EXPECT_EQ(said.warnings(), "");
}

TEST(Format, EndsASequenceOfUnknownEndAtALesserTag)
{
    for (int size : {-1, 100}) {
        Flat flat;
        flat.sequence(CONTENT, size);
        flat.item(-1);
        flat.sequence(CODES, -1);
        flat.item(-1);
        flat.text(LATER, "A1");
        flat.text(VALUE, "B1");
        flat.text(VALUE, "C1");
        Reports said;
        Tree tree = format(flat);
        std::string lesser = WARNING + "(\x01" "0008\x02,\x01" "0100\x02) missing end of sequence tag!\n";
        std::string in_item = "0040,a730 SQ " + std::string(size == -1 ? "undefined length" : "100 bytes unread") + "\n"
                              "  item\n"
                              "    fffe,e000 I- undefined length\n"
                              "    0040,a168 SQ undefined length\n"
                              "      item\n"
                              "        fffe,e000 I- undefined length\n"
                              "        0008,0104 SH [A1]\n"
                              "    0008,0100 SH [B1]\n";
        EXPECT_EQ(outline(tree.head), in_item + "    0008,0100 SH [C1]\n");
        EXPECT_EQ(said.warnings(), lesser);
    }
    Flat flat;
    flat.sequence(CONTENT, -1);
    flat.item(-1);
    flat.text(LATER, "A1");
    flat.text(VALUE, "B1");
    Reports said;
    Tree tree = format(flat);
    EXPECT_EQ(said.warnings(), WARNING + "(\x01" "0008\x02,\x01" "0100\x02) missing end of sequence tag!\n");
    EXPECT_EQ(outline(tree.head->next), "0008,0100 SH [B1]\n") << "one level for each node";
}

TEST(Format, ForgetsTheLengthOfASequenceThatADelimiterHasClosed)
{
    Flat flat;
    flat.sequence(CODES, 18);          // its length ends behind its delimiter
    flat.item(-1);
    flat.item_end();
    flat.sequence_end();
    flat.sequence(CONTENT, -1);
    flat.item(-1);
    flat.text(VALUE, "A1");
    flat.sequence_end();
    Tree tree = format(flat);
    EXPECT_EQ(outline(tree.head), "0040,a168 SQ 18 bytes unread\n"
                                  "  item\n"
                                  "    fffe,e000 I- undefined length\n"
                                  "    fffe,e00d I-\n"
                                  "fffe,e0dd I-\n"
                                  "0040,a730 SQ undefined length\n"
                                  "  item\n"
                                  "    fffe,e000 I- undefined length\n"
                                  "    0008,0100 SH [A1]\n"
                                  "fffe,e0dd I-\n");
}

TEST(Format, GivesAnItemToWhatStandsBetweenASequenceAndItsFirstItem)
{
    Flat flat;
    flat.sequence(CONTENT, 100);
    flat.text(VALUE, "A1");
    flat.text(LATER, "A2");
    flat.item(-1);
    flat.text(LATER, "B1");
    Reports said;
    Tree tree = format(flat);
    EXPECT_EQ(outline(tree.head), "0040,a730 SQ 100 bytes unread\n"
                                  "  item\n"
                                  "    0008,0100 SH [A1]\n"
                                  "    0008,0104 SH [A2]\n"
                                  "  item\n"
                                  "    fffe,e000 I- undefined length\n"
                                  "    0008,0104 SH [B1]\n");
    EXPECT_EQ(said.warnings(), WARNING + "(\x01" "0008\x02,\x01" "0100\x02) missing item tag!\n");
}

TEST(Format, FoldsWhatIsNestedTooDeep)
{
    Flat flat;
    for (int i = 0; i < 12; i++) {
        flat.sequence(CONTENT, -1);
        flat.item(-1);
    }
    flat.text({0x0040, 0xB000}, "R7");
    Reports said;
    Tree tree = format(flat);
    std::string out = outline(tree.head), indent(9 * 4, ' ');
    EXPECT_EQ(out.substr(out.find("\n" + indent)), "\n" + indent + "fffe,e000 I- undefined length\n" +
                                                   indent + "0040,a730 SQ undefined length\n" +
                                                   indent + "fffe,e000 I- undefined length\n" +
                                                   indent + "0040,a730 SQ undefined length\n" +
                                                   indent + "fffe,e000 I- undefined length\n" +
                                                   indent + "0040,a730 SQ undefined length\n" +
                                                   indent + "fffe,e000 I- undefined length\n" +
                                                   indent + "0040,b000 SH [R7]\n");
    EXPECT_EQ(said.all.size(), 3u);
}

TEST(Format, ComparesPositionsThatNoIntHolds)
{
    Flat flat;
    flat.sequence(CONTENT, INT_MAX);
    flat.item(INT_MAX);
    flat.text(LATER, "A1");
    flat.text(VALUE, "B1")->pos = INT_MAX;
    Reports said;
    Tree tree = format(flat);
    EXPECT_EQ(outline(tree.head->item[0]->next), "0008,0104 SH [A1]\n0008,0100 SH [B1]\n");
    EXPECT_EQ(said.warnings(), "");
}

TEST(Format, MarksRetiredAndPrivateAttributes)
{
    TAG_db_Elems retired = {}, current = {};
    retired.type = -1;
    retired.vr[0] = current.vr[0] = VR_SH;
    current.type = 1;
    snprintf(retired.description, sizeof retired.description, "Code Set");
    Flat flat;
    flat.text({0x0008, 0x0040}, "A1")->db = &retired;
    flat.text({0x0008, 0x0060}, "A2")->db = &current;
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
        flat.sequence({0x0041, element}, -1);
        flat.item(-1);
        flat.sequence({0x0043, static_cast<unsigned short>(count - i % count)}, -1);
        flat.item(-1);
        flat.sequence_end();
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
