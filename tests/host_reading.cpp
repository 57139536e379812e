// The loop over the elements: forms of headers, nesting, and damage.
#include <gtest/gtest.h>
#include <string.h>

#include "tests/host_listing.h"

using namespace velmora_host;

static const Tag NAME = {0x0010, 0x0010}, STEP = {0x0040, 0x0009}, PROTOCOL = {0x0040, 0x0254}, REQUEST = {0x0040, 0x0275}, LATER = {0x0070, 0x0080},
                 PIXELS = {0x7FE0, 0x0010};
static const Bytes FIRST = element({0x0008, 0x0060}, "CS", "CT");   // so that the encoding is seen

static Bytes tag_bytes(Tag tag) { return number_16(tag.group) + number_16(tag.element); }

// ---- forms of headers -----------------------------------------------------------------

TEST(HostReading, KnowsTheVRsOfTodayAndThoseThatAreNone)
{
    const struct { const char *name; Bytes header_and_value; const char *listed; } rows[] = {
        {"long form of a later VR", element({0x0064, 0x0009}, "OF", "12345678"), "0064,0009 OF 8 @22"},
        {"long form of many bytes", element({0x0064, 0x0009}, "OF", Bytes(70000, '1')), "0064,0009 OF 70000 @22"},
        {"short form of a later VR", tag_bytes({0x0064, 0x0009}) + "OF" + number_16(8) + "12345678",
         "0064,0009 OF 8 @18"},
        {"a later VR for an older one", element({0x0040, 0xE010}, "UR", "http"), "0040,e010 UT 4 @22"},
        {"the same of an unknown tag", element({0x0070, 0x9999}, "UC", "text"), "0070,9999 UC 4 @22"},
        {"two blanks, short length", tag_bytes({0x0070, 0x9998}) + "  " + number_16(4) + "text", "0070,9998 UN 4 @18"},
        {"zero bytes, short length", tag_bytes(LATER) + Bytes(2, '\0') + number_16(4) + "TEXT", "0070,0080 CS 4 @18"},
        {"zero bytes, long length", tag_bytes(LATER) + Bytes(4, '\0') + number_32(4) + "TEXT", "0070,0080 CS 4 @22"},
        {"two blanks, no length at all", tag_bytes({0x0070, 0x9998}) + "  ", "0070,9998 UN 0 @16"},
        {"no VR at all", tag_bytes(LATER) + number_32(4) + "TEXT", "0070,0080 CS 4 @18"},
        {"two letters that are no VR", tag_bytes({0x0070, 0x9998}) + "ZZ" + number_16(4) + "text",
         "0070,9998 UN 4 @18"},
        {"the same with a long length", tag_bytes({0x0070, 0x9998}) + "ZZ" + number_16(0) + number_32(4) + "text",
         "0070,9998 UN 4 @22"},
        {"an odd length", element(LATER, "CS", "ODD"), "0070,0080 CS 3 @18"},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.name);
        Loaded loaded(FIRST + row.header_and_value + element({0x0088, 0x0130}, "SH", "ID"), MODE_EXPLICIT_LITTLE);
        ASSERT_EQ(loaded.result, LOADED);
        ASSERT_EQ(loaded.set.listing.size(), 3u) << loaded.listing();
        EXPECT_EQ(loaded.listing().substr(18, strlen(row.listed)), row.listed);
        EXPECT_EQ(loaded.set.damages, 0);
    }
}

TEST(HostReading, ReadsStreamsWithoutVRsNextToThoseWithBlankOnes)
{
    Bytes stream = FIRST;
    for (unsigned short i = 1; i < 6; i++)
        stream += tag_bytes({0x0070, static_cast<unsigned short>(0x9900 + i)}) + "  " + number_16(2) + "ab";
    Loaded loaded(stream, MODE_EXPLICIT_LITTLE);
    EXPECT_EQ(loaded.set.listing.size(), 6u) << loaded.listing();
    EXPECT_EQ(loaded.set.damages, 0);
}

