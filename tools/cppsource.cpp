#include "cppsource.h"

#include <korvininspect/packageclass.h>
#include <packagerequestwrite.h>

#include <QtCore/QStringList>

using namespace KorvinInspect;

namespace {

constexpr QStringView CommonArguments =
    u"deviceKey scrAddr desAddr deviceType portAddr scanBoardAddr "
    "highAddr lowAddr reserved2 timeout tag commResult ";

/// What the constructor of a class takes behind the common arguments: fields, and expressions in
/// place of data and its length, because the constructor makes the one fit the other.
constexpr struct
{
    ClassId id;
    QStringView names;
} OwnArguments[] = {
    {ClassId::PackageRequestRead, u"replyDataLength clientPackageType"},
    {ClassId::PackageRequestReadData, u"replyDataLength"},
    {ClassId::PackageRequestReadFile, u"replyDataLength fileNameWithPath"},
    {ClassId::PackageRequestReadMemData, u"replyDataLength offset"},
    {ClassId::PackageRequestWrite, u"broadcast clientPackageType"},
    {ClassId::PackageRequestWriteData, u"broadcast QByteArray() 0"},
    {ClassId::PackageRequestWriteIP, u"broadcast QByteArray() 0"},
    {ClassId::PackageRequestWriteFile, u"broadcast fileNameWithPath offset"},
    {ClassId::PackageRequestWriteMemData, u"broadcast offset packageDataLength"},
};

/// None for a class that has no such constructor.
QStringList constructorArguments(ClassId id)
{
    for (const auto &row : OwnArguments) {
        if (row.id == id)
            return (CommonArguments.toString() + row.names.toString()).split(QLatin1Char(' '));
    }
    return {};
}

/// Whether constructors take the field as an unsigned byte, whatever its setter takes.
bool isByteArgument(const QString &name)
{
    return QStringLiteral("scrAddr desAddr deviceType portAddr reserved2")
        .split(QLatin1Char(' '))
        .contains(name);
}

/// A constructor call, and the package that it leaves.
struct Construction
{
    QStringList arguments;
    std::unique_ptr<PackageBase> package;
};

/// Stores an argument in @p made as the constructor would.
///
/// @return the argument as an expression.
QString passArgument(const QString &argument, const PackageClass &itsClass,
                     const PackageBase &package, PackageBase &made)
{
    const PackageField *field = itsClass.field(argument);
    if (!field)
        return argument;
    const QJsonValue value = field->get(package);
    if (!isByteArgument(argument)) {
        field->set(made, value);
        return field->expression(package);
    }
    const int number = value.toInt();
    const int byte = number >= 0 && number <= 255 ? number : 0;
    field->set(made, byte);
    return QString::number(byte);
}

/// The protocol tag that constructors of requests choose by their argument reserved2.
QString constructedTagProto(int reserved2)
{
    return PackageRequestWrite(QString(), 0, 0, 0, 0, 0, 0, 0, static_cast<uchar>(reserved2), 0,
                               QString(), OrvexEnum::CommOk, false, OrvexEnum::DataPackage)
        .getTagProto();
}

Construction construct(const PackageClass &itsClass, const PackageBase &package)
{
    Construction construction{{}, itsClass.create()};
    PackageBase &made = *construction.package;
    for (const QString &argument : constructorArguments(itsClass.id))
        construction.arguments << passArgument(argument, itsClass, package, made);
    if (!construction.arguments.isEmpty())
        made.setTagProto(constructedTagProto(made.getReserved2()));
    return construction;
}

/// A call with its arguments aligned behind the bracket.
QString call(const QString &opening, const QStringList &arguments, const QString &closing)
{
    constexpr int MaxColumns = 100;
    const auto column = [](const QString &text) {
        return text.size() - text.lastIndexOf(QLatin1Char('\n')) - 1;
    };
    const QString newLine = QLatin1Char('\n') + QString(column(opening), QLatin1Char(' '));
    QString text = opening + arguments.first();
    for (const QString &argument : arguments.mid(1)) {
        text += QLatin1Char(',');
        const auto end = column(text) + 1 + argument.size() + closing.size();
        text += end <= MaxColumns ? QStringLiteral(" ") : newLine;
        text += argument;
    }
    return text + closing;
}

QString definition(const QString &className, const QStringList &arguments)
{
    if (arguments.isEmpty())
        return className + QLatin1String(" package;");
    return call(className + QLatin1String(" package("), arguments, QStringLiteral(");"));
}

/// Gives @p made, a write, the own kind of @p package, for which writes have no setter.
///
/// @return the statement that does it.
QString assignWrite(const PackageBase &package, PackageBase &made)
{
    const PackageClass &writeClass = *packageClass(QStringLiteral("PackageRequestWrite"));
    const Construction write = construct(writeClass, package);
    static_cast<PackageRequestWrite &>(made).PackageRequestWrite::operator=(
        static_cast<const PackageRequestWrite &>(*write.package));
    return call(QStringLiteral("package.PackageRequestWrite::operator=(\n"
                               "    PackageRequestWrite("),
                write.arguments, QStringLiteral("));"));
}

} // namespace

QString cppSource(const PackageBase &package)
{
    const PackageClass &itsClass = classOf(package);
    const Construction construction = construct(itsClass, package);
    PackageBase &made = *construction.package;
    const auto differs = [&](const PackageField &field) {
        return field.get(made) != field.get(package);
    };
    QString source = QStringLiteral("#include <%1.h>\n\n").arg(itsClass.name.toLower())
        + definition(itsClass.name, construction.arguments) + QLatin1Char('\n');
    const PackageField &kind = *itsClass.field(QStringLiteral("clientPackageType"));
    if (kind.setter.isEmpty() && differs(kind))
        source += assignWrite(package, made) + QLatin1Char('\n');
    const QString statement = QStringLiteral("package.%1(%2);\n");
    for (const PackageField &field : itsClass.fields) {
        // Constructors draw a serial number.
        if (differs(field) || field.name == QLatin1String("serialNum"))
            source += statement.arg(field.setter, field.expression(package));
    }
    return source;
}
