#include "job.h"

#include "replies.h"

#include <korvininspect/inputtext.h>
#include <korvininspect/packageclass.h>
#include <packagerequestcombination.h>

#include <algorithm>

using namespace KorvinInspect;

Job::Job(const Message &record, const Links &links, QObject *parent)
    : QObject(parent)
    , m_classId(record.classId)
    , m_links(links)
{
    const QString text = textFromUtf8(record.bytes);
    if (m_classId == ClassId::PackageRequestCombination) {
        PackageRequestCombination combination;
        combination.unCombinationPackageRequest(text);
        // A combination owns none of its requests.
        for (PackageBase *request : combination.packageList())
            m_requests.emplace_back(request);
    } else {
        m_requests.push_back(packageClass(className(m_classId))->create());
        m_requests.front()->unPackageRequest(text);
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
