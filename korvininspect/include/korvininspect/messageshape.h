#ifndef KORVININSPECT_MESSAGESHAPE_H
#define KORVININSPECT_MESSAGESHAPE_H

#include <korvininspect/packageclass.h>

namespace KorvinInspect {

/// The encodings: byte frame, text record, Linux frame.
enum class Form { Frame, Text, Linux };

/// The direction of a message: to the device, or back from it.
enum class Direction { Request, Reply };

/// Class, encoding and direction of a frame or record, which does not carry this information
/// itself. The record of a combination is a text request.
struct MessageShape
{
    ClassId classId = ClassId::PackageBase;   ///< The class that decodes it.
    Form form = Form::Frame;                  ///< Its encoding.
    Direction direction = Direction::Request; ///< Its direction.
};

/// Returns the name of a class, as JSON has it.
KORVININSPECT_EXPORT QString className(ClassId classId);

/// Returns whether a shape is possible: only data requests have Linux frames, and a combination has
/// only a text request.
KORVININSPECT_EXPORT bool exists(const MessageShape &shape);

/// Returns the shape in words, such as "reply frame of PackageRequestRead".
KORVININSPECT_EXPORT QString describe(const MessageShape &shape);

} // namespace KorvinInspect

#endif