TEST(HostReading, FollowsTheRepairsOfTheElementReader)
{
    // A JPEG stream without a length: it is measured. A VR that one vendor wrote over four blanks: the header shrinks.
    Bytes jpeg("\xFF\xD8\xFF\xE0" "1234" "\xFF\xD9", 10);
    Loaded measured(FIRST + element(PIXELS, "OB", jpeg, 8, 0xFFFFFFFF) + element({0x7FE0, 0x0020}, "LT", "behind"),
                    MODE_EXPLICIT_LITTLE);
    EXPECT_EQ(measured.listing(), "0008,0060 CS 2 @8\n7fe0,0010 OB 10 @22\n7fe0,0020 LT 6 @40\n");
    EXPECT_EQ(measured.warnings(), "10: Fix Siemens bug: lenght changed from -1 to 10 in tag (7fe0,0010)\n");

    Loaded endless(FIRST + element(PIXELS, "OB", jpeg.substr(0, 8), 8, 0xFFFFFFFF), MODE_EXPLICIT_LITTLE);
    EXPECT_EQ(endless.listing(), "0008,0060 CS 2 @8\n7fe0,0010 OB 8 @22\n");
    EXPECT_EQ(endless.warnings(), "10: (7fe0,0010) JPEG data without a length and without an end; all 8 bytes behind are "
                                  "taken as its value\n");

    // The end of a JPEG stream is not looked for outside of its item.
    Loaded inner(FIRST + sequence(REQUEST, BY_LENGTH, {item({element(PIXELS, "OB", jpeg.substr(0, 8), 8, 0xFFFFFFFF)})}) +
                 element({0x7FE0, 0x0020}, "OB", "\xFF\xD9"));
    EXPECT_EQ(inner.listing(), "0008,0060 CS 2 @8\n0040,0275 SQ 28 @22\n item 1: 20\n  7fe0,0010 OB 8 @42\n"
                               "7fe0,0020 OB 2 @62\n");

    Bytes head = part10_head("1.2.840.113619.5.2");
    Loaded shortened(head + element(NAME, "PN", "Doe^Jane", 0) + element({0x0010, 0x0020}, "LO", "0123456789", 0, 13) +
                     element(LATER, "CS", "NEXT", 0));
    EXPECT_EQ(shortened.tree().substr(shortened.tree().find("0010,0020")), "0010,0020 LO [0123456789]\n0070,0080 CS [NEXT]\n");

    Bytes skipped = tag_bytes(REQUEST) + "SQ" + number_16(6) + "123456";
    Loaded behind(FIRST + skipped + element(LATER, "CS", "NEXT"), MODE_EXPLICIT_LITTLE);
    EXPECT_EQ(behind.listing(), "0008,0060 CS 2 @8\n0070,0080 CS 4 @32\n");
    EXPECT_EQ(behind.warnings(), "10: Fix Siemens bug: tag (0040,0275) is skipped\n");
}

// ---- nesting --------------------------------------------------------------------------

TEST(HostReading, NestsByLengthsAndByDelimiters)
{
    const char *expected = "0008,0060 CS [CT]\n0040,0275 SQ\n item\n  0040,0009 SH [A1]\n item\n  0040,0009 SH [B2]\n"
                           "0070,0080 CS [END ]\n";
    for (Ending sequence_ending : {BY_LENGTH, BY_DELIMITER})
        for (Ending item_ending : {BY_LENGTH, BY_DELIMITER}) {
            Loaded loaded(FIRST + sequence(REQUEST, sequence_ending, {item({element(STEP, "SH", "A1")}, item_ending),
                                                                      item({element(STEP, "SH", "B2")}, item_ending)}) +
                          element(LATER, "CS", "END "));
            EXPECT_EQ(loaded.tree(), expected);
            EXPECT_EQ(loaded.warnings(), "");
            EXPECT_EQ(loaded.set.listing.size(), 7u);
        }
}

