#ifndef KORVININSPECT_MESSAGESHAPE_H
#define KORVININSPECT_MESSAGESHAPE_H

#include <korvininspect/packageclass.h>

namespace KorvinInspect {

/// The encodings: byte frame, text record, frame of the Linux client.
enum class Form { Frame, Text, Linux };

/// To the device, or back from it.
enum class Direction { Request, Reply };

/// What a frame or record is; it does not say so itself. A combination record is a text request.
struct MessageShape
{
    ClassId classId = ClassId::PackageBase;   ///< Which class reads it.
    Form form = Form::Frame;                  ///< Which encoding it is in.
    Direction direction = Direction::Request; ///< Which way it goes.
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
