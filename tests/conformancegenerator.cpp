// Writes cases of the conformance kit to standard output: those of tests/data/vectors, or with
// arguments SEED and COUNT as many generated ones, whose answers are the library's.

#include "classlayouts_p.h"
#include "generatedpackages.h"
#include "testvectors.h"

#include <korvininspect/inputtext.h>
#include <korvininspect/packageexplain.h>

#include <QtCore/QFile>
#include <QtCore/QJsonArray>
#include <QtCore/QSet>

#include <cstdio>

namespace {

const QString DataLengths[] = {QStringLiteral("replyDataLength"),
                               QStringLiteral("packageDataLength")};

/// What a case gives must fit into a line that people can read.
constexpr int LargestData = 4096;

/// The fields of a package that an explained field gives.
QStringList fieldsOf(const ExplainedField &explained)
{
    if (explained.name == QLatin1String("status"))
        return {QStringLiteral("ackCode"), QStringLiteral("commResult"),
                QStringLiteral("packResult")};
    if (explained.name == QLatin1String("dataLength"))
        return {DataLengths[0], DataLengths[1]};
    return {explained.name};
}

void addCarried(const QByteArray &input, const MessageShape &shape, QSet<QString> *names)
{
    for (const ExplainedField &explained : explain(input, shape)) {
        for (const QString &name : fieldsOf(explained))
            names->insert(name);
    }
    // A reply of a Linux frame without data has none of it to explain.
    if (shape.form == Form::Linux)
        names->insert(QStringLiteral("data"));
}

/// The fields that any form of a class carries.
QSet<QString> fieldsOnTheWire(const PackageClass &ofClass)
{
    QSet<QString> names;
    const std::unique_ptr<PackageBase> package = ofClass.create();
    for (const FormOfVector &form : EncodedForms) {
        QByteArray encoded;
        if (encodePackage(*package, form.encoding, &encoded).isOk())
            addCarried(encoded, {ofClass.id, form.encoding.form, form.encoding.direction}, &names);
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

/// Collects the offsets of what an encoder leaves undefined.
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

const char *wordOf(Form form)
{
    switch (form) {
    case Form::Frame:
        return "frame";
    case Form::Text:
        return "text";
    default:
        return "linux";
    }
}

/// Makes the lines of one class.
class Cases
{
public:
    Cases(const PackageClass &ofClass, QString name)
        : m_class(ofClass)
        , m_name(std::move(name))
    {
    }

    /// The fields are those of @p package, the answer is @p encoded.
    void encode(const PackageBase &package, const Encoding &encoding, const QByteArray &encoded)
    {
        QJsonObject json = begin("encode", encoding);
        if (encoding.form == Form::Frame && encoding.direction == Direction::Reply) {
            json.insert(QStringLiteral("reply"),
                        encoding.replySize == ReplySize::Full ? QStringLiteral("full")
                                                              : QStringLiteral("short"));
        }
        json.insert(QStringLiteral("fields"),
                    fieldsNamed(fieldsOnTheWire(m_class), m_class, package));
        addEncoded(encoding, encoded, &json);
        if (encoding.form == Form::Frame) {
            UndefinedBytes sink;
            scanFrame<FrameAsWritten>(encoded, shapeOf(encoding), sink);
            const QJsonArray undefined = sink.take();
            if (!undefined.isEmpty())
                json.insert(QStringLiteral("undefined"), undefined);
        }
        end("accepted", json);
    }

    /// The answer is what @p decoded has of the fields that the input carries.
    void decode(const QByteArray &encoded, const Encoding &encoding, const PackageBase &decoded)
    {
        QJsonObject json = begin("decode", encoding);
        addEncoded(encoding, encoded, &json);
        QSet<QString> carried;
        addCarried(encoded, shapeOf(encoding), &carried);
        json.insert(QStringLiteral("fields"), fieldsNamed(carried, m_class, decoded));
        end("accepted", json);
    }

    void refuse(const QByteArray &encoded, const Encoding &encoding)
    {
        QJsonObject json = begin("decode", encoding);
        addEncoded(encoding, encoded, &json);
        end("refused", json);
    }

private:
    MessageShape shapeOf(const Encoding &encoding) const
    {
        return {m_class.id, encoding.form, encoding.direction};
    }

    QJsonObject begin(const char *task, const Encoding &encoding) const
    {
        const bool request = encoding.direction == Direction::Request;
        return {
            {QStringLiteral("case"), m_name + QLatin1String(": ") + QLatin1String(task)},
            {QStringLiteral("task"), QLatin1String(task)},
            {QStringLiteral("class"), m_class.name},
            {QStringLiteral("form"), QLatin1String(wordOf(encoding.form))},
            {QStringLiteral("direction"),
             request ? QStringLiteral("request") : QStringLiteral("reply")},
        };
    }

    static void addEncoded(const Encoding &encoding, const QByteArray &encoded, QJsonObject *json)
    {
        if (encoding.form == Form::Text)
            json->insert(QStringLiteral("text"), textFromUtf8(encoded));
        else
            json->insert(QStringLiteral("bytes"), QString::fromLatin1(encoded.toHex()));
    }

    static void end(const char *verdict, QJsonObject json)
    {
        json.insert(QStringLiteral("verdict"), QLatin1String(verdict));
        std::puts(QJsonDocument(json).toJson(QJsonDocument::Compact).constData());
    }

    const PackageClass &m_class;
    QString m_name;
};

std::unique_ptr<PackageBase> packageWith(const PackageClass &ofClass, const QJsonObject &fields)
{
    std::unique_ptr<PackageBase> package = ofClass.create();
    const QString fault = packageFromJson(fields, *package);
    if (!fault.isEmpty())
        qFatal("%s", qUtf8Printable(fault));
    return package;
}

void writeVector(const Vector &vector, const FormOfVector &form)
{
    const QJsonObject expected = vector.content.value(QLatin1String(form.name)).toObject();
    if (expected.isEmpty())
        return;
    const PackageClass &itsClass = *packageClass(vector.className);
    const QByteArray encoded = encodedForm(expected);
    const QJsonObject fields = vector.content.value(QLatin1String("fields")).toObject();
    Cases cases(itsClass,
                QStringLiteral("%1: %2: %3")
                    .arg(vector.className, vector.content.value(QLatin1String("name")).toString(),
                         QLatin1String(form.name)));
    const bool isEncoded =
        !vector.content.value(QLatin1String("decodeOnly")).toBool() && form.name != LinuxReply.name;
    if (isEncoded)
        cases.encode(*packageWith(itsClass, fields), form.encoding, encoded);
    if (expected.value(QLatin1String("refused")).toBool()) {
        cases.refuse(encoded, form.encoding);
        return;
    }
    const QJsonValue decodes = expected.value(QLatin1String("decodes"));
    cases.decode(encoded, form.encoding,
                 *packageWith(itsClass, decodes.isUndefined() ? fields : decodes.toObject()));
}

/// A combination is a list of packages and no package itself.
void writeCombinations()
{
    QFile file(QStringLiteral(TEST_DATA "/combinations.json"));
    if (!file.open(QIODevice::ReadOnly))
        qFatal("%s", qUtf8Printable(file.errorString()));
    const QJsonObject json = QJsonDocument::fromJson(file.readAll()).object();
    const QString name = json.value(QLatin1String("class")).toString();
    for (const QJsonValue item : json.value(QLatin1String("cases")).toArray()) {
        const QJsonObject content = item.toObject();
        QJsonObject line{
            {QStringLiteral("case"),
             QStringLiteral("%1: %2: requestRecord: decode")
                 .arg(name, content.value(QLatin1String("name")).toString())},
            {QStringLiteral("task"), QStringLiteral("decode")},
            {QStringLiteral("class"), name},
            {QStringLiteral("form"), QStringLiteral("text")},
            {QStringLiteral("direction"), QStringLiteral("request")},
            {QStringLiteral("text"), content.value(QLatin1String("text"))},
        };
        const QJsonValue packages = content.value(QLatin1String("packages"));
        line.insert(QStringLiteral("verdict"),
                    packages.isArray() ? QStringLiteral("accepted") : QStringLiteral("refused"));
        if (packages.isArray())
            line.insert(QStringLiteral("fields"),
                        QJsonObject{{QStringLiteral("packages"), packages}});
        std::puts(QJsonDocument(line).toJson(QJsonDocument::Compact).constData());
    }
}

void writeVectors()
{
    for (const Vector &vector : allVectors()) {
        for (const FormOfVector &form : EncodedForms)
            writeVector(vector, form);
        writeVector(vector, LinuxReply);
    }
}

/// Whether the library's answer is one that the format gives, and not the limit of a program: what
/// becomes of bytes that are no text, and of data that is announced without end.
bool isDescribed(const PackageClass &ofClass, const PackageBase &package)
{
    for (const PackageField &field : ofClass.fields) {
        if (field.valueType == ValueType::Text
            && field.get(package).toString().contains(QChar::ReplacementCharacter))
            return false;
    }
    return package.data().size() <= LargestData;
}

bool announcesNoMoreThan(int most, const PackageClass &ofClass, const PackageBase &package)
{
    for (const QString &name : DataLengths) {
        const PackageField *field = ofClass.field(name);
        if (field && field->get(package).toInt() > most)
            return false;
    }
    return true;
}

QByteArray withChecksum(QByteArray frame)
{
    int sum = 0;
    PackageBase::calcRevise(frame, 2, frame.size() - 4, &sum);
    int end = 0;
    PackageBase::SetBytesFromInt(&frame, frame.size() - 2, 2, sum, &end);
    return frame;
}

void writeGenerated(Generator &generator, int number)
{
    const PackageClass &itsClass = generator.anyClass();
    const std::unique_ptr<PackageBase> package = generator.oneIn(2)
        ? generator.consistentPackage(itsClass)
        : generator.wildPackage(itsClass);
    Encoding encoding = generator.anyEncoding(itsClass);
    if (!announcesNoMoreThan(LargestData, itsClass, *package))
        return;
    QByteArray encoded;
    encodePackage(*package, encoding, &encoded);
    const QString name = QStringLiteral("generated %1").arg(number);
    Cases(itsClass, name).encode(*package, encoding, encoded);

    if (encoding.form == Form::Linux)
        encoding.direction = Direction::Reply;
    if (!generator.oneIn(3)) {
        encoded = generator.mutated(encoded, encoding.form);
        if (encoding.form == Form::Linux && encoded.size() >= 4 && generator.oneIn(2))
            encoded = withChecksum(encoded);
    }
    const PackageClass &reader =
        encoding.form != Form::Linux && generator.oneIn(4) ? generator.anyClass() : itsClass;
    const std::unique_ptr<PackageBase> decoded = reader.create();
    Cases cases(reader, name);
    if (!decodePackage(*decoded, encoding, encoded).isOk())
        cases.refuse(encoded, encoding);
    else if (isDescribed(reader, *decoded))
        cases.decode(encoded, encoding, *decoded);
}

} // namespace

int main(int argc, char *argv[])
{
    if (argc == 1) {
        writeVectors();
        writeCombinations();
        return 0;
    }
    if (argc != 3)
        qFatal("usage: conformance_generator [SEED COUNT]");
    qInstallMessageHandler([](QtMsgType, const QMessageLogContext &, const QString &) {
        // Short blocks are reported.
    });
    Generator generator(QByteArray(argv[1]).toUInt());
    const int count = QByteArray(argv[2]).toInt();
    for (int number = 1; number <= count; ++number)
        writeGenerated(generator, number);
    return 0;
}