TEST(HostReading, ReadsImplicitElementsInAnUNOfUndefinedLength)
{
    Bytes inner = sequence({0x0029, 0x1020}, BY_DELIMITER, {item({element(NAME, "PN", "Doe", 0)}, BY_DELIMITER, 0)}, 0);
    Bytes items = item({element({0x0008, 0x0104}, "LO", "meaning ", 0), inner}, BY_DELIMITER, 0) +
                  delimiter(ELEMENT_SEQUENCE_END);
    Loaded loaded(FIRST + element({0x0029, 0x1010}, "UN", items, 8, 0xFFFFFFFF) + element(LATER, "CS", "END "));
    EXPECT_EQ(loaded.tree(), "0008,0060 CS [CT]\n0029,1010 UN\n item\n  0008,0104 LO [meaning ]\n  0029,1020 SQ\n   item\n"
                             "    0010,0010 PN [Doe]\n0070,0080 CS [END ]\n");

    // Writers that kept the explicit form in there are understood as well.
    Bytes wrong = item({element({0x0008, 0x0104}, "LO", "meaning ")}) + delimiter(ELEMENT_SEQUENCE_END);
    Loaded mended(FIRST + element({0x0029, 0x1010}, "UN", wrong, 8, 0xFFFFFFFF) + element(LATER, "CS", "END "));
    EXPECT_EQ(mended.tree(), "0008,0060 CS [CT]\n0029,1010 UN\n item\n  0008,0104 LO [meaning ]\n0070,0080 CS [END ]\n");
}

TEST(HostReading, OpensEmptySequencesOfAnyVR)
{
    const struct { const char *name; Bytes bytes; int mode; const char *vr; } rows[] = {
        {"SQ", element({0x0029, 0x1010}, "SQ", delimiter(0xE0DD), 8, 0xFFFFFFFF), 8, "SQ"},
        {"UN", element({0x0029, 0x1010}, "UN", delimiter(0xE0DD), 8, 0xFFFFFFFF), 8, "UN"},
        {"OB", element({0x0029, 0x1010}, "OB", delimiter(0xE0DD), 8, 0xFFFFFFFF), 8, "OB"},
        {"without a VR", element({0x0029, 0x1010}, "SQ", delimiter(0xE0DD, 0), 0, 0xFFFFFFFF), 0, "SQ"},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.name);
        Loaded loaded(element({0x0008, 0x0060}, "CS", "CT", row.mode) +
            sequence(REQUEST, BY_DELIMITER, {item({row.bytes, element(LATER, "CS", "IN", row.mode)}, BY_DELIMITER)},
            row.mode) + element({0x0088, 0x0130}, "SH", "ID", row.mode));
        EXPECT_EQ(loaded.tree(), std::string("0008,0060 CS [CT]\n0040,0275 SQ\n item\n  0029,1010 ") + row.vr +
                                     " -1\n  0070,0080 CS [IN]\n0088,0130 SH [ID]\n");
        EXPECT_EQ(loaded.warnings(), "");
    }
}

TEST(HostReading, OpensItemsOfATagThatIsNewerThanTheDictionary)
{
    // (0008,0051) is a sequence that came to the standard later.
    Bytes stream = element({0x0008, 0x0050}, "SH", "1234", 0) +
                   sequence({0x0008, 0x0051}, BY_LENGTH, {item({element({0x0040, 0x0032}, "UT", "1.2 ", 0)})}, 0) +
                   element(NAME, "PN", "Doe^Jane", 0);
    Loaded loaded(stream);
    EXPECT_EQ(loaded.tree(), "0008,0050 SH [1234]\n0008,0051 SQ\n item\n  0040,0032 UN [1.2 ]\n0010,0010 PN [Doe^Jane]\n");
}

TEST(HostReading, KeepsFragmentsOfPixelDataApart)
{
    Bytes fragments = item({}) + item({"\1\2\3\4"}) + item({Bytes(2000, 'p')}) + delimiter(ELEMENT_SEQUENCE_END);
    Loaded loaded(FIRST + element(PIXELS, "OB", fragments, 8, 0xFFFFFFFF) + element({0x7FE0, 0x0020}, "LT", "behind"));
    EXPECT_EQ(loaded.listing(), "0008,0060 CS 2 @8\n7fe0,0010 OB -1 @22\n fragment 1: 0\n fragment 2: 4\n fragment 3: 2000\n"
                                "7fe0,0020 LT 6 @2066\n");
    ASSERT_NE(loaded.set.tree->next->item, nullptr);
    EXPECT_EQ(loaded.set.tree->next->nb_item, 3);
    EXPECT_EQ(loaded.set.tree->next->item[2]->data, nullptr) << "a long value stays in the source";

    // Without a VR it is the dictionary that knows: overlay data hold no elements, whatever their bytes look like.
    Bytes overlay = item({"1.2.840"}, BY_LENGTH, SYNTAX_IMPLICIT) + delimiter(ELEMENT_SEQUENCE_END, SYNTAX_IMPLICIT);
    Loaded implicit(element({0x0008, 0x0060}, "CS", "CT", SYNTAX_IMPLICIT) +
                        element({0x6000, 0x3000}, "", overlay, SYNTAX_IMPLICIT, 0xFFFFFFFF), MODE_IMPLICIT_LITTLE);
    EXPECT_EQ(implicit.listing(), "0008,0060 CS 2 @8\n6000,3000 OB -1 @18\n fragment 1: 7\n");
}

