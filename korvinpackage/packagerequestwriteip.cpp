#include "include/packagerequestwriteip.h"

PackageRequestWriteIP::PackageRequestWriteIP() = default;

PackageRequestWriteIP::PackageRequestWriteIP(QString deviceKey, uchar scrAddr, uchar desAddr,
                                             uchar deviceType, uchar portAddr, ushort scanBoardAddr,
                                             ushort highAddr, ushort lowAddr, uchar reserved2,
                                             int timeout, QString tag,
                                             OrvexEnum::CommResults commResult, bool bBroadcast,
                                             QByteArray data, int dataLength)
    : PackageRequestWriteData(std::move(deviceKey), scrAddr, desAddr, deviceType, portAddr,
                              scanBoardAddr, highAddr, lowAddr, reserved2, timeout, std::move(tag),
                              commResult, bBroadcast, std::move(data), dataLength)
{
}

PackageRequestWriteIP::PackageRequestWriteIP(QString deviceKey, uchar scrAddr, uchar desAddr,
                                             uchar deviceType, uchar portAddr, ushort scanBoardAddr,
                                             ushort highAddr, ushort lowAddr, uchar reserved2,
                                             int timeout, QString tag, bool bBroadcast,
                                             QByteArray data, int dataLength)
    : PackageRequestWriteData(std::move(deviceKey), scrAddr, desAddr, deviceType, portAddr,
                              scanBoardAddr, highAddr, lowAddr, reserved2, timeout, std::move(tag),
                              bBroadcast, std::move(data), dataLength)
{
}

PackageRequestWriteIP::PackageRequestWriteIP(const PackageRequestWriteIP &other) = default;

PackageRequestWriteIP &
PackageRequestWriteIP::operator=(const PackageRequestWriteIP &other) = default;

PackageRequestWriteIP::~PackageRequestWriteIP() = default;

QString PackageRequestWriteIP::getIPAddress() const
{
    return m_ipAddress;
}

void PackageRequestWriteIP::setIPAddress(QString ipAddress)
{
    m_ipAddress = std::move(ipAddress);
}
