#ifndef CPPSOURCECASES_H
#define CPPSOURCECASES_H

#include <packagebase.h>

#include <QtCore/QJsonObject>

#include <memory>
#include <vector>

/// Packages of every class whose C++ source is generated, compiled and run.
std::vector<std::unique_ptr<PackageBase>> cppSourceCases();

/// What the generated source builds: all fields of each of the cases, in their order.
std::vector<QJsonObject> builtFromCppSource();

#endif
