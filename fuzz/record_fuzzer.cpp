// Text records of every class, requests and replies, from UTF-8 and from any UTF-16.

#include "codecagreement.h"
#include "fuzztarget.h"

#include <korvininspect/inputtext.h>
#include <korvininspect/packagecheck.h>
#include <korvininspect/packageexplain.h>

#include <QtCore/QStringList>

#include <stdexcept>

namespace {

/// The columns that a decoder wants, by class.
struct NeededColumns
{
    ClassId id;
    int request;
    int reply;
};

constexpr NeededColumns Needed[] = {
    {ClassId::PackageBase, 15, 16},
    {ClassId::PackageRequestRead, 17, 18},
    {ClassId::PackageRequestReadData, 17, 20},
    {ClassId::PackageRequestReadFile, 18, 19},
    {ClassId::PackageRequestReadMemData, 18, 19},
    {ClassId::PackageRequestWrite, 17, 18},
    {ClassId::PackageRequestWriteData, 19, 20},
    {ClassId::PackageRequestWriteIP, 19, 20},
    {ClassId::PackageRequestWriteFile, 19, 20},
    {ClassId::PackageRequestWriteMemData, 19, 20},
    {ClassId::SpecialPackageRequest, 3, 16},
};

int neededColumns(ClassId id, Direction direction)
{
    for (const NeededColumns &needed : Needed) {
        if (needed.id == id)
            return direction == Direction::Request ? needed.request : needed.reply;
    }
    throw std::logic_error("a class without columns");
}

/// The column of the length that the data string behind it must have, or -1.
int comparedLength(ClassId id, Direction direction)
{
    if (id == ClassId::PackageRequestReadData && direction == Direction::Reply)
        return 18;
    const bool isWrite =
        id == ClassId::PackageRequestWriteData || id == ClassId::PackageRequestWriteIP;
    return isWrite && direction == Direction::Request ? 17 : -1;
}

bool decode(PackageBase &package, Direction direction, const QString &record)
{
    return direction == Direction::Request ? package.unPackageRequest(record)
                                           : package.unPackageReply(record);
}

QString encode(PackageBase &package, Direction direction)
{
    return direction == Direction::Request ? package.makePackageRequest()
                                           : package.makePackageReply();
}

/// Expects what a decoder makes of a record, by the number of its columns.
void expectDecoded(const PackageClass &itsClass, Direction direction, const QString &record)
{
    const std::unique_ptr<PackageBase> package = filledPackage(itsClass);
    const QByteArray dataBefore = package->data();
    const bool decoded = decode(*package, direction, record);

    const QStringList columns = record.split(QLatin1Char(','));
    if (columns.size() < neededColumns(itsClass.id, direction)) {
        EXPECT_FALSE(decoded);
        const std::unique_ptr<PackageBase> expected = filledPackage(itsClass);
        // Where a special request's reply lacks the acknowledge code, its own columns are taken.
        if (itsClass.id == ClassId::SpecialPackageRequest && columns.size() != 15)
            expected->unPackageRequest(record);
        EXPECT_EQ(snapshot(*package), snapshot(*expected));
        return;
    }
    const int length = comparedLength(itsClass.id, direction);
    const bool agrees = length < 0
        || columns.at(length).toInt() == columns.at(length + 1).split(QLatin1Char('/')).size();
    EXPECT_EQ(decoded, agrees);
    if (!agrees) {
        EXPECT_EQ(package->data(), dataBefore);
    }
    observe(*package);

    const std::unique_ptr<PackageBase> again = filledPackage(itsClass);
    decode(*again, direction, record + QStringLiteral(",more"));
    EXPECT_EQ(snapshot(*again), snapshot(*package));
    if (isShort(*package)) {
        for (const Direction made : {Direction::Request, Direction::Reply}) {
            const QString text = encode(*package, made);
            observe(text.toUtf8());
            EXPECT_EQ(text, encode(*again, made));
        }
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const quint8 *bytes, std::size_t size)
{
    FuzzInput input(bytes, size);
    const PackageClass &itsClass = input.packageClass();
    const quint8 flags = input.byte();
    const Direction direction = flags & 1 ? Direction::Reply : Direction::Request;
    const QByteArray utf = input.rest();
    const Encoding encoding{Form::Text, direction, ReplySize::Short};

    if (flags & 2) { // halves of surrogate pairs and all
        QString record(utf.size() / 2, Qt::Uninitialized);
        std::memcpy(record.data(), utf.constData(), static_cast<std::size_t>(record.size()) * 2);
        expectDecoded(itsClass, direction, record);
        for (const ExplainedField &field : explain(record, shapeOf(itsClass, encoding)))
            EXPECT_EQ(field.raw, record.mid(field.offset, field.width).toUtf8());
        observe(describe(check(record, shapeOf(itsClass, encoding))).toUtf8());
        return 0;
    }
    const QString record = textFromUtf8(utf);
    expectDecoded(itsClass, direction, record);
    if (record.toUtf8() == utf) {
        expectExplained(utf, itsClass, encoding);
        expectWrittenByAnEncoder(utf, itsClass, encoding);
    }
    return 0;
}
