// Templates: put together from files, cached by name, and named after data sets.
#include <gtest/gtest.h>

#include "tests/modules_folder.h"

static std::string no_module(const Folder &folder, const std::string &name)
{
    return warning("Unable to open module IOD file:" + blue("DICOM_Module_" + name + ".txt\x02 in dir:") +
                   blue(folder.path));
}

static std::string no_attributes(const std::string &module, int line, const std::string &stem)
{
    return about_line("DICOM_Module_" + module + ".txt", line,
                      "Unable to open attributes file:" + blue("DICOM_Attributes_" + stem + ".txt\x02"), "IOD file");
}

// Sets the override file for a test.
struct Override {
    explicit Override(const std::string &path)
    {
        snprintf(DICOM_Override, sizeof DICOM_Override, "%s", path.c_str());
    }
    ~Override()
    {
        DICOM_Override[0] = '\0';
    }
};

static void write_sample(const Folder &folder)
{
    folder.write("DICOM_Module_CT_Image.txt", "; CT\nPatient  \r\n\nMissing;\nImage\n");
    folder.write("DICOM_Attributes_Patient.txt", "(0010,0020) type=2\n(0010,0010) type=2 \" a^b \"\n");
    folder.write("DICOM_Attributes_Image.txt", "(0008,1140) type=3\n>Include Ref\n>(FFFE,E00D)\n>(FFFE,E000)\n"
                                               ">Include Ref\n(0008,0008) type=1\n");
    folder.write("DICOM_Include_Ref.txt", "(0008,1155) type=1\n(0008,1150) type=1\n");
}

TEST(Template, IsATreeSortedAtEveryDepth)
{
    Folder folder;
    write_sample(folder);
    Reports said;
    DICOM_List *list = DICOM_Module_Read(nullptr, "CT_Image");
    EXPECT_EQ(outline(list), "0008,0008 CS 1  0004 0\n0008,1140 SQ 3  0004 -1\n  item\n    0008,1150 UI 1  0004 0\n"
                             "    0008,1155 UI 1  0004 0\n  item\n    0008,1150 UI 1  0004 0\n"
                             "    0008,1155 UI 1  0004 0\n0010,0010 PN 2  0004 4 [a^b ]\n0010,0020 LO 2  0004 0\n");
    EXPECT_EQ(said.warnings(), no_attributes("CT_Image", 4, "Missing"));
    EXPECT_EQ(Include_Nb, 0) << "the macros are dropped";
}

TEST(Template, FallsBackToThatOfOtherImages)
{
    Folder folder;
    folder.write("DICOM_Module_OT_Image.txt", "A\nB\n");
    folder.write("DICOM_Attributes_A.txt", "(0008,0060) \"OT\"\n");
    Reports said;
    EXPECT_EQ(outline(DICOM_Module_Read(nullptr, "XA")), "0008,0060 CS 3  0004 2 [OT]\n");
    EXPECT_EQ(said.warnings(), no_module(folder, "XA") + no_attributes("OT_Image", 2, "B"));
}

TEST(Template, IsNullWhenThereIsNone)
{
    Folder folder;
    folder.write("DICOM_Module_empty.txt", "; nothing\n\n");
    folder.write("DICOM_Module_lost.txt", "A\n");
    struct { const char *name; std::string said; } cases[] = {
        {"none", no_module(folder, "none")}, {"", no_module(folder, "")},
        {"empty", "Failed in DICOM_Attribute_Format()\n"},
        {"lost", no_attributes("lost", 1, "A") + "Failed in DICOM_Attribute_Format()\n"},
    };
    for (const auto &each : cases) {
        Reports said(11);
        EXPECT_EQ(DICOM_Module_Read(nullptr, each.name), nullptr) << each.name;
        EXPECT_EQ(said.warnings() + said.texts(11), each.said) << each.name;
    }
    Reports said(11);
    EXPECT_EQ(DICOM_Module_Read(nullptr, "none"), nullptr) << "from the cache";
    EXPECT_EQ(said.all.size(), 0u);
    EXPECT_EQ(DICOM_Module_Read(nullptr, nullptr), nullptr);
    EXPECT_EQ(said.warnings(), warning("DICOM_Module_Read \x02no modality name!"));
    std::string name(300, 'x');
    EXPECT_EQ(DICOM_Module_Read(nullptr, name.c_str()), nullptr) << "a name that does not fit";
    DICOM_Module_Setup(nullptr, "");
    Reports later;
    EXPECT_EQ(DICOM_Module_Read(nullptr, "other"), nullptr);
    EXPECT_EQ(later.warnings(), warning("DICOM_Module_Dir \x02is undefined!"));
}

