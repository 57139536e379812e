// Saving: what was read is what is written, in each encoding.
#include <gtest/gtest.h>
#include <sys/mman.h>

#include "tests/host_saved.h"

using namespace velmora_host;

static const unsigned char MODES[] = {MODE_IMPLICIT_LITTLE, MODE_EXPLICIT_LITTLE, MODE_EXPLICIT_BIG};
static const Tag CODE = {0x0008, 0x0104}, REFERENCES = {0x0008, 0x1140}, CLASS = {0x0008, 0x1150},
                 NAME = {0x0010, 0x0010}, PIXELS = {0x7FE0, 0x0010};
static const Bytes FIRST = element({0x0008, 0x0060}, "CS", "CT");

static Bytes hex(std::initializer_list<int> values)
{
    Bytes bytes;
    for (int value : values)
        bytes += static_cast<char>(value);
    return bytes;
}

static Bytes fragments(std::initializer_list<Bytes> values)
{
    Bytes bytes;
    for (const Bytes &value : values)
        bytes += number_16(0xFFFE) + number_16(0xE000) + number_32(static_cast<uint32_t>(value.size())) + value;
    return bytes + delimiter(ELEMENT_SEQUENCE_END);
}

// ---- head -----------------------------------------------------------------------------

TEST(HostSave, WritesAHeadThatSaysWhatIsInTheFile)
{
    Bytes old_rest = element({0x0002, 0x0002}, "UI", "1.2.3.40") + element({0x0002, 0x0003}, "UI", "9.9.9.90") +
                     element({0x0002, 0x0010}, "UI", Bytes("1.2.840.10008.1.2\0", 18)) +
                     element({0x0002, 0x0012}, "UI", "9.9.9.91") + element({0x0002, 0x0013}, "SH", "OLD ") +
                     element({0x0002, 0x0016}, "AE", "SENDER");
    Bytes old_head = Bytes(128, 'p') + "DICM" +
                     element({0x0002, 0x0000}, "UL", number_32(static_cast<uint32_t>(old_rest.size()))) + old_rest;
    Bytes data =
        element({0x0008, 0x0016}, "UI", Bytes("1.2.3.4\0", 8), 0) + element({0x0008, 0x0018}, "UI", "1.2.3.5.66", 0);
    Bytes rest = element({0x0002, 0x0001}, "OB", hex({0, 1})) + element({0x0002, 0x0002}, "UI", Bytes("1.2.3.4\0", 8)) +
                 element({0x0002, 0x0003}, "UI", "1.2.3.5.66") +
                 element({0x0002, 0x0010}, "UI", Bytes("1.2.840.10008.1.2.2\0", 20)) +
                 element({0x0002, 0x0012}, "UI", Bytes("1.2.999.0.1.7204516.2.813.1\0", 28)) +
                 element({0x0002, 0x0013}, "SH", "VELMORA_21.6.2") + element({0x0002, 0x0016}, "AE", "SENDER");
    Saved saved = save_as(old_head + data, MODE_UNKNOWN, MODE_EXPLICIT_BIG);
    ASSERT_TRUE(saved.done) << saved.error;
    EXPECT_EQ(saved.bytes.substr(0, saved.bytes.size() - saved.body.size()), Bytes(128, '\0') + "DICM" +
              element({0x0002, 0x0000}, "UL", number_32(static_cast<uint32_t>(rest.size()))) + rest);
}

TEST(HostSave, WritesWhatElseTheHeadHolds)
{
    Bytes private_id = element({0x0002, 0x0100}, "UI", Bytes("1.2.3\0", 6));
    Bytes head = part10_head("1.2.840.10008.1.2.1") + private_id;
    Save_Options options;
    options.even_lengths = true;
    const struct { const char *name; Bytes read, written; } rows[] = {
        {"bytes of an odd length", element({0x0002, 0x0102}, "OB", "odd"),
         element({0x0002, 0x0102}, "OB", Bytes("odd\0", 4))},
        {"a VR of today", element({0x0002, 0x0110}, "UC", "text"), element({0x0002, 0x0110}, "UN", "text")},
        {"too long by its padding", element({0x0002, 0x0110}, "LT", Bytes(65535, 't')),
         element({0x0002, 0x0110}, "UN", Bytes(65535, 't') + " ")},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.name);
        Saved saved = save(head + row.read + FIRST, MODE_UNKNOWN, options);
        ASSERT_TRUE(saved.done) << saved.error;
        EXPECT_TRUE(saved.bytes.find(private_id + row.written + FIRST) != Bytes::npos);
        EXPECT_EQ(saved.body, FIRST);
    }
}

