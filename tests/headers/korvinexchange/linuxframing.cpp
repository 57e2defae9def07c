#include <korvinexchange/linuxframing.h>

bool korvinexchange_linuxframing();

bool korvinexchange_linuxframing()
{
    using namespace KorvinExchange;
    LinuxFraming framing;
    const QByteArray reply =
        QByteArray::fromHex("55AA 00 05 00 00 00 00 0000 00 00 00000000 0000 5A55");
    const std::vector<QByteArray> frames = framing.receive("noise" + reply, Time(0));
    return frames.size() == 1 && frames[0] == reply;
}
