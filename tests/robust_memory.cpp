// Each exported operation that asks for memory, with each of its allocations refused in turn. The table tells what is
// reported then, in the order of the allocations; the driver sees to the rest: one report at level 1 and no more, the
// result told, a tree that is valid and can be released, and the whole result when the operation is called again.
// Operations without a row ask for nothing; some of them stand here with an empty list to hold them to that.
#include <gtest/gtest.h>
#include <fcntl.h>
#include <math.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>
#include <algorithm>

#include "tests/host_runs.h"
#include "tests/support/outline.h"
#include "tests/support/reports.h"

// ---- what an operation works on -------------------------------------------------------

static const Tag SEQUENCE = {0x0040, 0x0275}, IN_ITEM = {0x0040, 0x0009}, NAME = {0x0010, 0x0010}, ID = {0x0010, 0x0020};

struct World {
    Tree tree, other, made;
    Velmora_Name name = {}, name_copy = {};
    Velmora_Date date = {}, date_copy = {};
    Velmora_Time time = {}, time_copy = {};
    Code_Seq code = {};
    char *block = nullptr, text[400] = "";
    Bytes source = Bytes(4000, 'x');
    int cursor = 0;

    World()
    {
        DICOM_Lib_File_Name = source.data();
    }
    ~World()
    {
        Name_Free(&name);
        Name_Free(&name_copy);
        Date_Free(&date);
        Date_Free(&date_copy);
        Time_Free(&time);
        Time_Free(&time_copy);
        for (char **each : {&block, &code.code_value, &code.coding_scheme, &code.code_meaning})
            DICOM_Lib_Free(each);
        DICOM_Macro_Code_Sequence_Reset();
        NEMA_Value_Cleanup();
        DICOM_Attribute_List_Cleanup();
        DICOM_Module_List_Cleanup();
        DICOM_Module_Free();
        DICOM_Module_Free_Private();
        DICOM_Module_Cleanup();
        DICOM_Lib_File_Name = nullptr;
    }
    World(const World &) = delete;
};

static DICOM_List *with(DICOM_List *node, unsigned short flag, unsigned short type = TYPE_NONE)
{
    node->flag |= flag;
    node->type = type;
    return node;
}

static DICOM_List *leave_unread(DICOM_List *node, int size)
{
    node->size = size;
    return node;
}

static void grow_tree(World *world)
{
    world->tree.append({0x0008, 0x0060}, "CS", "CT");
    world->tree.append(NAME, "PN", "Doe ");
    add_item(world->tree.append(SEQUENCE, "SQ"), {new_node(IN_ITEM, "SH", "A1")});
    world->tree.append({0x7FE0, 0x0010}, "OW", "abcd");
}

static void grow_template(World *world)
{
    with(world->other.append({0x0008, 0x0060}, "CS", "MR"), ORIGIN_MODULE | FLAG_FORCED, TYPE_1);
    with(world->other.append(ID, "LO", "id"), ORIGIN_MODULE | FLAG_DEFAULT, TYPE_2);
    DICOM_List *item = with(new_node({0x0008, 0x0100}, "SH", "c1"), ORIGIN_MODULE | FLAG_DEFAULT, TYPE_1);
    with(add_item(world->other.append({0x0040, 0xA043}, "SQ"), {item}), ORIGIN_MODULE, TYPE_1);
}

static void grow_both(World *world)
{
    grow_tree(world);
    grow_template(world);
}

static void enter_item(World *world, Tag sequence)
{
    DICOM_Attribute_Sequence_Start(nullptr, &world->tree.root, sequence.group, sequence.element, 0, 0);
    DICOM_Attribute_Item_Start(nullptr, &world->tree.root, 0);
}

static void write_definitions(World *)
{
    static Folder folder;
    folder.write("DICOM_Module_T.txt", "G\n");
    folder.write("DICOM_Attributes_G.txt", "(0010,0010) type=2 VR=PN desc=\"N\"\n(0040,0275) type=2\n>Include M\n");
    folder.write("DICOM_Include_M.txt", "=(0040,0009) type=1 VR=SH \"A1\"\n");
    folder.write("DICOM_Private_OWN.txt", "(0009,0001) VR=LO desc=\"Own\"\n");
    folder.write("codes.txt", "SRT T-1 Knee\n");
    DICOM_Module_Setup(nullptr, (folder.path + "/").c_str());
}

