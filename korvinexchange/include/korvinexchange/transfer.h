#ifndef KORVINEXCHANGE_TRANSFER_H
#define KORVINEXCHANGE_TRANSFER_H

#include "korvinexchangeglobal.h"

#include <packagebase.h>

#include <QtCore/QByteArray>

class PackageRequestReadData;
class PackageRequestReadFile;
class PackageRequestReadMemData;
class PackageRequestWriteData;
class PackageRequestWriteFile;
class PackageRequestWriteMemData;

namespace KorvinExchange {

/// A transfer of more data than one request carries, for Engine::start(). Its package must exist
/// until then.
///
/// The package says what to transfer: address, length or data, name, offset. Its maximum part size,
/// 2048 by default, is the most bytes that one request transfers. The engine updates its part
/// count, the index of the first part that is not done, and at the end its results. The engine
/// makes the requests itself, with the address of the package:
///
/// - **Data:** a data request for each part. The register address advances by the offset.
/// - **Writing a file or memory:** for each part, a data write to the register address of the
///   package, which is a buffer; then the file or memory write with the offset of the part.
/// - **Reading a file:** a file read of the whole file into the buffer; then data reads from there.
/// - **Reading memory:** for each part, a memory read into the buffer; then a data read from there.
///
/// Data requests for data, and those that read a file, may be in flight together. All others are
/// sent one after the other. If the register does not advance
/// (PackageBase::setIsRegisterAddrSelfIncreasing()), all parts have the same address and are sent
/// one after the other.
///
/// Simultaneous transfers need different buffers. A transfer of no bytes succeeds at once, except
/// for files: an empty file is written, too, and an empty file to read must exist. A data write of
/// no bytes empties the buffer of an empty file. A record cannot carry such a write: if the peer
/// accepts only records, or no other form carries the request, use a buffer that nothing was
/// written to.
class KORVINEXCHANGE_EXPORT Transfer
{
public:
    /// What is transferred, and which way.
    enum class Kind { WriteData, ReadData, WriteFile, ReadFile, WriteMemory, ReadMemory };

    /// Writes the data of @p package.
    static Transfer writeData(PackageRequestWriteData *package);

    /// Reads as many bytes as the reply data length of @p package says. They become its data.
    static Transfer readData(PackageRequestReadData *package);

    /// Writes @p contents to a file, starting at the offset of @p package.
    static Transfer writeFile(PackageRequestWriteFile *package, const QByteArray &contents);

    /// Reads the beginning of a file, as many bytes as the reply data length of @p package says.
    /// The buffer must have room for all of them.
    static Transfer readFile(PackageRequestReadFile *package);

    /// Writes @p data to memory, starting at the offset of @p package. Ignores its package data
    /// length.
    static Transfer writeMemory(PackageRequestWriteMemData *package, const QByteArray &data);

    /// Reads as many bytes as the reply data length of @p package says, starting at its offset.
    static Transfer readMemory(PackageRequestReadMemData *package);

    /// @{
    /// Sets the most parts in flight at a time, if there may be several: at most Limits::inFlight,
    /// 4 by default.
    void setWindow(int window) { m_window = window; }
    int window() const { return m_window; }
    /// @}

    Kind kind() const { return m_kind; }               ///< What is transferred, and which way.
    PackageBase *package() const { return m_package; } ///< The caller's package.
    QByteArray data() const { return m_data; }         ///< What to write into a file or memory.

private:
    Transfer(Kind kind, PackageBase *package, const QByteArray &data);

    Kind m_kind;
    PackageBase *m_package;
    QByteArray m_data;
    int m_window = 4;
};

} // namespace KorvinExchange

#endif
