#ifndef DEVICE_DEVICEPROGRAM_H
#define DEVICE_DEVICEPROGRAM_H

#include "deviceserver.h"

#include <QtCore/QJsonObject>

#include <optional>

/// What the command line says.
struct ProgramOptions
{
    QString configuration;                            ///< A file; empty for a device without units.
    QString saved;                                    ///< A file; empty where nothing is saved.
    QString control;                                  ///< A socket; empty for none.
    QString recording;                                ///< A file that answers; empty for none.
    std::vector<KorvinSimulator::Endpoint> endpoints; ///< Instead of those of the configuration.
    double faults = 0;
    std::optional<quint32> seed;
};

/// Reads a configuration file, and the files that it names, which are beside it.
///
/// @return what is wrong; empty on success.
QString loadDevices(const QString &fileName,
                    std::vector<KorvinSimulator::ConfiguredDevice> *devices);

/// Writes a file as a whole: where that fails, the one before is kept.
///
/// @return what is wrong; empty on success.
QString replaceFile(const QString &fileName, const QByteArray &contents);

/// Looks at whether replaceFile() has a place to write to.
///
/// @return what is wrong; empty on success.
QString checkReplacing(const QString &fileName);

/// The devices of a configuration, and what can be done with them while they run.
class DeviceProgram : public QObject
{
    Q_OBJECT

public:
    DeviceProgram(const ProgramOptions &options, RequestLog *log);

    /// Opens all places; ends the program where that fails.
    void start();

    /// Tells where the devices listen.
    void announce() const;

    /// Reads the configuration again. Returns what is wrong; empty on success.
    QString reload();

    /// Saves all devices, by default where the command line says.
    QString save(const QString &fileName = {});

    /// Returns the recording that answers.
    const Recording &recording() const { return m_recording; }

    /// Carries out a command of a control connection.
    QJsonObject carryOut(const QJsonObject &command);

private:
    KorvinSimulator::ConfiguredDevice adjusted(KorvinSimulator::ConfiguredDevice device) const;
    DeviceServer *named(const QString &name) const;
    QJsonObject addresses() const;
    QJsonObject replayed(const QString &word) const;

    ProgramOptions m_options;
    RequestLog *m_log;
    Recording m_recording;
    std::vector<DeviceServer *> m_servers;
};

#endif
