#include "include/commpackagebase.h"

#include "checksum_p.h"
#include "include/packagebase.h"

using namespace Korvin;

CommPackageBase::CommPackageBase()
    : m_checkStatus(OrvexEnum::CommOk)
{
}

CommPackageBase::CommPackageBase(const CommPackageBase &other)
    : CommPackageBase()
{
    *this = other;
}

CommPackageBase &CommPackageBase::operator=(const CommPackageBase &other)
{
    m_spareBytes = other.m_spareBytes;
    m_spareLength = other.m_spareLength;
    m_frameSlice = other.m_frameSlice;
    m_sliceLength = other.m_sliceLength;
    m_checkStatus = other.m_checkStatus;
    m_spareWord = other.m_spareWord;
    return *this;
}

CommPackageBase::CommPackageBase(QByteArray frame, int start, int length)
    : m_frameSlice(frame.mid(start, length))
    , m_sliceLength(length)
    , m_checkStatus(PackageBase::ReviseOk(frame, start, length) ? OrvexEnum::CommOk
                                                                : OrvexEnum::CommCrcErr)
{
}

CommPackageBase::~CommPackageBase() = default;

QByteArray CommPackageBase::getSpareBytes() const
{
    return m_spareBytes;
}

CommPackageBase &CommPackageBase::setSpareBytes(const QByteArray &spareBytes)
{
    m_spareBytes = spareBytes;
    return *this;
}

int CommPackageBase::getSpareLength() const
{
    return m_spareLength;
}

CommPackageBase &CommPackageBase::setSpareLength(const int &spareLength)
{
    m_spareLength = spareLength;
    return *this;
}

QByteArray CommPackageBase::getFrameSlice() const
{
    return m_frameSlice;
}

CommPackageBase &CommPackageBase::setFrameSlice(const QByteArray &frameSlice)
{
    m_frameSlice = frameSlice;
    return *this;
}

int CommPackageBase::getSliceLength() const
{
    return m_sliceLength;
}

CommPackageBase &CommPackageBase::setSliceLength(const int &sliceLength)
{
    m_sliceLength = sliceLength;
    return *this;
}

int CommPackageBase::getCheckStatus() const
{
    return m_checkStatus;
}

CommPackageBase &CommPackageBase::setCheckStatus(const int &checkStatus)
{
    m_checkStatus = checkStatus;
    return *this;
}

quint64 CommPackageBase::getSpareWord() const
{
    return m_spareWord;
}

CommPackageBase &CommPackageBase::setSpareWord(quint64 spareWord)
{
    m_spareWord = spareWord;
    return *this;
}

bool CommPackageBase::parseRequest(QByteArray, int, int *)
{
    return false;
}

bool CommPackageBase::parseReply(QByteArray, int, int *)
{
    return false;
}

void CommPackageBase::calcRevise(QByteArray data, int start, int length, int *revise)
{
    *revise = additiveSum(data, start, length);
}

bool CommPackageBase::ReviseOk(QByteArray data, int start, int length)
{
    return checksumHolds(data, start, length, [this, &data](int bodyStart, int bodyLength) {
        int sum = 0;
        calcRevise(data, bodyStart, bodyLength, &sum);
        return sum;
    });
}
