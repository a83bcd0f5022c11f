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

    // Ends the process at once. No static destructor runs: the worker
    // threads are never stopped and may still be busy.
    [[noreturn]] static void endProcess(int exitCode);

protected:
    // Runs once, right before the event loop is told to end.
    virtual void releaseBeforeQuit() {}

    QCoreApplication *application;
    int exitCode = 0;
    bool started = false;
    bool closed = false;
};
