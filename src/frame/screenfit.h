#pragma once

#include <QMargins>
#include <QPoint>
#include <QRect>
#include <QSize>

class QWidget;

// Every top-level window of the program lies wholly in the free area of a
// screen (panels left out), frame included: a window is never larger than
// that area, and never starts above or left of it, where no mouse can reach
// its title bar.

// The free area of the screen under `point`; else of the screen `window` is
// on; else of the primary screen.
QRect availableGeometryAt(const QPoint &point, const QWidget *window = nullptr);

// What the window manager adds around a top-level widget; nothing until it
// has framed the window, and never less than nothing.
QMargins windowFrameMargins(const QWidget *window);

// `wanted` shrunk, where needed, so that it fits into `available` with a
// frame of `frame` around it.
QSize fittedSize(const QSize &wanted, const QMargins &frame, const QRect &available);

// Where a frame of `frameSize` asked for at `topLeft` goes: pushed back `gap`
// pixels from the right or bottom edge that it would pass, and never left of
// or above `available`.
QPoint fittedTopLeft(QPoint topLeft, const QSize &frameSize, const QRect &available, int gap = 0);

// Resizes `window` to `wanted`, shrunk to fit `available`, and moves its frame
// to `topLeft` as fittedTopLeft places it. `minimum` is the window's own
// minimum, lowered only as far as a small screen demands.
void fitOnScreen(QWidget *window, const QSize &wanted, const QSize &minimum, const QPoint &topLeft,
                 const QRect &available, int gap = 0);
// The same for a window as it stands: its size and place, on the screen
// under its middle.
void fitOnScreen(QWidget *window);
