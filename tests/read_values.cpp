// Typed values: numbers, texts and bytes, the fetch of what was left unread, and the rings of results.
#include <gtest/gtest.h>
#include <barrier>
#include <thread>

#include "tests/read_node.h"
#include "tests/read_stream.h"
#include "tests/support/reports.h"

static std::string joined_ints(Node &node, unsigned short vr = 0)
{
    int *numbers = NEMA_Value_Int(nullptr, &node, vr);
    std::string out = numbers == nullptr ? "null" : "";
    for (int i = 0; i < node.vm; i++)
        out += std::to_string(numbers[i]) + " ";
    return out;
}

static std::string joined_floats(Node &node)
{
    float *numbers = NEMA_Value_Float(nullptr, &node, 0);
    std::string out = numbers == nullptr ? "null" : "";
    for (int i = 0; i < node.vm; i++) {
        char text[64];
        snprintf(text, sizeof text, "%.6g ", static_cast<double>(numbers[i]));
        out += text;
    }
    return out;
}

static std::string joined_texts(Node &node, unsigned short vr = 0)
{
    char **texts = NEMA_Value_Str(nullptr, &node, vr);
    std::string out = texts == nullptr ? "null" : "";
    for (int i = 0; i < node.vm; i++)
        ((out += '[') += texts[i]) += ']';
    return out;
}

TEST_F(Values, AreIntsByTheirVR)
{
    const Bytes bytes = Bytes("\xFF\xFF\x01\x02\xFE\xFF\xFF\xFF", 8);
    struct { unsigned short vr; Bytes value; unsigned char syntax; const char *expected; } cases[] = {
        {VR_SS, bytes, 8, "-1 513 -2 -1 "},
        {VR_SS, bytes, 9, "-1 258 -257 -1 "},
        {VR_US, bytes, 8, "65535 513 65534 65535 "},
        {VR_US, bytes, 2, "65535 258 65279 65535 "},
        {VR_UH, bytes, 3, "65535 513 65534 65535 "},
        {VR_OW, bytes, 8, "-1 513 -2 -1 "},
        {VR_SL, bytes, 8, "33685503 -2 "},
        {VR_UL, bytes, 9, "-65278 -16777217 "},
        {VR_AT, Bytes("\x08\0\x18\0", 4), 0, "1572872 "},
        {VR_US, Bytes("\x01\0\x02", 3), 8, "1 "},
        {VR_UL, Bytes("\x01\0\x02", 3), 8, "null"},
        {VR_RT, Bytes("\xFF\xFF", 2), 8, "65535 "},
        {VR_RT, Bytes("\x01\0\x02\0", 4), 8, "131073 "},
        {VR_IS, "1\\2\\", 8, "1 2 0 "},
        {VR_IS, " +7 \\-0012x\\ \\+-3", 8, "7 -12 0 0 "},
        {VR_IS, "2147483648\\-99999999999999999999", 8, "2147483647 -2147483648 "},
        {VR_IS, Bytes("5\\6\0\\7", 6), 8, "5 6 "},
        {VR_DS, "1.9\\-1.9\\+2.5e1\\", 8, "1 -1 25 0 "},
        {VR_DS, "1e10\\-1e400\\nan", 8, "2147483647 -2147483648 0 "},
    };
    for (const auto &each : cases) {
        Node node(each.vr, each.value, each.syntax);
        EXPECT_EQ(joined_ints(node), each.expected) << each.value;
    }
}

TEST_F(Values, AreFloatsByTheirVR)
{
    struct { unsigned short vr; Bytes value; unsigned char syntax; const char *expected; } cases[] = {
        {VR_FL, Bytes("\0\0\x80\x3F\0\0\x20\xC0", 8), 8, "1 -2.5 "},
        {VR_FL, Bytes("\x3F\x80\0\0", 4), 9, "1 "},
        {VR_FL, Bytes("\0\0\x80\x3F\0\0", 6), 8, "null"},
        {VR_FD, Bytes("\0\0\0\0\0\0\xF8\x3F", 8), 8, "1.5 "},
        {VR_FD, Bytes("\xFF\xFF\xFF\xFF\xFF\xFF\xEF\x7F", 8), 8, "inf "},
        {VR_FD, Bytes("\0\0\0\0\0\0\xF8\x3F\0\0\0\0", 12), 8, "null"},
        {VR_DS, "1.9\\-1.9", 8, "1.9 -1.9 "},
        {VR_DS, " +.5 \\5.\\-3e-2x\\\\--1", 8, "0.5 5 -0.03 0 0 "},
        {VR_DS, "1e400\\-1e400\\1e-400\\0.001e-320\\100000e306", 8, "inf -inf 0 0 inf "},
        {VR_IS, "12\\-7.9", 8, "12 -7 "},
    };
    for (const auto &each : cases) {
        Node node(each.vr, each.value, each.syntax);
        EXPECT_EQ(joined_floats(node), each.expected) << each.value;
    }
}

