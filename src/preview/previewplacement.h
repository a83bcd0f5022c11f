#pragma once

#include <QPoint>
#include <QRect>
#include <QSize>

// The size of a preview that has none of its own: six tenths of the primary
// screen; empty without a screen.
QSize defaultPreviewSize();

// Where a preview of frame size `size` goes beside the main window's frame
// `mainFrame`, centred on the height `y`, inside the free area `available`:
// on the side of the main window that faces the larger part of the screen,
// 2 pixels from any screen edge, and over the main window when there is no
// room beside it.
QPoint previewPosition(const QRect &mainFrame, const QRect &available, const QSize &size, int y);
