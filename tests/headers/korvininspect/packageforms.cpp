#include <korvininspect/packageforms.h>

bool korvininspect_packageforms();

bool korvininspect_packageforms()
{
    using namespace KorvinInspect;
    const QByteArray reply("\0\7\0\0\1\0", 6);
    std::unique_ptr<PackageBase> package;
    const Verdict verdict =
        decodeMessage(reply, {ClassId::PackageBase, Form::Frame, Direction::Reply}, &package);
    QByteArray encoded;
    return verdict.isOk() && package->getSerialNum() == 7
        && encodePackage(*package, {Form::Frame, Direction::Reply}, &encoded).isOk()
        && encoded == reply;
}
