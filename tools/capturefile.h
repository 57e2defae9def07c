#ifndef CAPTUREFILE_H
#define CAPTUREFILE_H

#include <QtCore/QByteArray>
#include <QtCore/QString>

#include <vector>

class QIODevice;

/// The link types of captures that can be read, as pcap numbers them.
enum LinkType {
    NullLink = 0,
    Ethernet = 1,
    RawIp = 101,
    OpenBsdLoop = 108,
    LinuxCooked = 113,
    LinuxCooked2 = 276
};

/// A packet of a capture file.
struct CapturedPacket
{
    int number = 0;   ///< Its place in the file, counted from 1.
    qint64 time = -1; ///< Nanoseconds since 1970; -1 if the file does not say.
    int linkType = Ethernet;
    QByteArray bytes; ///< What was captured of it.
};

/// Reads packets from a file in pcap or pcapng format, one by one. Trusts no length in it.
class CaptureFile
{
public:
    /// Returns whether a file with these first four bytes is a capture.
    static bool isCapture(const QByteArray &start);

    /// Reads the header. @p device must be open.
    explicit CaptureFile(QIODevice *device);

    /// Reads the next packet. Returns false at the end and after a fault.
    bool next(CapturedPacket *packet);

    /// Returns why the rest of the file cannot be read; empty if it can.
    QString fault() const { return m_fault; }

    /// Returns the name of the format.
    QString format() const;

private:
    /// An interface of a pcapng file.
    struct Interface
    {
        int linkType = Ethernet;
        quint32 snapLength = 0; ///< 0 for none.
        quint64 ticksPerSecond = 1000000;
        qint64 offset = 0; ///< Seconds to add to each time.
    };

    bool read(qint64 size, QByteArray *bytes);
    bool refuse(const QString &fault);
    void readPcapHeader();
    bool nextOfPcap(CapturedPacket *packet);
    bool readBlock(quint32 *type, QByteArray *body);
    bool nextOfPcapng(CapturedPacket *packet);
    bool addInterface(const QByteArray &body);
    bool readOptions(const QByteArray &options, Interface *interface);
    bool takeEnhanced(const QByteArray &body, CapturedPacket *packet);
    bool takeSimple(const QByteArray &body, CapturedPacket *packet);

    QIODevice *m_device;
    QString m_fault;
    bool m_isPcapng = false;
    bool m_isBigEndian = false;
    quint64 m_ticksPerSecond = 0; // of pcap
    int m_linkType = Ethernet;    // of pcap
    std::vector<Interface> m_interfaces;
    int m_packets = 0;
};

#endif
