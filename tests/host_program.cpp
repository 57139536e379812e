// Whole runs of the program: arguments, standard output, messages, exit status.
#include <gtest/gtest.h>
#include <fcntl.h>
#include <pty.h>
#include <sys/wait.h>
#include <unistd.h>

#include "tests/host_runs.h"
#include "tests/support/bytes.h"

static const Bytes SMALL =
    part10_head("1.2.840.10008.1.2.1") + element({0x0008, 0x0060}, "CS", "CT") +
    element({0x0010, 0x0010}, "PN", "Doe^Jane") +
    sequence({0x0040, 0x0275}, BY_DELIMITER,
             {item({element({0x0040, 0x0009}, "SH", "A1")}),
              item({element({0x0008, 0x1140}, "SQ", item({element({0x0008, 0x1150}, "UI", Bytes("1.2\0", 4))})),
                    element({0x0040, 0x0009}, "SH", "B2")})}) +
    element({0x0042, 0x0011}, "OB", Bytes(2000, 'x'));

static const char SMALL_TSV[] = "0\t-\t0002,0000\tUL\t4\t140\n"
                                "0\t-\t0002,0001\tOB\t2\t156\n"
                                "0\t-\t0002,0010\tUI\t20\t166\n"
                                "0\t-\t0008,0060\tCS\t2\t194\n"
                                "0\t-\t0010,0010\tPN\t8\t204\n"
                                "0\t-\t0040,0275\tSQ\t-1\t224\n"
                                "1\t00400275[1]\t0040,0009\tSH\t2\t240\n"
                                "1\t00400275[2]\t0008,1140\tSQ\t20\t262\n"
                                "2\t00400275[2]/00081140[1]\t0008,1150\tUI\t4\t278\n"
                                "1\t00400275[2]\t0040,0009\tSH\t2\t290\n"
                                "0\t-\t0042,0011\tOB\t2000\t312\n";

// The lines of a tree dump behind its legend.
static std::string body(const std::string &dump)
{
    size_t at = dump.find("(grp, elem)");
    return at == std::string::npos ? dump : dump.substr(dump.find('\n', at) + 1);
}

TEST(Program, ListsEachElementForPrograms)
{
    Folder folder;
    Outcome run = velmora({"dump", "--format", "tsv", folder.write("a.dcm", SMALL)});
    EXPECT_EQ(run.out, SMALL_TSV);
    EXPECT_EQ(run.err, "");
    EXPECT_EQ(run.status, 0);
}

TEST(Program, ShowsTheTree)
{
    Folder folder;
    Outcome run = velmora({"dump", folder.write("a.dcm", SMALL)});
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(body(run.out),
              "(0002,0000) (DICOM)     ===== Group 0002 (File) ==============   (UL,--,4   ) 42\n"
              "(0002,0001) (DICOM)     File Meta Information Version            (OB,--,2   ) 00 01\n"
              "(0002,0010) (DICOM)     Transfer Syntax UID                      (UI,--,20  ) = UID Exlicit VR, Little "
              "Endian\n"
              "(0008,0060) (DICOM)     Modality                                 (CS,--,2   ) CT\n"
              "(0010,0010) (DICOM)     Patient's Name                           (PN,--,8   ) Doe^Jane\n"
              "(0040,0275) (DICOM)     Request Attributes Sequence              (SQ,--,-1  ) ---- Sequence in "
              "---------------\n"
              "------------------------ ---- Sequence in ----(depth=0)-----\n"
              "    ------------------------ ---- Item[1] in ---------------\n"
              "    (fffe,e000) (DICOM)     Item                                     (I-,--,10  ) (data from file at "
              "offset=232)\n"
              "    (0040,0009) (DICOM)     Scheduled Procedure Step ID              (SH,--,2   ) A1\n"
              "    ------------------------ ---- Item[1] out --------------\n"
              "    ------------------------ ---- Item[2] in ---------------\n"
              "    (fffe,e000) (DICOM)     Item                                     (I-,--,42  ) (data from file at "
              "offset=250)\n"
              "    (0008,1140) (DICOM)     Referenced Image Sequence                (SQ,--,20  ) ---- Sequence in "
              "---------------\n"
              "    ------------------------ ---- Sequence in ----(depth=1)-----\n"
              "        ------------------------ ---- Item[1] in ---------------\n"
              "        (fffe,e000) (DICOM)     Item                                     (I-,--,12  ) (data from file "
              "at offset=270)\n"
              "        (0008,1150) (DICOM)     Referenced SOP Class UID                 (UI,--,4   ) 1.2\n"
              "        ------------------------ ---- Item[1] out --------------\n"
              "    ------------------------ ---- Sequence out --------------\n"
              "    (0040,0009) (DICOM)     Scheduled Procedure Step ID              (SH,--,2   ) B2\n"
              "    ------------------------ ---- Item[2] out --------------\n"
              "------------------------ ---- Sequence out --------------\n"
              "(fffe,e0dd) (DICOM)     Sequence Delimitation Item               (Ia,--,0   ) (no data)\n"
              "(0042,0011) (DICOM)     Encapsulated Document                    (OB,--,2000) (data from file at "
              "offset=312)\n");
}

