// Compares the rows of the classes with the classes themselves and with their layouts.

#include "classlayouts_p.h"
#include "testsupport.h"

#include <korvininspect/messageshape.h>
#include <korvininspect/packageexplain.h>
#include <packagerequestcombination.h>
#include <packagerequestreadmemdata.h>

#include <QtCore/QMap>
#include <QtCore/QRegularExpression>

#include <typeinfo>

namespace {

/// A class of a program, with a meta-object of its own.
class DerivedRead : public PackageRequestReadMemData
{
    Q_OBJECT

public:
    using PackageRequestReadMemData::PackageRequestReadMemData;
};

using Korvin::ClassRow;

QString nameOfRow(const ClassRow &row)
{
    return QString::fromLatin1(row.name.data(), static_cast<int>(row.name.size()));
}

/// The name of the class of an object, without what compilers put around it.
QString typeName(const PackageBase &package)
{
    QString name = QString::fromLatin1(typeid(package).name());
    return name.remove(QRegularExpression(QStringLiteral("^(class )?[0-9]*")));
}

TEST(ClassRows, AreThoseOfTheClasses)
{
    ASSERT_EQ(packageClasses().size() + 1, std::size(Korvin::Classes));
    for (const PackageClass &listed : packageClasses()) {
        const ClassRow &row = Korvin::Classes[static_cast<std::size_t>(listed.id)];
        EXPECT_EQ(nameOfRow(row), listed.name);
        EXPECT_EQ(typeName(*listed.create()), listed.name);
        EXPECT_EQ(className(listed.id), listed.name);
        EXPECT_EQ(&classOf(*listed.create()), &listed) << "a class must come after its bases";
        EXPECT_EQ(listed.create()->getReadWriteCode() == OrvexEnum::Write,
                  row.base == Korvin::Base::Write)
            << listed.name.toStdString();
    }
}

TEST(ClassRows, AClassThatAProgramDerivesIsThatOfItsBase)
{
    const DerivedRead read;
    EXPECT_EQ(classOf(read).id, ClassId::PackageRequestReadMemData);
}

TEST(ClassRows, AreFoundByName)
{
    for (const ClassRow &row : Korvin::Classes)
        EXPECT_EQ(&Korvin::rowOf(row.name), &row);
}

TEST(ClassRows, WithATypeWordAreCarriedByCombinations)
{
    for (const PackageClass &listed : packageClasses()) {
        const QString typeWord = rowOf(listed.id).typeWord.toString();
        EXPECT_EQ(listed.combinationType, typeWord);
        if (typeWord.isEmpty())
            continue;
        const std::unique_ptr<PackageBase> package = listed.create();
        PackageRequestCombination combination;
        combination.unCombinationPackageRequest(typeWord + QLatin1Char('^')
                                                + package->makePackageRequest());
        const std::list<PackageBase *> carried = combination.packageList();
        ASSERT_EQ(carried.size(), 1U) << listed.name.toStdString();
        const std::unique_ptr<PackageBase> owned(carried.front());
        EXPECT_EQ(typeName(*owned), listed.name);
    }
}

TEST(ClassRows, NumbersWithoutAClassHaveNoForm)
{
    for (const int number : {-1, static_cast<int>(std::size(Korvin::Classes)), 1 << 30}) {
        const auto id = ClassId(number);
        EXPECT_FALSE(exists({id, Form::Frame, Direction::Request}));
        EXPECT_FALSE(exists({id, Form::Linux, Direction::Reply}));
        EXPECT_EQ(packageClass(id), nullptr);
    }
}

/// Collects the fields of a walk.
class Fields : public FieldSink
{
public:
    void add(const WireField &field) override { m_fields.push_back(field); }
    const std::vector<WireField> &all() const { return m_fields; }

private:
    std::vector<WireField> m_fields;
};

std::vector<WireField> columnsOf(const ClassRow &row, bool isReply, Korvin::LayoutFields &fields)
{
    Fields columns;
    RecordScanner scanner(QStringView(), columns);
    scanRecordAsWritten(scanner, row, isReply, fields);
    return columns.all();
}

TEST(ClassRows, HaveAsManyColumnsAsTheLayouts)
{
    for (const ClassRow &row : Korvin::Classes) {
        if (row.base == Korvin::Base::Items)
            continue;
        for (const bool isReply : {false, true}) {
            Korvin::LayoutFields fields;
            EXPECT_EQ(static_cast<int>(columnsOf(row, isReply, fields).size()),
                      Korvin::writtenColumns(row, isReply))
                << nameOfRow(row).toStdString() << (isReply ? " reply" : " request");
        }
    }
}

/// Expects that fields of one name stand for the same field of a package, and others do not. The
/// dissector relies on it, since it knows fields by their names only.
void expectNamesAreUnique(const std::vector<WireField> &fields, const std::string &where)
{
    QMap<QByteArray, const void *> sources;
    for (const WireField &field : fields) {
        if (!field.source)
            continue;
        const QByteArray name = field.name;
        EXPECT_EQ(sources.value(name, field.source), field.source) << field.name << " of " << where;
        sources[name] = field.source;
    }
    for (auto source = sources.begin(); source != sources.end(); ++source)
        EXPECT_EQ(source.key(), sources.key(*source)) << "of " << where;
}

TEST(ClassRows, NamesStandForOneFieldOfAClass)
{
    const QByteArray frames[] = {QByteArray(1, '\0'), QByteArray(200, '\1')};
    for (const PackageClass &listed : packageClasses()) {
        const ClassRow &row = rowOf(listed.id);
        const std::string name = listed.name.toStdString();
        Korvin::LayoutFields fields;
        Fields read;
        for (const QByteArray &frame : frames) {
            for (const Direction direction : {Direction::Request, Direction::Reply})
                scanFrameAsRead(frame, {listed.id, Form::Frame, direction}, fields, read);
        }
        for (const bool isReply : {false, true}) {
            for (const WireField &column : columnsOf(row, isReply, fields))
                read.add(column);
        }
        // The size of a file name is not a field of a package.
        std::vector<WireField> ofPackage;
        for (const WireField &field : read.all()) {
            if (field.type != WireType::TextLength)
                ofPackage.push_back(field);
        }
        expectNamesAreUnique(ofPackage, name);
    }
}

TEST(ClassRows, EveryClassAndEachOfItsFieldsHasADescription)
{
    for (const PackageClass &listed : packageClasses()) {
        EXPECT_FALSE(descriptionOf(listed.id).isEmpty()) << listed.name.toStdString();
        for (const PackageField &field : listed.fields)
            EXPECT_FALSE(descriptionOf(field.name).isEmpty()) << field.name.toStdString();
    }
    EXPECT_EQ(descriptionOf(ClassId::PackageBase),
              QStringLiteral("a package for one register: what every request and reply has"));
    EXPECT_EQ(descriptionOf(ClassId::PackageRequestCombination),
              QStringLiteral("carries several requests in one record"));
    EXPECT_EQ(descriptionOf(QStringLiteral("portAddr")), QStringLiteral("port of the device"));
    EXPECT_TRUE(descriptionOf(static_cast<ClassId>(12)).isEmpty());
    EXPECT_TRUE(descriptionOf(static_cast<ClassId>(-1)).isEmpty());
    EXPECT_TRUE(descriptionOf(QStringLiteral("portaddr")).isEmpty());
}

TEST(ClassRows, EveryExplainedFieldHasADescription)
{
    const QByteArray inputs[] = {QByteArray(1, '\0'), QByteArray(200, '\1'),
                                 QByteArray("0,").repeated(40)};
    for (const PackageClass &listed : packageClasses()) {
        for (const Form form : {Form::Frame, Form::Text, Form::Linux}) {
            for (const Direction direction : {Direction::Request, Direction::Reply}) {
                for (const QByteArray &input : inputs) {
                    for (const ExplainedField &field :
                         explain(input, {listed.id, form, direction})) {
                        EXPECT_TRUE(field.name.isEmpty() || !field.description.isEmpty())
                            << field.name.toStdString() << " of " << listed.name.toStdString();
                    }
                }
            }
        }
    }
}

} // namespace

#include "classrows_test.moc"
