// The form that a request travels in: the first one that carries all of it.

#include "exchangesupport.h"

#include <korvininspect/packageclass.h>
#include <korvininspect/packagejson.h>
#include <packagerequestreadfile.h>
#include <packagerequestreadmemdata.h>
#include <packagerequestwritefile.h>
#include <specialpackagerequest.h>

namespace {

constexpr quint32 Register = 0x0A000010;

const QString Surrogate(QChar(0xD800));

using Change = std::function<void(PackageBase &)>;

Change withKey(const QString &key)
{
    return [=](PackageBase &package) { package.setDeviceKey(key); };
}

Change withTag(const QString &tag)
{
    return [=](PackageBase &package) { package.setTag(tag); };
}

Change withKind(OrvexEnum::ClientPackageType kind)
{
    return [=](PackageBase &package) { package.setClientPackageType(kind); };
}

void lengthen(PackageBase &package, int length)
{
    static_cast<PackageRequestReadData &>(package).setReplyDataLength(length);
}

/// A request that one form carries and another does not.
struct FormRow
{
    const char *name;
    Change change; ///< Of a read.
    Form refusing;
    Form carrying;
    const char *verdict; ///< Where only the first is allowed.
};

void PrintTo(const FormRow &row, std::ostream *out)
{
    *out << row.name;
}

const FormRow FormRows[] = {
    {"a comma in the tag", withTag(QStringLiteral("a,b")), Form::Text, Form::Frame,
     "tag: out of range: a text without commas expected, \"a,b\" found"},
    {"a negative reserved 2", [](PackageBase &package) { package.setReserved2(-1); }, Form::Text,
     Form::Frame, "reserved2: out of range: 0 to 2147483647 expected, -1 found"},
    {"an escape in the key", withKey(QStringLiteral("a#*#b")), Form::Text, Form::Frame,
     "deviceKey: out of range: a key that its escapes give back expected, \"a#*#b\" found"},
    {"a slash before a comma", withKey(QStringLiteral("/,")), Form::Text, Form::Frame,
     "deviceKey: out of range: a key that its escapes give back expected, \"/,\" found"},
    {"a zero in the key", withKey(QString(1, QChar())), Form::Frame, Form::Text,
     "deviceKey: the text contains a zero byte, where a decoder ends it"},
    {"a zero in the tag", withTag(QString(1, QChar())), Form::Frame, Form::Text,
     "tag: the text contains a zero byte, where a decoder ends it"},
    {"a byte order mark before the tag", withTag(QString(QChar(QChar::ByteOrderMark))), Form::Frame,
     Form::Text, "tag: the text is not UTF-8"},
    {"a long key", withKey(QString(65536, QLatin1Char('k'))), Form::Frame, Form::Text,
     "deviceKey: out of range: 0 to 65535 expected, 65536 found"},
    {"a kind that is not data", withKind(OrvexEnum::MemDataPackage), Form::Linux, Form::Frame,
     "clientPackageType: out of range: data (0) expected, memData (2) found"},
    {"the same in a record", withKind(OrvexEnum::FilePackage), Form::Linux, Form::Text,
     "clientPackageType: out of range: data (0) expected, file (1) found"},
    {"a long read", [](PackageBase &package) { lengthen(package, 65536); }, Form::Linux,
     Form::Frame, "replyDataLength: out of range: 0 to 65535 expected, 65536 found"},
    {"a wide reserved 2", [](PackageBase &package) { package.setReserved2(256); }, Form::Linux,
     Form::Text, "reserved2: out of range: -128 to 255 expected, 256 found"},
};

class Forms : public EngineTest, public testing::WithParamInterface<FormRow>
{
protected:
    void allow(const std::vector<Form> &forms)
    {
        settings.forms = forms;
        restart(settings);
    }

