#include "job.h"

#include <korvininspect/packageforms.h>
#include <packagerequestreaddata.h>

using namespace KorvinExchange;
using namespace KorvinInspect;

namespace {

constexpr int LongestTimeout = 60000;
constexpr int PackageSize = 2048; // about what a package takes, and what keeps account of it
constexpr int Copies = 4;         // of a request: package, message, reply
constexpr int LongestNumber = 4;  // of a data string: "255/"

void fail(PackageBase *request, OrvexEnum::CommResults commResult,
          OrvexEnum::PackageResults packResult)
{
    request->setAckCode(0);
    request->setCommResult(commResult);
    request->setPackResult(packResult);
}

QByteArray replyRecord(PackageBase *request)
{
    if (auto *read = qobject_cast<PackageRequestReadData *>(request)) {
        // A record without data is refused by its reader.
        if (!read->isPackageSuccess() || read->data().isEmpty())
            read->setData(QByteArray(1, '\0'));
        read->setReplyDataLength(read->data().size());
    }
    return request->makePackageReply().toUtf8();
}

} // namespace

Job::Job(std::unique_ptr<PackageBase> request, int size, const Links &links, QObject *parent)
    : QObject(parent)
    , m_links(links)
    , m_classId(classOf(*request).id)
    , m_size(size)
    , m_request(std::move(request))
{
}

Job::Job(const QByteArray &combination, const Links &links, QObject *parent)
    : QObject(parent)
    , m_links(links)
    , m_classId(ClassId::PackageRequestCombination)
    , m_size(combination.size())
    , m_combination(combination)
{
    takeItem();
}

Job::~Job()
{
    delete m_waited;
}

qint64 Job::cost() const
{
    // What the items of a combination will bring is not known yet.
    constexpr qint64 LongestReply = MaxMessageSize;
    if (m_classId == ClassId::PackageRequestCombination)
        return PackageSize + m_size + LongestReply;
    const auto bytes = qint64(m_request->getDataLength());
    return PackageSize + Copies * m_size + qMin(LongestNumber * bytes, LongestReply);
}

void Job::proceed()
{
    while (m_request) {
        if (sendRequest())
            return;
        addReply();
        takeItem();
    }
    Q_EMIT finished({m_classId, Form::Text, m_reply});
}

/// Makes the next item of a combination the request.
///
/// @return false, with no request, after the last one.
bool Job::takeItem()
{
    m_request.reset();
    if (m_next >= m_combination.size())
        return false;
    const auto bar = static_cast<int>(m_combination.indexOf('|', m_next));
    const int end = bar < 0 ? static_cast<int>(m_combination.size()) : bar;
    std::vector<std::unique_ptr<PackageBase>> packages;
    decodeCombination(m_combination.mid(m_next, end - m_next), &packages);
    m_next = end + 1;
    if (packages.empty())
        return false;
    m_request = std::move(packages.front());
    return true;
}

/// Sends the request to its device.
///
/// @return false if the request has its outcome at once.
bool Job::sendRequest()
{
    Link *link = m_links.value(m_request->getDeviceKey());
    if (!link) {
        fail(m_request.get(), OrvexEnum::CommPortErr, OrvexEnum::PackInvalidPort);
        return false;
    }
    if (!link->isConnected()) {
        fail(m_request.get(), OrvexEnum::CommForcedCancel, OrvexEnum::PackDisConnect);
        return false;
    }
    // No request is sent twice: a device may have carried out what it did not answer. It is for the
    // client to ask again.
    RequestOptions options;
    options.repeat = Repeat::Never;
    options.timeout = std::chrono::milliseconds(qBound(1, m_request->getTimeout(), LongestTimeout));
    options.deadline = options.timeout;
    m_waited = link->send(m_request.get(), options);
    if (!m_waited)
        return false;
    connect(m_waited, &Reply::finished, this, [this] {
        m_waited->deleteLater();
        addReply();
        takeItem();
        proceed();
    });
    return true;
}

/// Adds the reply to the request. What a read has brought is left out where the reply would become
/// too long; then the read has failed.
void Job::addReply()
{
    QByteArray record = replyRecord(m_request.get());
    // The replies to the other items are at most about as long as these.
    const auto left = qMax<qint64>(0, m_combination.size() - m_next);
    const bool isTooLong = m_reply.size() + record.size() + 2 * left > MaxContentSize;
    if (isTooLong && qobject_cast<PackageRequestReadData *>(m_request.get())) {
        fail(m_request.get(), OrvexEnum::CommLengthErr, OrvexEnum::PackParseFailure);
        record = replyRecord(m_request.get());
    }
    if (!m_reply.isEmpty())
        m_reply += '|';
    m_reply += record;
}
