#ifndef PACKAGEBASE_P_H
#define PACKAGEBASE_P_H

#include "include/packagebase.h"

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

#endif
