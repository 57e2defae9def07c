// Fields, construction, copying, order, serial numbers and signals of PackageBase.

#include "testsupport.h"

#include <QtCore/QMetaMethod>

#include <cstring>

namespace KORVIN_LINUX_CLIENT {
class PackageTimerOut
{
};
} // namespace KORVIN_LINUX_CLIENT

namespace {

/// Draws serial numbers until the next one is @p wanted.
void makeNextSerial(quint64 wanted)
{
    const quint64 before = wanted == 1 ? 255 : wanted - 1;
    while (PackageBase::makeSerialNum() != before) { }
}

TEST(PackageBase, Defaults)
{
    PackageBase package;
    EXPECT_EQ(package.getAckCode(), 0U);
    EXPECT_EQ(package.getScrAddr(), 0);
    EXPECT_EQ(package.getDesAddr(), 0);
    EXPECT_EQ(package.getDeviceType(), 0);
    EXPECT_EQ(package.getPortAddr(), 0);
    EXPECT_EQ(package.getHighAddr(), 0);
    EXPECT_EQ(package.getLowAddr(), 0);
    EXPECT_EQ(package.getReadWriteCode(), OrvexEnum::Read);
    EXPECT_EQ(package.getScanBoardAddr(), 0);
    EXPECT_EQ(package.getReserved2(), 0);
    EXPECT_EQ(package.getDeviceKey(), QString());
    EXPECT_EQ(package.getMaxPartSize(), 2048);
    EXPECT_EQ(package.getPartCount(), 0);
    EXPECT_EQ(package.getCurPartIndex(), 0);
    EXPECT_EQ(package.getSerialNum(), 0U);
    EXPECT_EQ(package.getTag(), QString());
    EXPECT_EQ(package.getTagProto(), QStringLiteral("3rd-proto"));
    EXPECT_EQ(package.getUserToken(), nullptr);
    EXPECT_EQ(package.getTimeout(), 3);
    EXPECT_EQ(package.getClientPackageType(), OrvexEnum::DataPackage);
    EXPECT_FALSE(package.getSubcribeHardware());
    EXPECT_TRUE(package.getIsRegisterAddrSelfIncreasing());
    EXPECT_EQ(package.getCommResult(), OrvexEnum::CommOk);
    EXPECT_EQ(package.getPackResult(), OrvexEnum::PackOk);
    EXPECT_EQ(package.getTimeOutTimer(), nullptr);
    EXPECT_EQ(package.getSeverConnectionKey(), QString());
    EXPECT_TRUE(package.isPackageSuccess());
    EXPECT_EQ(package.getDataLength(), 0);
    EXPECT_EQ(package.data(), QByteArray());
    EXPECT_EQ(package.getPackageDataLength(), 0);
    EXPECT_EQ(package.parent(), nullptr);
}

TEST(PackageBase, DefaultConstructionDrawsNoSerialNumber)
{
    makeNextSerial(17);
    const PackageBase package;
    EXPECT_EQ(PackageBase::makeSerialNum(), 17U);
}

TEST(PackageBase, ConstructorWithAcknowledgeCode)
{
    makeNextSerial(40);
    PackageBase package(QStringLiteral("key"), 1, 2, 3, 4, 5, 0x0607, 0x0809, 0x0A0B,
                        OrvexEnum::Write, 12, 13, QStringLiteral("tag"), OrvexEnum::CommTimeout,
                        false);
    PackageBase expected;
    expected.setSerialNum(40);
    expected.setDeviceKey(QStringLiteral("key"));
    expected.setAckCode(1);
    expected.setScrAddr(2);
    expected.setDesAddr(3);
    expected.setDeviceType(4);
    expected.setPortAddr(5);
    expected.setScanBoardAddr(0x0607);
    expected.setHighAddr(0x0809);
    expected.setLowAddr(0x0A0B);
    expected.setReadWriteCode(OrvexEnum::Write);
    expected.setReserved2(12);
    expected.setTimeout(13);
    expected.setTag(QStringLiteral("tag"));
    expected.setCommResult(OrvexEnum::CommTimeout);
    expected.setIsRegisterAddrSelfIncreasing(false);
    EXPECT_EQ(snapshot(package), snapshot(expected));
}

TEST(PackageBase, ConstructorWithKind)
{
    makeNextSerial(41);
    PackageBase package(QStringLiteral("key"), 2, 3, 4, 5, 0x0607, 0x0809, 0x0A0B, 12, 13,
                        QStringLiteral("tag"), OrvexEnum::CommTimeout, OrvexEnum::FilePackage,
                        OrvexEnum::Write, false);
    PackageBase expected;
    expected.setSerialNum(41);
    expected.setDeviceKey(QStringLiteral("key"));
    expected.setScrAddr(2);
    expected.setDesAddr(3);
    expected.setDeviceType(4);
    expected.setPortAddr(5);
    expected.setScanBoardAddr(0x0607);
    expected.setHighAddr(0x0809);
    expected.setLowAddr(0x0A0B);
    expected.setReadWriteCode(OrvexEnum::Write);
    expected.setReserved2(12);
    expected.setTimeout(13);
    expected.setTag(QStringLiteral("tag"));
    expected.setCommResult(OrvexEnum::CommTimeout);
    expected.setClientPackageType(OrvexEnum::FilePackage);
    expected.setIsRegisterAddrSelfIncreasing(false);
    EXPECT_EQ(snapshot(package), snapshot(expected));
}

TEST(PackageBase, ConstructorsKeepTheWidthOfTheirArguments)
{
    PackageBase package(QString(), 255, 254, 253, 252, 251, 65535, 65534, 65533, OrvexEnum::Read,
                        250, -1, QString(), OrvexEnum::CommResults(-7), true);
    EXPECT_EQ(package.getAckCode(), 255U);
    EXPECT_EQ(package.getScrAddr(), 254);
    EXPECT_EQ(package.getDesAddr(), 253);
    EXPECT_EQ(package.getDeviceType(), 252);
    EXPECT_EQ(package.getPortAddr(), 251);
    EXPECT_EQ(package.getScanBoardAddr(), 65535);
    EXPECT_EQ(package.getHighAddr(), 65534);
    EXPECT_EQ(package.getLowAddr(), 65533);
    EXPECT_EQ(package.getReserved2(), 250);
    EXPECT_EQ(package.getTimeout(), -1);
    EXPECT_EQ(package.getCommResult(), -7);
}

TEST(PackageBase, Accessors)
{
    PackageBase package;
    int token = 0;
    KORVIN_LINUX_CLIENT::PackageTimerOut timer;

    package.setAckCode(0xFFFFFFFFU);
    EXPECT_EQ(package.getAckCode(), 0xFFFFFFFFU);
    package.setScrAddr(static_cast<char>(201));
    EXPECT_EQ(package.getScrAddr(), 201);
    package.setDesAddr(static_cast<char>(200));
    EXPECT_EQ(package.getDesAddr(), 200) << "never negative, although set through a char";
    package.setDeviceType(-5);
    EXPECT_EQ(package.getDeviceType(), -5);
    package.setPortAddr(static_cast<char>(202));
    EXPECT_EQ(package.getPortAddr(), 202);
    package.setHighAddr(65535);
    EXPECT_EQ(package.getHighAddr(), 65535);
    package.setLowAddr(65534);
    EXPECT_EQ(package.getLowAddr(), 65534);
    package.setReadWriteCode(OrvexEnum::ReadWriteCode(7));
    EXPECT_EQ(package.getReadWriteCode(), 7);
    package.setScanBoardAddr(70000);
    EXPECT_EQ(package.getScanBoardAddr(), 4464) << "cut to 16 bits";
    package.setScanBoardAddr(-1);
    EXPECT_EQ(package.getScanBoardAddr(), 65535);
    package.setReserved2(-6);
    EXPECT_EQ(package.getReserved2(), -6);
    package.setDeviceKey(QStringLiteral("key"));
    EXPECT_EQ(package.getDeviceKey(), QStringLiteral("key"));
    package.setMaxPartSize(-7);
    EXPECT_EQ(package.getMaxPartSize(), -7);
    package.setPartCount(8);
    EXPECT_EQ(package.getPartCount(), 8);
    package.setCurPartIndex(9);
    EXPECT_EQ(package.getCurPartIndex(), 9);
    package.setSerialNum(0xFFFFFFFFFFFFFFFFU);
    EXPECT_EQ(package.getSerialNum(), 0xFFFFFFFFFFFFFFFFU);
    package.setTag(QStringLiteral("tag"));
    EXPECT_EQ(package.getTag(), QStringLiteral("tag"));
    package.setTagProto(QStringLiteral("proto"));
    EXPECT_EQ(package.getTagProto(), QStringLiteral("proto"));
    package.setUserToken(&token);
    EXPECT_EQ(package.getUserToken(), &token);
    package.setTimeout(-10);
    EXPECT_EQ(package.getTimeout(), -10);
    package.setClientPackageType(OrvexEnum::ClientPackageType(11));
    EXPECT_EQ(package.getClientPackageType(), 11);
    package.setSubcribeHardware(true);
    EXPECT_TRUE(package.getSubcribeHardware());
    package.setIsRegisterAddrSelfIncreasing(false);
    EXPECT_FALSE(package.getIsRegisterAddrSelfIncreasing());
    package.setCommResult(OrvexEnum::CommResults(12));
    EXPECT_EQ(package.getCommResult(), 12);
    package.setPackResult(OrvexEnum::PackageResults(13));
    EXPECT_EQ(package.getPackResult(), 13);
    package.setTimeOutTimer(&timer);
    EXPECT_EQ(package.getTimeOutTimer(), &timer);
    package.setServerConnectionKey(QStringLiteral("server"));
    EXPECT_EQ(package.getSeverConnectionKey(), QStringLiteral("server"));
}

TEST(PackageBase, BaseIgnoresData)
{
    PackageBase package;
    const QJsonObject before = snapshot(package);
    package.setData(hex("0102"));
    package.setPackageDataLength(2);
    EXPECT_EQ(package.data(), QByteArray());
    EXPECT_EQ(package.getPackageDataLength(), 0);
    EXPECT_EQ(snapshot(package), before);
}

/// A package in which no field has its default.
void fill(PackageBase &package)
{
    static int token;
    static KORVIN_LINUX_CLIENT::PackageTimerOut timer;
    package.setAckCode(1);
    package.setScrAddr(2);
    package.setDesAddr(3);
    package.setDeviceType(4);
    package.setPortAddr(5);
    package.setHighAddr(6);
    package.setLowAddr(7);
    package.setReadWriteCode(OrvexEnum::Write);
    package.setScanBoardAddr(8);
    package.setReserved2(9);
    package.setDeviceKey(QStringLiteral("key"));
    package.setMaxPartSize(10);
    package.setPartCount(11);
    package.setCurPartIndex(12);
    package.setSerialNum(13);
    package.setTag(QStringLiteral("tag"));
    package.setTagProto(QStringLiteral("proto"));
    package.setUserToken(&token);
    package.setTimeout(14);
    package.setClientPackageType(OrvexEnum::MemDataPackage);
    package.setSubcribeHardware(true);
    package.setIsRegisterAddrSelfIncreasing(false);
    package.setCommResult(OrvexEnum::CommCodeErr);
    package.setPackResult(OrvexEnum::PackCancel);
    package.setTimeOutTimer(&timer);
    package.setServerConnectionKey(QStringLiteral("server"));
}

TEST(PackageBase, CopyHasAllFieldsButTheServerConnectionKey)
{
    QObject parent;
    PackageBase source;
    fill(source);
    source.setParent(&parent);
    source.setObjectName(QStringLiteral("name"));

    PackageBase copy(source);
    EXPECT_EQ(copy.getSeverConnectionKey(), QString());
    EXPECT_EQ(copy.getUserToken(), source.getUserToken());
    EXPECT_EQ(copy.getTimeOutTimer(), source.getTimeOutTimer());
    EXPECT_EQ(copy.parent(), nullptr);
    EXPECT_EQ(copy.objectName(), QString());
    EXPECT_FALSE(copy < source);
    EXPECT_FALSE(source < copy);
    copy.setServerConnectionKey(QStringLiteral("server"));
    EXPECT_EQ(snapshot(copy), snapshot(source));

    copy.setTimeout(99);
    EXPECT_EQ(source.getTimeout(), 14) << "the copy has fields of its own";
}

TEST(PackageBase, AssignmentKeepsTheServerConnectionKeyOfTheTarget)
{
    PackageBase source;
    fill(source);
    PackageBase target;
    target.setServerConnectionKey(QStringLiteral("own"));
    EXPECT_EQ(&(target = source), &target);
    EXPECT_EQ(target.getSeverConnectionKey(), QStringLiteral("own"));
    EXPECT_EQ(target.getUserToken(), source.getUserToken());
    EXPECT_EQ(target.getTimeOutTimer(), source.getTimeOutTimer());
    source.setServerConnectionKey(QStringLiteral("own"));
    EXPECT_EQ(snapshot(target), snapshot(source));
}

TEST(PackageBase, SelfAssignmentChangesNothing)
{
    PackageBase package;
    fill(package);
    const QJsonObject before = snapshot(package);
    PackageBase &same = package;
    package = same;
    EXPECT_EQ(snapshot(package), before);
}

TEST(PackageBase, SerialNumbersRunFromTwoTo255ThenFromOne)
{
    makeNextSerial(2);
    for (quint64 expected = 2; expected <= 255; ++expected)
        EXPECT_EQ(PackageBase::makeSerialNum(), expected);
    EXPECT_EQ(PackageBase::makeSerialNum(), 1U);
    EXPECT_EQ(PackageBase::makeSerialNum(), 2U);
}

TEST(PackageBase, SerialCounterIsTheNumberDrawnLast)
{
    PackageBase::SERIALNUM = 1;
    EXPECT_EQ(PackageBase::makeSerialNum(), 2U) << "as in a new process";
    EXPECT_EQ(PackageBase::SERIALNUM, 2U);
    PackageBase::SERIALNUM = 99;
    EXPECT_EQ(PackageBase::makeSerialNum(), 100U);
    PackageBase::SERIALNUM = 1000;
    EXPECT_EQ(PackageBase::makeSerialNum(), 1U);
}

TEST(PackageBase, SerialNumberWrapsAfter254Packages)
{
    makeNextSerial(2);
    const auto make = [] {
        return PackageBase(QString(), 0, 0, 0, 0, 0, 0, 0, 0, 0, QString(), OrvexEnum::CommOk,
                           OrvexEnum::DataPackage, OrvexEnum::Read, true)
            .getSerialNum();
    };
    for (int i = 0; i < 254; ++i)
        make();
    EXPECT_EQ(make(), 1U);
}

TEST(PackageBase, OrderIsThatOfUnsignedSerialNumbers)
{
    PackageBase older;
    PackageBase wrapped;
    older.setSerialNum(255);
    wrapped.setSerialNum(1);
    EXPECT_TRUE(wrapped < older);
    EXPECT_FALSE(older < wrapped);
    wrapped.setSerialNum(0x8000000000000000U);
    EXPECT_TRUE(older < wrapped);
    EXPECT_FALSE(wrapped < older);
}

TEST(PackageBase, SuccessNeedsAllThreeOutcomes)
{
    PackageBase package;
    EXPECT_TRUE(package.isPackageSuccess());
    package.setCommResult(OrvexEnum::CommPending);
    EXPECT_FALSE(package.isPackageSuccess());
    package.setCommResult(OrvexEnum::CommOk);
    package.setPackResult(OrvexEnum::PackFileErr);
    EXPECT_FALSE(package.isPackageSuccess());
    package.setPackResult(OrvexEnum::PackOk);
    package.setAckCode(1);
    EXPECT_FALSE(package.isPackageSuccess());
    package.setAckCode(0);
    EXPECT_TRUE(package.isPackageSuccess());
}

TEST(PackageBase, PartSendComplete)
{
    PackageBase package;
    EXPECT_TRUE(package.partSendComplete(0));
    EXPECT_FALSE(package.partSendComplete(-1)) << "compared as signed numbers";
    package.setPartCount(3);
    EXPECT_FALSE(package.partSendComplete(2));
    EXPECT_TRUE(package.partSendComplete(3));
    EXPECT_TRUE(package.partSendComplete(4));
}

/// Gives tests access to protected members.
class Probe : public PackageBase
{
public:
    using PackageBase::makePackage;
    using PackageBase::unPackage;

