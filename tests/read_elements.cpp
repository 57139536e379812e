// Element headers: VRs and lengths in each encoding, and the repairs of vendors' faults.
#include <gtest/gtest.h>
#include <errno.h>
#include <algorithm>
#include <random>

#include "tests/read_stream.h"
#include "tests/support/reports.h"

#define WARNING_HEAD "    \xF1\x05WARNING:\x02 "

struct Header { int result = -9; unsigned short group = 0xAAAA, element = 0xAAAA, vr = 0xAAAA; int length = 777; };

static Header read_header(Stream &in, int mode, int limit)
{
    Header got;
    got.result = NEMA_Get_Data_Element(nullptr, in.kind, in.handle(), in.name(), static_cast<unsigned char>(mode),
                                       &got.group, &got.element, &got.vr, &got.length, limit);
    return got;
}

// (gggg,eeee) VR length, as far as the call gives them.
static std::string shown(const Header &got)
{
    if (got.result != 1)
        return "result " + std::to_string(got.result);
    char text[64];
    snprintf(text, sizeof text, "(%04x,%04x) %s %d", got.group, got.element,
             got.vr == 0 ? "--" : std::string({first_letter(got.vr), second_letter(got.vr)}).c_str(), got.length);
    return text;
}

static const Bytes LONG_VALUE(70, 'v');   // behind each header, so that its length lies below the limit

struct Case {
    const char *what;
    int mode;
    Bytes header;
    const char *expected, *warning = "";   // without its head
    long position = 0;                     // from the start of the header; 0: behind it
};

static const char ALL_BYTES[] = "as long as its source";
static const char TOO_BIG[] = "NEMA_Get_Data_Element() --> failed size to big (=00000052)\n";

