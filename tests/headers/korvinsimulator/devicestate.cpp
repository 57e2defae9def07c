#include <korvinsimulator/devicestate.h>

#include <packagebase.h>

bool korvinsimulator_devicestate();

bool korvinsimulator_devicestate()
{
    KorvinSimulator::DeviceState state;
    state.units[{0, 255, 1, 2, 65535}].blocks[0x0A000010] = {QByteArray(16, '\0')};
    KorvinSimulator::DeviceState read;
    return KorvinSimulator::stateFromJson(KorvinSimulator::stateToJson(state), &read).isEmpty()
        && read.units.size() == 1 && KorvinSimulator::registerAddressOf(PackageBase()) == 0;
}
