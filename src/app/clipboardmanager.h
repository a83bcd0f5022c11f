#pragma once

#include "app/app.h"

#include <QObject>

class MainWindow;
class QWidget;

// The top object of the program: holds the application object, builds the
// main window, decides whether it shows at start, and writes back to the
// clipboard.
class ClipBoardManager : public QObject, public App
{
    Q_OBJECT
public:
    explicit ClipBoardManager(QCoreApplication *application);
    ~ClipBoardManager() override;

    MainWindow *mainWindow() const { return mainWnd; }

    // Whether the window shows at start, from elevation, "--schtask",
    // "--AutoStart" and the stored "SettingAutoStart".
    static bool shouldShowAtStart(bool elevated, bool schTask, bool autoStart, bool parentAutoStart);

private:
    QWidget *windowParent = nullptr;
    MainWindow *mainWnd = nullptr;
};

extern ClipBoardManager *clipBoardManager;