static void add_private(World *world)
{
    world->tree.append({0x0009, 0x0010}, "LO", "OWN ");
    world->tree.append({0x0009, 0x1001}, "UN", "x ");
}

static void write_private(World *world)
{
    write_definitions(world);
    add_private(world);
}

static void waiting_date_and_time(World *world)
{
    Make_Velm_Date(&world->date, "20040512", "yyyymmdd");
    Make_Velm_Time(&world->time, "101530", "hhmmss");
}

static DICOM_List *add_flat(Tree *tree, Tag tag, const char *vr, const Bytes &value, int length = -2)
{
    DICOM_List *node = with(tree->append(tag, vr, value), ORIGIN_DICOM);
    node->syntax = SYNTAX_EXPLICIT;
    if (length != -2)
        node->size = length;
    return node;
}

static void lay_flat(World *world)
{
    add_flat(&world->other, NAME, "PN", "Doe ")->description = strdup("own text");
    add_flat(&world->other, SEQUENCE, "SQ", "", -1);
    add_flat(&world->other, {0xFFFE, 0xE000}, "", "", -1);
    add_flat(&world->other, IN_ITEM, "SH", "A1");
    add_flat(&world->other, {0xFFFE, 0xE00D}, "", "");
    add_flat(&world->other, {0xFFFE, 0xE0DD}, "", "");
}

// ---- the operations -------------------------------------------------------------------

static int no_image(HWND, char, unsigned int, char **, void *)
{
    return 0;
}

static void *go_on(HWND, DICOM_Root *, DICOM_List *, void *user)
{
    return user;
}

static DICOM_List *leave_it(HWND, DICOM_Root *, DICOM_List **, DICOM_List *, void *)
{
    return nullptr;
}

// What the result says of a failure.
enum Result {
    TELLS,    // it is false
    SILENT,   // it is as ever: only the report tells
    PARTLY,   // the one or the other, by the place of the failure
};

enum Second_Call {
    SAME,    // gives what an undisturbed call gives
    DIFFERS, // adds to what is there, or the first result counts
};

struct Row {
    const char *name;
    void (*set_up)(World *);
    bool (*call)(World *);   // whether the result says that all went well
    Result result;
    Second_Call second;
    std::vector<std::string> failures;   // "source operation (what)" of each allocation, each text once
};

template <class... Values> static bool add(World *world, unsigned short vr, int count, Values... values)
{
    DICOM_List *head = DICOM_Attribute_Add(nullptr, &world->tree.root, &world->tree.head, 0x0009, 0x1001, vr, count,
                                           values...);
    return head == world->tree.head && head != nullptr && head->data != nullptr;
}

static void nothing(World *) {}
static void without_dictionary(World *) { NEMA_db_Cleanup(); }

#define WORK []([[maybe_unused]] World * w) -> bool
#define VALUE_ROW(function, vr, value, ...)                                                                            \
    {#function " " vr, [](World *w) { w->tree.append({0x0018, 0x0050}, vr, value); },                                  \
     WORK { return function(nullptr, w->tree.head, 0) != nullptr; }, TELLS, SAME, __VA_ARGS__}
#define CLEANUP_ROW(vr, value, ...)                                                                                    \
    {"DICOM_Attribute_Cleanup_Tag " vr, [](World *w) { w->tree.append({0x0009, 0x1001}, vr, value); },                 \
     WORK { return DICOM_Attribute_Cleanup_Tag(nullptr, w->tree.head) == 1; }, PARTLY, DIFFERS, __VA_ARGS__}

static const std::vector<Row> ROWS = {
#include "tests/robust_memory_rows.inc"
};

// ---- the driver -----------------------------------------------------------------------

