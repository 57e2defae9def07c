#include "requestcoding_p.h"

#include "carriedfields_p.h"
#include "classrow_p.h"
#include "recordcursors_p.h"

#include <korvininspect/inputtext.h>
#include <korvininspect/packageforms.h>
#include <packagerequestreaddata.h>
#include <specialpackagerequest.h>

#include <algorithm>
#include <limits>
#include <list>

using namespace KorvinInspect;

namespace KorvinExchange {

namespace {

QString quoted(const QString &text)
{
    constexpr int MaxCharacters = 40;
    return QLatin1Char('"') + printable(text, MaxCharacters) + QLatin1Char('"');
}

/// The reason why a form does not carry a request, in words only if there is one.
class Reason
{
public:
    const Verdict &verdict() const { return m_verdict; }

    /// Sets the reason. Each operation of this class returns whether the request is carried.
    bool set(Refusal refusal, QStringView field = {}, const QString &expected = {},
             const QString &found = {})
    {
        m_verdict.refusal = refusal;
        m_verdict.field = field.toString();
        m_verdict.position = -1; // there is no message
        m_verdict.expected = expected;
        m_verdict.found = found;
        return false;
    }

    bool checkRange(QStringView field, qint64 number, qint64 least, qint64 most)
    {
        if (number >= least && number <= most)
            return true;
        return set(Refusal::OutOfRange, field, QStringLiteral("%1 to %2").arg(least).arg(most),
                   QString::number(number));
    }

    /// Checks that a text can be UTF-8: it has no unpaired surrogate.
    bool checkUnicode(QStringView field, const QString &text)
    {
        if (text.isValidUtf16())
            return true;
        return set(Refusal::NotUtf8, field);
    }

private:
    Verdict m_verdict;
};

/// Checks that class and read/write code agree, and so do length and data.
bool checkFields(const PackageBase &package, const Korvin::ClassRow &row, Reason *reason)
{
    const auto access = Korvin::onlyAccess(row);
    if (!reason->checkRange(u"readWriteCode", package.getReadWriteCode(),
                            access.value_or(OrvexEnum::Read), access.value_or(OrvexEnum::Write)))
        return false;
    if (row.own != Korvin::Own::WriteBlock)
        return true;
    const qint64 size = package.data().size();
    return reason->checkRange(u"packageDataLength", package.getPackageDataLength(), size, size);
}

/// Checks that fields which a form does not have are as its reader assumes.
bool checkLacked(const PackageBase &package, const std::vector<LackedField> &lacked, Reason *reason)
{
    for (const auto &[field, assumed] : lacked) {
        const QString value = field->describe(package);
        if (value == assumed)
            continue;
        const bool isText = field->valueType == ValueType::Text;
        return reason->set(Refusal::OutOfRange, field->name, isText ? quoted(assumed) : assumed,
                           isText ? quoted(value) : value);
    }
    return true;
}

/// Returns whether all characters are ASCII and none is zero.
bool isPlainAscii(const QString &text)
{
    constexpr uint Last = 0x7F;
    return std::all_of(text.begin(), text.end(),
                       [](QChar character) { return character.unicode() - 1U < Last; });
}

/// Checks that a text fits into a frame: it has at most 65,535 bytes. Decoders end it at a zero
/// byte and skip a byte order mark.
bool checkText(QStringView field, const QString &text, Reason *reason)
{
    constexpr int Most = std::numeric_limits<quint16>::max();
    constexpr int MostBytes = 3; // of one UTF-16 unit
    const bool isShort = text.size() <= Most / MostBytes;
    if (isShort && isPlainAscii(text))
        return true;
    if (text.contains(QChar::Null))
        return reason->set(Refusal::ZeroInText, field);
    if (text.startsWith(QChar::ByteOrderMark))
        return reason->set(Refusal::NotUtf8, field);
    if (!reason->checkUnicode(field, text))
        return false;
    return isShort || reason->checkRange(field, text.toUtf8().size(), 0, Most);
}

/// Checks that a text fits into a column of a record, which ends at a comma.
bool checkColumn(QStringView field, const QString &text, Reason *reason)
{
    if (text.contains(QLatin1Char(','))) {
        return reason->set(Refusal::OutOfRange, field, QStringLiteral("a text without commas"),
                           quoted(text));
    }
    return reason->checkUnicode(field, text);
}

using CheckOfText = bool (*)(QStringView field, const QString &text, Reason *reason);

/// Checks the texts that a class has in addition to those of every request.
bool checkTexts(const PackageBase &package, const CarriedFields &carried, CheckOfText checkOne,
                Reason *reason)
{
    const auto &texts = carried.texts;
    return std::all_of(texts.begin(), texts.end(), [&](const PackageField *field) {
        // For people, a text is as it is. Qt's JSON leaks texts if memory runs out.
        return checkOne(field->name, field->describe(package), reason);
    });
}

/// Checks that a device key comes back from a record: a decoder takes for an escape what looks like
/// one.
bool checkEscapes(const QString &key, Reason *reason)
{
    // Any other key reads back: only in these an escape begins where no character was escaped.
    const bool isDoubtful = Korvin::contains(key, '#') || Korvin::contains(key, '*')
        || key.contains(QLatin1String("/,"));
    if (isDoubtful && Korvin::unescaped(Korvin::withEscapes(key)) != key) {
        return reason->set(Refusal::OutOfRange, u"deviceKey",
                           QStringLiteral("a key that its escapes give back"), quoted(key));
    }
    return reason->checkUnicode(u"deviceKey", key);
}

/// Checks the fields for which every frame has one byte.
bool checkBytes(const PackageBase &package, Reason *reason)
{
    constexpr int Least = -128; // of a signed byte
    constexpr int Most = std::numeric_limits<quint8>::max();
    return reason->checkRange(u"deviceType", package.getDeviceType(), Least, Most)
        && reason->checkRange(u"reserved2", package.getReserved2(), Least, Most);
}

/// Checks that a byte frame carries a request, with a serial number.
bool checkFrame(const PackageBase &package, ClassId classId, Reason *reason)
{
    if (isWithoutSerialNum(classId))
        return reason->set(Refusal::NoSuchForm);
    const CarriedFields &carried = carriedFields(classId);
    return checkBytes(package, reason) && checkText(u"deviceKey", package.getDeviceKey(), reason)
        && checkText(u"tag", package.getTag(), reason)
        && checkLacked(package, carried.notInFrames, reason)
        && checkTexts(package, carried, checkText, reason);
}

/// Checks that a record is read with the columns and values that it is written with.
bool checkRecord(const PackageBase &package, ClassId classId, Reason *reason)
{
    constexpr int Most = std::numeric_limits<qint32>::max();
    const Korvin::ClassRow &row = rowOf(classId);
    const bool areCommonCarried = row.base == Korvin::Base::Special
        ? reason->checkRange(u"timeout", package.getTimeout(), 0, Most)
        : checkEscapes(package.getDeviceKey(), reason)
            && reason->checkRange(u"reserved2", package.getReserved2(), 0, Most)
            && checkColumn(u"tag", package.getTag(), reason);
    if (!areCommonCarried || !checkTexts(package, carriedFields(classId), checkColumn, reason))
        return false;
    // An empty data string stands for one number.
    if (row.own == Korvin::Own::WriteBlock && package.data().isEmpty()) {
        return reason->set(Refusal::OutOfRange, u"data", QStringLiteral("at least 1 byte"),
                           QStringLiteral("0 bytes"));
    }
    return true;
}

bool checkLinux(const PackageBase &package, ClassId classId, Reason *reason)
{
    constexpr int MostData = std::numeric_limits<quint16>::max();
    if (!exists({classId, Form::Linux, Direction::Request}))
        return reason->set(Refusal::NoSuchForm);
    const bool isRead = rowOf(classId).base == Korvin::Base::Read;
    return checkBytes(package, reason)
        && checkLacked(package, carriedFields(classId).notInLinuxFrames, reason)
        && reason->checkRange(isRead ? QStringView(u"replyDataLength") : u"packageDataLength",
                              package.getDataLength(), 0, MostData);
}

bool checkCarried(const PackageBase &package, ClassId classId, Form form, Reason *reason)
{
    if (!checkFields(package, rowOf(classId), reason))
        return false;
    switch (form) {
    case Form::Frame:
        return checkFrame(package, classId, reason);
    case Form::Text:
        return checkRecord(package, classId, reason);
    default:
        return checkLinux(package, classId, reason);
    }
}

/// Prepares a package for sending, and restores its own serial number and data afterwards.
class AsSent
{
public:
    AsSent(PackageBase &package, quint32 serialNum)
        : m_package(package)
        , m_ownSerialNum(package.getSerialNum())
    {
        m_package.setSerialNum(serialNum);
        m_package.setAckCode(0);
        m_package.setCommResult(OrvexEnum::CommOk);
        m_package.setPackResult(OrvexEnum::PackOk);
        // Data of an earlier reply is not part of a request.
        if (!qobject_cast<PackageRequestReadData *>(&m_package) || m_package.data().isEmpty())
            return;
        m_earlierData = m_package.data();
        m_package.setData({});
    }

