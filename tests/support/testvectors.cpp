#include "testvectors.h"

#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>

std::vector<Vector> allVectors()
{
    std::vector<Vector> vectors;
    const QDir directory(QStringLiteral(TEST_DATA "/vectors"));
    for (const QString &fileName : directory.entryList(QDir::Files, QDir::Name)) {
        QFile file(directory.filePath(fileName));
        file.open(QIODevice::ReadOnly);
        const QJsonObject json = QJsonDocument::fromJson(file.readAll()).object();
        const QString className = json.value(QLatin1String("class")).toString();
        for (const QJsonValue content : json.value(QLatin1String("cases")).toArray())
            vectors.push_back({className, content.toObject()});
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
