#include "terminationsignals.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QSocketNotifier>

#include <csignal>
#include <sys/socket.h>
#include <unistd.h>

namespace {

int ends[2] = {-1, -1};

/// A signal handler may do next to nothing; to write a byte is among it.
void wakeEventLoop(int signal)
{
    const char byte = signal == SIGHUP ? 'h' : 't';
    [[maybe_unused]] const ssize_t written = ::write(ends[0], &byte, sizeof byte);
}

} // namespace

void handleTermination(const std::function<void()> &onTermination,
                       const std::function<void()> &onReload)
{
    if (::socketpair(AF_UNIX, SOCK_STREAM, 0, ends) != 0)
        qFatal("cannot make a socket pair");
    auto *notifier =
        new QSocketNotifier(ends[1], QSocketNotifier::Read, QCoreApplication::instance());
    QObject::connect(notifier, &QSocketNotifier::activated, notifier, [=] {
        char byte = 0;
        if (::read(ends[1], &byte, sizeof byte) == 1 && byte == 'h')
            return onReload();
        notifier->setEnabled(false);
        // A second signal terminates at once.
        std::signal(SIGINT, SIG_DFL);
        std::signal(SIGTERM, SIG_DFL);
        onTermination();
    });
    std::signal(SIGINT, wakeEventLoop);
    std::signal(SIGTERM, wakeEventLoop);
    if (onReload)
        std::signal(SIGHUP, wakeEventLoop);
}
