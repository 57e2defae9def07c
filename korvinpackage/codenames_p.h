#ifndef CODENAMES_P_H
#define CODENAMES_P_H

#include "include/orvexenum.h"

#include <QtCore/QString>

#include <cstddef>
#include <cstring>

namespace Korvin {

/// A code and its name in text records.
template <typename Code>
struct CodeName
{
    Code code;
    QStringView name;
};

constexpr CodeName<OrvexEnum::ReadWriteCode> ReadWriteNames[] = {
    {OrvexEnum::Read, u"read"},
    {OrvexEnum::Write, u"write"},
};

constexpr CodeName<OrvexEnum::CommResults> CommResultNames[] = {
    {OrvexEnum::CommPending, u"pending"}, {OrvexEnum::CommOk, u"ok"},
    {OrvexEnum::CommCrcErr, u"crcErr"},   {OrvexEnum::CommLengthErr, u"lengthErr"},
    {OrvexEnum::CommPortErr, u"portErr"}, {OrvexEnum::CommTimeout, u"timeout"},
    {OrvexEnum::CommCodeErr, u"codeErr"}, {OrvexEnum::CommForcedCancel, u"forcedCancel"},
};

constexpr CodeName<OrvexEnum::PackageResults> PackageResultNames[] = {
    {OrvexEnum::PackOk, u"ok"},
    {OrvexEnum::PackFileErr, u"fileErr"},
    {OrvexEnum::PackMemErr, u"memErr"},
    {OrvexEnum::PackFileDeleteErr, u"fileDeleteErr"},
    {OrvexEnum::PackDirectoryCreateErr, u"directoryCreateErr"},
    {OrvexEnum::PackInvalidPort, u"invalidPort"},
    {OrvexEnum::PackParseFailure, u"parseFailure"},
    {OrvexEnum::PackMessageDisconnect, u"messageDisconnect"},
    {OrvexEnum::PackForceCancel, u"forceCancel"},
    {OrvexEnum::PackSendError, u"sendError"},
    {OrvexEnum::PackParsePackAddrFailure, u"parsePackAddrFailure"},
    {OrvexEnum::PackFailure, u"failure"},
    {OrvexEnum::PackDisConnect, u"disConnect"},
    {OrvexEnum::PackFileNoExist, u"fileNoExist"},
    {OrvexEnum::PackFileReadFailure, u"fileReadFailure"},
    {OrvexEnum::PackFileCreatFailure, u"fileCreatFailure"},
    {OrvexEnum::PackFileWriteFailure, u"fileWriteFailure"},
    {OrvexEnum::PackDeviceSpaceNoEnough, u"deviceSpaceNoEnough"},
    {OrvexEnum::PackCancelWait, u"cancelWait"},
    {OrvexEnum::PackCancel, u"cancel"},
    {OrvexEnum::PackAbort, u"abort"},
    {OrvexEnum::PackTimeOut, u"timeOut"},
};

constexpr CodeName<OrvexEnum::ClientPackageType> ClientPackageTypeNames[] = {
    {OrvexEnum::DataPackage, u"data"},
    {OrvexEnum::FilePackage, u"file"},
    {OrvexEnum::MemDataPackage, u"memData"},
};

/// Returns the name of a code, or @p fallback for a code without a row.
template <typename Code, std::size_t N>
QStringView nameOf(const CodeName<Code> (&names)[N], Code code, QStringView fallback = {})
{
    for (const CodeName<Code> &row : names) {
        if (row.code == code)
            return row.name;
    }
    return fallback;
}

/// Returns the row of a name; null for an unknown name. Names are case-sensitive.
template <typename Code, std::size_t N>
const CodeName<Code> *findName(const CodeName<Code> (&names)[N], QStringView name)
{
    const auto size = static_cast<std::size_t>(name.size()) * sizeof(QChar);
    for (const CodeName<Code> &row : names) {
        if (name.size() == row.name.size() && std::memcmp(name.data(), row.name.data(), size) == 0)
            return &row;
    }
    return nullptr;
}

/// Returns the code of a name, or @p fallback for an unknown name.
template <typename Code, std::size_t N>
Code codeOf(const CodeName<Code> (&names)[N], QStringView name, Code fallback)
{
    const CodeName<Code> *row = findName(names, name);
    return row ? row->code : fallback;
}

} // namespace Korvin

#endif
