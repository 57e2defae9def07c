// Runs the vectors of tests/data/vectors. A case gives the fields of a package, what each of its
// forms must be, and the fields of a new package of the class that has decoded that form:
// "decodes" has all that differ from the defaults of the class, "differs" those that differ from
// the fields of the case; without either they are those of the case.
//
// A case with "common" also has the fields of common.json. The word "header" among its bytes stands
// for the header there of a read or a write, and "common" in place of a form for the form there.

#include "testsupport.h"
#include "testvectors.h"

namespace {

class Vectors : public testing::TestWithParam<Vector>
{
protected:
    std::unique_ptr<PackageBase> packageWith(const QJsonObject &fields) const
    {
        std::unique_ptr<PackageBase> package = m_class.create();
        EXPECT_EQ(packageFromJson(fields, *package), QString());
        return package;
    }

    QJsonObject fields() const
    {
        return GetParam().content.value(QLatin1String("fields")).toObject();
    }

    void checkEncoding(const FormOfVector &form, const QJsonObject &expected) const
    {
        if (!fitsThisMachine(fields())) {
            EXPECT_NE(packageFromJson(fields(), *m_class.create()), QString());
            return;
        }
        const std::unique_ptr<PackageBase> package = packageWith(fields());
        const QJsonObject before = packageToJson(*package);
        QByteArray encoded;
        EXPECT_TRUE(encodePackage(*package, form.encoding, &encoded).isOk());
        EXPECT_EQ(encoded, encodedForm(expected));
        EXPECT_EQ(packageToJson(*package), before) << "an encoder changed the package";
    }

    void checkDecoding(const FormOfVector &form, const QJsonObject &expected) const
    {
        const QByteArray encoded = encodedForm(expected);
        const std::unique_ptr<PackageBase> decoded = m_class.create();
        int consumed = 0;
        const LogCapture log; // short blocks are reported
        const Verdict verdict = decodePackage(*decoded, form.encoding, encoded, &consumed);
        EXPECT_EQ(verdict.isOk(), !expected.value(QLatin1String("refused")).toBool())
            << describe(verdict).toStdString();
        if (!verdict.isOk())
            return;
        if (form.encoding.form == Form::Frame) {
            EXPECT_EQ(consumed, expected.value(QLatin1String("consumed")).toInt());
        }
        const QJsonValue decodes = expected.value(QLatin1String("decodes"));
        const QJsonObject fieldsAfter = decodes.isUndefined() ? fields() : decodes.toObject();
        EXPECT_EQ(packageToJson(*decoded), packageToJson(*packageWith(fieldsAfter)));
    }

    const PackageClass &m_class = *packageClass(GetParam().className);
};

TEST_P(Vectors, EncodeAndDecode)
{
    int forms = 0;
    const bool decodeOnly = GetParam().content.value(QLatin1String("decodeOnly")).toBool();
    for (const FormOfVector &form : EncodedForms) {
        const QJsonValue expected = GetParam().content.value(QLatin1String(form.name));
        if (expected.isUndefined())
            continue;
        SCOPED_TRACE(form.name);
        if (!decodeOnly)
            checkEncoding(form, expected.toObject());
        checkDecoding(form, expected.toObject());
        ++forms;
    }
    const QJsonValue linuxReply = GetParam().content.value(QLatin1String(LinuxReply.name));
    if (!linuxReply.isUndefined()) {
        checkDecoding(LinuxReply, linuxReply.toObject());
        ++forms;
    }
    EXPECT_GT(forms, 0) << "the vector has no form";
}

INSTANTIATE_TEST_SUITE_P(Data, Vectors, testing::ValuesIn(allVectors()));

TEST(VectorFiles, CoverEveryFormOfEveryClass)
{
    QStringList covered;
    for (const Vector &vector : allVectors()) {
        for (const QString &form : vector.content.keys())
            covered << vector.className + QLatin1Char(' ') + form;
    }
    std::vector<FormOfVector> forms(std::begin(EncodedForms), std::end(EncodedForms));
    forms.push_back(LinuxReply);
    for (const PackageClass &listed : packageClasses()) {
        for (const FormOfVector &form : forms) {
            const QString name = listed.name + QLatin1Char(' ') + QLatin1String(form.name);
            const bool isNeeded = exists({listed.id, form.encoding.form, form.encoding.direction});
            EXPECT_TRUE(!isNeeded || covered.contains(name))
                << "no vector has " << name.toStdString();
        }
    }
}

} // namespace
