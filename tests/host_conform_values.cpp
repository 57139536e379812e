// Values in a data set that is conformed: what cleaning may change, and what is made because it follows from the rest.
#include <gtest/gtest.h>

#include <time.h>
#include <set>

#include "tests/host_conformed.h"

using namespace velmora_host;

static const Tag CHARSET = {0x0008, 0x0005}, SOP_CLASS = {0x0008, 0x0016}, SOP_INSTANCE = {0x0008, 0x0018},
                 MODALITY = {0x0008, 0x0060}, PIXELS = {0x7FE0, 0x0010};

// ---- cleaning -------------------------------------------------------------------------

struct Value_Row {
    const char *name;
    Tag tag;
    const char *vr;
    Bytes value;
    const char *demanded, *optional;   // what is told, behind the tag
};

static const Value_Row value_rows[] = {
    {"a good date", {0x0008, 0x0022}, "DA", "20040119", "", ""},
    {"a date with points", {0x0008, 0x0022}, "DA", "2004.01.19", "~ [2004.01.19] [20040119]",
     "~ [2004.01.19] [20040119]"},
    {"a date with dashes", {0x0008, 0x0022}, "DA", "2004-01-19", "~ [2004-01-19] [20040119]",
     "~ [2004-01-19] [20040119]"},
    {"a short year", {0x0008, 0x0022}, "DA", "950724", "~ [950724] [19950724]", "~ [950724] [19950724]"},
    {"half a date", {0x0008, 0x0022}, "DA", "1990/01/", "?w 2", "- [1990/01/] its value is not allowed"},
    {"the day first", {0x0008, 0x0022}, "DA", "19/01/2004", "?w 2", "- [19/01/2004] its value is not allowed"},
    {"a 13th month", {0x0008, 0x0022}, "DA", "2025-13-45", "?w 2", "- [2025-13-45] its value is not allowed"},
    {"two dates", {0x0018, 0x1200}, "DA", "20040119\\20050119 ", "", ""},
    {"a time with colons", {0x0008, 0x0032}, "TM", "09:39:00", "~ [09:39:00] [093900]", "~ [09:39:00] [093900]"},
    {"an hour of one digit", {0x0008, 0x0032}, "TM", "9:39:00 ", "?w 2", "- [9:39:00] its value is not allowed"},
    {"a short age", {0x0010, 0x1010}, "AS", "7Y", "~ [7Y] [007Y]", "~ [7Y] [007Y]"},
    {"an age in words", {0x0010, 0x1010}, "AS", "45 years", "?w 2", "- [45 years] its value is not allowed"},
    {"a decimal comma", {0x0018, 0x0050}, "DS", "12,5", "?w 2", "- [12,5] its value is not allowed"},
    {"a unit", {0x0018, 0x0050}, "DS", "2.5mm ", "?w 2", "- [2.5mm] its value is not allowed"},
    {"too many digits", {0x0018, 0x0050}, "DS", "1.23456789012345678 ", "~ [1.23456789012345678] [1.23456789012345]",
     "~ [1.23456789012345678] [1.23456789012345]"},
    {"an exponent behind too many digits", {0x0018, 0x0050}, "DS", "1.234567890123456e-05 ",
     "~ [1.234567890123456e-05] [1.2345678901e-05]", "~ [1.234567890123456e-05] [1.2345678901e-05]"},
    {"a number beyond any", {0x0018, 0x0050}, "DS", "1e999999999999999999", "?w 2",
     "- [1e999999999999999999] its value is not allowed"},
    {"one that is rounded up to that", {0x0018, 0x0050}, "DS", "1.7976931348623157e308", "?w 2",
     "- [1.7976931348623157e308] its value is not allowed"},
    {"two of which the first is too long", {0x0018, 0x0050}, "DS", "123456789.123456789e10\\2", "?w 2",
     "- [123456789.123456789e10\\2] its value is not allowed"},
    {"a backslash behind a number", {0x0018, 0x0050}, "DS", "1.\\ ", "~ [1.\\] [1.]", "~ [1.\\] [1.]"},
    {"a backslash behind an integer", {0x0020, 0x0013}, "IS", "1\\", "~ [1\\] [1]", "~ [1\\] [1]"},
    {"an integer with a point", {0x0020, 0x0013}, "IS", "12.0", "~ [12.0] [12]", "~ [12.0] [12]"},
    {"no integer", {0x0020, 0x0013}, "IS", "12.7", "?w 2", "- [12.7] its value is not allowed"},
    {"a UID with letters", {0x0020, 0x0052}, "UI", "1.2.3.LOCAL.5 ", "?w 2",
     "- [1.2.3.LOCAL.5] its value is not allowed"},
    {"a UID of 66 "
     "characters", {0x0020, 0x0052}, "UI", "1.2.840.113619.2.55.3.2831868886.425.1100000000.599.1.2.3.4.5.67.8", "?w 2",
     "- [1.2.840.113619.2.55.3.2831868886.425.1100000000.599.1.2.3...] its value is not allowed"},
    {"a code in small letters", {0x0018, 0x0015}, "CS", "Brain ", "~ [Brain] [BRAIN]", "~ [Brain] [BRAIN]"},
    {"a code with a slash", {0x0010, 0x0040}, "CS", "N/A ", "?w 2", "~ [N/A] [N_A]"},
    {"a text that is too long", {0x0008, 0x0050}, "SH", "12345678901234567 ", "?w 2",
     "~ [12345678901234567] [1234567890123456]"},
    {"a title of 17 characters", {0x0008, 0x0054}, "AE", "12345678901234567 ", "?w 2",
     "~ [12345678901234567] [1234567890123456]"},
    {"bytes that are no items", {0x0008, 0x1140}, "SQ", "no items", "?w 2", "- [8 bytes] its value is not allowed"},
    {"many of them", {0x0008, 0x1140}, "SQ", Bytes(2000, 'x'), "?w 2", "- [2000 bytes] its value is not allowed"},
    {"too many values", {0x0010, 0x0020}, "LO", "one\\two ", "?w 2", "- [one\\two] its value is not allowed"},
    {"padding in front", {0x0010, 0x0020}, "LO", " ID 7 ", "", ""},
    {"a number of a wrong length", {0x0028, 0x0010}, "US", "abc ", "?w 2", "- [25185\\8291] its value is not allowed"},
};

