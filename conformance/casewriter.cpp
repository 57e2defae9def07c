#include "casewriter.h"

#include "classlayouts_p.h"

#include <korvininspect/inputtext.h>
#include <korvininspect/packagejson.h>
#include <packagebase.h>

#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>

#include <cstdio>

using namespace KorvinInspect;

namespace {

constexpr Encoding Encodings[] = {
    {Form::Frame, Direction::Request, ReplySize::Short},
    {Form::Frame, Direction::Reply, ReplySize::Full},
    {Form::Text, Direction::Request, ReplySize::Short},
    {Form::Text, Direction::Reply, ReplySize::Short},
    {Form::Linux, Direction::Request, ReplySize::Short},
};

MessageShape shapeOf(const PackageClass &ofClass, const Encoding &encoding)
{
    return {ofClass.id, encoding.form, encoding.direction};
}

/// Collects the names of the fields of a package that a frame or record carries.
class CarriedFields : public FieldSink
{
public:
    CarriedFields(const PackageClass &ofClass, Form form)
        : m_class(ofClass)
        , m_form(form)
    {
    }

    QSet<QString> take() { return std::move(m_names); }

    void add(const WireField &field) override
    {
        if (field.present < 0)
            return;
        if (field.type == WireType::Status)
            addResults();
        else if (field.type == WireType::Length && m_form == Form::Linux)
            addFields(ValueType::Length);
        else
            m_names.insert(QString::fromLatin1(field.name));
    }

    void addFields(ValueType type)
    {
        for (const PackageField &field : m_class.fields) {
            if (field.valueType == type)
                m_names.insert(field.name);
        }
    }

private:
    void addResults()
    {
        const QByteArray frame;
        FrameScanner scanner(frame, *this);
        Korvin::LayoutFields fields;
        Korvin::CommonPart{fields.common}.results(scanner);
    }

    const PackageClass &m_class;
    Form m_form;
    QSet<QString> m_names;
};

QSet<QString> namesOfCarried(const QByteArray &input, const PackageClass &ofClass,
                             const Encoding &encoding)
{
    const MessageShape shape = shapeOf(ofClass, encoding);
    CarriedFields carried(ofClass, shape.form);
    Korvin::LayoutFields fields;
    if (shape.form == Form::Frame) {
        scanFrameAsRead(input, shape, fields, carried);
    } else if (shape.form == Form::Text) {
        const QString record = textFromUtf8(input);
        RecordScanner scanner(record, carried);
        scanRecordAsRead(scanner, rowOf(shape), shape.direction == Direction::Reply, fields);
    } else {
        scanLinuxFrame(input, shape, fields, carried);
        carried.addFields(ValueType::Data); // of which a reply may have none
    }
    return carried.take();
}

/// Returns the fields that any form of a class carries.
QSet<QString> fieldsOnTheWire(const PackageClass &ofClass)
{
    QSet<QString> names;
    const std::unique_ptr<PackageBase> package = ofClass.create();
    for (const Encoding &encoding : Encodings) {
        if (exists(shapeOf(ofClass, encoding)))
            names += namesOfCarried(encodedBy(*package, encoding), ofClass, encoding);
    }
    return names;
}

QJsonObject fieldsNamed(const QSet<QString> &names, const PackageClass &ofClass,
                        const PackageBase &package)
{
    QJsonObject json;
    for (const PackageField &field : ofClass.fields) {
        if (names.contains(field.name))
            json.insert(field.name, field.get(package));
    }
    return json;
}

/// Collects the offsets of the bytes that an encoder leaves undefined.
class UndefinedBytes : public FieldSink
{
public:
    void add(const WireField &field) override
    {
        if (field.type == WireType::Gap)
            m_offsets.append(field.offset);
    }

    QJsonArray take() { return std::move(m_offsets); }

private:
    QJsonArray m_offsets;
};

QLatin1String wordOf(Form form)
{
    constexpr const char *Words[] = {"frame", "text", "linux"};
    return QLatin1String(Words[static_cast<int>(form)]);
}

void addEncoded(const Encoding &encoding, const QByteArray &encoded, QJsonObject *json)
{
    if (encoding.form == Form::Text)
        json->insert(QStringLiteral("text"), textFromUtf8(encoded));
    else
        json->insert(QStringLiteral("bytes"), QString::fromLatin1(encoded.toHex()));
}

void end(const char *verdict, QJsonObject json)
{
    json.insert(QStringLiteral("verdict"), QLatin1String(verdict));
    std::puts(QJsonDocument(json).toJson(QJsonDocument::Compact).constData());
}

bool isDescribed(const PackageClass &ofClass, const PackageBase &package)
{
    for (const PackageField &field : ofClass.fields) {
        if (field.valueType == ValueType::Text
            && field.get(package).toString().contains(QChar::ReplacementCharacter))
            return false;
    }
    return package.data().size() <= LargestData;
}

} // namespace

