#include <korvinsimulator/configureddevice.h>

bool korvinsimulator_configureddevice();

bool korvinsimulator_configureddevice()
{
    std::vector<KorvinSimulator::ConfiguredDevice> devices;
    const QString fault = KorvinSimulator::readConfiguration("{}", {}, &devices);
    return fault.isEmpty() && devices.size() == 1
        && KorvinSimulator::configurationOf({&devices[0]}).contains(QStringLiteral("seed"));
}
