#include "platform/terminationhandler.h"

#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <unistd.h>

#include <QObject>
#include <QSocketNotifier>

namespace {
constexpr int kTerminationSignals[] = {SIGTERM, SIGINT, SIGHUP};

// The self-pipe: the handler may only write(2), the loop reads.
int pipeFds[2] = {-1, -1};

void onSignal(int signal)
{
    const int savedErrno = errno;
    const unsigned char byte = static_cast<unsigned char>(signal);
    // A full pipe already holds a pending request; losing this one is fine.
    [[maybe_unused]] const ssize_t written = ::write(pipeFds[1], &byte, 1);
    errno = savedErrno;
}
} // namespace

namespace platform {

void installTerminationHandler(QObject *context, std::function<void(int signal)> onRequest)
{
    if (pipeFds[0] >= 0)
        return;
    if (::pipe2(pipeFds, O_CLOEXEC | O_NONBLOCK) != 0) {
        pipeFds[0] = pipeFds[1] = -1;
        return;
    }

    auto *notifier = new QSocketNotifier(pipeFds[0], QSocketNotifier::Read, context);
    QObject::connect(notifier, &QSocketNotifier::activated, context, [onRequest = std::move(onRequest)] {
        unsigned char byte = 0;
        int last = 0;
        // Drain everything so that a burst of signals makes one request.
        while (::read(pipeFds[0], &byte, 1) == 1)
            last = byte;
        if (last != 0)
            onRequest(last);
    });

    struct sigaction action
    {
    };
    action.sa_handler = onSignal;
    action.sa_flags = SA_RESTART;
    sigemptyset(&action.sa_mask);
    for (const int signal : kTerminationSignals)
        ::sigaction(signal, &action, nullptr);
}

} // namespace platform
