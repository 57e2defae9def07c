#include "combinationcases.h"

#include "casewriter.h"

#include <packagebase.h>
#include <packagerequestcombination.h>

#include <QtCore/QJsonArray>

using namespace KorvinInspect;

namespace {

const QString Separator = QStringLiteral("|");
constexpr Encoding RequestRecord{Form::Text, Direction::Request, ReplySize::Short};

/// Returns a request record of a class that combinations carry.
QString recordOf(const PackageClass &ofClass)
{
    const QJsonObject fields{{QStringLiteral("serialNum"), 7},
                             {QStringLiteral("deviceKey"), QStringLiteral("usb/0")},
                             {QStringLiteral("replyDataLength"), 3},
                             {QStringLiteral("packageDataLength"), 2},
                             {QStringLiteral("data"), QStringLiteral("01FF")},
                             {QStringLiteral("fileNameWithPath"), QStringLiteral("a/b")},
                             {QStringLiteral("tag"), QStringLiteral("t\u00E9g")}};
    QJsonObject taken;
    for (auto field = fields.begin(); field != fields.end(); ++field) {
        if (ofClass.field(field.key()))
            taken.insert(field.key(), field.value());
    }
    return QString::fromUtf8(encodedBy(*packageWith(ofClass, taken), RequestRecord));
}

QString item(const QString &word, const QString &record)
{
    return word + QLatin1Char('^') + record;
}

/// Returns a good item of each class that combinations carry.
QStringList goodItems()
{
    QStringList items;
    for (const PackageClass &ofClass : packageClasses()) {
        if (!ofClass.combinationType.isEmpty())
            items << item(ofClass.combinationType, recordOf(ofClass));
    }
    return items;
}

/// Returns the fields of the package that a decoder makes of an item. If the record is too short,
/// they are those of a new package.
QJsonObject fieldsOf(const PackageBase &package, const QString &record)
{
    const PackageClass &itsClass = classOf(package);
    const QChar comma = QLatin1Char(',');
    QJsonObject json;
    if (record.count(comma) >= recordOf(itsClass).count(comma))
        json = carriedFields(itsClass, RequestRecord, record.toUtf8(), package);
    json.insert(QStringLiteral("class"), itsClass.name);
    return json;
}

void writeRecord(const QString &name, const QString &record)
{
    PackageRequestCombination combination;
    const QStringList items = record.split(Separator);
    const bool accepted = combination.unCombinationPackageRequest(record);
    QJsonArray packages;
    for (PackageBase *package : combination.packageList()) {
        const QString &itemOfPackage = items.at(packages.size());
        packages << fieldsOf(*package, itemOfPackage.section(QLatin1Char('^'), 1));
        PackageBase::clear(package);
    }
    writeCombinationCase(name, record, accepted ? QJsonValue(packages) : QJsonValue::Undefined);
}

void writeRecord(const QString &name, const QStringList &items)
{
    writeRecord(name, items.join(Separator));
}

/// Prints cases of an item alone, and before, between and after good ones.
void writeBroken(const QString &name, const QString &broken, const QStringList &good)
{
    writeRecord(name + QStringLiteral(", alone"), {broken});
    writeRecord(name + QStringLiteral(", first"), {broken, good.first()});
    writeRecord(name + QStringLiteral(", second"), {good.last(), broken, good.first()});
    writeRecord(name + QStringLiteral(", last"), {good.first(), good.last(), broken});
}

/// Returns an item with a type word and a request record, each of any class.
QByteArray generatedItem(Generator &generator)
{
    const PackageClass &typed = generator.anyClass();
    const PackageClass &recorded = generator.oneIn(4) ? generator.anyClass() : typed;
    QByteArray record = encodedBy(*generator.consistentPackage(recorded), RequestRecord);
    if (generator.oneIn(3))
        record = generator.mutated(record, Form::Text);
    return typed.combinationType.toUtf8() + '^' + record;
}

} // namespace

void writeGeneratedCombination(Generator &generator, const QString &name)
{
    QByteArrayList items;
    for (int count = generator.upTo(4); count > 0; --count)
        items << generatedItem(generator);
    QByteArray record = items.join('|');
    if (generator.oneIn(4))
        record = generator.mutated(record, Form::Text);
    writeRecord(name, QString::fromUtf8(record));
}

void writeCombinationCases()
{
    const QStringList good = goodItems();
    for (const QString &alone : good)
        writeRecord(QStringLiteral("one ") + alone.section(QLatin1Char('^'), 0, 0), {alone});
    writeRecord(QStringLiteral("every item twice"), good + good);

    const QString record = good.first().section(QLatin1Char('^'), 1);
    for (const char *word :
         {"readData", "WriteData", "readFile", "WriteFile", "READDATA", "ReadData ", " writeData",
          "data", "file", "memData", "", "ReadMemData", "writeMemData", "WriteMemData",
          "readMemData", "PackageRequestReadData", "ReadIP", "writeIP"}) {
        const QString type = QString::fromLatin1(word);
        writeBroken(QStringLiteral("type %1").arg(type), item(type, record), good);
    }
    const QStringList brokenItems{{},
                                  QStringLiteral("ReadData"),
                                  record,
                                  good.first() + QLatin1Char('^'),
                                  QLatin1Char('^') + good.first(),
                                  QStringLiteral("^^")};
    for (int i = 0; i < brokenItems.size(); ++i)
        writeBroken(QStringLiteral("broken item %1").arg(i + 1), brokenItems[i], good);
    for (const QString &whole : good) {
        const QString word = whole.section(QLatin1Char('^'), 0, 0);
        const QString columns = whole.section(QLatin1Char('^'), 1);
        writeBroken(word + QStringLiteral(" without a record"), item(word, {}), good);
        writeBroken(word + QStringLiteral(" with a column too few"),
                    item(word, columns.section(QLatin1Char(','), 0, -2)), good);
        writeBroken(word + QStringLiteral(" with a number too many"),
                    item(word, columns + QStringLiteral("/3")), good);
    }
}
