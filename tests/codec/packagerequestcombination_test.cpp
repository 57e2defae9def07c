#include "testsupport.h"

#include <packagerequestcombination.h>
#include <packagerequestreaddata.h>
#include <packagerequestreadfile.h>
#include <packagerequestwritedata.h>
#include <packagerequestwritefile.h>

#include <QtCore/QFile>
#include <QtCore/QTemporaryDir>

#include <memory>

namespace {

constexpr char ReadCommon[] = "7,usb0,1,0,255,2,65535,2560,16,0,read,3,t1,ok,ok";
constexpr char WriteCommon[] = "8,usb1,1,0,255,2,65535,2560,16,0,write,3,t1,ok,ok";

QString readData(const char *length = "4")
{
    return QStringLiteral("ReadData^%1,%2,data")
        .arg(QLatin1String(ReadCommon), QLatin1String(length));
}

QString readFile()
{
    return QStringLiteral("ReadFile^%1,100,file,a.txt").arg(QLatin1String(ReadCommon));
}

QString writeData()
{
    return QStringLiteral("writeData^%1,false,data,2,1/255").arg(QLatin1String(WriteCommon));
}

QString writeFile(const QString &fileName)
{
    return QStringLiteral("writeFile^%1,false,file,%2,0").arg(QLatin1String(WriteCommon), fileName);
}

/// A combination that deletes its requests.
class Decoded
{
public:
    explicit Decoded(const QString &text)
        : m_result(m_combination.unCombinationPackageRequest(text))
    {
        for (PackageBase *package : m_combination.packageList())
            m_packages.emplace_back(package);
    }

    bool result() const { return m_result; }
    PackageRequestCombination &combination() { return m_combination; }

    QStringList classes() const
    {
        QStringList names;
        for (const auto &package : m_packages)
            names << QString::fromLatin1(package->metaObject()->className());
        return names;
    }

