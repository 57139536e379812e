// Makes a small CT-like data set and writes it as a DICOM Part 10 file: a phantom with sequences, a private group and
// native pixels. It shows how a host builds a tree with DICOM_Attribute_Add and turns it into bytes with the writers.
//
//     make_sample sample.dcm
#include "tree/DICOM_Constants.h"
#include "tree/Velmora_DICOM.h"

#include <math.h>
#include <stdlib.h>
#include <string.h>

static const int ROWS = 64, COLUMNS = 64;

static const char CT_IMAGE_STORAGE[] = "1.2.840.10008.5.1.4.1.1.2";
static const char EXPLICIT_LITTLE_ENDIAN[] = "1.2.840.10008.1.2.1";
static const char INSTANCE_UID[] = "1.2.999.0.1.7204516.2.813.9.1.1.1";

// The data set being built: the head of its chain and the place in it.
static DICOM_List *tree = nullptr;
static DICOM_Root place;

static void add_text(unsigned short group, unsigned short element, unsigned short vr, const char *text)
{
    DICOM_Attribute_Add(nullptr, &place, &tree, group, element, vr, 1, text);
}

static void add_short(unsigned short group, unsigned short element, int value)
{
    DICOM_Attribute_Add(nullptr, &place, &tree, group, element, VR_US, 1, value);
}

static void add_numbers(unsigned short group, unsigned short element, const float *values, int count)
{
    DICOM_Attribute_Add(nullptr, &place, &tree, group, element, VR_DS, -count, values);
}

// Opens a new sequence and its first item; what is added next goes into it.
static void enter_sequence(unsigned short group, unsigned short element)
{
    DICOM_Attribute_Add(nullptr, &place, &tree, group, element, VR_SQ, 0);
    DICOM_Attribute_Sequence_Start(nullptr, &place, group, element, ORIGIN_VELM, 0);
    DICOM_Attribute_Item_Start(nullptr, &place, 0);
}

static void next_item()
{
    DICOM_Attribute_Item_Stop(nullptr, &place, 0);
    DICOM_Attribute_Item_Start(nullptr, &place, 0);
}

static void leave_sequence()
{
    DICOM_Attribute_Item_Stop(nullptr, &place, 0);
    DICOM_Attribute_Sequence_Stop(nullptr, &place, 0);
}

static void add_file_meta()
{
    DICOM_Attribute_Add(nullptr, &place, &tree, 0x0002, 0x0001, VR_OB, 2, 0, 1);
    add_text(0x0002, 0x0002, VR_UI, CT_IMAGE_STORAGE);
    add_text(0x0002, 0x0003, VR_UI, INSTANCE_UID);
    add_text(0x0002, 0x0010, VR_UI, EXPLICIT_LITTLE_ENDIAN);
    add_text(0x0002, 0x0012, VR_UI, Velmora_UID);
    add_text(0x0002, 0x0013, VR_SH, "VELMORA_SAMPLE");
}

static void add_patient_and_study()
{
    Velmora_Name patient = {};
    Make_Velm_Name(&patient, "Phantom", "Water", nullptr, nullptr, nullptr);
    DICOM_Attribute_Add(nullptr, &place, &tree, 0x0010, 0x0010, VR_PN, 1, patient);
    Name_Free(&patient);
    add_text(0x0010, 0x0020, VR_LO, "SAMPLE-1");

    Velmora_Date date = {};
    Velmora_Time time = {};
    Make_Velm_Date(&date, 2024, 2, 29);
    Make_Velm_Time(&time, 13, 45, 30);
    DICOM_Attribute_Add(nullptr, &place, &tree, 0x0010, 0x0030, VR_DA, 0);
    add_text(0x0010, 0x0040, VR_CS, "O");
    DICOM_Attribute_Add(nullptr, &place, &tree, 0x0008, 0x0020, VR_DA, 1, date);
    DICOM_Attribute_Add(nullptr, &place, &tree, 0x0008, 0x0030, VR_TM, 1, time);
    DICOM_Attribute_Add(nullptr, &place, &tree, 0x0008, 0x0050, VR_SH, 0);
    DICOM_Attribute_Add(nullptr, &place, &tree, 0x0008, 0x0090, VR_PN, 0);
    add_text(0x0008, 0x1030, VR_LO, "Quality assurance");
    add_text(0x0020, 0x000D, VR_UI, "1.2.999.0.1.7204516.2.813.9.1");
    add_text(0x0020, 0x0010, VR_SH, "QA-7");
}

