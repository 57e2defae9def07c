#ifndef INSPECT_H
#define INSPECT_H

#include <pybind11/pybind11.h>

namespace KorvinPython {

/// Defines what looks into messages: check, explain, guess.
void defineInspect(pybind11::module_ &module);

} // namespace KorvinPython

#endif
