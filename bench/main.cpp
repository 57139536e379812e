// Runs the cases as the program runs: with a heap that grows in huge pages.
#include <benchmark/benchmark.h>

#include "host/velmora_host.h"

int main(int argc, char **argv)
{
    velmora_host::use_huge_pages();
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
