// The definition directory in the program: where it is found, templates, private attributes, code tables.
#include <gtest/gtest.h>
#include <stdlib.h>

#include "tests/host_runs.h"
#include "tests/support/bytes.h"

// A small definition directory, and runs in its folder with no other directory named.
struct Definitions : Folder {
    Definitions()
    {
        unsetenv("VELMORA_DEFINITIONS");
        write("DICOM_Module_CT_Image.txt", "Patient\nCT ; a comment\n");
        write("DICOM_Module_OT_Image.txt", "Patient\n");
        write("DICOM_Attributes_Patient.txt", "(0010,0010) type=2 VR=PN\n(0010,0040) type=2C \"O\"\n");
        write("DICOM_Attributes_CT.txt", "!(0008,0060) type=1 VR=CS \"CT\"\n"
                                         "(0008,1140) type=1 VR=SQ\n"
                                         ">(0008,1150) type=1 VR=UI\n"
                                         "=>(0008,1155) type=3 VR=UI \"1.2.3\"\n"
                                         "-(0018,9361) type=3 VR=CS desc=\"Multi-energy\"\n");
        write("DICOM_Private_ACME 1.txt", "(0029,0001) VR=LO desc=\"The first\"\n"
                                          "(0029,0002) VR=SQ desc=\"The nest\"\n");
        write("DICOM_Codes_Region.txt", "; comment\nSRT T-62000 Liver\nSRT T-D9200 Left Knee\n");
        write("Other.txt", "99X 1 Knee\n");
    }

    Outcome run(std::vector<std::string> arguments) const
    {
        arguments.insert(arguments.begin() + 1, {"--definitions", "."});
        return velmora(arguments, "", path);
    }
};

TEST(Definitions, ShowsATemplateAsATree)
{
    const std::string tree = "1  (0008,0060) CS Modality ! \"CT\"\n"
                             "1  (0008,1140) SQ Referenced Image Sequence\n"
                             "    1  (0008,1150) UI Referenced SOP Class UID\n"
                             "    3  (0008,1155) UI Referenced SOP Instance UID = \"1.2.3\"\n"
                             "2  (0010,0010) PN Patient's Name\n"
                             "2C (0010,0040) CS Patient's Sex : \"O\"\n"
                             "3  (0018,9361) CS Multi-energy -\n";
    Definitions definitions;
    for (const char *name : {"CT_Image", "ct_image", "CT"})
        EXPECT_EQ(definitions.run({"template", name}).out, tree);
    EXPECT_EQ(definitions.run({"template", "--list"}).out, "CT_Image\nOT_Image\n");
    Outcome tsv = definitions.run({"template", "--format", "tsv", "CT_Image"});
    EXPECT_EQ(tsv.out.substr(0, tsv.out.find("0\t-\t0010")),
              "0\t-\t0008,0060\t1\tCS\tModality\t!\tCT\n"
              "0\t-\t0008,1140\t1\tSQ\tReferenced Image Sequence\t\t\n"
              "1\t0008,1140[1]\t0008,1150\t1\tUI\tReferenced SOP Class UID\t\t\n"
              "1\t0008,1140[1]\t0008,1155\t3\tUI\tReferenced SOP Instance UID\t=\t1.2.3\n");

    // Of a file, that of its SOP class.
    definitions.write("ct.dcm", element({0x0008, 0x0016}, "UI", Bytes("1.2.840.10008.5.1.4.1.1.2\0", 26)) +
                                    element({0x0008, 0x0060}, "CS", "CT"));
    definitions.write("sr.dcm", element({0x0008, 0x0016}, "UI", "1.2.840.10008.5.1.4.1.1.88.11 ") +
                                    element({0x0008, 0x0060}, "CS", "SR"));
    Outcome of_file = definitions.run({"template", "ct.dcm"});
    EXPECT_EQ(of_file.out, "==> CT_Image <==\n" + tree);
    EXPECT_EQ(of_file.err, "");
    Outcome of_other = definitions.run({"template", "sr.dcm"});
    EXPECT_EQ(of_other.out.rfind("==> OT_Image <==\n2  (0010,0010)", 0), 0u);
    EXPECT_EQ(of_other.err, "velmora: sr.dcm: its SOP class has no template; this is that of any other image\n");
}

