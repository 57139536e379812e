// velmora conform: lines, statuses, files.
#include <gtest/gtest.h>

#include <sys/stat.h>

#include "tests/host_runs.h"
#include "tests/support/bytes.h"

struct Conform_Run {
    Conform_Run()
    {
        mkdir((folder.path + "/defs").c_str(), 0777);
        for (const char *module : {"CT_Image", "OT_Image"})
            folder.write(std::string("defs/DICOM_Module_") + module + ".txt", "T\n");
        folder.write("defs/DICOM_Attributes_T.txt",
                     "(0008,0020) type=2\n(0008,0060) type=1\n(0010,0010) type=2\n(0010,0020) type=1\n"
                     "(0018,0015) type=3\n(0008,1140) type=3\n>(0008,1150) type=1\n>(0008,1155) type=1\n");
    }

    Outcome operator()(std::vector<std::string> arguments, const std::string &input = "")
    {
        arguments.insert(arguments.begin(), {"conform", "--definitions", "defs"});
        return velmora(arguments, input, folder.path);
    }
    bool exists(const std::string &name) const
    {
        struct stat state;
        return stat((folder.path + "/" + name).c_str(), &state) == 0;
    }
    std::string get(const std::string &tag, const std::string &name)
    {
        return velmora({"get", tag, name}, "", folder.path).out;
    }

    Folder folder;
};

static const Bytes BROKEN = element({0x0008, 0x0020}, "DA", "2004.01.19") + element({0x0008, 0x0060}, "CS", "CT") +
    element({0x0010, 0x0020}, "LO", "") + element({0x0018, 0x0015}, "CS", "") + element({0x0020, 0x0013}, "IS", "7 ");
static const Bytes WHOLE = element({0x0008, 0x0020}, "DA", "20040119") + element({0x0008, 0x0060}, "CS", "CT") +
                           element({0x0010, 0x0010}, "PN", "Doe^Jane") + element({0x0010, 0x0020}, "LO", "A1");

TEST(ConformRun, SaysLineByLineWhatItDid)
{
    Conform_Run conform;
    conform.folder.write("a", BROKEN);
    Outcome run = conform({"a", "b"});
    EXPECT_EQ(run.out, "a: CT_Image: 1 added, 1 changed, 1 removed, 1 lacking\n"
                       "a: changed 0008,0020 Study Date: 2004.01.19 -> 20040119\n"
                       "a: added 0010,0010 Patient's Name\n"
                       "a: removed 0018,0015 Body Part Examined (empty, and it may be absent)\n"
                       "a: lacking 0010,0020 Patient ID: type 1, is empty\n");
    EXPECT_EQ(run.err, "");
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(conform.get("0008,0020", "b"), "20040119\n");
    EXPECT_FALSE(conform.exists("c"));

    // A dry run says the same and writes nothing; a file in line is said to be so.
    Outcome dry = conform({"--dry-run", "a", "c"});
    EXPECT_EQ(dry.out, run.out);
    EXPECT_EQ(dry.status, 1);
    EXPECT_FALSE(conform.exists("c"));
    conform.folder.write("whole", WHOLE);
    EXPECT_EQ(conform({"whole", "c"}).out, "whole: CT_Image: 0 added, 0 changed, 0 removed, 0 lacking\n");
    EXPECT_TRUE(conform.exists("c"));
    EXPECT_EQ(conform({"whole", "c"}).status, 0);
}

TEST(ConformRun, CountsWhatIsTheSameInManyItems)
{
    Conform_Run conform;
    Bytes items;
    for (const char *date : {"2004.01.19", "2004.01.19", "1999.12.31", "2004.01.19", "2004.01.19", "2004.01.19"})
        items += item({element({0x0008, 0x0020}, "DA", date) + element({0x0008, 0x1150}, "UI", Bytes("1.2\0", 4)) +
                       element({0x0008, 0x1155}, "UI", Bytes("1.3\0", 4))});
    size_t at = WHOLE.find(element({0x0010, 0x0010}, "PN", "Doe^Jane"));
    conform.folder.write("a", WHOLE.substr(0, at) + element({0x0008, 0x1140}, "SQ", items) + WHOLE.substr(at));
    const std::string head = "a: CT_Image: 0 added, 6 changed, 0 removed, 0 lacking\n",
                      same = "0008,0020 Study Date: 2004.01.19 -> 20040119\n";
    std::string each = head;
    for (int number : {1, 2, 3, 4, 5, 6})
        each += "a: changed 0008,1140[" + std::to_string(number) + "]/" +
                (number == 3 ? "0008,0020 Study Date: 1999.12.31 -> 19991231\n" : same);
    std::string first = each.substr(0, each.find("a: changed 0008,1140[5]"));
    EXPECT_EQ(conform({"a", "b"}).out, first + "a: 2 more: changed " + same);
    EXPECT_EQ(conform({"-v", "a", "b"}).out, each);
}

