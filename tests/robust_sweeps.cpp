// Small data sets and definition files, cut at each place and with each byte overwritten, through every command of the
// program and every entry of the library that takes bytes. Beyond what the sanitizers see: each run ends with a status
// of the documented ones, says nothing that could drive a terminal, and what it writes can be read.
#include <gtest/gtest.h>
#include <fcntl.h>
#include <unistd.h>
#include <algorithm>
#include <map>

#include "host/program/command.h"
#include "host/program/definitions.h"
#include "host/velmora_host.h"
#include "tests/robust_fixtures.h"
#include "tests/support/outline.h"
#include "tests/support/reports.h"

using namespace velmora_host;

static const size_t PREAMBLE = 128;   // its bytes say nothing

// ---- the program ----------------------------------------------------------------------

// IN and OUT stand for files.
static const std::vector<std::vector<std::string>> COMMANDS = {
    {"dump", "-v", "IN"},
    {"dump", "--raw", "IN"},
    {"dump", "--format", "tsv", "IN"},
    {"dump", "--format", "json", "--with-head", "IN"},
    {"dump", "--format", "html", "IN"},
    {"get", "--all", "*,*", "IN"},
    {"check", "-v", "--module", "T", "IN"},
    {"check", "--format", "jsonl", "IN"},
    {"template", "IN"},
    {"diff", "WHOLE", "IN"},
    {"repair", "IN", "OUT"},
    {"convert", "--syntax", "implicit", "--defined-length", "IN", "OUT"},
    {"convert", "--syntax", "big", "--group-length", "IN", "OUT"},
    {"conform", "--module", "T", "IN", "OUT"},
    {"edit", "--all", "--delete", "0040,*", "--set", "PatientName=Doe", "IN", "OUT"},
};

// A definition directory in which each kind of file, and each form of a line, is there once.
static std::map<std::string, Bytes> definition_files()
{
    return {
        {"DICOM_Module_T.txt", "General ; a comment\nExtra\n"},
        {"DICOM_Attributes_General.txt", "(0008,0016) type=1 VR=UI \"1.2\" desc=\"Class\"\n=(0008,0060) type=2 VR=CS \"OT\"\n"
                                         "!(0028,0010) type=1 VR=US \"2\\3\"\n-(0010,4000)\n(0040,0275) type=2\n"
                                         ">Include Steps\n>(FFFE,E00D)\n>(FFFE,E000)\n+>(0040,0007) VR=LO \"x\"\n"},
        {"DICOM_Attributes_Extra.txt", "(0009,0010) VR=LO \"ROBUST\"\n!(0009,1001) VR=LO \"set\"\n"},
        {"DICOM_Include_Steps.txt", "(0040,0009) type=1 VR=SH \"A1\"\n"},
        {"DICOM_Private_ROBUST.txt", "(0009,0001) VR=LO desc=\"Own\"\n-(0009,0002)\n"},
        {"DICOM_Codes_P.txt", "; parts\nSRT T-1 Knee ^ joint\nSRT T-2 Hip\n"},
    };
}

struct Files {
    std::string in, out, whole;
};

static void expect_sound_run(const std::vector<std::string> &command, const Files &files)
{
    std::vector<std::string> arguments = command;
    bool writes = false;
    for (std::string &each : arguments) {
        writes |= each == "OUT";
        each = each == "IN" ? files.in : each == "OUT" ? files.out : each == "WHOLE" ? files.whole : each;
    }
    unlink(files.out.c_str());
    Outcome run = run_here(arguments);
    EXPECT_TRUE(run.status == STATUS_DONE || run.status == STATUS_FOUND || run.status == STATUS_UNREADABLE)
        << run.status << run.err;
    EXPECT_TRUE(is_harmless(run.out)) << run.out;
    EXPECT_TRUE(is_harmless(run.err)) << run.err;
    EXPECT_TRUE(run.status != STATUS_UNREADABLE || run.err != "") << "a failure is told";
    if (!writes)
        return;
    EXPECT_EQ(access(files.out.c_str(), F_OK) == 0, run.status != STATUS_UNREADABLE);
    if (run.status == STATUS_UNREADABLE)
        return;
    Data_Set set;
    std::string error;
    Reports said;
    EXPECT_EQ(load_from_path(files.out.c_str(), Load_Options(), &set, &error), LOADED) << error;
    release_data_set(&set);
}

