// Measures the codecs, what other libraries need for the same, and what memory alone costs, in one
// run.

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
