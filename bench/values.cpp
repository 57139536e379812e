// Values out of attributes: numbers against a plain loop over the same bytes, texts, lines of text, dates and names.
#include <benchmark/benchmark.h>

#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <string>

#include "tree/DICOM_Constants.h"
#include "tree/Velmora_DICOM.h"

enum { NUMBERS = 100000 };

static DICOM_List attribute(unsigned short vr, std::string &value)
{
    DICOM_List tag = {};
    tag.syntax = SYNTAX_EXPLICIT;
    tag.group = 0x0028;
    tag.element = 0x0010;
    tag.vr_explicit = vr;
    tag.size = static_cast<int>(value.size());
    tag.data = value.data();
    return tag;
}

// Binary numbers, or the same number as text with a backslash between two.
static std::string many_numbers(unsigned short vr)
{
    if (vr == VR_DS || vr == VR_IS) {
        std::string text;
        for (int i = 0; i < NUMBERS; i++)
            text += (vr == VR_DS ? "1.5" : "15") + std::string(i + 1 < NUMBERS ? "\\" : "");
        return text;
    }
    int width = vr == VR_FD ? 8 : vr == VR_US ? 2 : 4;
    return std::string(static_cast<size_t>(NUMBERS * width), '\1');
}

static void extract_ints(benchmark::State &state, unsigned short vr)
{
    std::string value = many_numbers(vr);
    DICOM_List tag = attribute(vr, value);
    for (auto _ : state)
        benchmark::DoNotOptimize(NEMA_Value_Int(nullptr, &tag, 0));
    state.SetItemsProcessed(state.iterations() * tag.vm);
}
BENCHMARK_CAPTURE(extract_ints, US, VR_US);
BENCHMARK_CAPTURE(extract_ints, SL, VR_SL);
BENCHMARK_CAPTURE(extract_ints, IS, VR_IS);

static void extract_floats(benchmark::State &state, unsigned short vr)
{
    std::string value = many_numbers(vr);
    DICOM_List tag = attribute(vr, value);
    for (auto _ : state)
        benchmark::DoNotOptimize(NEMA_Value_Float(nullptr, &tag, 0));
    state.SetItemsProcessed(state.iterations() * tag.vm);
}
BENCHMARK_CAPTURE(extract_floats, FL, VR_FL);
BENCHMARK_CAPTURE(extract_floats, FD, VR_FD);
BENCHMARK_CAPTURE(extract_floats, DS, VR_DS);

// What any program has to do: the same conversion, one number at a time, into a block of its own.
static void plain_loop(benchmark::State &state)
{
    std::string value = many_numbers(VR_US);
    int *numbers = static_cast<int *>(malloc(NUMBERS * sizeof(int)));
    for (auto _ : state) {
        for (int i = 0; i < NUMBERS; i++) {
            unsigned short number;
            memcpy(&number, value.data() + 2 * i, 2);
            numbers[i] = number;
        }
        benchmark::DoNotOptimize(numbers);
        benchmark::ClobberMemory();
    }
    free(numbers);
    state.SetItemsProcessed(state.iterations() * NUMBERS);
}
BENCHMARK(plain_loop)->Name("extract_ints/plain_loop_over_US");

static void extract_texts(benchmark::State &state)
{
    std::string value = "ORIGINAL\\PRIMARY\\AXIAL\\CT_SOM5 SPI";
    DICOM_List tag = attribute(VR_CS, value);
    for (auto _ : state)
        benchmark::DoNotOptimize(NEMA_Value_Str(nullptr, &tag, 0));
    state.SetItemsProcessed(state.iterations() * tag.vm);
}
BENCHMARK(extract_texts);

static void value_lines(benchmark::State &state, unsigned short vr, std::string value)
{
    DICOM_List tag = attribute(vr, value);
    char *lines[600];
    for (auto _ : state)
        benchmark::DoNotOptimize(DICOM_Attribute_Get_Data(&tag, lines));
    state.SetItemsProcessed(state.iterations() * tag.vm);
}
BENCHMARK_CAPTURE(value_lines, LO, VR_LO, "Abdomen\\Pelvis");
BENCHMARK_CAPTURE(value_lines, US_512, VR_US, std::string(1024, '\1'));
BENCHMARK_CAPTURE(value_lines, PN, VR_PN, "Phantom^Water^Q");
BENCHMARK_CAPTURE(value_lines, DA, VR_DA, "20240229");
BENCHMARK_CAPTURE(value_lines, TM, VR_TM, "134530.25 ");

static void parse_name(benchmark::State &state)
{
    for (auto _ : state) {
        Velmora_Name name = {};
        Make_Velm_Name_From_Str(&name, "Dr. John Q Public", 3);
        benchmark::DoNotOptimize(Name_2_Str(&name));
        Name_Free(&name);
    }
}
BENCHMARK(parse_name);

static void parse_date(benchmark::State &state)
{
    for (auto _ : state) {
        Velmora_Date date = {};
        Make_Velm_Date(&date, "12 Jan 2004", "dd mmm yyyy");
        benchmark::DoNotOptimize(Time_2_DICOM(&date, nullptr));
        Date_Free(&date);
    }
}
BENCHMARK(parse_date);
