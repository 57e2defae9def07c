#ifndef ZEROEDMEMORY_H
#define ZEROEDMEMORY_H

#include <cstring>
#include <memory>
#include <new>
#include <stdexcept>

namespace KorvinPython {

/// Allocates memory of zeros.
///
/// Python can make an object without calling its `__init__`. pybind11 then gives memory that no
/// constructor has run in to the operations. In memory of zeros, their pointers are null there.
class ZeroedMemory
{
public:
    static void *operator new(std::size_t size)
    {
        return std::memset(::operator new(size), 0, size);
    }

    static void operator delete(void *memory) { ::operator delete(memory); }
};

/// Reports an object whose `__init__` was not called.
[[noreturn]] inline void failUninitialised()
{
    throw std::runtime_error("the object was not initialised: its __init__ was not called");
}

/// Owns the C++ object of a Python object.
template <typename Object>
class Handle : public ZeroedMemory
{
public:
    explicit Handle(std::unique_ptr<Object> object)
        : m_object(object.release())
    {
    }

    Handle(const Handle &) = delete;
    Handle &operator=(const Handle &) = delete;

    ~Handle() { delete m_object; }

    /// @{
    /// Accesses the object; raises RuntimeError if there is none.
    Object &operator*() const
    {
        if (!m_object)
            failUninitialised();
        return *m_object;
    }
    Object *operator->() const { return &**this; }
    /// @}

private:
    Object *m_object;
};

} // namespace KorvinPython

#endif
