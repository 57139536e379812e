// A data set in line with a template: what is added, given, dropped and left alone, and what is told of it.
#include <gtest/gtest.h>

#include "host/velmora_save.h"
#include "tests/host_conformed.h"
#include "tests/support/outline.h"
#include "tests/support/reports.h"

using namespace velmora_host;

static const Tag MODALITY = {0x0008, 0x0060}, REFERENCES = {0x0008, 0x1140}, CLASS = {0x0008, 0x1150},
                 INSTANCE = {0x0008, 0x1155}, NAME = {0x0010, 0x0010}, ID = {0x0010, 0x0020}, PART = {0x0018, 0x0015},
                 PIXELS = {0x7FE0, 0x0010};
static const Bytes CT = element(MODALITY, "CS", "CT");

// ---- adding ---------------------------------------------------------------------------

TEST(Conform, AddsWhatIsDemanded)
{
    const struct { const char *name, *lines; Bytes data; const char *told, *tree; } rows[] = {
        {"type 1 and its absence", "(0010,0020) type=1\n", CT, "? 0010,0020 1\n", "0008,0060 CS [CT]\n"},
        {"type 1, empty", "(0010,0020) type=1\n", element(ID, "LO", ""), "?e 0010,0020 1\n", "0010,0020 LO\n"},
        {"type 1C and 3", "(0010,0010) type=1C\n(0010,0020) type=3\n", CT, "", "0008,0060 CS [CT]\n"},
        {"type 2 and 2C", "(0010,0010) type=2\n(0010,0020) type=2C\n", CT, "+ 0010,0010 []\n+ 0010,0020 []\n",
         "0008,0060 CS [CT]\n0010,0010 PN\n0010,0020 LO\n"},
        {"type 2, there", "(0010,0010) type=2\n", element(NAME, "PN", "Doe "), "", "0010,0010 PN [Doe ]\n"},
        {"a sequence of type 2", "(0008,1140) type=2\n>(0008,1150) type=2\n", CT, "+ 0008,1140 []\n",
         "0008,0060 CS [CT]\n0008,1140 SQ\n"},
        {"a sequence of type 1", "(0008,1140) type=1\n>(0008,1150) type=2\n", CT, "? 0008,1140 1\n",
         "0008,0060 CS [CT]\n"},
        {"inside of an optional sequence that is not there", "(0008,1140) type=3\n>(0008,1150) type=2\n", CT, "",
         "0008,0060 CS [CT]\n"},
        {"in all items of one that is", "(0008,1140) type=3\n>(0008,1150) type=2\n>(0008,1155) type=1\n",
         CT + sequence(REFERENCES, BY_LENGTH,
                       {item({element(INSTANCE, "UI", "1.2.3.40")}), item({element(MODALITY, "CS", "MR")}), item({})}),
         "+ 0008,1140[1]/0008,1150 []\n+ 0008,1140[2]/0008,1150 []\n+ 0008,1140[3]/0008,1150 []\n"
         "? 0008,1140[2]/0008,1155 1 x2\n",
         "0008,0060 CS [CT]\n0008,1140 SQ\n  item\n    0008,1150 UI\n    0008,1155 UI [1.2.3.40]\n"
         "  item\n    0008,0060 CS [MR]\n    0008,1150 UI\n  item\n    0008,1150 UI\n"},
        {"not what is to be deleted", "-(0010,0020) type=2\n(0010,0010) type=2\n", CT, "+ 0010,0010 []\n",
         "0008,0060 CS [CT]\n0010,0010 PN\n"},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.name);
        Conformed conformed;
        conformed.define(row.lines);
        conformed.conform(row.data);
        EXPECT_EQ(conformed.told(), row.told);
        EXPECT_EQ(conformed.tree(), row.tree);
    }
}

// ---- what the template gives ----------------------------------------------------------

