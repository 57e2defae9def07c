#include <korvininspect/packagecheck.h>

bool korvininspect_packagecheck();

bool korvininspect_packagecheck()
{
    using namespace KorvinInspect;
    const Verdict verdict =
        check(QByteArray("\0\5\0\0\1", 5), {ClassId::PackageBase, Form::Frame, Direction::Reply});
    return !verdict.isOk() && verdict.field.size() > 0 && describe(verdict).size() > 0;
}
