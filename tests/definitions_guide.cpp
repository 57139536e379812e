// The guide to definition files: its example files are taken out of it, read, and give what the guide says.
#include <gtest/gtest.h>

#include <fstream>
#include <map>

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

