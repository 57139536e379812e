// Handlers: which attribute reaches which, and what they may do on the way.
#include <gtest/gtest.h>

#include "tests/support/outline.h"
#include "tests/support/reports.h"
#include "tree/tree_internal.h"

// A flat chain of attributes on the heap.
struct Chain : Tree {
    Chain &add(unsigned short group, unsigned short element, const std::string &value = "", unsigned short flag = 1)
    {
        append({group, element}, "", value)->flag = flag;
        return *this;
    }
};

// Notes "name:gggg,eeee " for each call.
template <char Name> static void *note(HWND, DICOM_Root *, DICOM_List *tag, void *user)
{
    char text[32];
    snprintf(text, sizeof text, "%c:%04x,%04x ", Name, tag->group, tag->element);
    *static_cast<std::string *>(user) += text;
    return user;
}

static void *stop(HWND, DICOM_Root *, DICOM_List *, void *) { return nullptr; }

static void *release(HWND, DICOM_Root *, DICOM_List *tag, void *user)
{
    free(tag->data);
    free(tag);
    return user;
}

class Parse : public testing::Test
{
  protected:
    ~Parse()
    {
        DICOM_Attribute_List_Cleanup();
    }

    std::string parsed(const Chain &chain)
    {
        std::string calls;
        EXPECT_EQ(DICOM_Attribute_Parse(nullptr, &root, chain.head, &calls), &calls);
        return calls;
    }

    DICOM_Root root = {};
};

TEST_F(Parse, DispatchesByGroup)
{
    Chain chain;
    chain.add(0x0008, 0x0005).add(0x0010, 0x0010).add(0x0010, 0x0020).add(0x0028, 0x0010);
    EXPECT_EQ(parsed(chain), "");
    EXPECT_EQ(DICOM_Attribute_List_Group_Grow(0x0010, note<'a'>), 1);
    EXPECT_EQ(DICOM_Attribute_List_Group_Grow(0x0010, note<'b'>), 1);
    EXPECT_EQ(DICOM_Attribute_List_Group_Grow(0x0028, note<'c'>), 1);
    EXPECT_EQ(DICOM_Attribute_List_SPI_Grow(0x0008, note<'d'>), 1);
    EXPECT_EQ(parsed(chain), "a:0010,0010 a:0010,0020 c:0028,0010 ") << "the first record of a group counts";
    DICOM_Attribute_List_Cleanup();
    EXPECT_EQ(parsed(chain), "");
    EXPECT_EQ(DICOM_Attribute_List_Group_Grow(0x0028, note<'e'>), 1);
    EXPECT_EQ(parsed(chain), "e:0028,0010 ");
}

TEST_F(Parse, DispatchesPrivateElementsByTheirCreator)
{
    Chain chain;
    chain.add(0x0009, 0x0010, "VENDOR 1.0   ").add(0x0009, 0x0011, " OTHER").add(0x0009, 0x0012, "vendor");
    chain.add(0x0009, 0x0013).add(0x0009, 0x0FFF, "VENDOR").add(0x0009, 0x1010).add(0x0009, 0x1102);
    chain.add(0x0009, 0x12FF).add(0x0009, 0x1301).add(0x0009, 0x1401).add(0x0009, 0xFF01);
    chain.add(0x000B, 0x1001).add(0x000B, 0x0010, "OTHER").add(0x000B, 0x0010, "VENDOR").add(0x0009, 0x1011);
    DICOM_Attribute_List_Group_Grow(0x0009, note<'g'>);
    DICOM_Attribute_List_Private_Grow("VENDOR", note<'v'>);
    DICOM_Attribute_List_Private_Grow("VENDOR 1.0", note<'w'>);
    DICOM_Attribute_List_Private_Grow("OTHER", note<'o'>);
    EXPECT_EQ(parsed(chain), "v:0009,1010 o:0009,1102 o:000b,1001 v:0009,1011 ")
        << "a creator behind its elements is found; of two with one tag the first counts";
}

