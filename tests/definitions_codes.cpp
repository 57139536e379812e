// The code tables: every row is whole, and the texts that people type find their row.
#include <gtest/gtest.h>

#include <stdlib.h>
#include <fstream>

#include "tests/definitions_directory.h"
#include "tests/support/checkout.h"
#include "tests/support/reports.h"

// What a lookup finds, as "SRT T-D1100", or nothing.
static std::string look_up(const std::string &table, const char *text)
{
    Code_Seq code = {};
    code.str = const_cast<char *>(text);
    std::string file = "DICOM_Codes_" + table + ".txt";
    if (!DICOM_Macro_CodeSequence_Set(&code, file.c_str()))
        return "";
    std::string found = code.coding_scheme + std::string(" ") + code.code_value;
    free(code.coding_scheme);
    free(code.code_value);
    free(code.code_meaning);
    return found;
}

TEST(CodeTables, HaveWholeRowsOnly)
{
    std::vector<std::string> tables = definition_names("DICOM_Codes_");
    EXPECT_EQ(tables.size(), 19u);
    for (const std::string &table : tables) {
        std::ifstream stream(source_path("definitions/DICOM_Codes_" + table + ".txt"));
        int rows = 0;
        for (std::string line; std::getline(stream, line);) {
            SCOPED_TRACE(table + ": " + line);
            EXPECT_LT(line.size(), 179u);   // a longer line would come in as two rows
            if (line.starts_with(';'))
                continue;
            rows++;
            size_t scheme = line.find(' '), value = line.find(' ', scheme + 1);
            ASSERT_NE(value, std::string::npos);
            EXPECT_GT(scheme, 0u);
            EXPECT_GT(value, scheme + 1);
            EXPECT_GT(line.size(), value + 1);
        }
        EXPECT_GT(rows, 1) << table;
    }
}

static const struct { const char *table, *text, *code; } everyday_texts[] = {
    {"Anatomic_Region", "ABDOMENPELVIS", "SRT R-FAB57"}, {"Anatomic_Region", "Breast", "SRT T-04000"},
    {"Anatomic_Region", "C-Spine", "SRT T-11501"}, {"Anatomic_Region", "CSPINE", "SRT T-11501"},
    {"Anatomic_Region", "CHEST PA", "SRT T-D3000"}, {"Anatomic_Region", "Cardiac", "SRT T-32000"},
    {"Anatomic_Region", "EXTREMITY", "SRT T-D0300"}, {"Anatomic_Region", "FEET", "SRT T-D9700"},
    {"Anatomic_Region", "Gall Bladder", "SRT T-63000"}, {"Anatomic_Region", "HEADNECK", "SRT T-D1000"},
    {"Anatomic_Region", "HEAD", "SRT T-D1100"}, {"Anatomic_Region", "KUB", "SRT T-D4000"},
    {"Anatomic_Region", "LUMBAR SPINE", "SRT T-11503"}, {"Anatomic_Region", "Mammo", "SRT T-04000"},
    {"Anatomic_Region", "SPINE", "SRT T-D04FF"}, {"Anatomic_Region", "Small Bowel", "SRT T-58000"},
    {"Anatomic_Region", "THORAX", "SRT T-D3000"}, {"Anatomic_Region", "WHOLE BODY", "SRT T-D0010"},
    {"DX_View", "AP", "SRT R-10206"}, {"DX_View", "LATERAL", "SRT R-102CD"}, {"DX_View", "LL", "SRT R-10236"},
    {"DX_View", "oblique", "SRT R-102C1"}, {"Mammography_View", "MLO", "SRT R-10226"},
    {"Mammography_View", "ML", "SRT R-10224"}, {"Mammography_View", "cranio-caudal", "SRT R-10242"},
    {"PET_Radiopharmaceutical", "FDG", "SRT C-B1031"}, {"PET_Radiopharmaceutical", "F-18 FDG", "SRT C-B1031"},
    {"Radiopharmaceutical", "MDP", "SRT C-B1218"}, {"Radiopharmaceutical", "Tc-99m sestamibi", "SRT C-163AB"},
    {"Radionuclide", "18F", "SRT C-111A1"}, {"Radionuclide", "Tc99m", "SRT C-163A8"},
    {"Contrast_Agent", "ISOVUE300/100", "SRT C-B0329"}, {"Contrast_Agent", "Omnipaque 350", "SRT C-B0322"},
    {"Administration_Route", "IV", "SRT G-D101"}, {"Administration_Route", "Oral", "SRT G-D140"},
    {"Patient_Gantry_Relationship", "headfirst", "SRT F-10470"}, {"Laterality", "Bilateral", "SRT G-A102"},
    {"Patient_Orientation_Modifier", "PRONE", "SRT F-10310"},
};

TEST(CodeTables, FindWhatPeopleType)
{
    Definition_Directory directory;
    for (const auto &row : everyday_texts) {
        Reports said;   // a tie is a warning, and all right
        EXPECT_EQ(look_up(row.table, row.text), row.code) << row.table << ": " << row.text;
        EXPECT_EQ(said.failures(), "");
    }
}