TEST(Program, ShowsTextsOfLaterVRsAsTexts)
{
    Bytes bytes = element({0x0008, 0x0060}, "CS", "CT") + element({0x0008, 0x9919}, "UC", "Long\\Text ") +
                  element({0x0008, 0x9920}, "SV", "12345678");
    EXPECT_EQ(velmora({"dump", "--format", "tsv", "-"}, bytes).out,
              "0\t-\t0008,0060\tCS\t2\t8\n0\t-\t0008,9919\tUC\t10\t22\n0\t-\t0008,9920\tSV\t8\t44\n");
    EXPECT_EQ(
        body(velmora({"dump", "-"}, bytes).out),
        "(0008,0060) (DICOM)     Modality                                 (CS,--,2   ) CT\n"
        "(0008,9919) (DICOM)     Unknown tag                              (UT,--,10  ) Long\\Text \n"
        "(0008,9920) (DICOM)     Unknown tag                              (SV,--,8   ) 31 32 33 34 35 36 37 38\n");
}

TEST(Program, ShowsWhatIsAskedFor)
{
    Folder folder;
    std::string file = folder.write("a.dcm", SMALL);
    const struct { std::vector<std::string> only; const char *tags; } rows[] = {
        {{"0010,0010"}, "0010,0010 "}, {{"PatientName"}, "0010,0010 "}, {{"patient's name"}, "0010,0010 "},
        {{"(0010,0010)"}, "0010,0010 "}, {{"00100010"}, "0010,0010 "}, {{"0008,*"}, "0008,0060 0008,1140 0008,1150 "},
        {{"00xx,0009"}, "0040,0009 0040,0009 "}, {{"0040,0275[2]/0040,0009"}, "0040,0009 "},
        {{"0040,0275/0040,0009"}, "0040,0009 0040,0009 "},
        {{"RequestAttributesSequence[2]"}, "0008,1140 0008,1150 0040,0009 "},
        {{"0040,0275[2]/0008,1140[1]/0008,1150"}, "0008,1150 "}, {{"0040,0275[2]/0008,1140"}, "0008,1140 0008,1150 "},
        {{"0040,0275[3]/0040,0009"}, ""}, {{"0010,0020"}, ""}, {{"0010,0010", "0008,0060"}, "0008,0060 0010,0010 "},
    };
    for (const auto &row : rows) {
        std::vector<std::string> arguments = {"dump", file, "--format", "tsv"};
        for (const std::string &tag : row.only)
            arguments.insert(arguments.end(), {"--only", tag});
        SCOPED_TRACE(row.only[0]);
        Outcome run = velmora(arguments);
        std::string tags;
        for (size_t at = 0; at < run.out.size(); at = run.out.find('\n', at) + 1)
            tags += run.out.substr(run.out.find('\t', run.out.find('\t', at) + 1) + 1, 9) + " ";
        EXPECT_EQ(tags, row.tags);

        // The tree shows the same attributes, with the sequences around them.
        arguments[3] = "tree";
        std::string tree = body(velmora(arguments).out);
        for (size_t at = 0; row.tags[at] != '\0'; at += 10)
            EXPECT_NE(tree.find("(" + std::string(row.tags).substr(at, 9) + ")"), std::string::npos);
        EXPECT_EQ(tree.empty(), row.tags[0] == '\0');
    }
}

