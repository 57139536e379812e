// Sizes, counts and depths at the ends of what an int, a cursor and a stream can tell. Whole runs of the program have
// to end within bounds of time and memory that stand in proportion to their input; docs/reliability.md has what they
// take in fact.
#include <gtest/gtest.h>
#include <limits.h>
#include <math.h>
#include <stdlib.h>
#include <unistd.h>

#include "host/program/command.h"
#include "tests/robust_fixtures.h"
#include "tests/support/outline.h"
#include "tests/support/reports.h"

// The full size where VELMORA_LONG is set. A sanitizer needs its own time and address space.
static const int PART = getenv("VELMORA_LONG") != nullptr ? 1 : 20;
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
static const char BOUNDS[] = "ulimit -t 200; exec \"$0\" \"$@\" > /dev/null";
#else
static const char BOUNDS[] = "ulimit -t 30; ulimit -v 700000; exec \"$0\" \"$@\" > /dev/null";
#endif

// ---- whole runs -----------------------------------------------------------------------

static Bytes repeated(int count, const Bytes &each)
{
    Bytes out;
    out.reserve(static_cast<size_t>(count) * each.size());
    for (int i = 0; i < count; i++)
        out += each;
    return out;
}

static Bytes many_elements(int count, bool ascend)
{
    Bytes out;
    for (int i = 0; i < count; i++) {
        int at = ascend ? i : count - 1 - i;
        out += element({static_cast<unsigned short>(0x0009 + at / 20000 * 2), static_cast<unsigned short>(0x1000 + at % 20000)},
                       "LO", "abcd");
    }
    return out;
}

static const struct {
    const char *name;
    Bytes (*make)();
} LARGE[] = {
    {"100,000 levels by delimiters", [] { return nested(100000, BY_DELIMITER); }},
    {"100,000 levels by lengths", [] { return nested(PART == 1 ? 100000 : 10000, BY_LENGTH); }},
    {"nine levels", [] { return nested(9, BY_LENGTH); }},
    {"a million empty items", [] { return element({0x0040, 0xA730}, "SQ", repeated(1000000 / PART, item({}))); }},
    {"a million elements", [] { return many_elements(1000000 / PART, true); }},
    {"a million elements, the last first", [] { return many_elements(1000000 / PART, false); }},
    {"a million times one element", [] { return repeated(1000000 / PART, element({0x0010, 0x0010}, "PN", "abcd")); }},
    {"a value of 100 MB", [] { return element({0x7FE0, 0x0010}, "OB", Bytes(static_cast<size_t>(100000000 / PART), 'x')); }},
    {"a length of 0xFFFFFFF0", [] { return element({0x7FE0, 0x0010}, "OB", "abcd", SYNTAX_EXPLICIT, 0xFFFFFFF0); }},
    {"a length of 0x7FFFFFFF", [] { return element({0x0009, 0x1001}, "UN", "abcd", SYNTAX_EXPLICIT, 0x7FFFFFFF); }},
};

TEST(Sizes, OfWholeRunsStayInProportion)
{
    static const std::vector<std::vector<std::string>> COMMANDS = {
        {"dump", "IN"},          {"dump", "--format", "tsv", "IN"}, {"dump", "--format", "json", "IN"},
        {"dump", "--format", "html", "IN"}, {"get", "--all", "0040,*", "IN"}, {"check", "IN"}, {"diff", "IN", "IN"}, {"template", "IN"},
        {"repair", "IN", "OUT"}, {"convert", "IN", "OUT"}, {"conform", "IN", "OUT"}, {"edit", "--all", "--delete", "0010,*", "IN", "OUT"},
    };
    Fast_Folder folder;
    Bytes head = part10_head("1.2.840.10008.1.2.1");
    for (const auto &large : LARGE) {
        std::string in = folder.write("in", head + large.make());
        for (const std::vector<std::string> &command : COMMANDS) {
            std::vector<std::string> arguments = {"-c", BOUNDS, VELMORA_PROGRAM};
            for (const std::string &each : command)
                arguments.push_back(each == "IN" ? in : each == "OUT" ? folder.path + "/out" : each);
            Outcome run = run_program("/bin/sh", arguments);
            EXPECT_TRUE(run.status == STATUS_DONE || run.status == STATUS_FOUND ||
                        (run.status == STATUS_UNREADABLE && run.err.find("not enough memory") == std::string::npos))
                << large.name << ", " << command[0] << " " << command[1] << ": " << run.status << " " << run.err;
            EXPECT_LT(run.err.size(), 100000u) << large.name << ", " << command[0];
        }
    }
}

