#ifndef DEVICEPORT_H
#define DEVICEPORT_H

#include "devicejudge.h"

#include <memory>

/// How messages to and from a device are framed.
enum class Framing {
    Labelled, ///< Length, form and class before each: see docs/simulator.md.
    Raw       ///< Nothing is added. A record ends with a line feed, a frame with silence.
};

/// Opens the connection to a device: "HOST:PORT" for TCP, anything else for the file of a serial
/// port, which is set to @p baud, 8 data bits, no parity and 1 stop bit. A TCP connection that the
/// device closes is opened again for the next request.
///
/// @param fault becomes the reason on failure.
/// @return the connection; null on failure.
std::unique_ptr<DeviceLink> openDevice(const QString &place, Framing framing, int baud,
                                       QString *fault);

#endif