TEST_F(Parse, GivesSelectedPrivateGroupsWhole)
{
    Chain chain;
    chain.add(0x0009, 0x0010, "VENDOR", 0x41).add(0x0009, 0x1001, "", 0x41).add(0x0009, 0x1002, "", 0x01);
    chain.add(0x000B, 0x0010, "VENDOR", 0x41).add(0x000B, 0x1001, "", 0x41);
    DICOM_Attribute_List_Private_Grow("VENDOR", note<'v'>);
    DICOM_Attribute_List_SPI_Grow(0x0009, note<'s'>);
    EXPECT_EQ(parsed(chain), "s:0009,0010 s:0009,1001 v:0009,1002 v:000b,1001 ") << "the private bit decides";
}

TEST_F(Parse, EndsWhereAHandlerReturnsNull)
{
    Chain chain;
    chain.add(0x0008, 0x0005).add(0x0010, 0x0010).add(0x0012, 0x0010);
    DICOM_Attribute_List_Group_Grow(0x0008, note<'a'>);
    DICOM_Attribute_List_Group_Grow(0x0010, stop);
    DICOM_Attribute_List_Group_Grow(0x0012, note<'c'>);
    std::string calls;
    EXPECT_EQ(DICOM_Attribute_Parse(nullptr, &root, chain.head, &calls), nullptr);
    EXPECT_EQ(calls, "a:0008,0005 ");
    EXPECT_EQ(DICOM_Attribute_Parse(nullptr, &root, nullptr, &calls), &calls);
}

TEST_F(Parse, LetsHandlersReleaseTheirNodes)
{
    Chain chain;
    chain.add(0x0008, 0x0005).add(0x0009, 0x0010, "VENDOR", 0x41).add(0x0009, 0x1001).add(0x0009, 0x1002);
    chain.add(0x0010, 0x0010);
    DICOM_Attribute_List_Group_Grow(0x0008, release);
    DICOM_Attribute_List_Group_Grow(0x0010, release);
    DICOM_Attribute_List_SPI_Grow(0x0009, release);
    DICOM_Attribute_List_Private_Grow("VENDOR", release);
    EXPECT_EQ(parsed(chain), "");
    chain.head = nullptr;   // all five are gone, the creator before its elements were asked for
}

TEST_F(Parse, SurvivesEachRefusedAllocation)
{
    struct Named {
        char name[72];
        DICOM_Parse_Fct parse;
    };
    auto failure = [](const char *table, int count, size_t size) {
        std::string dim = std::to_string(count) + "x" + std::to_string(size);
        return "realloc (var=" + std::string(table) + ", dim=" + dim + ")";
    };
    Chain chain;
    chain.add(0x0008, 0x0005).add(0x0009, 0x0010, "VENDOR").add(0x0009, 0x1001);
    DICOM_Attribute_List_Group_Grow(0x0008, note<'g'>);
    static const char SOURCE[] = ".\\NEMA_Tag_Parse";
    expect_each_failure(SOURCE, {failure("List_Group", 2, 2 * sizeof(void *))}, [&] {
        EXPECT_EQ(parsed(chain), "g:0008,0005 ") << "the table is as it was";
        return DICOM_Attribute_List_Group_Grow(0x0010, note<'h'>) == 1;
    });
    expect_each_failure(SOURCE, {failure("List_SPI", 1, 2 * sizeof(void *))},
                        [] { return DICOM_Attribute_List_SPI_Grow(0x0011, note<'s'>) == 1; });
    expect_each_failure(SOURCE, {failure("List_Private", 1, sizeof(Named))},
                        [] { return DICOM_Attribute_List_Private_Grow("VENDOR", note<'v'>) == 1; });
    {
        Reports said;
        Refuse refuse(1);
        EXPECT_EQ(parsed(chain), "g:0008,0005 ") << "without memory for the creators";
        EXPECT_NE(said.failures(), "");
    }
    EXPECT_EQ(parsed(chain), "g:0008,0005 v:0009,1001 ");
}