    template <typename Package>
    Package *at(std::size_t i) const
    {
        return qobject_cast<Package *>(m_packages.at(i).get());
    }

private:
    PackageRequestCombination m_combination;
    bool m_result;
    std::vector<std::unique_ptr<PackageBase>> m_packages;
};

TEST(PackageRequestCombination, Constructors)
{
    PackageRequestCombination empty;
    EXPECT_TRUE(empty.packageList().empty());
    EXPECT_EQ(empty.getDeviceKey(), QString());
    EXPECT_EQ(empty.getTimeout(), 0);
    EXPECT_EQ(empty.getSerialNum(), 0U);
    EXPECT_EQ(empty.parent(), nullptr);

    const quint64 serial = PackageBase::makeSerialNum();
    PackageRequestCombination combination(-5, QStringLiteral("key"));
    EXPECT_TRUE(combination.packageList().empty());
    EXPECT_EQ(combination.getDeviceKey(), QStringLiteral("key"));
    EXPECT_EQ(combination.getTimeout(), -5);
    EXPECT_EQ(combination.getSerialNum(), serial % 255 + 1);
}

TEST(PackageRequestCombination, CopiesReferToTheSameRequests)
{
    QObject parent;
    PackageRequestCombination source(5, QStringLiteral("key"));
    source.setParent(&parent);
    ASSERT_TRUE(source.unCombinationPackageRequest(readData()));
    PackageRequestCombination copy(source);
    PackageRequestCombination target;
    EXPECT_EQ(&(target = source), &target);
    for (PackageRequestCombination *other : {&copy, &target}) {
        EXPECT_EQ(other->packageList(), source.packageList());
        EXPECT_EQ(other->getDeviceKey(), QStringLiteral("key"));
        EXPECT_EQ(other->getTimeout(), 5);
        EXPECT_EQ(other->getSerialNum(), source.getSerialNum());
        EXPECT_EQ(other->parent(), nullptr);
    }
    delete source.packageList().front();
}

TEST(PackageRequestCombination, DecodesEveryTypeThatTravels)
{
    const Decoded decoded(
        QStringList{writeData(), writeFile(QStringLiteral("b.txt")), readData(), readFile()}.join(
            QLatin1Char('|')));
    EXPECT_TRUE(decoded.result());
    ASSERT_EQ(decoded.classes(),
              QStringList({QStringLiteral("PackageRequestWriteData"),
                           QStringLiteral("PackageRequestWriteFile"),
                           QStringLiteral("PackageRequestReadData"),
                           QStringLiteral("PackageRequestReadFile")}));
    EXPECT_EQ(decoded.at<PackageRequestWriteData>(0)->data(), hex("01 FF"));
    EXPECT_EQ(decoded.at<PackageRequestWriteData>(0)->getSerialNum(), 8U);
    EXPECT_EQ(decoded.at<PackageRequestWriteFile>(1)->fileNameWithPath(), QStringLiteral("b.txt"));
    EXPECT_EQ(decoded.at<PackageRequestReadData>(2)->getReplyDataLength(), 4);
    EXPECT_EQ(decoded.at<PackageRequestReadData>(2)->getDeviceKey(), QStringLiteral("usb0"));
    EXPECT_EQ(decoded.at<PackageRequestReadFile>(3)->fileNameWithPath(), QStringLiteral("a.txt"));
    EXPECT_EQ(decoded.at<PackageRequestReadFile>(3)->getClientPackageType(),
              OrvexEnum::FilePackage);
}

struct DecodeRow
{
    const char *record;
    bool result;
    int packages;
    const char *warning;
};

const char NoMemory[] = "ReadMemData is not support !!!";
const char NoType[] = "Error package type of CMBPackages.";

// R stands for a request record.
const DecodeRow DecodeRows[] = {
    {"", true, 0, nullptr}, // one empty item of one part
    {"|", true, 0, nullptr},
    {"ReadFile^R|junk|writeData^R", true, 1, nullptr}, // stops at the item of one part
    {"ReadFile^R||writeData^R", true, 1, nullptr},
    {"ReadFile^R|writeData^R|", true, 2, nullptr},
    {"ReadFile^a^b", true, 0, nullptr}, // and at one of three
    {"ReadFile^a^", true, 0, nullptr},
    {"ReadData^R|ReadFile^R^|ReadFile^R", true, 1, nullptr},
    {"ReadData^R|writeMemData^R", false, 1, NoMemory},
    {"ReadMemData^R", false, 0, NoMemory},
    {"readData^R", false, 0, NoType},
    {"WriteData^R", false, 0, NoType},
    {"writedata^R", false, 0, NoType},
    {"^R", false, 0, NoType},
    {" ReadData^R", false, 0, NoType},
    {"ReadData^R|other^R|ReadFile^R", false, 1, NoType},
    {"ReadData^", true, 1, nullptr}, // a record that does not decode keeps its object
    {"ReadData^1,2,3|writeFile^x", true, 2, nullptr},
};

TEST(PackageRequestCombination, DecodeRows)
{
    for (const DecodeRow &row : DecodeRows) {
        SCOPED_TRACE(row.record);
        const LogCapture log;
        const Decoded decoded(QString::fromLatin1(row.record));
        EXPECT_EQ(decoded.result(), row.result);
        EXPECT_EQ(decoded.classes().size(), row.packages);
        ASSERT_EQ(log.messages().size(), row.warning ? 1U : 0U);
        if (row.warning) {
            const LogCapture::Entry &message = log.messages().front();
            EXPECT_EQ(message.type, QtWarningMsg);
            EXPECT_EQ(message.text, QString::fromLatin1(row.warning));
            EXPECT_EQ(message.file, QStringLiteral("packagerequestcombination"));
            EXPECT_GT(message.line, 0);
            EXPECT_TRUE(message.function.contains(
                QStringLiteral("PackageRequestCombination::unCombinationPackageRequest(")))
                << message.function.toStdString();
            EXPECT_FALSE(message.function.contains(QStringLiteral("lambda")));
        }
    }
}

TEST(PackageRequestCombination, RequestWhoseRecordDoesNotDecodeIsKeptAsItIs)
{
    const Decoded decoded(
        QStringLiteral("writeData^%1,false,data,3,1/255").arg(QLatin1String(WriteCommon)));
    EXPECT_TRUE(decoded.result());
    const auto *package = decoded.at<PackageRequestWriteData>(0);
    EXPECT_EQ(package->getSerialNum(), 8U) << "stored before the data string was refused";
    EXPECT_EQ(package->data(), QByteArray());
}

TEST(PackageRequestCombination, DecodingAgainDropsTheEarlierEntriesWithoutDeletingThem)
{
    PackageRequestCombination combination;
    ASSERT_TRUE(combination.unCombinationPackageRequest(readData()));
    const std::unique_ptr<PackageBase> first(combination.packageList().front());
    ASSERT_TRUE(
        combination.unCombinationPackageRequest(readFile() + QLatin1Char('|') + readData()));
    const std::list<PackageBase *> second = combination.packageList();
    EXPECT_EQ(second.size(), 2U);
    EXPECT_EQ(first->getSerialNum(), 7U) << "still there";
    for (PackageBase *package : second)
        delete package;
    ASSERT_TRUE(combination.unCombinationPackageRequest(QString()));
    EXPECT_TRUE(combination.packageList().empty());
}

/// Real files for the check of file writes.
class CombinationCheck : public testing::Test
{
protected:
    QString makeFile(const QString &name, qint64 size) const
    {
        QFile file(path(name));
        EXPECT_TRUE(file.open(QIODevice::WriteOnly));
        EXPECT_TRUE(file.resize(size));
        return path(name);
    }

