#ifndef HEXBYTES_H
#define HEXBYTES_H

constexpr bool HasOwnHexBytes = true;

#endif
