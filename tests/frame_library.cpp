// The frame: version, settings, heap helpers, the seam of the heap, and the tear-down.
#include <gtest/gtest.h>

#include "frame/frame_internal.h"
#include "tests/support/reports.h"
#include "tree/Velmora_DICOM.h"

static const char SOURCE[] = ".\\frame_library";

TEST(Version, IsComparedToItsEnd)
{
    const char *told = "Velmora_DICOM.dll 21.6 (rev-b)";
    EXPECT_STREQ(Get_Version_DICOM(nullptr), told);
    EXPECT_STREQ(Get_Version_DICOM("21.6"), told);
    for (const char *other : {"21.6.1", "21.60", "21.", "", "21.7"})
        EXPECT_EQ(Get_Version_DICOM(other), nullptr) << other;
}

TEST(Settings, HaveTheirFirstValues)
{
    EXPECT_EQ(Flag_Error_Error, 2);
    EXPECT_EQ(DICOM_Tranfer_Syntax, 8);
    EXPECT_EQ(DICOM_Keep_UID, 1);
    EXPECT_EQ(Flag_DICOM_Propriatery, 0);
    EXPECT_STREQ(Velmora_UID, "1.2.999.0.1.7204516.2.813");
    EXPECT_EQ(DICOM_Delete_Tags[4][0], 0xFFFF);
    EXPECT_EQ(DICOM_Delete_Tags[33][1], 0x0103);
    EXPECT_EQ(DICOM_Delete_Tags[34][0], 0) << "34 tags stand in front of the end";
}

TEST(HeapHelpers, GrowReleaseAndSurviveRepetition)
{
    char *block = nullptr;
    EXPECT_EQ(DICOM_Lib_Realloc(&block, 0), 1);
    EXPECT_EQ(block, nullptr);
    EXPECT_EQ(DICOM_Lib_Realloc(&block, 4), 1);
    memcpy(block, "abc", 4);
    EXPECT_EQ(DICOM_Lib_Realloc(&block, 4000), 1);
    EXPECT_STREQ(block, "abc");
    DICOM_Lib_Free(&block);
    EXPECT_EQ(block, nullptr);
    DICOM_Lib_Free(&block);
}

TEST(HeapHelpers, ReleaseTheOldBlockWhenMemoryRunsOut)
{
    char *block = nullptr;
    ASSERT_EQ(DICOM_Lib_Realloc(&block, 4), 1);
    Reports said;
    Refuse refuse(1);
    EXPECT_EQ(DICOM_Lib_Realloc(&block, 70), 0);
    EXPECT_EQ(block, nullptr);
    EXPECT_EQ(said.failures(), "line N of .\\Velmora_DICOM \nmemory error in realloc (var=*buffer, dim=70x1)\n");
}

TEST(Heap, ReportsEachKindOfRefusal)
{
    Reports said;
    {
        Refuse refuse(1);
        EXPECT_EQ(ALLOC_MALLOC(nullptr, "a", 3, 8), nullptr);
    }
    {
        Refuse refuse(1);
        EXPECT_EQ(ALLOC_CALLOC(nullptr, "b", 1, 96), nullptr);
    }
    {
        Refuse refuse(1);
        EXPECT_EQ(ALLOC_STRDUP(nullptr, "c", "text"), nullptr);
    }
    EXPECT_EQ(said.failures(), "line N of .\\frame_library \nmemory error in malloc (var=a, dim=3x8)\n"
                               "line N of .\\frame_library \nmemory error in calloc (var=b, dim=1x96)\n"
                               "line N of .\\frame_library \nmemory error in strdup (var=c)\n");
}

TEST(TearDown, CanBeRepeatedAndTheLibraryGoesOn)
{
    DICOM_Lib_Cleanup();
    DICOM_Lib_Cleanup();
    TAG_db_Elems *row = NEMA_db_Locate(0x0010, 0x0010);
    ASSERT_NE(row, nullptr);
    EXPECT_STREQ(row->description, "Patient's Name");
    DICOM_Lib_Cleanup();
}