TEST(HostSave, NamesTheSyntaxThatIsWritten)
{
    Bytes jpeg = element(PIXELS, "OB", fragments({"", "AB"}), 8, 0xFFFFFFFF), native = element(PIXELS, "OW", "12");
    Bytes unread = element({0x0009, 0x1001}, "UN", fragments({"abcdef", "zz"}), 8, 0xFFFFFFFF);
    const struct { const char *name, *input_uid; Bytes body; unsigned char to; const char *uid, *error; } rows[] = {
        {"as it came", "1.2.840.10008.1.2.1", native, MODE_UNKNOWN, "1.2.840.10008.1.2.1", ""},
        {"to implicit", "1.2.840.10008.1.2.1", native, 0, "1.2.840.10008.1.2", ""},
        {"compressed", "1.2.840.10008.1.2.4.50", jpeg, MODE_UNKNOWN, "1.2.840.10008.1.2.4.50", ""},
        {"compressed, explicit", "1.2.840.10008.1.2.4.50", jpeg, 8, "1.2.840.10008.1.2.4.50", ""},
        {"compressed, implicit", "1.2.840.10008.1.2.4.50", jpeg, 0, "",
         "its pixel data is compressed (1.2.840.10008.1.2.4.50), which is only written as explicit VR little endian"},
        {"compressed, big", "1.2.840.10008.1.2.4.50", jpeg, 9, "",
         "its pixel data is compressed (1.2.840.10008.1.2.4.50), which is only written as explicit VR little endian"},
        {"without pixel data", "1.2.840.10008.1.2.4.50", "", 0, "1.2.840.10008.1.2", ""},
        {"compressed, not said", "1.2.840.10008.1.2.1", jpeg, 9, "",
         "its pixel data is compressed (1.2.840.10008.1.2.1), which is only written as explicit VR little endian"},
        {"items of an UN that could not be read", "1.2.840.10008.1.2.1", unread, 9, "",
         "it has a UN with items whose bytes are no attributes, which is only written as explicit VR little endian"},
        {"pixel data behind such items", "1.2.840.10008.1.2.4.50", unread + jpeg, 0, "",
         "its pixel data is compressed (1.2.840.10008.1.2.4.50), which is only written as explicit VR little endian"},
        {"a syntax of its own", "1.2.3.4", native, 8, "1.2.3.4", ""},
        {"a name that is none", "1.2.NONE", native, 8, "1.2.840.10008.1.2.1", ""},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.name);
        Saved saved = save_as(part10_head(row.input_uid) + FIRST + row.body, MODE_UNKNOWN, row.to);
        EXPECT_EQ(saved.error, row.error);
        EXPECT_EQ(saved.done, row.error[0] == '\0');
        if (saved.done) {
            Bytes uid = row.uid + Bytes(strlen(row.uid) % 2, '\0');
            EXPECT_NE(saved.bytes.find(element({0x0002, 0x0010}, "UI", uid)), Bytes::npos);
        }
    }
}

// Whatever its VR: the next reading takes it for a UN, and makes the same head.
TEST(HostSave, TakesTheHeadFromBytesThatAreNoItems)
{
    Bytes in = part10_head("1.2.840.10008.1.2.1") + element({0x0008, 0x0018}, "SQ", "1.2.3.4.56") + FIRST;
    Saved first = save_as(in, MODE_UNKNOWN, MODE_UNKNOWN), second = save_as(first.bytes, MODE_UNKNOWN, MODE_UNKNOWN);
    EXPECT_NE(first.bytes.find(element({0x0002, 0x0003}, "UI", "1.2.3.4.56")), Bytes::npos);
    EXPECT_EQ(first.bytes, second.bytes);
}

TEST(HostSave, WritesATreeThatWasNeverLoaded)
{
    Data_Set set;
    Bytes out;
    std::string error;
    DICOM_Attribute_Add(nullptr, &set.root, &set.tree, CLASS.group, CLASS.element, VR_UI, 1, "1.2.3");
    EXPECT_TRUE(save_to_memory(&set, {}, &out, &error)) << error;
    EXPECT_EQ(behind_head(out), element(CLASS, "UI", Bytes("1.2.3\0", 6)));
    EXPECT_NE(out.find("1.2.840.10008.1.2.1"), Bytes::npos);
    release_data_set(&set);
}

TEST(HostSave, TellsCompressedPixelsFromItemsThatCouldNotBeRead)
{
    Bytes head = part10_head("1.2.840.10008.1.2.1") + FIRST;
    Bytes unread = element({0x0009, 0x1001}, "UN", fragments({"abcdef", "zz"}), 8, 0xFFFFFFFF);
    Bytes jpeg = element(PIXELS, "OB", fragments({"", "AB"}), 8, 0xFFFFFFFF);
    const struct { Bytes body; const char *warning; } rows[] = {
        {unread, "9\x02,\x01""1001\x02) has items whose bytes are no attributes; they are written as they are"},
        {jpeg, "\x02) is compressed, but no transfer syntax says how"},
        {unread + jpeg, "\x02) is compressed, but no transfer syntax says how"},
    };
    for (const auto &row : rows)
        EXPECT_NE(save_as(head + row.body, MODE_UNKNOWN, 8).warnings.find(row.warning), std::string::npos);
}

// ---- values in each byte order --------------------------------------------------------

