#ifndef PACKAGEBASE_P_H
#define PACKAGEBASE_P_H

#include "include/packagebase.h"

#include <string_view>

/// All protocol fields of a package.
struct PackageBasePrivate
{
    quint32 ackCode = 0;
    quint8 scrAddr = 0;
    quint8 desAddr = 0;
    qint32 deviceType = 0;
    quint8 portAddr = 0;
    quint16 highAddr = 0;
    quint16 lowAddr = 0;
    OrvexEnum::ReadWriteCode readWriteCode = OrvexEnum::Read;
    quint16 scanBoardAddr = 0;
    qint32 reserved2 = 0;
    QString deviceKey;
    qint32 maxPartSize = 2048;
    qint32 partCount = 0;
    qint32 curPartIndex = 0;
    quint64 serialNum = 0;
    QString tag;
    QString tagProto = QStringLiteral("3rd-proto");
    void *userToken = nullptr;
    qint32 timeout = 3;
    OrvexEnum::ClientPackageType clientPackageType = OrvexEnum::DataPackage;
    bool subcribeHardware = false;
    bool isRegisterAddrSelfIncreasing = true;
    OrvexEnum::CommResults commResult = OrvexEnum::CommOk;
    OrvexEnum::PackageResults packResult = OrvexEnum::PackOk;
    KORVIN_LINUX_CLIENT::PackageTimerOut *timeOutTimer = nullptr;
};

namespace Korvin {

/// @name Frames of the request classes
/// Write and read the common frame, then the payload through the virtual hooks. @p fields are those
/// of @p package. Encoders allocate memory for @p payloadLength bytes of payload at once, up to a
/// limit: the number comes from a field of the package and may be wrong.
/// @{

QByteArray makeRequestFrame(PackageBase &package, PackageBasePrivate &fields, int payloadLength);

bool readRequestFrame(PackageBase &package, PackageBasePrivate &fields, QByteArray data,
                      int startIndex, int *parsedLength);

/// Makes a reply frame. A full reply has the payload twice: in the request inside, and after the
/// results, where the hook adds it again. Peers expect both.
QByteArray makeReplyFrame(PackageBase &package, PackageBasePrivate &fields, bool withRequest,
                          int payloadLength);

bool readReplyFrame(PackageBase &package, QByteArray data, int startIndex, int *parsedLength,
                    bool *withRequest);

/// @}
/// @name Linux frames of the data requests
/// @{

/// Makes a request frame. With the code `Write` it carries the data; the checksum comes @p length
/// bytes after the header, whatever the size of the data. A code that is neither `Read` nor `Write`
/// gives a header of zeros.
QByteArray makeLinuxRequest(PackageBasePrivate &fields, int length, const QByteArray &data);

/// Returns the data length that a reply announces.
int linuxReplyLength(const QByteArray &frame);

/// Returns the data before the checksum of a reply, at most @p length bytes. The result refers to
/// the memory of the frame.
std::string_view linuxReplyData(const QByteArray &frame, int length);

/// @}

} // namespace Korvin

#endif
