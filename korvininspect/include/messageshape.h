#ifndef MESSAGESHAPE_H
#define MESSAGESHAPE_H

#include "packageclass.h"

namespace KorvinInspect {

/// The encodings: byte frame, text record, frame of the Linux client.
enum class Form { Frame, Text, Linux };

enum class Direction { Request, Reply };

/// What a frame or record is; it does not say so itself. A combination record is a text request.
struct MessageShape
{
    ClassId classId = ClassId::PackageBase;
    Form form = Form::Frame;
    Direction direction = Direction::Request;
};

/// The name of a class: that of its JSON.
KORVININSPECT_EXPORT QString className(ClassId classId);

/// Whether there is such a shape: only data requests have Linux frames, and a combination is a text
/// request and nothing else.
KORVININSPECT_EXPORT bool exists(const MessageShape &shape);

/// The shape in words: "reply frame of PackageRequestRead".
KORVININSPECT_EXPORT QString describe(const MessageShape &shape);

} // namespace KorvinInspect

#endif
