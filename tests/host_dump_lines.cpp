// The lines of a dump that are put together from what is kept of earlier ones are those of the library.
#include <gtest/gtest.h>
#include <random>

#include "host/program/dump.h"
#include "host/program/messages.h"
#include "host/program/output.h"
#include "tests/support/bytes.h"

using namespace velmora_host;

static void take_text(void *user, bool, const char *bytes, size_t count)
{
    static_cast<std::string *>(user)->append(bytes, count);
}

static void take_folded(void *, const Folded_Lines &) {}

static void convert_line(void *user, const char *line)
{
    write_marked_line(line, 2, *static_cast<bool *>(user));
}

// Many attributes of few kinds, so that lines come again and take each other's places: the same tag with other VRs,
// sizes, values and depths, known, unknown and private, with control bytes and without a value.
static Bytes random_items(std::mt19937 &random)
{
    static const struct { Tag tag; const char *vrs[3]; } kinds[] = {
        {{0x0008, 0x0104}, {"LO", "LO", "SH"}}, {{0x0008, 0x1150}, {"UI", "UI", "UN"}},
        {{0x0010, 0x0010}, {"PN", "PN", "LO"}}, {{0x0018, 0x0050}, {"DS", "IS", "DS"}},
        {{0x0018, 0x9087}, {"FD", "FD", "OB"}}, {{0x0028, 0x0010}, {"US", "SS", "US"}},
        {{0x0029, 0x0010}, {"LO", "LO", "LO"}}, {{0x0029, 0x1001}, {"UN", "CS", "OW"}},
        {{0x0040, 0xFFF1}, {"LT", "ST", "UL"}},
    };
    std::vector<Bytes> items;
    for (int i = 0; i < 300; i++) {
        std::vector<Bytes> elements;
        for (const auto &kind : kinds) {
            Bytes value(random() % 4 == 0 ? random() % 400 * 2 : random() % 4 * 2, '1');
            for (char &c : value)
                c = random() % 16 == 0 ? static_cast<char>(random()) : c;
            if (random() % 3 > 0)
                elements.push_back(element(kind.tag, kind.vrs[random() % 3], value));
        }
        if (random() % 8 == 0)
            elements.push_back(sequence({0x0040, 0xA730}, BY_DELIMITER, {item(elements), item({})}));
        items.push_back(item(elements, random() % 2 == 0 ? BY_LENGTH : BY_DELIMITER));
    }
    return sequence({0x5200, 0x9230}, BY_DELIMITER, items);
}

TEST(DumpLines, AreThoseOfTheLibraryWhenTheyComeAgain)
{
    std::mt19937 random(20261123);
    int threshold = Error_Get_Threshold();
    for (bool color : {false, true}) {
        for (int i = 0; i < 4; i++) {
            Bytes bytes = random_items(random);
            std::string kept, whole, error;
            Data_Set set;
            Error_Set_Threshold(-1);
            ASSERT_EQ(load_from_memory(bytes.data(), static_cast<int>(bytes.size()), MODE_EXPLICIT_LITTLE,
                                       Load_Options(), &set, &error), LOADED);
            start_messages();
            Diversion to_kept = {take_text, take_folded, &kept}, to_whole = {take_text, take_folded, &whole};
            divert(&to_kept);
            dump_tree(&set, {}, color, true);
            divert(&to_whole);
            take_lines(convert_line, &color);
            DICOM_Attribute_Stool(nullptr, &set.root, set.tree, LEVEL_LINES);
            take_lines(nullptr, nullptr);
            divert(nullptr);
            Error_Set_Sink(nullptr, nullptr);
            EXPECT_GT(kept.size(), 100000u);
            EXPECT_TRUE(kept == whole) << "color " << color << ", data set " << i;
            release_data_set(&set);
        }
    }
    Error_Set_Threshold(threshold);
}
