#include "deviceprogram.h"

#include "arguments.h"
#include "controlserver.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QDir>
#include <QtCore/QFileInfo>
#include <QtCore/QJsonDocument>
#include <QtCore/QTemporaryFile>

#include <cerrno>
#include <cstring>
#include <unistd.h>

using namespace KorvinSimulator;

namespace {

constexpr qint64 MostOfAFile = 16777216; // a file of a device
constexpr qint64 MostOfAConfiguration = 1073741824;

QString readWhole(const QString &fileName, qint64 most, QByteArray *contents)
{
    QFile file(fileName);
    if (!file.open(QIODevice::ReadOnly))
        return file.errorString();
    *contents = file.read(most + 1);
    if (file.error() != QFileDevice::NoError)
        return file.errorString();
    return contents->size() > most ? QStringLiteral("more than %1 MiB").arg(most >> 20) : QString();
}

QString cannotWrite(const QFileDevice &file)
{
    return QStringLiteral("cannot write %1: %2").arg(file.fileName(), file.errorString());
}

QString systemError()
{
    return QString::fromLocal8Bit(std::strerror(errno));
}

QJsonObject error(const QString &fault)
{
    return {{QStringLiteral("error"), fault}};
}

} // namespace

QString loadDevices(const QString &fileName, std::vector<ConfiguredDevice> *devices)
{
    QByteArray json;
    QString fault = readWhole(fileName, MostOfAConfiguration, &json);
    if (!fault.isEmpty())
        return fileName + QLatin1String(": ") + fault;
    const QDir folder = QFileInfo(fileName).absoluteDir();
    const auto readFile = [&](const QString &name, QByteArray *contents) {
        const QString wrong = readWhole(folder.absoluteFilePath(name), MostOfAFile, contents);
        return wrong.isEmpty() ? wrong : name + QLatin1String(": ") + wrong;
    };
    fault = readConfiguration(json, readFile, devices);
    return fault.isEmpty() ? fault : fileName + QLatin1Char(':') + fault;
}

QString replaceFile(const QString &fileName, const QByteArray &contents)
{
    const QFileInfo info(fileName);
    if (info.exists() && !info.isFile()) { // a pipe, for example
        QFile file(fileName);
        const bool isWritten = file.open(QIODevice::WriteOnly | QIODevice::Unbuffered)
            && file.write(contents) == contents.size();
        return isWritten ? QString() : cannotWrite(file);
    }
    // QSaveFile would replace the file even if only a part of the new one could be written.
    QTemporaryFile file(fileName + QLatin1String(".XXXXXX"));
    constexpr auto Usual = QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ReadGroup
        | QFileDevice::ReadOther;
    const QByteArray name = QFile::encodeName(fileName);
    const bool isWritten = file.open() && file.write(contents) == contents.size() && file.flush()
        && file.size() == contents.size() && ::fsync(file.handle()) == 0
        && file.setPermissions(info.exists() ? info.permissions() : Usual)
        && ::rename(QFile::encodeName(file.fileName()).constData(), name.constData()) == 0;
    if (!isWritten)
        return QStringLiteral("cannot write %1: %2").arg(fileName, systemError());
    file.setAutoRemove(false);
    return {};
}

DeviceProgram::DeviceProgram(const ProgramOptions &options, RequestLog *log)
    : m_options(options)
    , m_log(log)
{
    std::vector<ConfiguredDevice> devices;
    if (options.configuration.isEmpty())
        devices.emplace_back();
    const QString fault =
        options.configuration.isEmpty() ? QString() : loadDevices(options.configuration, &devices);
    if (!fault.isEmpty())
        fail(fault);
    if (devices.size() > 1 && !options.endpoints.empty())
        fail(QStringLiteral("%1 has several devices: \"listen\" says there where each listens")
                 .arg(options.configuration));
    for (ConfiguredDevice &device : devices)
        m_servers.push_back(new DeviceServer(adjusted(std::move(device)), log, this));
    if (options.recording.isEmpty())
        return;
    const QString broken = m_recording.read(options.recording);
    if (!broken.isEmpty())
        fail(broken);
    m_servers.front()->setRecording(&m_recording);
}

/// Returns a device with what the command line says.
ConfiguredDevice DeviceProgram::adjusted(ConfiguredDevice device) const
{
    if (m_options.seed)
        device.setSeed(*m_options.seed);
    if (m_options.faults > 0)
        device.addFaults(m_options.faults);
    return device;
}