// An element of each VR that has a byte order, and of some that have none, at the top and in an item.
static Bytes values_in(int syntax)
{
    static const Bytes eight = hex({1, 2, 3, 4, 5, 6, 7, 8}), odd = hex({1, 2, 3, 4, 5});
    auto put = [syntax](Tag tag, const char *vr, const Bytes &value, int unit) {
        return element(tag, vr, in_order(value, unit, syntax), syntax);
    };
    std::vector<Bytes> inner = {put(CODE, "LO", "text", 1), put({0x0028, 0x0009}, "AT", eight, 2),
                                put({0x0028, 0x0010}, "US", eight, 2)};
    return put({0x0008, 0x0060}, "CS", "CT", 1) +
           sequence(REFERENCES, BY_DELIMITER, {item(inner, BY_DELIMITER, syntax)}, syntax) +
           put({0x0018, 0x6020}, "SL", eight, 4) + put({0x0018, 0x602C}, "FD", eight, 8) +
           put({0x0018, 0x605A}, "FL", eight, 4) + put({0x0018, 0x9219}, "SS", eight, 2) +
           put({0x0020, 0x9157}, "UL", eight, 4) + put({0x0020, 0x9165}, "AT", eight, 2) +
           put({0x0028, 0x1201}, "OW", odd, 2) + put({0x0040, 0xA010}, "CS", "A", 1) +
           put({0x0064, 0x0009}, "OF", eight, 4);
}

TEST(HostSave, KeepsTheMeaningOfValuesInEachByteOrder)
{
    for (unsigned char from : MODES) {
        for (unsigned char to : MODES) {
            SCOPED_TRACE(std::to_string(from) + " to " + std::to_string(to));
            Saved saved = save_as(values_in(from), from, to);
            ASSERT_TRUE(saved.done) << saved.error;
            Saved expected = save_as(values_in(to), to, to);
            EXPECT_EQ(saved.body, expected.body);
            EXPECT_TRUE(from != to || saved.body == values_in(to));
        }
    }
}

TEST(HostSave, KeepsVRsThatTheWritersDoNotKnow)
{
    const struct {
        const char *vr;
        int unit;
    } rows[] = {{"OD", 8}, {"OF", 4}, {"OL", 4}, {"OV", 8}, {"SV", 8}, {"UC", 1}, {"UR", 1}, {"UT", 1}, {"UV", 8}};
    for (const auto &row : rows) {
        for (size_t size : {0u, 16u, 2000u, 70000u}) {
            SCOPED_TRACE(row.vr + std::to_string(size));
            Bytes value(size, 'v');
            if (size > 0)
                value[1] = 'w';
            // A tag of the dictionary that has another VR there, and one that is not in it, in an item.
            auto stream = [&](int syntax) {
                Bytes turned = in_order(value, row.unit, syntax);
                return element({0x0008, 0x0060}, "CS", "CT", syntax) +
                       sequence(REFERENCES, BY_DELIMITER,
                                {item({element({0x0029, 0x1001}, row.vr, turned, syntax)}, BY_DELIMITER, syntax)},
                                syntax) +
                       element({0x0010, 0x0020}, row.vr, turned, syntax);
            };
            for (unsigned char from : {MODE_EXPLICIT_LITTLE, MODE_EXPLICIT_BIG})
                for (unsigned char to : {MODE_EXPLICIT_LITTLE, MODE_EXPLICIT_BIG})
                    EXPECT_TRUE(save_as(stream(from), from, to).body == stream(to)) << int(from) << " to " << int(to);
        }
    }
}

TEST(HostSave, StreamsLargeValuesFromTheSource)
{
    // Sizes at which values stay unread, are fetched or are not, and are written in more than one portion.
    for (size_t size : {1024u, 1025u, 999999u, 1000000u, 1200001u}) {
        Bytes value(size, '\0');
        for (size_t i = 0; i < size; i++)
            value[i] = static_cast<char>(i * 7 + i / 251);
        for (unsigned char to : MODES) {
            SCOPED_TRACE(std::to_string(size) + " to " + std::to_string(to));
            auto stream = [&](int syntax) {
                Bytes words = element({0x5400, 0x1010}, "OW", in_order(value, 2, syntax), syntax);
                return element({0x0008, 0x0060}, "CS", "CT", syntax) +
                       sequence({0x5400, 0x0100}, BY_DELIMITER, {item({words}, BY_DELIMITER, syntax)}, syntax) +
                       element(PIXELS, "OW", in_order(value, 2, syntax), syntax);
            };
            Saved saved = save_as(stream(MODE_EXPLICIT_LITTLE), MODE_EXPLICIT_LITTLE, to);
            ASSERT_TRUE(saved.done) << saved.error;
            EXPECT_TRUE(saved.body == stream(to));
            saved = save_as(saved.bytes, MODE_UNKNOWN, MODE_EXPLICIT_LITTLE);
            EXPECT_TRUE(saved.body == stream(MODE_EXPLICIT_LITTLE));
        }
    }
}

