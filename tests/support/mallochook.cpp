#include "mallochook.h"

#include <cerrno>
#include <cstdlib>

#include <malloc.h>

int failingAllocation = -1;
Allocations allocations;

extern "C" {
void *__libc_malloc(std::size_t size);
void *__libc_calloc(std::size_t count, std::size_t size);
void *__libc_realloc(void *memory, std::size_t size);
void *__libc_memalign(std::size_t alignment, std::size_t size);
void __libc_free(void *memory);
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

void *taken(void *memory)
{
    allocations.blocks += memory ? 1 : 0;
    allocations.inUse += malloc_usable_size(memory);
    if (allocations.inUse > allocations.peak)
        allocations.peak = allocations.inUse;
    return memory;
}

void givenBack(void *memory)
{
    allocations.blocks -= memory ? 1 : 0;
    allocations.inUse -= malloc_usable_size(memory);
}

} // namespace

extern "C" {

void *malloc(std::size_t size)
{
    return failsNow(size) ? nullptr : taken(__libc_malloc(size));
}

void *calloc(std::size_t nmemb, std::size_t size)
{
    return failsNow(nmemb * size) ? nullptr : taken(__libc_calloc(nmemb, size));
}

void *realloc(void *ptr, std::size_t size)
{
    if (failsNow(size))
        return nullptr;
    const std::size_t before = malloc_usable_size(ptr);
    void *const memory = __libc_realloc(ptr, size);
    if (!memory && size > 0)
        return nullptr; // the old block stays
    allocations.inUse -= before;
    allocations.blocks -= ptr ? 1 : 0;
    return taken(memory);
}

// libc++ makes its exceptions with this.
int posix_memalign(void **memptr, std::size_t alignment, std::size_t size)
{
    void *const memory = failsNow(size) ? nullptr : taken(__libc_memalign(alignment, size));
    if (!memory)
        return ENOMEM;
    *memptr = memory;
    return 0;
}

void free(void *ptr)
{
    givenBack(ptr);
    __libc_free(ptr);
}
}