TEST(Conform_Values, CleansWithoutChangingWhatIsSaid)
{
    for (const Value_Row &row : value_rows) {
        SCOPED_TRACE(row.name);
        for (const char *type : {"2", "3"}) {
            char line[64], tag[16];
            snprintf(tag, sizeof tag, "%04x,%04x", row.tag.group, row.tag.element);
            snprintf(line, sizeof line, "(%s) type=%s\n", tag, type);
            Conformed conformed;
            conformed.define(line);
            conformed.conform(element(row.tag, row.vr, row.value));
            std::string told = conformed.told(), expected = *type == '2' ? row.demanded : row.optional;
            if (!expected.empty())
                expected =
                    expected.substr(0, expected.find(' ')) + " " + tag + expected.substr(expected.find(' ')) + "\n";
            EXPECT_EQ(told, expected) << "type " << type;
        }
    }
}

TEST(Conform_Values, CountsCharactersRatherThanBytes)
{
    std::string umlauts;
    for (int i = 0; i < 16; i++)
        umlauts += "\xC3\xA4";
    const struct { const char *name, *charset; Bytes value; const char *told; } rows[] = {
        {"sixteen characters in UTF-8", "ISO_IR 192", umlauts, ""},
        {"seventeen", "ISO_IR 192", umlauts + "\xC3\xA4", "?w 0008,0050 2\n"},
        {"half of a character is no backslash", "GB18030 ", "\xBA\x5C\xBA\x5C", ""},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.name);
        Conformed conformed;
        conformed.define("(0008,0005) type=1C\n(0008,0050) type=2\n");
        conformed.conform(element(CHARSET, "CS", row.charset) + element({0x0008, 0x0050}, "SH", row.value));
        EXPECT_EQ(conformed.told(), row.told);
    }

    // An item may have a set of its own.
    Bytes text = element({0x0008, 0x0050}, "SH", umlauts), utf8 = element(CHARSET, "CS", "ISO_IR 192");
    Conformed conformed;
    conformed.define("(0008,0005) type=1C\n(0008,1140) type=3\n>(0008,0005) type=1C\n>(0008,0050) type=2\n");
    conformed.conform(element(CHARSET, "CS", "ISO_IR 100") +
                      sequence({0x0008, 0x1140}, BY_LENGTH, {item({utf8, text}), item({text})}));
    EXPECT_EQ(conformed.told(), "?w 0008,1140[2]/0008,0050 2\n");
}

