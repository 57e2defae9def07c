// Lets every single allocation of every operation fail in turn. The operation must report it by its
// result: no crash, no exception, and a package that works again afterwards. Replaces malloc, so
// this is a program of its own and is not built with sanitizers, which do the same.

#include "mallochook.h"
#include "testsupport.h"

#include <packagerequestcombination.h>
#include <packagerequestreaddata.h>
#include <packagerequestwritedata.h>
#include <packagerequestwritefile.h>

#include <QtCore/QFile>
#include <QtCore/QTemporaryDir>

namespace {

/// Lets Qt and libc++ make what they keep from first use on: it is not under test, and does not
/// recover from a failure half-way.
void warmUp()
{
    qInstallMessageHandler([](auto...) {});
    QMessageLogger("file", 1, "function").debug("%s", "text");
    QFile::exists(QStringLiteral("missing"));
    try {
        throw std::bad_alloc();
    } catch (const std::bad_alloc &) {
    }
}

/// Whether an operation reports every allocation that fails. Decoders of frames ignore the result
/// of the payload hook, which peers rely on, and so do not report what failed there.
enum class Report { Always, NotOfPayload };

/// Runs @p operation on new subjects, with the first, the second ... allocation failing, until none
/// fails any more.
///
/// @param make makes a subject.
/// @param operation returns a result that is false or empty when it has failed.
/// @return the number of allocations that failed.
template <typename Make, typename Operation>
int failEachAllocation(Make make, Operation operation, Report report = Report::Always)
{
    EXPECT_TRUE(operation(*make()));
    for (int failing = 0;; ++failing) {
        const std::size_t inUse = allocations.inUse;
        auto subject = make();
        failingAllocation = failing;
        bool threw = false;
        bool succeeded = false;
        try {
            succeeded = operation(*subject);
        } catch (...) {
            threw = true;
        }
        const bool failed = failingAllocation == -1;
        failingAllocation = -1;
        EXPECT_FALSE(threw) << "allocation " << failing;
        if (failed && report == Report::Always) {
            EXPECT_FALSE(succeeded) << "allocation " << failing;
        }
        EXPECT_TRUE(failed || succeeded) << "allocation " << failing;
        EXPECT_TRUE(operation(*subject)) << "works again after allocation " << failing;
        subject.reset();
        EXPECT_EQ(allocations.inUse, inUse) << "leaks after allocation " << failing;
        if (!failed)
            return failing;
    }
}

struct ListedClass
{
    const PackageClass *packageClass;
};

void PrintTo(const ListedClass &listed, std::ostream *out)
{
    *out << listed.packageClass->name.toStdString();
}

class OutOfMemory : public testing::TestWithParam<ListedClass>
{
protected:
    OutOfMemory() { warmUp(); }
    ~OutOfMemory() override { qInstallMessageHandler(nullptr); }

    /// A package with texts and data long enough to need memory of their own.
    static std::unique_ptr<PackageBase> make()
    {
        std::unique_ptr<PackageBase> package = GetParam().packageClass->create();
        package->setDeviceKey(QStringLiteral("usb/0,1"));
        package->setTag(QStringLiteral("tag"));
        package->setReadWriteCode(OrvexEnum::Write);
        const QJsonObject fields{
            {QStringLiteral("data"), QStringLiteral("0102030405060708")},
            {QStringLiteral("fileNameWithPath"), QStringLiteral("directory/file")},
            {QStringLiteral("strData"), QStringLiteral("text")},
        };
        for (auto field = fields.begin(); field != fields.end(); ++field) {
            if (GetParam().packageClass->field(field.key()))
                GetParam().packageClass->field(field.key())->set(*package, field.value());
        }
        return package;
    }

    /// The same with the length of its data.
    static std::unique_ptr<PackageBase> makeWithLength()
    {
        std::unique_ptr<PackageBase> package = make();
        package->setPackageDataLength(8);
        if (auto *read = qobject_cast<PackageRequestRead *>(package.get()))
            read->setReplyDataLength(8);
        return package;
    }

