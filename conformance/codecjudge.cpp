#include "codecjudge.h"

#include <korvininspect/hexbytes.h>
#include <korvininspect/messageshape.h>
#include <packagebase.h>

#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>

using namespace KorvinInspect;

namespace {

QString compact(const QJsonValue &value)
{
    const QByteArray array = QJsonDocument(QJsonArray{value}).toJson(QJsonDocument::Compact);
    constexpr int Longest = 200;
    const QString text = QString::fromUtf8(array.mid(1, array.size() - 2));
    return text.size() > Longest ? text.left(Longest) + QLatin1String("...") : text;
}

QString text(const QJsonObject &json, const char *name)
{
    return json.value(QLatin1String(name)).toString();
}

Judgement failed(const QString &reason)
{
    return {Judgement::Failed, reason};
}

Judgement noAnswer(const QString &reason)
{
    return {Judgement::NoAnswer, reason};
}

Judgement compareBytes(const QJsonObject &expected, const QJsonObject &answer)
{
    QByteArray wanted;
    QByteArray got;
    bytesFromHex(text(expected, "bytes"), &wanted);
    if (!answer.value(QLatin1String("bytes")).isString())
        return failed(QStringLiteral("the answer has no bytes"));
    const QString fault = bytesFromHex(text(answer, "bytes"), &got);
    if (!fault.isEmpty())
        return failed(QStringLiteral("bytes: %1").arg(fault));
    QByteArray compared = got;
    for (const QJsonValue offset : expected.value(QLatin1String("undefined")).toArray()) {
        const int position = offset.toInt();
        if (position < compared.size() && position < wanted.size())
            compared[position] = wanted.at(position);
    }
    if (compared != wanted) {
        return failed(QStringLiteral("bytes: expected %1, got %2")
                          .arg(hexFromBytes(wanted), hexFromBytes(got)));
    }
    return {Judgement::Passed, {}};
}

Judgement compareText(const QJsonObject &expected, const QJsonObject &answer)
{
    const QJsonValue wanted = expected.value(QLatin1String("text"));
    const QJsonValue got = answer.value(QLatin1String("text"));
    if (got == wanted)
        return {Judgement::Passed, {}};
    return failed(QStringLiteral("text: expected %1, got %2").arg(compact(wanted), compact(got)));
}

/// Compares the expected fields; an answer may have more.
QString faultOfFields(const PackageClass &itsClass, const QJsonObject &wanted,
                      const QJsonObject &got)
{
    for (auto member = wanted.begin(); member != wanted.end(); ++member) {
        if (member.key() == QLatin1String("class"))
            continue;
        const QJsonValue value = got.value(member.key());
        if (value.isUndefined())
            return QStringLiteral("%1: missing").arg(member.key());
        // A value may be written in several ways.
        const PackageField &field = *itsClass.field(member.key());
        const std::unique_ptr<PackageBase> package = itsClass.create();
        const QString fault = field.set(*package, value);
        if (!fault.isEmpty())
            return QStringLiteral("%1: %2").arg(field.name, fault);
        if (field.get(*package) != member.value()) {
            return QStringLiteral("%1: expected %2, got %3")
                .arg(field.name, compact(member.value()), compact(value));
        }
    }
    return {};
}

QString faultOfPackages(const QJsonArray &wanted, const QJsonArray &got)
{
    if (got.size() != wanted.size())
        return QStringLiteral("packages: expected %1, got %2").arg(wanted.size()).arg(got.size());
    for (int i = 0; i < wanted.size(); ++i) {
        const QJsonObject package = wanted.at(i).toObject();
        const QString name = text(package, "class");
        QString fault = faultOfFields(*packageClass(name), package, got.at(i).toObject());
        if (text(got.at(i).toObject(), "class") != name)
            fault = QStringLiteral("class: expected %1").arg(name);
        if (!fault.isEmpty())
            return QStringLiteral("package %1: %2").arg(i + 1).arg(fault);
    }
    return {};
}

Judgement compareFields(const QJsonObject &expected, const QJsonObject &answer)
{
    const QJsonObject wanted = expected.value(QLatin1String("fields")).toObject();
    const QJsonObject got = answer.value(QLatin1String("fields")).toObject();
    const PackageClass *itsClass = packageClass(text(expected, "class"));
    const QString fault = itsClass
        ? faultOfFields(*itsClass, wanted, got)
        : faultOfPackages(wanted.value(QLatin1String("packages")).toArray(),
                          got.value(QLatin1String("packages")).toArray());
    return fault.isEmpty() ? Judgement{Judgement::Passed, {}} : failed(fault);
}

QString faultOfNames(const QString &name, const QJsonObject &fields)
{
    const PackageClass *itsClass = packageClass(name);
    if (!itsClass)
        return QStringLiteral("class: there is no such class");
    for (const QString &field : fields.keys()) {
        if (!itsClass->field(field) && field != QLatin1String("class"))
            return QStringLiteral("%1: %2 has no such field").arg(field, name);
    }
    return {};
}

/// Returns what is wrong with a case; empty for a good one.
QString faultOf(const QJsonObject &json)
{
    if (text(json, "case").isEmpty())
        return QStringLiteral("no JSON object with a case");
    const QString task = text(json, "task");
    if (task != QLatin1String("encode") && task != QLatin1String("decode"))
        return QStringLiteral("task: not one of encode, decode");
    const QString verdict = text(json, "verdict");
    if (verdict != QLatin1String("accepted") && verdict != QLatin1String("refused"))
        return QStringLiteral("verdict: not one of accepted, refused");
    const bool hasText = json.value(QLatin1String("text")).isString();
    QByteArray bytes;
    if (hasText == json.value(QLatin1String("bytes")).isString()
        || !bytesFromHex(text(json, "bytes"), &bytes).isEmpty())
        return QStringLiteral("neither bytes nor text");
    const QJsonObject fields = json.value(QLatin1String("fields")).toObject();
    if (text(json, "class") != className(ClassId::PackageRequestCombination))
        return faultOfNames(text(json, "class"), fields);
    for (const QJsonValue package : fields.value(QLatin1String("packages")).toArray()) {
        QString fault = faultOfNames(text(package.toObject(), "class"), package.toObject());
        if (!fault.isEmpty())
            return fault;
    }
    return task == QLatin1String("decode")
        ? QString()
        : QStringLiteral("task: no program encodes a combination");
}

bool isFullReply(const QJsonObject &ofCase)
{
    if (ofCase.contains(QLatin1String("reply")))
        return text(ofCase, "reply") == QLatin1String("full");
    // The first byte of a reply says whether it is short or full.
    const QString bytes = text(ofCase, "bytes");
    return !bytes.isEmpty() && !bytes.startsWith(QLatin1String("00"));
}

} // namespace