std::unique_ptr<PackageBase> packageWith(const PackageClass &ofClass, const QJsonObject &fields)
{
    std::unique_ptr<PackageBase> package = ofClass.create();
    const QString fault = packageFromJson(fields, *package);
    if (!fault.isEmpty())
        qFatal("%s", qUtf8Printable(fault));
    return package;
}

QByteArray encodedBy(PackageBase &package, const Encoding &encoding)
{
    QByteArray encoded;
    encodePackage(package, encoding, &encoded);
    return encoded;
}

bool isDecoded(PackageBase &package, const Encoding &encoding, const QByteArray &encoded)
{
    return decodePackage(package, encoding, encoded).isOk();
}

QJsonObject carriedFields(const PackageClass &ofClass, const Encoding &encoding,
                          const QByteArray &encoded, const PackageBase &package)
{
    return fieldsNamed(namesOfCarried(encoded, ofClass, encoding), ofClass, package);
}

QByteArray withChecksum(QByteArray frame)
{
    int sum = 0;
    PackageBase::calcRevise(frame, 2, frame.size() - 4, &sum);
    int end = 0;
    PackageBase::SetBytesFromInt(&frame, frame.size() - 2, 2, sum, &end);
    return frame;
}

void writeCombinationCase(const QString &name, const QString &record, const QJsonValue &packages)
{
    const QString itsClass = className(ClassId::PackageRequestCombination);
    QJsonObject json{
        {QStringLiteral("case"),
         QStringLiteral("%1: %2: requestRecord: decode").arg(itsClass, name)},
        {QStringLiteral("task"), QStringLiteral("decode")},
        {QStringLiteral("class"), itsClass},
        {QStringLiteral("form"), QStringLiteral("text")},
        {QStringLiteral("direction"), QStringLiteral("request")},
        {QStringLiteral("text"), record},
    };
    if (packages.isArray())
        json.insert(QStringLiteral("fields"), QJsonObject{{QStringLiteral("packages"), packages}});
    end(packages.isArray() ? "accepted" : "refused", json);
}

CaseWriter::CaseWriter(const PackageClass &ofClass, QString name)
    : m_class(ofClass)
    , m_name(std::move(name))
{
}

void CaseWriter::encode(const PackageBase &package, const Encoding &encoding,
                        const QByteArray &encoded)
{
    QJsonObject json = begin("encode", encoding);
    if (encoding.form == Form::Frame && encoding.direction == Direction::Reply) {
        json.insert(QStringLiteral("reply"),
                    encoding.replySize == ReplySize::Full ? QStringLiteral("full")
                                                          : QStringLiteral("short"));
    }
    json.insert(QStringLiteral("fields"), fieldsNamed(fieldsOnTheWire(m_class), m_class, package));
    addEncoded(encoding, encoded, &json);
    if (encoding.form == Form::Frame) {
        UndefinedBytes sink;
        Korvin::LayoutFields fields;
        scanFrameAsWritten(encoded, shapeOf(m_class, encoding), fields, sink);
        const QJsonArray undefined = sink.take();
        if (!undefined.isEmpty())
            json.insert(QStringLiteral("undefined"), undefined);
    }
    end("accepted", json);
}

void CaseWriter::decode(const QByteArray &encoded, const Encoding &encoding,
                        const PackageBase &decoded, const QSet<QString> &undefined)
{
    QJsonObject json = begin("decode", encoding);
    addEncoded(encoding, encoded, &json);
    QJsonObject fields = carriedFields(m_class, encoding, encoded, decoded);
    for (const QString &name : undefined)
        fields.remove(name);
    json.insert(QStringLiteral("fields"), fields);
    end("accepted", json);
}

void CaseWriter::refuse(const QByteArray &encoded, const Encoding &encoding)
{
    QJsonObject json = begin("decode", encoding);
    addEncoded(encoding, encoded, &json);
    end("refused", json);
}

void CaseWriter::decodeAsTheLibrary(const QByteArray &encoded, const Encoding &encoding,
                                    const QSet<QString> &undefined)
{
    const std::unique_ptr<PackageBase> package = m_class.create();
    if (!isDecoded(*package, encoding, encoded))
        refuse(encoded, encoding);
    else if (isDescribed(m_class, *package))
        decode(encoded, encoding, *package, undefined);
}

QJsonObject CaseWriter::begin(const char *task, const Encoding &encoding) const
{
    const bool request = encoding.direction == Direction::Request;
    return {
        {QStringLiteral("case"), m_name + QLatin1String(": ") + QLatin1String(task)},
        {QStringLiteral("task"), QLatin1String(task)},
        {QStringLiteral("class"), m_class.name},
        {QStringLiteral("form"), wordOf(encoding.form)},
        {QStringLiteral("direction"),
         request ? QStringLiteral("request") : QStringLiteral("reply")},
    };
}
