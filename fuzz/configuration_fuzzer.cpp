// The reader of configurations, and the commands of a control connection: any text, and requests
// in between.

#include "fuzztarget.h"

#include <korvinsimulator/configureddevice.h>

#include <QtCore/QRegularExpression>

using namespace KorvinInspect;
using namespace KorvinSimulator;

namespace {

/// Expects that what a device saves is read to the same device.
void expectSame(const ConfiguredDevice &device)
{
    const QJsonObject saved = configurationOf({&device});
    std::vector<ConfiguredDevice> again;
    EXPECT_EQ(readConfiguration(QJsonDocument(saved).toJson(), {}, &again).toStdString(), "");
    ASSERT_EQ(again.size(), 1U);
    EXPECT_EQ(configurationOf({&again[0]}), saved);
}

/// Carries out a line: a command, or a record of a data request.
void play(ConfiguredDevice &device, const QByteArray &line)
{
    if (line.startsWith('{')) {
        const QJsonObject answer = device.control(QJsonDocument::fromJson(line).object());
        observe(QJsonDocument(answer).toJson());
        return;
    }
    const ClassId classId = line.contains(",write,") ? ClassId::PackageRequestWriteData
                                                     : ClassId::PackageRequestReadData;
    const DeviceAnswer answer = device.answer(line, classId, Form::Text);
    EXPECT_GE(answer.answer.delay, 0);
    for (const QByteArray &reply : answer.answer.replies)
        observe(reply);
}

} // namespace

/// Qt 5's parser of JSON leaks the first of two members with the same name.
extern "C" const char *__lsan_default_suppressions()
{
    return "leak:libQt5Core";
}

extern "C" int LLVMFuzzerTestOneInput(const quint8 *bytes, std::size_t size)
{
    constexpr int MostLines = 50;
    FuzzInput input(bytes, size);
    // The configuration ends with a zero byte; lines follow.
    const QByteArray all = input.rest();
    const int end = static_cast<int>(all.indexOf('\0'));
    std::vector<ConfiguredDevice> devices;
    const QString fault = readConfiguration(end < 0 ? all : all.left(end), {}, &devices);
    observe(fault.toUtf8());
    if (!fault.isEmpty()) {
        static const QRegularExpression place(QStringLiteral("^\\d+:\\d+: "));
        EXPECT_TRUE(place.match(fault).hasMatch()) << fault.toStdString();
        EXPECT_TRUE(devices.empty());
        return 0;
    }
    const QList<QByteArray> lines = end < 0 ? QList<QByteArray>() : all.mid(end + 1).split('\n');
    for (ConfiguredDevice &device : devices) {
        int time = 0;
        for (const QByteArray &line : lines.mid(0, MostLines)) {
            device.setTime(std::chrono::milliseconds(time += 100));
            play(device, line);
        }
        expectSame(device);
    }
    return 0;
}
