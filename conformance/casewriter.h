#ifndef CASEWRITER_H
#define CASEWRITER_H

#include <korvininspect/packageforms.h>

#include <QtCore/QJsonObject>
#include <QtCore/QSet>
#include <QtCore/QString>

#include <memory>

/// What the data of a case has at most: it must fit into a line that people can read.
constexpr int LargestData = 4096;

/// A package of @p ofClass with @p fields; ends the program for fields that it does not take.
std::unique_ptr<PackageBase> packageWith(const KorvinInspect::PackageClass &ofClass,
                                         const QJsonObject &fields);

/// What the library encodes of @p package; empty for a form that it does not have.
QByteArray encodedBy(PackageBase &package, const KorvinInspect::Encoding &encoding);

/// Whether the library decodes @p encoded into @p package.
bool isDecoded(PackageBase &package, const KorvinInspect::Encoding &encoding,
               const QByteArray &encoded);

/// The fields of @p package that @p encoded carries.
QJsonObject carriedFields(const KorvinInspect::PackageClass &ofClass,
                          const KorvinInspect::Encoding &encoding, const QByteArray &encoded,
                          const PackageBase &package);

/// A Linux frame with the checksum of its bytes in place of the last two.
QByteArray withChecksum(QByteArray frame);

/// Prints a case that decodes the record of a combination.
///
/// @param packages are the fields of its packages; undefined for a record that is refused.
void writeCombinationCase(const QString &name, const QString &record, const QJsonValue &packages);

/// Prints cases of one class as lines of JSON.
class CaseWriter
{
public:
    /// @param name is what the names of the cases begin with.
    CaseWriter(const KorvinInspect::PackageClass &ofClass, QString name);

    /// The fields are those of @p package, the answer is @p encoded.
    void encode(const PackageBase &package, const KorvinInspect::Encoding &encoding,
                const QByteArray &encoded);

    /// The answer is what @p decoded has of the fields that the input carries, except those named
    /// in @p undefined.
    void decode(const QByteArray &encoded, const KorvinInspect::Encoding &encoding,
                const PackageBase &decoded, const QSet<QString> &undefined = {});

    void refuse(const QByteArray &encoded, const KorvinInspect::Encoding &encoding);

    /// The answer is what the library makes of the input. Prints nothing where that is a limit of
    /// the library rather than a rule of the format: what becomes of bytes that are not text, and
    /// of data that is announced without end.
    void decodeAsTheLibrary(const QByteArray &encoded, const KorvinInspect::Encoding &encoding,
                            const QSet<QString> &undefined = {});

private:
    QJsonObject begin(const char *task, const KorvinInspect::Encoding &encoding) const;

    const KorvinInspect::PackageClass &m_class;
    QString m_name;
};

#endif