static void add_series_and_equipment()
{
    add_text(0x0008, 0x0060, VR_CS, "CT");
    add_text(0x0008, 0x0070, VR_LO, "Velmora");
    add_text(0x0018, 0x5100, VR_CS, "HFS");
    add_text(0x0020, 0x000E, VR_UI, "1.2.999.0.1.7204516.2.813.9.1.1");
    DICOM_Attribute_Add(nullptr, &place, &tree, 0x0020, 0x0011, VR_IS, 1, 1);
    add_text(0x0020, 0x0052, VR_UI, "1.2.999.0.1.7204516.2.813.9.2");
    DICOM_Attribute_Add(nullptr, &place, &tree, 0x0020, 0x1040, VR_LO, 0);
}

static void add_image()
{
    add_text(0x0008, 0x0008, VR_CS, "ORIGINAL\\PRIMARY\\AXIAL");
    add_text(0x0008, 0x0016, VR_UI, CT_IMAGE_STORAGE);
    add_text(0x0008, 0x0018, VR_UI, INSTANCE_UID);
    DICOM_Attribute_Add(nullptr, &place, &tree, 0x0020, 0x0013, VR_IS, 1, 1);
    DICOM_Attribute_Add(nullptr, &place, &tree, 0x0020, 0x0012, VR_IS, 0);

    const float position[3] = {-80.0f, -80.0f, 12.5f}, orientation[6] = {1, 0, 0, 0, 1, 0};
    const float spacing[2] = {2.5f, 2.5f}, thickness[1] = {5.0f}, voltage[1] = {120.0f};
    const float intercept[1] = {-1024.0f}, slope[1] = {1.0f}, centre[1] = {0.0f}, width[1] = {400.0f};
    add_numbers(0x0018, 0x0050, thickness, 1);
    add_numbers(0x0018, 0x0060, voltage, 1);
    add_numbers(0x0020, 0x0032, position, 3);
    add_numbers(0x0020, 0x0037, orientation, 6);
    add_numbers(0x0028, 0x0030, spacing, 2);
    add_numbers(0x0028, 0x1050, centre, 1);
    add_numbers(0x0028, 0x1051, width, 1);
    add_numbers(0x0028, 0x1052, intercept, 1);
    add_numbers(0x0028, 0x1053, slope, 1);

    add_short(0x0028, 0x0002, 1);
    add_text(0x0028, 0x0004, VR_CS, "MONOCHROME2");
    add_short(0x0028, 0x0010, ROWS);
    add_short(0x0028, 0x0011, COLUMNS);
    add_short(0x0028, 0x0100, 16);
    add_short(0x0028, 0x0101, 12);
    add_short(0x0028, 0x0102, 11);
    add_short(0x0028, 0x0103, 0);
}

static void add_sequences()
{
    // Two references to other images, and the anatomic region with a modifier: a sequence inside a sequence.
    enter_sequence(0x0008, 0x1140);
    add_text(0x0008, 0x1150, VR_UI, CT_IMAGE_STORAGE);
    add_text(0x0008, 0x1155, VR_UI, "1.2.999.0.1.7204516.2.813.9.1.1.2");
    next_item();
    add_text(0x0008, 0x1150, VR_UI, CT_IMAGE_STORAGE);
    add_text(0x0008, 0x1155, VR_UI, "1.2.999.0.1.7204516.2.813.9.1.1.3");
    leave_sequence();

    enter_sequence(0x0008, 0x2218);
    add_text(0x0008, 0x0100, VR_SH, "T-D4000");
    add_text(0x0008, 0x0102, VR_SH, "SRT");
    add_text(0x0008, 0x0104, VR_LO, "Abdomen");
    enter_sequence(0x0008, 0x2220);
    add_text(0x0008, 0x0100, VR_SH, "G-A100");
    add_text(0x0008, 0x0102, VR_SH, "SRT");
    add_text(0x0008, 0x0104, VR_LO, "Right");
    leave_sequence();
    leave_sequence();
}

