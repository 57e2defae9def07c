// The module korvinpackage._core: what the Python package needs of the C++ libraries.

#include "conversions.h"
#include "exchange.h"
#include "inspect.h"
#include "package.h"
#include "simulator.h"

PYBIND11_MODULE(_core, module)
{
    KorvinPython::importValues();
    KorvinPython::definePackages(module);
    KorvinPython::defineInspect(module);
    KorvinPython::defineExchange(module);
    KorvinPython::defineSimulator(module);
}
