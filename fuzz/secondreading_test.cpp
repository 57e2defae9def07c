// Compares the second reading with the codecs on packages of every class. A corpus need not name a
// class, so the replays would not notice one that the second reading does not know.

#include "fuzztarget.h"
#include "generatedpackages.h"
#include "secondreading.h"

namespace {

constexpr int PackagesPerClass = 20;

constexpr Encoding Encodings[] = {
    {Form::Frame, Direction::Request, ReplySize::Short},
    {Form::Frame, Direction::Reply, ReplySize::Short},
    {Form::Frame, Direction::Reply, ReplySize::Full},
    {Form::Text, Direction::Request, ReplySize::Short},
    {Form::Text, Direction::Reply, ReplySize::Short},
};

/// Reads what an encoder writes, as the decoder does and as the second reading does.
void expectRead(PackageBase &written, const PackageClass &itsClass, const Encoding &encoding)
{
    QByteArray encoded;
    ASSERT_TRUE(encodePackage(written, encoding, &encoded).isOk());
    const std::unique_ptr<PackageBase> expected = filledPackage(itsClass);
    const Reading reading = encoding.form == Form::Text
        ? readRecord(*expected, encoding.direction, QString::fromUtf8(encoded))
        : readFrame(*expected, encoding.direction, encoded, 0);
    if (reading.announcesMuch)
        return;
    const std::unique_ptr<PackageBase> decoded = filledPackage(itsClass);
    int consumed = 0;
    EXPECT_EQ(decodePackage(*decoded, encoding, encoded, &consumed).isOk(), reading.succeeded);
    if (encoding.form == Form::Frame) {
        EXPECT_EQ(consumed, reading.consumed);
    }
    EXPECT_EQ(packageToJson(*decoded), packageToJson(*expected));
}

/// A package for which expectWritten() calls every encoder.
std::unique_ptr<PackageBase> shortPackage(Generator &generator, const PackageClass &itsClass)
{
    constexpr int MostData = 1000;
    std::unique_ptr<PackageBase> package = generator.consistentPackage(itsClass);
    for (const PackageField &field : itsClass.fields) {
        if (field.valueType == ValueType::Length && field.get(*package).toInt() > MostData)
            field.set(*package, generator.upTo(MostData));
    }
    return package;
}

TEST(SecondReading, KnowsEveryClass)
{
    const LogCapture log; // short blocks are reported
    Generator generator(1);
    for (const PackageClass &itsClass : packageClasses()) {
        SCOPED_TRACE(itsClass.name.toStdString());
        for (int i = 0; i < PackagesPerClass; ++i) {
            const std::unique_ptr<PackageBase> package = shortPackage(generator, itsClass);
            expectWritten(*package);
            for (const Encoding &encoding : Encodings)
                expectRead(*package, itsClass, encoding);
        }
    }
}

} // namespace
