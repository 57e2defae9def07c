#include "packagefields_p.h"

#include "classrow_p.h"
#include "fieldlist_p.h"
#include <korvininspect/messageshape.h>

#include <packagerequestreaddata.h>
#include <packagerequestreadfile.h>
#include <packagerequestreadmemdata.h>
#include <packagerequestwritefile.h>
#include <packagerequestwriteip.h>
#include <packagerequestwritememdata.h>
#include <specialpackagerequest.h>

#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>

namespace KorvinInspect {

namespace {

constexpr const char *ClassDescriptions[] = {
    "a package for one register: what every request and reply has",
    "asks to read a register; the reply brings no data",
    "asks to read a block of bytes; the reply brings them",
    "asks to read a file on the device side",
    "asks to read device memory, starting at an offset",
    "asks to write a register; carries no data",
    "asks to write a block of bytes",
    "asks to set an IP address, by a block of bytes",
    "asks to write a file on the device side, starting at an offset",
    "asks to write device memory, starting at an offset",
    "asks the proxy itself: an identifier and a text",
    "carries several requests in one record",
};
static_assert(std::size(ClassDescriptions) == std::size(Korvin::Classes),
              "every class must have a description");

constexpr struct
{
    const char *name;
    const char *description;
} Descriptions[] = {
    {"marker", "kind of frame: 0 request or short reply, 1 full reply"},
    {"start", "start of a Linux frame, 55 AA"},
    {"status", "outcome: 0 success; sets all three results"},
    {"deviceKey", "key of the device or connection"},
    {"deviceKeySize", "size of the device key"},
    {"tag", "the client's own label"},
    {"tagSize", "size of the tag"},
    {"tagProto", "protocol tag, for the caller; not encoded"},
    {"serverConnectionKey", "key of the server connection; not encoded"},
    {"timeout", "time-out, in the unit of the peers"},
    {"serialNum", "ties a reply to its request"},
    {"scrAddr", "address of the screen"},
    {"desAddr", "address of the destination"},
    {"deviceType", "type of the device"},
    {"portAddr", "port of the device"},
    {"scanBoardAddr", "address of the scan board"},
    {"readWriteCode", "direction of the access"},
    {"reserved2", "reserved"},
    {"isRegisterAddrSelfIncreasing", "whether the register address advances; not encoded"},
    {"maxPartSize", "most bytes of one part of a transfer; not encoded"},
    {"partCount", "number of parts of a transfer; not encoded"},
    {"curPartIndex", "index of the first part that is not done; not encoded"},
    {"lowAddr", "register address, low word"},
    {"highAddr", "register address, high word"},
    {"ackCode", "acknowledge code of the device: 0 success"},
    {"commResult", "outcome of the transport"},
    {"packResult", "outcome of the request"},
    {"replyDataLength", "how much a read asks for or brings"},
    {"packageDataLength", "how much is written"},
    {"dataLength", "how much is read or written"},
    {"data", "the data itself"},
    {"clientPackageType", "kind of payload"},
    {"baseClientPackageType", "kind of payload that the base class keeps; not encoded"},
    {"subcribeHardware", "whether the caller subscribes to notifications; not encoded"},
    {"broadcast", "whether the write goes to all devices"},
    {"fileNameWithPath", "name of the file"},
    {"fileNameWithPathSize", "size of the file name"},
    {"fileNameSize", "size of the file name"},
    {"broadcastRspToAllApp", "whether all clients get the reply; not encoded"},
    {"ipAddress", "the address as text, for the caller; not encoded"},
    {"offset", "where in the file or memory it begins"},
    {"id", "id of the special request"},
    {"strData", "text of the special request"},
    {"specialFlagEndTimeOut", "for the caller; not encoded"},
    {"enabledSpecialPackForAllPort", "for the caller; not encoded"},
    {"checksum", "0x5555 plus all bytes from offset 2 on, modulo 0x10000"},
    {"type", "what the item of the combination is"},
};

Fields commonFields(const char *kindName = "clientPackageType")
{
    using P = PackageBase;
    FieldList<P> fields;
    fields.number<quint64>("serialNum", &P::getSerialNum, &P::setSerialNum);
    fields.text("deviceKey", &P::getDeviceKey, &P::setDeviceKey);
    fields.text("tag", &P::getTag, &P::setTag);
    fields.text("tagProto", &P::getTagProto, &P::setTagProto);
    fields.text("serverConnectionKey", &P::getSeverConnectionKey, &P::setServerConnectionKey);
    fields.byte("scrAddr", &P::getScrAddr, &P::setScrAddr);
    fields.byte("desAddr", &P::getDesAddr, &P::setDesAddr);
    fields.number<qint32>("deviceType", &P::getDeviceType, &P::setDeviceType);
    fields.byte("portAddr", &P::getPortAddr, &P::setPortAddr);
    fields.number<quint16>("scanBoardAddr", &P::getScanBoardAddr, &P::setScanBoardAddr);
    fields.number<quint16>("highAddr", &P::getHighAddr, &P::setHighAddr);
    fields.number<quint16>("lowAddr", &P::getLowAddr, &P::setLowAddr);
    fields.code<OrvexEnum::ReadWriteCode>("readWriteCode", &P::getReadWriteCode,
                                          &P::setReadWriteCode);
    fields.number<qint32>("reserved2", &P::getReserved2, &P::setReserved2);
    fields.flag("isRegisterAddrSelfIncreasing", &P::getIsRegisterAddrSelfIncreasing,
                &P::setIsRegisterAddrSelfIncreasing);
    fields.number<qint32>("timeout", &P::getTimeout, &P::setTimeout);
    fields.number<qint32>("maxPartSize", &P::getMaxPartSize, &P::setMaxPartSize);
    fields.number<qint32>("partCount", &P::getPartCount, &P::setPartCount);
    fields.number<qint32>("curPartIndex", &P::getCurPartIndex, &P::setCurPartIndex);
    fields.code<OrvexEnum::ClientPackageType>(kindName, &P::getClientPackageType,
                                              &P::setClientPackageType);
    fields.setBy("setClientPackageType");
    fields.flag("subcribeHardware", &P::getSubcribeHardware, &P::setSubcribeHardware);
    fields.number<quint32>("ackCode", &P::getAckCode, &P::setAckCode);
    fields.code<OrvexEnum::CommResults>("commResult", &P::getCommResult, &P::setCommResult);
    fields.code<OrvexEnum::PackageResults>("packResult", &P::getPackResult, &P::setPackResult);
    return fields.take();
}

Fields readFields()
{
    using P = PackageRequestRead;
    FieldList<P> fields(commonFields());
    fields.length("replyDataLength", &P::getReplyDataLength, &P::setReplyDataLength);
    return fields.take();
}

Fields readDataFields()
{
    FieldList<PackageRequestReadData> fields(readFields());
    fields.data();
    return fields.take();
}

Fields readFileFields()
{
    using P = PackageRequestReadFile;
    FieldList<P> fields(readFields());
    fields.text("fileNameWithPath", &P::fileNameWithPath, &P::setFileNameWithPath);
    fields.flag("broadcastRspToAllApp", &P::isBroadcastRspToAllApp, &P::set_isBroadcastRspToAllApp);
    fields.setBy("set_isBroadcastRspToAllApp");
    return fields.take();
}

Fields readMemDataFields()
{
    using P = PackageRequestReadMemData;
    FieldList<P> fields(readFields());
    fields.number<long>("offset", &P::offset, &P::setOffset);
    return fields.take();
}

/// Makes a package with empty address arguments, which every request has.
template <typename Package, typename... Arguments>
Package makeRequest(Arguments... arguments)
{
    constexpr int DefaultTimeout = 3;
    return Package(QString(), 0, 0, 0, 0, 0, 0, 0, 0, DefaultTimeout, QString(), OrvexEnum::CommOk,
                   arguments...);
}

/// Sets the broadcast flag and the kind of a write, which have no setters: assigns it a copy of
/// itself that was constructed with them.
void assignWrite(PackageRequestWrite &package, bool broadcast, OrvexEnum::ClientPackageType kind)
{
    auto write = makeRequest<PackageRequestWrite>(broadcast, kind);
    write.PackageBase::operator=(package);
    write.setPackageDataLength(package.PackageRequestWrite::getPackageDataLength());
    package.PackageRequestWrite::operator=(write);
}

/// Returns the fields of every write, except the length of its data.
Fields writeFieldsWithoutLength()
{
    using P = PackageRequestWrite;
    FieldList<P> fields(commonFields("baseClientPackageType"));
    fields.flag("broadcast", &P::bBroadcast, [](P &package, bool broadcast) {
        assignWrite(package, broadcast, package.getClientPackageType());
    });
    fields.setByConstructor();
    fields.code<OrvexEnum::ClientPackageType>("clientPackageType", &P::getClientPackageType,
                                              [](P &package, OrvexEnum::ClientPackageType kind) {
                                                  assignWrite(package, package.bBroadcast(), kind);
                                              });
    fields.setByConstructor();
    return fields.take();
}

Fields writeFields()
{
    using P = PackageRequestWrite;
    FieldList<P> fields(writeFieldsWithoutLength());
    fields.length("packageDataLength", &P::getPackageDataLength, &P::setPackageDataLength);
    return fields.take();
}

Fields writeDataFields()
{
    FieldList<PackageRequestWriteData> fields(writeFields());
    fields.data();
    return fields.take();
}

Fields writeIPFields()
{
    using P = PackageRequestWriteIP;
    FieldList<P> fields(writeDataFields());
    fields.text("ipAddress", &P::getIPAddress, &P::setIPAddress);
    fields.setBy("setIPAddress");
    return fields.take();
}

/// Sets the offset of a file write, which has no setter either.
void assignOffset(PackageRequestWriteFile &package, qint64 offset)
{
    auto write = makeRequest<PackageRequestWriteFile>(false, package.fileNameWithPath(),
                                                      static_cast<int>(offset));
    write.PackageRequestWrite::operator=(package);
    write.set_isBroadcastRspToAllApp(package.isBroadcastRspToAllApp());
    package = write;
}

/// Returns the fields of a file write. The length of its data is the size of the file.
Fields writeFileFields()
{
    using P = PackageRequestWriteFile;
    FieldList<P> fields(writeFieldsWithoutLength());
    fields.text("fileNameWithPath", &P::fileNameWithPath, &P::setFileNameWithPaht);
    fields.setBy("setFileNameWithPaht");
    fields.number<qint32>("offset", &P::Offset, assignOffset);
    fields.setByConstructor();
    fields.flag("broadcastRspToAllApp", &P::isBroadcastRspToAllApp, &P::set_isBroadcastRspToAllApp);
    fields.setBy("set_isBroadcastRspToAllApp");
    return fields.take();
}

Fields writeMemDataFields()
{
    using P = PackageRequestWriteMemData;
    FieldList<P> fields(writeFields());
    fields.number<long>("offset", &P::offset, &P::setOffset);
    return fields.take();
}

Fields specialFields()
{
    using P = SpecialPackageRequest;
    FieldList<P> fields(commonFields());
    fields.number<qint32>("id", &P::id, &P::setId);
    fields.text("strData", &P::strData, &P::setStrData);
    fields.number<qint32>("specialFlagEndTimeOut", &P::specialFlagEndTimeOut,
                          &P::setSpecialFlagEndTimeOut);
    fields.flag("enabledSpecialPackForAllPort", &P::getEnabledSpecialPackForAllPort,
                &P::setEnabledSpecialPackForAllPort);
    return fields.take();
}

/// Makes the entry of a class.
///
/// @param create returns a package of the class. It is called only once, and later packages are
///     copies: it may draw a serial number, which would be a data race between threads.
template <typename Create>
PackageClass makeClass(ClassId id, const Fields &fields, Create create)
{
    using Package = decltype(create());
    const auto prototype = std::make_shared<Package>(create());
    prototype->setSerialNum(0);
    return {id,
            className(id),
            rowOf(id).typeWord.toString(),
            [prototype]() -> std::unique_ptr<PackageBase> {
                return std::make_unique<Package>(*prototype);
            },
            [](const PackageBase *package) {
                return dynamic_cast<const Package *>(package) != nullptr;
            },
            fields};
}

} // namespace

QString describeMisfit(const QJsonValue &value, const QString &type)
{
    const QByteArray array = QJsonDocument(QJsonArray{value}).toJson(QJsonDocument::Compact);
    return QStringLiteral("%1 is not %2")
        .arg(QString::fromUtf8(array.mid(1, array.size() - 2)), type);
}

QString descriptionOf(ClassId id)
{
    const auto index = static_cast<std::size_t>(id);
    return index < std::size(ClassDescriptions) ? QString::fromLatin1(ClassDescriptions[index])
                                                : QString();
}

QString descriptionOf(const QString &fieldName)
{
    const char *description = nullptr;
    for (const auto &row : Descriptions) {
        if (fieldName == QLatin1String(row.name))
            description = row.description;
    }
    return QString::fromLatin1(description);
}

std::vector<PackageClass> makePackageClasses()
{
    constexpr auto Data = OrvexEnum::DataPackage;
    constexpr long NoOffset = 0;
    const PackageClass classes[] = {
        makeClass(ClassId::PackageBase, commonFields(), [] { return PackageBase(); }),
        makeClass(ClassId::PackageRequestRead, readFields(),
                  [] { return makeRequest<PackageRequestRead>(0, Data); }),
        makeClass(ClassId::PackageRequestReadData, readDataFields(),
                  [] { return makeRequest<PackageRequestReadData>(0); }),
        makeClass(ClassId::PackageRequestReadFile, readFileFields(),
                  [] { return makeRequest<PackageRequestReadFile>(0, QString()); }),
        makeClass(ClassId::PackageRequestReadMemData, readMemDataFields(),
                  [] { return makeRequest<PackageRequestReadMemData>(0, NoOffset); }),
        makeClass(ClassId::PackageRequestWrite, writeFields(),
                  [] { return makeRequest<PackageRequestWrite>(false, Data); }),
        makeClass(ClassId::PackageRequestWriteData, writeDataFields(),
                  [] { return makeRequest<PackageRequestWriteData>(false, QByteArray(), 0); }),
        makeClass(ClassId::PackageRequestWriteIP, writeIPFields(),
                  [] { return makeRequest<PackageRequestWriteIP>(false, QByteArray(), 0); }),
        makeClass(ClassId::PackageRequestWriteFile, writeFileFields(),
                  [] { return makeRequest<PackageRequestWriteFile>(false, QString(), 0); }),
        makeClass(ClassId::PackageRequestWriteMemData, writeMemDataFields(),
                  [] { return makeRequest<PackageRequestWriteMemData>(false, NoOffset, 0); }),
        makeClass(ClassId::SpecialPackageRequest, specialFields(),
                  [] { return SpecialPackageRequest(); }),
    };
    static_assert(std::size(classes) + 1 == std::size(Korvin::Classes),
                  "every row except that of combinations must have an entry");
    return {std::begin(classes), std::end(classes)};
}

} // namespace KorvinInspect