TEST(Program, TakesFilesFromAnywhere)
{
    Folder folder;
    Bytes one = element({0x0008, 0x0060}, "CS", "CT") + element({0x0010, 0x0010}, "PN", "A ");
    folder.write("a", one);
    folder.write("b c", one);
    ASSERT_EQ(system(("mkdir -p " + folder.path + "/sub/deep " + folder.path + "/empty").c_str()), 0);
    folder.write("sub/deep/d", one);
    folder.write("sub/note.txt", "no data set");
    const std::string lines = "0\t-\t0008,0060\tCS\t2\t8\n0\t-\t0010,0010\tPN\t2\t18\n";
    const struct { std::vector<std::string> arguments; std::string input, out, err; int status; } rows[] = {
        {{"-"}, one, lines, "", 0},
        {{"a", "b c"}, "", "# a\n" + lines + "# b c\n" + lines, "", 0},
        {{"sub"}, "", "# sub/deep/d\n" + lines, "velmora: 1 file of the folders is no data set\n", 0},
        {{"empty", "a"}, "", "# a\n" + lines, "velmora: empty: holds no file\n", 3},
        {{"none", "a"}, "", "# a\n" + lines, "velmora: none: no such file or folder\nvelmora: 1 of 2 files failed\n",
         3},
        {{"sub/note.txt", "a"}, "", "# a\n" + lines, "velmora: sub/note.txt: is not a DICOM or ACR-NEMA data set, but "
         "a text\nvelmora: 1 of 2 files failed\n", 3},
        {{"--files-from", "-"}, "a\nb c\n", "# a\n" + lines + "# b c\n" + lines, "", 0},
        {{"--files-from", "-", "-0"}, std::string("a\0b c", 5), "# a\n" + lines + "# b c\n" + lines, "", 0},
        {{"--files-from", "-"}, std::string("a\nb c\0a\na\n", 10), "# a\n" + lines, "velmora: standard input: has a "
         "zero byte in a line, and is not read on; -0 reads paths that end with zero bytes\n", 3},
        {{"--files-from", "sub"}, "", "", "velmora: sub: cannot be read: Is a directory\n", 3},
        {{"--files-from", "none"}, "", "", "velmora: none: cannot be opened: No such file or directory\n", 3},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.arguments[0]);
        std::vector<std::string> arguments = {"dump", "--format", "tsv"};
        arguments.insert(arguments.end(), row.arguments.begin(), row.arguments.end());
        Outcome run = velmora(arguments, row.input, folder.path);
        EXPECT_EQ(run.out, row.out);
        EXPECT_EQ(run.err, row.err);
        EXPECT_EQ(run.status, row.status);
    }
    Outcome tree = velmora({"dump", "a", "b c"}, "", folder.path);
    EXPECT_EQ(tree.out.find("==> a <==\nStool syntax"), 0u);
    EXPECT_NE(tree.out.find("\n\n==> b c <==\nStool syntax"), std::string::npos);
}

