#include "cppsourcecases.h"

#include "testvectors.h"

#include <korvininspect/packageclass.h>
#include <korvininspect/packagejson.h>

#include <functional>

using namespace KorvinInspect;

namespace {

using Packages = std::vector<std::unique_ptr<PackageBase>>;
using ValueOf = std::function<QJsonValue(const PackageField &)>;

/// Fails on a wrong value: the case would test less than it seems to.
void require(const QString &fault)
{
    if (!fault.isEmpty())
        qFatal("%s", qUtf8Printable(fault));
}

/// A package of the class with all fields that @p valueOf gives a value.
std::unique_ptr<PackageBase> packageWith(const PackageClass &itsClass, const ValueOf &valueOf)
{
    std::unique_ptr<PackageBase> package = itsClass.create();
    for (const PackageField &field : itsClass.fields) {
        const QJsonValue value = valueOf(field);
        if (!value.isUndefined())
            require(field.set(*package, value));
    }
    return package;
}

/// A value other than the default, different for each field.
QJsonValue otherValue(const PackageClass &itsClass, const PackageField &field)
{
    const auto seed = static_cast<int>(&field - itsClass.fields.data()) + 1;
    switch (field.valueType) {
    case ValueType::Number:
    case ValueType::Length:
        return seed + 10;
    case ValueType::Code:
        return 1000 + seed;
    case ValueType::Flag:
        return !field.get(*itsClass.create()).toBool();
    case ValueType::Text:
        return QStringLiteral("tëxt %1").arg(seed);
    default:
        return QStringLiteral("00ff%1").arg(seed, 2, 16, QLatin1Char('0'));
    }
}

/// The first of the numbers that the field takes.
QJsonValue firstAllowed(const PackageClass &itsClass, const PackageField &field,
                        std::initializer_list<const char *> numbers)
{
    const bool isNumber = field.valueType == ValueType::Number
        || field.valueType == ValueType::Length || field.valueType == ValueType::Code;
    if (!isNumber)
        return QJsonValue::Undefined;
    const std::unique_ptr<PackageBase> package = itsClass.create();
    for (const char *number : numbers) {
        if (field.set(*package, QString::fromLatin1(number)).isEmpty())
            return QString::fromLatin1(number);
    }
    return QJsonValue::Undefined;
}

void addExtremes(Packages &packages, const PackageClass &itsClass)
{
    packages.push_back(packageWith(itsClass, [&](const PackageField &field) {
        return firstAllowed(itsClass, field,
                            {"18446744073709551615", "9223372036854775807", "4294967295",
                             "2147483647", "65535", "255"});
    }));
    packages.push_back(packageWith(itsClass, [&](const PackageField &field) {
        return firstAllowed(itsClass, field, {"-9223372036854775808", "-2147483648", "0"});
    }));
}

void addChanges(Packages &packages, const PackageClass &itsClass)
{
    const auto other = [&](const PackageField &field) { return otherValue(itsClass, field); };
    packages.push_back(packageWith(itsClass, other));
    for (const PackageField &changed : itsClass.fields) {
        packages.push_back(packageWith(itsClass, [&](const PackageField &field) {
            return &field == &changed ? other(field) : QJsonValue(QJsonValue::Undefined);
        }));
    }
}

void addTexts(Packages &packages, const PackageClass &itsClass)
{
    const QString texts[] = {
        QStringLiteral("\"quotes\" and 'quotes'"),
        QStringLiteral("C:\\new\\0\\x41\\"),
        QStringLiteral("lines\nof\r\ntext\tand more\n"),
        QStringLiteral("ünï 漢字 😀 1"),
        QStringLiteral("é1, and \u007f2"),
        QString::fromUtf8("\0zero \0bytes\0", 13),
        QStringLiteral("%1 of %2, %L3, %%"),
        QStringLiteral("what?"
                       "?= what?"
                       "?/ /* no */ // comment"),
        QStringLiteral("\\u00e9 \\U0001F600 R\"(raw)\""),
        QString(QChar::ByteOrderMark) + QStringLiteral("mark"),
        QString(QChar(0xD83D)) + QStringLiteral("a half of a pair"),
    };
    for (const QString &text : texts) {
        packages.push_back(packageWith(itsClass, [&](const PackageField &field) {
            return field.valueType == ValueType::Text ? text : QJsonValue(QJsonValue::Undefined);
        }));
    }
}

/// The arguments of constructors that are bytes, and the protocol tag that one of them chooses.
void addBytes(Packages &packages, const PackageClass &itsClass)
{
    const QString tags[] = {QStringLiteral("3rd-proto"), QStringLiteral("3rdCalder-proto")};
    for (const int number : {-1, 0x30, 128, 255, 256, 0x130}) {
        for (const QString &tag : tags) {
            packages.push_back(itsClass.create());
            packages.back()->setDeviceType(number);
            packages.back()->setReserved2(number);
            packages.back()->setTagProto(tag);
        }
    }
}

/// Every code with a name and some without, spread over the classes.
void addCodes(Packages &packages)
{
    for (const int code : {-1,  0,   1,   2,   3,   4,   5,   6,   7,   8,   9,   10,  11,
                           244, 245, 246, 247, 248, 249, 250, 251, 252, 253, 254, 255, 256}) {
        const PackageClass &itsClass = packageClasses()[packages.size() % packageClasses().size()];
        packages.push_back(packageWith(itsClass, [&](const PackageField &field) {
            return field.valueType == ValueType::Code ? code : QJsonValue(QJsonValue::Undefined);
        }));
    }
}

/// A length that is not the size of the data, and much data.
void addData(Packages &packages, const PackageClass &itsClass)
{
    const QByteArray datas[] = {QByteArray(), QByteArray("abc"), QByteArray(40000, '\xA5')};
    for (const QByteArray &data : datas) {
        packages.push_back(itsClass.create());
        packages.back()->setData(data);
        packages.back()->setPackageDataLength(5);
    }
}

void addVectors(Packages &packages)
{
    for (const Vector &vector : allVectors()) {
        packages.push_back(packageClass(vector.className)->create());
        require(packageFromJson(vector.content.value(QLatin1String("fields")).toObject(),
                                *packages.back()));
    }
}

} // namespace

std::vector<std::unique_ptr<PackageBase>> cppSourceCases()
{
    Packages packages;
    for (const PackageClass &itsClass : packageClasses()) {
        packages.push_back(itsClass.create());
        addChanges(packages, itsClass);
        addExtremes(packages, itsClass);
        addTexts(packages, itsClass);
        addBytes(packages, itsClass);
        addData(packages, itsClass);
    }
    packages.push_back(packageClasses().front().create());
    packages.back()->setTag(QStringLiteral("x😀").repeated(40000));
    addCodes(packages);
    addVectors(packages);
    return packages;
}
