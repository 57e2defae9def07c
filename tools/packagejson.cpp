#include "packagejson.h"

#include "codenames_p.h"
#include "hexbytes.h"

#include <packagerequestreaddata.h>
#include <packagerequestreadfile.h>
#include <packagerequestreadmemdata.h>
#include <packagerequestwritefile.h>
#include <packagerequestwriteip.h>
#include <packagerequestwritememdata.h>
#include <specialpackagerequest.h>

#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>

#include <algorithm>
#include <cmath>
#include <limits>
#include <optional>

namespace {

using Fields = std::vector<PackageField>;

// Whole numbers up to this one survive in JSON, whose numbers are doubles.
constexpr double LargestJsonNumber = 9007199254740991.0;

template <typename Integer>
QJsonValue numberToJson(Integer number)
{
    const double value = static_cast<double>(number);
    if (std::abs(value) > LargestJsonNumber)
        return QString::number(number);
    return value;
}

template <typename Integer>
std::optional<Integer> numberFromJson(const QJsonValue &value)
{
    if (value.isDouble()) {
        const double number = value.toDouble();
        if (std::floor(number) != number || std::abs(number) > LargestJsonNumber
            || (number < 0 && !std::is_signed_v<Integer>)) {
            return {};
        }
        return static_cast<Integer>(number);
    }
    const QString text = value.toString();
    const int base = text.startsWith(QLatin1String("0x"), Qt::CaseInsensitive) ? 16 : 10;
    bool ok = false;
    Integer number = 0;
    if constexpr (std::is_signed_v<Integer>)
        number = text.toLongLong(&ok, base);
    else
        number = text.toULongLong(&ok, base);
    return ok ? std::optional(number) : std::nullopt;
}

/// "2560 (0xA00)"; small and negative numbers in decimal only.
template <typename Integer>
QString numberForPeople(Integer number)
{
    const QString decimal = QString::number(number);
    if (number < 10)
        return decimal;
    return QStringLiteral("%1 (0x%2)").arg(decimal, QString::number(number, 16).toUpper());
}

std::optional<QString> textFromJson(const QJsonValue &value)
{
    return value.isString() ? std::optional(value.toString()) : std::nullopt;
}

std::optional<bool> flagFromJson(const QJsonValue &value)
{
    if (value.isBool())
        return value.toBool();
    if (value.toString() == QLatin1String("true"))
        return true;
    return value.toString() == QLatin1String("false") ? std::optional(false) : std::nullopt;
}

/// A field of @p Package: conversions, and the getter and setter (members or callables).
template <typename Package, typename ToJson, typename FromJson, typename ForPeople, typename Getter,
          typename Setter>
PackageField makeField(const char *name, const QString &type, ToJson toJson, FromJson fromJson,
                       ForPeople forPeople, Getter getter, Setter setter)
{
    const auto valueOf = [getter](PackageBase &package) {
        return std::invoke(getter, static_cast<Package &>(package));
    };
    return {
        QString::fromLatin1(name),
        type,
        [=](PackageBase &package) -> QJsonValue { return toJson(valueOf(package)); },
        [=](PackageBase &package, const QJsonValue &value) {
            const auto parsed = fromJson(value);
            if (!parsed) {
                const QByteArray array =
                    QJsonDocument(QJsonArray{value}).toJson(QJsonDocument::Compact);
                return QStringLiteral("%1 is not %2")
                    .arg(QString::fromUtf8(array.mid(1, array.size() - 2)), type);
            }
            std::invoke(setter, static_cast<Package &>(package), *parsed);
            return QString();
        },
        [=](PackageBase &package) { return forPeople(valueOf(package)); },
    };
}

/// A whole number from @p min to @p max.
template <typename Package, typename Integer, typename Getter, typename Setter>
PackageField numberField(const char *name, Integer min, Integer max, Getter getter, Setter setter)
{
    const auto toJson = [](auto value) { return numberToJson(static_cast<Integer>(value)); };
    const auto fromJson = [=](const QJsonValue &value) {
        const std::optional<Integer> number = numberFromJson<Integer>(value);
        return number && *number >= min && *number <= max ? number : std::nullopt;
    };
    const auto forPeople = [](auto value) { return numberForPeople(static_cast<Integer>(value)); };
    return makeField<Package>(name,
                              QStringLiteral("a whole number from %1 to %2").arg(min).arg(max),
                              toJson, fromJson, forPeople, getter, setter);
}

template <typename Package, typename Number, typename Getter, typename Setter>
PackageField limitedField(const char *name, Getter getter, Setter setter)
{
    return numberField<Package, qint64>(name, std::numeric_limits<Number>::min(),
                                        std::numeric_limits<Number>::max(), getter, setter);
}

/// A code: its name, or its number where it has none, from @p min to @p max.
template <typename Package, typename Code, std::size_t N, typename Getter, typename Setter>
PackageField codeField(const char *name, const Korvin::CodeName<Code> (&names)[N], int min, int max,
                       Getter getter, Setter setter)
{
    QStringList words;
    for (const Korvin::CodeName<Code> &row : names)
        words << QString(row.name);
    const auto nameOf = [&names](Code code) { return QString(Korvin::nameOf(names, code)); };
    const auto toJson = [nameOf](Code code) {
        return nameOf(code).isEmpty() ? QJsonValue(code) : QJsonValue(nameOf(code));
    };
    const auto fromJson = [&names, min, max](const QJsonValue &value) -> std::optional<Code> {
        for (const Korvin::CodeName<Code> &row : names) {
            if (value.toString() == row.name)
                return row.code;
        }
        const std::optional<qint64> number = numberFromJson<qint64>(value);
        if (!number || *number < min || *number > max)
            return {};
        return static_cast<Code>(*number);
    };
    const auto forPeople = [nameOf](Code code) {
        const QString word = nameOf(code).isEmpty() ? QStringLiteral("no name") : nameOf(code);
        return QStringLiteral("%1 (%2)").arg(word).arg(code);
    };
    return makeField<Package>(name,
                              QStringLiteral("one of %1, or a number from %2 to %3")
                                  .arg(words.join(QLatin1String(", ")))
                                  .arg(min)
                                  .arg(max),
                              toJson, fromJson, forPeople, getter, setter);
}

template <typename Package, typename Getter, typename Setter>
PackageField textField(const char *name, Getter getter, Setter setter)
{
    const auto same = [](const QString &text) { return text; };
    return makeField<Package>(name, QStringLiteral("a text"), same, textFromJson, same, getter,
                              setter);
}

template <typename Package, typename Getter, typename Setter>
PackageField flagField(const char *name, Getter getter, Setter setter)
{
    const auto forPeople = [](bool flag) {
        return flag ? QStringLiteral("true") : QStringLiteral("false");
    };
    return makeField<Package>(
        name, QStringLiteral("true or false"), [](bool flag) { return flag; }, flagFromJson,
        forPeople, getter, setter);
}

template <typename Package>
PackageField dataField()
{
    const auto toJson = [](const QByteArray &data) { return QString::fromLatin1(data.toHex()); };
    const auto fromJson = [](const QJsonValue &value) -> std::optional<QByteArray> {
        QByteArray bytes;
        if (!value.isString() || !bytesFromHex(value.toString(), &bytes).isEmpty())
            return {};
        return bytes;
    };
    const auto forPeople = [](const QByteArray &data) {
        return data.isEmpty()
            ? QStringLiteral("0 bytes")
            : QStringLiteral("%1 bytes: %2").arg(data.size()).arg(hexFromBytes(data));
    };
    return makeField<Package>("data", QStringLiteral("bytes in hexadecimal digits"), toJson,
                              fromJson, forPeople, &Package::data, &Package::setData);
}

constexpr int MinInt = std::numeric_limits<int>::min();
constexpr int MaxInt = std::numeric_limits<int>::max();

Fields commonFields(const char *kindName)
{
    using P = PackageBase;
    return {
        numberField<P, quint64>("serialNum", 0, std::numeric_limits<quint64>::max(),
                                &P::getSerialNum, &P::setSerialNum),
        textField<P>("deviceKey", &P::getDeviceKey, &P::setDeviceKey),
        textField<P>("tag", &P::getTag, &P::setTag),
        textField<P>("tagProto", &P::getTagProto, &P::setTagProto),
        textField<P>("serverConnectionKey", &P::getSeverConnectionKey, &P::setServerConnectionKey),
        limitedField<P, quint8>("scrAddr", &P::getScrAddr, &P::setScrAddr),
        limitedField<P, quint8>("desAddr", &P::getDesAddr, &P::setDesAddr),
        limitedField<P, qint32>("deviceType", &P::getDeviceType, &P::setDeviceType),
        limitedField<P, quint8>("portAddr", &P::getPortAddr, &P::setPortAddr),
        limitedField<P, quint16>("scanBoardAddr", &P::getScanBoardAddr, &P::setScanBoardAddr),
        limitedField<P, quint16>("highAddr", &P::getHighAddr, &P::setHighAddr),
        limitedField<P, quint16>("lowAddr", &P::getLowAddr, &P::setLowAddr),
        codeField<P>("readWriteCode", Korvin::ReadWriteNames, MinInt, MaxInt, &P::getReadWriteCode,
                     &P::setReadWriteCode),
        limitedField<P, qint32>("reserved2", &P::getReserved2, &P::setReserved2),
        flagField<P>("isRegisterAddrSelfIncreasing", &P::getIsRegisterAddrSelfIncreasing,
                     &P::setIsRegisterAddrSelfIncreasing),
        limitedField<P, qint32>("timeout", &P::getTimeout, &P::setTimeout),
        limitedField<P, qint32>("maxPartSize", &P::getMaxPartSize, &P::setMaxPartSize),
        limitedField<P, qint32>("partCount", &P::getPartCount, &P::setPartCount),
        limitedField<P, qint32>("curPartIndex", &P::getCurPartIndex, &P::setCurPartIndex),
        codeField<P>(kindName, Korvin::ClientPackageTypeNames, MinInt, MaxInt,
                     &P::getClientPackageType, &P::setClientPackageType),
        flagField<P>("subcribeHardware", &P::getSubcribeHardware, &P::setSubcribeHardware),
        limitedField<P, quint32>("ackCode", &P::getAckCode, &P::setAckCode),
        codeField<P>("commResult", Korvin::CommResultNames, MinInt, MaxInt, &P::getCommResult,
                     &P::setCommResult),
        codeField<P>("packResult", Korvin::PackageResultNames, MinInt, MaxInt, &P::getPackResult,
                     &P::setPackResult),
    };
}

Fields operator+(Fields fields, const Fields &more)
{
    fields.insert(fields.end(), more.begin(), more.end());
    return fields;
}

Fields readFields()
{
    using P = PackageRequestRead;
    return commonFields("clientPackageType")
        + Fields{limitedField<P, qint32>("replyDataLength", &P::getReplyDataLength,
                                         &P::setReplyDataLength)};
}

/// A write has no setters for its broadcast flag and its own kind; its payload has both.
void setPayload(PackageRequestWrite &package, bool broadcast, OrvexEnum::ClientPackageType kind)
{
    const char payload[] = {broadcast ? '\1' : '\0', static_cast<char>(kind)};
    int parsed = 0;
    package.PackageRequestWrite::ParseDataFromPackage(true, QByteArray(payload, sizeof payload), 0,
                                                      &parsed);
}

Fields writeFields()
{
    using P = PackageRequestWrite;
    return commonFields("baseClientPackageType")
        + Fields{
            flagField<P>("broadcast", &P::bBroadcast,
                         [](P &package, bool broadcast) {
                             setPayload(package, broadcast, package.getClientPackageType());
                         }),
            codeField<P>("clientPackageType", Korvin::ClientPackageTypeNames, 0, 255,
                         &P::getClientPackageType,
                         [](P &package, OrvexEnum::ClientPackageType kind) {
                             setPayload(package, package.bBroadcast(), kind);
                         }),
        };
}

Fields lengthOfWrite()
{
    using P = PackageRequestWrite;
    return {limitedField<P, qint32>("packageDataLength", &P::getPackageDataLength,
                                    &P::setPackageDataLength)};
}

/// A file write has no setter for its offset; a payload with an empty file name sets it alone.
void setOffset(PackageRequestWriteFile &package, qint64 offset)
{
    const bool broadcast = package.bBroadcast();
    const OrvexEnum::ClientPackageType kind = package.getClientPackageType();
    QByteArray payload(10, '\0');
    int index = 0;
    PackageBase::SetBytesFromInt(&payload, 6, 4, static_cast<int>(offset), &index);
    int parsed = 0;
    package.ParseDataFromPackage(true, payload, 0, &parsed);
    setPayload(package, broadcast, kind);
}

template <typename Package>
PackageField broadcastRspField()
{
    return flagField<Package>("broadcastRspToAllApp", &Package::isBroadcastRspToAllApp,
                              &Package::set_isBroadcastRspToAllApp);
}

template <typename Package>
PackageField memoryOffsetField()
{
    return limitedField<Package, long>("offset", &Package::offset, &Package::setOffset);
}

template <typename Package, typename... Arguments>
PackageClass makeClass(const char *name, const Fields &fields, Arguments... arguments)
{
    return {QString::fromLatin1(name),
            [=]() -> std::unique_ptr<PackageBase> {
                auto package = std::make_unique<Package>(arguments...);
                package->setSerialNum(0);
                return package;
            },
            fields};
}

/// A class whose constructor begins with the eleven common arguments.
template <typename Package, typename... Arguments>
PackageClass makeRequestClass(const char *name, const Fields &fields, Arguments... arguments)
{
    constexpr int DefaultTimeout = 3;
    return makeClass<Package>(name, fields, QString(), uchar(0), uchar(0), uchar(0), uchar(0),
                              ushort(0), ushort(0), ushort(0), uchar(0), DefaultTimeout, QString(),
                              OrvexEnum::CommOk, arguments...);
}

} // namespace