TEST(Conform, GivesWhatTheTemplateGives)
{
    Bytes two = sequence(REFERENCES, BY_LENGTH,
                         {item({element(CLASS, "UI", "1.2.3.40")}), item({element(INSTANCE, "UI", "1.2.3.50")})});
    const struct { const char *name, *lines; Bytes data; std::string told; } rows[] = {
        {"forced over a value", "!(0010,0020) \"X1\"\n", element(ID, "LO", "ID 7"),
         "~ 0010,0020 [ID 7] [X1] the template forces it\n"},
        {"forced where nothing is", "!(0010,0020) \"X1\"\n", CT, "+ 0010,0020 [X1] the template forces it\n"},
        {"a default where nothing is", "=(0010,0020) \"X1\"\n", CT, "+ 0010,0020 [X1] the template's default\n"},
        {"a default for an empty value", "=(0010,0020) type=2 \"X1\"\n", element(ID, "LO", ""),
         "~ 0010,0020 [] [X1] the template's default\n"},
        {"a default beside a value", "=(0010,0020) \"X1\"\n", element(ID, "LO", "ID 7"), ""},
        {"a default beside a value left in the source", "=(0020,4000) \"none\"\n",
         element({0x0020, 0x4000}, "LT", Bytes(2000, 'x')), ""},
        {"appended", "+(0008,0008) \"SMOOTH\"\n", element({0x0008, 0x0008}, "CS", "DERIVED\\PRIMARY "),
         "~ 0008,0008 [DERIVED\\PRIMARY] [DERIVED\\PRIMARY\\SMOOTH] the template appends to it\n"},
        {"appended to a value left in the source", "+(0020,4000) \"note\"\n",
         element({0x0020, 0x4000}, "LT", Bytes(1100, 'x')), "~ 0020,4000 [" + Bytes(57, 'x') + "...] [" +
         Bytes(57, 'x') + "...] the template appends to it\n"},
        {"appended to one that has to be alone", "+(0010,0020) \"X1\"\n", element(ID, "LO", "ID 7"), ""},
        {"appended where nothing is", "+(0010,0020) \"X1\"\n", CT, "+ 0010,0020 [X1] the template appends to it\n"},
        {"appended before", "+(0008,0008) \"SMOOTH\"\n", element({0x0008, 0x0008}, "CS", "DERIVED\\PRIMARY\\SMOOTH"),
         ""},
        {"in an optional sequence that is not there", "(0008,1140) type=3\n!>(0008,1150) \"1.2.3.6\"\n", CT, ""},
        {"in each item", "(0008,1140) type=3\n!>(0008,1150) \"1.2.3.6\"\n=>(0008,1155) \"1.2.3.7\"\n", two,
         "~ 0008,1140[1]/0008,1150 [1.2.3.40] [1.2.3.6] the template forces it\n"
         "+ 0008,1140[1]/0008,1155 [1.2.3.7] the template's default\n"
         "+ 0008,1140[2]/0008,1150 [1.2.3.6] the template forces it\n"},
        {"deleted at all depths", "-(0008,1155)\n", two + element(INSTANCE, "UI", "1.2.3.60"),
         "- 0008,1140[2]/0008,1155 [1.2.3.50]\n- 0008,1155 [1.2.3.60] the template takes it out\n"},
        {"deleted where the template names it", "(0008,1140) type=3\n->(0008,1150)\n",
         two + element(CLASS, "UI", "1.2.3.60"), "- 0008,1140[1]/0008,1150 [1.2.3.40] the template takes it out\n"},
        {"deleted in a sequence that is not there", "(0008,1140) type=3\n->(0008,1150)\n", CT, ""},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.name);
        Conformed conformed;
        conformed.define(row.lines);
        conformed.conform(row.data);
        EXPECT_EQ(conformed.told(), row.told);

        // What came of it is in line: nothing is done a second time.
        Bytes bytes;
        std::string tree = conformed.tree(), error;
        ASSERT_TRUE(save_to_memory(&conformed.set, Save_Options(), &bytes, &error)) << error;
        conformed.conform(bytes);
        EXPECT_EQ(conformed.told(), "");
    }
}

// ---- dropping and leaving alone -------------------------------------------------------

