#include "cppsource.h"

#include "classlayouts_p.h"

#include <korvininspect/packageclass.h>
#include <packagerequestwrite.h>

#include <QtCore/QStringList>

using namespace KorvinInspect;

namespace {

/// The first arguments of every constructor of a request.
constexpr QStringView CommonArguments =
    u"deviceKey scrAddr desAddr deviceType portAddr scanBoardAddr "
    "highAddr lowAddr reserved2 timeout tag commResult";

/// Collects the other arguments of a constructor: the columns of the class's request record. The
/// kind is an argument only if the class's own part is not.
class OwnArguments : public FieldSink
{
public:
    explicit OwnArguments(const Korvin::ClassRow &row)
        : m_row(row)
    {
    }

    QStringList take() { return std::move(m_names); }

    void add(const WireField &field) override
    {
        const bool isCommon = field.column < Korvin::CommonPart::RequestColumns;
        const bool isSet = m_row.has(Korvin::InConstructor)
            ? field.type == WireType::Kind
            : field.column >= Korvin::baseColumns(m_row.base);
        if (isCommon || isSet)
            return;
        if (field.type != WireType::DataString) {
            m_names << QString::fromLatin1(field.name);
            return;
        }
        // The constructor resizes the data to the length argument.
        m_names.last() = QStringLiteral("QByteArray()");
        m_names << QStringLiteral("0");
    }

private:
    const Korvin::ClassRow &m_row;
    QStringList m_names;
};

/// Returns the names of the arguments; none for a class without such a constructor.
QStringList constructorArguments(ClassId id)
{
    const Korvin::ClassRow &row = rowOf(id);
    if (row.base != Korvin::Base::Read && row.base != Korvin::Base::Write)
        return {};
    OwnArguments own(row);
    RecordScanner scanner(QStringView(), own);
    Korvin::LayoutFields fields;
    scanRecordAsWritten(scanner, row, false, fields);
    return CommonArguments.toString().split(QLatin1Char(' ')) + own.take();
}

/// Returns whether constructors take the field as an unsigned byte, whatever its setter takes.
bool isByteArgument(const QString &name)
{
    return QStringLiteral("scrAddr desAddr deviceType portAddr reserved2")
        .split(QLatin1Char(' '))
        .contains(name);
}

/// A constructor call, and the package that it makes.
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

/// Returns the protocol tag that constructors of requests choose by their argument reserved2.
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

/// Formats a call, with its arguments aligned after the bracket.
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

/// Gives the write @p made the kind of @p package, for which writes have no setter.
///
/// @return the C++ statement that does it.
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
        // A constructor draws a serial number.
        if (differs(field) || field.name == QLatin1String("serialNum"))
            source += statement.arg(field.setter, field.expression(package));
    }
    return source;
}
