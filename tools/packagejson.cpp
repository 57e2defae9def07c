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

constexpr int MinInt = std::numeric_limits<int>::min();
constexpr int MaxInt = std::numeric_limits<int>::max();

// Whole numbers up to this one survive in JSON, whose numbers are doubles.
constexpr double LargestJsonNumber = 9007199254740991.0;

template <typename Integer>
QJsonValue numberToJson(Integer number)
{
    const auto value = static_cast<double>(number);
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
    QString decimal = QString::number(number);
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

/// How a field gets and stores its value.
template <typename Value>
struct Access
{
    std::function<Value(PackageBase &)> get;
    std::function<void(PackageBase &, const Value &)> set;
};

/// Access through a getter and a setter of @p Package, members or callables.
template <typename Value, typename Package, typename Getter, typename Setter>
Access<Value> access(Getter getter, Setter setter)
{
    return {[getter](PackageBase &package) {
                return static_cast<Value>(std::invoke(getter, static_cast<Package &>(package)));
            },
            [setter](PackageBase &package, const Value &value) {
                std::invoke(setter, static_cast<Package &>(package), value);
            }};
}

/// What the values of a field look like in JSON and for people.
template <typename Value>
struct Format
{
    QString type;
    std::function<QJsonValue(const Value &)> toJson;
    std::function<std::optional<Value>(const QJsonValue &)> fromJson;
    std::function<QString(const Value &)> forPeople;
};

template <typename Value>
PackageField makeField(const char *name, const Format<Value> &format, const Access<Value> &access)
{
    return {
        QString::fromLatin1(name),
        format.type,
        [=](PackageBase &package) { return format.toJson(access.get(package)); },
        [=](PackageBase &package, const QJsonValue &value) {
            const std::optional<Value> parsed = format.fromJson(value);
            if (!parsed) {
                const QByteArray array =
                    QJsonDocument(QJsonArray{value}).toJson(QJsonDocument::Compact);
                return QStringLiteral("%1 is not %2")
                    .arg(QString::fromUtf8(array.mid(1, array.size() - 2)), format.type);
            }
            access.set(package, *parsed);
            return QString();
        },
        [=](PackageBase &package) { return format.forPeople(access.get(package)); },
    };
}

/// A whole number from @p min to @p max.
template <typename Integer>
Format<Integer> numberFormat(Integer min, Integer max)
{
    return {QStringLiteral("a whole number from %1 to %2").arg(min).arg(max), numberToJson<Integer>,
            [=](const QJsonValue &value) {
                const std::optional<Integer> number = numberFromJson<Integer>(value);
                return number && *number >= min && *number <= max ? number : std::nullopt;
            },
            numberForPeople<Integer>};
}

/// A code of a table: its name, or its number from @p min to @p max where it has none.
template <typename Code, std::size_t N>
Format<qint64> codeFormat(const Korvin::CodeName<Code> (&names)[N], qint64 min, qint64 max)
{
    QStringList words;
    for (const Korvin::CodeName<Code> &row : names)
        words << row.name.toString();
    const auto nameOf = [&names](qint64 code) {
        return Korvin::nameOf(names, static_cast<Code>(code)).toString();
    };
    return {QStringLiteral("one of %1, or a number from %2 to %3")
                .arg(words.join(QLatin1String(", ")))
                .arg(min)
                .arg(max),
            [nameOf](qint64 code) {
                const QString name = nameOf(code);
                return name.isEmpty() ? QJsonValue(code) : QJsonValue(name);
            },
            [=, &names](const QJsonValue &value) -> std::optional<qint64> {
                const qint64 number = numberFromJson<qint64>(value).value_or(min - 1);
                const auto unknown = static_cast<Code>(-1);
                const Code code = Korvin::codeOf(names, value.toString(), unknown);
                if (code != unknown)
                    return code;
                return number >= min && number <= max ? std::optional(number) : std::nullopt;
            },
            [nameOf](qint64 code) {
                const QString name = nameOf(code);
                return QStringLiteral("%1 (%2)")
                    .arg(name.isEmpty() ? QStringLiteral("no name") : name)
                    .arg(code);
            }};
}

Format<QString> textFormat()
{
    const auto same = [](const QString &text) { return text; };
    return {QStringLiteral("a text"), same, textFromJson, same};
}

Format<bool> flagFormat()
{
    return {QStringLiteral("true or false"), [](bool flag) { return flag; }, flagFromJson,
            [](bool flag) { return flag ? QStringLiteral("true") : QStringLiteral("false"); }};
}

Format<QByteArray> dataFormat()
{
    return {QStringLiteral("bytes in hexadecimal digits"),
            [](const QByteArray &data) { return QString::fromLatin1(data.toHex()); },
            [](const QJsonValue &value) -> std::optional<QByteArray> {
                QByteArray bytes;
                if (!value.isString() || !bytesFromHex(value.toString(), &bytes).isEmpty())
                    return {};
                return bytes;
            },
            [](const QByteArray &data) {
                const QString size = QStringLiteral("%1 bytes").arg(data.size());
                return data.isEmpty() ? size : size + QLatin1String(": ") + hexFromBytes(data);
            }};
}

/// Collects the fields of a class.
template <typename Package>
class FieldList
{
public:
    explicit FieldList(Fields fields = {})
        : m_fields(std::move(fields))
    {
    }

    Fields take() { return std::move(m_fields); }

    /// A number of the range of @p Number.
    template <typename Number, typename Getter, typename Setter>
    void number(const char *name, Getter getter, Setter setter)
    {
        using Integer = std::conditional_t<std::is_same_v<Number, quint64>, quint64, qint64>;
        m_fields.push_back(makeField(name,
                                     numberFormat<Integer>(std::numeric_limits<Number>::min(),
                                                           std::numeric_limits<Number>::max()),
                                     access<Integer, Package>(getter, setter)));
    }

    template <typename Code, std::size_t N, typename Getter, typename Setter>
    void code(const char *name, const Korvin::CodeName<Code> (&names)[N], Getter getter,
              Setter setter, qint64 min = MinInt, qint64 max = MaxInt)
    {
        const auto set = [setter](Package &package, qint64 code) {
            std::invoke(setter, package, static_cast<Code>(code));
        };
        m_fields.push_back(
            makeField(name, codeFormat(names, min, max), access<qint64, Package>(getter, set)));
    }

    template <typename Getter, typename Setter>
    void text(const char *name, Getter getter, Setter setter)
    {
        m_fields.push_back(makeField(name, textFormat(), access<QString, Package>(getter, setter)));
    }

    template <typename Getter, typename Setter>
    void flag(const char *name, Getter getter, Setter setter)
    {
        m_fields.push_back(makeField(name, flagFormat(), access<bool, Package>(getter, setter)));
    }

    void data()
    {
        m_fields.push_back(makeField(
            "data", dataFormat(), access<QByteArray, Package>(&Package::data, &Package::setData)));
    }

private:
    Fields m_fields;
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
    fields.number<quint8>("scrAddr", &P::getScrAddr, &P::setScrAddr);
    fields.number<quint8>("desAddr", &P::getDesAddr, &P::setDesAddr);
    fields.number<qint32>("deviceType", &P::getDeviceType, &P::setDeviceType);
    fields.number<quint8>("portAddr", &P::getPortAddr, &P::setPortAddr);
    fields.number<quint16>("scanBoardAddr", &P::getScanBoardAddr, &P::setScanBoardAddr);
    fields.number<quint16>("highAddr", &P::getHighAddr, &P::setHighAddr);
    fields.number<quint16>("lowAddr", &P::getLowAddr, &P::setLowAddr);
    fields.code("readWriteCode", Korvin::ReadWriteNames, &P::getReadWriteCode,
                &P::setReadWriteCode);
    fields.number<qint32>("reserved2", &P::getReserved2, &P::setReserved2);
    fields.flag("isRegisterAddrSelfIncreasing", &P::getIsRegisterAddrSelfIncreasing,
                &P::setIsRegisterAddrSelfIncreasing);
    fields.number<qint32>("timeout", &P::getTimeout, &P::setTimeout);
    fields.number<qint32>("maxPartSize", &P::getMaxPartSize, &P::setMaxPartSize);
    fields.number<qint32>("partCount", &P::getPartCount, &P::setPartCount);
    fields.number<qint32>("curPartIndex", &P::getCurPartIndex, &P::setCurPartIndex);
    fields.code(kindName, Korvin::ClientPackageTypeNames, &P::getClientPackageType,
                &P::setClientPackageType);
    fields.flag("subcribeHardware", &P::getSubcribeHardware, &P::setSubcribeHardware);
    fields.number<quint32>("ackCode", &P::getAckCode, &P::setAckCode);
    fields.code("commResult", Korvin::CommResultNames, &P::getCommResult, &P::setCommResult);
    fields.code("packResult", Korvin::PackageResultNames, &P::getPackResult, &P::setPackResult);
    return fields.take();
}

Fields readFields()
{
    using P = PackageRequestRead;
    FieldList<P> fields(commonFields());
    fields.number<qint32>("replyDataLength", &P::getReplyDataLength, &P::setReplyDataLength);
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
    return fields.take();
}

Fields readMemDataFields()
{
    using P = PackageRequestReadMemData;
    FieldList<P> fields(readFields());
    fields.number<long>("offset", &P::offset, &P::setOffset);
    return fields.take();
}

/// A write has no setters for its broadcast flag and its own kind; its payload has both.
void setPayload(PackageRequestWrite &package, bool broadcast, OrvexEnum::ClientPackageType kind)
{
    const char payload[] = {broadcast ? '\1' : '\0', static_cast<char>(kind)};
    int parsed = 0;
    package.PackageRequestWrite::ParseDataFromPackage(true, QByteArray(payload, sizeof payload), 0,
                                                      &parsed);
}

/// The fields of every write, but for the length of its data.
Fields writeFieldsWithoutLength()
{
    using P = PackageRequestWrite;
    FieldList<P> fields(commonFields("baseClientPackageType"));
    fields.flag("broadcast", &P::bBroadcast, [](P &package, bool broadcast) {
        setPayload(package, broadcast, package.getClientPackageType());
    });
    fields.code(
        "clientPackageType", Korvin::ClientPackageTypeNames, &P::getClientPackageType,
        [](P &package, OrvexEnum::ClientPackageType kind) {
            setPayload(package, package.bBroadcast(), kind);
        },
        0, std::numeric_limits<quint8>::max());
    return fields.take();
}

Fields writeFields()
{
    using P = PackageRequestWrite;
    FieldList<P> fields(writeFieldsWithoutLength());
    fields.number<qint32>("packageDataLength", &P::getPackageDataLength, &P::setPackageDataLength);
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
    return fields.take();
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

/// The length of a file write's data is the size of the file.
Fields writeFileFields()
{
    using P = PackageRequestWriteFile;
    FieldList<P> fields(writeFieldsWithoutLength());
    fields.text("fileNameWithPath", &P::fileNameWithPath, &P::setFileNameWithPaht);
    fields.number<qint32>("offset", &P::Offset, setOffset);
    fields.flag("broadcastRspToAllApp", &P::isBroadcastRspToAllApp, &P::set_isBroadcastRspToAllApp);
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
    constexpr long NoOffset = 0;
    static const std::vector<PackageClass> classes{
        makeClass<PackageBase>("PackageBase", commonFields()),
        makeRequestClass<PackageRequestRead>("PackageRequestRead", readFields(), 0,
                                             OrvexEnum::DataPackage),
        makeRequestClass<PackageRequestReadData>("PackageRequestReadData", readDataFields(), 0),
        makeRequestClass<PackageRequestReadFile>("PackageRequestReadFile", readFileFields(), 0,
                                                 QString()),
        makeRequestClass<PackageRequestReadMemData>("PackageRequestReadMemData",
                                                    readMemDataFields(), 0, NoOffset),
        makeRequestClass<PackageRequestWrite>("PackageRequestWrite", writeFields(), false,
                                              OrvexEnum::DataPackage),
        makeRequestClass<PackageRequestWriteData>("PackageRequestWriteData", writeDataFields(),
                                                  false, QByteArray(), 0),
        makeRequestClass<PackageRequestWriteIP>("PackageRequestWriteIP", writeIPFields(), false,
                                                QByteArray(), 0),
        makeRequestClass<PackageRequestWriteFile>("PackageRequestWriteFile", writeFileFields(),
                                                  false, QString(), 0),
        makeRequestClass<PackageRequestWriteMemData>("PackageRequestWriteMemData",
                                                     writeMemDataFields(), false, NoOffset, 0),
        makeClass<SpecialPackageRequest>("SpecialPackageRequest", specialFields()),
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
