// Streams that fuzzing found: what stands in them is not lost, and stays where it belongs, on the way through a file.
#include <gtest/gtest.h>
#include <random>

#include "tests/host_saved.h"

using namespace velmora_host;

static const Tag REFERENCES = {0x0008, 0x1140}, CLASS = {0x0008, 0x1150}, UNKNOWN = {0x0029, 0x1001},
                 CONTENT = {0x0040, 0xA730}, TEXT = {0x0040, 0xA160}, NAMES = {0x0040, 0x1010};
static const int IMPLICIT = SYNTAX_IMPLICIT;

// A sequence at this depth, in sequences of one item each.
static Bytes nested(int depth, const Bytes &core, int syntax)
{
    return depth == 0 ? core : sequence(CONTENT, BY_LENGTH, {item({nested(depth - 1, core, syntax)}, BY_LENGTH, syntax)},
                                        syntax);
}

TEST(HostHostile, KeepsAValueWithoutAVRInFrontOfAnItem)
{
    const Bytes odd("\1\2\3\4\5\6", 6), uid = element(CLASS, "UI", "1.2.3.40", IMPLICIT);
    for (int depth : {0, 8}) {
        SCOPED_TRACE(depth);
        Bytes two = sequence(REFERENCES, BY_LENGTH,
                             {item({uid, element(UNKNOWN, "", odd, IMPLICIT)}, BY_LENGTH, IMPLICIT),
                              item({uid}, BY_LENGTH, IMPLICIT)},
                             IMPLICIT);
        Bytes stream = element({0x0008, 0x0060}, "CS", "CT", IMPLICIT) + nested(depth, two, IMPLICIT) +
                       element({0x0040, 0xDB00}, "CS", "1234", IMPLICIT);
        Loaded loaded(stream, MODE_IMPLICIT_LITTLE);
        EXPECT_NE(loaded.tree().find("0029,1001 UN [" + odd + "]"), std::string::npos) << loaded.tree();
        Save_Options options;
        options.defined_lengths = true;
        EXPECT_EQ(save(stream, MODE_IMPLICIT_LITTLE, options).body, stream);
    }
}

TEST(HostHostile, KeepsAnElementWithoutAnItemApartFromWhatStandsBehindIt)
{
    // The inner one ends with what it stands in: without an item, and without a delimiter of its own.
    Bytes cut = element(CONTENT, "SQ", "", SYNTAX_EXPLICIT, 0xFFFFFFFF), text = element({0x0040, 0xDB00}, "CS", "12");
    const struct { const char *name; Bytes behind, shown; } rows[] = {
        {"what ends here", {}, ""}, {"an element", text, "0040,db00 CS [12]\n"},
    };
    for (const auto &row : rows) {
        for (int depth : {0, 6, 7}) {   // the inner one is the third, ninth and tenth sequence
            SCOPED_TRACE(testing::Message() << row.name << ", " << depth);
            Bytes open = element(CONTENT, "SQ", item({cut, row.behind}, BY_DELIMITER), SYNTAX_EXPLICIT, 0xFFFFFFFF);
            open.resize(open.size() - 8);   // the delimiter of the item
            Bytes two = sequence(CONTENT, BY_LENGTH, {item({open}), item({element(CLASS, "UI", "1.2.3.40")})});
            Bytes stream = element({0x0008, 0x0060}, "CS", "CT") + nested(depth, two, SYNTAX_EXPLICIT) +
                           element({0x0040, 0xDB00}, "CS", "1234");
            std::string expected = "0008,0060 CS [CT]\n", margin;
            for (int i = 0; i < depth; i++, margin += "  ")
                expected += margin + "0040,a730 SQ\n" + margin + " item\n";
            expected += margin + "0040,a730 SQ\n" + margin + " item\n" + margin + "  0040,a730 SQ\n" + margin +
                        "   item\n" + margin + "    0040,a730 SQ -1\n" +
                        (row.shown[0] != 0 ? margin + "    " + row.shown : "") + margin + " item\n" + margin +
                        "  0008,1150 UI [1.2.3.40]\n";
            Loaded loaded(stream, MODE_EXPLICIT_LITTLE);
            EXPECT_EQ(loaded.tree(), expected + "0040,db00 CS [1234]\n");
        }
    }
}

TEST(HostHostile, WritesADamagedSequenceBelowTheNinthLevelAnew)
{
    const Bytes behind = element({0x0040, 0xDB00}, "CS", "1234");
    const Bytes stray = item({element(TEXT, "UT", "text")}) + delimiter(ELEMENT_SEQUENCE_END) +
                        item({element(TEXT, "UT", "more")});
    const struct { const char *name; Bytes inside, kept; } rows[] = {
        {"a header that is cut", item({element(TEXT, "UT", "text")}) + Bytes("\xFE\xFF\x00\xE0", 4), "text"},
        {"a delimiter in the middle", stray, "more"}, {"no items", element(TEXT, "UT", "text"), "text"},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.name);
        Bytes tenth = element(CONTENT, "SQ", row.inside);
        Saved saved = save_as(element({0x0008, 0x0060}, "CS", "CT") + nested(9, tenth, SYNTAX_EXPLICIT) + behind,
                              MODE_EXPLICIT_LITTLE, MODE_EXPLICIT_LITTLE);
        ASSERT_TRUE(saved.done) << saved.error;
        EXPECT_NE(saved.body.find(row.kept), Bytes::npos);
        Loaded back(saved.bytes);
        EXPECT_EQ(back.set.damages, 0) << back.warnings();
        EXPECT_EQ(saved.body.substr(saved.body.size() - behind.size()), behind);
    }
}

