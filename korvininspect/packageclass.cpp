#include <korvininspect/packageclass.h>

#include "codenames_p.h"
#include "jsonvalues_p.h"
#include "valuetext_p.h"

#include <korvininspect/hexbytes.h>
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
#include <limits>

namespace KorvinInspect {

namespace {

using Fields = std::vector<PackageField>;

constexpr int MinInt = std::numeric_limits<int>::min();
constexpr int MaxInt = std::numeric_limits<int>::max();

QString numberExpression(qint64 number)
{
    // The smallest number has no literal: "-" is an operator on one that is too large.
    if (number == std::numeric_limits<qint64>::min())
        return QStringLiteral("%1LL - 1").arg(number + 1);
    return QString::number(number);
}

QString numberExpression(quint64 number)
{
    return QStringLiteral("%1ULL").arg(number);
}

/// A C++ string literal; octal escapes, because hexadecimal ones have no end.
QString literal(const QByteArray &bytes)
{
    QString text(QLatin1Char('"'));
    for (const char byte : bytes) {
        const auto code = static_cast<uchar>(byte);
        // Two question marks may begin a trigraph.
        if (byte == '"' || byte == '\\' || (byte == '?' && text.endsWith(QLatin1Char('?'))))
            text += QLatin1Char('\\');
        if (code >= 0x20 && code < 0x7F)
            text += QLatin1Char(byte);
        else
            text += QStringLiteral("\\%1").arg(code, 3, 8, QLatin1Char('0'));
    }
    return text + QLatin1Char('"');
}

/// The sum of what @p expression makes of pieces: compilers need not take literals of more than
/// 65536 characters.
template <typename Value, typename Expression>
QString sumOfPieces(const Value &value, Expression expression)
{
    constexpr int MaxSize = 16384;
    QStringList pieces;
    for (int i = 0; i < value.size(); i += MaxSize)
        pieces << expression(value.mid(i, MaxSize));
    return pieces.join(QLatin1String(" + "));
}

QString pieceOfText(const QString &text)
{
    const QByteArray utf8 = text.toUtf8();
    if (QString::fromUtf8(utf8) == text) {
        return QStringLiteral("QString::fromUtf8(%1, %2)")
            .arg(literal(utf8), QString::number(utf8.size()));
    }
    // UTF-8 loses a byte order mark in front and one half of a surrogate pair.
    QStringList units;
    for (const QChar unit : text)
        units << QStringLiteral("u\"\\x%1\"").arg(unit.unicode(), 0, 16);
    return QStringLiteral("QStringView(%1, %2).toString()")
        .arg(units.join(QLatin1Char(' ')), QString::number(text.size()));
}

QString textExpression(const QString &text)
{
    return text.isEmpty() ? QStringLiteral("QString()") : sumOfPieces(text, pieceOfText);
}

QString pieceOfData(const QByteArray &data)
{
    return QStringLiteral("QByteArray::fromHex(\"%1\")").arg(QString::fromLatin1(data.toHex()));
}

QString dataExpression(const QByteArray &data)
{
    return data.isEmpty() ? QStringLiteral("QByteArray()") : sumOfPieces(data, pieceOfData);
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
    std::function<Value(const PackageBase &)> get;
    std::function<void(PackageBase &, const Value &)> set;
};

/// Access through a getter and a setter of @p Package, members or callables.
template <typename Value, typename Package, typename Getter, typename Setter>
Access<Value> access(Getter getter, Setter setter)
{
    return {[getter](const PackageBase &package) {
                // Two getters of the interface are not const, but change nothing either.
                auto &object = const_cast<PackageBase &>(package); // NOLINT(*-const-cast)
                return static_cast<Value>(std::invoke(getter, static_cast<Package &>(object)));
            },
            [setter](PackageBase &package, const Value &value) {
                std::invoke(setter, static_cast<Package &>(package), value);
            }};
}

/// What the values of a field look like in JSON and for people.
template <typename Value>
struct Format
{
    ValueType valueType;
    QString type;
    std::function<QJsonValue(const Value &)> toJson;
    std::function<std::optional<Value>(const QJsonValue &)> fromJson;
    std::function<QString(const Value &)> forPeople;
    std::function<QString(const Value &)> expression;
};

QString capitalised(const QString &word)
{
    return word.left(1).toUpper() + word.mid(1);
}

/// What is wrong with a value that is none of a field of @p type.
QString describeMisfit(const QJsonValue &value, const QString &type)
{
    const QByteArray array = QJsonDocument(QJsonArray{value}).toJson(QJsonDocument::Compact);
    return QStringLiteral("%1 is not %2")
        .arg(QString::fromUtf8(array.mid(1, array.size() - 2)), type);
}

template <typename Value>
PackageField makeField(const char *name, const QString &setter, Format<Value> format,
                       Access<Value> access)
{
    struct Binding
    {
        Format<Value> format;
        Access<Value> access;
    };
    const auto bound =
        std::make_shared<const Binding>(Binding{std::move(format), std::move(access)});
    return {
        QString::fromLatin1(name),
        bound->format.valueType,
        bound->format.type,
        setter,
        [bound](const PackageBase &package) {
            return bound->format.toJson(bound->access.get(package));
        },
        [bound](PackageBase &package, const QJsonValue &value) {
            const std::optional<Value> parsed = bound->format.fromJson(value);
            if (!parsed)
                return describeMisfit(value, bound->format.type);
            bound->access.set(package, *parsed);
            return QString();
        },
        [bound](const PackageBase &package) {
            return bound->format.forPeople(bound->access.get(package));
        },
        [bound](const PackageBase &package) {
            return bound->format.expression(bound->access.get(package));
        },
    };
}

/// A whole number from @p min to @p max.
template <typename Integer>
Format<Integer> numberFormat(Integer min, Integer max)
{
    return {ValueType::Number,
            QStringLiteral("a whole number from %1 to %2").arg(min).arg(max),
            numberToJson<Integer>,
            [=](const QJsonValue &value) {
                const std::optional<Integer> number = numberFromJson<Integer>(value);
                return number && *number >= min && *number <= max ? number : std::nullopt;
            },
            numberForPeople<Integer>,
            [](Integer number) { return numberExpression(number); }};
}

/// A table of codes and what its enumerators have around the name.
template <typename Code, std::size_t N>
struct EnumerationOf
{
    const char *type;
    const char *prefix;
    const char *suffix;
    const Korvin::CodeName<Code> (&names)[N];
};

template <typename Code, std::size_t N>
EnumerationOf(const char *, const char *, const char *, const Korvin::CodeName<Code> (&)[N])
    -> EnumerationOf<Code, N>;

constexpr EnumerationOf ReadWriteCodes{"ReadWriteCode", "", "", Korvin::ReadWriteNames};
constexpr EnumerationOf CommResultCodes{"CommResults", "Comm", "", Korvin::CommResultNames};
constexpr EnumerationOf PackageResultCodes{"PackageResults", "Pack", "",
                                           Korvin::PackageResultNames};
constexpr EnumerationOf Kinds{"ClientPackageType", "", "Package", Korvin::ClientPackageTypeNames};

/// A code of a table: its name, or its number where it has none.
template <typename Code, std::size_t N>
Format<qint64> codeFormat(const EnumerationOf<Code, N> &enumeration)
{
    const auto &names = enumeration.names;
    QStringList words;
    for (const Korvin::CodeName<Code> &row : names)
        words << row.name.toString();
    const auto nameOf = [&names](qint64 code) {
        return Korvin::nameOf(names, static_cast<Code>(code)).toString();
    };
    return {ValueType::Code,
            QStringLiteral("one of %1, or a number from %2 to %3")
                .arg(words.join(QLatin1String(", ")))
                .arg(MinInt)
                .arg(MaxInt),
            [nameOf](qint64 code) {
                const QString name = nameOf(code);
                return name.isEmpty() ? QJsonValue(code) : QJsonValue(name);
            },
            [=, &names](const QJsonValue &value) -> std::optional<qint64> {
                const qint64 number = numberFromJson<qint64>(value).value_or(qint64(MinInt) - 1);
                const auto unknown = static_cast<Code>(-1);
                const Code code = Korvin::codeOf(names, value.toString(), unknown);
                if (code != unknown)
                    return code;
                return number >= MinInt && number <= MaxInt ? std::optional(number) : std::nullopt;
            },
            [nameOf](qint64 code) {
                const QString name = nameOf(code);
                return QStringLiteral("%1 (%2)")
                    .arg(name.isEmpty() ? QStringLiteral("no name") : name)
                    .arg(code);
            },
            [=](qint64 code) {
                const QString name = nameOf(code);
                if (name.isEmpty()) {
                    return QStringLiteral("static_cast<OrvexEnum::%1>(%2)")
                        .arg(QLatin1String(enumeration.type))
                        .arg(code);
                }
                return QStringLiteral("OrvexEnum::%1%2%3")
                    .arg(QLatin1String(enumeration.prefix), capitalised(name),
                         QLatin1String(enumeration.suffix));
            }};
}

Format<QString> textFormat()
{
    const auto same = [](const QString &text) { return text; };
    return {ValueType::Text, QStringLiteral("a text"), same, textFromJson, same, textExpression};
}

Format<bool> flagFormat()
{
    const auto word = [](bool flag) {
        return flag ? QStringLiteral("true") : QStringLiteral("false");
    };
    return {ValueType::Flag,
            QStringLiteral("true or false"),
            [](bool flag) { return flag; },
            flagFromJson,
            word,
            word};
}

Format<QByteArray> dataFormat()
{
    return {ValueType::Data,
            QStringLiteral("bytes in hexadecimal digits"),
            dataToJson,
            dataFromJson,
            [](const QByteArray &data) {
                const QString size = byteCount(data.size());
                return data.isEmpty() ? size : size + QLatin1String(": ") + hexFromBytes(data);
            },
            dataExpression};
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

    /// Names the setter of the last field, where it is not "set" and the name of the field.
    void setBy(const char *setter) { m_fields.back().setter = QString::fromLatin1(setter); }

    /// The last field is set by constructors only.
    void setByConstructor() { m_fields.back().setter.clear(); }

    /// A number of the range of @p Number.
    template <typename Number, typename Getter, typename Setter>
    void number(const char *name, Getter getter, Setter setter)
    {
        using Integer = std::conditional_t<std::is_same_v<Number, quint64>, quint64, qint64>;
        add(name,
            numberFormat<Integer>(std::numeric_limits<Number>::min(),
                                  std::numeric_limits<Number>::max()),
            access<Integer, Package>(getter, setter));
    }

    /// An address byte, whose setter takes a char.
    template <typename Getter, typename Setter>
    void byte(const char *name, Getter getter, Setter setter)
    {
        number<quint8>(name, getter, setter);
        const auto number = m_fields.back().expression;
        m_fields.back().expression = [number](const PackageBase &package) {
            return QStringLiteral("char(%1)").arg(number(package));
        };
    }

    template <typename Code, std::size_t N, typename Getter, typename Setter>
    void code(const char *name, const EnumerationOf<Code, N> &enumeration, Getter getter,
              Setter setter)
    {
        const auto set = [setter](Package &package, qint64 code) {
            std::invoke(setter, package, static_cast<Code>(code));
        };
        add(name, codeFormat(enumeration), access<qint64, Package>(getter, set));
    }

    template <typename Getter, typename Setter>
    void text(const char *name, Getter getter, Setter setter)
    {
        add(name, textFormat(), access<QString, Package>(getter, setter));
    }

    template <typename Getter, typename Setter>
    void flag(const char *name, Getter getter, Setter setter)
    {
        add(name, flagFormat(), access<bool, Package>(getter, setter));
    }

    void data()
    {
        add("data", dataFormat(), access<QByteArray, Package>(&Package::data, &Package::setData));
    }

private:
    template <typename Value>
    void add(const char *name, const Format<Value> &format, const Access<Value> &access)
    {
        const QString setter = QLatin1String("set") + capitalised(QString::fromLatin1(name));
        m_fields.push_back(makeField(name, setter, format, access));
    }

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
    fields.byte("scrAddr", &P::getScrAddr, &P::setScrAddr);
    fields.byte("desAddr", &P::getDesAddr, &P::setDesAddr);
    fields.number<qint32>("deviceType", &P::getDeviceType, &P::setDeviceType);
    fields.byte("portAddr", &P::getPortAddr, &P::setPortAddr);
    fields.number<quint16>("scanBoardAddr", &P::getScanBoardAddr, &P::setScanBoardAddr);
    fields.number<quint16>("highAddr", &P::getHighAddr, &P::setHighAddr);
    fields.number<quint16>("lowAddr", &P::getLowAddr, &P::setLowAddr);
    fields.code("readWriteCode", ReadWriteCodes, &P::getReadWriteCode, &P::setReadWriteCode);
    fields.number<qint32>("reserved2", &P::getReserved2, &P::setReserved2);
    fields.flag("isRegisterAddrSelfIncreasing", &P::getIsRegisterAddrSelfIncreasing,
                &P::setIsRegisterAddrSelfIncreasing);
    fields.number<qint32>("timeout", &P::getTimeout, &P::setTimeout);
    fields.number<qint32>("maxPartSize", &P::getMaxPartSize, &P::setMaxPartSize);
    fields.number<qint32>("partCount", &P::getPartCount, &P::setPartCount);
    fields.number<qint32>("curPartIndex", &P::getCurPartIndex, &P::setCurPartIndex);
    fields.code(kindName, Kinds, &P::getClientPackageType, &P::setClientPackageType);
    fields.setBy("setClientPackageType");
    fields.flag("subcribeHardware", &P::getSubcribeHardware, &P::setSubcribeHardware);
    fields.number<quint32>("ackCode", &P::getAckCode, &P::setAckCode);
    fields.code("commResult", CommResultCodes, &P::getCommResult, &P::setCommResult);
    fields.code("packResult", PackageResultCodes, &P::getPackResult, &P::setPackResult);
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

/// A package with the address arguments of every request left at their defaults.
template <typename Package, typename... Arguments>
Package makeRequest(Arguments... arguments)
{
    constexpr int DefaultTimeout = 3;
    return Package(QString(), 0, 0, 0, 0, 0, 0, 0, 0, DefaultTimeout, QString(), OrvexEnum::CommOk,
                   arguments...);
}

/// A write has no setters for its broadcast flag and its own kind: it is assigned a write that is
/// like it in all else.
void assignWrite(PackageRequestWrite &package, bool broadcast, OrvexEnum::ClientPackageType kind)
{
    auto write = makeRequest<PackageRequestWrite>(broadcast, kind);
    write.PackageBase::operator=(package);
    write.setPackageDataLength(package.PackageRequestWrite::getPackageDataLength());
    package.PackageRequestWrite::operator=(write);
}

/// The fields of every write, but for the length of its data.
Fields writeFieldsWithoutLength()
{
    using P = PackageRequestWrite;
    FieldList<P> fields(commonFields("baseClientPackageType"));
    fields.flag("broadcast", &P::bBroadcast, [](P &package, bool broadcast) {
        assignWrite(package, broadcast, package.getClientPackageType());
    });
    fields.setByConstructor();
    fields.code("clientPackageType", Kinds, &P::getClientPackageType,
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
    fields.setBy("setIPAddress");
    return fields.take();
}

/// A file write has no setter for its offset either.
void assignOffset(PackageRequestWriteFile &package, qint64 offset)
{
    auto write = makeRequest<PackageRequestWriteFile>(false, package.fileNameWithPath(),
                                                      static_cast<int>(offset));
    write.PackageRequestWrite::operator=(package);
    write.set_isBroadcastRspToAllApp(package.isBroadcastRspToAllApp());
    package = write;
}

/// The length of a file write's data is the size of the file.
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

/// @param create returns a package of the class. It may draw a serial number, which is a data race
///     between threads, so that it is called once, and later packages are copies.
template <typename Create>
PackageClass makeClass(ClassId id, const char *name, const Fields &fields, Create create,
                       QStringView combinationType = {})
{
    using Package = decltype(create());
    const auto prototype = std::make_shared<Package>(create());
    prototype->setSerialNum(0);
    return {id,
            QString::fromLatin1(name),
            combinationType.toString(),
            [prototype]() -> std::unique_ptr<PackageBase> {
                return std::make_unique<Package>(*prototype);
            },
            [](const PackageBase *package) {
                return dynamic_cast<const Package *>(package) != nullptr;
            },
            fields};
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
    constexpr auto Data = OrvexEnum::DataPackage;
    constexpr long NoOffset = 0;
    static const std::vector<PackageClass> classes{
        makeClass(ClassId::PackageBase, "PackageBase", commonFields(),
                  [] { return PackageBase(); }),
        makeClass(ClassId::PackageRequestRead, "PackageRequestRead", readFields(),
                  [] { return makeRequest<PackageRequestRead>(0, Data); }),
        makeClass(
            ClassId::PackageRequestReadData, "PackageRequestReadData", readDataFields(),
            [] { return makeRequest<PackageRequestReadData>(0); }, u"ReadData"),
        makeClass(
            ClassId::PackageRequestReadFile, "PackageRequestReadFile", readFileFields(),
            [] { return makeRequest<PackageRequestReadFile>(0, QString()); }, u"ReadFile"),
        makeClass(ClassId::PackageRequestReadMemData, "PackageRequestReadMemData",
                  readMemDataFields(),
                  [] { return makeRequest<PackageRequestReadMemData>(0, NoOffset); }),
        makeClass(ClassId::PackageRequestWrite, "PackageRequestWrite", writeFields(),
                  [] { return makeRequest<PackageRequestWrite>(false, Data); }),
        makeClass(
            ClassId::PackageRequestWriteData, "PackageRequestWriteData", writeDataFields(),
            [] { return makeRequest<PackageRequestWriteData>(false, QByteArray(), 0); },
            u"writeData"),
        makeClass(ClassId::PackageRequestWriteIP, "PackageRequestWriteIP", writeIPFields(),
                  [] { return makeRequest<PackageRequestWriteIP>(false, QByteArray(), 0); }),
        makeClass(
            ClassId::PackageRequestWriteFile, "PackageRequestWriteFile", writeFileFields(),
            [] { return makeRequest<PackageRequestWriteFile>(false, QString(), 0); }, u"writeFile"),
        makeClass(ClassId::PackageRequestWriteMemData, "PackageRequestWriteMemData",
                  writeMemDataFields(),
                  [] { return makeRequest<PackageRequestWriteMemData>(false, NoOffset, 0); }),
        makeClass(ClassId::SpecialPackageRequest, "SpecialPackageRequest", specialFields(),
                  [] { return SpecialPackageRequest(); }),
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

const PackageClass *packageClass(ClassId id)
{
    const std::vector<PackageClass> &classes = packageClasses();
    const auto found =
        std::find_if(classes.begin(), classes.end(),
                     [&](const PackageClass &candidate) { return candidate.id == id; });
    return found == classes.end() ? nullptr : &*found;
}

const PackageClass &classOf(const PackageBase &package)
{
    // A derived class stands behind those that it derives from.
    const std::vector<PackageClass> &classes = packageClasses();
    return *std::find_if(classes.rbegin(), classes.rend(), [&](const PackageClass &candidate) {
        return candidate.isClassOf(&package);
    });
}

} // namespace KorvinInspect