TEST(Definitions, SaysWhatIsNotThere)
{
    Definitions definitions;
    definitions.write("note.txt", "a text");
    // clang-format off
    const struct { std::vector<std::string> arguments; const char *err; int status; } rows[] = {
        {{"template", "CTX"}, "there is no template and no file 'CTX'; velmora template --list names them", 1},
        {{"template", "T_Im"}, "there is no template and no file 'T_Im'; there is CT_Image, OT_Image", 1},
        {{"template", "note.txt"}, "note.txt: is not a DICOM or ACR-NEMA data set, but a text", 3},
        {{"template"}, "template: no template and no file is given; see velmora template --help", 2},
        {{"code", "Region", "elbow"}, "Unable to find a match for elbow in table DICOM_Codes_Region.txt", 1},
        {{"code", "Nothing", "elbow"}, "there is no code table 'Nothing' in './'; velmora code --list names them", 3},
        {{"code", "Region"}, "code: no text is given; see velmora code --help", 2},
        {{"check", "--module", "CTX", "x"}, "check: there is no template 'CTX'; velmora template --list names them; "
                                            "see velmora check --help", 2},
    };
    // clang-format on
    for (const auto &row : rows) {
        Outcome run = definitions.run(row.arguments);
        EXPECT_EQ(run.err, "velmora: " + std::string(row.err) + "\n");
        EXPECT_EQ(run.status, row.status);
        EXPECT_EQ(run.out, "");
    }
}

TEST(Definitions, LooksUpCodes)
{
    Definitions definitions;
    EXPECT_EQ(definitions.run({"code", "region", "left", "knee"}).out, "SRT\tT-D9200\tLeft Knee\n");
    EXPECT_EQ(definitions.run({"code", "Other.txt", "knee"}).out, "99X\t1\tKnee\n");
    EXPECT_EQ(definitions.run({"code", "--list"}).out, "Region\n");
    EXPECT_EQ(definitions.run({"code", "--list", "Region"}).out, "SRT\tT-62000\tLiver\nSRT\tT-D9200\tLeft Knee\n");
}

TEST(Definitions, AreFoundWhereTheyAreNamed)
{
    Definitions named;
    Folder other;
    other.write("DICOM_Module_Other.txt", "Patient\n");
    auto list = [](std::vector<std::string> options) {
        options.insert(options.begin(), {"template", "--list"});
        return velmora(options);
    };
    // The option goes before the variable, and that before what is installed or in the source tree.
    EXPECT_NE(list({}).out.find("\nCT_Image\n"), std::string::npos);
    setenv("VELMORA_DEFINITIONS", other.path.c_str(), 1);
    EXPECT_EQ(list({}).out, "Other\n");
    EXPECT_EQ(list({"--definitions", named.path}).out, "CT_Image\nOT_Image\n");
    setenv("VELMORA_DEFINITIONS", "/no/such/folder", 1);
    Outcome missing = list({});
    EXPECT_EQ(missing.err, "velmora: VELMORA_DEFINITIONS names '/no/such/folder', which is no folder; there are no "
                           "definitions\n"
                           "velmora: there are no templates in ''; --definitions or VELMORA_DEFINITIONS names their "
                           "folder\n");
    EXPECT_EQ(missing.status, 3);
    unsetenv("VELMORA_DEFINITIONS");
    EXPECT_EQ(list({"--definitions", "/no/such/folder"}).status, 2);
}

// ---- private attributes ---------------------------------------------------------------

static Bytes with_creator(const Bytes &rest, int syntax)
{
    return element({0x0008, 0x0060}, "CS", "CT", syntax) + element({0x0029, 0x0010}, "LO", "ACME 1", syntax) + rest;
}

TEST(Definitions, NamePrivateAttributes)
{
    Definitions definitions;
    definitions.write("a", with_creator(element({0x0029, 0x1001}, "LO", "one ", SYNTAX_IMPLICIT) +
                                            element({0x0029, 0x1003}, "LO", "two ", SYNTAX_IMPLICIT), SYNTAX_IMPLICIT));
    std::string out = definitions.run({"dump", "a"}).out;
    EXPECT_NE(out.find("(0029,1001) (Private)   The first                                (LO,--,4   ) one"),
              std::string::npos);
    EXPECT_NE(out.find("(0029,1003) (Private)   ACME 1  "), std::string::npos);
}