TEST(ConformRun, SetsWhatAPersonKnows)
{
    Conform_Run conform;
    conform.folder.write("a", BROKEN);
    Outcome run = conform({"--set", "PatientID=ID 7", "--set", "0010,0010=Doe^J\xC3\xBCrgen", "--set",
                           "SpecificCharacterSet=ISO_IR 100", "a", "b"});
    EXPECT_EQ(run.err, "velmora: a: is not changed: 0010,0010 cannot have '\xC3\xBC', which is not in the character "
              "set that (0008,0005) names\n");
    EXPECT_EQ(run.status, 3);
    EXPECT_FALSE(conform.exists("b"));

    run = conform({"--set", "PatientID=ID 7", "--set", "SpecificCharacterSet=ISO_IR 100", "--set",
                   "0010,0010=Doe^J\xC3\xBCrgen", "--set", "0008,1140[1]/0008,1155=1.2.3.4", "a", "b"});
    EXPECT_EQ(run.out, "a: CT_Image: 3 added, 2 changed, 1 removed, 1 lacking\n"
                       "a: added 0008,0005 Specific Character Set: ISO_IR 100 (given)\n"
                       "a: changed 0008,0020 Study Date: 2004.01.19 -> 20040119\n"
                       "a: added 0008,1140 Referenced Image Sequence: 1 item\n"
                       "a: added 0010,0010 Patient's Name: Doe^J\xC3\xBCrgen (given)\n"
                       "a: changed 0010,0020 Patient ID: nothing -> ID 7 (given)\n"
                       "a: removed 0018,0015 Body Part Examined (empty, and it may be absent)\n"
                       "a: lacking 0008,1140[1]/0008,1150 Referenced SOP Class UID: type 1, is not there\n");
    EXPECT_EQ(run.err, "");
    EXPECT_EQ(conform.get("0010,0010", "b"), "Doe^J\xC3\xBCrgen\n");
    EXPECT_EQ(conform.get("0008,1140[1]/0008,1155", "b"), "1.2.3.4\n");

    // In each item, shown as the item's own character set has it.
    Bytes utf8 = item({element({0x0008, 0x0005}, "CS", "ISO_IR 192"), element({0x0008, 0x1150}, "UI", "1.22")});
    Bytes latin = element({0x0008, 0x0005}, "CS", "ISO_IR 100");
    conform.folder.write("items", latin + element({0x0008, 0x0060}, "CS", "CT") +
                                      sequence({0x0008, 0x1140}, BY_LENGTH, {utf8, utf8}));
    run = conform({"--set", "0008,1140/0008,0104=J\xC3\xBCrgen", "--set", "0008,1140[2]/0008,1155=1.20", "items", "b"});
    std::string said;
    for (size_t at = 0, end; (end = run.out.find('\n', at)) != std::string::npos; at = end + 1)
        if (run.out.substr(at, end - at).find("(given)") != std::string::npos)
            said += run.out.substr(at, end + 1 - at);
    EXPECT_EQ(said, "items: added 0008,1140[1]/0008,0104 Code Meaning: J\xC3\xBCrgen (given)\n"
                    "items: added 0008,1140[2]/0008,0104 Code Meaning: J\xC3\xBCrgen (given)\n"
                    "items: added 0008,1140[2]/0008,1155 Referenced SOP Instance UID: 1.20 (given)\n");
}

TEST(ConformRun, ShowsWhatIsNoCharacter)
{
    Conform_Run conform;
    conform.folder.write("a", WHOLE + element({0x0018, 0x0015}, "CS", "\xC4 "));
    EXPECT_EQ(conform({"a", "b"}).out, "a: CT_Image: 0 added, 1 changed, 0 removed, 0 lacking\n"
                                       "a: changed 0018,0015 Body Part Examined: \xEF\xBF\xBD -> _\n");
}