// ---- UIDs -----------------------------------------------------------------------------

TEST(Conform_Values, MakesUIDs)
{
    std::set<std::string> uids;
    for (const char *root : {"", "1.2.3", "1.2.840.113619.2.55.3.2831868886.425.1100"}) {
        for (int i = 0; i < 100; i++) {
            std::string uid = make_uid(root), start = *root == '\0' ? "2.25" : root;
            EXPECT_EQ(uid.substr(0, start.size() + 1), start + ".");
            EXPECT_LE(uid.size(), 64u);
            EXPECT_GE(uid.size(), start.size() + 20);
            EXPECT_EQ(uid.find_first_not_of("0123456789."), std::string::npos) << uid;
            EXPECT_NE(uid[start.size() + 1], '0') << uid;
            uids.insert(uid);
        }
    }
    EXPECT_EQ(uids.size(), 300u);
    for (const char *root : {"1.2", "2.25.9"})
        EXPECT_TRUE(is_uid_root(root)) << root;
    for (const char *root :
         {"", "1", "1.", ".1", "1..2", "1.02", "1.2a", "1.2.840.113619.2.55.3.2831868886.425.1100.22"})
        EXPECT_FALSE(is_uid_root(root)) << root;
}

// ---- what the instance is -------------------------------------------------------------

static Bytes uid_element(Tag tag, const std::string &uid)
{
    return element(tag, "UI", uid.size() % 2 != 0 ? uid + '\0' : uid);
}

// Every template that the library names by a SOP class gives that class, and every class one modality.
TEST(Conform_Values, MakesTheSOPClassOfATemplate)
{
    const struct { const char *module, *modality; } rows[] = {
        {"CR_Image", "CR"}, {"XRAY_Image", "DX"}, {"Mammography_XRAY_Image", "MG"}, {"Intra_Oral_XRAY_Image", "IO"},
        {"CT_Image", "CT"}, {"Enhanced_CT_Image", "CT"}, {"US_Multi-Frame_Image", "US"}, {"MR_Image", "MR"},
        {"Enhanced_MR_Image", "MR"}, {"MR_Spectroscopy_Image", "MR"}, {"US_Image", "US"}, {"SC_Image", ""},
        {"Grayscale_Softcopy", "PR"}, {"XRAY_Angiographic_Image", "XA"}, {"XRAY_Radiofluroscopic_Image", "RF"},
        {"NM_Image", "NM"}, {"VL_Endoscopic_Image", "ES"}, {"VL_Microscopic_Image", "GM"},
        {"VL_Slidecoord_Micro_Image", "SM"}, {"VL_Photographic_Image", "XC"}, {"PET_Image", "PT"},
        {"RT_Image", "RTIMAGE"},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.module);
        Conformed conformed;
        conformed.folder.write(std::string("DICOM_Module_") + row.module + ".txt", "T\n");
        conformed.define("(0008,0016) type=1\n(0008,0060) type=1\n");
        conformed.options.module = row.module;
        conformed.conform(element({0x0010, 0x0020}, "LO", "A1"));
        EXPECT_STREQ(DICOM_Module_Name(nullptr, conformed.set.tree), row.module);
        std::string lack = *row.modality == '\0' ? "? 0008,0060 1\n" : "";
        EXPECT_EQ(conformed.tree().find(std::string("0008,0060 CS [") + row.modality) != std::string::npos,
                  lack.empty());
        ASSERT_FALSE(conformed.result.changes.empty());
        EXPECT_EQ(conformed.result.changes[0].why, "that of the template");
    }
}

