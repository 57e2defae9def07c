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

/// More data than one request carries, for Engine::start(), until which its package must be there.
///
/// The package says what to transfer: address, length or data, name, offset. Its maximum part size,
/// 2048 where nothing else is set, is the most bytes that one request moves; the engine keeps its
/// part count, the index of the first part that is not done, and in the end its results. It sends
/// requests of its own, which have the address of the package.
///
/// - **Data:** a data request for each part, whose register address is advanced by the offset.
/// - **A file or memory, written:** for each part a data write to the register address of the
///   package, which is a buffer, then the file or memory write with the offset of the part.
/// - **A file, read:** the file read of all of it into the buffer, then data reads from there.
/// - **Memory, read:** for each part the memory read into the buffer, then a data read from there.
///
/// Data requests of data, and those that read a file, may be in flight together; all others come
/// one after the other. Where a register does not advance
/// (PackageBase::setIsRegisterAddrSelfIncreasing()) all parts have the same address, one after the
/// other.
///
/// Transfers at the same time need different buffers. A transfer of no bytes succeeds at once, but
/// for files: an empty file is written as well, and an empty file that is read must be there. Its
/// buffer is emptied by a data write of no bytes, which a record cannot carry: where the peer takes
/// only records, the buffer must be one that nothing was written to.
class KORVINEXCHANGE_EXPORT Transfer
{
public:
    /// What is transferred, and which way.
    enum class Kind { WriteData, ReadData, WriteFile, ReadFile, WriteMemory, ReadMemory };

    /// Writes the data of @p package.
    static Transfer writeData(PackageRequestWriteData *package);

    /// Reads as many bytes as the reply data length of @p package says; they become its data.
    static Transfer readData(PackageRequestReadData *package);

    /// Writes @p contents to a file, from the offset of @p package on.
    static Transfer writeFile(PackageRequestWriteFile *package, const QByteArray &contents);

    /// Reads the first bytes of a file, as many as the reply data length of @p package says. The
    /// buffer must hold all of them.
    static Transfer readFile(PackageRequestReadFile *package);

    /// Writes @p data to memory, from the offset of @p package on, whose package data length is not
    /// looked at.
    static Transfer writeMemory(PackageRequestWriteMemData *package, const QByteArray &data);

    /// Reads as many bytes as the reply data length of @p package says, from its offset on.
    static Transfer readMemory(PackageRequestReadMemData *package);

    /// @{
    /// Most parts in flight at a time, where there may be several; 4 where nothing else is set.
    void setWindow(int window) { m_window = window; }
    int window() const { return m_window; }
    /// @}

    Kind kind() const { return m_kind; }               ///< As it was made.
    PackageBase *package() const { return m_package; } ///< The caller's.
    QByteArray data() const { return m_data; }         ///< To write, of files and memory.

private:
    Transfer(Kind kind, PackageBase *package, const QByteArray &data);

    Kind m_kind;
    PackageBase *m_package;
    QByteArray m_data;
    int m_window = 4;
};

} // namespace KorvinExchange

#endif
