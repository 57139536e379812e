// Typed values: numbers, texts and bytes, the fetch of what was left unread, and the rings of results.
#include <gtest/gtest.h>

#include "tests/read_node.h"
#include "tests/read_stream.h"
#include "tests/support/reports.h"

// The values that an operation gives: 'i' ints, 'f' floats, 's' texts, 'n' names, 'd' dates, 't' times.
static std::string values_of(char kind, Node &node)
{
    auto text = [](const char *value) { return std::string(value != nullptr ? value : "-"); };
    auto joined = [&](auto *values, auto shown) {
        std::string out = values == nullptr ? "null" : "";
        for (int i = 0; i < node.vm; i++)
            out += shown(values[i]) + " ";
        return out;
    };
    auto number = [](auto value) {
        char out[64];
        snprintf(out, sizeof out, "%.10g", static_cast<double>(value));
        return std::string(out);
    };
    auto waiting = [&](auto &record, const char *value, const char *tmplt) {
        return std::to_string(record.state) + " " + text(value) + " by " + text(tmplt);
    };
    switch (kind) {
    case 'i': return joined(NEMA_Value_Int(nullptr, &node, 0), number);
    case 'f': return joined(NEMA_Value_Float(nullptr, &node, 0), number);
    case 's': return joined(NEMA_Value_Str(nullptr, &node, 0), [&](char *value) { return "[" + text(value) + "]"; });
    case 'd': return joined(NEMA_Value_Date(nullptr, &node, 0),
                            [&](auto &date) { return waiting(date, date.date_str, date.date_template); });
    case 't': return joined(NEMA_Value_Time(nullptr, &node, 0), [&](auto &time) {
        return time.state != 1 ? waiting(time, time.time_str, time.time_template)
                               : "1 " + number(time.hour) + ":" + number(time.minute) + ":" + number(time.second);
    });
    default: return joined(NEMA_Value_Name(nullptr, &node, 0), [&](auto &name) {
        return number(name.count) + "|" + text(name.family) + "|" + text(name.given) + "|" + text(name.middle) + "|" +
               text(name.prefix) + "|" + text(name.suffix);
    });
    }
}