TEST(Conform_Values, TakesWhatTheInstanceIsFromTheHead)
{
    Bytes head = part10_head("1.2.840.10008.1.2.1");
    Bytes uids = uid_element({0x0002, 0x0002}, "1.2.840.10008.5.1.4.1.1.2") + uid_element({0x0002, 0x0003}, "1.2.3.77");
    Conformed conformed;
    conformed.define("(0008,0016) type=1\n(0008,0018) type=1\n(0008,0060) type=1\n");
    static const char SAYS[] = "as the head of the file says\n";
    conformed.conform(head + uids + element({0x0010, 0x0020}, "LO", "A1"));
    EXPECT_EQ(conformed.told(), std::string("+ 0008,0016 [1.2.840.10008.5.1.4.1.1.2] ") + SAYS +
                                    "+ 0008,0018 [1.2.3.77] " + SAYS + "+ 0008,0060 [CT] that of the SOP class\n");
    conformed.conform(head + uids + uid_element(SOP_CLASS, "1.2.840.10008.5.1.4.1.1.4") +
                      uid_element(SOP_INSTANCE, "local 7") + element(MODALITY, "CS", "MR"));
    EXPECT_EQ(conformed.told(), std::string("~ 0008,0018 [local 7] [1.2.3.77] ") + SAYS);
}

TEST(Conform_Values, MakesUIDsAndTheDatesOfTheInstance)
{
    Conformed conformed;
    conformed.define("(0008,0018) type=1\n(0008,0012) type=3\n(0008,0013) type=3\n(0008,0020) type=2\n"
                     "(0008,0023) type=1\n(0008,0033) type=1\n(0020,000D) type=1\n(0020,000E) type=1\n"
                     "(0020,0052) type=1\n");
    conformed.options.uid_root = "1.2.3";
    time_t now = time(nullptr);
    conformed.conform(element(MODALITY, "CS", "CT"));
    std::set<std::string> uids;
    std::string told;
    for (const Conform_Change &change : conformed.result.changes) {
        EXPECT_EQ(change.kind, VALUE_ADDED);
        bool is_uid = change.after.compare(0, 6, "1.2.3.") == 0;
        if (is_uid)
            uids.insert(change.after);
        told += change.name + ": " + change.why + "\n";
    }
    EXPECT_EQ(told, "Instance Creation Date: the instance got its UID now\n"
                    "Instance Creation Time: the instance got its UID now\n"
                    "SOP Instance UID: a new UID\n"
                    "Study Date: \n"
                    "Content Date: the date of the instance's creation\n"
                    "Content Time: the time of the instance's creation\n"
                    "Study Instance UID: a new UID: what else belongs to the study is not known\n"
                    "Series Instance UID: a new UID: what else belongs to the series is not known\n");
    EXPECT_EQ(uids.size(), 3u);
    ASSERT_EQ(conformed.result.lacks.size(), 1u);
    EXPECT_EQ(conformed.result.lacks[0].element, 0x0052);
    char today[16];
    strftime(today, sizeof today, "%Y%m%d", localtime(&now));
    EXPECT_EQ(conformed.result.changes[0].after, today);
    EXPECT_EQ(conformed.result.changes[3].after, "");
}

// ---- what the pixel data is -----------------------------------------------------------

static Bytes hex(std::initializer_list<int> values)
{
    Bytes bytes;
    for (int value : values)
        bytes += static_cast<char>(value);
    return bytes;
}

