#include <korvininspect/messageshape.h>

#include "classrow_p.h"

namespace KorvinInspect {

QString className(ClassId classId)
{
    const std::string_view name = rowOf(classId).name;
    return QString::fromLatin1(name.data(), static_cast<int>(name.size()));
}

bool exists(const MessageShape &shape)
{
    const Korvin::ClassRow &row = rowOf(shape.classId);
    if (row.base == Korvin::Base::Items)
        return shape.form == Form::Text && shape.direction == Direction::Request;
    return shape.form != Form::Linux || row.has(Korvin::Linux);
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