TEST(Sweep, EveryCommandOnEachDamagedDataSet)
{
    Fast_Folder folder, definitions;
    for (const auto &[name, bytes] : definition_files())
        definitions.write(name, bytes);
    ASSERT_TRUE(use_definitions(definitions.path));
    for (const Fixture &fixture : small_data_sets()) {
        Files files = {folder.path + "/in", folder.path + "/out", folder.write("whole", fixture.bytes)};
        for_each_damage(fixture.bytes, fixture.start > 0 ? PREAMBLE : 0, [&](const Bytes &bytes, const char *label) {
            folder.write("in", bytes);
            for (const std::vector<std::string> &command : COMMANDS) {
                SCOPED_TRACE(std::string(fixture.name) + ", " + label + ": " + command[0] + " " + command[1]);
                expect_sound_run(command, files);
            }
        });
    }
}

// ---- definition files -----------------------------------------------------------------

TEST(Sweep, EveryCommandOnEachDamagedDefinitionFile)
{
    static const std::vector<std::string> COMMANDS_OF_DEFINITIONS[] = {
        {"template", "T"},          {"template", "--format", "tsv", "T"}, {"check", "--module", "T", "IN"},
        {"conform", "--module", "T", "IN", "OUT"}, {"dump", "IN"}, {"code", "P", "knee joint"}, {"code", "--list", "P"},
    };
    Fast_Folder folder;
    Files files = {folder.write("in", small_data_sets()[0].bytes), folder.path + "/out", ""};
    std::map<std::string, Bytes> whole = definition_files();
    for (const auto &[name, bytes] : whole)
        folder.write(name, bytes);
    for (const auto &file : whole) {
        const std::string &name = file.first;
        for_each_damage(file.second, 0, [&](const Bytes &damaged, const char *label) {
            folder.write(name, damaged);
            for (const std::vector<std::string> &command : COMMANDS_OF_DEFINITIONS) {
                SCOPED_TRACE(name + ", " + label + ": " + command[0] + " " + command[1]);
                DICOM_Module_Free();
                DICOM_Module_Free_Private();
                DICOM_Module_Cleanup();
                ASSERT_TRUE(use_definitions(folder.path));
                expect_sound_run(command, files);
            }
        });
        folder.write(name, file.second);
    }
}

// ---- the library ----------------------------------------------------------------------

// Elements as a host reads them, one node each; a length is believed when the source holds it.
static DICOM_List *read_flat(int source, intptr_t handle, const char *name, int mode, int size)
{
    DICOM_List *first = nullptr, **link = &first;
    unsigned short group, element, vr;
    int length = 0;
    auto position = [&] { return source == 1 ? static_cast<int>(lseek(static_cast<int>(handle), 0, SEEK_CUR))
                                             : *reinterpret_cast<int *>(handle); };
    while (position() >= 0 && position() < size &&
           NEMA_Get_Data_Element(nullptr, source, handle, name, static_cast<unsigned char>(mode), &group, &element, &vr,
                                 &length, size) == 1) {
        DICOM_List *node = *link = new_node({group, element});
        link = &node->next;
        node->vr_explicit = vr;
        node->syntax = static_cast<unsigned char>(mode);
        node->data_pos = position();
        node->size = length;
        node->flag = ORIGIN_DICOM;
        if (group == GROUP_ITEM || vr == VR_SQ || length <= 0)
            continue;
        node->size = 0;
        if (length > size - position())
            break;
        node->data = NEMA_Read_Buffer(nullptr, source, handle, name, static_cast<char>(mode), length);
        if (node->data == nullptr)
            break;
        node->size = length;
    }
    return first;
}

static void take_values(DICOM_List *list)
{
    for (DICOM_List *node = list; node != nullptr; node = node->next) {
        static char *texts[70000];
        char buffer[1024];
        NEMA_Value_Str(nullptr, node, 0);
        NEMA_Value_Int(nullptr, node, 0);
        NEMA_Value_Float(nullptr, node, 0);
        NEMA_Value_Hex(nullptr, node, 0);
        NEMA_Value_Name(nullptr, node, 0);
        if (Velmora_Date *date = NEMA_Value_Date(nullptr, node, 0))
            Velm_Date_Postproc(date, 0);
        if (Velmora_Time *time = NEMA_Value_Time(nullptr, node, 0))
            Velm_Time_Postproc(time);
        DICOM_Attribute_Get_Data(node, texts);
        DICOM_Attribute_Stool_Data(nullptr, node, buffer);
        for (int i = 0; i < node->nb_item; i++)
            take_values(node->item[i]);
    }
}

static int no_image(HWND, char, unsigned int, char **, void *)
{
    return 0;
}

