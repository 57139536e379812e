// The handlers that build what a template asks for, and what is built where there is none.
#include <gtest/gtest.h>

#include "tests/support/dimension.h"
#include "tests/support/reports.h"
#include "tests/write_trees.h"

static std::string called;

static DICOM_List *builds(HWND, DICOM_Root *, DICOM_List **, DICOM_List *tmplt, void *user)
{
    called += std::string("builds ") + static_cast<const char *>(user) + "; ";
    return tmplt;
}

static DICOM_List *declines(HWND, DICOM_Root *, DICOM_List **, DICOM_List *, void *)
{
    called += "declines; ";
    return nullptr;
}

static int add(Tree *target, DICOM_List *tmplt)
{
    Made owner({tmplt});
    DICOM_Root root = {};
    char user[] = "it";
    called.clear();
    return DICOM_Module_Add(nullptr, &root, &target->head, owner.head, user);
}

TEST(ModuleAdd, AddsAnEmptyAttributeOfType2)
{
    Made target({attribute({0x0008, 0x0050}, "SH", "A1")});
    Reports said(11);
    EXPECT_EQ(add(&target, with_type(TYPE_2, attribute({0x0008, 0x0050}, "SH", ""))), 1);
    EXPECT_EQ(add(&target, with_type(TYPE_2, attribute({0x0008, 0x0090}, "PN", ""))), 1);
    EXPECT_EQ(add(&target, with_type(TYPE_2C, attribute(PATIENT, "LO", ""))), 1);
    for (unsigned short type : {TYPE_1, TYPE_1C, TYPE_3})
        EXPECT_EQ(add(&target, with_type(type, attribute(NUMBER, "IS", ""))), 1);
    EXPECT_EQ(lines_of(target.head), "0008,0050 SH [A1]\n0008,0090 PN\n0010,0020 LO\n");
    EXPECT_EQ(said.texts(11), "");
    EXPECT_EQ(add(&target, attribute(NUMBER, "IS", "")), 0);
    EXPECT_EQ(said.texts(11), "\xF1\x04" "ERROR: \x02Unknown tag type (\x01" "0020\x02,\x01" "0013\x02)\n");
}

TEST(ModuleAdd, LetsTheFirstHandlerOfEachTableDecide)
{
    Made target({});
    EXPECT_EQ(DICOM_Module_List_Group_Grow(0x0010, builds), 1);
    EXPECT_EQ(DICOM_Module_List_Group_Grow(0x0010, declines), 1);
    EXPECT_EQ(DICOM_Module_List_Group_Grow(0x0020, declines), 1);
    EXPECT_EQ(DICOM_Module_List_Group_Grow(0x0028, builds), 1);
    EXPECT_EQ(DICOM_Module_List_Private_Grow(0x0028, declines), 1);
    EXPECT_EQ(DICOM_Module_List_Private_Grow(0x0008, builds), 1);
    struct { Tag tag; unsigned short type; int result; const char *calls; } cases[] = {
        {PATIENT, TYPE_2, 0, "builds it; "},                    {PATIENT, TYPE_NONE, 0, "builds it; "},
        {NUMBER, TYPE_2, 1, "declines; "},                      {NUMBER, TYPE_NONE, 0, "declines; "},
        {{0x0028, 0x0010}, TYPE_1, 1, "builds it; declines; "}, {MODALITY, TYPE_2, 0, "builds it; "},
        {{0x0018, 0x0015}, TYPE_3, 1, ""},
    };
    Reports said;
    for (const auto &each : cases) {
        EXPECT_EQ(add(&target, with_type(each.type, attribute(each.tag, "IS", ""))), each.result) << each.calls;
        EXPECT_EQ(called, each.calls);
    }
    EXPECT_EQ(lines_of(target.head), "0020,0013 IS\n");

    DICOM_Module_List_Cleanup();
    DICOM_Module_List_Cleanup();
    EXPECT_EQ(add(&target, with_type(TYPE_1, attribute(PATIENT, "LO", ""))), 1);
    EXPECT_EQ(called, "");
}

TEST(ModuleAdd, KeepsItsTablesWhenTheyCanNotGrow)
{
    Reports said;
    Made target({});
    DICOM_Module_List_Group_Grow(0x0010, builds);
    {
        Refuse first(1);
        EXPECT_EQ(DICOM_Module_List_Group_Grow(0x0020, builds), 0);
    }
    {
        Refuse first(1);
        EXPECT_EQ(DICOM_Module_List_Private_Grow(0x0020, builds), 0);
    }
    const std::string at = "line N of .\\NEMA_Write_Module \nmemory error in realloc (var=List_";
    const size_t entry = 2 * sizeof(void *);   // a group and its function
    EXPECT_EQ(said.failures(), at + "Group, " + dimension(2, entry) + "\n" + at + "Private, " + dimension(1, entry) + "\n");
    EXPECT_EQ(add(&target, with_type(TYPE_1, attribute(PATIENT, "LO", ""))), 0);
    EXPECT_EQ(add(&target, with_type(TYPE_1, attribute(NUMBER, "IS", ""))), 1);
    DICOM_Module_List_Cleanup();
}