TEST(HostHostile, WritesItemsOfAnotherVRSoThatTheyAreFoundAgain)
{
    // Items by their length under a tag that is PN to the dictionary are bytes to a reader of implicit VR.
    Bytes stream = element({0x0008, 0x0060}, "CS", "CT", IMPLICIT) +
                   element(NAMES, "", item({element(TEXT, "", "text", IMPLICIT)}, BY_LENGTH, IMPLICIT) +
                                          delimiter(ELEMENT_SEQUENCE_END, IMPLICIT), IMPLICIT, 0xFFFFFFFF);
    Save_Options options;
    options.defined_lengths = true;
    EXPECT_EQ(save(stream, MODE_IMPLICIT_LITTLE, options).body, stream);
}

TEST(HostHostile, KeepsAValueAndASequenceOfOneTagApart)
{
    const Bytes value = element(NAMES, "LO", "value"), long_value = element(NAMES, "UN", Bytes(2000, 'v')),
                empty = element(NAMES, "LO", ""), uid = element(CLASS, "UI", "1.2.3.40");
    const Bytes one = sequence(NAMES, BY_DELIMITER, {item({uid}, BY_DELIMITER), item({}, BY_DELIMITER)});
    const Bytes other = element(TEXT, "UT", "text");
    const struct {
        const char *name;
        Bytes stream;
    } rows[] = {
        {"a value first",                    value + one},
        {"a value that is left in the file", long_value + one},
        {"none",                             empty + one},
        {"a sequence first",                 one + value},
        {"on both sides",                    value + one + long_value},
        {"several tags",                     value + one + other + sequence(TEXT, BY_DELIMITER, {item({uid}, BY_DELIMITER)})},
        {"in an item",                       sequence(CONTENT, BY_DELIMITER, {item({value + one}, BY_DELIMITER)})},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.name);
        Bytes stream = element({0x0008, 0x0060}, "CS", "CT") + row.stream;
        Saved saved = save_as(stream, MODE_EXPLICIT_LITTLE, MODE_EXPLICIT_LITTLE);
        EXPECT_EQ(saved.body, stream);
        EXPECT_EQ(saved.warnings, "");
    }
    // Where another element stands between them, they come together when the tree is sorted.
    Saved saved = save_as(element({0x0008, 0x0060}, "CS", "CT") + other + value + other + one, MODE_EXPLICIT_LITTLE,
                          MODE_EXPLICIT_LITTLE);
    EXPECT_EQ(saved.body, element({0x0008, 0x0060}, "CS", "CT") + value + one + other + other);
}

TEST(HostHostile, WritesAnOddHeadSoThatItIsReadTheSame)
{
    const Tag odd = {0x0002, 0x0102};
    const Bytes later = element(odd, "OD", ""), no_items = element(odd, "SQ", "\xFE"),
                items = sequence(odd, BY_LENGTH, {item({}), item({element(TEXT, "UT", "text")})}),
                open = element(odd, "SQ", delimiter(ELEMENT_SEQUENCE_END), SYNTAX_EXPLICIT, 0xFFFFFFFF);
    const struct {
        const char *name;
        Bytes in_head, kept;
    } rows[] = {
        {"a later VR without a value",  later,    element(odd, "UN", "")},
        {"a sequence without items",    no_items, element(odd, "UN", "\xFE")},
        {"items, one of them empty",    items,    items},
        {"none, of undefined length",   open,     open},
    };
    for (const auto &row : rows) {
        for (int mode : {0, 8, 9}) {
            SCOPED_TRACE(testing::Message() << row.name << " in front of encoding " << mode);
            const Bytes data = element({0x0008, 0x0060}, "CS", "CT", mode);
            Save_Options options;
            options.defined_lengths = row.kept == items;
            Saved saved = save(row.in_head + data, static_cast<unsigned char>(mode), options);
            ASSERT_TRUE(saved.done) << saved.error;
            EXPECT_NE(saved.bytes.find(row.kept + data), Bytes::npos);
            Loaded back(saved.bytes);
            EXPECT_EQ(back.set.damages, 0) << back.warnings();
            EXPECT_NE(back.tree().find("0008,0060 CS [CT]"), std::string::npos) << back.tree();
        }
    }
}