TEST(Program, SaysWhatIsWrongWithALineInOneLine)
{
    const struct { std::vector<std::string> arguments; const char *err; } rows[] = {
        {{"dump"}, "velmora: dump: no file is given; see velmora dump --help\n"},
        {{"dump", "--foo", "x"}, "velmora: dump: there is no option '--foo', but --format, --only, --raw, --charset, "
         "--indent, --inline, --with-head, --color, --verbose, --files-from, --null, --jobs, --print-stats, "
         "--definitions and --help; see velmora dump --help\n"},
        {{"dump", "-x", "x"},
         "velmora: dump: there is no option '-x', but -f, -o, -v, -0, -j and -h; see velmora dump --help\n"},
        {{"dump", "--only"}, "velmora: dump: '--only' needs a value; see velmora dump --help\n"},
        {{"dump", "--format", "xml", "x"},
         "velmora: dump: --format takes tree, tsv, json or html, not 'xml'; see velmora dump --help\n"},
        {{"dump", "--color", "red", "x"},
         "velmora: dump: --color takes auto, always or never, not 'red'; see velmora dump --help\n"},
        {{"dump", "--only", "Nmae", "x"}, "velmora: dump: 'Nmae' is no tag (as 0010,0010), and no name of the "
         "dictionary; see velmora dump --help\n"},
        {{"dump", "--only", "0010,0010[0]", "x"},
         "velmora: dump: '0010,0010[0]' is no item; they count from 1; see velmora dump --help\n"},
        {{"dump", "--only", "PatientNme", "x"}, "velmora: dump: 'PatientNme' is no tag (as 0010,0010), and no name of "
         "the dictionary; perhaps PatientName is meant; see velmora dump --help\n"},
        {{"dump", "-0", "x"},
         "velmora: dump: -0 is about lists; --files-from LIST names one; see velmora dump --help\n"},
        {{"repair", "x", "y", "/dev/null"},
         "velmora: repair: '/dev/null' is no folder, and that is where several results go; see velmora repair --help\n"},
        {{"convert", "x", ""}, "velmora: convert: the name of where the result goes is empty; see velmora convert "
         "--help\n"},
        {{"check", "--journal", "", "x"}, "velmora: check: --journal names no file; see velmora check --help\n"},
        {{"dict"}, "velmora: dict: no tag and no text is given; see velmora dict --help\n"},
        {{"uid"}, "velmora: uid: no UID and no text is given; see velmora uid --help\n"},
        {{"fly"}, "velmora: there is no command 'fly'; velmora help names the commands\n"},
        {{"--fly"}, "velmora: there is no option '--fly'; velmora help names the commands\n"},
        {{"dump", "--fromat", "x"},
         "velmora: dump: there is no option '--fromat'; perhaps --format is meant; see velmora dump --help\n"},
        {{"dump", "--in", "x"}, "velmora: dump: '--in' may be --indent or --inline; see velmora dump --help\n"},
        {{"dump", "--raw=1", "x"}, "velmora: dump: --raw takes no value; see velmora dump --help\n"},
        {{"dmup"}, "velmora: there is no command 'dmup'; perhaps dump is meant; velmora help names the commands\n"},
        {{"/"},
         "velmora: there is no command '/'; velmora dump / shows what is in it; velmora help names the commands\n"},
        {{"help", "fly"}, "velmora: there is no command 'fly'; velmora help names the commands\n"},
    };
    for (const auto &row : rows) {
        Outcome run = velmora(row.arguments);
        EXPECT_EQ(run.status, 2);
        EXPECT_EQ(run.err, row.err);
        EXPECT_EQ(run.out, "");
    }
    Outcome bare = velmora({});
    EXPECT_EQ(bare.status, 2);
    EXPECT_EQ(bare.err.rfind("Usage: velmora COMMAND", 0), 0u);
}

TEST(Program, HelpsAndNamesItsVersion)
{
    for (const std::vector<std::string> &arguments : {std::vector<std::string>{"--help"}, {"help"}, {"-h"}}) {
        Outcome run = velmora(arguments);
        EXPECT_EQ(run.status, 0);
        EXPECT_EQ(run.out.rfind("Usage: velmora COMMAND", 0), 0u);
    }
    for (const std::vector<std::string> &arguments : {
             std::vector<std::string>{"dump", "--help"},
             { "help", "dump"},
             { "dump", "x", "-h"}
    }) {
        Outcome run = velmora(arguments);
        EXPECT_EQ(run.status, 0);
        EXPECT_EQ(run.out.rfind("Usage: velmora dump [OPTIONS] FILE...", 0), 0u);
        EXPECT_NE(run.out.find("Examples:"), std::string::npos);
    }
    EXPECT_EQ(velmora({"--version"}).out, "velmora 21.6.2, Velmora_DICOM.dll 21.6 (rev-b)\n");
}

TEST(Program, ColorsOnlyWhereTheyAreWanted)
{
    Folder folder;
    std::string file =
        folder.write("a.dcm", element({0x0008, 0x0060}, "CS", "CT") + element({0x0010, 0x0010}, "PN", "A "));
    Outcome plain = velmora({"dump", file}), never = velmora({"dump", "--color=never", file});
    EXPECT_EQ(plain.out.find('\033'), std::string::npos);
    EXPECT_EQ(plain.out, never.out);
    Outcome colored = velmora({"dump", "--color", "always", file});
    EXPECT_NE(colored.out.find("(\033[34m0008\033[39m,\033[34m0060\033[39m) \033[1m\033[34m(DICOM)  \033[22m "),
              std::string::npos);
    EXPECT_EQ(colored.out.substr(colored.out.size() - 7), "A \033[0m\n");
}

