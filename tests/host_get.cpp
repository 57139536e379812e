// velmora get, and the texts of the tree dump in the character set of the terminal.
#include <gtest/gtest.h>
#include <stdlib.h>

#include "tests/host_runs.h"
#include "tests/support/bytes.h"

static const Bytes HEAD = part10_head("1.2.840.10008.1.2.1");

static const Bytes REPORT =
    HEAD + element({0x0008, 0x0005}, "CS", "ISO_IR 100") + element({0x0008, 0x0008}, "CS", "ORIGINAL\\PRIMARY") +
    element({0x0008, 0x0020}, "DA", "20040512") + element({0x0010, 0x0010}, "PN", "M\xFCller^Jan") +
    element({0x0010, 0x0020}, "LO", "") + element({0x0018, 0x0050}, "DS", " 5.00 ") +
    element({0x0028, 0x0009}, "AT", Bytes("\x18\x00\x63\x10", 4)) +
    element({0x0028, 0x0010}, "US", Bytes("\x40\x00\xFF\xFF", 4)) +
    sequence({0x0040, 0xA730}, BY_DELIMITER,
             {item({element({0x0008, 0x0104}, "LO", "one "), element({0x0010, 0x0020}, "LO", "X1")}),
              item({sequence({0x0040, 0xA168}, BY_LENGTH, {item({element({0x0008, 0x0104}, "LO", "two ")})})})}) +
    element({0x0042, 0x0011}, "OB", Bytes("%PDF\0\x01", 6));

static Outcome get(const std::vector<std::string> &arguments, const Bytes &bytes = REPORT)
{
    Folder folder;
    folder.write("a.dcm", bytes);
    std::vector<std::string> all = arguments;
    all.insert(all.begin(), "get");
    return velmora(all, "", folder.path);
}

struct Get_Row { std::vector<std::string> arguments; const char *out; int status; };

TEST(Get, PrintsALineForEachValue)
{
    static const Get_Row rows[] = {
        {{"0010,0010", "a.dcm"}, "Müller^Jan\n", 0}, {{"PatientName", "a.dcm"}, "Müller^Jan\n", 0},
        {{"Patient's Name", "a.dcm"}, "Müller^Jan\n", 0}, {{"ImageType", "a.dcm"}, "ORIGINAL\nPRIMARY\n", 0},
        {{"StudyDate", "a.dcm"}, "20040512\n", 0}, {{"SliceThickness", "a.dcm"}, "5.00\n", 0},
        {{"0028,0009", "a.dcm"}, "0018,1063\n", 0}, {{"0028,0010", "a.dcm"}, "64\n65535\n", 0},
        {{"PatientID", "a.dcm"}, "\n", 0}, {{"0042,0011", "a.dcm"}, "255044460001\n", 0},
        {{"--limit", "2", "0042,0011", "a.dcm"}, "2550... (6 bytes)\n", 0},
        {{"0040,a730", "a.dcm"}, "2 items\n", 0}, {{"PatientBirthDate", "a.dcm"}, "", 1},
        {{"0008,0104", "a.dcm"}, "", 1},
        {{"0040,a730[2]/0040,a168[1]/0008,0104", "a.dcm"}, "two\n", 0},
        {{"0040,a730/0008,0104", "a.dcm"}, "0040,a730[1]/0008,0104\tone\n", 0},
        {{"0040,a730[3]/0008,0104", "a.dcm"}, "", 1},
        {{"--all", "0008,0104", "a.dcm"}, "0040,a730[1]/0008,0104\tone\n0040,a730[2]/0040,a168[1]/0008,0104\ttwo\n", 0},
        {{"--all", "PatientID", "a.dcm"}, "0010,0020\t\n0040,a730[1]/0010,0020\tX1\n", 0},
        {{"0008,00*", "a.dcm"}, "0008,0005\tISO_IR 100\n0008,0008\tORIGINAL\n0008,0008\tPRIMARY\n0008,0020\t20040512\n",
         0},
        {{"-t", "StudyDate", "-t", "Modality", "-t", "ImageType", "a.dcm"},
         "0008,0020\t20040512\n0008,0008\tORIGINAL\n0008,0008\tPRIMARY\n", 1},
        {{"StudyDate", "a.dcm", "a.dcm"}, "a.dcm:20040512\na.dcm:20040512\n", 0},
        {{"--no-filename", "StudyDate", "a.dcm", "a.dcm"}, "20040512\n20040512\n", 0},
        {{"-H", "-p", "StudyDate", "a.dcm"}, "a.dcm:0008,0020\t20040512\n", 0},
        {{"--raw", "PatientName", "a.dcm"}, "M\xFCller^Jan", 0},
        {{"--json", "-t", "0008,0020", "-t", "0040,a730[2]/0040,a168", "a.dcm"},
         "{\"file\":\"a.dcm\",\"path\":\"0008,0020\",\"vr\":\"DA\",\"Value\":[\"20040512\"]}\n"
         "{\"file\":\"a.dcm\",\"path\":\"0040,a730[2]/"
         "0040,a168\",\"vr\":\"SQ\",\"Value\":[{\"00080104\":{\"vr\":\"LO\","
         "\"Value\":[\"two\"]}}]}\n",
         0},
    };
    for (const Get_Row &row : rows) {
        Outcome run = get(row.arguments);
        EXPECT_EQ(run.out, row.out) << row.arguments[0];
        EXPECT_EQ(run.status, row.status) << row.arguments[0];
        EXPECT_EQ(run.err, "");
    }
    Outcome pdf = get({"--raw", "0042,0011", "a.dcm"});
    EXPECT_EQ(pdf.out, Bytes("%PDF\0\x01", 6));
}

