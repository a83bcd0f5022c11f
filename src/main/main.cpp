#include <cstring>
#include <exception>

#include <QCoreApplication>
#include <QString>

#include "app/app.h"
#include "common/log.h"
#include "common/processflags.h"
#include "main/startapplication.h"
#include "platform/crashhandler.h"

int main(int argc, char *argv[])
{
    // First of all: every log line carries it.
    applicationPid = QCoreApplication::applicationPid();
    QCoreApplication::setAttribute(Qt::AA_DontCreateNativeWidgetSiblings, true);
    platform::installCrashHandler();

    for (int i = 0; i < argc; ++i) {
        if (std::strcmp(argv[i], "--AutoStart") == 0)
            isAutoStart = true;
        else if (std::strcmp(argv[i], "--schtask") == 0)
            isSchTask = true;
    }

    int exitCode = 0;
    try {
        exitCode = startApplication(argc, argv);
    } catch (const std::exception &e) {
        logException(QString::fromUtf8(e.what()));
        throw;
    } catch (...) {
        logException();
        throw;
    }
    // Static objects are left alone: the worker threads still run.
    App::endProcess(exitCode);
}
