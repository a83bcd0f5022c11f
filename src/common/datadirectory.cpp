#include "common/datadirectory.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QStandardPaths>

#include "platform/processinfo.h"

namespace {
struct DataDirectoryChoice
{
    QString path;
    bool fallback = false;
};

QString executableDirectory()
{
    if (QCoreApplication::instance())
        return QCoreApplication::applicationDirPath();
    // applicationDirPath needs the application object; before it exists the
    // running executable tells the same folder.
    QString path;
    if (platform::executablePath(platform::currentProcessId(), path) && !path.isEmpty())
        return QFileInfo(path).canonicalPath();
    return QString();
}

// Really tries to create a file: permission bits do not tell about
// read-only mounts, ACLs or a full disk.
bool isWritableFolder(const QString &folder)
{
    if (folder.isEmpty() || !QFileInfo(folder).isDir())
        return false;
    QFile probe(QDir(folder).filePath(
        QStringLiteral(".vorlik-write-probe-%1").arg(QCoreApplication::applicationPid())));
    if (!probe.open(QIODevice::WriteOnly | QIODevice::NewOnly))
        return false;
    probe.close();
    probe.remove();
    return true;
}

QString perUserFolder()
{
    // Without an application name the location is the generic data folder
    // itself, which must not be filled with our files.
    QString folder = QCoreApplication::applicationName().isEmpty()
                         ? QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation) +
                               QStringLiteral("/vorlik")
                         : QStandardPaths::writableLocation(QStandardPaths::AppLocalDataLocation);
    QDir().mkpath(folder);
    return QDir::cleanPath(folder);
}

DataDirectoryChoice choose()
{
    const QString beside = executableDirectory();
    if (isWritableFolder(beside))
        return {QDir::cleanPath(beside), false};
    return {perUserFolder(), true};
}

const DataDirectoryChoice &choice()
{
    static const DataDirectoryChoice decided = choose();
    return decided;
}
} // namespace

QString dataDirectory()
{
    return choice().path;
}

bool dataDirectoryIsFallback()
{
    return choice().fallback;
}
