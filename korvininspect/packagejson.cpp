#include <korvininspect/packagejson.h>

#include "memory_p.h"
#include "objectreader_p.h"

#include <commpackagebase.h>
#include <korvininspect/packageclass.h>
#include <packagebase.h>
#include <packagerequestcombination.h>

#include <algorithm>

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

/// Creates a package of a combination.
QString readItem(const QJsonValue &item, Packages *packages)
{
    const QJsonObject json = item.toObject();
    const PackageClass *itsClass = packageClass(json.value(QLatin1String("class")).toString());
    if (!itsClass || itsClass->combinationType.isEmpty())
        return QStringLiteral("class: a combination carries no such class");
    packages->push_back(itsClass->create());
    return packageFromJson(json, *packages->back());
}

/// Sets the lengths that @p json lacks to the size of its data, if it has data.
void completeLengths(const QJsonObject &json, const PackageClass &itsClass, PackageBase &package)
{
    const auto hasData = [&](const PackageField &field) {
        return field.valueType == ValueType::Data && json.contains(field.name);
    };
    if (std::none_of(itsClass.fields.begin(), itsClass.fields.end(), hasData))
        return;
    for (const PackageField &field : itsClass.fields) {
        if (field.valueType == ValueType::Length && !json.contains(field.name))
            field.set(package, package.data().size());
    }
}

/// Fills a combination. Only its decoder can add packages, so that creates them.
///
/// @return false when memory runs out.
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
    return Korvin::guarded([&] {
        const PackageClass &itsClass = classOf(package);
        QJsonObject json{{QStringLiteral("class"), itsClass.name}};
        for (const PackageField &field : itsClass.fields)
            json.insert(field.name, field.get(package));
        return json;
    });
}

QString packageFromJson(const QJsonObject &json, PackageBase &package)
{
    const auto read = [&]() -> QString {
        const PackageClass &itsClass = classOf(package);
        for (auto member = json.begin(); member != json.end(); ++member) {
            if (member.key() == QLatin1String("class"))
                continue;
            const PackageField *field = itsClass.field(member.key());
            if (!field) {
                return inMember(member.key(),
                                QStringLiteral("%1 has no such field").arg(itsClass.name));
            }
            const QString fault = field->set(package, member.value());
            if (!fault.isEmpty())
                return inMember(member.key(), fault);
        }
        completeLengths(json, itsClass, package);
        return {};
    };
    return Korvin::guarded(read, outOfMemory());
}

QJsonObject combinationToJson(const PackageRequestCombination &combination)
{
    return Korvin::guarded([&] {
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
    const auto read = [&] {
        QString deviceKey;
        int timeout = 0;
        quint64 serialNum = 0;
        Packages packages;
        ObjectReader reader(json);
        reader.member("class");
        reader.text("deviceKey", &deviceKey);
        reader.number("timeout", &timeout);
        reader.number("serialNum", &serialNum);
        reader.list("packages", [&](const QJsonValue &item) { return readItem(item, &packages); });
        QString fault = reader.end();
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
    };
    return Korvin::guarded(read, outOfMemory());
}

QJsonObject frameSliceToJson(const CommPackageBase &slice)
{
    return Korvin::guarded([&] {
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
    const auto read = [&] {
        QByteArray spareBytes = slice.getSpareBytes();
        int spareLength = slice.getSpareLength();
        QByteArray frameSlice = slice.getFrameSlice();
        int sliceLength = slice.getSliceLength();
        int checkStatus = slice.getCheckStatus();
        quint64 spareWord = slice.getSpareWord();
        ObjectReader reader(json);
        reader.member("class");
        reader.data("spareBytes", &spareBytes);
        reader.number("spareLength", &spareLength);
        reader.data("frameSlice", &frameSlice);
        reader.number("sliceLength", &sliceLength);
        reader.number("checkStatus", &checkStatus);
        reader.number("spareWord", &spareWord);
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
    };
    return Korvin::guarded(read, outOfMemory());
}

} // namespace KorvinInspect
