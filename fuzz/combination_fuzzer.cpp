// Combination records: decoded, checked, and, where check() accepts them, written again.

#include "codecagreement.h"
#include "fuzztarget.h"

#include <korvininspect/inputtext.h>
#include <korvininspect/packagecheck.h>
#include <packagerequestcombination.h>

#include <QtCore/QStringList>

namespace {

/// Deletes what it has decoded.
class Combination : public PackageRequestCombination
{
public:
    ~Combination() override
    {
        for (PackageBase *package : packageList())
            PackageBase::clear(package);
    }
};

/// What the items up to the first that is none should become; nothing for a record that is refused.
QStringList expectedTypes(const QString &record, bool *refused)
{
    QStringList types;
    *refused = false;
    for (const QString &item : record.split(QLatin1Char('|'))) {
        const QStringList parts = item.split(QLatin1Char('^'));
        if (parts.size() != 2)
            break;
        const QString type = parts.front();
        *refused = type != QLatin1String("writeData") && type != QLatin1String("writeFile")
            && type != QLatin1String("ReadData") && type != QLatin1String("ReadFile");
        if (*refused)
            break;
        types << type;
    }
    return types;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const quint8 *bytes, std::size_t size)
{
    FuzzInput input(bytes, size);
    const QByteArray utf8 = input.rest();
    const QString record = textFromUtf8(utf8);

    Combination combination;
    bool refused = false;
    const QStringList types = expectedTypes(record, &refused);
    EXPECT_EQ(combination.unCombinationPackageRequest(record), !refused);
    const std::list<PackageBase *> packages = combination.packageList();
    EXPECT_EQ(static_cast<int>(packages.size()), types.size());
    observe(QByteArray(1, combination.makeCombinationPackageRequest() ? '+' : '-'));

    QStringList items;
    bool allShort = true;
    for (PackageBase *package : packages) {
        const QString type = types.value(items.size());
        EXPECT_EQ(classOf(*package).combinationType, type);
        observe(*package);
        allShort = allShort && isShort(*package);
        items << type + QLatin1Char('^') + (allShort ? package->makePackageRequest() : QString());
    }
    const MessageShape shape{ClassId::PackageRequestCombination, Form::Text, Direction::Request};
    const Verdict verdict = check(utf8, shape);
    observe(describe(verdict).toUtf8());
    if (verdict.isOk() && allShort) {
        EXPECT_EQ(items.join(QLatin1Char('|')), record);
    }
    if (record.toUtf8() == utf8)
        expectCombinationExplained(record);
    return 0;
}