static void add_private_group()
{
    add_text(0x0029, 0x0010, VR_LO, "VELMORA SAMPLE");
    add_text(0x0029, 0x1001, VR_LO, "Water phantom, 20 cm");
    DICOM_Attribute_Add(nullptr, &place, &tree, 0x0029, 0x1002, VR_FD, 1, 0.9982);
}

// A disc of water in air with a bright insert, in stored values: 1024 is water.
static unsigned short pixel_at(int row, int column)
{
    double x = column - COLUMNS / 2.0 + 0.5, y = row - ROWS / 2.0 + 0.5;
    if (hypot(x - 8, y - 6) < 5)
        return 1300;
    return hypot(x, y) < 26 ? 1024 : 24;
}

static void add_pixels()
{
    static unsigned short pixels[ROWS * COLUMNS];
    for (int row = 0; row < ROWS; row++)
        for (int column = 0; column < COLUMNS; column++)
            pixels[row * COLUMNS + column] = pixel_at(row, column);
    DICOM_Attribute_Add(nullptr, &place, &tree, 0x7FE0, 0x0010, VR_OW, -ROWS * COLUMNS, pixels);
}

// The writers leave the pixel data to this callback: it puts the whole element behind what is there.
static int write_pixels(HWND window, char syntax, unsigned int offset, char **buffer, void *)
{
    DICOM_List *pixels = DICOM_Attribute_Get(window, &place, tree, 0x7FE0, 0x0010, 0);
    if (pixels == nullptr)
        return 0;
    DICOM_List *rest = pixels->next;   // the stream of this one element alone is wanted
    pixels->next = nullptr;
    char *bytes = nullptr;
    int size = DICOM_List2Stream(window, syntax, pixels, &bytes);
    pixels->next = rest;
    if (size > 0 && DICOM_Lib_Realloc(buffer, offset + static_cast<unsigned int>(size)))
        memcpy(*buffer + offset, bytes, static_cast<size_t>(size));
    else
        size = 0;
    DICOM_Lib_Free(&bytes);
    return size;
}

static bool write_file(const char *path)
{
    char *head = nullptr, *body = nullptr;
    Flag_DICOM_Propriatery = 1;
    DICOM_Write_Image_Fct(write_pixels);
    unsigned int head_size = DICOM_Write_Part10(nullptr, DICOM_Tranfer_Syntax, tree, &head);
    unsigned int body_size = DICOM_Write_Buffer(nullptr, DICOM_Tranfer_Syntax, tree, &body, nullptr);

    FILE *file = head_size > 0 && body_size > 0 ? fopen(path, "wb") : nullptr;
    bool written = file != nullptr && fwrite(head, 1, head_size, file) == head_size &&
                   fwrite(body, 1, body_size, file) == body_size;
    if (file != nullptr && fclose(file) != 0)
        written = false;
    DICOM_Lib_Free(&head);
    DICOM_Lib_Free(&body);
    return written;
}

static void release_tree()
{
    while (tree != nullptr) {
        DICOM_List *next = tree->next;
        DICOM_Attribute_Free(nullptr, tree);
        tree = next;
    }
}

int main(int argc, char **argv)
{
    if (argc != 2) {
        fprintf(stderr, "Usage: make_sample FILE\nMakes a small CT data set and writes it to FILE.\n");
        return 2;
    }
    add_file_meta();
    add_patient_and_study();
    add_series_and_equipment();
    add_image();
    add_sequences();
    add_private_group();
    add_pixels();
    DICOM_Attribute_Sort(nullptr, &place, &tree);

    bool written = write_file(argv[1]);
    if (!written)
        fprintf(stderr, "make_sample: could not write %s\n", argv[1]);
    release_tree();
    DICOM_Lib_Cleanup();
    return written ? 0 : 3;
}
