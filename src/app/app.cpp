#include "app/app.h"

#include <cstdio>
#include <cstdlib>

#include <QCoreApplication>

#include "common/log.h"
#include "common/processflags.h"
#include "common/setting.h"

#ifdef VORLIK_COVERAGE
extern "C" void __gcov_dump();
#endif

App::App(QCoreApplication *application) : application(application)
{
    // The application object is the context: the connection goes with it.
    QObject::connect(application, &QCoreApplication::aboutToQuit, application, [this] { exit(0); });
}

App::~App()
{
    QCoreApplication::processEvents();
    exit(0);
    delete application;
}

int App::exec()
{
    if (closed) {
        QCoreApplication::processEvents();
        return exitCode;
    }
    started = true;
    return QCoreApplication::exec();
}

void App::exit(int exitCode)
{
    LOG_INFO(QStringLiteral("exitCode %1 wasColsed %2 started %3")
                 .arg(QString::number(exitCode), QString::number(closed), QString::number(started)));

    // Written on every call: the elevated instance started by the scheduled
    // task reads it to tell a login start from a start by hand.
    Setting::instance().setParentAutoStart(isAutoStart);
    Setting::instance().sync();

    if (closed)
        return;
    if (!started)
        endProcess(exitCode);

    this->exitCode = exitCode;
    closed = true;
    releaseBeforeQuit();
    QCoreApplication::exit(exitCode);
}

void App::endProcess(int exitCode)
{
    std::fflush(nullptr);
#ifdef VORLIK_COVERAGE
    // _Exit skips the exit hook that writes the coverage counters.
    __gcov_dump();
#endif
    std::_Exit(exitCode);
}
