#ifndef HANDLE_H
#define HANDLE_H

#include <cstring>
#include <memory>
#include <new>
#include <stdexcept>

namespace KorvinPython {

/// The memory of C++ objects that Python objects own. It says what it holds.
///
/// Python can make an object without calling its `__init__`; pybind11 then passes memory that no
/// constructor has run in to the operations. This memory begins as zeros, which are not a kind.
/// Python can also assign the class of another object, and its operations with it.
template <typename Kind>
class OwnedMemory
{
public:
    static void *operator new(std::size_t size)
    {
        return std::memset(::operator new(size), 0, size);
    }

    static void operator delete(void *memory) { ::operator delete(memory); }

protected:
    OwnedMemory()
        : m_kind(&TheKind)
    {
    }

    /// Returns whether it holds an object of this kind.
    bool isOfKind() const { return m_kind == &TheKind; }

    /// Raises RuntimeError if it does not.
    void requireKind() const
    {
        if (!isOfKind())
            throw std::runtime_error("the object was not initialised: its __init__ was not called");
    }

private:
    static inline char TheKind = 0; ///< Its address stands for the kind.

    const char *m_kind;
};

/// Owns the C++ object of a Python object.
template <typename Object>
class Handle : public OwnedMemory<Object>
{
public:
    explicit Handle(std::unique_ptr<Object> object)
        : m_object(object.release())
    {
    }

    Handle(const Handle &) = delete;
    Handle &operator=(const Handle &) = delete;

    ~Handle()
    {
        if (this->isOfKind())
            delete m_object;
    }

    /// @{
    /// Accesses the object; raises RuntimeError if there is none.
    Object &operator*() const
    {
        this->requireKind();
        return *m_object;
    }
    Object *operator->() const { return &**this; }
    /// @}

private:
    Object *m_object;
};

} // namespace KorvinPython

#endif
