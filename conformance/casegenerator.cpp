// Writes the cases of the conformance kit to standard output: those of tests/data/vectors, and
// those at the edges of every field of every class; or with arguments SEED and COUNT as many
// generated ones, whose answers are the library's.

#include "casewriter.h"
#include "combinationcases.h"
#include "edgecases.h"
#include "generatedpackages.h"
#include "testvectors.h"

#include <QtCore/QFile>
#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>

#include <algorithm>

using namespace KorvinInspect;

namespace {

void writeVector(const Vector &vector, const FormOfVector &form)
{
    const QJsonObject expected = vector.content.value(QLatin1String(form.name)).toObject();
    if (expected.isEmpty())
        return;
    const PackageClass &itsClass = *packageClass(vector.className);
    const QByteArray encoded = encodedForm(expected);
    const QJsonObject fields = vector.content.value(QLatin1String("fields")).toObject();
    CaseWriter cases(itsClass,
                     QStringLiteral("%1: %2: %3")
                         .arg(vector.className,
                              vector.content.value(QLatin1String("name")).toString(),
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

/// Writes the cases of combinations, which are lists of packages, not packages.
void writeCombinations()
{
    QFile file(QStringLiteral(TEST_DATA "/combinations.json"));
    if (!file.open(QIODevice::ReadOnly))
        qFatal("%s", qUtf8Printable(file.errorString()));
    const QJsonObject json = QJsonDocument::fromJson(file.readAll()).object();
    for (const QJsonValue item : json.value(QLatin1String("cases")).toArray()) {
        const QJsonObject content = item.toObject();
        writeCombinationCase(content.value(QLatin1String("name")).toString(),
                             content.value(QLatin1String("text")).toString(),
                             content.value(QLatin1String("packages")));
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

/// Returns whether the encoded package fits into a line that people can read.
bool announcesLittle(const PackageClass &ofClass, const PackageBase &package)
{
    return std::all_of(ofClass.fields.begin(), ofClass.fields.end(),
                       [&](const PackageField &field) {
                           return field.valueType != ValueType::Length
                               || field.get(package).toInt() <= LargestData;
                       });
}

void writeGenerated(Generator &generator, int number)
{
    const PackageClass &itsClass = generator.anyClass();
    const std::unique_ptr<PackageBase> package = generator.oneIn(2)
        ? generator.consistentPackage(itsClass)
        : generator.wildPackage(itsClass);
    Encoding encoding = generator.anyEncoding(itsClass);
    if (!announcesLittle(itsClass, *package))
        return;
    QByteArray encoded = encodedBy(*package, encoding);
    const QString name = QStringLiteral("generated %1").arg(number);
    CaseWriter(itsClass, name).encode(*package, encoding, encoded);

    if (encoding.form == Form::Linux)
        encoding.direction = Direction::Reply;
    if (!generator.oneIn(3)) {
        encoded = generator.mutated(encoded, encoding.form);
        if (encoding.form == Form::Linux && encoded.size() >= 4 && generator.oneIn(2))
            encoded = withChecksum(encoded);
    }
    const PackageClass &reader =
        encoding.form != Form::Linux && generator.oneIn(4) ? generator.anyClass() : itsClass;
    CaseWriter(reader, name).decodeAsTheLibrary(encoded, encoding);
}

} // namespace

int main(int argc, char *argv[])
{
    qInstallMessageHandler([](QtMsgType type, const QMessageLogContext &, const QString &text) {
        // The library reports short blocks and refused items.
        if (type == QtFatalMsg)
            std::fputs(qUtf8Printable(text), stderr);
    });
    if (argc == 1) {
        writeVectors();
        writeCombinations();
        writeEdgeCases();
        writeCombinationCases();
        return 0;
    }
    if (argc != 3)
        qFatal("usage: conformance_generator [SEED COUNT]");
    Generator generator(QByteArray(argv[1]).toUInt());
    const int count = QByteArray(argv[2]).toInt();
    for (int number = 1; number <= count; ++number)
        writeGenerated(generator, number);
    for (int number = 1; number <= count / 10; ++number)
        writeGeneratedCombination(generator, QStringLiteral("generated %1").arg(number));
    return 0;
}