static Bytes big_32(unsigned int value)
{
    return hex({static_cast<int>(value >> 24), static_cast<int>(value >> 16 & 0xFF),
                static_cast<int>(value >> 8 & 0xFF), static_cast<int>(value & 0xFF)});
}

static Bytes encapsulated(std::initializer_list<Bytes> fragments)
{
    Bytes bytes;
    for (const Bytes &fragment : fragments)
        bytes += number_16(0xFFFE) + number_16(0xE000) + number_32(static_cast<uint32_t>(fragment.size())) + fragment;
    return element(PIXELS, "OB", bytes + delimiter(ELEMENT_SEQUENCE_END), SYNTAX_EXPLICIT, 0xFFFFFFFF);
}

// 12 bits, 3 rows, 5 columns, 3 components, behind a segment that says nothing of it.
static const Bytes JPEG = hex({0xFF, 0xD8, 0xFF, 0xE0, 0,    4, 'a', 'b',  0xFF, 0xC1, 0,    17, 12,   0,   3,
                               0,    5,    3,    1,    0x11, 0, 2,   0x11, 0,    3,    0x11, 0,  0xFF, 0xDA});
static const Bytes JPEG_LS = hex({0xFF, 0xD8, 0xFF, 0xF7, 0, 11, 16, 1, 0, 0, 2, 1, 1, 0x11, 0, 0xFF});
static const Bytes JPEG_2000 = hex({0xFF, 0x4F, 0xFF, 0x51, 0, 41, 0, 0}) + big_32(70) + big_32(60) + big_32(6) +
                               big_32(4) + big_32(70) + big_32(60) + big_32(0) + big_32(0) + hex({0, 1, 0x8B, 1, 1, 0});

static Bytes short_value(unsigned short element_number, uint16_t value)
{
    return element({0x0028, element_number}, "US", number_16(value));
}

TEST(Conform_Values, TakesFactsOfTheImageFromThePixelData)
{
    const Bytes size = short_value(0x0010, 4) + short_value(0x0011, 6);
    const struct { const char *name; Bytes data; const char *made; } rows[] = {
        {"JPEG", encapsulated({"", JPEG}), "2=3 6=0 10=3 11=5 100=16 101=12 102=11 "},
        {"JPEG-LS", encapsulated({"", JPEG_LS}), "2=1 10=256 11=2 100=16 101=16 102=15 "},
        {"JPEG 2000", encapsulated({"", JPEG_2000 + "rest"}), "2=1 10=56 11=64 100=16 101=12 102=11 103=1 "},
        {"JPEG of which not all is there", encapsulated({"", JPEG.substr(0, 16)}), ""},
        {"JPEG with a segment that reaches too far",
         encapsulated({"", hex({0xFF, 0xD8, 0xFF, 0xE0, 0xFF, 0xFF, 0, 0})}), ""},
        {"no image", encapsulated({"", "ABCD"}), ""},
        {"native, by its length",
         size + element({0x0028, 0x0004}, "CS", "RGB ") + element(PIXELS, "OB", Bytes(72, 'p')), "2=3 100=8 103=0 "},
        {"native, of 16 bits", size + short_value(0x0002, 1) + element(PIXELS, "OW", Bytes(48, 'p')), "100=16 "},
        {"native, of no whole length", size + short_value(0x0002, 1) + element(PIXELS, "OW", Bytes(50, 'p')), ""},
        {"the bits stored from the high bit", size + short_value(0x0002, 1) + short_value(0x0102, 11) +
         element(PIXELS, "OW", Bytes(48, 'p')), "100=16 101=12 "},
        {"the sign from the VR of a pixel value", element({0x0028, 0x0120}, "SS", number_16(7)), "103=1 "},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.name);
        Conformed conformed;
        conformed.define("(0028,0002) type=1\n(0028,0006) type=1C\n(0028,0010) type=1\n(0028,0011) type=1\n"
                         "(0028,0100) type=1\n(0028,0101) type=1\n(0028,0102) type=1\n(0028,0103) type=1\n"
                         "(0028,0120) type=1C\n(0028,0004) type=1C\n");
        conformed.conform(row.data);
        std::string made;
        char text[32];
        for (const Conform_Change &change : conformed.result.changes) {
            snprintf(text, sizeof text, "%x=%s ", change.element, change.after.c_str());
            made += text;
        }
        EXPECT_EQ(made, row.made);
    }
}

