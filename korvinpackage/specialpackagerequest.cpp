#include "include/specialpackagerequest.h"

#include "layouts_p.h"
#include "packagebase_p.h"
#include "recordcursors_p.h"

using namespace Korvin;

SpecialPackageRequest::SpecialPackageRequest()
    : m_nFieldCount(SpecialPart::Columns)
{
    setSerialNum(makeSerialNum());
}

SpecialPackageRequest::SpecialPackageRequest(int id, unsigned short endTimeOut)
    : SpecialPackageRequest()
{
    m_id = id;
    m_specialFlagEndTimeOut = endTimeOut;
    setTimeout(0);
}

SpecialPackageRequest::SpecialPackageRequest(int id, unsigned short endTimeOut, QString deviceKey)
    : SpecialPackageRequest(id, endTimeOut)
{
    setDeviceKey(std::move(deviceKey));
}

SpecialPackageRequest::SpecialPackageRequest(const SpecialPackageRequest &other) = default;

SpecialPackageRequest::SpecialPackageRequest(SpecialPackageRequest &&other) = default;

SpecialPackageRequest &
SpecialPackageRequest::operator=(const SpecialPackageRequest &other) = default;

SpecialPackageRequest &SpecialPackageRequest::operator=(SpecialPackageRequest &&other) = default;

SpecialPackageRequest::~SpecialPackageRequest() = default;

int SpecialPackageRequest::id() const
{
    return m_id;
}

void SpecialPackageRequest::setId(int id)
{
    m_id = id;
}

QString SpecialPackageRequest::strData() const
{
    return m_strData;
}

void SpecialPackageRequest::setStrData(const QString &strData)
{
    m_strData = strData;
}

int SpecialPackageRequest::specialFlagEndTimeOut() const
{
    return m_specialFlagEndTimeOut;
}

void SpecialPackageRequest::setSpecialFlagEndTimeOut(const int &specialFlagEndTimeOut)
{
    m_specialFlagEndTimeOut = specialFlagEndTimeOut;
}

bool SpecialPackageRequest::getEnabledSpecialPackForAllPort() const
{
    return m_enabledSpecialPackForAllPort;
}

void SpecialPackageRequest::setEnabledSpecialPackForAllPort(
    const bool &enabledSpecialPackForAllPort)
{
    m_enabledSpecialPackForAllPort = enabledSpecialPackForAllPort;
}

bool SpecialPackageRequest::unPackage(QString text)
{
    RecordReader record(text, m_nFieldCount);
    return record.isComplete()
        && record.read(0, SpecialPart{m_id, m_pPackageBasePri->timeout, m_strData});
}

QString SpecialPackageRequest::makePackage()
{
    return guarded([this] {
        RecordWriter record;
        SpecialPart{m_id, m_pPackageBasePri->timeout, m_strData}.columns(record);
        return record.take();
    });
}
