#include "preview/previewplacement.h"

#include <QGuiApplication>
#include <QScreen>

#include <algorithm>

namespace {
// Distance kept from the edges of the free area.
constexpr int kMargin = 2;
} // namespace

QSize defaultPreviewSize()
{
    const QScreen *screen = QGuiApplication::primaryScreen();
    if (!screen)
        return QSize();
    const QSize size = screen->geometry().size();
    return QSize(qRound(size.width() * 0.6), qRound(size.height() * 0.6));
}

QPoint previewPosition(const QRect &mainFrame, const QRect &available, const QSize &size, int y)
{
    const QPoint center = mainFrame.center();
    const int w = size.width();
    const int h = size.height();

    // A main window in the left half, or in the exact middle, gets its
    // preview on the right; the two frames share its last pixel column.
    int x = 0;
    if (center.x() - available.left() <= available.right() - center.x())
        x = std::min(mainFrame.right(), available.right() - kMargin - w);
    else
        x = std::max(available.left() + kMargin, mainFrame.left() - w);
    if (x < available.left() + kMargin)
        x = available.left() + kMargin;
    if (x + w > available.right())
        x -= std::min(x - available.left() - kMargin, w + (x - available.right() + kMargin));

    int py = 0;
    if (center.y() - available.top() <= available.bottom() - center.y())
        py = std::min(available.bottom() - kMargin - h, y - h / 2);
    else
        py = std::max(available.top() + kMargin, y - h / 2);
    if (py < available.top() + kMargin)
        py = available.top() + kMargin;
    if (py + h > available.bottom())
        py -= std::min(py - available.top() - kMargin, h + (py - available.bottom() + kMargin));
    return QPoint(x, py);
}
