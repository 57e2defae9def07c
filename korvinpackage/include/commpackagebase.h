#ifndef KORVINPACKAGE_COMMPACKAGEBASE_H
#define KORVINPACKAGE_COMMPACKAGEBASE_H

#include "korvinpackageglobal.h"

#include <QtCore/QByteArray>
#include <QtCore/QObject>

/// One received slice of a frame together with the verdict on its checksum.
///
/// Use it where a transport cuts frames out of a stream and passes them on. The library itself
/// creates none. Setters return the object, so that they chain. The spare members are for the
/// caller.
///
///     QByteArray bytes = QByteArray::fromHex("FF 55AA 01 5655");
///     CommPackageBase slice(bytes, 1, 5); // the slice is 55 AA 01 56 55
///     slice.getCheckStatus(); // 1: 0x5555 + 0x01 = 0x5556
class KORVINPACKAGE_EXPORT CommPackageBase : public QObject
{
    Q_OBJECT

public:
    /// No slice; the check status is 1 (`OrvexEnum::CommOk`).
    CommPackageBase();

    /// @{
    /// Copies the members, not the state of QObject.
    CommPackageBase(const CommPackageBase &other);
    CommPackageBase &operator=(const CommPackageBase &other);
    /// @}

    /// Takes the slice of @p length bytes at @p start, as much of it as @p frame holds, and
    /// verifies its checksum. A negative length takes all bytes from @p start on.
    CommPackageBase(QByteArray frame, int start, int length);

    ~CommPackageBase() override;

    /// @{
    /// Spare members for the caller: neither looked at nor changed. Empty and 0 at first.
    QByteArray getSpareBytes() const;
    CommPackageBase &setSpareBytes(const QByteArray &spareBytes);
    int getSpareLength() const;
    CommPackageBase &setSpareLength(const int &spareLength);
    /// @}

    /// @{
    /// The bytes of the slice. The setter verifies nothing and leaves length and status as they
    /// are.
    QByteArray getFrameSlice() const;
    CommPackageBase &setFrameSlice(const QByteArray &frameSlice);
    /// @}

    /// @{
    /// The length that was asked for; the slice is shorter where the frame ended first.
    int getSliceLength() const;
    CommPackageBase &setSliceLength(const int &sliceLength);
    /// @}

    /// @{
    /// 1 (`OrvexEnum::CommOk`) when the checksum holds, 2 (`OrvexEnum::CommCrcErr`) when not.
    int getCheckStatus() const;
    CommPackageBase &setCheckStatus(const int &checkStatus);
    /// @}

    /// @{
    /// One more spare member, 0 at first.
    quint64 getSpareWord() const;
    CommPackageBase &setSpareWord(quint64 spareWord);
    /// @}

    /// Hook for a subclass that reads requests out of slices; the base reads nothing and returns
    /// false.
    virtual bool parseRequest(QByteArray frame, int start, int *index);

    /// Hook for a subclass that reads replies out of slices; the base reads nothing and returns
    /// false.
    virtual bool parseReply(QByteArray frame, int start, int *index);

    /// PackageBase::calcRevise, replaceable by a subclass.
    virtual void calcRevise(QByteArray data, int start, int length, int *revise);

    /// PackageBase::ReviseOk with the sum that calcRevise() of this object gives.
    virtual bool ReviseOk(QByteArray data, int start, int length);

private:
    QByteArray m_spareBytes;
    int m_spareLength = 0;
    QByteArray m_frameSlice;
    int m_sliceLength = 0;
    int m_checkStatus;
    quint64 m_spareWord = 0;
};

#endif
