// The driver of cleanup: the byte swap, the walk, the prefixes and the number of values.
#include "tests/cleanup_values.h"

#include <memory>

TEST(CleanupSwab, ReversesTheUnitsOfTheVr)
{
    struct { const char *vr; Bytes value, swapped; int result; } cases[] = {
        {"FD", "12345678abcdefgh", "87654321hgfedcba", 1}, {"FD", "12345678abcd", "12345678abcd", 0},
        {"FL", "1234abcd", "4321dcba", 1}, {"OF", "12345", "12345", 0}, {"SL", "1234", "4321", 1},
        {"UL", "1234", "4321", 1}, {"UL", "12", "12", 0}, {"OW", "1234", "2143", 1}, {"SS", "12", "21", 1},
        {"US", "12345", "21435", 1},   // the odd byte stays
        {"US", "1", "1", 1}, {"AT", "1234", "1234", 1}, {"LO", "1234", "1234", 1}, {"", "1234", "1234", 1},
    };
    for (const auto &each : cases) {
        Value value(each.vr, each.value);
        value.tag.syntax = SYNTAX_EXPLICIT | SYNTAX_BIG_ENDIAN;
        EXPECT_EQ(DICOM_Attribute_Cleanup_Swab(nullptr, &value.tag), each.result) << value.name();
        EXPECT_EQ(value.bytes(), each.swapped) << each.vr;
        EXPECT_EQ(value.tag.syntax, SYNTAX_EXPLICIT) << each.vr;

        Value little(each.vr, each.value);
        EXPECT_EQ(DICOM_Attribute_Cleanup_Swab(nullptr, &little.tag), 1);
        EXPECT_EQ(little.bytes(), each.value) << "in little-endian order already";
    }
}

TEST(CleanupSwab, GoesByTheWorkingVrAndNeedsAValue)
{
    Value value("", "1234");
    value.tag.vr = VR_UL;
    DICOM_List unread = {};
    unread.vr = VR_OW;
    unread.size = 2000;
    for (DICOM_List *tag : {&value.tag, &unread}) {
        tag->syntax = SYNTAX_BIG_ENDIAN;
        EXPECT_EQ(DICOM_Attribute_Cleanup_Swab(nullptr, tag), 1);
    }
    EXPECT_EQ(value.bytes(), "4321");
    EXPECT_EQ(unread.syntax, SYNTAX_BIG_ENDIAN) << "the value is swapped when it has been read";
    EXPECT_EQ(DICOM_Attribute_Cleanup_Tag(nullptr, &unread), 1);
    EXPECT_EQ(unread.size, 2000);
}

TEST(Cleanup, StandsValuesWhoseSizeIsNoLength)
{
    static const char VRS[] = "AEASATCSDADSDTFDFLISLOLTOBOFOWPNSHSLSQSSSTTMUIULUNUSUT";
    for (const char *vr = VRS; *vr != '\0'; vr += 2)
        for (int size : {0, -1, INT32_MIN}) {
            Reports said;
            for (auto operation : {DICOM_Attribute_Cleanup, DICOM_Attribute_Syntax}) {
                Value value(std::string(vr, 2), "");
                value.tag.size = size;
                value.tag.syntax = SYNTAX_BIG_ENDIAN;
                DICOM_Root root = {};
                EXPECT_EQ(operation(nullptr, &root, &value.tag), 1) << std::string(vr, 2) << size;
            }
        }
}

TEST(CleanupCount, IsThatOfTheFirstAlternateOfTheRow)
{
    struct { int type, minimum, maximum, count, result; const char *said; } cases[] = {
        {1, 2, 2, 2, 1, ""}, {1, 2, 2, 3, 0, "W Invalid number of values in data!, Expecting VN=2 but got 3 values\n"},
        {2, 2, 3, 1, 0, "W Not enough values in data! Expecting VN=2-3 but got 1 values\n"},
        {1, 3, -1, 2, 0, "W Not enough values in data! Expecting VN=3-n but got 2 values\n"},
        {1, 1, 3, 4, 0, "W To many values in data! Expecting VN=1-3 but got 4 values\n"}, {1, 1, 3, 3, 1, ""},
        {1, 1, -1, 5000, 1, ""}, {3, 1, -1, 1, 1, ""},
        {-1, 2, 2, 1, 1, ""},   // retired
        {0, -1, 0, 1, 1, ""},   // no VR
    };
    for (const auto &each : cases) {
        Row row(each.type, each.minimum, each.maximum);
        Value value("US", "ab");
        value.tag.db = &row;
        Reports said;
        EXPECT_EQ(DICOM_Tag_Cleanup_VN(nullptr, &value.tag, each.count), each.result) << each.said;
        EXPECT_EQ(said_of(said, value.tag), each.said);
        EXPECT_EQ(value.tag.flag, ORIGIN_DICOM | (each.result == 1 ? 0 : FLAG_INVALID)) << each.said;
        EXPECT_EQ(value.bytes(), "ab");

        value.tag.flag = ORIGIN_DICOM;
        EXPECT_EQ(DICOM_Tag_Syntax_VN(nullptr, &value.tag, each.count), each.result);
        EXPECT_EQ(said_of(said, value.tag), std::string(each.said) + each.said);
        EXPECT_EQ(value.tag.flag, ORIGIN_DICOM);
    }
}

