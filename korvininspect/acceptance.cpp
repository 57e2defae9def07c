#include "acceptance_p.h"

#include "checksum_p.h"
#include "classlayouts_p.h"
#include "datastring_p.h"
#include "fieldrules_p.h"
#include "knownfields_p.h"
#include "utf8_p.h"

#include <korvininspect/inputtext.h>

#include <QtCore/QtEndian>

#include <algorithm>

// The rules are those of fieldrules.cpp, which says why a field is refused.

namespace KorvinInspect {

namespace {

using Korvin::LinuxHeader;

/// What an acceptor must know apart from the fields.
struct Conditions
{
    Conditions(const MessageShape &shape, const CheckOptions &options)
        : row(rowOf(shape))
        , isReply(shape.direction == Direction::Reply)
        , announcedData(options.announcedData)
    {
    }

    /// Makes the conditions on the request of a reply.
    static Conditions ofRequest(const MessageShape &reply, const CheckOptions &options)
    {
        Conditions conditions({reply.classId, reply.form, Direction::Request}, options);
        conditions.hasData = false;
        return conditions;
    }

    /// Returns whether the class may have a read/write code.
    bool allows(OrvexEnum::ReadWriteCode code) const
    {
        const auto only = Korvin::onlyAccess(row);
        return only ? code == *only : code == OrvexEnum::Read || code == OrvexEnum::Write;
    }

    const Korvin::ClassRow &row;
    bool isReply;
    int announcedData;
    bool hasData = true; // false for a record without its data string
};

using KnownBytes = KnownFields<std::string_view>;
using KnownColumns = KnownFields<QStringView>;

/// Walks over a frame as its encoder writes it: see WrittenFrameScanner.
class FrameAcceptor
{
public:
    /// @param end is how far the fields may go.
    FrameAcceptor(const QByteArray &frame, qint64 end, const Conditions &conditions,
                  KnownBytes &known)
        : m_at(frame.constData())
        , m_end(m_at + end)
        , m_conditions(conditions)
        , m_known(known)
    {
    }

    /// Returns whether all fields so far are acceptable.
    bool isOk() const { return m_isOk; }

    /// Returns whether the fields also end where they may.
    bool isOkToTheEnd() const { return m_isOk && m_at == m_end; }

    void setMarker(quint8 marker) { m_marker = marker; }

    void constant(const char *, quint8 value)
    {
        require(integer<quint8>() == (m_marker ? m_marker : value));
    }

    void gap() { integer<quint8>(); }

    template <typename T>
    void u8(const char *, T &field)
    {
        take(field, integer<quint8>());
    }

    template <typename T>
    void s8(const char *, T &field)
    {
        take(field, integer<qint8>());
    }

    template <typename T>
    void u16(const char *, T &field)
    {
        take(field, integer<quint16>());
    }

    void serial(const char *name, quint64 &field) { u16(name, field); }
    void shortSerial(const char *name, quint64 &field) { u8(name, field); }
    void offset(const char *, qint32 &field) { take(field, integer<qint32>()); }

    void timeout(const char *, qint32 &field) { take(field, integer<qint32>(), Role::Setting); }
    void reserved(const char *, qint32 &field) { take(field, integer<quint8>(), Role::Setting); }
    void ack(const char *, quint32 &field) { take(field, integer<quint8>(), Role::Setting); }

    void signedReserved(const char *, qint32 &field)
    {
        take(field, integer<qint8>(), Role::Setting);
    }

    void status(const char *, qint32 &field)
    {
        const auto status = integer<qint8>();
        require(status == 0 || m_conditions.isReply);
        take(field, status, Role::Setting);
    }

    void textLength(const char *, qint32 &field)
    {
        field = integer<qint32>();
        require(field >= 0);
    }

    template <typename T>
    void length(const char *, T &field)
    {
        const qint64 length = integer<T>();
        require(length >= 0 && length <= m_conditions.announcedData);
        take(field, length, Role::Length);
    }

    void clampedLength(const char *name, qint32 &field) { length(name, field); }

    void kind(const char *, OrvexEnum::ClientPackageType &field)
    {
        code(field, Korvin::ClientPackageTypeNames, Role::Identity);
    }

    void result(const char *, OrvexEnum::CommResults &field)
    {
        code(field, Korvin::CommResultNames, Role::Setting);
    }

    void result(const char *, OrvexEnum::PackageResults &field)
    {
        code(field, Korvin::PackageResultNames, Role::Setting);
    }

