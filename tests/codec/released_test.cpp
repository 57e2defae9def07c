// Compares the library with the frames and records of its releases: what a release encoded, later
// versions encode to the same bytes and decode to the same fields. Each file of tests/data/released
// has cases of one class and form, a line of JSON each, as docs/conformance.md describes them.

#include "testsupport.h"
#include "testvectors.h"

#include <packagerequestcombination.h>

#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QJsonArray>

namespace {

const QString Released = QStringLiteral(TEST_DATA "/released/");

std::vector<QString> releasedFiles()
{
    std::vector<QString> files;
    for (const QString &release : QDir(Released).entryList(QDir::Dirs | QDir::NoDotAndDotDot)) {
        for (const QString &name :
             QDir(Released + release).entryList({QStringLiteral("*.jsonl")}, QDir::Files))
            files.push_back(release + QLatin1Char('/') + name);
    }
    return files;
}

Encoding encodingOf(const QJsonObject &json)
{
    const auto is = [&](const char *name, const char *word) {
        return json.value(QLatin1String(name)) == QLatin1String(word);
    };
    Encoding encoding;
    encoding.form = is("form", "text") ? Form::Text
        : is("form", "linux")          ? Form::Linux
                                       : Form::Frame;
    encoding.direction = is("direction", "reply") ? Direction::Reply : Direction::Request;
    encoding.replySize = is("reply", "full") ? ReplySize::Full : ReplySize::Short;
    return encoding;
}

QByteArray encodedOf(const QJsonObject &json)
{
    return json.contains(QLatin1String("text"))
        ? json.value(QLatin1String("text")).toString().toUtf8()
        : QByteArray::fromHex(json.value(QLatin1String("bytes")).toString().toLatin1());
}

void expectFields(const QJsonObject &fields, const PackageBase &package)
{
    const QJsonObject decoded = packageToJson(package);
    for (auto field = fields.begin(); field != fields.end(); ++field)
        EXPECT_EQ(decoded.value(field.key()), field.value()) << field.key().toStdString();
}

void checkCombination(const QJsonObject &json)
{
    const LogCapture log; // refused items are reported
    PackageRequestCombination combination;
    const bool accepted = json.value(QLatin1String("verdict")) == QLatin1String("accepted");
    EXPECT_EQ(combination.unCombinationPackageRequest(json.value(QLatin1String("text")).toString()),
              accepted);
    const QJsonArray packages =
        json.value(QLatin1String("fields")).toObject().value(QLatin1String("packages")).toArray();
    // A refused record keeps the packages of the items before the refused one.
    EXPECT_TRUE(!accepted || static_cast<int>(combination.packageList().size()) == packages.size());
    int item = 0;
    for (PackageBase *package : combination.packageList()) {
        expectFields(packages.at(item++).toObject(), *package);
        PackageBase::clear(package);
    }
}

void checkPackage(const QJsonObject &json)
{
    const PackageClass *itsClass = packageClass(json.value(QLatin1String("class")).toString());
    ASSERT_TRUE(itsClass);
    const Encoding encoding = encodingOf(json);
    const QJsonObject fields = json.value(QLatin1String("fields")).toObject();
    const std::unique_ptr<PackageBase> package = itsClass->create();
    if (json.value(QLatin1String("task")) == QLatin1String("encode")) {
        if (!fitsThisMachine(fields)) {
            EXPECT_NE(packageFromJson(fields, *package), QString());
            return;
        }
        EXPECT_EQ(packageFromJson(fields, *package), QString());
        QByteArray encoded;
        EXPECT_TRUE(encodePackage(*package, encoding, &encoded).isOk());
        EXPECT_EQ(encoded, encodedOf(json));
        return;
    }
    const LogCapture log; // short blocks are reported
    const bool decoded = decodePackage(*package, encoding, encodedOf(json)).isOk();
    EXPECT_EQ(decoded, json.value(QLatin1String("verdict")) == QLatin1String("accepted"));
    expectFields(fields, *package);
}

class ReleasedFile : public testing::TestWithParam<QString>
{
};

TEST_P(ReleasedFile, EncodesAndDecodesToTheSame)
{
    QFile file(Released + GetParam());
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    int cases = 0;
    for (const QByteArray &line : file.readAll().split('\n')) {
        if (line.isEmpty())
            continue;
        const QJsonObject json = QJsonDocument::fromJson(line).object();
        SCOPED_TRACE(json.value(QLatin1String("case")).toString().toStdString());
        ++cases;
        if (json.value(QLatin1String("class")) == className(ClassId::PackageRequestCombination))
            checkCombination(json);
        else
            checkPackage(json);
    }
    EXPECT_GT(cases, 0);
}

INSTANTIATE_TEST_SUITE_P(Data, ReleasedFile, testing::ValuesIn(releasedFiles()));

/// Checks the files that each version froze, whatever classes exist today. SHA256SUMS lists them;
/// .ci/check-released.sh compares the sums.
TEST(ReleasedFiles, AreThoseThatWereFrozen)
{
    QFile sums(Released + QStringLiteral("SHA256SUMS"));
    ASSERT_TRUE(sums.open(QIODevice::ReadOnly));
    QStringList frozen;
    for (const QByteArray &line : sums.readAll().split('\n')) {
        const QString name = QString::fromUtf8(line).section(QStringLiteral("  "), 1);
        if (name.endsWith(QStringLiteral(".jsonl")))
            frozen << name;
    }
    QStringList present;
    for (const QString &file : releasedFiles())
        present << file;
    EXPECT_FALSE(frozen.isEmpty());
    frozen.sort();
    present.sort();
    EXPECT_EQ(present, frozen);
}

} // namespace
