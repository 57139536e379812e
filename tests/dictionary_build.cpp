// How lines become rows, line by line; what damaged lines report; what happens when memory runs out.
#include <gtest/gtest.h>

#include "dictionary/dictionary_internal.h"
#include "tests/support/reports.h"
#include "tree/tree_internal.h"

// A dictionary of a few lines. The built-in one is not there while it lives.
struct Small_Dictionary {
    explicit Small_Dictionary(std::vector<const char *> lines)
    {
        NEMA_db_Cleanup();
        filed = NEMA_db_Read_Table(lines.data(), static_cast<int>(lines.size()));
    }
    ~Small_Dictionary()
    {
        NEMA_db_Cleanup();
    }
    int filed;
};

// "gggg/mask,eeee/mask type VR VN, VR VN [description]" for each row.
static std::string outline()
{
    std::string out;
    for (const TAG_db_Group *group = NEMA_db_Groups(); group != nullptr; group = group->next)
        for (const TAG_db_Elems *row = group->first; row != nullptr; row = row->next) {
            char text[160], vn[VN_TEXT_ROOM];
            snprintf(text, sizeof text, "%04x/%04x,%04x/%04x %d", group->group, group->group_mask, row->element,
                     row->element_mask, row->type);
            out += text;
            for (int i = 0; i < std::abs(row->type); i++) {
                snprintf(text, sizeof text, " %c%c %s", first_letter(row->vr[i]), second_letter(row->vr[i]),
                         NEMA_db_VN_Text(row->vn[i], vn));
                out += text;
            }
            out += " [" + std::string(row->description) + "]\n";
        }
    return out;
}

TEST(Dictionary_Build, ParsesEachFormOfALine)
{
    struct { const char *line, *row; } cases[] = {
        {"(0010,0010) Patient's Name  PN 1", "0010/ffff,0010/ffff 1 PN 1 [Patient's Name]"},
        {"(0008,0001) Length to End   UL 1 RET", "0008/ffff,0001/ffff -1 UL 1 [Length to End]"},
        {"(3006,0050) Contour Data DS 3-3n", "3006/ffff,0050/ffff 1 DS 3-n [Contour Data]"},
        {"(0022,0032) Range FL 2-2n", "0022/ffff,0032/ffff 1 FL 2-n [Range]"},
        {"(0088,0912) Topic Keywords LO 1-32 RET", "0088/ffff,0912/ffff -1 LO 1-32 [Topic Keywords]"},
        {"(60xx,3000) Overlay Data (OB 1) or (OW 1)", "6000/ff00,3000/ffff 2 OB 1 OW 1 [Overlay Data]"},
        {"(0028,1100) Gray (US 3) or (SS 3) RET", "0028/ffff,1100/ffff -2 US 3 SS 3 [Gray]"},
        {"(0028,3006) LUT ( US 1-n )  or (SS 1-8) or (OW 1)", "0028/ffff,3006/ffff 3 US 1-n SS 1-8 OW 1 [LUT]"},
        {"(0028,08x4) Bits US 1 RET", "0028/ffff,0804/ff0f -1 US 1 [Bits]"},
        {"(0018,1240) Upper/Lower Pixel Values RET", "0018/ffff,1240/ffff 0 [Upper/Lower Pixel Values]"},
        {"(0020,0032) Image Position (Patient) DS 3", "0020/ffff,0032/ffff 1 DS 3 [Image Position (Patient)]"},
        {"(0018,9999) Flavor (OB 1)", "0018/ffff,9999/ffff 1 OB 1 [Flavor]"},
        {"(abCD,00fE) Either Case ST 1", "abcd/ffff,00fe/ffff 1 ST 1 [Either Case]"},
        {"(0010,0012) Count 1-", "0010/ffff,0012/ffff 0 [Count 1-]"},
        {"(0010,0013) Wide US 99999-9", "0010/ffff,0013/ffff 1 US 32767-9 [Wide]"},
        {"(0010,0014) ", "0010/ffff,0014/ffff 0 []"}, {"", "0000/0000,0000/0000 0 []"},
    };
    for (const auto &each : cases) {
        SCOPED_TRACE(each.line);
        Small_Dictionary dictionary({each.line});
        EXPECT_EQ(outline(), std::string(each.row) + "\n");
    }
}