TEST(Template, TakesTheOverrideFirst)
{
    Folder folder;
    folder.write("DICOM_Module_M.txt", "A\n");
    folder.write("DICOM_Attributes_A.txt", "(0008,0060) \"OT\" type=1\n(0008,0070) \"maker\" type=2\n"
                                           "(0010,0010) desc=A\n");
    Override override(folder.write("mine.txt", "(0008,0060) \"CT\"\n!(0010,0010)\nwrong\n"));
    Reports said;
    EXPECT_EQ(outline(DICOM_Module_Read(nullptr, "M")), "0008,0060 CS 3  0004 2 [CT]\n0008,0070 LO 2  0004 6 [maker ]\n"
                                                        "0010,0010 PN 3  1004 0\n");
    EXPECT_EQ(said.warnings(), about_line("Command line override", 3, no_tag_in("wrong")));
    DICOM_Module_Setup(nullptr, "");
    EXPECT_EQ(DICOM_Module_Read(nullptr, "N"), nullptr);
    DICOM_List *kept = DICOM_Module_Read(nullptr, "N");
    EXPECT_EQ(tags_of(kept), "0008,0060 0010,0010") << "the entry keeps the override";
}

TEST(Template, DoesWithoutAnOverrideThatIsNotThere)
{
    Folder folder;
    write_sample(folder);
    std::string path(255, 'x');
    Override override(path);
    Reports said;
    EXPECT_NE(DICOM_Module_Read(nullptr, "CT_Image"), nullptr);
    EXPECT_EQ(said.warnings(), warning("reading command line override") +
                               detail("Unable to open attributes file:" + blue(path + "\x02")) +
                               no_attributes("CT_Image", 4, "Missing"));
    memset(DICOM_Override, 'y', sizeof DICOM_Override);   // not terminated
    EXPECT_EQ(DICOM_Module_Read(nullptr, "none"), nullptr);
}

TEST(Template, HasACacheOfSoManyNames)
{
    Folder folder;
    write_sample(folder);
    const std::string full = "    \xF1\004ERROR:\x02 DICOM_Module_Read \002Exceeding 100 modalities!\n";
    {
        Reports said;
        for (int i = 1; i <= 98; i++)
            DICOM_Module_Read(nullptr, std::to_string(i).c_str());
        EXPECT_NE(DICOM_Module_Read(nullptr, "CT_Image"), nullptr) << "the 99th";
    }
    for (const char *name : {"100th", "101st", "101st"}) {
        Reports said;
        EXPECT_EQ(DICOM_Module_Read(nullptr, name), nullptr);
        EXPECT_EQ(said.warnings(), full) << name;
    }
    Reports said;
    EXPECT_NE(DICOM_Module_Read(nullptr, "CT_Image"), nullptr);
    EXPECT_EQ(said.warnings(), "");
}

TEST(Template, TracesItsSteps)
{
    Folder folder;
    write_sample(folder);
    const std::string dashes(79, '-');
    struct { signed char trace; const char *steps; } cases[] = {
        {3, ""}, {4, "From Module files, Format of sequences, Deleting DICOM tags, list, Sorting DICOM tags, list, "
                     "copying DICOM tags, "},
        {5, "From Module files, list, Format of sequences, list, Deleting DICOM tags, list, Sorting DICOM tags, list, "
            "copying DICOM tags, list, "},
    };
    for (const auto &each : cases) {
        folder.forget();
        Reports said(14);
        Flag_Trace = each.trace;
        DICOM_Module_Read(nullptr, "CT_Image");
        Flag_Trace = 0;
        std::string steps;
        for (const Report &report : said.all) {
            size_t start = report.text.find_first_not_of("- "), end = report.text.find_last_not_of("- ");
            if (report.level == 11 && report.text.starts_with("----- "))
                steps += report.text.substr(start, end + 1 - start) + ", ";
            else if (report.level == 11 && report.text.starts_with("Stool syntax: group"))
                steps += "list, ";
        }
        EXPECT_EQ(steps, each.steps) << int(each.trace);
    }
}

