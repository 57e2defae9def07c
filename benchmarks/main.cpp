// Measures the codecs, what other libraries need for the same, and what memory alone costs, in one
// run.

#include "rows.h"

#include <cstdlib>
#include <iostream>

void require(bool condition, const std::string &what)
{
    if (condition)
        return;
    std::cerr << "benchmarks: cannot prepare " << what << std::endl;
    std::exit(1);
}

int main(int argc, char **argv)
{
    addCodecRows();
    addTextPeerRows();
#ifdef BENCHMARK_PEERS
    addFramePeerRows();
#endif
    addFloorRows();
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 1;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
}
