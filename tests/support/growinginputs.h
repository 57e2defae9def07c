#ifndef GROWINGINPUTS_H
#define GROWINGINPUTS_H

#include <functional>
#include <ostream>
#include <string>
#include <vector>

/// @file
/// Every decoder with inputs that grow where a sender can make them grow, to measure the memory and
/// time of the decoder.

/// The most memory that decoding may take, in bytes.
struct MemoryBound
{
    int multiple; ///< For each byte or character of the input.
    int constant; ///< However short the input.
};

/// A kind of input and its decoder.
struct GrowingInput
{
    std::string name;

    MemoryBound bound;

    /// Makes an input of about so many bytes or characters; what it returns decodes it.
    std::function<std::function<void()>(int size)> prepare;
};

inline void PrintTo(const GrowingInput &input, std::ostream *out)
{
    *out << input.name;
}

const std::vector<GrowingInput> &growingInputs();

#endif
