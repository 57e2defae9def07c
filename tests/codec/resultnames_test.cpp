// The codes, their names, and the conversions between them as text records show them.

#include "testsupport.h"

namespace {

struct CommRow
{
    OrvexEnum::CommResults code;
    int value;
    const char *name;
};

constexpr CommRow CommRows[] = {
    {OrvexEnum::CommPending, 0, "pending"}, {OrvexEnum::CommOk, 1, "ok"},
    {OrvexEnum::CommCrcErr, 2, "crcErr"},   {OrvexEnum::CommLengthErr, 3, "lengthErr"},
    {OrvexEnum::CommPortErr, 4, "portErr"}, {OrvexEnum::CommTimeout, 5, "timeout"},
    {OrvexEnum::CommCodeErr, 6, "codeErr"}, {OrvexEnum::CommForcedCancel, 7, "forcedCancel"},
};

struct PackRow
{
    OrvexEnum::PackageResults code;
    int value;
    const char *name;
};

constexpr PackRow PackRows[] = {
    {OrvexEnum::PackOk, 0, "ok"},
    {OrvexEnum::PackFileErr, 1, "fileErr"},
    {OrvexEnum::PackMemErr, 2, "memErr"},
    {OrvexEnum::PackFileDeleteErr, 3, "fileDeleteErr"},
    {OrvexEnum::PackDirectoryCreateErr, 4, "directoryCreateErr"},
    {OrvexEnum::PackInvalidPort, 5, "invalidPort"},
    {OrvexEnum::PackParseFailure, 6, "parseFailure"},
    {OrvexEnum::PackMessageDisconnect, 7, "messageDisconnect"},
    {OrvexEnum::PackForceCancel, 8, "forceCancel"},
    {OrvexEnum::PackSendError, 9, "sendError"},
    {OrvexEnum::PackParsePackAddrFailure, 10, "parsePackAddrFailure"},
    {OrvexEnum::PackFailure, 245, "failure"},
    {OrvexEnum::PackDisConnect, 246, "disConnect"},
    {OrvexEnum::PackFileNoExist, 247, "fileNoExist"},
    {OrvexEnum::PackFileReadFailure, 248, "fileReadFailure"},
    {OrvexEnum::PackFileCreatFailure, 249, "fileCreatFailure"},
    {OrvexEnum::PackFileWriteFailure, 250, "fileWriteFailure"},
    {OrvexEnum::PackDeviceSpaceNoEnough, 251, "deviceSpaceNoEnough"},
    {OrvexEnum::PackCancelWait, 252, "cancelWait"},
    {OrvexEnum::PackCancel, 253, "cancel"},
    {OrvexEnum::PackAbort, 254, "abort"},
    {OrvexEnum::PackTimeOut, 255, "timeOut"},
};

// The conversions are private: an explicit instantiation may name them, and its friend returns
// them.

struct CommToName
{
    using Type = QString (*)(OrvexEnum::CommResults);
    friend Type privateOperation(CommToName);
};

struct CommOfName
{
    using Type = OrvexEnum::CommResults (*)(QString);
    friend Type privateOperation(CommOfName);
};

struct PackToName
{
    using Type = QString (*)(OrvexEnum::PackageResults);
    friend Type privateOperation(PackToName);
};

struct PackOfName
{
    using Type = OrvexEnum::PackageResults (*)(QString);
    friend Type privateOperation(PackOfName);
};

template <typename Tag, typename Tag::Type Operation>
struct HandOut
{
    friend typename Tag::Type privateOperation(Tag) { return Operation; }
};

template struct HandOut<CommToName, &PackageBase::GetCommResultsToStr>;
template struct HandOut<CommOfName, &PackageBase::GetCommResults>;
template struct HandOut<PackToName, &PackageBase::GetPackageResultsToStr>;
template struct HandOut<PackOfName, &PackageBase::GetPackageResultsStr>;

QString record(const char *commName, const char *packName)
{
    return QStringLiteral("0,,0,0,0,0,0,0,0,0,read,3,,%1,%2")
        .arg(QLatin1String(commName), QLatin1String(packName));
}

TEST(ResultNames, CommunicationResults)
{
    for (const CommRow &row : CommRows) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(row.code, row.value);
        PackageBase package;
        package.setCommResult(row.code);
        EXPECT_EQ(package.makePackageRequest(), record(row.name, "ok"));
        package.setCommResult(OrvexEnum::CommResults(99));
        EXPECT_TRUE(package.unPackageRequest(record(row.name, "ok")));
        EXPECT_EQ(package.getCommResult(), row.value);
    }
}

