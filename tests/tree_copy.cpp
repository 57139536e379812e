// Copies as merges: which side wins, how values are appended, where items go.
#include <gtest/gtest.h>

#include "tests/support/dimension.h"
#include "tests/support/outline.h"
#include "tests/support/reports.h"
#include "tree/tree_internal.h"

static const Tag STEPS = {0x0040, 0x0275}, STEP_ID = {0x0040, 0x0009}, NAME = {0x0010, 0x0010};

static const unsigned short OLD = ORIGIN_DICOM, APPEND = ORIGIN_MODULE | FLAG_APPEND;

static DICOM_List *flagged(DICOM_List *node, int flag)
{
    node->flag = static_cast<unsigned short>(flag);
    return node;
}

static DICOM_List *described(DICOM_List *node, const char *description)
{
    node->description = strdup(description);
    return node;
}

static int copy(Tree &target, const Tree &source)
{
    return DICOM_Attribute_Copy(nullptr, &target.root, &target.head, source.head);
}

TEST(Copy, MakesAnIndependentTreeInTheOrderOfTags)
{
    TAG_db_Elems row = {};
    Tree target;
    {
        Tree source;
        DICOM_List *sequence = source.append(STEPS, "SQ");
        sequence->size = UNDEFINED_LENGTH;
        sequence->depth = 7;      // a source is walked by its pointers alone
        DICOM_List *status = described(new_node({0x0040, 0x0020}, "SH", "Z "), "a status");
        add_item(sequence, {status, new_node(STEP_ID, "SH", "A1")});
        add_item(sequence, {new_node(STEP_ID, "SH", "A2")});
        DICOM_List *name = flagged(source.append(NAME, "PN", "A^B "), OLD);
        name->syntax = SYNTAX_EXPLICIT;
        name->vr = VR_PN;
        name->type = TYPE_2;
        name->stream_word = 1;
        name->pos = 2;
        name->data_pos = 3;
        name->db = &row;
        Reports said(15);
        EXPECT_EQ(copy(target, source), 1);
        EXPECT_EQ(said.texts(14), "DICOM_Attribute_Copy (0040,0275)\nin DICOM_Attribute_Copy_Tag(0040,0275)\n"
                                  "DICOM_Attribute_Copy (0040,0020)\nin DICOM_Attribute_Copy_Tag(0040,0020)\n"
                                  "DICOM_Attribute_Copy (0040,0009)\nin DICOM_Attribute_Copy_Tag(0040,0009)\n"
                                  "DICOM_Attribute_Copy (0040,0009)\nin DICOM_Attribute_Copy_Tag(0040,0009)\n"
                                  "DICOM_Attribute_Copy (0010,0010)\nin DICOM_Attribute_Copy_Tag(0010,0010)\n");
    }
    EXPECT_EQ(full_outline(target.head),
              "0010,0010 PN [A^B ] flag=0001 depth=0 vr=PN/PN syntax=8 type=3220 at 1,2,3 db\n"
              "0040,0275 SQ undefined length flag=0000 depth=0 vr=SQ/-- syntax=0 type=0000 at 0,0,0\n"
              "  item\n    0040,0009 SH [A1] flag=0000 depth=1 vr=SH/-- syntax=0 type=0000 at 0,0,0\n"
              "    0040,0020 SH [Z ] flag=0000 depth=1 vr=SH/-- syntax=0 type=0000 at 0,0,0 \"a status\"\n"
              "  item\n    0040,0009 SH [A2] flag=0000 depth=1 vr=SH/-- syntax=0 type=0000 at 0,0,0\n");
    EXPECT_EQ(target.root.Sequence_Depth, 0);
    EXPECT_EQ(target.root.Sequence_Group[0], NAME.group) << "the last tag copied";
}

struct Merge_Case {
    const char *what;
    int target_flag;
    const char *target_value;
    int source_flag;
    const char *source_value;
    const char *wanted;
    int wanted_flag;
};

TEST(Copy, DecidesWhichSideWins)
{
    static const Merge_Case cases[] = {
        {"a new node takes all", 0, "", OLD, "new ", " [new ]", OLD},
        {"without flag it is new, whatever its value", 0, "old ", OLD, "new ", " [new ]", OLD},
        {"a value stays", OLD, "old ", ORIGIN_MODULE, "new ", " [old ]", OLD},
        {"an empty attribute is filled", OLD, "", ORIGIN_MODULE, "new ", " [new ]", OLD | ORIGIN_MODULE},
        {"an empty source leaves the value", 0, "old ", OLD, "", " [old ]", OLD},
        {"forced stays", OLD | FLAG_FORCED, "old ", APPEND, "new ", " [old ]", OLD | FLAG_FORCED},
        {"forced stays empty", OLD | FLAG_FORCED, "", APPEND, "new ", "", OLD | FLAG_FORCED},
        {"append adds", OLD, "old", APPEND, "new", " [old\\new ]", OLD | APPEND},
        {"append to nothing", OLD, "", APPEND, "new ", " [new ]", OLD | APPEND},
        {"append of nothing", OLD, "old ", APPEND, "", " [old ]", OLD | APPEND},
    };
    for (const Merge_Case &each : cases) {
        Tree target, source;
        flagged(target.append(NAME, "LO", each.target_value), each.target_flag);
        flagged(source.append(NAME, "LO", each.source_value), each.source_flag);
        EXPECT_EQ(copy(target, source), 1);
        EXPECT_EQ(outline(target.head), std::string("0010,0010 LO") + each.wanted + "\n") << each.what;
        EXPECT_EQ(target.head->flag, each.wanted_flag) << each.what;
    }
}

