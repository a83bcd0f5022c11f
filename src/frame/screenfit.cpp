#include "frame/screenfit.h"

#include <QGuiApplication>
#include <QScreen>
#include <QWidget>

QRect availableGeometryAt(const QPoint &point, const QWidget *window)
{
    QScreen *screen = QGuiApplication::screenAt(point);
    if (!screen && window)
        screen = window->screen();
    if (!screen)
        screen = QGuiApplication::primaryScreen();
    return screen ? screen->availableGeometry() : QRect();
}

QMargins windowFrameMargins(const QWidget *window)
{
    const QRect inner = window->geometry();
    const QRect outer = window->frameGeometry();
    // Qt reads the frame while the window manager builds it, and may keep a
    // frame smaller than the window (1 by 1): no frame is that.
    return QMargins(qMax(0, inner.left() - outer.left()), qMax(0, inner.top() - outer.top()),
                    qMax(0, outer.right() - inner.right()), qMax(0, outer.bottom() - inner.bottom()));
}

QSize fittedSize(const QSize &wanted, const QMargins &frame, const QRect &available)
{
    if (available.isEmpty())
        return wanted;
    const QSize room = available.size().shrunkBy(frame);
    return wanted.boundedTo(room.expandedTo(QSize(1, 1)));
}

QPoint fittedTopLeft(QPoint topLeft, const QSize &frameSize, const QRect &available, int gap)
{
    if (available.isEmpty())
        return topLeft;
    // Edges one past the last pixel, so that a gap of 0 puts the frame flush
    // against the screen's edge.
    const int right = available.x() + available.width();
    const int bottom = available.y() + available.height();
    if (topLeft.x() + frameSize.width() > right)
        topLeft.setX(right - frameSize.width() - gap);
    if (topLeft.y() + frameSize.height() > bottom)
        topLeft.setY(bottom - frameSize.height() - gap);
    topLeft.setX(qMax(topLeft.x(), available.x()));
    topLeft.setY(qMax(topLeft.y(), available.y()));
    return topLeft;
}

void fitOnScreen(QWidget *window, const QSize &wanted, const QSize &minimum, const QPoint &topLeft,
                 const QRect &available, int gap)
{
    // The window manager keeps a maximised window to the screen itself.
    if (window->windowState() & (Qt::WindowMaximized | Qt::WindowFullScreen))
        return;
    const QMargins frame = windowFrameMargins(window);
    const QSize size = fittedSize(wanted, frame, available);
    // A minimum above the screen would make the window manager keep it large.
    const QSize lowest = minimum.boundedTo(size);
    if (window->minimumSize() != lowest)
        window->setMinimumSize(lowest);
    if (window->size() != size)
        window->resize(size);
    const QPoint target = fittedTopLeft(topLeft, window->size().grownBy(frame), available, gap);
    // Only a real change: a move also tells the window manager that the
    // program chose the place.
    if (window->pos() != target)
        window->move(target);
}

void fitOnScreen(QWidget *window)
{
    const QRect frame = window->frameGeometry();
    fitOnScreen(window, window->size(), window->minimumSize(), frame.topLeft(),
                availableGeometryAt(frame.center(), window));
}
