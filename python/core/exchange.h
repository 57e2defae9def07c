#ifndef EXCHANGE_H
#define EXCHANGE_H

#include <pybind11/pybind11.h>

namespace KorvinPython {

/// Defines the engine that ties replies to requests, and the framings.
void defineExchange(pybind11::module_ &module);

} // namespace KorvinPython

#endif
