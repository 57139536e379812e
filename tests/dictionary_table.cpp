// The built-in dictionary holds exactly the rows of the table that it is made from, and prints them.
#include <gtest/gtest.h>

#include <fstream>
#include <map>
#include <sstream>

#include "dictionary/dictionary_internal.h"
#include "tests/support/reports.h"
#include "tree/tree_internal.h"

struct Table_Row {
    std::string group, element, name, alternates, retired;
};

static std::vector<std::string> split(const std::string &text, char separator)
{
    std::vector<std::string> parts(1);
    for (char c : text)
        if (c == separator)
            parts.emplace_back();
        else
            parts.back() += c;
    return parts;
}

static std::vector<Table_Row> read_table()
{
    std::ifstream file(VELMORA_SOURCE_DIR "/dictionary/tools/data_elements.tsv");
    std::vector<Table_Row> rows;
    for (std::string line; std::getline(file, line);) {
        std::vector<std::string> columns = split(line, '\t');
        rows.push_back({columns.at(0), columns.at(1), columns.at(2), columns.at(3), columns.at(4)});
    }
    return rows;
}

static unsigned short number(std::string digits)
{
    for (char &digit : digits)
        if (digit == 'x')
            digit = '0';
    return static_cast<unsigned short>(std::stoi(digits, nullptr, 16));
}

static int limit(const std::string &text)
{
    return text.find('n') != std::string::npos ? -1 : std::stoi(text);
}

// "DS (3,-1)" for each alternate of a row.
static std::string told_alternates(const Table_Row &row)
{
    if (row.alternates.empty())
        return "RT (-1,0)";
    std::string out;
    for (const std::string &alternate : split(row.alternates, '|')) {
        std::vector<std::string> limits = split(alternate.substr(3), '-');
        out += alternate.substr(0, 2) + " (" + limits.front() + "," + std::to_string(limit(limits.back())) + ")";
    }
    return out;
}

static std::string filed_alternates(const TAG_db_Elems *row)
{
    std::string out;
    for (int i = 0; i < std::max(1, std::abs(row->type)); i++) {
        out += first_letter(row->vr[i]);
        out += second_letter(row->vr[i]);
        out += " (" + std::to_string(row->vn[i][0]) + "," + std::to_string(row->vn[i][1]) + ")";
    }
    return out;
}

TEST(Dictionary_Table, HoldsTheRowsOfTheStandard)
{
    Reports said;
    NEMA_db_Cleanup();
    ASSERT_EQ(NEMA_db_Load(), 2631);
    EXPECT_EQ(NEMA_db_Load(), 0) << "stands already";

    std::vector<Table_Row> rows = read_table();
    ASSERT_EQ(rows.size(), 2631u);
    size_t i = 0;
    for (const TAG_db_Group *group = NEMA_db_Groups(); group != nullptr; group = group->next) {
        for (const TAG_db_Elems *row = group->first; row != nullptr; row = row->next, i++) {
            const Table_Row &told = rows.at(i);
            SCOPED_TRACE(told.group + "," + told.element);
            EXPECT_EQ(row->group, number(told.group));
            EXPECT_EQ(row->element, number(told.element));
            EXPECT_EQ(row->description, told.name);
            EXPECT_EQ(row->type < 0 || row->vr[0] == VR_RT, told.retired == "RET");
            EXPECT_EQ(filed_alternates(row), told_alternates(told));
            EXPECT_EQ(group->group_mask, told.group.find('x') == std::string::npos ? 0xFFFF : 0xFF00);
            EXPECT_EQ(row->element_mask, told.element.find('x') == std::string::npos ? 0xFFFF : 0xFF0F);
            if (row->next == nullptr) {
                EXPECT_EQ(group->tail, row);
            }
        }
    }
    EXPECT_EQ(i, 2631u);
    EXPECT_TRUE(said.all.empty()) << "the table gives no report";
}

