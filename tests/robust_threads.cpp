// What may run in several threads at once, each with its own trees, cursors and records: reading, complementing,
// nesting, sorting, merging, looking up, values and records, templates and definitions, the steps and the writers. The
// thread sanitizer sees whether that holds; the results are compared besides. What is not promised - cleanup, check and
// DICOM_Attribute_Add, codes, texts of Time_2_DICOM and its like, fetches from memory - is left out here, and said in
// the headers.
#include <gtest/gtest.h>
#include <atomic>
#include <thread>

#include "tests/robust_fixtures.h"
#include "tests/support/outline.h"

static int no_image(HWND, char, unsigned int, char **, void *)
{
    return 0;
}

static void count_report(void *user, HWND, int, const char *)
{
    (*static_cast<std::atomic<int> *>(user))++;
}

static Bytes stream_of(int thread)
{
    std::string number = std::to_string(1000 + thread);
    return element({0x0008, 0x0016}, "UI", "1.2.840.10008.5.1.4.1.1.7") + element({0x0008, 0x0020}, "DA", "2004" + number) +
           element({0x0008, 0x0030}, "TM", number + "15") + element({0x0009, 0x0010}, "LO", "ROBUST") +
           element({0x0009, 0x1001}, "LO", number) + element({0x0010, 0x0010}, "PN", "Doe^" + number) +
           element({0x0018, 0x0050}, "DS", number) +
           sequence({0x0040, 0x0275}, thread % 2 != 0 ? BY_LENGTH : BY_DELIMITER,
                    {item({element({0x0040, 0x0009}, "SH", number)}, thread % 2 != 0 ? BY_LENGTH : BY_DELIMITER)});
}

static DICOM_List *read_flat(const Bytes &bytes)
{
    DICOM_List *first = nullptr, **link = &first;
    int cursor = 0, length = 0, size = static_cast<int>(bytes.size());
    intptr_t handle = reinterpret_cast<intptr_t>(&cursor);
    unsigned short group, element, vr;
    while (cursor < size &&
           NEMA_Get_Data_Element(nullptr, 0, handle, bytes.data(), 8, &group, &element, &vr, &length, size) == 1) {
        DICOM_List *node = *link = new_node({group, element});
        link = &node->next;
        node->vr_explicit = vr;
        node->syntax = SYNTAX_EXPLICIT;
        node->flag = ORIGIN_DICOM;
        node->data_pos = cursor;
        node->size = length;
        if (group != GROUP_ITEM && vr != VR_SQ && length > 0)
            node->data = NEMA_Read_Buffer(nullptr, 0, handle, bytes.data(), 8, length);
    }
    return first;
}

// One data set from bytes to bytes; a text that shows all that came out on the way.
static std::string work_of(int thread)
{
    DICOM_Root root = {};
    Tree flat(read_flat(stream_of(thread)));
    DICOM_Attribute_Complement(nullptr, &root, flat.head);
    Tree tree(DICOM_Attribute_Format(nullptr, flat.head)), copy;
    DICOM_Attribute_Remove(nullptr, &tree.head, REMOVE_DELIMITERS);
    DICOM_Attribute_Sort(nullptr, &root, &tree.head);
    DICOM_Attribute_Copy(nullptr, &root, &copy.head, tree.head);
    DICOM_Attribute_Find(nullptr, &root, &copy.head, 0x0010, 0x0020);
    std::string out;
    for (const char *module : {"T", "missing"})
        if (DICOM_List *wanted = DICOM_Module_Read(nullptr, module)) {
            DICOM_Attribute_Assign_Info(nullptr, &root, wanted, copy.head);
            DICOM_Postproc_Step_1(nullptr, &root, &copy.head, wanted, FLAG_FORCED);
            DICOM_Postproc_Overwrite(nullptr, &root, &copy.head, wanted, FLAG_FORCED);
            DICOM_Postproc_Verification(nullptr, &root, copy.head, wanted, 0);
            out += outline(wanted);
        }
    out += DICOM_Module_Name(nullptr, tree.head);
    Velmora_Name *name = NEMA_Value_Name(nullptr, DICOM_Attribute_Get(nullptr, &root, tree.head, 0x0010, 0x0010, 0), 0);
    out += Name_2_Str(name);
    Velmora_Date date = {};
    Make_Velm_Date(&date, "2004.02.31", "yyyy.mm.dd");
    const char *message = Velm_Date_Postproc(&date, 0);
    out += message != nullptr ? message : "no message";
    Date_Free(&date);
    float *thickness = NEMA_Value_Float(nullptr, DICOM_Attribute_Get(nullptr, &root, tree.head, "0018", "0050", 0), 0);
    out += std::to_string(*thickness);
    DICOM_Attribute_Stool(nullptr, &root, copy.head, 5);
    for (char syntax : {'\0', '\x08', '\x09'}) {
        char *block = nullptr;
        unsigned int size = DICOM_Write_Buffer(nullptr, syntax, copy.head, &block, nullptr);
        out.append(block, size);
        DICOM_Lib_Free(&block);
    }
    return out + outline(copy.head);
}

TEST(Threads, WorkSideBySideOnTreesOfTheirOwn)
{
    enum { THREADS = 4, ROUNDS = 20 };
    Fast_Folder folder;
    folder.write("DICOM_Module_T.txt", "G\n");
    folder.write("DICOM_Attributes_G.txt", "!(0008,0060) type=1 VR=CS \"OT\"\n(0040,0275) type=2\n>Include M\n");
    folder.write("DICOM_Include_M.txt", "!(0040,0007) VR=LO \"forced\"\n");
    folder.write("DICOM_Private_ROBUST.txt", "(0009,0001) VR=LO desc=\"Own\"\n");
    NEMA_db_Locate(0x0010, 0x0010);   // the first lookup builds the dictionary, in one thread
    std::atomic<int> reports = 0;
    Error_Set_Sink(count_report, &reports);
    Flag_Error_Warning = 5;
    DICOM_Write_Image_Fct(no_image);
    DICOM_Module_Setup(nullptr, (folder.path + "/").c_str());

    std::string alone[THREADS];
    for (int i = 0; i < THREADS; i++)
        alone[i] = work_of(i);
    DICOM_Module_Free();
    DICOM_Module_Free_Private();
    std::vector<std::thread> threads;
    for (int i = 0; i < THREADS; i++)
        threads.emplace_back([&alone, i] {
            for (int round = 0; round < ROUNDS; round++)
                EXPECT_EQ(work_of(i), alone[i]) << "thread " << i;
        });
    for (std::thread &thread : threads)
        thread.join();
    EXPECT_GT(reports, 0);

    Error_Set_Sink(nullptr, nullptr);
    Flag_Error_Warning = 0;
    DICOM_Write_Image_Fct(nullptr);
    DICOM_Module_Setup(nullptr, "");
    DICOM_Lib_Cleanup();
}
