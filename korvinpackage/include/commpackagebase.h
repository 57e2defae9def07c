#ifndef KORVINPACKAGE_COMMPACKAGEBASE_H
#define KORVINPACKAGE_COMMPACKAGEBASE_H

#include "korvinpackageglobal.h"

#include <QtCore/QByteArray>
#include <QtCore/QObject>

/// One received slice of a frame together with the verdict on its checksum.
///
/// Use it where a transport cuts frames out of a stream and passes them on. The library itself
/// creates no slices. Setters return the object, so that calls can be chained. The spare members
/// are for the caller.
///
///     QByteArray bytes = QByteArray::fromHex("FF 55AA 01 5655");
///     CommPackageBase slice(bytes, 1, 5); // the slice is 55 AA 01 56 55
///     slice.getCheckStatus(); // 1: 0x5555 + 0x01 = 0x5556
class KORVINPACKAGE_EXPORT CommPackageBase : public QObject
{
    Q_OBJECT

public:
    /// Makes an empty slice with check status 1 (`OrvexEnum::CommOk`).
    CommPackageBase();

    /// @{
    /// Copies the members, but not the state of QObject.
    CommPackageBase(const CommPackageBase &other);
    CommPackageBase &operator=(const CommPackageBase &other);
    /// @}

    /// Takes @p length bytes at @p start, or as many as @p frame holds, and verifies their
    /// checksum. A negative length takes all bytes from @p start on.
    CommPackageBase(QByteArray frame, int start, int length);

    ~CommPackageBase() override;

    /// @{
    /// Spare members for the caller, initially empty and 0. The library never uses them.
    QByteArray getSpareBytes() const;
    CommPackageBase &setSpareBytes(const QByteArray &spareBytes);
    int getSpareLength() const;
    CommPackageBase &setSpareLength(const int &spareLength);
    /// @}

    /// @{
    /// The bytes of the slice. The setter verifies nothing and does not change length and status.
    QByteArray getFrameSlice() const;
    CommPackageBase &setFrameSlice(const QByteArray &frameSlice);
    /// @}

    /// @{
    /// The requested length. The slice is shorter if the frame ended first.
    int getSliceLength() const;
    CommPackageBase &setSliceLength(const int &sliceLength);
    /// @}

    /// @{
    /// 1 (`OrvexEnum::CommOk`) if the checksum is right, 2 (`OrvexEnum::CommCrcErr`) if not.
    int getCheckStatus() const;
    CommPackageBase &setCheckStatus(const int &checkStatus);
    /// @}

    /// @{
    /// One more spare member, initially 0.
    quint64 getSpareWord() const;
    CommPackageBase &setSpareWord(quint64 spareWord);
    /// @}

    /// Hook for a subclass that reads requests from slices. The base reads nothing and returns
    /// false.
    virtual bool parseRequest(QByteArray frame, int start, int *index);

    /// Hook for a subclass that reads replies from slices. The base reads nothing and returns
    /// false.
    virtual bool parseReply(QByteArray frame, int start, int *index);

    /// Calls PackageBase::calcRevise(). A subclass may replace it.
    virtual void calcRevise(QByteArray data, int start, int length, int *revise);

    /// Does the same as PackageBase::ReviseOk(), with the sum that calcRevise() of this object
    /// returns.
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
