#include "testreport.h"

#include <QtCore/QXmlStreamWriter>

#include <algorithm>

namespace {

/// Returns a text without control characters, which XML cannot write.
QString withoutControls(QString text)
{
    for (QChar &character : text) {
        if (character.category() == QChar::Other_Control)
            character = QChar::ReplacementCharacter;
    }
    return text;
}

void writeResult(const TestResult &result, QXmlStreamWriter *xml)
{
    xml->writeStartElement(QStringLiteral("testcase"));
    xml->writeAttribute(QStringLiteral("classname"), withoutControls(result.group));
    xml->writeAttribute(QStringLiteral("name"), withoutControls(result.name));
    xml->writeAttribute(QStringLiteral("time"), QString::number(result.seconds, 'f', 3));
    if (result.verdict == TestResult::Failed) {
        xml->writeStartElement(QStringLiteral("failure"));
        xml->writeAttribute(QStringLiteral("message"), withoutControls(result.reason));
        xml->writeEndElement();
    } else if (result.verdict != TestResult::Passed) {
        xml->writeStartElement(QStringLiteral("skipped"));
        xml->writeAttribute(QStringLiteral("message"),
                            result.verdict == TestResult::NotRun ? QStringLiteral("not run")
                                                                 : QStringLiteral("unsupported"));
        xml->writeEndElement();
    }
    xml->writeEndElement();
}

} // namespace

int countOf(TestResult::Verdict verdict, const QVector<TestResult> &results)
{
    return static_cast<int>(
        std::count_if(results.begin(), results.end(),
                      [=](const TestResult &result) { return result.verdict == verdict; }));
}

QByteArray junitXml(const QString &suite, const QVector<TestResult> &results)
{
    const int skipped =
        countOf(TestResult::Unsupported, results) + countOf(TestResult::NotRun, results);
    QByteArray output;
    QXmlStreamWriter xml(&output);
    xml.setAutoFormatting(true);
    xml.writeStartDocument();
    xml.writeStartElement(QStringLiteral("testsuite"));
    xml.writeAttribute(QStringLiteral("name"), withoutControls(suite));
    xml.writeAttribute(QStringLiteral("tests"), QString::number(results.size()));
    xml.writeAttribute(QStringLiteral("failures"),
                       QString::number(countOf(TestResult::Failed, results)));
    xml.writeAttribute(QStringLiteral("errors"), QStringLiteral("0"));
    xml.writeAttribute(QStringLiteral("skipped"), QString::number(skipped));
    for (const TestResult &result : results)
        writeResult(result, &xml);
    xml.writeEndElement();
    xml.writeEndDocument();
    return output;
}
