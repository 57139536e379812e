// How a stream is found and how it is encoded: heads, transfer syntaxes, streams without a head, deflated ones.
#include <gtest/gtest.h>
#include <zlib.h>

#include "tests/host_listing.h"

using namespace velmora_host;

static const int IMPLICIT = 0, EXPLICIT = 8, BIG = 9, IMPLICIT_BIG = 1;

// A small data set: a name, a sequence with one item, a number.
static Bytes small_set(int syntax)
{
    return element({0x0008, 0x0060}, "CS", "CT", syntax) + element({0x0010, 0x0010}, "PN", "Doe^Jane", syntax) +
           sequence({0x0040, 0x0275}, BY_LENGTH, {item({element({0x0040, 0x0009}, "SH", "A1", syntax)}, BY_LENGTH, syntax)},
                    syntax) +
           element({0x0028, 0x0010}, "US", number_16(512, syntax), syntax);
}

static const char SMALL_TREE_VALUES[] = "0008,0060 CS [CT]\n0010,0010 PN [Doe^Jane]\n0040,0275 SQ\n item\n  0040,0009 SH [A1]\n";

static Bytes with_head(const char *uid, const Bytes &data) { return part10_head(uid) + data; }

static Bytes deflated(const Bytes &data, int window)
{
    z_stream stream = {};
    deflateInit2(&stream, 9, Z_DEFLATED, window, 9, Z_DEFAULT_STRATEGY);
    Bytes out(data.size() + 1000, '\0');
    stream.next_in = reinterpret_cast<Bytef *>(const_cast<char *>(data.data()));
    stream.avail_in = static_cast<uInt>(data.size());
    stream.next_out = reinterpret_cast<Bytef *>(&out[0]);
    stream.avail_out = static_cast<uInt>(out.size());
    deflate(&stream, Z_FINISH);
    out.resize(stream.total_out);
    deflateEnd(&stream);
    return out;
}

// Without the element that holds a number, whose bytes differ with the encoding, and without group 0002.
static std::string text_part(const Loaded &loaded)
{
    std::string tree = loaded.tree();
    size_t start = tree.find("0008,0060"), end = tree.find("0028,0010");
    return start == std::string::npos ? tree : tree.substr(start, end - start);
}

TEST(HostEncoding, IsFoundFromTheHeadOrFromTheBytes)
{
    const Bytes meta = part10_head("1.2.840.10008.1.2").substr(132);
    const struct { const char *name; Bytes bytes; int mode; bool has_head; } rows[] = {
        {"implicit little endian", with_head("1.2.840.10008.1.2", small_set(IMPLICIT)), IMPLICIT, true},
        {"explicit little endian", with_head("1.2.840.10008.1.2.1", small_set(EXPLICIT)), EXPLICIT, true},
        {"explicit big endian", with_head("1.2.840.10008.1.2.2", small_set(BIG)), BIG, true},
        {"encapsulated", with_head("1.2.840.10008.1.2.4.50", small_set(EXPLICIT)), EXPLICIT, true},
        {"an unknown syntax", with_head("1.2.3.4", small_set(IMPLICIT)), IMPLICIT, true},
        {"no transfer syntax named", with_head("", small_set(BIG)), BIG, true},
        {"no group 0002 behind DICM", Bytes(128, '\0') + "DICM" + small_set(IMPLICIT), IMPLICIT, false},
        {"group 0002 without preamble", meta + small_set(IMPLICIT), IMPLICIT, true},
        {"DICM without preamble", "DICM" + meta + small_set(IMPLICIT), IMPLICIT, true},
        {"preamble without DICM", Bytes(128, '\0') + meta + small_set(IMPLICIT), IMPLICIT, true},
        {"a preamble too short", Bytes(127, '\0') + "DICM" + meta + small_set(IMPLICIT), IMPLICIT, true},
        {"bare implicit little endian", small_set(IMPLICIT), IMPLICIT, false},
        {"bare explicit little endian", small_set(EXPLICIT), EXPLICIT, false},
        {"bare explicit big endian", small_set(BIG), BIG, false},
        {"bare implicit big endian", small_set(IMPLICIT_BIG), IMPLICIT_BIG, false},
        {"ACR-NEMA with group lengths", element({0x0008, 0x0000}, "UL", number_32(1000), IMPLICIT) + small_set(IMPLICIT),
         IMPLICIT, false},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.name);
        Loaded loaded(row.bytes);
        ASSERT_EQ(loaded.result, LOADED) << loaded.error;
        EXPECT_EQ(loaded.set.mode, row.mode);
        EXPECT_EQ(loaded.set.has_head, row.has_head);
        EXPECT_EQ(text_part(loaded), SMALL_TREE_VALUES);
        EXPECT_EQ(loaded.warnings().substr(loaded.warnings().find('(')), "(0028,0010) tags should be sorted!\n");   // the host has no part in that
    }
}