TEST(Definitions, OpenAPrivateSequenceThatHoldsItems)
{
    Definitions definitions;
    auto listing = [&definitions](const Bytes &value) {
        definitions.write("a", with_creator(element({0x0029, 0x1002}, "SQ", value, SYNTAX_IMPLICIT) +
            element({0x0030, 0x0010}, "LO", "last", SYNTAX_IMPLICIT), SYNTAX_IMPLICIT));
        Outcome run = definitions.run({"dump", "--format", "tsv", "a"});
        EXPECT_EQ(run.err, "");
        std::string tags;
        for (size_t at = 0; at < run.out.size(); at = run.out.find('\n', at) + 1) {
            size_t tag = run.out.find('\t', run.out.find('\t', at) + 1) + 1;
            tags += run.out.substr(at, 1) + ":" + run.out.substr(tag, 12) + " ";
        }
        return tags.substr(tags.find("0:0029,1002"));
    };
    const int implicit = SYNTAX_IMPLICIT, with_vr = SYNTAX_EXPLICIT;
    auto two = [](int syntax) {
        return item({element({0x0018, 0x9036}, "CS", "", syntax), element({0x0018, 0x9077}, "CS", "NO", syntax)},
                    BY_DELIMITER, syntax);
    };
    const std::string nested = "0:0029,1002\tSQ 1:0018,9036\tCS 1:0018,9077\tCS 0:0030,0010\t-- ";
    EXPECT_EQ(listing(two(implicit)).substr(0, 46), nested.substr(0, 46));
    EXPECT_EQ(listing(two(with_vr)).substr(0, 46), nested.substr(0, 46)) << "taken over from a stream with VRs";
    EXPECT_EQ(listing("no items").substr(0, 12), "0:0029,1002\t") << "another version's meaning";
    EXPECT_EQ(listing("no items").find("1:"), std::string::npos);
    EXPECT_EQ(listing("").substr(0, 14), "0:0029,1002\tSQ");
}

// ---- verification ---------------------------------------------------------------------

TEST(Definitions, TellTheCheckWhatIsMissing)
{
    Definitions definitions;
    Bytes start = element({0x0008, 0x0016}, "UI", Bytes("1.2.840.10008.5.1.4.1.1.2\0", 26)) +
                  element({0x0008, 0x0060}, "CS", "CT");
    Bytes good = sequence({0x0008, 0x1140}, BY_LENGTH, {item({element({0x0008, 0x1150}, "UI", "1.22")})});
    definitions.write("bare", start);
    definitions.write("whole", start + good + element({0x0010, 0x0010}, "PN", ""));
    definitions.write("other", element({0x0008, 0x0016}, "UI", "1.22") + element({0x0008, 0x0060}, "CS", "OT"));
    EXPECT_EQ(definitions.run({"check", "bare"}).status, 0);
    Outcome run = definitions.run({"check", "--module", "auto", "bare", "whole", "other"});
    EXPECT_EQ(run.out,
              "bare: 0008,1140 -- Referenced Image Sequence: warning: Missing required value for type 1 tag: "
              "(0008,1140) \"Referenced Image Sequence\"\n"
              "bare: 0008,1140[1]/0008,1150 -- Referenced SOP Class UID: warning: Missing required value for type 1 "
              "tag: (0008,1150) \"Referenced SOP Class UID\"\n"
              "bare: 0010,0010 -- Patient's Name: warning: Missing required value for type 2 tag: (0010,0010) "
              "\"Patient's Name\"\n"
              "3 files: 1 with findings (3 warnings, 0 remarks), 2 clean\n");
    EXPECT_EQ(definitions.run({"check", "--module", "ct_image", "other"}).status, 1);

    // All items are looked at, of an optional sequence those that are there; many elements make no difference.
    definitions.write("DICOM_Module_T.txt", "T\n");
    definitions.write("DICOM_Attributes_T.txt", "(0008,1140) type=1 VR=SQ\n>(0008,1150) type=1 VR=UI\n"
                                                "(0040,0275) type=3 VR=SQ\n>(0040,0009) type=2 VR=SH\n"
                                                "(0040,A730) type=3 VR=SQ\n>(0040,A040) type=1 VR=CS\n");
    for (int more : {0, 100}) {
        Bytes id = element({0x0040, 0x0009}, "SH", "ID"), rest;
        for (int i = 0; i < more; i++)
            rest += element({0x0011, static_cast<unsigned short>(0x1000 + i)}, "LO", "");
        Bytes odd = item({element({0x0008, 0x1155}, "UI", "1.22"), rest});
        definitions.write("items", start + sequence({0x0008, 0x1140}, BY_LENGTH, {odd, item({}), odd}) + rest +
                                       sequence({0x0040, 0x0275}, BY_LENGTH, {item({id}), item({rest})}));
        run = definitions.run({"check", "--verbose", "--ignore", "order", "--module", "T", "items"});
        std::string places;
        for (size_t at = 0; (at = run.out.find("items: ", at)) != std::string::npos; at += 7)
            places += run.out.substr(at + 7, run.out.find(" -- ", at) - at - 7) + " ";
        EXPECT_EQ(places, "0008,1140[1]/0008,1150 0008,1140[2]/0008,1150 0008,1140[3]/0008,1150 "
                          "0040,0275[2]/0040,0009 ");
    }
}