// Neither a template and a data set, nor the items of a sequence and what stands in front of it, are factors of the time:
// what is sought from the head on for each of them takes minutes here.
TEST(Sizes, OfATemplateAndADataSetAreNoFactors)
{
    static const int TAGS = 50000, ELEMENTS = 250000, ITEMS = 60000;
    Bytes demands, elements, in_front;
    char line[60];
    for (int i = 0; i < ELEMENTS; i++) {
        Tag tag = {static_cast<unsigned short>(0x0040 + i / 50000 * 2), static_cast<unsigned short>(1 + i % 50000)};
        elements += element(tag, "LO", "");
        snprintf(line, sizeof line, "(%04x,%04x) type=1 VR=LO\n", tag.group, tag.element);
        if (i % (ELEMENTS / TAGS) == 0)
            demands += line;
        if (i < ITEMS * 2)
            in_front += element({static_cast<unsigned short>(0x0028 + i / 50000 * 2), tag.element}, "LO", "");
    }
    Fast_Folder folder;
    folder.write("DICOM_Module_Long.txt", "Long\n");
    folder.write("DICOM_Attributes_Long.txt", demands);
    folder.write("DICOM_Module_Items.txt", "Items\n");
    folder.write("DICOM_Attributes_Items.txt", "(0040,A730) type=2 VR=SQ\n>(0040,A040) type=2 VR=CS\n");
    Bytes head = part10_head("1.2.840.10008.1.2.1");
    std::string in = folder.write("in", head + elements), items = folder.write("items", head + in_front +
                         element({0x0040, 0xA730}, "SQ", repeated(ITEMS, item({}))));
    const std::vector<std::string> runs[] = {
        {"check", "-q", "-m", "Long", "--definitions", folder.path, in},
        {"conform", "-q", "-m", "Items", "--definitions", folder.path, items, folder.path + "/out"},
    };
    for (const std::vector<std::string> &each : runs) {
        std::vector<std::string> arguments = {"-c", BOUNDS, VELMORA_PROGRAM};
        arguments.insert(arguments.end(), each.begin(), each.end());
        Outcome run = run_program("/bin/sh", arguments);
        EXPECT_TRUE(run.status == STATUS_DONE || run.status == STATUS_FOUND) << each[0] << ": " << run.status << run.err;
    }
}

// ---- arguments ------------------------------------------------------------------------

TEST(Sizes, OfElementsAreBelievedAgainstTheSource)
{
    Reports said;
    for (unsigned int told : {0x7FFFFFFEu, 0x7FFFFFFFu, 0x80000000u, 0xFFFFFFF0u, 0xFFFFFFFEu})
        for (int mode : {0, 8, 9})
            for (int limit : {0, 12, 300, INT_MAX}) {
                Bytes bytes = element({0x0009, 0x1001}, "UN", Bytes(300, 'x'), mode, told);
                int cursor = 0, length = 0;
                unsigned short group = 0, tag = 0, vr = 0;
                int result = NEMA_Get_Data_Element(nullptr, 0, reinterpret_cast<intptr_t>(&cursor), bytes.data(),
                                                   static_cast<unsigned char>(mode), &group, &tag, &vr, &length, limit);
                EXPECT_TRUE(result == 0 || length >= 0) << told << " " << limit;
                EXPECT_TRUE(result == 0 || limit == 0 || length < limit) << told << " " << limit;
                if (result == 1) {
                    NEMA_Skip(nullptr, 0, reinterpret_cast<intptr_t>(&cursor), bytes.data(), length);
                    EXPECT_GE(cursor, 0) << "the cursor stops at 2^31 - 1";
                }
            }
}

