// The code tables: every row is whole, and the texts that people type find their row.
#include <gtest/gtest.h>

#include <stdlib.h>
#include <fstream>

#include "tests/definitions_directory.h"
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
        std::ifstream stream(VELMORA_SOURCE_DIR "/definitions/DICOM_Codes_" + table + ".txt");
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

struct Everyday_Text {
    const char *text, *code;
};

struct Everyday_Table {
    const char *table;
    std::vector<Everyday_Text> texts;
};

static const Everyday_Table everyday_tables[] = {
    {"Anatomic_Region",
     {
         {"ABDOMEN", "SRT T-D4000"},      {"ABDOMENPELVIS", "SRT R-FAB57"},
         {"ANKLE", "SRT T-15750"},        {"BRAIN", "SRT T-A0100"},
         {"Breast", "SRT T-04000"},       {"C-Spine", "SRT T-11501"},
         {"CHEST", "SRT T-D3000"},        {"CHEST PA", "SRT T-D3000"},
         {"CSPINE", "SRT T-11501"},       {"Cardiac", "SRT T-32000"},
         {"Carotid", "SRT T-45010"},      {"Coronary", "SRT T-43000"},
         {"ELBOW", "SRT T-15430"},        {"EXTREMITY", "SRT T-D0300"},
         {"FEET", "SRT T-D9700"},         {"Gall Bladder", "SRT T-63000"},
         {"HEAD", "SRT T-D1100"},         {"HEADNECK", "SRT T-D1000"},
         {"HEART", "SRT T-32000"},        {"Head and Neck", "SRT T-D1000"},
         {"KIDNEYS", "SRT T-71000"},      {"KUB", "SRT T-D4000"},
         {"Knee", "SRT T-D9200"},         {"LSPINE", "SRT T-11503"},
         {"LUMBAR SPINE", "SRT T-11503"}, {"Liver", "SRT T-62000"},
         {"Lungs", "SRT T-28000"},        {"Mammo", "SRT T-04000"},
         {"NECK", "SRT T-D1600"},         {"PELVIS", "SRT T-D6000"},
         {"PROSTATE", "SRT T-9200B"},     {"RIBS", "SRT T-11300"},
         {"SHOULDER", "SRT T-D2220"},     {"SKULL", "SRT T-11100"},
         {"SPINE", "SRT T-D04FF"},        {"Sinuses", "SRT T-22000"},
         {"Small Bowel", "SRT T-58000"},  {"T-SPINE", "SRT T-11502"},
         {"THORAX", "SRT T-D3000"},       {"Thoracic Spine", "SRT T-11502"},
         {"WHOLE BODY", "SRT T-D0010"},   {"WRIST", "SRT T-15460"},
     }                                                                                                                },
    {"DX_View",
     {
         {"AP", "SRT R-10206"},
         {"LATERAL", "SRT R-102CD"},
         {"LL", "SRT R-10236"},
         {"LPO", "SRT R-10212"},
         {"PA", "SRT R-40888"},
         {"oblique", "SRT R-102C1"},
     }                                                                                                                },
    {"Mammography_View",
     {
         {"CC", "SRT R-10242"},
         {"MLO", "SRT R-10226"},
         {"ML", "SRT R-10224"},
         {"cranio-caudal", "SRT R-10242"},
     }                                                                                                                },
    {"PET_Radiopharmaceutical",
     {
         {"FDG", "SRT C-B1031"},
         {"FDG -- fluorodeoxyglucose", "SRT C-B1031"},
         {"F-18 FDG", "SRT C-B1031"},
         {"Rb-82", "SRT C-B1037"},
     }                                                                                                                },
    {"Radiopharmaceutical",
     {
         {"I-131 sodium iodide", "SRT C-B1086"},
         {"MDP", "SRT C-B1218"},
         {"Tc-99m sestamibi", "SRT C-163AB"},
         {"Thallium", "SRT C-B1231"},
     }                                                                                                                },
    {"Radionuclide",                 {{"18F", "SRT C-111A1"}, {"Tc99m", "SRT C-163A8"}, {"Iodine-123", "SRT C-114A4"}}},
    {"Contrast_Agent",
     {
         {"ISOVUE300/100", "SRT C-B0329"},
         {"Omnipaque 350", "SRT C-B0322"},
         {"Gadolinium", "SRT C-17800"},
     }                                                                                                                },
    {"Administration_Route",         {{"IV", "SRT G-D101"}, {"Intravenous", "SRT G-D101"}, {"Oral", "SRT G-D140"}}    },
    {"Patient_Gantry_Relationship",  {{"headfirst", "SRT F-10470"}, {"FEET FIRST", "SRT F-10480"}}                    },
    {"Patient_Orientation_Modifier", {{"supine", "SRT F-10340"}, {"PRONE", "SRT F-10310"}}                            },
    {"Laterality",                   {{"LEFT", "SRT G-A101"}, {"Bilateral", "SRT G-A102"}}                            },
};

TEST(CodeTables, FindWhatPeopleType)
{
    Definition_Directory directory;
    int texts = 0;
    for (const Everyday_Table &table : everyday_tables)
        for (const Everyday_Text &row : table.texts) {
            Reports said;   // a tie is a warning, and all right
            EXPECT_EQ(look_up(table.table, row.text), row.code) << table.table << ": " << row.text;
            EXPECT_EQ(said.failures(), "");
            texts++;
        }
    EXPECT_GE(texts, 50);
}