TEST(HostSave, ChoosesTheVRWhereTheStreamHasNone)
{
    const Bytes two = hex({0xFE, 0xFF});
    auto bits = [](uint16_t allocated, uint16_t sign) {
        return element({0x0028, 0x0100}, "US", number_16(allocated), 0) +
               element({0x0028, 0x0103}, "US", number_16(sign), 0);
    };
    const struct { const char *name; Bytes stream, written; } rows[] = {
        {"signed pixels", bits(16, 1) + element({0x0028, 0x0106}, "", two, 0), element({0x0028, 0x0106}, "SS", two)},
        {"unsigned pixels", bits(16, 0) + element({0x0028, 0x0106}, "", two, 0), element({0x0028, 0x0106}, "US", two)},
        {"words", bits(16, 0) + element(PIXELS, "", two, 0), element(PIXELS, "OW", two)},
        {"bytes", bits(8, 0) + element(PIXELS, "", two, 0), element(PIXELS, "OB", two)},
        {"overlays", element({0x6000, 0x3000}, "", two, 0), element({0x6000, 0x3000}, "OW", two)},
        {"an unknown tag", element({0x0028, 0x9FFE}, "", "12", 0), element({0x0028, 0x9FFE}, "UN", "12")},
        {"an unknown text", element({0x0029, 0x1001}, "", "NAME", 0), element({0x0029, 0x1001}, "UN", "NAME")},
        {"a private creator", element({0x0029, 0x0010}, "", "ACME", 0), element({0x0029, 0x0010}, "LO", "ACME")},
        {"too long for LO", element({0x0010, 0x4000}, "", Bytes(65536, 'x'), 0),
         element({0x0010, 0x4000}, "UN", Bytes(65536, 'x'))},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.name);
        Saved saved =
            save_as(element({0x0008, 0x0060}, "", "CT", 0) + row.stream, MODE_IMPLICIT_LITTLE, MODE_EXPLICIT_LITTLE);
        ASSERT_TRUE(saved.done) << saved.error;
        ASSERT_GE(saved.body.size(), row.written.size());
        EXPECT_EQ(saved.body.substr(saved.body.size() - row.written.size()), row.written);
    }
}

TEST(HostSave, WritesAsUnknownWhatTheShortFormCannotTell)
{
    Bytes long_shorts(70000, '\1');
    long_shorts[0] = '\2';
    Bytes implicit = element({0x0008, 0x0060}, "", "CT", 0) + element({0x0028, 0x3006}, "", "12", 0) +
                     element({0x0018, 0x9219}, "", long_shorts, 0);
    for (unsigned char to : {MODE_EXPLICIT_LITTLE, MODE_EXPLICIT_BIG}) {
        Saved saved = save_as(implicit, MODE_IMPLICIT_LITTLE, to);
        ASSERT_TRUE(saved.done) << saved.error;
        // What a UN holds is little endian in any stream.
        EXPECT_NE(saved.body.find(element({0x0018, 0x9219}, "UN", long_shorts, to)), Bytes::npos);
        EXPECT_EQ(save_as(saved.bytes, MODE_UNKNOWN, 0).body, save_as(implicit, 0, 0).body);
    }
    Save_Options options;
    options.later_vrs_as_un = true;
    Saved saved = save(FIRST + element({0x0064, 0x0009}, "OF", "12345678"), MODE_EXPLICIT_LITTLE, options);
    EXPECT_EQ(saved.body, FIRST + element({0x0064, 0x0009}, "UN", "12345678"));
    // The byte that makes its length even is one too many for the short form.
    options.even_lengths = true;
    saved = save(FIRST + element({0x0010, 0x4000}, "LT", Bytes(65535, 't')), MODE_EXPLICIT_LITTLE, options);
    EXPECT_TRUE(saved.body == FIRST + element({0x0010, 0x4000}, "UN", Bytes(65535, 't') + " "));
}

TEST(HostSave, KeepsUnknownVRsAndOddLengthsAsTheyAre)
{
    Bytes odd = element({0x0010, 0x0020}, "LO", "ODD");
    Bytes unknown = number_16(0x0010) + number_16(0x9998) + "ZZ" + number_16(4) + "text";
    Saved saved = save_as(FIRST + odd + unknown, MODE_EXPLICIT_LITTLE, MODE_EXPLICIT_LITTLE);
    EXPECT_EQ(saved.body, FIRST + odd + element({0x0010, 0x9998}, "UN", "text"));
}

// ---- groups ---------------------------------------------------------------------------

static const unsigned short GROUPS[] = {0x0000, 0x0004, 0x0006, 0x0008, 0x0009, 0x0010, 0x0030, 0x5100, 0x60FE, 0x6100,
                                        0x7F00, 0x7F02, 0x7FDF, 0x7FE0, 0x7FE1, 0x7FF0, 0x7FFF, 0x8000, 0xFFFC};

static Bytes one_of_each_group(bool (*takes)(unsigned short group))
{
    Bytes bytes;
    for (unsigned short group : GROUPS)
        if (takes(group))
            bytes += element({group, 0x0011}, "LO", "some");
    return bytes;
}