// What a run writes to a terminal.
static std::string on_terminal(const std::string &file, const char *no_color)
{
    int terminal = -1;
    pid_t child = forkpty(&terminal, nullptr, nullptr, nullptr);
    if (child == 0) {
        setenv("TERM", "xterm", 1);
        setenv("NO_COLOR", no_color, 1);
        execl(VELMORA_PROGRAM, VELMORA_PROGRAM, "dump", file.c_str(), nullptr);
        _exit(127);
    }
    std::string text;
    char block[4096];
    for (ssize_t got; (got = read(terminal, block, sizeof block)) > 0;)
        text.append(block, static_cast<size_t>(got));
    waitpid(child, nullptr, 0);
    close(terminal);
    return text;
}

TEST(Program, ColorsATerminalUnlessToldNotTo)
{
    Folder folder;
    std::string file =
        folder.write("a.dcm", element({0x0008, 0x0060}, "CS", "CT") + element({0x0010, 0x0010}, "PN", "A "));
    EXPECT_NE(on_terminal(file, "").find("(\033[34m0008"), std::string::npos);
    EXPECT_NE(on_terminal(file, "1").find("(0008,0060)"), std::string::npos);
}

TEST(Program, ShowsNoValueThatCouldDriveATerminal)
{
    Folder folder;
    const struct { Bytes value; const char *shown; } rows[] = {
        {"\033[2J\033]0;title\a", "\\x1b[2J\\x1b]0;title\\x07"}, {"\001red\004\361\360", "\\x01red\\x04\\xf1\\xf0"},
        {"two\r\nlines\t.", "two\\r\\nlines\\t."}, {"Mu\xC3\xB1oz \xE5\xB1\xB1 ", "Mu\xC3\xB1oz \xE5\xB1\xB1 "},
        {"Mu\xF1oz\x9B" "31m", "Mu\\xf1oz\\x9b31m"},
        {"\xC2\x9B" "31m \xE2\x80\xAE", "\\xc2\\x9b31m \\xe2\\x80\\xae"},
        {"bad \xC0\xAF \xED\xA0\x80 \xF5\x80\x80\x80", "bad \\xc0\\xaf \\xed\\xa0\\x80 \\xf5\\x80\\x80\\x80"},
        {"\x02) \x7F", "\\x02) \\x7f"},
    };
    for (const auto &row : rows) {
        std::string file =
            folder.write("a.dcm", element({0x0008, 0x0060}, "CS", "CT") + element({0x0010, 0x4000}, "LT", row.value));
        Outcome run = velmora({"dump", "--color", "always", "--only", "0010,4000", file});
        EXPECT_EQ(run.out.substr(run.out.rfind("\x1b[39m) ") + 7), std::string(row.shown) + "\033[0m\n");
    }
    std::string name = folder.path + "/\033[31mred\n";
    Outcome run = velmora({"dump", name});
    EXPECT_EQ(run.err, "velmora: " + folder.path + "/\\x1b[31mred\\n: no such file or folder\n");
    EXPECT_EQ(run.status, 3);
}

TEST(Program, FoldsWhatRepeats)
{
    Folder folder;
    Bytes odd;
    for (unsigned short i = 0; i < 10; i++)
        odd += element({0x0018, static_cast<unsigned short>(0x1100 + i)}, "LO", "odd");
    Bytes bytes = element({0x0008, 0x0060}, "CS", "CT") + odd;
    for (int i = 0; i < 8; i++)
        folder.write("f" + std::to_string(i), bytes);
    Outcome one = velmora({"dump", "--format", "tsv", "f0"}, "", folder.path);
    EXPECT_EQ(one.err, "velmora: f0: at offset 10: tag lenght is odd in tag (0018,1100)\n"
                       "velmora: f0: at offset 21: tag lenght is odd in tag (0018,1101)\n"
                       "velmora: f0: at offset 32: tag lenght is odd in tag (0018,1102)\n"
                       "velmora: f0: (7 more like that)\n");
    Outcome all = velmora({"dump", "--format", "tsv", "."}, "", folder.path);
    EXPECT_NE(all.err.find("velmora: ./f4: at offset 10"), std::string::npos);
    EXPECT_EQ(all.err.find("f5"), std::string::npos);
    EXPECT_NE(all.err.find("velmora: 3 files more: tag lenght is odd in tag (0018,1100)\n"), std::string::npos);
}

