#ifndef CPPSOURCE_H
#define CPPSOURCE_H

#include <QtCore/QString>

class PackageBase;

/// C++ source lines that build a package with the same fields, in a variable named "package": the
/// header to include, a blank line, and the statements.
///
/// Requests are made by the constructor of their class with a communication result, the others by
/// the default constructor; setters store what that leaves different. What a package only points
/// to, its user token and its time-out timer, is not part of it. Draws serial numbers.
QString cppSource(const PackageBase &package);

#endif
