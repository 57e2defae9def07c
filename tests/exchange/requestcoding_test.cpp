// The form that a request travels in: the first one that carries all of it.

#include "exchangesupport.h"

#include <packagerequestreadfile.h>
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
     "tag at 0: out of range: a text without commas expected, \"a,b\" found"},
    {"a negative reserved 2", [](PackageBase &package) { package.setReserved2(-1); }, Form::Text,
     Form::Frame, "reserved2 at 0: out of range: 0 to 2147483647 expected, -1 found"},
    {"an escape in the key", withKey(QStringLiteral("a#*#b")), Form::Text, Form::Frame,
     "deviceKey at 0: out of range: a key that its escapes give back expected, \"a#*#b\" found"},
    {"a slash before a comma", withKey(QStringLiteral("/,")), Form::Text, Form::Frame,
     "deviceKey at 0: out of range: a key that its escapes give back expected, \"/,\" found"},
    {"a zero in the key", withKey(QString(1, QChar())), Form::Frame, Form::Text,
     "deviceKey at 0: the text contains a zero byte, where a decoder ends it"},
    {"a zero in the tag", withTag(QString(1, QChar())), Form::Frame, Form::Text,
     "tag at 0: the text contains a zero byte, where a decoder ends it"},
    {"a byte order mark before the tag", withTag(QString(QChar(QChar::ByteOrderMark))), Form::Frame,
     Form::Text, "tag at 0: the text is not UTF-8"},
    {"a long key", withKey(QString(65536, QLatin1Char('k'))), Form::Frame, Form::Text,
     "deviceKey at 0: out of range: 0 to 65535 expected, 65536 found"},
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
    expectRefused(*write, "data at 0: out of range: at least 1 byte expected, 0 bytes found");
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
                      "fileNameWithPath at 0: out of range: a text without commas expected, "
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

TEST_F(Forms, NoneCarriesHalfOfASurrogatePair)
{
    const auto read = makeRead(Register, 3);
    for (const Form form : {Form::Text, Form::Frame}) {
        allow({form});
        read->setDeviceKey(Surrogate);
        read->setTag(QStringLiteral("tag"));
        expectRefused(*read, "deviceKey at 0: the text is not UTF-8");
        read->setDeviceKey(QStringLiteral("k"));
        read->setTag(Surrogate);
        expectRefused(*read, "tag at 0: the text is not UTF-8");
        const auto file = makeRequest<PackageRequestReadFile>(Register, "tag", 3, Surrogate);
        expectRefused(*file, "fileNameWithPath at 0: the text is not UTF-8");
    }
    allow({Form::Text});
    SpecialPackageRequest special(1, 5);
    special.setStrData(Surrogate);
    expectRefused(special, "strData at 0: the text is not UTF-8");
}

TEST_F(Forms, SpecialRequestsCarryNoCommaAndNoNegativeTimeout)
{
    SpecialPackageRequest special(1, 5);
    special.setStrData(QStringLiteral("a,b"));
    expectRefused(special,
                  "strData at 0: out of range: a text without commas expected, \"a,b\" found");
    special.setStrData(QStringLiteral("a"));
    special.setTimeout(-1);
    expectRefused(special, "timeout at 0: out of range: 0 to 2147483647 expected, -1 found");
    // A record of a special request holds neither key nor tag.
    special.setTimeout(5);
    special.setDeviceKey(Surrogate);
    special.setTag(QStringLiteral("a,b"));
    send(special);
    EXPECT_EQ(take().bytes, QByteArray("1,5,a"));
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
