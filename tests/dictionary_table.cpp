// The built-in dictionary holds exactly the rows of the table that it is made from, and prints them.
#include <gtest/gtest.h>

#include <fstream>

#include "dictionary/dictionary_internal.h"
#include "tests/support/checkout.h"
#include "tests/support/reports.h"
#include "tree/tree_internal.h"

struct Table_Row { std::string group, element, name, alternates, retired; };

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
    std::ifstream file(source_path("dictionary/tools/data_elements.tsv"));
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

static int limit(const std::string &text) { return text.find('n') != std::string::npos ? -1 : std::stoi(text); }

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

TEST(Dictionary_Table, PrintsItsRowsOnceItIsBuilt)
{
    Reports said(11);
    NEMA_db_Cleanup();
    NEMA_db_Stool(nullptr, 3);
    EXPECT_EQ(said.texts(11), "--- in NEMA_db_Cleanup() ---\n--- in NEMA_db_Stool(3) ---\n") << "does not build";
    EXPECT_EQ(said.all.size(), 2u);

    NEMA_db_Load();
    said.all.clear();
    NEMA_db_Stool(nullptr, 3);
    ASSERT_EQ(said.all.size(), 1u + 53 + 2631);
    std::string all = said.texts(3);
    const char *lines[] = {
        "--- Group 0002 ---\n (0002,0000) \x01" "File Meta Information Group Length       \x02type:1 VR:UL VN:1\n",
        "--- Group 003a ---\n", "--- Group 50xx ---\n", "--- Group 60xx ---\n",
        " (60xx,3000) \x01Overlay Data                             \x02type:2 (VR:OB VN:1) or (VR:OW VN:1)\n",
        " (0028,08x4) \x01" "Bits For Code Word                       \x02type:-1 VR:US VN:1\n",
        " (0018,1240) \x01Upper/Lower Pixel Values                 \x02type:0\n",
        " (0028,3006) \x01LUT Data                                 \x02type:3 (VR:US VN:1-n) or (VR:SS VN:1-n) or "
        "(VR:OW VN:1)\n", " (0088,0912) \x01Topic Keywords                           \x02type:-1 VR:LO VN:1-32\n",
        " (0074,100e) \x01Unified Procedure Step Discontinuation R \x02type:1 VR:SQ VN:1\n",
    };
    for (const char *line : lines)
        EXPECT_NE(all.find(line), std::string::npos) << line;
    for (const char *plain : {"--- Group 5000 ---", "--- Group 6000 ---", "--- Group 003A ---"})
        EXPECT_EQ(all.find(plain), std::string::npos) << plain;
}
