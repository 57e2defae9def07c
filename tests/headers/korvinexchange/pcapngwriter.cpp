#include <korvinexchange/pcapngwriter.h>

bool korvinexchange_pcapngwriter();

bool korvinexchange_pcapngwriter()
{
    using namespace KorvinExchange;
    const PcapngWriter writer;
    return writer.header().size() % 4 == 0 && writer.packet(TraceEntry()).size() % 4 == 0;
}