    QString path(const QString &name) const { return m_directory.filePath(name); }

    /// Checks a record; @p warning is null where nothing may be logged.
    static void expectCheck(const QString &record, bool result, const char *warning)
    {
        SCOPED_TRACE(record.toStdString());
        Decoded decoded(record);
        EXPECT_TRUE(decoded.result());
        const std::list<PackageBase *> before = decoded.combination().packageList();
        const LogCapture log;
        EXPECT_EQ(decoded.combination().makeCombinationPackageRequest(), result);
        EXPECT_EQ(decoded.combination().packageList(), before);
        ASSERT_EQ(log.messages().size(), warning ? 1U : 0U);
        if (warning) {
            const LogCapture::Entry &message = log.messages().front();
            EXPECT_EQ(message.type, QtWarningMsg);
            EXPECT_EQ(message.text, QString::fromLatin1(warning));
            EXPECT_EQ(message.file, QStringLiteral("packagerequestcombination"));
            EXPECT_GT(message.line, 0);
            EXPECT_TRUE(message.function.contains(
                QStringLiteral("PackageRequestCombination::makeCombinationPackageRequest()")))
                << message.function.toStdString();
        }
    }

private:
    QTemporaryDir m_directory;
};

TEST_F(CombinationCheck, EmptyList)
{
    expectCheck(QString(), false, "CMBPACKAGES size is 0.");
}

TEST_F(CombinationCheck, Reads)
{
    expectCheck(readData("1"), true, nullptr);
    expectCheck(readData("0"), false, nullptr);
    expectCheck(readData("-1"), false, nullptr);
    expectCheck(readFile(), true, nullptr);
    expectCheck(QStringLiteral("ReadData^"), false, nullptr); // did not decode: length 0
}

TEST_F(CombinationCheck, DataWrites)
{
    expectCheck(writeData(), true, nullptr);
    const QString negative = QStringLiteral("writeData^%1,false,data,-1,1");
    expectCheck(negative.arg(QLatin1String(WriteCommon)), false,
                " write data length is less than 0 .");
    const QString empty = QStringLiteral("writeData^%1,false,data,0,");
    expectCheck(empty.arg(QLatin1String(WriteCommon)), true, nullptr);
}

TEST_F(CombinationCheck, FileWrites)
{
    expectCheck(writeFile(makeFile(QStringLiteral("file"), 1)), true, nullptr);
    expectCheck(writeFile(QString()), false, " write file path is empty .");
    expectCheck(writeFile(path(QStringLiteral("missing"))), false, " file is not exist .");
    expectCheck(writeFile(makeFile(QStringLiteral("empty"), 0)), false, " fileInfo is empty .");
}

TEST_F(CombinationCheck, EveryRequestIsChecked)
{
    const QString good = writeFile(makeFile(QStringLiteral("file"), 1)) + QLatin1Char('|')
        + readData() + QLatin1Char('|') + writeData() + QLatin1Char('|') + readFile();
    expectCheck(good, true, nullptr);
    expectCheck(good + QLatin1Char('|') + readData("0"), false, nullptr);
    expectCheck(good + QLatin1Char('|') + writeFile(QString()), false,
                " write file path is empty .");
}

TEST_F(CombinationCheck, NoRecordMakesOneClassReadAsAnother)
{
    // The class comes from the type word; the kind word and the direction from the record.
    const QString write = QLatin1String(WriteCommon);
    const QString read = QLatin1String(ReadCommon);
    expectCheck(QStringLiteral("writeData^%1,false,file,2,1/255").arg(write), false,
                " write file path is empty .");
    expectCheck(QStringLiteral("ReadData^%1,4,file").arg(write), false,
                " write file path is empty .");
    expectCheck(QStringLiteral("ReadFile^%1,4,file,a.txt").arg(write), false,
                " write file path is empty .");
    expectCheck(QStringLiteral("ReadData^%1,-4,data").arg(write), false,
                " write data length is less than 0 .");
    expectCheck(QStringLiteral("writeData^%1,false,memData,2,1/255").arg(write), true, nullptr);
    expectCheck(QStringLiteral("writeFile^%1,false,memData,missing,0").arg(write), true, nullptr);
    expectCheck(QStringLiteral("writeFile^%1,false,data,missing,0").arg(write), true, nullptr);
    expectCheck(QStringLiteral("writeFile^%1,false,file,missing,0").arg(read), false, nullptr);
}

TEST_F(CombinationCheck, KindInTheBasePartComesFirst)
{
    Decoded decoded(writeData());
    auto *package = decoded.at<PackageRequestWriteData>(0);
    package->PackageBase::setClientPackageType(OrvexEnum::MemDataPackage);
    package->setPackageDataLength(-1);
    EXPECT_TRUE(decoded.combination().makeCombinationPackageRequest());
    package->PackageBase::setClientPackageType(OrvexEnum::FilePackage);
    const LogCapture log;
    EXPECT_FALSE(decoded.combination().makeCombinationPackageRequest());
    ASSERT_EQ(log.messages().size(), 1U);
    EXPECT_EQ(log.messages().front().text, QStringLiteral(" write file path is empty ."));
}

TEST_F(CombinationCheck, OtherDirectionsAndKindsAreNotChecked)
{
    Decoded decoded(readData("0"));
    auto *package = decoded.at<PackageRequestReadData>(0);
    package->setReadWriteCode(OrvexEnum::ReadWriteCode(2));
    EXPECT_TRUE(decoded.combination().makeCombinationPackageRequest());
    package->setReadWriteCode(OrvexEnum::Write);
    package->setReplyDataLength(-1);
    package->setClientPackageType(OrvexEnum::ClientPackageType(3));
    EXPECT_TRUE(decoded.combination().makeCombinationPackageRequest());
}

TEST(PackageRequestCombination, MetaObject)
{
    const QMetaObject &meta = PackageRequestCombination::staticMetaObject;
    EXPECT_STREQ(meta.className(), "PackageRequestCombination");
    EXPECT_EQ(meta.superClass(), &QObject::staticMetaObject);
    EXPECT_EQ(meta.methodCount(), meta.methodOffset());
}

} // namespace