TEST(Program, NamesThePlaceOfWhatTheTreeComplainsOf)
{
    Folder folder;
    std::string file = folder.write("a", element({0x0008, 0x0060}, "CS", "CT") + element({0x0010, 0x0020}, "LO", "ID") +
                                             element({0x0010, 0x0010}, "PN", "Doe^"));
    EXPECT_EQ(velmora({"dump", "--format", "tsv", "a"}, "", folder.path).err,
              "velmora: a: at offset 20: (0010,0010) tags should be sorted!\n");
    Outcome verbose = velmora({"dump", "-v", "--format", "tsv", "-"},
                              element({0x0008, 0x0060}, "CS", "CT") + element({0x0010, 0x0010}, "LO", "Doe^"));
    EXPECT_EQ(verbose.err, "velmora: standard input: at offset 10: (0010,0010)  Explicit VR (=LO) does not match "
        "definition! (=PN)\n");
}

TEST(Program, LooksUpTheDictionary)
{
    const struct {
        std::vector<std::string> arguments;
        const char *text;   // the result, or the message
        int status;
    } rows[] = {
        {{"dict", "0010,0010"}, "0010,0010\tPN 1\tPatient's Name\tPatientName\n", 0},
        {{"dict", "PatientName"}, "0010,0010\tPN 1\tPatient's Name\tPatientName\n", 0},
        {{"dict", "patient's NAME"}, "0010,0010\tPN 1\tPatient's Name\tPatientName\n", 0},
        {{"dict", "6002,3000"}, "60xx,3000\tOB 1 or OW 1\tOverlay Data\tOverlayData\n", 0},
        {{"dict", "OverlayData"}, "60xx,3000\tOB 1 or OW 1\tOverlay Data\tOverlayData\n", 0},
        {{"dict", "0018,1153"}, "0018,1153\tIS 1\tExposure in uAs\tExposureInuAs\n", 0},
        {{"dict", "0008,0001"}, "0008,0001\tUL 1\tLength to End\tLengthToEnd\tRET\n", 0},
        {{"dict", "fffe,e0*"},
         "fffe,e000\tI- 1\tItem\tItem\n"
         "fffe,e00d\tIa 1\tItem Delimitation Item\tItemDelimitationItem\n"
         "fffe,e0dd\tIa 1\tSequence Delimitation Item\tSequenceDelimitationItem\n", 0},
        {{"dict", "diffusion b-value"}, "0018,9087\tFD 1\tDiffusion b-value\tDiffusionBValue\n", 0},
        {{"dict", "Contour Data"}, "3006,0050\tDS 3-n\tContour Data\tContourData\n", 0},
        {{"dict", "frame of reference rel"}, "3006,00c0\tSQ 1\tFrame of Reference Relationship "
         "Sequence\tFrameOfReferenceRelationshipSequence\n", 0},
        {{"dict", "0009,1001"}, "the dictionary has nothing for '0009,1001'", 1},
        {{"dict", "no such thing"}, "the dictionary has nothing for 'no such thing'", 1},
        {{"dict", "Patient Nmae"}, "the dictionary has nothing for 'Patient Nmae'; perhaps PatientName is meant", 1},
        {{"uid", "1.2.840.10008.1.2"}, "1.2.840.10008.1.2\tUID Implicit VR, Little Endian\n", 0},
        {{"uid", "1.2.840.10008.1.2.4.9"},
         "1.2.840.10008.1.2.4.90\tUID Exlicit VR, Little Endian, Compression: JPEG-2000 (reversible)\n"
         "1.2.840.10008.1.2.4.91\tUID Exlicit VR, Little Endian, Compression: JPEG-2000 (irreversible)\n"
         "1.2.840.10008.1.2.4.92\tUID Exlicit VR, Little Endian, Compression: JPEG-2000 (Multi-component lossless)\n"
         "1.2.840.10008.1.2.4.93\tUID Exlicit VR, Little Endian, Compression: JPEG-2000 (Multi-component)\n"
         "1.2.840.10008.1.2.4.94\tUID Exlicit VR, Little Endian, Compression: JPIP Referenced\n"
         "1.2.840.10008.1.2.4.95\tUID Exlicit VR, Little Endian, Compression: JPIP Referenced Deflate\n", 0},
        {{"uid", "ct_image"}, "1.2.840.10008.5.1.4.1.1.2\tSOP CT_IMAGE\n", 0},
        {{"uid", "1.2.3.4"}, "no name is known for '1.2.3.4'", 1},
        {{"uid", "no such thing"}, "no name is known for 'no such thing'", 1},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.arguments[1]);
        Outcome run = velmora(row.arguments);
        EXPECT_EQ(run.out, row.status == 0 ? row.text : "");
        EXPECT_EQ(run.err, row.status == 0 ? "" : std::string("velmora: ") + row.text + "\n");
        EXPECT_EQ(run.status, row.status);
    }
}

