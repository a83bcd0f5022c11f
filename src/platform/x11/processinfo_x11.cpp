#include "platform/processinfo.h"

#include <cerrno>

#include <QByteArray>
#include <QFile>

#include <sys/stat.h>
#include <unistd.h>

namespace platform {

namespace {

QByteArray procPath(ProcessId pid, const char *entry)
{
    return QByteArray("/proc/") + QByteArray::number(pid) + entry;
}

} // namespace

bool isProcessElevated()
{
    return geteuid() == 0;
}

ProcessId currentProcessId()
{
    return getpid();
}

bool executablePath(ProcessId pid, QString &path, PathError *error)
{
    auto fail = [error](PathError why) {
        if (error)
            *error = why;
        return false;
    };
    if (pid <= 0)
        return fail(PathError::OpenFailed);

    const QByteArray link = procPath(pid, "/exe");
    char buffer[4096];
    const ssize_t length = readlink(link.constData(), buffer, sizeof(buffer));
    if (length < 0) {
        const int readError = errno;
        struct stat info;
        // A process of another user cannot be looked into, a vanished one not
        // at all; a process without an executable is still there.
        if (readError == EACCES || readError == EPERM || stat(procPath(pid, "").constData(), &info) != 0)
            return fail(PathError::OpenFailed);
        return fail(PathError::PathFailed);
    }
    if (length == 0 || static_cast<size_t>(length) >= sizeof(buffer))
        return fail(PathError::PathFailed);

    QString result = QFile::decodeName(QByteArray(buffer, static_cast<int>(length)));
    // An executable replaced or removed since it started is still the program
    // the user knows by that path.
    static const QString deletedSuffix = QStringLiteral(" (deleted)");
    if (result.endsWith(deletedSuffix))
        result.chop(deletedSuffix.size());
    path = result;
    if (error)
        *error = PathError::None;
    return true;
}

ProcessId parentProcessId(ProcessId pid)
{
    if (pid <= 0)
        return 0;
    QFile stat(QString::fromLatin1(procPath(pid, "/stat")));
    if (!stat.open(QIODevice::ReadOnly))
        return 0;
    // "pid (comm) state ppid ...": comm may hold spaces and parentheses, so
    // the fields are counted from the last ')'.
    const QByteArray line = stat.readAll();
    const int close = line.lastIndexOf(')');
    if (close < 0)
        return 0;
    const QList<QByteArray> fields = line.mid(close + 1).simplified().split(' ');
    if (fields.size() < 2)
        return 0;
    bool ok = false;
    const ProcessId parent = fields.at(1).toLongLong(&ok);
    return ok ? parent : 0;
}

} // namespace platform
