#include <korvinexchange/transfer.h>

bool korvinexchange_transfer();

bool korvinexchange_transfer()
{
    using namespace KorvinExchange;
    Transfer transfer = Transfer::readData(nullptr);
    transfer.setWindow(2);
    return transfer.window() == 2 && transfer.kind() == Transfer::Kind::ReadData
        && transfer.package() == nullptr && transfer.data().isEmpty();
}
