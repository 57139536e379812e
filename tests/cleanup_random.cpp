// What holds for every value, tried on random ones: the quick look says what the stages would do, a second cleanup
// finds nothing to change, and the check changes nothing.
#include "tests/cleanup_values.h"

#include <map>
#include <random>

#include "dictionary/vr_rules_internal.h"

static const char *const TEXT_VRS[] = {"AE", "AS", "CS", "DA", "DS", "DT", "IS", "LO", "LT", "PN", "SH", "ST", "TM",
                                       "UI", "UT"};
static const int TRIES = 4000;

// Values that are mostly sound, in an alphabet that is rich in what the rules look at.
struct Random_Values {
    explicit Random_Values(const char *vr)
    {
        if (strchr("CLPSU", vr[0]) != nullptr && strcmp(vr, "UI") != 0)
            alphabet += "ABCDE";
        if (strcmp(vr, "AS") == 0)
            alphabet += "YMWD";
        if (strcmp(vr, "DA") != 0 && strcmp(vr, "IS") != 0 && strcmp(vr, "AS") != 0)
            alphabet += "..";
    }

    Bytes next()
    {
        static const int SIZES[] = {2, 4, 6, 8, 10, 12, 16, 20, 30, 66, 130, 1026};
        int size = below(4) == 0 ? below(24) : SIZES[below(6 + below(7))] - below(3);
        Bytes value;
        while (static_cast<int>(value.size()) < size)
            value += below(oddness) == 0 ? odd() : alphabet[engine() % alphabet.size()];
        for (int pads = below(3) * below(2); pads > 0; pads--)
            value += "  \0"[below(3)];
        oddness = 3 + below(40);
        return value;
    }

    int below(int limit) { return static_cast<int>(engine() % static_cast<unsigned int>(limit)); }
    char odd() { return "\\\\\\  .:-+\0xa\n\xE4"[below(14)]; }

    std::string alphabet = "0123456789";
    std::mt19937 engine{20210602};
    int oddness = 10;
};

// Runs work on random values of each VR of text, some of them of private attributes; it ends with the first failure.
template <class Work>
static void try_random_values(Work work)
{
    for (const char *vr : TEXT_VRS) {
        Random_Values values(vr);
        for (int i = 0; i < TRIES && !testing::Test::HasFailure(); i++) {
            Value value(vr, values.next(), i % 4 == 0 ? 0x0009 : 0x0008);
            SCOPED_TRACE(value.name());
            work(value);
        }
    }
}

/* ---- the quick look ------------------------------------------------------------------ */

// A value for the stages of the check has a zero byte behind it.
static void add_terminator(DICOM_List *tag)
{
    tag->data = static_cast<char *>(realloc(tag->data, static_cast<size_t>(tag->size) + 1));
    tag->data[tag->size] = '\0';
}

static void compare_quick_with_full(const Twin *twin, const Value &value, int count, const Reports &quick_said)
{
    Value other(std::string{first_letter(value.tag.vr_explicit), second_letter(value.tag.vr_explicit)}, value.bytes(),
                value.tag.group);
    if (!twin->repairs)
        add_terminator(&other.tag);
    Reports said(15);
    const VR_Rule *rule = find_rule(value.tag.vr_explicit);
    Pass pass = pass_over(twin, nullptr, &other.tag);
    EXPECT_EQ(rule->full(&pass, &other.tag, rule), count);
    EXPECT_EQ(said.all, quick_said.all);
    EXPECT_EQ(other.tag.flag, value.tag.flag);
    if (twin->repairs) {
        EXPECT_EQ(other.bytes(), value.bytes());
    }
}

TEST(QuickLook, SaysWhatTheStagesWouldDo)
{
    std::map<unsigned short, int> settled;
    try_random_values([&](Value &value) {
        const VR_Rule *rule = find_rule(value.tag.vr_explicit);
        for (const Twin *twin : {&cleanup_twin, &syntax_twin}) {
            Reports said(15);
            Pass pass = pass_over(twin, nullptr, &value.tag);
            int count = rule->quick(&pass, &value.tag, rule);
            settled[value.tag.vr_explicit] += count > 0;
            if (count > 0)
                compare_quick_with_full(twin, value, count, said);
            else
                EXPECT_TRUE(said.all.empty());
        }
    });
    EXPECT_EQ(settled.size(), sizeof TEXT_VRS / sizeof TEXT_VRS[0]);
    for (auto [vr, count] : settled)
        EXPECT_GT(count, TRIES / 50) << first_letter(vr) << second_letter(vr) << ": too few sound values for a test";
}

TEST(QuickLook, SettlesSoundValuesWithoutTheHeap)
{
    const struct { const char *vr; Bytes value; } sound[] = {
        {"AE", "STORE_SCP "}, {"AS", "012Y"}, {"CS", "ORIGINAL\\PRIMARY"}, {"DA", "20210602"}, {"DS", "0.5\\-1.25e3 "},
        {"DT", "20210602093015.25 "}, {"IS", "-123\\2147483647 "}, {"LO", "two words\\x "}, {"LT", " a\\b\r\n"},
        {"PN", "Doe^Joe "}, {"SH", "A1"}, {"ST", "text"}, {"TM", "093015.25 "}, {"UI", Bytes("1.2.840\0", 8)},
        {"UI", "1.2.84"}, {"UT", Bytes(100000, 'u')}, {"US", "1234"}, {"OW", Bytes(100000, 'w')}, {"OB", "x"},
        {"UN", "y"}, {"FD", Bytes(16, 'd')}, {"AT", "12341234"},
    };
    for (const auto &each : sound) {
        Value value(each.vr, each.value);
        const char *block = value.tag.data;
        Reports said;
        Refuse count_only(0);
        EXPECT_EQ(DICOM_Attribute_Cleanup_Tag(nullptr, &value.tag), 1) << value.name();
        EXPECT_EQ(DICOM_Attribute_Syntax_Tag(nullptr, &value.tag), 1) << value.name();
        EXPECT_EQ(Refuse::asked(), 0) << value.name();
        EXPECT_EQ(value.tag.data, block) << value.name();
        EXPECT_EQ(value.bytes(), each.value) << value.name();
        EXPECT_EQ(said_of(said, value.tag), "") << value.name();
    }
    Reports said;
    Value odd("OW", Bytes(1001, 'w'));
    Refuse count_only(0);
    EXPECT_EQ(DICOM_Attribute_Syntax_Tag(nullptr, &odd.tag), 0);
    EXPECT_EQ(Refuse::asked(), 0) << "a value of numbers is not copied to look at its length";
}

/* ---- the check ----------------------------------------------------------------------- */

TEST(CheckOfRandomValues, ChangesNothingAndMissesNothing)
{
    try_random_values([](Value &value) {
        const Bytes bytes = value.bytes();
        const char *block = value.tag.data;
        Reports said;
        int passed = DICOM_Attribute_Syntax_Tag(nullptr, &value.tag);
        EXPECT_EQ(value.tag.data, block);
        EXPECT_EQ(value.bytes(), bytes);
        EXPECT_EQ(value.tag.flag, ORIGIN_DICOM);
        if (!passed || !said.all.empty())
            return;
        EXPECT_EQ(DICOM_Attribute_Cleanup_Tag(nullptr, &value.tag), 1);
        EXPECT_EQ(value.tag.flag, ORIGIN_DICOM);
        EXPECT_EQ(said_of(said, value.tag), "");
    });
}