    void access(const char *, OrvexEnum::ReadWriteCode &field)
    {
        const auto code = static_cast<OrvexEnum::ReadWriteCode>(integer<quint8>());
        require(m_conditions.allows(code));
        take(field, code);
    }

    void rawAccess(const char *name, OrvexEnum::ReadWriteCode &field) { access(name, field); }

    void flag(const char *, bool &field)
    {
        const auto flag = integer<quint8>();
        require(flag <= 1);
        take(field, flag == 1);
    }

    void sizedText(const char *name, const QString &field)
    {
        bareText(name, integer<quint16>(), field);
    }

    void keptText(const char *name, int size, const QString &field) { bareText(name, size, field); }

    void bareText(const char *, qint64 size, const QString &field)
    {
        const std::string_view text = extent(qMax<qint64>(size, 0));
        require(isWrittenText(text) && m_known.takeExtent(&field, text, Role::Identity));
    }

    template <typename Bytes>
    void block(const char *, int length, const Bytes &field)
    {
        require(m_known.takeExtent(&field, extent(length), Role::Setting));
    }

    qint64 remaining() const { return m_end - m_at; }

    /// Returns the next four bytes as a number, or 0 if they are not all there.
    qint32 peek() const { return remaining() < 4 ? 0 : qFromLittleEndian<qint32>(m_at); }

private:
    void require(bool holds)
    {
        if (!holds)
            m_isOk = false;
    }

    template <typename T, typename Number>
    void take(T &field, Number number, Role role = Role::Identity)
    {
        require(m_known.take(field, static_cast<T>(number), role));
    }

    template <typename Code, std::size_t N>
    void code(Code &field, const Korvin::CodeName<Code> (&names)[N], Role role)
    {
        const auto code = static_cast<Code>(integer<quint8>());
        require(!Korvin::nameOf(names, code).isNull());
        take(field, code, role);
    }

    template <typename Integer>
    Integer integer()
    {
        const std::string_view bytes = extent(sizeof(Integer));
        return bytes.empty() ? Integer() : qFromLittleEndian<Integer>(bytes.data());
    }

    /// Returns the next bytes; nothing if they are not all there.
    std::string_view extent(qint64 size)
    {
        if (size < 0 || size > remaining()) {
            m_isOk = false;
            return {};
        }
        m_at += size;
        return {m_at - size, static_cast<std::size_t>(size)};
    }

    static bool isWrittenText(std::string_view text)
    {
        const auto size = static_cast<int>(text.size());
        return Korvin::isPlainAscii(text.data(), size) || isWrittenUtf8(text.data(), size);
    }

    [[gnu::noinline]] static bool isWrittenUtf8(const char *text, int size)
    {
        return textRefusal(QByteArray::fromRawData(text, size)) == Refusal::None;
    }

    const char *m_at;
    const char *const m_end;
    const Conditions &m_conditions;
    KnownBytes &m_known;
    quint8 m_marker = Korvin::RequestMarker;
    bool m_isOk = true;
};

/// Walks over the columns of a record as its encoder writes them.
class RecordAcceptor
{
public:
    RecordAcceptor(QStringView record, const Conditions &conditions, KnownColumns &known)
        : m_at(record.begin())
        , m_end(record.end())
        , m_conditions(conditions)
        , m_known(known)
    {
    }

    bool isOk() const { return m_isOk; }

    /// Returns whether there are also no more columns.
    bool isOkToTheEnd() const { return m_isOk && m_isAtEnd; }

    template <typename Part>
    void scan(Part part)
    {
        part.columns(*this);
    }

    template <typename T>
    void u8(const char *, T &field)
    {
        number(field, 0, 255);
    }

    template <typename T>
    void u16(const char *, T &field)
    {
        number(field, 0, 65535);
    }

    template <typename T>
    void i32(const char *, T &field)
    {
        number(field, Limits::min(), Limits::max());
    }

    template <typename T>
    void offset(const char *name, T &field)
    {
        i32(name, field);
    }

    void serial(const char *, quint64 &field) { number(field, 0, Limits::max()); }

    void length(const char *, qint32 &field)
    {
        number(field, 0, m_conditions.announcedData, Role::Length);
    }

    void timeout(const char *, qint32 &field)
    {
        number(field, Limits::min(), Limits::max(), Role::Setting);
    }

    void unsignedTimeout(const char *, qint32 &field) { setting(field); }
    void reserved(const char *, qint32 &field) { setting(field); }
    void ack(const char *, quint32 &field) { setting(field); }

    void access(const char *, OrvexEnum::ReadWriteCode &field)
    {
        word(field, Korvin::ReadWriteNames);
        require(m_conditions.allows(field));
    }