static const Case CASES[] = {
    {"implicit", 0, Bytes("\x08\0\x60\0\x02\0\0\0", 8), "(0008,0060) -- 2"},
    {"explicit, short form", 8, Bytes("\x08\0\x60\0CS\x02\0", 8), "(0008,0060) CS 2"},
    {"explicit, long form", 8, Bytes("\x28\0\x06\x30OX\x34\x12\x10\0\0\0", 12), "(0028,3006) OX 16"},
    {"big-endian", 9, Bytes("\0\x08\0\x60" "CS\0\x02", 8), "(0008,0060) CS 2"},
    {"implicit big-endian", 1, Bytes("\0\x08\0\x60\0\0\0\x02", 8), "(0008,0060) -- 2"},
    {"swapped words", 2, Bytes("\0\x08\0\x60\0\x02\0\0", 8), "(0008,0060) -- 2"},
    {"group 0002 in an implicit stream", 0, Bytes("\x02\0\x10\0UI\x14\0", 8), "(0002,0010) UI 20"},
    {"group 0002 in a big-endian stream", 9, Bytes("\x02\0\x10\0UI\x14\0", 8), "(0002,0010) UI 20"},
    {"no VR in an explicit stream", 8, Bytes("\x08\0\x60\0\x0A\0\0\0", 8), "(0008,0060) -- 10"},
    {"no VR and no length", 8, Bytes("\x08\0\x40\x11\xFF\xFF\xFF\xFF", 8), "(0008,1140) -- -1"},
    {"no VR in a big-endian stream", 9, Bytes("\0\x08\0\x60\0\0\0\x0A", 8), "(0008,0060) -- 10"},
    {"a VR in lower case is a length", 8, Bytes("\x08\0\x60\0ob\0\0", 8), "result 0"},
    {"a VR that the standard made later", 8, Bytes("\x08\0\x60\0OF\x04\0", 8), "(0008,0060) OF 4"},
    {"an unknown VR", 8, Bytes("\x08\0\x60\0??\x04\0", 8), "(0008,0060) ?? 4"},
    {"an item in an explicit stream", 8, Bytes("\xFE\xFF\0\xE0\x08\0\0\0", 8), "(fffe,e000) -- 8"},
    {"an item in a big-endian stream", 9, Bytes("\xFF\xFE\xE0\0\0\0\0\x08", 8), "(fffe,e000) -- 8"},
    {"a length below -1", 0, Bytes("\x08\0\x60\0\xFE\xFF\xFF\xFF", 8), "result 0"},
    {"an item of the other byte order", 0, Bytes("\xFF\xFE\xE0\0\0\0\0\0", 8), "result 0"},
    {ALL_BYTES, 0, Bytes("\x08\0\x60\0\x52\0\0\0", 8), "result 0"},
    {"one byte less", 0, Bytes("\x08\0\x60\0\x50\0\0\0", 8), "(0008,0060) -- 80"},

    {"Philips item", 8, Bytes("\x3F\x3F\x3F\0\x08\0\0\0", 8), "(fffe,e000) -- 8",
     "Fix Philips bug: tag (3F3F,003F) replaced by (FFFE,E000)\n"},
    {"not quite a Philips item", 8, Bytes("\x3F\x3F\x40\0CS\x08\0", 8), "(3f3f,0040) CS 8"},
    {"Siemens request sequence", 8, Bytes("\x40\0\x75\x02SQ\x1E\0", 8), "(ffff,ffff) OB 30",
     "Fix Siemens bug: tag (0040,0275) is skipped\n"},
    {"a good request sequence", 8, Bytes("\x40\0\x75\x02SQ\0\0\x1E\0\0\0", 12), "(0040,0275) SQ 30"},
    {"another sequence with a reserved word", 8, Bytes("\x40\0\x76\x02SQ\x1E\0\x1E\0\0\0", 12), "(0040,0276) SQ 30"},
    {"GE length", 0x10, Bytes("\x08\0\x60\0\x0D\0\0\0", 8), "(0008,0060) -- 10",
     "Fix GE bug: lenght from 13 to 10 in tag (0008,0060)\n"},
    {"another odd length of GE", 0x18, Bytes("\x08\0\x60\0CS\x0F\0", 8), "(0008,0060) CS 15",
     "tag lenght is odd in tag (0008,0060)\n"
     "\x05 Oups! We assumed this was a GE 13/10 bug, it no longer appears that way\n"
     "\x05 Please contact Velmora for further assistance.\n"},
    {"GE item", 0x10, Bytes("\xFE\xFF\0\xE0\x0D\0\0\0", 8), "(fffe,e000) -- 13",
     "tag lenght is odd in tag (fffe,e000)\n"},
    {"odd length", 8, Bytes("\x08\0\x60\0CS\x0D\0", 8), "(0008,0060) CS 13", "tag lenght is odd in tag (0008,0060)\n"},
    {"item that ends with the source", 0x30, Bytes("\xFE\xFF\0\xE0\x46\0\0\0", 8), "(fffe,e000) -- 70"},
    {"item that passes the end of the source", 0x30, Bytes("\xFE\xFF\0\xE0\x48\0\0\0", 8), "(fffe,e000) -- 64",
     "Fix GE ROGAN LIB bug: lenght from 0x00000048 to 0x00000040 in tag (fffe,e000)\n"},
    {"UL that is text", 8, Bytes("\x09\0\x10\x10UL\x06\0    ", 12), "(0009,1010) CS 4",
     "Fix Siemens bug: lenght changed from 6 to 4 in tag (0009,1010)\n", 8},
    {"UL that is not text", 8, Bytes("\x09\0\x10\x10UL\x06\0   \0", 12), "(0009,1010) UL 6", "", 8},
    {"JPEG of undefined length", 8,
     Bytes("\xE0\x7F\x10\0OB\0\0\xFF\xFF\xFF\xFF\xFF\xD8\xFF\xE0" "1\xFF\xD9" "2\xFF\xD9", 22),
     "(7fe0,0010) OB 10", "Fix Siemens bug: lenght changed from -1 to 10 in tag (7fe0,0010)\n", 12},
    {"JPEG in a big-endian stream", 9, Bytes("\x7F\xE0\0\x10OB\0\0\xFF\xFF\xFF\xFF\xFF\xD8\xFF\xE0\xFF\xD9", 18),
     "(7fe0,0010) OB 6", "Fix Siemens bug: lenght changed from -1 to 6 in tag (7fe0,0010)\n", 12},
    {"JPEG behind a mistaken VR", 8, Bytes("\xE0\x7F\x10\0\xFF\xFF\xFF\xFF\xFF\xD8\xFF\xE0\xFF\xD9", 14),
     "(7fe0,0010) -- 6", "Fix Siemens bug: lenght changed from -1 to 6 in tag (7fe0,0010)\n", 8},
    {"JPEG without an end", 8, Bytes("\xE0\x7F\x10\0OB\0\0\xFF\xFF\xFF\xFF\xFF\xD8\xFF\xE0", 16), "result 0", "", 12},
    {"encapsulated pixel data", 8, Bytes("\xE0\x7F\x10\0OB\0\0\xFF\xFF\xFF\xFF\xFE\xFF\0\xE0\0\0\0\0", 20),
     "(7fe0,0010) OB -1", "", 12},
};

class Elements : public OfEachKind {};
INSTANTIATE_TEST_SUITE_P(Source, Elements, EACH_KIND, kind_name);

