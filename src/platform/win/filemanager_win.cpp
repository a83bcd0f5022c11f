#include "platform/filemanager.h"

#include <QDir>
#include <QProcess>

namespace platform {

void showFileInFolder(const QString &filePath)
{
    // Explorer reads "/select," and the path as one switch; it opens the
    // folder with the file selected.
    QProcess::startDetached(QStringLiteral("explorer"),
                            {QStringLiteral("/select,"), QDir::toNativeSeparators(filePath)});
}

void openFolder(const QString &folderPath)
{
    QProcess::startDetached(QStringLiteral("explorer"), {QDir::toNativeSeparators(folderPath)});
}

} // namespace platform
