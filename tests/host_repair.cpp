// Whole runs of velmora repair: what is mended, what is taken out, and what is said about it.
#include <gtest/gtest.h>
#include <unistd.h>
#include <filesystem>

#include "tests/host_runs.h"
#include "tests/host_saved.h"

using namespace velmora_host;

static const Bytes FIRST = element({0x0008, 0x0060}, "CS", "CT");
static const Tag REFERENCES = {0x0008, 0x1140}, CLASS = {0x0008, 0x1150};

static Bytes file_of(const Bytes &body) { return part10_head("1.2.840.10008.1.2.1") + body; }

struct Repaired {
    int status;
    Bytes body;
    std::string said;   // without the name of the file, and without the last line
    std::string err;
};

static Repaired repair(const Bytes &file)
{
    Folder folder;
    folder.write("in", file);
    Outcome run = velmora({"repair", "in", "out"}, "", folder.path);
    std::string said = run.out;
    for (size_t at; (at = said.find("in: ")) != std::string::npos;)
        said.erase(at, 4);
    size_t last = said.rfind("1 file:");
    return {run.status, behind_head(bytes_of(folder.path + "/out")), said.substr(0, last), run.err};
}

TEST(HostRepair, MendsValuesAndSaysWhatItDid)
{
    const struct { const char *name; Bytes before, after; std::string said; } rows[] = {
        {"nothing", element({0x0010, 0x0010}, "PN", "A^B "), element({0x0010, 0x0010}, "PN", "A^B "), ""},
        {"an old date", element({0x0010, 0x0030}, "DA", "1993.11.24"), element({0x0010, 0x0030}, "DA", "19931124"),
         "0010,0030 DA Patient's Birth Date: '1993.11.24' became '19931124': Old syntax! 1993.11.24 changed to "
         "19931124\n"},
        {"an odd length", element({0x0010, 0x0020}, "LO", "ID1"), element({0x0010, 0x0020}, "LO", "ID1 "),
         "0010,0020 LO Patient ID: 'ID1' padding mended\n"},
        {"bytes of an odd length", element({0x0029, 0x1001}, "OB", "odd"),
         element({0x0029, 0x1001}, "OB", Bytes("odd\0", 4)), "0029,1001 OB: 3 bytes padded to an even length\n"},
        {"many bytes of an odd length", element({0x0029, 0x1001}, "OB", Bytes(1025, 'x')),
         element({0x0029, 0x1001}, "OB", Bytes(1025, 'x') + Bytes(1, '\0')),
         "0029,1001 OB: 1025 bytes padded to an even length\n"},
        {"too many values", element({0x0028, 0x0010}, "US", "1234"), "",
         "0028,0010 US Rows: 12849\\13363 removed: Invalid number of values in data!, Expecting VN=1 but got 2 "
         "values\n"},
        {"too many, of which one is too long", element({0x0018, 0x0050}, "DS", "123456789.123456789e10\\2"), "",
         "0018,0050 DS Slice Thickness: '123456789.123456789e10\\2' removed: String too long! (22/vs/16 max) Truncated to "
         "\"123456789.123456\"(789e10); Invalid number of values in data!, Expecting VN=1 but got 2 values\n"},
        {"a VR that tells nothing", element({0x0018, 0x9352}, "UN", "1234"), element({0x0018, 0x9352}, "UN", "1234"),
         ""},
        {"an age without a unit", element({0x0010, 0x1010}, "AS", "7 "), element({0x0010, 0x1010}, "AS", "7 "), ""},
        {"no UID", element({0x0020, 0x000D}, "UI", "1.2.ABC."), element({0x0020, 0x000D}, "UI", "1.2.ABC."),
         "0020,000d UI Study Instance UID: '1.2.ABC.' left as it is: '1.2..' would say something else\n"},
        {"no integer", element({0x0020, 0x0013}, "IS", "12.7"), element({0x0020, 0x0013}, "IS", "12.7"),
         "0020,0013 IS Instance Number: '12.7' left as it is: '12' would say something else\n"},
        {"a code in small letters", element({0x0018, 0x0015}, "CS", "head"), element({0x0018, 0x0015}, "CS", "HEAD"),
         "0018,0015 CS Body Part Examined: 'head' became 'HEAD': 4 char in \"head\" not from set "
         "\"ABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_ \\\"\n"},
        {"what is no character", element({0x0018, 0x0015}, "CS", "\xC4 "), element({0x0018, 0x0015}, "CS", "_ "),
         "0018,0015 CS Body Part Examined: '\xEF\xBF\xBD' became '_': 1 char in \"\\xc4\" not from set "
         "\"ABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_ \\\"\n"},
        {"no date at all", element({0x0010, 0x0030}, "DA", "unknown "), element({0x0010, 0x0030}, "DA", ""),
         "0010,0030 DA Patient's Birth Date: 'unknown' became nothing: 8 char in \"unknown \" not from set "
         "\"0123456789.\\\"\n"},
        {"a small image", element({0x7FE0, 0x0010}, "OW", "odd"), element({0x7FE0, 0x0010}, "OW", Bytes("odd\0", 4)),
         "7fe0,0010 OW Pixel Data: 3 bytes padded to an even length\n"},
        {"the same twice", element({0x0010, 0x0020}, "LO", "ID") + element({0x0010, 0x0020}, "LO", "ID"),
         element({0x0010, 0x0020}, "LO", "ID"), "0010,0020 Patient ID: removed, it stands there twice\n"},
        {"once with nothing", element({0x0010, 0x0020}, "LO", "") + element({0x0010, 0x0020}, "LO", "ID"),
         element({0x0010, 0x0020}, "LO", "ID"), "0010,0020 Patient ID: removed, it stands there twice\n"},
        {"nothing between two values", element({0x0010, 0x0020}, "LO", "ID") + element({0x0010, 0x0020}, "LO", "") +
         element({0x0010, 0x0020}, "LO", "ID") + element({0x0010, 0x0020}, "LO", "OTHER "),
         element({0x0010, 0x0020}, "LO", "ID") + element({0x0010, 0x0020}, "LO", "OTHER "),
         "0010,0020 Patient ID: removed, it stands there twice\n0010,0020 Patient ID: removed, it stands there twice\n"},
        {"a number beyond any", element({0x0018, 0x0050}, "DS", "1e999999999999999999"),
         element({0x0018, 0x0050}, "DS", "1e999999999999999999"),
         "0018,0050 DS Slice Thickness: '1e999999999999999999' left as it is: '1e99999999999999' would say something "
         "else\n"},
        {"out of order", element({0x0010, 0x0020}, "LO", "ID") + element({0x0010, 0x0010}, "PN", "A^"),
         element({0x0010, 0x0010}, "PN", "A^") + element({0x0010, 0x0020}, "LO", "ID"),
         "attributes put into the order of their tags\n"},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.name);
        // In an item of a sequence as well as at the top.
        Bytes before = FIRST + row.before, after = FIRST + row.after;
        if (row.before[0] == '\x08')   // sorts in front of FIRST
            before = row.before + FIRST, after = row.after + FIRST;
        Repaired top = repair(file_of(before));
        EXPECT_EQ(top.status, 0) << top.err;
        EXPECT_EQ(top.body, after);
        EXPECT_EQ(top.said, row.said);
        EXPECT_EQ(repair(file_of(top.body)).said, row.said.find("left as") != std::string::npos ? row.said : "");
    }
}

