// A user of the installed library that has a request under way, without a device.

#include <korvinexchange/client.h>
#include <korvinexchange/packagetimerout.h>
#include <packagerequestreaddata.h>

#include <QtCore/QCoreApplication>

#include <cstdio>

using namespace KorvinExchange;

int main(int argc, char *argv[])
{
    const QCoreApplication application(argc, argv);
    Client client;
    PackageRequestReadData read;
    read.setReplyDataLength(4);
    int completed = 0;
    QObject::connect(&read, &PackageBase::CompleteRequestEvent, [&completed] { ++completed; });
    const KORVIN_LINUX_CLIENT::PackageTimerOut timer(std::chrono::seconds(10));
    const Event event = client.exchange(&read, std::chrono::milliseconds(10));
    const bool good = event.outcome == Outcome::Cancelled && completed == 1
        && describe(event) == QLatin1String("cancelled") && !timer.hasExpired();
    std::puts(good ? "exchanging consumer: ok" : "exchanging consumer: wrong");
    return good ? 0 : 1;
}