TEST_F(Values, AreExtractedByTheirVR)
{
    const Bytes bytes = Bytes("\xFF\xFF\x01\x02\xFE\xFF\xFF\xFF", 8);
    struct { char kind; unsigned short vr; Bytes value; const char *expected; unsigned char syntax = 8; } cases[] = {
        {'i', VR_SS, bytes, "-1 513 -2 -1 "}, {'i', VR_SS, bytes, "-1 258 -257 -1 ", 9},
        {'i', VR_US, bytes, "65535 513 65534 65535 "}, {'i', VR_US, bytes, "65535 258 65279 65535 ", 2},
        {'i', VR_UH, bytes, "65535 513 65534 65535 ", 3}, {'i', VR_OW, bytes, "-1 513 -2 -1 "},
        {'i', VR_SL, bytes, "33685503 -2 "}, {'i', VR_UL, bytes, "-65278 -16777217 ", 9},
        {'i', VR_AT, Bytes("\x08\0\x18\0", 4), "1572872 ", 0}, {'i', VR_US, Bytes("\x01\0\x02", 3), "1 "},
        {'i', VR_UL, Bytes("\x01\0\x02", 3), "null"}, {'i', VR_RT, Bytes("\xFF\xFF", 2), "65535 "},
        {'i', VR_RT, Bytes("\x01\0\x02\0", 4), "131073 "}, {'i', VR_IS, "1\\2\\", "1 2 0 "},
        {'i', VR_IS, " +7 \\-0012x\\ \\+-3", "7 -12 0 0 "},
        {'i', VR_IS, "2147483648\\-99999999999999999999", "2147483647 -2147483648 "},
        {'i', VR_IS, Bytes("5\\6\0\\7", 6), "5 6 "}, {'i', VR_DS, "1.9\\-1.9\\+2.5e1\\", "1 -1 25 0 "},
        {'i', VR_DS, "1e10\\-1e400\\nan", "2147483647 -2147483648 0 "},
        {'f', VR_FL, Bytes("\0\0\x80\x3F\0\0\x20\xC0", 8), "1 -2.5 "}, {'f', VR_FL, Bytes("\x3F\x80\0\0", 4), "1 ", 9},
        {'f', VR_FL, Bytes("\0\0\x80\x3F\0\0", 6), "null"}, {'f', VR_FD, Bytes("\0\0\0\0\0\0\xF8\x3F", 8), "1.5 "},
        {'f', VR_FD, Bytes("\xFF\xFF\xFF\xFF\xFF\xFF\xEF\x7F", 8), "inf "},
        {'f', VR_FD, Bytes("\0\0\0\0\0\0\xF8\x3F\0\0\0\0", 12), "null"},
        {'f', VR_DS, "1.9\\-1.9", "1.899999976 -1.899999976 "},
        {'f', VR_DS, " +.5 \\5.\\-3e-2x\\\\--1", "0.5 5 -0.02999999933 0 0 "},
        {'f', VR_DS, "1e400\\-1e400\\1e-400\\0.001e-320\\100000e306", "inf -inf 0 0 inf "},
        {'f', VR_IS, "12\\-7.9", "12 -7 "}, {'s', VR_LO, "A\\B", "[A] [B] "},
        {'s', VR_CS, "A\\\\B \\", "[A] [] [B ] [] "}, {'s', VR_UI, Bytes("1.2.3\0", 6), "[1.2.3] "},
        {'s', VR_AE, Bytes("A\0\\B", 4), "[A] "}, {'s', VR_LT, "A\\B", "[A\\B] "}, {'s', VR_UN, "A\\B", "[A\\B] "},
        {'s', VR_AS, "012Y", "[012Y] "}, {'s', VR_US, "AB", "null"}, {'n', VR_PN, "Smith", "1|Smith|-|-|-|- "},
        {'n', VR_PN, "Smith^John\\Doe", "2|Smith|John|-|-|- 1|Doe|-|-|-|- "},
        {'n', VR_PN, "Smith^John^Q^Dr^Jr^more^parts", "3|Smith|John|Q|Dr|Jr "}, {'n', VR_PN, "^^^Dr", "0|-|-|-|Dr|- "},
        {'n', VR_PN, "Yamada^Taro=\xE5\xB1\xB1\\", "2|Yamada|Taro=\xE5\xB1\xB1|-|-|- 0|-|-|-|-|- "},
        {'d', VR_DA, "040512", "2 040512 by yymmdd "}, {'d', VR_DA, "20040512", "2 20040512 by yyyymmdd "},
        {'d', VR_DA, "2004.05.12", "2 2004.05.12 by yyyy.mm.dd "}, {'d', VR_DA, "2004051", "null"},
        {'d', VR_DT, "20040512101500", "2 20040512 by yyyymmdd "},
        {'d', VR_DT, "2004.05.12 10:15", "2 2004.05.12 by yyyy.mm.dd "}, {'d', VR_DT, "2004", "2 2004 by yyyymmdd "},
        {'t', VR_TM, "123456.789012", "2 123456.789 by hhmmss.ffffff "},
        {'t', VR_TM, "12:34:56.789", "2 12:34:56.7 by hh:mm:ss.ffff "},
        {'t', VR_TM, "12.34", "2 12.34 by hh:mm:ss.ffff "}, {'t', VR_DT, "2004.05.12 10:15", "0 - by - "},
        {'t', VR_DT, "2004051", "0 - by - "}, {'t', VR_DT, "20040512101500", "1 10:15:0 "},
        {'t', VR_DT, "20040512101500.000000+0230", "1 12:45:0 "},
        {'t', VR_DT, "20040512101530.250000-0915", "1 1:0:30.25 "}, {'t', VR_DT, "200405121015", "1 10:15:0 "},
        {'t', VR_DT, "20040512", "1 0:0:0 "}, {'t', VR_DT, "20040512101500.000000    ", "1 10:15:0 "},
    };
    for (const auto &each : cases) {
        Node node(each.vr, each.value, each.syntax);
        EXPECT_EQ(values_of(each.kind, node), each.expected) << each.kind << " of " << each.value;
    }
    Node forced(VR_LT, "A\\B"), bytes_only(VR_OW, Bytes("\x01\x02\0\x04", 4), 9), by_definition(VR_NONE, "A\\B");
    by_definition.vr = VR_LO;
    EXPECT_EQ(values_of('s', by_definition), "[A] [B] ");
    EXPECT_STREQ(NEMA_Value_Str(nullptr, &forced, VR_SH)[1], "B");
    EXPECT_EQ(Bytes(NEMA_Value_Hex(nullptr, &bytes_only, 0), 4), Bytes("\x01\x02\0\x04", 4)) << "bytes as they stand";
    EXPECT_EQ(bytes_only.vm, 1);
    Node endless(VR_DT, "20040512101500.000000+0105000000000000000000000000");   // cut behind five zeros of the minutes
    EXPECT_EQ(NEMA_Value_Time(nullptr, &endless, 0)->hour, 11);
}