TEST(Program, EndsQuietlyWhenNobodyReads)
{
    Folder folder;
    Bytes bytes = element({0x0008, 0x0060}, "CS", "CT");
    for (unsigned short i = 0; i < 20000; i++)
        bytes += element({0x0009, static_cast<unsigned short>(0x1000 + i)}, "LT", "v ");
    std::string command = std::string(VELMORA_PROGRAM) + " dump " + folder.write("a", bytes) + " 2>" + folder.path +
                          "/err | head -1 >" + folder.path + "/out; test ! -s " + folder.path + "/err";
    EXPECT_EQ(system(command.c_str()), 0);
    std::string full = std::string(VELMORA_PROGRAM) + " dump " + folder.path + "/a 2>/dev/null >/dev/full";
    EXPECT_EQ(WEXITSTATUS(system(full.c_str())), 3);
}

// A pipe or a terminal that others share with the program may be one that does not block.
TEST(Program, WaitsForAReaderThatIsSlow)
{
    Folder folder;
    std::string value;
    for (int i = 0; i < 50000; i++)
        value += std::to_string(i) + " and ";
    folder.write("a", element({0x0008, 0x0060}, "CS", "CT") + element({0x0042, 0x0011}, "OB", value));
    for (const std::vector<std::string> &line : {std::vector<std::string>{"get", "--raw", "0042,0011", "a"},
                                                 {"get", "-j", "2", "--raw", "0042,0011", "a"},
                                                 {"convert", "a", "-"}}) {
        int ends[2], state = 0;
        ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
        fcntl(ends[1], F_SETFL, O_NONBLOCK);
        pid_t child = start_program(VELMORA_PROGRAM, line, folder.path, ends[1]);
        close(ends[1]);
        usleep(100000);
        std::string got;
        char block[65536];
        for (ssize_t count; (count = read(ends[0], block, sizeof block)) > 0;)
            got.append(block, static_cast<size_t>(count));
        close(ends[0]);
        waitpid(child, &state, 0);
        EXPECT_EQ(WEXITSTATUS(state), 0);
        EXPECT_NE(got.find(value), std::string::npos) << line[0] << " gave " << got.size() << " bytes";
    }
}

// The number of a closed stream would go to the next file that is opened.
TEST(Program, WritesNothingOfAClosedStreamIntoAFile)
{
    Folder folder;
    folder.write("a", part10_head("1.2.840.10008.1.2.1") + element({0x0008, 0x0020}, "DA", "2004.01.19"));
    ASSERT_EQ(velmora({"repair", "a", "whole"}, "", folder.path).status, 0);
    const struct { const char *line, *file, *forbidden; int status; } rows[] = {
        {"check --journal j a >&-", "j", "\na: ", 3},
        {"check --journal k a none 2>&- >/dev/null", "k", "velmora: none", 3},
        {"repair a out >&- 2>&-", "out", "a: 0008", 3}, {"repair a in <&- >&-", "in", "a: 0008", 3},
        {"get 0008,0020 - <&-", "a", "velmora", 3},
    };
    for (const auto &row : rows) {
        std::string command = "cd " + folder.path + " && exec 2>/dev/null; " + VELMORA_PROGRAM + " " + row.line;
        EXPECT_EQ(WEXITSTATUS(system(command.c_str())), row.status) << row.line;
        EXPECT_NE(folder.read(row.file), "") << row.line;
        EXPECT_EQ(folder.read(row.file).find(row.forbidden), std::string::npos) << row.line;
    }
    EXPECT_EQ(folder.read("out"), folder.read("whole"));
}