    void resetFields() { m_pPackageBasePri.reset(); }
    void resetFieldsToNull() { m_pPackageBasePri.reset(nullptr); }
    void loseFields() { m_pPackageBasePri = nullptr; }

    bool hasFields() const
    {
        const bool is = m_pPackageBasePri != nullptr;
        EXPECT_EQ(nullptr != m_pPackageBasePri, is);
        EXPECT_EQ(m_pPackageBasePri == nullptr, !is);
        EXPECT_EQ(nullptr == m_pPackageBasePri, !is);
        return is;
    }
};

TEST(PackageBase, SubclassMayDropTheFieldsInAnyWay)
{
    for (const auto drop : {&Probe::resetFields, &Probe::resetFieldsToNull, &Probe::loseFields}) {
        Probe package;
        package.setSerialNum(5);
        EXPECT_TRUE(package.hasFields());
        (package.*drop)();
        EXPECT_FALSE(package.hasFields());
        const LogCapture log;
        EXPECT_EQ(package.getSerialNum(), 0U);
        EXPECT_EQ(log.messages().size(), 1U);
    }
}

TEST(PackageBase, SerialNumberOfAPackageWithoutFieldsIsZeroAndReported)
{
    Probe package;
    package.setSerialNum(5);
    package.loseFields();
    const LogCapture log;
    EXPECT_EQ(package.getSerialNum(), 0U);
    ASSERT_EQ(log.messages().size(), 1U);
    const LogCapture::Entry &message = log.messages().front();
    EXPECT_EQ(message.type, QtCriticalMsg);
    EXPECT_EQ(message.text, QStringLiteral("ERROR!!!  m_pPackageBasePri is nullptr!!! "));
    EXPECT_EQ(message.file, QStringLiteral("packagebase"));
    EXPECT_EQ(message.line, 466);
    EXPECT_EQ(message.category, QStringLiteral("default"));
    EXPECT_TRUE(message.function.contains(QStringLiteral("PackageBase::getSerialNum() const")))
        << message.function.toStdString();
}

/// Records the signals that are disconnected from it, and its end.
class Disconnected : public PackageBase
{
public:
    explicit Disconnected(QStringList *events)
        : m_events(events)
    {
    }

