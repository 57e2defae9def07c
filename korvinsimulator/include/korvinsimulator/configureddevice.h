#ifndef KORVINSIMULATOR_CONFIGUREDDEVICE_H
#define KORVINSIMULATOR_CONFIGUREDDEVICE_H

#include <korvinsimulator/korvinsimulatorglobal.h>
#include <korvinsimulator/simulateddevice.h>

#include <QtCore/QJsonArray>
#include <QtCore/QJsonObject>
#include <QtCore/QString>

#include <chrono>
#include <functional>
#include <memory>
#include <vector>

class PackageBase;

/// @file
/// Devices as a configuration file describes them: with typed ranges that change by themselves,
/// with faults, and with a clock. docs/simulator.md describes the file.

namespace KorvinSimulator {

/// What a fault does to the connection of a request.
enum class LinkFault {
    None,
    Silence, ///< From now on, no request is carried out or answered.
    Close,   ///< The connection is closed, without a reply.
    Restart  ///< All connections are closed, and the device is as it was at first.
};

/// The answer of a configured device.
struct DeviceAnswer
{
    Answer answer; ///< With the delay of slow registers and of limited bandwidth.

    LinkFault link = LinkFault::None; ///< What happens to the connection.

    int sliceSize = 0;  ///< The replies are sent in slices of so many bytes; 0 for whole ones.
    int slicePause = 0; ///< Milliseconds between slices.
};

/// Where a device listens.
struct Endpoint
{
    QString kind; ///< "tcp", "unix", "serial" or "pty".

    /// The address before the port, the path of a socket or serial device, or the path of a link
    /// to a pseudo-terminal, which may be empty.
    QString place;

    int port = 0;      ///< For tcp; 0 for any free one.
    int baud = 115200; ///< For serial.

    /// How messages are found: "prefix", "lines" or "linux".
    QString framing;
};

/// The most that the users of a device may take.
struct DeviceLimits
{
    int connections = 1000;    ///< At the same time.
    int messageSize = 1048576; ///< Bytes of a message.
    int unsentSize = 1048576;  ///< Bytes of replies that a connection holds.
};

/// A device that a configuration file describes.
///
/// Like SimulatedDevice it has no socket, thread or timer: the transport tells it the time and
/// carries out delays.
///
///     std::vector<ConfiguredDevice> devices;
///     const QString fault = readConfiguration(json, {}, &devices);
///     devices[0].setTime(clock.elapsed());
///     const DeviceAnswer answer = devices[0].answer(request, classId, form);
///
/// Any input is safe. answer() throws nothing; out of memory, it refuses the request. Qt's JSON,
/// which the operations with JSON use, ends the program there.
class KORVINSIMULATOR_EXPORT ConfiguredDevice
{
public:
    /// Makes a device without units.
    ConfiguredDevice();
    ~ConfiguredDevice();

    /// @{
    /// A device can be moved. One that was moved from can only be destroyed or assigned to.
    ConfiguredDevice(ConfiguredDevice &&other) noexcept;
    ConfiguredDevice &operator=(ConfiguredDevice &&other) noexcept;
    /// @}

    /// Returns its name, which is empty for the only device of a file without names.
    QString name() const;

    /// Returns where it listens.
    std::vector<Endpoint> endpoints() const;

    /// Returns its limits.
    DeviceLimits limits() const;

    /// Sets the clock, in milliseconds of any beginning. The clock of the device begins with the
    /// first call; it does not go back.
    void setTime(std::chrono::milliseconds now);

    /// Answers a request, as SimulatedDevice::answer() does.
    DeviceAnswer answer(const QByteArray &request, KorvinInspect::ClassId classId,
                        KorvinInspect::Form form);

    /// Carries out a command, such as `{"command": "get", "range": "counter"}`: get, set, faults or
    /// statistics. docs/simulator.md lists their members.
    ///
    /// @return an object with the result, or with "error".
    QJsonObject control(const QJsonObject &command);

    /// Lets a share of all requests go wrong, with any kind of FaultPlan::all(), before all other
    /// faults.
    void addFaults(double share);

    /// Sets what random numbers depend on.
    void setSeed(quint32 seed);

    /// Makes the device as it was at first; its clock begins at 0 again.
    void restart();

    /// Returns the whole device for readConfiguration(), with its clock and counters.
    QJsonObject toJson() const;

    /// Sets what is called with each request that has been carried out. It must not throw.
    void setObserver(const std::function<void(const PackageBase &)> &observer);

private:
    friend class ConfigurationReader;
    class Q_DECL_HIDDEN Private;

    std::unique_ptr<Private> d;
};

/// Reads a file that a configuration names. Returns what is wrong; empty on success.
using ReadFile = std::function<QString(const QString &name, QByteArray *contents)>;

/// Reads a configuration: a device, or a list of them.
///
/// @param readFile is asked for the contents of files; without it they cannot be named.
/// @param devices become the devices; unchanged on failure.
/// @return the first mistake: line, column, what is wrong there, and what was expected; empty on
///     success.
KORVINSIMULATOR_EXPORT QString readConfiguration(const QByteArray &json, const ReadFile &readFile,
                                                 std::vector<ConfiguredDevice> *devices);

/// Returns a configuration for readConfiguration(): the device, or a list of several.
KORVINSIMULATOR_EXPORT QJsonObject
configurationOf(const std::vector<const ConfiguredDevice *> &devices);

} // namespace KorvinSimulator

#endif
