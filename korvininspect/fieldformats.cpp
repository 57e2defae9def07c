#include "fieldformats_p.h"

#include "codenames_p.h"

#include <QtCore/QStringList>

#include <limits>

namespace KorvinInspect {

namespace {

constexpr int MinInt = std::numeric_limits<int>::min();
constexpr int MaxInt = std::numeric_limits<int>::max();

/// The names of an enumeration, and the prefix and suffix of its enumerators.
struct Codes
{
    QString type;
    QString prefix;
    QString suffix;
    std::vector<std::pair<qint64, QString>> names;

    QString nameFor(qint64 code) const
    {
        for (const auto &[known, name] : names) {
            if (known == code)
                return name;
        }
        return {};
    }

    std::optional<qint64> codeFor(const QJsonValue &value) const
    {
        for (const auto &[code, name] : names) {
            if (value == name)
                return code;
        }
        const std::optional<qint64> number = numberFromJson<qint64>(value);
        return number && *number >= MinInt && *number <= MaxInt ? number : std::nullopt;
    }

    QString expression(qint64 code) const
    {
        const QString name = nameFor(code);
        if (name.isEmpty())
            return QStringLiteral("static_cast<OrvexEnum::%1>(%2)").arg(type).arg(code);
        return QStringLiteral("OrvexEnum::%1%2%3%4")
            .arg(prefix, name.left(1).toUpper(), name.mid(1), suffix);
    }
};

/// Makes the format of a table of names.
template <typename Code, std::size_t N>
Format<qint64> codeFormat(const Korvin::CodeName<Code> (&names)[N], const QString &type,
                          const QString &prefix, const QString &suffix)
{
    auto made = std::make_shared<Codes>(Codes{type, prefix, suffix, {}});
    QStringList words;
    for (const Korvin::CodeName<Code> &row : names) {
        made->names.emplace_back(row.code, row.name.toString());
        words << row.name.toString();
    }
    const std::shared_ptr<const Codes> codes = std::move(made);
    return {ValueType::Code,
            QStringLiteral("one of %1, or a number from %2 to %3")
                .arg(words.join(QLatin1String(", ")))
                .arg(MinInt)
                .arg(MaxInt),
            [codes](qint64 code) {
                const QString name = codes->nameFor(code);
                return name.isEmpty() ? QJsonValue(code) : QJsonValue(name);
            },
            [codes](const QJsonValue &value) { return codes->codeFor(value); },
            [codes](qint64 code) {
                const QString name = codes->nameFor(code);
                return QStringLiteral("%1 (%2)")
                    .arg(name.isEmpty() ? QStringLiteral("no name") : name)
                    .arg(code);
            },
            [codes](qint64 code) { return codes->expression(code); }};
}

std::optional<bool> flagFromJson(const QJsonValue &value)
{
    if (value.isBool())
        return value.toBool();
    if (value.toString() == QLatin1String("true"))
        return true;
    return value.toString() == QLatin1String("false") ? std::optional(false) : std::nullopt;
}

} // namespace

Format<qint64> formatOf(OrvexEnum::ReadWriteCode)
{
    return codeFormat(Korvin::ReadWriteNames, QStringLiteral("ReadWriteCode"), {}, {});
}

Format<qint64> formatOf(OrvexEnum::CommResults)
{
    return codeFormat(Korvin::CommResultNames, QStringLiteral("CommResults"),
                      QStringLiteral("Comm"), {});
}

Format<qint64> formatOf(OrvexEnum::PackageResults)
{
    return codeFormat(Korvin::PackageResultNames, QStringLiteral("PackageResults"),
                      QStringLiteral("Pack"), {});
}

Format<qint64> formatOf(OrvexEnum::ClientPackageType)
{
    return codeFormat(Korvin::ClientPackageTypeNames, QStringLiteral("ClientPackageType"), {},
                      QStringLiteral("Package"));
}

Format<QString> textFormat()
{
    const auto same = [](const QString &text) { return text; };
    return {ValueType::Text, QStringLiteral("a text"), same, textFromJson, same, textExpression};
}

Format<bool> flagFormat()
{
    const auto word = [](bool flag) {
        return flag ? QStringLiteral("true") : QStringLiteral("false");
    };
    return {ValueType::Flag,
            QStringLiteral("true or false"),
            [](bool flag) { return flag; },
            flagFromJson,
            word,
            word};
}

Format<QByteArray> dataFormat()
{
    return {ValueType::Data,
            QStringLiteral("bytes in hexadecimal digits"),
            dataToJson,
            dataFromJson,
            [](const QByteArray &data) {
                const QString size = byteCount(data.size());
                return data.isEmpty() ? size : size + QLatin1String(": ") + hexFromBytes(data);
            },
            dataExpression};
}

} // namespace KorvinInspect
