// Attributes made from program values: the builders by VR, and DICOM_Attribute_Add around them.
#include <gtest/gtest.h>
#include <functional>
#include <math.h>

#include "tests/support/outline.h"
#include "tests/support/reports.h"
#include "tree/add_internal.h"

static const unsigned short GROUP = 0x0011;   // odd: no row of the dictionary counts the values

// The value that a builder makes of its arguments; "(null)" for none.
static Bytes built(Add_Builder *builder, int nb_arg, ...)
{
    Add_Values values;
    va_start(values.list, nb_arg);
    int size = 0;
    char *data = builder(nullptr, &size, nb_arg, &values);
    va_end(values.list);
    if (data == nullptr) {
        EXPECT_EQ(size, 0);
        return "(null)";
    }
    Bytes value(data, static_cast<size_t>(size));
    free(data);
    return value;
}

static Bytes bytes(const char *text, size_t count) { return Bytes(text, count); }

TEST(Add, JoinsTexts)
{
    const char *const texts[] = {"AB", "", "CDE"};
    EXPECT_EQ(built(DICOM_Tag_Add_VR_SH, 3, "AB", "", "CDE"), "AB\\\\CDE ");
    EXPECT_EQ(built(DICOM_Tag_Add_VR_SH, -3, texts), "AB\\\\CDE ");
    EXPECT_EQ(built(DICOM_Tag_Add_VR_SH, 1, "ABCD"), "ABCD");
    EXPECT_EQ(built(DICOM_Tag_Add_VR_SH, 1, ""), "(null)");
    EXPECT_EQ(built(DICOM_Tag_Add_UT, 1, "ABC"), "ABC ");
    EXPECT_EQ(built(DICOM_Tag_Add_VR_UI, 1, "1.2.3"), bytes("1.2.3\0", 6));
    EXPECT_EQ(built(DICOM_Tag_Add_VR_UI, 2, "1.2", "1.23"), "1.2\\1.23");
}

TEST(Add, PrintsNumbers)
{
    int ints[] = {1, -20, 3};
    float floats[] = {1.5f, -0.0f, 0.99999994f, -0.99999994f, 1e10f, 1.0f / 3};
    EXPECT_EQ(built(DICOM_Tag_Add_IS, 3, 1, -20, 3), "1\\-20\\3 ");
    EXPECT_EQ(built(DICOM_Tag_Add_IS, -3, ints), "1\\-20\\3 ");
    EXPECT_EQ(built(DICOM_Tag_Add_DS, -6, floats), "1.5\\0\\1\\-0.9999999\\1e+10\\0.3333333");
    EXPECT_EQ(built(DICOM_Tag_Add_DS, 2, &floats[0], &floats[1]), "1.5\\0 ");
}

TEST(Add, StoresBinaryValuesInLittleEndian)
{
    short shorts[] = {-2, 0x0102};
    unsigned short words[] = {0xFFFE, 0x0102};
    int ints[] = {-2, 0x01020304};
    unsigned int unsigned_ints[] = {0xFFFFFFFEu, 0x01020304};
    float floats[] = {1.0f, -2.5f};
    double doubles[] = {1.0, -2.5};
    const Bytes two = "\xFE\xFF\x02\x01", four = "\xFE\xFF\xFF\xFF\x04\x03\x02\x01";
    const Bytes float_bytes = bytes("\0\0\x80\x3F\0\0\x20\xC0", 8);
    const Bytes double_bytes = bytes("\0\0\0\0\0\0\xF0\x3F\0\0\0\0\0\0\x04\xC0", 16);
    EXPECT_EQ(built(DICOM_Tag_Add_VR_SS, 2, -2, 0x0102), two);
    EXPECT_EQ(built(DICOM_Tag_Add_VR_SS, -2, shorts), two);
    EXPECT_EQ(built(DICOM_Tag_Add_SL, 2, -2, 0x01020304), four);
    EXPECT_EQ(built(DICOM_Tag_Add_SL, -2, ints), four);
    EXPECT_EQ(built(DICOM_Tag_Add_VR_UL, 2, unsigned_ints[0], unsigned_ints[1]), four);
    EXPECT_EQ(built(DICOM_Tag_Add_VR_UL, -2, unsigned_ints), four);
    for (Add_Builder *builder : {DICOM_Tag_Add_US, DICOM_Tag_Add_OW, DICOM_Tag_Add_AT})
        EXPECT_EQ(built(builder, 2, words[0], words[1]), two);
    for (Add_Builder *builder : {DICOM_Tag_Add_US, DICOM_Tag_Add_OW})
        EXPECT_EQ(built(builder, -2, words), two);
    EXPECT_EQ(built(DICOM_Tag_Add_FL, 2, floats[0], floats[1]), float_bytes);
    EXPECT_EQ(built(DICOM_Tag_Add_FL, -2, floats), float_bytes);
    EXPECT_EQ(built(DICOM_Tag_Add_FD, 2, doubles[0], doubles[1]), double_bytes);
    EXPECT_EQ(built(DICOM_Tag_Add_FD, -2, doubles), double_bytes);
    EXPECT_EQ(built(DICOM_Tag_Add_OB, 3, 1, 0xFF, 0), bytes("\x01\xFF\0\0", 4));
    EXPECT_EQ(built(DICOM_Tag_Add_OB, -2, "\x01\xFF"), "\x01\xFF");
}

