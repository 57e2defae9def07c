#include <korvinpackageglobal.h>

bool korvinpackage_korvinpackageglobal();

bool korvinpackage_korvinpackageglobal()
{
    struct KORVINPACKAGE_EXPORT Marked
    {
        int value;
    };
    return Marked{1}.value == 1;
}
