// Definition files: the first and the cached read of templates, private definitions, code tables. The definitions of the
// source tree are read.
#include <benchmark/benchmark.h>

#include <stdlib.h>

#include "tree/Velmora_DICOM.h"

static void set_directory()
{
    DICOM_Module_Setup(nullptr, VELMORA_DEFINITIONS_OF_TREE);
}

static void first_read(benchmark::State &state, const char *name)
{
    set_directory();
    for (auto _ : state) {
        DICOM_Module_Free();
        benchmark::DoNotOptimize(DICOM_Module_Read(nullptr, name));
    }
}
BENCHMARK_CAPTURE(first_read, Enhanced_CT_Image, "Enhanced_CT_Image");
BENCHMARK_CAPTURE(first_read, Enhanced_MR_Image, "Enhanced_MR_Image");
BENCHMARK_CAPTURE(first_read, CT_Image, "CT_Image");

static void cached_read(benchmark::State &state)
{
    set_directory();
    for (auto _ : state)
        benchmark::DoNotOptimize(DICOM_Module_Read(nullptr, "CT_Image"));
}
BENCHMARK(cached_read);

static void private_lookup(benchmark::State &state)
{
    set_directory();
    DICOM_List tag = {};
    tag.group = 0x0019;
    tag.element = 0x1023;
    for (auto _ : state)
        benchmark::DoNotOptimize(DICOM_Module_Read_Private(nullptr, "GEMS_ACQU_01", &tag));
    DICOM_Lib_Free(&tag.description);
}
BENCHMARK(private_lookup);

static void code_lookup(benchmark::State &state)
{
    set_directory();
    char text[] = "upper abdomen";
    for (auto _ : state) {
        Code_Seq code = {};
        code.str = text;
        DICOM_Macro_CodeSequence_Set(&code, "DICOM_Codes_Anatomic_Region.txt");
        free(code.code_value);
        free(code.coding_scheme);
        free(code.code_meaning);
    }
}
BENCHMARK(code_lookup);
