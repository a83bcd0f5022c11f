#pragma once

class QApplication;

// The whole start in its fixed order, then the event loop; returns the exit
// code. Exceptions are left to the caller.
int startApplication(int &argc, char **argv);

// The application object with the settings, the log and the single-instance
// lock in place. Ends the process with exit code 0 when another instance
// holds the lock.
QApplication *createGuiApplication(int &argc, char **argv);
