#include "requestcoding_p.h"

#include "classrow_p.h"
#include "recordcursors_p.h"

#include <korvininspect/inputtext.h>
#include <korvininspect/packageforms.h>
#include <packagerequestreaddata.h>
#include <packagerequestreadfile.h>
#include <packagerequestreadmemdata.h>
#include <packagerequestwritedata.h>
#include <packagerequestwritefile.h>
#include <packagerequestwritememdata.h>
#include <specialpackagerequest.h>

#include <limits>
#include <list>

using namespace KorvinInspect;

namespace KorvinExchange {

namespace {

Verdict notCarried(const char *field, const QString &expected, const QString &found)
{
    Verdict verdict;
    verdict.refusal = Refusal::OutOfRange;
    verdict.field = QString::fromLatin1(field);
    verdict.expected = expected;
    verdict.found = found;
    return verdict;
}

Verdict checkRange(const char *field, qint64 number, qint64 least, qint64 most)
{
    if (number >= least && number <= most)
        return {};
    return notCarried(field, QStringLiteral("%1 to %2").arg(least).arg(most),
                      QString::number(number));
}

/// Returns the first of some verdicts that is not ok.
template <typename... Verdicts>
Verdict firstOf(const Verdict &verdict, const Verdicts &...others)
{
    if constexpr (sizeof...(others) > 0)
        return verdict.isOk() ? firstOf(others...) : verdict;
    else
        return verdict;
}

/// Checks that class and read/write code agree, and so do length and data.
Verdict checkFields(const PackageBase &package, ClassId classId)
{
    const auto access = Korvin::onlyAccess(rowOf(classId));
    Verdict verdict =
        checkRange("readWriteCode", package.getReadWriteCode(), access.value_or(OrvexEnum::Read),
                   access.value_or(OrvexEnum::Write));
    if (!verdict.isOk() || !qobject_cast<const PackageRequestWriteData *>(&package))
        return verdict;
    const qint64 size = package.data().size();
    return checkRange("packageDataLength", package.getPackageDataLength(), size, size);
}

Verdict notText(const char *field, Refusal refusal)
{
    Verdict verdict;
    verdict.refusal = refusal;
    verdict.field = QString::fromLatin1(field);
    return verdict;
}

/// Checks that a text can be UTF-8: it has no unpaired surrogate.
Verdict checkUnicode(const char *field, const QString &text)
{
    return text.isValidUtf16() ? Verdict() : notText(field, Refusal::NotUtf8);
}

/// Checks that a text fits into a frame: it has at most 65,535 bytes. Decoders end it at a zero
/// byte and skip a byte order mark.
Verdict checkText(const char *field, const QString &text)
{
    constexpr int Most = std::numeric_limits<quint16>::max();
    constexpr int MostBytes = 3; // of one UTF-16 unit
    if (text.contains(QChar::Null))
        return notText(field, Refusal::ZeroInText);
    if (text.startsWith(QChar::ByteOrderMark))
        return notText(field, Refusal::NotUtf8);
    Verdict verdict = checkUnicode(field, text);
    if (!verdict.isOk() || text.size() <= Most / MostBytes)
        return verdict;
    return checkRange(field, text.toUtf8().size(), 0, Most);
}

QString quoted(const QString &text)
{
    constexpr int MaxCharacters = 40;
    return QLatin1Char('"') + printable(text, MaxCharacters) + QLatin1Char('"');
}

/// Checks that a text fits into a column of a record, which ends at a comma.
Verdict checkColumn(const char *field, const QString &text)
{
    if (text.contains(QLatin1Char(',')))
        return notCarried(field, QStringLiteral("a text without commas"), quoted(text));
    return checkUnicode(field, text);
}

/// Checks that a device key comes back from a record: a decoder takes for an escape what looks like
/// one.
Verdict checkEscapes(const QString &key)
{
    if (Korvin::unescaped(Korvin::withEscapes(key)) != key) {
        return notCarried("deviceKey", QStringLiteral("a key that its escapes give back"),
                          quoted(key));
    }
    return checkUnicode("deviceKey", key);
}

/// Checks the fields for which every frame has one byte.
Verdict checkBytes(const PackageBase &package)
{
    constexpr int Least = -128; // of a signed byte
    constexpr int Most = std::numeric_limits<quint8>::max();
    return firstOf(checkRange("deviceType", package.getDeviceType(), Least, Most),
                   checkRange("reserved2", package.getReserved2(), Least, Most));
}

/// Checks that fields which a byte frame does not carry have the values that its reader assumes.
Verdict checkFrame(const PackageBase &package, ClassId classId)
{
    Verdict verdict = firstOf(checkBytes(package), checkText("deviceKey", package.getDeviceKey()),
                              checkText("tag", package.getTag()));
    if (!verdict.isOk())
        return verdict;
    switch (classId) {
    case ClassId::PackageRequestReadMemData:
        return checkRange("offset",
                          static_cast<const PackageRequestReadMemData &>(package).offset(), 0, 0);
    case ClassId::PackageRequestWriteMemData:
        return firstOf(checkRange("offset",
                                  static_cast<const PackageRequestWriteMemData &>(package).offset(),
                                  0, 0),
                       checkRange("packageDataLength", package.getPackageDataLength(), 0, 0));
    case ClassId::PackageRequestReadFile:
        return checkText("fileNameWithPath",
                         static_cast<const PackageRequestReadFile &>(package).fileNameWithPath());
    case ClassId::PackageRequestWriteFile: // name and offset
    case ClassId::SpecialPackageRequest:   // id and text
        verdict.refusal = Refusal::NoSuchForm;
        return verdict;
    default:
        return verdict;
    }
}

/// Checks that a record is read with the columns and values that it is written with.
Verdict checkRecord(const PackageBase &package, ClassId classId)
{
    constexpr int Most = std::numeric_limits<qint32>::max();
    if (classId == ClassId::SpecialPackageRequest) {
        const auto &special = static_cast<const SpecialPackageRequest &>(package);
        return firstOf(checkRange("timeout", special.getTimeout(), 0, Most),
                       checkColumn("strData", special.strData()));
    }
    Verdict verdict = firstOf(checkEscapes(package.getDeviceKey()),
                              checkRange("reserved2", package.getReserved2(), 0, Most),
                              checkColumn("tag", package.getTag()));
    if (!verdict.isOk())
        return verdict;
    if (const auto *read = qobject_cast<const PackageRequestReadFile *>(&package))
        return checkColumn("fileNameWithPath", read->fileNameWithPath());
    if (const auto *write = qobject_cast<const PackageRequestWriteFile *>(&package))
        return checkColumn("fileNameWithPath", write->fileNameWithPath());
    // An empty data string stands for one number.
    if (qobject_cast<const PackageRequestWriteData *>(&package) && package.data().isEmpty())
        return notCarried("data", QStringLiteral("at least 1 byte"), QStringLiteral("0 bytes"));
    return verdict;
}

Verdict checkLinux(const PackageBase &package, ClassId classId)
{
    constexpr int MostData = std::numeric_limits<quint16>::max();
    Verdict verdict = checkBytes(package);
    if (!exists({classId, Form::Linux, Direction::Request}))
        verdict.refusal = Refusal::NoSuchForm;
    if (!verdict.isOk())
        return verdict;
    const auto *write = qobject_cast<const PackageRequestWrite *>(&package);
    if (write && write->bBroadcast())
        return notCarried("broadcast", QStringLiteral("false"), QStringLiteral("true"));
    return checkRange(write ? "packageDataLength" : "replyDataLength", package.getDataLength(), 0,
                      MostData);
}

Verdict checkCarried(const PackageBase &package, ClassId classId, Form form)
{
    Verdict verdict = checkFields(package, classId);
    if (!verdict.isOk())
        return verdict;
    switch (form) {
    case Form::Frame:
        return checkFrame(package, classId);
    case Form::Text:
        return checkRecord(package, classId);
    default:
        return checkLinux(package, classId);
    }
}

/// Prepares a package for sending, and restores its own serial number and data afterwards.
class AsSent
{
public:
    AsSent(PackageBase &package, quint32 serialNum)
        : m_package(package)
        , m_ownSerialNum(package.getSerialNum())
        , m_ownData(package.data())
    {
        m_package.setSerialNum(serialNum);
        m_package.setAckCode(0);
        m_package.setCommResult(OrvexEnum::CommOk);
        m_package.setPackResult(OrvexEnum::PackOk);
        // Data of an earlier reply is not part of a request.
        if (qobject_cast<PackageRequestReadData *>(&m_package))
            m_package.setData({});
    }