TEST(ResultNames, PackageResults)
{
    for (const PackRow &row : PackRows) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(row.code, row.value);
        PackageBase package;
        package.setPackResult(row.code);
        EXPECT_EQ(package.makePackageRequest(), record("ok", row.name));
        package.setPackResult(OrvexEnum::PackageResults(99));
        EXPECT_TRUE(package.unPackageRequest(record("ok", row.name)));
        EXPECT_EQ(package.getPackResult(), row.value);
    }
}

TEST(ResultNames, ConversionsOfCommunicationResults)
{
    const auto toName = privateOperation(CommToName());
    const auto ofName = privateOperation(CommOfName());
    for (const CommRow &row : CommRows) {
        EXPECT_EQ(toName(row.code), QLatin1String(row.name));
        EXPECT_EQ(ofName(QLatin1String(row.name)), row.code);
    }
    EXPECT_EQ(toName(OrvexEnum::CommResults(8)), QString());
    EXPECT_EQ(ofName(QStringLiteral("timeOut")), OrvexEnum::CommOk);
    EXPECT_EQ(ofName(QString()), OrvexEnum::CommOk);
}

TEST(ResultNames, ConversionsOfPackageResults)
{
    const auto toName = privateOperation(PackToName());
    const auto ofName = privateOperation(PackOfName());
    for (const PackRow &row : PackRows) {
        EXPECT_EQ(toName(row.code), QLatin1String(row.name));
        EXPECT_EQ(ofName(QLatin1String(row.name)), row.code);
    }
    EXPECT_EQ(toName(OrvexEnum::PackageResults(11)), QString());
    EXPECT_EQ(toName(OrvexEnum::PackageResults(244)), QString());
    EXPECT_EQ(ofName(QStringLiteral("timeout")), OrvexEnum::PackOk);
    EXPECT_EQ(ofName(QString()), OrvexEnum::PackOk);
}

TEST(ResultNames, CodeWithoutARowHasTheEmptyName)
{
    for (const int code : {-1, 8, 256}) {
        PackageBase package;
        package.setCommResult(OrvexEnum::CommResults(code));
        EXPECT_EQ(package.getCommResult(), code);
        EXPECT_EQ(package.makePackageRequest(), record("", "ok"));
    }
    for (const int code : {-1, 11, 244, 256}) {
        PackageBase package;
        package.setPackResult(OrvexEnum::PackageResults(code));
        EXPECT_EQ(package.getPackResult(), code);
        EXPECT_EQ(package.makePackageRequest(), record("ok", ""));
    }
}

TEST(ResultNames, UnknownNameReadsAsSuccess)
{
    // The two vocabularies do not mix: "timeOut" and "forceCancel" are package results only,
    // "timeout" and "forcedCancel" communication results only.
    for (const char *name :
         {"", "OK", "Ok", "timeOut", "forceCancel", " pending", "pending ", "1"}) {
        PackageBase package;
        package.setCommResult(OrvexEnum::CommCrcErr);
        EXPECT_TRUE(package.unPackageRequest(record(name, "ok")));
        EXPECT_EQ(package.getCommResult(), OrvexEnum::CommOk) << name;
    }
    for (const char *name : {"", "OK", "timeout", "forcedCancel", "TimeOut", "fileCreateFailure"}) {
        PackageBase package;
        package.setPackResult(OrvexEnum::PackAbort);
        EXPECT_TRUE(package.unPackageRequest(record("ok", name)));
        EXPECT_EQ(package.getPackResult(), OrvexEnum::PackOk) << name;
    }
}

TEST(Enumerations, OtherValues)
{
    EXPECT_EQ(OrvexEnum::Read, 0);
    EXPECT_EQ(OrvexEnum::Write, 1);
    EXPECT_EQ(OrvexEnum::DataPackage, 0);
    EXPECT_EQ(OrvexEnum::FilePackage, 1);
    EXPECT_EQ(OrvexEnum::MemDataPackage, 2);
    EXPECT_TRUE((std::is_same_v<std::underlying_type_t<OrvexEnum::ReadWriteCode>, int>));
    EXPECT_TRUE((std::is_same_v<std::underlying_type_t<OrvexEnum::CommResults>, int>));
    EXPECT_TRUE((std::is_same_v<std::underlying_type_t<OrvexEnum::PackageResults>, int>));
    EXPECT_TRUE((std::is_same_v<std::underlying_type_t<OrvexEnum::ClientPackageType>, int>));
}

} // namespace
