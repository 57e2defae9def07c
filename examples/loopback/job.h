#ifndef JOB_H
#define JOB_H

#include "link.h"

#include <korvinexchange/reply.h>
#include <packagebase.h>

#include <QtCore/QHash>
#include <QtCore/QPointer>

#include <memory>

/// The devices of the proxy, by their keys.
using Links = QHash<QString, Link *>;

/// A client's record on its way through the proxy: one request, or those of a combination, which
/// are carried out one after the other. Deleting it gives up the request that is under way.
class Job : public QObject
{
    Q_OBJECT

public:
    /// @param size is that of its record.
    Job(std::unique_ptr<PackageBase> request, int size, const Links &links, QObject *parent);

    /// @param combination must have passed KorvinInspect::check().
    Job(const QByteArray &combination, const Links &links, QObject *parent);

    ~Job() override;

    /// Most memory that it takes, with its reply.
    qint64 cost() const;

    /// Carries out what is left of it.
    void proceed();

Q_SIGNALS:
    /// Emitted once; it may be inside proceed().
    void finished(const Message &reply);

private:
    bool takeItem();
    bool sendRequest();
    void addReply();

    const Links &m_links;
    KorvinInspect::ClassId m_classId;
    qint64 m_size;                            ///< Of the record.
    QByteArray m_combination;                 ///< Its items are decoded one by one.
    int m_next = 0;                           ///< Where its next item begins.
    std::unique_ptr<PackageBase> m_request;   ///< The one that is under way.
    QPointer<KorvinExchange::Reply> m_waited; ///< Of the device, to the request.
    QByteArray m_reply;
};

#endif