TEST(Conform_Values, CountsTheFrames)
{
    Bytes start = hex({0xFF, 0xD8, 0xFF, 0xE0});
    Bytes size = short_value(0x0002, 1) + short_value(0x0010, 4) + short_value(0x0011, 6) + short_value(0x0100, 8);
    const struct { const char *name; Bytes data; const char *told; } rows[] = {
        {"by the offset table", encapsulated({Bytes(12, '\0'), "AB", "CD", "EF", "GH"}),
         "+ 0028,0008 [3] as the pixel data says\n"},
        {"by the starts of images", encapsulated({"", start, "AB", start}), "+ 0028,0008 [2] as the pixel data says\n"},
        {"by the length", size + element(PIXELS, "OB", Bytes(72, 'p')), "+ 0028,0008 [3] as the pixel data says\n"},
        {"not at all", encapsulated({"", "AB"}), "? 0028,0008 1\n"},
        {"not where the colours are of half the pixels", short_value(0x0002, 3) +
         element({0x0028, 0x0004}, "CS", "YBR_FULL_422") + short_value(0x0010, 4) + short_value(0x0011, 6) +
         short_value(0x0100, 8) + element(PIXELS, "OB", Bytes(144, 'p')), "? 0028,0008 1\n"},
        {"not by rows in letters", short_value(0x0002, 1) + element({0x0028, 0x0010}, "LO", Bytes("\4\0", 2)) +
         short_value(0x0011, 6) + short_value(0x0100, 8) + element(PIXELS, "OB", Bytes(72, 'p')), "? 0028,0008 1\n"},
        {"not by a size beyond any", short_value(0x0002, 0xFFFF) + short_value(0x0010, 0xFFFF) +
         short_value(0x0011, 0xFFFF) + short_value(0x0100, 0xFFF8) + element(PIXELS, "OB", "p\1"), "? 0028,0008 1\n"},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.name);
        Conformed conformed;
        conformed.define("(0028,0008) type=1\n");
        conformed.conform(row.data);
        EXPECT_EQ(conformed.told(), row.told);
    }
}

// ---- a host's own handlers ------------------------------------------------------------

static DICOM_List *make_comment(HWND window, DICOM_Root *root, DICOM_List **target, DICOM_List *wanted, void *)
{
    if (wanted->element != 0x4000 || root->Sequence_Depth > 0)
        return nullptr;
    DICOM_Attribute_Add(window, root, target, wanted->group, wanted->element, VR_LT, 1, "mine");
    return wanted;
}

TEST(Conform_Values, AsksTheHandlersOfAHostAsWell)
{
    Conformed conformed;
    DICOM_Module_List_Private_Grow(0x0020, make_comment);
    conformed.define("(0020,000D) type=1\n(0020,4000) type=1\n");
    conformed.conform(element(MODALITY, "CS", "CT"));
    ASSERT_EQ(conformed.result.changes.size(), 2u);
    EXPECT_EQ(conformed.result.changes[1].after, "mine");
    EXPECT_TRUE(conformed.result.lacks.empty());

    // The makers answer to nobody else.
    DICOM_Root root = {};
    DICOM_List *list = nullptr, wanted = {};
    wanted.group = 0x0020;
    wanted.element = 0x000D;
    wanted.type = TYPE_1;
    int user = 0;
    EXPECT_EQ(DICOM_Module_Add(nullptr, &root, &list, &wanted, &user), 1);
    EXPECT_EQ(list, nullptr);
}
