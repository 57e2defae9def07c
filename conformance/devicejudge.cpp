#include "devicejudge.h"

#include <korvininspect/hexbytes.h>
#include <korvininspect/inputtext.h>
#include <korvininspect/packagecheck.h>
#include <korvininspect/packageforms.h>
#include <korvininspect/packagejson.h>
#include <packagebase.h>

#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>
#include <QtCore/QStringList>

#include <memory>

using namespace KorvinInspect;

namespace {

/// The most requests in a row without a reply; after these the device is not asked again.
constexpr int MostSilent = 3;

/// A tag that shifts the fields after it, with more bytes than characters.
const QString LongTag = QStringLiteral("t\u00E9g \u20AC ").repeated(20);

QString wordOf(Form form)
{
    return form == Form::Frame ? QStringLiteral("frame")
        : form == Form::Text   ? QStringLiteral("text")
                               : QStringLiteral("linux");
}

/// Returns serial numbers at the limits of what a form carries and every decoder accepts.
QVector<int> serialNumbersOf(Form form)
{
    return form == Form::Frame ? QVector<int>{1, 255, 256, 65535}
        : form == Form::Text   ? QVector<int>{1, 255, 65536, 2147483647}
                               : QVector<int>{1, 127, 128, 255};
}

QString inJson(const QJsonValue &value)
{
    const QByteArray array = QJsonDocument(QJsonArray{value}).toJson(QJsonDocument::Compact);
    return QString::fromUtf8(array.mid(1, array.size() - 2));
}

QString addressOf(const RegisterBlock &block)
{
    return QLatin1String("0x")
        + QStringLiteral("%1").arg(block.address, 8, 16, QLatin1Char('0')).toUpper();
}

/// Returns a message, or its beginning, for people.
QString shown(const QByteArray &message, Form form)
{
    constexpr int Longest = 100;
    return form == Form::Text ? inJson(textFromUtf8(message.left(Longest)))
                              : hexFromBytes(message.left(Longest));
}

QString outcomeOf(const PackageBase &package)
{
    QStringList words;
    for (const char *name : {"ackCode", "commResult", "packResult"}) {
        const PackageField &field = *classOf(package).field(QLatin1String(name));
        words << field.name + QLatin1Char(' ') + field.describe(package);
    }
    return words.join(QLatin1String(", "));
}

/// Returns the package that a decoder makes of a message; null if it refuses the message.
std::shared_ptr<PackageBase> decode(const MessageShape &shape, const QByteArray &message)
{
    std::shared_ptr<PackageBase> package = packageClass(className(shape.classId))->create();
    const Encoding encoding{shape.form, shape.direction, ReplySize::Short};
    return decodePackage(*package, encoding, message).isOk() ? package : nullptr;
}

/// One request, and what its reply must bring.
struct Check
{
    QString name;
    MessageShape shape; ///< That of the request.
    QByteArray request;
    std::optional<QByteArray> data; ///< The data that a read must bring.
    int length = 0;                 ///< The length of the data that a read must bring.
    bool isSpoilt = false;          ///< The request is broken, and must not succeed.
};

class DeviceJudge
{
public:
    DeviceJudge(DeviceLink &link, const DevicePlan &plan,
                const std::function<void(const TestResult &)> &report)
        : m_link(link)
        , m_plan(plan)
        , m_report(report)
    {
    }

    void judge(Form form)
    {
        m_form = form;
        for (const RegisterBlock &block : m_plan.reads)
            judgeReads(block);
        for (const RegisterBlock &block : m_plan.writes)
            judgeWrite(block);
    }

    const QVector<TestResult> &results() const { return m_results; }

private:
    void judgeReads(const RegisterBlock &block)
    {
        const QString name = readName(block);
        for (const int serial : serialNumbersOf(m_form)) {
            m_serial = serial - 1;
            run(readOf(block, QStringLiteral("%1, serial number %2").arg(name).arg(serial)));
        }
        m_serial = 1;
        if (m_form != Form::Linux) {
            m_tag = LongTag;
            run(readOf(block, name + QStringLiteral(", with a long tag")));
            m_tag.clear();
            return;
        }
        Check spoilt = readOf(block, name + QStringLiteral(", with a wrong checksum"));
        spoilt.isSpoilt = true;
        const int last = spoilt.request.size() - 1;
        spoilt.request[last] = static_cast<char>(~spoilt.request.at(last));
        run(spoilt);
        run(readOf(block, name + QStringLiteral(", after a wrong checksum")));
    }

    /// Writes and reads back a block, then restores what was there before, even after a failure.
    void judgeWrite(const RegisterBlock &block)
    {
        const std::shared_ptr<PackageBase> before =
            run(readOf({block.address, block.length, {}},
                       readName(block) + QStringLiteral(", before a write")));
        if (!before)
            return;
        const RegisterBlock old{block.address, block.length, before->data()};
        run(writeOf(
            block, QStringLiteral("write %1 bytes at %2").arg(block.length).arg(addressOf(block))));
        run(readOf(block, readName(block) + QStringLiteral(", after the write")));
        run(writeOf(old, QStringLiteral("write back what was at ") + addressOf(block)));
        run(readOf(old, readName(block) + QStringLiteral(", written back")));
    }

    static QString readName(const RegisterBlock &block)
    {
        return QStringLiteral("read %1 bytes at %2").arg(block.length).arg(addressOf(block));
    }

    Check readOf(const RegisterBlock &block, const QString &name)
    {
        Check check = checkOf(ClassId::PackageRequestReadData, block,
                              {{QStringLiteral("replyDataLength"), block.length}}, name);
        check.data = block.data;
        check.length = block.length;
        return check;
    }