TEST(HostSave, WritesEveryGroupInTheOrderOfTags)
{
    Bytes all = one_of_each_group([](unsigned short) { return true; });
    EXPECT_EQ(save(all, MODE_EXPLICIT_LITTLE, {}).body, all);

    Save_Options options;
    options.standard_groups_only = true;
    Saved saved = save(all, MODE_EXPLICIT_LITTLE, options);
    EXPECT_EQ(saved.body, one_of_each_group([](unsigned short g) {
                  return g == 0x0008 || g == 0x0009 || g == 0x0010 || g == 0x60FE || g == 0x7FE0 || g == 0x7FF0 ||
                         g == 0x7FFF;
              }));
    EXPECT_EQ(saved.warnings, "    \xF1\x05WARNING:\x02 groups that are not written: 0000 0004 0006 0030 5100 6100 "
                              "7f00 7f02 7fdf 7fe1 8000 fffc\n");

    options = Save_Options();
    options.keep_private = false;
    EXPECT_EQ(save(all, MODE_EXPLICIT_LITTLE, options).body,
              one_of_each_group([](unsigned short g) { return g % 2 == 0; }));
}

TEST(HostSave, SortsWhatIsNotInOrder)
{
    Bytes late = element(NAME, "PN", "A^B "), early = element({0x0008, 0x0020}, "DA", "20240101");
    Saved saved = save(element({0x0010, 0x0020}, "LO", "ID") + late + early, MODE_EXPLICIT_LITTLE, {});
    EXPECT_EQ(saved.body, early + late + element({0x0010, 0x0020}, "LO", "ID"));
}

TEST(HostSave, WritesGroupLengthsAnewOrNotAtAll)
{
    auto stream = [](int syntax, bool with_lengths) {
        Bytes parts[] = {element({0x0008, 0x0060}, "CS", "CT", syntax), element({0x0030, 0x0010}, "LO", "some", syntax),
            element(PIXELS, "OB", Bytes(5000, 'p'), syntax), element({0x7FF0, 0x0010}, "LO", "behind", syntax)};
        const unsigned short groups[] = {0x0008, 0x0030, 0x7FE0, 0x7FF0};
        Bytes bytes;
        for (int i = 0; i < 4; i++) {
            if (with_lengths)
                bytes += element({groups[i], 0x0000}, "UL", number_32(static_cast<uint32_t>(parts[i].size()), syntax),
                                 syntax);
            bytes += parts[i];
        }
        return bytes;
    };
    Save_Options options;
    for (unsigned char to : MODES) {
        options.mode = to;
        options.group_lengths = true;
        EXPECT_TRUE(save(stream(8, false), MODE_EXPLICIT_LITTLE, options).body == stream(to, true)) << int(to);
        options.group_lengths = false;
        EXPECT_TRUE(save(stream(8, true), MODE_EXPLICIT_LITTLE, options).body == stream(to, false)) << int(to);
    }
}

// ---- sequences ------------------------------------------------------------------------

TEST(HostSave, WritesLengthsOrDelimiters)
{
    Bytes large = element({0x0040, 0xA160}, "UT", Bytes(3000, 't'));
    for (const Bytes &inside : {element(CLASS, "UI", "1.2.3.40"), large}) {
        auto stream = [&](Ending ending) {
            return FIRST + sequence(REFERENCES, ending, {item({inside}, ending), item({inside}, ending)}) +
                   sequence({0x0008, 0x1199}, ending, {}) + element(NAME, "PN", "A^B ");
        };
        Save_Options options;
        for (Ending from : {BY_LENGTH, BY_DELIMITER}) {
            options.defined_lengths = true;
            EXPECT_TRUE(save(stream(from), MODE_EXPLICIT_LITTLE, options).body == stream(BY_LENGTH));
            options.defined_lengths = false;
            EXPECT_TRUE(save(stream(from), MODE_EXPLICIT_LITTLE, options).body == stream(BY_DELIMITER));
        }
    }
}

TEST(HostSave, KeepsEmptyItemsAndThoseThatBecomeEmpty)
{
    Bytes shown = element(CLASS, "UI", "1.2.3.40");
    Bytes hidden = element({0x0009, 0x0010}, "LO", "ACME") + element({0x0009, 0x1001}, "LO", "some");
    for (Ending ending : {BY_LENGTH, BY_DELIMITER}) {
        auto stream = [&](const Bytes &second) {
            return FIRST +
                   sequence(REFERENCES, ending,
                            {item({}, ending), item({second}, ending), item({shown}, ending), item({}, ending)});
        };
        Save_Options options;
        options.defined_lengths = ending == BY_LENGTH;
        EXPECT_EQ(save(stream(hidden), MODE_EXPLICIT_LITTLE, options).body, stream(hidden));
        options.keep_private = false;
        EXPECT_EQ(save(stream(hidden), MODE_EXPLICIT_LITTLE, options).body, stream(""));
    }
}

