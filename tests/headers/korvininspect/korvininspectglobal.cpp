#include <korvininspect/korvininspectglobal.h>

bool korvininspect_korvininspectglobal();

bool korvininspect_korvininspectglobal()
{
    struct KORVININSPECT_EXPORT Marked
    {
        int value;
    };
    return Marked{1}.value == 1;
}