TEST(Get, SaysWhatIsWrong)
{
    static const struct { std::vector<std::string> arguments; int status; const char *err; } rows[] = {
        {{}, 2, "velmora: get: no tag is given; see velmora get --help\n"},
        {{"PatientName"}, 2, "velmora: get: no file is given; see velmora get --help\n"},
        {{"NoSuchName", "a.dcm"}, 2, "velmora: get: 'NoSuchName' is no tag (as 0010,0010), and no name of the "
         "dictionary; see velmora get --help\n"},
        {{"0040,a730[1]", "a.dcm"}, 2, "velmora: get: '0040,a730[1]' names an item; name an attribute in it; see "
         "velmora get --help\n"},
        {{"--raw", "--json", "PatientName", "a.dcm"}, 2, "velmora: get: --raw and --json are two forms; choose one; "
         "see velmora get --help\n"},
        {{"-H", "--no-filename", "PatientName", "a.dcm"}, 2, "velmora: get: --no-filename leaves out what "
         "--with-filename and --path ask for; choose one; see velmora get --help\n"},
        {{"--limit", "-1", "PatientName", "a.dcm"}, 2, "velmora: get: --limit takes a number of bytes, not '-1'; see "
         "velmora get --help\n"},
        {{"PatientName", "nowhere"}, 3, "velmora: nowhere: no such file or folder\n"},
    };
    for (const auto &row : rows) {
        Outcome run = get(row.arguments);
        EXPECT_EQ(run.err, row.err);
        EXPECT_EQ(run.status, row.status);
        EXPECT_EQ(run.out, "");
    }
}

TEST(Get, CannotDriveATerminal)
{
    Outcome run = get({"0010,4000", "a.dcm"}, HEAD + element({0x0010, 0x4000}, "LT", "\033[31mred\nnext\x9B" "2J"));
    EXPECT_EQ(run.out, "�[31mred\\nnext�2J\n");
}

TEST(Get, FetchesWhatWasLeftInTheFile)
{
    Bytes text(2000, 't'), numbers;
    for (int i = 0; i < 1000; i++)
        numbers += number_16(static_cast<uint16_t>(i));
    Bytes bytes = HEAD + element({0x0010, 0x4000}, "LT", text) + element({0x0028, 0x3006}, "US", numbers);
    EXPECT_EQ(get({"0010,4000", "a.dcm"}, bytes).out, text + "\n");
    std::string expected;
    for (int i = 0; i < 1000; i++)
        expected += std::to_string(i) + "\n";
    EXPECT_EQ(get({"0028,3006", "a.dcm"}, bytes).out, expected);
}

