#include "fuzz/support.h"

#include <stdarg.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>
#include <filesystem>

// ---- the input ------------------------------------------------------------------------

Block::Block(const std::string &bytes)
    : data(static_cast<char *>(malloc(bytes.empty() ? 1 : bytes.size()))), size(static_cast<int>(bytes.size()))
{
    memcpy(data, bytes.data(), bytes.size());
}

Block::~Block()
{
    free(data);
}

char *Block::release()
{
    char *block = data;
    data = nullptr;
    return block;
}

// ---- the library ----------------------------------------------------------------------

static volatile size_t bytes_read;   // what is read goes here, so that no reading is left out

static void read_report(void *, HWND, int, const char *text)
{
    static const bool is_shown = getenv("VELMORA_FUZZ_SHOW") != nullptr;
    if (is_shown)
        fprintf(stderr, "%s\n", text);
    bytes_read = bytes_read + strlen(text);
}

static void put_settings_back()
{
    Flag_Error_Error = 2;
    Flag_Error_Warning = Flag_Error_Report = 0;
    Flag_DICOM_Propriatery = 1;
    DICOM_Flag_Elem_0000 = DICOM_Flag_Seq_Size = 0;
    DICOM_Override[0] = '\0';
    DICOM_Modality = 0;
    DICOM_Lib_File_Name = nullptr;
    DICOM_Lib_File_Source = 0;
    File_Work_File_Count = 0;
    Velm_Date_Template = Velm_Time_Template = nullptr;
    Flag_Trace = 0;
    hwnd = nullptr;
}

Fresh_Library::Fresh_Library(bool traces)
{
    put_settings_back();
    Error_Set_Sink(read_report, nullptr);
    Error_Set_Threshold(traces ? 15 : 10);
}

Fresh_Library::~Fresh_Library()
{
    NEMA_Value_Cleanup();
    DICOM_Macro_Code_Sequence_Reset();
    DICOM_Attribute_List_Cleanup();
    put_settings_back();
    Error_Set_Sink(nullptr, nullptr);
}

void fail(const char *format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    vfprintf(stderr, format, arguments);
    va_end(arguments);
    fputc('\n', stderr);
    abort();
}

// ---- files ----------------------------------------------------------------------------

struct Scratch {
    Scratch()
    {
        std::string pattern = std::string(access("/dev/shm", W_OK) == 0 ? "/dev/shm" : "/tmp") + "/velmora_XXXXXX";
        if (mkdtemp(pattern.data()) == nullptr)
            fail("no folder for files: %s", pattern.c_str());
        path = pattern + "/";
    }
    ~Scratch()
    {
        std::error_code ignored;
        std::filesystem::remove_all(path, ignored);
    }
    std::string path;
};

const std::string &scratch_folder()
{
    static const Scratch scratch;
    return scratch.path;
}

void write_scratch(const std::string &name, const std::string &text)
{
    std::string path = scratch_folder() + name;
    FILE *file = fopen(path.c_str(), "wb");
    if (file == nullptr || fwrite(text.data(), 1, text.size(), file) != text.size() || fclose(file) != 0)
        fail("%s cannot be written", path.c_str());
}

void drop_scratch(const std::string &name)
{
    unlink((scratch_folder() + name).c_str());
}

// ---- trees ----------------------------------------------------------------------------

void free_tree(DICOM_List *head)
{
    for (DICOM_List *next; head != nullptr; head = next) {
        next = head->next;
        DICOM_Attribute_Free(nullptr, head);
    }
}

static void check_chain(const DICOM_List *head, int depth)
{
    const DICOM_List *last = head;
    for (const DICOM_List *node = head; node != nullptr; node = node->next) {
        last = node;
        HOLDS(node->depth == depth);
        HOLDS(node->nb_item >= 0 && (node->item != nullptr || node->nb_item == 0));
        if (node->data != nullptr && node->size > 0)
            bytes_read = bytes_read + static_cast<unsigned char>(node->data[0] ^ node->data[node->size - 1]);
        for (int i = 0; i < node->nb_item && node->item[i] != nullptr; i++)
            check_chain(node->item[i], depth + 1);
    }
    HOLDS(head == nullptr || head->last == nullptr || head->last == last);
}

void check_tree(const DICOM_List *head)
{
    check_chain(head, 0);
}
