#ifndef DEVICESTATE_H
#define DEVICESTATE_H

constexpr bool HasOwnDeviceState = true;

#endif