    void flag(const char *, bool &field)
    {
        const QStringView column = next();
        const bool isTrue = column == QStringView(u"true");
        require(isTrue || column == QStringView(u"false"));
        require(m_known.take(field, isTrue, Role::Identity));
    }

    void readKind(const char *, OrvexEnum::ClientPackageType &field)
    {
        word(field, Korvin::ClientPackageTypeNames);
    }

    void writeKind(const char *name, OrvexEnum::ClientPackageType &field) { readKind(name, field); }

    void result(const char *, OrvexEnum::CommResults &field)
    {
        word(field, Korvin::CommResultNames, Role::Setting);
    }

    void result(const char *, OrvexEnum::PackageResults &field)
    {
        word(field, Korvin::PackageResultNames, Role::Setting);
    }

    void text(const char *, const QString &field)
    {
        require(m_known.takeExtent(&field, next(), Role::Identity));
    }

    void escaped(const char *, const QString &field)
    {
        const QStringView column = next();
        require(!Korvin::contains(column, '/'));
        require(m_known.takeExtent(&field, column, Role::Identity));
    }

    void answer(const char *, const QString &) { next(); }

    void dataString(const char *, int length, QStringView &)
    {
        if (!m_conditions.hasData)
            return;
        const QStringView column = next();
        const bool isNone =
            column.isEmpty() && Korvin::takesNoNumbers(m_conditions.row, m_conditions.isReply);
        require((isNone ? 0 : Korvin::writtenNumbers(column)) == length);
    }

private:
    using Limits = std::numeric_limits<qint32>;

    void require(bool holds)
    {
        if (!holds)
            m_isOk = false;
    }

    template <typename T>
    void setting(T &field)
    {
        number(field, 0, Limits::max(), Role::Setting);
    }

    template <typename T>
    void number(T &field, qint64 min, qint64 max, Role role = Role::Identity)
    {
        const qint64 value = writtenNumber();
        require(value >= min && value <= max && m_known.take(field, static_cast<T>(value), role));
    }

    template <typename Code, std::size_t N>
    void word(Code &field, const Korvin::CodeName<Code> (&names)[N], Role role = Role::Identity)
    {
        const auto *const row = Korvin::findName(names, next());
        require(row && m_known.take(field, row->code, role));
    }

    /// Reads a number as encoders write it: digits without leading zeros, with a sign only for a
    /// number below 0.
    qint64 writtenNumber()
    {
        constexpr qint64 None = std::numeric_limits<qint64>::max(); // in no range
        const QChar *at = m_at;
        const bool isNegative = at != m_end && *at == QLatin1Char('-');
        at += isNegative ? 1 : 0;
        const QChar *const first = at;
        qint64 value = Korvin::takeDigits(at, m_end);
        if (at != m_end && isDigit(*at)) // the tenth one
            value = 10 * value + (at++->unicode() - '0');
        const qsizetype digits = at - first;
        endColumn(at);
        if (digits == 0 || (*first == QLatin1Char('0') && (isNegative || digits > 1)))
            return None;
        return isNegative ? -value : value;
    }

    static bool isDigit(QChar character)
    {
        return character >= QLatin1Char('0') && character <= QLatin1Char('9');
    }

    QStringView next()
    {
        const QChar *const first = m_at;
        const QChar *const stop = Korvin::findCharacter(first, m_end, ',');
        endColumn(stop);
        return {first, stop};
    }

    /// Goes on after a column, which must end at @p at.
    void endColumn(const QChar *at)
    {
        require(!m_isAtEnd && (at == m_end || *at == QLatin1Char(',')));
        m_isAtEnd = at == m_end;
        m_at = m_isAtEnd ? at : at + 1;
    }

