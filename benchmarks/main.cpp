// Measures the codecs, other libraries that do the same, and the cost of memory alone, in one run.

#include "rows.h"

int main(int argc, char **argv)
{
    addCodecRows();
    addExchangeRows();
    addTextPeerRows();
#ifdef BENCHMARK_PEERS
    addFlatBuffersRows();
    addMsgpackRows();
    addProtobufRows();
    addQtRows();
#endif
    addFloorRows();
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 1;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
}
