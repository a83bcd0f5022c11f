#include "platform/filemanager.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QDesktopServices>
#include <QFileInfo>
#include <QUrl>

namespace platform {

namespace {

const QString kService = QStringLiteral("org.freedesktop.FileManager1");
const QString kPath = QStringLiteral("/org/freedesktop/FileManager1");
// A file manager that is started by the call itself needs a moment; beyond
// this the folder is opened instead.
constexpr int kCallTimeoutMs = 3000;

} // namespace

void showFileInFolder(const QString &filePath)
{
    const QString folder = QFileInfo(filePath).absolutePath();
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected()) {
        qWarning("no session bus, opening the folder of %s", qUtf8Printable(filePath));
        openFolder(folder);
        return;
    }
    QDBusMessage call =
        QDBusMessage::createMethodCall(kService, kPath, kService, QStringLiteral("ShowItems"));
    call << QStringList{QUrl::fromLocalFile(filePath).toString()} << QString();
    // Asynchronous, so that a file manager that is slow to start never
    // holds up the window the user clicked in.
    auto *watcher = new QDBusPendingCallWatcher(bus.asyncCall(call, kCallTimeoutMs));
    QObject::connect(watcher, &QDBusPendingCallWatcher::finished, watcher,
                     [folder](QDBusPendingCallWatcher *finished) {
                         const QDBusPendingReply<> reply = *finished;
                         if (reply.isError()) {
                             qWarning("file manager did not show the file: %s, opening %s",
                                      qUtf8Printable(reply.error().message()), qUtf8Printable(folder));
                             openFolder(folder);
                         }
                         finished->deleteLater();
                     });
}

void openFolder(const QString &folderPath)
{
    if (!QDesktopServices::openUrl(QUrl::fromLocalFile(folderPath)))
        qWarning("cannot open the folder %s", qUtf8Printable(folderPath));
}

} // namespace platform
