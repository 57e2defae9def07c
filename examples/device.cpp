// The device side: reads requests from standard input, carries them out in memory, and answers on
// standard output. What it does goes to standard error.

#include "message.h"
#include "registermap.h"

#include <packagerequestcombination.h>
#include <packagerequestreaddata.h>
#include <packagerequestwritedata.h>

#include <QtCore/QFile>
#include <QtCore/QLoggingCategory>
#include <QtCore/QStringList>

#include <cstdio>
#include <memory>

namespace {

void say(const QString &text)
{
    std::fprintf(stderr, "    device: %s\n", qUtf8Printable(text));
}

/// Byte frames: decode into an empty package, carry out, answer with a short reply.
template <typename Package>
QByteArray answerFrame(RegisterMap &registers, const QByteArray &frame)
{
    Package request;
    int consumed = 0;
    if (!request.UnPackageRequest(frame, 0, &consumed))
        return {};
    registers.carryOut(request);
    say(QStringLiteral("serial number %1, register 0x%2%3, %4 bytes")
            .arg(request.getSerialNum())
            .arg(request.getHighAddr(), 4, 16, QLatin1Char('0'))
            .arg(request.getLowAddr(), 4, 16, QLatin1Char('0'))
            .arg(request.data().size()));
    return request.MackPackageReply(false);
}

/// Text records: the same road with other operations.
template <typename Package>
QByteArray answerRecord(RegisterMap &registers, const QByteArray &record)
{
    Package request;
    if (!request.unPackageRequest(QString::fromUtf8(record)))
        return {};
    registers.carryOut(request);
    say(QStringLiteral("serial number %1, from \"%2\", tag \"%3\"")
            .arg(request.getSerialNum())
            .arg(request.getDeviceKey(), request.getTag()));
    return request.makePackageReply().toUtf8();
}

/// Linux frames: a reply is the header of the request with a status, data, and a new checksum.
QByteArray linuxReply(const QByteArray &request, char status, const QByteArray &data)
{
    constexpr int HeaderSize = 18;
    constexpr int StatusOffset = 2;
    constexpr int LengthOffset = 16;
    QByteArray reply = request.left(HeaderSize);
    reply[StatusOffset] = status;
    int index = LengthOffset;
    PackageBase::SetBytesFromInt(&reply, index, 2, data.size(), &index);
    reply.append(data);
    int sum = 0;
    PackageBase::calcRevise(reply, 2, reply.size() - 2, &sum);
    reply.append(2, '\0');
    index = reply.size() - 2;
    PackageBase::SetBytesFromInt(&reply, index, 2, sum, &index);
    return reply;
}

QByteArray answerLinuxFrame(RegisterMap &registers, const QByteArray &frame)
{
    constexpr char Done = 0;
    constexpr char TimedOut = 4; // the client reads it as CommTimeout
    if (!PackageBase::ReviseOk(frame, 0, frame.size()))
        return {};
    // The data of a write lies where that of a reply does, so that the reader of replies will do.
    PackageRequestWriteData write;
    write.unPackageReply_Linux(frame);
    if (write.getReadWriteCode() == OrvexEnum::Write) {
        registers.carryOut(write);
        return linuxReply(frame, Done, {});
    }
    PackageRequestReadData read;
    read.unPackageReply_Linux(frame);
    registers.carryOut(read);
    say(QStringLiteral("%1 bytes there").arg(read.data().size()));
    return linuxReply(frame, read.isPackageSuccess() ? Done : TimedOut, read.data());
}

/// Combination records: decode all, check all, then carry out one after the other.
QByteArray answerCombination(RegisterMap &registers, const QByteArray &record)
{
    PackageRequestCombination combination;
    const bool decoded = combination.unCombinationPackageRequest(QString::fromUtf8(record));
    std::list<std::unique_ptr<PackageBase>> requests; // the combination owns none
    for (PackageBase *request : combination.packageList())
        requests.emplace_back(request);
    if (!decoded || !combination.makeCombinationPackageRequest())
        return {};
    QStringList replies;
    for (const auto &request : requests) {
        registers.carryOut(*request);
        say(QStringLiteral("%1: %2").arg(QLatin1String(request->metaObject()->className()),
                                         request->isPackageSuccess() ? QStringLiteral("done")
                                                                     : QStringLiteral("failed")));
        replies << request->makePackageReply();
    }
    return replies.join(QLatin1Char('|')).toUtf8();
}

QByteArray answer(RegisterMap &registers, const Message &request)
{
    if (request.kind == QLatin1String("write frame"))
        return answerFrame<PackageRequestWriteData>(registers, request.bytes);
    if (request.kind == QLatin1String("read frame"))
        return answerFrame<PackageRequestReadData>(registers, request.bytes);
    if (request.kind == QLatin1String("write record"))
        return answerRecord<PackageRequestWriteData>(registers, request.bytes);
    if (request.kind == QLatin1String("read record"))
        return answerRecord<PackageRequestReadData>(registers, request.bytes);
    if (request.kind == QLatin1String("linux frame"))
        return answerLinuxFrame(registers, request.bytes);
    if (request.kind == QLatin1String("combination record"))
        return answerCombination(registers, request.bytes);
    return {};
}

} // namespace

int main()
{
    // The request of a read announces the bytes of its reply without having them, which the library
    // reports as a short copy at debug level.
    QLoggingCategory::setFilterRules(QStringLiteral("default.debug=false"));

    QFile input;
    QFile output;
    if (!input.open(stdin, QIODevice::ReadOnly | QIODevice::Unbuffered)
        || !output.open(stdout, QIODevice::WriteOnly)) {
        return 1;
    }
    QDataStream requests(&input);
    QDataStream replies(&output);
    RegisterMap registers;
    Message request;
    while (requests >> request, requests.status() == QDataStream::Ok) {
        replies << Message{request.kind, answer(registers, request)};
        output.flush();
    }
    return 0;
}
