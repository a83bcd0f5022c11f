#pragma once

#include <QHash>
#include <QObject>
#include <QPoint>
#include <QPointer>
#include <QSet>

class QAbstractButton;
class QMouseEvent;
class QWidget;
class QWindow;

namespace QWK {

// Turns a top-level widget into a frameless window that still moves, resizes
// and maximises like a framed one. Everything goes through QWindow's system
// move and resize, which every platform plugin backs with the native
// behaviour (the window manager on X11, the non-client hit test on Windows).
class WidgetWindowAgent : public QObject
{
    Q_OBJECT

public:
    enum SystemButton
    {
        Unknown,
        Minimize,
        Maximize,
        Close,
    };
    Q_ENUM(SystemButton)

    // Width of the band along the window's border that resizes it.
    static constexpr int resizeBorder = 5;

    explicit WidgetWindowAgent(QWidget *parent = nullptr);
    ~WidgetWindowAgent() override;

    bool setup(QWidget *window);
    QWidget *window() const { return hostWidget; }

    void setTitleBar(QWidget *bar);
    QWidget *titleBar() const { return bar; }

    // Visible widgets inside the title bar take their own clicks instead of
    // dragging the window.
    void setHitTestVisible(QWidget *widget, bool visible = true);
    bool isHitTestVisible(const QWidget *widget) const;

    void setSystemButton(SystemButton button, QAbstractButton *widget);
    QAbstractButton *systemButton(SystemButton button) const;

    // The window edges (a combination of Qt::Edge) under a point in window
    // coordinates; empty when the point is inside or the window cannot be
    // resized by the user.
    Qt::Edges edgesAt(const QPoint &pos) const;

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    void attachWindow();
    bool isOnDragArea(const QPoint &pos) const;
    bool canResize() const;
    void updateCursor(Qt::Edges edges);
    void toggleMaximized();
    bool handleMouse(QMouseEvent *event);

    QPointer<QWidget> hostWidget;
    QPointer<QWindow> hostWindow;
    QPointer<QWidget> bar;
    QSet<const QWidget *> hitTestVisible;
    QHash<int, QPointer<QAbstractButton>> systemButtons;

    // A press on the drag area becomes a system move only once the pointer
    // has left a small square around it. Once the window manager has the
    // pointer it may swallow the next press, and a double click on the bar
    // would be lost; the square is small so the window barely lags behind.
    static constexpr int dragThreshold = 3;
    bool dragPending = false;
    QPoint dragStart;
    bool overrideCursorSet = false;
    Qt::Edges cursorEdges;
};

} // namespace QWK