// Sequences in one another, the innermost with a value.
static Bytes nested(int levels, Ending ending)
{
    Bytes bytes = element(LATER, "CS", "DEEP");
    for (int i = 0; i < levels; i++)
        bytes = sequence(REQUEST, ending, {item({bytes}, ending)});
    return FIRST + bytes + element({0x0088, 0x0130}, "SH", "ID");
}

TEST(HostReading, KeepsATenthLevelAsOneValue)
{
    for (Ending ending : {BY_LENGTH, BY_DELIMITER}) {
        Loaded nine(nested(9, ending));
        EXPECT_EQ(nine.set.opaque.size(), 0u);
        EXPECT_EQ(nine.warnings(), "");

        Loaded twelve(nested(12, ending));
        ASSERT_EQ(twelve.set.opaque.size(), 1u);
        const Opaque &opaque = twelve.set.opaque[0];
        EXPECT_EQ(twelve.said.size(), 1u);
        EXPECT_NE(twelve.said[0].find("(0040,0275) this sequence lies below the ninth level; it is kept as one value "
                                      "of " + std::to_string(opaque.size) + " bytes"), std::string::npos);
        EXPECT_EQ(twelve.set.damages, 0);
        EXPECT_EQ(twelve.set.listing.back().depth, 0);
        EXPECT_EQ(twelve.set.listing[twelve.set.listing.size() - 2].depth, 12) << "the listing goes all the way";
        EXPECT_NE(twelve.tree().find("                  0040,0275 SQ ["), std::string::npos);
        EXPECT_NE(twelve.tree().find("\n0088,0130 SH [ID]\n"), std::string::npos);

        Data_Set below;
        std::string error;
        ASSERT_EQ(load_opaque(twelve.set, opaque, Load_Options(), &below, &error), LOADED) << error;
        EXPECT_EQ(below.tree->group, 0x0040);
        EXPECT_EQ(below.tree->nb_item, 1);
        release_data_set(&below);
    }
}

TEST(HostReading, GoesDownAHundredThousandLevelsWithoutRecursion)
{
    Bytes opening = tag_bytes(REQUEST) + "SQ" + number_16(0) + number_32(0xFFFFFFFF) + tag_bytes({GROUP_ITEM, ELEMENT_ITEM}) +
                    number_32(0xFFFFFFFF);
    Bytes closing = delimiter(ELEMENT_ITEM_END) + delimiter(ELEMENT_SEQUENCE_END), stream = FIRST;
    const int levels = 100000;
    for (int i = 0; i < levels; i++)
        stream += opening;
    stream += element(STEP, "SH", "A1");
    for (int i = 0; i < levels; i++)
        stream += closing;
    Loaded loaded(stream + element(LATER, "CS", "END "));
    EXPECT_EQ(loaded.set.damages, 0);
    EXPECT_EQ(loaded.set.listing.size(), 2u * levels + 3);
    EXPECT_EQ(loaded.set.listing[loaded.set.listing.size() - 2].depth, levels);

    Loaded cut(stream.substr(0, stream.size() / 2));
    EXPECT_EQ(cut.set.damages, 1);
}

