#ifndef PACKAGEFORMS_H
#define PACKAGEFORMS_H

#include <korvininspect/messageshape.h>

#include <QtCore/QByteArray>

class PackageBase;

using KorvinInspect::Direction;
using KorvinInspect::Form;

/// The size of a frame's reply; records and Linux frames have one size.
enum class ReplySize { Short, Full };

struct Encoding
{
    Form form = Form::Frame;
    Direction direction = Direction::Request;
    ReplySize replySize = ReplySize::Short;
};

/// Encodes a package; a text record comes as UTF-8.
///
/// @return what is wrong, or an empty text: only data requests have a Linux frame, and only
///     requests are made of it.
QString encodePackage(PackageBase &package, const Encoding &encoding, QByteArray *encoded);

/// Decodes bytes or the UTF-8 of a text record into a package. The reply size is taken from the
/// frame.
///
/// @param consumed becomes the number of bytes that the decoder reports as its own.
/// @return what is wrong, or an empty text.
QString decodePackage(PackageBase &package, const Encoding &encoding, const QByteArray &encoded,
                      int *consumed);

#endif