TEST_P(Elements, AreReadInEachEncodingAndRepaired)
{
    for (const Case &each : CASES) {
        Stream in(GetParam(), "lead" + each.header + LONG_VALUE);
        NEMA_Skip(nullptr, in.kind, in.handle(), in.name(), 4);
        Reports said(12);
        std::string got = shown(read_header(in, each.mode, in.size())), failure = said.texts(12);
        EXPECT_EQ(got, each.expected) << each.what;
        std::string warnings = each.warning[0] != '\0' ? std::string(WARNING_HEAD) + each.warning : "";
        EXPECT_EQ(said.warnings(), warnings) << each.what;
        long position = each.position != 0 ? each.position : static_cast<long>(each.header.size());
        if (got != "result 0" || each.position != 0) {
            EXPECT_EQ(in.position(), 4 + position) << each.what;
        }
        if (each.what == ALL_BYTES) {
            EXPECT_EQ(failure, TOO_BIG);
        }
    }
}

TEST_P(Elements, TellWhereAHeaderIsCut)
{
    static const char FAILED[] = "NEMA_Get_Data_Element() --> failed to read ";
    struct { int mode; Bytes header; const char *reports[13]; } cases[] = {
        {0, Bytes("\x08\0\x60\0\x02\0\0\0", 8),
         {"group", "group", "element", "element", "size (VR:00)", "size (VR:00)", "size (VR:00)", "size (VR:00)"}},
        {8, Bytes("\x08\0\x60\0OB\0\0\x02\0\0\0", 12),
         {"group", "group", "element", "element", "VR byte[0]", "VR byte[1]", "", "", "size (VR:OB)", "size (VR:OB)",
          "size (VR:OB)", "size (VR:OB)"}},
    };
    for (const auto &each : cases)
        for (size_t kept = 0; kept < each.header.size(); kept++) {
            Stream in(GetParam(), Bytes(100, 'x') + each.header.substr(0, kept));
            NEMA_Skip(nullptr, in.kind, in.handle(), in.name(), 100);
            Reports said(12);
            Header got = read_header(in, each.mode, in.size());
            EXPECT_EQ(got.result, 0) << kept;
            std::string expected = each.reports[kept];
            EXPECT_EQ(said.texts(12), expected.empty() ? "" : FAILED + expected + "\n") << kept;
            EXPECT_EQ(said.texts(2).empty(), in.kind == IN_MEMORY) << kept;
        }
}

TEST_P(Elements, EndWithTheirSource)
{
    Stream in(GetParam(), element({0x0008, 0x0060}, "CS", "") + delimiter(ELEMENT_SEQUENCE_END).substr(0, 4));
    Reports said(12);
    read_header(in, 8, in.size());
    EXPECT_EQ(shown(read_header(in, 8, in.size())), "(fffe,e0dd) -- 777");
    EXPECT_EQ(said.texts(12), "NEMA_Get_Data_Element() --> failed to read size (VR:00)\n");

    Stream unlimited(GetParam(), Bytes("\x08\0\x60\0\xFF\xFF\xFF\x7F", 8));
    EXPECT_EQ(shown(read_header(unlimited, 0, 0)), "(0008,0060) -- 2147483647");
}

TEST_P(Elements, FindTheEndOfAJpegAtAnyEvenOffset)
{
    for (int lead : {0, 8182, 8184, 8186, 8188, 8190, 30000}) {
        Bytes jpeg = "\xFF\xD8\xFF\xE0" + Bytes(static_cast<size_t>(lead), '\xFF') + "\xFF\xD9" + Bytes("rest");
        Stream in(GetParam(), Bytes(40000, 'x') + element({0x7FE0, 0x0010}, "OB", jpeg, 8, -1));
        NEMA_Skip(nullptr, in.kind, in.handle(), in.name(), 40000);
        Reports said;
        EXPECT_EQ(shown(read_header(in, 8, in.size())), "(7fe0,0010) OB " + std::to_string(lead + 6));
        EXPECT_EQ(in.position(), 40012);
    }
    Stream unlimited(GetParam(), element({0x7FE0, 0x0010}, "OB", "\xFF\xD8\xFF\xE0\xFF\xD9", 8, -1));
    EXPECT_EQ(shown(read_header(unlimited, 8, 0)), "result 0");
    EXPECT_EQ(unlimited.position(), 12);
}