    ~Disconnected() override { m_events->append(QStringLiteral("deleted")); }

protected:
    void disconnectNotify(const QMetaMethod &signal) override
    {
        m_events->append(QString::fromLatin1(signal.name()));
    }

private:
    QStringList *m_events;
};

TEST(PackageBase, ClearDisconnectsBothSignalsThenDeletes)
{
    QStringList events;
    QObject receiver;
    auto *package = new Disconnected(&events);
    QObject::connect(package, &PackageBase::BeginRequestEvent, &receiver, [] {});
    QObject::connect(package, &PackageBase::CompleteRequestEvent, &receiver, [] {});
    PackageBase::clear(package);
    EXPECT_EQ(events,
              QStringList({QStringLiteral("CompleteRequestEvent"),
                           QStringLiteral("BeginRequestEvent"), QStringLiteral("deleted")}));
}

TEST(PackageBase, ClearOfNullDoesNothing)
{
    PackageBase::clear(nullptr);
}

TEST(PackageBase, MetaObject)
{
    const QMetaObject &meta = PackageBase::staticMetaObject;
    EXPECT_STREQ(meta.className(), "PackageBase");
    EXPECT_EQ(meta.superClass(), &QObject::staticMetaObject);
    ASSERT_EQ(meta.methodCount() - meta.methodOffset(), 2);
    EXPECT_EQ(meta.propertyCount(), meta.propertyOffset());
    const QMetaMethod begin = meta.method(meta.methodOffset());
    const QMetaMethod complete = meta.method(meta.methodOffset() + 1);
    EXPECT_EQ(begin.methodSignature(), QByteArray("BeginRequestEvent(void*,PackageBase*)"));
    EXPECT_EQ(complete.methodSignature(), QByteArray("CompleteRequestEvent(void*,PackageBase*)"));
    for (const QMetaMethod &signal : {begin, complete}) {
        EXPECT_EQ(signal.methodType(), QMetaMethod::Signal);
        EXPECT_EQ(signal.access(), QMetaMethod::Public);
    }
    EXPECT_EQ(QMetaMethod::fromSignal(&PackageBase::BeginRequestEvent), begin);
    EXPECT_EQ(QMetaMethod::fromSignal(&PackageBase::CompleteRequestEvent), complete);
}

TEST(PackageBase, MetaCallRegistersThePackagePointerOfEitherSignal)
{
    for (int signal = 0; signal < 2; ++signal) {
        PackageBase package;
        int argument = 1;
#if QT_VERSION < QT_VERSION_CHECK(6, 0, 0)
        int type = 0;
        const auto named = [] { return QMetaType::type("PackageBase*"); };
        const int unknown = QMetaType::UnknownType;
        const int none = -1;
#else
        QMetaType type;
        const auto named = [] { return QMetaType::fromType<PackageBase *>(); };
        const QMetaType unknown;
        const QMetaType none;
#endif
        void *arguments[] = {&type, &argument};
        package.qt_metacall(QMetaObject::RegisterMethodArgumentMetaType,
                            PackageBase::staticMetaObject.methodOffset() + signal, arguments);
        EXPECT_TRUE(type == named());
        EXPECT_FALSE(type == unknown);
        argument = 0;
        package.qt_metacall(QMetaObject::RegisterMethodArgumentMetaType,
                            PackageBase::staticMetaObject.methodOffset() + signal, arguments);
        EXPECT_TRUE(type == none);
    }
}

TEST(PackageBase, SignalsReachTheirReceivers)
{
    PackageBase package;
    int token = 0;
    QStringList events;
    QObject::connect(&package, &PackageBase::BeginRequestEvent,
                     [&](void *emitter, PackageBase *subject) {
                         EXPECT_EQ(emitter, &token);
                         EXPECT_EQ(subject, &package);
                         events << QStringLiteral("begin");
                     });
    QObject::connect(&package, &PackageBase::CompleteRequestEvent,
                     [&](void *, PackageBase *) { events << QStringLiteral("complete"); });
    Q_EMIT package.BeginRequestEvent(&token, &package);
    Q_EMIT package.CompleteRequestEvent(&token, &package);
    EXPECT_EQ(events, QStringList({QStringLiteral("begin"), QStringLiteral("complete")}));
}

TEST(PackageBase, RawBufferPlaceholdersAcceptAnything)
{
    PackageBase package;
    fill(package);
    const QJsonObject before = snapshot(package);
    EXPECT_TRUE(package.unPackage(nullptr, 0));
    EXPECT_TRUE(package.unPackageReply(nullptr, 0));
    char buffer[] = "x";
    EXPECT_TRUE(package.unPackage(buffer, -1));
    EXPECT_TRUE(package.unPackageReply(buffer, -1));
    EXPECT_EQ(snapshot(package), before);
}

/// The slot of a virtual function: the Itanium ABI stores 1 + its offset in the table. On ARM the
/// second word has the 1.
template <typename Function>
long slotOf(Function function)
{
    static_assert(sizeof function == 2 * sizeof(long));
    long words[2];
    std::memcpy(words, &function, sizeof words);
    constexpr auto SlotSize = static_cast<long>(sizeof(void *));
    EXPECT_EQ(words[0] % SlotSize + words[1] % 2, 1) << "not virtual";
    return words[0] / SlotSize;
}

TEST(PackageBase, SlotOrder)
{
    using P = PackageBase;
    const long first = slotOf(&P::getDataLength);
    const std::vector<long> slots{
        first,
        slotOf(&P::data),
        slotOf(&P::setData),
        slotOf(&P::setPackageDataLength),
        slotOf(&P::getPackageDataLength),
        slotOf(&P::MackPackageRequest),
        slotOf(&P::UnPackageRequest),
        slotOf(&P::MackPackageReply),
        slotOf(&P::UnPackageReply),
        slotOf(&P::AppendDataToPackage),
        slotOf(&P::ParseDataFromPackage),
        slotOf(&P::makePackageReply),
        slotOf(&P::makePackageRequest),
        slotOf<bool (P::*)(void *, int)>(&P::unPackageReply),
        slotOf<bool (P::*)(QString)>(&P::unPackageReply),
        slotOf<bool (P::*)(QString)>(&P::unPackageRequest),
        slotOf<bool (P::*)(QString)>(&Probe::unPackage),
        slotOf(&P::unBasePackageReply_Linux),
        slotOf(&Probe::makePackage),
    };
    constexpr long SlotsOfQObject = 12; // with both destructors
    for (std::size_t i = 0; i < slots.size(); ++i)
        EXPECT_EQ(slots[i], SlotsOfQObject + static_cast<long>(i)) << i;
}

} // namespace
