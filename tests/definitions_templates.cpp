// The templates that the definition directory makes: each is read without a word, and is what a template has to be.
#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <map>
#include <set>
#include <sstream>

#include "dictionary/DICOM_Dictionary.h"
#include "tests/definitions_directory.h"
#include "tests/support/outline.h"
#include "tests/support/reports.h"
#include "tree/tree_internal.h"

static std::string tag_text(const DICOM_List *node)
{
    char text[16];
    snprintf(text, sizeof text, "%04x,%04x", node->group, node->element);
    return text;
}

static DICOM_List *find(DICOM_List *list, Tag tag)
{
    while (list != nullptr && (list->group != tag.group || list->element != tag.element))
        list = list->next;
    return list;
}

// Every node of a template with the tags of the sequences around it, "0040,0275/0040,0008".
template <class Visit> static void walk(const DICOM_List *node, const std::string &around, int depth, Visit visit)
{
    for (; node != nullptr; node = node->next) {
        std::string path = around + tag_text(node);
        visit(node, path, depth);
        for (int i = 0; node->item != nullptr && i < node->nb_item; i++)
            walk(node->item[i], path + "/", depth + 1, visit);
    }
}

static bool is_vr_of_row(const DICOM_List *node)
{
    if (node->db == nullptr || node->vr == VR_NONE)
        return node->vr != VR_NONE;
    for (unsigned short vr : node->db->vr)
        if (vr == node->vr)
            return true;
    return false;
}

static bool is_ascending(const DICOM_List *node)
{
    for (; node->next != nullptr; node = node->next)
        if (tag_number(node) >= tag_number(node->next))
            return false;
    return true;
}

static const std::set<unsigned short> TYPES = {TYPE_1, TYPE_1C, TYPE_2, TYPE_2C, TYPE_3};

// What is wrong with a node or with the chains below it; nothing, if all is well.
static std::string faults_of(const DICOM_List *node, int depth)
{
    std::string faults;
    if (!TYPES.contains(node->type))
        faults += " type";
    if (!is_vr_of_row(node))
        faults += " VR";
    if (node->db == nullptr && node->description == nullptr)
        faults += " no name";
    if (depth > MAX_SEQUENCE_DEPTH)
        faults += " too deep";
    if (node->size != (node->vr == VR_SQ ? UNDEFINED_LENGTH : 0) || node->data != nullptr)
        faults += " value";
    for (int i = 0; node->item != nullptr && i < node->nb_item; i++)
        if (node->item[i] != nullptr && !is_ascending(node->item[i]))
            faults += " order of its item";
    return faults;
}

TEST(Templates, AreReadWithoutAWordAndInOrder)
{
    Definition_Directory directory;
    std::vector<std::string> names = definition_names("DICOM_Module_");
    EXPECT_EQ(names.size(), 42u);
    for (const std::string &name : names) {
        SCOPED_TRACE(name);
        Reports said;
        DICOM_List *list = DICOM_Module_Read(nullptr, name.c_str());
        EXPECT_EQ(said.all, std::vector<Report>());
        ASSERT_NE(list, nullptr);
        EXPECT_TRUE(is_ascending(list));
        std::string faults;
        walk(list, "", 0, [&](const DICOM_List *node, const std::string &path, int depth) {
            std::string found = faults_of(node, depth);
            if (!found.empty())
                faults += path + ":" + found + "\n";
        });
        EXPECT_EQ(faults, "");
    }
}