    AsSent(const AsSent &) = delete;
    AsSent &operator=(const AsSent &) = delete;

    ~AsSent()
    {
        m_package.setSerialNum(m_ownSerialNum);
        if (!m_earlierData.isEmpty())
            m_package.setData(m_earlierData);
        m_package.setCommResult(OrvexEnum::CommPending);
    }

private:
    PackageBase &m_package;
    quint64 m_ownSerialNum;
    QByteArray m_earlierData;
};

} // namespace

ChosenForm chooseForm(const PackageBase &package, ClassId classId, const std::vector<Form> &forms,
                      quint32 leastSerialNum)
{
    ChosenForm chosen;
    chosen.verdict.refusal = Refusal::NoSuchForm;
    bool isFirst = true;
    for (const Form form : forms) {
        Reason reason;
        if (reason.checkRange(u"serialNum", leastSerialNum, 1, lastSerialNumOf(form))
            && checkCarried(package, classId, form, &reason))
            return {{}, form};
        if (isFirst)
            chosen.verdict = reason.verdict();
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
    return rowOf(classId).base == Korvin::Base::Special;
}

bool isRead(const PackageBase &package, ClassId classId)
{
    // A register that does not advance gives the next bytes each time.
    const bool takesData = bringsData(classId) && !package.getIsRegisterAddrSelfIncreasing();
    return package.getReadWriteCode() == OrvexEnum::Read && !takesData
        && !isWithoutSerialNum(classId);
}

bool bringsData(ClassId classId)
{
    return rowOf(classId).own == Korvin::Own::ReadBlock;
}

int askedData(const PackageBase &package, ClassId classId)
{
    return bringsData(classId) ? package.getDataLength() : 0;
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
