// Definitions of private attributes, a file for each creator.
#include <gtest/gtest.h>

#include "tests/modules_folder.h"

// What a creator says of an attribute whose node has VR "UN" and a description.
static std::string complemented(const char *creator, unsigned short group, unsigned short element)
{
    DICOM_List node = {};
    node.group = group, node.element = element, node.vr = VR_UN;
    node.description = strdup("old");
    int found = DICOM_Module_Read_Private(nullptr, creator, &node);
    std::string out = std::to_string(found) + " " + letters(node.vr) + (node.flag == FLAG_DELETED ? " deleted " : " ") +
                      (node.description != nullptr ? node.description : "-");
    free(node.description);
    return out;
}

TEST(Private, AttributeTakesWhatItsLineSays)
{
    Folder folder;
    folder.write("DICOM_Private_SITE NOTES.txt", "(0029,1010) VR=LO desc=\"Site remark\"\n"
                                                 "(0029,1010) VR=SH desc=second\n"
                                                 "(0029,0011) VR=US desc=\"Reading count\"\n-(0029,1020)\n"
                                                 "(0029,1030) desc=named\nwrong\n");
    struct { const char *what; unsigned short element; const char *outcome; } cases[] = {
        {"by its element", 0x1010, "1 LO Site remark"}, {"by its low byte, in any block", 0x1111, "1 US Reading count"},
        {"in the first block too", 0x1011, "1 US Reading count"}, {"written with another block", 0x1110, "0 UN old"},
        {"to be deleted", 0x1020, "1 UN deleted old"}, {"without a VR", 0x1030, "1 UN named"},
        {"not in the file", 0x10FE, "0 UN old"},
    };
    Reports said;
    for (const auto &each : cases)
        EXPECT_EQ(complemented("Site Notes", 0x0029, each.element), each.outcome) << each.what;
    EXPECT_EQ(complemented("Site Notes", 0x0031, 0x1010), "0 UN old") << "another group";
    EXPECT_EQ(said.warnings(), about_line("DICOM_Private_SITE NOTES.txt", 6, no_tag_in("wrong")));
}

TEST(Private, FileIsLookedForByShorterAndShorterNames)
{
    Folder folder;
    folder.write("DICOM_Private_S.txt", "(0029,0010) VR=LO\n");
    Reports said(13);
    EXPECT_EQ(complemented(" Site/Notes 2 ", 0x0029, 0x1010), "1 LO old");
    const std::string file = "Private Attribute file:DICOM_Private_";
    std::string expected;
    for (const char *name : {"SITE_NOTES 2", "SITE_NOTES ", "SITE_NOTES", "SITE_NOTE", "SITE_NOT", "SITE_NO", "SITE_N",
                             "SITE_", "SITE", "SIT", "SI", "S"})
        expected += file + name + ".txt in dir:" + blue(folder.path + "\n");
    EXPECT_EQ(said.texts(13), expected);
    Reports again(13);
    complemented("\\:*?\"<>|", 0x0029, 0x1010);
    EXPECT_EQ(again.texts(13).find(file + "________.txt in dir"), 0u);
}

TEST(Private, CreatorIsEnteredOnce)
{
    Folder folder;
    const std::string missing = "    Found no private attribute file for creator:\x01";
    Prog_Name = "Orvane";
    Reports said;
    EXPECT_EQ(complemented("A b", 0x0029, 0x1010), "0 UN old");
    folder.write("DICOM_Private_A.txt", "(0029,0010) VR=LO\n");
    EXPECT_EQ(complemented("A b", 0x0029, 0x1010), "0 UN old") << "the file is not looked for again";
    EXPECT_EQ(complemented("a B", 0x0029, 0x1010), "1 LO old") << "another creator, and the same file";
    EXPECT_EQ(complemented("   ", 0x0029, 0x1010), "0 UN old") << "no name";
    EXPECT_EQ(said.remarks(), missing + "A b\x02 in dir:\x01" + folder.path + "\n" + missing + "   \x02 in dir:\x01" +
                                  folder.path + "\n");
    DICOM_Module_Free_Private();
    EXPECT_EQ(complemented("A b", 0x0029, 0x1010), "1 LO old");
    Prog_Name = "other";
    EXPECT_EQ(complemented("B", 0x0029, 0x1010), "0 UN old");
    EXPECT_EQ(said.all.size(), 2u);
    Prog_Name = nullptr;
}

