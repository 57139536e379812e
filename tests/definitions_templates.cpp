// The templates that the definition directory makes: each is read without a word, and is what a template has to be.
#include <gtest/gtest.h>

#include <set>

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