TEST(HostHostile, TakesNoUnreadableItemsForFragments)
{
    const Bytes inner = Bytes("\xFE\xFF\0\xE0\xFF\xFF\xFF\xFF\xFE", 9);
    const struct {
        const char *name;
        Bytes stream;
        unsigned char from;
    } rows[] = {
        {"items of a short VR", element({0x0008, 0x0050}, "", item({"\xFF"}, BY_LENGTH, IMPLICIT) +
                                        delimiter(ELEMENT_SEQUENCE_END, IMPLICIT), IMPLICIT, 0xFFFFFFFF), IMPLICIT},
        {"an item in an item",  element({0x0008, 0x0051}, "UN", item({inner}), SYNTAX_EXPLICIT, 0xFFFFFFFF), SYNTAX_EXPLICIT},
        {"a delimiter in an item", element({0x0008, 0x0051}, "UN", item({delimiter(ELEMENT_SEQUENCE_END)}) +
                                        delimiter(ELEMENT_SEQUENCE_END), SYNTAX_EXPLICIT, 0xFFFFFFFF), SYNTAX_EXPLICIT},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.name);
        Loaded loaded(row.stream, row.from);
        Save_Options options;
        options.mode = MODE_EXPLICIT_LITTLE;
        std::string once, twice, error;
        ASSERT_TRUE(save_to_memory(&loaded.set, options, &once, &error)) << error;
        Loaded back(once);
        EXPECT_EQ(back.set.damages, 0) << back.warnings();
        ASSERT_TRUE(save_to_memory(&back.set, options, &twice, &error)) << error;
        EXPECT_EQ(behind_head(twice), behind_head(once));
    }
}

TEST(HostHostile, ReadsGroup0002InAnItemInTheOrderOfTheItem)
{
    static const int BIG = SYNTAX_EXPLICIT | SYNTAX_BIG_ENDIAN;
    const Bytes number("\0\2\1\2UL\0\4\1\2\3\4", 12);   // the bytes of no head, which has 02 00
    Bytes stream = sequence(REFERENCES, BY_LENGTH, {item({number}, BY_LENGTH, BIG)}, BIG);
    Loaded loaded(stream, MODE_EXPLICIT_BIG);
    EXPECT_NE(loaded.tree().find("0002,0102 UL"), std::string::npos) << loaded.tree();
    Save_Options options;
    options.defined_lengths = true;
    EXPECT_EQ(save(stream, MODE_EXPLICIT_BIG, options).body, stream);
    options.mode = MODE_EXPLICIT_LITTLE;
    EXPECT_NE(save(stream, MODE_EXPLICIT_BIG, options).body.find("\4\3\2\1"), Bytes::npos);
}

// Saving makes a tree editable on its way, or finds it so: what comes of it is the same. Most streams are damaged.
TEST(HostHostile, SavesAlikeWhetherTheTreeWasMadeEditableBefore)
{
    std::mt19937 random(7);
    for (int syntax : {0, 8, 9}) {
        auto number = [&](Tag tag, const char *vr, const Bytes &value) {
            return element(tag, vr, in_order(value, 2, syntax), syntax);
        };
        const Bytes smallest = number({0x0028, 0x0106}, "US", Bytes("\xFE\xFF", 2)),
                    is_signed = number({0x0028, 0x0103}, "US", Bytes("\1\0", 2)),
                    inner = item({element(CLASS, "UI", "1.2.3.40", syntax), smallest}, BY_DELIMITER, syntax),
                    stream = element({0x0008, 0x0000}, "UL", in_order(Bytes("\2\0\0\0", 4), 4, syntax), syntax) +
                             element({0x0008, 0x0060}, "CS", "CT", syntax) +
                             sequence(REFERENCES, BY_DELIMITER,
                                      {inner, item({}, BY_LENGTH, syntax), item({is_signed, inner}, BY_LENGTH, syntax)},
                                      syntax) +
                             number({0x0028, 0x0100}, "US", Bytes("\x08\0", 2)) + is_signed + smallest +
                             element(UNKNOWN, "UN", "\1\2\3\4", syntax) +
                             nested(10, element(TEXT, "UT", "text", syntax), syntax) +
                             element({0x7FE0, 0x0010}, "OW", "12345678", syntax);
        for (int n = 0; n < 500; n++) {
            Bytes damaged = stream;
            for (int i = 0; i < n % 5; i++)
                damaged[random() % damaged.size()] = static_cast<char>(random() % 3 == 0 ? 0 : random());
            Loaded one(damaged, static_cast<unsigned char>(syntax)), two(damaged, static_cast<unsigned char>(syntax));
            if (one.result != LOADED)
                continue;
            Save_Options options;
            options.mode = n % 2 == 0 ? MODE_EXPLICIT_LITTLE : MODE_EXPLICIT_BIG;
            options.keep_private = n % 3 != 0;
            make_editable(&two.set);
            std::string bytes, expected, error, expected_error;
            Reports said;
            bool done = save_to_memory(&one.set, options, &bytes, &error);
            std::string warnings = said.warnings();
            Reports said_again;
            EXPECT_EQ(save_to_memory(&two.set, options, &expected, &expected_error), done);
            EXPECT_TRUE(bytes == expected && error == expected_error) << syntax << ", stream " << n;
            EXPECT_EQ(warnings, said_again.warnings());
            EXPECT_EQ(one.tree(), two.tree());
        }
    }
}
