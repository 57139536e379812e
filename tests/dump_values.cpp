// The text of a value: each VR's form, where values are cut, what is said of values that are not there, names of UIDs.
#include <gtest/gtest.h>

#include <map>

#include "dump/dump_internal.h"
#include "tests/support/bytes.h"
#include "tree/tree_internal.h"

// The text of a value. The value stands in a block of its own size, so that a sanitizer sees a read behind it.
static std::string shown(const std::string &vr, const Bytes &value, int syntax = SYNTAX_EXPLICIT)
{
    std::vector<char> data(value.begin(), value.end());
    data.shrink_to_fit();
    char nothing = 0;
    DICOM_List tag = {};
    tag.syntax = static_cast<unsigned char>(syntax);
    if (!vr.empty())
        tag.vr = pack_letters(vr[0], vr[1]);
    tag.size = static_cast<int>(value.size());
    tag.data = data.empty() ? &nothing : data.data();
    std::vector<char> room(STOOL_TEXT_ROOM);
    return DICOM_Attribute_Stool_Data(nullptr, &tag, room.data());
}

static Bytes repeated(const Bytes &value, int count)
{
    Bytes out;
    for (int i = 0; i < count; i++)
        out += value;
    return out;
}

static std::string listed(const std::string &item, const std::string &separator, int count)
{
    std::string out = item;
    for (int i = 1; i < count; i++)
        out += separator + item;
    return out;
}

TEST(Dump_Value, ShowsNumbersByTheirVR)
{
    struct { const char *vr; Bytes item; const char *shown, *separator; int most; } cases[] = {
        {"AT", Bytes("\x28\x00\x10\x30", 4), "(0028,3010)", " / ", 16},
        {"FD", Bytes("\x00\x00\x00\x00\x00\x00\xF8\xBF", 8), "-1.500", " / ", 16},
        {"FL", Bytes("\x00\x00\x20\x40", 4), "2.500", " / ", 16}, {"OB", Bytes("\xA7", 1), "a7", " ", 32},
        {"OW", Bytes("\x34\xF2", 2), "f234", " ", 32}, {"SL", Bytes("\xFE\xFF\xFF\xFF", 4), "-2", " / ", 16},
        {"SS", Bytes("\xFD\xFF", 2), "-3", " / ", 16},
        {"UL", Bytes("\xFF\xFF\xFF\xFF", 4),                     "-1",          " / ", 16},   // read as signed
        {"US", Bytes("\xFF\xFF", 2), "65535", " / ", 16}, {"OF", Bytes("\x0F", 1), "0f", " ", 16},
        {"OX", Bytes("\x80", 1), "80", " ", 16},          {"I-", Bytes("\x00", 1), "00", " ", 16},
        {"", Bytes("\x7F", 1), "7f", " ", 16},
    };
    for (const auto &each : cases) {
        SCOPED_TRACE(each.vr);
        EXPECT_EQ(shown(each.vr, ""), "");
        EXPECT_EQ(shown(each.vr, each.item), each.shown);
        EXPECT_EQ(shown(each.vr, repeated(each.item, 3)), listed(each.shown, each.separator, 3));
        std::string most = listed(each.shown, each.separator, each.most);
        EXPECT_EQ(shown(each.vr, repeated(each.item, each.most)), most);
        EXPECT_EQ(shown(each.vr, repeated(each.item, each.most + 1)), most + " ...");
        EXPECT_EQ(shown(each.vr, repeated(each.item, 400)), most + " ...");
        for (size_t cut = 1; cut < each.item.size(); cut++)
            EXPECT_EQ(shown(each.vr, each.item + each.item.substr(0, cut)), std::string(each.shown) + " ...")
                << "a number cut to " << cut << " bytes";
    }
}

TEST(Dump_Value, ReadsNumbersInTheOrderOfTheNode)
{
    struct { const char *vr; Bytes value; int syntax; const char *shown; } cases[] = {
        {"US", Bytes("\x01\x02", 2), 9, "258"}, {"OW", Bytes("\x01\x02", 2), 9, "0102"},
        {"AT", Bytes("\x00\x28\x30\x10", 4), 9, "(0028,3010)"}, {"US", Bytes("\x01\x02", 2), 2, "258"},
        {"SL", Bytes("\x80\x00\x00\x00", 4), 9, "-2147483648"}, {"FD", Bytes("\x3F\xF0\0\0\0\0\0\0", 8), 9, "1.000"},
    };
    for (const auto &each : cases)
        EXPECT_EQ(shown(each.vr, each.value, each.syntax), each.shown);
}

TEST(Dump_Value, ShowsOddDecimalsAsPrintfDoes)
{
    struct { uint32_t bits; const char *shown; } cases[] = {
        {0x00000000, "0.000"}, {0x80000000, "-0.000"}, {0x7F800000, "inf"}, {0xFF800000, "-inf"}, {0x7FC00000, "nan"},
        {0x3B03126F, "0.002"}, {0x3AFFFFFF, "0.002"}, {0x00000001, "0.000"},
        {0x7F7FFFFF, "340282346638528859811704183484516925440.000"},
    };
    for (const auto &each : cases)
        EXPECT_EQ(shown("FL", number_32(each.bits)), each.shown) << std::hex << each.bits;
}

// Sixteen of them would be more than 5,000 characters.
TEST(Dump_Value, LeavesOutNumbersThatDoNotFit)
{
    const Bytes huge("\xA0\xC8\xEB\x85\xF3\xCC\xE1\x7F", 8);   // 1e308
    std::string one = shown("FD", huge);
    ASSERT_EQ(one.size(), 313u);
    EXPECT_EQ(shown("FD", repeated(huge, 16)), listed(one, " / ", 3) + " ...");
    EXPECT_EQ(shown("FD", repeated(huge, 3)), listed(one, " / ", 3));
}

