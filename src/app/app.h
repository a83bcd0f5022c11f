#pragma once

class QCoreApplication;

// Base of the application's top object: owns the application object and the
// orderly end. Every exit() stores "SettingAutoStart"; the first one of a
// running loop also ends it.
class App
{
public:
    explicit App(QCoreApplication *application);
    virtual ~App();

    virtual void exit(int exitCode);
    int exec();

protected:
    QCoreApplication *application;
    int exitCode = 0;
    bool started = false;
    bool closed = false;
};