// A file's reads may fail in the search for the end marker: each is reported, and the search goes on to its limit.
TEST(ElementsOfAFile, SearchAJpegUpToTheLimit)
{
    Stream in(IN_FILE, element({0x7FE0, 0x0010}, "OB", "\xFF\xD8\xFF\xE0" "abc", 8, -1));
    std::string name = in.name();
    Reports said;
    EXPECT_EQ(shown(read_header(in, 8, 11)), "result 0");
    EXPECT_EQ(said.texts(2), "End of File while reading: (1 /vs/ 2) (" + name + ")\n"
                             "End of File while reading: (0 /vs/ 2) (" + name + ")\n"
                             "End of File while reading: (0 /vs/ 2) (" + name + ")\n");
    EXPECT_EQ(in.position(), 12);
}

TEST(ElementsOfAFile, FailWhereAPipeCannotGoBack)
{
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    Bytes header = Bytes("\x09\0\x10\x10UL\x06\0    ", 12);
    ASSERT_EQ(write(ends[1], header.data(), header.size()), 12);
    Reports said;
    Header got;
    EXPECT_EQ(NEMA_Get_Data_Element(nullptr, IN_FILE, ends[0], "a pipe", 8, &got.group, &got.element, &got.vr,
                                    &got.length, 0), 0);
    EXPECT_EQ(said.texts(2), std::string("\xF1\x04" "ERROR:\x02 while seeking pos -1\n") + Error_Perror(ESPIPE) +
                             "\nfile: (a pipe)\n");
    EXPECT_EQ(close(ends[0]), -1) << "closed already";
    close(ends[1]);
}

TEST_P(Elements, AreTraced)
{
    Stream in(GetParam(), element({0x0008, 0x0060}, "CS", "CT") + Bytes("\x08\0\x40\x11\xFF\xFF\xFF\xFF", 8));
    Reports said(15);
    read_header(in, 8, 100);
    in.cursor = 10;
    if (in.kind == IN_FILE)
        lseek(in.descriptor, 10, SEEK_SET);
    read_header(in, 0x30, 100);
    EXPECT_EQ(said.all, (std::vector<Report>{{14, "in NEMA_Get_Data_Element(mode:0008)"},
                                             {15, "--> reading (0008,0060)"},
                                             {11, "[000000] --> (0008,0060) VR:CS lenght:00000002 (2)"},
                                             {14, "in NEMA_Get_Data_Element(mode:0030)"},
                                             {15, "--> reading (0008,1140)"},
                                             {11, "[00000A] --> (0008,1140) VR:00 lenght:FFFFFFFF (-1)"}}));
}

// What most headers are read by, at one glance, against the steps, which run where somebody wants their traces.
TEST(ElementsInMemory, ReadAlikeWithAndWithoutTraces)
{
    static const unsigned short groups[] = {0x0002, 0x0008, 0x0009, 0x0040, 0x3F3F, 0x7FE0, 0xFEFF, 0xFFFE, 0xFFFF};
    static const unsigned short elements[] = {0x0010, 0x003F, 0x00E0, 0x0275, 0xE000, 0xE00D};
    static const char *const vrs[] = {"UL", "CS", "OB", "SQ", "UT", "OF", "??", "ob", "A\x01", "ZZ", "UN"};
    static const int lengths[] = {0, 2, 6, 13, 40, 41, 64, 65, 66, -1, -2, 0x20202020};
    static const int modes[] = {0, 8, 9, 1, 2, 12, 0x18, 0x38};
    static const int limits[] = {0, 4, 12, 40, 66, 70};
    std::mt19937 random(7);
    auto any = [&random](auto &list) { return list[random() % std::size(list)]; };
    for (int i = 0; i < 40000; i++) {
        unsigned short tag[] = {any(groups), any(elements)};
        int length[] = {any(lengths), any(lengths)};
        Bytes bytes = Bytes(reinterpret_cast<char *>(tag), 4) + any(vrs) + Bytes(reinterpret_cast<char *>(length), 8);
        bytes.resize(random() % 4 == 0 ? 12 : 70, ' ');
        int mode = any(modes), limit = std::min(any(limits), static_cast<int>(bytes.size()));
        int start = limit == 0 || random() % 8 != 0 ? 0 : 4;

        Stream quick(IN_MEMORY, bytes + LONG_VALUE), traced(IN_MEMORY, bytes + LONG_VALUE);
        quick.cursor = traced.cursor = start;
        Reports said(5);
        Header got = read_header(quick, mode, limit);
        std::string warnings = said.warnings();
        said.all.clear();
        Error_Set_Threshold(15);
        Header expected = read_header(traced, mode, limit);
        ASSERT_EQ(shown(got), shown(expected)) << "mode " << mode << " limit " << limit << " case " << i;
        ASSERT_EQ(warnings, said.warnings());
        if (got.result == 1) {
            ASSERT_EQ(quick.cursor, traced.cursor);
        }
    }
}