static const void *get_str(DICOM_List *tag) { return NEMA_Value_Str(nullptr, tag, 0); }
static const void *get_hex(DICOM_List *tag) { return NEMA_Value_Hex(nullptr, tag, 0); }
static const void *get_int(DICOM_List *tag) { return NEMA_Value_Int(nullptr, tag, 0); }
static const void *get_float(DICOM_List *tag) { return NEMA_Value_Float(nullptr, tag, 0); }
static const void *get_date(DICOM_List *tag) { return NEMA_Value_Date(nullptr, tag, 0); }
static const void *get_time(DICOM_List *tag) { return NEMA_Value_Time(nullptr, tag, 0); }
static const void *get_name(DICOM_List *tag) { return NEMA_Value_Name(nullptr, tag, 0); }

TEST_F(Values, RefuseOtherVRs)
{
    struct { const void *(*get)(DICOM_List *); unsigned short vr; const char *report; int vm; } cases[] = {
        {get_str, VR_US, "(US) != AE,AS,CS,LO,LT,SH,ST,UI,UT)", 0}, {get_hex, VR_LO, "(LO) != OB or OW)", 0},
        {get_int, VR_RT, "(OB) != DS,IS,US,UH,UL,SS,SL)", 0}, {get_float, VR_NONE, "(--) != IS,DS,FL,FD)", 0},
        {get_date, VR_TM, "(TM) != DA,DT)", 0}, {get_time, VR_DA, "(DA) != DT,TM)", 0},
        {get_name, VR_LO, "(LO) != PN)", 2},
    };
    for (const auto &each : cases) {
        Node node(each.vr, "1\\3"), empty(VR_LO, "");
        Reports said(14);
        EXPECT_EQ(each.get(&node), nullptr) << each.report;
        EXPECT_EQ(node.vm, each.vm) << each.report;
        EXPECT_EQ(each.get(&empty), nullptr) << "of no size";
        EXPECT_EQ(empty.vm, 0);
        ASSERT_EQ(said.all.size(), 2u) << each.report;
        EXPECT_EQ(said.all[0].text.rfind("File:.\\NEMA_Read_Value, Line:", 0), 0u);
        EXPECT_EQ(said.all[1], (Report{14, std::string("(0008,0018): bad VR value ") + each.report}));
    }
}

/* ---- fetching ---------------------------------------------------------------------- */

class Fetching : public OfEachKind {
protected:
    void leave_unread(DICOM_List *node, Stream &in, int position)
    {
        free(node->data);
        node->data = nullptr;
        node->data_pos = position;
        DICOM_Lib_File_Source = in.kind;
        DICOM_Lib_File_Name = in.name();
    }
    ~Fetching()
    {
        DICOM_Lib_File_Source = 0;
        DICOM_Lib_File_Name = nullptr;
        NEMA_Value_Cleanup();
    }
};
INSTANTIATE_TEST_SUITE_P(Source, Fetching, EACH_KIND, kind_name);

TEST_P(Fetching, IsForValuesThatMayBeLeftUnread)
{
    Stream in(GetParam(), Bytes(2000, '1'));
    Reports said(11);
    for (int size : {1024, 1025}) {
        Node numbers(VR_US, Bytes(static_cast<size_t>(size), ' ')), date(VR_DA, Bytes(static_cast<size_t>(size), ' '));
        leave_unread(&numbers, in, 0);
        leave_unread(&date, in, 0);
        EXPECT_EQ(NEMA_Value_Int(nullptr, &numbers, 0) != nullptr, size == 1025);
        EXPECT_EQ(NEMA_Value_Date(nullptr, &date, 0), nullptr);
        EXPECT_EQ(NEMA_Value_Name(nullptr, &date, 0), nullptr);
        EXPECT_EQ(date.data, nullptr);
    }
    EXPECT_EQ(said.texts(11), "Reading missing: 1025 bytes at 0\n");
}