TEST(Sizes, OfUnreadValuesAreTheFilesAffair)
{
    Folder folder;
    std::string path = folder.write("source", Bytes(2000, 'x'));
    DICOM_Lib_File_Name = path.c_str();
    DICOM_Lib_File_Source = 1;
    Reports said;
    for (int size : {1999, 2001, INT_MAX / 2, INT_MAX})
        for (int position : {0, 1, INT_MAX}) {
            Tree tree;
            DICOM_List *node = tree.append({0x7FE0, 0x0010}, "OB");
            node->size = size;
            node->data_pos = position;
            EXPECT_EQ(NEMA_Value_Hex(nullptr, node, 0) != nullptr, size == 1999 && position <= 1);
            EXPECT_EQ(node->size, size);
        }
    NEMA_Value_Cleanup();
    DICOM_Lib_File_Name = nullptr;
    DICOM_Lib_File_Source = 0;
}

TEST(Sizes, OfArgumentsMayBeAnything)
{
    Reports said;
    for (int number : {INT_MIN, INT_MIN + 1, -10, -1, 10, 0x7FFF, 0x10000, INT_MAX - 1, INT_MAX}) {
        DICOM_Root root = {};
        unsigned short group = 1, tag = 1, flag = 1;
        DICOM_Attribute_Sequence_Set(nullptr, &root, number, 1, 2, 3);
        DICOM_Attribute_Sequence_Get(nullptr, &root, number, &group, &tag, &flag);
        EXPECT_EQ(group + tag + flag, 0);
        DICOM_Attribute_Item_Querry(nullptr, &root, number);
        DICOM_Attribute_Sequence_Start(nullptr, &root, 1, 2, 0, 0);
        root.Item_Number[1] = number;
        DICOM_Attribute_Item_Start(nullptr, &root, 0);
        DICOM_Attribute_Item_Querry(nullptr, &root, 1);
        DICOM_Attribute_Item_Stop(nullptr, &root, 0);

        Tree tree;
        tree.append({0x0010, 0x0010}, "PN", "Doe ");
        DICOM_Root top = {};
        DICOM_Attribute_Stool(nullptr, &top, tree.head, number);
        EXPECT_NE(DICOM_Module_Name(nullptr, number, number), nullptr);

        Velmora_Date date = {};
        Velmora_Time time = {};
        Make_Velm_Date(&date, number, number, number);
        Velm_Date_Postproc(&date, 1);
        Make_Velm_Time(&time, number, number, number);
        Time_2_DICOM(&date, &time);
        Time_2_Str(&date, &time);
        Velm_Time_Postproc(&time);
        for (float hours : {static_cast<float>(number), HUGE_VALF, -HUGE_VALF, NAN}) {
            Make_Velm_Time(&time, hours);
            Make_Velm_Time(&time, number, number, hours);
            Time_2_Str(&date, &time);
            Velm_Time_Postproc(&time);
            Get_Velm_Time(&time);
        }
        for (int64_t clock : {static_cast<int64_t>(number), INT64_MIN, INT64_MAX}) {
            Make_Velm_Date(&date, clock);
            Make_Velm_Time(&time, clock);
        }
        Get_Velm_Date(&date);
        Date_Free(&date);
        Time_Free(&time);
    }
}

TEST(Sizes, OfTextsHaveNoLimit)
{
    std::string text(1000000, 'a'), marks(1000000, '\\');
    Reports said;
    Velmora_Name name = {};
    Make_Velm_Name(&name, text.c_str(), text.c_str(), nullptr, nullptr, text.c_str());
    Name_Free(&name);
    Make_Velm_Name_From_Str(&name, text.c_str(), 1);
    EXPECT_LT(std::string(Name_2_Str(&name)).size(), 324u);
    Name_Free(&name);
    Velmora_Date date = {};
    Make_Velm_Date(&date, text.c_str(), text.c_str());
    Velm_Date_Postproc(&date, 0);
    Date_Free(&date);
    EXPECT_EQ(Str_Match(text.c_str(), "*a*a*a*a*a*b"), 0) << "and does not take for ever";
    for (const char *vr : {"LO", "DS", "IS", "PN", "UI", "AE"})
        for (const std::string &value : {text, marks}) {
            Tree tree;
            DICOM_List *node = tree.append({0x0009, 0x1001}, vr, value);
            NEMA_Value_Str(nullptr, node, 0);
            NEMA_Value_Float(nullptr, node, 0);
            NEMA_Value_Name(nullptr, node, 0);
            DICOM_Attribute_Cleanup_Tag(nullptr, node);
        }
    NEMA_Value_Cleanup();
}
