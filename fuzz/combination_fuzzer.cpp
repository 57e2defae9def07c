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

/// Expects that what check() accepts decodes into requests of which the same record is encoded.
void expectCombinationWritten(const QByteArray &record, const Verdict &verdict)
{
    std::vector<std::unique_ptr<PackageBase>> decoded;
    EXPECT_EQ(describe(decodeCombination(record, &decoded)), describe(verdict));
    EXPECT_EQ(decoded.empty(), !verdict.isOk());
    if (decoded.empty())
        return;
    std::vector<PackageBase *> packages;
    for (const auto &package : decoded)
        packages.push_back(package.get());
    QByteArray again;
    EXPECT_TRUE(encodeCombination(packages, &again).isOk());
    EXPECT_EQ(again, record);
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

    int item = 0;
    for (PackageBase *package : packages) {
        EXPECT_EQ(classOf(*package).combinationType, types.value(item++));
        observe(*package);
    }
    const MessageShape shape{ClassId::PackageRequestCombination, Form::Text, Direction::Request};
    const Verdict verdict = check(utf8, shape);
    observe(describe(verdict).toUtf8());
    expectCombinationWritten(utf8, verdict);
    if (record.toUtf8() == utf8)
        expectCombinationExplained(record);
    return 0;
}