TEST(Dump_Value, ShowsTextsAndCutsLongOnes)
{
    for (const char *vr : {"AE", "AS", "CS", "DA", "DS", "DT", "IS", "LO", "LT", "PN", "SH", "ST", "TM", "UT"}) {
        SCOPED_TRACE(vr);
        EXPECT_EQ(shown(vr, ""), "");
        EXPECT_EQ(shown(vr, "Doe^John"), "Doe^John");
        EXPECT_EQ(shown(vr, "a\\b \x1B$"), "a\\b \x1B$");
        EXPECT_EQ(shown(vr, Bytes(250, 'x')), std::string(250, 'x'));
        EXPECT_EQ(shown(vr, Bytes(251, 'x')), std::string(250, 'x') + "...");
        EXPECT_EQ(shown(vr, Bytes(5000, 'x')), std::string(250, 'x') + "...");
        EXPECT_EQ(shown(vr, Bytes("ab\0cd", 5)), "ab");
        EXPECT_EQ(shown(vr, Bytes("ab\0", 3) + Bytes(300, 'x')), "ab...") << "the mark follows what is seen";
    }
}

TEST(Dump_Value, NamesUIDs)
{
    const Bytes implicit = "1.2.840.10008.1.2", with_pad = implicit + '\0';
    struct { Bytes value; std::string shown; } cases[] = {
        {implicit, "= UID Implicit VR, Little Endian"}, {with_pad, "= UID Implicit VR, Little Endian"},
        {implicit + " ", implicit + " "}, {"1.2.3.4", "1.2.3.4"}, {"", ""}, {Bytes(249, '1'), Bytes(249, '1')},
        {Bytes(250, '1'), Bytes(250, '1') + "..."}, {with_pad + Bytes(240, '1'), implicit + "..."},   // not looked up
    };
    for (const auto &each : cases)
        EXPECT_EQ(shown("UI", each.value), each.shown);
}

TEST(Dump_Value, HasTheNamesOfTheTable)
{
    struct { const char *uid, *name; } cases[] = {
        {"1.2.840.10008.1.1", "Verification SOP Class"}, {"1.2.840.10008.3.1.1.1", "Application Context Name"},
        {"1.2.840.113619.5.2", "UID Implicit VR, Little Endian (GE Private with size Bug)"},
        {"1.2.840.10008.5.1.4.1.1.6", "Ultrasound Image Storage (Retired)"},
    };
    for (const auto &each : cases)
        EXPECT_STREQ(DICOM_Attribute_Stool_UID(each.uid), each.name) << each.uid;
    EXPECT_EQ(DICOM_Attribute_Stool_UID(""), nullptr);

    std::map<std::string, int> seen;
    for (const UID_Name &row : uid_names) {
        EXPECT_EQ(seen[row.uid]++, 0) << row.uid << " stands twice";
        EXPECT_EQ(std::string(row.uid).find_first_not_of("0123456789."), std::string::npos) << row.uid;
        EXPECT_EQ(DICOM_Attribute_Stool_UID(row.uid), row.name);
    }
    EXPECT_EQ(seen.size(), 120u);
}

TEST(Dump_Value, ShowsUnknownValuesWhileTheyAreReadable)
{
    struct { Bytes value; std::string shown; } cases[] = {
        {"", ""}, {"ABCD", "ABCD"}, {Bytes(32, 'a'), Bytes(32, 'a')}, {Bytes(33, 'a'), Bytes(32, 'a') + " ..."},
        {Bytes(250, '7') + "\x01", Bytes(32, '7') + " ..."},   // 250 bytes are looked at
        {Bytes("\x00\x01\x02\x03", 4), "00 01 02 03"}, {"a b", "61 20 62"},
        {Bytes("\x00\x01\x02\x03\x04\x05", 6), ""}, {"ABCD E", ""},
    };
    for (const auto &each : cases)
        EXPECT_EQ(shown("UN", each.value), "(VR=UN Unknown) " + each.shown);
}

TEST(Dump_Value, TellsOfValuesThatAreNotThere)
{
    struct { unsigned short vr_explicit, vr; int size; const char *shown; } cases[] = {
        {VR_NONE, VR_LO, 0, nullptr}, {VR_NONE, VR_LO, -1, nullptr}, {VR_NONE, VR_SQ, 0, "(sequence)"},
        {VR_SQ, VR_LO, -1, "(sequence)"}, {VR_LO, VR_SQ, 0, nullptr},
        {VR_NONE, VR_OW, 2048, "(data from file at offset=77)"},
        {VR_NONE, VR_SQ, 2048, "(data from file at offset=77)"}, {VR_NONE, VR_NONE, 1, "(data from file at offset=77)"},
    };
    char room[STOOL_TEXT_ROOM];
    for (const auto &each : cases) {
        DICOM_List tag = {};
        tag.vr_explicit = each.vr_explicit;
        tag.vr = each.vr;
        tag.size = each.size;
        tag.data_pos = 77;
        EXPECT_STREQ(DICOM_Attribute_Stool_Data(nullptr, &tag, room), each.shown);
    }
    EXPECT_EQ(DICOM_Attribute_Stool_Data(nullptr, nullptr, room), nullptr);
    EXPECT_EQ(shown("SQ", "value"), "---- Sequence in ----------------");

    DICOM_List tag = {};
    tag.vr = VR_US;
    tag.size = -1;
    tag.data = room;
    EXPECT_STREQ(DICOM_Attribute_Stool_Data(nullptr, &tag, room), "") << "an undefined length with a value";
}