TEST(ConformRun, WorksThroughAFolder)
{
    for (const char *jobs : {"1", "3"}) {
        Conform_Run conform;
        mkdir((conform.folder.path + "/in").c_str(), 0777);
        mkdir((conform.folder.path + "/in/deep").c_str(), 0777);
        conform.folder.write("in/a", BROKEN);
        conform.folder.write("in/deep/b", WHOLE);
        conform.folder.write("in/text", "no data set\n");
        Outcome run = conform({"-q", "--jobs", jobs, "in", "out"});
        EXPECT_EQ(run.out, "in/a: CT_Image: 1 added, 1 changed, 1 removed, 1 lacking\n"
                           "in/deep/b: CT_Image: 0 added, 0 changed, 0 removed, 0 lacking\n"
                           "2 files: 1 added, 1 changed, 1 removed; 1 of them lack something\n");
        EXPECT_EQ(run.status, 1);
        EXPECT_EQ(conform.get("0008,0020", "out/a"), "20040119\n");
        EXPECT_TRUE(conform.exists("out/deep/b"));
        EXPECT_FALSE(conform.exists("out/text"));
    }
}

// The data set itself goes to standard output then.
TEST(ConformRun, WritesADataSetToStandardOutput)
{
    Conform_Run conform;
    Outcome run = conform({"-", "-"}, BROKEN);
    EXPECT_EQ(run.out.substr(128, 4), "DICM");
    EXPECT_EQ(run.err.substr(0, run.err.find('\n')),
              "standard input: CT_Image: 1 added, 1 changed, 1 removed, 1 lacking");
}

TEST(ConformRun, ForcesByLinesOfItsOwn)
{
    Conform_Run conform;
    conform.folder.write("a", WHOLE);
    conform.folder.write("rules", "!(0008,0080) \"Here\"\n-(0010,0010)\n");
    Outcome run = conform({"--override", "rules", "a", "b"});
    EXPECT_EQ(run.out, "a: CT_Image: 1 added, 0 changed, 1 removed, 0 lacking\n"
                       "a: added 0008,0080 Institution Name: Here (the template forces it)\n"
                       "a: removed 0010,0010 Patient's Name: Doe^Jane (the template takes it out)\n");

    // What is taken out at every depth is so below the ninth level, and below the eighteenth.
    auto nested = [](const Bytes &name) {
        Bytes inside;
        for (int i = 0; i < 22; i++)
            inside = sequence({0x0041, 0x1001}, BY_DELIMITER, {item({i == 3 || i == 11 ? name : "", inside}, BY_DELIMITER)});
        return WHOLE.substr(0, 26) + element({0x0010, 0x0020}, "LO", "A1") + inside;
    };
    conform.folder.write("deep", nested(element({0x0010, 0x0010}, "PN", "Doe^Jane")));
    conform.folder.write("rules", "-(0010,0010)\n");
    run = conform({"--override", "rules", "deep", "b"});
    EXPECT_EQ(run.out, "deep: CT_Image: 0 added, 0 changed, 2 removed, 0 lacking\n"
                       "deep: removed 2 below the ninth level of sequences (the template takes it out)\n");
    Bytes written = bytes_of(conform.folder.path + "/b"), expected = nested("");
    EXPECT_EQ(written.substr(written.size() - expected.size()), expected);
    EXPECT_EQ(conform({"--override", "rules", "b", "c"}).out, "b: CT_Image: 0 added, 0 changed, 0 removed, 0 lacking\n");
}

TEST(ConformRun, RefusesWrongUse)
{
    const struct { std::vector<std::string> arguments; const char *error; } rows[] = {
        {{"a"}, "it is not said where the result goes"},
        {{"--module", "Nothing", "a", "b"}, "there is no template 'Nothing'; velmora template lists them"},
        {{"--uid-root", "1..2", "a", "b"}, "'1..2' is no UID that leaves room for another part"},
        {{"--override", "absent", "a", "b"}, "--override names 'absent', which cannot be read"},
        {{"--override", "deep", "a", "b"}, "line 3 of 'deep' is about an item, which an override cannot change"},
        {{"--override", "late", "a", "b"}, "line 2 of 'late' stands behind a greater tag; they must be in order"},
        {{"--set", "PatientID", "a", "b"}, "--set takes TAG=VALUE, not 'PatientID'"},
        {{"--set", "60xx,3000=1", "a", "b"}, "'60xx,3000' cannot be set: it may name several attributes"},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.error);
        Conform_Run conform;
        conform.folder.write("a", WHOLE);
        conform.folder.write("deep", "; a rule\n(0008,1140) type=1\n!>(0008,1150) \"1.2\"\n");
        conform.folder.write("late", "+(0010,0020) \"X\"\n-(0008,0060)\n");
        Outcome run = conform(row.arguments);
        EXPECT_EQ(run.err, std::string("velmora: conform: ") + row.error + "; see velmora conform --help\n");
        EXPECT_EQ(run.status, 2);
        EXPECT_EQ(run.out, "");
    }
}
