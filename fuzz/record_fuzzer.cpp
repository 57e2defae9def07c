// Text records of every class, requests and replies, from UTF-8 and from any UTF-16.

#include "codecagreement.h"
#include "fuzztarget.h"
#include "secondreading.h"

#include <korvininspect/inputtext.h>
#include <korvininspect/packagecheck.h>
#include <korvininspect/packageexplain.h>

namespace {

/// Expects that a record is decoded as the second reading does it.
///
/// @return false, with nothing checked, if the record announces much data that it does not hold.
bool expectDecoded(const PackageClass &itsClass, Direction direction, const QString &record)
{
    const std::unique_ptr<PackageBase> expected = filledPackage(itsClass);
    const Reading reading = readRecord(*expected, direction, record);
    if (reading.announcesMuch)
        return false;
    const std::unique_ptr<PackageBase> package = filledPackage(itsClass);
    const bool decoded = direction == Direction::Request ? package->unPackageRequest(record)
                                                         : package->unPackageReply(record);
    EXPECT_EQ(decoded, reading.succeeded);
    EXPECT_EQ(snapshot(*package), snapshot(*expected));
    observe(*package);
    expectWritten(*package);
    return true;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const quint8 *bytes, std::size_t size)
{
    FuzzInput input(bytes, size);
    const PackageClass *const itsClass = input.packageClass();
    if (!itsClass)
        return -1;
    const quint8 flags = input.byte();
    const Direction direction = flags & 1 ? Direction::Reply : Direction::Request;
    const QByteArray utf = input.rest();
    const Encoding encoding{Form::Text, direction, ReplySize::Short};

    if (flags & 2) { // any UTF-16, unpaired surrogates included
        QString record(utf.size() / 2, Qt::Uninitialized);
        std::memcpy(record.data(), utf.constData(), static_cast<std::size_t>(record.size()) * 2);
        if (!expectDecoded(*itsClass, direction, record))
            return -1;
        for (const ExplainedField &field : explain(record, shapeOf(*itsClass, encoding)))
            EXPECT_EQ(field.raw, record.mid(field.offset, field.width).toUtf8());
        observe(describe(check(record, shapeOf(*itsClass, encoding))).toUtf8());
        return 0;
    }
    const QString record = textFromUtf8(utf);
    if (!expectDecoded(*itsClass, direction, record))
        return -1;
    if (record.toUtf8() == utf) {
        expectExplained(utf, *itsClass, encoding);
        expectWrittenByAnEncoder(utf, *itsClass, encoding);
    }
    return 0;
}
