// The guide to definition files: its example files are taken out of it, read, and give what the guide says.
#include <gtest/gtest.h>

#include <stdlib.h>
#include <fstream>
#include <map>
#include <sstream>

#include "tests/definitions_directory.h"
#include "tests/modules_folder.h"
#include "tests/support/outline.h"

// The fenced blocks of the guide that have a title: "```text DICOM_Module_Photo.txt".
static std::map<std::string, std::string> read_blocks()
{
    std::map<std::string, std::string> blocks;
    std::ifstream stream(source_path("docs/definitions.md"));
    const std::string fence = "```", head = fence + "text ";
    std::string title;
    for (std::string line; std::getline(stream, line);) {
        if (line.starts_with(head))
            title = line.substr(head.size());
        else if (line == fence)
            title.clear();
        else if (!title.empty())
            blocks[title] += line + "\n";
    }
    return blocks;
}

// A directory with the files of the guide.
struct Guide {
    Guide() : blocks(read_blocks())
    {
        for (const auto &[title, text] : blocks)
            if (title.starts_with("DICOM_"))
                folder.write(title, text);
    }

    std::map<std::string, std::string> blocks;
    Folder folder;
};

static std::string marks_of(const DICOM_List *node)
{
    static const struct { unsigned short flag; const char *mark; } prefixes[] = {
        {FLAG_FORCED, "!"}, {FLAG_DEFAULT, "="}, {FLAG_TO_DELETE, "-"}, {FLAG_APPEND, "+"}
    };
    std::string marks;
    for (const auto &prefix : prefixes)
        if ((node->flag & prefix.flag) != 0)
            marks += prefix.mark;
    return marks.empty() ? "" : " " + marks;
}

static std::string value_of(const DICOM_List *node)
{
    if (node->data == nullptr)
        return "";
    std::string text(node->data, static_cast<size_t>(node->size));
    if (node->vr == VR_US) {
        text.clear();
        for (int i = 0; i < node->size; i++) {
            char byte[4];
            snprintf(byte, sizeof byte, "%02x", static_cast<unsigned char>(node->data[i]));
            text += (i > 0 ? " " : "") + std::string(byte);
        }
    }
    return " [" + text.substr(0, text.find_last_not_of(std::string(" \0", 2)) + 1) + "]";
}

static std::string shown(const DICOM_List *node, const std::string &indent = "")
{
    std::string out;
    for (; node != nullptr; node = node->next) {
        char tag[16];
        snprintf(tag, sizeof tag, "%04x,%04x ", node->group, node->element);
        std::string line = tag + letters(node->vr) + " " + letters(node->type) + marks_of(node) + value_of(node);
        if (node->description != nullptr)
            line += " (" + std::string(node->description) + ")";
        out += indent + line.substr(0, line.find_last_not_of(' ') + 1) + "\n";
        for (int i = 0; i < node->nb_item; i++)
            out += indent + "  item\n" + shown(node->item[i], indent + "    ");
    }
    return out;
}

TEST(Guide, ItsModuleGivesItsTemplate)
{
    Guide guide;
    Reports said;
    DICOM_List *list = DICOM_Module_Read(nullptr, "Dental_Photo");
    EXPECT_EQ(said.all, std::vector<Report>());
    EXPECT_EQ(shown(list), guide.blocks["template of Dental_Photo"]);
}

TEST(Guide, ItsPrivateFileNamesAttributes)
{
    Guide guide;
    std::string named;
    static const unsigned short elements[] = {0x1010, 0x1011, 0x1020};
    for (unsigned short element : elements) {
        Tree tree;
        DICOM_List *node = tree.append({0x0029, element});
        Reports said;
        EXPECT_EQ(DICOM_Module_Read_Private(nullptr, "Clinic Camera", node), 1);
        EXPECT_EQ(said.all, std::vector<Report>());
        char tag[16];
        snprintf(tag, sizeof tag, "0029,%04x ", element);
        named +=
            tag + letters(node->vr) + " " + ((node->flag & FLAG_DELETED) != 0 ? "deleted" : node->description) + "\n";
    }
    EXPECT_EQ(named, guide.blocks["private attributes of Clinic Camera"]);
}

TEST(Guide, ItsCodeTableFindsWhatItSays)
{
    Guide guide;
    std::istringstream lines(guide.blocks["codes in Teeth"]);
    int looked_up = 0;
    for (std::string line; std::getline(lines, line); looked_up++) {
        std::string text = line.substr(0, line.find("  ")), wanted = line.substr(line.find_last_of(' ') + 1);
        Code_Seq code = {};
        code.str = text.data();
        Reports said;
        int found = DICOM_Macro_CodeSequence_Set(&code, "DICOM_Codes_Teeth.txt");
        EXPECT_EQ(found ? code.code_value : "none", wanted) << text;
        free(code.code_value);
        free(code.coding_scheme);
        free(code.code_meaning);
    }
    EXPECT_EQ(looked_up, 5);
}