TEST(Templates, ExistForEveryNameOfAModule)
{
    std::vector<std::string> names = definition_names("DICOM_Module_");
    std::set<std::string> files(names.begin(), names.end());
    for (const char *code : {"CR", "CT", "MR", "NM", "OT", "PT", "SC", "US", "XA", "RF", "DX", "PX", "MG", "IO", "ES",
                             "GM", "SM", "XC", "PR"})
        for (int frames : {1, 2})
            EXPECT_TRUE(files.contains(DICOM_Module_Name(nullptr, pack_letters(code[0], code[1]), frames))) << code;

    // The SOP classes below 1.2.840.10008.5.
    std::istringstream classes("1.1.1 1.1.2 1.1.4 1.1.4.1 1.1.15 1.1.22 1.1.23 1.4.1.1.1 1.4.1.1.1.1 1.4.1.1.1.2 "
                               "1.4.1.1.1.3 1.4.1.1.2 1.4.1.1.2.1 1.4.1.1.3.1 1.4.1.1.4 1.4.1.1.4.1 1.4.1.1.4.2 "
                               "1.4.1.1.6.1 1.4.1.1.7 1.4.1.1.11.1 1.4.1.1.12.1 1.4.1.1.12.2 1.4.1.1.20 "
                               "1.4.1.1.77.1.1 1.4.1.1.77.1.2 1.4.1.1.77.1.3 1.4.1.1.77.1.4 1.4.1.1.128 1.4.1.1.481.1");
    std::set<std::string> named;
    for (Bytes uid; classes >> uid;) {
        Tree tree;
        tree.append({0x0008, 0x0016}, "UI", "1.2.840.10008.5." + uid);
        std::string name = DICOM_Module_Name(nullptr, tree.head);
        EXPECT_TRUE(files.contains(name) && name != "OT_Image") << uid << " " << name;
        named.insert(name);
    }
    EXPECT_EQ(named.size(), 29u);
}

// The lines of a module file as its readers see them: the stem and what the comment says of the usage.
static std::map<std::string, char> usages_of(const std::string &module)
{
    std::ifstream stream(source_path("definitions/DICOM_Module_" + module + ".txt"));
    std::map<std::string, char> usages;
    for (std::string line; std::getline(stream, line);) {
        size_t semicolon = line.find("; ");
        if (semicolon != 0 && semicolon != std::string::npos)
            usages[line.substr(0, line.find(' '))] = line[semicolon + 2];
    }
    return usages;
}

// The file of the macro that a line includes, or nothing.
static std::string included_file(const std::string &line)
{
    size_t start = line.find("Include \"");
    if (start == std::string::npos)
        return "";
    std::string macro = line.substr(start + 9, line.size() - start - 10);
    std::replace(macro.begin(), macro.end(), ' ', '_');
    return "DICOM_Include_" + macro + ".txt";
}

static std::string type_of(const std::string &line)
{
    std::string type = line.substr(line.find("type=") + 5);
    return type.substr(0, type.find(' '));
}

// The lines of an attributes file at the top, macros followed, of a type that asks for something or adds something.
static std::string demands_of(const std::string &file)
{
    static const std::set<std::string> demanding = {"1", "2", "2C"};
    std::string demands;
    for (const std::string &line : definition_lines(file)) {
        if (line[0] == 'I')
            demands += demands_of(included_file(line));
        else if (line[0] == '(' && demanding.contains(type_of(line)))
            demands += line + "\n";
    }
    return demands;
}

TEST(Templates, DemandNothingOfAModuleThatMayBeMissing)
{
    int optional = 0;
    for (const std::string &module : definition_names("DICOM_Module_"))
        for (const auto &[stem, usage] : usages_of(module)) {
            EXPECT_NE(std::string("MCU").find(usage), std::string::npos) << module << ": " << stem;
            if (usage == 'M')
                continue;
            optional++;
            EXPECT_EQ(demands_of("DICOM_Attributes_" + stem + ".txt"), "") << module << ": " << stem;
        }
    EXPECT_GT(optional, 300);
    EXPECT_NE(demands_of("DICOM_Attributes_Specimen.txt"), "");
}

// A data set holds a functional group in the shared item or in those of the frames.
TEST(Templates, AskForAFunctionalGroupInOnePlaceAtMost)
{
    Definition_Directory directory;
    for (const char *name :
         {"Enhanced_CT_Image", "Enhanced_MR_Image", "MR_Spectroscopy_Image", "SC_Multi-Frame_Image"}) {
        SCOPED_TRACE(name);
        DICOM_List *list = DICOM_Module_Read(nullptr, name);
        std::string asked;
        int groups = 0;
        for (Tag place : {Tag{0x5200, 0x9229}, Tag{0x5200, 0x9230}}) {
            DICOM_List *sequence = find(list, place);
            ASSERT_NE(sequence, nullptr);
            ASSERT_EQ(sequence->nb_item, 1);
            for (DICOM_List *group = sequence->item[0]; group != nullptr; group = group->next, groups++)
                if (group->type == TYPE_1 || group->type == TYPE_2)
                    asked += tag_text(group) + " in " + tag_text(sequence) + "\n";
        }
        bool has_frame_content = std::string(name) != "SC_Multi-Frame_Image";
        EXPECT_EQ(asked, has_frame_content ? "0020,9111 in 5200,9230\n" : "");
        EXPECT_GE(groups, 6);
    }
}

