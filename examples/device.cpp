// The device side: reads requests from standard input, carries them out in memory, and answers on
// standard output. What it does goes to standard error.

#include "message.h"
#include "registermap.h"

#include <korvininspect/packageforms.h>
#include <packagerequestcombination.h>
#include <packagerequestreaddata.h>
#include <packagerequestwritedata.h>

#include <QtCore/QFile>
#include <QtCore/QLoggingCategory>
#include <QtCore/QStringList>

#include <cstdio>
#include <memory>

using namespace KorvinInspect;

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

/// Linux frames: korvininspect reads the request and makes the reply.
template <typename Package>
QByteArray answerLinuxFrame(RegisterMap &registers, const QByteArray &frame)
{
    Package request;
    decodePackage(request, {Form::Linux, Direction::Request}, frame);
    registers.carryOut(request);
    say(QStringLiteral("%1 bytes there").arg(request.data().size()));
    // The status stands for all three results: this one is read as CommTimeout.
    if (!request.isPackageSuccess()) {
        request.setAckCode(0);
        request.setCommResult(OrvexEnum::CommTimeout);
    }
    QByteArray reply;
    encodePackage(request, {Form::Linux, Direction::Reply}, &reply);
    return reply;
}

/// The header says whether it is a read or a write.
QByteArray answerLinuxFrame(RegisterMap &registers, const QByteArray &frame)
{
    PackageBase header;
    if (!header.unBasePackageReply_Linux(frame))
        return {};
    return header.getReadWriteCode() == OrvexEnum::Write
        ? answerLinuxFrame<PackageRequestWriteData>(registers, frame)
        : answerLinuxFrame<PackageRequestReadData>(registers, frame);
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