// A tree through every operation that takes one.
static void work_on(Tree *tree)
{
    DICOM_Root *root = &tree->root;
    Tree copy, tmplt;
    DICOM_Attribute_Complement(nullptr, root, tree->head);
    DICOM_Attribute_Stool(nullptr, root, tree->head, 8);
    take_values(tree->head);
    DICOM_Attribute_Syntax(nullptr, root, tree->head);
    DICOM_Attribute_Cleanup(nullptr, root, tree->head);
    DICOM_Attribute_Sort(nullptr, root, &tree->head);
    DICOM_Attribute_Copy(nullptr, root, &copy.head, tree->head);
    DICOM_Attribute_Assign_Info(nullptr, root, copy.head, tree->head);
    DICOM_Attribute_Parse(nullptr, root, tree->head, nullptr);
    DICOM_Attribute_Get(nullptr, root, tree->head, 0x0010, 0x0010, 0);
    DICOM_Attribute_Find(nullptr, root, &tree->head, 0x0010, 0x0020);
    DICOM_Attribute_Copy(nullptr, root, &copy.head, tree->head);
    DICOM_Attribute_Add(nullptr, root, &tmplt.head, 0x0010, 0x0010, VR_LO, 1, "forced");
    tmplt.head->flag |= FLAG_FORCED;
    DICOM_Postproc_Step_1(nullptr, root, &copy.head, tmplt.head, FLAG_FORCED);
    DICOM_Postproc_Overwrite(nullptr, root, &copy.head, tmplt.head, FLAG_FORCED);
    DICOM_Postproc_Verification(nullptr, root, copy.head, tmplt.head, 0);
    DICOM_Postproc_Step_2(nullptr, root, copy.head, 0);
    DICOM_Postproc_Step_4(nullptr, root, &copy.head, tmplt.head);
    DICOM_Attribute_Remove(nullptr, &tree->head, 0x1F);
    DICOM_Write_Image_Fct(no_image);
    for (char syntax : {'\0', '\x08', '\x09'})
        for (DICOM_List *list : {tree->head, copy.head}) {
            char *block = nullptr;
            DICOM_Write_Buffer(nullptr, syntax, list, &block, nullptr);
            DICOM_Lib_Free(&block);
            DICOM_List2Stream(nullptr, syntax, list, &block);
            DICOM_Lib_Free(&block);
            DICOM_Write_Part10(nullptr, syntax, list, &block);
            DICOM_Lib_Free(&block);
        }
    DICOM_Write_Image_Fct(nullptr);
    DICOM_Attribute_Delete(nullptr, root, &copy.head, "0040", "*");
    EXPECT_EQ(root->Sequence_Depth, 0);
}

TEST(Sweep, EveryEntryOfTheLibraryOnEachDamagedStream)
{
    static const size_t MARKED_PREAMBLE = 132, LONGEST_HEADER = 12;
    Fast_Folder folder;
    int file = open((folder.path + "/stream").c_str(), O_RDWR | O_CREAT, 0600);
    ASSERT_GE(file, 0);
    Reports said;
    for (const Fixture &fixture : small_data_sets()) {
        Bytes stream = fixture.start > 0 ? fixture.bytes.substr(MARKED_PREAMBLE) : fixture.bytes;
        for_each_damage(stream, 0, [&](const Bytes &bytes, const char *label) {
            SCOPED_TRACE(std::string(fixture.name) + ", " + label);
            // Without a terminator, so that no read may pass the end. A limit below a header's size bounds nothing.
            std::vector<char> exact(bytes.begin(), bytes.end());
            exact.resize(std::max(bytes.size(), LONGEST_HEADER));
            int cursor = 0, size = static_cast<int>(exact.size());
            Tree flat(read_flat(0, reinterpret_cast<intptr_t>(&cursor), exact.data(), fixture.mode, size));

            ASSERT_EQ(pwrite(file, exact.data(), exact.size(), 0), size);
            ASSERT_EQ(ftruncate(file, size), 0);
            lseek(file, 0, SEEK_SET);
            int own = dup(file);   // the reader closes a descriptor that cannot be positioned
            Tree from_file(read_flat(1, own, "stream", fixture.mode, size));
            close(own);
            EXPECT_EQ(outline(from_file.head), outline(flat.head)) << "a file reads like memory";

            DICOM_Attribute_Complement(nullptr, &flat.root, flat.head);
            Tree tree(DICOM_Attribute_Format(nullptr, flat.head));
            work_on(&tree);
            said.all.clear();
        });
    }
    close(file);
}