// As the library's own removal leaves it: what a walk does not come to is made editable all the same.
TEST(HostSave, KeepsTheItemsBehindOneThatBecameEmpty)
{
    auto stream = [](int syntax, bool is_emptied) {
        Bytes smallest = element({0x0028, 0x0106}, "SS", in_order(number_16(0xFFF0), 2, syntax), syntax);
        Bytes full = item({smallest}, BY_DELIMITER, syntax), empty = item({}, BY_DELIMITER, syntax);
        return sequence({0x0008, 0x1140}, BY_DELIMITER, {full, is_emptied ? empty : full, full}, syntax) +
               element({0x0028, 0x0103}, "US", in_order(number_16(1), 2, syntax), syntax);
    };
    for (unsigned char from : MODES) {
        for (bool is_editable : {false, true}) {
            Loaded loaded(stream(from, false), from);
            DICOM_Root root = {};
            DICOM_List **item = &loaded.set.tree->item[1];
            DICOM_Attribute_Delete(nullptr, &root, item, 0xFFFF, 0xFFFF);
            ASSERT_EQ(*item, nullptr);
            if (is_editable)
                make_editable(&loaded.set);
            Save_Options options;
            options.mode = MODE_EXPLICIT_LITTLE;
            Bytes out;
            std::string error;
            ASSERT_TRUE(save_to_memory(&loaded.set, options, &out, &error)) << error;
            EXPECT_EQ(behind_head(out), stream(MODE_EXPLICIT_LITTLE, true)) << int(from) << is_editable;
        }
    }
}

TEST(HostSave, KeepsTheFragmentsOfEncapsulatedData)
{
    Bytes table = number_32(0) + number_32(2008), odd(1999, 'f');
    Bytes pixels = element(PIXELS, "OB", fragments({table, Bytes(2000, 'e'), odd, ""}), 8, 0xFFFFFFFF);
    Bytes icon =
        element({0x0028, 0x0010}, "US", number_16(1)) + element(PIXELS, "OB", fragments({"", "icon"}), 8, 0xFFFFFFFF);
    Bytes body = FIRST + sequence({0x0088, 0x0200}, BY_DELIMITER, {item({icon}, BY_DELIMITER)}) + pixels +
                 element({0x7FF0, 0x0010}, "LO", "behind");
    Bytes file = part10_head("1.2.840.10008.1.2.4.90") + body;
    EXPECT_TRUE(save(file, MODE_UNKNOWN, {}).body == body);
    EXPECT_TRUE(save_as(file, MODE_UNKNOWN, MODE_EXPLICIT_LITTLE).body == body);
    // Without pixel data of its own the icon alone forbids it.
    Bytes only_icon = part10_head("1.2.840.10008.1.2.1") + body.substr(0, body.size() - pixels.size() - 14);
    EXPECT_FALSE(save_as(only_icon, MODE_UNKNOWN, MODE_IMPLICIT_LITTLE).done);
}

TEST(HostSave, WritesUnknownSequencesAsImplicitVR)
{
    Bytes inside = item({element(CLASS, "UI", "1.2.3.40", 0)}, BY_DELIMITER, 0) + delimiter(ELEMENT_SEQUENCE_END);
    Bytes unknown = element({0x0029, 0x1001}, "UN", inside, 8, 0xFFFFFFFF);
    EXPECT_EQ(save_as(FIRST + unknown, MODE_EXPLICIT_LITTLE, MODE_EXPLICIT_LITTLE).body, FIRST + unknown);
    EXPECT_EQ(save_as(FIRST + unknown, MODE_EXPLICIT_LITTLE, MODE_EXPLICIT_BIG).body,
              element({0x0008, 0x0060}, "CS", "CT", 9) + element({0x0029, 0x1001}, "UN", inside, 9, 0xFFFFFFFF));
    EXPECT_EQ(save_as(FIRST + unknown, MODE_EXPLICIT_LITTLE, MODE_IMPLICIT_LITTLE).body,
              element({0x0008, 0x0060}, "", "CT", 0) + element({0x0029, 0x1001}, "", inside, 0, 0xFFFFFFFF));
}

// A sequence in a sequence, so many of them, around values that have a byte order: one of a size that is copied into
// the tree but not into the stream, and one that stays in the source.
static Bytes nested(int depth, int syntax, Ending ending)
{
    Bytes large(1000, '\1');
    for (size_t i = 0; i < large.size(); i += 2)
        large[i] = static_cast<char>(i / 2);
    Bytes inside = element({0x0028, 0x0009}, "AT", in_order(large, 2, syntax), syntax) +
                   element({0x0029, 0x1001}, "LO", "private ", syntax) +
                   element({0x0064, 0x0009}, "OF", in_order(large + large, 4, syntax), syntax);
    for (int i = 0; i < depth; i++)
        inside = sequence({0x0040, 0xA730}, ending, {item({inside}, ending, syntax)}, syntax);
    return element({0x0008, 0x0060}, "CS", "SR", syntax) + inside;
}