void DeviceProgram::start()
{
    for (DeviceServer *server : m_servers) {
        std::vector<Endpoint> endpoints = m_options.endpoints;
        if (endpoints.empty())
            endpoints = server->device().endpoints();
        if (endpoints.empty()) {
            endpoints.push_back({QStringLiteral("tcp"), QStringLiteral("127.0.0.1"), 0, 0,
                                 QStringLiteral("prefix")});
        }
        const QString fault = server->open(endpoints);
        if (!fault.isEmpty())
            fail(fault);
    }
    auto *control =
        new ControlServer([this](const QJsonObject &command) { return carryOut(command); }, this);
    control->open(m_options.control);
}

void DeviceProgram::announce() const
{
    for (DeviceServer *server : m_servers) {
        const QString name = server->device().name();
        for (const QString &address : server->addresses()) {
            print(QStringLiteral("korvin-device: %1listening on %2\n")
                      .arg(name.isEmpty() ? name : name + QLatin1String(": "), address));
        }
    }
}

QString DeviceProgram::reload()
{
    if (m_options.configuration.isEmpty())
        return QStringLiteral("there is no configuration to read again");
    std::vector<ConfiguredDevice> devices;
    QString fault = loadDevices(m_options.configuration, &devices);
    if (!fault.isEmpty())
        return fault;
    if (devices.size() != m_servers.size()) {
        return QStringLiteral("%1: there are %2 devices, not %3")
            .arg(m_options.configuration)
            .arg(devices.size())
            .arg(m_servers.size());
    }
    for (std::size_t i = 0; i < devices.size(); ++i)
        m_servers[i]->replace(adjusted(std::move(devices[i])));
    return {};
}

QString DeviceProgram::save(const QString &fileName)
{
    const QString name = fileName.isEmpty() ? m_options.saved : fileName;
    if (name.isEmpty())
        return QStringLiteral("file: missing, as there is no --save");
    std::vector<const ConfiguredDevice *> devices;
    for (DeviceServer *server : m_servers)
        devices.push_back(&server->device());
    const QByteArray json = QJsonDocument(configurationOf(devices)).toJson();
    return replaceFile(name, json);
}

DeviceServer *DeviceProgram::named(const QString &name) const
{
    for (DeviceServer *server : m_servers) {
        if (server->device().name() == name || (name.isEmpty() && m_servers.size() == 1))
            return server;
    }
    return nullptr;
}

QJsonObject DeviceProgram::addresses() const
{
    QJsonArray all;
    for (const DeviceServer *server : m_servers) {
        for (const QString &address : server->addresses())
            all.append(address);
    }
    return {{QStringLiteral("addresses"), all}};
}

/// Carries out a command of those that a recording has an answer to.
QJsonObject DeviceProgram::replayed(const QString &word) const
{
    if (word != QLatin1String("statistics")) {
        return error(
            QStringLiteral("%1: not during a replay; statistics, addresses or quit expected")
                .arg(word));
    }
    return {{QStringLiteral("connections"), m_servers.front()->connections()},
            {QStringLiteral("unknown"), m_recording.unknown()},
            {QStringLiteral("unknownRequests"),
             QJsonArray::fromStringList(m_recording.unknownRequests())}};
}

QJsonObject DeviceProgram::carryOut(const QJsonObject &command)
{
    const QString word = command.value(QLatin1String("command")).toString();
    QString fault;
    if (word == QLatin1String("addresses"))
        return addresses();
    if (word == QLatin1String("quit")) {
        QCoreApplication::quit();
        return {};
    }
    if (!m_options.recording.isEmpty())
        return replayed(word);
    if (word == QLatin1String("save") || word == QLatin1String("reload")) {
        fault = word == QLatin1String("reload")
            ? reload()
            : save(command.value(QLatin1String("file")).toString());
        return fault.isEmpty() ? QJsonObject() : error(fault);
    }
    DeviceServer *server = named(command.value(QLatin1String("device")).toString());
    if (!server)
        return error(QStringLiteral("device: no device has this name"));
    QJsonObject ofDevice = command;
    ofDevice.remove(QStringLiteral("device"));
    QJsonObject result = server->device().control(ofDevice);
    if (word == QLatin1String("statistics"))
        result.insert(QStringLiteral("connections"), server->connections());
    return result;
}
