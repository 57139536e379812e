// The definitions of private attributes: each file is read without a word, and the creators of real files get names.
#include <gtest/gtest.h>

#include <set>

#include "modules/modules_internal.h"
#include "tests/definitions_directory.h"
#include "tests/support/outline.h"
#include "tests/support/reports.h"

struct Private_File {
    explicit Private_File(const std::string &name) : list(nullptr), result(0)
    {
        std::string path = source_path("definitions/" + name);
        FILE *stream = fopen(path.c_str(), "r");
        if (stream != nullptr) {
            result = DICOM_Module_Read_File(nullptr, stream, name.c_str(), &list);
            fclose(stream);
        }
    }
    ~Private_File()
    {
        delete_list(nullptr, &list);
    }
    Private_File(const Private_File &) = delete;

    DICOM_List *list;
    int result;
};

// A line names an element by the low byte of its number, which no other line of the file has, with VR and name.
static std::string faults_of(const DICOM_List *node, std::set<unsigned int> *seen)
{
    if (node->group == GROUP_ITEM)
        return "";   // the end of a sequence, made by the parser
    std::string faults;
    if ((node->group & 1) == 0)
        faults += " group";
    if (node->element > 0xFF)
        faults += " element";
    if (!seen->insert(tag_number(node)).second)
        faults += " named before";
    if (node->vr == VR_NONE || node->description == nullptr || node->description[0] == '\0')
        faults += " VR or name";
    char tag[32];
    snprintf(tag, sizeof tag, "%04x,%04x:", node->group, node->element);
    return faults.empty() ? "" : tag + faults + "\n";
}

TEST(PrivateDefinitions, AreReadWithoutAWord)
{
    std::vector<std::string> names = definition_names("DICOM_Private_");
    EXPECT_EQ(names.size(), 250u);
    for (const std::string &name : names) {
        SCOPED_TRACE(name);
        Reports said;
        Private_File file("DICOM_Private_" + name + ".txt");
        EXPECT_EQ(said.all, std::vector<Report>());
        EXPECT_EQ(file.result, 1);
        EXPECT_NE(file.list, nullptr);
        std::set<unsigned int> seen;
        std::string faults;
        for (const DICOM_List *node = file.list; node != nullptr; node = node->next)
            faults += faults_of(node, &seen);
        EXPECT_EQ(faults, "");
    }
}

TEST(PrivateDefinitions, NameTheAttributesOfWellKnownCreators)
{
    struct Row {
        const char *creator;
        Tag tag;
        const char *vr, *description;
    };
    static const Row rows[] = {
        {"SIEMENS CSA HEADER",        {0x0029, 0x1010}, "OB", "CSA Image Header Info"       },
        {"SIEMENS MEDCOM HEADER",     {0x0029, 0x1131}, "LO", "PMTF Information 1"          },
        {"GEMS_PARM_01",              {0x0043, 0x1039}, "IS", "Slop_int_6... slop_int_9"    },
        {"GEMS_ACQU_01",              {0x0019, 0x109C}, "LO", "Pulse Sequence Name"         },
        {"Philips Imaging DD 001",    {0x2001, 0x1003}, "FL", "Diffusion B-Factor"          },
        {"TOSHIBA_MEC_CT3",           {0x7005, 0x1003}, "SH", "Cardiac R-R Mean Time"       },
    };
    Definition_Directory directory;
    for (const Row &row : rows) {
        SCOPED_TRACE(row.creator + std::string(" ") + row.description);
        Tree tree;
        DICOM_List *node = tree.append(row.tag);
        Reports said;
        EXPECT_EQ(DICOM_Module_Read_Private(nullptr, row.creator, node), 1);
        EXPECT_EQ(said.all, std::vector<Report>());
        EXPECT_EQ(node->vr, pack_letters(row.vr[0], row.vr[1]));
        EXPECT_STREQ(node->description, row.description);
    }
}
