#include <korvinexchange/client.h>

bool korvinexchange_client();

bool korvinexchange_client()
{
    using namespace KorvinExchange;
    Client client;
    PackageBase package;
    client.send(&package)->abort();
    client.setDevice(nullptr);
    return !client.isConnected() && client.engine().counters().cancelled == 1;
}
