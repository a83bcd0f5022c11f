#pragma once

#include "app/app.h"
#include "item/itemdata.h"
#include "platform/windowsystem.h"

#include <QObject>

class ClipboardWriter;
class MainWindow;
class QMimeData;
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

    // Write-back and paste; the marker keeps a write out of the history.
    static QMimeData *buildMimeData(const QVariantMap &dataMap);
    void setClipBoardData(const QVariantMap &dataMap, bool marker);
    void setClipBoardText(const QString &text, bool marker);
    void setClipBoardImage(const QImage &image);
    void setClipBoardUrls(const QList<QUrl> &urls, bool marker);
    void setClipBoardMultiData(const QList<ItemData> &items);
    void sendCopyMessage(const QVariantMap &dataMap);
    void trackActiveWnd();
    platform::WindowHandle activeWnd() const;
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