TEST(Conform, DropsWhatIsEmptyAndMayBeAbsent)
{
    static const char GONE[] = " empty, and it may be absent\n";
    const struct { const char *name, *lines; Bytes data; std::string told; const char *tree; } rows[] = {
        {"of type 3, or not in the template", "(0018,0015) type=3\n",
         CT + element(ID, "LO", "") + element(PART, "CS", ""),
         std::string("- 0010,0020 []") + GONE + "- 0018,0015 []" + GONE, "0008,0060 CS [CT]\n"},
        {"an optional sequence that says nothing", "(0008,1140) type=3\n>(0008,1150) type=1\n",
         CT + sequence(REFERENCES, BY_LENGTH, {item({element(CLASS, "UI", "")})}),
         std::string("- 0008,1140 [1 item]") + GONE, "0008,0060 CS [CT]\n"},
        {"items that lose all they had keep their place", "(0008,1140) type=1\n>(0018,0015) type=3\n",
         sequence(REFERENCES, BY_LENGTH,
                  {item({element(PART, "CS", "")}), item({element(PART, "CS", "HEAD")}), item({})}),
         std::string("- 0008,1140[1]/0018,0015 []") + GONE,
         "0008,1140 SQ\n  item\n    fffe,e000 --\n  item\n    0018,0015 CS [HEAD]\n  item\n    fffe,e000 --\n"},
        {"a conditional sequence keeps what its items must hold", "(0008,1140) type=2C\n>(0008,1150) type=2\n",
         sequence(REFERENCES, BY_LENGTH, {item({element(CLASS, "UI", ""), element(PART, "CS", "HEAD")})}), "",
         "0008,1140 SQ\n  item\n    0008,1150 UI\n    0018,0015 CS [HEAD]\n"},
        {"one that says nothing has no items", "(0008,1140) type=2C\n>(0008,1150) type=2\n",
         sequence(REFERENCES, BY_LENGTH, {item({element(CLASS, "UI", "")})}), "~ 0008,1140 [1 item] []\n",
         "0008,1140 SQ\n"},
        {"private attributes stay", "(0010,0020) type=2\n",
         element(ID, "LO", "A1") + element({0x0011, 0x0010}, "LO", "OWN ") + element({0x0011, 0x1001}, "LO", ""), "",
         "0010,0020 LO [A1]\n0011,0010 LO [OWN ]\n0011,1001 LO\n"},
        {"what stands in a sequence of which the template says nothing stays", "(0010,0020) type=2\n",
         element(ID, "LO", "A1") +
             sequence({0x0040, 0x0275}, BY_LENGTH, {item({element(ID, "LO", "B "), element(PART, "CS", "")})}),
         "", "0010,0020 LO [A1]\n0040,0275 SQ\n  item\n    0010,0020 LO [B ]\n    0018,0015 CS\n"},
        {"what belongs to the old stream", "(0010,0020) type=2\n", element({0x0008, 0x0000}, "UL", number_32(12)) +
         element({0x0008, 0x0001}, "UL", number_32(99)) + element(ID, "LO", "A1"),
         "- 0008,0001 [99] retired, and it would be wrong\n", "0010,0020 LO [A1]\n"},
        {"what stands there twice", "(0010,0020) type=2\n",
         element(ID, "LO", "") + element(ID, "LO", "A1") + element(ID, "LO", "B1"),
         "- 0010,0020 [] it stands there twice\n- 0010,0020 [B1] it stands there twice\n", "0010,0020 LO [A1]\n"},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.name);
        Conformed conformed;
        conformed.define(row.lines);
        conformed.conform(row.data);
        EXPECT_EQ(conformed.told(), row.told);
        EXPECT_EQ(conformed.tree(), row.tree);
    }
}

// An offset table without entries is empty, and an item of it looks like an attribute that may be absent.
TEST(Conform, BringsALongDataSetIntoItsOrder)
{
    static const int COUNT = 6000, STEP = 2711;   // which have no factor in common
    std::vector<Bytes> elements;
    for (int i = 0; i < COUNT; i++) {
        Tag tag = {static_cast<unsigned short>(0x0009 + i / 100 * 2), static_cast<unsigned short>(0x1000 + i % 100)};
        Bytes inside = element(INSTANCE, "UI", "1.2." + std::to_string(10000 + i) + Bytes(1, '\0'));
        elements.push_back(i % 50 == 7 ? sequence(tag, BY_DELIMITER, {item({inside}, BY_DELIMITER)})
                                       : element(tag, "LO", "value " + std::to_string(1000 + i % 1000 * 2)));
    }
    Bytes sorted = CT, shuffled;
    for (int i = 0; i < COUNT; i++) {
        sorted += elements[static_cast<size_t>(i)];
        shuffled += elements[static_cast<size_t>(i) * STEP % COUNT];
    }
    shuffled += CT;
    Conformed one;
    std::string error;
    Bytes of_sorted, of_shuffled;
    one.define("(0008,0060) type=1\n");
    one.conform(sorted);
    EXPECT_EQ(one.told(), "");
    ASSERT_TRUE(save_to_memory(&one.set, Save_Options(), &of_sorted, &error)) << error;
    one.conform(shuffled);
    EXPECT_EQ(one.told(), "");
    ASSERT_TRUE(save_to_memory(&one.set, Save_Options(), &of_shuffled, &error)) << error;
    EXPECT_TRUE(of_sorted == of_shuffled);
    EXPECT_NE(of_sorted.find(sorted), Bytes::npos);
}

