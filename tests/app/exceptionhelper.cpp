// Runs an event loop under the exception net, where one slot goes wrong.
// Usage: exceptionhelper <log folder> throw|unknown|fatal|none
#include <cstdio>
#include <cstring>
#include <stdexcept>

#include <QApplication>
#include <QTimer>

#include "app/applicationexceptionhandler.h"
#include "common/log.h"
#include "common/processflags.h"

int main(int argc, char *argv[])
{
    if (argc != 3) {
        std::fprintf(stderr, "usage: exceptionhelper <log folder> throw|unknown|fatal|none\n");
        return 2;
    }
    applicationPid = QCoreApplication::applicationPid();
    qInstallMessageHandler(messageHandlerForQt5);
    ApplicationExceptionHandler<QApplication> application(argc, argv);
    initLog(LogDebug, QString::fromLocal8Bit(argv[1]));

    const QByteArray mode = argv[2];
    QTimer::singleShot(0, static_cast<QApplication *>(&application), [mode] {
        if (mode == "throw")
            throw std::runtime_error("broken slot");
        if (mode == "unknown")
            throw 42;
        if (mode == "fatal")
            qFatal("fatal in slot %d", 7);
        QCoreApplication::exit(5);
    });
    const int exitCode = QApplication::exec();
    LOG_INFO(QStringLiteral("loop ended with %1").arg(exitCode));
    return exitCode;
}