TEST(Dictionary_Build, CutsWhatIsTooLong)
{
    const std::string name(90, 'n'), line = "(0010,0099) " + name + " LO 1", over = "(0010,0098) " + name + line;
    Small_Dictionary dictionary({line.c_str(), over.c_str()});
    EXPECT_EQ(outline(), "0010/ffff,0098/ffff 0 [" + name.substr(0, 79) + "]\n" +
                         "0010/ffff,0099/ffff 1 LO 1 [" + name.substr(0, 79) + "]\n");
}

TEST(Dictionary_Build, TakesALineCutAtAnyPlace)
{
    const std::string whole = "(0028,3006) LUT Data (US 1-n) or (SS 1-n) or (OW 1) RET";
    for (size_t length = 0; length <= whole.size(); length++) {
        Reports said;
        const std::string cut = whole.substr(0, length);
        Small_Dictionary dictionary({cut.c_str()});
        EXPECT_EQ(dictionary.filed + static_cast<int>(said.all.size()), 1) << cut;
    }
}

TEST(Dictionary_Build, DropsTheRestOfATableBehindALineItCannotParse)
{
    const char *damaged[] = {
        "(0028,0030) Four (US 1) or (SS 1) or (OW 1) or (OB 1)", "(0028,0030) No opening US 1)",
        "(0028,0030) Position (Patient) (DS 3)",
    };
    for (const char *line : damaged) {
        Reports said;
        Small_Dictionary dictionary({"(0028,0010) Rows US 1", line, "(0028,0040) Dropped US 1"});
        EXPECT_EQ(dictionary.filed, 1);
        EXPECT_EQ(outline(), "0028/ffff,0010/ffff 1 US 1 [Rows]\n");
        EXPECT_EQ(said.all.size(), 1u);
        EXPECT_EQ(said.warnings(),
                  "    \xF1\x05WARNING:\x02 Syntax error in definition file for (0028,0030) \n") << line;
    }
}

TEST(Dictionary_Build, SortsRowsAndSkipsATagThatStandsTwice)
{
    Reports said;
    Small_Dictionary dictionary({"(0028,0011) Columns US 1", "(0028,0010) Rows US 1", "(0008,0060) Modality CS 1",
                                 "(60xx,0010) Rows US 1", "(0028,0011) Again LO 1", "(0028,0100) Bits US 1",
                                 "(0010,0020) ID LO 1", "(6002,0011) Columns US 1", "(0028,0030) Spacing DS 2"});
    EXPECT_EQ(dictionary.filed, 8);
    EXPECT_EQ(outline(), "0008/ffff,0060/ffff 1 CS 1 [Modality]\n0010/ffff,0020/ffff 1 LO 1 [ID]\n"
                         "0028/ffff,0010/ffff 1 US 1 [Rows]\n0028/ffff,0011/ffff 1 US 1 [Columns]\n"
                         "0028/ffff,0030/ffff 1 DS 2 [Spacing]\n0028/ffff,0100/ffff 1 US 1 [Bits]\n"
                         "6000/ff00,0010/ffff 1 US 1 [Rows]\n6002/ffff,0011/ffff 1 US 1 [Columns]\n");
    EXPECT_EQ(said.all, (std::vector<Report>{{Reports::WARNING, "    \xF1\x05WARNING:\x02 duplicate tag (0028,0011) in "
                                                                "definition file"}}));
}

TEST(Dictionary_Build, ComesAgainAfterMemoryRanOut)
{
    ASSERT_NE(NEMA_db_Locate(0x0010, 0x0010), nullptr);
    ASSERT_NE(NEMA_db_Locate(0x0010, 0x0020), nullptr);
    NEMA_db_Cleanup();   // what was found goes, and lookups may not remember it
    int refused = 0;
    Reports said;
    refuse_each_allocation([&](int) {
        const TAG_db_Elems *row = NEMA_db_Locate(0x0010, 0x0010);
        if (Refuse::happened()) {
            refused++;
            EXPECT_EQ(row, nullptr);
            EXPECT_EQ(NEMA_db_Groups(), nullptr);
        } else {
            ASSERT_NE(row, nullptr);
            EXPECT_STREQ(row->description, "Patient's Name");
        }
    });
    EXPECT_EQ(refused, 2);
    EXPECT_EQ(said.all.size(), 2u);
    EXPECT_EQ(said.failures().rfind("line N of .\\NEMA_db \nmemory error in malloc (var=block, dim=1x", 0), 0u);
}