    void expectRefused(PackageBase &package, const char *verdict)
    {
        const RequestId id = send(package);
        expectNothingToSend();
        const Event event = expectEnd(id, Outcome::Refused);
        EXPECT_EQ(event.sendError, SendError::NotCarried);
        EXPECT_EQ(describe(event.verdict), QLatin1String(verdict));
    }
};

TEST_P(Forms, TheNextOneCarriesWhatTheFirstDoesNot)
{
    const FormRow &row = GetParam();
    const auto read = makeRead(Register, 3);
    row.change(*read);
    allow({row.refusing});
    expectRefused(*read, row.verdict);
    allow({row.refusing, row.carrying});
    const RequestId id = send(*read);
    const OutgoingMessage message = take();
    EXPECT_EQ(message.shape.form, row.carrying);
    receive(message, replyTo(message));
    expectEnd(id, Outcome::Success);
}

INSTANTIATE_TEST_SUITE_P(Reads, Forms, testing::ValuesIn(FormRows));

TEST_F(Forms, FramesCarryWritesOfNoBytesAndRecordsDoNot)
{
    const auto write = makeWrite(Register, "");
    allow({Form::Text});
    expectRefused(*write, "data: out of range: at least 1 byte expected, 0 bytes found");
    allow({Form::Text, Form::Frame});
    send(*write);
    EXPECT_EQ(take().shape.form, Form::Frame);
}

TEST_F(Forms, OfAnEmptyFileRecordsCarryAllExceptTheWriteThatEmptiesTheBuffer)
{
    allow({Form::Text, Form::Frame});
    const auto file =
        makeRequest<PackageRequestWriteFile>(Register, "tag", false, QStringLiteral("/f"), 0);
    engine->start(Transfer::writeFile(file.get(), {}), {}, now);
    const OutgoingMessage empty = take();
    EXPECT_EQ(empty.shape.classId, ClassId::PackageRequestWriteData);
    EXPECT_EQ(empty.shape.form, Form::Frame);
    receive(empty, replyTo(empty));
    EXPECT_EQ(take().shape.form, Form::Text);
}

TEST_F(Forms, RecordsCarryNoCommaInFileNames)
{
    const auto read =
        makeRequest<PackageRequestReadFile>(Register, "tag", 3, QStringLiteral("/a,b"));
    const auto write =
        makeRequest<PackageRequestWriteFile>(Register, "tag", false, QStringLiteral("/a,b"), 0);
    allow({Form::Text});
    for (PackageBase *package :
         {static_cast<PackageBase *>(read.get()), static_cast<PackageBase *>(write.get())}) {
        expectRefused(*package,
                      "fileNameWithPath: out of range: a text without commas expected, "
                      "\"/a,b\" found");
    }
    allow({Form::Text, Form::Frame});
    send(*read);
    EXPECT_EQ(take().shape.form, Form::Frame);
}

TEST_F(Forms, AllCarryTextsThatAreNotAscii)
{
    const auto read = makeRead(Register, 3);
    read->setTag(QStringLiteral("\u00E9"));
    for (const Form form : {Form::Text, Form::Frame}) {
        allow({form});
        send(*read);
        EXPECT_TRUE(take().bytes.contains("\xC3\xA9"));
    }
}

TEST_F(Forms, LinuxFramesCarryNoBroadcastAndNoOtherKindOfWrites)
{
    const PackageClass *itsClass = packageClass(ClassId::PackageRequestWriteData);
    const auto write = makeWrite(Register, "x");
    ASSERT_EQ(itsClass->field(QStringLiteral("broadcast"))->set(*write, true), QString());
    allow({Form::Linux});
    expectRefused(*write, "broadcast: out of range: false expected, true found");
    const auto other = makeWrite(Register, "x");
    ASSERT_EQ(itsClass->field(QStringLiteral("clientPackageType"))->set(*other, 1), QString());
    expectRefused(*other, "clientPackageType: out of range: data (0) expected, file (1) found");
    allow({Form::Linux, Form::Frame});
    for (PackageBase *package : {write.get(), other.get()}) {
        send(*package);
        EXPECT_EQ(take().shape.form, Form::Frame);
    }
}

TEST_F(Forms, LinuxFramesLeaveOutWhatOnlyTheLinkUses)
{
    const auto read = makeRead(Register, 3, "a,b");
    read->setDeviceKey(QStringLiteral("/,"));
    read->setTimeout(-1);
    allow({Form::Linux, Form::Frame});
    send(*read);
    EXPECT_EQ(take().bytes, hex("55AA 00 01 00 FF 01 02 FFFF 00 00 1000 000A 0300 7358"));
}

TEST_F(Forms, RecordsAloneCarryFileWritesAndSpecialRequests)
{
    const auto write =
        makeRequest<PackageRequestWriteFile>(Register, "tag", false, QStringLiteral("/f"), 0);
    SpecialPackageRequest special;
    allow({Form::Frame});
    expectRefused(*write, "fileNameWithPath: out of range: \"\" expected, \"/f\" found");
    expectRefused(special, "the class has no such form");
    allow({Form::Linux});
    expectRefused(*write, "the class has no such form");
    expectRefused(special, "the class has no such form");
}

TEST_F(Forms, NoneCarriesHalfOfASurrogatePair)
{
    const auto read = makeRead(Register, 3);
    for (const Form form : {Form::Text, Form::Frame}) {
        allow({form});
        read->setDeviceKey(Surrogate);
        read->setTag(QStringLiteral("tag"));
        expectRefused(*read, "deviceKey: the text is not UTF-8");
        read->setDeviceKey(QStringLiteral("k"));
        read->setTag(Surrogate);
        expectRefused(*read, "tag: the text is not UTF-8");
        const auto file = makeRequest<PackageRequestReadFile>(Register, "tag", 3, Surrogate);
        expectRefused(*file, "fileNameWithPath: the text is not UTF-8");
    }
    allow({Form::Text});
    SpecialPackageRequest special(1, 5);
    special.setStrData(Surrogate);
    expectRefused(special, "strData: the text is not UTF-8");
}

TEST_F(Forms, SpecialRequestsCarryNoCommaAndNoNegativeTimeout)
{
    SpecialPackageRequest special(1, 5);
    special.setStrData(QStringLiteral("a,b"));
    expectRefused(special, "strData: out of range: a text without commas expected, \"a,b\" found");
    special.setStrData(QStringLiteral("a"));
    special.setTimeout(-1);
    expectRefused(special, "timeout: out of range: 0 to 2147483647 expected, -1 found");
    // A record of a special request holds neither key nor tag.
    special.setTimeout(5);
    special.setDeviceKey(Surrogate);
    special.setTag(QStringLiteral("a,b"));
    send(special);
    EXPECT_EQ(take().bytes, QByteArray("1,5,a"));
}

/// Returns a request of a class that every form carries, if the class has the form.
std::unique_ptr<PackageBase> makePlain(const PackageClass &itsClass)
{
    std::unique_ptr<PackageBase> package = itsClass.create();
    if (itsClass.field(QStringLiteral("data")))
        packageFromJson({{QStringLiteral("data"), QStringLiteral("00")}}, *package);
    return package;
}

/// Returns the same with another value in a field, if the field takes one of these.
std::unique_ptr<PackageBase> makeChanged(const PackageClass &itsClass, const PackageField &field)
{
    std::unique_ptr<PackageBase> package = makePlain(itsClass);
    const QJsonValue before = field.get(*package);
    for (const QJsonValue &value :
         {QJsonValue(1), QJsonValue(2), QJsonValue(true), QJsonValue(QStringLiteral("01"))}) {
        if (field.get(*package) == before)
            field.set(*package, value);
    }
    return package;
}

// Fails for a new class whose forms lose a field.
TEST_F(Forms, WhatARecordCarriesOthersCarryOrRefuse)
{
    const QStringList ofLink{QStringLiteral("deviceKey"), QStringLiteral("tag"),
                             QStringLiteral("timeout")};
    // Returns a field as a peer reads it; nothing if the request is refused.
    const auto readIn = [&](Form form, PackageBase &package,
                            const PackageField &field) -> std::optional<QJsonValue> {
        allow({form});
        send(package);
        const auto message = engine->takeMessage(now);
        std::unique_ptr<PackageBase> decoded;
        if (!message || !decodeMessage(message->bytes, message->shape, &decoded).isOk())
            return {};
        return field.get(*decoded);
    };
    int carried = 0;
    for (const PackageClass &itsClass : packageClasses()) {
        for (const PackageField &field : itsClass.fields) {
            const auto plain = makePlain(itsClass);
            const auto changed = makeChanged(itsClass, field);
            const auto value = readIn(Form::Text, *changed, field);
            if (!value || value == readIn(Form::Text, *plain, field))
                continue;
            for (const Form form : {Form::Frame, Form::Linux}) {
                const auto found = readIn(form, *changed, field);
                const bool isLeftOut = form == Form::Linux && ofLink.contains(field.name);
                EXPECT_TRUE(!found || isLeftOut || found == value)
                    << describe(MessageShape{itsClass.id, form, Direction::Request}).toStdString()
                    << ": " << field.name.toStdString();
                carried += found == value ? 1 : 0;
            }
        }
    }
    EXPECT_GT(carried, 100);
}

TEST_F(Forms, FramesCarryNoOffset)
{
    allow({Form::Frame});
    const auto read = makeRequest<PackageRequestReadMemData>(Register, "tag", 3, 3000000L);
    expectRefused(*read, "offset: out of range: 0 expected, 3000000 (0x2DC6C0) found");
}

/// The key that a peer reads from the record of a request.
QString readBack(const QString &key)
{
    PackageBase written;
    PackageBase read;
    written.setDeviceKey(key);
    EXPECT_TRUE(read.unPackageRequest(written.makePackageRequest()));
    return read.getDeviceKey();
}

TEST_F(Forms, RecordsCarryJustTheKeysThatReadBack)
{
    const QString letters = QStringLiteral("/,#*k");
    std::vector<QString> keys{QString()};
    int carried = 0;
    for (std::size_t next = 0; next < keys.size(); ++next) {
        const QString key = keys[next];
        const auto read = makeRead(Register, 3);
        read->setDeviceKey(key);
        restart(Form::Text);
        send(*read);
        const bool isCarried = engine->takeMessage(now).has_value();
        ASSERT_EQ(isCarried, readBack(key) == key) << key.toStdString();
        carried += isCarried ? 1 : 0;
        for (int i = 0; key.size() < 5 && i < letters.size(); ++i)
            keys.push_back(key + letters.at(i));
    }
    EXPECT_EQ(keys.size(), 1U + 5 + 25 + 125 + 625 + 3125);
    EXPECT_EQ(carried, 2321);
}

} // namespace
