#include "testsupport.h"

#include <specialpackagerequest.h>

namespace {

TEST(SpecialPackageRequest, DefaultConstructor)
{
    const quint64 serial = PackageBase::makeSerialNum();
    const SpecialPackageRequest package;
    EXPECT_EQ(package.getSerialNum(), serial % 255 + 1);
    EXPECT_EQ(package.id(), 0);
    EXPECT_EQ(package.strData(), QString());
    EXPECT_EQ(package.specialFlagEndTimeOut(), 3600000);
    EXPECT_FALSE(package.getEnabledSpecialPackForAllPort());
    EXPECT_EQ(package.getTimeout(), 3) << "that of the base";
    EXPECT_EQ(package.getDeviceKey(), QString());
}

TEST(SpecialPackageRequest, ConstructorsWithArguments)
{
    const quint64 serial = PackageBase::makeSerialNum();
    const SpecialPackageRequest package(-7, 65535);
    EXPECT_EQ(package.getSerialNum(), serial % 255 + 1);
    EXPECT_EQ(package.id(), -7);
    EXPECT_EQ(package.specialFlagEndTimeOut(), 65535);
    EXPECT_EQ(package.getTimeout(), 0);
    EXPECT_EQ(package.getDeviceKey(), QString());

    const SpecialPackageRequest withKey(8, 9, QStringLiteral("key"));
    EXPECT_EQ(withKey.getSerialNum(), (serial + 1) % 255 + 1);
    EXPECT_EQ(withKey.id(), 8);
    EXPECT_EQ(withKey.specialFlagEndTimeOut(), 9);
    EXPECT_EQ(withKey.getTimeout(), 0);
    EXPECT_EQ(withKey.getDeviceKey(), QStringLiteral("key"));
    EXPECT_FALSE(withKey.getEnabledSpecialPackForAllPort());
}

SpecialPackageRequest makeSpecial()
{
    SpecialPackageRequest package(1, 2, QStringLiteral("key"));
    package.setId(-5);
    package.setStrData(QStringLiteral("text"));
    package.setSpecialFlagEndTimeOut(70000);
    package.setEnabledSpecialPackForAllPort(true);
    return package;
}

TEST(SpecialPackageRequest, Accessors)
{
    const SpecialPackageRequest package = makeSpecial();
    EXPECT_EQ(package.id(), -5);
    EXPECT_EQ(package.strData(), QStringLiteral("text"));
    EXPECT_EQ(package.specialFlagEndTimeOut(), 70000) << "more than a constructor takes";
    EXPECT_TRUE(package.getEnabledSpecialPackForAllPort());
}

TEST(SpecialPackageRequest, CopyMoveAndAssignment)
{
    SpecialPackageRequest source = makeSpecial();
    const QJsonObject expected = snapshot(source);
    SpecialPackageRequest copy(source);
    EXPECT_EQ(snapshot(copy), expected);
    SpecialPackageRequest target;
    EXPECT_EQ(&(target = source), &target);
    EXPECT_EQ(snapshot(target), expected);

    SpecialPackageRequest moved(std::move(copy));
    EXPECT_EQ(snapshot(moved), expected);
    SpecialPackageRequest moveTarget;
    EXPECT_EQ(&(moveTarget = std::move(moved)), &moveTarget);
    EXPECT_EQ(snapshot(moveTarget), expected);
}

TEST(SpecialPackageRequest, Records)
{
    SpecialPackageRequest package(12, 0);
    package.setStrData(QStringLiteral("hello"));
    EXPECT_EQ(package.makePackage(), QStringLiteral("12,0,hello"));
    EXPECT_EQ(package.makePackageRequest(), QStringLiteral("12,0,hello"));
    EXPECT_EQ(package.makePackageReply(), QStringLiteral("12,0,hello,0"));
    package.setAckCode(4294967295U);
    package.setId(-2147483647 - 1);
    package.setTimeout(-1);
    EXPECT_EQ(package.makePackageReply(), QStringLiteral("-2147483648,-1,hello,4294967295"));
}

struct ReadRow
{
    const char *record;
    bool result;
    int id;
    int timeout;
    const char *text;
};

const ReadRow ReadRows[] = {
    {"12,0,hello", true, 12, 0, "hello"},
    {"12,0,hello,7", true, 12, 0, "hello"}, // further columns are ignored
    {"12,0,a,b", true, 12, 0, "a"},
    {",,", true, 0, 0, ""},
    {"x,y,z", true, 0, 0, "z"},
    {"-3,-3,", true, -3, 0, ""}, // the time-out is read unsigned
    {"2147483648,2147483648,", true, 0, -2147483647 - 1, ""},
    {"0,4294967295,", true, 0, -1, ""},
    {"12,0", false, 99, 98, "before"},
    {"12", false, 99, 98, "before"},
    {"", false, 99, 98, "before"},
};

TEST(SpecialPackageRequest, ReadsItsRecord)
{
    for (const ReadRow &row : ReadRows) {
        SCOPED_TRACE(row.record);
        for (const bool direct : {true, false}) {
            SpecialPackageRequest package = makeSpecial();
            package.setId(99);
            package.setTimeout(98);
            package.setStrData(QStringLiteral("before"));
            package.setAckCode(97);
            QJsonObject expected = snapshot(package);
            expected[QStringLiteral("id")] = row.id;
            expected[QStringLiteral("timeout")] = row.timeout;
            expected[QStringLiteral("strData")] = QString::fromLatin1(row.text);
            const QString record = QString::fromLatin1(row.record);
            EXPECT_EQ(direct ? package.unPackage(record) : package.unPackageRequest(record),
                      row.result);
            EXPECT_EQ(snapshot(package), expected) << "all other fields stay";
        }
    }
}

TEST(SpecialPackageRequest, OwnReplyIsRefusedByTheInheritedReaderWithItsColumnsTaken)
{
    SpecialPackageRequest package = makeSpecial();
    QJsonObject expected = snapshot(package);
    expected[QStringLiteral("id")] = 13;
    expected[QStringLiteral("timeout")] = 4;
    expected[QStringLiteral("strData")] = QStringLiteral("bye");
    EXPECT_FALSE(package.unPackageReply(QStringLiteral("13,4,bye,7")));
    EXPECT_EQ(snapshot(package), expected) << "without the acknowledge code";
}

TEST(SpecialPackageRequest, ReplyOf15ColumnsIsRefusedUnread)
{
    SpecialPackageRequest package = makeSpecial();
    const QJsonObject before = snapshot(package);
    EXPECT_FALSE(package.unPackageReply(QStringLiteral("1,2,text,3,4,5,6,7,8,9,10,11,12,13,14")));
    EXPECT_EQ(snapshot(package), before);
}

TEST(SpecialPackageRequest, InheritedReplyReaderTakesTheAcknowledgeCodeOfColumn15)
{
    SpecialPackageRequest package;
    EXPECT_TRUE(package.unPackageReply(QStringLiteral("1,2,text,3,4,5,6,7,8,9,10,11,12,13,14,15")));
    EXPECT_EQ(package.id(), 1);
    EXPECT_EQ(package.getTimeout(), 2);
    EXPECT_EQ(package.strData(), QStringLiteral("text"));
    EXPECT_EQ(package.getAckCode(), 15U);
}

TEST(SpecialPackageRequest, RawBufferOverloadsAreNotHidden)
{
    SpecialPackageRequest package;
    EXPECT_TRUE(package.unPackage(nullptr, 0));
    EXPECT_TRUE(package.unPackageReply(nullptr, 0));
}

TEST(SpecialPackageRequest, MetaObject)
{
    const QMetaObject &meta = SpecialPackageRequest::staticMetaObject;
    EXPECT_STREQ(meta.className(), "SpecialPackageRequest");
    EXPECT_EQ(meta.superClass(), &PackageBase::staticMetaObject);
    EXPECT_EQ(meta.methodCount(), meta.methodOffset());
    EXPECT_EQ(meta.propertyCount(), meta.propertyOffset());
}

} // namespace
