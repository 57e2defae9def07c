#include "job.h"

#include "replies.h"

#include <korvininspect/packageforms.h>

#include <algorithm>

using namespace KorvinInspect;

Job::Job(const Message &record, const Links &links, QObject *parent)
    : QObject(parent)
    , m_classId(record.classId)
    , m_links(links)
{
    if (m_classId == ClassId::PackageRequestCombination) {
        decodeCombination(record.bytes, &m_requests);
    } else {
        std::unique_ptr<PackageBase> request;
        if (decodeMessage(record.bytes, {m_classId, Form::Text, Direction::Request}, &request)
                .isOk()) {
            m_requests.push_back(std::move(request));
        }
    }
    for (const auto &request : m_requests) {
        // The next one is sent from the event loop: a long combination is no deep recursion.
        connect(request.get(), &PackageBase::CompleteRequestEvent, this, &Job::sendNext,
                Qt::QueuedConnection);
    }
}

Message Job::reply() const
{
    QByteArrayList records;
    for (const auto &request : m_requests)
        records << replyRecord(request.get());
    return {m_classId, Form::Text, records.join('|')};
}

void Job::sendNext()
{
    if (m_next == m_requests.size()) {
        Q_EMIT finished();
        return;
    }
    PackageBase *request = m_requests.at(m_next++).get();
    const auto link =
        std::find_if(m_links.begin(), m_links.end(), [=](const DeviceLink *candidate) {
            return candidate->deviceKey() == request->getDeviceKey();
        });
    if (link != m_links.end()) {
        (*link)->send(request);
        return;
    }
    fail(request, OrvexEnum::CommPortErr, OrvexEnum::PackInvalidPort);
    Q_EMIT request->CompleteRequestEvent(this, request);
}
