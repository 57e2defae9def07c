#ifndef PACKAGE_H
#define PACKAGE_H

#include "conversions.h"
#include "handle.h"

#include <korvininspect/packageclass.h>
#include <packagebase.h>

#include <memory>

/// @file
/// The classes of packages in Python. They are made from the rows of packageClasses(): each has a
/// property for each field of its row.

namespace KorvinPython {

struct ClassBinding;

/// The C++ object of a Python package.
class Package : public OwnedMemory<Package>
{
public:
    Package(const ClassBinding *itsClass, std::unique_ptr<PackageBase> package)
        : m_class(itsClass)
        , m_package(package.release())
    {
    }

    Package(const Package &) = delete;
    Package &operator=(const Package &) = delete;

    ~Package()
    {
        if (isOfKind())
            delete m_package;
    }

    const ClassBinding &itsClass() const
    {
        requireKind();
        return *m_class;
    }

    PackageBase &operator*() const
    {
        requireKind();
        return *m_package;
    }
    PackageBase *operator->() const { return &**this; }

private:
    const ClassBinding *m_class;
    PackageBase *m_package;
};

/// Defines the classes of packages.
void definePackages(py::module_ &module);

/// Makes a Python object of the class of a package.
py::object toPython(std::unique_ptr<PackageBase> package);

/// Calls a Python function with a copy of a package, and takes over what it has changed.
void callWith(const py::object &function, PackageBase &package);

} // namespace KorvinPython

#endif