TEST(Dictionary_Table, HasTheRowsOfEachGroup)
{
    const char counts[] = "0002:10 0004:20 0008:157 0010:48 0012:15 0018:618 0020:99 0022:48 0028:161 0032:26 0038:26 "
                          "003A:38 0040:206 0042:5 0044:14 0050:8 0054:79 0060:7 0062:15 0064:8 0070:61 0072:98 "
                          "0074:44 0088:7 0100:4 0400:24 2000:21 2010:26 2020:11 2030:2 2040:12 2050:3 2100:10 2110:4 "
                          "2120:3 2130:9 2200:16 3002:22 3004:23 3006:49 3008:91 300A:338 300C:31 300E:4 4000:2 "
                          "4008:27 5000:26 5200:2 5400:7 5600:2 6000:40 FFFC:1 FFFE:3 ";
    NEMA_db_Load();
    std::string counted;
    std::map<int, int> rows_by_alternates;
    int retired = 0, groups = 0;
    for (const TAG_db_Group *group = NEMA_db_Groups(); group != nullptr; group = group->next, groups++) {
        int rows = 0;
        for (const TAG_db_Elems *row = group->first; row != nullptr; row = row->next, rows++) {
            rows_by_alternates[std::abs(row->type)]++;
            retired += row->type <= 0;
        }
        char text[32];
        snprintf(text, sizeof text, "%04X:%d ", group->group, rows);
        counted += text;
    }
    EXPECT_EQ(counted, counts);
    EXPECT_EQ(groups, DICTIONARY_GROUPS);
    EXPECT_EQ(retired, 324);
    EXPECT_EQ(rows_by_alternates, (std::map<int, int>{{0, 1}, {1, 2600}, {2, 28}, {3, 2}}));
}

TEST(Dictionary_Table, KeepsTheLinesThatAreLaidOutInTheirOwnWay)
{
    const char *lines[] = {
        "(0010,0010) Patient's Name                                PN 1",
        "(0008,0001) Length to End                                 UL 1 RET",
        "(3006,0050) Contour Data                                  DS 3-3n",
        "(0088,0912) Topic Keywords LO 1-32 RET",
        "(60xx,3000) Overlay Data                                 (OB 1) or (OW 1)",
        "(0028,3006) LUT Data                                      (US 1-n) or (SS 1-n) or (OW 1)",
        "(0028,1100) Gray Lookup Table Descriptor                  (US 3) or (SS 3) RET",
        "(0028,08x4) Bits For Code Word                            US 1 RET",
        "(FFFC,FFFC) Terminatior OB 1",
        "(FFFE,E000) Item I- 1",
        "(FFFE,E00D) Item Delimitation Item Ia 1",
        "(FFFE,E0DD) Sequence Delimitation Item Ia 1",
        "(0018,1240) Upper/Lower Pixel Values RET",
        "(0074,100a) Contact URI ST 1",
        "(0074,100c) Contact Display Name LO 1",
        "(0074,100e) Unified Procedure Step Discontinuation Reason Code Sequence SQ 1",
    };
    std::map<std::string, int> found;
    for (int i = 0; i < DICTIONARY_GROUPS; i++)
        for (int k = 0; k < dictionary_sizes[i]; k++)
            found[dictionary_lines[i][k]]++;
    for (const char *line : lines)
        EXPECT_EQ(found[line], 1) << line;
}

TEST(Dictionary_Table, PrintsItsRowsOnceItIsBuilt)
{
    NEMA_db_Cleanup();
    Reports said(11);
    NEMA_db_Stool(nullptr, 3);
    EXPECT_EQ(said.all, (std::vector<Report>{{11, "--- in NEMA_db_Stool(3) ---"}})) << "does not build";

    NEMA_db_Load();
    said.all.clear();
    NEMA_db_Stool(nullptr, 3);
    ASSERT_EQ(said.all.size(), 1u + 53 + 2631);
    std::string all = said.texts(3);
    const char *lines[] = {
        "--- Group 0002 ---\n (0002,0000) \x01" "File Meta Information Group Length       \x02type:1 VR:UL VN:1\n",
        "--- Group 003a ---\n",
        "--- Group 50xx ---\n",
        "--- Group 60xx ---\n",
        " (60xx,3000) \x01Overlay Data                             \x02type:2 (VR:OB VN:1) or (VR:OW VN:1)\n",
        " (0028,08x4) \x01" "Bits For Code Word                       \x02type:-1 VR:US VN:1\n",
        " (0018,1240) \x01Upper/Lower Pixel Values                 \x02type:0\n",
        " (0028,3006) \x01LUT Data                                 \x02type:3 (VR:US VN:1-n) or (VR:SS VN:1-n) or "
        "(VR:OW VN:1)\n",
        " (0088,0912) \x01Topic Keywords                           \x02type:-1 VR:LO VN:1-32\n",
        " (0074,100e) \x01Unified Procedure Step Discontinuation R \x02type:1 VR:SQ VN:1\n",
    };
    for (const char *line : lines)
        EXPECT_NE(all.find(line), std::string::npos) << line;
    for (const char *plain : {"--- Group 5000 ---", "--- Group 6000 ---", "--- Group 003A ---"})
        EXPECT_EQ(all.find(plain), std::string::npos) << plain;
}
