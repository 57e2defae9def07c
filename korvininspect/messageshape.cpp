#include <korvininspect/messageshape.h>

namespace KorvinInspect {

QString className(ClassId classId)
{
    const PackageClass *itsClass = packageClass(classId);
    return itsClass ? itsClass->name : QStringLiteral("PackageRequestCombination");
}

bool exists(const MessageShape &shape)
{
    if (shape.classId == ClassId::PackageRequestCombination)
        return shape.form == Form::Text && shape.direction == Direction::Request;
    return shape.form != Form::Linux || shape.classId == ClassId::PackageRequestReadData
        || shape.classId == ClassId::PackageRequestWriteData
        || shape.classId == ClassId::PackageRequestWriteIP;
}

QString describe(const MessageShape &shape)
{
    const auto words = [&]() -> QString {
        const bool request = shape.direction == Direction::Request;
        switch (shape.form) {
        case Form::Frame:
            return request ? QStringLiteral("request frame of %1")
                           : QStringLiteral("reply frame of %1");
        case Form::Text:
            return request ? QStringLiteral("request record of %1")
                           : QStringLiteral("reply record of %1");
        default:
            return request ? QStringLiteral("Linux request frame of %1")
                           : QStringLiteral("Linux reply frame of %1");
        }
    };
    return words().arg(className(shape.classId));
}

} // namespace KorvinInspect
