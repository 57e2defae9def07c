#ifndef CPPSOURCE_H
#define CPPSOURCE_H

#include <QtCore/QString>

class PackageBase;

/// Returns C++ source that makes a package with the same fields in a variable named "package": the
/// header to include, a blank line, and the statements.
///
/// The source calls the constructor with a communication result, or the default constructor if the
/// class has no other, and setters for the remaining fields. It leaves out the user token and the
/// time-out timer, which a package only points to. Draws serial numbers.
QString cppSource(const PackageBase &package);

#endif
