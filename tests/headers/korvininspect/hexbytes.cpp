#include <korvininspect/hexbytes.h>

bool korvininspect_hexbytes();

bool korvininspect_hexbytes()
{
    QByteArray bytes;
    const bool ok = KorvinInspect::bytesFromHex(QStringLiteral("01 FF"), &bytes).isEmpty();
    return ok && KorvinInspect::hexFromBytes(bytes) == QStringLiteral("01 FF");
}
