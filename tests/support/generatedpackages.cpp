#include "generatedpackages.h"

#include <algorithm>

namespace {

bool hasData(const PackageClass &ofClass)
{
    return std::any_of(ofClass.fields.begin(), ofClass.fields.end(), [](const PackageField &field) {
        return field.valueType == ValueType::Data;
    });
}

} // namespace

const PackageClass &Generator::anyClass()
{
    const std::vector<PackageClass> &classes = packageClasses();
    return classes.at(static_cast<std::size_t>(upTo(static_cast<int>(classes.size()) - 1)));
}

Encoding Generator::anyEncoding(const PackageClass &ofClass)
{
    Encoding encoding;
    encoding.form = Form(upTo(exists({ofClass.id, Form::Linux, Direction::Request}) ? 2 : 1));
    if (encoding.form != Form::Linux)
        encoding.direction = Direction(upTo(1));
    encoding.replySize = ReplySize(upTo(1));
    return encoding;
}

QString Generator::text(int maxSize, const char *characters)
{
    const QString alphabet = QString::fromUtf8(characters);
    QString result;
    for (int size = upTo(maxSize); size > 0; --size)
        result += alphabet.at(upTo(alphabet.size() - 1));
    return result;
}

QJsonValue Generator::consistentValue(const PackageField &field, const PackageBase &package)
{
    const bool isName = field.name == QLatin1String("fileNameWithPath");
    switch (field.valueType) {
    case ValueType::Flag:
        return oneIn(2);
    case ValueType::Text:
        if (field.name == QLatin1String("deviceKey"))
            return text(9, "ab/,.:é0");
        return isName ? QLatin1Char('n') + text(9, "ab/.é") : text(12, "abc é/#.");
    case ValueType::Code:
        if (field.name == QLatin1String("readWriteCode"))
            return package.getReadWriteCode();
        if (field.name == QLatin1String("commResult"))
            return upTo(7);
        if (field.name == QLatin1String("packResult"))
            return oneIn(2) ? upTo(10) : 245 + upTo(10);
        return upTo(2);
    default:
        break;
    }
    // What a byte of a frame carries fits into every form.
    if (field.name == QLatin1String("deviceType") || field.name == QLatin1String("reserved2"))
        return upTo(127);
    if (field.type.contains(QLatin1String("to 255")) || field.name == QLatin1String("serialNum")
        || field.name == QLatin1String("ackCode"))
        return upTo(255);
    if (field.type.contains(QLatin1String("to 65535")))
        return upTo(65535);
    const bool mayBeNegative = field.name == QLatin1String("offset")
        || (field.name == QLatin1String("timeout")
            && classOf(package).id != ClassId::SpecialPackageRequest);
    return upTo(100000) - (mayBeNegative ? 50000 : 0);
}

std::unique_ptr<PackageBase> Generator::consistentPackage(const PackageClass &ofClass)
{
    std::unique_ptr<PackageBase> package = ofClass.create();
    for (const PackageField &field : ofClass.fields) {
        if (field.valueType != ValueType::Data)
            field.set(*package, consistentValue(field, *package));
    }
    if (!hasData(ofClass))
        return package;
    QByteArray data(1 + upTo(40), '\0');
    for (char &byte : data)
        byte = static_cast<char>(upTo(255));
    package->setData(data);
    for (const PackageField &field : ofClass.fields) {
        if (field.valueType == ValueType::Length)
            field.set(*package, data.size());
    }
    return package;
}

QJsonValue Generator::wildValue(const PackageField &field)
{
    switch (field.valueType) {
    case ValueType::Flag:
        return oneIn(2);
    case ValueType::Text:
        return text(oneIn(50) ? 400 : 8, "a,/|^#*é\u20AC0");
    case ValueType::Code:
        return upTo(12) - 2;
    case ValueType::Data:
        return QString::fromLatin1(QByteArray(upTo(20), static_cast<char>(upTo(255))).toHex());
    case ValueType::Length: {
        // An encoder writes the announced length, up to 256 MiB.
        const int lengths[] = {0, -1, upTo(300), 0x7FFFFFFF};
        return lengths[upTo(3)];
    }
    case ValueType::Number:
        break;
    }
    const int edges[] = {0, 1, 127, 128, 255, 256, 65535, 65536, upTo(300), upTo(0x7FFFFFFE)};
    const int number = edges[upTo(9)];
    return oneIn(4) ? -number : number;
}

std::unique_ptr<PackageBase> Generator::wildPackage(const PackageClass &ofClass)
{
    std::unique_ptr<PackageBase> package = ofClass.create();
    for (const PackageField &field : ofClass.fields) {
        if (oneIn(2))
            field.set(*package, wildValue(field)); // what does not fit leaves the default
    }
    return package;
}

char Generator::anyByte(Form form)
{
    static const char characters[] = ",,,//|^-+ 0123456789atrue#*";
    if (form == Form::Text)
        return characters[upTo(static_cast<int>(sizeof characters) - 2)];
    const int edges[] = {0, 1, 0x7F, 0x80, 0xFF, upTo(255)};
    return static_cast<char>(edges[upTo(5)]);
}

QByteArray Generator::mutated(QByteArray input, Form form)
{
    for (int changes = 1 + upTo(3); changes > 0; --changes) {
        const int position = upTo(input.size());
        switch (upTo(3)) {
        case 0:
            input.insert(position, anyByte(form));
            break;
        case 1:
            input.truncate(position);
            break;
        case 2:
            input.remove(position, 1 + upTo(3));
            break;
        default:
            if (position < input.size())
                input[position] = anyByte(form);
            break;
        }
    }
    return input;
}