TEST(HostEncoding, BelievesTheElementsRatherThanTheHead)
{
    Loaded loaded(with_head("1.2.840.10008.1.2.1", element({0x0008, 0x0060}, "CS", "CT", IMPLICIT) +
                                                       element({0x0010, 0x0010}, "PN", "Doe^Jane", IMPLICIT)));
    ASSERT_EQ(loaded.result, LOADED);
    EXPECT_EQ(loaded.set.mode, IMPLICIT);
    EXPECT_EQ(loaded.warnings(), "the head names explicit VR little endian (1.2.840.10008.1.2.1), but the data set at "
                                 "offset 186 is implicit VR little endian and is read as that\n");
    // Behind enough bytes a length that is read wrongly fits.
    for (size_t pixels : {0u, 10000u, 8000000u}) {
        for (int mode : {IMPLICIT, EXPLICIT, BIG}) {
            for (const char *uid : {"1.2.840.10008.1.2", "1.2.840.10008.1.2.1", "1.2.840.10008.1.2.2"}) {
                SCOPED_TRACE(testing::Message() << uid << " for " << mode << ", " << pixels << " bytes of pixels");
                Bytes image = element({0x7FE0, 0x0010}, "OB", Bytes(pixels, '\0'), mode);
                Loaded wrong(with_head(uid, small_set(mode) + image));
                EXPECT_EQ(wrong.set.mode, mode);
                EXPECT_EQ(text_part(wrong).substr(0, strlen(SMALL_TREE_VALUES)), SMALL_TREE_VALUES);
            }
        }
    }
}

TEST(HostEncoding, BelievesTheHeadAsLongAsNothingSpeaksAgainstIt)
{
    const Bytes unknown = element({0x0801, 0x0008}, "", "12", IMPLICIT), cut = Bytes("\x0A\0\x0A", 3);
    const struct {
        const char *name;
        Bytes stream;
    } rows[] = {
        {"a tag that is known in the other byte order", element({0x0800, 0x6000}, "", "", IMPLICIT)},
        {"the same in front of what is cut",            element({0x0800, 0x6000}, "", "", IMPLICIT) + cut},
        {"nothing but tags that nobody knows",          unknown + unknown},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.name);
        Loaded loaded(with_head("1.2.840.10008.1.2", row.stream));
        EXPECT_EQ(loaded.set.mode, IMPLICIT);
        EXPECT_EQ(loaded.warnings().find("the head names"), std::string::npos);
    }
}

TEST(HostEncoding, EndsGroup0002WhereTheGroupChanges)
{
    const Bytes uid = element({0x0002, 0x0010}, "UI", "1.2.840.10008.1.2\0");
    for (uint32_t told : {0u, 4u, 1000000u, 0xFFFFFFFFu}) {
        Bytes length = element({0x0002, 0x0000}, "UL", number_32(told));
        Loaded loaded(Bytes(128, '\0') + "DICM" + length + element({0x0002, 0x0010}, "UI", "1.2.840.10008.1.2") +
                      small_set(IMPLICIT));
        EXPECT_EQ(loaded.set.mode, IMPLICIT) << told;
        EXPECT_EQ(text_part(loaded), SMALL_TREE_VALUES) << told;
    }
}