TEST(HostSave, ConvertsSequencesBelowTheNinthLevel)
{
    for (int depth : {9, 10, 12, 30, 120}) {
        for (unsigned char from : MODES) {
            for (unsigned char to : MODES) {
                SCOPED_TRACE(std::to_string(depth) + ": " + std::to_string(from) + " to " + std::to_string(to));
                Saved saved = save_as(nested(depth, from, BY_DELIMITER), from, to);
                ASSERT_TRUE(saved.done) << saved.error;
                if (from == MODE_IMPLICIT_LITTLE && to != from)   // no VR tells what the private attribute is
                    saved = save_as(saved.bytes, MODE_UNKNOWN, from);
                EXPECT_TRUE(saved.body == nested(depth, from == MODE_IMPLICIT_LITTLE ? from : to, BY_DELIMITER));
            }
        }
    }
    Save_Options options;
    for (Ending to : {BY_LENGTH, BY_DELIMITER}) {
        options.defined_lengths = to == BY_LENGTH;
        for (Ending from : {BY_LENGTH, BY_DELIMITER})
            EXPECT_TRUE(save(nested(30, 8, from), MODE_EXPLICIT_LITTLE, options).body == nested(30, 8, to));
    }
    options.keep_private = false;
    EXPECT_EQ(save(nested(12, 8, BY_DELIMITER), MODE_EXPLICIT_LITTLE, options).body.find("private"), Bytes::npos);
}

TEST(HostSave, RefusesToConvertWhatIsNestedTooDeep)
{
    Bytes deep = nested(400, 8, BY_LENGTH);
    Saved saved = save_as(deep, MODE_EXPLICIT_LITTLE, MODE_IMPLICIT_LITTLE);
    EXPECT_FALSE(saved.done);
    EXPECT_NE(saved.error.find("(0040,a730) is nested too deep to be converted"), Bytes::npos) << saved.error;
    // In the same encoding nothing has to be converted.
    Save_Options options;
    options.defined_lengths = true;
    EXPECT_TRUE(save(deep, MODE_EXPLICIT_LITTLE, options).body == deep);
}

// ---- media directories ----------------------------------------------------------------

// Three records: the second is below the first, the third follows it. Each ends with some more attributes.
static Bytes directory(int syntax, size_t head, Ending ending, const Bytes &more = "", uint32_t wrong = 0)
{
    auto record = [&](uint32_t next, uint32_t lower, const char *type) {
        return item({element({0x0004, 0x1400}, "UL", number_32(next, syntax), syntax),
                     element({0x0004, 0x1420}, "UL", number_32(lower, syntax), syntax),
                     element({0x0004, 0x1430}, "CS", type, syntax), more}, ending, syntax);
    };
    uint32_t in_front = static_cast<uint32_t>(head) + 12 + 12 + (syntax != 0 ? 12 : 8);
    uint32_t first = static_cast<uint32_t>(record(0, 0, "PATIENT ").size());
    uint32_t second = static_cast<uint32_t>(record(0, 0, "STUDY ").size());
    uint32_t places[] = {in_front, in_front + first, in_front + first + second};
    return element({0x0004, 0x1200}, "UL", number_32(places[0], syntax), syntax) +
           element({0x0004, 0x1202}, "UL", number_32(places[2], syntax), syntax) +
           sequence({0x0004, 0x1220}, ending,
                    {record(places[2], places[1], "PATIENT "), record(0, wrong, "STUDY "), record(0, 0, "PATIENT ")},
                    syntax);
}

static Bytes directory_file(int syntax, Ending ending, const Bytes &more = "", uint32_t wrong = 0)
{
    static const char *const uids[] = {"1.2.840.10008.1.2", "1.2.840.10008.1.2.1", "1.2.840.10008.1.2.2"};
    Bytes head = part10_head(uids[syntax == 0 ? 0 : syntax - 7]);
    return head + directory(syntax, head.size(), ending, more, wrong);
}

TEST(HostSave, MovesTheOffsetsOfMediaDirectories)
{
    Bytes hidden = element({0x0009, 0x0010}, "LO", "ACME") + element({0x0009, 0x1001}, "LO", "some");
    for (unsigned char from : MODES) {
        for (Ending ending : {BY_LENGTH, BY_DELIMITER}) {
            for (bool has_group_lengths : {false, true}) {
                for (bool keep_private : {true, false}) {
                    Save_Options options;
                    options.defined_lengths = ending == BY_LENGTH;
                    options.group_lengths = has_group_lengths;
                    options.keep_private = keep_private;
                    bool has_private = from == MODE_EXPLICIT_LITTLE;
                    Bytes file = directory_file(from, BY_LENGTH, has_private ? hidden : "");
                    Saved saved = save(file, MODE_UNKNOWN, options);
                    ASSERT_TRUE(saved.done) << saved.error;
                    size_t head = saved.bytes.size() - saved.body.size() + (has_group_lengths ? 12 : 0);
                    Bytes expected = directory(8, head, ending, has_private && keep_private ? hidden : "");
                    if (has_group_lengths)
                        expected = element({0x0004, 0x0000}, "UL", number_32(static_cast<uint32_t>(expected.size()))) +
                                   expected;
                    EXPECT_EQ(saved.body, expected) << int(from) << has_group_lengths << keep_private;
                }
            }
        }
    }
}

