#include "registermap.h"

#include <packagerequestreaddata.h>
#include <packagerequestwritedata.h>
#include <packagerequestwritefile.h>

#include <QtCore/QFile>

namespace {

quint32 addressOf(const PackageBase &request)
{
    return quint32(request.getHighAddr()) << 16 | request.getLowAddr();
}

void setOutcome(PackageBase &request, OrvexEnum::PackageResults result)
{
    request.setAckCode(result == OrvexEnum::PackOk ? 0 : 1);
    request.setCommResult(OrvexEnum::CommOk);
    request.setPackResult(result);
}

} // namespace

void RegisterMap::carryOut(PackageRequestWriteData &write)
{
    m_blocks[addressOf(write)] = write.data();
    setOutcome(write, OrvexEnum::PackOk);
}

void RegisterMap::carryOut(PackageRequestReadData &read)
{
    const QByteArray data = m_blocks.value(addressOf(read)).left(read.getReplyDataLength());
    const bool complete = data.size() == read.getReplyDataLength();
    // The length and the data of a package go together: set both.
    read.setData(data);
    read.setReplyDataLength(data.size());
    setOutcome(read, complete ? OrvexEnum::PackOk : OrvexEnum::PackFailure);
}

void RegisterMap::carryOut(PackageRequestWriteFile &write)
{
    QFile file(write.fileNameWithPath());
    if (!file.open(QIODevice::ReadOnly) || !file.seek(write.Offset())) {
        setOutcome(write, OrvexEnum::PackFileReadFailure);
        return;
    }
    m_files[write.fileNameWithPath()] = file.readAll();
    setOutcome(write, OrvexEnum::PackOk);
}

void RegisterMap::carryOut(PackageBase &request)
{
    if (auto *dataWrite = qobject_cast<PackageRequestWriteData *>(&request))
        carryOut(*dataWrite);
    else if (auto *dataRead = qobject_cast<PackageRequestReadData *>(&request))
        carryOut(*dataRead);
    else if (auto *fileWrite = qobject_cast<PackageRequestWriteFile *>(&request))
        carryOut(*fileWrite);
    else
        setOutcome(request, OrvexEnum::PackFailure);
}