TEST(Add, PrintsNameDateAndTimeRecords)
{
    Velmora_Name names[2] = {}, nobody = {};
    Make_Velm_Name(&names[0], "Smith", "John", nullptr, nullptr, "Jr");
    Make_Velm_Name(&names[1], "Public", nullptr, nullptr, nullptr, nullptr);
    EXPECT_EQ(built(DICOM_Tag_Add_PN, 2, names[0], names[1]), "Smith^John^^^Jr\\Public");
    EXPECT_EQ(built(DICOM_Tag_Add_PN, 1, names[0]), "Smith^John^^^Jr ");
    EXPECT_EQ(built(DICOM_Tag_Add_PN, 3, nobody, names[1], nobody), "\\Public\\");
    EXPECT_EQ(built(DICOM_Tag_Add_PN, 1, nobody), "(null)");
    Name_Free(&names[0]);
    Name_Free(&names[1]);

    Velmora_Date dates[3] = {};
    Make_Velm_Date(&dates[0], 2004, 5, 12);
    Make_Velm_Date(&dates[1], 70, 13, 99);
    EXPECT_EQ(built(DICOM_Tag_Add_DA, 2, dates[0], dates[1]), "20040512\\00701399");
    EXPECT_EQ(built(DICOM_Tag_Add_DA, -3, dates), "20040512\\00701399\\") << "the last one is empty";
    EXPECT_EQ(built(DICOM_Tag_Add_DA, 1, dates[2]), "(null)");

    struct { float second; const char *value; } cases[] = {
        {5, "102005"}, {5.0004f, "102005"}, {5.25f, "102005.250"}, {59.9995f, "102060"}, {NAN, "102000"},
    };
    for (const auto &each : cases) {
        Velmora_Time time = {};
        Make_Velm_Time(&time, 10, 20, each.second);
        EXPECT_EQ(built(DICOM_Tag_Add_TM, 1, time), each.value);
        EXPECT_EQ(built(DICOM_Tag_Add_DT, 1, dates[0], time), std::string("20040512") + each.value);
    }

    Velmora_Time times[3] = {};
    Make_Velm_Time(&times[0], 10, 20, 5.25f);
    Make_Velm_Time(&times[2], 1, 2, 3);
    EXPECT_EQ(built(DICOM_Tag_Add_TM, -3, times), "102005.250\\\\010203");
    EXPECT_EQ(built(DICOM_Tag_Add_DT, -3, dates, times), "20040512102005.250\\00701399\\");
    EXPECT_EQ(built(DICOM_Tag_Add_DT, 2, dates[0], times[2], dates[1], times[1]), "20040512010203\\00701399");
}

