#ifndef DEVICEJUDGE_H
#define DEVICEJUDGE_H

#include "testreport.h"

#include <korvininspect/messageshape.h>

#include <QtCore/QByteArray>
#include <QtCore/QJsonObject>
#include <QtCore/QVector>

#include <functional>
#include <optional>
#include <vector>

/// The replies to one request.
struct Exchange
{
    QVector<QByteArray> replies; ///< In their order; there should be one.
    double seconds = 0;          ///< Time until the first reply.
    QString fault;               ///< What went wrong with the connection, or an empty text.
};

/// The connection to a device.
class DeviceLink
{
public:
    DeviceLink() = default;
    virtual ~DeviceLink();
    DeviceLink(const DeviceLink &) = delete;
    DeviceLink &operator=(const DeviceLink &) = delete;

    /// Sends a request, and collects the replies that come within @p seconds.
    virtual Exchange exchange(const QByteArray &request, const KorvinInspect::MessageShape &shape,
                              double seconds) = 0;
};

/// Bytes at a register.
struct RegisterBlock
{
    quint32 address = 0;
    int length = 0;
    std::optional<QByteArray> data; ///< The expected data, or the data to write.
};

/// The requests for a device.
struct DevicePlan
{
    std::vector<KorvinInspect::Form> forms; ///< The encodings that it understands.
    QJsonObject fields; ///< The fields of every request: address, device key and so on.
    std::vector<RegisterBlock> reads;
    std::vector<RegisterBlock> writes; ///< Written, read back, and set to what was there before.
    double seconds = 1;                ///< How long a reply may take.
};

/// Asks a device for data blocks, in every encoding of the plan, and judges its replies: each comes
/// in time and once, is one that encoders write, belongs to its request, reports success and brings
/// the data that is expected.
///
/// @param report gets each result as soon as it is there.
/// @return all results, including those of checks not run because the device stopped answering.
QVector<TestResult> judgeDevice(DeviceLink &link, const DevicePlan &plan,
                                const std::function<void(const TestResult &)> &report);

#endif
