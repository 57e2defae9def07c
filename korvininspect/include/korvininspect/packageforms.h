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
/// Encodes and decodes packages of every class in every form, without a cast to the class.
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
/// None of these functions throws: every failure, even out of memory, is a verdict.

/// The size of a reply frame. Records and Linux frames do not have two sizes.
enum class ReplySize {
    Short, ///< Serial number, results, and the data or file name of a read.
    Full   ///< The same, with the request inside.
};

/// How a package is encoded.
struct Encoding
{
    Form form = Form::Frame;                  ///< Byte frame, text record or Linux frame.
    Direction direction = Direction::Request; ///< Request or reply.
    ReplySize replySize = ReplySize::Short;   ///< Size of a reply frame to encode.
};

/// Encodes a package. A text record is encoded in UTF-8.
///
/// A Linux reply has the header of the package. The reply to a data read carries all of the data,
/// at most 65,535 bytes, whatever the reply data length says; the reply to a write carries none.
/// The first of these rows that applies gives the status byte, which stands for all three results:
///
/// | the package has                 | status                  | decoders read                   |
/// |---------------------------------|-------------------------|---------------------------------|
/// | success                         | 0                       | success                         |
/// | an acknowledge code, not 0      | the acknowledge code    | that code                       |
/// | a communication result, not ok  | the result minus 1      | that communication result       |
/// | a package result, not ok        | the result              | that package result             |
///
/// Decoders derive the other two results from the status as well. A status has 8 bits, signed: 200
/// reads as -56. A failure whose low 8 bits are 0 is sent as -1, so that it does not read as
/// success.
///
/// @param encoded becomes the frame or record; unchanged on failure.
/// @return `Refusal::NoSuchForm` for a form that the class does not have, `Refusal::OutOfRange` for
///     more data than a Linux frame can carry, or `Refusal::OutOfMemory`.
KORVININSPECT_EXPORT Verdict encodePackage(PackageBase &package, const Encoding &encoding,
                                           QByteArray *encoded);

/// Encodes the record of a combination: the type word and the request record of each package.
///
/// @param record becomes the record in UTF-8, empty for no packages; unchanged on failure.
/// @return `Refusal::UnknownType` for a class that no combination carries,
///     `Refusal::TooManyFields` for a request record that contains "|" or "^", or
///     `Refusal::OutOfMemory`. The first two say which item it is.
KORVININSPECT_EXPORT Verdict encodeCombination(const std::vector<PackageBase *> &packages,
                                               QByteArray *record);

/// Decodes a frame or record into an existing package with the decoder of its class. That decoder
/// is lenient: docs/known-properties.md lists what it accepts. It replaces the fields that the form
/// carries. The frame says whether a reply is short or full. A Linux request is decoded as a reply,
/// which has the same layout.
///
/// @param consumed becomes the number of bytes that the decoder reports as consumed.
/// @param announcedData is the most bytes of data that the input may announce. A decoder allocates
///     memory for them, up to 256 MiB, even if the input does not hold them.
/// @return the first fault that check() finds, if the decoder refuses the input;
///     `Refusal::OutOfRange` if the input announces too much; `Refusal::NoSuchForm`; or
///     `Refusal::OutOfMemory`.
KORVININSPECT_EXPORT Verdict decodePackage(PackageBase &package, const Encoding &encoding,
                                           const QByteArray &encoded, int *consumed = nullptr,
                                           int announcedData = std::numeric_limits<int>::max());

/// Decodes a frame or record that is not trusted into a new package of its class. Does not decode
/// what check() refuses.
///
/// The package is that of the class's decoder, with three differences, which are possible because
/// check() accepts only what an encoder writes:
/// - the results of a full reply are read where the encoder wrote them; the class's decoder reads
///   other bytes;
/// - the reply record of a special request is decoded: id, time-out, text and acknowledge code;
/// - a data read that announces data without carrying it, as every request does, has no data, and
///   no memory is allocated for it.
///
/// @param package becomes the package; null on failure.
/// @param options are those of check(). If they have a request, the message must be its reply.
/// @return the verdict of check(), `Refusal::NoSuchForm` for a combination, or
///     `Refusal::OutOfMemory`.
KORVININSPECT_EXPORT Verdict decodeMessage(const QByteArray &message, const MessageShape &shape,
                                           std::unique_ptr<PackageBase> *package,
                                           const CheckOptions &options = {});

/// Does the same for the record of a combination.
///
/// @param packages becomes its packages in the order of the record; empty on failure.
KORVININSPECT_EXPORT Verdict decodeCombination(const QByteArray &record,
                                               std::vector<std::unique_ptr<PackageBase>> *packages,
                                               const CheckOptions &options = {});

/// Returns the serial number of a reply, which tells which request it answers, even if its class is
/// not known yet.
///
/// Frames carry its low 16 bits, Linux frames its low 8. The reply record of a special request,
/// which has four columns, carries none: its first column is the id.
///
/// @return nothing for a reply that carries no serial number, ends before it, or does not begin as
///     a reply does.
KORVININSPECT_EXPORT std::optional<quint32> serialNumOfReply(const QByteArray &reply, Form form);

/// The first bytes of every Linux frame.
constexpr char LinuxFrameStart[] = "\x55\xAA";

/// Returns the size of a Linux frame according to its header. Use it to find frames in a stream of
/// bytes.
///
/// @param start is where the frame begins in @p bytes.
/// @param direction says whether a read carries the data that it announces: a reply does, a request
///     does not.
/// @return 20 to 65,555; 0 if there are too few bytes to tell; -1 if no frame begins there.
KORVININSPECT_EXPORT int linuxFrameSize(const QByteArray &bytes, int start, Direction direction);

} // namespace KorvinInspect

#endif