TEST(Add, StopsAtANull)
{
    const char *const texts[] = {"A", nullptr, "C"};
    const char *no_text = nullptr;
    float number = 1;
    const float *no_number = nullptr;
    void *no_array = nullptr;
    Velmora_Date date = {};
    EXPECT_EQ(built(DICOM_Tag_Add_VR_SH, 3, "A", no_text, "C"), "(null)");
    EXPECT_EQ(built(DICOM_Tag_Add_VR_SH, -3, texts), "(null)");
    EXPECT_EQ(built(DICOM_Tag_Add_VR_UI, 2, "1.2", no_text), "(null)");
    EXPECT_EQ(built(DICOM_Tag_Add_UT, 1, no_text), "(null)");
    EXPECT_EQ(built(DICOM_Tag_Add_DS, 2, &number, no_number), "(null)");
    EXPECT_EQ(built(DICOM_Tag_Add_DT, -1, no_array, no_array), "(null)");
    EXPECT_EQ(built(DICOM_Tag_Add_DT, -1, &date, no_array), "(null)");
    for (Add_Builder *builder :
         {DICOM_Tag_Add_VR_SH, DICOM_Tag_Add_DA, DICOM_Tag_Add_DS, DICOM_Tag_Add_FD, DICOM_Tag_Add_FL, DICOM_Tag_Add_IS,
          DICOM_Tag_Add_OB, DICOM_Tag_Add_OW, DICOM_Tag_Add_SL, DICOM_Tag_Add_VR_SS, DICOM_Tag_Add_TM,
          DICOM_Tag_Add_VR_UL, DICOM_Tag_Add_US})
        EXPECT_EQ(built(builder, -2, no_array), "(null)");
}

TEST(Add, WarnsOfCountsThatABuilderDoesNotTake)
{
    Velmora_Name name = {};
    Make_Velm_Name(&name, "Smith", nullptr, nullptr, nullptr, nullptr);
    struct { std::function<Bytes()> build; const char *value, *warnings; } cases[] = {
        {[] { return built(DICOM_Tag_Add_AT, -2, 0x0101, 0x0202); },         "\x01\x01\x02\x02",
         "VR=AT: vector fct not implemented (nb_arg=-2)\n"},
        {[] { return built(DICOM_Tag_Add_AT, 3, 0x0101, 0x0202, 0x0303); },  "\x01\x01\x02\x02",
         "VR=AT: only multiple of 2 accepted (nb_arg=3 != 2*n)\n"},
        {[] { return built(DICOM_Tag_Add_AT, -3, 0x0101, 0x0202, 0x0303); }, "\x01\x01\x02\x02",
         "VR=AT: vector fct not implemented (nb_arg=-3)\nVR=AT: only multiple of 2 accepted (nb_arg=3 != 2*n)\n"},
        {[name] { return built(DICOM_Tag_Add_PN, -2, name, name); },         "Smith\\Smith ",
         "VR=PN: vector fct not implemented (nb_arg=-2)\n"},
        {[] { return built(DICOM_Tag_Add_VR_UI, -2, "1.2", "1.23"); },       "1.2\\1.23",
         "VR=UI: vector fct not implemented (nb_arg=-2)\n"},
        {[] { return built(DICOM_Tag_Add_UT, -1, "AB"); }, "AB", "VR=Text: vector fct not implemented (nb_arg=-1)\n"},
        {[] { return built(DICOM_Tag_Add_UT, 2, "AB", "CD"); },              "AB",
         "VR=Text: only 1 value accepted (nb_arg=2 != 1)\n"},
        {[] { return built(DICOM_Tag_Add_UT, -2, "AB", "CD"); },             "AB",
         "VR=Text: vector fct not implemented (nb_arg=-2)\nVR=Text: only 1 value accepted (nb_arg=2 != 1)\n"},
    };
    for (const auto &each : cases) {
        Reports said;
        EXPECT_EQ(each.build(), each.value);
        EXPECT_EQ(said.warnings(), each.warnings);
    }
    Name_Free(&name);
}

TEST(Add, ReportsASizeThatNoMemoryHolds)
{
    double number = 0;
    Reports said;
    EXPECT_EQ(built(DICOM_Tag_Add_FD, -0x10000000, &number), "(null)");
    EXPECT_EQ(said.failures(), "line N of .\\NEMA_Tag_Add \nmemory error in realloc (var=data, dim=2147483647x1)\n");
}

/* ---- the attribute ------------------------------------------------------------------------------ */

