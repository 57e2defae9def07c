#ifndef FUZZTARGET_H
#define FUZZTARGET_H

#include <packagebase.h>
#include <packageclass.h>
#include <packagejson.h>

#include <QtCore/QByteArray>
#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>

#include <gtest/gtest.h>

#include <cstddef>
#include <cstring>
#include <memory>

/// @file
/// What the fuzz targets share. Their properties are GoogleTest's expectations; one that does not
/// hold ends the process with an exception that nobody catches, which a fuzzer takes for a crash.

/// Every target is this function. libFuzzer calls it for what it makes up, replay.cpp for the files
/// of the corpus.
///
/// @return 0 always.
extern "C" int LLVMFuzzerTestOneInput(const quint8 *bytes, std::size_t size);

/// A digest of what the targets have observed, kept for a replay. Two runs over the same inputs
/// have the same one, whatever was in the memory that they got.
struct Outcome
{
    bool isKept = false;
    quint64 digest = 14695981039346656037U; // FNV-1a
};

inline Outcome outcome;

inline void observe(const QByteArray &bytes)
{
    for (const char byte : bytes)
        outcome.digest = (outcome.digest ^ static_cast<quint8>(byte)) * 1099511628211U;
}

/// Observes every field.
inline void observe(const PackageBase &package)
{
    if (outcome.isKept)
        observe(QJsonDocument(KorvinInspect::packageToJson(package)).toJson());
}

/// Takes an input apart: first come a few bytes that say what to do with it, then the frame or
/// record.
class FuzzInput
{
public:
    FuzzInput(const quint8 *bytes, std::size_t size)
        : m_bytes(reinterpret_cast<const char *>(bytes), static_cast<int>(size))
    {
        testing::GTEST_FLAG(throw_on_failure) = true;
        qInstallMessageHandler([](auto...) {});
    }

    quint8 byte()
    {
        const int position = m_position++;
        return position < m_bytes.size() ? static_cast<quint8>(m_bytes.at(position)) : 0;
    }

    /// A number of 32 bits, little-endian.
    int number()
    {
        quint32 value = 0;
        for (int shift = 0; shift < 32; shift += 8)
            value |= quint32(byte()) << shift;
        return static_cast<int>(value);
    }

    const KorvinInspect::PackageClass &packageClass()
    {
        const auto &classes = KorvinInspect::packageClasses();
        return classes.at(byte() % classes.size());
    }

    QByteArray rest() { return m_bytes.mid(m_position); }

    /// At most so many bytes.
    QByteArray bytes(int count)
    {
        const QByteArray taken = m_bytes.mid(m_position, count);
        m_position += count;
        return taken;
    }

    bool atEnd() const { return m_position >= m_bytes.size(); }

private:
    QByteArray m_bytes;
    int m_position = 0;
};

/// A package with something in every field, so that it shows what a decoder touches.
inline std::unique_ptr<PackageBase> filledPackage(const KorvinInspect::PackageClass &itsClass)
{
    std::unique_ptr<PackageBase> package = itsClass.create();
    for (const KorvinInspect::PackageField &field : itsClass.fields) {
        switch (field.valueType) {
        case KorvinInspect::ValueType::Text:
            field.set(*package, QStringLiteral("before"));
            break;
        case KorvinInspect::ValueType::Data:
            // It owns no memory, which a user's data need not do either.
            package->setData(QByteArray::fromRawData("\xB1\xB2\xB3\xB4\xB5", 5));
            break;
        case KorvinInspect::ValueType::Flag:
            field.set(*package, true);
            break;
        default:
            field.set(*package, 2);
            break;
        }
    }
    return package;
}

/// Encoders make as many bytes ready as a length announces: those of longer data are not called.
inline bool isShort(const PackageBase &package)
{
    return package.getDataLength() <= 100000;
}

#endif
