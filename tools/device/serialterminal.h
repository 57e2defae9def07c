#ifndef DEVICE_SERIALTERMINAL_H
#define DEVICE_SERIALTERMINAL_H

#include <QtCore/QIODevice>
#include <QtCore/QSocketNotifier>

#include <memory>

/// A serial device, or the end of a pseudo-terminal that it makes. Bytes pass unchanged.
class SerialTerminal : public QIODevice
{
    Q_OBJECT

public:
    /// Opens a serial device.
    ///
    /// @return null where that fails, with the reason in @p fault.
    static std::unique_ptr<SerialTerminal> openSerial(const QString &path, int baud,
                                                      QString *fault);

    /// Makes a pseudo-terminal, and a symbolic link to its other end if @p link is not empty.
    static std::unique_ptr<SerialTerminal> makePseudo(const QString &link, QString *fault);

    ~SerialTerminal() override;

    /// Returns the path for the other side.
    QString path() const { return m_path; }

    bool isSequential() const override { return true; }
    qint64 bytesAvailable() const override
    {
        return m_received.size() + QIODevice::bytesAvailable();
    }
    qint64 bytesToWrite() const override { return m_unsent.size(); }

protected:
    qint64 readData(char *data, qint64 most) override;
    qint64 writeData(const char *data, qint64 size) override;

private:
    SerialTerminal(int descriptor, const QString &path);
    void onReadable();
    void flush();

    int m_descriptor;
    int m_other = -1; ///< Keeps a pseudo-terminal while nobody else has it open.
    QString m_path;
    QString m_link;
    QByteArray m_received;
    QByteArray m_unsent;
    QSocketNotifier m_readable;
    QSocketNotifier m_writable;
};

#endif