TEST_F(Values, AreTextsByTheirVR)
{
    struct { unsigned short vr; Bytes value; const char *expected; } cases[] = {
        {VR_LO, "A\\B", "[A][B]"},
        {VR_CS, "A\\\\B \\", "[A][][B ][]"},
        {VR_UI, Bytes("1.2.3\0", 6), "[1.2.3]"},
        {VR_AE, Bytes("A\0\\B", 4), "[A]"},
        {VR_LT, "A\\B", "[A\\B]"},
        {VR_UN, "A\\B", "[A\\B]"},
        {VR_AS, "012Y", "[012Y]"},
        {VR_US, "AB", "null"},
    };
    for (const auto &each : cases) {
        Node node(each.vr, each.value);
        EXPECT_EQ(joined_texts(node), each.expected) << each.value;
    }
    Node forced(VR_LT, "A\\B");
    EXPECT_EQ(joined_texts(forced, VR_SH), "[A][B]");
    Node by_definition(VR_NONE, "A\\B");
    by_definition.vr = VR_LO;
    EXPECT_EQ(joined_texts(by_definition), "[A][B]");
}

TEST_F(Values, AreBytesAsTheyStand)
{
    Node node(VR_OW, Bytes("\x01\x02\0\x04", 4), 9);
    char *bytes = NEMA_Value_Hex(nullptr, &node, 0);
    ASSERT_NE(bytes, nullptr);
    EXPECT_EQ(std::string(bytes, 4), Bytes("\x01\x02\0\x04", 4));
    EXPECT_NE(bytes, node.data);
    EXPECT_EQ(node.vm, 1);
}

TEST_F(Values, RefuseOtherVRs)
{
    struct { void *(*operation)(DICOM_List *); unsigned short vr; const char *report; } cases[] = {
        {[](DICOM_List *tag) -> void * { return NEMA_Value_Str(nullptr, tag, 0); }, VR_US,
         "(0008,0018): bad VR value (US) != AE,AS,CS,LO,LT,SH,ST,UI,UT)"},
        {[](DICOM_List *tag) -> void * { return NEMA_Value_Hex(nullptr, tag, 0); }, VR_LO,
         "(0008,0018): bad VR value (LO) != OB or OW)"},
        {[](DICOM_List *tag) -> void * { return NEMA_Value_Int(nullptr, tag, 0); }, VR_RT,
         "(0008,0018): bad VR value (OB) != DS,IS,US,UH,UL,SS,SL)"},
        {[](DICOM_List *tag) -> void * { return NEMA_Value_Float(nullptr, tag, 0); }, VR_NONE,
         "(0008,0018): bad VR value (--) != IS,DS,FL,FD)"},
        {[](DICOM_List *tag) -> void * { return NEMA_Value_Date(nullptr, tag, 0); }, VR_TM,
         "(0008,0018): bad VR value (TM) != DA,DT)"},
        {[](DICOM_List *tag) -> void * { return NEMA_Value_Time(nullptr, tag, 0); }, VR_DA,
         "(0008,0018): bad VR value (DA) != DT,TM)"},
    };
    for (const auto &each : cases) {
        Node node(each.vr, "123");
        Reports said(14);
        EXPECT_EQ(each.operation(&node), nullptr) << each.report;
        EXPECT_EQ(node.vm, 0);
        ASSERT_EQ(said.all.size(), 2u) << each.report;
        EXPECT_EQ(said.all[0].text.rfind("File:.\\NEMA_Read_Value, Line:", 0), 0u);
        EXPECT_EQ(said.all[1], (Report{14, each.report}));

        Node empty(VR_LO, "");
        EXPECT_EQ(each.operation(&empty), nullptr) << "of no size";
        EXPECT_EQ(empty.vm, 0);
        EXPECT_EQ(said.all.size(), 2u) << "of no size";
    }
}