/* ---- the walk ---------------------------------------------------------------------- */

// A sequence with an item for each chain; a null chain is an empty slot.
struct Sequence : Value {
    explicit Sequence(std::vector<DICOM_List *> chains) : Value("SQ", ""), slots(chains)
    {
        free(tag.data);
        tag.data = nullptr;
        tag.element = 0x1140;
        tag.item = slots.data();
        tag.nb_item = static_cast<int>(slots.size());
    }
    std::vector<DICOM_List *> slots;
};

TEST(Cleanup, WalksTheItemsUpToTheFirstEmptySlot)
{
    Value first("LO", "a "), inner("US", "12"), second("SH", "  "), behind("SH", "  "), last("CS", "x");
    Sequence nested({&inner.tag}), outer({&first.tag, &second.tag, nullptr, &behind.tag});
    first.tag.next = &nested.tag;
    outer.tag.next = &last.tag;
    inner.tag.syntax = SYNTAX_BIG_ENDIAN;
    Reports said;
    DICOM_Root root = {};
    EXPECT_EQ(DICOM_Attribute_Cleanup(nullptr, &root, &outer.tag), 1);
    EXPECT_EQ(inner.bytes(), "21");
    EXPECT_EQ(second.tag.data, nullptr);
    EXPECT_NE(behind.tag.data, nullptr);
    EXPECT_EQ(last.tag.data, nullptr);
    EXPECT_EQ(root.Sequence_Depth, 0);
    EXPECT_EQ(DICOM_Attribute_Cleanup(nullptr, &root, nullptr), 1);
}

TEST(Cleanup, TracesEachStepAndMovesTheCursorAtTheLevelOfTraces)
{
    Value inner("IS", "12"), text("ST", "ab");
    inner.tag.next = &text.tag;
    Sequence outer({&inner.tag});
    DICOM_Root root = {};
    Reports said(15);
    DICOM_Attribute_Cleanup(nullptr, &root, &outer.tag);
    std::string steps;
    for (const Report &report : said.all)
        if (report.text.starts_with("in "))
            steps += std::to_string(report.level) + " " + report.text + "\n";
    EXPECT_EQ(steps, "15 in DICOM_Attribute_Cleanup_Swab(0008,1140)\n15 in DICOM_Attribute_Cleanup_Tag(0008,1140)\n"
                     "15 in DICOM_Attribute_Sequence_Start(0008,1140)\n15 in DICOM_Attribute_Item_Start()\n"
                     "15 in DICOM_Attribute_Cleanup_Swab(0008,1234)\n15 in DICOM_Attribute_Cleanup_Tag(0008,1234)\n"
                     "15 in DICOM_Tag_Cleanup_Valid_Int(0008,1234)\n15 in DICOM_Tag_Cleanup_Text_Multiple(0008,1234)\n"
                     "15 in DICOM_Attribute_Cleanup_Swab(0008,1234)\n15 in DICOM_Attribute_Cleanup_Tag(0008,1234)\n"
                     "11 in DICOM_Tag_Cleanup_Text_Single(0008,1234)\n15 in DICOM_Attribute_Item_Stop()\n"
                     "15 in DICOM_Attribute_Sequence_Stop()\n");
    for (const Report &report : said.all)
        EXPECT_TRUE(report.level == 15 || report.level == 11) << report.text;
}

TEST(Cleanup, EndsInATreeThatIsNestedTooDeep)
{
    Value leaf("LO", "leaf");
    std::vector<std::unique_ptr<Sequence>> levels;
    DICOM_List *inside = &leaf.tag;
    for (int i = 0; i < 100000; i++) {
        levels.push_back(std::make_unique<Sequence>(std::vector<DICOM_List *>{inside}));
        inside = &levels.back()->tag;
    }
    Reports said(1);
    DICOM_Root root = {};
    EXPECT_EQ(DICOM_Attribute_Cleanup(nullptr, &root, inside), 1);
    EXPECT_EQ(DICOM_Attribute_Syntax(nullptr, &root, inside), 1);
    EXPECT_GE(root.Sequence_Depth, 0);
}
