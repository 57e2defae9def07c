#ifndef CONFIGUREDDEVICE_P_H
#define CONFIGUREDDEVICE_P_H

#include "faultrules_p.h"
#include "range_p.h"
#include "requestoperations_p.h"

#include <korvinsimulator/configureddevice.h>

namespace KorvinSimulator {

/// What a configuration says of a device, and what changes while it runs.
struct Setup
{
    DeviceState state;
    std::map<UnitAddress, UnitRanges> units; ///< All of them.
    FaultRules faults;
    qint64 clock = 0; ///< Milliseconds at the beginning.
};

class ConfiguredDevice::Private
{
public:
    Private();

    DeviceAnswer answer(const QByteArray &request, KorvinInspect::ClassId classId,
                        KorvinInspect::Form form);
    void carryOut(PackageBase &request);
    QJsonObject control(const QJsonObject &command);
    void restart();
    QJsonObject toJson() const;
    void begin(const Setup &setup);
    void setTime(qint64 now);
    void addFaults(double share);

    QString m_name;
    std::vector<Endpoint> m_endpoints;
    DeviceLimits m_limits;
    qint64 m_bandwidth = 0; ///< Bytes in a second; 0 for any number.
    quint32 m_seed = 1;
    QJsonObject m_source; ///< Members of the configuration that never change.
    std::function<void(const PackageBase &)> m_observer;

private:
    /// Calls carryOut() for each request.
    class Device : public SimulatedDevice
    {
    public:
        explicit Device(Private *owner);
        void carryOut(PackageBase &request) override;

    private:
        Private *m_owner;
    };

    qint64 clock() const { return m_time - m_start + m_setup.clock; }
    void perform(PackageBase &request);
    RequestOutcome admit(const RequestFacts &facts, const PackageBase &request, int length);
    RequestOutcome admitTo(UnitRanges &ranges, Unit *unit, const RequestFacts &facts, int length);
    static void setOthers(UnitRanges &ranges, Unit *unit, quint32 address, int length);
    void refresh(UnitRanges &ranges, Unit *unit, Range &range, bool isRead);
    void applyFault(DeviceAnswer *answer);
    void addTransmission(Answer *answer);
    std::map<QString, UnitAddress> unitNames() const;
    QJsonObject get(const QJsonObject &command);
    QJsonObject set(const QJsonObject &command);
    QJsonObject setFaults(const QJsonObject &command);
    QJsonObject statistics() const;
    QString find(const QJsonObject &command, Unit **unit, UnitRanges **ranges, Range **range);

    Setup m_setup;   ///< As it was at first.
    Setup m_current; ///< As it is.
    Device m_device;
    SpaceCache m_used;
    qint64 m_time = 0; ///< As the transport has told it.
    bool m_isTold = false;
    qint64 m_start = 0;    ///< The time when the clock began.
    qint64 m_lineFree = 0; ///< When the replies before have been sent.
    bool m_isSilent = false;

    // Of the request that is under way.
    bool m_isFirst = true;
    KorvinInspect::ClassId m_classId = KorvinInspect::ClassId::PackageBase;
    PlannedFault m_plan;
    qint64 m_delay = 0;

    // Statistics.
    qint64 m_requests = 0;
    qint64 m_refused = 0;
    qint64 m_carriedOut = 0;
    qint64 m_replies = 0;
    qint64 m_faults = 0;

    friend class ConfigurationReader;
};

} // namespace KorvinSimulator

#endif
