#ifndef PACKAGECHECK_H
#define PACKAGECHECK_H

constexpr bool HasOwnPackageCheck = true;

#endif
