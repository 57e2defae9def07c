#include <korvininspect/packagejson.h>

#include "jsonvalues_p.h"

#include <commpackagebase.h>
#include <korvininspect/packageclass.h>
#include <packagebase.h>
#include <packagerequestcombination.h>

#include <QtCore/QJsonArray>

#include <limits>
#include <new>

namespace KorvinInspect {

class CombinationAccess
{
public:
    static void setSerialNum(PackageRequestCombination &combination, quint64 serialNum)
    {
        combination.setSerialNum(serialNum);
    }
};

namespace {

using Packages = std::vector<std::unique_ptr<PackageBase>>;

QString outOfMemory()
{
    return QStringLiteral("out of memory");
}

/// Runs a reader; an exception becomes a fault.
template <typename Reader>
QString reading(Reader &&reader)
{
    try {
        return reader();
    } catch (const std::bad_alloc &) {
        return outOfMemory();
    }
}

/// Runs a writer; out of memory gives an empty object.
template <typename Writer>
QJsonObject writing(Writer &&writer)
{
    try {
        return writer();
    } catch (const std::bad_alloc &) {
        return {};
    }
}

QString inField(const QString &name, const QString &fault)
{
    return QStringLiteral("%1: %2").arg(name, fault);
}

/// Reads the fields of an object that is no package, each at most once.
class ObjectReader
{
public:
    explicit ObjectReader(QJsonObject json)
        : m_members(std::move(json))
    {
        m_members.read("class");
    }

    /// Stores a value that @p parse makes of the field, where the object has it.
    template <typename Value, typename Parse>
    void read(const char *name, const char *type, Value &value, Parse parse)
    {
        const QJsonValue json = m_members.read(name);
        if (json.isUndefined())
            return;
        const auto parsed = parse(json);
        if (parsed)
            value = *parsed;
        else
            addFault(name, QStringLiteral("not %1").arg(QLatin1String(type)));
    }

    void readInt(const char *name, int &value)
    {
        read(name, "a whole number of 32 bits", value,
             [](const QJsonValue &json) -> std::optional<int> {
                 const std::optional<qint64> number = numberFromJson<qint64>(json);
                 using Limits = std::numeric_limits<int>;
                 if (!number || *number < Limits::min() || *number > Limits::max())
                     return {};
                 return static_cast<int>(*number);
             });
    }

    void readSerial(const char *name, quint64 &value)
    {
        read(name, "a whole number from 0 on", value, numberFromJson<quint64>);
    }

    void addFault(const char *name, const QString &fault)
    {
        if (m_fault.isEmpty())
            m_fault = inField(QString::fromLatin1(name), fault);
    }