const PackageField *PackageClass::field(const QString &fieldName) const
{
    const auto found = std::find_if(fields.begin(), fields.end(), [&](const PackageField &field) {
        return field.name == fieldName;
    });
    return found == fields.end() ? nullptr : &*found;
}

const std::vector<PackageClass> &packageClasses()
{
    using ReadFile = PackageRequestReadFile;
    using WriteFile = PackageRequestWriteFile;
    using WriteIP = PackageRequestWriteIP;
    using Special = SpecialPackageRequest;
    constexpr long NoOffset = 0;
    static const Fields writeDataFields =
        writeFields() + lengthOfWrite() + Fields{dataField<PackageRequestWriteData>()};
    static const std::vector<PackageClass> classes{
        makeClass<PackageBase>("PackageBase", commonFields("clientPackageType")),
        makeRequestClass<PackageRequestRead>("PackageRequestRead", readFields(), 0,
                                             OrvexEnum::DataPackage),
        makeRequestClass<PackageRequestReadData>(
            "PackageRequestReadData", readFields() + Fields{dataField<PackageRequestReadData>()},
            0),
        makeRequestClass<ReadFile>(
            "PackageRequestReadFile",
            readFields()
                + Fields{textField<ReadFile>("fileNameWithPath", &ReadFile::fileNameWithPath,
                                             &ReadFile::setFileNameWithPath),
                         broadcastRspField<ReadFile>()},
            0, QString()),
        makeRequestClass<PackageRequestReadMemData>(
            "PackageRequestReadMemData",
            readFields() + Fields{memoryOffsetField<PackageRequestReadMemData>()}, 0, NoOffset),
        makeRequestClass<PackageRequestWrite>(
            "PackageRequestWrite", writeFields() + lengthOfWrite(), false, OrvexEnum::DataPackage),
        makeRequestClass<PackageRequestWriteData>("PackageRequestWriteData", writeDataFields, false,
                                                  QByteArray(), 0),
        makeRequestClass<WriteIP>(
            "PackageRequestWriteIP",
            writeDataFields
                + Fields{textField<WriteIP>("ipAddress", &WriteIP::getIPAddress,
                                            &WriteIP::setIPAddress)},
            false, QByteArray(), 0),
        makeRequestClass<WriteFile>(
            "PackageRequestWriteFile",
            writeFields()
                + Fields{textField<WriteFile>("fileNameWithPath", &WriteFile::fileNameWithPath,
                                              &WriteFile::setFileNameWithPaht),
                         limitedField<WriteFile, qint32>("offset", &WriteFile::Offset, setOffset),
                         broadcastRspField<WriteFile>()},
            false, QString(), 0),
        makeRequestClass<PackageRequestWriteMemData>(
            "PackageRequestWriteMemData",
            writeFields() + lengthOfWrite()
                + Fields{memoryOffsetField<PackageRequestWriteMemData>()},
            false, NoOffset, 0),
        makeClass<Special>(
            "SpecialPackageRequest",
            commonFields("clientPackageType")
                + Fields{limitedField<Special, qint32>("id", &Special::id, &Special::setId),
                         textField<Special>("strData", &Special::strData, &Special::setStrData),
                         limitedField<Special, qint32>("specialFlagEndTimeOut",
                                                       &Special::specialFlagEndTimeOut,
                                                       &Special::setSpecialFlagEndTimeOut),
                         flagField<Special>("enabledSpecialPackForAllPort",
                                            &Special::getEnabledSpecialPackForAllPort,
                                            &Special::setEnabledSpecialPackForAllPort)}),
    };
    return classes;
}