TEST(Conform, LosesNoPixelDataAndNothingBelowTheNinthLevel)
{
    auto nested = [](Bytes inside) {
        for (int i = 0; i < 12; i++)
            inside = sequence({0x7FE1, 0x1001}, BY_DELIMITER, {item({inside}, BY_DELIMITER)});
        return inside;
    };
    Bytes fragments = number_16(0xFFFE) + number_16(0xE000) + number_32(0) + number_16(0xFFFE) + number_16(0xE000) +
                      number_32(6) + "ABCDEF" + delimiter(ELEMENT_SEQUENCE_END);
    const struct { const char *name; Bytes pixels; } rows[] = {
        {"encapsulated", element(PIXELS, "OB", fragments, SYNTAX_EXPLICIT, 0xFFFFFFFF)},
        {"native, fetched", element(PIXELS, "OW", Bytes(300000, 'p'))},
        {"native, left in the source", element(PIXELS, "OW", Bytes(1200000, 'p'))},
        {"a sequence below the ninth level", nested(element(ID, "LO", "A1"))},
        {"a long one", nested(element(ID, "LO", Bytes(2000, 'x')))},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.name);
        for (const char *lines :
             {"(0010,0020) type=2\n", "(7FE0,0010) type=1C VR=OB\n", "(7FE0,0010) type=3 VR=OB\n"}) {
            Conformed conformed;
            conformed.define(lines);
            conformed.conform(element(ID, "LO", "A1") + row.pixels);
            EXPECT_EQ(conformed.told(), "");
            Bytes bytes;
            std::string error;
            ASSERT_TRUE(save_to_memory(&conformed.set, Save_Options(), &bytes, &error)) << error;
            EXPECT_EQ(bytes.substr(bytes.size() - row.pixels.size()), row.pixels);
        }
    }
}

// ---- the template ---------------------------------------------------------------------

// All data sets share it: looking for their sequences in there leaves nothing behind.
TEST(Conform, LeavesTheTemplateAsItWasRead)
{
    Conformed conformed;
    conformed.define("!(0008,0008) \"A\"\n(0008,1140) type=3\n>(0008,1150) type=2\n=>(0008,1155) \"1.2.3.7\"\n"
                     "(0008,2112) type=2\n-(0010,0020)\n(7FE0,0010) type=1 VR=OB\n");
    std::string error;
    DICOM_List *tmplt = read_template("T", &error);
    std::string before = full_outline(tmplt);
    Bytes inner = sequence({0x0040, 0xA730}, BY_LENGTH, {item({element(PART, "CS", "HEAD")})});
    conformed.conform(sequence(REFERENCES, BY_LENGTH, {item({inner}), item({inner})}) +
        sequence({0x0008, 0x2112}, BY_LENGTH, {item({inner})}) + inner +
        element(PIXELS, "OB", number_16(0xFFFE) + number_16(0xE000) + number_32(2) + "AB" +
        delimiter(ELEMENT_SEQUENCE_END), SYNTAX_EXPLICIT, 0xFFFFFFFF));
    EXPECT_EQ(conformed.error, "");
    EXPECT_EQ(read_template("T", &error), tmplt);
    EXPECT_EQ(full_outline(tmplt), before);
}

TEST(Conform, FindsTheTemplateOfADataSet)
{
    Bytes ct_class = element({0x0008, 0x0016}, "UI", Bytes("1.2.840.10008.5.1.4.1.1.2\0", 26));
    Bytes head_class =
        part10_head("1.2.840.10008.1.2.1") + element({0x0002, 0x0002}, "UI", Bytes("1.2.840.10008.5.1.4.1.1.4\0", 26));
    const struct { const char *name; Bytes data; const char *module; bool is_fallback; } rows[] = {
        {"by its SOP class", ct_class + element(MODALITY, "CS", "MR"), "CT_Image", false},
        {"by the head", head_class + CT, "MR_Image", false},
        {"by a SOP class rather than the head", head_class + ct_class, "CT_Image", false},
        {"by the head, where the SOP class is none", head_class + element({0x0008, 0x0016}, "UI", "none"), "MR_Image",
         false},
        {"by its modality", CT, "CT_Image", false},
        {"by modality and frames", CT + element({0x0028, 0x0008}, "IS", "12"), "Enhanced_CT_Image", false},
        {"by a SOP class that has none", element({0x0008, 0x0016}, "UI", "1.2.3.40") + CT, "OT_Image", true},
        {"by a modality that has none", element(MODALITY, "CS", "ZZ"), "OT_Image", true},
        {"by nothing", element(ID, "LO", "A1"), "OT_Image", true},
    };
    Conformed conformed;
    for (const char *module : {"CT_Image", "MR_Image", "Enhanced_CT_Image", "OT_Image"})
        conformed.folder.write(std::string("DICOM_Module_") + module + ".txt", "T\n");
    conformed.define("(0010,0020) type=2\n");
    conformed.options.module = "";
    for (const auto &row : rows) {
        SCOPED_TRACE(row.name);
        conformed.conform(row.data);
        EXPECT_EQ(conformed.error, "");
        EXPECT_EQ(conformed.result.module, row.module);
        EXPECT_EQ(conformed.result.is_fallback, row.is_fallback);
    }
}