    Check writeOf(const RegisterBlock &block, const QString &name)
    {
        return checkOf(ClassId::PackageRequestWriteData, block,
                       {{QStringLiteral("data"), QString::fromLatin1(block.data->toHex())}}, name);
    }

    Check checkOf(ClassId classId, const RegisterBlock &block, QJsonObject fields,
                  const QString &name)
    {
        fields.insert(QStringLiteral("highAddr"), static_cast<int>(block.address >> 16));
        fields.insert(QStringLiteral("lowAddr"), static_cast<int>(block.address & 0xFFFF));
        fields.insert(QStringLiteral("serialNum"), ++m_serial);
        if (!m_tag.isEmpty())
            fields.insert(QStringLiteral("tag"), m_tag);
        Check check;
        check.name = name;
        check.shape = {classId, m_form, Direction::Request};
        const std::unique_ptr<PackageBase> package = packageClass(className(classId))->create();
        packageFromJson(m_plan.fields, *package);
        packageFromJson(fields, *package);
        encodePackage(*package, {m_form, Direction::Request, ReplySize::Short}, &check.request);
        return check;
    }

    /// Runs a check, unless the device has stopped answering.
    ///
    /// @return the reply; null where the check has failed.
    std::shared_ptr<PackageBase> run(const Check &check)
    {
        TestResult result{TestResult::NotRun, wordOf(m_form), check.name, {}, 0};
        std::shared_ptr<PackageBase> reply;
        if (m_silent < MostSilent) {
            const Exchange exchange =
                m_link.exchange(check.request, check.shape, patienceOf(check));
            result.seconds = exchange.seconds;
            result.reason = check.isSpoilt ? faultOfSpoilt(check, exchange)
                                           : faultOfExchange(check, exchange, &reply);
            result.verdict = result.reason.isEmpty() ? TestResult::Passed : TestResult::Failed;
            if (!check.isSpoilt)
                m_silent = exchange.replies.isEmpty() ? m_silent + 1 : 0;
        }
        m_results.append(result);
        m_report(result);
        return result.verdict == TestResult::Passed ? reply : nullptr;
    }

    /// Returns how long to wait for a reply: long enough for a late one, so that it is not taken
    /// for that to the next request.
    double patienceOf(const Check &check) const
    {
        return check.isSpoilt ? m_plan.seconds : 2 * m_plan.seconds;
    }

    /// Returns what is wrong with the reply to a broken request: it must be a failure, or missing.
    QString faultOfSpoilt(const Check &check, const Exchange &exchange) const
    {
        for (const QByteArray &reply : exchange.replies) {
            const std::shared_ptr<PackageBase> decoded = decode(replyShapeOf(check), reply);
            if (decoded && decoded->isPackageSuccess())
                return QStringLiteral("the device reports success");
        }
        return {};
    }

    QString faultOfExchange(const Check &check, const Exchange &exchange,
                            std::shared_ptr<PackageBase> *decoded) const
    {
        if (!exchange.fault.isEmpty())
            return exchange.fault;
        if (exchange.replies.isEmpty())
            return QStringLiteral("no reply within %1 s").arg(2 * m_plan.seconds);
        const QByteArray &reply = exchange.replies.first();
        QString fault = faultOfReply(check, reply, decoded);
        if (fault.isEmpty() && exchange.replies.size() > 1)
            fault = QStringLiteral("%1 replies").arg(exchange.replies.size());
        if (fault.isEmpty() && exchange.seconds > m_plan.seconds)
            fault = QStringLiteral("the reply came after %1 s").arg(exchange.seconds, 0, 'g', 3);
        return fault;
    }

    QString faultOfReply(const Check &check, const QByteArray &reply,
                         std::shared_ptr<PackageBase> *decoded) const
    {
        const MessageShape shape = replyShapeOf(check);
        if (m_form == Form::Frame && reply.startsWith('\1')
            && KorvinInspect::check(reply, shape).isOk())
            return QStringLiteral("a full reply, whose results do not read back as written");
        CheckOptions options;
        options.request = check.request;
        const Verdict verdict = KorvinInspect::check(reply, shape, options);
        if (!verdict.isOk())
            return describe(verdict) + QLatin1String(": ") + shown(reply, m_form);
        *decoded = decode(shape, reply);
        if (!(*decoded)->isPackageSuccess())
            return QStringLiteral("the device reports a failure: ") + outcomeOf(**decoded);
        return check.shape.classId == ClassId::PackageRequestReadData
            ? faultOfData(check, (*decoded)->data())
            : QString();
    }

    static QString faultOfData(const Check &check, const QByteArray &data)
    {
        if (data.size() != check.length)
            return QStringLiteral("data: expected %1 bytes, got %2")
                .arg(check.length)
                .arg(data.size());
        if (check.data && data != *check.data) {
            return QStringLiteral("data: expected %1, got %2")
                .arg(hexFromBytes(*check.data), hexFromBytes(data));
        }
        return {};
    }

    static MessageShape replyShapeOf(const Check &check)
    {
        return {check.shape.classId, check.shape.form, Direction::Reply};
    }

    DeviceLink &m_link;
    const DevicePlan &m_plan;
    const std::function<void(const TestResult &)> &m_report;
    QVector<TestResult> m_results;
    Form m_form = Form::Frame;
    QString m_tag;
    int m_serial = 1;
    int m_silent = 0;
};

} // namespace

DeviceLink::~DeviceLink() = default;

QVector<TestResult> judgeDevice(DeviceLink &link, const DevicePlan &plan,
                                const std::function<void(const TestResult &)> &report)
{
    DeviceJudge judge(link, plan, report);
    for (const Form form : plan.forms)
        judge.judge(form);
    return judge.results();
}
