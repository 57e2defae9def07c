#ifndef INPUTTEXT_H
#define INPUTTEXT_H

constexpr bool HasOwnInputText = true;

#endif
