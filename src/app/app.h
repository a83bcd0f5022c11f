#pragma once

class QCoreApplication;

// Base of the application's top object: owns the application object and the
// orderly end. A first exit() stores "SettingAutoStart", drops the tray icon
// and ends the loop; later calls only store the setting again.
class App
{
public:
    explicit App(QCoreApplication *application);
    virtual ~App();

    virtual void exit(int exitCode);
    int exec();

protected:
    // Called once, on the first exit of a running loop, before it ends.
    virtual void releaseTray() {}

    QCoreApplication *application;
    int exitCode = 0;
    bool started = false;
    bool closed = false;
};