TEST(Get, ReportsAPartOfANumber)
{
    Outcome run = get({"0028,0010", "a.dcm"}, HEAD + element({0x0028, 0x0010}, "UL", Bytes("\x01\0\0\0\x02\0", 6)));
    EXPECT_EQ(run.out, "1\n");
    EXPECT_NE(
        run.err.find("(0028,0010) a value of 6 bytes, but its numbers have 4 bytes each; the last 2 are left out"),
        std::string::npos)
        << run.err;
}

TEST(Get, LooksIntoSequencesThatTheTreeDoesNotOpen)
{
    Bytes inside = element({0x0008, 0x0100}, "SH", "X1");
    std::string path = "0008,0100";
    for (int i = 0; i < 20; i++) {
        inside = sequence({0x0040, 0xA730}, BY_DELIMITER, {item({}), item({inside})});
        path = "0040,a730[2]/" + path;
    }
    EXPECT_EQ(get({"--all", "0008,0100", "a.dcm"}, HEAD + inside).out, path + "\tX1\n");
    EXPECT_EQ(get({path, "a.dcm"}, HEAD + inside).out, "X1\n");
    EXPECT_EQ(get({path.substr(0, path.rfind("[2]/")), "a.dcm"}, HEAD + inside).out, "2 items\n");
}

// ---- the tree dump --------------------------------------------------------------------

static std::string value_shown(const Bytes &bytes, std::vector<std::string> arguments, const char *locale = nullptr)
{
    Folder folder;
    folder.write("a.dcm", HEAD + bytes);
    arguments.insert(arguments.begin(), {"dump", "--only", "0010,0010"});
    arguments.push_back("a.dcm");
    if (locale != nullptr)
        setenv("LC_ALL", locale, 1);
    Outcome run = velmora(arguments, "", folder.path);
    unsetenv("LC_ALL");
    size_t at = run.out.find("\n(0010,0010)");
    at = at == std::string::npos ? at : run.out.find(" ) ", at);
    return at == std::string::npos ? run.out : run.out.substr(at + 3);
}

TEST(Get, SaysHowDeepItLooks)
{
    Bytes deep = element({0x0008, 0x0104}, "LO", "word");
    for (int i = 0; i < 101; i++)
        deep = sequence({0x0040, 0xA730}, BY_DELIMITER, {item({deep}, BY_DELIMITER)});
    Outcome run = velmora({"get", "--no-filename", "--all", "0008,0104", "-"}, deep);
    EXPECT_EQ(run.status, 1);
    EXPECT_NE(run.err.find("(0040,a730) lies deeper than 100 sequences and is not looked into\n"), std::string::npos);
    run = velmora({"get", "--no-filename", "--all", "0008,0104", "-"}, deep.substr(20));   // in the item alone
    EXPECT_EQ(run.out, "word\n");
}

TEST(Dump, ShowsTextsInTheCharacterSetOfTheTerminal)
{
    Bytes german = element({0x0008, 0x0005}, "CS", "ISO_IR 100") + element({0x0010, 0x0010}, "PN", "M\xFCller ");
    EXPECT_EQ(value_shown(german, {}), "Müller \n");
    EXPECT_EQ(value_shown(german, {"--raw"}), "M\\xfcller \n");
    EXPECT_NE(value_shown(german, {"--color", "always"}).find(") Müller \033[0m\n"), std::string::npos);
    EXPECT_EQ(value_shown(german, {}, "C"), "Müller \n");
    EXPECT_EQ(value_shown(german, {}, "C.UTF-8"), "Müller \n");

    Bytes korean = element({0x0008, 0x0005}, "CS", "\\ISO 2022 IR 149") +
                   element({0x0010, 0x0010}, "PN", "\033$)C\xFB\xF3^\033$)C\xD1\xCE ");
    EXPECT_EQ(value_shown(korean, {}), "洪^吉 \n");

    // What is no character is shown as a byte, though a zero byte follows; of a text that goes on it is dropped.
    Bytes utf8 = element({0x0008, 0x0005}, "CS", "ISO_IR 192"), many;
    for (int i = 0; i < 124; i++)
        many += "\xC3\xBC";
    EXPECT_EQ(value_shown(utf8 + element({0x0010, 0x0010}, "PN", Bytes("AB\xC4\0", 4)), {}), "AB\\xc4\n");
    EXPECT_EQ(value_shown(utf8 + element({0x0010, 0x0010}, "PN", "x" + many + "\xC3\xBC "), {}),
              "x" + many + "...\n");
}

