#include "testvectors.h"

#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>

namespace {

QJsonObject objectIn(const QString &fileName)
{
    QFile file(QStringLiteral(TEST_DATA "/vectors/") + fileName);
    if (!file.open(QIODevice::ReadOnly))
        qFatal("%s: %s", qUtf8Printable(fileName), qUtf8Printable(file.errorString()));
    return QJsonDocument::fromJson(file.readAll()).object();
}

/// Returns @p fields with those of @p others instead of the same ones.
QJsonObject merged(QJsonObject fields, const QJsonObject &others)
{
    for (auto other = others.begin(); other != others.end(); ++other)
        fields[other.key()] = other.value();
    return fields;
}

/// Returns pieces of a frame with the bytes that the word "header" stands for.
QJsonArray withHeader(const QJsonArray &pieces, const QJsonValue &header)
{
    QJsonArray bytes;
    for (const QJsonValue piece : pieces) {
        if (piece != QJsonValue(QStringLiteral("header"))) {
            bytes.append(piece);
            continue;
        }
        for (const QJsonValue byte : header.toArray())
            bytes.append(byte);
    }
    return bytes;
}

/// Returns a case with all that it takes from @p common, and with "decodes" instead of "differs".
QJsonObject spelledOut(QJsonObject content, const QJsonObject &common)
{
    const QString header = content.take(QLatin1String("common")).toString();
    QJsonObject fields = content.value(QLatin1String("fields")).toObject();
    if (!header.isEmpty())
        fields = merged(common.value(QLatin1String("fields")).toObject(), fields);
    for (const QString &name : content.keys()) {
        if (content.value(name) == QJsonValue(QStringLiteral("common")))
            content[name] = common.value(name);
        QJsonObject form = content.value(name).toObject();
        if (form.contains(QLatin1String("bytes"))) {
            form[QLatin1String("bytes")] =
                withHeader(form.value(QLatin1String("bytes")).toArray(),
                           common.value(QLatin1String("header")).toObject().value(header));
        }
        if (form.contains(QLatin1String("differs"))) {
            form[QLatin1String("decodes")] =
                merged(fields, form.take(QLatin1String("differs")).toObject());
        }
        if (!form.isEmpty())
            content[name] = form;
    }
    content[QLatin1String("fields")] = fields;
    return content;
}

} // namespace

std::vector<Vector> allVectors()
{
    const QString commonName = QStringLiteral("common.json");
    const QJsonObject common = objectIn(commonName);
    std::vector<Vector> vectors;
    const QDir directory(QStringLiteral(TEST_DATA "/vectors"));
    for (const QString &fileName : directory.entryList(QDir::Files, QDir::Name)) {
        if (fileName == commonName)
            continue;
        const QJsonObject json = objectIn(fileName);
        const QString className = json.value(QLatin1String("class")).toString();
        for (const QJsonValue content : json.value(QLatin1String("cases")).toArray())
            vectors.push_back({className, spelledOut(content.toObject(), common)});
    }
    return vectors;
}

QByteArray encodedForm(const QJsonObject &form)
{
    if (form.contains(QLatin1String("text")))
        return form.value(QLatin1String("text")).toString().toUtf8();
    QByteArray bytes;
    for (const QJsonValue piece : form.value(QLatin1String("bytes")).toArray())
        bytes += QByteArray::fromHex(piece.toString().toLatin1());
    return bytes;
}