// They go out in parts; with lengths, whole.
TEST(HostSave, KeepsTheItemsOfALongSequence)
{
    for (int syntax : {0, 8, 9}) {
        for (size_t items : {63u, 64u, 65u, 128u, 129u}) {
            for (Ending ending : {BY_LENGTH, BY_DELIMITER}) {
                std::vector<Bytes> each;
                for (size_t i = 0; i < items; i++)
                    each.push_back(
                        item({element({0x0008, 0x1150}, "UI", Bytes(2 + i % 9 * 2, '1'), syntax)}, ending, syntax));
                Bytes stream = element({0x0008, 0x0060}, "CS", "CT", syntax) +
                               sequence({0x0008, 0x1140}, ending, each, syntax) +
                               element({0x0010, 0x0010}, "PN", "Doe^Jane", syntax);
                Save_Options options;
                options.defined_lengths = ending == BY_LENGTH;
                EXPECT_EQ(save(stream, static_cast<unsigned char>(syntax), options).body, stream)
                    << items << " items, encoding " << syntax;
            }
        }
    }
}

// One by one, in a row, and at the ends of what is written at once.
TEST(HostSave, KeepsTheOrderOfWhatTheLibraryAndTheHostWrite)
{
    Bytes items;
    for (int i = 0; i < 70; i++)
        items += item({element(CODE, "SH", "CODE")}, BY_DELIMITER);
    for (int run : {1, 2, 255, 256, 257}) {
        Bytes stream = FIRST;
        for (int i = 0; i < 1100; i++) {
            Tag tag = {static_cast<unsigned short>(0x4000 + i / 100 * 2), static_cast<unsigned short>(0x1000 + i)};
            bool is_hosts = i / run % 2 != 0;
            stream += element(tag, is_hosts ? "UC" : "LO", Bytes(static_cast<size_t>(i % 5 * 2), 'x'));
            if (i % 300 == 199)   // the last of its group
                stream += element({tag.group, 0x2000}, "SQ", items + delimiter(ELEMENT_SEQUENCE_END), 8, 0xFFFFFFFF);
        }
        EXPECT_TRUE(save_as(stream, MODE_EXPLICIT_LITTLE, MODE_UNKNOWN).body == stream) << run;
    }
}

TEST(HostSave, RefusesWhatAMediaDirectoryCannotBe)
{
    Bytes file = directory_file(8, BY_LENGTH);
    for (unsigned char to : {MODE_IMPLICIT_LITTLE, MODE_EXPLICIT_BIG})
        EXPECT_EQ(save_as(file, MODE_UNKNOWN, to).error,
                  "is a media directory, which is only written as explicit VR little endian");
    Save_Options options;
    options.standard_groups_only = true;
    EXPECT_EQ(save(file, MODE_UNKNOWN, options).error,
              "is a media directory, whose records are in none of the groups that would be written");
    EXPECT_EQ(save(directory_file(8, BY_LENGTH, "", 77), MODE_UNKNOWN, {}).error,
              "(0004,1420) of the media directory points to offset 77, where no record begins");
}

// ---- memory ---------------------------------------------------------------------------

TEST(HostSave, EndsCleanlyWhenTheLibraryGetsNoMemory)
{
    Bytes in = values_in(8) + element(PIXELS, "OW", Bytes(3000, 'p'));
    Bytes expected = save_as(in, MODE_EXPLICIT_LITTLE, MODE_EXPLICIT_BIG).bytes;
    Loaded loaded(in, MODE_EXPLICIT_LITTLE);
    refuse_each_allocation([&](int) {
        Reports said;
        Save_Options options;
        options.mode = MODE_EXPLICIT_BIG;
        Bytes out;
        std::string error;
        bool done = save_to_memory(&loaded.set, options, &out, &error);
        EXPECT_TRUE(done ? out == expected : !error.empty() && out.empty());
    });
}

// More than a block of the library can hold. Nothing is read of it here.
TEST(HostSave, WritesLargeValuesThatAreInTheTree)
{
    if (sizeof(void *) < 8)
        GTEST_SKIP();
    static const size_t LARGE = 0x50000000;
    void *room = mmap(nullptr, LARGE, PROT_READ, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    ASSERT_NE(room, MAP_FAILED);
    Loaded loaded(FIRST + element({0x0042, 0x0011}, "OB", "") + element({0x0042, 0x0015}, "OB", ""));
    DICOM_List *const nodes[] = {loaded.set.tree->next, loaded.set.tree->next->next};
    for (DICOM_List *node : nodes) {
        node->data = static_cast<char *>(room);
        node->size = static_cast<int>(LARGE);
    }
    Save_Options options;
    options.dry_run = true;
    std::string error;
    EXPECT_TRUE(save_to_path(&loaded.set, "", options, &error)) << error;
    for (DICOM_List *node : nodes) {
        node->data = nullptr;
        node->size = 0;
    }
    munmap(room, LARGE);
}
