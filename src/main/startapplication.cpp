#include "main/startapplication.h"

#include <QApplication>
#include <QDir>
#include <QFont>
#include <QIcon>
#include <QLockFile>
#include <QStringList>
#include <QThread>
#include <QTranslator>
#include <QWidget>

#include "app/applicationexceptionhandler.h"
#include "app/clipboardmanager.h"
#include "app/ipcclient.h"
#include "app/ipcserver.h"
#include "app/metatypes.h"
#include "app/storagewiring.h"
#include "common/datadirectory.h"
#include "common/historysettings.h"
#include "common/log.h"
#include "common/processflags.h"
#include "common/setting.h"
#include "frame/titlebar.h"
#include "ocr/ocrmanager.h"
#include "platform/crashhandler.h"
#include "platform/terminationhandler.h"
#include "storage/sqlmanager.h"
#include "window/mainwindow.h"

namespace {
// Held for the whole life of the process; never deleted.
QLockFile *lockFile = nullptr;
} // namespace

QApplication *createGuiApplication(int &argc, char **argv)
{
    auto *application = new ApplicationExceptionHandler<QApplication>(argc, argv);

    const QString dataFolder = dataDirectory();
    Setting::instance().init(dataFolder);
    HistorySettings::seedDefaults(Setting::instance().settings());
    QApplication::setWindowIcon(QIcon(QStringLiteral(":/images/icons/vorlik.ico")));
    QApplication::setQuitOnLastWindowClosed(false);

    initLog(LogDebug, dataFolder);
    if (dataDirectoryIsFallback())
        LOG_INFO(QStringLiteral("data folder %1 (per-user fallback, the program folder is not writable)")
                     .arg(dataFolder));
    else
        LOG_INFO(QStringLiteral("data folder %1").arg(dataFolder));
    platform::setCrashDumpDirectory(dataFolder);
    platform::setCrashLogFile(logFilePath());

    // A native top-level window that is never shown, so that the process
    // owns a window of its own from the start.
    auto *hiddenWindow = new QWidget();
    hiddenWindow->winId();

    const QString configFolder = dataFolder + QStringLiteral("/config/");
    QDir configDir(configFolder);
    if (!configDir.exists()) {
        configDir.mkpath(QStringLiteral("."));
        LOG_INFO(QStringLiteral("create folder %1").arg(configFolder));
    }

    lockFile = new QLockFile(configFolder + QStringLiteral("vorlik") + QStringLiteral(".lock"));
    if (lockFile->tryLock(0))
        return application;

    LOG_WARNING(QStringLiteral("fail to lock file"));
    // Tell the running copy, so that the user learns why nothing opened.
    ipcClient->sendCommand(1);
    App::endProcess(0);
}

int startApplication(int &argc, char **argv)
{
    qInstallMessageHandler(messageHandlerForQt5);
    if (qEnvironmentVariableIsEmpty("QT_AUTO_SCREEN_SCALE_FACTOR"))
        qputenv("QT_AUTO_SCREEN_SCALE_FACTOR", "1");
    QThread::currentThread()->setObjectName(QStringLiteral("main"));
    registerMetaTypes();

    // Both before the application object: the client's connection is what a
    // second copy sends through when the lock fails.
    ipcClient = new IPCCLient();
    ipcServer = new IPCServer();

    QApplication *application = createGuiApplication(argc, argv);

    // Logout and `kill` end the program through the normal exit path, so
    // that the exit settings are written.
    platform::installTerminationHandler(application, [](int signal) {
        LOG_INFO(QStringLiteral("quit on signal %1").arg(signal));
        QCoreApplication::exit(0);
    });

    TitleBar::loadStyleSheet(
        {QStringLiteral(":/css/qss/css/titleBar.qss"), QStringLiteral(":/css/qss/css/tabbar.qss"),
         QStringLiteral(":/css/qss/css/config.qss"), QStringLiteral(":/css/qss/css/global.qss")});

    auto *translator = new QTranslator(application);
    const bool translatorLoaded = translator->load(QStringLiteral(":/translations/qt_zh_cn.qm"));
    LOG_INFO(QStringLiteral("load succ %1 after translate %2")
                 .arg(int(translatorLoaded))
                 .arg(translator->translate("QKeySequenceEdit", "Press shortcut")));
    QCoreApplication::installTranslator(translator);

    QFont font;
    font.setFamily(QStringLiteral("Microsoft YaHei"));
    QApplication::setFont(font);

    clipBoardManager = new ClipBoardManager(application);

    sqlManager = new SqlManager(dataDirectory() + QStringLiteral("/vorlik.db"));
    connectStorage(sqlManager, clipBoardManager->mainWindow());
    sqlManager->initThread();

    ocrManager = new OcrManager();
    ocrManager->start(clipBoardManager->mainWindow()->clipboardModel());

    LOG_INFO(QStringLiteral("start exec app pid %1").arg(applicationPid));
    const int exitCode = clipBoardManager->exec();

    // The database thread is never stopped and may still be inside its
    // connection, which the application object's clean-up would close under
    // it. So nothing is torn down: the process ends with everything in place,
    // only the lock is handed back so that no stale file stays behind.
    lockFile->unlock();
    return exitCode;
}