    /// The first fault, or an empty text.
    QString end()
    {
        if (!m_fault.isEmpty())
            return m_fault;
        const std::optional<QString> unknown = m_members.unknown();
        if (unknown)
            m_fault = inField(*unknown, QStringLiteral("there is no such field"));
        return m_fault;
    }

private:
    JsonMembers m_members;
    QString m_fault;
};

/// Makes the packages of a combination.
QString packagesFromJson(const QJsonArray &array, Packages *packages)
{
    for (const QJsonValue item : array) {
        const QString origin = QStringLiteral("packages %1").arg(packages->size() + 1);
        const QJsonObject json = item.toObject();
        const PackageClass *itsClass = packageClass(json.value(QLatin1String("class")).toString());
        if (!itsClass || itsClass->combinationType.isEmpty())
            return inField(origin, QStringLiteral("class: a combination carries no such class"));
        packages->push_back(itsClass->create());
        const QString fault = packageFromJson(json, *packages->back());
        if (!fault.isEmpty())
            return inField(origin, fault);
    }
    return {};
}

/// Fills a combination through its decoder, which creates the packages.
///
/// @return false when memory has run out.
bool fill(PackageRequestCombination &combination, const Packages &packages)
{
    QStringList items;
    for (const auto &package : packages)
        items << classOf(*package).combinationType + QLatin1Char('^');
    if (!items.isEmpty() && !combination.unCombinationPackageRequest(items.join(QLatin1Char('|'))))
        return false;
    auto package = packages.begin();
    for (PackageBase *item : combination.packageList()) {
        const QJsonObject json = packageToJson(**package++);
        if (json.isEmpty() || !packageFromJson(json, *item).isEmpty())
            return false;
    }
    return true;
}

} // namespace

QJsonObject packageToJson(const PackageBase &package)
{
    return writing([&] {
        const PackageClass &itsClass = classOf(package);
        QJsonObject json{{QStringLiteral("class"), itsClass.name}};
        for (const PackageField &field : itsClass.fields)
            json.insert(field.name, field.get(package));
        return json;
    });
}

QString packageFromJson(const QJsonObject &json, PackageBase &package)
{
    return reading([&]() -> QString {
        const PackageClass &itsClass = classOf(package);
        for (auto member = json.begin(); member != json.end(); ++member) {
            if (member.key() == QLatin1String("class"))
                continue;
            const PackageField *field = itsClass.field(member.key());
            if (!field) {
                return inField(member.key(),
                               QStringLiteral("%1 has no such field").arg(itsClass.name));
            }
            const QString fault = field->set(package, member.value());
            if (!fault.isEmpty())
                return inField(member.key(), fault);
        }
        for (const char *name : {"replyDataLength", "packageDataLength"}) {
            const PackageField *length = itsClass.field(QString::fromLatin1(name));
            if (length && json.contains(QLatin1String("data")) && !json.contains(length->name))
                length->set(package, package.data().size());
        }
        return {};
    });
}

QJsonObject combinationToJson(const PackageRequestCombination &combination)
{
    return writing([&] {
        QJsonArray packages;
        for (const PackageBase *package : PackageRequestCombination(combination).packageList())
            packages.append(packageToJson(*package));
        return QJsonObject{
            {QStringLiteral("class"), QStringLiteral("PackageRequestCombination")},
            {QStringLiteral("deviceKey"), combination.getDeviceKey()},
            {QStringLiteral("timeout"), combination.getTimeout()},
            {QStringLiteral("serialNum"), numberToJson(combination.getSerialNum())},
            {QStringLiteral("packages"), packages},
        };
    });
}

QString combinationFromJson(const QJsonObject &json, PackageRequestCombination &combination)
{
    return reading([&] {
        QString deviceKey;
        int timeout = 0;
        quint64 serialNum = 0;
        QJsonArray array;
        ObjectReader reader(json);
        reader.read("deviceKey", "a text", deviceKey, textFromJson);
        reader.readInt("timeout", timeout);
        reader.readSerial("serialNum", serialNum);
        reader.read("packages", "a list", array, [](const QJsonValue &value) {
            return value.isArray() ? std::optional(value.toArray()) : std::nullopt;
        });
        QString fault = reader.end();
        Packages packages;
        if (fault.isEmpty())
            fault = packagesFromJson(array, &packages);
        if (!fault.isEmpty())
            return fault;
        PackageRequestCombination made(timeout, deviceKey);
        CombinationAccess::setSerialNum(made, serialNum);
        if (fill(made, packages)) {
            combination = made;
            return fault;
        }
        for (PackageBase *package : made.packageList())
            delete package;
        return outOfMemory();
    });
}

QJsonObject frameSliceToJson(const CommPackageBase &slice)
{
    return writing([&] {
        return QJsonObject{
            {QStringLiteral("class"), QStringLiteral("CommPackageBase")},
            {QStringLiteral("spareBytes"), dataToJson(slice.getSpareBytes())},
            {QStringLiteral("spareLength"), slice.getSpareLength()},
            {QStringLiteral("frameSlice"), dataToJson(slice.getFrameSlice())},
            {QStringLiteral("sliceLength"), slice.getSliceLength()},
            {QStringLiteral("checkStatus"), slice.getCheckStatus()},
            {QStringLiteral("spareWord"), numberToJson(slice.getSpareWord())},
        };
    });
}

QString frameSliceFromJson(const QJsonObject &json, CommPackageBase &slice)
{
    return reading([&] {
        constexpr char Bytes[] = "bytes in hexadecimal digits";
        QByteArray spareBytes = slice.getSpareBytes();
        int spareLength = slice.getSpareLength();
        QByteArray frameSlice = slice.getFrameSlice();
        int sliceLength = slice.getSliceLength();
        int checkStatus = slice.getCheckStatus();
        quint64 spareWord = slice.getSpareWord();
        ObjectReader reader(json);
        reader.read("spareBytes", Bytes, spareBytes, dataFromJson);
        reader.readInt("spareLength", spareLength);
        reader.read("frameSlice", Bytes, frameSlice, dataFromJson);
        reader.readInt("sliceLength", sliceLength);
        reader.readInt("checkStatus", checkStatus);
        reader.readSerial("spareWord", spareWord);
        QString fault = reader.end();
        if (fault.isEmpty()) {
            slice.setSpareBytes(spareBytes)
                .setSpareLength(spareLength)
                .setFrameSlice(frameSlice)
                .setSliceLength(sliceLength)
                .setCheckStatus(checkStatus)
                .setSpareWord(spareWord);
        }
        return fault;
    });
}

} // namespace KorvinInspect
