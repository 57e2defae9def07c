// Live packages take the memory that benchmarks/livepackages.txt lists, on a 64-bit machine with
// Qt 5.

#include "mallochook.h"
#include "testsupport.h"

#include <packagerequestread.h>

#include <QtCore/QFile>

#include <algorithm>
#include <cstdint>

namespace {

/// The heap memory of a package and of what it points to.
struct Memory
{
    std::size_t bytes;
    std::size_t blocks;
};

/// The least of many packages, since malloc now and then gives a block that is a little larger.
template <typename Make>
Memory memoryOf(Make make)
{
    std::vector<std::unique_ptr<PackageBase>> packages(100);
    Memory least{SIZE_MAX, SIZE_MAX};
    for (auto &package : packages) {
        const Allocations before = allocations;
        package = make();
        least.bytes = std::min(least.bytes, allocations.inUse - before.inUse);
        least.blocks = std::min(least.blocks, allocations.blocks - before.blocks);
    }
    return least;
}

/// A package with texts, with 16 bytes of data where the class carries data, and with the name of a
/// file where it carries that. What write-file requests send is not what their reader expects, so
/// that the name does not arrive.
std::unique_ptr<PackageBase> makeSender(const PackageClass &ofClass)
{
    std::unique_ptr<PackageBase> package = ofClass.create();
    package->setDeviceKey(QStringLiteral("COM3:9600"));
    package->setTag(QStringLiteral("wall-2/cabinet-14/board-03"));
    package->setPackageDataLength(16);
    if (auto *read = qobject_cast<PackageRequestRead *>(package.get()))
        read->setReplyDataLength(16);
    if (const PackageField *data = ofClass.field(QStringLiteral("data")))
        data->set(*package, QString(2 * 16, QLatin1Char('7')));
    if (const PackageField *file = ofClass.field(QStringLiteral("fileNameWithPath")))
        file->set(*package, QStringLiteral("config/wall-2.rcfgx"));
    return package;
}

/// A line of the file: the class, bytes and blocks of an empty package and of a decoded one.
QString lineOf(const PackageClass &ofClass)
{
    const std::unique_ptr<PackageBase> sender = makeSender(ofClass);
    const QByteArray frame = sender->MackPackageRequest();
    const Memory empty = memoryOf([&] { return ofClass.create(); });
    const Memory decoded = memoryOf([&] {
        std::unique_ptr<PackageBase> package = ofClass.create();
        int consumed = 0;
        EXPECT_TRUE(package->UnPackageRequest(frame, 0, &consumed));
        EXPECT_EQ(package->getTag().size(), 26);
        if (const PackageField *data = ofClass.field(QStringLiteral("data"))) {
            EXPECT_EQ(data->get(*package).toString(), data->get(*sender).toString());
        }
        return package;
    });
    return QStringLiteral("%1 %2 %3 %4 %5")
        .arg(ofClass.name)
        .arg(empty.bytes)
        .arg(empty.blocks)
        .arg(decoded.bytes)
        .arg(decoded.blocks);
}

TEST(LivePackages, TakeTheMemoryThatIsListed)
{
    QFile file(QStringLiteral(LIVE_PACKAGES));
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    QStringList listed;
    for (const QString &line : QString::fromUtf8(file.readAll()).split(QLatin1Char('\n'))) {
        if (!line.isEmpty() && !line.startsWith(QLatin1Char('#')))
            listed.append(line);
    }
    QStringList taken;
    for (const PackageClass &ofClass : packageClasses())
        taken.append(lineOf(ofClass));
    EXPECT_EQ(listed.join(QLatin1Char('\n')), taken.join(QLatin1Char('\n')));
}

} // namespace
