#ifndef CASEWRITER_H
#define CASEWRITER_H

#include <korvininspect/packageforms.h>

#include <QtCore/QJsonObject>
#include <QtCore/QSet>
#include <QtCore/QString>

#include <memory>

/// The most bytes of data of a case: it must fit into a line that people can read.
constexpr int LargestData = 4096;

/// Makes a package of @p ofClass with @p fields. Ends the program if a field does not fit.
std::unique_ptr<PackageBase> packageWith(const KorvinInspect::PackageClass &ofClass,
                                         const QJsonObject &fields);

/// Returns @p package as the library encodes it; empty for a form that it does not have.
QByteArray encodedBy(PackageBase &package, const KorvinInspect::Encoding &encoding);

/// Decodes @p encoded into @p package.
///
/// @return whether the library accepts it.
bool isDecoded(PackageBase &package, const KorvinInspect::Encoding &encoding,
               const QByteArray &encoded);

/// Returns the fields of @p package that @p encoded carries.
QJsonObject carriedFields(const KorvinInspect::PackageClass &ofClass,
                          const KorvinInspect::Encoding &encoding, const QByteArray &encoded,
                          const PackageBase &package);

/// Returns a Linux frame with its checksum in place of the last two bytes.
QByteArray withChecksum(QByteArray frame);

/// Prints a case that decodes the record of a combination.
///
/// @param packages are the fields of its packages; undefined for a record that is refused.
void writeCombinationCase(const QString &name, const QString &record, const QJsonValue &packages);

/// Prints cases of one class as lines of JSON.
class CaseWriter
{
public:
    /// @param name begins the names of the cases.
    CaseWriter(const KorvinInspect::PackageClass &ofClass, QString name);

    /// Prints a case that encodes @p package; the answer is @p encoded.
    void encode(const PackageBase &package, const KorvinInspect::Encoding &encoding,
                const QByteArray &encoded);

    /// Prints a case that decodes; the answer has the fields of @p decoded that the input carries,
    /// except those named in @p undefined.
    void decode(const QByteArray &encoded, const KorvinInspect::Encoding &encoding,
                const PackageBase &decoded, const QSet<QString> &undefined = {});

    void refuse(const QByteArray &encoded, const KorvinInspect::Encoding &encoding);

    /// Prints a case that decodes; the answer is that of the library. Prints nothing for input
    /// whose answer is a limit of the library, not a rule of the format: bytes that are not text,
    /// and very long data that is announced but not there.
    void decodeAsTheLibrary(const QByteArray &encoded, const KorvinInspect::Encoding &encoding,
                            const QSet<QString> &undefined = {});

private:
    QJsonObject begin(const char *task, const KorvinInspect::Encoding &encoding) const;

    const KorvinInspect::PackageClass &m_class;
    QString m_name;
};

#endif
