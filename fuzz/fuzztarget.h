#ifndef FUZZTARGET_H
#define FUZZTARGET_H

#include <korvininspect/packageclass.h>
#include <korvininspect/packagejson.h>
#include <packagebase.h>

#include <QtCore/QByteArray>
#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>

#include <gtest/gtest.h>

#include <cstddef>
#include <cstring>
#include <memory>

/// @file
/// Shared code of the fuzz targets. Their properties are GoogleTest expectations; a failed one ends
/// the process with an uncaught exception, which a fuzzer counts as a crash.

/// Every target is this function. libFuzzer calls it with generated inputs, replay.cpp with the
/// files of the corpus.
///
/// @return 0; -1 for an input that belongs in no corpus: it names no class, or makes a decoder
/// slow.
extern "C" int LLVMFuzzerTestOneInput(const quint8 *bytes, std::size_t size);

/// The digest of all that the targets have observed, kept for a replay. Two runs over the same
/// inputs have the same digest, so that uninitialised memory shows.
struct Observations
{
    bool areKept = false;
    quint64 digest = 14695981039346656037U; // FNV-1a
};

inline Observations observations;

inline void observe(const QByteArray &bytes)
{
    for (const char byte : bytes)
        observations.digest = (observations.digest ^ static_cast<quint8>(byte)) * 1099511628211U;
}

/// Observes every field.
inline void observe(const PackageBase &package)
{
    if (observations.areKept)
        observe(QJsonDocument(KorvinInspect::packageToJson(package)).toJson());
}

/// Returns the unsigned byte at a position; 0 outside the array.
inline quint8 byteAt(const QByteArray &bytes, qint64 position)
{
    return position >= 0 && position < bytes.size()
        ? static_cast<quint8>(bytes.at(static_cast<int>(position)))
        : 0;
}

/// Returns the low 32 bits as an int.
inline int cut(qint64 value)
{
    return static_cast<int>(static_cast<quint32>(value));
}

/// Returns the letter that names a class in an input. New classes do not change it.
inline char letterOf(KorvinInspect::ClassId id)
{
    using Id = KorvinInspect::ClassId;
    switch (id) {
    case Id::PackageBase:
        return 'b';
    case Id::PackageRequestRead:
        return 'r';
    case Id::PackageRequestReadData:
        return 'd';
    case Id::PackageRequestReadFile:
        return 'f';
    case Id::PackageRequestReadMemData:
        return 'm';
    case Id::PackageRequestWrite:
        return 'W';
    case Id::PackageRequestWriteData:
        return 'D';
    case Id::PackageRequestWriteIP:
        return 'I';
    case Id::PackageRequestWriteFile:
        return 'F';
    case Id::PackageRequestWriteMemData:
        return 'M';
    case Id::SpecialPackageRequest:
        return 's';
    case Id::PackageRequestCombination: // not a class of packages
        break;
    }
    return '\0';
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

    /// Reads a 32-bit number, little-endian.
    int number()
    {
        quint32 value = 0;
        for (int shift = 0; shift < 32; shift += 8)
            value |= quint32(byte()) << shift;
        return static_cast<int>(value);
    }

    /// Returns the class that the next byte names, or null.
    const KorvinInspect::PackageClass *packageClass()
    {
        const quint8 letter = byte();
        for (const KorvinInspect::PackageClass &itsClass : KorvinInspect::packageClasses()) {
            if (letterOf(itsClass.id) == static_cast<char>(letter))
                return &itsClass;
        }
        return nullptr;
    }

    QByteArray rest() { return m_bytes.mid(m_position); }

    /// Reads at most @p count bytes.
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
            // This data does not own its memory, as a user's data may not.
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

#endif