QString casesFromLines(const QByteArray &lines, QVector<QJsonObject> *cases)
{
    int number = 0;
    for (const QByteArray &line : lines.split('\n')) {
        ++number;
        if (line.trimmed().isEmpty())
            continue;
        const QJsonObject json = QJsonDocument::fromJson(line).object();
        const QString fault = faultOf(json);
        if (!fault.isEmpty())
            return QStringLiteral("line %1: %2").arg(number).arg(fault);
        cases->append(json);
    }
    return cases->isEmpty() ? QStringLiteral("there is no case") : QString();
}

QByteArray questionOf(const QJsonObject &ofCase)
{
    QJsonObject question = ofCase;
    for (const char *name : {"verdict", "undefined"})
        question.remove(QLatin1String(name));
    if (text(ofCase, "task") == QLatin1String("encode")) {
        question.remove(QStringLiteral("bytes"));
        question.remove(QStringLiteral("text"));
    } else {
        question.remove(QStringLiteral("fields"));
    }
    return QJsonDocument(question).toJson(QJsonDocument::Compact);
}

Judgement judge(const QJsonObject &ofCase, const QByteArray &answerLine)
{
    QJsonParseError error{};
    const QJsonDocument document = QJsonDocument::fromJson(answerLine, &error);
    if (!document.isObject())
        return noAnswer(QStringLiteral("the answer is not a JSON object in one line"));
    const QJsonObject answer = document.object();
    const QString name = text(ofCase, "case");
    if (text(answer, "case") != name)
        return noAnswer(QStringLiteral("the answer is not for this case: %1")
                            .arg(compact(answer.value(QLatin1String("case")))));
    const QString verdict = text(answer, "verdict");
    if (verdict == QLatin1String("unsupported"))
        return {Judgement::Unsupported, {}};
    if (verdict != text(ofCase, "verdict")) {
        return failed(QStringLiteral("verdict: expected %1, got %2")
                          .arg(compact(ofCase.value(QLatin1String("verdict"))),
                               compact(answer.value(QLatin1String("verdict")))));
    }
    if (verdict == QLatin1String("refused"))
        return {Judgement::Passed, {}};
    if (text(ofCase, "task") == QLatin1String("decode"))
        return compareFields(ofCase, answer);
    return ofCase.contains(QLatin1String("text")) ? compareText(ofCase, answer)
                                                  : compareBytes(ofCase, answer);
}

QString kindOf(const QJsonObject &ofCase)
{
    QString kind = QStringLiteral("%1 %2 %3")
                       .arg(text(ofCase, "task"), text(ofCase, "form"), text(ofCase, "direction"));
    const bool isReplyFrame = text(ofCase, "form") == QLatin1String("frame")
        && text(ofCase, "direction") == QLatin1String("reply");
    if (isReplyFrame)
        kind += isFullReply(ofCase) ? QLatin1String(" (full)") : QLatin1String(" (short)");
    return kind + QLatin1String(" of ") + text(ofCase, "class");
}
