#include <korvinsimulator/korvinsimulatorglobal.h>

bool korvinsimulator_korvinsimulatorglobal();

bool korvinsimulator_korvinsimulatorglobal()
{
    struct KORVINSIMULATOR_EXPORT Marked
    {
        int value;
    };
    return Marked{1}.value == 1;
}
