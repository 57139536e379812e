// Lookups: what is found, through which wildcards, and that what earlier lookups left behind never shows.
#include <gtest/gtest.h>

#include <random>

#include "dictionary/dictionary_internal.h"
#include "tests/support/reports.h"
#include "tree/tree_internal.h"

static std::string description(unsigned short group, unsigned short element)
{
    const TAG_db_Elems *row = NEMA_db_Locate(group, element);
    return row != nullptr ? row->description : "(null)";
}

TEST(Dictionary_Lookup, FindsRowsByTheirTag)
{
    NEMA_db_Cleanup();
    struct { unsigned short group, element; const char *description; } cases[] = {
        {0x0010, 0x0010, "Patient's Name"}, {0x0020, 0x0032, "Image Position (Patient)"},
        {0x0028, 0x3002, "LUT Descriptor"}, {0x0018, 0x101B, "Hardcopy Device Manfuacturer's Model Name"},
        {0x0074, 0x100A, "Contact URI"},    {0x0004, 0x0000, "Group Length"},
        {0x0028, 0x0800, "Code Label"},     {0x0028, 0x0804, "Bits For Code Word"},
        {0x0028, 0x0810, "(null)"},                  // element wildcards take no part
        {0x0028, 0x0814, "(null)"},       {0x6000, 0x3000, "Overlay Data"}, {0x6002, 0x3000, "Overlay Data"},
        {0x60FE, 0x3000, "Overlay Data"}, {0x6002, 0x3001, "(null)"},
        {0x6001, 0x3000, "(null)"},                  // private, wildcard or not
        {0x5FFE, 0x0010, "(null)"}, {0x6100, 0x3000, "(null)"}, {0x501E, 0x3000, "Curve Data"},
        {0xFFFC, 0xFFFC, "Terminatior"}, {0xFFFE, 0xE0DD, "Sequence Delimitation Item"}, {0xFFFE, 0xFFFF, "(null)"},
        {0xFFFF, 0xFFFF, "(null)"}, {0x7FE0, 0x0010, "(null)"}, {0x0000, 0x0000, "(null)"}, {0x0008, 0x0000, "(null)"},
    };
    for (int round = 0; round < 2; round++)
        for (const auto &each : cases)
            EXPECT_EQ(description(each.group, each.element), each.description)
                << std::hex << each.group << ',' << each.element;
    EXPECT_EQ(NEMA_db_Locate(0x6002, 0x3000), NEMA_db_Locate(0x6000, 0x3000));
}

// Both lists from their heads, nothing remembered.
static const TAG_db_Elems *plain_scan(unsigned short group, unsigned short element)
{
    for (const TAG_db_Group *node = NEMA_db_Groups(); node != nullptr && group % 2 == 0; node = node->next)
        if ((node->group & node->group_mask) == (group & node->group_mask))
            for (const TAG_db_Elems *row = node->first; row != nullptr; row = row->next)
                if (row->element == element)
                    return row;
    return nullptr;
}

// Mostly rows that exist, in runs of ascending order and with jumps back, as data sets ask for them.
static int count_wrong_answers(unsigned seed, int lookups)
{
    std::mt19937 random(seed);
    std::vector<const TAG_db_Elems *> rows;
    for (const TAG_db_Group *group = NEMA_db_Groups(); group != nullptr; group = group->next)
        for (const TAG_db_Elems *row = group->first; row != nullptr; row = row->next)
            rows.push_back(row);

    int wrong = 0;
    size_t at = 0;
    for (int i = 0; i < lookups; i++) {
        at = random() % 4 == 0 ? random() % rows.size() : (at + random() % 3) % rows.size();
        unsigned short group = rows[at]->group, element = rows[at]->element;
        switch (random() % 8) {
        case 0: group = static_cast<unsigned short>(group + random() % 4); break;
        case 1: element = static_cast<unsigned short>(element + random() % 4); break;
        case 2: group = static_cast<unsigned short>(random()); break;
        default: break;
        }
        wrong += NEMA_db_Locate(group, element) != plain_scan(group, element);
    }
    return wrong;
}

TEST(Dictionary_Lookup, AnswersLikeAPlainScanInOverlappingGroupsToo)
{
    NEMA_db_Load();
    EXPECT_EQ(count_wrong_answers(1, 100000), 0);
    NEMA_db_Cleanup();
    const char *lines[] = {"(6000,0010) Six LO 1", "(6002,0010) Plain LO 1", "(60xx,0012) Joins the first LO 1",
                           "(6002,0014) Plain Too LO 1", "(6xxx,0016) Joins it too LO 1", "(50xx,0010) Any LO 1",
                           "(5002,0010) Hidden LO 1", "(5002,0012) Seen LO 1"};
    Reports said;
    NEMA_db_Load();
    NEMA_db_Read_Table(lines, static_cast<int>(std::size(lines)));
    EXPECT_EQ(count_wrong_answers(2, 100000), 0);
    NEMA_db_Cleanup();
}