TEST(HostReading, KeepsUnsortedItemsTogether)
{
    // The library would take the lower tag for the outer data set.
    Bytes unsorted = item({element(LATER, "CS", "B "), element(STEP, "SH", "A1")}, BY_DELIMITER);
    const std::string items = " item\n  0070,0080 CS [B ]\n  0040,0009 SH [A1]\n";
    for (const std::string vr : {"SQ", "UN", "UR"}) {   // the library would not keep the last
        Bytes around = sequence(REQUEST, BY_DELIMITER, {unsorted, unsorted});
        around.replace(4, 2, vr);
        Loaded loaded(FIRST + around + element({0x0088, 0x0130}, "SH", "ID"), MODE_EXPLICIT_LITTLE);
        EXPECT_EQ(loaded.tree(), "0008,0060 CS [CT]\n0040,0275 " + vr + "\n" + items + items + "0088,0130 SH [ID]\n");
        EXPECT_EQ(loaded.warnings(), "");
        EXPECT_EQ(loaded.set.tree->next->size, -1);
    }
}

TEST(HostReading, KeepsWhatFollowsAnUnsortedItemWithoutADelimiter)
{
    // Only the end of the outer sequence tells where the last two belong; its own item is unsorted, too.
    Bytes opening = tag_bytes({GROUP_ITEM, ELEMENT_ITEM}) + number_32(0xFFFFFFFF);
    Bytes inner = element({0x0040, 0x0555}, "SQ", "", SYNTAX_EXPLICIT, 0xFFFFFFFF) +
                  item({element(LATER, "CS", "B "), element({0x0062, 0x0010}, "SH", "A1")}, BY_LENGTH);
    Bytes behind = element({0x0060, 0x0001}, "SH", "B1") + element({0x0040, 0x1001}, "SH", "C1");
    Loaded loaded(FIRST + sequence(REQUEST, BY_DELIMITER, {opening + inner + behind + delimiter(ELEMENT_ITEM_END)}) +
                  element({0x0088, 0x0130}, "SH", "ID"));
    EXPECT_EQ(loaded.tree(), "0008,0060 CS [CT]\n0040,0275 SQ\n item\n  0040,0555 SQ\n   item\n    0070,0080 CS [B ]\n"
                             "  0062,0010 SH [A1]\n  0060,0001 SH [B1]\n  0040,1001 SH [C1]\n0088,0130 SH [ID]\n");
}

// ---- damage ---------------------------------------------------------------------------

struct Damage_Row {
    const char *name;
    Bytes bytes;             // behind FIRST, which has 10 bytes
    const char *tree;        // behind FIRST's line
    const char *warnings;
};

static void expect_rows(const std::vector<Damage_Row> &rows)
{
    for (const Damage_Row &row : rows) {
        SCOPED_TRACE(row.name);
        Loaded loaded(FIRST + row.bytes, MODE_EXPLICIT_LITTLE);
        EXPECT_EQ(loaded.tree(), std::string("0008,0060 CS [CT]\n") + row.tree);
        EXPECT_EQ(loaded.warnings(), row.warnings);
    }
}

