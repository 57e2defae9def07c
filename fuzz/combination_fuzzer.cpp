// Combination records: decoded, checked, and, where check() accepts them, written again.

#include "codecagreement.h"
#include "fuzztarget.h"
#include "secondreading.h"

#include <korvininspect/inputtext.h>
#include <korvininspect/packagecheck.h>
#include <packagerequestcombination.h>
#include <packagerequestreaddata.h>
#include <packagerequestreadfile.h>
#include <packagerequestwritedata.h>
#include <packagerequestwritefile.h>

#include <QtCore/QStringList>

namespace {

/// A combination that deletes the packages that it has decoded.
class Combination : public PackageRequestCombination
{
public:
    ~Combination() override
    {
        for (PackageBase *package : packageList())
            PackageBase::clear(package);
    }
};

/// Makes a package of a type word; null for a word that makes decoders refuse the record.
std::unique_ptr<PackageBase> packageOf(const QString &type)
{
    if (type == QLatin1String("writeData"))
        return std::make_unique<PackageRequestWriteData>();
    if (type == QLatin1String("writeFile"))
        return std::make_unique<PackageRequestWriteFile>();
    if (type == QLatin1String("ReadData"))
        return std::make_unique<PackageRequestReadData>();
    if (type == QLatin1String("ReadFile"))
        return std::make_unique<PackageRequestReadFile>();
    return nullptr;
}

struct Expected
{
    bool refused = false;
    QStringList types;
    std::vector<std::unique_ptr<PackageBase>> packages; // of the items up to the first broken one
};

Expected expectedOf(const QString &record)
{
    Expected expected;
    for (const QString &item : record.split(QLatin1Char('|'))) {
        const QStringList parts = item.split(QLatin1Char('^'));
        if (parts.size() != 2)
            break;
        std::unique_ptr<PackageBase> package = packageOf(parts.front());
        expected.refused = package == nullptr;
        if (expected.refused)
            break;
        readRecord(*package, Direction::Request, parts.back());
        expected.types << parts.front();
        expected.packages.push_back(std::move(package));
    }
    return expected;
}

/// Expects that a record that check() accepts decodes into requests that encode to the same record.
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
    const Expected expected = expectedOf(record);
    EXPECT_EQ(combination.unCombinationPackageRequest(record), !expected.refused);
    const std::list<PackageBase *> packages = combination.packageList();
    EXPECT_EQ(packages.size(), expected.packages.size());
    observe(QByteArray(1, combination.makeCombinationPackageRequest() ? '+' : '-'));

    int number = 0;
    for (PackageBase *package : packages) {
        EXPECT_EQ(classOf(*package).combinationType, expected.types.value(number));
        EXPECT_EQ(snapshot(*package), snapshot(*expected.packages.at(std::size_t(number))));
        observe(*package);
        expectWritten(*package);
        ++number;
    }
    const MessageShape shape{ClassId::PackageRequestCombination, Form::Text, Direction::Request};
    const Verdict verdict = check(utf8, shape);
    observe(describe(verdict).toUtf8());
    expectCombinationWritten(utf8, verdict);
    if (record.toUtf8() == utf8)
        expectCombinationExplained(record);
    return 0;
}
