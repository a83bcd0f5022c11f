#include "frame/widgetwindowagent.h"

#include <QAbstractButton>
#include <QGuiApplication>
#include <QMouseEvent>
#include <QWidget>
#include <QWindow>

#include "common/log.h"

namespace QWK {

WidgetWindowAgent::WidgetWindowAgent(QWidget *parent) : QObject(parent) {}

WidgetWindowAgent::~WidgetWindowAgent()
{
    updateCursor({});
}

bool WidgetWindowAgent::setup(QWidget *window)
{
    if (!window || hostWidget)
        return false;
    hostWidget = window;
    window->setWindowFlags(window->windowFlags() | Qt::FramelessWindowHint);
    // The native window may not exist yet, and is made anew when the flags
    // change later; its filter is (re)installed whenever that happens.
    window->installEventFilter(this);
    attachWindow();
    return true;
}

void WidgetWindowAgent::setTitleBar(QWidget *widget)
{
    bar = widget;
}

void WidgetWindowAgent::setHitTestVisible(QWidget *widget, bool visible)
{
    if (!widget)
        return;
    if (!visible) {
        hitTestVisible.remove(widget);
        return;
    }
    if (hitTestVisible.contains(widget))
        return;
    hitTestVisible.insert(widget);
    connect(widget, &QObject::destroyed, this, [this, widget] { hitTestVisible.remove(widget); });
}

bool WidgetWindowAgent::isHitTestVisible(const QWidget *widget) const
{
    return hitTestVisible.contains(widget);
}

void WidgetWindowAgent::setSystemButton(SystemButton button, QAbstractButton *widget)
{
    if (button == Unknown)
        return;
    systemButtons.insert(button, widget);
    // A system button always takes its own clicks.
    setHitTestVisible(widget, true);
}

QAbstractButton *WidgetWindowAgent::systemButton(SystemButton button) const
{
    return systemButtons.value(button);
}

void WidgetWindowAgent::attachWindow()
{
    QWindow *handle = hostWidget ? hostWidget->windowHandle() : nullptr;
    if (handle == hostWindow)
        return;
    if (hostWindow)
        hostWindow->removeEventFilter(this);
    hostWindow = handle;
    if (hostWindow)
        hostWindow->installEventFilter(this);
}

bool WidgetWindowAgent::canResize() const
{
    if (!hostWidget)
        return false;
    if (hostWidget->windowState() & (Qt::WindowMaximized | Qt::WindowFullScreen))
        return false;
    return hostWidget->minimumSize() != hostWidget->maximumSize();
}

Qt::Edges WidgetWindowAgent::edgesAt(const QPoint &pos) const
{
    Qt::Edges edges;
    if (!canResize())
        return edges;
    const QSize size = hostWidget->size();
    if (pos.x() < 0 || pos.y() < 0 || pos.x() >= size.width() || pos.y() >= size.height())
        return edges;
    if (pos.x() < resizeBorder)
        edges |= Qt::LeftEdge;
    else if (pos.x() >= size.width() - resizeBorder)
        edges |= Qt::RightEdge;
    if (pos.y() < resizeBorder)
        edges |= Qt::TopEdge;
    else if (pos.y() >= size.height() - resizeBorder)
        edges |= Qt::BottomEdge;
    return edges;
}

bool WidgetWindowAgent::isOnDragArea(const QPoint &pos) const
{
    if (!bar || !hostWidget || !bar->isVisible())
        return false;
    QWidget *hit = hostWidget->childAt(pos);
    if (!hit)
        return false;
    for (QWidget *w = hit; w; w = w->parentWidget()) {
        if (hitTestVisible.contains(w) && w->isVisible())
            return false;
        if (w == bar)
            return true;
        if (w == hostWidget)
            break;
    }
    return false;
}

void WidgetWindowAgent::updateCursor(Qt::Edges edges)
{
    const bool wanted = edges != Qt::Edges();
    if (edges == cursorEdges && overrideCursorSet == wanted)
        return;
    cursorEdges = edges;
    if (overrideCursorSet) {
        QGuiApplication::restoreOverrideCursor();
        overrideCursorSet = false;
    }
    if (!wanted)
        return;

    Qt::CursorShape shape = Qt::ArrowCursor;
    const bool horizontal = edges.testFlag(Qt::LeftEdge) || edges.testFlag(Qt::RightEdge);
    const bool vertical = edges.testFlag(Qt::TopEdge) || edges.testFlag(Qt::BottomEdge);
    if (horizontal && vertical) {
        const bool mainDiagonal =
            edges == (Qt::LeftEdge | Qt::TopEdge) || edges == (Qt::RightEdge | Qt::BottomEdge);
        shape = mainDiagonal ? Qt::SizeFDiagCursor : Qt::SizeBDiagCursor;
    } else {
        shape = horizontal ? Qt::SizeHorCursor : Qt::SizeVerCursor;
    }
    // An override cursor wins over whatever the widget under the border
    // asked for (a text field's I-beam, say).
    QGuiApplication::setOverrideCursor(QCursor(shape));
    overrideCursorSet = true;
}

void WidgetWindowAgent::toggleMaximized()
{
    // Only a window that offers a maximise button can be maximised from its bar.
    const QAbstractButton *maxButton = systemButtons.value(Maximize);
    if (!hostWidget || !maxButton || !maxButton->isVisible())
        return;
    if (hostWidget->isMaximized())
        hostWidget->showNormal();
    else
        hostWidget->showMaximized();
}

bool WidgetWindowAgent::handleMouse(QMouseEvent *event)
{
    const QPoint pos = event->position().toPoint();
    switch (event->type()) {
    case QEvent::MouseMove:
        if (dragPending && event->buttons().testFlag(Qt::LeftButton)) {
            if ((pos - dragStart).manhattanLength() >= dragThreshold) {
                dragPending = false;
                if (!hostWindow->startSystemMove())
                    LOG_DEBUG(QStringLiteral("system move not supported"));
            }
            return false;
        }
        if (event->buttons() == Qt::NoButton)
            updateCursor(edgesAt(pos));
        return false;
    case QEvent::MouseButtonPress: {
        if (event->button() != Qt::LeftButton)
            return false;
        const Qt::Edges edges = edgesAt(pos);
        if (edges != Qt::Edges()) {
            dragPending = false;
            updateCursor({});
            if (!hostWindow->startSystemResize(edges))
                LOG_DEBUG(QStringLiteral("system resize not supported"));
            return true;
        }
        dragPending = isOnDragArea(pos);
        dragStart = pos;
        return false;
    }
    case QEvent::MouseButtonRelease:
        dragPending = false;
        return false;
    case QEvent::MouseButtonDblClick:
        if (event->button() == Qt::LeftButton && edgesAt(pos) == Qt::Edges() && isOnDragArea(pos)) {
            dragPending = false;
            toggleMaximized();
            return true;
        }
        return false;
    default:
        return false;
    }
}

bool WidgetWindowAgent::eventFilter(QObject *watched, QEvent *event)
{
    if (watched == hostWidget) {
        switch (event->type()) {
        case QEvent::WinIdChange:
        case QEvent::Show:
        case QEvent::PlatformSurface:
            attachWindow();
            break;
        case QEvent::Hide:
        case QEvent::WindowStateChange:
            updateCursor({});
            break;
        default:
            break;
        }
        return false;
    }
    if (hostWindow && watched == hostWindow) {
        switch (event->type()) {
        case QEvent::MouseMove:
        case QEvent::MouseButtonPress:
        case QEvent::MouseButtonRelease:
        case QEvent::MouseButtonDblClick:
            return handleMouse(static_cast<QMouseEvent *>(event));
        case QEvent::Leave:
            updateCursor({});
            break;
        default:
            break;
        }
    }
    return QObject::eventFilter(watched, event);
}

} // namespace QWK
