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

/// What came back for one request.
struct Exchange
{
    QVector<QByteArray> replies; ///< In their order; more than one is one too many.
    double seconds = 0;          ///< Until the first of them.
    QString fault;               ///< What went wrong with the connection, or an empty text.
};

/// The way to a device and back.
class DeviceLink
{
public:
    DeviceLink() = default;
    virtual ~DeviceLink();
    DeviceLink(const DeviceLink &) = delete;
    DeviceLink &operator=(const DeviceLink &) = delete;

    /// Sends a request, and collects what comes back within @p seconds.
    virtual Exchange exchange(const QByteArray &request, const KorvinInspect::MessageShape &shape,
                              double seconds) = 0;
};

/// Bytes at a register.
struct RegisterBlock
{
    quint32 address = 0;
    int length = 0;
    std::optional<QByteArray> data; ///< What is there, or what is to be written.
};

/// What a device is asked.
struct DevicePlan
{
    std::vector<KorvinInspect::Form> forms; ///< The encodings that it understands.
    QJsonObject fields; ///< What every request has: address, device key and so on.
    std::vector<RegisterBlock> reads;
    std::vector<RegisterBlock> writes; ///< Written, read back, and set to what was there before.
    double seconds = 1;                ///< How long a reply may take.
};

/// Asks a device for data blocks, in every encoding of the plan, and judges its replies: each comes
/// in time and once, is one that encoders write, belongs to its request, reports success and brings
/// the data that is expected.
///
/// @param report gets each result as soon as it is there.
/// @return all results, also of what was not run because the device has stopped answering.
QVector<TestResult> judgeDevice(DeviceLink &link, const DevicePlan &plan,
                                const std::function<void(const TestResult &)> &report);

#endif