TEST(HostDamage, KeepsWhatIsBeforeIt)
{
    expect_rows({
        {"a value that is cut", element(NAME, "PN", "Doe^", 8, 100), "0010,0010 PN [Doe^]\n",
         "10: (0010,0010) the value of 100 bytes reaches beyond the end of the data; the 4 bytes that are there are kept\n"},
        {"a header that is cut", element(NAME, "PN", "Doe^Jane") + tag_bytes(LATER) + "C", "0010,0010 PN [Doe^Jane]\n",
         "26: (0070,0080) 5 bytes that hold no whole element header; the last 5 bytes are not read\n"},
        {"bytes that are no element", element(NAME, "PN", "Doe^Jane") + "qwertyuiopasdfgh", "0010,0010 PN [Doe^Jane]\n",
         "26: (7771,7265) no element can be read here: 1769306484 bytes of value would reach beyond the end of the data; "
         "the last 16 bytes are not read\n"},
        {"a length of nearly 4 GiB", element(LATER, "OB", "1234", 8, 0xFFFFFFF0), "0070,0080 OB [1234]\n",
         "10: (0070,0080) the value of 4294967280 bytes reaches beyond the end of the data; the 4 bytes that are there are "
         "kept\n"},
        {"zero bytes at the end", element(NAME, "PN", "Doe^Jane") + Bytes(50, '\0'), "0010,0010 PN [Doe^Jane]\n",
         "26: (0000,0000) the last 50 bytes are zero, and no elements\n"},
        {"a sequence that is cut", sequence(REQUEST, BY_DELIMITER, {item({element(STEP, "SH", "A1")})}).substr(0, 30),
         "0040,0275 SQ\n item\n  0040,0009 SH [A1]\n",
         "40 0040,0275[1]: (0040,0009) the data ends inside a sequence, 1 deep\n"},
        {"one behind elements of any kind",
         sequence(REQUEST, BY_DELIMITER, {item({element(STEP, "SH", "A123"), element(PROTOCOL, "LO", "B123")})}).substr(0, 44),
         "0040,0275 SQ\n item\n  0040,0009 SH [A123]\n  0040,0254 LO [B123]\n",
         "54 0040,0275[1]: (0040,0254) the data ends inside a sequence, 1 deep\n"},
        {"a sequence length beyond the end", element(REQUEST, "SQ", item({element(STEP, "SH", "A1")}), 8, 0xFFFFFFF0),
         "0040,0275 SQ\n item\n  0040,0009 SH [A1]\n",
         "40 0040,0275[1]: (0040,0009) the data ends inside a sequence, 1 deep\n"},
        {"an undefined length that nothing follows", element(REQUEST, "SQ", "", 8, 0xFFFFFFFF), "0040,0275 SQ -1\n",
         "10: (0040,0275) no item follows this element of undefined length; it has no value\n"
         "10: (0040,0275) Syntax Error! VR=SQ should be followed by an \"item\" tag\n"},
    });
}

TEST(HostDamage, GoesOnBehindASequenceOfKnownLength)
{
    Bytes behind = element(LATER, "CS", "END ");
    Bytes good_item = item({element(STEP, "SH", "A1")});
    expect_rows({
        {"a value that runs past its item",
         sequence(REQUEST, BY_LENGTH, {item({element(STEP, "SH", "A1", 8, 50)}), good_item}) + behind,
         "0040,0275 SQ\n item\n  0040,0009 SH [A1]\n item\n  0040,0009 SH [A1]\n0070,0080 CS [END ]\n",
         "30 0040,0275[1]: (0040,0009) the value of 50 bytes reaches beyond the end of what it stands in; the 2 bytes that are "
         "there are kept\n"},
        {"bytes that are no item", element(REQUEST, "SQ", "0123456789abcdef") + behind, "0040,0275 SQ 16\n0070,0080 CS [END ]\n",
         "22: (3130,3332) an item was expected here; 16 bytes are skipped, reading goes on at offset 38\n"},
        {"bytes that are no element in an item", sequence(REQUEST, BY_LENGTH, {item({"qwertyuiopasdf"}), good_item}) + behind,
         "0040,0275 SQ\n item\n item\n  0040,0009 SH [A1]\n0070,0080 CS [END ]\n",
         "30 0040,0275[1]: (7771,7265) no element can be read here: 1769306484 bytes of value would reach beyond the end of "
         "what it stands in; 14 bytes are skipped, reading goes on at offset 44\n"},
        {"an item longer than its sequence",
         element(REQUEST, "SQ", tag_bytes({GROUP_ITEM, ELEMENT_ITEM}) + number_32(500) + element(STEP, "SH", "A1")) + behind,
         "0040,0275 SQ\n item\n  0040,0009 SH [A1]\n0070,0080 CS [END ]\n",
         "30: (fffe,e000) the length of this item (500 bytes) reaches beyond what it stands in, which has 10 bytes more\n"},
    });
}

