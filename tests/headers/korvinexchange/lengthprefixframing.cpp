#include <korvinexchange/lengthprefixframing.h>

bool korvinexchange_lengthprefixframing();

bool korvinexchange_lengthprefixframing()
{
    using namespace KorvinExchange;
    LengthPrefixFraming framing;
    const QByteArray stream("\1\0\0\0a", 5);
    const std::vector<QByteArray> messages = framing.receive(stream, Time(0));
    return messages.size() == 1 && messages[0] == "a" && framing.encode("a") == stream;
}
