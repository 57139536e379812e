// Values as names, dates and times, and values as text.
#include <gtest/gtest.h>

#include "tests/read_node.h"
#include "tests/support/reports.h"

class Records : public Values {};

// A slot holds the record of 128 calls ago, in whatever state the host has left it.
TEST_F(Records, TakeNothingOverFromAnEarlierCall)
{
    Node date(VR_DA, "20040512"), full(VR_TM, "101559"), minutes(VR_TM, "1234"), none(VR_DT, "2004.05.12");
    for (int i = 0; i < 300; i++) {
        Velmora_Date *day = NEMA_Value_Date(nullptr, &date, 0);
        Velmora_Time *time = NEMA_Value_Time(nullptr, i < 128 ? &full : i % 2 ? &minutes : &none, 0);
        if (i >= 128) {
            EXPECT_EQ(time->state, i % 2 ? 2 : 0);
            EXPECT_EQ(time->second, 0);
        }
        if (i % 3 == 0)
            Velm_Date_Postproc(day, 0);
        if (i % 3 == 1)
            Make_Velm_Date(day, 2000, 1, 1);
        Velm_Time_Postproc(time);
    }
}

/* ---- values as text ---------------------------------------------------------------- */

// The texts of an attribute; they must lie one behind the other.
static std::string texts_of(Node &node)
{
    char *values[1030] = {};
    int count = DICOM_Attribute_Get_Data(&node, values);
    std::string out = std::to_string(count);
    for (int i = 0; i < count && values[i] != nullptr; i++) {
        ((out += " [") += values[i]) += ']';
        if (values[i + 1] != nullptr) {
            EXPECT_EQ(values[i + 1], values[i] + strlen(values[i]) + 1);
        }
    }
    return out;
}

TEST_F(Records, AreTextsWhateverTheirVR)
{
    struct { unsigned short vr; Bytes value; const char *expected; } cases[] = {
        {VR_LO, "A\\B", "2 [A] [B]"}, {VR_LT, "A\\B ", "1 [A\\B ]"}, {VR_UI, Bytes("1.2\\3\0", 6), "2 [1.2] [3]"},
        {VR_PN, "Smith^John", "1 [Smith^John]"}, {VR_PN, "Smith^John^^^\\ ^Jane", "2 [Smith^John] [^Jane]"},
        {VR_DA, "2004.05.12", "1 [20040512]"}, {VR_DA, "20041332", "1 []"}, {VR_DA, "2004051", "0"},
        {VR_TM, "10:15:07.5", "1 [101507.500000]"}, {VR_TM, "101507", "1 [101507]"},
        {VR_DT, "20040512101507", "1 [20040512101507]"}, {VR_DT, "2004.05.12", "1 [20040512]"},
        {VR_DS, "1.5\\-0.0004\\2e3", "3 [1.500] [-0.000] [2000.000]"},
        {VR_FD, Bytes("\0\0\0\0\0\0\xF8\x3F", 8), "1 [1.500]"}, {VR_FL, Bytes("\0\0\x80\x7F", 4), "1 [inf]"},
        {VR_IS, "7\\x", "2 [7] [0]"}, {VR_SS, Bytes("\xFF\xFF", 2), "1 [-1]"}, {VR_OB, Bytes("AB\0C", 4), "1 [AB]"},
        {VR_OW, "ABCD", "1 [ABCD]"}, {VR_OB, "", "0"},
    };
    for (const auto &each : cases) {
        Node node(each.vr, each.value);
        EXPECT_EQ(texts_of(node), each.expected) << each.value;
    }
    for (unsigned short vr : {VR_UN, VR_AT, VR_SQ, VR_OX}) {
        Node node(vr, "ABCD");
        node.vm = 7;
        char *values[2] = {};
        EXPECT_EQ(DICOM_Attribute_Get_Data(&node, values), 7) << "nothing is extracted";
        EXPECT_EQ(values[1], nullptr);
    }
}

TEST_F(Records, AreTextsOfLimitedLength)
{
    Node many(VR_US, Bytes(1024, '\1')), large(VR_UL, Bytes(1025, '\1'));
    Node bytes(VR_OB, Bytes(1024, 'x')), empty(VR_OB, "");
    EXPECT_EQ(texts_of(many).substr(0, 9), "512 [257]");
    char *values[2] = {};
    EXPECT_EQ(DICOM_Attribute_Get_Data(&large, values), 0);
    EXPECT_EQ(values[0], nullptr);
    EXPECT_EQ(DICOM_Attribute_Get_Data(&bytes, values), 1);
    EXPECT_EQ(values[0], Bytes(1023, 'x'));
    EXPECT_EQ(values[1], nullptr);
    EXPECT_EQ(DICOM_Attribute_Get_Data(&empty, values), 0);
    EXPECT_STREQ(values[0], "");
}

// 256 floats of 43 characters each do not fit into the block: the last texts are cut, and none lies behind it.
TEST_F(Records, AreCutAtTheEndOfTheirBlock)
{
    Bytes value;
    for (int i = 0; i < 256; i++)
        value += Bytes("\xFF\xFF\x7F\x7F", 4);
    Node node(VR_FL, value);
    char *values[257];
    ASSERT_EQ(DICOM_Attribute_Get_Data(&node, values), 256);
    EXPECT_STREQ(values[0], "340282346638528859811704183484516925440.000");
    EXPECT_STREQ(values[231], values[0]);
    EXPECT_EQ(values[256] - values[0], 10239);
    EXPECT_STREQ(values[255], "");
    EXPECT_EQ(std::string(values[232]), std::string(values[0]).substr(0, 10239 - 232 * 44));
}

