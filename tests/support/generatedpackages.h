#ifndef GENERATEDPACKAGES_H
#define GENERATEDPACKAGES_H

#include "testsupport.h"

#include <korvininspect/packageforms.h>

#include <memory>
#include <random>

/// Packages and inputs from a seed, the same in every run.
class Generator
{
public:
    explicit Generator(unsigned seed)
        : m_engine(seed)
    {
    }

    /// A number from 0 to @p max.
    int upTo(int max) { return static_cast<int>(m_engine() % (static_cast<unsigned>(max) + 1)); }

    bool oneIn(int count) { return upTo(count - 1) == 0; }

    const PackageClass &anyClass();

    /// Any form that the class has, except Linux replies, which the codec itself does not make.
    Encoding anyEncoding(const PackageClass &ofClass);

    /// A package whose fields agree with each other and fit into every form.
    std::unique_ptr<PackageBase> consistentPackage(const PackageClass &ofClass);

    /// A package with anything in its fields.
    std::unique_ptr<PackageBase> wildPackage(const PackageClass &ofClass);

    /// Changes, inserts or removes bytes here and there.
    QByteArray mutated(QByteArray input, Form form);

private:
    QJsonValue consistentValue(const PackageField &field, const PackageBase &package);
    QJsonValue wildValue(const PackageField &field);
    QString text(int maxSize, const char *characters);
    char anyByte(Form form);

    std::mt19937 m_engine;
};

#endif