// 100,000 values of a text, and as many numbers, with each order of bytes.
TEST_F(Values, MayBeMany)
{
    Bytes text, words;
    for (int i = 0; i < 100000; i++) {
        (text += '\\') += std::to_string(i);
        words += number_16(static_cast<uint16_t>(i), SYNTAX_BIG_ENDIAN);
    }
    Node texts(VR_LO, text.substr(1)), numbers(VR_IS, text.substr(1)), big(VR_US, words, 9);
    char **split = NEMA_Value_Str(nullptr, &texts, 0);
    int *ints = NEMA_Value_Int(nullptr, &numbers, 0);
    int *shorts = NEMA_Value_Int(nullptr, &big, 0);
    ASSERT_EQ(texts.vm, 100000);
    ASSERT_EQ(numbers.vm, 100000);
    ASSERT_EQ(big.vm, 100000);
    EXPECT_STREQ(split[99999], "99999");
    EXPECT_EQ(ints[99999], 99999);
    EXPECT_EQ(shorts[99999], 99999 - 65536);
}

/* ---- fetching ---------------------------------------------------------------------- */

class Fetching : public testing::TestWithParam<Kind> {
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
INSTANTIATE_TEST_SUITE_P(Source, Fetching, testing::Values(IN_MEMORY, IN_FILE),
                         [](const auto &kind) { return kind.param == IN_FILE ? "File" : "Memory"; });

TEST_P(Fetching, BringsAnUnreadValueOnce)
{
    Stream in(GetParam(), "lead" + Bytes(2000, 'x') + "Y");
    Node node(VR_OB, Bytes(2000, ' '));
    leave_unread(&node, in, 5);
    Reports said(11);
    char *first = NEMA_Value_Hex(nullptr, &node, 0);
    ASSERT_NE(first, nullptr);
    EXPECT_EQ(std::string(first, 2000), Bytes(1999, 'x') + "Y");
    EXPECT_EQ(said.all, (std::vector<Report>{{11, "Reading missing: 2000 bytes at 5"}}));
    EXPECT_NE(node.data, nullptr);
    EXPECT_EQ(joined_texts(node).size(), 2002u);
    EXPECT_EQ(said.all.size(), 1u) << "once is enough";
}

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
    refuse_each_allocation([&](int refused) {
        Node node(VR_LO, Bytes(1100, ' '));
        leave_unread(&node, in, 0);
        Reports said;
        bool complete = joined_texts(node).size() == 1102;
        EXPECT_EQ(complete, said.failures().empty());
        if (refused == 1) {
            EXPECT_EQ(node.data, nullptr);
            EXPECT_EQ(said.failures(),
                      "line N of .\\NEMA_Read_Value \nmemory error in malloc (var=tag->data, dim=1100x1)\n");
        }
        NEMA_Value_Cleanup();
    });
}