    /// A package of the class with default fields.
    static std::unique_ptr<PackageBase> makeEmpty() { return GetParam().packageClass->create(); }
};

TEST_P(OutOfMemory, FramesAreMadeOrNot)
{
    EXPECT_GT(failEachAllocation(make, [](auto &p) { return !p.MackPackageRequest().isEmpty(); }),
              0);
    EXPECT_GT(failEachAllocation(make, [](auto &p) { return !p.MackPackageReply(true).isEmpty(); }),
              0);
    EXPECT_GT(
        failEachAllocation(make, [](auto &p) { return !p.MackPackageReply(false).isEmpty(); }), 0);
}

TEST_P(OutOfMemory, HeadersAreReadOrRefused)
{
    const QByteArray header = make()->PackageBase::MackPackageRequest();
    const auto decode = [&header](auto &p) {
        int consumed = -1;
        const bool read = p.PackageBase::UnPackageRequest(header, 0, &consumed);
        EXPECT_EQ(consumed, read ? header.size() : 0);
        return read;
    };
    EXPECT_GT(failEachAllocation(makeEmpty, decode), 0);
}

TEST_P(OutOfMemory, PayloadsAreReadOrRefused)
{
    QByteArray payload;
    makeWithLength()->AppendDataToPackage(true, &payload);
    const auto decode = [&payload](auto &p) {
        int parsed = -1;
        const bool read = p.ParseDataFromPackage(true, payload, 0, &parsed);
        EXPECT_GE(parsed, 0);
        return read;
    };
    failEachAllocation(makeEmpty, decode);
}

TEST_P(OutOfMemory, FramesAreRead)
{
    const QByteArray request = makeWithLength()->MackPackageRequest();
    const auto decodeRequest = [&request](auto &p) {
        int consumed = 0;
        return p.UnPackageRequest(request, 0, &consumed) && consumed > 0;
    };
    EXPECT_GT(failEachAllocation(makeEmpty, decodeRequest, Report::NotOfPayload), 0);
    const QByteArray reply = '\1' + request.mid(1);
    const auto decodeReply = [&reply](auto &p) {
        int consumed = 0;
        bool full = false;
        return p.UnPackageReply(reply, 0, &consumed, &full) && full;
    };
    EXPECT_GT(failEachAllocation(makeEmpty, decodeReply, Report::NotOfPayload), 0);
}

TEST_P(OutOfMemory, RecordsAreMadeOrNot)
{
    EXPECT_GT(failEachAllocation(make, [](auto &p) { return !p.makePackageRequest().isEmpty(); }),
              0);
    EXPECT_GT(failEachAllocation(make, [](auto &p) { return !p.makePackageReply().isEmpty(); }), 0);
}

TEST_P(OutOfMemory, RecordsAreReadOrRefused)
{
    // A number with a sign is read with more care, and memory, than plain digits.
    const auto withSigns = [](QString record) {
        return record.replace(QLatin1String(",8,"), QLatin1String(",+8,"))
            .replace(QLatin1String(",0"), QLatin1String(",+0"));
    };
    const QString request = withSigns(makeWithLength()->makePackageRequest());
    EXPECT_GT(failEachAllocation(makeEmpty, [&](auto &p) { return p.unPackageRequest(request); }),
              0);
    if (GetParam().packageClass->name == QLatin1String("SpecialPackageRequest"))
        return; // does not read its own reply
    const QString reply = withSigns(makeWithLength()->makePackageReply());
    EXPECT_GT(failEachAllocation(makeEmpty, [&](auto &p) { return p.unPackageReply(reply); }), 0);
}

std::vector<ListedClass> allClasses()
{
    std::vector<ListedClass> classes;
    for (const PackageClass &listed : packageClasses())
        classes.push_back({&listed});
    return classes;
}

INSTANTIATE_TEST_SUITE_P(Classes, OutOfMemory, testing::ValuesIn(allClasses()),
                         [](const auto &testInfo) {
                             return testInfo.param.packageClass->name.toStdString();
                         });

/// Drops the library's messages.
class OutOfMemoryElsewhere : public testing::Test
{
protected:
    OutOfMemoryElsewhere() { warmUp(); }
    ~OutOfMemoryElsewhere() override { qInstallMessageHandler(nullptr); }
};

TEST_F(OutOfMemoryElsewhere, ByteTools)
{
    const QByteArray source(64, 'x');
    const auto makeArray = [] { return std::make_unique<QByteArray>("a"); };
    EXPECT_GT(failEachAllocation(makeArray,
                                 [&source](QByteArray &array) {
                                     return PackageBase::ArrayCopy(source, 0, &array, 100, 64);
                                 }),
              0);
    EXPECT_GT(failEachAllocation(makeArray,
                                 [](QByteArray &array) {
                                     int index = 0;
                                     return PackageBase::SetBytesFromInt(&array, array.size(), 1, 7,
                                                                         &index);
                                 }),
              0);
}

TEST_F(OutOfMemoryElsewhere, ReportOfAShortCopy)
{
    // The copy fails either way; what counts is that its message does not throw.
    QByteArray destination;
    for (int failing = 0; failing < 8; ++failing) {
        failingAllocation = failing;
        const bool copied = PackageBase::ArrayCopy(QByteArray(), 0, &destination, 0, 1);
        failingAllocation = -1;
        EXPECT_FALSE(copied);
    }
}

TEST_F(OutOfMemoryElsewhere, ReportOfMissingFields)
{
    class Probe : public PackageBase
    {
    public:
        Probe() { m_pPackageBasePri.reset(); }
    };
    const Probe package;
    for (int failing = 0; failing < 8; ++failing) {
        failingAllocation = failing;
        const quint64 serialNum = package.getSerialNum();
        failingAllocation = -1;
        EXPECT_EQ(serialNum, 0U);
    }
}

TEST_F(OutOfMemoryElsewhere, LinuxFrames)
{
    const auto makeRead = [] {
        auto package = std::make_unique<PackageRequestReadData>();
        package->setReadWriteCode(OrvexEnum::Write);
        package->setData(QByteArray(8, 'x'));
        package->setReplyDataLength(8);
        return package;
    };
    const auto makeWrite = [] {
        auto package = std::make_unique<PackageRequestWriteData>();
        package->setReadWriteCode(OrvexEnum::Write);
        package->setData(QByteArray(8, 'x'));
        package->setPackageDataLength(8);
        return package;
    };
    const auto make = [](auto &p) { return !p.ParseSendRequest_Linux().isEmpty(); };
    EXPECT_GT(failEachAllocation(makeRead, make), 0);
    EXPECT_GT(failEachAllocation(makeWrite, make), 0);
    const QByteArray frame = makeWrite()->ParseSendRequest_Linux();
    const auto read = [&frame](auto &p) { return p.unPackageReply_Linux(frame); };
    EXPECT_GT(failEachAllocation(makeRead, read), 0);
    EXPECT_GT(failEachAllocation(std::make_unique<PackageRequestWriteData>, read), 0);
}

TEST_F(OutOfMemoryElsewhere, CommonRecordsTakeFewAllocations)
{
    const auto make = [] {
        return std::make_unique<PackageBase>(QStringLiteral("COM3:9600"), 1, 2, 3, 4, 5, 6, 7, 8, 9,
                                             QStringLiteral("wall-2/cabinet-14/board-03"),
                                             OrvexEnum::CommOk, OrvexEnum::DataPackage,
                                             OrvexEnum::Read, true);
    };
    const QString record = make()->makePackageRequest();
    const auto read = [&record](auto &p) { return p.unPackageRequest(record); };
    EXPECT_LE(failEachAllocation(make, [](auto &p) { return !p.makePackageRequest().isEmpty(); }),
              5);
    EXPECT_LE(failEachAllocation(make, read), 5);
    EXPECT_LE(failEachAllocation(std::make_unique<PackageBase>, read), 5);
}

TEST_F(OutOfMemoryElsewhere, FileSizes)
{
    QTemporaryDir directory;
    QFile file(directory.filePath(QStringLiteral("file")));
    ASSERT_TRUE(file.open(QIODevice::WriteOnly) && file.resize(7));
    const auto make = [&file] {
        auto package = std::make_unique<PackageRequestWriteFile>();
        package->setFileNameWithPaht(file.fileName());
        return package;
    };
    EXPECT_GT(failEachAllocation(make, [](auto &p) { return p.getPackageDataLength() == 7; }), 0);
}

TEST_F(OutOfMemoryElsewhere, Combinations)
{
    QTemporaryDir directory;
    QFile file(directory.filePath(QStringLiteral("file")));
    ASSERT_TRUE(file.open(QIODevice::WriteOnly) && file.resize(7));
    const QString record =
        QStringLiteral("writeFile^8,usb1,1,0,255,2,3,4,5,0,write,3,t1,ok,ok,false,file,%1,0|"
                       "writeData^8,usb1,1,0,255,2,3,4,5,0,write,3,t1,ok,ok,false,data,2,1/2")
            .arg(file.fileName());
    // The requests that a decoding made are deleted here, whether or not it came to its end.
    class Owner : public PackageRequestCombination
    {
    public:
        ~Owner() override { clear(); }
        void clear()
        {
            for (PackageBase *package : packageList())
                delete package;
        }
    };
    const auto makeEmpty = [] { return std::make_unique<Owner>(); };
    // A request whose record does not decode stays in the list, so the decoding may succeed
    // although an allocation has failed.
    int failures = 0;
    std::size_t inUse = allocations.inUse;
    for (int failing = 0;; ++failing) {
        EXPECT_EQ(allocations.inUse, inUse) << "leaks before allocation " << failing;
        Owner owner;
        failingAllocation = failing;
        const bool decoded = owner.unCombinationPackageRequest(record);
        const bool failed = failingAllocation == -1;
        failingAllocation = -1;
        if (!failed) {
            EXPECT_TRUE(decoded);
            EXPECT_EQ(owner.packageList().size(), 2U);
            break;
        }
        failures += decoded ? 0 : 1;
    }
    EXPECT_GT(failures, 0);

    const auto makeDecoded = [&] {
        auto owner = makeEmpty();
        EXPECT_TRUE(owner->unCombinationPackageRequest(record));
        return owner;
    };
    EXPECT_GT(
        failEachAllocation(makeDecoded, [](auto &c) { return c.makeCombinationPackageRequest(); }),
        0);
}

TEST_F(OutOfMemoryElsewhere, CheckOfAFileWriteSaysThatItFailed)
{
    PackageRequestCombination combination;
    ASSERT_TRUE(combination.unCombinationPackageRequest(
        QStringLiteral("writeFile^8,,1,0,255,2,3,4,5,0,write,3,,ok,ok,false,file,missing,0")));
    const LogCapture log;
    failingAllocation = 0;
    const bool checked = combination.makeCombinationPackageRequest();
    failingAllocation = -1;
    EXPECT_FALSE(checked);
    ASSERT_EQ(log.messages().size(), 1U);
    EXPECT_EQ(log.messages().front().text,
              QStringLiteral("convert to PackageRequestWriteFile* failed ."));
    EXPECT_EQ(log.messages().front().type, QtWarningMsg);
    delete combination.packageList().front();
}

} // namespace