TEST(HostEncoding, InflatesADeflatedDataSet)
{
    const struct { const char *name; int window; } rows[] = {
        {"raw, as the standard has it", -15}, {"with a zlib head", 15}, {"with a gzip head", 31},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.name);
        Bytes head = part10_head("1.2.840.10008.1.2.1.99");
        Loaded loaded(head + deflated(small_set(EXPLICIT), row.window));
        ASSERT_EQ(loaded.result, LOADED);
        EXPECT_TRUE(loaded.set.is_deflated);
        EXPECT_EQ(text_part(loaded), SMALL_TREE_VALUES);
        EXPECT_EQ(loaded.set.stream_base, static_cast<int>(head.size()));
        EXPECT_EQ(loaded.set.listing.back().data_pos - loaded.set.stream_base,
                  static_cast<int>(small_set(EXPLICIT).size()) - 2);
    }
}

TEST(HostEncoding, KeepsWhatCouldBeInflated)
{
    Bytes head = part10_head("1.2.840.10008.1.2.1.99");
    Bytes long_text(3000, 'x');
    Bytes data = small_set(EXPLICIT) + element({0x0040, 0xA160}, "UT", long_text);
    Bytes packed = deflated(data, -15);
    Loaded cut(head + packed.substr(0, packed.size() - 6));
    ASSERT_EQ(cut.result, LOADED);
    EXPECT_EQ(text_part(cut), SMALL_TREE_VALUES);
    ASSERT_GE(cut.said.size(), 1u);
    EXPECT_EQ(cut.said[0].rfind("the deflated stream is damaged (it ends early) after ", 0), 0u) << cut.said[0];

    Loaded plain(head + small_set(EXPLICIT));
    EXPECT_EQ(text_part(plain), SMALL_TREE_VALUES);
    EXPECT_EQ(plain.said[0], "the head names the deflated transfer syntax, but the data set is not deflated");
}

TEST(HostEncoding, StopsInflatingAtTheLimit)
{
    Bytes packed = deflated(small_set(EXPLICIT) + element({0x0042, 0x0011}, "OB", Bytes(200000, '\0')), -15);
    Load_Options options;
    options.inflate_limit = 100000;
    Loaded loaded(part10_head("1.2.840.10008.1.2.1.99") + packed, MODE_UNKNOWN, options);
    ASSERT_EQ(loaded.result, LOADED);
    EXPECT_EQ(text_part(loaded), SMALL_TREE_VALUES);
    EXPECT_EQ(loaded.said[0], "the deflated data set grows past the limit of 100000 bytes; what is behind that is not read");
    EXPECT_EQ(loaded.set.source.size, loaded.set.stream_base + 100000);
}

TEST(HostEncoding, SaysWhatAFileIsNot)
{
    const struct { Bytes bytes; const char *error; } rows[] = {
        {"", "is empty"},
        {"Hello, world. This is a text.\n", "is not a DICOM or ACR-NEMA data set, but a text"},
        {"\xFF\xD8\xFF\xE0" + Bytes(100, '\7'), "is not a DICOM or ACR-NEMA data set, but a JPEG image"},
        {"\x28\xB5\x2F\xFD" + Bytes(100, '\7'), "is not a DICOM or ACR-NEMA data set, but a zstd-compressed file"},
        {Bytes(1000, '\0'), "is not a DICOM or ACR-NEMA data set"}, {"\7", "is not a DICOM or ACR-NEMA data set"},
        {Bytes(128, '\0') + "DICM", "has no element that can be read"},
        {Bytes(128, '\0') + "DICM" + "no head", "has no element that can be read"},
    };
    for (const auto &row : rows) {
        Loaded loaded(row.bytes);
        EXPECT_EQ(loaded.result, NOT_A_DATA_SET);
        EXPECT_EQ(loaded.error, row.error);
        EXPECT_EQ(loaded.set.tree, nullptr);
    }
}