TEST(ModuleName, FollowsTheModality)
{
    struct { const char *what; int modality, frames; unsigned short setting; const char *name; } cases[] = {
        {"CR", 0x4352, 2, 0, "CR_Image"}, {"CT", 0x4354, 1, 0, "CT_Image"}, {"CT", 0x4354, 2, 0, "Enhanced_CT_Image"},
        {"MR", 0x4D52, 0, 0, "MR_Image"}, {"MR", 0x4D52, 2, 0, "Enhanced_MR_Image"}, {"NM", 0x4E4D, 2, 0, "NM_Image"},
        {"OT", 0x4F54, 2, 0, "OT_Image"}, {"PT", 0x5054, 2, 0, "PET_Image"}, {"SC", 0x5343, 1, 0, "SC_Image"},
        {"SC", 0x5343, 2, 0, "SC_Multi-Frame_Image"}, {"US", 0x5553, -1, 0, "US_Image"},
        {"US", 0x5553, 2, 0, "US_Multi-Frame_Image"}, {"no first letter", 0x0043, 1, 0, "OT_Image"},
        {"no second letter", 0x4300, 1, 0, "OT_Image"}, {"none", 0, 1, 0, "OT_Image"}, {"XA", 0x5841, 1, 0, "XA"},
        {"the high bits play no part", 0x7FFF4354, 1, 0, "CT_Image"},
        {"the setting goes first", 0x5841, 3, 0x4354, "Enhanced_CT_Image"},
    };
    for (const auto &each : cases) {
        DICOM_Modality = each.setting;
        EXPECT_STREQ(DICOM_Module_Name(nullptr, each.modality, each.frames), each.name) << each.what;
    }
    DICOM_Modality = 0;
}

static std::string name_of(const std::string &uid)
{
    DICOM_List node = {};
    node.group = 0x0008, node.element = 0x0016, node.vr = VR_UI;
    node.data = const_cast<char *>(uid.data()), node.size = static_cast<int>(uid.size());
    return DICOM_Module_Name(nullptr, &node);
}

TEST(ModuleName, FollowsTheSOPClass)
{
    const std::string root = "1.2.840.10008.5.1.";
    struct { const char *uid, *name; } cases[] = {
        {"1.1", "SOP BASIC_FILM_SESSION"}, {"1.23", "Presentation_LUT"}, {"4.1.1.1", "CR_Image"},
        {"4.1.1.1.1", "XRAY_Image"}, {"4.1.1.2", "CT_Image"}, {"4.1.1.2.1", "Enhanced_CT_Image"},
        {"4.1.1.481.1", "RT_Image"}, {"4.1.1.9", "OT_Image"}, {"4.1.1.2.", "OT_Image"}, {"4.1.1.2 ", "OT_Image"},
    };
    DICOM_Modality = 0x4D52;
    for (const auto &each : cases) {
        EXPECT_EQ(name_of(root + each.uid), each.name) << each.uid;
        EXPECT_EQ(name_of(root + each.uid + std::string("\0", 1)), each.name) << each.uid << " and its pad";
    }
    DICOM_Modality = 0;
    EXPECT_EQ(name_of(root + "4.1.1.4\\" + root + "4.1.1.2"), "MR_Image") << "the first value counts";
    EXPECT_EQ(name_of(""), "OT_Image");
    EXPECT_STREQ(DICOM_Module_Name(nullptr, nullptr), "OT_Image");
    NEMA_Value_Cleanup();
}