TEST_F(Fetching, TellsWhyAFileGivesNoValue)
{
    Stream in(IN_FILE, Bytes(1500, 'x'));
    std::string name = in.name(), missing = "/tmp/velmora_no_such_file";
    const std::string trouble = "\xF1\x04" "ERROR:\x02 ";
    struct { const char *path; int position; std::string reports; } cases[] = {
        {missing.c_str(), 0,
         trouble + "Unable to open file\n" + Error_Perror(ENOENT) + "\nfile: (" + missing + ")\n"},
        {nullptr, 0, trouble + "Unable to open file\n" + Error_Perror(ENOENT) + "\nfile: ()\n"},
        {name.c_str(), -4,
         trouble + "while seeking pos -4\n" + Error_Perror(EINVAL) + "\nfile: (" + name + ")\n"},
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
    for (int position : {10, 20}) {
        Node node(VR_OB, Bytes(1100, ' '));
        leave_unread(&node, in, position);
        EXPECT_NE(NEMA_Value_Hex(nullptr, &node, 0), nullptr);
    }
    EXPECT_EQ(File_Work_File_Count, 1);
    EXPECT_EQ(File_Work_File_Pos[9], 1110);
    EXPECT_EQ(File_Work_File_Pos[0], 1120);
    File_Work_File_Count = -7;   // a host's mistake
    Node node(VR_OB, Bytes(1100, ' '));
    leave_unread(&node, in, 0);
    EXPECT_NE(NEMA_Value_Hex(nullptr, &node, 0), nullptr);
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

// Four threads take 31 results each before they look at them: no more calls in a round than what a result outlasts.
TEST_F(Values, OfSeveralThreadsDoNotMix)
{
    std::barrier round_ends(4);
    auto work = [&round_ends](int thread) {
        for (int round = 0; round < 100; round++) {
            std::vector<int *> numbers;
            std::vector<char **> texts;
            for (int i = 0; i < 31; i++) {
                std::string text = std::to_string(thread * 1000000 + round * 100 + i);
                Node number(VR_IS, text), name(VR_LO, "x\\" + text);
                numbers.push_back(NEMA_Value_Int(nullptr, &number, 0));
                texts.push_back(NEMA_Value_Str(nullptr, &name, 0));
            }
            round_ends.arrive_and_wait();
            for (int i = 0; i < 31; i++) {
                int expected = thread * 1000000 + round * 100 + i;
                EXPECT_EQ(numbers[static_cast<size_t>(i)][0], expected);
                EXPECT_EQ(texts[static_cast<size_t>(i)][1], std::to_string(expected));
            }
            round_ends.arrive_and_wait();
        }
    };
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; i++)
        threads.emplace_back(work, i);
    for (std::thread &thread : threads)
        thread.join();
}

TEST_F(Values, LeaveNothingBehindWithoutMemory)
{
    static const char HEAD[] = "line N of .\\NEMA_Read_Value \nmemory error in ";
    struct { const char *(*operation)(DICOM_List *); unsigned short vr; const char *value;
             std::vector<std::string> failures; } cases[] = {
        {[](DICOM_List *tag) { return reinterpret_cast<const char *>(NEMA_Value_Str(nullptr, tag, 0)); }, VR_LO, "A\\BCD",
         {"malloc (var=str, dim=6x1)", "realloc (var=V_Str[cc], dim=1x8)", "realloc (var=V_Str[cc][tag->vm], dim=2x1)",
          "realloc (var=(V_Str[cc][tag->vm]), dim=4x1)"}},
        {[](DICOM_List *tag) { return reinterpret_cast<const char *>(NEMA_Value_Str(nullptr, tag, 0)); }, VR_LT, "A\\BCD",
         {"realloc (var=V_Str[cc], dim=1x8)", "realloc (var=(V_Str[cc][tag->vm]), dim=6x1)"}},
        {[](DICOM_List *tag) { return reinterpret_cast<const char *>(NEMA_Value_Int(nullptr, tag, 0)); }, VR_IS, "1\\2",
         {"malloc (var=str, dim=4x1)", "realloc (var=V_Int[cc], dim=1x4)"}},
        {[](DICOM_List *tag) { return reinterpret_cast<const char *>(NEMA_Value_Int(nullptr, tag, 0)); }, VR_US, "1234",
         {"realloc (var=V_Int[cc], dim=2x4)"}},
        {[](DICOM_List *tag) { return reinterpret_cast<const char *>(NEMA_Value_Float(nullptr, tag, 0)); }, VR_FD,
         "12345678", {"realloc (var=V_Float[cc], dim=1x4)"}},
        {[](DICOM_List *tag) { return reinterpret_cast<const char *>(NEMA_Value_Float(nullptr, tag, 0)); }, VR_DS, "1\\2",
         {"malloc (var=str, dim=4x1)", "realloc (var=V_Float[cc], dim=1x4)"}},
        {[](DICOM_List *tag) -> const char * { return NEMA_Value_Hex(nullptr, tag, 0); }, VR_OB, "1234",
         {"realloc (var=Buffer[cc], dim=4x1)"}},
    };
    for (const auto &each : cases) {
        size_t refusals = 0;
        refuse_each_allocation([&](int refused) {
            Node node(each.vr, each.value);
            Reports said;
            const char *result = each.operation(&node);
            EXPECT_EQ(result == nullptr, !said.failures().empty()) << each.value;
            if (result == nullptr) {
                EXPECT_EQ(node.vm, 0);
                ASSERT_LE(static_cast<size_t>(refused), each.failures.size()) << said.failures();
                EXPECT_EQ(said.failures(), HEAD + each.failures[static_cast<size_t>(refused) - 1] + "\n");
                refusals++;
            }
            NEMA_Value_Cleanup();
        });
        EXPECT_EQ(refusals, each.failures.size()) << each.value;
    }
}
