#ifndef RANDOMNUMBERS_P_H
#define RANDOMNUMBERS_P_H

#include <QtCore/QtGlobal>

#include <cmath>

namespace KorvinSimulator {

/// Returns a random number that depends on its arguments alone, so that a saved device goes on
/// where it was, and nothing else that draws numbers matters.
///
/// @param stream says what the number is for.
/// @param index counts the numbers of a stream.
inline quint64 randomNumber(quint64 seed, quint64 stream, quint64 index)
{
    // SplitMix64, by Sebastiano Vigna.
    constexpr quint64 Gamma = 0x9E3779B97F4A7C15;
    quint64 bits = seed;
    for (const quint64 part : {stream, index}) {
        bits += Gamma * (part + 1);
        bits = (bits ^ bits >> 30) * 0xBF58476D1CE4E5B9;
        bits = (bits ^ bits >> 27) * 0x94D049BB133111EB;
        bits ^= bits >> 31;
    }
    return bits;
}

/// Returns a random number from 0 up to 1, without 1.
inline double randomShare(quint64 seed, quint64 stream, quint64 index)
{
    constexpr double Range = 9007199254740992.0; // 2^53
    return static_cast<double>(randomNumber(seed, stream, index) >> 11) / Range;
}

/// Returns a number of the standard normal distribution.
inline double randomNormal(quint64 seed, quint64 stream, quint64 index)
{
    constexpr double TwoPi = 6.283185307179586;
    const double radius = 1 - randomShare(seed, stream, 2 * index); // not 0
    return std::sqrt(-2 * std::log(radius))
        * std::cos(TwoPi * randomShare(seed, stream, 2 * index + 1));
}

} // namespace KorvinSimulator

#endif
