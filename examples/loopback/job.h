#ifndef JOB_H
#define JOB_H

#include "devicelink.h"
#include "message.h"

#include <memory>
#include <vector>

/// A client's record on its way through the proxy: one request, or those of a combination, which
/// are carried out one after the other.
class Job : public QObject
{
    Q_OBJECT

public:
    using Links = std::vector<DeviceLink *>;

    /// @param record must have passed KorvinInspect::check().
    Job(const Message &record, const Links &links, QObject *parent);

    void start() { sendNext(); }

    /// The reply for the client, once finished.
    Message reply() const;

Q_SIGNALS:
    /// Emitted once, never inside start().
    void finished();

private:
    void sendNext();

    KorvinInspect::ClassId m_classId;
    const Links &m_links;
    std::vector<std::unique_ptr<PackageBase>> m_requests;
    std::size_t m_next = 0;
};

#endif
