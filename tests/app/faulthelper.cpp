// An event loop under the exception net and the crash handler, where one slot goes wrong.
// Usage: faulthelper <log folder> segv|abort|throw|unknown|fatal|none <dump folder>
#include <cstdlib>
#include <stdexcept>
#include <sys/resource.h>

#include <QApplication>
#include <QTimer>

#include "app/applicationexceptionhandler.h"
#include "common/log.h"
#include "common/processflags.h"
#include "platform/crashhandler.h"

static volatile int *volatile nowhere = nullptr; // out of the optimiser's sight: the fault happens

int main(int argc, char *argv[])
{
    if (argc != 4)
        return 2;
    // The test looks at our own dump, not at a system core file.
    const rlimit noCore{0, 0};
    setrlimit(RLIMIT_CORE, &noCore);
    applicationPid = QCoreApplication::applicationPid();
    platform::installCrashHandler();
    qInstallMessageHandler(messageHandlerForQt5);
    ApplicationExceptionHandler<QApplication> application(argc, argv);
    initLog(LogDebug, QString::fromLocal8Bit(argv[1]));
    platform::setCrashDumpDirectory(QString::fromLocal8Bit(argv[3]));
    platform::setCrashLogFile(logFilePath());

    QTimer::singleShot(0, qApp, [mode = QByteArray(argv[2])] {
        if (mode == "segv")
            *nowhere = 1;
        else if (mode == "abort")
            std::abort();
        else if (mode == "throw")
            throw std::runtime_error("broken slot");
        else if (mode == "unknown")
            throw 42;
        else if (mode == "fatal")
            qFatal("fatal in slot %d", 7);
        QCoreApplication::exit(5);
    });
    const int exitCode = QApplication::exec();
    LOG_INFO(QStringLiteral("loop ended with %1").arg(exitCode));
    return exitCode;
}
