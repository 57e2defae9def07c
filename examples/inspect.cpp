// Looks at a received frame before it is decoded.

#include <korvininspect/packagecheck.h>
#include <korvininspect/packagedebug.h>
#include <korvininspect/packageexplain.h>

using namespace KorvinInspect;

int main()
{
    // Announces 3 bytes of data and carries 2.
    const QByteArray received = QByteArray::fromHex("00050000010003000000 01FF");

    const MessageShape shape{ClassId::PackageRequestReadData, Form::Frame, Direction::Reply};
    const Verdict verdict = check(received, shape);
    if (!verdict.isOk())
        qWarning("refused: %s", qUtf8Printable(describe(verdict)));
    for (const ExplainedField &field : explain(received, shape))
        qDebug() << field.offset << field.name << field.value << field.meaning << field.remarks;
    return verdict.refusal == Refusal::LengthTooLarge ? 0 : 1;
}