    AsSent(const AsSent &) = delete;
    AsSent &operator=(const AsSent &) = delete;

    ~AsSent()
    {
        m_package.setSerialNum(m_ownSerialNum);
        m_package.setData(m_ownData);
        m_package.setCommResult(OrvexEnum::CommPending);
    }

private:
    PackageBase &m_package;
    quint64 m_ownSerialNum;
    QByteArray m_ownData;
};

} // namespace

ChosenForm chooseForm(const PackageBase &package, ClassId classId, const std::vector<Form> &forms,
                      quint32 leastSerialNum)
{
    ChosenForm chosen;
    chosen.verdict.refusal = Refusal::NoSuchForm;
    bool isFirst = true;
    for (const Form form : forms) {
        const Verdict verdict =
            firstOf(checkRange("serialNum", leastSerialNum, 1, lastSerialNumOf(form)),
                    checkCarried(package, classId, form));
        if (verdict.isOk())
            return {verdict, form};
        if (isFirst)
            chosen.verdict = verdict;
        isFirst = false;
    }
    return chosen;
}

quint32 lastSerialNumOf(Form form)
{
    switch (form) {
    case Form::Frame:
        return std::numeric_limits<quint16>::max();
    case Form::Text:
        return std::numeric_limits<qint32>::max();
    default:
        return std::numeric_limits<quint8>::max();
    }
}

bool isWithoutSerialNum(ClassId classId)
{
    return classId == ClassId::SpecialPackageRequest;
}

bool isRead(const PackageBase &package, ClassId classId)
{
    // A register that does not advance gives the next bytes each time.
    const bool takesData =
        classId == ClassId::PackageRequestReadData && !package.getIsRegisterAddrSelfIncreasing();
    return package.getReadWriteCode() == OrvexEnum::Read && !takesData
        && classId != ClassId::SpecialPackageRequest;
}

int askedData(const PackageBase &package, ClassId classId)
{
    return classId == ClassId::PackageRequestReadData ? package.getDataLength() : 0;
}

Verdict encodeRequest(PackageBase &package, quint32 serialNum, const MessageShape &shape,
                      QByteArray *message)
{
    const AsSent asSent(package, serialNum);
    const Verdict verdict = encodePackage(package, {shape.form, Direction::Request}, message);
    return verdict.isOk() ? check(*message, shape) : verdict;
}

Verdict encodeItems(const std::vector<std::pair<PackageBase *, quint32>> &packages,
                    QByteArray *message)
{
    constexpr MessageShape Shape{ClassId::PackageRequestCombination, Form::Text,
                                 Direction::Request};
    std::list<AsSent> asSent;
    std::vector<PackageBase *> items;
    for (const auto &[package, serialNum] : packages) {
        asSent.emplace_back(*package, serialNum);
        items.push_back(package);
    }
    const Verdict verdict = encodeCombination(items, message);
    return verdict.isOk() ? check(*message, Shape) : verdict;
}

std::vector<QByteArray> itemsOf(const QByteArray &combination)
{
    std::vector<QByteArray> records;
    for (const QByteArray &item : combination.split('|'))
        records.push_back(item.mid(item.indexOf('^') + 1));
    return records;
}

void setOutcome(PackageBase *package, Outcome outcome)
{
    const auto store = [&](OrvexEnum::CommResults comm, OrvexEnum::PackageResults pack) {
        package->setAckCode(0);
        package->setCommResult(comm);
        package->setPackResult(pack);
    };
    switch (outcome) {
    case Outcome::TimedOut:
        return store(OrvexEnum::CommTimeout, OrvexEnum::PackTimeOut);
    case Outcome::Cancelled:
        return store(OrvexEnum::CommForcedCancel, OrvexEnum::PackForceCancel);
    case Outcome::LinkLost:
        return store(OrvexEnum::CommForcedCancel, OrvexEnum::PackDisConnect);
    case Outcome::Refused:
        return store(OrvexEnum::CommForcedCancel, OrvexEnum::PackSendError);
    case Outcome::RefusedReply:
        return store(OrvexEnum::CommCodeErr, OrvexEnum::PackParseFailure);
    default:
        return; // the results of the reply
    }
}

void takeOver(PackageBase *package, const PackageBase &reply)
{
    package->setAckCode(reply.getAckCode());
    package->setCommResult(reply.getCommResult());
    package->setPackResult(reply.getPackResult());
    if (auto *read = qobject_cast<PackageRequestReadData *>(package)) {
        // A record needs data, so even the reply to a failed read has some.
        if (read->isPackageSuccess())
            read->setData(reply.data());
    }
    if (auto *special = qobject_cast<SpecialPackageRequest *>(package))
        special->setStrData(static_cast<const SpecialPackageRequest &>(reply).strData());
}

} // namespace KorvinExchange
