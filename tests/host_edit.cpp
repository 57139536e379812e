// Whole runs of velmora edit.
#include <gtest/gtest.h>

#include "tests/host_runs.h"
#include "tests/host_saved.h"

static const Tag REFERENCES = {0x0008, 0x1140}, CODE = {0x0008, 0x0104};
static const Bytes FIRST = element({0x0008, 0x0060}, "CS", "CT");

struct Edited { int status; Bytes body; std::string err; };

static Edited edit(const std::vector<std::string> &options, const Bytes &body)
{
    std::vector<std::string> arguments = {"edit"};
    arguments.insert(arguments.end(), options.begin(), options.end());
    arguments.insert(arguments.end(), {"-", "-"});
    Outcome run = velmora(arguments, part10_head("1.2.840.10008.1.2.1") + body);
    return {run.status, behind_head(run.out), run.err};
}

static Bytes codes(const std::vector<Bytes> &texts)
{
    std::vector<Bytes> items;
    for (const Bytes &text : texts)
        items.push_back(item({text.empty() ? "" : element(CODE, "LO", text)}, BY_DELIMITER));
    return sequence(REFERENCES, BY_DELIMITER, items);
}

TEST(HostEdit, SetsValuesByTheirVR)
{
    const struct { const char *set; Bytes written; } rows[] = {
        {"PatientName=Doe^Jane", element({0x0010, 0x0010}, "PN", "Doe^Jane")},
        {"0010,0030=20240229", element({0x0010, 0x0030}, "DA", "20240229")},
        {"0020,000d=1.2.3", element({0x0020, 0x000D}, "UI", Bytes("1.2.3\0", 6))},
        {"0028,0030=0.123456789\\2", element({0x0028, 0x0030}, "DS", "0.123456789\\2 ")},
        {"0028,0010=513", element({0x0028, 0x0010}, "US", number_16(513))},
        {"0018,9219=-2", element({0x0018, 0x9219}, "SS", number_16(0xFFFE))},
        {"0028,0009=0018,1063", element({0x0028, 0x0009}, "AT", number_16(0x18) + number_16(0x1063))},
        {"0072,0082:SV=-9223372036854775808", element({0x0072, 0x0082}, "SV", Bytes("\0\0\0\0\0\0\0\x80", 8))},
        {"0072,0083:UV=18446744073709551615", element({0x0072, 0x0083}, "UV", Bytes(8, '\xFF'))},
        {"0064,0009:OF=1.5\\2", element({0x0064, 0x0009}, "OF", Bytes("\0\0\xC0\x3F\0\0\0\x40", 8))},
        {"0029,1002:OB=1\\255\\0", element({0x0029, 0x1002}, "OB", Bytes("\1\xFF\0\0", 4))},
        {"0008,0119:UC=hello", element({0x0008, 0x0119}, "UC", "hello ")},
        {"0020,0013=12.0", element({0x0020, 0x0013}, "IS", "12")},
        {"0029,1001:LO=mine", element({0x0029, 0x1001}, "LO", "mine")},
        {"0010,0010=", element({0x0010, 0x0010}, "PN", "")},
        {"0008,ffff:LO=mine", element({0x0008, 0xFFFF}, "LO", "mine")},
        {"ffff,ffff:LO=mine", element({0xFFFF, 0xFFFF}, "LO", "mine")},
    };
    for (const auto &row : rows) {
        Edited edited = edit({"--set", row.set}, FIRST);
        EXPECT_EQ(edited.body, FIRST + row.written) << row.set << edited.err;
    }
    // "US or SS" is what the pixels are.
    Bytes pixels = element({0x0028, 0x0103}, "US", number_16(1));
    EXPECT_EQ(edit({"--set", "0028,0106=-3"}, pixels).body,
              pixels + element({0x0028, 0x0106}, "SS", number_16(0xFFFD)));
    EXPECT_EQ(edit({"--set", "0010,0020=new"}, FIRST + element({0x0010, 0x0020}, "LO", Bytes(2000, 'o'))).body,
              FIRST + element({0x0010, 0x0020}, "LO", "new "));
}