const PackageClass *packageClass(const QString &name)
{
    const std::vector<PackageClass> &classes = packageClasses();
    const auto found =
        std::find_if(classes.begin(), classes.end(),
                     [&](const PackageClass &candidate) { return candidate.name == name; });
    return found == classes.end() ? nullptr : &*found;
}

QJsonObject packageToJson(const PackageClass &packageClass, PackageBase &package)
{
    QJsonObject json{{QStringLiteral("class"), packageClass.name}};
    for (const PackageField &field : packageClass.fields)
        json.insert(field.name, field.get(package));
    return json;
}

QString packageFromJson(const PackageClass &packageClass, const QJsonObject &json,
                        PackageBase &package)
{
    for (auto member = json.begin(); member != json.end(); ++member) {
        if (member.key() == QLatin1String("class"))
            continue;
        const PackageField *field = packageClass.field(member.key());
        if (!field)
            return QStringLiteral("%1: %2 has no such field").arg(member.key(), packageClass.name);
        const QString fault = field->set(package, member.value());
        if (!fault.isEmpty())
            return QStringLiteral("%1: %2").arg(member.key(), fault);
    }
    for (const char *name : {"replyDataLength", "packageDataLength"}) {
        const PackageField *length = packageClass.field(QString::fromLatin1(name));
        if (length && json.contains(QLatin1String("data")) && !json.contains(length->name))
            length->set(package, package.data().size());
    }
    return {};
}