TEST(HostDamage, EndsSequencesThatHaveNoDelimiter)
{
    Bytes open_item = tag_bytes({GROUP_ITEM, ELEMENT_ITEM}) + number_32(0xFFFFFFFF) + element(STEP, "SH", "A1");
    Bytes open_sequence = tag_bytes({0x0008, 0x1140}) + "SQ" + number_16(0) + number_32(0xFFFFFFFF) + open_item +
                          delimiter(ELEMENT_ITEM_END);
    Bytes behind = element(LATER, "CS", "END ");
    expect_rows({
        {"inside an item of known length", sequence(REQUEST, BY_LENGTH, {item({open_sequence})}) + behind,
         "0040,0275 SQ\n item\n  0008,1140 SQ\n   item\n    0040,0009 SH [A1]\n0070,0080 CS [END ]\n",
         "68 0040,0275[1]: (0008,1140) this sequence has no delimiter; it ends with what it stands in\n"},
        {"inside an item with a delimiter", sequence(REQUEST, BY_DELIMITER, {item({open_sequence}, BY_DELIMITER)}) + behind,
         "0040,0275 SQ\n item\n  0008,1140 SQ\n   item\n    0040,0009 SH [A1]\n0070,0080 CS [END ]\n",
         "68 0040,0275[1]: (fffe,e00d) a sequence without its delimiter ends here\n"},
        {"in front of an element", open_sequence + behind, "0008,1140 SQ\n item\n  0040,0009 SH [A1]\n0070,0080 CS "
         "[END ]\n", "48: (0070,0080) an item was expected here; the sequence ends without its delimiter\n"},
        {"an item without its delimiter",
         element(REQUEST, "SQ", open_item + delimiter(ELEMENT_SEQUENCE_END), 8, 0xFFFFFFFF) + behind,
         "0040,0275 SQ\n item\n  0040,0009 SH [A1]\n0070,0080 CS [END ]\n",
         "40 0040,0275[1]: (fffe,e0dd) an item without its delimiter ends here, with its sequence\n"},
        {"an item in an item", element(REQUEST, "SQ", open_item + open_item + delimiter(ELEMENT_ITEM_END) +
                                                          delimiter(ELEMENT_SEQUENCE_END), 8, 0xFFFFFFFF) + behind,
         "0040,0275 SQ\n item\n  0040,0009 SH [A1]\n item\n  0040,0009 SH [A1]\n0070,0080 CS [END ]\n",
         "40 0040,0275[1]: (fffe,e000) an item begins inside an item, which ends here\n"},
        {"delimiters behind lengths",
         element(REQUEST, "SQ", item({element(STEP, "SH", "A1")}) + delimiter(ELEMENT_ITEM_END)) +
             delimiter(ELEMENT_SEQUENCE_END) + behind,
         "0040,0275 SQ\n item\n  0040,0009 SH [A1]\n0070,0080 CS [END ]\n",
         "40: (fffe,e00d) a delimiter that ends nothing is left out\n"
         "48: (fffe,e0dd) a delimiter that ends nothing is left out\n"},
        {"an item outside of any sequence", open_item + behind, "0040,0009 SH [A1]\n0070,0080 CS [END ]\n",
         "10: (fffe,e000) an item outside of any sequence; its elements are taken as they come\n"},
    });
}

// ---- cuts -----------------------------------------------------------------------------

TEST(HostReading, StaysInsideTheBytesWhereverTheyEnd)
{
    Bytes fragments = item({}) + item({"\1\2\3\4"}) + delimiter(ELEMENT_SEQUENCE_END);
    for (int syntax : {0, 8, 9, 1}) {
        Bytes inner = sequence({0x0008, 0x1140}, BY_DELIMITER, {item({element(NAME, "PN", "Doe", syntax)}, BY_DELIMITER, syntax)},
                               syntax);
        Bytes whole = part10_head(syntax == 0 ? "1.2.840.10008.1.2" : syntax == 8 ? "1.2.840.10008.1.2.1" : "1.2.840.10008.1.2.2");
        whole += element({0x0008, 0x0060}, "CS", "CT", syntax) +
                 element({0x0009, 0x1001}, "UL", "    ab", syntax) +
                 sequence(REQUEST, BY_LENGTH, {item({inner, element(STEP, "SH", "A1", syntax)}, BY_LENGTH, syntax)}, syntax) +
                 element({0x0070, 0x0022}, "OF", "12345678", syntax) +
                 element(PIXELS, "OB", fragments, syntax, 0xFFFFFFFF);
        for (size_t size = 0; size <= whole.size(); size++) {
            Loaded cut(whole.substr(0, size));
            Loaded headless(whole.substr(whole.size() - size));
            EXPECT_TRUE(size < 200 || cut.result == LOADED) << size;
        }
    }
}
