#include "common/log.h"

#include <cstdio>
#include <cstdlib>
#include <exception>

#include <QDateTime>
#include <QFile>
#include <QMutex>
#include <QMutexLocker>

#include "common/exceptionqtfatal.h"
#include "common/processflags.h"

int logLevel = LogDebug;

namespace {
// Never destroyed: the worker threads are not stopped at exit and may still
// log while static objects are being torn down.
QString &logFileName()
{
    static auto *name = new QString;
    return *name;
}

QMutex &logMutex()
{
    static auto *mutex = new QMutex;
    return *mutex;
}

constexpr qint64 kMaxLogSize = 0x1000000; // 16 MiB

const char *levelTag(int level)
{
    switch (level) {
    case LogError:
        return "error  ";
    case LogWarning:
        return "warning";
    case LogInfo:
        return "info   ";
    case LogDebug:
        return "debug  ";
    default:
        return "unknown";
    }
}

std::terminate_handler previousTerminate = nullptr;

// qFatal is noexcept in Qt 6, so the ExceptionQtFatal thrown by the message
// handler cannot unwind to the event loop's net and lands here instead. It
// still ends as the net would: an "Exception: " line and exit code 1, not an
// abort. The event at hand cannot be finished, so the process ends at once.
[[noreturn]] void onTerminate()
{
    if (std::exception_ptr current = std::current_exception()) {
        try {
            std::rethrow_exception(current);
        } catch (const ExceptionQtFatal &e) {
            logException(QString::fromUtf8(e.what()));
            std::_Exit(1);
        } catch (...) {
        }
    }
    if (previousTerminate)
        previousTerminate();
    std::abort();
}

void writeLog(const QByteArray &bytes)
{
    QMutexLocker locker(&logMutex());
    if (logFileName().isEmpty())
        return;
    // Opened and closed per line, so every finished line is on disk at once.
    QFile file(logFileName());
    if (!file.open(QIODevice::Append))
        return;
    file.write(bytes);
    file.close();
}
} // namespace

void initLog(int level, const QString &directory)
{
    logLevel = level;
    QMutexLocker locker(&logMutex());
    logFileName() = directory + QStringLiteral("/vorlik.log");
    QFile file(logFileName());
    if (file.size() > kMaxLogSize && file.open(QIODevice::WriteOnly | QIODevice::Truncate))
        file.close();
}

QString logFilePath()
{
    QMutexLocker locker(&logMutex());
    return logFileName();
}

QString logMessage(int level, const char *file, int line, const char *function, const QString &text)
{
    Q_UNUSED(file)
    Q_UNUSED(line)
    Q_UNUSED(function)
    QString message = QString::fromLatin1(levelTag(level)) +
                      QDateTime::currentDateTime().toString(QStringLiteral(" [yyyy-MM-dd hh:mm:ss.zzz] ")) +
                      QStringLiteral(" [%1] ").arg(applicationPid) + text + QLatin1Char('\n');
    // Errors and warnings stand apart in the file.
    if (level == LogError || level == LogWarning)
        message += QLatin1Char('\n');
    writeLog(message.toUtf8());
    return message;
}

void logException(const QString &text)
{
    if (logLevel >= LogError)
        logMessage(LogError, __FILE__, __LINE__, "logException", QStringLiteral("Exception: ") + text);
}

void messageHandlerForQt5(QtMsgType type, const QMessageLogContext &context, const QString &message)
{
    QString msg = message;
    if (context.file && *context.file)
        msg += QStringLiteral(" (%1:%2, %3)")
                   .arg(QString::fromUtf8(context.file), QString::number(context.line),
                        QString::fromUtf8(context.function ? context.function : ""));

    const char *typeName = "QtDebug";
    int level = LogDebug;
    switch (type) {
    case QtDebugMsg:
        break;
    case QtInfoMsg:
        typeName = "QtInfo";
        level = LogInfo;
        break;
    case QtWarningMsg:
        typeName = "QtWarning";
        level = LogWarning;
        break;
    case QtCriticalMsg:
        typeName = "QtCritical";
        level = LogWarning;
        break;
    case QtFatalMsg:
        typeName = "QtFatal";
        level = LogError;
        break;
    }

    if (logLevel >= level) {
        const QString text = QStringLiteral("[%1] %3: %2")
                                 .arg(QString::fromUtf8(context.category ? context.category : ""), msg,
                                      QString::fromLatin1(typeName));
        const QString line = logMessage(level, __FILE__, __LINE__, "messageHandlerForQt5", text);
        // Before the log file exists (no display, bad arguments) Qt's own
        // complaints would vanish; the terminal is the only place left.
        if (logFilePath().isEmpty())
            std::fputs(line.toLocal8Bit().constData(), stderr);
    }
    if (type == QtFatalMsg) {
        static const bool terminateInstalled = [] {
            previousTerminate = std::set_terminate(onTerminate);
            return true;
        }();
        Q_UNUSED(terminateInstalled)
        throw ExceptionQtFatal(message.toUtf8());
    }
}
