// Runs the cases as the program runs: with the heap tuned for large trees.
#include <benchmark/benchmark.h>

#include "host/velmora_host.h"

int main(int argc, char **argv)
{
    velmora_host::tune_heap();
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