static std::string value(const DICOM_List *tag)
{
    return tag->data != nullptr ? std::string(tag->data, static_cast<size_t>(tag->size)) : "(null)";
}

TEST(Add, MakesANodeOnceAndFillsItOnce)
{
    Tree tree;
    Reports said;
    struct { int flag_before; unsigned short vr; int nb_arg; const char *value, *expected; int kept_vr; } steps[] = {
        {0, VR_LO, 0, "", "(null)", VR_LO},    {0x0102, VR_SH, 1, "ABC", "ABC ", VR_SH},
        {2, VR_LO, 1, "other", "ABC ", VR_SH},
    };
    for (const auto &step : steps) {
        if (tree.head != nullptr)
            tree.head->flag = static_cast<unsigned short>(step.flag_before);
        ASSERT_EQ(DICOM_Attribute_Add(nullptr, &tree.root, &tree.head, GROUP, 0x1001, step.vr, step.nb_arg, step.value),
                  tree.head);
        EXPECT_EQ(value(tree.head), step.expected);
        EXPECT_EQ(tree.head->vr_explicit, step.kept_vr);
        EXPECT_EQ(tree.head->flag, 2);
    }
    EXPECT_EQ(tree.head->syntax, 8);
    EXPECT_EQ(tree.head->db, NEMA_db_Locate(GROUP, 0x1001));
    DICOM_List *head = DICOM_Attribute_Add(nullptr, &tree.root, &tree.head, 0x0010, 0x0020, VR_LO, 1, "ID 7");
    EXPECT_EQ(head, tree.head);
    EXPECT_EQ(value(head), "ID 7");
    EXPECT_NE(head->db, nullptr);
    EXPECT_TRUE(said.all.empty());
}

TEST(Add, ReplacesWhatANodeWithoutValueHoldsAndTakesAFlagForASequence)
{
    Tree tree;
    DICOM_Attribute_Add(nullptr, &tree.root, &tree.head, GROUP, 0x1001, VR_LO, 1, "old one");
    tree.head->flag = 0;   // from elsewhere: a value, but no flag
    DICOM_Attribute_Add(nullptr, &tree.root, &tree.head, GROUP, 0x1001, VR_LO, 1, "new");
    EXPECT_EQ(value(tree.head), "new ");
    tree.head->size = 0;   // an empty block
    DICOM_Attribute_Add(nullptr, &tree.root, &tree.head, GROUP, 0x1001, VR_LO, 0);
    EXPECT_EQ(value(tree.head), "(null)");

    DICOM_Attribute_Add(nullptr, &tree.root, &tree.head, GROUP, 0x1000, VR_SQ, 1, 0x8000);
    EXPECT_EQ(tree.head->flag, 0x8002);
    EXPECT_EQ(tree.head->data, nullptr);
    DICOM_Attribute_Add(nullptr, &tree.root, &tree.head, GROUP, 0x1000, VR_SQ, 0);
    EXPECT_EQ(tree.head->flag, 2);
}

TEST(Add, ReportsAVRWithoutABuilderAndAValueThatCleanupDoesNotPass)
{
    Tree tree;
    Reports said;
    EXPECT_EQ(DICOM_Attribute_Add(nullptr, &tree.root, &tree.head, GROUP, 0x1001, VR_UN, 1, "x"), tree.head);
    DICOM_Attribute_Add(nullptr, &tree.root, &tree.head, GROUP, 0x1002, VR_NONE, 1, "x");
    EXPECT_EQ(value(tree.head), "(null)");
    EXPECT_EQ(said.failures(), "Error: file:.\\NEMA_Tag_Add line N of\ntag (0011,1001) VR=UN not implemented\n"
                               "Error: file:.\\NEMA_Tag_Add line N of\ntag (0011,1002) VR=-- not implemented\n");
    EXPECT_EQ(DICOM_Attribute_Add(nullptr, &tree.root, &tree.head, 0x0008, 0x0060, VR_CS, 2, "CT", "MR"), tree.head);
    EXPECT_EQ(said.all.back(), (Report{Reports::WARNING, "    \xF1\x05WARNING:\x02 problem creating tag (\x01"
                                                         "0008\x02,\x01" "0060\x02)"}));
}
