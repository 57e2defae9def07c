#ifndef SIMULATOR_H
#define SIMULATOR_H

#include <pybind11/pybind11.h>

namespace KorvinPython {

/// Defines the device in memory.
void defineSimulator(pybind11::module_ &module);

} // namespace KorvinPython

#endif
