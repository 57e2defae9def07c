#include <commpackagebase.h>

bool korvinpackage_commpackagebase();

bool korvinpackage_commpackagebase()
{
    const CommPackageBase slice(QByteArray("\x55\xAA\x01\x56\x55", 5), 0, 5);
    CommPackageBase copy(slice);
    return copy.setSpareLength(3).getSpareLength() == 3 && slice.getFrameSlice().size() == 5
        && slice.getCheckStatus() == 1 && copy.parent() == nullptr;
}
