#include "common/sourceapplication.h"

#include "common/log.h"
#include "platform/windowicon.h"
#include "platform/windowsystem.h"

bool getFrontProcessIcon(QPixmap &pixmap, QString &exePath)
{
    platform::WindowHandle window = platform::clipboardOwnerWindow();
    if (window == 0) {
        LOG_WARNING(QStringLiteral("Failed to get clipbaardowner window."));
        window = platform::foregroundWindow();
        if (window == 0) {
            LOG_WARNING(QStringLiteral("Failed to get GetForegroundWindow window."));
            return false;
        }
    }

    const platform::ProcessId pid = platform::windowProcessId(window);
    if (pid == 0) {
        LOG_WARNING(QStringLiteral("Failed to get process ID"));
        return false;
    }
    // Unmarked copies of our own (parts of an item) are attributed like any other.
    if (pid == platform::currentProcessId())
        LOG_INFO(QStringLiteral("copy own data"));

    QString path;
    if (!getPathByPid(pid, path))
        return false;

    // A terminal that only draws another program's window: credit the program
    // that started it when that is git-bash.
    if (path.indexOf(QLatin1String("mintty")) >= 0) {
        const platform::ProcessId parentPid = getParentPid(pid);
        QString parentPath;
        if (parentPid == 0)
            LOG_INFO(QStringLiteral("find ppid fail"));
        else if (!getPathByPid(parentPid, parentPath))
            LOG_ERROR(QStringLiteral("get parent path fail"));
        else if (parentPath.indexOf(QLatin1String("git-bash")) >= 0)
            path = parentPath;
    }
    exePath = path;

    QString failure;
    if (!platform::programIcon(window, path, pixmap, failure)) {
        LOG_WARNING(QStringLiteral("Failed to extract icon. %1").arg(failure));
        return false;
    }
    return true;
}

bool getPathByPid(platform::ProcessId pid, QString &path)
{
    platform::PathError error = platform::PathError::None;
    if (platform::executablePath(pid, path, &error))
        return true;
    if (error == platform::PathError::PathFailed)
        LOG_WARNING(QStringLiteral("Failed to get executable path."));
    else
        LOG_WARNING(QStringLiteral("Failed to open process."));
    return false;
}

platform::ProcessId getParentPid(platform::ProcessId pid)
{
    return platform::parentProcessId(pid);
}