// Nothing is known to be optional in a data set of an unknown kind.
TEST(Conform, DropsNothingByTheFallback)
{
    Conformed conformed;
    conformed.folder.write("DICOM_Module_OT_Image.txt", "T\n");
    conformed.define("(0010,0020) type=2\n(0018,0015) type=3\n(0020,0020) type=2C\n");
    conformed.options.module = "";
    conformed.conform(element(NAME, "PN", "") + element(PART, "CS", ""));
    EXPECT_EQ(conformed.told(), "+ 0010,0020 []\n");
}

TEST(Conform, SaysWhenThereIsNoTemplate)
{
    Conformed conformed;
    conformed.define("(0010,0020) type=2\n");
    conformed.options.module = "Absent";
    conformed.conform(CT);
    EXPECT_EQ(conformed.error, "there is no template Absent in " + conformed.folder.path + "/");
    EXPECT_EQ(conformed.tree(), "0008,0060 CS [CT]\n");
}

// ---- lacks ----------------------------------------------------------------------------

TEST(Conform, ReportsLacksInTheWordsOfTheLibrary)
{
    Conformed conformed;
    conformed.options.report_lacks = true;
    conformed.define("(0008,0060) type=1\n(0008,1140) type=1\n>(0008,1150) type=1\n(0010,0020) type=1\n");
    conformed.conform(element(MODALITY, "CS", "") + sequence(REFERENCES, BY_LENGTH, {item({}), item({})}));
    EXPECT_EQ(conformed.said.warnings(), "    \xF1\x05WARNING:\x02 Empty required value for type 1 tag: "
                                         "(\x01"
                                         "0008\x02,\x01"
                                         "0060\x02) \x01\"Modality\"\n"
                                         "    \xF1\x05WARNING:\x02 Missing required value for type 1 tag: "
                                         "(\x01"
                                         "0010\x02,\x01"
                                         "0020\x02) \x01\"Patient ID\"\n"
                                         "    \xF1\x05WARNING:\x02 Missing required value for type 1 tag: "
                                         "(\x01"
                                         "0008\x02,\x01"
                                         "1150\x02) \x01\"Referenced SOP Class UID\"\n"
                                         "    \xF1\x05WARNING:\x02 Missing required value for type 1 tag: (\x01"
                                         "0008\x02,\x01" "1150\x02) \x01\"Referenced SOP Class UID\"\n");
}

// ---- memory ---------------------------------------------------------------------------

TEST(Conform, LeavesATreeThatCanBeReleasedWithoutMemory)
{
    Bytes data = element({0x0008, 0x0020}, "DA", "2004.01.19") +
                 sequence(REFERENCES, BY_LENGTH, {item({element(PART, "CS", "")}), item({})}) +
                 element(ID, "LO", "A1") + element({0x0020, 0x4000}, "LT", Bytes(2000, 'x'));
    Conformed conformed;
    conformed.define("=(0008,0008) \"A\"\n(0008,0016) type=1\n(0008,0018) type=1\n(0008,1140) type=1\n"
                     ">(0008,1150) type=2\n!>(0018,0015) \"HEAD\"\n(0010,0010) type=2\n+(0010,0020) \"X1\"\n"
                     "-(0020,4000)\n");
    std::string error;
    ASSERT_NE(read_template("T", &error), nullptr);
    refuse_each_allocation([&](int) { conformed.conform(data); });
    EXPECT_NE(conformed.said.failures(), "");
}