TEST_P(Fetching, LeavesTheNodeUnreadWithoutMemory)
{
    Stream in(GetParam(), Bytes(2000, 'x'));
    Node node(VR_OB, Bytes(1100, ' '));
    std::vector<std::string> failures = {"malloc (var=tag->data, dim=1100x1)", "realloc (var=Buffer[cc], dim=1100x1)"};
    expect_each_failure(".\\NEMA_Read_Value", failures, [&] {
        leave_unread(&node, in, 0);
        return NEMA_Value_Hex(nullptr, &node, 0) != nullptr;
    });
}

TEST_F(Fetching, TellsWhyAFileGivesNoValue)
{
    Stream in(IN_FILE, Bytes(1500, 'x'));
    std::string name = in.name(), missing = "/tmp/velmora_no_such_file";
    const std::string trouble = "\xF1\x04" "ERROR:\x02 ";
    struct { const char *path; int position; std::string reports; } cases[] = {
        {missing.c_str(), 0, trouble + "Unable to open file\n" + Error_Perror(ENOENT) + "\nfile: (" + missing + ")\n"},
        {nullptr, 0, trouble + "Unable to open file\n" + Error_Perror(ENOENT) + "\nfile: ()\n"},
        {name.c_str(), -4, trouble + "while seeking pos -4\n" + Error_Perror(EINVAL) + "\nfile: (" + name + ")\n"},
        {"/tmp", 0, std::string("Error reading file /tmp\n") + Error_Perror(EISDIR) + "\n"},
        {name.c_str(), 400, "End of File while reading: (1100 /vs/ 1200) (" + name + ")\n"},
    };
    for (const auto &each : cases) {
        Node node(VR_OB, Bytes(1200, ' '));
        leave_unread(&node, in, each.position);
        DICOM_Lib_File_Name = each.path;
        Reports said(11);
        EXPECT_EQ(NEMA_Value_Hex(nullptr, &node, 0), nullptr);
        EXPECT_EQ(node.data, nullptr);
        EXPECT_EQ(said.texts(2), each.reports);
        EXPECT_EQ(said.all.at(1).text.rfind("file:.\\NEMA_Read_Value line:", 0), 0u);
    }
}

TEST_F(Fetching, TakesTheCursorsOfTheRingInTurn)
{
    Stream in(IN_MEMORY, Bytes(2000, 'x'));
    File_Work_File_Count = 9;
    for (int position : {10, 20, 30}) {
        Node node(VR_OB, Bytes(1100, ' '));
        leave_unread(&node, in, position);
        EXPECT_NE(NEMA_Value_Hex(nullptr, &node, 0), nullptr);
        if (position == 20) {
            EXPECT_EQ(File_Work_File_Count, 1);
            EXPECT_EQ(File_Work_File_Pos[9], 1110);
            EXPECT_EQ(File_Work_File_Pos[0], 1120);
            File_Work_File_Count = -7;   // a host's mistake
        }
    }
    File_Work_File_Count = 0;
}

/* ---- rings ------------------------------------------------------------------------- */

TEST_F(Values, StayForTheNext127Calls)
{
    Node first(VR_LO, "first\\value"), other(VR_LO, "other"), empty(VR_LO, ""), refused(VR_US, "12");
    char **texts = NEMA_Value_Str(nullptr, &first, 0);
    Node *others[] = {&other, &empty, &refused};
    for (int i = 0; i < 127; i++)
        NEMA_Value_Str(nullptr, others[i % 3], 0);
    EXPECT_STREQ(texts[0], "first");
    EXPECT_STREQ(texts[1], "value");
    EXPECT_EQ(NEMA_Value_Str(nullptr, &other, 0), texts) << "the same slot again";
    EXPECT_STREQ(texts[0], "other");
}

