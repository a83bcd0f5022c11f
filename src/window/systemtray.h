#pragma once

#include <QSystemTrayIcon>

class MainWindow;

// The program's icon in the notification area: a click brings the usually
// hidden main window back, the right button offers the one way to quit.
class SystemTray : public QSystemTrayIcon
{
    Q_OBJECT
public:
    // Not shown here: the main window shows it once the event loop runs.
    explicit SystemTray(MainWindow *parent);

signals:
    // Connected by the main window but not emitted in this version.
    void iconActivedSignal();

public slots:
    void onIconActivated(QSystemTrayIcon::ActivationReason reason);

private:
    void showContextMenu();
};
