#ifndef MESSAGESHAPE_H
#define MESSAGESHAPE_H

constexpr bool HasOwnMessageShape = true;

#endif
