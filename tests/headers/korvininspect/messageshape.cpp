#include <korvininspect/messageshape.h>

bool korvininspect_messageshape();

bool korvininspect_messageshape()
{
    using namespace KorvinInspect;
    const MessageShape shape{ClassId::PackageRequestRead, Form::Linux, Direction::Reply};
    return !exists(shape) && className(shape.classId).size() == 18 && !describe(shape).isEmpty();
}
