#include "platform/windowicon.h"

#include <string>

#include <QImage>

#include <windows.h>

#include <shellapi.h>

namespace platform {

namespace {

QPixmap pixmapOf(HICON icon)
{
    if (!icon)
        return QPixmap();
    return QPixmap::fromImage(QImage::fromHICON(icon));
}

} // namespace

bool readProgramIcon(WindowHandle window, const QString &exePath, QPixmap &pixmap, QString &failure)
{
    Q_UNUSED(window)
    HICON largeIcon = nullptr;
    HICON smallIcon = nullptr;
    const std::wstring path = exePath.toStdWString();
    // Icon index 0, one icon of each size.
    if (ExtractIconExW(path.c_str(), 0, &largeIcon, &smallIcon, 1) == 0) {
        failure = QString::number(GetLastError());
        return false;
    }

    const QPixmap smallPixmap = pixmapOf(smallIcon);
    const QPixmap largePixmap = pixmapOf(largeIcon);
    // Small first: the large one wins a tie.
    const int chosen = nearestIconWidth({smallPixmap.width(), largePixmap.width()});
    pixmap = chosen == 0 ? smallPixmap : largePixmap;
    if (largeIcon)
        DestroyIcon(largeIcon);
    if (smallIcon)
        DestroyIcon(smallIcon);
    return true;
}

} // namespace platform