TEST(HostRepair, CountsWhatIsTheSameInManyItems)
{
    std::vector<Bytes> items;
    for (int i = 0; i < 6; i++)
        items.push_back(item({element({0x0008, 0x0020}, "DA", i == 4 ? "1999.12.31" : "2004.01.19")}, BY_DELIMITER));
    Folder folder;
    folder.write("in", file_of(sequence(REFERENCES, BY_DELIMITER, items) + element({0x0010, 0x0020}, "LO", "\xFF ")));
    const std::string what = "0008,0020 DA Study Date: '2004.01.19' became '20040119': Old syntax! 2004.01.19 changed "
                             "to 20040119\n";
    auto in_item = [](const std::string &text, int number) {
        return "in: 0008,1140[" + std::to_string(number) + "]/" + text;
    };
    std::string other = what;
    for (size_t at; (at = other.find("2004")) != std::string::npos;)
        other.replace(at, other[at + 4] == '.' ? 10 : 8, other[at + 4] == '.' ? "1999.12.31" : "19991231");
    const std::string end = "1 file: 1 repaired (6 values mended, 0 attributes removed), 0 in order\n";
    Outcome run = velmora({"repair", "in", "out"}, "", folder.path);
    EXPECT_EQ(run.out, in_item(what, 1) + in_item(what, 2) + in_item(what, 3) + in_item(other, 5) +
                           "in: 2 more: " + what + end);
    run = velmora({"repair", "-v", "in", "out"}, "", folder.path);
    EXPECT_EQ(run.out, in_item(what, 1) + in_item(what, 2) + in_item(what, 3) + in_item(what, 4) + in_item(other, 5) +
                           in_item(what, 6) + end);
    // What could not be written was not repaired.
    run = velmora({"repair", "-q", "in", "none/out"}, "", folder.path);
    EXPECT_EQ(run.out, "1 file: 0 repaired (0 values mended, 0 attributes removed), 0 in order, 1 failed\n");
}

