#include "mallochook.h"

#include <cerrno>
#include <cstdlib>

int failingAllocation = -1;
Allocations allocations;

extern "C" {
void *__libc_malloc(std::size_t size);
void *__libc_calloc(std::size_t count, std::size_t size);
void *__libc_realloc(void *memory, std::size_t size);
}

namespace {

bool failsNow(std::size_t size)
{
    ++allocations.count;
    allocations.bytes += size;
    if (size > allocations.largest)
        allocations.largest = size;
    if (failingAllocation < 0 || failingAllocation-- > 0)
        return false;
    errno = ENOMEM;
    return true;
}

} // namespace

extern "C" {

void *malloc(std::size_t size)
{
    return failsNow(size) ? nullptr : __libc_malloc(size);
}

void *calloc(std::size_t nmemb, std::size_t size)
{
    return failsNow(nmemb * size) ? nullptr : __libc_calloc(nmemb, size);
}

void *realloc(void *ptr, std::size_t size)
{
    return failsNow(size) ? nullptr : __libc_realloc(ptr, size);
}
}