    const QChar *m_at;
    const QChar *const m_end;
    const Conditions &m_conditions;
    KnownColumns &m_known;
    bool m_isAtEnd = false;
    bool m_isOk = true;
};

// All of a walk is inlined, so that the positions of the fields are constants.

/// Walks over a byte frame.
[[gnu::flatten]] AsWritten<FrameAcceptor> walkFrame(const QByteArray &frame,
                                                    const Conditions &conditions, KnownBytes &known)
{
    AsWritten<FrameAcceptor> acceptor(frame, frame.size(), conditions, known);
    scanFrame(frame, conditions.isReply ? Direction::Reply : Direction::Request,
              FrameAsWritten(conditions.row, known.values, acceptor), acceptor);
    return acceptor;
}

/// Walks over the header of a Linux frame.
[[gnu::flatten]] FrameAcceptor walkLinuxHeader(const QByteArray &frame, qint64 end,
                                               const Conditions &conditions, KnownBytes &known)
{
    FrameAcceptor acceptor(frame, end, conditions, known);
    known.values.linuxHeader.walk(acceptor);
    return acceptor;
}

/// Walks over a record.
[[gnu::flatten]] RecordAcceptor walkRecord(QStringView record, const Conditions &conditions,
                                           KnownColumns &known)
{
    RecordAcceptor acceptor(record, conditions, known);
    scanRecordAsWritten(acceptor, conditions.row, conditions.isReply, known.values);
    return acceptor;
}

bool isAcceptableFrame(const QByteArray &frame, const MessageShape &shape,
                       const CheckOptions &options)
{
    KnownBytes known;
    if (!options.request.isEmpty()) {
        if (!walkFrame(options.request, Conditions::ofRequest(shape, options), known).isOk())
            return false;
        known.beginReply();
    }
    return walkFrame(frame, Conditions(shape, options), known).isOkToTheEnd();
}

bool isAcceptableLinuxFrame(const QByteArray &frame, const MessageShape &shape,
                            const CheckOptions &options)
{
    KnownBytes known;
    if (!options.request.isEmpty()) {
        const Conditions conditions = Conditions::ofRequest(shape, options);
        if (!walkLinuxHeader(options.request, options.request.size(), conditions, known).isOk())
            return false;
        known.beginReply();
    }
    const qint64 end = frame.size() - LinuxHeader::ChecksumSize;
    if (end < LinuxHeader::Size)
        return false;
    const Conditions conditions(shape, options);
    FrameAcceptor acceptor = walkLinuxHeader(frame, end, conditions, known);
    if (conditions.isReply || known.values.common.readWriteCode != OrvexEnum::Read)
        acceptor.block("data", known.values.linuxHeader.dataLength, known.values.data);
    const int sum = Korvin::additiveSum(frame, LinuxHeader::StartSize,
                                        static_cast<int>(end) - LinuxHeader::StartSize);
    return acceptor.isOkToTheEnd()
        && qFromLittleEndian<quint16>(frame.constData() + end) == static_cast<quint16>(sum);
}

bool isAcceptableRecord(QStringView record, const MessageShape &shape, const CheckOptions &options)
{
    const Conditions conditions(shape, options);
    const Korvin::ClassRow &row = conditions.row;
    if (Korvin::neededColumns(row, conditions.isReply)
        > Korvin::writtenColumns(row, conditions.isReply))
        return false;
    KnownColumns known;
    QString request; // the memory that its texts refer to
    if (!options.request.isEmpty()) {
        request = withoutData(options.request, shape);
        const Conditions ofRequest = Conditions::ofRequest(shape, options);
        if (!walkRecord(request, ofRequest, known).isOk())
            return false;
        known.beginReply();
    }
    return walkRecord(record, conditions, known).isOkToTheEnd();
}

bool isAcceptableItem(QStringView item, const CheckOptions &options)
{
    Korvin::TextParts parts(item, '^');
    const std::optional<ClassId> id = classOfType(parts.next());
    if (!id || parts.atEnd())
        return false;
    const QStringView record = parts.next();
    return parts.atEnd()
        && isAcceptableRecord(record, {*id, Form::Text, Direction::Request}, options);
}

} // namespace

bool isAcceptable(const QByteArray &frame, const MessageShape &shape, const CheckOptions &options)
{
    return shape.form == Form::Frame ? isAcceptableFrame(frame, shape, options)
                                     : isAcceptableLinuxFrame(frame, shape, options);
}

bool isAcceptable(QStringView record, const MessageShape &shape, const CheckOptions &options)
{
    if (rowOf(shape).base != Korvin::Base::Items)
        return isAcceptableRecord(record, shape, options);
    Korvin::TextParts items(record, '|');
    while (!items.atEnd()) {
        if (!isAcceptableItem(items.next(), options))
            return false;
    }
    return true;
}

QString withoutData(const QByteArray &request, const MessageShape &shape)
{
    const Korvin::ClassRow &row = rowOf(shape);
    if (row.own != Korvin::Own::WriteBlock)
        return textFromUtf8(request);
    int end = -1;
    for (int comma = Korvin::writtenColumns(row, false) - 1; comma > 0; --comma)
        end = static_cast<int>(request.indexOf(',', end + 1));
    return textFromUtf8(request.left(end));
}

} // namespace KorvinInspect