TEST(HostRepair, KeepsItemsThatLoseAllTheirAttributes)
{
    Bytes good = item({element(CLASS, "UI", "1.2.3.40")}, BY_DELIMITER);
    Bytes bad = item({element({0x0028, 0x0010}, "US", "1234")}, BY_DELIMITER);
    Repaired repaired = repair(file_of(FIRST + sequence(REFERENCES, BY_DELIMITER, {good, bad, good})));
    EXPECT_EQ(repaired.body, FIRST + sequence(REFERENCES, BY_DELIMITER, {good, item({}, BY_DELIMITER), good}));
    EXPECT_EQ(repaired.said.substr(0, 40), "0008,1140[2]/0028,0010 US Rows: 12849\\13");
}

TEST(HostRepair, ReachesBelowTheNinthLevel)
{
    auto nested = [](const char *date) {
        Bytes inside = element({0x0010, 0x0030}, "DA", date);
        for (int i = 0; i < 25; i++)
            inside = sequence({0x0040, 0xA730}, BY_DELIMITER, {item({inside}, BY_DELIMITER)});
        return FIRST + inside;
    };
    Repaired repaired = repair(file_of(nested("1993.11.24")));
    EXPECT_EQ(repaired.body, nested("19931124"));
    EXPECT_NE(repaired.said.find("0040,a730[1]/0010,0030 DA Patient's Birth Date: '1993.11.24' became"),
              std::string::npos);
    // Two that differ down there alone are not one that stands there twice.
    Bytes both = repair(file_of(nested("19930101") + nested("19940101").substr(FIRST.size()))).body;
    EXPECT_NE(both.find("19930101"), Bytes::npos);
    EXPECT_NE(both.find("19940101"), Bytes::npos);
}

TEST(HostRepair, MakesAHeadAndWritesWhatCouldBeRead)
{
    Bytes bare = FIRST + element({0x0010, 0x0020}, "LO", "ID");
    Repaired repaired = repair(bare);
    EXPECT_EQ(repaired.body, bare);
    EXPECT_EQ(repaired.said, "a head (group 0002) made\n");
    repaired = repair(file_of(bare + element({0x7FE0, 0x0010}, "OB", "pixels", 8, 1000)));
    EXPECT_EQ(repaired.body, bare + element({0x7FE0, 0x0010}, "OB", "pixels"));
    EXPECT_EQ(repaired.said, "what could be read of a damaged stream is written\n");
}

TEST(HostRepair, WorksInPlaceOnWhatNeedsIt)
{
    Folder folder;
    Bytes bad = file_of(element({0x0010, 0x0030}, "DA", "1993.11.24")), good = file_of(FIRST);
    std::string bad_path = folder.write("bad", bad), good_path = folder.write("good", good);
    Outcome run = velmora({"repair", "--dry-run", "--in-place", "bad"}, "", folder.path);
    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_NE(run.out.find("bad: 0010,0030 DA Patient's Birth Date: '1993.11.24' became '19931124'"),
              std::string::npos);
    EXPECT_TRUE(bytes_of(bad_path) == bad);

    run = velmora({"repair", "-q", "--in-place", "bad", "good"}, "", folder.path);
    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(run.out, "2 files: 1 repaired (1 value mended, 0 attributes removed), 1 in order\n");
    EXPECT_TRUE(bytes_of(good_path) == good);
    EXPECT_FALSE(std::filesystem::exists(good_path + ".bak"));
    EXPECT_TRUE(bytes_of(bad_path + ".bak") == bad);
    EXPECT_EQ(behind_head(bytes_of(bad_path)), element({0x0010, 0x0030}, "DA", "19931124"));

    // The next run over the folder leaves the old file alone.
    run = velmora({"repair", "-q", "--in-place", "."}, "", folder.path);
    EXPECT_EQ(run.out, "2 files: 0 repaired (0 values mended, 0 attributes removed), 2 in order\n") << run.err;
    EXPECT_TRUE(bytes_of(bad_path + ".bak") == bad);

    // A run that was killed when the old file had its second name; and a second name that keeps nothing.
    std::string half = folder.write("half", bad), lost = folder.write("lost", bad);
    ASSERT_EQ(link(half.c_str(), (half + ".bak").c_str()) + symlink("lost", (lost + ".bak").c_str()), 0);
    run = velmora({"repair", "-q", "--in-place", "half", "lost"}, "", folder.path);
    EXPECT_EQ(run.out, "2 files: 1 repaired (1 value mended, 0 attributes removed), 0 in order, 1 failed\n");
    EXPECT_NE(run.err.find("lost: is not replaced: lost.bak exists already, and would be lost\n"), std::string::npos);
    EXPECT_TRUE(bytes_of(half + ".bak") == bad);
    EXPECT_EQ(behind_head(bytes_of(half)), element({0x0010, 0x0030}, "DA", "19931124"));
}
