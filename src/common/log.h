#pragma once

#include <QString>

enum LogLevel : int {
    LogError = 0,
    LogWarning = 1,
    LogInfo = 2,
    LogDebug = 3,
};

// Messages above this level are dropped. Set once by initLog, read without a lock.
extern int logLevel;

// Stores the level and the file name (<directory>/vorlik.log), and empties a
// log that has grown past 16 MiB.
void initLog(int level, const QString &directory);
QString logFilePath();

// Formats one line, appends it to the log file and returns it. Callers go
// through the LOG_* macros, which test the level before building any text.
QString logMessage(int level, const char *file, int line, const char *function, const QString &text);

// The Qt message handler: routes qDebug/qWarning/... into the log; a fatal
// message throws ExceptionQtFatal instead of aborting.
void messageHandlerForQt5(QtMsgType type, const QMessageLogContext &context, const QString &message);

// Logs "Exception: <text>" at error level.
void logException(const QString &text = QString());

#define LOG_AT(level, text)                                                                                  \
    do {                                                                                                     \
        if (logLevel >= (level))                                                                             \
            logMessage((level), __FILE__, __LINE__, __func__, (text));                                       \
    } while (false)

#define LOG_ERROR(text) LOG_AT(LogError, text)
#define LOG_WARNING(text) LOG_AT(LogWarning, text)
#define LOG_INFO(text) LOG_AT(LogInfo, text)
#define LOG_DEBUG(text) LOG_AT(LogDebug, text)
