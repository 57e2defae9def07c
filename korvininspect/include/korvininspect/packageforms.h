#ifndef KORVININSPECT_PACKAGEFORMS_H
#define KORVININSPECT_PACKAGEFORMS_H

#include <korvininspect/korvininspectglobal.h>
#include <korvininspect/messageshape.h>
#include <korvininspect/packagecheck.h>
#include <packagebase.h>

#include <QtCore/QByteArray>

#include <limits>
#include <memory>
#include <optional>
#include <vector>

namespace KorvinInspect {

/// @file
/// Packages of every class in every form, without a cast to the class that has it.
///
///     QByteArray frame;
///     encodePackage(read, {Form::Linux, Direction::Request}, &frame);
///     ...
///     std::unique_ptr<PackageBase> reply;
///     const Verdict verdict = decodeMessage(
///         received, {ClassId::PackageRequestReadData, Form::Linux, Direction::Reply}, &reply);
///     if (!verdict.isOk())
///         qInfo("%s", qUtf8Printable(describe(verdict)));
///
/// None of these operations throws: what cannot be done is a verdict, out of memory as well.

/// The size of a frame's reply; records and Linux frames have one size.
enum class ReplySize {
    Short, ///< Serial number and results, and what a read brings.
    Full   ///< The request is inside as well.
};

/// What a package becomes, or what it is read from.
struct Encoding
{
    Form form = Form::Frame;                  ///< Byte frame, text record or Linux frame.
    Direction direction = Direction::Request; ///< Which way it goes.
    ReplySize replySize = ReplySize::Short;   ///< Of a frame's reply that is encoded.
};

/// Encodes a package; a text record becomes UTF-8.
///
/// A Linux frame that is a reply has the header of the package. That of a data read carries its
/// data, at most 65,535 bytes, whatever its reply data length is; that of a write carries none. Its
/// one status byte stands for the three results, in this order:
///
/// | the package has                 | status                  | readers take                    |
/// |---------------------------------|-------------------------|---------------------------------|
/// | success                         | 0                       | success                         |
/// | an acknowledge code, not 0      | the acknowledge code    | that code                       |
/// | a communication result, not ok  | the result less 1       | that communication result       |
/// | a package result, not ok        | the result              | that package result             |
///
/// The other two results are what readers make of this number. A status has 8 bits, signed: readers
/// take 200 as -56. No failure becomes 0: one whose low 8 bits are 0 becomes -1.
///
/// @param encoded becomes the frame or record; unchanged where there is none.
/// @return `Refusal::NoSuchForm` for a form that the class does not have, `Refusal::OutOfRange` for
///     more data than a Linux frame carries, `Refusal::OutOfMemory`.
KORVININSPECT_EXPORT Verdict encodePackage(PackageBase &package, const Encoding &encoding,
                                           QByteArray *encoded);

/// Encodes the record of a combination: the type word and the request record of each package.
///
/// @param record becomes the record in UTF-8, empty for no packages; unchanged where there is none.
/// @return `Refusal::UnknownType` for a class that no combination carries, `Refusal::TooManyFields`
/// for
///     a request record with a "|" or "^" in it, each with the item, or `Refusal::OutOfMemory`.
KORVININSPECT_EXPORT Verdict encodeCombination(const std::vector<PackageBase *> &packages,
                                               QByteArray *record);

/// Decodes a frame or record into a package that is there, with the decoder of its class and as
/// lenient as that is: docs/known-properties.md lists what it takes. It replaces the fields that
/// the form carries. The reply size is taken from the frame; a Linux request is read as a reply,
/// whose layout it has.
///
/// @param consumed becomes the number of bytes that the decoder reports as its own.
/// @param announcedData is the most bytes of data that the input may announce: a decoder makes as
///     many ready, up to 256 MiB, whether or not they are there.
/// @return where the decoder refuses the input, what check() finds first in it;
///     `Refusal::OutOfRange` where it announces too much; `Refusal::NoSuchForm`; or
///     `Refusal::OutOfMemory`.
KORVININSPECT_EXPORT Verdict decodePackage(PackageBase &package, const Encoding &encoding,
                                           const QByteArray &encoded, int *consumed = nullptr,
                                           int announcedData = std::numeric_limits<int>::max());

/// Decodes a frame or record that is not trusted into a new package of its class: what check()
/// refuses is not decoded.
///
/// The package is what the decoder of the class makes of it, with serial number and results as they
/// are in the message, and three differences, which are safe because the message is what an encoder
/// writes:
/// - the results of a full reply are those that the encoder wrote, which its own decoder takes from
///   other bytes;
/// - the reply record of a special request is decoded: id, time-out, text and acknowledge code;
/// - a data read that announces data without carrying it, as every request does, has no data.
///   Nothing is made ready for it.
///
/// @param package becomes the package; null where there is none.
/// @param options are those of check(); with a request, the message is decoded as its reply.
/// @return what check() finds, `Refusal::NoSuchForm` for a combination, or `Refusal::OutOfMemory`.
KORVININSPECT_EXPORT Verdict decodeMessage(const QByteArray &message, const MessageShape &shape,
                                           std::unique_ptr<PackageBase> *package,
                                           const CheckOptions &options = {});

/// The same for the record of a combination.
///
/// @param packages becomes its packages in their order; empty where there are none.
KORVININSPECT_EXPORT Verdict decodeCombination(const QByteArray &record,
                                               std::vector<std::unique_ptr<PackageBase>> *packages,
                                               const CheckOptions &options = {});

/// The serial number of a reply, which says to which request it belongs before anything else is
/// known of it: not even the class.
///
/// Frames carry its low 16 bits, Linux frames its low 8. The reply record of a special request has
/// none: its first column is the id, and it has four.
///
/// @return nothing for a reply that has none, or that ends before it or begins as no reply does.
KORVININSPECT_EXPORT std::optional<quint32> serialNumOfReply(const QByteArray &reply, Form form);

/// What every Linux frame begins with.
constexpr char LinuxFrameStart[] = "\x55\xAA";

/// The size that the header of a Linux frame says it has, to find frames in a stream of bytes.
///
/// @param start is where the frame begins, in @p bytes.
/// @param direction decides whether a read carries the data that it announces: replies do.
/// @return 20 to 65,555; 0 where there are too few bytes to tell; -1 where no frame begins.
KORVININSPECT_EXPORT int linuxFrameSize(const QByteArray &bytes, int start, Direction direction);

} // namespace KorvinInspect

#endif