TEST(Templates, HaveTheTypesOfTheStandard)
{
    static const struct { const char *module; Tag tag; unsigned short type; const char *why; } rows[] = {
        {"CR_Image", {0x0018, 0x0015}, TYPE_2, "of CR Series, stricter than in General Series" },
        {"CR_Image", {0x0028, 0x0004}, TYPE_1, "in two modules" },
        {"CR_Image", {0x0018, 0x0010}, TYPE_1C, "of an optional module, type 2 there" },
        {"CT_Image", {0x0008, 0x0008}, TYPE_1, "of CT Image, optional in General Image" },
        {"CT_Image", {0x0020, 0x0012}, TYPE_2, "of CT Image, optional in General Acquisition" },
        {"CT_Image", {0x0020, 0x0052}, TYPE_1, "Frame of Reference is mandatory" },
        {"CT_Image", {0x0028, 0x1050}, TYPE_1C, "one of two" },
        {"US_Image", {0x0020, 0x0052}, TYPE_1C, "Frame of Reference is optional" },
        {"US_Image", {0x0028, 0x0008}, TYPE_NONE, "one frame" },
        {"US_Multi-Frame_Image", {0x0028, 0x0008}, TYPE_1, "" },
        {"PET_Image", {0x0008, 0x0022}, TYPE_2, "of PET Image, optional in General Acquisition" },
        {"OT_Image", {0x0008, 0x0064}, TYPE_1C, "serves more than captured images" },
        {"OT_Image", {0x0028, 0x0010}, TYPE_1C, "serves data sets without an image" },
        {"OT_Image", {0x0008, 0x0018}, TYPE_1, "every composite object has it" },
        {"SC_Multi-Frame_Image", {0x0020, 0x0013}, TYPE_2, "not lost to an optional module" },
        {"SC_Multi-Frame_Image", {0x0028, 0x0009}, TYPE_1C, "the more special module counts" },
        {"Enhanced_MR_Image", {0x0008, 0x1090}, TYPE_1, "of Enhanced General Equipment" },
        {"CT_Image", {0x0010, 0x2292}, TYPE_1C, "2C in the standard: not added to people's data"},
    };
    Definition_Directory directory;
    for (const auto &row : rows) {
        const DICOM_List *node = find(DICOM_Module_Read(nullptr, row.module), row.tag);
        unsigned short type = node != nullptr ? node->type : 0;
        EXPECT_EQ(type, row.type) << row.module << " " << std::hex << row.tag.group << "," << row.tag.element << " "
                                  << row.why;
    }
}

// What no template leads to is a file that nobody reads.
TEST(Templates, UseEveryAttributesFileAndMacro)
{
    std::set<std::string> stems, macros;
    for (const std::string &module : definition_names("DICOM_Module_"))
        for (const auto &[stem, usage] : usages_of(module))
            stems.insert(stem);
    std::vector<std::string> files = definition_names("DICOM_Attributes_");
    EXPECT_EQ(std::vector<std::string>(stems.begin(), stems.end()), files);

    std::vector<std::string> waiting;
    for (const std::string &stem : files)
        waiting.push_back("DICOM_Attributes_" + stem + ".txt");
    while (!waiting.empty()) {
        std::string file = waiting.back();
        waiting.pop_back();
        for (const std::string &line : definition_lines(file)) {
            std::string macro = included_file(line);
            if (!macro.empty() && macros.insert(macro).second)
                waiting.push_back(macro);
        }
    }
    std::set<std::string> there;
    for (const std::string &name : definition_names("DICOM_Include_"))
        there.insert("DICOM_Include_" + name + ".txt");
    EXPECT_EQ(macros, there);
}