static void expect_valid(const DICOM_List *list, int depth)
{
    int count = 0;
    for (const DICOM_List *node = list; node != nullptr; node = node->next) {
        ASSERT_LT(count++, 1000) << "the chain ends";
        EXPECT_EQ(node->depth, depth);
        EXPECT_TRUE(node->data == nullptr || node->size > 0) << node->group << "," << node->element;
        EXPECT_TRUE(node->data != nullptr || node->size <= 0 || node->size >= SMALLEST_UNREAD_VALUE);
        EXPECT_EQ(node->item != nullptr, node->nb_item > 0 || node->item != nullptr);
        for (int i = 0; i < node->nb_item; i++)
            expect_valid(node->item[i], depth + 1);
    }
}

static std::string outline_of(const World &world)
{
    std::string out = full_outline(world.tree.head) + "--\n" + full_outline(world.made.head) + "--\n" + world.text;
    for (const Velmora_Name *each : {&world.name, &world.name_copy})
        for (const char *field : {each->family, each->given, each->middle, each->prefix, each->suffix})
            out += field != nullptr ? std::string(field) + "^" : "^";
    for (const Velmora_Date *each : {&world.date, &world.date_copy})
        out += " " + std::to_string(each->state) + " " + std::to_string(each->year);
    for (const Velmora_Time *each : {&world.time, &world.time_copy})
        out += " " + std::to_string(each->state) + " " + std::to_string(each->minute);
    return out + (world.code.code_value != nullptr ? world.code.code_value : "");
}

// "NEMA_Tag_Copy malloc (var=target->data, dim=6x1)" of the report's two lines.
static std::string shortened(const std::string &report)
{
    std::string text = without_line_number(report);
    const std::string head = "line N of .\\", middle = " \nmemory error in ";
    size_t at = text.find(middle);
    if (text.rfind(head, 0) != 0 || at == text.npos)
        return text;
    return text.substr(head.size(), at - head.size()) + " " + text.substr(at + middle.size());
}

// The table has the sizes of records and pointers of 64 bits; elsewhere none are compared.
static std::vector<std::string> comparable(std::vector<std::string> failures)
{
    for (std::string &text : failures)
        for (size_t at = 0; sizeof(void *) != 8 && (at = text.find(", dim=", at)) != std::string::npos;)
            text.erase(at, text.find(')', at) - at);
    return failures;
}

static std::string undisturbed(const Row &row)
{
    World world;
    row.set_up(&world);
    Reports said;
    EXPECT_TRUE(row.call(&world));
    EXPECT_EQ(said.failures(), "");
    return outline_of(world);
}

TEST(Memory, RefusedToEachOperationIsToldAndSurvived)
{
    NEMA_db_Locate(0x0010, 0x0010);   // the dictionary is built by a row of its own
    DICOM_Write_Image_Fct(no_image);
    for (const Row &row : ROWS) {
        SCOPED_TRACE(row.name);
        std::string expected = undisturbed(row);
        std::vector<std::string> failures;
        for (int n = 1; n < 1000; n++) {
            World world;
            row.set_up(&world);
            Reports said;
            bool result, refused;
            {
                Refuse refuse(n);
                result = row.call(&world);
                refused = Refuse::happened();
            }
            EXPECT_EQ(world.tree.root.Sequence_Depth > 0, world.tree.root.Item_Number[1] > 0) << "the cursor is back";
            expect_valid(world.tree.head, 0);
            expect_valid(world.made.head, 0);
            if (!refused)
                break;
            EXPECT_TRUE(result == (row.result == SILENT) || row.result == PARTLY) << "allocation " << n;
            std::string told;
            for (const Report &report : said.all)
                if (report.level == 1)
                    told += (told.empty() ? "" : " | ") + shortened(report.text);
            if (std::find(failures.begin(), failures.end(), told) == failures.end())
                failures.push_back(told);

            said.all.clear();
            EXPECT_TRUE(row.call(&world) || row.second == DIFFERS) << "again, after allocation " << n;
            EXPECT_EQ(said.failures(), "");
            expect_valid(world.tree.head, 0);
            if (row.second == SAME) {
                EXPECT_EQ(outline_of(world), expected) << "again, after allocation " << n;
            }
        }
        EXPECT_EQ(comparable(failures), comparable(row.failures));
    }
    DICOM_Write_Image_Fct(nullptr);
    DICOM_Module_Setup(nullptr, "");
}
