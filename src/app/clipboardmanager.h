#pragma once

#include "app/app.h"

#include <QObject>

class ClipboardWriter;
class MainWindow;
class QWidget;

// The top object of the program: holds the application object, builds the
// main window, decides whether it shows at start, and owns the writer that
// puts history items back on the clipboard.
class ClipBoardManager : public QObject, public App
{
    Q_OBJECT
public:
    explicit ClipBoardManager(QCoreApplication *application);
    ~ClipBoardManager() override;

    MainWindow *mainWindow() const { return mainWnd; }

    // Every write back to the clipboard, and the paste; the lists and the
    // window use it directly.
    ClipboardWriter *clipboardWriter() const { return writer; }

    // Whether the window shows at start, from elevation, "--schtask",
    // "--AutoStart" and the stored "SettingAutoStart".
    static bool shouldShowAtStart(bool elevated, bool schTask, bool autoStart, bool parentAutoStart);

protected:
    void releaseBeforeQuit() override;

private:
    QWidget *windowParent = nullptr;
    MainWindow *mainWnd = nullptr;
    ClipboardWriter *writer = nullptr;
};

extern ClipBoardManager *clipBoardManager;
