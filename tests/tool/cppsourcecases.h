#ifndef CPPSOURCECASES_H
#define CPPSOURCECASES_H

#include <packagebase.h>

#include <QtCore/QJsonObject>

#include <memory>
#include <vector>

/// Packages of every class whose C++ source is generated, compiled and run.
std::vector<std::unique_ptr<PackageBase>> cppSourceCases();

/// The packages that the generated source builds: all fields of each case, in order.
std::vector<QJsonObject> builtFromCppSource();

#endif
