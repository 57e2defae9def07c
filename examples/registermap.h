#ifndef REGISTERMAP_H
#define REGISTERMAP_H

#include <QtCore/QByteArray>
#include <QtCore/QHash>
#include <QtCore/QString>

class PackageBase;
class PackageRequestReadData;
class PackageRequestWriteData;
class PackageRequestWriteFile;

/// The memory of the example device: data blocks by register address, files by name.
///
/// Each operation carries out a request and puts the outcome into it: the acknowledge code, the
/// package result, and for a read the data.
class RegisterMap
{
public:
    void carryOut(PackageRequestWriteData &write);
    void carryOut(PackageRequestReadData &read);
    void carryOut(PackageRequestWriteFile &write);

    /// Carries out any of these requests; any other one fails.
    void carryOut(PackageBase &request);

private:
    QHash<quint32, QByteArray> m_blocks;
    QHash<QString, QByteArray> m_files;
};

#endif
