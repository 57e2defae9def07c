#include <korvinexchange/lineframing.h>

bool korvinexchange_lineframing();

bool korvinexchange_lineframing()
{
    using namespace KorvinExchange;
    LineFraming framing;
    const std::vector<QByteArray> records = framing.receive("a\r\nb", Time(0));
    return records.size() == 1 && records[0] == "a" && framing.encode("a") == QByteArray("a\n");
}
