#include "include/korvinexchange/transfer.h"

#include <packagerequestreaddata.h>
#include <packagerequestreadfile.h>
#include <packagerequestreadmemdata.h>
#include <packagerequestwritedata.h>
#include <packagerequestwritefile.h>
#include <packagerequestwritememdata.h>

namespace KorvinExchange {

Transfer::Transfer(Kind kind, PackageBase *package, const QByteArray &data)
    : m_kind(kind)
    , m_package(package)
    , m_data(data)
{
}

Transfer Transfer::writeData(PackageRequestWriteData *package)
{
    return {Kind::WriteData, package, package->data()};
}

Transfer Transfer::readData(PackageRequestReadData *package)
{
    return {Kind::ReadData, package, {}};
}

Transfer Transfer::writeFile(PackageRequestWriteFile *package, const QByteArray &contents)
{
    return {Kind::WriteFile, package, contents};
}

Transfer Transfer::readFile(PackageRequestReadFile *package)
{
    return {Kind::ReadFile, package, {}};
}

Transfer Transfer::writeMemory(PackageRequestWriteMemData *package, const QByteArray &data)
{
    return {Kind::WriteMemory, package, data};
}

Transfer Transfer::readMemory(PackageRequestReadMemData *package)
{
    return {Kind::ReadMemory, package, {}};
}

} // namespace KorvinExchange
