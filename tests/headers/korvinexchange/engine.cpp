#include <korvinexchange/engine.h>

#include <korvinexchange/lineframing.h>
#include <packagerequestreaddata.h>

bool korvinexchange_engine();

namespace {

using namespace KorvinExchange;
using KorvinInspect::Form;

Time now()
{
    return Time(1);
}

/// A link whose peer answers the read of one byte.
struct Transport
{
    void write(const QByteArray &bytes) { written += bytes; }
    QByteArray readAll() const
    {
        return written.isEmpty() ? QByteArray()
                                 : "1,k,0,0,0,0,0,0,0,0,read,0,,ok,ok,0,1,data,1,65\n";
    }

    QByteArray written;
};

struct Timer
{
    void start(Time duration) { started = duration; }

    Time started{0};
};

/// Runs the example of the header as it stands there.
bool runExample()
{
    Transport transport;
    LineFraming framing;
    Timer timer;
    PackageRequestReadData read;
    read.setDeviceKey(QStringLiteral("k"));
    read.setReplyDataLength(1);
    int succeeded = 0;
    const auto handle = [&](const Event &event) {
        succeeded += event.outcome == Outcome::Success ? 1 : 0;
    };
#include "korvinexchange/engine_example.inc"
    return succeeded == 1 && read.data() == "A" && timer.started == Time(0);
}

} // namespace

bool korvinexchange_engine()
{
    Engine engine;
    if (engine.takeMessage(now()) || engine.takeEvent() || engine.nextTimeout())
        return false;
    engine.receive(Form::Text, "1,2,3", now());
    return engine.counters().unknown + engine.counters().refusedReplies == 1 && runExample();
}
