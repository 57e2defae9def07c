#ifndef MALLOCHOOK_H
#define MALLOCHOOK_H

#include <cstddef>

/// @file
/// A malloc that counts, and that fails on demand. A program with it is not built with sanitizers,
/// which replace malloc too.

/// Allocations left until the one that fails; negative while none is to fail.
extern int failingAllocation;

/// What has been allocated since the program began.
struct Allocations
{
    std::size_t count = 0;
    std::size_t bytes = 0;
    std::size_t largest = 0; ///< Reset it before the operation that is measured.
    std::size_t blocks = 0;  ///< In use now.
    std::size_t inUse = 0;   ///< Now, with what the allocator adds.
    std::size_t peak = 0;    ///< The most that was in use. Set it to inUse before the operation.
};

extern Allocations allocations;

#endif