TEST(HostEdit, RefusesWhatIsNoValue)
{
    for (const char *set : {"0010,0030=yesterday", "0028,0010=70000", "0028,0010=x", "0028,0010=1\\2", "0029,1001=x",
                            "0018,9219=-32769", "0072,0083:UV=-1", "0018,9087=1e400", "0018,9087=0x10",
                            "0018,9075:FL=1e39", "0020,0013=12.5", "0010,1030=12,5", "0020,000d=1.2.x",
                            "0008,0060/0008,0104=x", "0008,1140:LO=x", "0008,1140=x", "0010,0010=\xC3\xA4", "0008,1140[5]/0008,0104=x"}) {
        Edited edited = edit({"--set", set}, FIRST + codes({"a "}));
        EXPECT_EQ(edited.status, 3) << set;
        EXPECT_EQ(edited.body, "") << set;
        EXPECT_NE(edited.err.find("is not changed: "), std::string::npos) << edited.err;
        EXPECT_EQ(edited.err.find("offset"), std::string::npos) << "a new value has no place in the file: " << edited.err;
    }
    for (const char *set : {"0002,0010=1.2", "fffe,e000:LO=x", "fffe,e000[1]/0010,0010=x", "0010,0000:UL=4"})
        EXPECT_EQ(edit({"--set", set}, FIRST).status, 2) << set;
    EXPECT_EQ(edit({"--set", "0010,0010:XX=x"}, FIRST).status, 2);
    EXPECT_EQ(edit({}, FIRST).status, 2);
    std::string deep = "0008,0104";
    for (int i = 0; i < 10; i++)
        deep = "0040,a730[1]/" + deep;
    EXPECT_EQ(edit({"--delete", deep}, FIRST).status, 2);
    EXPECT_EQ(edit({"--delete", deep.substr(strlen("0040,a730[1]/"))}, FIRST).status, 0);
}

TEST(HostEdit, WritesTextsInTheCharacterSet)
{
    const struct {
        const char *charset;
        Bytes written;   // empty: it is refused
    } rows[] = {
        {"ISO_IR 192", "J\xC3\xBCrgen "}, {"ISO_IR 100", "J\xFCrgen"}, {"ISO_IR 144", ""}, {"\\ISO 2022 IR 87", ""},
    };
    for (const auto &row : rows) {
        Bytes charset = element({0x0008, 0x0005}, "CS", row.charset);
        Edited edited = edit({"--set", "0010,0010=J\xC3\xBCrgen"}, charset);
        Bytes name = row.written.size() % 2 != 0 ? row.written + " " : row.written;
        EXPECT_EQ(edited.body, row.written.empty() ? "" : charset + element({0x0010, 0x0010}, "PN", name))
            << row.charset << edited.err;
    }
    // Sixteen characters of two bytes each.
    Bytes charset = element({0x0008, 0x0005}, "CS", "ISO_IR 192"), text;
    for (int i = 0; i < 16; i++)
        text += "\xC3\xBC";
    EXPECT_EQ(edit({"--set", "0020,0010=" + text}, charset).body, charset + element({0x0020, 0x0010}, "SH", text));
    EXPECT_EQ(edit({"--set", "0020,0010=" + text + "x"}, charset).status, 3);

    // In an item with a set of its own that counts; behind it, that of the data set again.
    Bytes latin = element({0x0008, 0x0005}, "CS", "ISO_IR 100"), code = element(CODE, "LO", "\xC3\xBC");
    Bytes own = item({charset, code}, BY_DELIMITER), plain = item({element(CODE, "LO", "\xFC ")}, BY_DELIMITER);
    Bytes in = latin + sequence(REFERENCES, BY_DELIMITER, {item({charset}, BY_DELIMITER), item({}, BY_DELIMITER)});
    EXPECT_EQ(edit({"--set", "0008,1140/0008,0104=\xC3\xBC"}, in).body,
              latin + sequence(REFERENCES, BY_DELIMITER, {own, plain}));
}

TEST(HostEdit, ReachesIntoSequences)
{
    Bytes in = FIRST + codes({"a ", "b ", "c "});
    EXPECT_EQ(edit({"--set", "0008,1140[2]/0008,0104=B"}, in).body, FIRST + codes({"a ", "B ", "c "}));
    EXPECT_EQ(edit({"--set", "0008,1140/0008,0104=B"}, in).body, FIRST + codes({"B ", "B ", "B "}));
    EXPECT_EQ(edit({"--set", "0008,1140[4]/0008,0104=D"}, in).body, FIRST + codes({"a ", "b ", "c ", "D "}));
    EXPECT_EQ(edit({"--set", "0008,1140[1]/0008,0104=A"}, FIRST).body, FIRST + codes({"A "}));
    EXPECT_EQ(edit({"--delete", "0008,1140[2]/0008,0104"}, in).body, FIRST + codes({"a ", "", "c "}));
    EXPECT_EQ(edit({"--delete", "0008,0104"}, in).body, in);
    EXPECT_EQ(edit({"--all", "--delete", "0008,0104"}, in).body, FIRST + codes({"", "", ""}));
    EXPECT_EQ(edit({"--delete", "0008,11*"}, in).body, FIRST);
}