TEST(Copy, AppendsByTheVROfTheSource)
{
    struct Row { const char *vrs, *wanted; } rows[] = {
        {"AE AS CS DS IS LO PN SH", "ab\\cd "}, {"LT ST UT", "ab\ncd "},
        {"AT FD FL OB OF OW OX SL SS UL UN US", "abcd"}, {"DA DT SQ TM UI", "ab"}, {"RT OD UR I- XX", "ab"},
    };
    for (const Row &row : rows) {
        for (std::string vr = row.vrs; !vr.empty(); vr.erase(0, 3)) {
            std::string letters = vr.substr(0, 2);
            Tree target, source;
            flagged(target.append(NAME, "LO", "ab"), OLD);
            flagged(source.append(NAME, "", "cd"), APPEND)->vr = pack_letters(letters[0], letters[1]);
            target.head->pos = 5;
            source.head->pos = 6;
            Reports said;
            EXPECT_EQ(copy(target, source), 1);
            EXPECT_EQ(std::string(target.head->data, static_cast<size_t>(target.head->size)), row.wanted) << letters;
            EXPECT_EQ(target.head->pos, 6) << "the other fields are copied all the same";
            bool warns = std::string("DADTSQTMUI").find(letters) % 2 == 0;
            EXPECT_EQ(said.warnings(),
                      warns ? "\xF1\x05WARNING:\x02 Unable to append to tag (0010,0010)\n" : "") << letters;
        }
    }
}

TEST(Copy, AppendsNoBytesThatAreNotThere)
{
    Tree target, source;
    flagged(target.append(NAME, "LO", "ab"), OLD);
    flagged(source.append(NAME, "LO"), APPEND)->size = 2000;
    EXPECT_EQ(copy(target, source), 1);
    EXPECT_EQ(outline(target.head), "0010,0010 LO [ab]\n");

    Tree unread, value;
    flagged(unread.append(NAME, "LO"), OLD)->size = 2000;
    flagged(value.append(NAME, "LO", "cd"), APPEND);
    Reports said;
    EXPECT_EQ(copy(unread, value), 1);
    EXPECT_EQ(outline(unread.head), "0010,0010 LO 2000 bytes unread\n");
    EXPECT_EQ(said.warnings(), "\xF1\x05WARNING:\x02 Unable to append to tag (0010,0010)\n");
    unread.head->size = 0;
    source.head->flag = 0;
    EXPECT_EQ(copy(unread, source), 1);
    EXPECT_EQ(outline(unread.head), "0010,0010 LO 2000 bytes unread\n") << "an unread value stays unread";
}

TEST(Copy, TakesDescriptionAndGuessedVR)
{
    Tree target, source;
    flagged(described(target.append(NAME, "", ""), "old"), OLD)->vr = VR_LO;
    flagged(described(source.append(NAME, "", "x "), ""), OLD | FLAG_GUESSED_VR)->vr = VR_CS;
    EXPECT_EQ(copy(target, source), 1);
    EXPECT_EQ(full_outline(target.head), "0010,0010 UN [x ] flag=0401 depth=0 vr=--/UN syntax=0 type=0000 at 0,0,0\n");
}

TEST(Copy, ReportsEachRefusedAllocationAndKeepsAValidTree)
{
    Tree source;
    flagged(described(source.append(NAME, "LO", "cd"), "name"), APPEND);
    add_item(source.append(STEPS, "SQ"), {new_node(STEP_ID, "SH", "B1")});
    std::vector<std::string> failures;
    refuse_each_allocation([&](int) {
        Tree target;
        flagged(target.append(NAME, "LO", "ab"), OLD);
        Reports said;
        copy(target, source);
        if (Refuse::happened())
            failures.push_back(said.failures().substr(strlen("line N of .\\NEMA_Tag_")) + said.warnings());
    });
    static const std::string failed = "\n\xF1\x05Warning:\x02 Failed in DICOM_Attribute_Copy";
    static const std::string node = "Attribute \nmemory error in calloc (var=insert, " + dimension(1, sizeof(DICOM_List)) + failed;
    static const std::string copied = "Copy \nmemory error in ";
    EXPECT_EQ(failures, (std::vector<std::string>{
        copied + "realloc (var=target->data, dim=6x1)" + failed + "(0010,0010)\n",
        copied + "strdup (var=target->description)" + failed + "(0010,0010)\n", node + "(0040,0275)\n",
        copied + "realloc (var=target->item, " + dimension(1, sizeof(DICOM_List *)) + failed + "(0040,0275)\n", node + "(0040,0009)\n",
        copied + "malloc (var=target->data, dim=2x1)" + failed + "(0040,0009)\n"}));
}
